"""The examples of docs/trends.md, run in their order."""

import os
import re
import subprocess

from test_guide import examples
from support import COMMAND, ToolTest

GUIDE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../docs/trends.md")


def without_what_varies(line):
    """New trends have random UUIDs, and streams vary with the version of the compressing library."""
    line = re.sub(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", "UUID", line)
    if re.search(r"entry bytes|checksums|bytes of files", line):
        return re.sub(r"0x[0-9a-f]{4}|\d+(\.\d+)?", "#", re.sub(r" +", " ", line))
    return line


class TrendGuide(ToolTest):
    def test_examples_are_what_the_tool_prints(self):
        script = self.write("bin/qen", '#!/bin/sh\nexec %s "$@"\n' % " ".join("'%s'" % word for word in COMMAND))
        os.chmod(self.path(script), 0o755)
        os.mkdir(self.path("work"))
        environment = dict(os.environ, PATH=self.folder + "/bin:" + os.environ["PATH"])
        commands = []
        for command, expected in examples(GUIDE):
            done = subprocess.run(["sh", "-c", command], cwd=self.folder + "/work", env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=120)
            got = done.stdout.decode().splitlines()
            self.assertEqual([without_what_varies(l) for l in expected], [without_what_varies(l) for l in got], command)
            commands.append(command)
        for action in ("import", "info", "dump", "gaps", "merge", "delete", "shrink"):
            self.assertTrue(any("qen trend " + action in command for command in commands), action)

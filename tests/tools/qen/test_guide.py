"""The examples of docs/tool.md, run in their order."""

import os
import re
import subprocess

from support import COMMAND, ToolTest

GUIDE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../docs/tool.md")


def examples(guide=GUIDE):
    """(command, expected lines) of every console block."""
    with open(guide, encoding="utf-8") as file:
        for block in re.findall(r"```console\n(.*?)```", file.read(), re.S):
            for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
                command, *expected = part.splitlines()
                yield command, expected


def without_what_varies(line):
    """Times differ from run to run, and streams with the version of the compressing library."""
    if re.search(r"zlib|gzip|good$|cut\.qts", line):
        return re.sub(r"0x[0-9a-f]{4}|\d+(\.\d+)?", "#", re.sub(r" +", " ", line))
    return line


class Guide(ToolTest):
    def test_examples_are_what_the_tool_prints(self):
        script = self.write("qen", '#!/bin/sh\nexec %s "$@"\n' % " ".join("'%s'" % word for word in COMMAND))
        os.chmod(self.path(script), 0o755)
        environment = dict(os.environ, PATH=self.folder + ":" + os.environ["PATH"])
        count = 0
        for command, expected in examples():
            done = subprocess.run(["sh", "-c", command], cwd=self.folder, env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=120)
            got = done.stdout.decode().splitlines()
            self.assertEqual([without_what_varies(l) for l in expected], [without_what_varies(l) for l in got], command)
            count += 1
        self.assertGreater(count, 10)

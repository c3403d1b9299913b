"""Guides whose console blocks are run."""

import os
import re
import subprocess

from support import COMMAND, ToolTest

DOCS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../docs")


def examples(guide):
    """(command, expected lines) of every console block."""
    with open(os.path.join(DOCS, guide), encoding="utf-8") as file:
        for block in re.findall(r"```console\n(.*?)```", file.read(), re.S):
            for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
                command, *expected = part.splitlines()
                yield command, expected


def without_figures(line):
    return re.sub(r"0x[0-9a-f]{4}|\d+(\.\d+)?", "#", re.sub(r" +", " ", line))


class GuideTest(ToolTest):
    def run_examples(self, guide, without_what_varies):
        """Runs the examples in their order in one folder, compares what they print, and returns the commands."""
        script = self.write("bin/qen", '#!/bin/sh\nexec %s "$@"\n' % " ".join("'%s'" % word for word in COMMAND))
        os.chmod(self.path(script), 0o755)
        os.mkdir(self.path("work"))
        environment = dict(os.environ, PATH=self.folder + "/bin:" + os.environ["PATH"])
        commands = []
        for command, expected in examples(guide):
            done = subprocess.run(["sh", "-c", command], cwd=self.folder + "/work", env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=120)
            got = done.stdout.decode().splitlines()
            self.assertEqual([without_what_varies(l) for l in expected], [without_what_varies(l) for l in got], command)
            commands.append(command)
        return commands

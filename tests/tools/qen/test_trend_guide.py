"""The examples of docs/trends.md, run in their order."""

import re

from guide import GuideTest, without_figures


def without_what_varies(line):
    """New trends have random UUIDs, and streams vary with the version of the compressing library."""
    line = re.sub(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", "UUID", line)
    return without_figures(line) if re.search(r"entry bytes|checksums|bytes of files", line) else line


class TrendGuide(GuideTest):
    def test_examples_are_what_the_tool_prints(self):
        commands = self.run_examples("trends.md", without_what_varies)
        for action in ("import", "info", "dump", "gaps", "merge", "delete", "shrink"):
            self.assertTrue(any("qen trend " + action in command for command in commands), action)

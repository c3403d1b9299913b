"""The examples of docs/store.md, run in their order."""

import re

from guide import GuideTest, without_figures


def without_what_varies(line):
    """New trends have random UUIDs, and streams and files vary in size with the versions of the libraries that make them."""
    line = re.sub(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", "UUID", line)
    return without_figures(line) if re.search(r"bytes|closed|^all |UUID .*\d{4}", line) else line


class StoreGuide(GuideTest):
    def test_examples_are_what_the_tool_prints(self):
        commands = self.run_examples("store.md", without_what_varies)
        for action in ("init", "put", "ls", "stats", "get", "check", "why", "simulate", "retain", "export", "import"):
            self.assertTrue(any("qen db " + action in command for command in commands), action)

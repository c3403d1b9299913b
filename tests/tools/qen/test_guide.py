"""The examples of docs/tool.md, run in their order."""

import re

from guide import GuideTest, without_figures


def without_what_varies(line):
    """Times differ from run to run, and streams with the version of the compressing library."""
    return without_figures(line) if re.search(r"zlib|gzip|good$|cut\.qts", line) else line


class Guide(GuideTest):
    def test_examples_are_what_the_tool_prints(self):
        self.assertGreater(len(self.run_examples("tool.md", without_what_varies)), 10)

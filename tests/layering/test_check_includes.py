#!/usr/bin/env python3
"""Shows that check_includes.py accepts a clean tree and reports every kind of violation planted in it."""

import contextlib
import io
import pathlib
import tempfile
import unittest

import check_includes

INTERNAL = ["libs/io/Kernel.h", "platform/Detail.h", "store/Rows.h"]
CLEAN = {
    "platform/Uuid.h": "#include <array>\n",
    "platform/Detail.h": "#include <uuid/uuid.h>\n",
    "platform/Uuid.cpp": '#include "platform/Uuid.h"\n#include "platform/Detail.h"\n#include <libdeflate.h>\n',
    "platform/Logger.h": "#include <log4cpp/Priority.hh>\n",
    "libs/io/Kernel.h": "#include <span>\n",
    "libs/io/Signal.h": '#include "platform/Uuid.h"\n#include <sys/types.h>\n#include <pthread.h>\n',
    "libs/io/Signal.cpp": '#include "io/Signal.h"\n#include "Kernel.h"\n#  include  "io/Kernel.h"\n',
    "store/Store.cpp": '#include "io/Signal.h"\n#include <sqlite3.h>\n',
    "store/Store.h": "#include <string>\n",
    "store/Rows.h": "#include <sqlite3.h>\n",
    "tools/qen/Main.cpp": '#include "io/Kernel.h"\n#include "io/Signal.h"\n#include <CLI/CLI.hpp>\n',
    "bindings/python/Module.cpp": '#include "store/Store.h"\n#include <pybind11/pybind11.h>\n',
    "examples/first/main.cpp": '#include "io/Signal.h"\n#include <iostream>\n',
    "tests/SignalTest.cpp": '#include "io/Kernel.h"\n#include <gtest/gtest.h>\n',
}


def check(files, internal=INTERNAL):
    """Exit status (or its text) and output of the check over a tree of these files."""
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            path = pathlib.Path(root, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        with contextlib.redirect_stdout(io.StringIO()) as output:
            try:
                check_includes.main([root, *internal])
            except SystemExit as end:
                return end.code, output.getvalue()
    raise AssertionError("the check did not end")


class CheckIncludes(unittest.TestCase):
    def assert_reported(self, name, line, finding):
        """Plants one line behind the others of a file; it alone must be reported."""
        files = dict(CLEAN)
        files[name] = files.get(name, "") + line + "\n"
        number = files[name].count("\n")
        self.assertEqual(check(files), (1, f"{name}:{number}: {finding}\n"))

    def test_clean_tree_passes(self):
        self.assertEqual(check(CLEAN), (0, ""))

    def test_platform_includes_the_library(self):
        self.assert_reported("platform/Uuid.cpp", '#include "io/Signal.h"', "io/Signal.h points from platform to libs")

    def test_library_includes_the_store(self):
        self.assert_reported("libs/io/Signal.cpp", '#include "store/Store.h"', "store/Store.h points from libs to store")

    def test_store_includes_a_tool(self):
        files = dict(CLEAN)
        files["tools/qen/Main.h"] = ""
        files["store/Store.h"] += '#include "tools/qen/Main.h"\n'
        self.assertEqual(check(files), (1, "store/Store.h:2: tools/qen/Main.h points from store to tools\n"))

    def test_tool_includes_the_bindings(self):
        files = dict(CLEAN)
        files["bindings/python/Module.h"] = ""
        files["tools/qen/Main.cpp"] += '#include "bindings/python/Module.h"\n'
        self.assertEqual(check(files),
                         (1, "tools/qen/Main.cpp:4: bindings/python/Module.h points from tools to bindings\n"))

    def test_product_includes_a_test(self):
        files = dict(CLEAN)
        files["tests/support/Model.h"] = ""
        files["libs/io/Signal.cpp"] += '#include "tests/support/Model.h"\n'
        self.assertEqual(check(files), (1, "libs/io/Signal.cpp:4: tests/support/Model.h points from libs to tests\n"))

    def test_example_includes_the_store(self):
        self.assert_reported("examples/first/main.cpp", '#include "store/Store.h"',
                             "store/Store.h points from examples to store")

    def test_internal_header_in_another_layer(self):
        self.assert_reported("examples/first/main.cpp", '#include "io/Kernel.h"', "io/Kernel.h is internal to libs")
        self.assert_reported("tools/qen/Main.cpp", '#include "platform/Detail.h"', "platform/Detail.h is internal to platform")
        self.assert_reported("libs/io/Signal.cpp", '#include "platform/Detail.h"', "platform/Detail.h is internal to platform")
        self.assert_reported("examples/first/main.cpp", '#include "store/Rows.h"',
                             "store/Rows.h points from examples to store")

    def test_internal_header_in_a_public_one(self):
        self.assert_reported("libs/io/Signal.h", '#include "io/Kernel.h"', "io/Kernel.h is internal, and this header is public")

    def test_foreign_library_in_a_public_header(self):
        self.assert_reported("platform/Uuid.h", "#include <uuid/uuid.h>", "uuid/uuid.h is a library, and this header is public")
        self.assert_reported("platform/Logger.h", "#include <log4cpp/Category.hh>",
                             "log4cpp/Category.hh is a library, and this header is public")
        self.assert_reported("store/Store.h", "#include <sqlite3.h>", "sqlite3.h is a library, and this header is public")

    def test_foreign_library_that_a_layer_does_not_use(self):
        for name, library in (("libs/io/Signal.cpp", "sqlite3.h"), ("libs/io/Signal.cpp", "CLI/CLI.hpp"),
                              ("libs/io/Kernel.h", "log4cpp/Category.hh"), ("platform/Uuid.cpp", "zlib.h"),
                              ("store/Store.cpp", "nlohmann/json.hpp"), ("examples/first/main.cpp", "log4cpp/Priority.hh")):
            layer = name.split("/", maxsplit=1)[0]
            self.assert_reported(name, f"#include <{library}>", f"{library} is a library that {layer} does not use")

    def test_foreign_library_in_quotes(self):
        self.assert_reported("libs/io/Signal.cpp", '#include "sqlite3.h"', "sqlite3.h is no file of this tree")

    def test_own_header_in_angle_brackets(self):
        self.assert_reported("libs/io/Signal.cpp", "#include <store/Store.h>",
                             "store/Store.h is a file of this tree and belongs in quotes")

    def test_path_that_leads_upwards(self):
        self.assert_reported("libs/io/Signal.cpp", '#include "../../store/Store.h"',
                             "../../store/Store.h leads upwards; includes start at the root or at libs/")

    def test_every_violation_is_reported(self):
        files = dict(CLEAN)
        files["libs/io/Signal.cpp"] += '#include "store/Store.h"\n#include <sqlite3.h>\n'
        status, output = check(files)
        self.assertEqual((status, len(output.splitlines())), (1, 2))

    def test_wrong_root_is_no_clean_tree(self):
        status, _ = check({"README.md": ""})
        self.assertIn("holds no sources in libs/", status)

    def test_internal_header_that_does_not_exist(self):
        status, _ = check(CLEAN, ["libs/io/Renamed.h"])
        self.assertIn("libs/io/Renamed.h does not exist", status)


if __name__ == "__main__":
    unittest.main()

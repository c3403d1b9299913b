#!/usr/bin/env python3
"""Checks the behaviour lists in docs/behaviours: every row of a table names at least one test, and every test that is named
exists in tests/.

Usage: check_behaviours.py ROOT        exit status 1 and a list of the faults when there are any
       check_behaviours.py --self-test  shows that a wrong list is refused
"""

import pathlib
import re
import sys
import tempfile

TEST_DEFINITION = re.compile(r"\b(?:TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\(\s*(\w+),\s*(\w+)\s*\)")
PYTHON_TEST = re.compile(r"^class (\w+)|^    def (test_\w+)", re.MULTILINE)
TEST_NAME = re.compile(r"`(\w+\.\w+)`")


def defined_tests(root):
    names = set()
    for path in (root / "tests").rglob("*.cpp"):
        names.update(f"{suite}.{test}" for suite, test in TEST_DEFINITION.findall(path.read_text(encoding="utf-8")))
    for path in (root / "tests").rglob("test_*.py"):
        suite = ""
        for found_class, found_test in PYTHON_TEST.findall(path.read_text(encoding="utf-8")):
            suite = found_class or suite
            if found_test:
                names.add(f"{suite}.{found_test}")
    return names


def table_rows(text):
    """Rows below the heading and the ruler of each table, with their line numbers."""
    previous_was_row = 0
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("|"):
            previous_was_row = 0
            continue
        previous_was_row += 1
        if previous_was_row > 2:
            yield number, line


def faults(root):
    known = defined_tests(root)
    lists = sorted((root / "docs" / "behaviours").glob("*.md"))
    if not lists:
        yield "docs/behaviours holds no list"
    for path in lists:
        rows = list(table_rows(path.read_text(encoding="utf-8")))
        if not rows:
            yield f"{path.name}: no behaviours"
        for number, row in rows:
            named = TEST_NAME.findall(row.rsplit("|", 2)[-2])
            if not named:
                yield f"{path.name}:{number}: no test named"
            for name in named:
                if name not in known:
                    yield f"{path.name}:{number}: no such test: {name}"


def self_test():
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "tests").mkdir()
        (root / "docs" / "behaviours").mkdir(parents=True)
        (root / "tests" / "ATest.cpp").write_text("TEST(A, IsThere)\n{\n}\n")
        page = root / "docs" / "behaviours" / "a.md"
        heading = "# A\n\n| Behaviour | Tests |\n|---|---|\n"
        page.write_text(heading + "| it is there | `A.IsThere` |\n")
        assert not list(faults(root)), "a right list is refused"
        for row in ("| it is not there | `A.IsMissing` |\n", "| nothing tests it | |\n", ""):
            page.write_text(heading + row)
            assert list(faults(root)), f"a wrong list passes: {row!r}"


def main():
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        return 0
    found = list(faults(pathlib.Path(sys.argv[1])))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())

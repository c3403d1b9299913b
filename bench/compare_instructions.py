#!/usr/bin/env python3
"""Counts the instructions of the benchmark's fixed operations and compares them with the table beside this file.

Usage: compare_instructions.py PROGRAM            fails when an operation executes over 3 % more than the table says
       compare_instructions.py PROGRAM --update   writes the table
       compare_instructions.py --self-test        shows that growth, losses and newcomers are reported
"""

import pathlib
import re
import subprocess
import sys
import tempfile

TABLE = pathlib.Path(__file__).with_name("instructions.txt")
TOLERANCE = 0.03
SKIPPED = 77


def count(program):
    """Executed instructions of each operation."""
    with tempfile.TemporaryDirectory() as folder:
        command = ["valgrind", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={folder}/counts", program]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, timeout=900)
        if done.returncode != 0:
            sys.exit(done.stdout)
        counts = {}
        for path in pathlib.Path(folder).iterdir():
            text = path.read_text()
            name = re.search(r"^desc: Trigger: Client Request: (.+)$", text, re.M)
            if name:
                counts[name[1]] = int(re.search(r"^totals: (\d+)", text, re.M)[1])
        return counts


def read_table():
    counts = {}
    for line in TABLE.read_text().splitlines():
        if line and not line.startswith("#"):
            number, name = line.split(maxsplit=1)
            counts[name] = int(number)
    return counts


def write_table(counts):
    lines = ["# Executed instructions of fixed operations (x86-64 with AVX2, GCC 12, RelWithDebInfo).",
             "# Written by compare_instructions.py --update; a change belongs into the commit that causes it."]
    TABLE.write_text("\n".join(lines + [f"{number:12} {name}" for name, number in sorted(counts.items())]) + "\n")


def findings(counts, table):
    for name in sorted(counts.keys() | table.keys()):
        if name not in counts:
            yield f"{name}: was not counted"
        elif name not in table:
            yield f"{name}: does not stand in the table"
        elif counts[name] > table[name] * (1 + TOLERANCE):
            yield f"{name}: {counts[name]} instructions, {counts[name] / table[name] - 1:+.1%} against the table"


def self_test():
    assert not list(findings({"a": 103}, {"a": 100}))
    assert len(list(findings({"a": 104}, {"a": 100}))) == 1
    assert len(list(findings({}, {"a": 100}))) == 1
    assert len(list(findings({"a": 100}, {}))) == 1


def main():
    if sys.argv[1] == "--self-test":
        self_test()
        return 0
    if " avx2 " not in pathlib.Path("/proc/cpuinfo").read_text():
        print("this processor has no AVX2: it would count the other copies of the loops")
        return SKIPPED
    counts = count(sys.argv[1])
    if sys.argv[2:] == ["--update"]:
        write_table(counts)
        return 0
    table = read_table()
    for name, number in sorted(counts.items()):
        print(f"{number:12} {number / table.get(name, number) - 1:+7.2%} {name}")
    found = list(findings(counts, table))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Compares what a shared library exports with a committed list, both ways.

Usage: check_symbols.py NM LIBRARY LIST             exit status 1 and the differences when there are any
       check_symbols.py --prove NM LIBRARY          shows that one missing and one surplus symbol are noticed

The list holds one demangled symbol a line, sorted. It serves 32 and 64 bits: the default extent of std::span, whose number
depends on the size of a pointer, is left out. So are functions of the standard library that return a type of the library's:
compilers inline them or not, and the patterns of exports begin with what a demangled name begins with.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

DYNAMIC_EXTENT = re.compile(r", (?:4294967295u|18446744073709551615ul)>")
STANDARD_FUNCTION = re.compile(r"[\w:]+[*&]* std::")


def exported(nm, library):
    output = subprocess.run([nm, "-DC", "--defined-only", library], stdout=subprocess.PIPE, text=True, check=True).stdout
    names = (line.split(" ", 2)[2] for line in output.splitlines())
    symbols = {DYNAMIC_EXTENT.sub(">", name) for name in names if not STANDARD_FUNCTION.match(name)}
    if not symbols:
        sys.exit(f"{library} exports nothing at all")
    return symbols


def listed(path):
    lines = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
    if lines != sorted(set(lines)):
        sys.exit(f"{path} is not sorted")
    return set(lines)


def check(nm, library, path):
    symbols, expected = exported(nm, library), listed(path)
    for symbol in sorted(expected - symbols):
        print(f"missing: {symbol}")
    for symbol in sorted(symbols - expected):
        print(f"surplus: {symbol}")
    return 1 if symbols != expected else 0


def require_report(nm, library, lines, report):
    """Runs the check on a changed list, which must report exactly this."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "changed.symbols"
        path.write_text("".join(line + "\n" for line in lines), encoding="utf-8")
        run = subprocess.run([sys.executable, __file__, nm, library, str(path)], stdout=subprocess.PIPE, text=True, check=False)
    if (run.returncode, run.stdout) != (1, report + "\n"):
        sys.exit(f"expected status 1 and '{report}', got status {run.returncode} and:\n{run.stdout}")


def prove(nm, library):
    lines = sorted(exported(nm, library))
    for symbol in (lines[0], lines[len(lines) // 2], lines[-1]):
        require_report(nm, library, [line for line in lines if line != symbol], f"surplus: {symbol}")
    added = "TimeSignal::NoSuchOperation()"
    require_report(nm, library, sorted(lines + [added]), f"missing: {added}")
    return 0


def main():
    arguments = sys.argv[1:]
    if len(arguments) != 3:
        sys.exit(__doc__)
    sys.exit(prove(*arguments[1:]) if arguments[0] == "--prove" else check(*arguments))


if __name__ == "__main__":
    main()

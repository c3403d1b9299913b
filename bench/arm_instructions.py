#!/usr/bin/env python3
"""Counts the instructions that the loops over samples and thinning execute for each element on 32-bit ARM, in the emulator.

Usage: arm_instructions.py PROGRAM SYSROOT      PROGRAM is qen_kernel_calls of the armhf build
"""

import re
import subprocess
import sys

MARK = re.compile(rb'access\("(start/(\d+)/([^"]+)|end)"')
THINNING = "thinning"
TREND_IN_AND_OUT = "trend in and out"


def emulate(program, sysroot):
    """The log: a line for each instruction, because translation blocks are one long and not chained, and for each system call."""
    libraries = ":".join(f"{sysroot}/{folder}/arm-linux-gnueabihf" for folder in ("usr/lib", "lib"))
    return subprocess.Popen(["qemu-arm-static", "-L", "/usr/arm-linux-gnueabihf", "-E", f"LD_LIBRARY_PATH={libraries}",
                             "-singlestep", "-d", "exec,nochain,strace", program], stderr=subprocess.PIPE)


def count(log):
    """(name, elements, instructions) of each call."""
    name, elements, instructions = None, 0, 0
    for line in log:
        if line.startswith(b"Trace"):
            instructions += 1
        elif mark := MARK.search(line):
            if mark[3]:
                name, elements, instructions = mark[3].decode(), int(mark[2]), 0
            else:
                yield name, elements, instructions


def main():
    with emulate(*sys.argv[1:]) as emulator:
        calls = {name: (elements, instructions) for name, elements, instructions in count(emulator.stderr)}
    if emulator.returncode != 0 or not calls:
        sys.exit("the emulator failed")
    _, marks = calls.pop("nothing")
    each = {name: (instructions - marks) / elements for name, (elements, instructions) in calls.items()}
    each[f"{THINNING} alone"] = each.pop(THINNING) - each.pop(TREND_IN_AND_OUT)
    for name, instructions in each.items():
        print(f"| {name:28} | {instructions:7.2f} |")
    return 0


if __name__ == "__main__":
    sys.exit(main())

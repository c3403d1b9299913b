#!/usr/bin/env python3
"""Flips conditional jumps in the compiled library, one at a time and drawn by seed, and runs the test programs until one fails. A jump
that goes the wrong way unnoticed is a survivor.

Drawn from are the jumps that stand for a line of libs/, not those of the C++ library's headers that were compiled into it. The jump is
flipped in the shared library, and in the test programs that have the same function in themselves.

Usage: flip_jumps.py ROOT BUILD_FOLDER WORK_FOLDER [COUNT [SEED]]    500 jumps of seed 1; fails when under 90 % are noticed
       flip_jumps.py ROOT BUILD_FOLDER WORK_FOLDER --again LOG       those that survived in an earlier run
"""

import collections
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys

PROGRAMS = ("qen_internal_tests", "qen_failing_memory_tests", "qen_fault_tests", "qen_tests", "qen_memory_tests", "qen_thread_tests")
RUNS = tuple((program,) for program in PROGRAMS)
# What the compiler made for processors without AVX2 runs on an emulated one only.
EMULATOR = ("qemu-x86_64-static", "-cpu", "Nehalem")
EMULATED_RUNS = (("qen_internal_tests",),
                 ("qen_tests", "--gtest_filter=TypeConverter*:SampleTypeConversion*:SampleReadout*:OffsetExtraction*"))
# Processor time, so that a busy machine makes no program look as if it hung; who waits for ever meets the other limit.
PROCESSOR_SECONDS = 60
TIMEOUT_SECONDS = 1800
ADDRESS_SPACE = 16 << 30
NOTICED_AT_LEAST = 0.9

FUNCTION = re.compile(r"^([0-9a-f]+) <(.+)>:$")
SOURCE = re.compile(r"^(/.+):(\d+)(?: \(discriminator \d+\))?$")
INSTRUCTION = re.compile(r"^ +([0-9a-f]+):\t((?:[0-9a-f]{2} )+) *\t(\w+)")


class Jump(collections.namedtuple("Jump", "symbol offset code mnemonic source")):
    """A conditional jump: where it is in its function, its machine code, and the line that it stands for."""

    def __str__(self):
        return f"{self.symbol}+{self.offset:#x}"


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def is_conditional(code):
    """A short or a near jump on a condition; the lowest bit of its condition turns it round."""
    return 0x70 <= code[0] <= 0x7F or (code[0] == 0x0F and 0x80 <= code[1] <= 0x8F)


def flipped(code):
    at = 0 if code[0] != 0x0F else 1
    return code[:at] + bytes([code[at] ^ 1]) + code[at + 1:]


def jumps_of(library, root):
    """All conditional jumps that stand for a line of libs/."""
    jumps = []
    symbol, start, source = "", 0, ""
    for line in output_of("objdump", "-d", "-l", "--insn-width=16", str(library)).splitlines():
        if found := FUNCTION.match(line):
            start, symbol, source = int(found[1], 16), found[2], ""
        elif found := SOURCE.match(line):
            source = f"{os.path.relpath(found[1], root)}:{found[2]}"
        elif (found := INSTRUCTION.match(line)) and source.startswith("libs/"):
            code = bytes.fromhex(found[2])
            if is_conditional(code):
                jumps.append(Jump(symbol, int(found[1], 16) - start, code, found[3], source))
    return jumps


class Binary:
    """A file with machine code."""

    def __init__(self, path):
        self.name, self.contents = path.name, path.read_bytes()
        header = next(line.split() for line in output_of("objdump", "-h", str(path)).splitlines() if " .text " in line)
        self.shift = int(header[5], 16) - int(header[3], 16)
        self.addresses = collections.defaultdict(set)
        for line in output_of("nm", str(path)).splitlines():
            fields = line.split()
            if len(fields) == 3 and fields[1] in "tTwWiI":
                self.addresses[fields[2]].add(int(fields[0], 16))

    def with_flipped(self, jump):
        """The contents with the jump flipped, or None when this file does not hold it. Of a short jump the whole must be the same, of a
        near one the condition: its distance may differ to a part of the function that lies elsewhere."""
        same = len(jump.code) if jump.code[0] != 0x0F else 2
        places = [address + jump.offset + self.shift for address in self.addresses.get(jump.symbol, ())]
        places = [place for place in places if self.contents[place:place + same] == jump.code[:same]]
        if len(places) != 1:
            return None
        place = places[0]
        return self.contents[:place] + flipped(jump.code)[:same] + self.contents[place + same:]


class Variants:
    """Runs the test programs against a library with a flipped jump."""

    def __init__(self, build, work):
        self.work = work
        library = (build / "libs/libqen_file_io.so").resolve()
        self.binaries = [Binary(library)] + [Binary(build / "tests" / program) for program in PROGRAMS]
        shutil.rmtree(work, ignore_errors=True)
        work.mkdir(parents=True)
        for folder in ("libs", "platform"):
            for path in (build / folder).glob("*.so*"):
                shutil.copy(path, work / path.name, follow_symlinks=False)
        self.environment = {**os.environ, "LD_LIBRARY_PATH": str(work), "TMPDIR": str(work / "temporary")}

    def write(self, binary, contents):
        path = self.work / binary.name
        path.unlink(missing_ok=True)
        path.write_bytes(contents)
        path.chmod(0o755)

    def flip(self, jump):
        for binary in self.binaries:
            self.write(binary, binary.with_flipped(jump) or binary.contents)

    def noticing_program(self, jump):
        """Name of the first program that fails with the jump flipped, or None."""
        self.flip(jump)
        if ".default" in jump.symbol:
            return self.first_failure(EMULATED_RUNS, EMULATOR)
        return self.first_failure(RUNS)

    def first_failure_unchanged(self):
        for binary in self.binaries:
            self.write(binary, binary.contents)
        return self.first_failure(RUNS) or self.first_failure(EMULATED_RUNS, EMULATOR)

    def first_failure(self, runs, emulator=()):
        return next(filter(None, (self.failure(*run, emulator=emulator) for run in runs)), None)

    def failure(self, program, *arguments, emulator):
        temporary = self.work / "temporary"
        shutil.rmtree(temporary, ignore_errors=True)
        temporary.mkdir()
        command = [*emulator, str(self.work / program), "--gtest_brief=1", "--gtest_fail_fast", *arguments]
        try:
            ended = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=self.work, env=self.environment,
                                   timeout=TIMEOUT_SECONDS, preexec_fn=limit, check=False)
        except subprocess.TimeoutExpired:
            return f"{program} (hangs)"
        if ended.returncode == -signal.SIGKILL:
            return f"{program} (hangs)"
        return program if ended.returncode != 0 else None


def limit():
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_SECONDS, PROCESSOR_SECONDS))
    resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def survivors_of(log):
    return set(re.findall(r"SURVIVED \S+ \w+ (\S+\+0x[0-9a-f]+)", pathlib.Path(log).read_text()))


def drawn_from(jumps, arguments):
    """Those that were asked for: COUNT [SEED], or --again LOG."""
    if arguments[:1] == ["--again"]:
        wanted = survivors_of(arguments[1])
        return [jump for jump in jumps if str(jump) in wanted]
    count, seed = (int(arguments[i]) if len(arguments) > i else default for i, default in ((0, 500), (1, 1)))
    return random.Random(seed).sample(jumps, min(count, len(jumps)))


def main():
    root, build, work = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    variants = Variants(build, work)
    jumps = [jump for jump in jumps_of(build / "libs/libqen_file_io.so", root) if variants.binaries[0].with_flipped(jump)]
    drawn = drawn_from(jumps, sys.argv[4:])
    if failure := variants.first_failure_unchanged():
        sys.exit(f"the library itself fails: {failure}")
    noticed = 0
    for number, jump in enumerate(drawn, 1):
        program = variants.noticing_program(jump)
        noticed += program is not None
        print(f"{number:4} {'noticed ' if program else 'SURVIVED'} {jump.source} {jump.mnemonic} {jump} {program or ''}", flush=True)
    print(f"{noticed} of {len(drawn)} flipped jumps noticed, {noticed / len(drawn):.1%}; drawn from {len(jumps)}")
    return 0 if noticed >= NOTICED_AT_LEAST * len(drawn) else 1


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Runs the benchmarks in interleaved rounds and prints one table of ratios: what the library takes over what the hardware or
a peer takes for the same bytes, medians of one run.

Usage: table.py PROGRAM [--rounds N] [--markdown]
"""

import argparse
import json
import statistics
import subprocess
import sys
import time

TYPES = {"int8": 1, "int16": 2, "int32": 4, "int64": 8, "float32": 4, "float64": 8,
         "uint8": 1, "uint16": 2, "uint32": 4, "uint64": 8}
CACHED = "16384"
BIG = "10000000"
NO_GOAL = None


def of_width(width):
    """A type with samples of so many bytes, for limits that depend on bytes alone."""
    return next(name for name, size in TYPES.items() if size == width)


def main_rows(names):
    """(what, measured, over, goal): goal is the largest ratio, or with a leading '>' the smallest speed-up."""
    yield "checksum of int16", f"checksum/int16/{CACHED}", f"read/int16/{CACHED}", 1.3
    yield "int16 to double", f"to float64/int16/{CACHED}", f"copy/float64/{CACHED}", 1.6
    yield "readout into a buffer", f"readout into a buffer/int16/{CACHED}", f"copy/float64/{CACHED}", 2
    yield "peak of int16", f"peak/int16/{CACHED}", f"read/int16/{CACHED}", 3
    yield "peak of float", f"peak/float32/{CACHED}", f"read/float32/{CACHED}", 2
    for name in ("int8", "int16", "int32"):
        yield f"offset of {name}", f"offset/{name}/{CACHED}", f"read and write/{name}/{CACHED}", 3
    for name in ("float32", "float64"):
        yield f"ordered sum of {name}", f"ordered sum/{name}/{CACHED}", f"chain of additions/{name}/{CACHED}", 1.1
    yield "checksum of int16, 10 M", f"checksum/int16/{BIG}", f"read/int16/{BIG}", NO_GOAL
    yield "readout into a buffer, 10 M", f"readout into a buffer/int16/{BIG}", f"copy/float64/{BIG}", NO_GOAL
    yield "naive checksum over the library's", f"naive checksum/int16/{CACHED}", f"checksum/int16/{CACHED}", NO_GOAL
    yield "naive readout", f"naive readout/int16/{CACHED}", f"physical values/int16/{CACHED}", NO_GOAL
    yield "naive peak", f"naive peak/int16/{CACHED}", f"peak/int16/{CACHED}", NO_GOAL
    yield "write a file of 10 M int16", "write file/10M", "bare write/10M", 1.15
    yield "read it", "read file/10M", "bare read/10M", 1.25
    yield "write the same as WAV", "write WAV/10M", "bare write/10M", NO_GOAL
    yield "read that", "read WAV/10M", "bare read/10M", NO_GOAL
    yield "archive out, 1 M int16", "write archive/1M", "copy/1M", 2
    yield "archive in", "read archive/1M", "copy/1M", 2
    yield "details document", "write details", "print details", 3
    for name in sorted(n.split("/", 1)[1] for n in names if n.startswith("compress zlib/")):
        yield f"compress {name}, times zlib's speed", f"compress zlib/{name}", f"compress signal/{name}", "> 2"
        yield f"uncompress {name}, times zlib's speed", f"uncompress zlib/{name}", f"uncompress signal/{name}", "> 1.4"
        for way in ("compress", "uncompress"):
            yield f"{way} {name} over the codec", f"{way} signal/{name}", f"{way} codec and read/{name}", 1.05
        yield f"bytes of {name} over zlib's", f"bytes of compress signal/{name}", f"bytes of compress zlib/{name}", 1.01
    yield "thinning alone, 10 M entries", f"thinning alone/{BIG}", f"copy entries/{BIG}", 3
    yield "time of an entry, 10^7 over 10^4", f"of an entry/{BIG}", "of an entry/10000", 1.6
    yield "thinning over its codec, 1 M entries", "thin zlib/1000000", "read and write zlib/1000000", 1.3


def appendix_rows():
    for name, width in TYPES.items():
        yield f"checksum of {name}", f"checksum/{name}/{CACHED}", f"read/{name}/{CACHED}", 3
        yield f"peak of {name}", f"peak/{name}/{CACHED}", f"read/{name}/{CACHED}", 3
        yield f"physical values of {name}", f"physical values/{name}/{CACHED}", f"copy/float64/{CACHED}", 3
        for target, target_width in TYPES.items():
            limit = max(width, target_width)
            yield f"{name} to {target}", f"to {target}/{name}/{CACHED}", f"copy/{of_width(limit)}/{CACHED}", 3


def run(program, rounds):
    """Median processor seconds of each benchmark, its bytes as "bytes of NAME", and what follows from them."""
    command = [program, f"--benchmark_repetitions={rounds}", "--benchmark_enable_random_interleaving=true",
               "--benchmark_min_time=0.02", "--benchmark_format=json"]
    report = json.loads(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
    times = {}
    for one in report["benchmarks"]:
        if one["run_type"] != "iteration":
            continue
        if one.get("error_occurred"):
            sys.exit(f"{one['name']}: {one['error_message']}")
        times.setdefault(one["name"], []).append(one["cpu_time"] * units[one["time_unit"]])
        if "bytes" in one:
            times.setdefault("bytes of " + one["name"], []).append(one["bytes"])
    medians = {name: statistics.median(values) for name, values in times.items()}
    for count in [name.split("/")[1] for name in medians if name.startswith("thin uncompressed/")]:
        alone = medians[f"thin uncompressed/{count}"] - medians[f"read and write uncompressed/{count}"]
        medians[f"thinning alone/{count}"] = alone
        medians[f"of an entry/{count}"] = alone / int(count)
    for name in [name for name in medians if " codec/" in name]:
        recording = name.split("/", 1)[1]
        medians[name.replace(" codec/", " codec and read/")] = medians[name] + medians[f"read/{recording}"]
    return medians


def add_numpy(medians, rounds):
    """The peer that Python users have, where it is installed."""
    try:
        import numpy
    except ImportError:
        print("numpy is not installed: no row for it")
        return
    samples = (numpy.arange(int(CACHED)) % 4001 - 2000).astype(numpy.int16)
    values = numpy.empty(samples.size)

    def readout():
        numpy.subtract(samples, 1.5, out=values)
        numpy.multiply(values, 0.25, out=values)

    for name, work in (("numpy readout", readout), ("numpy checksum", lambda: numpy.bitwise_xor.reduce(samples)),
                       ("numpy peak", lambda: max(-int(samples.min()), int(samples.max())))):
        times = []
        for _ in range(rounds * 20):
            start = time.process_time()
            for _ in range(20):
                work()
            times.append((time.process_time() - start) / 20)
        medians[name] = statistics.median(times)


def numpy_rows(medians):
    if "numpy readout" in medians:
        yield "numpy's readout over the library's", "numpy readout", f"readout into a buffer/int16/{CACHED}", NO_GOAL
        yield "numpy's exclusive or", "numpy checksum", f"checksum/int16/{CACHED}", NO_GOAL
        yield "numpy's peak", "numpy peak", f"peak/int16/{CACHED}", NO_GOAL


def verdict(ratio, goal):
    if goal is NO_GOAL:
        return "", ""
    if isinstance(goal, str):
        return goal, "" if ratio >= float(goal[1:]) else "missed"
    return f"{goal:g}", "" if ratio <= goal else "missed"


def print_table(rows, medians, markdown):
    pattern = "| {:48} | {:>10} | {:>6} | {:>6} | {} |" if markdown else "{:50} {:>10} {:>6} {:>6} {}"
    print(pattern.format("what", "time", "ratio", "goal", ""))
    if markdown:
        print("|---|--:|--:|--:|---|")
    for what, measured, over, goal in rows:
        if measured not in medians:
            continue
        ratio = medians[measured] / medians[over]
        took = f"{medians[measured]:.0f}" if measured.startswith("bytes") else f"{medians[measured] * 1e6:.4g} us"
        print(pattern.format(what, took, f"{ratio:.2f}", *verdict(ratio, goal)))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program")
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--markdown", action="store_true")
    options = parser.parse_args()
    medians = run(options.program, options.rounds)
    add_numpy(medians, options.rounds)
    print_table([*main_rows(medians), *numpy_rows(medians)], medians, options.markdown)
    print("\nAll types and all widening conversions, 16,384 samples in the cache:\n")
    print_table(appendix_rows(), medians, options.markdown)
    return 0


if __name__ == "__main__":
    sys.exit(main())

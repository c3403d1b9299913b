#!/usr/bin/env python3
"""Tries the wrong variants of mutants.toml: copies the sources, builds each variant and runs the test programs until one
fails. A variant that no program notices is a survivor, and one survivor makes the exit status 1.

Usage: try_mutants.py ROOT WORK_FOLDER [TEXT]    only variants whose name or file contains TEXT
       try_mutants.py --check ROOT               only that each variant still finds its place in the sources
"""

import pathlib
import shutil
import subprocess
import sys
import tomllib

# By lane; the store has programs of its own, and what they show of the libraries the libraries' programs show, too.
PROGRAMS = {
    "dev": ["qen_internal_tests", "qen_tests", "qen_thread_tests", "qen_memory_tests", "qen_failing_memory_tests"],
    "tsan": ["qen_thread_tests"],
}
STORE_PROGRAMS = {
    "dev": ["qen_store_check_tests", "qen_store_internal_tests", "qen_store_tests"],
    "tsan": ["qen_store_thread_tests"],
}
TIMEOUT_SECONDS = 300


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)


def copy_sources(root, target):
    shutil.rmtree(target, ignore_errors=True)
    listed = run("git", "-C", str(root), "ls-files", "--cached", "--others", "--exclude-standard").stdout.splitlines()
    for name in listed:
        if (root / name).is_file():
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(root / name, target / name)


def configure(source, lane):
    configured = run("cmake", "--preset", lane, "-DQEN_TOOLS=OFF", cwd=source)
    if configured.returncode != 0:
        sys.exit(configured.stdout)


def lane_of(mutant):
    return mutant.get("lane", "dev")


def programs_of(mutant):
    """The test programs for the part of the tree that a variant is of."""
    return (STORE_PROGRAMS if mutant["file"].startswith("store/") else PROGRAMS)[lane_of(mutant)]


def folder_of(program):
    return "tests/store" if program.startswith("qen_store") else "tests"


def noticing_program(source, lane, programs):
    """Name of the first test program that fails, or None."""
    for program in programs:
        built = run("cmake", "--build", f"build/{lane}", "--target", program, cwd=source)
        if built.returncode != 0:
            sys.exit(f"does not build:\n{built.stdout[-3000:]}")
        try:
            tested = run(f"build/{lane}/{folder_of(program)}/{program}", "--gtest_brief=1", "--gtest_fail_fast",
                         cwd=source, timeout=TIMEOUT_SECONDS)
        except subprocess.TimeoutExpired:
            return f"{program} (hangs)"
        if tested.returncode != 0:
            failed = [line for line in tested.stdout.splitlines() if "FAILED" in line or "WARNING: Thread" in line]
            return f"{program}: {failed[0] if failed else 'ends with an error'}"
    return None


def read_mutants(root):
    """All variants; ends the run when one does not find its text exactly once."""
    mutants = tomllib.loads((root / "tests/mutants/mutants.toml").read_text())["mutant"]
    lost = [m for m in mutants if (root / m["file"]).read_text().count(m["old"]) != 1 or m["old"] == m["new"]]
    if lost:
        sys.exit("\n".join(f"not found exactly once in {m['file']}: {m['name']}" for m in lost))
    return mutants


def main():
    if sys.argv[1] == "--check":
        print(f"{len(read_mutants(pathlib.Path(sys.argv[2]).resolve()))} wrong variants find their places")
        return 0
    root = pathlib.Path(sys.argv[1]).resolve()
    source = pathlib.Path(sys.argv[2]).resolve() / "source"
    wanted = sys.argv[3] if len(sys.argv) > 3 else ""
    mutants = [m for m in read_mutants(root) if wanted in m["name"] or wanted in m["file"]]
    copy_sources(root, source)
    survivors = 0
    for lane in sorted({lane_of(m) for m in mutants}):
        configure(source, lane)
        programs = dict.fromkeys(program for m in mutants if lane_of(m) == lane for program in programs_of(m))
        noticed = noticing_program(source, lane, programs)
        if noticed:
            sys.exit(f"the library itself fails: {noticed}")
    for number, mutant in enumerate(mutants, 1):
        path = source / mutant["file"]
        original = path.read_text()
        path.write_text(original.replace(mutant["old"], mutant["new"]))
        noticed = noticing_program(source, lane_of(mutant), programs_of(mutant))
        path.write_text(original)
        survivors += noticed is None
        print(f"{number:2} {'caught  ' if noticed else 'SURVIVED'} {mutant['name']}\n            {noticed or ''}", flush=True)
    print(f"{len(mutants) - survivors} of {len(mutants)} wrong variants caught")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())

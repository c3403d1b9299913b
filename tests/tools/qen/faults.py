"""Failing disks, killed processes and lost power for the tests of the tool.

The library of tests/faults stands between the tool and the C library. It counts the calls on files below one folder, lets one
of them (and those behind it) fail, or kills the process in front of one, and keeps a record of all. From a record the model
of a disk, `Disk`, tells what can be left in the folder when the power goes.
"""

import contextlib
import functools
import itertools
import os
import select
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

from support import COMMAND, Result, command_words

LIBRARY = os.environ.get("QEN_FAULTS_LIBRARY", "")
CARELESS_WRITER = command_words("QEN_CARELESS_WRITER", "careless_writer")
# Where runs take long (emulated, with sanitizers) this is the way from one call that has its turn to the next.
STRIDE = int(os.environ.get("QEN_FAULTS_STRIDE", "1"))

RECORD = struct.Struct("<IBBiiqII")
CALLS = ("", "open", "read", "write", "synchronise", "synchronise all", "truncate", "rename", "exchange", "link", "unlink", "make folder",
         "remove folder", "set mode", "duplicate", "close", "lock", "map")


@unittest.skipUnless(LIBRARY, "QEN_FAULTS_LIBRARY names no library")
class FaultTest(unittest.TestCase):
    """A test that runs the tool with faults."""

    maxDiff = None

    def scenario(self, files, *arguments, **options):
        scenario = Scenario(files, *arguments, **options)
        self.addCleanup(scenario.close)
        return scenario

    def assert_files(self, expected, actual, context):
        """Compares files without showing their bytes."""
        names = sorted(name for name in set(expected) | set(actual) if expected.get(name, "none") != actual.get(name, "none"))
        self.assertEqual([], names, context)


class Call:
    """One call on a file, as the library noted it."""

    def __init__(self, number, name, injected, result, descriptor, position, path, second, data):
        self.number, self.name, self.injected, self.result = number, name, injected, result
        self.descriptor, self.position, self.path, self.second, self.data = descriptor, position, path, second, data

    def __repr__(self):
        names = " ".join(filter(None, (self.path, self.second)))
        return "%d: %s %s = %d%s" % (self.number, self.name, names, self.result, " (fault)" if self.injected else "")


def parse_calls(log, folder):
    """The calls of a log; names are those below the folder, which itself is "."."""
    calls = []
    position = 0

    def name(text):
        return os.fsdecode(text)[len(folder) + 1:] or "." if text else ""

    while position < len(log):
        size, = struct.unpack_from("<I", log, position)
        number, kind, injected, result, descriptor, place, first, second = RECORD.unpack_from(log, position + 4)
        start = position + 4 + RECORD.size
        position += 4 + size
        calls.append(Call(number, CALLS[kind], bool(injected), result, descriptor, place, name(log[start:start + first]),
                          name(log[start + first:start + first + second]), log[start + first + second:position]))
    return calls


def files_of(folder):
    """Everything below a folder: {name: bytes}, a link as ("link", target), an empty folder as None."""
    found = {}
    for base, folders, names in os.walk(folder):
        for one in names:
            path = os.path.join(base, one)
            name = os.path.relpath(path, folder)
            if os.path.islink(path):
                found[name] = ("link", os.readlink(path))
            else:
                with open(path, "rb") as file:
                    found[name] = file.read()
        if not folders and not names and base != folder:
            found[os.path.relpath(base, folder)] = None
    return found


def fill(folder, files):
    """Makes a folder that holds exactly these files."""
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for name, data in files.items():
        path = os.path.join(folder, name)
        os.makedirs(path if data is None else os.path.dirname(path), exist_ok=True)
        if isinstance(data, tuple):
            os.symlink(data[1], path)
        elif data is not None:
            with open(path, "wb") as file:
                file.write(data)


def tell(text):
    """How much was tried: a run that tries little says so."""
    print(text, file=sys.stderr)


def is_temporary(name):
    return os.path.basename(name).startswith(".qen-")


def without_temporaries(files):
    return {name: data for name, data in files.items() if not is_temporary(name)}


class Run:
    """What a run with the library came to."""

    def __init__(self, result, calls, files, fault):
        self.result, self.calls, self.files, self.fault = result, calls, files, fault
        self.code, self.err = result.code, result.err
        self.injected = [call for call in calls if call.injected]

    def __repr__(self):
        return "%s of %s: status %d, %r, faults in %s, left %s" % (
            " ".join(map(str, self.fault)), " ".join(self.result.arguments), self.code, self.err, self.injected, sorted(self.files))


class Scenario:
    """A command with the files that it meets. Runs in a folder of its own, so that several can go at once."""

    def __init__(self, files, *arguments, command=None):
        self.files, self.arguments, self.command = files, arguments, command or COMMAND
        self.folder = os.path.realpath(tempfile.mkdtemp(prefix="qen-test-"))
        self.work = os.path.join(self.folder, "work")
        self.servers = {}

    def close(self):
        for server in self.servers.values():
            server.communicate()
        shutil.rmtree(self.folder)

    def output(self, name):
        path = os.path.join(self.folder, name)
        if not os.path.exists(path):
            return b""
        with open(path, "rb") as file:
            return file.read()

    def server(self, arguments):
        """The program with the library, which runs as often as it is asked to."""
        if arguments not in self.servers:
            variables = {"QEN_FAULTS_" + name.upper(): os.path.join(self.folder, name) for name in ("out", "err", "log")}
            # The sanitizer's library wants to be the first one, which it is in the program itself.
            # All symbols are found once, not by each run.
            variables.update(QEN_FAULTS_FOLDER=self.work, LD_PRELOAD=LIBRARY, LD_BIND_NOW="1",
                             ASAN_OPTIONS=":".join(filter(None, (os.environ.get("ASAN_OPTIONS"), "verify_asan_link_order=0"))))
            if len(self.command) > 1 and self.command[0] != sys.executable:  # an emulator, which needs no such library itself
                variables["QEMU_SET_ENV"] = "LD_PRELOAD=" + variables.pop("LD_PRELOAD")
            self.servers[arguments] = subprocess.Popen(self.command + list(arguments), env=dict(os.environ, **variables), bufsize=0,
                                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        return self.servers[arguments]

    def run(self, kind="none", at=0, repeat="once", files=None, arguments=None, plain=False):
        """One run, from these files (else those of the scenario); `arguments` stand for the scenario's. A plain file system renames
        and links, no more."""
        fill(self.work, self.files if files is None else files)
        for name in ("out", "err", "log"):
            with contextlib.suppress(FileNotFoundError):
                os.unlink(os.path.join(self.folder, name))
        arguments = self.arguments if arguments is None else arguments
        server = self.server(arguments)
        server.stdin.write(b"%s %d %s %d\n" % (kind.encode(), at, repeat.encode(), plain))
        answered, _, _ = select.select([server.stdout], [], [], 300)
        answer = server.stdout.readline() if answered else b""
        assert answer, (arguments, "does not end, or cannot be run with the library")
        return self.outcome(arguments, os.waitstatus_to_exitcode(int(answer)), self.output("out"), self.output("err"),
                            parse_calls(self.output("log"), self.work), (kind, at, repeat))

    def run_freely(self, files, arguments=None):
        """One run without the library."""
        fill(self.work, files)
        arguments = self.arguments if arguments is None else arguments
        process = subprocess.run(self.command + list(arguments), cwd=self.work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, check=False, timeout=300)
        return self.outcome(arguments, process.returncode, process.stdout, process.stderr, [], ("freely",))

    def outcome(self, arguments, code, out, err, calls, fault):
        assert b"Sanitizer" not in err and b"runtime error:" not in err, (arguments, fault, err)
        return Run(Result(arguments, code, out, err), calls, files_of(self.work), fault)

    def runs(self, kind, repeat="once", first=1, stride=None):
        """Runs with the fault at one call after another, until one meets no fault any more. That one ends well; all before it met
        the fault, so every call (or one in each stride) had its turn."""
        for at in itertools.count(first, stride or STRIDE):
            run = self.run(kind, at, repeat)
            if not run.injected and run.code >= 0 and at > max([call.number for call in run.calls], default=0):
                assert run.code == 0, run
                return
            yield run


def at_once(works):
    """Does several pieces of work at once, as many as there are processors; the first failure is raised."""
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return [future.result() for future in [pool.submit(work) for work in works]]


class Node:
    """A file of the model: what its readers see, and what is on the disk for certain."""

    def __init__(self, data=b"", durable=b""):
        self.data, self.durable = data, durable
        self.steps = []  # since it was synchronised: (position, bytes written there), or (new length, None)

    def write(self, position, data):
        self.change((position, data))

    def truncate(self, length):
        self.change((length, None))

    def change(self, step):
        self.steps.append(step)
        self.data = self.changed(self.data, step)

    def synchronise(self):
        self.durable = self.data
        self.steps = []

    @staticmethod
    def changed(data, step):
        position, written = step
        if written is None:
            return data[:position].ljust(position, b"\0")
        return data[:position].ljust(position, b"\0") + written + data[position + len(written):]

    def pieces(self):
        """What can be found of it besides nothing and all of what is not synchronised: all but one step or one step alone, of the
        first, the one in the middle and the last two, and half of the last one. What fewer steps leave was found before."""
        count = len(self.steps)
        choices = [self.steps[:-1] + [(position, written[:len(written) // 2])] for position, written in self.steps[-1:] if written]
        for i in sorted({0, count // 2, count - 2, count - 1} & set(range(count))):
            choices += [self.steps[:i] + self.steps[i + 1:], [self.steps[i]]]
        return [functools.reduce(self.changed, choice, self.durable) for choice in choices]


FOLDER = object()


class Disk:
    """The model of a disk: contents of a file are durable after its fsync, names after the fsync of their folder. Until then any
    of the changes to names may be there or not, and of the contents all, half or nothing. `in_pieces`: instead of half single pieces
    of what was written, for files that are not written once from one end to the other."""

    def __init__(self, files, in_pieces=False):
        self.in_pieces = in_pieces
        self.names = {}
        for name, data in files.items():
            self.names[name] = FOLDER if data is None else Node(data, data)
            for above in iter(lambda: os.path.dirname(name), ""):
                name = above
                self.names[name] = FOLDER
        self.durable_names = dict(self.names)
        self.pending = []  # changes to names, each {name: node, or None when it is gone}
        self.descriptors = {}

    def files(self):
        """What the processes see."""
        return self.contents(self.names, lambda node: node.data)

    @staticmethod
    def contents(names, data_of):
        def is_reachable(name):
            above = os.path.dirname(name)
            return not above or (names.get(above) is FOLDER and is_reachable(above))

        return {name: data_of(node) for name, node in names.items() if node is not FOLDER and is_reachable(name)}

    def change(self, change):
        self.pending.append(change)
        self.apply_to(self.names, change)

    @staticmethod
    def apply_to(names, change):
        for name, node in change.items():
            if node is None:
                names.pop(name, None)
            else:
                names[name] = node

    def take(self, call):
        """One call of a record."""
        if call.result < 0:
            return
        step = getattr(self, "take_" + call.name.replace(" ", "_"), None)
        if step:
            step(call)

    def take_open(self, call):
        creates, truncates = call.position & os.O_CREAT, call.position & os.O_TRUNC
        node = FOLDER if call.path == "." else self.names.get(call.path)
        if node is None:
            assert creates, call
            node = Node()
            self.change({call.path: node})
        if truncates:
            node.truncate(0)
        self.descriptors[call.result] = (node, call.path)

    def take_duplicate(self, call):
        self.descriptors[call.result] = self.descriptors[call.descriptor]

    def take_write(self, call):
        self.descriptors[call.descriptor][0].write(call.position, call.data)

    def take_truncate(self, call):
        self.descriptors[call.descriptor][0].truncate(call.position)

    def take_synchronise(self, call):
        node, path = self.descriptors[call.descriptor]
        if node is not FOLDER:
            node.synchronise()
            return
        here = lambda name: (os.path.dirname(name) or ".") == path
        for change in self.pending:
            assert len({here(name) for name in change}) == 1, "renamed from folder to folder"
        durable = [change for change in self.pending if all(map(here, change))]
        self.pending = [change for change in self.pending if change not in durable]
        for change in durable:
            self.apply_to(self.durable_names, change)

    def take_synchronise_all(self, _):
        self.pending = []
        self.durable_names = dict(self.names)
        for node in self.names.values():
            if node is not FOLDER:
                node.synchronise()

    def take_rename(self, call):
        self.change({call.path: None, call.second: self.names[call.path]})

    def take_exchange(self, call):
        self.change({call.path: self.names[call.second], call.second: self.names[call.path]})

    def take_link(self, call):
        self.change({call.second: self.names[call.path]})

    def take_unlink(self, call):
        self.change({call.path: None})

    def take_make_folder(self, call):
        self.change({call.path: FOLDER})

    def take_close(self, call):
        self.descriptors.pop(call.descriptor, None)

    def left_behind(self):
        """All that can be found when the power goes now."""
        # Of many changes: each one alone there or alone missing, and each number of the first ones.
        count = len(self.pending)
        if count <= 6:
            choices = itertools.product((False, True), repeat=count)
        else:
            choices = itertools.chain(([i < n for i in range(count)] for n in range(count + 1)),
                                      ([i != n for i in range(count)] for n in range(count)),
                                      ([i == n for i in range(count)] for n in range(count)))
        for choice in choices:
            names = dict(self.durable_names)
            for change in itertools.compress(self.pending, choice):
                self.apply_to(names, change)
            for data_of in self.choices_of_contents(names):
                yield self.contents(names, data_of)

    def choices_of_contents(self, names):
        """Functions that tell what is on the disk of a node."""
        none, whole = (lambda node: node.durable), (lambda node: node.data)
        choices = [none, whole]
        if not self.in_pieces:
            return choices + [lambda node: node.durable if node.data == node.durable else node.data[:len(node.data) // 2]]
        for one in {node for node in names.values() if node is not FOLDER and node.steps}:
            for piece in (one.durable, one.data, *one.pieces()):
                for rest in (none, whole):
                    choices.append(lambda node, one=one, piece=piece, rest=rest: piece if node is one else rest(node))
        return choices


def each_state_of_lost_power(disk, calls):
    """All that can be found when the power goes before each call and behind the last, without repetitions: (calls done, state)."""
    seen = set()
    for done in range(len(calls) + 1):
        for state in disk.left_behind():
            key = hash(tuple(sorted(state.items(), key=lambda item: item[0])))
            is_last = done == len(calls)
            if (key, is_last) not in seen:
                seen.add((key, is_last))
                yield done, state
        if done < len(calls):
            disk.take(calls[done])


def states_of_lost_power(files, calls):
    """The same as a list, and what the processes see in the end."""
    disk = Disk(files)
    return list(each_state_of_lost_power(disk, calls)), disk.files()

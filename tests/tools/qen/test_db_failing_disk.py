"""What commands on stores do on a disk that fails: each call on a file fails in turn, with each error, once and from then on forever."""

import functools
import os
import unittest

from db_fault_scenarios import CASES, beside_store, careless, case_of, is_of_store
from faults import STRIDE, Disk, FaultTest, at_once, each_state_of_lost_power, is_temporary, tell
from support import IS_FOREIGN

# The kind of fault, whether once or forever, and from one call that has its turn to the next. In a long run every call has it
# with EIO.
IN_TURN = 1 if os.environ.get("QEN_LONG_TESTS") else 4
AT_TIMES = 12
FAULTS = (("EIO", "once", IN_TURN), ("EIO", "forever", AT_TIMES), ("ENOSPC", "once", AT_TIMES), ("ENOSPC", "forever", AT_TIMES),
          ("EINTR", "once", AT_TIMES), ("short", "once", AT_TIMES), ("ENOLCK", "once", AT_TIMES), ("ENOLCK", "forever", AT_TIMES))
ALWAYS = (("EINTR", "forever"), ("short", "forever"))
# Calls on files beside the store whose failure alone keeps nothing from its place.
HARMLESS = {"close", "set mode", "unlink", "rename"}
# What would make the contents of a store another one, or later than they are said to be.
CHANGES = {"write", "synchronise", "truncate"}
# The last ones are what SQLite makes of a file that it cannot open once more, and of locks that it does not get.
REASONS = ("Input/output error", "disk I/O error", "database or disk is full", "No space left on device", "unable to open database file",
           "Interrupted system call", "attempt to write a readonly database", "locking protocol", "database is locked")


class FailingStore(FaultTest):
    def problems(self, case, new, stages, run):
        """What is wrong with the outcome of a run with faults."""
        failed = [call for call in run.injected if call.result < 0]
        problems = ["%s is left behind" % name for name in filter(is_temporary, run.files)
                    if not any(name in (call.path, call.second) for call in failed if call.name in ("unlink", "exchange"))]
        is_done = run.code == 0
        problems += case.store_problems(stages, run.files, is_done, case.partial and run.code in (3, 4))
        problems += case.file_problems(new, run.files, "is new already" in run.err)
        if is_done:
            return problems + self.problems_of_success(case, new, stages, run, failed)
        if run.code not in self.codes(case, failed):
            problems.append("status %d" % run.code)
        if not self.is_told(case, new, run, failed):
            problems.append("not told: " + run.err)
        return problems

    def problems_of_success(self, case, new, stages, run, failed):
        problems = []
        if beside_store(run.files) != beside_store(new):
            problems.append("success, but not the result")
        if run.fault[0] != "EINTR" and not all(call.name in HARMLESS for call in failed if not is_of_store(call.path) and call.path != "."):
            problems.append("success in spite of a failure")
        if any((is_of_store(call.path) or call.path == ".") and call.name in CHANGES for call in run.injected):
            problems += ["without power: " + problem for problem in self.problems_without_power(case, stages, run)]
        return problems

    @staticmethod
    def problems_without_power(case, stages, run):
        """What failed did so behind the work, or did no harm: the power may go."""
        disk = Disk({name: data for name, data in case.files.items() if is_of_store(name)}, in_pieces=True)
        for call in run.calls:
            if is_of_store(call.path) or call.path == ".":
                disk.take(call)
        return [problem for _, state in each_state_of_lost_power(disk, []) for problem in case.store_problems(stages, state, True)]

    @staticmethod
    def codes(case, failed):
        """5 for a store or a result, 3 for an input, 4 where others were done all the same, or other values were thinned."""
        first = next((call for call in failed if call.name not in ("close", "set mode")), None)
        inputs = beside_store(case.files) if case.partial else ()
        if first and first.name in ("open", "read") and any((name + "/").startswith(first.path + "/") for name in inputs):
            return {3, 4} if len(failed) == 1 else {3, 4, 5}
        return {4, 5} if case.name == "retain" else {5} if case.command is None else {1}

    def is_told(self, case, new, run, failed):
        """The store or the file is named, or the device that was not thinned, and the reason is."""
        names = {name for call in failed for path in (call.path, call.second) if path for name in self.names_for(path, new)}
        reasons = REASONS + (("database disk image is malformed",) if case.command else ())
        lines = [line for line in run.err.splitlines() if line.startswith("qen: ")]
        return any(name in line for name in names for line in lines) and any(reason in line for reason in reasons for line in lines)

    @staticmethod
    def names_for(path, new):
        """What a message may name when a call on this file fails: what is to get its name, and inputs by their folder."""
        if is_of_store(path):
            return {"qen.db", "device d1d00000"}
        if path == ".":
            return {name.partition("/")[0] for name in new}
        if is_temporary(path):
            return {name for name in new if os.path.dirname(name) == os.path.dirname(path)}
        return {path, os.path.dirname(path) or path}

    @staticmethod
    def runs(scenario, index):
        """Runs with faults; different cases begin at different calls where not every one has its turn."""
        for kind, repeat, every in FAULTS:
            every *= STRIDE
            yield from scenario.runs(kind, repeat, 1 + index % every, every)
        for kind, repeat in ALWAYS:
            yield scenario.run(kind, 1, repeat)

    def check(self, case, index):
        """@return how many runs met a fault, and how many different states they left"""
        scenario = self.scenario(case.files, *case.arguments)
        new = scenario.run()
        self.assertEqual(0, new.code, new)
        stages = case.stages(new.files)
        count, states = 0, set()
        for run in self.runs(scenario, index):
            count += 1
            self.assertGreater(len(run.injected), 0)
            self.assertEqual([], self.problems(case, new.files, stages, run), run)
            state = hash(tuple(sorted((name, data) for name, data in run.files.items() if not is_temporary(name) and name != "qen.db-shm")))
            if state not in states:
                states.add(state)
                self.check_what_follows(case, scenario, new, stages, run)
        return count, len(states)

    def check_what_follows(self, case, scenario, new, stages, run):
        """The store is good, and the same command does the rest."""
        if case.contents(run.files) is not None:
            check = scenario.run(files=run.files, arguments=("db", "check", "-q"))
            self.assertEqual((0, "", ""), (check.code, check.result.out, check.err), run)
        again = scenario.run(at=1, files=run.files, arguments=case.arguments + case.again)
        self.assertEqual(0, again.code, (run, again))
        self.assertEqual([], case.store_problems(stages, again.files, True), (run, again))
        self.assert_files(beside_store(new.files), beside_store(again.files), (run, again))

    def test_every_command_tells_of_failures_and_leaves_whole_transactions(self):
        outcomes = at_once(functools.partial(self.check, case, index) for index, case in enumerate(CASES))
        runs, states = map(sum, zip(*outcomes))
        self.assertGreater(runs, 1600 // (IN_TURN * STRIDE))
        tell("failing disk under stores: %d runs with faults of %d commands left %d different states" % (runs, len(CASES), states))

    @unittest.skipIf(IS_FOREIGN, "the careless program is none of the other machine")
    def test_careless_programs_are_noticed(self):
        def problems(manner):
            case = careless(manner)
            scenario = self.scenario(case.files, *case.arguments, command=case.command)
            new = scenario.run()
            self.assertEqual(0, new.code, new)
            stages = case.stages(new.files)
            return {problem.partition(":")[0] for kind in ("EIO", "ENOSPC") for run in scenario.runs(kind, stride=1)
                    for problem in self.problems(case, new.files, stages, run)}

        self.assertEqual(set(), problems("good"))
        self.assertIn("success, but not the result", problems("deaf"))
        self.assertIn("no whole number of transactions", problems("apart"))
        self.assertIn("the store is not sound", problems("unlogged"))
        self.assertIn("without power", problems("unsynced"))


class StoreFindings(FaultTest):
    """Single faults, each in a place where what the tool said or did was wrong."""

    def case(self, name):
        case = case_of(name)
        scenario = self.scenario(case.files, *case.arguments)
        return scenario, scenario.run().calls

    def test_a_store_that_cannot_be_read_is_not_called_damaged_alone(self):
        scenario, calls = self.case("put")
        reads = [call.number for call in calls if call.name == "read" and call.path == "qen.db"]
        self.assertGreater(len(reads), 10)
        run = scenario.run("EIO", reads[-1])
        self.assertEqual(5, run.code)
        self.assertEqual("qen: qen.db: put trend: database disk image is malformed: Input/output error", run.err.splitlines()[-1])

    def test_the_store_that_failed_is_named(self):
        for name in ("put", "import into a store"):
            scenario, calls = self.case(name)
            at = next(call.number for call in calls if call.name == "write" and call.path == "qen.db-wal")
            run = scenario.run("EIO", at)
            self.assertEqual(5, run.code, run)
            self.assertEqual("qen: qen.db: commit: disk I/O error", run.err.splitlines()[0])

    def test_a_new_store_is_on_the_disk_before_it_is_filled(self):
        """SQLite takes no notice when the folder cannot be brought to the disk."""
        scenario, calls = self.case("init")
        folders = [call.number for call in calls if call.name == "synchronise" and call.path == "."]
        self.assertEqual(4, len(folders))  # three of them are SQLite's
        self.assertEqual(0, scenario.run("EIO", folders[2]).code)
        run = scenario.run("EIO", folders[3])
        self.assertEqual((5, "qen: qen.db was made, but its folder cannot be brought to the disk: Input/output error\n"), (run.code, run.err))
        self.assertEqual(0, scenario.run(at=1, files=run.files).code)

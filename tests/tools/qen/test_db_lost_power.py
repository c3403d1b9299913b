"""What is in a store, or in files from a store, when the power goes or the process is killed while a command works, or right behind its
work. For the power each record of calls is played on the model of a disk, and each state that it may leave is opened."""

import functools
import signal
import unittest

from db_fault_scenarios import CASES, SHARED, beside_store, careless, case_of
from faults import STRIDE, Disk, FaultTest, at_once, each_state_of_lost_power, is_temporary, tell
from support import IS_FOREIGN

# What processes shared may be on the disk in any state.
GARBAGE = {SHARED: b"\xff" * 32768}


class StoreTest(FaultTest):
    def prepared(self, case):
        """The scenario, an undisturbed run, and the contents that the store may have."""
        scenario = self.scenario(case.files, *case.arguments, command=case.command)
        run = scenario.run()
        self.assertEqual(0, run.code, run)
        return scenario, run, case.stages(run.files)

    def check_what_follows(self, case, scenario, run, stages, files):
        """The store is good, and the same command does the rest; what must not be replaced is, by force."""
        if case.contents(files) is not None:
            check = scenario.run(files=files, arguments=("db", "check", "-q"))
            self.assertEqual((0, "", ""), (check.code, check.result.out, check.err), sorted(files))
        again = scenario.run(at=1, files=files, arguments=case.arguments + case.again)
        self.assertEqual(0, again.code, (sorted(files), again))
        self.assertEqual([], case.store_problems(stages, again.files, True), (sorted(files), again))
        self.assert_files(beside_store(run.files), beside_store(again.files), (sorted(files), again))


class LostStore(StoreTest):
    def states(self, case, run, every=1):
        """All that can be found, or one of `every` at work and all in the end: (whether the run had ended, files without temporary ones)."""
        disk = Disk(case.files, in_pieces=True)
        for number, (done, state) in enumerate(each_state_of_lost_power(disk, run.calls)):
            if done == len(run.calls) or number % every == 0:
                yield done == len(run.calls), {name: data for name, data in state.items() if not is_temporary(name)}
        self.assert_files(*({name: data for name, data in files.items() if data is not None and name != SHARED}
                            for files in (run.files, disk.files())), "the record is not whole")

    @staticmethod
    def problems(case, run, stages, is_over, state):
        problems = case.store_problems(stages, state, is_over)
        if is_over and beside_store(state) != beside_store(run.files):
            problems.append("over, but not the result")
        # Two files with two names: there may be one of them.
        return problems + case.file_problems(run.files, state, may_be_mixed=True)

    def check(self, case):
        """@return how many states there were, and how many were settled"""
        scenario, run, stages = self.prepared(case)
        count, settled, found = 0, 0, set()
        for is_over, state in self.states(case, run, STRIDE):
            count += 1
            self.assertEqual([], self.problems(case, run, stages, is_over, state), (case.name, count, sorted(state)))
            found.add(stages.index(case.contents(state)))
            if count % 96 == 1:
                settled += 1
                self.check_what_follows(case, scenario, run, stages, {**state, **GARBAGE})
        if STRIDE == 1:
            # Of the values that are thinned one comes first.
            self.assertEqual(set(range(len(stages))) - ({2} if case.name == "retain" else set()), found)
        return count, settled

    def test_every_state_of_the_disk_is_a_whole_number_of_transactions(self):
        outcomes = at_once(functools.partial(self.check, case) for case in CASES)
        count, settled = map(sum, zip(*outcomes))
        self.assertGreater(count, 5000 // STRIDE)
        tell("lost power under stores: %d states of the disk under %d commands, settled from %d" % (count, len(CASES), settled))

    @unittest.skipIf(IS_FOREIGN, "the careless program is none of the other machine")
    def test_careless_programs_are_noticed(self):
        def problems(manner):
            case = careless(manner)
            _, run, stages = self.prepared(case)
            return {(problem.partition(":")[0], is_over) for is_over, state in self.states(case, run)
                    for problem in self.problems(case, run, stages, is_over, state)}

        self.assertEqual(set(), problems("good"))
        self.assertIn(("success, but not the result", True), problems("unsynced"))
        self.assertIn(("no whole number of transactions", False), problems("apart"))
        self.assertIn(("the store is not sound", False), problems("unlogged"))


class KilledStore(StoreTest):
    def check(self, name):
        """@return how often the command was killed, and how many different states that left"""
        case = case_of(name)
        scenario, new, stages = self.prepared(case)
        killed, states = 0, set()
        for run in scenario.runs("kill"):
            self.assertEqual(-signal.SIGKILL, run.code, run)
            self.assertEqual([], case.store_problems(stages, run.files, False), run)
            self.assertEqual([], case.file_problems(new.files, run.files, may_be_mixed=True), run)
            killed += 1
            state = hash(tuple(sorted((name, data) for name, data in run.files.items() if not is_temporary(name) and name != SHARED)))
            # Within a transaction the log grows; most of what it is found like differs in nothing else.
            if state not in states and len(states) % 8 == 0:
                self.check_what_follows(case, scenario, new, stages, run.files)
            states.add(state)
        return killed, len(states)

    def test_every_store_is_a_whole_number_of_transactions_and_the_same_command_does_the_rest(self):
        names = ("init", "put", "put of values", "retain", "import", "import into a store")
        killed, states = map(sum, zip(*at_once(functools.partial(self.check, name) for name in names)))
        self.assertGreater(killed, 300 // STRIDE)
        tell("killed at stores: %d times, %d different states" % (killed, states))

    @unittest.skipIf(IS_FOREIGN, "the careless program is none of the other machine")
    def test_careless_programs_are_noticed(self):
        def problems(manner):
            case = careless(manner)
            scenario, _, stages = self.prepared(case)
            return {problem.partition(":")[0] for run in scenario.runs("kill", stride=1)
                    for problem in case.store_problems(stages, run.files, False)}

        self.assertEqual(set(), problems("good"))
        self.assertIn("no whole number of transactions", problems("apart"))
        self.assertIn("the store is not sound", problems("unlogged"))

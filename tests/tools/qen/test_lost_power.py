"""What is on the disk when the power goes while the tool works, or right behind its work: each record of calls is played on the model
of a disk that loses what was not brought to it."""

import os

from fault_scenarios import CASES, case_of, shrink_problems, shrunk_problems
from faults import CARELESS_WRITER, STRIDE, FaultTest, at_once, states_of_lost_power, tell, without_temporaries


def is_whole_list(name, data):
    """Of a thinning at work."""
    return os.path.basename(name).startswith(".shrink-") and data.startswith(b"qen.trend-shrink-list/1\0") and data.endswith(b"\0end\0")


class LostPower(FaultTest):
    def states(self, case):
        """The scenario, what an undisturbed run leaves, and all that can be found when the power goes: [(whether the run had ended,
        files without temporary ones)]."""
        scenario = self.scenario(case.files, *case.arguments, command=getattr(case, "command", None))
        run = scenario.run()
        self.assertEqual(0, run.code, run)
        found, final = states_of_lost_power(case.files, run.calls)
        self.assert_files({name: data for name, data in run.files.items() if data is not None}, final, "the record is not whole")
        return scenario, run.files, [(done == len(run.calls), without_temporaries(state)) for done, state in found]

    def problems(self, case, new, states):
        found = set()
        for is_over, state in states:
            for name in set(case.files) | set(new) | set(state):
                allowed = (new.get(name),) if is_over else (case.files.get(name), new.get(name))
                if state.get(name) not in allowed and (is_over or not is_whole_list(name, state[name])):
                    found.add((name, "over" if is_over else "at work"))
        return found


class LostPowerCommands(LostPower):
    def test_every_file_is_old_or_new_and_new_in_the_end(self):
        count = 0

        def check(case):
            nonlocal count
            _, new, states = self.states(case)
            self.assertEqual(set(), self.problems(case, new, states), case.name)
            count += len(states)

        at_once(lambda case=case: check(case) for case in CASES)
        self.assertGreater(count, 500)
        tell("lost power: %d states of the disk under %d commands" % (count, len(CASES)))

    def test_careless_writers_are_noticed(self):
        class Careless:
            files, command = {"a": b"old contents"}, CARELESS_WRITER

            def __init__(self, manner):
                self.arguments = (manner, "a", "new")

        def problems(manner):
            case = Careless(manner)
            _, new, states = self.states(case)
            states = [(is_over, {name: data for name, data in state.items() if name != "a.new"}) for is_over, state in states]
            return self.problems(case, new, states)

        self.assertEqual(set(), problems("good"))
        self.assertEqual({("a", "at work")}, problems("in-place"))
        self.assertEqual({("a", "at work"), ("a", "over")}, problems("unsynced"))
        self.assertEqual({("a", "over")}, problems("unnamed"))


class LostPowerShrink(LostPower):
    def check(self, name, in_place, every=1):
        """Runs the command again on the states that differ from those before, or on one in `every`."""
        case = case_of(name)
        scenario, _, states = self.states(case)
        ended = [state for is_over, state in states if is_over]
        self.assertEqual(1, len(ended))
        self.assertEqual([], shrunk_problems(case.files, ended[0], in_place))
        different = []
        for is_over, state in states:
            self.assertEqual([], shrink_problems(case.files, state), sorted(state))
            if not is_over and state not in different:
                different.append(state)
        self.assertGreater(len(different), 50)
        ends = []
        for state in different[::every * STRIDE]:
            if shrunk_problems(case.files, state, in_place):
                again = scenario.run_freely(state)
                self.assertEqual(0, again.code, (sorted(state), again))
                self.assertEqual([], shrunk_problems(case.files, without_temporaries(again.files), in_place), (sorted(state), again))
                ends.append(next((word for word in ("finished", "taken back") if word in again.err), "anew"))
        tell("lost power: %s: %d states, settled from %d" % (name, len(states), len(ends)))
        if STRIDE == 1:
            self.assertEqual({"taken back", "finished"}, set(ends) - {"anew"})

    def test_a_folder_is_thinned_by_the_same_command(self):
        self.check("trend shrink --apply", True, every=2)

    def test_files_are_thinned_by_the_same_command(self):
        self.check("trend shrink --apply of files", True, every=4)

    def test_a_folder_for_results_is_filled_by_the_same_command(self):
        self.check("trend shrink --apply -o", False, every=2)


class PowerFindings(LostPower):
    """Single faults, each in a place where it once did harm."""

    def test_new_folders_are_on_the_disk_when_the_tool_says_that_their_files_are(self):
        for name in ("convert", "trend shrink --apply -o", "demo --keep"):
            with self.subTest(name):
                _, new, states = self.states(case_of(name))
                self.assertTrue(any("/" in file for file in new))
                for is_over, state in states:
                    if is_over:
                        self.assert_files(new, state, name)

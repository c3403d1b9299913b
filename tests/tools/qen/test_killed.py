"""What is left behind when the tool is killed in front of any of its calls on files, and what the same command makes of it."""

import signal

from fault_scenarios import case_of, shrink_problems, shrunk_problems
from faults import CARELESS_WRITER, STRIDE, FaultTest, at_once, is_temporary, tell, without_temporaries

# Commands that do their work anew when they are repeated.
REPEATABLE = ("import --force", "convert --in-place", "annotate", "annotate --unit-uuid", "archive create --force", "trend merge --force",
              "trend delete --in-place", "trend dump")


class Killed(FaultTest):
    def left_behind(self, scenario):
        """The runs that were killed, one for each state of the folder that they left."""
        states = []
        killed = 0
        for run in scenario.runs("kill"):
            self.assertEqual(-signal.SIGKILL, run.code, run)
            killed += 1
            if all(without_temporaries(run.files) != without_temporaries(other.files) for other in states):
                states.append(run)
        self.assertGreaterEqual(killed, 6 // STRIDE)
        tell("killed: %s: %d times, %d states" % (" ".join(scenario.arguments[:2]), killed, len(states)))
        return states

    def broken_files(self, old, new, files):
        """The files that are neither wholly the old nor wholly the new ones."""
        return [name for name in set(old) | set(new) | set(files)
                if not is_temporary(name) and files.get(name) not in (old.get(name), new.get(name))]


class KilledCommands(Killed):
    def test_every_file_is_old_or_new_and_the_same_command_does_the_rest(self):
        def check(name):
            case = case_of(name)
            scenario = self.scenario(case.files, *case.arguments)
            new = scenario.run().files
            for run in self.left_behind(scenario):
                self.assertEqual([], self.broken_files(case.files, new, run.files), run)
                again = scenario.run(files=run.files)
                self.assertEqual(0, again.code, (run, again))
                self.assert_files(new, without_temporaries(again.files), (run, again))

        at_once(lambda name=name: check(name) for name in REPEATABLE)

    def test_what_must_not_be_replaced_says_so_and_is_done_with_force(self):
        def check(name, names):
            case = case_of(name)
            scenario = self.scenario(case.files, *case.arguments)
            new = scenario.run().files
            for run in self.left_behind(scenario):
                self.assertEqual([], self.broken_files(case.files, new, run.files), run)
                again = scenario.run(files=run.files)
                if again.code != 0:
                    self.assertRegex(again.err, "(%s) not written: the file exists, --force replaces it\n$" % "|".join(names))
                    again = scenario.run(files=run.files, arguments=(*case.arguments, "--force"))
                self.assertEqual(0, again.code, (run, again))
                self.assert_files(new, without_temporaries(again.files), (run, again))

        at_once(lambda name=name, names=names: check(name, names) for name, names in (
            ("import", ("run.qts", "run.xml")), ("archive create", ("two.qta",)), ("trend merge", ("c.qtr", "c.xml")),
            ("trend import", ("rms-1.qtr", "rms-1.xml"))))

    def test_a_writer_in_place_is_noticed(self):
        scenario = self.scenario({"a": b"old contents"}, "in-place", "a", "new", command=CARELESS_WRITER)
        new = scenario.run().files
        broken = [run for run in scenario.runs("kill", stride=1) if self.broken_files(scenario.files, new, run.files)]
        self.assertEqual(1, len(broken))  # between truncating and writing
        good = self.scenario({"a": b"old contents"}, "good", "a", "new", command=CARELESS_WRITER)
        for run in good.runs("kill", stride=1):
            files = {name: data for name, data in run.files.items() if name != "a.new"}
            self.assertEqual([], self.broken_files(good.files, new, files), run)


class KilledShrink(Killed):
    def check(self, name, in_place):
        case = case_of(name)
        scenario = self.scenario(case.files, *case.arguments)
        ends = set()
        for run in self.left_behind(scenario):
            self.assertEqual([], shrink_problems(case.files, run.files), run)
            if not shrunk_problems(case.files, without_temporaries(run.files), in_place):
                ends.add("done")
                continue
            again = scenario.run_freely(run.files)
            self.assertEqual(0, again.code, (run, again))
            self.assertEqual([], shrunk_problems(case.files, without_temporaries(again.files), in_place), (run, again))
            ends.add(next((word for word in ("finished", "taken back") if word in again.err), "anew"))
        if STRIDE == 1:
            self.assertEqual({"anew", "taken back", "finished", "done"}, ends)

    def test_a_folder_is_thinned_by_the_same_command(self):
        self.check("trend shrink --apply", True)

    def test_files_are_thinned_by_the_same_command(self):
        """Also when some of them are gone already."""
        self.check("trend shrink --apply of files", True)

    def test_a_folder_for_results_is_filled_by_the_same_command(self):
        self.check("trend shrink --apply -o", False)

"""What is on the disk when the power goes while the tool works, or right behind its work."""

from fault_scenarios import CASES
from faults import FaultTest, states_of_lost_power


class PowerFindings(FaultTest):
    """Single faults, each in a place where it once did harm."""

    def test_new_folders_are_on_the_disk_when_the_tool_says_that_their_files_are(self):
        for name in ("convert", "trend shrink --apply -o", "demo --keep"):
            with self.subTest(name):
                case = next(case for case in CASES if case.name == name)
                run = self.scenario(case.files, *case.arguments).run()
                self.assertIn("make folder", [call.name for call in run.calls])
                states, _ = states_of_lost_power(case.files, run.calls)
                for done, state in states:
                    if done == len(run.calls):
                        self.assert_files(run.files, state, name)

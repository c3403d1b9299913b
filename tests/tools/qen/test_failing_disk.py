"""What the tool does on a disk that fails."""

from fault_scenarios import CASES
from faults import FaultTest


class DiskFindings(FaultTest):
    """Single faults, each in a place where it once did harm."""

    def case(self, name):
        case = next(case for case in CASES if case.name == name)
        return self.scenario(case.files, *case.arguments)

    def test_a_sound_file_that_cannot_be_read_is_no_other_sound_file(self):
        """The header of a WAV file whose middle cannot be read makes a fine header of other samples."""
        scenario = self.case("import of two channels")
        reads = [call.number for call in scenario.run().calls if call.name == "read"]
        self.assertGreater(len(reads), 5)
        for at in reads:
            run = scenario.run("EIO", at)
            self.assertEqual((3, "qen: rig.wav: cannot be read: Input/output error\n", scenario.files), (run.code, run.err, run.files))

    def test_cut_samples_that_are_accepted_are_not_unreadable_ones(self):
        case = next(case for case in CASES if case.name == "import of two channels")
        scenario = self.scenario(case.files, *case.arguments, "--accept-cut")
        reads = [call.number for call in scenario.run().calls if call.name == "read"]
        for at in reads:
            run = scenario.run("EIO", at)
            self.assertEqual((3, "qen: rig.wav: cannot be read: Input/output error\n", scenario.files), (run.code, run.err, run.files))

    def test_every_failed_write_of_a_sound_file_is_noticed(self):
        scenario = self.case("export to WAV")
        writes = [call.number for call in scenario.run().calls if call.name == "write"]
        self.assertGreater(len(writes), 1)  # the header twice
        for at in writes:
            run = scenario.run("EIO", at)
            self.assertEqual((5, "qen: pump.qts: pump.wav cannot be written: Input/output error\n", scenario.files), (run.code, run.err, run.files))

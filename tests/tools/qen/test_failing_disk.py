"""What the tool does on a disk that fails: each call on a file fails in turn, with each error, once and from then on forever."""

from fault_scenarios import CASES, case_of
from faults import FaultTest, is_temporary, without_temporaries

# Commands that replace a signal or a trend together with its document.
REPLACING = ("import --force", "convert --in-place", "annotate --unit-uuid", "trend merge --force", "trend delete --in-place")


class DiskFindings(FaultTest):
    """Single faults, each in a place where it once did harm."""

    def case(self, name):
        case = case_of(name)
        return self.scenario(case.files, *case.arguments)

    def test_a_sound_file_that_cannot_be_read_is_no_other_sound_file(self):
        """The header of a WAV file whose middle cannot be read makes a fine header of other samples."""
        scenario = self.case("import of two channels")
        reads = [call.number for call in scenario.run().calls if call.name == "read"]
        self.assertGreater(len(reads), 5)
        for at in reads:
            run = scenario.run("EIO", at)
            self.assertEqual((3, "qen: rig.wav: cannot be read: Input/output error\n"), (run.code, run.err))
            self.assert_files(scenario.files, run.files, run)

    def test_cut_samples_that_are_accepted_are_not_unreadable_ones(self):
        case = case_of("import of two channels")
        scenario = self.scenario(case.files, *case.arguments, "--accept-cut")
        reads = [call.number for call in scenario.run().calls if call.name == "read"]
        for at in reads:
            run = scenario.run("EIO", at)
            self.assertEqual((3, "qen: rig.wav: cannot be read: Input/output error\n"), (run.code, run.err))
            self.assert_files(scenario.files, run.files, run)

    def test_every_failed_write_of_a_sound_file_is_noticed(self):
        scenario = self.case("export to WAV")
        writes = [call.number for call in scenario.run().calls if call.name == "write"]
        self.assertGreater(len(writes), 1)  # the header twice
        for at in writes:
            run = scenario.run("EIO", at)
            self.assertEqual((5, "qen: pump.qts: pump.wav cannot be written: Input/output error\n"), (run.code, run.err))
            self.assert_files(scenario.files, run.files, run)

    def test_a_file_that_is_refused_its_name_leaves_its_document_as_it_was(self):
        for name in REPLACING:
            with self.subTest(name):
                scenario = self.case(name)
                last = [call for call in scenario.run().calls if call.name in ("rename", "exchange")][-1]
                for kind in ("EIO", "EACCES"):
                    at = next(call.number for call in scenario.run(kind).calls if call.name == last.name and call.second == last.second)
                    run = scenario.run(kind, at)
                    self.assertEqual(5, run.code)
                    self.assert_files(scenario.files, run.files, run)
                    self.assertIn("%s cannot be written: " % last.second, run.err)

    def test_what_cannot_be_taken_back_is_told(self):
        for name in REPLACING:
            with self.subTest(name):
                scenario = self.case(name)
                last = [call for call in scenario.run().calls if call.name in ("rename", "exchange")][-1]
                run = scenario.run("EIO", last.number, "forever")
                document = last.second.rsplit(".", 1)[0] + ".xml"
                self.assertEqual(5, run.code)
                kept = [file for file, data in run.files.items() if is_temporary(file) and data == scenario.files[document]]
                self.assertEqual(1, len(kept), run)
                self.assertRegex(run.err, r"%s cannot be written: Input/output error; (.*/)?%s is new already, what it held is (.*/)?%s\n$"
                                 % (last.second, document, kept[0]))

    def test_a_file_system_that_can_only_rename_and_link_is_enough(self):
        for case in CASES:
            with self.subTest(case.name):
                scenario = self.scenario(case.files, *case.arguments)
                run = scenario.run(plain=True)
                self.assertEqual(0, run.code)
                self.assert_files(scenario.run().files, run.files, run)

    def test_there_a_second_name_that_stays_is_no_failure(self):
        scenario = self.case("import")
        unlinks = [call.number for call in scenario.run(plain=True).calls if call.name == "unlink"]
        self.assertEqual(2, len(unlinks))
        for at in unlinks:
            run = scenario.run("EIO", at, plain=True)
            self.assertEqual(0, run.code)
            self.assert_files(scenario.run().files, without_temporaries(run.files), run)

    def test_there_a_document_that_is_new_already_is_told(self):
        scenario = self.case("convert --in-place")
        at = [call.number for call in scenario.run(plain=True).calls if call.name == "rename"][-1]
        run = scenario.run("EIO", at, plain=True)
        self.assertEqual((5, "qen: pump.qts: pump.qts cannot be written: Input/output error; pump.xml is new already\n"), (run.code, run.err))
        self.assert_files({**scenario.files, "pump.xml": scenario.run().files["pump.xml"]}, run.files, run)

    def test_a_folder_that_cannot_be_brought_to_the_disk_is_told(self):
        scenario = self.case("import")
        opened = [call.number for call in scenario.run().calls if call.name == "open" and call.path == "."]
        self.assertEqual(1, len(opened))
        for at in (opened[0], opened[0] + 1):
            run = scenario.run("EIO", at)
            self.assertEqual((5, "qen: run.csv: run.xml was written, but its folder cannot be brought to the disk: Input/output error\n"),
                             (run.code, run.err))
            self.assert_files(scenario.run().files, run.files, run)

    def test_a_folder_that_may_be_written_but_not_read_is_good_enough(self):
        scenario = self.case("import")
        at = next(call.number for call in scenario.run("EACCES").calls if call.name == "open" and call.path == ".")
        run = scenario.run("EACCES", at)
        self.assertEqual(0, run.code)
        self.assertIn("synchronise all", [call.name for call in run.calls])

    def test_the_file_that_cannot_be_written_is_named(self):
        """Not the one that is read."""
        scenario = self.case("import")
        calls = scenario.run().calls
        opened = [call.number for call in calls if call.name == "open" and is_temporary(call.path)]
        written = [call.number for call in calls if call.name == "write"]
        for at, name in ((opened[0], "run.qts"), (opened[1], "run.xml"), (opened[2], "run.qts"), (written[0], "run.xml"), (written[1], "run.qts")):
            run = scenario.run("EIO", at)
            self.assertEqual((5, "qen: run.csv: %s cannot be written: Input/output error\n" % name), (run.code, run.err))
            self.assert_files(scenario.files, run.files, run)

    def test_a_written_file_that_cannot_be_read_back_is_a_failure_of_the_disk(self):
        scenario = self.case("convert --in-place")
        calls = scenario.run().calls
        written = max(call.number for call in calls if call.name == "write")
        checked = [call.number for call in calls if call.name in ("open", "read") and call.number > written and is_temporary(call.path)]
        self.assertGreaterEqual(len(checked), 4)  # verified, then read
        for at in checked:
            run = scenario.run("EIO", at)
            self.assertRegex(run.err, r"^qen: pump\.qts: not converted: the written file cannot be read back: .*\n$")
            self.assertEqual(5, run.code)
            self.assert_files(scenario.files, run.files, run)

    def test_a_document_that_cannot_be_read_is_not_taken_for_a_foreign_one(self):
        scenario = self.case("trend merge --force")
        calls = [call for call in scenario.run().calls if call.path == "c.xml" and call.name in ("open", "read")]
        self.assertGreaterEqual(len(calls), 2)
        for call in calls:
            run = scenario.run("EIO", call.number)
            reason = {"open": "opened", "read": "read"}[call.name]
            self.assertEqual((5, "qen: c.xml exists and cannot be %s: Input/output error: choose another name\n" % reason), (run.code, run.err))
            self.assert_files(scenario.files, run.files, run)

    def test_what_the_demonstration_cannot_read_back_is_not_proved(self):
        scenario = self.case("demo --keep")
        calls = scenario.run().calls
        for name in ("kept/tiny-imported.qts", "kept/tiny-zlib.xml", "kept/tiny-exported.csv"):
            read = [call.number for call in calls if call.name in ("open", "read") and call.path == name]
            self.assertGreaterEqual(len(read), 2, name)
            for at in (read[0], read[1], read[-1]):
                run = scenario.run("EIO", at)
                self.assertEqual(1, run.code, run)
                self.assertIn("\nNOT PROVED: ", run.result.out)
                self.assertNotIn("qen: ", run.err)

    def test_trends_that_the_demonstration_cannot_read_back_are_not_proved(self):
        scenario = self.scenario({}, "demo", "--keep", ".")
        calls = scenario.run().calls
        for name in ("trend-1.qtr", "trend-thinned.xml", "machine.wav"):
            at = next(call.number for call in calls if call.name == "read" and call.path == name)
            run = scenario.run("EIO", at)
            if name == "machine.wav":
                self.assertEqual((3, "qen: ./machine.wav: cannot be read: Input/output error\n"), (run.code, run.err))
            else:
                self.assertEqual(1, run.code, run)
                self.assertRegex(run.err, r"^qen: NOT PROVED: \./%s\.qtr: .*cannot be read: Input/output error\n$" % name[:-4])

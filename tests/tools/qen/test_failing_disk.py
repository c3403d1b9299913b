"""What the tool does on a disk that fails: each call on a file fails in turn, with each error, once and from then on forever."""

import functools

from fault_scenarios import CASES, Case, case_of, shrink_problems, shrunk_problems
from faults import CARELESS_WRITER, STRIDE, FaultTest, at_once, is_temporary, tell, without_temporaries

# Commands that replace a signal or a trend together with its document.
REPLACING = ("import --force", "convert --in-place", "annotate --unit-uuid", "trend merge --force", "trend delete --in-place")

# The kind of fault, whether once or forever, and from one call that has its turn to the next: most of what fails forever
# fails like once, and what is interrupted or cut short is repeated in few places.
FAULTS = (("EIO", "once", 1), ("EIO", "forever", 8), ("ENOSPC", "forever", 3), ("EINTR", "once", 6), ("short", "once", 4))
# Of these one run each: every second call is interrupted, every transfer cut short.
ALWAYS = (("EINTR", "forever"), ("short", "forever"))

# Calls whose failure alone keeps nothing from its place: a file that was read is closed, its mode is set, an old name goes,
# and where a name cannot be taken in one step a link is made.
HARMLESS = {"close", "set mode", "unlink", "rename"}
TOLD = "was written, but its folder cannot be brought to the disk"
MIXED = "is new already"
# Several inputs or results, each of which counts for itself.
PARTS = {"archive create --force", "archive extract"}
# Like others in all that they do with files, but for names that must be free.
LEFT_OUT = {"archive create", "trend merge", "trend shrink --apply of files"}


class FailingDisk(FaultTest):
    """For every command that writes."""

    def problems(self, case, new, run):
        """What is wrong with the outcome of a run with faults."""
        files = self.contents(run)
        failed = [call for call in run.injected if call.result < 0]
        problems = []
        for name in filter(is_temporary, run.files):
            if not any(name in (call.path, call.second) for call in failed if call.name in ("unlink", "exchange")):
                problems.append("%s is left behind" % name)
        if run.code == 0:
            if files != new:
                problems.append("success, but not the result")
            if run.fault[0] != "EINTR" and not all(call.name in HARMLESS for call in failed if not self.is_behind_list(call, run)):
                problems.append("success in spite of a failure")
            return problems
        if run.code not in self.codes(case, failed):
            problems.append("status %d" % run.code)
        if "\nqen: " not in "\n" + run.err and "\nNOT PROVED: " not in run.result.out:
            problems.append("silent")
        if "shrink" in case.name:
            return problems + shrink_problems(case.files, files)
        return problems + self.file_problems(case, new, files, run)

    @staticmethod
    def is_behind_list(call, run):
        """A list of trends that is gone already need not be so for certain: one that comes back tells of what is done."""
        gone = [i for i, one in enumerate(run.calls) if one.name == "unlink" and ".shrink-" in one.path and one.result == 0]
        return bool(gone) and run.calls.index(call) > gone[0]

    @staticmethod
    def contents(run):
        return {name: data for name, data in without_temporaries(run.files).items() if data is not None}

    @staticmethod
    def codes(case, failed):
        """5 for what cannot be written, 3 for what cannot be read, 1 for what is not proved; 4 where something was done all the
        same. Documents are read also to see whether they may be replaced, and what was written to check it."""
        codes = {5}
        first = next((call for call in failed if call.name not in ("close", "set mode")), None)
        if first and first.name in ("open", "read"):
            codes |= {1} if case.name.startswith("demo") else set() if is_temporary(first.path) else {3}
            codes |= {3} if first.path in case.files else set()
        return codes | ({4} if case.name in PARTS else set())

    @staticmethod
    def file_problems(case, new, files, run):
        problems = []
        for group in case.groups:
            is_old = all(files.get(name) == case.files.get(name) for name in group)
            is_new = all(files.get(name) == new.get(name) for name in group)
            if not is_old and not is_new and MIXED not in run.err and run.code != 4:
                problems.append("%s are neither old nor new" % sorted(group))
            if is_new and len(case.groups) == 1 and TOLD not in run.err:
                problems.append("failure, but the result")
        for name in set(case.files) | set(new) | set(files):
            allowed = [case.files.get(name), new.get(name)] + (case.partial if run.code == 4 else [])
            if files.get(name) not in allowed:
                problems.append("%s is neither old nor new" % name)
        return problems

    @staticmethod
    def runs(scenario, index):
        """Runs with faults; different cases begin at different calls where not every one has its turn."""
        for kind, repeat, every in FAULTS:
            every *= STRIDE * (8 if "demo" in scenario.arguments else 1)
            yield from scenario.runs(kind, repeat, 1 + index % every, every)
        for kind, repeat in ALWAYS:
            yield scenario.run(kind, 1, repeat)

    def check(self, case, index):
        """@return how many runs met a fault"""
        scenario = self.scenario(case.files, *case.arguments)
        new = self.contents(scenario.run())
        count = 0
        for run in self.runs(scenario, index):
            count += 1
            self.assertGreater(len(run.injected), 0)
            self.assertEqual([], self.problems(case, new, run), run)
            if "shrink" in case.name and run.code == 5 and run.fault[2] == "once":
                again = scenario.run_freely(run.files)
                self.assertEqual(0, again.code, (run, again))
                self.assertEqual([], shrunk_problems(case.files, self.contents(again), "-o" not in case.name), (run, again))
        return count

    def test_every_command_tells_of_failures_and_leaves_old_or_new_files(self):
        cases = [case for case in CASES if case.name not in LEFT_OUT]
        counts = at_once(functools.partial(self.check, case, index) for index, case in enumerate(cases))
        self.assertGreater(sum(counts), 900 // STRIDE)
        tell("failing disk: %d runs with faults of %d commands" % (sum(counts), len(cases)))

    def test_careless_writers_are_noticed(self):
        case = Case("careless", {"a": b"old contents"}, groups=[{"a"}])

        def problems(manner):
            scenario = self.scenario(case.files, manner, "a", "new contents", command=CARELESS_WRITER)
            new = self.contents(scenario.run())
            return {problem for kind in ("EIO", "short") for run in scenario.runs(kind, stride=1)
                    for problem in self.problems(case, new, run)}

        self.assertEqual({"failure, but the result"}, problems("good"))
        self.assertIn("a is neither old nor new", problems("in-place"))
        self.assertIn("success, but not the result", problems("deaf"))
        self.assertIn("success in spite of a failure", problems("deaf"))
        self.assertIn("a.new is neither old nor new", problems("untidy"))


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

    def test_an_old_trend_that_cannot_be_removed_is_named_and_goes_in_the_next_run(self):
        scenario = self.case("trend shrink --apply of files")
        calls = scenario.run().calls
        given = max(call.number for call in calls if call.name == "rename")
        for name in ("a.qtr", "b.xml"):
            for what in ("open", "read", "unlink"):
                at = next(call.number for call in calls if call.number > given and call.name == what and call.path == name)
                run = scenario.run("EIO", at)
                self.assertEqual(5, run.code, run)
                self.assertRegex(run.err, r"^qen: the new trends are complete, but /.*/%s cannot be (opened|read|removed): Input/output error; "
                                 r"the same command again goes on\n$" % name)
                self.assertIn(name, run.files)
                again = scenario.run_freely(run.files)
                self.assertEqual((0, []), (again.code, shrunk_problems(scenario.files, again.files, True)), (run, again))

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

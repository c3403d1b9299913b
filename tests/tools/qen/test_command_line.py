import json
import os
import re
import resource
import signal
import stat
import time

from support import ToolTest, data_of_wav, pack, parse_signal_file, signal_of, values_of, wav

COMMANDS = ("import", "info", "verify", "convert", "export", "annotate", "details", "archive", "demo")
ONE = signal_of("int16", [1, 2, 3])


class Usage(ToolTest):
    def test_help_names_every_command_and_every_option_explains_itself(self):
        overview = self.run_tool("--help")
        self.assertEqual("", overview.err)
        for command in COMMANDS:
            self.assertRegex(overview.out, "\n  %s  +[a-z]" % command)
            text = self.run_tool(command, "--help").out
            self.assertIn("Examples:\n  qen " + command, text)
            self.assertEqual(text, self.run_tool("help", command).out)
            self.assertEqual(text, self.run_tool(command, "-h").out)
            options = re.findall(r"^  (-[^\n]*)\n(?: {28,}(\S))?", text, re.M)
            for line, continued in options:
                self.assertTrue(continued or re.search(r"\S  +\S", line), line)

    def test_examples_in_the_help_use_options_that_exist(self):
        for command in COMMANDS:
            text = self.run_tool(command, "--help").out
            known = set(re.findall(r"(--[a-z][a-z-]*)", text.split("Examples:")[0])) | {"-o", "-d", "-f", "-q", "-v"}
            for line in text.split("Examples:\n")[1].splitlines():
                used = re.findall(r" (--?[a-z][a-z-]*)", line.split(" | ")[0].split("  ")[1])
                self.assertLessEqual(set(used), known, line)

    def test_version(self):
        self.assertRegex(self.run_tool("--version").out, r"^qen \d+\.\d+\.\d+\n$")

    def test_wrong_usage(self):
        result = self.run_tool(code=2)
        self.assertEqual("", result.out)
        self.assertTrue(result.err.startswith("qen: which command?\n\n" + self.run_tool("--help").out.splitlines()[0]))
        self.assertRegex(self.run_tool("unknown", code=2).err, '^qen: there is no command or option "unknown" ')
        for arguments in (("unknown",), ("info",), ("info", "--nonsense", "x"), ("--nonsense",), ("convert", "-o"),
                          ("verify", "-q", "-v", "x"), ("import", "x", "--rate")):
            with self.subTest(arguments=arguments):
                result = self.run_tool(*arguments, code=2)
                self.assertEqual("", result.out)
                self.assertRegex(result.err, r"^qen: .*\(qen.* --help explains\)\n$")

    def test_repeated_options_take_the_last(self):
        self.write("a.qts", ONE)
        self.run_tool("convert", "a.qts", "--type", "int32", "--type", "int64", "-o", "x.qts", "-o", "y.qts")
        self.assertEqual([1, 2, 3], values_of(self.read("y.qts")))
        self.assertEqual(4, parse_signal_file(self.read("y.qts"))["sample_type"])
        self.assertEqual(["a.qts", "y.qts"], self.names())


class Inputs(ToolTest):
    def test_strange_names(self):
        names = [b"with blank.qts", b"new\nline.qts", b"-dash.qts", b"--json", b"\xff\xfe.qts", b"[a,b].qts", b"[a,b]", b"info", b"++",
                 b"tab\t.qts", "\u00fcml\u00e4ut \u65e5\u672c.qts".encode(), b'quote".qts', b"$HOME.qts", b"back\\slash.qts", b"\x1b[31mred.qts",
                 b"%n%s.qts", b"{}", b"\xc2\x85.qts"]
        for name in names:
            self.write(name, ONE)
        result = self.run_tool("info", "--json", "--", *names)
        self.assertEqual(len(names), len(result.objects()))
        for name, object in zip(names, result.objects()):
            exact = bytes.fromhex(object["file_hex"]) if "file_hex" in object else object["file"].encode()
            self.assertEqual(b"./" + name if name in (b"[a,b]", b"++") else name, exact)
        self.run_tool("info", *(name for name in names if not name.startswith(b"-")))
        lines = self.run_tool("verify", "--", *names).out.splitlines()
        self.assertEqual(len(names), len(lines))  # no name breaks its line
        self.assertIn("new\\nline.qts: good", lines)
        self.assertIn("\\xff\\xfe.qts: good", lines)
        self.assertIn("\\x1b[31mred.qts: good", lines)
        self.assertIn("\u00fcml\u00e4ut \u65e5\u672c.qts: good", lines)
        self.assertIn("\\xc2\\x85.qts: good", lines)

    def test_strange_names_through_every_command(self):
        for name in (b"\xff \n-", b"-x"):
            self.write(name + b".wav", wav(16, pack("int16", [1, 2, 3])))
            self.run_tool("import", "-d", b"out\xfe", "--json", "--", name + b".wav")
            result = self.run_tool("convert", "--type", "int32", "--check", "--in-place", "--json", "--",
                                   os.path.join(b"out\xfe", name + b".qts"))
            self.assertEqual(os.path.join(b"out\xfe", name + b".qts"), bytes.fromhex(result.objects()[0]["file_hex"]))
            self.run_tool("export", "-f", "wav", "-d", b"back", "--json", "--", os.path.join(b"out\xfe", name + b".qts"))
            self.assertEqual(pack("int32", [1, 2, 3]), data_of_wav(self.read(os.path.join(b"back", name + b".wav")))[4])

    def test_directories_stand_for_what_is_below_them(self):
        for name in ("d/b.qts", "d/a.QTS", "d/deep/er/c.qts", "d/ignored.txt", "d/noext", "e/x.qts"):
            self.write(name, ONE)
        os.symlink("../e", self.path("d/link"))
        os.mkdir(self.path("d/folder.qts"))
        result = self.run_tool("info", "--json", "d", "e/x.qts")
        self.assertEqual(["d/a.QTS", "d/b.qts", "d/deep/er/c.qts", "e/x.qts"], [o["file"] for o in result.objects()])
        os.mkdir(self.path("empty"))
        self.fails(3, "empty: holds no file with the extension .qts", "verify", "empty")
        self.fails(3, "empty: holds no file with the extension .wav, .rf64, .w64, .aif, .aiff, .csv", "import", "empty")
        self.run_tool("verify", "empty", "d", code=4)

    def test_one_bad_file_does_not_stop_the_rest(self):
        self.write("1.wav", wav(8, b"\1"))
        self.write("2.wav", b"RIFFjunk")
        self.write("3.wav", wav(8, b"\3"))
        result = self.run_tool("import", "1.wav", "2.wav", "none.wav", "3.wav", "-d", "out", code=4)
        self.assertEqual(["1.qts", "1.xml", "3.qts", "3.xml"], self.names("out"))
        self.assertEqual(2, sum(line.startswith("qen: ") for line in result.err.splitlines()))
        self.run_tool("export", "out", "none.qts", "-f", "csv", "-d", "csv", code=4)
        self.assertEqual(["1.csv", "3.csv"], self.names("csv"))
        self.run_tool("convert", "none.qts", "out", "--type", "int16", "-d", "wide", code=4)
        self.assertEqual(["1.qts", "1.xml", "3.qts", "3.xml"], self.names("wide"))

    def test_an_unreadable_file_and_folder(self):
        if os.geteuid() == 0:
            self.run_tool("info", "/proc/self/mem", code=3)  # the superuser may read everything else
            return
        self.write("a.qts", ONE)
        os.chmod(self.path("a.qts"), 0)
        self.fails(3, "a.qts: cannot be opened: Permission denied", "info", "a.qts")

    def test_standard_input(self):
        sound = wav(16, pack("int16", [5, -5]), rate=8000)
        self.run_tool("import", "-", "-o", "a.qts", stdin=sound)
        self.assertEqual([5, -5], values_of(self.read("a.qts")))
        self.run_tool("import", "-", "-d", "out", "--rate", "2", stdin=b"1\n2\n")
        self.assertEqual([1, 2], values_of(self.read("out/stdin.qts")))
        self.fails(2, "-: standard input needs -o or -d", "import", "-", stdin=sound)
        self.assertEqual("-", self.run_tool("info", "--json", "-", stdin=ONE).objects()[0]["file"])
        self.assertEqual("-: good\n", self.run_tool("verify", "-", stdin=ONE).out)
        self.run_tool("verify", "-", stdin=ONE[:-1], code=1)
        self.assertEqual("raw\n1\n2\n3\n", self.run_tool("export", "-", "-f", "csv", "-o", "-", "-q", stdin=ONE).out)
        self.assertEqual(signal_of("int64", [1, 2, 3]), self.run_tool("convert", "-", "--type", "int64", "-o", "-", stdin=ONE).raw)

    def test_pipes_that_are_no_files(self):
        os.mkfifo(self.path("pipe"))
        process = self.start("convert", "pipe", "--type", "int32", "--check", "-o", "out.qts")
        with open(self.path("pipe"), "wb") as pipe:
            pipe.write(ONE)
        _, err = process.communicate()
        self.assertEqual(0, process.returncode, err)
        self.assertEqual(signal_of("int32", [1, 2, 3]), self.read("out.qts"))

    def test_a_whole_pipeline(self):
        sound = wav(16, pack("int16", [100, 101, 102, 103]))
        signal_bytes = self.run_tool("import", "-", "-o", "-", stdin=sound).raw
        small = self.run_tool("convert", "-", "--remove-offset", "--compression", "gzip", "-o", "-", stdin=signal_bytes).raw
        plain = self.run_tool("convert", "-", "--compression", "none", "-o", "-", stdin=small).raw
        self.assertEqual([-2, -1, 0, 1], values_of(plain))
        self.assertEqual(pack("int16", [-2, -1, 0, 1]), data_of_wav(self.run_tool("export", "-", "-f", "wav", "-o", "-", stdin=plain).raw)[4])

    def test_a_directory_is_no_output_and_a_device_no_input(self):
        self.write("a.qts", ONE)
        os.mkdir(self.path("folder"))
        self.fails(5, "a.qts: folder is a directory, not a file to write", "convert", "a.qts", "-o", "folder")
        self.fails(3, "/dev/null: is no time signal file: it has 0 bytes, the header alone takes 120", "info", "/dev/null")

    def test_files_of_4_gib_are_refused_early(self):
        with open(self.path("big.qts"), "wb") as file:
            file.write(ONE)
            file.truncate((1 << 32) + 126)
        self.fails(3, "big.qts: has 4 GiB or more, which no time signal file has", "convert", "big.qts", "--in-place")
        self.assertIn("DAMAGED        size: 4294967302 sample bytes in the file, 6 in the header",
                      self.run_tool("info", "big.qts", code=1).out)


class Outputs(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("a.qts", ONE)

    def test_existing_files_need_force(self):
        self.write("b.qts", b"precious")
        for arguments in (("convert", "a.qts", "-o", "b.qts"), ("export", "a.qts", "-f", "csv", "-o", "b.qts")):
            self.fails(5, "a.qts: b.qts not written: the file exists, --force replaces it", *arguments)
            self.assertEqual(b"precious", self.read("b.qts"))
        self.write("w.wav", wav(8, b"\1"))
        self.fails(5, "w.wav: b.qts not written: the file exists, --force replaces it", "import", "w.wav", "-o", "b.qts")
        self.run_tool("convert", "a.qts", "-o", "b.qts", "--force")
        self.assertEqual(ONE, self.read("b.qts"))
        self.assertEqual(["a.qts", "b.qts", "w.wav"], self.names())

    def test_two_inputs_never_share_a_result(self):
        self.write("d/a.qts", signal_of("int16", [9]))
        result = self.run_tool("convert", "a.qts", "d/a.qts", "-d", "out", "--force", code=4)
        self.assertIn("qen: d/a.qts: out/a.qts not written: another input of this call has that name\n", result.err)
        self.assertEqual(ONE, self.read("out/a.qts"))
        self.fails(2, "-o names one file for 2 results; -d names a folder", "convert", "a.qts", "d", "-o", "x.qts")

    def test_a_failed_write_leaves_the_old_file_and_no_other(self):
        self.write("old.csv", b"old")
        self.write("big.qts", signal_of("int16", range(30000)))

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (5000, 5000))

        for arguments in (("convert", "big.qts", "--type", "int32", "--in-place"), ("export", "big.qts", "-o", "old.csv", "--force"),
                          ("export", "big.qts", "-o", "new.wav"), ("convert", "big.qts", "-o", "new.qts")):
            with self.subTest(arguments=arguments):
                result = self.run_tool(*arguments, code=5, preexec_fn=limit)
                self.assertRegex(result.err, r"^qen: big\.qts: .*(cannot be written|Error writing).*\n$")
                self.assertEqual(["a.qts", "big.qts", "old.csv"], self.names())
                self.assertEqual((b"old", signal_of("int16", range(30000))), (self.read("old.csv"), self.read("big.qts")))

    def test_a_full_device(self):
        for arguments in (("convert", "a.qts", "-o", "/dev/full"), ("export", "a.qts", "-f", "csv", "-o", "/dev/full"),
                          ("export", "a.qts", "-f", "wav", "-o", "/dev/full")):
            self.fails(5, "a.qts: /dev/full cannot be written: No space left on device", *arguments)
        with open("/dev/full", "wb") as full:
            for arguments in (("info", "a.qts"), ("verify", "--json", "a.qts"), ("--help",)):
                result = self.run_tool(*arguments, code=5, stdout=full)
                self.assertEqual("qen: standard output cannot be written\n", result.err)
            result = self.run_tool("convert", "a.qts", "-o", "-", code=5, stdout=full)
            self.assertEqual("qen: a.qts: standard output cannot be written: No space left on device\n", result.err)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))
        self.assertEqual(["a.qts"], self.names())

    def test_unwritable_targets(self):
        self.fails(5, "a.qts: none/b.qts cannot be written: No such file or directory", "convert", "a.qts", "-o", "none/b.qts")
        self.fails(5, "a.qts: a.qts/b cannot be made: Not a directory", "convert", "a.qts", "-d", "a.qts/b")
        if os.geteuid() != 0:
            os.mkdir(self.path("locked"), 0o500)
            self.fails(5, "a.qts: locked/b.qts cannot be written: Permission denied", "convert", "a.qts", "-o", "locked/b.qts")
        self.assertEqual(5, self.run_tool("convert", "a.qts", "-o", "/proc/none.qts", code=5).code)

    def test_devices_and_pipes_are_written_through(self):
        self.run_tool("convert", "a.qts", "-o", "/dev/null")
        os.mkfifo(self.path("pipe"))
        process = self.start("convert", "a.qts", "--type", "int32", "-o", "pipe")
        with open(self.path("pipe"), "rb") as pipe:
            data = pipe.read()
        process.communicate()
        self.assertEqual((0, signal_of("int32", [1, 2, 3])), (process.returncode, data))
        self.assertTrue(stat.S_ISFIFO(os.stat(self.path("pipe")).st_mode))

    def test_modes_and_links(self):
        os.chmod(self.path("a.qts"), 0o640)
        os.symlink("a.qts", self.path("link.qts"))
        self.run_tool("convert", "link.qts", "--type", "int32", "--in-place")
        self.assertTrue(os.path.islink(self.path("link.qts")))
        self.assertEqual(signal_of("int32", [1, 2, 3]), self.read("a.qts"))
        self.assertEqual(0o640, stat.S_IMODE(os.stat(self.path("a.qts")).st_mode))
        self.run_tool("convert", "a.qts", "-o", "new.qts", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(0o640, stat.S_IMODE(os.stat(self.path("new.qts")).st_mode))
        self.run_tool("convert", "a.qts", "-o", "open.qts", preexec_fn=lambda: os.umask(0o000))
        self.assertEqual(0o666, stat.S_IMODE(os.stat(self.path("open.qts")).st_mode))
        os.symlink("nowhere.qts", self.path("dangling.qts"))
        self.fails(5, "a.qts: dangling.qts not written: the file exists, --force replaces it", "convert", "a.qts", "-o", "dangling.qts")

    def test_long_names(self):
        name = "n" * 251 + ".qts"
        self.run_tool("convert", "a.qts", "-o", name)
        self.assertEqual(ONE, self.read(name))
        result = self.run_tool("convert", "a.qts", "-o", "n" * 252 + ".qts", code=5)
        self.assertIn("File name too long", result.err)
        self.assertEqual(sorted(["a.qts", name]), self.names())

    def test_a_signal_removes_the_temporary_file_and_ends_the_run(self):
        values = [0.1 + i for i in range(3000)] * 700
        self.write("big.qts", signal_of("float64", values))
        self.write("out.csv", b"old")
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            process = self.start("export", "big.qts", "-o", "out.csv", "--force")
            deadline = time.monotonic() + 60
            while not any(name.startswith(".qen-") for name in self.names()):
                self.assertLess(time.monotonic(), deadline)
                self.assertIsNone(process.poll())
                time.sleep(0.001)
            process.send_signal(number)
            process.communicate()
            self.assertEqual(-number, process.returncode)
            self.assertEqual(["a.qts", "big.qts", "out.csv"], self.names())
            self.assertEqual(b"old", self.read("out.csv"))

    def test_an_ignored_hangup_stays_ignored(self):
        values = [0.1 + i for i in range(3000)] * 200
        self.write("big.qts", signal_of("float64", values))
        process = self.start("export", "big.qts", "-f", "csv", preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        while process.poll() is None:
            process.send_signal(signal.SIGHUP)
            time.sleep(0.01)
        process.communicate()
        self.assertEqual(0, process.returncode)
        self.assertEqual(600001, self.read("big.csv").count(b"\n"))

    def test_a_reader_that_leaves_ends_the_run(self):
        self.write("big.qts", signal_of("float64", [0.1] * 200000))
        process = self.start("export", "big.qts", "-f", "csv", "-o", "-")
        process.stdout.read(10)
        process.stdout.close()
        process.stderr.read()
        process.stderr.close()
        self.assertEqual(-signal.SIGPIPE, process.wait())

    def test_data_and_talk_go_separate_ways(self):
        result = self.run_tool("info", "a.qts", "none.qts", code=4)
        self.assertNotIn("none.qts", result.out)
        self.assertNotIn("int16", result.err)
        self.assertEqual("", self.run_tool("convert", "a.qts", "-o", "b.qts").out)
        self.assertNotIn("\r", self.run_tool("verify", "a.qts", "b.qts").err)

    def test_progress_shows_on_a_terminal_only(self):
        self.write("b.qts", ONE)
        self.assertIn("[2/2] b.qts", self.shown_on_terminal("verify", "a.qts", "b.qts"))
        self.assertNotIn("[2/2] b.qts", self.shown_on_terminal("verify", "-q", "a.qts", "b.qts"))

import gzip
import json
import math
import os
import resource
import stat
import struct
import uuid
import zlib

from support import (MEASUREMENT, NULL, UNIT, Details, Named, ToolTest, archive_form, document, pack, parse_signal_file, signal_file,
                     signal_of)

ID = [uuid.UUID("f0000000-0000-4000-8000-%012d" % i) for i in range(9)]
FULL = Details("m/s\u00b2", [Named(ID[0], 1497, "rpm"), Named(ID[1], -0.25, "\u00b0C", UNIT)], Named(ID[2], 9.5, "m/s\u00b2", UNIT),
               [Named(ID[3], 0.71, "mm/s", UNIT, 1497.5), Named(ID[4], 1e-7)])
# (file bytes, details)
SIGNALS = [(signal_of("int16", [1, -2, 3], measurement=ID[5], time=1795197440000123), FULL),
           (signal_of("float64", [0.1], measurement=ID[6], scale=0.5), Details()),
           (signal_file("int32", zlib.compress(pack("int32", range(50))), 50, measurement=ID[7], compression="zlib"), Details("g"))]
FORMS = [archive_form(data, details, uuid.UUID(bytes=data[24:40])) for data, details in SIGNALS]
BORDERS = [0, len(FORMS[0]), len(FORMS[0] + FORMS[1]), len(b"".join(FORMS))]


class Archives(ToolTest):
    def write_signals(self):
        for number, (data, details) in enumerate(SIGNALS):
            self.write("in/%d.qts" % number, data)
            self.write("in/%d.xml" % number, document(data, details))

    def check_extracted(self, folder, numbers):
        expected = {}
        for number in numbers:
            data, details = SIGNALS[number]
            stem = str(uuid.UUID(bytes=data[24:40]))
            expected[stem + ".qts"] = data
            expected[stem + ".xml"] = document(data, details)
        self.assertEqual(expected, {name: self.read(os.path.join(folder, name)) for name in self.names(folder)})

    def clear(self, folder):
        for name in os.listdir(self.path(folder)) if os.path.isdir(self.path(folder)) else ():
            os.remove(os.path.join(self.path(folder), name))


class Create(Archives):
    def test_signals_stand_one_after_another(self):
        self.write_signals()
        result = self.run_tool("archive", "create", "a.qta", "in")
        self.assertEqual(b"".join(FORMS), self.read("a.qta"))
        self.assertEqual("a.qta: 3 signals, %d bytes\n" % BORDERS[3], result.err)
        self.assertEqual(["a.qta", "in"], self.names())

    def test_the_job_entry(self):
        self.write("a.qts", SIGNALS[0][0])
        self.write("null.qts", signal_of("int8", [1], measurement=NULL))
        self.run_tool("archive", "create", "a.qta", "a.qts", "--job", str(ID[8]))
        self.assertEqual(archive_form(SIGNALS[0][0], job=ID[8]), self.read("a.qta"))
        jobs = []
        for _ in range(2):
            self.run_tool("archive", "create", "a.qta", "null.qts", "--force")
            jobs.append(uuid.UUID(bytes=self.read("a.qta")[-16:]))
            self.assertEqual(archive_form(self.read("null.qts"), job=jobs[-1]), self.read("a.qta"))
        self.assertEqual([4, 4], [job.version for job in jobs])
        self.assertNotEqual(*jobs)

    def test_json(self):
        self.write_signals()
        result = self.run_tool("archive", "create", "a.qta", "in/0.qts", "in/1.qts", "--json", "-q")
        self.assertEqual([{"schema": "qen.archive-create/1", "input": "in/%d.qts" % i, "archive": "a.qta", "number": i + 1,
                           "position": BORDERS[i], "size": len(FORMS[i]), "measurement_uuid": str(ID[5 + i]), "job_uuid": str(ID[5 + i])}
                          for i in (0, 1)], result.objects())
        self.assertEqual("", result.err)

    def test_damaged_files_are_left_out(self):
        self.write_signals()
        self.write("in/1.qts", SIGNALS[1][0][:-1])
        self.write("in/2.xml", "junk")
        result = self.run_tool("archive", "create", "a.qta", "in", "none.qts", code=4)
        self.assertEqual(["qen: in/1.qts: Wrong time signal data size: actual 7 bytes, expected 8 bytes!",
                          "qen: in/2.qts: details: in/2.xml is no XML document", "qen: none.qts: cannot be opened: No such file or directory",
                          "a.qta: 1 signal, %d bytes" % len(FORMS[0])], result.err.splitlines())
        self.assertEqual(FORMS[0], self.read("a.qta"))

    def test_nothing_to_put_in_makes_no_archive(self):
        self.write("bad.qts", b"junk")
        self.run_tool("archive", "create", "a.qta", "bad.qts", code=3)
        self.assertEqual(["bad.qts"], self.names())

    def test_an_existing_archive_needs_force(self):
        self.write_signals()
        self.write("a.qta", b"precious")
        self.fails(5, "a.qta not written: the file exists, --force replaces it", "archive", "create", "a.qta", "in")
        self.assertEqual(b"precious", self.read("a.qta"))
        self.run_tool("archive", "create", "a.qta", "in", "--force", "-q")
        self.assertEqual(b"".join(FORMS), self.read("a.qta"))

    def test_an_archive_appears_complete_or_not_at_all(self):
        self.write_signals()
        self.write("big/1.qts", signal_of("int16", range(3000)))
        self.write("old.qta", b"old")
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))
        for arguments in (("new.qta", "in", "big", "in"), ("old.qta", "big", "--force")):
            result = self.run_tool("archive", "create", *arguments, code=5, preexec_fn=limit)
            self.assertEqual("qen: big/1.qts: the archive cannot be written: File too large\n", result.err)
            self.assertEqual((["big", "in", "old.qta"], b"old"), (self.names(), self.read("old.qta")))
        self.fails(5, "none/a.qta cannot be written: No such file or directory", "archive", "create", "none/a.qta", "in")
        self.fails(5, "/dev/full cannot be written: No space left on device", "archive", "create", "/dev/full", "in")

    def test_streams(self):
        self.write_signals()
        data = self.run_tool("archive", "create", "-", "in").raw
        self.assertEqual(b"".join(FORMS), data)
        self.run_tool("archive", "extract", "-", "-o", "out", stdin=data)
        self.check_extracted("out", [0, 1, 2])
        self.assertEqual(3, len(self.run_tool("archive", "list", "-", "--json", stdin=data).objects()))
        one = self.run_tool("archive", "create", "-", "-", stdin=SIGNALS[1][0]).raw
        self.assertEqual(FORMS[1], one)


class Extract(Archives):
    def test_signals_come_back_with_their_documents(self):
        self.write("a.qta", b"".join(FORMS))
        result = self.run_tool("archive", "extract", "a.qta", "-o", "out/deep")
        self.check_extracted("out/deep", [0, 1, 2])
        self.assertEqual("a.qta: signal 3 (byte %d) -> out/deep/%s.qts: 50 int32 samples, details: unit g" % (BORDERS[2], ID[7]),
                         result.err.splitlines()[2])
        self.assertEqual("a.qta: 3 signals", result.err.splitlines()[3])
        self.run_tool("verify", "-q", "out")
        self.run_tool("archive", "create", "b.qta", "out")
        self.assertEqual(self.read("a.qta"), self.read("b.qta"))

    def test_here_is_the_default(self):
        self.write("d/a.qta", FORMS[1])
        self.run_tool("archive", "extract", "d/a.qta")
        self.assertEqual(["d", "%s.qts" % ID[6], "%s.xml" % ID[6]], self.names())

    def test_a_measurement_that_repeats_gets_a_number(self):
        other = signal_of("int8", [9], measurement=ID[6])
        self.write("a.qta", FORMS[1] + FORMS[0] + FORMS[1])
        self.write("b.qta", archive_form(other))
        self.run_tool("archive", "extract", "a.qta", "b.qta", "-o", "out")
        self.assertEqual(sorted(["%s%s.%s" % (id, number, extension) for id, number in ((ID[5], ""), (ID[6], ""), (ID[6], "-2"), (ID[6], "-3"))
                                 for extension in ("qts", "xml")]), self.names("out"))
        self.assertEqual(SIGNALS[1][0], self.read("out/%s-2.qts" % ID[6]))
        self.assertEqual(other, self.read("out/%s-3.qts" % ID[6]))

    def test_existing_files_need_force(self):
        self.write("a.qta", b"".join(FORMS))
        name = "out/%s.qts" % ID[6]
        self.write(name, b"precious")
        result = self.run_tool("archive", "extract", "a.qta", "-o", "out", "-q", code=4)
        self.assertEqual("qen: a.qta: signal 2 (byte %d): %s not written: the file exists, --force replaces it\n" % (BORDERS[1], name), result.err)
        self.assertEqual(b"precious", self.read(name))
        os.remove(self.path(name))
        self.check_extracted("out", [0, 2])
        self.clear("out")
        self.write(name.replace("qts", "xml"), b"precious")
        self.run_tool("archive", "extract", "a.qta", "-o", "out", "-q", code=4)
        self.assertEqual((b"precious", False), (self.read(name.replace("qts", "xml")), os.path.exists(self.path(name))))
        self.run_tool("archive", "extract", "a.qta", "-o", "out", "--force")
        self.check_extracted("out", [0, 1, 2])

    def test_an_unwritable_folder(self):
        self.write("a.qta", b"".join(FORMS))
        self.write("file", b"")
        result = self.run_tool("archive", "extract", "a.qta", "-o", "file/x", code=5)
        self.assertIn("file/x cannot be made: Not a directory", result.err)
        if os.geteuid() != 0:
            os.mkdir(self.path("locked"), 0o500)
            self.assertIn("cannot be written: Permission denied", self.run_tool("archive", "extract", "a.qta", "-o", "locked", code=5).err)

    def test_numbers_beyond_a_document_are_told(self):
        self.write("a.qta", archive_form(SIGNALS[1][0], Details(trigger=Named(ID[0], 1 / 3), values=[Named(ID[1], 1, speed=0.25)])))
        result = self.run_tool("archive", "extract", "a.qta")
        self.assertIn("trip value 0.3333333333333333 is kept with 6 digits, as 0.333333\n", result.err)
        self.assertEqual(1, result.err.count("is kept"))
        listed, = self.run_tool("archive", "list", "--json", "a.qta").objects()
        self.assertEqual(1 / 3, listed["details"]["trigger"]["trip_value"])

    def test_texts_that_no_document_keeps_are_refused(self):
        self.write("a.qta", archive_form(SIGNALS[1][0], Details("a<b")) + FORMS[0])
        result = self.run_tool("archive", "extract", "a.qta", "-o", "out", "-q", code=4)
        self.assertEqual('qen: a.qta: signal 1 (byte 0): a details document cannot keep its details: unit "a<b" holds <\n', result.err)
        self.check_extracted("out", [0])

    def test_json(self):
        self.write("a.qta", b"".join(FORMS))
        objects = self.run_tool("archive", "extract", "a.qta", "-o", "out", "--json").objects()
        self.assertEqual({"schema": "qen.archive-extract/1", "archive": "a.qta", "number": 2, "position": BORDERS[1],
                          "file": "out/%s.qts" % ID[6], "details_file": "out/%s.xml" % ID[6], "measurement_uuid": str(ID[6]),
                          "job_uuid": str(ID[6])}, objects[1])

    def test_several_archives(self):
        self.write("d/1.qta", FORMS[0])
        self.write("d/2.qta", FORMS[1][:-1])
        self.write("d/3.qta", FORMS[2])
        self.run_tool("archive", "extract", "d", "none.qta", "-o", "out", code=1)
        self.check_extracted("out", [0, 2])
        self.run_tool("archive", "list", "none.qta", "d/1.qta", code=4)
        self.fails(3, "none.qta: cannot be opened: No such file or directory", "archive", "list", "none.qta")


class List(Archives):
    def test_table(self):
        self.write("a.qta", b"".join(FORMS))
        result = self.run_tool("archive", "list", "a.qta")
        self.assertEqual(["signal          byte  measurement                           time                           samples",
                          "     1             0  %s  2026-11-20T17:57:20.000123Z  3 int16, m/s\u00b2" % ID[5],
                          "     2%14d  %s  1970-01-01T00:00:00.000000Z  1 float64" % (BORDERS[1], ID[6]),
                          "     3%14d  %s  1970-01-01T00:00:00.000000Z  50 int32, g" % (BORDERS[2], ID[7])], result.lines())
        self.assertEqual("a.qta: 3 signals\n", result.err)

    def test_json(self):
        self.write("a.qta", b"".join(FORMS))
        objects = self.run_tool("archive", "list", "a.qta", "--json").objects()
        first = objects[0]
        self.assertEqual(("qen.archive-list/1", "a.qta", 1, 0, len(FORMS[0]), True, [], str(ID[5]), 3, "int16", str(ID[5])),
                         tuple(first[k] for k in ("schema", "archive", "number", "position", "size", "good", "damage", "measurement_uuid",
                                                  "sample_count", "sample_type", "job_uuid")))
        self.write("0.qts", SIGNALS[0][0])
        self.write("0.xml", document(*SIGNALS[0]))
        info, = self.run_tool("info", "0.qts", "--json").objects()
        self.assertEqual(info["details"], first["details"])
        self.assertEqual({k: info[k] for k in info if k not in ("schema", "file", "file_size", "header_good", "damage")},
                         {k: first[k] for k in info if k in first and k not in ("schema", "damage")})
        self.assertEqual([(2, BORDERS[1]), (3, BORDERS[2])], [(o["number"], o["position"]) for o in objects[1:]])

    def test_an_empty_archive_holds_no_signals(self):
        self.write("a.qta", b"")
        result = self.run_tool("archive", "list", "a.qta")
        self.assertEqual(("", "a.qta: 0 signals\n"), (result.out, result.err))

    def test_a_signal_without_samples(self):
        data = signal_of("int16", [], measurement=ID[5])
        form = archive_form(data)
        self.write("a.qta", form[:120] + b"\1\0" + form[125:] + FORMS[1])  # no sample array
        self.write("b.qta", form + FORMS[1])  # an array of length 0
        for archive in ("a.qta", "b.qta"):
            self.assertEqual([0, 1], [o["sample_count"] for o in self.run_tool("archive", "list", archive, "--json").objects()])
            self.run_tool("archive", "extract", archive, "-o", archive[0])
            self.assertEqual(data, self.read("%s/%s.qts" % (archive[0], ID[5])))


class Damage(Archives):
    def test_a_cut_gives_every_whole_signal_before_it(self):
        data = b"".join(FORMS)
        cuts = {border + step for border in BORDERS for step in (-17, -16, -15, -3, -2, -1, 0, 1, 2, 3, 119, 120, 121, 124, 125, 126, 135)}
        for cut in sorted(cut for cut in cuts if 0 <= cut <= len(data)):
            whole = sum(border <= cut for border in BORDERS) - 1
            with self.subTest(cut=cut, whole=whole):
                self.write("a.qta", data[:cut])
                self.clear("out")
                at_border = cut in BORDERS
                result = self.run_tool("archive", "extract", "a.qta", "-o", "out", "-q", code=0 if at_border else 1)
                if whole > 0:
                    self.check_extracted("out", range(whole))
                doubt = "; is it an archive of signals?" if whole == 0 else ""
                self.assertEqual("" if at_border else
                                 "qen: a.qta: is cut: %d whole signal%s, then one begins at byte %d and the archive ends at byte %d within it%s\n"
                                 % (whole, "s" if whole != 1 else "", BORDERS[whole], cut, doubt), result.err)
                if cut % 3 == 0:
                    listed = self.run_tool("archive", "list", "a.qta", "--json", "-q", code=result.code)
                    self.assertEqual((list(range(1, whole + 1)), result.err), ([o["number"] for o in listed.objects()], listed.err))

    def test_wrong_checksums_are_reported_and_the_run_goes_on(self):
        data = bytearray(b"".join(FORMS))
        data[BORDERS[1] + 50] ^= 1  # scaling factor of the second
        data[BORDERS[2] + 140] ^= 4  # compressed samples of the third
        self.write("a.qta", bytes(data) + FORMS[0][:24] + ID[8].bytes + FORMS[0][40:])
        result = self.run_tool("archive", "extract", "a.qta", "-o", "out", "-q", code=1)
        self.check_extracted("out", [0])
        lines = result.err.splitlines()
        self.assertEqual(3, len(lines))
        self.assertRegex(lines[0], r"^qen: a\.qta: signal 2 \(byte %d\) is not extracted: header: checksum is 0x\w{4}, computed 0x\w{4}$" % BORDERS[1])
        self.assertRegex(lines[1], r"^qen: a\.qta: signal 3 \(byte %d\) is not extracted: samples: checksum is 0x\w{4}, computed 0x\w{4}$" % BORDERS[2])
        self.assertRegex(lines[2], r"^qen: a\.qta: signal 4 \(byte %d\) is not extracted: header: " % BORDERS[3])
        listed = self.run_tool("archive", "list", "a.qta", "--json", code=1).objects()
        self.assertEqual([True, False, False, False], [o["good"] for o in listed])
        self.assertEqual(["samples", "stream"], [finding["part"] for finding in listed[2]["damage"]])
        table = self.run_tool("archive", "list", "a.qta", code=1)
        self.assertEqual(4, table.out.count("DAMAGED"))
        self.assertEqual("a.qta: 4 signals\n", table.err)

    def test_no_single_damaged_byte_gives_a_wrong_signal(self):
        """Framing is damaged, or a checksum is wrong, or only details, which have no checksum, differ."""
        start, end = BORDERS[1], BORDERS[2]
        for position in list(range(start, end, 7)) + [start + 104, start + 107, start + 108, start + 111, start + 120, start + 121]:
            for bits in (0xFF, 0x01):
                data = bytearray(b"".join(FORMS))
                data[position] ^= bits
                with self.subTest(position=position - start, bits=bits):
                    self.write("a.qta", bytes(data))
                    self.clear("out")
                    result = self.run_tool("archive", "extract", "a.qta", "-o", "out", "-q", code=None)
                    self.assertIn(result.code, (0, 1))
                    names = self.names("out")
                    self.assertIn("%s.qts" % ID[5], names)
                    self.assertEqual(SIGNALS[0][0], self.read("out/%s.qts" % ID[5]))
                    if "%s.qts" % ID[6] in names:
                        self.assertEqual(SIGNALS[1][0], self.read("out/%s.qts" % ID[6]))
                        self.assertGreater(position - start, 127)
                    if "not extracted" in result.err or result.code == 0:
                        self.assertEqual(SIGNALS[2][0], self.read("out/%s.qts" % ID[7]))
                    else:
                        self.assertRegex(result.err, r"^qen: a\.qta: is (cut|damaged at byte \d+): 1 whole signal, then one begins at byte %d and "
                                         % start)

    def test_a_wrong_tag_is_located(self):
        data = bytearray(b"".join(FORMS))
        data[BORDERS[1] + 121] ^= 1
        self.write("a.qta", bytes(data))
        self.fails(1, "a.qta: is damaged at byte %d: 1 whole signal, then one begins at byte %d and cannot be read: "
                   "Corrupt time signal archive object!" % (BORDERS[1] + 125, BORDERS[1]), "archive", "extract", "a.qta", "-o", "out", "-q")

    def test_what_is_no_archive(self):
        self.write("a.qta", bytes(range(256)) * 4)
        self.fails(1, "a.qta: is damaged at byte 121: 0 whole signals, then one begins at byte 0 and cannot be read: "
                   "Deserializing of object unsigned int failed; is it an archive of signals?", "archive", "list", "a.qta", "-q")
        self.write("b.qta", SIGNALS[0][0])
        self.run_tool("archive", "list", "b.qta", code=1)

    def test_a_lying_header_costs_no_memory(self):
        form = FORMS[1]
        self.write("lie.qta", form[:104] + struct.pack("<Q", 2**31 - 1) + form[112:])
        self.write("ok.qta", form)
        modest = self.peak_memory("archive", "list", "ok.qta", code=0)
        self.assertLess(self.peak_memory("archive", "list", "lie.qta", code=1), modest + 16384)

    def test_a_lying_text_takes_no_more_than_details_may(self):
        form = FORMS[1]
        self.write("ok.qta", form)
        unit = 125 + 8  # behind header, tag and samples
        self.assertEqual(b"\1\0", form[unit:unit + 2])
        with open(self.path("lie.qta"), "wb") as file:
            file.write(form[:unit] + b"\4\xff\xff\xff\x7f")
            file.truncate(1 << 29)
        modest = self.peak_memory("archive", "list", "ok.qta", code=0)
        self.assertLess(self.peak_memory("archive", "list", "lie.qta", code=1), modest + 3 * 32768 + 16384)
        self.fails(1, "lie.qta: is damaged at byte %d: 0 whole signals, then one begins at byte 0 and cannot be read: "
                   "Deserializing of object std::string failed; is it an archive of signals?" % (8 + (32 << 20)),
                   "archive", "list", "lie.qta", "-q")

    def test_memory_does_not_grow_with_the_archive(self):
        data = signal_of("int16", [i % 30000 for i in range(1 << 20)])
        self.write("in/a.qts", data)
        self.write("one.qta", archive_form(data))
        names = ["in/a.qts"] * 12
        self.run_tool("archive", "create", "many.qta", *names)
        self.assertEqual(12 * len(archive_form(data)), os.path.getsize(self.path("many.qta")))
        one = self.peak_memory("archive", "list", "one.qta", code=0)
        self.assertLess(self.peak_memory("archive", "list", "many.qta", code=0), one + 8192)
        one = self.peak_memory("archive", "create", "x.qta", "in/a.qts", code=0)
        self.assertLess(self.peak_memory("archive", "create", "y.qta", *names, code=0), one + 8192)


class Usage(ToolTest):
    def test_help(self):
        overview = self.run_tool("archive", "--help").out
        for name in ("create", "list", "extract"):
            self.assertRegex(overview, "\n  %s  +[a-z]" % name)
            text = self.run_tool("archive", name, "--help").out
            self.assertIn("Examples:\n  qen archive " + name, text)
            self.assertEqual(text, self.run_tool("help", "archive", name).out)
            self.assertIn("--quiet", text)

    def test_wrong_usage(self):
        for words in ((), ("lose", "x")):
            self.fails(2, "archive needs one of create, list, extract (qen archive --help explains)", "archive", *words)
        self.write("a.qta", b"")
        for words in (("-q", "list", "a.qta"), ("list", "-q", "a.qta")):
            self.assertEqual("", self.run_tool("archive", *words).err)
        for arguments, command in ((("create", "x"), "archive create"), (("list",), "archive list"),
                                   (("extract", "x", "--nonsense"), "archive extract"), (("create", "a", "b", "--job", "x"), "archive create")):
            with self.subTest(arguments=arguments):
                result = self.run_tool("archive", *arguments, code=2)
                self.assertRegex(result.err, r"^qen: .* \(qen %s --help explains\)\n$" % command)
                self.assertEqual("", result.out)

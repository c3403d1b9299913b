"""The details document beside a signal file, through every command but those that have tests of their own."""

import json
import math
import os
import signal
import struct
import time
import uuid
import xml.etree.ElementTree as ElementTree

from support import (MEASUREMENT, NAMESPACE, NULL, UNIT, Details, Named, ToolTest, document, pack, parse_signal_file, signal_of, values_of,
                     wav)

ID = [uuid.UUID("a0000000-0000-4000-8000-%012d" % i) for i in range(9)]
SIGNAL = signal_of("int16", [3, -1, 3, -1], delta_x=1 / 3, time=1795197440000123)
FULL = Details("m/s\u00b2", [Named(ID[0], 1497, "rpm"), Named(ID[1], -0.25, "\u00b0C", UNIT)], Named(ID[2], 9.5, "m/s\u00b2", UNIT),
               [Named(ID[3], 0.71, "mm/s", UNIT, 1497.5), Named(ID[4], 1e-7, "")])
FULL_JSON = {
    "unit": "m/s\u00b2",
    "validators": [{"uuid": str(ID[0]), "average_value": 1497.0, "unit": "rpm", "unit_uuid": str(NULL)},
                   {"uuid": str(ID[1]), "average_value": -0.25, "unit": "\u00b0C", "unit_uuid": str(UNIT)}],
    "trigger": {"uuid": str(ID[2]), "trip_value": 9.5, "unit": "m/s\u00b2", "unit_uuid": str(UNIT)},
    "characteristic_values": [{"uuid": str(ID[3]), "value": 0.71, "unit": "mm/s", "unit_uuid": str(UNIT), "speed": 1497.5},
                              {"uuid": str(ID[4]), "value": 1e-7, "unit": "", "unit_uuid": str(NULL), "speed": None}]}
# What makes a document unusable, and what is said about it behind its name.
BROKEN = [(b"", "is no XML document"), (b"no XML", "is no XML document"), (document(SIGNAL, FULL)[:-5], "is no XML document"),
          (b"<a/>", "is no details document: it has no header info"),
          (document(SIGNAL).replace(b"HeaderInfo", b"Other"), "is no details document: it has no header info"),
          (document(SIGNAL, FULL).replace(b">9.5<", b">nine<"),
           'is damaged: Malformed number "nine" in option "vel:Trigger.vel:TripValue"!')]
FOREIGN = [(document(SIGNAL).replace(str(MEASUREMENT).encode(), str(ID[8]).encode()),
            "measurement is %s, the record has %s" % (ID[8], MEASUREMENT)),
           (document(SIGNAL).replace(b"c0000000", b"c0000001"),
            "measurement configuration is c0000001-0000-4000-8000-000000000001, the record has c0000000-0000-4000-8000-000000000001"),
           (document(SIGNAL).replace(b".000123Z", b".000124Z"),
            "time is 2026-11-20T17:57:20.000124Z, the record has 2026-11-20T17:57:20.000123Z"),
           (document(SIGNAL).replace(b"raw_time_signal", b"raw_spectrum"),
            "signal type is raw_spectrum, the record has raw_time_signal"),
           (document(SIGNAL).replace(b"<vel:SampleCount>4<", b"<vel:SampleCount>5<"), "sample count is 5, the record has 4"),
           (document(SIGNAL).replace(b"0.333333", b"0.333334"), "spacing is 0.333334, the record has 0.333333"),
           (document(SIGNAL).replace(b"vel:SampleCount", b"vel:Count"), "sample count is missing, the record has 4")]
# What a change of the signal mends.
STALE = [(b"data_int16_t", b"data_int8_t", "sample type is data_int8_t, the record has data_int16_t"),
         (b"ByteCount>8<", b"ByteCount>9<", "sample byte count is 9, the record has 8"),
         (b">no_compression<", b">zlib<", "compression is zlib, the record has no_compression"),
         (str(UNIT).encode(), str(ID[7]).encode(), "unit UUID is %s, the record has %s" % (ID[7], UNIT)),
         (b"HeaderSize>120<", b"HeaderSize>121<", "header size is 121, the record has 120"),
         (b"HeaderVersion>2<", b"HeaderVersion>3<", "header version is 3, the record has 2")]


class Imported(ToolTest):
    def document_of(self, name):
        return self.read(name).decode()

    def test_a_document_lies_beside_every_result(self):
        self.write("in.wav", wav(16, pack("int16", [1, 2, 3, 4]), channels=2))
        self.run_tool("import", "in.wav", "--unit", "m/s2", "--unit-uuid", str(UNIT), "--compression", "gzip")
        self.assertEqual(["in-1.qts", "in-1.xml", "in-2.qts", "in-2.xml", "in.wav"], self.names())
        for number in "12":
            self.assertEqual(document(self.read("in-%s.qts" % number), Details("m/s2")), self.read("in-%s.xml" % number))
            self.assertEqual(UNIT, parse_signal_file(self.read("in-%s.qts" % number))["unit"])
        self.run_tool("verify", "-q", ".")

    def test_without_a_unit_there_is_a_document_too(self):
        self.write("in.wav", wav(8, b"\1"))
        self.run_tool("import", "in.wav", "-o", "a.b.qts", "--time", "0")
        self.assertEqual(document(self.read("a.b.qts")), self.read("a.b.xml"))
        self.run_tool("import", "in.wav", "-o", "noext", "--time", "0")
        self.assertEqual(document(self.read("noext")), self.read("noext.xml"))

    def test_the_document_is_read_by_other_parsers(self):
        self.write("a.qts", SIGNAL)
        self.write("a.xml", document(SIGNAL, FULL))
        self.run_tool("convert", "a.qts", "--type", "int32", "-o", "b.qts")
        root = ElementTree.fromstring(self.read("b.xml"))
        find = lambda path: root.find("/".join("{%s}%s" % (NAMESPACE, name) for name in path.split("/"))).text
        self.assertEqual("m/s\u00b2", find("Signal/HeaderInfo/UnitString"))
        self.assertEqual(str(MEASUREMENT), find("Signal/HeaderInfo/MeasurementUuid"))
        self.assertEqual("1497.5", find("Signal/CharacteristicValueGroup/CharacteristicValue/Speed"))

    def test_the_unit_in_a_csv_header(self):
        for header, unit in (("acceleration [m/s2]", "m/s2"), ("velocity (mm/s)", "mm/s"), ("[g]", "g"), ("a[\u00b5m]", "\u00b5m"),
                             ("flow [l/(m s)]", "l/(m s)"), ("x [a[b]]", "a[b]"), ("plain", ""), ("odd]", ""), ("a [b] c", ""),
                             ("empty []", ""), ("a [ Pa ]", "Pa")):
            with self.subTest(header=header):
                self.write("in.csv", header + "\n1\n2\n")
                result = self.run_tool("import", "in.csv", "--rate", "2", "-o", "a.qts", "--force")
                self.assertEqual(document(self.read("a.qts"), Details(unit)), self.read("a.xml"))
                self.assertEqual("in.csv -> a.qts: 2 int16 samples, 2 Hz%s\n" % (", unit " + unit if unit else ""), result.err)

    def test_the_unit_of_the_chosen_column(self):
        self.write("in.csv", "time [s];acceleration [m/s2];velocity (mm/s);temperature [C];temperature [K]\n0;1;2;3;4\n")
        for column, unit, value in (("acceleration", "m/s2", 1), ("acceleration [m/s2]", "m/s2", 1), ("3", "mm/s", 2), ("time", "s", 0),
                                    ("temperature [K]", "K", 4)):
            self.run_tool("import", "in.csv", "--rate", "2", "--column", column, "-o", "a.qts", "--force")
            self.assertEqual((document(self.read("a.qts"), Details(unit)), [value]), (self.read("a.xml"), values_of(self.read("a.qts"))))
        self.assertIn('has no column "temperature" among its 5 ',
                      self.run_tool("import", "in.csv", "--rate", "2", "--column", "temperature", "-o", "b.qts", code=3).err)

    def test_the_option_wins_over_the_header(self):
        self.write("in.csv", "acceleration [m/s2]\n1\n")
        self.run_tool("import", "in.csv", "--rate", "2", "--unit", "g", "-o", "a.qts")
        self.assertEqual(document(self.read("a.qts"), Details("g")), self.read("a.xml"))
        self.run_tool("import", "in.csv", "--rate", "2", "--unit", "", "-o", "a.qts", "--force")
        self.assertEqual(document(self.read("a.qts")), self.read("a.xml"))
        self.run_tool("import", "in.csv", "--rate", "2", "--unit", "[x]", "-o", "a.qts", "--force")
        self.assertEqual(document(self.read("a.qts"), Details("[x]")), self.read("a.xml"))

    def test_a_unit_that_no_document_keeps_is_not_taken_from_a_header(self):
        self.write("in.csv", "a [x<y]\n1\n")
        result = self.run_tool("import", "in.csv", "--rate", "2", "-o", "a.qts")
        self.assertEqual('qen: in.csv: the column\'s unit is not taken: "x<y" holds <; --unit gives another\n'
                         "in.csv -> a.qts: 1 int16 sample, 2 Hz\n", result.err)
        self.assertEqual(document(self.read("a.qts")), self.read("a.xml"))
        self.assertEqual("in.csv -> b.qts: 1 int16 sample, 2 Hz, unit V\n",
                         self.run_tool("import", "in.csv", "--rate", "2", "--unit", "V", "-o", "b.qts").err)

    def test_standard_output_takes_the_signal_alone(self):
        self.write("in.wav", wav(8, b"\1"))
        result = self.run_tool("import", "in.wav", "-o", "-", "--unit", "g")
        parse_signal_file(result.raw)
        self.assertIn("qen: in.wav: the unit g is left out: no details document goes to standard output\n", result.err)
        self.assertEqual(["in.wav"], self.names())

    def test_neither_file_is_replaced_without_force(self):
        self.write("in.wav", wav(8, b"\1"))
        self.write("in.xml", b"precious")
        self.fails(5, "in.wav: in.xml not written: the file exists, --force replaces it", "import", "in.wav")
        self.assertEqual(["in.wav", "in.xml"], self.names())
        self.assertEqual(b"precious", self.read("in.xml"))
        self.run_tool("import", "in.wav", "--force")
        self.assertEqual(document(self.read("in.qts")), self.read("in.xml"))

    def test_a_signal_file_is_not_named_as_a_document(self):
        self.write("in.wav", wav(8, b"\1"))
        self.fails(2, "in.wav: a.xml is the name of a details document, not of a time signal file", "import", "in.wav", "-o", "a.xml")
        self.assertEqual(["in.wav"], self.names())

    def test_json(self):
        self.write("in.csv", "a [g]\n1\n")
        object, = self.run_tool("import", "in.csv", "--rate", "2", "-o", "a.qts", "--json").objects()
        self.assertEqual(("a.xml", "g"), (object["details_file"], object["unit"]))
        object = json.loads(self.run_tool("import", "in.csv", "--rate", "2", "-o", "/dev/null", "--json").out)
        self.assertEqual((None, "g"), (object["details_file"], object["unit"]))


class Shown(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("a.qts", SIGNAL)

    def test_info_shows_the_document(self):
        self.write("a.xml", document(SIGNAL, FULL))
        object, = self.run_tool("info", "--json", "a.qts").objects()
        self.assertEqual((FULL_JSON, [], True), (object["details"], object["damage"], object["header_good"]))
        lines = self.run_tool("info", "a.qts").lines()
        self.assertEqual(["  value          (sample - 0) x 1 m/s\u00b2", "  unit           %s m/s\u00b2" % UNIT],
                         [line for line in lines if line.startswith(("  value", "  unit"))])
        self.assertEqual(["  trigger        %s at 9.5 m/s\u00b2" % ID[2], "  validator      %s averages 1497 rpm" % ID[0],
                          "  validator      %s averages -0.25 \u00b0C" % ID[1],
                          "  characteristic %s is 0.71 mm/s at speed 1497.5" % ID[3],
                          "  characteristic %s is 1e-07" % ID[4]], lines[-5:])

    def test_info_without_a_document(self):
        object, = self.run_tool("info", "--json", "a.qts").objects()
        self.assertEqual((None, []), (object["details"], object["damage"]))
        object, = self.run_tool("info", "--json", "-", stdin=SIGNAL).objects()
        self.assertIsNone(object["details"])

    def test_the_document_of_a_link(self):
        self.write("a.xml", document(SIGNAL, Details("g")))
        os.mkdir(self.path("d"))
        os.symlink("../a.qts", self.path("d/link.qts"))
        self.assertEqual("g", self.run_tool("info", "--json", "d/link.qts").objects()[0]["details"]["unit"])
        self.run_tool("annotate", "d/link.qts", "--unit", "V")
        self.assertEqual(document(SIGNAL, Details("V")), self.read("a.xml"))
        self.write("d/link.xml", document(SIGNAL, Details("Pa")))
        self.assertEqual("Pa", self.run_tool("info", "--json", "d/link.qts").objects()[0]["details"]["unit"])

    def test_broken_documents_are_damage(self):
        for data, text in BROKEN:
            with self.subTest(text=text):
                self.write("a.xml", data)
                object, = self.run_tool("info", "--json", "a.qts", code=1).objects()
                self.assertEqual((None, True, [{"part": "details", "text": "a.xml " + text}]),
                                 (object["details"], object["header_good"], object["damage"]))
                self.assertIn("  DAMAGED        details: a.xml " + text, self.run_tool("info", "a.qts", code=1).lines())
                self.assertEqual("a.qts: damaged: details: a.xml %s\n" % text, self.run_tool("verify", "a.qts", code=1).out)
                for command in (("export", "a.qts", "-f", "csv", "-o", "x.csv"), ("convert", "a.qts", "--in-place"),
                                ("convert", "a.qts", "-o", "b.qts"), ("annotate", "a.qts", "--unit", "g"), ("details", "a.qts"),
                                ("archive", "create", "x.qta", "a.qts")):
                    self.fails(3, "a.qts: details: a.xml " + text, *command)
                self.assertEqual((["a.qts", "a.xml"], data, SIGNAL), (self.names(), self.read("a.xml"), self.read("a.qts")))

    def test_documents_of_another_signal_are_refused(self):
        for data, text in FOREIGN:
            with self.subTest(text=text):
                self.assertNotEqual(document(SIGNAL), data)
                self.write("a.xml", data)
                self.assertEqual("a.qts: damaged: details: %s\n" % text, self.run_tool("verify", "a.qts", code=1).out)
                self.assertIn("  DAMAGED        details: " + text, self.run_tool("info", "a.qts", code=1).lines())
                for command in (("export", "a.qts", "-f", "csv", "-o", "x.csv"), ("convert", "a.qts", "--in-place"),
                                ("annotate", "a.qts", "--unit", "g"), ("details", "a.qts")):
                    self.fails(3, "a.qts: details: a.xml belongs to another signal: " + text, *command)
                self.assertEqual((["a.qts", "a.xml"], data, SIGNAL), (self.names(), self.read("a.xml"), self.read("a.qts")))

    def test_documents_of_another_form_of_the_signal_are_damage_that_convert_mends(self):
        for old, new, text in STALE:
            with self.subTest(text=text):
                self.write("a.xml", document(SIGNAL, FULL).replace(old, new, 1))
                self.assertEqual("a.qts: damaged: details: %s\n" % text, self.run_tool("verify", "a.qts", code=1).out)
                self.run_tool("convert", "a.qts", "--in-place")
                self.assertEqual(document(SIGNAL, FULL), self.read("a.xml"))
                self.assertEqual("a.qts: good\n", self.run_tool("verify", "a.qts").out)

    def test_a_damaged_header_is_not_taken_for_another_signal(self):
        self.write("a.xml", document(SIGNAL, FULL))
        self.write("a.qts", SIGNAL[:96] + b"\5" + SIGNAL[97:])
        self.fails(3, "a.qts: Checksum error in header!", "convert", "a.qts", "--in-place")
        self.fails(3, "a.qts: Checksum error in header!", "export", "a.qts", "-f", "csv", "-o", "-")
        self.assertEqual(document(SIGNAL, FULL) + b"\n", self.run_tool("details", "a.qts").raw)
        lines = self.run_tool("verify", "a.qts", code=1).lines()
        self.assertRegex(lines[0], "^a.qts: damaged: header: checksum is ")
        self.assertIn("a.qts: damaged: details: sample count is 4, the record has 5", lines)  # which field it is

    def test_an_unreadable_document(self):
        os.mkdir(self.path("a.xml"))
        self.fails(3, "a.qts: details: a.xml is a directory", "convert", "a.qts", "--in-place")
        os.rmdir(self.path("a.xml"))
        os.symlink("nowhere", self.path("a.xml"))
        self.fails(3, "a.qts: details: a.xml cannot be opened: No such file or directory", "convert", "a.qts", "--in-place")
        self.assertEqual("a.qts: damaged: details: a.xml cannot be opened: No such file or directory\n",
                         self.run_tool("verify", "a.qts", code=1).out)

    def test_a_huge_document(self):
        with open(self.path("a.xml"), "wb") as file:
            file.truncate(1 << 34)
        self.fails(3, "a.qts: details: a.xml has 17179869184 bytes, too many", "details", "a.qts")

    def test_details_prints_the_document(self):
        text = document(SIGNAL, FULL) + b"\n<!-- kept -->\n"
        self.write("a.xml", text)
        self.assertEqual(text, self.run_tool("details", "a.qts").raw)
        self.assertEqual([{"schema": "qen.details/1", "file": "a.qts", "details_file": "a.xml", "text": text.decode()}],
                         self.run_tool("details", "--json", "a.qts").objects())

    def test_details_makes_a_document_where_there_is_none(self):
        self.assertEqual(document(SIGNAL) + b"\n", self.run_tool("details", "a.qts").raw)
        self.assertEqual(document(SIGNAL) + b"\n", self.run_tool("details", "-", stdin=SIGNAL).raw)
        self.assertEqual(["a.qts"], self.names())
        self.write("b.qts", SIGNAL[:92] + struct.pack("<i", 77) + SIGNAL[96:])
        self.fails(3, "b.qts: Unknown data type: 77!", "details", "b.qts")
        self.run_tool("details", "b.qts", "a.qts", code=4)


class Kept(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("a.qts", SIGNAL)

    def test_convert_writes_a_document_that_fits(self):
        self.write("a.xml", document(SIGNAL, FULL))
        for options in (("--type", "float64"), ("--compression", "zlib"), ("--remove-offset",), ()):
            self.run_tool("convert", "a.qts", *options, "--check", "-o", "b.qts", "--force")
            self.assertEqual(document(self.read("b.qts"), FULL), self.read("b.xml"))
            self.run_tool("verify", "-q", "b.qts")
        self.run_tool("convert", "a.qts", "--type", "int32", "--in-place")
        self.assertEqual(document(self.read("a.qts"), FULL), self.read("a.xml"))
        self.assertEqual([3, -1, 3, -1], values_of(self.read("a.qts")))

    def test_convert_without_a_document_makes_none(self):
        self.run_tool("convert", "a.qts", "--type", "int32", "-o", "b.qts")
        self.run_tool("convert", "a.qts", "--type", "int32", "--in-place")
        self.assertEqual(["a.qts", "b.qts"], self.names())

    def test_no_document_of_an_earlier_signal_stays(self):
        self.write("b.xml", document(signal_of("int8", [1]), FULL))
        self.fails(5, "a.qts: b.xml not written: the file exists, --force replaces it", "convert", "a.qts", "-o", "b.qts")
        self.assertEqual(["a.qts", "b.xml"], self.names())
        self.run_tool("convert", "a.qts", "-o", "b.qts", "--force")
        self.assertEqual(document(SIGNAL), self.read("b.xml"))

    def test_convert_to_standard_output_says_what_is_left_out(self):
        self.write("a.xml", document(SIGNAL, FULL))
        result = self.run_tool("convert", "a.qts", "-o", "-")
        self.assertEqual(SIGNAL, result.raw)
        self.assertIn("qen: a.qts: its details are left out (unit m/s\u00b2, trigger, 2 validators, 2 characteristic values): "
                      "no document goes there\n", result.err)

    def test_texts_that_others_wrote_without_escaping_stay(self):
        self.write("a.xml", document(SIGNAL, Details("R&D ", [Named(ID[0], 1, " ]]> > ")])))
        self.run_tool("convert", "a.qts", "--type", "int32", "--in-place")
        self.assertEqual(document(self.read("a.qts"), Details("R&D ", [Named(ID[0], 1, " ]]> > ")])), self.read("a.xml"))

    def test_texts_that_would_not_come_back_are_never_written(self):
        for unit, problem in (("a&lt;b", '"a<b" holds <'), ("&amp;lt;", '"&lt;" holds &'), ("<![CDATA[</vel:UnitString>]]>", None)):
            data = document(SIGNAL, Details(unit))
            self.write("a.xml", data)
            result = self.run_tool("convert", "a.qts", "--type", "int32", "--in-place", code=3)
            self.assertRegex(result.err, r"^qen: a\.qts: a details document cannot keep its details: unit .* holds .*\n$")
            if problem:
                self.assertIn(problem, result.err)
            self.assertEqual((SIGNAL, data), (self.read("a.qts"), self.read("a.xml")))

    def test_digits_that_a_document_drops_are_told(self):
        self.write("a.xml", document(SIGNAL, Details("g", trigger=Named(ID[0], 9))).replace(b">9<", b">9.123456789<"))
        result = self.run_tool("convert", "a.qts", "-o", "b.qts")
        self.assertIn("qen: a.qts: trip value 9.123456789 is kept with 6 digits, as 9.12346\n", result.err)
        self.assertEqual(document(SIGNAL, Details("g", trigger=Named(ID[0], 9.12346))), self.read("b.xml"))

    def test_export_names_the_unit(self):
        self.write("a.xml", document(SIGNAL, Details("m/s2")))
        self.write("b.qts", signal_of("int16", [4], scale=0.5))
        self.write("b.xml", document(self.read("b.qts"), Details("m/s2")))
        self.assertEqual("physical [m/s2]\n2\n", self.run_tool("export", "b.qts", "-f", "csv", "--physical", "-o", "-").out)
        self.assertEqual("time_s,physical [m/s2]\n0,2\n",
                         self.run_tool("export", "b.qts", "-f", "csv", "--physical", "--time-column", "-o", "-").out)
        result = self.run_tool("export", "b.qts", "-f", "csv", "-o", "-")
        self.assertEqual("raw\n4\n", result.out)  # the unit is not that of raw samples
        self.assertIn("qen: b.qts: raw samples were written: physical value = (sample - 0) x 0.5 m/s2\n", result.err)
        self.assertEqual("raw [m/s2]\n3\n-1\n3\n-1\n", self.run_tool("export", "a.qts", "-f", "csv", "-o", "-").out)
        self.assertEqual("2\n", self.run_tool("export", "b.qts", "-f", "csv", "--physical", "--no-header", "-o", "-").out)
        self.assertEqual("m/s2", self.run_tool("export", "b.qts", "-f", "wav", "-o", "b.wav", "--json").objects()[0]["unit"])

    def test_import_finds_the_unit_that_export_wrote(self):
        for unit in ("m/s2", "a,b", "x;y", "(a) [b]", "\u00b0C"):
            self.write("a.xml", document(SIGNAL, Details(unit)))
            for options in (("--time-column",), ()):
                with self.subTest(unit=unit, options=options):
                    self.run_tool("export", "a.qts", "-f", "csv", "--physical", *options, "-o", "a.csv", "--force")
                    self.run_tool("import", "a.csv", "--rate", "3", "--column", "physical", "-o", "back.qts", "--force")
                    self.assertEqual(document(self.read("back.qts"), Details(unit)), self.read("back.xml"))
        self.write("a.xml", document(SIGNAL, Details('5"')))
        self.assertEqual("raw\n", self.run_tool("export", "a.qts", "-f", "csv", "-o", "-").out[:4])

    def test_a_signal_removes_both_temporary_files(self):
        big = signal_of("float64", [0.1 + i for i in range(3000)] * 700)
        self.write("big.qts", big)
        self.write("big.xml", document(big, FULL))
        before = self.names()
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            process = self.start("convert", "big.qts", "--remove-offset", "--compression", "gzip", "--in-place")
            deadline = time.monotonic() + 60
            while len(self.names()) < len(before) + 2:
                self.assertLess(time.monotonic(), deadline)
                self.assertIsNone(process.poll())
                time.sleep(0.0005)
            process.send_signal(number)
            process.communicate()
            self.assertEqual((-number, before), (process.returncode, self.names()))
            self.assertEqual((big, document(big, FULL)), (self.read("big.qts"), self.read("big.xml")))

    def test_both_files_change_or_none(self):
        self.write("a.xml", document(SIGNAL, FULL))
        os.mkdir(self.path("out"))
        os.mkdir(self.path("out/a.xml"))
        self.fails(5, "a.qts: out/a.xml is a directory, not a file to write", "convert", "a.qts", "-d", "out", "--force")
        self.assertEqual(["a.xml"], self.names("out"))
        self.write("b.qts", b"precious")
        self.fails(5, "a.qts: b.qts not written: the file exists, --force replaces it", "convert", "a.qts", "-o", "b.qts")
        self.assertEqual(["a.qts", "a.xml", "b.qts", "out"], self.names())

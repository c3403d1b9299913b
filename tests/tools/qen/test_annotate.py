import os
import resource
import struct
import uuid

from support import NULL, UNIT, Details, Named, ToolTest, document, parse_signal_file, signal_of, xor16

ID = [uuid.UUID("b0000000-0000-4000-8000-%012d" % i) for i in range(9)]
SIGNAL = signal_of("int16", [1, 2, 3], time=5)


class Annotate(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("a.qts", SIGNAL)

    def annotated(self, details, *arguments, note=""):
        """Annotates and compares the document with a model of it; the signal file must not change."""
        result = self.run_tool("annotate", "a.qts", *arguments)
        self.assertEqual(note, "".join(line + "\n" for line in result.err.splitlines() if line.startswith("qen: ")))
        self.assertEqual(document(SIGNAL, details), self.read("a.xml"))
        self.assertEqual(SIGNAL, self.read("a.qts"))
        self.assertEqual(["a.qts", "a.xml"], self.names())
        return result

    def test_each_kind_of_detail(self):
        result = self.annotated(Details("m/s\u00b2"), "--unit", "m/s\u00b2")
        self.assertEqual("a.qts: a.xml holds unit m/s\u00b2\n", result.err)
        trigger = Named(ID[0], 9.5, "m/s2", UNIT)
        self.annotated(Details("m/s\u00b2", trigger=trigger), "--trigger", "%s,9.5,unit=m/s2,unit-uuid=%s" % (ID[0], UNIT))
        validators = [Named(ID[1], 1497, "rpm"), Named(ID[2], -1e-3)]
        self.annotated(Details("m/s\u00b2", validators, trigger), "--validator", "%s,1497,unit=rpm" % ID[1], "--validator", "%s,-1e-3" % ID[2])
        values = [Named(ID[3], 0.71, "mm/s", UNIT, 1497.5), Named(ID[4], 3), Named(ID[5], 4, speed=0)]
        result = self.annotated(Details("m/s\u00b2", validators, trigger, values),
                                "--value", "%s,0.71,speed=1497.5,unit-uuid=%s,unit=mm/s" % (ID[3], UNIT), "--value", "%s,3" % ID[4],
                                "--value", "%s,4,speed=0" % ID[5])
        self.assertEqual("a.qts: a.xml holds unit m/s\u00b2, trigger, 2 validators, 3 characteristic values\n", result.err)

    def test_the_same_uuid_is_replaced_in_its_place(self):
        self.annotated(Details(validators=[Named(ID[0], 1), Named(ID[1], 2)], values=[Named(ID[2], 3, speed=4.0), Named(ID[3], 5)]),
                       "--validator", "%s,1" % ID[0], "--validator", "%s,2" % ID[1], "--value", "%s,3,speed=4" % ID[2],
                       "--value", "%s,5" % ID[3])
        self.annotated(Details("", [Named(ID[0], 7, "x"), Named(ID[1], 2)], Named(ID[4], 1), [Named(ID[2], 8), Named(ID[3], 5)]),
                       "--validator", "%s,7,unit=x" % ID[0], "--value", "%s,8" % ID[2], "--trigger", "%s,1" % ID[4])
        self.annotated(Details("", [Named(ID[0], 7, "x"), Named(ID[1], 2)], Named(ID[5], 2), [Named(ID[2], 8), Named(ID[3], 5)]),
                       "--trigger", "%s,2" % ID[5])
        self.write("a.xml", document(SIGNAL, Details(validators=[Named(ID[0], 1), Named(ID[1], 2), Named(ID[0], 3)])))
        self.annotated(Details(validators=[Named(ID[0], 4), Named(ID[1], 2)]), "--validator", "%s,4" % ID[0])

    def test_clearing(self):
        full = ("--unit", "g", "--trigger", "%s,1" % ID[0], "--validator", "%s,2" % ID[1], "--value", "%s,3" % ID[2])
        parts = {"unit": "g", "validators": [Named(ID[1], 2)], "trigger": Named(ID[0], 1), "values": [Named(ID[2], 3)]}
        for name, empty in (("unit", ""), ("trigger", None), ("validators", ()), ("values", ())):
            self.annotated(Details(**parts), *full)
            self.annotated(Details(**{**parts, name: empty}), "--clear", name)
        self.annotated(Details(**parts), *full)
        self.annotated(Details("g", values=[Named(ID[2], 3)]), "--clear", "validators", "--clear", "trigger")
        result = self.annotated(Details("", values=[Named(ID[2], 3)]), "--unit", "")
        self.assertEqual("a.qts: a.xml holds 1 characteristic value\n", result.err)
        self.run_tool("annotate", "a.qts", "--clear", "all", "--unit", "V")  # cleared first
        self.assertEqual(document(self.read("a.qts"), Details("V")), self.read("a.xml"))
        self.assertEqual(NULL, parse_signal_file(self.read("a.qts"))["unit"])

    def test_the_unit_uuid_changes_the_header_and_its_checksum_alone(self):
        new = ID[7]
        self.run_tool("annotate", "a.qts", "--unit-uuid", str(new), "--unit", "g")
        changed = SIGNAL[:72] + new.bytes + SIGNAL[88:118]
        changed += struct.pack("<H", xor16(changed)) + SIGNAL[120:]
        self.assertEqual((changed, document(changed, Details("g"))), (self.read("a.qts"), self.read("a.xml")))
        parse_signal_file(changed)
        self.assertEqual("a.qts: good\n", self.run_tool("verify", "a.qts").out)
        object, = self.run_tool("annotate", "a.qts", "--clear", "unit-uuid", "--json").objects()
        self.assertEqual((True, str(NULL)), (object["record_changed"], object["unit_uuid"]))
        self.assertEqual(NULL, parse_signal_file(self.read("a.qts"))["unit"])
        object, = self.run_tool("annotate", "a.qts", "--unit-uuid", str(NULL), "--json").objects()
        self.assertFalse(object["record_changed"])
        self.assertEqual(["a.qts", "a.xml"], self.names())

    def test_long_samples_stay_when_the_header_changes(self):
        data = signal_of("int32", range(200000), unit=UNIT)
        self.write("a.qts", data)
        os.chmod(self.path("a.qts"), 0o640)
        self.run_tool("annotate", "a.qts", "--unit-uuid", str(ID[0]))
        self.assertEqual(data[120:], self.read("a.qts")[120:])
        self.assertEqual(0o640, os.stat(self.path("a.qts")).st_mode & 0o777)
        self.run_tool("verify", "a.qts")

    def test_texts_that_would_not_come_back_are_refused(self):
        for text, problem in ((b"a<b", "holds <"), (b"R&D", "holds &"), (b"a]]>b", "holds ]]>"), (b" g", "has blanks around it"),
                              (b"g ", "has blanks around it"), (b"\xc2\xa0g", "has blanks around it"), (b"a\tb", "holds a control character"),
                              (b"a\nb", "holds a control character"), (b"a\rb", "holds a control character"),
                              (b"a\x7fb", "holds a control character"), (b"\xc2\x85", "holds a control character"),
                              (b"\xff", "is no UTF-8"), (b"\xed\xa0\x80", "is no UTF-8"), (b"\xc0\xbc", "is no UTF-8"),
                              (b"\xef\xbf\xbe", "holds a character that XML does not have")):
            for option, value in ((b"--unit", text), (b"--trigger", b"%s,1,unit=%s" % (str(ID[0]).encode(), text)),
                                  (b"--validator", b"%s,1,unit=%s" % (str(ID[0]).encode(), text)),
                                  (b"--value", b"%s,1,unit=%s,speed=1" % (str(ID[0]).encode(), text))):
                with self.subTest(text=text, option=option):
                    result = self.run_tool(b"annotate", b"a.qts", option, value, code=2)
                    self.assertRegex(result.err, r'^qen: %s: ".*" %s, which a details document cannot keep \(qen annotate --help explains\)\n$'
                                     % (option.decode(), problem.replace("]]>", r"\]\]>")))
                    self.assertEqual("", result.out)
        self.assertEqual((["a.qts"], SIGNAL), (self.names(), self.read("a.qts")))

    def test_texts_that_come_back(self):
        for text in ("m/s\u00b2", ">", "a ]] > b", "'\"", "[g]", "\u65e5\u672c", "\U0001f4c8", "%s%n", "--", "a,b", "=,unit", "1.0", "\u00b5m"):
            with self.subTest(text=text):
                self.annotated(Details(text, [Named(ID[0], 1, text)], values=[Named(ID[1], 2, text, UNIT, 3.0)]), "--unit=" + text,
                               "--validator", "%s,1,unit=%s" % (ID[0], text), "--value",
                               "%s,2,unit=%s,unit-uuid=%s,speed=3" % (ID[1], text, UNIT))
                self.assertEqual(text, self.run_tool("info", "--json", "a.qts").objects()[0]["details"]["unit"])

    def test_digits_that_a_document_drops_are_told(self):
        self.annotated(Details(trigger=Named(ID[0], 9.12346), validators=[Named(ID[1], 1234570)], values=[Named(ID[2], 0.333333, speed=1497.12)]),
                       "--trigger", "%s,9.123456789" % ID[0], "--validator", "%s,1234567" % ID[1], "--value",
                       "%s,0.3333333333333333,speed=1497.1234" % ID[2],
                       note="qen: a.qts: average value 1234567 is kept with 6 digits, as 1.23457e+06\n"
                            "qen: a.qts: trip value 9.123456789 is kept with 6 digits, as 9.12346\n"
                            "qen: a.qts: characteristic value 0.3333333333333333 is kept with 6 digits, as 0.333333\n"
                            "qen: a.qts: speed 1497.1234 is kept with 6 digits, as 1497.12\n")
        for number in ("123456", "0.1", "-1e300", "5e-324", "1.5e-7", "0"):
            self.annotated(Details(trigger=Named(ID[0], float(number))), "--clear", "validators", "--clear", "values", "--trigger",
                           "%s,%s" % (ID[0], number))

    def test_wrong_usage(self):
        id = str(ID[0])
        self.fails(2, "annotate needs --unit, --unit-uuid, --trigger, --validator, --value or --clear", "annotate", "a.qts")
        for option, value, message in (
                ("--trigger", id, '"%s" has no number behind its UUID: UUID,NUMBER' % id), ("--trigger", "x,1", '"x" is no UUID'),
                ("--trigger", ",1", "the UUID is empty"), ("--trigger", "%s,1" % NULL, "the null UUID names nothing"),
                ("--validator", id + ",", '"" is no finite number'), ("--validator", id + ",nan", '"nan" is no finite number'),
                ("--validator", id + ",1,rpm", '"1,rpm" is no finite number'),
                ("--validator", id + ",1,speed=3", '"speed=3" is none of unit=TEXT, unit-uuid=UUID'),
                ("--value", id + ",1,unit=g,speed=fast", '"fast" is no finite number'),
                ("--value", id + ",1,speed=1e39", "the speed 1e39 is too large"),
                ("--value", id + ",1,unit=g,unit-uuid=7", '"7" is no UUID'), ("--unit-uuid", "", "the UUID is empty"),
                ("--clear", "everything", '"everything" is none of unit, unit-uuid, trigger, validators, values, all')):
            with self.subTest(option=option, value=value):
                self.fails(2, "%s: %s (qen annotate --help explains)" % (option, message), "annotate", "a.qts", option, value)
        self.assertEqual((["a.qts"], SIGNAL), (self.names(), self.read("a.qts")))

    def test_what_has_no_document(self):
        self.fails(2, "-: is no file that a document could lie beside", "annotate", "-", "--unit", "g", stdin=SIGNAL)
        self.write("b.xml", SIGNAL)
        self.fails(2, "b.xml: b.xml is the name of a details document, not of a time signal file", "annotate", "b.xml", "--unit", "g")
        self.assertEqual(SIGNAL, self.read("b.xml"))

    def test_a_damaged_header_is_not_annotated(self):
        damaged = SIGNAL[:60] + b"\7" + SIGNAL[61:]
        self.write("a.qts", damaged)
        result = self.run_tool("annotate", "a.qts", "--unit-uuid", str(ID[0]), code=3)
        self.assertRegex(result.err, r"^qen: a\.qts: is damaged: header: checksum is 0x[0-9a-f]{4}, computed 0x[0-9a-f]{4}\n$")
        self.write("b.qts", SIGNAL + b"\0")
        self.fails(3, "b.qts: is damaged: size: 7 sample bytes in the file, 6 in the header", "annotate", "b.qts", "--unit", "g")
        self.assertEqual((["a.qts", "b.qts"], damaged), (self.names(), self.read("a.qts")))

    def test_several_files(self):
        self.write("d/1.qts", SIGNAL)
        self.write("d/2.qts", b"junk")
        self.write("d/3.qts", SIGNAL)
        self.write("d/3.xml", b"junk")
        result = self.run_tool("annotate", "d", "a.qts", "none.qts", "--unit", "g", "--json", code=4)
        self.assertEqual(["d/1.qts", "a.qts"], [o["file"] for o in result.objects()])
        self.assertEqual(3, len(result.err.splitlines()))
        self.assertEqual(["1.qts", "1.xml", "2.qts", "3.qts", "3.xml"], self.names("d"))
        self.assertEqual(b"junk", self.read("d/3.xml"))

    def test_json(self):
        object, = self.run_tool("annotate", "a.qts", "--unit", "g", "--validator", "%s,2" % ID[0], "--json").objects()
        self.assertEqual({"schema": "qen.annotate/1", "file": "a.qts", "details_file": "a.xml", "record_changed": False,
                          "unit_uuid": str(UNIT), "details": {
                              "unit": "g", "validators": [{"uuid": str(ID[0]), "average_value": 2.0, "unit": "", "unit_uuid": str(NULL)}],
                              "trigger": None, "characteristic_values": []}}, object)

    def test_a_full_disk_changes_nothing(self):
        self.run_tool("annotate", "a.qts", "--unit", "g")
        before = self.read("a.xml")
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (500, 500))
        for arguments in (("--unit", "V"), ("--unit-uuid", str(ID[0]))):
            result = self.run_tool("annotate", "a.qts", *arguments, code=5, preexec_fn=limit)
            self.assertRegex(result.err, r"^qen: a\.qts: a\.xml cannot be written: File too large\n$")
            self.assertEqual((["a.qts", "a.xml"], before, SIGNAL), (self.names(), self.read("a.xml"), self.read("a.qts")))

    def test_an_unwritable_folder(self):
        if os.geteuid() == 0:
            return self.skipTest("the superuser may write everywhere")
        os.chmod(self.folder, 0o500)
        try:
            self.fails(5, "a.qts: a.xml cannot be written: Permission denied", "annotate", "a.qts", "--unit", "g")
        finally:
            os.chmod(self.folder, 0o700)
        self.assertEqual(["a.qts"], self.names())

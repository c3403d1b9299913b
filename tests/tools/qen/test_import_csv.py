import json
import math
import os
import struct

from support import CONFIG, MEASUREMENT, SAMPLE_TYPES, UNIT, ToolTest, parse_signal_file, signal_of, unpack, values_of

GIVEN = ("--config", str(CONFIG), "--measurement", str(MEASUREMENT), "--unit-uuid", str(UNIT), "--time", "0")


def float32(text):
    return struct.unpack("<f", struct.pack("<f", float(text)))[0]


class ImportCsv(ToolTest):
    def imported(self, text, *arguments, note=""):
        """(name of the sample type, values) of a CSV text."""
        self.write("in.csv", text)
        result = self.run_tool("import", "in.csv", "-o", "out.qts", "--force", "--rate", "1000", *arguments)
        self.assertEqual(note, "".join(line + "\n" for line in result.err.splitlines() if "->" not in line))
        header = parse_signal_file(self.read("out.qts"))
        name = next(n for n, (number, _) in SAMPLE_TYPES.items() if number == header["sample_type"])
        return name, unpack(name, header["stored"])

    def remove_results(self):
        for name in self.names():
            if name.startswith("out."):
                os.remove(self.path(name))

    def refused(self, text, message, *arguments, code=3):
        self.write("in.csv", text)
        self.fails(code, "in.csv: " + message, "import", "in.csv", "--rate", "1000", *arguments)
        self.assertEqual(["in.csv"], self.names())

    def test_whole_file_is_as_the_options_say(self):
        self.write("in.csv", "acceleration_m/s2\n3.5\n-1\n1e-3\n")
        self.run_tool("import", "in.csv", "--rate", "25600", "-o", "out.qts", "--scale", "2", "--offset", "0.5", *GIVEN)
        self.assertEqual(signal_of("float64", [3.5, -1.0, 1e-3], delta_x=1 / 25600, scale=2.0, offset=0.5), self.read("out.qts"))
        self.run_tool("import", "in.csv", "--delta-x", "0.1", "-o", "out2.qts", *GIVEN)
        self.assertEqual(0.1, parse_signal_file(self.read("out2.qts"))["delta_x"])

    def test_integers_take_the_smallest_type_that_holds_all(self):
        for values, expected in (
                (["0", "1", "-1"], "int16"), (["32767", "-32768"], "int16"), (["32768"], "int32"), (["-32769"], "int32"),
                (["2147483647", "-2147483648"], "int32"), (["2147483648"], "int64"), (["-2147483649"], "int64"),
                (["9223372036854775807", "-9223372036854775808"], "int64"), (["+7", "007", "0"], "int16")):
            with self.subTest(values=values):
                self.assertEqual((expected, [int(v) for v in values]), self.imported("\n".join(values)))

    def test_one_decimal_makes_all_float64(self):
        for values in (["1", "2.0"], ["0.1", "1"], ["1e3"], ["3", "-0"], ["9223372036854775808"], ["4", "nan", "inf", "-inf"],
                       ["5e-324", "1.7976931348623157e308"], ["9007199254740992", "0.5"], ["+.5", "5."]):
            with self.subTest(values=values):
                sample_type, numbers = self.imported("\n".join(values) + "\n")
                self.assertEqual("float64", sample_type)
                self.assertEqual([struct.pack("<d", float(v)) for v in values if v != "nan"],
                                 [struct.pack("<d", n) for n in numbers if not math.isnan(n)])
                self.assertEqual(values.count("nan"), sum(map(math.isnan, numbers)))

    def test_sign_of_zero_survives(self):
        self.assertEqual(-1.0, math.copysign(1, self.imported("-0\n")[1][0]))

    def test_decimals_are_the_nearest_doubles(self):
        texts = ["0.1", "3.8700469", "2.225073858507201e-308", "73.96732207", "74.93588199999998", "1e23", "8.41e21", "0.10000",
                 "900719925474099.2", "100000000000000000000", "000.30000000000000004"]
        self.assertEqual(("float64", [float(text) for text in texts]), self.imported("\n".join(texts)))

    def test_more_digits_than_a_double_holds_are_rounded_with_a_note(self):
        text = "0.5\n0.1000000000000000055511151231257827\n0.25\n3.14159265358979323846\n"
        self.assertEqual(("float64", [0.5, 0.1, 0.25, math.pi]), self.imported(
            text, note="qen: in.csv: 2 values have more digits than float64 holds and became the nearest float64, the first on "
            "line 2\n"))
        self.assertEqual(("float64", [math.pi]), self.imported(
            "3.14159265358979323846", note="qen: in.csv: 1 value has more digits than float64 holds and became the nearest "
            "float64, the first on line 1\n"))

    def test_integers_that_only_uint64_holds_are_not_rounded(self):
        message = ('the integer "18446744073709551615" stands with values that only float64 takes, which cannot hold it exactly '
                   "(see --type)")
        self.refused("1\n18446744073709551615\n", "line 2: " + message)
        self.refused("9007199254740993\n1\n0.5\n", 'line 1: the integer "9007199254740993" stands with values that only float64 '
                     "takes, which cannot hold it exactly (see --type)")
        self.refused("0.5\n\n9007199254740993", "line 2: is empty, but values follow")
        self.refused("0.5\n9007199254740993", 'line 2: the integer "9007199254740993" stands with values that only float64 '
                     "takes, which cannot hold it exactly (see --type)")
        self.assertEqual(("uint64", [1, 2**64 - 1]), self.imported("1\n18446744073709551615\n", "--type", "uint64"))

    def test_forced_types_hold_their_limits(self):
        limits = {"int8": (-128, 127), "int16": (-2**15, 2**15 - 1), "int32": (-2**31, 2**31 - 1), "int64": (-2**63, 2**63 - 1),
                  "uint8": (0, 255), "uint16": (0, 65535), "uint32": (0, 2**32 - 1), "uint64": (0, 2**64 - 1)}
        for sample_type, (low, high) in limits.items():
            with self.subTest(type=sample_type):
                self.assertEqual((sample_type, [low, 0, high]), self.imported("%d\n0\n%d\n" % (low, high), "--type", sample_type))
                self.write("low.csv", "0\n%d\n" % (low - 1))
                self.write("high.csv", "0\n%d\n" % (high + 1))
                result = self.run_tool("import", "low.csv", "high.csv", "--rate", "1", "--type", sample_type, code=3)
                self.assertEqual(['qen: low.csv: line 2: %s cannot hold "%d" exactly' % (sample_type, low - 1),
                                  'qen: high.csv: line 2: %s cannot hold "%d" exactly' % (sample_type, high + 1)],
                                 result.err.splitlines())

    def test_forced_integers_take_every_notation_of_an_integer(self):
        self.assertEqual(("int16", [3, 1000, -20, 0, 0, 12]), self.imported("3.0\n1e3\n-2.00e1\n-0.0\n0e5\n1200e-2", "--type",
                                                                           "int16"))
        for text in ("0.5", "1e-1", "nan", "inf", "1e400", "1e99999999999999999999", "12.000000000000000000001"):
            with self.subTest(text=text):
                self.remove_results()
                self.refused("1\n%s\n" % text, 'line 2: int32 cannot hold "%s" exactly' % text, "--type", "int32")

    def test_float32_takes_only_what_its_shortest_text_names(self):
        good = ["3.8700469", "0.1", "1e10", "16777216", "1.1754944e-38", "-0", "3.4028235e38", "inf"]
        sample_type, values = self.imported("\n".join(good), "--type", "float32")
        self.assertEqual(("float32", [float32(text) if text != "inf" else math.inf for text in good]), (sample_type, values))
        self.remove_results()
        for text in ("0.10000000149011612", "3.87004691", "16777217", "3.5e38", "1e-46", "0.123456789"):
            with self.subTest(text=text):
                self.refused("0.5\n%s\n" % text, 'line 2: float32 cannot hold "%s" exactly' % text, "--type", "float32")

    def test_forced_float64_refuses_what_it_must_round(self):
        self.assertEqual(("float64", [0.1, 1.0]), self.imported("0.1\n1\n", "--type", "float64"))
        self.remove_results()
        self.refused("3.14159265358979323846", 'line 1: float64 cannot hold "3.14159265358979323846" exactly', "--type",
                     "float64")
        self.refused("1e999", 'line 1: float64 cannot hold "1e999" exactly', "--type", "float64")

    def test_what_is_no_number(self):
        for text in ("abc", "1 2", "1.2.3", "--1", "+-1", "0x10", "1e", "1_000", "e5", "."):
            with self.subTest(text=text):
                self.refused("0\n%s\n" % text, 'line 2: "%s" is no number' % text)
                self.refused("0\n%s\n" % text, 'line 2: "%s" is no number' % text, "--type", "int16")
        self.refused("0\n3,87\n", 'line 2: "3,87" is no number (the decimal mark is a point)')
        self.refused("0\n%s\n" % ("x" * 100), 'line 2: "%s..." is no number' % ("x" * 40))
        self.refused("0.5\n1e999\n", 'line 2: "1e999" is beyond the range of float64')
        self.refused("1\n-1e999\n", 'line 2: "-1e999" is beyond the range of float64')

    def test_header_lines(self):
        for header in ("acceleration_m/s2", "acceleration [m/s2]", "acceleration, m/s2", "value;unit", '"x"', "\ufeffvalue",
                       "# comment\n\n  # another\nvalue"):
            with self.subTest(header=header):
                self.assertEqual(("int16", [1, 2]), self.imported(header + "\n1\n2\n"))
        self.remove_results()
        self.refused("value\nother\n1\n", 'line 2: "other" is no number')

    def test_line_ends_blanks_and_comments(self):
        for text in ("1\n2\n3", "1\r\n2\r\n3\r\n", "\ufeff1\n2\n3\n", "\n\n1\n2\n3\n\n\r\n  \n", "# a\n1\n # b\n2\n#c\n3\n",
                     " 1 \n\t2\n3\t\n", '"1"\n" 2 "\n3\n'):
            with self.subTest(text=text):
                self.assertEqual(("int16", [1, 2, 3]), self.imported(text))

    def test_a_missing_value_is_not_skipped(self):
        self.refused("1\n\n2\n", "line 2: is empty, but values follow")
        self.refused("a,b\n1,2\n3,\n", "line 3: has no value", "--column", "b")
        self.refused("a,b\n1,2\n3\n", "line 3: has 1 column, column 2 is missing", "--column", "b")
        self.refused('1\n""\n2', "line 2: has no value")

    def test_columns(self):
        table = "time,rms_mg,note\n2020,4,x\n2021,-7,y\n"
        for column in ("rms_mg", "2"):
            for delimiter in (",", ";", "\t"):
                with self.subTest(column=column, delimiter=delimiter):
                    self.assertEqual(("int16", [4, -7]), self.imported(table.replace(",", delimiter), "--column", column))
        self.assertEqual(("int16", [5, 6]), self.imported("1,5\n2,6\n", "--column", "2"))
        self.assertEqual(("float64", [0.5, 2.5]), self.imported("a;b\n1,5;0.5\n2,5;2.5\n", "--column", "b"))
        self.assertEqual(("int16", [1]), self.imported('"a, b",c\n1,2\n', "--column", "a, b"))
        self.assertEqual(("int16", [3, 2]), self.imported("x,3,y\n1,2,9\n", "--column", "2"))
        self.assertEqual(("int16", [1]), self.imported("[g],x\n1,2\n", "--column", "[g]"))
        self.assertEqual(("int16", [1, 2]), self.imported("value\n1\n2\n", "--column", "value"))
        self.assertEqual(("int16", [1, 2]), self.imported("value\n1\n2\n", "--column", "1"))

    def test_a_column_must_be_chosen_and_exist(self):
        self.refused("time,rms\n1,2\n", "has 2 columns (time, rms); --column chooses one")
        self.refused("1,2,3\n", "has 3 columns; --column chooses one")
        self.refused("time,rms\n1,2\n", 'has no column "x" among its 2 (time, rms)', "--column", "x")
        self.refused("1,2\n", 'has no column "3" among its 2', "--column", "3")
        self.refused("1,2\n", 'has no column "0" among its 2', "--column", "0")
        self.refused("1,2\n", 'has no column "-1" among its 2', "--column", "-1")

    def test_label_reaches_the_json(self):
        self.write("in.csv", "time;rms g\n1;0.5\n")
        result = self.run_tool("import", "in.csv", "--rate", "1", "--column", "2", "--json")
        self.assertEqual("rms g", json.loads(result.out)["label"])

    def test_a_rate_is_needed(self):
        self.write("in.csv", "1\n")
        self.fails(2, "in.csv: is a CSV file, which has no sampling rate: give --rate or --delta-x", "import", "in.csv")
        result = self.run_tool("import", "in.csv", "--rate", "1", "--delta-x", "1", code=2)
        self.assertRegex(result.err, "^qen: --(rate|delta-x) excludes --(rate|delta-x) ")
        self.fails(2, "in.csv: is no sound file: --channel is for sound files, --column for CSV files", "import", "in.csv",
                   "--rate", "1", "--channel", "1")

    def test_empty_files_hold_no_values(self):
        for text in ("", "\n\n", "# only comments\n", "value\n", "\ufeff"):
            with self.subTest(text=text):
                self.refused(text, "holds no values")

    def test_binary_files_are_refused(self):
        self.refused(b"1\n2\0\n", "line 2: holds a NUL byte: this is no text in UTF-8")
        self.refused("1\n2\n".encode("utf-16"), "line 1: holds a NUL byte: this is no text in UTF-8")
        self.refused(b"1\n\xff\xfe\x01\x1b[31m\n", 'line 2: "\\xff\\xfe\\x01\\x1b[31m" is no number')

    def test_an_endless_line_costs_no_memory(self):
        self.write("short.csv", "1\n")
        with open(self.path("long.csv"), "wb") as file:
            file.write(b"1\n2\n" + b"7" * 100000)
            file.truncate(1 << 30)
        message = "long.csv: line 3: is longer than 65536 bytes: this is no table of numbers"
        self.fails(3, message, "import", "long.csv", "--rate", "1")
        modest = self.peak_memory("import", "short.csv", "--rate", "1", code=0)
        self.assertLess(self.peak_memory("import", "long.csv", "--rate", "1", code=3), modest + 16384)

    def test_long_lines_and_long_files_cross_read_blocks(self):
        values = [(i * 40503) % 60000 - 30000 for i in range(60000)]
        text = "".join("%s%d%s\n" % (" " * (i % 13), v, " " * (i % 7)) for i, v in enumerate(values))
        self.assertEqual(("int16", values), self.imported(text))
        self.assertEqual(("int16", [5, 6]), self.imported(" " * 65000 + "5\n6" + " " * 65000))

    def test_a_locale_changes_nothing(self):
        self.write("in.csv", "1.5\n1234.25\n")
        environment = dict(os.environ, LC_ALL="de_DE.UTF-8", LANG="de_DE.UTF-8", LC_NUMERIC="de_DE.UTF-8")
        self.run_tool("import", "in.csv", "--rate", "1000.5", "-o", "out.qts", env=environment)
        self.assertEqual([1.5, 1234.25], values_of(self.read("out.qts")))
        self.assertEqual(1 / 1000.5, parse_signal_file(self.read("out.qts"))["delta_x"])

import math
import os
import resource
import struct

from support import NULL, ToolTest
from trend_support import CONFIG, ENTRY, HOUR, MINUTE, SECOND, START, UNIT, entry, parse_trend, time_of, trend_document


class TrendImport(ToolTest):
    def entries_of(self, table, *options, code=0):
        self.write("a.csv", table)
        self.run_tool("trend", "import", "a.csv", "-o", "a.qtr", "--force", *options, code=code)
        return parse_trend(self.read("a.qtr"))["entries"]

    def refuses(self, message, table, *options):
        self.write("a.csv", table)
        self.fails(3, "a.csv: " + message, "trend", "import", "a.csv", *options)
        self.assertEqual(["a.csv"], self.names())

    def test_two_columns_need_no_option(self):
        self.write("rms.csv", "time,rms\n2026-11-20T00:00:00Z,1.5\n2026-11-20T01:00:00.25Z,-2e-3\n")
        result = self.run_tool("trend", "import", "rms.csv")
        self.assertEqual("rms.csv -> rms.qtr: 2 entries from 2026-11-20T00:00:00.000000Z to 2026-11-20T01:00:00.250000Z\n", result.err)
        data = self.read("rms.qtr")
        trend = parse_trend(data)
        self.assertEqual([entry(START, 1.5), entry(START + HOUR + SECOND // 4, -0.002)], trend["entries"])
        self.assertEqual((2, 0.0, NULL, NULL), (trend["compression"], trend["limit"], trend["config"], trend["unit"]))
        self.assertNotEqual(NULL, trend["trend"])
        self.assertEqual(trend_document(data).decode(), self.read("rms.xml").decode())

    def test_identity_and_unit_are_what_the_options_say(self):
        self.write("a.csv", "2026-11-20,1\n")
        for method, number in (("none", 1), ("zlib", 2), ("gzip", 4)):
            self.run_tool("trend", "import", "a.csv", "--unit", "mm/s", "--unit-uuid", str(UNIT), "--config", str(CONFIG), "--limit", "4.5",
                          "--compression", method, "--force")
            data = self.read("a.qtr")
            trend = parse_trend(data)
            self.assertEqual((number, 4.5, CONFIG, UNIT), tuple(trend[k] for k in ("compression", "limit", "config", "unit")))
            self.assertEqual(trend_document(data, "mm/s"), self.read("a.xml"))

    def test_the_unit_stands_in_the_name_of_the_column(self):
        self.write("a.csv", "when;rms [mm/s]\n2026-11-20;1\n")
        self.run_tool("trend", "import", "a.csv")
        self.assertEqual(trend_document(self.read("a.qtr"), "mm/s"), self.read("a.xml"))
        self.run_tool("trend", "import", "a.csv", "--unit", "in/s", "--force")
        self.assertEqual(trend_document(self.read("a.qtr"), "in/s"), self.read("a.xml"))
        self.fails(2, '--unit: "a<b" holds <, which a details document cannot keep (qen trend import --help explains)',
                   "trend", "import", "a.csv", "--unit", "a<b", "--force")
        self.refuses_unit()

    def refuses_unit(self):
        self.write("b.csv", "when,rms [a&b]\n2026-11-20,1\n")
        self.fails(3, 'b.csv: the unit in the column\'s name, "a&b", holds &: --unit gives another one', "trend", "import", "b.csv")

    def test_all_columns_by_name_and_by_number(self):
        wanted = [entry(START, 1.5, 3, 0.1, -2.5, 255, math.inf)]
        row = "255,2026-11-20T00:00:00Z,3,1.5,0.1,-2.5,inf\n"
        options = ["--time", "2", "--value", "4", "--status", "3", "--aux-byte", "1", "--aux-float1", "5", "--aux-float2", "6",
                   "--aux-float3", "7"]
        self.assertEqual(wanted, self.entries_of(row, *options))
        self.assertEqual(wanted, self.entries_of("b,t,s,v,f,g,h\n" + row, "--time", "t", "--value", "v", "--status", "s", "--aux-byte", "b",
                                                 "--aux-float1", "f", "--aux-float2", "g", "--aux-float3", "h"))
        self.assertEqual(wanted, self.entries_of("aux_byte,time,status,value,aux_float1,aux_float2,aux_float3\n" + row))

    def test_optional_columns_may_be_empty_or_refused(self):
        table = "time,value,status\n2026-11-20,1,\n2026-11-21,2,7\n"
        self.assertEqual([5, 7], [e[25] for e in self.entries_of(table, "--default-status", "5")])
        self.assertEqual([0, 7], [e[25] for e in self.entries_of(table)])
        self.assertEqual([5, 5], [e[25] for e in self.entries_of(table, "--default-status", "5", "--status", "")])

    def test_forms_of_time(self):
        cases = {
            "2026-11-20T00:00:00Z": START, "2026-11-20T01:30:00+01:30": START, "2026-11-20 00:00:00.000001Z": START + 1,
            "2026-11-20": START, "-0001-01-01T00:00:00.000000Z": -62198755200 * SECOND, "1969-12-31T23:59:59.999999Z": -1,
        }
        for text, time in cases.items():
            with self.subTest(text=text):
                self.assertEqual([time], [time_of(e) for e in self.entries_of("t,v\n%s,1\n" % text)])

    def test_numbers_need_their_unit(self):
        cases = {("s", "1795132800"): START, ("s", "1795132800.000001"): START + 1, ("s", "1.7951328e9"): START, ("s", "-1.5"): -1500000,
                 ("ms", "1795132800000.001"): START + 1, ("us", "1795132800000000"): START, ("us", "+1"): 1,
                 ("us", "-9223372036854775808"): -2**63, ("us", "1.795132800e15"): START, ("ms", "0"): 0}
        for (unit, text), time in cases.items():
            with self.subTest(unit=unit, text=text):
                self.assertEqual([time], [time_of(e) for e in self.entries_of("%s,1\n" % text, "--time-unit", unit)])
        self.refuses_numbers()

    def refuses_numbers(self):
        os.remove(self.path("a.qtr"))
        os.remove(self.path("a.xml"))
        self.refuses('line 1, column 1: "1795132800" is a number: --time-unit says whether of s, ms or us', "1795132800,1\n")
        beyond = "is no whole number of microseconds within their range"
        self.refuses('line 1, column 1: "0.0000001" ' + beyond, "0.0000001,1\n", "--time-unit", "s")
        self.refuses('line 1, column 1: "9223372036854.775808" ' + beyond, "9223372036854.775808,1\n", "--time-unit", "s")
        self.refuses('line 1, column 1: "nan" ' + beyond, "nan,1\n", "--time-unit", "s")
        self.refuses('line 1, column 1: "1e999999999999" is beyond the range of time stamps', "1e999999999999,1\n", "--time-unit", "s")

    def test_iso_times_are_recognised_beside_a_unit(self):
        self.assertEqual([START, START + 1], [time_of(e) for e in self.entries_of(
            "2026-11-20,1\n1795132800000001,1\n", "--time-unit", "us")])

    def test_times_without_a_zone_are_utc_with_a_note(self):
        self.write("a.csv", "t,v\n2026-11-20T00:00:00,1\n2026-11-20 00:00:01.5,2\n")
        result = self.run_tool("trend", "import", "a.csv")
        self.assertEqual("qen: a.csv: time stamps without a zone are taken as UTC", result.err.splitlines()[0])
        self.assertEqual([START, START + 1500000], [time_of(e) for e in parse_trend(self.read("a.qtr"))["entries"]])

    def test_rows_are_sorted_and_repeated_times_kept_in_their_order(self):
        minutes = [5, 1, 3, 3, 1, 7, 3]
        self.write("a.csv", "".join("2026-11-20T00:%02d:00Z,%d\n" % (m, i) for i, m in enumerate(minutes)))
        result = self.run_tool("trend", "import", "a.csv")
        self.assertEqual(["qen: a.csv: the rows step back in time 3 times: they were sorted",
                          "qen: a.csv: 3 entries have the time stamp of the one before; all are kept"], result.err.splitlines()[:2])
        self.assertEqual([entry(START + m * MINUTE, float(i)) for m, i in ((1, 1), (1, 4), (3, 2), (3, 3), (3, 6), (5, 0), (7, 5))],
                         parse_trend(self.read("a.qtr"))["entries"])

    def test_bad_rows_name_line_and_column(self):
        head = "# a log\n\ntime,rms,status\n2026-11-20,1,1\n"
        self.refuses('line 5, column "rms": is empty', head + "2026-11-21,,1\n")
        self.refuses('line 5, column "rms": is empty', head + "2026-11-21\n")
        self.refuses('line 5, column "rms": "1,5" is no number', head.replace(",", ";") + '2026-11-21;1,5;1\n')
        self.refuses('line 5, column "rms": "1e999" is beyond the range of float64', head + "2026-11-21,1e999,1\n")
        self.refuses('line 5, column "time": is empty', head + ",1,1\n")
        self.refuses('line 5, column "time": "yesterday" is no time stamp such as 2026-11-20T17:57:20Z, down to microseconds',
                     head + "yesterday,1,1\n")
        self.refuses('line 5, column "time": "2026-02-30" is no time stamp such as 2026-11-20T17:57:20Z, down to microseconds',
                     head + "2026-02-30,1,1\n")
        for text in ("256", "-1", "1.5", "good"):
            self.refuses('line 5, column "status": "%s" is no whole number from 0 to 255' % text, head + "2026-11-21,1,%s\n" % text)
        self.refuses('line 1, column 3: "1e39" is beyond the range of float32', "2026-11-20,1,1e39\n", "--aux-float1", "3")

    def test_bad_rows_can_be_left_out(self):
        self.write("a.csv", "time,rms\n2026-11-20,1\n2026-11-21,\nx,2\n2026-11-22,3\n")
        result = self.run_tool("trend", "import", "a.csv", "--skip-bad")
        self.assertEqual('qen: a.csv: 2 bad rows left out, the first: line 3, column "rms": is empty', result.err.splitlines()[0])
        self.assertEqual([1.0, 3.0], [ENTRY.unpack(e)[1] for e in parse_trend(self.read("a.qtr"))["entries"]])

    def test_a_table_without_a_usable_row_is_refused(self):
        self.refuses("holds no rows", "")
        self.refuses("holds no rows", "time,value\n")
        self.refuses('holds no row that can be used: line 2, column "value": "x" is no number', "time,value\n2026-11-20,x\n", "--skip-bad")
        self.refuses('has no column "v" among its 2 (time, value)', "time,value\n2026-11-20,1\n", "--value", "v")
        self.refuses('has no column "3" among its 2', "2026-11-20,1\n", "--status", "3")
        self.refuses('has no column "2" among its 1', "2026-11-20\n")

    def test_values_are_the_nearest_doubles(self):
        texts = ["74.93588199999998", "0.1", "1e-320", "-0", "nan", "1.00000000000000000000001", "inf"]
        got = self.entries_of("t,v\n" + "".join("2026-11-%02d,%s\n" % (i + 1, t) for i, t in enumerate(texts)))
        self.assertEqual([struct.pack("<d", float(t)) for t in texts], [e[8:16] for e in got])

    def test_splitting_makes_files_of_the_size(self):
        self.write("a.csv", "t,v\n" + "".join("2026-11-%02d,%d\n" % (i + 1, i) for i in range(7)))
        result = self.run_tool("trend", "import", "a.csv", "--split", "3", "--unit", "g", "-d", "out", "--json")
        self.assertEqual(["a-%d.%s" % (i, e) for i in (1, 2, 3) for e in ("qtr", "xml")], self.names("out"))
        objects = result.objects()
        self.assertEqual([("qen.trend-import/1", "a.csv", "out/a-%d.qtr" % (i + 1), n) for i, n in enumerate((3, 3, 1))],
                         [tuple(o[k] for k in ("schema", "input", "file", "entry_count")) for o in objects])
        values = []
        for o in objects:
            data = self.read(o["file"])
            self.assertEqual(trend_document(data, "g"), self.read(o["file"][:-3] + "xml"))
            self.assertEqual((o["trend_uuid"], o["first_time_us"], o["last_time_us"]), (
                str(parse_trend(data)["trend"]), parse_trend(data)["first"], parse_trend(data)["last"]))
            values += [ENTRY.unpack(e)[1] for e in parse_trend(data)["entries"]]
        self.assertEqual([float(i) for i in range(7)], values)
        self.assertEqual(3, len({o["trend_uuid"] for o in objects}))
        self.run_tool("trend", "import", "a.csv", "--split", "7")
        self.assertIn("a.qtr", self.names())

    def test_splitting_needs_room(self):
        self.write("a.csv", "2026-11-20,1\n2026-11-21,1\n")
        self.fails(2, "--split 0 leaves no room for entries", "trend", "import", "a.csv", "--split", "0")
        self.fails(2, "a.csv: -o names one file for 2 results; -d names a folder", "trend", "import", "a.csv", "--split", "1", "-o", "b.qtr")

    def test_all_files_of_a_table_appear_or_none(self):
        self.write("a.csv", "2026-11-20,1\n2026-11-21,1\n2026-11-22,1\n")
        self.write("a-3.qtr", "mine")
        self.fails(5, "a.csv: a-3.qtr not written: the file exists, --force replaces it", "trend", "import", "a.csv", "--split", "1")
        self.assertEqual(["a-3.qtr", "a.csv"], self.names())

    def test_files_of_a_table_may_be_more_than_can_be_open(self):
        self.write("a.csv", "".join("2026-11-20T00:%02d:00Z,%d\n" % (i, i) for i in range(50)))
        self.run_tool("trend", "import", "a.csv", "--split", "1", "-d", "out",
                      preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (32, 32)))
        self.assertEqual(100, len(self.names("out")))

    def test_no_other_file_gives_way_to_a_document(self):
        self.write("a.csv", "2026-11-20,1\n")
        self.write("a.xml", "<notes/>")
        self.fails(5, "a.csv: a.xml not written: the file exists, --force replaces it", "trend", "import", "a.csv")
        self.fails(5, "a.csv: a.xml exists and is not the details document of a trend: choose another name",
                   "trend", "import", "a.csv", "--force")
        self.assertEqual(["a.csv", "a.xml"], self.names())
        self.assertEqual(b"<notes/>", self.read("a.xml"))
        self.fails(2, "a.csv: b.xml is the name of a details document, not of a trend", "trend", "import", "a.csv", "-o", "b.xml")

    def test_standard_input_and_output(self):
        result = self.run_tool("trend", "import", "-", "-o", "-", stdin=b"2026-11-20,1\n")
        self.assertEqual([entry(START, 1.0)], parse_trend(result.raw)["entries"])
        self.assertEqual([], self.names())
        self.fails(2, "-: standard input needs -o or -d", "trend", "import", "-", stdin=b"2026-11-20,1\n")

    def test_a_bad_table_does_not_stop_the_rest(self):
        self.write("a.csv", "2026-11-20,1\n")
        self.write("b.csv", "x\n")
        result = self.run_tool("trend", "import", ".", code=4)
        self.assertIn("qen: ./b.csv: holds no rows\n", result.err)
        self.assertEqual(["a.csv", "a.qtr", "a.xml", "b.csv"], self.names())

    def test_counts_in_json(self):
        self.write("a.csv", "2026-11-20,1\n2026-11-19,2\n2026-11-19,x\n2026-11-19,3\n")
        o = self.run_tool("trend", "import", "a.csv", "--skip-bad", "--json", "-q").objects()[0]
        self.assertEqual((3, 1, 1, 1, "zlib", "2026-11-19T00:00:00.000000Z"), tuple(o[k] for k in (
            "entry_count", "skipped_rows", "backward_steps", "repeated_times", "compression", "first_time")))

    def test_wrong_usage(self):
        self.write("a.csv", "2026-11-20,1\n")
        help = " (qen trend import --help explains)"
        for option, value, message in (("--default-status", "256", '--default-status: "256" is no whole number from 0 to 255'),
                                       ("--time-unit", "h", '--time-unit: "h" is none of s, ms, us'),
                                       ("--limit", "x", '--limit: "x" is no finite number')):
            self.fails(2, message + help, "trend", "import", "a.csv", option, value)

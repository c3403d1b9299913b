"""What trend files are shown as, and what of them is refused."""

import math
import os
import struct
import zlib

from support import NULL, ToolTest
from trend_support import CONFIG, DAY, HOUR, MINUTE, SECOND, START, TREND, UNIT, entry, parse_trend, trend_document, trend_file

HOURLY = [entry(START + i * HOUR, float(i), i % 4) for i in range(5)]


class TrendFiles(ToolTest):
    def put(self, data, name="a.qtr", unit="mm/s"):
        self.write(name, data)
        self.write(name[:-3] + "xml", trend_document(data, unit))
        return name


class Info(TrendFiles):
    def test_the_header_in_json(self):
        for method, number in (("none", 1), ("zlib", 2), ("gzip", 4)):
            data = trend_file(HOURLY, method, limit=4.5)
            self.put(data)
            header = dict(zip(("data_checksum", "header_checksum"), struct.unpack("<HH", data[92:96])))
            self.assertEqual({
                "schema": "qen.trend-info/1", "file": "a.qtr", "good": True, "damage": [], "header_version": 2, "header_size": 96,
                "characteristic_value_config_uuid": str(CONFIG), "trend_uuid": str(TREND), "unit_uuid": str(UNIT), "unit": "mm/s",
                "details_file": "a.xml", "entry_count": 5, "first_time": "2026-11-20T00:00:00.000000Z", "first_time_us": START,
                "last_time": "2026-11-20T04:00:00.000000Z", "last_time_us": START + 4 * HOUR, "lower_pre_alarm_limit": 4.5,
                "compression": method, "compression_code": number, "data_byte_count": len(data) - 96, **header},
                self.run_tool("trend", "info", "--json", "a.qtr").objects()[0])

    def test_the_header_for_people(self):
        data = trend_file(HOURLY, limit=4.5)
        self.put(data)
        checksums = "header 0x%04x, entries 0x%04x" % struct.unpack("<HH", data[94:96] + data[92:94])
        self.assertEqual([
            "a.qtr", "  entries        5", "  first          2026-11-20T00:00:00.000000Z", "  last           2026-11-20T04:00:00.000000Z",
            "  limit          4.5", "  compression    none", "  entry bytes    160", "  trend          " + str(TREND),
            "  configuration  " + str(CONFIG), "  unit           mm/s, " + str(UNIT), "  details        a.xml",
            "  checksums      " + checksums], self.run_tool("trend", "info", "a.qtr").lines())

    def test_a_trend_without_entries_or_document(self):
        self.write("a.qtr", trend_file([]))
        lines = self.run_tool("trend", "info", "a.qtr", "--entries").lines()
        self.assertEqual(["  entries        0", "  first          none", "  last           none"], lines[1:4])
        self.assertIn("  unit           " + str(UNIT), lines)
        self.assertIn("  details        none", lines)
        self.assertIn("  minimum        nan", lines)

    def test_figures_of_the_entries(self):
        values = [3.0, math.nan, -1.0, 4.0, 4.0]
        times = [0, 1, 1, 1, 2]
        self.put(trend_file([entry(START + t, v, s) for t, v, s in zip(times, values, (1, 1, 2, 200, 0))], "gzip"))
        got = self.run_tool("trend", "info", "--json", "--entries", "a.qtr").objects()[0]["entries"]
        self.assertEqual({"minimum": -1.0, "maximum": 4.0, "mean": 2.5, "statuses": {"0": 1, "1": 2, "2": 1, "200": 1}, "repeated_times": 2}, got)
        lines = self.run_tool("trend", "info", "--entries", "a.qtr").lines()
        self.assertEqual(["  minimum        -1", "  maximum        4", "  mean           2.5", "  status 0       1 entry", "  status 1       2 entries",
                          "  status 2       1 entry", "  status 200     1 entry", "  repeated times 2"], lines[-8:])

    def test_the_entries_are_not_read_without_being_asked_for(self):
        data = trend_file(HOURLY)
        self.put(data[:-1] + b"\x55")
        self.run_tool("trend", "info", "a.qtr")
        result = self.run_tool("trend", "info", "a.qtr", "--entries", code=1)
        self.assertRegex(result.out, r"DAMAGED +entries: checksum is 0x[0-9a-f]{4}, computed 0x[0-9a-f]{4}\n$")

    def test_what_the_library_does_not_look_at_is_damage(self):
        good = trend_file(HOURLY)
        cases = {
            "header: checksum is 0x%04x, computed 0x%04x" % (struct.unpack("<H", good[94:96])[0], struct.unpack("<H", good[94:96])[0] ^ 1):
                good[:80] + bytes([good[80] ^ 1]) + good[81:],
            "header: compression 3 is unknown": trend_file(HOURLY, 3, stored=b"".join(HOURLY)),
            "size: 159 entry bytes in the file, 160 in the header": good[:-1],
            "size: 161 entry bytes in the file, 160 in the header": good + b"\0",
            "header: 6 entries = 192 bytes, the byte count is 160": trend_file(HOURLY, count=6),
            "header: the last time stamp lies before the first": trend_file(HOURLY, last=START - 1),
        }
        for message, data in cases.items():
            with self.subTest(message=message):
                self.write("a.qtr", data)
                self.write("a.xml", trend_document(good))
                found = self.run_tool("trend", "info", "--json", "a.qtr", code=1).objects()[0]
                self.assertFalse(found["good"])
                self.assertIn(message, ["%s: %s" % (d["part"], d["text"]) for d in found["damage"]])

    def test_damage_of_the_entries(self):
        swapped = [HOURLY[0], HOURLY[2], HOURLY[1], HOURLY[3], HOURLY[4]]
        raw = b"".join(HOURLY)
        cases = {
            "order: entry 3 is earlier than the one before": trend_file(swapped),
            "header: first time stamp is 2026-11-19T23:59:59.999999Z, the entries have 2026-11-20T00:00:00.000000Z":
                trend_file(HOURLY, first=START - 1),
            "header: last time stamp is 2026-11-20T04:00:00.000001Z, the entries have 2026-11-20T04:00:00.000000Z":
                trend_file(HOURLY, last=START + 4 * HOUR + 1),
            "stream: ends early, behind 160 decoded bytes": trend_file(HOURLY, "zlib", stored=zlib.compress(raw)[:-1]),
            "stream: holds 160 bytes, 6 entries = 192 bytes": trend_file(HOURLY, "zlib", count=6),
            "stream: holds more than 4 entries = 128 bytes": trend_file(HOURLY, "zlib", count=4),
            "stream: 3 bytes behind its end": trend_file(HOURLY, "zlib", stored=zlib.compress(raw) + b"end"),
        }
        for message, data in cases.items():
            with self.subTest(message=message):
                self.write("a.qtr", data)
                result = self.run_tool("trend", "info", "--entries", "--json", "a.qtr", code=1)
                self.assertIn(message, ["%s: %s" % (d["part"], d["text"]) for d in result.objects()[0]["damage"]])
                self.fails(3, "a.qtr: is damaged: " + message, "trend", "dump", "a.qtr")

    def test_every_wrong_bit_and_every_cut_is_found(self):
        for method in ("none", "zlib", "gzip"):
            good = trend_file(HOURLY[:2], method)
            os.mkdir(self.path(method))
            bad = [good[:length] for length in range(len(good))]
            bad += [good[:i // 8] + bytes([good[i // 8] ^ 1 << i % 8]) + good[i // 8 + 1:] for i in range(8 * len(good))]
            for number, data in enumerate(bad):
                self.write("%s/%04d.qtr" % (method, number), data)
            result = self.run_tool("trend", "info", "--entries", "--json", method, code=1)
            shown = result.objects()
            self.assertEqual(len(bad), len(shown) + len(result.err.splitlines()))
            self.assertEqual([], [o["file"] for o in shown if o["good"]])

    def test_a_document_that_does_not_repeat_the_header_is_damage(self):
        data = trend_file(HOURLY)
        self.write("a.qtr", data)
        self.write("a.xml", trend_document(trend_file(HOURLY[1:], limit=2.0)))
        result = self.run_tool("trend", "info", "--json", "a.qtr", code=1)
        self.assertEqual(["entry count is 4, the record has 5", "entry byte count is 128, the record has 160",
                          "lower pre-alarm limit is 2, the record has 0",
                          "first time stamp is 2026-11-20T01:00:00.000000Z, the record has 2026-11-20T00:00:00.000000Z"],
                         [d["text"] for d in result.objects()[0]["damage"]])
        self.run_tool("trend", "dump", "a.qtr")  # the trend itself can be used

    def test_the_document_of_another_trend_is_refused(self):
        data = trend_file(HOURLY)
        self.write("a.qtr", data)
        self.write("a.xml", trend_document(trend_file(HOURLY, trend=NULL)))
        message = "details: a.xml belongs to another trend: trend is %s, the record has %s" % (NULL, TREND)
        self.fails(3, "a.qtr: " + message, "trend", "dump", "a.qtr")
        result = self.run_tool("trend", "info", "a.qtr", code=1)
        self.assertIn("  DAMAGED        details: " + message, result.out)
        for text in ("", "<notes/>", "no XML"):
            self.write("a.xml", text)
            self.fails(3, "a.qtr: details: a.xml is no details document of a trend", "trend", "dump", "a.qtr")

    def test_what_is_no_trend_file(self):
        self.write("a.qtr", b"x" * 95)
        self.fails(3, "a.qtr: is no trend file: it has 95 bytes, the header alone takes 96", "trend", "info", "a.qtr")
        self.write("a.qtr", b"RIFF" + bytes(200))
        self.fails(3, "a.qtr: is no trend file: it begins with the header version 18770 and size 17990, not 2 and 96", "trend", "dump", "a.qtr")
        self.fails(3, "none.qtr: cannot be opened: No such file or directory", "trend", "gaps", "none.qtr")

    def test_folders_and_bad_files_among_good_ones(self):
        self.put(trend_file(HOURLY), "d/a.qtr")
        self.write("d/b.qtr", b"")
        result = self.run_tool("trend", "info", "--json", "d", code=4)
        self.assertEqual(["d/a.qtr"], [o["file"] for o in result.objects()])


class Dump(TrendFiles):
    ODD = [entry(-62135596800 * SECOND, -0.0, 1, 0.1, -3e38, 255, 1e-45), entry(0, 5e-324, 0),
           entry(START, 74.93588199999998, 3, math.inf, -math.inf, 7, math.nan), entry(START, math.nan), entry(253402300799999999, 1e308, 255)]

    def test_the_table(self):
        self.put(trend_file([entry(START, 1.5, 3, 0.1, 2.0, 9, -4.0), entry(START + 1, math.nan)], "zlib"))
        result = self.run_tool("trend", "dump", "a.qtr")
        self.assertEqual("time,value [mm/s],status,aux_float1,aux_float2,aux_byte,aux_float3\n"
                         "2026-11-20T00:00:00.000000Z,1.5,3,0.1,2,9,-4\n2026-11-20T00:00:00.000001Z,nan,0,0,0,0,0\n", result.out)
        self.assertEqual("", result.err)

    def test_tables_come_back_to_the_same_entries(self):
        quiet_nan = struct.pack("<f", math.nan)
        self.assertEqual(b"\0\0\xc0\x7f", quiet_nan)
        for unit in ("", "mm/s", "a, b"):
            self.put(trend_file(self.ODD, "gzip"), unit=unit)
            result = self.run_tool("trend", "dump", "a.qtr", "-o", "b.csv", "--force")
            self.assertNotIn("cannot tell", result.err)
            self.run_tool("trend", "import", "b.csv", "--force")
            self.assertEqual(self.ODD, parse_trend(self.read("b.qtr"))["entries"])
            self.assertEqual(trend_document(self.read("b.qtr"), unit), self.read("b.xml"))

    def test_times_of_the_whole_range_come_back(self):
        entries = [entry(-2**63), entry(-2**63 + 1), entry(2**63 - 1)]
        self.write("a.qtr", trend_file(entries))
        self.run_tool("trend", "dump", "a.qtr", "-o", "b.csv")
        self.run_tool("trend", "import", "b.csv")
        self.assertEqual(entries, parse_trend(self.read("b.qtr"))["entries"])

    def test_bits_that_no_table_tells_are_noted(self):
        other_nan = struct.pack("<Q", 0x7FF8000000000001)
        odd = entry(START)[:8] + other_nan + entry(START)[16:]
        self.put(trend_file([entry(START), odd, entry(START, padding=b"\1\0")]))
        result = self.run_tool("trend", "dump", "a.qtr")
        self.assertEqual("qen: a.qtr: 2 entries hold bits that a table cannot tell: padding, or those of a not-a-number\n", result.err)

    def test_json(self):
        self.put(trend_file([entry(START, 1.5, 3, 0.5, 2.0, 9, math.nan)]))
        self.assertEqual([{"schema": "qen.trend-dump/1", "file": "a.qtr", "time": "2026-11-20T00:00:00.000000Z", "time_us": START,
                           "value": 1.5, "status": 3, "aux_float1": 0.5, "aux_float2": 2.0, "aux_byte": 9, "aux_float3": None}],
                         self.run_tool("trend", "dump", "--json", "a.qtr").objects())
        many = [entry(START + i, float(i)) for i in range(1000)]
        self.put(trend_file(many))
        self.assertEqual(list(range(1000)), [o["value"] for o in self.run_tool("trend", "dump", "--json", "a.qtr").objects()])

    def test_no_file_is_replaced_unasked(self):
        self.put(trend_file(HOURLY))
        self.write("b.csv", "mine")
        self.fails(5, "a.qtr: b.csv not written: the file exists, --force replaces it", "trend", "dump", "a.qtr", "-o", "b.csv")
        self.assertEqual(b"mine", self.read("b.csv"))

    def test_standard_input(self):
        result = self.run_tool("trend", "dump", "-", stdin=trend_file(HOURLY))
        self.assertEqual(6, len(result.lines()))


class Gaps(TrendFiles):
    def gaps(self, times, *options):
        self.put(trend_file([entry(START + t) for t in times]))
        return self.run_tool("trend", "gaps", "a.qtr", *options)

    def test_longer_than_three_medians(self):
        # Spacings of 1, 1, 3, 1, 4 minutes: the median is 1, of which 3 are no gap yet.
        result = self.gaps([0, MINUTE, 2 * MINUTE, 5 * MINUTE, 6 * MINUTE, 10 * MINUTE])
        self.assertEqual(["a.qtr: 1 gap longer than 3 min, 4 min in all; median spacing 1 min",
                          "  2026-11-20T00:06:00.000000Z  2026-11-20T00:10:00.000000Z  4 min"], result.lines())

    def test_repeated_times_do_not_lower_the_median(self):
        # Spacings that count: 60, 60, 200 s; of four with a zero the lower middle one would be 60, too, of six with three zeros 0.
        result = self.gaps([0, 0, 0, 0, MINUTE, 2 * MINUTE, 2 * MINUTE + 200 * SECOND])
        self.assertEqual("a.qtr: 1 gap longer than 3 min, 3.33333 min in all; median spacing 1 min", result.lines()[0])

    def test_the_user_can_say_how_long(self):
        for text, count in (("59s", 3), ("1min", 1), ("0.025h", 1), ("90s", 1), ("1.5h", 1), ("2h", 0), ("60000ms", 1), ("1d", 0)):
            result = self.gaps([0, MINUTE, 2 * MINUTE, 2 * MINUTE + 2 * HOUR], "--longer-than", text, "--json")
            self.assertEqual(count, len(result.objects()), text)
        self.assertEqual([{"schema": "qen.trend-gaps/1", "file": "a.qtr", "from": "2026-11-20T00:02:00.000000Z", "from_us": START + 2 * MINUTE,
                           "to": "2026-11-20T02:02:00.000000Z", "to_us": START + 2 * MINUTE + 2 * HOUR, "gap_us": 2 * HOUR}],
                         self.gaps([0, MINUTE, 2 * MINUTE, 2 * MINUTE + 2 * HOUR], "--json").objects())
        for text in ("1", "min", "-1s", "1 week", "nans", "1e30d", "9999999999d"):
            self.fails(2, '--longer-than: "%s" is no length of time such as 90s, 45min, 1.5h, 7d (qen trend gaps --help explains)' % text,
                       "trend", "gaps", "a.qtr", "--longer-than", text)

    def test_trends_of_few_entries_have_none(self):
        for times in ([], [0], [0, 0], [0, DAY]):
            self.assertEqual(1, len(self.gaps(times).lines()), times)
            self.assertIn(": 0 gaps", self.gaps(times).out)

    def test_the_whole_range_of_times(self):
        self.write("a.qtr", trend_file([entry(-2**63), entry(-2**63 + 1), entry(-2**63 + 2), entry(2**63 - 1)]))
        o = self.run_tool("trend", "gaps", "a.qtr", "--json").objects()
        self.assertEqual([(-2**63 + 2, 2**63 - 1)], [(g["from_us"], g["to_us"]) for g in o])

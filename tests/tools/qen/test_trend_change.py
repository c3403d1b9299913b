"""Merging two trends, and deleting from one."""

import uuid

from support import NULL, ToolTest
from trend_support import CONFIG, ENTRY, HOUR, START, TREND, UNIT, entry, parse_trend, trend_document, trend_file

OTHER = uuid.UUID("e0000000-0000-4000-8000-000000000099")


class Changes(ToolTest):
    def put(self, name, entries, method="none", unit="mm/s", **header):
        data = trend_file(entries, method, **header)
        self.write(name + ".qtr", data)
        self.write(name + ".xml", trend_document(data, unit))
        return data

    def trend(self, name, unit="mm/s"):
        data = self.read(name + ".qtr")
        self.assertEqual(trend_document(data, unit).decode(), self.read(name + ".xml").decode())
        return parse_trend(data)


class Merge(Changes):
    def test_entries_of_both_by_time(self):
        first = [entry(START + t, 1.0) for t in (10, 30)]
        second = [entry(START + t, 2.0, 3, padding=b"\7\7") for t in (20, 30)]
        self.put("a", first, "gzip", limit=2.5)
        self.put("b", second, limit=2.5, trend=OTHER)
        for order in (("a.qtr", "b.qtr"), ("b.qtr", "a.qtr")):
            result = self.run_tool("trend", "merge", *order, "-o", "c.qtr", "--force")
            self.assertEqual("%s, %s -> c.qtr: 4 entries from 2026-11-20T00:00:00.000010Z to 2026-11-20T00:00:00.000030Z, 1 repeated time\n"
                             % order, result.err)
            merged = self.trend("c")
            self.assertEqual([first[0], second[0], first[1], second[1]], merged["entries"])
            self.assertEqual((CONFIG, UNIT, 2.5, 4), tuple(merged[k] for k in ("config", "unit", "limit", "compression")))
            self.assertNotIn(merged["trend"], (TREND, OTHER, NULL))

    def test_compression_and_json(self):
        self.put("a", [entry(START)])
        self.put("b", [], trend=OTHER)
        base = "b0000000-0000-4000-8000-000000000001"
        o = self.run_tool("trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr", "--compression", "zlib", "--base-uuid", base, "--json").objects()[0]
        merged = self.trend("c")
        self.assertEqual(2, merged["compression"])
        self.assertEqual({"schema": "qen.trend-merge/1", "file": "c.qtr", "trend_uuid": str(merged["trend"]),
                          "characteristic_value_config_base_uuid": base, "entry_count": 1, "repeated_times": 0}, o)

    def test_what_does_not_belong_together_is_refused(self):
        entries = [entry(START)]
        self.put("a", entries)
        cases = (
            ({"config": OTHER, "trend": OTHER}, "mm/s", "b.qtr: is of another characteristic value than a.qtr: configuration %s, not %s" % (OTHER, CONFIG)),
            ({"unit": OTHER, "trend": OTHER}, None, 'b.qtr: has another unit than a.qtr: "mm/s" (%s), not "mm/s" (%s)' % (OTHER, UNIT)),
            ({"trend": OTHER}, "in/s", 'b.qtr: has another unit than a.qtr: "in/s" (%s), not "mm/s" (%s)' % (UNIT, UNIT)),
            ({"trend": TREND}, "mm/s", "b.qtr: is the same trend as a.qtr: %s" % TREND),
            ({"trend": OTHER, "limit": 1.5}, "mm/s", "b.qtr: has the lower pre-alarm limit 1.5, a.qtr has 0"),
        )
        for header, unit, message in cases:
            if "unit" in header:
                data = trend_file(entries, **header)
                self.write("b.qtr", data)
                self.write("b.xml", trend_document(data, "mm/s"))
            else:
                self.put("b", entries, unit=unit, **header)
            self.fails(3, message, "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr")
            self.assertEqual(["a.qtr", "a.xml", "b.qtr", "b.xml"], self.names())

    def test_a_bad_file_and_wrong_usage(self):
        self.put("a", [entry(START)])
        self.write("b.qtr", b"")
        self.fails(3, "b.qtr: is no trend file: it has 0 bytes, the header alone takes 96", "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr")
        self.put("b", [entry(START)], trend=OTHER)
        self.write("c.qtr", "mine")
        self.fails(5, "c.qtr not written: the file exists, --force replaces it", "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr")
        for arguments in (("a.qtr", "b.qtr"), ("a.qtr", "-o", "d.qtr"), ("a.qtr", "b.qtr", "c.qtr", "-o", "d.qtr")):
            self.run_tool("trend", "merge", *arguments, code=2)


class Delete(Changes):
    HOURLY = [entry(START + i * HOUR, float(i), padding=b"\1\2") for i in range(5)]

    def delete(self, first, last, *options, code=0):
        return self.run_tool("trend", "delete", "a.qtr", "--from", str(START + first), "--to", str(START + last), *options, code=code)

    def test_the_range_is_closed(self):
        for first, last, left in ((HOUR, 3 * HOUR, (0, 4)), (HOUR + 1, 3 * HOUR - 1, (0, 1, 3, 4)), (0, 0, (1, 2, 3, 4)),
                                  (-HOUR, 2 * HOUR, (3, 4)), (4 * HOUR, 9 * HOUR, (0, 1, 2, 3)), (1, 2, (0, 1, 2, 3, 4)), (0, 9 * HOUR, ())):
            with self.subTest(range=(first, last)):
                self.put("a", self.HOURLY, "zlib", limit=1.5)
                self.delete(first, last, "-o", "b.qtr", "--force")
                trend = self.trend("b")
                self.assertEqual([self.HOURLY[i] for i in left], trend["entries"])
                self.assertEqual((TREND, CONFIG, UNIT, 1.5, 2), tuple(trend[k] for k in ("trend", "config", "unit", "limit", "compression")))
                self.assertEqual(self.HOURLY, self.trend("a")["entries"])

    def test_messages(self):
        self.put("a", self.HOURLY)
        self.assertEqual("a.qtr -> b.qtr: 1 entry deleted, 4 entries from 2026-11-20T01:00:00.000000Z to 2026-11-20T04:00:00.000000Z left\n",
                         self.delete(0, 0, "-o", "b.qtr").err)
        o = self.delete(0, HOUR, "-o", "c.qtr", "--json").objects()[0]
        self.assertEqual({"schema": "qen.trend-delete/1", "input": "a.qtr", "file": "c.qtr", "trend_uuid": str(TREND), "deleted": 2,
                          "entry_count": 3}, o)

    def test_in_place(self):
        self.put("a", self.HOURLY)
        self.assertEqual("a.qtr: 2 entries deleted, 3 entries from 2026-11-20T02:00:00.000000Z to 2026-11-20T04:00:00.000000Z left\n",
                         self.delete(0, HOUR, "--in-place").err)
        self.assertEqual(self.HOURLY[2:], self.trend("a")["entries"])
        self.assertEqual(["a.qtr", "a.xml"], self.names())
        before = self.read("a.qtr")
        self.assertEqual("a.qtr: 0 entries deleted, 3 entries from 2026-11-20T02:00:00.000000Z to 2026-11-20T04:00:00.000000Z left\n",
                         self.delete(0, HOUR, "--in-place").err)
        self.assertEqual(before, self.read("a.qtr"))

    def test_an_interrupted_deletion_can_be_done_again(self):
        """The document went ahead of the record."""
        self.put("a", self.HOURLY)
        self.write("a.xml", trend_document(trend_file(self.HOURLY[2:]), "mm/s"))
        self.assertIn("entry count is 3, the record has 5", self.run_tool("trend", "info", "a.qtr", code=1).out)
        self.delete(0, HOUR, "--in-place")
        self.assertEqual(self.HOURLY[2:], self.trend("a")["entries"])

    def test_wrong_usage(self):
        self.put("a", self.HOURLY)
        self.fails(2, "delete needs -o, or --in-place to change the file itself", "trend", "delete", "a.qtr", "--from", "0", "--to", "1")
        self.fails(2, "--to lies before --from", "trend", "delete", "a.qtr", "--from", "1", "--to", "0", "--in-place")
        self.fails(2, "standard input cannot be changed in place", "trend", "delete", "-", "--from", "0", "--to", "1", "--in-place")
        self.delete(0, 1, "--in-place", "-o", "b.qtr", code=2)
        self.run_tool("trend", "delete", "a.qtr", "--from", "0", "-o", "b.qtr", code=2)
        self.write("b.qtr", "mine")
        self.fails(5, "a.qtr: b.qtr not written: the file exists, --force replaces it", "trend", "delete", "a.qtr", "--from", "0", "--to", "1",
                   "-o", "b.qtr")
        self.assertEqual(trend_file(self.HOURLY), self.read("a.qtr"))

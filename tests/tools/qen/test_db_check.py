"""What the check of a store finds when rows or the file are not what they were."""

import struct

from db_support import DEVICE, StoreTest, number_of
from support import MEASUREMENT, document, time_text, xor16
from trend_support import CONFIG, HOUR, START, TREND, entry, trend_document, trend_file


class Check(StoreTest):
    def setUp(self):
        super().setUp()
        self.init("--settings", "1h:6/h")
        self.signal = self.write_signal("a", [1, 2, 3], time=START)
        self.trend = self.write_trend("t", [entry(START), entry(START + HOUR)])
        self.run_tool("db", "put", "a.qts", "t.qtr")

    def finds(self, *findings):
        """The check finds exactly this, and nothing when it is given back."""
        done = self.run_tool("db", "check", code=1 if findings else 0)
        self.assertEqual(["%s %s" % (DEVICE, finding) for finding in findings], done.lines())
        self.assertEqual("qen.db: 3 rows, %d damaged\n" % len({f.split(":")[0] for f in findings}), done.err)

    def finds_after(self, table, column, value, *findings):
        (before,), = self.rows("SELECT %s FROM %s" % (column, table))
        self.change("UPDATE %s SET %s = ?" % (table, column), value)
        self.finds(*findings)
        self.change("UPDATE %s SET %s = ?" % (table, column), before)

    def test_a_good_store(self):
        self.finds()
        self.assertEqual([{"schema": "qen.db-check/1", "store": "qen.db", "good": True, "row_count": 3, "damaged_count": 0}],
                         self.run_tool("db", "check", "--json").objects())

    def test_columns_that_do_not_repeat_the_record(self):
        other = number_of(9)
        measurement, trend = "measurement %s: damaged: columns: " % MEASUREMENT, "trend %s: damaged: columns: " % TREND
        self.finds_after("measurement", "measurement_uuid", other.bytes,
                         "measurement %s: damaged: columns: measurement is %s, the record has %s" % (other, other, MEASUREMENT))
        self.finds_after("measurement", "config_uuid", other.bytes, measurement + "measurement configuration is %s, the record has "
                         "c0000000-0000-4000-8000-000000000001" % other)
        self.finds_after("measurement", "time_stamp", START + 1,
                         measurement + "time stamp is %s, the record has %s" % (time_text(START + 1), time_text(START)))
        self.finds_after("trend", "trend_uuid", other.bytes,
                         "trend %s: damaged: columns: trend is %s, the record has %s" % (other, other, TREND))
        self.finds_after("trend", "value_uuid", other.bytes,
                         trend + "characteristic value configuration is %s, the record has %s" % (other, CONFIG))
        self.finds_after("trend", "first_time", START - 1,
                         trend + "first time stamp is %s, the record has %s" % (time_text(START - 1), time_text(START)))
        self.finds_after("trend", "last_time", START,
                         trend + "last time stamp is %s, the record has %s" % (time_text(START), time_text(START + HOUR)))
        self.finds_after("trend", "entry_count", 3, trend + "entry count is 3, the record has 2")
        self.finds()

    def test_records(self):
        stored, = struct.unpack("<H", self.signal[116:118])
        flipped = self.signal[:-1] + bytes([self.signal[-1] ^ 1])
        self.finds_after("measurement", "data", flipped, "measurement %s: damaged: samples: checksum is 0x%04x, computed 0x%04x"
                         % (MEASUREMENT, stored, xor16(flipped[120:])))
        self.finds_after("measurement", "data", b"", "measurement %s: damaged: size: 0 bytes in the file, the header alone takes 120"
                         % MEASUREMENT)
        unordered = trend_file([entry(START), entry(START + HOUR), entry(START + HOUR - 1), entry(START + HOUR)])
        self.change("UPDATE trend SET entry_count = 4")
        self.finds_after("trend", "data", unordered,
                         "trend %s: damaged: order: entry 3 is earlier than the one before" % TREND,
                         *("trend %s: damaged: details: %s" % (TREND, text) for text in
                           ("entry count is 2, the record has 4", "entry byte count is %d, the record has 128" % (len(self.trend) - 96),
                            "compression is zlib, the record has no_compression")))

    def test_documents(self):
        self.finds_after("measurement", "details", b"<a>",
                         "measurement %s: damaged: details: the document is no XML document" % MEASUREMENT)
        self.finds_after("measurement", "details", document(self.signal).replace(b">3</vel:SampleCount", b">4</vel:SampleCount"),
                         "measurement %s: damaged: details: sample count is 4, the record has 3" % MEASUREMENT)
        self.finds_after("trend", "details", b"", "trend %s: damaged: details: the document is no details document of a trend" % TREND)
        self.finds_after("trend", "details", trend_document(self.trend).replace(b">2</vel:SampleCount", b">1</vel:SampleCount"),
                         "trend %s: damaged: details: entry count is 1, the record has 2" % TREND)
        self.finds_after("device", "details", b"text", "device: damaged: details: is no XML document")
        self.finds_after("device", "details", b"")

    def test_values_of_a_wrong_kind(self):
        self.loosen("trend", "characteristic_value")
        self.change("UPDATE trend SET data = 'text'")
        self.change("INSERT INTO characteristic_value VALUES (?, ?, 7, 'text')", DEVICE.bytes, CONFIG.bytes)
        done = self.run_tool("db", "check", code=1)
        self.assertEqual(["engine: damaged: structure: table %s takes values of any kind" % table
                          for table in ("characteristic_value", "trend")] +
                         ["%s %s" % (DEVICE, finding) for finding in
                          ("trend %s: damaged: row: find trend: column 14 holds a value of a wrong kind" % TREND,
                           "values: damaged: row: list characteristic values: column 1 holds a value of a wrong kind")], done.lines())

    def test_rows_without_their_device(self):
        self.change("DELETE FROM device")
        done = self.run_tool("db", "check", code=1)
        self.assertEqual(["engine: damaged: structure: rows of device %s, which is not there" % DEVICE], done.lines())

    def test_damage_is_told_in_json(self):
        self.change("UPDATE trend SET entry_count = 3")
        row, everything = self.run_tool("db", "check", "--json", code=1).objects()
        self.assertEqual({"schema": "qen.db-check/1", "device_uuid": str(DEVICE), "kind": "trend", "uuid": str(TREND),
                          "damage": [{"part": "columns", "text": "entry count is 3, the record has 2"}]}, row)
        self.assertEqual((False, 3, 1), (everything["good"], everything["row_count"], everything["damaged_count"]))

    def test_a_file_with_a_page_overwritten(self):
        for i in range(40):
            self.write_signal("more/%d" % i, list(range(500)), measurement=number_of(100 + i))
        self.run_tool("db", "put", "more")
        self.run_tool("db", "retain", "--apply")  # brings everything into the one file
        root, = self.rows("SELECT rootpage FROM sqlite_schema WHERE name = 'measurement'")[0]
        data = bytearray(self.read("qen.db"))
        size = struct.unpack(">H", data[16:18])[0]
        data[(root - 1) * size:root * size] = b"\x5a" * size
        self.write("qen.db", bytes(data))
        done = self.run_tool("db", "check", code=1)
        self.assertIn("engine: damaged: ", done.out)
        self.assertIn("%s measurements: damaged: row: " % DEVICE, done.out)
        self.assertNotIn("trend %s: damaged" % TREND, done.out)

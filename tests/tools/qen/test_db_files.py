"""Files on their way into a store and out of it."""

import json
import math
import os
import struct
import uuid

from db_support import DEVICE, OTHER_DEVICE, StoreTest, every_five_minutes, number_of
from support import CONFIG as MEASUREMENT_CONFIG, MEASUREMENT, NAMESPACE, NULL, Details, archive_form, document, signal_of, time_text
from trend_support import CONFIG, DAY, HOUR, START, TREND, entry, time_of, trend_document, trend_file

SETTINGS = ('<vel:DeviceDetails xmlns:vel="%s"><vel:TrendCleanupSettings><vel:OlderThanOneHour><vel:NumberOfRemainingTrendEntriesPerHour>6'
            "</vel:NumberOfRemainingTrendEntriesPerHour></vel:OlderThanOneHour></vel:TrendCleanupSettings></vel:DeviceDetails>" % NAMESPACE)
ACTIONS = ("init", "put", "ls", "get", "check", "stats", "retain", "simulate", "why", "export", "import")


class Usage(StoreTest):
    def test_help_names_every_action_and_its_examples_use_options_that_exist(self):
        import re
        overview = self.run_tool("db", "--help").out
        for action in ACTIONS:
            self.assertRegex(overview, "\n  %s  +[a-z]" % action)
            text = self.run_tool("db", action, "--help").out
            self.assertIn("Examples:\n  qen db " + action, text)
            known = set(re.findall(r"(--?[a-z][a-z-]*)", text.split("Examples:")[0]))
            for line in text.split("Examples:\n")[1].splitlines():
                self.assertLessEqual(set(re.findall(r" (--?[a-z][a-z-]*)", line)), known, line)

    def test_a_store_that_does_not_exist_is_refused_and_not_made(self):
        for arguments in (("ls",), ("get", str(MEASUREMENT)), ("check",), ("stats",), ("retain",), ("retain", "--apply"), ("simulate",),
                          ("why", str(CONFIG)), ("export", "backup")):
            self.fails(5, "there is no store qen.db: qen db init makes one", "db", *arguments)
        self.assertEqual([], self.names())

    def test_a_store_is_named_by_the_option_the_environment_or_neither(self):
        environment = dict(os.environ, QEN_DB="sqlite:a.db", QEN_DEVICE=str(DEVICE))
        self.run_tool("db", "init", env=environment)
        self.assertEqual([(DEVICE.bytes,)], self.rows("SELECT device_uuid FROM device", store="a.db"))
        self.run_tool("db", "init", "--db", "sqlite:b.db", env=environment)
        self.run_tool("db", "init")
        self.assertEqual(["a.db", "b.db", "qen.db"], [name for name in self.names() if name.endswith(".db")])
        self.fails(2, "QEN_DB: a store is named sqlite:PATH or postgresql://...", "db", "ls", env=dict(os.environ, QEN_DB="qen.db"))
        self.fails(2, 'QEN_DEVICE: "me" is no UUID', "db", "ls", env=dict(os.environ, QEN_DEVICE="me"))
        self.fails(2, "--db: a store is named sqlite:PATH or postgresql://... (qen db ls --help explains)", "db", "ls", "--db", "qen.db")

    def test_what_is_no_store_is_refused(self):
        self.write("text.db", "a file that is no database, but long enough to be looked at closely" * 30)
        self.assertRegex(self.run_tool("db", "ls", "--db", "sqlite:text.db", code=5).err, "^qen: .*file is not a database\n$")
        self.write("empty.db", b"")
        self.fails(5, "there is no store empty.db: qen db init makes one", "db", "ls", "--db", "sqlite:empty.db")
        self.assertEqual(b"", self.read("empty.db"))
        self.change("CREATE TABLE other (number INTEGER)", store="other.db")
        for arguments in (("ls",), ("check",), ("stats",), ("retain", "--apply")):
            self.fails(5, "other.db holds no store: qen db init makes one", "db", *arguments, "--db", "sqlite:other.db")

    def test_what_the_engine_says_names_the_store(self):
        self.init()
        self.change("DROP TABLE trend")
        self.fails(5, "qen.db: list trends: no such table: trend", "db", "ls", "trends")
        self.write("folder/file", "")
        self.fails(5, "open folder: disk I/O error: Is a directory", "db", "ls", "--db", "sqlite:folder")

    def test_a_store_whose_making_was_cut_off_is_none_and_is_made_again(self):
        self.run_tool("db", "init", "--db", "sqlite:made.db")
        made = self.read("made.db")
        for name in ("ls", "check", "export", "retain"):
            arguments = {"export": ("backup",), "retain": ("--apply",)}.get(name, ())
            self.write_cut_off(made)
            self.fails(5, "cut.db holds no store: qen db init makes one", "db", name, *arguments, "--db", "sqlite:cut.db")
            self.assertEqual(b"", self.read("cut.db"))
        self.write_cut_off(made)
        self.run_tool("db", "init", "--db", "sqlite:cut.db", "--device", str(DEVICE))
        self.assertEqual("cut.db: 1 row, 0 damaged\n", self.run_tool("db", "check", "--db", "sqlite:cut.db").err)

    def write_cut_off(self, made):
        """A file with a store that was not committed, and the journal of an empty file beside it, as a process leaves
        them that is killed while making a store: magic, no records, a nonce, no pages before, sectors and pages."""
        header = bytes.fromhex("d9d505f920a163d7") + struct.pack(">5I", 0, 12345, 0, 4096, 4096)
        self.write("cut.db", made)
        self.write("cut.db-journal", header.ljust(4096, b"\0"))

    def test_the_device_is_the_only_one_or_named(self):
        self.write_signal("a", [1])
        self.fails(2, "a new store needs a device: --device or QEN_DEVICE names it", "db", "put", "a.qts")
        self.assertEqual(["a.qts", "a.xml"], self.names())
        self.run_tool("db", "init")
        self.fails(2, "qen.db holds no device: --device or QEN_DEVICE names one", "db", "put", "a.qts")
        self.init()
        self.run_tool("db", "put", "a.qts")
        self.init(device=OTHER_DEVICE)
        self.fails(2, "qen.db holds 2 devices: --device or QEN_DEVICE names one", "db", "put", "a.qts")
        self.fails(3, "qen.db holds no device %s" % NULL, "db", "ls", "--device", str(NULL))
        self.run_tool("db", "put", "a.qts", env=dict(os.environ, QEN_DEVICE=str(OTHER_DEVICE)))
        self.assertEqual([(DEVICE.bytes,), (OTHER_DEVICE.bytes,)], self.rows("SELECT device_uuid FROM measurement ORDER BY device_uuid"))


class Init(StoreTest):
    def test_says_what_it_made(self):
        self.assertEqual("qen.db: a new store of 0 devices\n", self.run_tool("db", "init").err)
        self.assertEqual("qen.db: a store of 1 device\n", self.run_tool("db", "init", "--device", str(DEVICE)).err)
        self.assertEqual([{"schema": "qen.db-init/1", "store": "qen.db", "new": False, "device_count": 1}],
                         self.run_tool("db", "init", "--json").objects())

    def test_settings_become_the_device_details_and_stay_without_new_ones(self):
        self.init("--settings", "1h:6/h")
        self.init()
        self.assertEqual([(DEVICE.bytes, SETTINGS.encode())], self.rows("SELECT device_uuid, details FROM device"))
        other = SETTINGS.replace(">6<", ">8<") + "\n"
        self.write("device.xml", other)
        self.init("--details", "device.xml")
        self.assertEqual([(other.encode(),)], self.rows("SELECT details FROM device"))

    def test_settings_that_cannot_be_used_are_refused(self):
        self.fails(2, "settings belong to a device: --device names it", "db", "init", "--settings", "1h:6/h")
        self.write("broken.xml", "<a>")
        self.fails(3, "broken.xml: is no XML document", "db", "init", "--device", str(DEVICE), "--details", "broken.xml")
        self.assertEqual(["broken.xml"], self.names())


class Put(StoreTest):
    COLUMNS = ("SELECT measurement_uuid, measurement_id, measurement_flag, config_uuid, config_id, config_flag, job_uuid, job_id, job_flag, "
               "time_stamp, saved_by_alarm, details, data FROM measurement")
    TREND_COLUMNS = ("SELECT trend_uuid, value_uuid, base_uuid, closed, first_time, last_time, entry_count, details, data FROM trend")

    def test_a_signal_is_stored_as_it_is(self):
        data = signal_of("int16", [5, 6], time=START + 7)
        self.write("a.qts", data)
        self.write("a.xml", document(data, Details("m/s2")))
        done = self.run_tool("db", "put", "a.qts", "--device", str(DEVICE))
        self.assertEqual(("", "qen.db: 1 stored, 0 replaced, 0 there already\n"), (done.out, done.err))
        self.assertEqual([(MEASUREMENT.bytes, 0, 0, MEASUREMENT_CONFIG.bytes, 0, 0, MEASUREMENT.bytes, 0, 0, START + 7, 0,
                           document(data, Details("m/s2")), data)], self.rows(self.COLUMNS))

    def test_what_is_there_is_replaced_unless_it_is_the_same(self):
        data = self.write_signal("a", [5, 6])
        self.init()
        self.run_tool("db", "put", "a.qts")
        self.assertEqual("qen.db: 0 stored, 0 replaced, 1 there already\n", self.run_tool("db", "put", "a.qts").err)
        job = number_of(99)
        self.assertEqual("qen.db: 0 stored, 1 replaced, 0 there already\n", self.run_tool("db", "put", "a.qts", "--job", str(job)).err)
        self.assertEqual([(job.bytes, data)], self.rows("SELECT job_uuid, data FROM measurement"))

    def test_without_a_document_there_is_one_without_a_unit(self):
        signal = self.write_signal("a", [5, 6], with_document=False)
        trend = self.write_trend("t", [entry(START)], with_document=False)
        self.init()
        self.run_tool("db", "put", "a.qts", "t.qtr")
        self.assertEqual([(document(signal),)], self.rows("SELECT details FROM measurement"))
        self.assertEqual([(trend_document(trend),)], self.rows("SELECT details FROM trend"))

    def test_a_trend_is_stored_as_it_is_closed_unless_it_grows(self):
        entries = [entry(START), entry(START + HOUR, 2.0)]
        data = self.write_trend("t", entries)
        self.init()
        expected = [TREND.bytes, CONFIG.bytes, NULL.bytes, 1, START, START + HOUR, 2, trend_document(data, "mm/s"), data]
        self.run_tool("db", "put", "t.qtr")
        self.assertEqual([tuple(expected)], self.rows(self.TREND_COLUMNS))
        base = number_of(5)
        self.run_tool("db", "put", "t.qtr", "--open", "--base-uuid", str(base))
        expected[2:4] = base.bytes, 0
        self.assertEqual([tuple(expected)], self.rows(self.TREND_COLUMNS))

    def test_a_trend_without_a_configuration_is_stored_and_named(self):
        self.write_trend("t", [entry(START)], config=NULL)
        self.init()
        self.assertEqual("qen: t.qtr: has no configuration; all such trends are taken for those of one value\n"
                         "qen.db: 1 stored, 0 replaced, 0 there already\n", self.run_tool("db", "put", "t.qtr").err)

    def test_signals_of_an_archive_come_in_with_their_jobs(self):
        one, two = signal_of("int16", [1]), signal_of("int16", [2, 3], measurement=number_of(3))
        self.write("both.qta", archive_form(one, Details("g"), number_of(77)) + archive_form(two))
        self.init()
        done = self.run_tool("db", "put", "both.qta", "--json")
        self.assertEqual([("both.qta", "measurement", str(MEASUREMENT), "stored"), ("both.qta", "measurement", str(number_of(3)), "stored")],
                         [(o["file"], o["kind"], o["uuid"], o["result"]) for o in done.objects()[:-1]])
        self.assertEqual({"schema": "qen.db-put/1", "device_uuid": str(DEVICE), "kind": "all", "stored": 2, "replaced": 0, "unchanged": 0,
                          "trends_in_thinned_time": 0, "characteristic_value_count": 0, "bookmark_count": 0}, done.objects()[-1])
        self.assertEqual([(MEASUREMENT.bytes, number_of(77).bytes, document(one, Details("g")), one),
                          (number_of(3).bytes, MEASUREMENT.bytes, document(two), two)],
                         self.rows("SELECT measurement_uuid, job_uuid, details, data FROM measurement ORDER BY length(data)"))

    def test_a_folder_and_one_bad_file_in_it(self):
        self.write_signal("in/a", [1])
        self.write_trend("in/deep/t", [entry(START)])
        self.write("in/b.qts", b"no signal")
        self.write("in/ignored.csv", b"1")
        self.init()
        done = self.run_tool("db", "put", "in", code=4)
        self.assertEqual("qen: in/b.qts: is no time signal file: it has 9 bytes, the header alone takes 120\n"
                         "qen.db: 2 stored, 0 replaced, 0 there already\n", done.err)

    def test_documents_that_a_pattern_names_come_with_their_records(self):
        self.write_signal("x1", [1], measurement=number_of(1))
        self.write_trend("x2", [entry(START)])
        self.write("alone.xml", "<a/>")
        self.init()
        done = self.run_tool("db", "put", "x1.qts", "x1.xml", "x2.qtr", "x2.xml")
        self.assertEqual("qen.db: 2 stored, 0 replaced, 0 there already\n", done.err)
        done = self.run_tool("db", "put", "x1.qts", "alone.xml", code=4)
        self.assertEqual("qen: alone.xml: is a details document, which is stored with the file that it belongs to\n"
                         "qen.db: 0 stored, 0 replaced, 1 there already\n", done.err)
        self.run_tool("db", "put", "x1.xml", code=3)

    def test_no_store_is_made_when_there_is_nothing_to_put(self):
        self.write("bad.csv", "time,value\nnever,1\n")
        device = ("--db", "sqlite:new.db", "--device", str(DEVICE))
        self.run_tool("db", "put", "nofile.qtr", *device, code=3)
        self.run_tool("db", "put", "--values", "bad.csv", "--config", str(CONFIG), *device, code=3)
        self.assertEqual(["bad.csv"], self.names())
        self.write_trend("t", [entry(START)])
        self.run_tool("db", "put", "nofile.qtr", "t.qtr", *device, code=4)
        self.assertEqual([(1,)], self.rows("SELECT COUNT(*) FROM trend", store="new.db"))

    def test_trends_that_reach_into_what_was_thinned_are_counted(self):
        self.init("--settings", "1d:24/d,7d:24/d")
        for i in range(3):
            self.write_trend("t%d" % i, every_five_minutes(36, START + i * DAY), trend=number_of(i + 1))
        self.write_trend("late", every_five_minutes(36, START + 10 * DAY), trend=number_of(9))
        put = ("db", "put", "t0.qtr", "t1.qtr", "t2.qtr")
        self.assertEqual("qen.db: 3 stored, 0 replaced, 0 there already\n", self.run_tool(*put).err)
        self.run_tool("db", "retain", "--apply", "--now", str(START + 5 * DAY))
        kept = self.entries()
        done = self.run_tool(*put, "late.qtr", "--json")
        self.assertEqual("qen.db: 4 stored, 0 replaced, 0 there already\n"
                         "qen: qen.db: 3 trends reach into what was thinned already; the next run thins that again\n", done.err)
        self.assertEqual((4, 3), (done.objects()[-1]["stored"], done.objects()[-1]["trends_in_thinned_time"]))
        # Beside what was kept, until the next run.
        self.assertEqual(len(kept) + 4 * 36, len(self.entries()))
        self.run_tool("db", "retain", "--apply", "--now", str(START + 5 * DAY))
        self.assertEqual(kept, [e for e in self.entries() if time_of(e) < START + 5 * DAY])
        self.assertNotIn("reach", self.run_tool("db", "put", "t0.qtr", "--open").err)
        self.assertEqual("qen.db: 1 stored, 0 replaced, 0 there already\n"
                         "qen: qen.db: 1 trend reaches into what was thinned already; the next run thins that again\n",
                         self.run_tool("db", "put", "t1.qtr").err)

    def test_what_is_damaged_is_refused_unless_it_shall_be_kept(self):
        data = bytearray(self.write_signal("a", [1, 2, 3], measurement=number_of(1)))
        data[-1] ^= 0x10
        self.write("a.qts", bytes(data))
        self.write_signal("b", [4])
        self.init()
        done = self.run_tool("db", "put", "a.qts", "b.qts", code=4)
        stored = struct.unpack("<H", data[116:118])[0]
        self.assertEqual("qen: a.qts: is damaged: samples: checksum is 0x%04x, computed 0x%04x (--keep-damaged stores it)\n"
                         "qen.db: 1 stored, 0 replaced, 0 there already\n" % (stored, stored ^ 0x1000 if len(data) % 2 == 0 else stored ^ 0x10),
                         done.err)
        self.run_tool("db", "put", "a.qts", code=3)
        self.run_tool("db", "put", "a.qts", "--keep-damaged")
        self.assertEqual([(bytes(data),)], self.rows("SELECT data FROM measurement WHERE measurement_uuid = ?", number_of(1).bytes))

    def test_a_document_of_another_signal_is_damage(self):
        self.write_signal("a", [1])
        self.write("a.xml", document(signal_of("int16", [1], measurement=number_of(8))))
        self.init()
        done = self.run_tool("db", "put", "a.qts", code=3)
        self.assertEqual("qen: a.qts: is damaged: details: measurement is %s, the record has %s (--keep-damaged stores it)\n"
                         "qen.db: 0 stored, 0 replaced, 0 there already\n" % (number_of(8), MEASUREMENT), done.err)

    def test_what_has_no_uuid_is_refused(self):
        self.write_signal("a", [1], measurement=NULL)
        self.init()
        self.assertIn("qen: a.qts: has no UUID by which a store could know it\n", self.run_tool("db", "put", "a.qts", code=3).err)

    def test_characteristic_values_and_bookmarks(self):
        self.write("rms.csv", "time,value\n2026-11-20T00:00:00Z,2.5\n2026-11-20T01:00:00Z,nan\n2026-11-20T02:00:00Z,0.1\n")
        self.init()
        done = self.run_tool("db", "put", "--values", "rms.csv", "--config", str(CONFIG), "--bookmark", "2026-11-21", "--bookmark", "7",
                             "--value", str(CONFIG))
        self.assertEqual("qen.db: 3 characteristic values, 2 bookmarks\n", done.err)
        self.assertEqual([(CONFIG.bytes, START, 2.5), (CONFIG.bytes, START + HOUR, None), (CONFIG.bytes, START + 2 * HOUR, 0.1)],
                         self.rows("SELECT value_uuid, time_stamp, value FROM characteristic_value ORDER BY time_stamp"))
        self.assertEqual([(CONFIG.bytes, 7), (CONFIG.bytes, START + DAY)],
                         self.rows("SELECT value_uuid, time_stamp FROM bookmark ORDER BY time_stamp"))

    def test_options_that_belong_together(self):
        self.init()
        self.fails(2, "there is nothing to put: FILE, --settings, --details, --values or --bookmark", "db", "put")
        self.fails(2, "--values and --config belong together", "db", "put", "--settings", "1h:6/h", "--config", str(CONFIG))
        self.fails(2, "--bookmark and --value belong together", "db", "put", "--bookmark", "7")
        self.run_tool("db", "put", "--settings", "1h:6/h")
        self.assertEqual([(SETTINGS.encode(),)], self.rows("SELECT details FROM device"))


class Get(StoreTest):
    def test_files_come_back_as_they_were(self):
        signal = self.write_signal("a", [1, 2])
        trend = self.write_trend("t", [entry(START)])
        self.init()
        self.run_tool("db", "put", "a.qts", "t.qtr")
        self.assertEqual("measurement %s -> b.qts\n" % MEASUREMENT, self.run_tool("db", "get", str(MEASUREMENT), "-o", "b.qts").err)
        self.run_tool("db", "get", str(TREND), "-o", "new/")
        self.run_tool("db", "get", str(TREND))
        self.assertEqual((signal, document(signal)), (self.read("b.qts"), self.read("b.xml")))
        for folder in ("new/", ""):
            self.assertEqual((trend, trend_document(trend, "mm/s")),
                             (self.read("%s%s.qtr" % (folder, TREND)), self.read("%s%s.xml" % (folder, TREND))))
        self.assertEqual(signal, self.run_tool("db", "get", str(MEASUREMENT), "-o", "-").raw)
        self.fails(5, "b.qts not written: the file exists, --force replaces it", "db", "get", str(MEASUREMENT), "-o", "b.qts")
        self.run_tool("db", "get", str(MEASUREMENT), "-o", "b.qts", "--force")

    def test_what_is_not_there(self):
        self.init()
        self.fails(3, "device %s has no measurement and no trend %s" % (DEVICE, TREND), "db", "get", str(TREND))
        self.fails(2, '"pump" is no UUID', "db", "get", "pump")

    def test_a_damaged_row_is_given_as_it_is(self):
        self.write_signal("a", [1, 2])
        self.init()
        self.run_tool("db", "put", "a.qts")
        self.change("UPDATE measurement SET data = ?", b"short")
        done = self.run_tool("db", "get", str(MEASUREMENT), "-o", "b.qts", code=1)
        self.assertIn("qen: b.qts: is damaged: size: 5 bytes in the file, the header alone takes 120\n", done.err)
        self.assertEqual(b"short", self.read("b.qts"))


class Lists(StoreTest):
    def setUp(self):
        super().setUp()
        self.init("--settings", "1h:6/h")
        self.init(device=OTHER_DEVICE)
        for i in range(3):
            self.write_signal("m%d" % i, [i] * (i + 1), measurement=number_of(i), time=START + i * HOUR,
                              config=number_of(100 + i % 2))
            self.write_trend("t%d" % i, every_five_minutes(i + 1, START + i * HOUR), trend=number_of(10 + i))
        self.write_trend("empty", [], trend=number_of(20))
        self.run_tool("db", "put", "m0.qts", "m1.qts", "t0.qtr", "t1.qtr", "empty.qtr", "--device", str(DEVICE))
        self.run_tool("db", "put", "m2.qts", "--job", str(number_of(7)), "--device", str(DEVICE))
        self.run_tool("db", "put", "t2.qtr", "--open", "--device", str(DEVICE))
        self.write("v.csv", "time,value\n2026-11-20T00:00:00Z,2.5\n2026-11-20T01:00:00Z,nan\n")
        self.run_tool("db", "put", "--values", "v.csv", "--config", str(CONFIG), "--bookmark", str(START), "--value", str(TREND),
                      "--device", str(DEVICE))

    def uuids(self, kind, key, *arguments):
        return [o[key] for o in self.run_tool("db", "ls", kind, "--device", str(DEVICE), "--json", *arguments).objects()]

    def test_an_overview_has_one_line_a_device(self):
        lines = self.run_tool("db", "ls").lines()
        self.assertEqual([[str(DEVICE), "3", "1", "3", "6", "2"], [str(OTHER_DEVICE), "0", "0", "0", "0", "0"]],
                         [line.split() for line in lines[1:]])
        objects = self.run_tool("db", "ls", "--json").objects()
        self.assertEqual([True, False], [o["has_details"] for o in objects])
        self.assertEqual({"schema": "qen.db-ls/1", "device_uuid": str(DEVICE), "kind": "device", "has_details": True,
                          "measurement_count": 3, "open_trend_count": 1, "closed_trend_count": 3, "trend_entry_count": 6,
                          "characteristic_value_count": 2}, objects[0])

    def test_measurements_newest_first_and_restricted(self):
        def found(*arguments):
            return [uuid.UUID(u).int & 0xff for u in self.uuids("measurements", "measurement_uuid", *arguments)]
        self.assertEqual([2, 1, 0], found())
        self.assertEqual([2, 0], found("--config", str(number_of(100))))
        self.assertEqual([2], found("--job", str(number_of(7))))
        self.assertEqual([1, 0], found("--to", str(START + HOUR)))
        self.assertEqual([2, 1], found("--from", str(START + 1)))
        self.assertEqual([2, 1], found("--limit", "2"))
        self.assertEqual([], found("--limit", "0"))

    def test_trends_newest_first_and_restricted(self):
        def found(*arguments):
            return [uuid.UUID(u).int & 0xff for u in self.uuids("trends", "trend_uuid", *arguments)]
        self.assertEqual([12, 11, 10, 20], found())
        self.assertEqual([12], found("--open"))
        self.assertEqual([11, 10, 20], found("--closed"))
        self.assertEqual([], found("--value", str(TREND)))
        self.assertEqual([11], found("--from", str(START + 1), "--to", str(START + 2 * HOUR - 1)))
        one = self.run_tool("db", "ls", "trends", "--open", "--device", str(DEVICE), "--json").objects()[0]
        data = self.read("t2.qtr")
        self.assertEqual({"schema": "qen.db-ls/1", "device_uuid": str(DEVICE), "kind": "trend", "trend_uuid": str(number_of(12)),
                          "characteristic_value_config_uuid": str(CONFIG), "closed": False, "entry_count": 3,
                          "first_time": time_text(START + 2 * HOUR), "first_time_us": START + 2 * HOUR,
                          "last_time": time_text(START + 2 * HOUR + HOUR // 6), "last_time_us": START + 2 * HOUR + HOUR // 6,
                          "byte_count": len(data) + len(trend_document(data, "mm/s"))}, one)

    def test_values_and_bookmarks(self):
        lines = self.run_tool("db", "ls", "values", "--device", str(DEVICE)).lines()
        self.assertEqual([[str(CONFIG), time_text(START + HOUR), "nan"], [str(CONFIG), time_text(START), "2.5"]],
                         [line.split() for line in lines[1:]])
        self.assertEqual([str(TREND)], self.uuids("bookmarks", "characteristic_value_config_uuid"))
        self.assertEqual([], self.uuids("bookmarks", "characteristic_value_config_uuid", "--value", str(CONFIG)))

    def test_what_restricts_another_kind_is_refused(self):
        for option, kind in (("--config", "trends"), ("--job", "values"), ("--value", "measurements")):
            self.fails(2, "%s does not restrict %s" % (option, kind), "db", "ls", kind, option, str(CONFIG))
        self.fails(2, "--open or --closed does not restrict devices", "db", "ls", "--open")
        self.fails(2, "a time or a limit does not restrict devices", "db", "ls", "--limit", "1")

    def test_statistics_count_rows_and_bytes(self):
        def size(name, text):
            return len(self.read(name)) + len(text)
        signals = sum(size("m%d.qts" % i, self.read("m%d.xml" % i)) for i in range(3))
        closed = sum(size(n + ".qtr", self.read(n + ".xml")) for n in ("t0", "t1", "empty"))
        first, other, everything = self.run_tool("db", "stats", "--json").objects()
        expected = {"schema": "qen.db-stats/1", "device_uuid": str(DEVICE), "measurement_count": 3, "measurement_bytes": signals,
                    "open_trend_count": 1, "open_trend_bytes": size("t2.qtr", self.read("t2.xml")), "closed_trend_count": 3,
                    "closed_trend_bytes": closed, "trend_entry_count": 6, "characteristic_value_count": 2,
                    "bookmark_count": 1}
        self.assertEqual(expected, first)
        self.assertEqual([0] * 9, [v for k, v in other.items() if k not in ("schema", "device_uuid")])
        files = sum(os.path.getsize(self.path(n)) for n in self.names() if n in ("qen.db", "qen.db-wal"))
        self.assertEqual({**expected, "device_uuid": None, "device_count": 2, "store": "qen.db", "file_size": files}, everything)
        self.assertEqual("file qen.db: %d bytes" % files, self.run_tool("db", "stats").lines()[-1])

import fcntl
import os
import random
import resource
import uuid

from support import NAMESPACE, ToolTest, time_text
from trend_support import (CONFIG, DAY, HOUR, MINUTE, SECOND, START, TREND, UNIT, entry, parse_trend, thin, time_of,
                           trend_document, trend_file)

NOW = START + 60 * DAY
SETTINGS = "1h:60/h,1d:24/d,7d:4/d,28d:1/d"
COUNTS = (60, 24, 4, 1)
HOURS = [entry(START + i * HOUR, float(i), 1) for i in range(48)]


def device(*classes):
    """Device details; each class is (element, inner elements)."""
    body = "".join("<vel:%s>%s</vel:%s>" % (name, inner, name) for name, inner in classes)
    return ('<vel:DeviceDetails xmlns:vel="%s"><vel:Name>pump</vel:Name><vel:TrendCleanupSettings>%s</vel:TrendCleanupSettings>'
            "</vel:DeviceDetails>" % (NAMESPACE, body))


def per(unit, count):
    return "<vel:NumberOfRemainingTrendEntriesPer%s>%d</vel:NumberOfRemainingTrendEntriesPer%s>" % (unit, count, unit)


class ShrinkTest(ToolTest):
    def put(self, name, entries, method="zlib", unit="mm/s", **header):
        header.setdefault("trend", uuid.uuid5(TREND, name))
        data = trend_file(entries, method, **header)
        self.write(name + ".qtr", data)
        self.write(name + ".xml", trend_document(data, unit))

    def shrink(self, *arguments, now=NOW, code=0, **options):
        return self.run_tool("trend", "shrink", "--now", str(now), *arguments, code=code, **options)

    def results(self, result, folder="out"):
        """The new trends, oldest first, with all that must hold of each."""
        trends = []
        for described in result.objects()[0]["results"]:
            data = self.read(described["file"])
            trend = parse_trend(data)
            self.assertEqual(trend_document(data, "mm/s"), self.read(described["file"][:-3] + "xml"))
            self.assertEqual("%s/%s.qtr" % (folder, trend["trend"]) if folder else "%s.qtr" % trend["trend"], described["file"])
            self.assertEqual((str(trend["trend"]), trend["count"], trend["first"], trend["last"], True), tuple(described[k] for k in (
                "trend_uuid", "entry_count", "first_time_us", "last_time_us", "closed")))
            self.assertEqual((2, CONFIG, UNIT), (trend["compression"], trend["config"], trend["unit"]))
            trends.append(trend)
        return trends


class Shrink(ShrinkTest):
    def compare_with_model(self, trends, counts=COUNTS, settings=SETTINGS, pins=(), now=NOW):
        """Thins trends, each a (limit, entries), and compares all that remains, bit for bit."""
        for i, (limit, entries) in enumerate(trends):
            self.put("t%02d" % i, entries, limit=limit)
        names = ["t%02d.qtr" % i for i in range(len(trends))]
        self.write("pins.csv", "time\n" + "".join(time_text(pin) + "\n" for pin in pins))
        result = self.shrink(*names, "--settings", settings, "--pins", "pins.csv", "-o", "out", "--apply", "--json", now=now)
        got = self.results(result)
        wanted = [(limit, entries) for limit, entries in thin(trends, counts, now, pins) if entries]
        self.assertEqual(wanted, [(t["limit"], t["entries"]) for t in got])
        return result.objects()[0]

    def test_each_age_class_keeps_its_count(self):
        """Entries at the middle of each slot, and others farther from it that must go."""
        young = [NOW - HOUR + i * MINUTE for i in range(60)]
        self.put("a", [entry(time) for time in range(START, NOW - HOUR, 10 * MINUTE)] + [entry(time) for time in young])
        o = self.shrink("a.qtr", "--settings", SETTINGS, "--json").objects()[0]
        # 32 days lie over 28 days back with their last microsecond, 21 more over a week, 6 more over a day; of the 23 hours
        # between there and the young entries each has 6 entries in 60 slots. An entry that is exactly 28, 7 or 1 days or an
        # hour old counts as older, though its period is the younger one: the one of 1 day stays with its hour.
        self.assertEqual([("up to 1 hour", "all", 59, 59), ("1 hour to 1 day", "60 an hour", 138, 138),
                          ("1 to 7 days", "24 a day", 6 * 144, 6 * 24 + 1), ("7 to 28 days", "4 a day", 21 * 144, 21 * 4),
                          ("over 28 days", "1 a day", 32 * 144 + 1, 32)],
                         [(c["age"], c["remain"], c["entries_before"], c["entries_after"]) for c in o["classes"]])
        self.assertEqual([(32 * c["entries_before"], 32 * c["entries_after"]) for c in o["classes"]],
                         [(c["bytes_before"], c["bytes_after"]) for c in o["classes"]])
        self.assertEqual((59 * 144 + 138 + 60, 60 + 138 + 144 + 84 + 32), (o["entries_before"], o["entries_after"]))

    def test_the_plan_for_people(self):
        self.put("a", [entry(START + i * HOUR) for i in range(48)], "none")
        result = self.shrink("a.qtr", "--settings", "1d:1/d,28d:2/d")
        lines = result.lines()
        self.assertEqual([
            "  age              remain              entries      after        bytes        after",
            "  up to 1 hour     all                       0          0            0            0",
            "  1 hour to 1 day  all                       0          0            0            0",
            "  1 to 7 days      1 a day                   0          0            0            0",
            "  7 to 28 days     all                       0          0            0            0",
            "  over 28 days     2 a day                  48          4         1536          128",
            "  all                                       48          4         1536          128",
            "  files                                      1          1"], lines[:8])
        self.assertRegex(lines[8], r"^  bytes of files                          1632 +\d+$")
        self.assertEqual("qen: nothing was written; --apply does it\n", result.err)
        self.assertEqual(["a.qtr", "a.xml"], self.names())

    def test_the_nearest_to_the_middle_remains_of_each_status(self):
        times = [0, 10, 20, 30, 40, 50]
        entries = [entry(START + m * MINUTE, float(m), 1) for m in times] + [entry(START + DAY, 0.0, 1)]
        o = lambda: sorted(time_of(e) - START for e in self.results(self.shrink(
            "a.qtr", "--settings", "1h:2/h", "-o", "out", "--apply", "--json", now=START + DAY + HOUR))[0]["entries"])
        self.put("a", entries)
        # Ten and twenty lie equally far from a quarter past, the earlier one remains; the last entry is young.
        self.assertEqual([10 * MINUTE, 40 * MINUTE, DAY], o())
        entries[5] = entry(START + 50 * MINUTE, 50.0, 3)
        self.put("a", entries)
        self.assertEqual([10 * MINUTE, 40 * MINUTE, 50 * MINUTE, DAY], o())

    def test_pins_are_kept_in_preference(self):
        self.put("a", [entry(START + m * MINUTE, 0.0, 1) for m in range(0, 60, 10)] + [entry(START + DAY, 0.0, 1)])
        self.write("pins.csv", "x;when\n1;2026-11-20T00:20:00Z\n2;1795132800\n")
        result = self.shrink("a.qtr", "--settings", "1h:2/h", "--pins", "pins.csv", "--pins-column", "when", "--time-unit", "s", "-o", "out",
                             "--apply", "--json", now=START + DAY + HOUR)
        self.assertEqual([0, 20 * MINUTE, 40 * MINUTE, DAY], [time_of(e) - START for e in self.results(result)[0]["entries"]])
        self.assertEqual((2, 2), tuple(result.objects()[0][k] for k in ("pinned_before", "pinned_after")))
        text = self.shrink("a.qtr", "--settings", "1h:2/h", "--pins", "pins.csv", "--pins-column", "2", "--time-unit", "s", now=START + DAY + HOUR)
        self.assertIn("  at a pin                                   2          2           64           64\n", text.out)

    def test_random_trends_thin_as_the_model_says(self):
        for seed in range(6):
            with self.subTest(seed=seed):
                source = random.Random(seed)
                spacing = (20 * MINUTE, 7 * MINUTE, 3 * HOUR)[seed % 3]
                times = sorted(START + source.randrange(0, 60 * DAY) // SECOND * SECOND for _ in range(60 * DAY // spacing // 2))
                times += [t for t in times if source.random() < 0.01]  # repeated ones
                entries = [entry(t, source.gauss(5, 1), source.choice((0, 1, 1, 1, 1, 2, 3, 9)), source.random(), byte=source.randrange(256),
                                 padding=bytes(source.randrange(256) for _ in range(2))) for t in sorted(times)]
                cuts = sorted(source.randrange(1, len(entries)) for _ in range(3))
                parts = [entries[a:b] for a, b in zip([0] + cuts, cuts + [len(entries)]) if a < b]
                limits = [0.0, 0.0, 2.5, 2.5] if seed % 2 else [1.0] * 4
                pins = source.sample([time_of(e) for e in entries], 40) + [START + source.randrange(0, 60 * DAY) for _ in range(40)]
                counts = (source.choice((0, 3, 60)), source.choice((7, 24)), source.choice((0, 4)), source.choice((1, 5)))
                keys = (("1h", "h"), ("1d", "d"), ("7d", "d"), ("28d", "d"))
                settings = ",".join("%s:%d/%s" % (key, count, unit) for (key, unit), count in zip(keys, counts) if count)
                o = self.compare_with_model(list(zip(limits, parts)), counts, settings, pins)
                self.assertEqual(sum(e["entry_count"] for e in o["inputs"]), o["entries_before"])
                self.assertLess(o["entries_after"], o["entries_before"])

    def test_overlapping_trends_thin_as_one(self):
        even = [entry(START + m * MINUTE, 0.0, 1) for m in range(0, 2 * 1440, 20)]
        odd = [entry(START + m * MINUTE, 1.0, 2) for m in range(10, 1440, 20)]
        self.compare_with_model([(0.0, even), (0.0, odd)])

    def test_files_are_taken_oldest_first_whatever_their_names(self):
        self.put("a", [entry(START + 2 * DAY + i * HOUR) for i in range(24)])
        self.put("b", [entry(START + i * HOUR) for i in range(24)])
        o = self.shrink("a.qtr", "b.qtr", "--settings", "28d:1/d", "--json").objects()[0]
        self.assertEqual(["b.qtr", "a.qtr"], [i["file"] for i in o["inputs"]])
        self.assertEqual(2, o["entries_after"])

    def test_nothing_is_lost_up_to_the_hour(self):
        times = [NOW - 2 * HOUR, NOW - HOUR - 1, NOW - HOUR, NOW - HOUR + 1, NOW - 1, NOW, NOW + DAY]
        self.put("a", [entry(NOW - 3 * DAY)] + [entry(t) for t in times])
        o = self.shrink("a.qtr", "--settings", SETTINGS, "--json").objects()[0]
        self.assertEqual([(4, 4), (3, 3)], [(c["entries_before"], c["entries_after"]) for c in o["classes"][:2]])

    def test_applied_in_place_new_files_stand_for_the_old(self):
        self.put("d/a", [entry(START + i * HOUR) for i in range(24)])
        self.put("d/b", [entry(START + DAY + i * HOUR) for i in range(24)])
        self.write("d/a.txt", "mine")
        result = self.shrink("d", "--settings", "28d:2/d", "--apply", "--json")
        trends = self.results(result, "d")
        self.assertEqual(1, len(trends))
        # Slots of 12 hours, entries 6 hours behind their beginning.
        self.assertEqual([START + h * HOUR for h in (6, 18, 30, 42)], [time_of(e) for e in trends[0]["entries"]])
        self.assertEqual(sorted(["%s.qtr" % trends[0]["trend"], "%s.xml" % trends[0]["trend"], "a.txt"]), self.names("d"))
        self.assertTrue(result.objects()[0]["applied"])
        self.run_tool("trend", "info", "--entries", "d")

    def test_a_folder_of_its_own_leaves_the_old_files(self):
        self.put("a", [entry(START + i * HOUR) for i in range(24)])
        before = self.read("a.qtr")
        result = self.shrink("a.qtr", "--settings", "28d:2/d", "--apply", "-o", "x/y")
        self.assertRegex(result.err, r"^x/y/[0-9a-f-]{36}\.qtr: 2 entries from 2026-11-20T06:00:00.000000Z to 2026-11-20T18:00:00.000000Z\n$")
        self.assertEqual(before, self.read("a.qtr"))
        self.assertEqual(2, len(self.names("x/y")))

    def test_links_and_their_files_go(self):
        self.put("store/a", [entry(START + i * HOUR) for i in range(24)])
        os.symlink(b"store/a.qtr", self.path("a.qtr"))
        self.shrink("a.qtr", "--settings", "28d:2/d", "--apply")
        self.assertEqual([], self.names("store"))
        self.assertEqual(["qtr", "store", "xml"], sorted(name.split(".")[-1] for name in self.names()))

    def test_results_are_cut_at_the_size(self):
        self.put("a", [entry(START + i * HOUR) for i in range(24)])
        result = self.shrink("a.qtr", "--settings", "28d:12/d", "--max-size", "5", "--max-days", "0", "-o", "out", "--apply", "--json")
        self.assertEqual([5, 5, 2], [t["count"] for t in self.results(result)])

    def test_settings_from_the_device(self):
        self.put("a", [entry(t) for t in range(START, NOW, HOUR)])
        classes = [("OlderThanOneDay", per("Day", 12)), ("OlderThanOneWeek", per("Day", 4) + "<vel:NoCleanup>false</vel:NoCleanup>"),
                   ("OlderThanFourWeeks", per("Day", 1)), ("OlderThanOneHour", per("Day", 1))]
        self.write("device.xml", device(*classes))
        o = self.shrink("a.qtr", "--device", "device.xml", "--json").objects()[0]
        self.assertEqual(["all", "all", "12 a day", "all", "1 a day"], [c["remain"] for c in o["classes"]])
        self.write("device.xml", device())
        o = self.shrink("a.qtr", "--device", "device.xml", "--json").objects()[0]
        self.assertEqual(o["entries_before"], o["entries_after"])

    def test_settings_of_the_device_that_cannot_be_used(self):
        self.put("a", [entry(START)])
        for text, message in (("", "is no XML document"), ("<a/>", "holds no trend cleanup settings, vel:DeviceDetails.vel:TrendCleanupSettings")):
            self.write("device.xml", text)
            self.fails(3, "device.xml: " + message, "trend", "shrink", "a.qtr", "--device", "device.xml")
        self.write("device.xml", device(("OlderThanOneHour", per("Hour", 3600000001))))
        self.fails(3, "device.xml: 3600000001 an hour is more than one each microsecond: no entry would remain",
                   "trend", "shrink", "a.qtr", "--device", "device.xml")
        self.write("device.xml", device(("OlderThanOneDay", per("Day", 4).replace("4", "many"))))
        result = self.shrink("a.qtr", "--device", "device.xml", code=3)
        self.assertRegex(result.err, "^qen: device.xml: .*many.*NumberOfRemainingTrendEntriesPerDay.*\n$")
        self.fails(3, "none.xml: cannot be opened: No such file or directory", "trend", "shrink", "a.qtr", "--device", "none.xml")

    def test_settings_as_text_that_cannot_be_used(self):
        self.put("a", [entry(START)])
        form = "; settings look like 1h:60/h,1d:24/d,7d:4/d,28d:1/d, in which classes may be missing"
        count = "has no count from 1 to 4294967295 (a class that is left out keeps everything)"
        cases = {"2d:1/d": '"2d:1/d" names no class: 1h, 1d, 7d or 28d', "": '"" names no class: 1h, 1d, 7d or 28d',
                 "1d:1/d,1d:2/d": '"1d:2/d" names a class again', "1h:1/d": '"1h:1/d" does not end in a count per hour, /h',
                 "7d:4": '"7d:4" does not end in a count per day, /d', "7d:0/d": '"7d:0/d" ' + count, "7d:-1/d": '"7d:-1/d" ' + count,
                 "7d:/d": '"7d:/d" ' + count, "7d:4294967296/d": '"7d:4294967296/d" ' + count, "7d:1.0/d": '"7d:1.0/d" ' + count}
        for text, message in cases.items():
            self.fails(2, "--settings: %s%s (qen trend shrink --help explains)" % (message, form), "trend", "shrink", "a.qtr", "--settings", text)
        self.fails(2, "--settings: 3600000001 an hour is more than one each microsecond: no entry would remain",
                   "trend", "shrink", "a.qtr", "--settings", "1h:3600000001/h")
        self.shrink("a.qtr", "--settings", "1h:3600000000/h,28d:4294967295/d")
        self.fails(2, "shrink needs --settings or --device", "trend", "shrink", "a.qtr")
        self.fails(2, "--max-size 0 leaves no room for entries", "trend", "shrink", "a.qtr", "--settings", "1h:1/h", "--max-size", "0")
        self.fails(2, "4294967296 is more than 4294967295", "trend", "shrink", "a.qtr", "--settings", "1h:1/h", "--max-days", "4294967296")
        self.fails(2, "standard input cannot be replaced: -o", "trend", "shrink", "-", "--settings", "1h:1/h", "--apply")

    def test_pins_that_cannot_be_read(self):
        self.put("a", [entry(START)])
        for table, message in (("when\n2026-11-20\nx\n", 'line 3, column "when": "x" is no time stamp such as 2026-11-20T17:57:20Z, down to microseconds'),
                               ("17\n", 'line 1, column 1: "17" is a number: --time-unit says whether of s, ms or us')):
            self.write("pins.csv", table)
            self.fails(3, "pins.csv: " + message, "trend", "shrink", "a.qtr", "--settings", "1h:1/h", "--pins", "pins.csv")
        self.write("pins.csv", "")
        self.shrink("a.qtr", "--settings", "1h:1/h", "--pins", "pins.csv")

    def test_one_bad_file_stops_all(self):
        self.put("a", [entry(START + i * HOUR) for i in range(24)])
        self.put("b", [entry(START)], config=TREND)
        self.write("c.qtr", trend_file([entry(START)])[:-1])
        before = {name: self.read(name) for name in self.names()}
        result = self.shrink(".", "--settings", "28d:1/d", "--apply", code=3)
        self.assertEqual("", result.out)
        self.assertEqual(["qen: ./b.qtr: is of another characteristic value than ./a.qtr: configuration %s, not %s" % (TREND, CONFIG),
                          "qen: ./c.qtr: is damaged: size: 31 entry bytes in the file, 32 in the header"], result.err.splitlines())
        self.assertEqual(before, {name: self.read(name) for name in self.names()})

    def test_a_file_given_twice_is_refused(self):
        self.put("a", [entry(START)])
        result = self.shrink("a.qtr", ".", "--settings", "28d:1/d", "--apply", code=3)
        self.assertIn("./a.qtr: is the same trend as a.qtr: ", result.err)

    def test_entries_in_two_files_are_told(self):
        entries = [entry(START + i * HOUR) for i in range(24)]
        self.put("a", entries)
        self.put("b", entries[6:20:12])
        result = self.shrink("a.qtr", "b.qtr", "--settings", "28d:24/d")
        self.assertIn("qen: 2 entries stand in more than one file\n", result.err)

    def test_a_folder_that_cannot_be_written_changes_nothing(self):
        self.put("a", [entry(START + i * HOUR) for i in range(24)])
        self.write("file", "")
        before = self.read("a.qtr")
        result = self.shrink("a.qtr", "--settings", "28d:1/d", "--apply", "-o", "file/x", code=5)
        self.assertRegex(result.err, "^qen: file/x cannot be made: .*\n$")
        self.assertEqual((before, ["a.qtr", "a.xml", "file"]), (self.read("a.qtr"), self.names()))

    def test_a_disk_that_is_full_leaves_the_old_files(self):
        self.put("a", [entry(START + i * HOUR, random.Random(i).random()) for i in range(240)], "none")
        before = {name: self.read(name) for name in self.names()}

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        result = self.shrink("a.qtr", "--settings", "28d:24/d", "--apply", code=5, preexec_fn=limit)
        self.assertRegex(result.err, r"^qen: [0-9a-f-]{36}\.qtr cannot be written: .*\n$")
        self.assertEqual(before, {name: self.read(name) for name in self.names()})

    def test_trends_without_entries_stay(self):
        self.put("a", [])
        o = self.shrink("a.qtr", "--settings", SETTINGS, "--apply", "--json").objects()[0]
        self.assertEqual(([], 0), (o["results"], o["entries_after"]))
        self.assertEqual(["a.qtr", "a.xml"], self.names())

    def test_json_names(self):
        self.put("a", [entry(START)])
        base = "b0000000-0000-4000-8000-000000000001"
        o = self.shrink("a.qtr", "--settings", SETTINGS, "--base-uuid", base, "--json").objects()[0]
        self.assertEqual(["schema", "applied", "now", "now_us", "inputs", "results", "classes", "entries_before", "entries_after", "pinned_before",
                          "pinned_after", "file_bytes_before", "file_bytes_after"], list(o))
        self.assertEqual(("qen.trend-shrink/1", False, NOW), (o["schema"], o["applied"], o["now_us"]))
        self.assertEqual(base, o["results"][0]["characteristic_value_config_base_uuid"])

    def test_without_now_ages_count_from_the_present(self):
        self.put("a", [entry(t) for t in range(0, DAY, HOUR)])  # 1970
        o = self.run_tool("trend", "shrink", "a.qtr", "--settings", "28d:1/d", "--json").objects()[0]
        self.assertEqual((24, 1), (o["entries_before"], o["entries_after"]))
        self.assertEqual(["up to 1 hour", 0], [o["classes"][0][k] for k in ("age", "entries_before")])


class EarlyEnd(ShrinkTest):
    """A list of new and old trends, as a run that ended early leaves it, and what the next run makes of it."""

    SETTINGS = ("--settings", "28d:24/d", "--apply")

    def setUp(self):
        super().setUp()
        self.put("a", HOURS[:24])
        self.put("b", HOURS[24:])
        self.new = [uuid.uuid5(TREND, name) for name in ("new 1", "new 2")]
        for one, entries in zip(self.new, (HOURS[:30:2], HOURS[30::2])):
            self.put(str(one), entries, trend=one)

    def put_list(self, new=None, old=("a", "b"), kind="old", name=".shrink-%s" % TREND, end="end"):
        words = ["qen.trend-shrink-list/1"]
        for one in self.new if new is None else new:
            words += ["new", str(one)]
        for one in old:
            words += [kind, str(uuid.uuid5(TREND, one)), one + ".qtr", one + ".xml", ""]
        self.write(name, "".join(word + "\0" for word in words + [end]))
        return name

    def new_names(self):
        return sorted("%s.%s" % (one, extension) for one in self.new for extension in ("qtr", "xml"))

    def files(self):
        return {name: self.read(name) for name in self.names() if os.path.isfile(self.path(name))}

    def test_all_new_trends_are_there_and_the_old_ones_go(self):
        for gone in ((), ("a.qtr",), ("a.qtr", "a.xml", "b.qtr")):
            for arguments in (("a.qtr", "b.qtr"), (".",), (str(self.new[0]) + ".qtr",), ("./b.qtr",)):
                with self.subTest(gone=gone, arguments=arguments):
                    self.setUp()
                    self.put_list()
                    before = self.files()
                    for name in gone:
                        os.unlink(self.path(name))
                    result = self.shrink(*arguments, *self.SETTINGS)
                    self.assertEqual({name: before[name] for name in self.new_names()}, self.files())
                    folder = os.path.realpath(self.folder)
                    self.assertEqual(["%s/%s.qtr: in its place" % (folder, one) for one in self.new] +
                                     ["qen: a run that ended early was finished; nothing else was done"], result.err.splitlines())
                    self.assertEqual("", result.out)

    def test_json_tells_of_it(self):
        self.put_list()
        result = self.shrink(".", *self.SETTINGS, "--json", "-q")
        self.assertEqual([{"schema": "qen.trend-shrink-finished/1", "results": [
            {"file": "%s/%s.qtr" % (os.path.realpath(self.folder), one)} for one in self.new]}], result.objects())

    def test_a_new_trend_is_missing_or_damaged_and_all_are_taken_back(self):
        for damage in ("no record", "no document", "cut", "another trend"):
            with self.subTest(damage):
                self.setUp()
                self.put_list()
                record, document = "%s.qtr" % self.new[1], "%s.xml" % self.new[1]
                if damage == "no record":
                    os.unlink(self.path(record))
                elif damage == "no document":
                    os.unlink(self.path(document))
                elif damage == "cut":
                    self.write(record, self.read(record)[:-1])
                else:
                    self.put(str(self.new[1]), HOURS[30::2], trend=TREND)
                result = self.shrink("a.qtr", "b.qtr", *self.SETTINGS)
                self.assertEqual("qen: a run that ended early was taken back: all of its old files are there", result.err.splitlines()[0])
                left = self.files()
                trends = [parse_trend(data) for name, data in left.items() if name.endswith(".qtr") and name not in (record,)]
                self.assertEqual(HOURS, sorted((e for t in trends for e in t["entries"]), key=time_of))
                foreign = {record, document} if damage == "another trend" else set()  # not what the list names
                self.assertEqual(2 * len(trends) + len(foreign), len(left))

    def test_new_and_old_files_are_missing_and_all_stay(self):
        self.put_list()
        os.unlink(self.path("a.qtr"))
        os.unlink(self.path("%s.qtr" % self.new[0]))
        before = self.files()
        result = self.shrink("b.qtr", *self.SETTINGS, code=5)
        self.assertEqual("qen: %s/.shrink-%s tells of a run that ended early, but some of its new files are missing and some of its old ones, "
                         "too: put files back, or delete it\n" % (os.path.realpath(self.folder), TREND), result.err)
        self.assertEqual(before, self.files())

    def test_a_list_at_which_another_run_is_at_work_is_left_alone(self):
        name = self.put_list()
        before = self.files()
        with open(self.path(name), "rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.fails(5, "another run is replacing these trends (%s/%s)" % (os.path.realpath(self.folder), name),
                       "trend", "shrink", "a.qtr", "--now", str(NOW), *self.SETTINGS)
        self.assertEqual(before, self.files())

    def test_without_apply_it_is_told_and_nothing_changes(self):
        name = self.put_list()
        before = self.files()
        result = self.shrink("a.qtr", "b.qtr", "--settings", "28d:24/d")
        self.assertEqual("qen: %s/%s: tells of a run that ended early; --apply settles it" % (os.path.realpath(self.folder), name),
                         result.err.splitlines()[0])
        self.assertEqual(before, self.files())

    def test_files_that_stay_are_only_read(self):
        """A list beside results of -o."""
        self.put_list(kind="kept")
        before = self.files()
        self.shrink("a.qtr", "b.qtr", "-o", ".", *self.SETTINGS)
        self.assertEqual({name: data for name, data in before.items() if not name.startswith(".")}, self.files())

    def test_only_the_trends_that_are_named_go(self):
        """Not what has their names by now, nor what a list has no business with."""
        self.put("a", HOURS[:5], trend=TREND)
        self.write("b.xml", "mine")
        self.write("c.qtr", "mine, too")
        self.put_list(old=("a", "b", "c"))
        result = self.shrink(".", *self.SETTINGS)
        self.assertIn("was finished", result.err)
        self.assertEqual(sorted(self.new_names() + ["a.qtr", "a.xml", "b.xml", "c.qtr"]), self.names())

    def test_lists_of_other_files_stay(self):
        self.put("c", HOURS)
        name = self.put_list()
        self.shrink("c.qtr", *self.SETTINGS)
        self.assertIn(name, self.names())
        self.assertIn("a.qtr", self.names())

    def test_what_is_no_list_stays(self):
        whole = self.read(self.put_list())
        os.mkdir(self.path(".shrink-folder"))
        before = {name: data for name, data in self.files().items() if not name.startswith(".shrink")}
        for data in (b"", b"end\0", whole[:-1], whole[:-5], whole.replace(b"list/1", b"list/2"), b"\0" * 50, whole.replace(b"new", b"new\0x"),
                     b"qen.trend-shrink-list/1\0" + whole[whole.index(b"old\0"):], whole.replace(str(self.new[0]).encode(), b"nonsense")):
            self.write(".shrink-%s" % TREND, data)
            self.shrink("a.qtr", *self.SETTINGS, "-o", "out")
            self.assertEqual(before, {name: data for name, data in self.files().items() if not name.startswith(".shrink")})
            self.assertEqual(data, self.read(".shrink-%s" % TREND))

    def test_names_of_any_bytes_and_links(self):
        name = b"store/a\nb \xff"
        os.mkdir(self.path("store"))
        for extension in (b".qtr", b".xml"):
            os.rename(self.path(b"a" + extension), self.path(name + extension))
        os.symlink(name + b".qtr", self.path("a.qtr"))
        trend = str(uuid.uuid5(TREND, "a")).encode()
        self.write(".shrink-x", b"qen.trend-shrink-list/1\0" + b"".join(b"new\0%s\0" % str(one).encode() for one in self.new) +
                   b"old\0" + trend + b"\0" + name + b".qtr\0a.qtr\0" + name + b".xml\0\0end\0")
        self.shrink("a.qtr", *self.SETTINGS)
        self.assertEqual([], self.names("store"))
        self.assertEqual(sorted(self.new_names() + ["b.qtr", "b.xml", "store"]), self.names())

    def test_no_list_is_left_behind(self):
        for arguments in (("a.qtr", "b.qtr", "-o", "out"), ("a.qtr", "b.qtr")):
            self.shrink(*arguments, *self.SETTINGS)
            self.assertEqual([], [name for name in self.names() + self.names("out") if name.startswith(".")])

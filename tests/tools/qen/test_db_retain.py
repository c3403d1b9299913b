"""Thinning of a store: the plan, the run, what a run would leave, and why."""

import os
import threading

from db_support import DEVICE, OTHER_DEVICE, StoreTest, every_five_minutes, number_of
from support import time_text
from trend_support import CONFIG, DAY, HOUR, MINUTE, START, TREND, entry, status_of, thin, time_of, trend_file

SETTINGS = "1h:6/h,1d:24/d,7d:4/d,28d:1/d"
COUNTS = (6, 24, 4, 1)
NOW = START + 10 * DAY
AGES = ("up to 1 hour", "1 hour to 1 day", "1 to 7 days", "7 to 28 days", "over 28 days")


def age_of(time, now):
    return sum(now - time >= border for border in (HOUR, DAY, 7 * DAY, 28 * DAY))


class RetainTest(StoreTest):
    def setUp(self):
        super().setUp()
        self.all = every_five_minutes(10 * 288)
        self.init("--settings", SETTINGS)

    def put_weeks(self, device=DEVICE, store="qen.db"):
        """The entries in closed trends of a thousand."""
        for i in range(0, len(self.all), 1000):
            self.write_trend("t%d" % i, self.all[i:i + 1000], trend=number_of(i))
        self.run_tool("db", "put", "--db", "sqlite:" + store, "--device", str(device), *("t%d.qtr" % i for i in range(0, len(self.all), 1000)))

    def thinned(self, now=NOW, pins=()):
        (_, entries), = thin([(0.0, self.all)], COUNTS, now, pins)
        return entries


class Retain(RetainTest):
    def test_the_plan_writes_nothing_and_says_what_a_run_does(self):
        self.put_weeks()
        before = self.contents()
        plan = self.run_tool("db", "retain", "--now", str(NOW), "--json")
        self.assertEqual("qen: nothing was written; --apply does it\n", plan.err)
        self.assertEqual(before, self.contents())
        done = self.run_tool("db", "retain", "--now", str(NOW), "--json", "--apply")
        value, everything = done.objects()
        planned, all_planned = plan.objects()
        self.assertEqual([{**value, "applied": False, "bytes_after": None}, {**everything, "applied": False, "bytes_after": None}],
                         [{**planned, "bytes_after": None}, {**all_planned, "bytes_after": None}])
        self.assertEqual(("qen.db-retain/1", str(DEVICE), str(CONFIG), None),
                         (value["schema"], value["device_uuid"], value["characteristic_value_config_uuid"], value["error"]))
        self.assertEqual((1, 0, NOW), (everything["value_count"], everything["failed_count"], everything["now_us"]))

    def test_progress_shows_on_a_terminal_only(self):
        self.put_weeks()
        self.put_weeks(OTHER_DEVICE)
        now = ("--now", str(NOW))
        for last, arguments in (("[2/2] ", ("retain", *now)), ("[2/2] ", ("retain", "-j", "2", *now)), ("[3/3] ", ("check",)),
                                ("[3/3] ", ("export", "out", "--force")), ("[2/2] ", ("retain", "--apply", *now))):
            with self.subTest(arguments):
                self.assertIn(last, self.shown_on_terminal("db", *arguments))
                self.assertNotRegex(self.shown_on_terminal("db", *arguments, "-q"), r"\[\d/\d\]")
                self.assertNotRegex(self.run_tool("db", *arguments).err, r"\[\d/\d\]")

    def test_peaks_are_kept_when_asked_for(self):
        values = [(i * 389) % 1009 for i in range(len(self.all))]
        self.all = [entry(START + i * 5 * MINUTE, value, 1) for i, value in enumerate(values)]
        self.put_weeks()
        # Days but the last one are thinned by the day, of that all hours but the last one by the hour.
        periods = [range(day * 288, day * 288 + 288) for day in range(9)] + [range(9 * 288 + hour * 12, 9 * 288 + hour * 12 + 12) for hour in range(23)]
        peaks = sorted(extreme(period, key=values.__getitem__) for period in periods for extreme in (min, max))
        arguments = ("--now", str(NOW), "--keep-peaks")
        foretold = self.run_tool("db", "simulate", *arguments, "--value", str(CONFIG), "--json").objects()
        self.run_tool("db", "retain", "--apply", *arguments)
        self.assertEqual(self.thinned(pins=[time_of(self.all[i]) for i in peaks]), self.entries())
        self.assertLessEqual({self.all[i] for i in peaks}, set(self.entries()))
        self.assertEqual(len(self.entries()), foretold[-1]["entries_after"])

    def test_what_remains_is_what_the_rule_says(self):
        self.put_weeks()
        done = self.run_tool("db", "retain", "--now", str(NOW), "--json", "--apply")
        expected = self.thinned()
        self.assertEqual(expected, self.entries())
        value = done.objects()[0]
        self.assertEqual(len(self.all) - len(expected), value["entries_before"] - value["entries_after"])
        self.assertRegex(done.err, r"^qen\.db: \d+ bytes, before \d+\n$")
        self.run_tool("db", "check")
        again = self.run_tool("db", "retain", "--now", str(NOW), "--json", "--apply").objects()[0]
        self.assertEqual((0, 0, 0), (again["trends_before"], again["entries_before"], again["bytes_before"]))
        self.assertEqual(expected, self.entries())

    def test_values_and_bookmarks_are_kept_in_preference(self):
        self.put_weeks()
        pins = [time_of(self.all[i]) for i in (17, 18, 300, 2001)]
        self.write("v.csv", "time,value\n" + "".join("%s,1\n" % time_text(time) for time in pins[:2]))
        self.run_tool("db", "put", "--values", "v.csv", "--config", str(CONFIG))
        self.run_tool("db", "put", "--bookmark", str(pins[2]), "--bookmark", str(pins[3]), "--value", str(CONFIG))
        self.run_tool("db", "retain", "--now", str(NOW), "--apply")
        self.assertEqual(self.thinned(pins=pins), self.entries())
        self.assertLessEqual(set(pins), {time_of(e) for e in self.entries()})

    def test_open_trends_and_devices_without_settings_stay(self):
        self.put_weeks(OTHER_DEVICE)
        self.write_trend("open", self.all[:50], trend=number_of(7))
        self.run_tool("db", "put", "open.qtr", "--open", "--device", str(DEVICE))
        before = self.contents()["trend"]
        self.run_tool("db", "retain", "--now", str(NOW), "--apply")
        self.assertEqual(before, self.contents()["trend"])

    def test_a_value_that_fails_is_reported_and_the_others_are_thinned(self):
        self.put_weeks()
        bad = number_of(500)
        self.write_trend("bad", self.all[:600], trend=number_of(501), config=bad)
        self.run_tool("db", "put", "bad.qtr")
        (data,), = self.rows("SELECT data FROM trend WHERE value_uuid = ?", bad.bytes)
        self.change("UPDATE trend SET data = ? WHERE value_uuid = ?", data[:-9], bad.bytes)
        done = self.run_tool("db", "retain", "--now", str(NOW), "--json", "--apply", code=4)
        good, failed, everything = done.objects()
        self.assertRegex(done.err, "^qen: device %s, value %s: .+\n" % (DEVICE, bad))
        self.assertEqual((None, True, 2, 1), (good["error"], bool(failed["error"]), everything["value_count"], everything["failed_count"]))
        self.assertEqual(self.thinned(), self.entries())
        self.assertEqual([(data[:-9],)], self.rows("SELECT data FROM trend WHERE value_uuid = ?", bad.bytes))

    def test_a_plan_for_a_value_that_cannot_be_read_is_reported_and_the_others_are_planned(self):
        self.put_weeks()
        bad = number_of(500)
        self.write_trend("bad", self.all[:600], trend=number_of(501), config=bad)
        self.run_tool("db", "put", "bad.qtr")
        self.loosen("trend")
        self.change("UPDATE trend SET data = 'text' WHERE value_uuid = ?", bad.bytes)
        for arguments in ((), ("--apply",)):
            done = self.run_tool("db", "retain", "--now", str(NOW), "--json", *arguments, code=4)
            good, failed, _ = done.objects()
            self.assertEqual("qen: device %s, value %s: find trend: column 14 holds a value of a wrong kind" % (DEVICE, bad),
                             done.err.splitlines()[0])
            self.assertEqual((None, "find trend: column 14 holds a value of a wrong kind"), (good["error"], failed["error"]))
            self.assertGreater(good["entries_before"], good["entries_after"])

    def test_several_devices_at_a_time_and_one_alone(self):
        self.put_weeks()
        self.init("--settings", SETTINGS, device=OTHER_DEVICE)
        self.put_weeks(OTHER_DEVICE)
        self.run_tool("db", "retain", "--now", str(NOW), "--apply", "--device", str(OTHER_DEVICE))
        self.assertEqual((self.all, self.thinned()), (self.entries(), self.entries(device=OTHER_DEVICE)))
        lines = self.run_tool("db", "retain", "--now", str(NOW), "--apply", "-j", "3").lines()
        self.assertEqual(["device %s" % DEVICE, "device %s" % OTHER_DEVICE], [line for line in lines if line.startswith("device")])
        self.assertEqual(self.thinned(), self.entries())

    def test_limits_that_leave_no_room(self):
        self.fails(2, "--max-size 0 leaves no room for entries", "db", "retain", "--max-size", "0")
        self.fails(2, "4294967296 is more than 4294967295", "db", "retain", "--max-days", "4294967296")
        self.fails(2, "-j 0 leaves nobody to work", "db", "retain", "-j", "0")
        self.put_weeks()
        self.run_tool("db", "retain", "--now", str(NOW), "--apply", "--max-size", "10")
        self.assertEqual(self.thinned(), self.entries())
        self.assertLessEqual(max(n for n, in self.rows("SELECT entry_count FROM trend WHERE last_time < ?", START + DAY)), 10)


class Simulate(RetainTest):
    def test_ages_before_and_after_a_run(self):
        self.put_weeks()
        before = self.contents()
        value, everything = self.run_tool("db", "simulate", "--now", str(NOW), "--json").objects()
        self.assertEqual(before, self.contents())
        for name, entries in (("before", self.all), ("after", self.thinned())):
            counts = [sum(age_of(time_of(e), NOW) == age for e in entries) for age in range(5)]
            self.assertEqual(list(zip(AGES, counts)), [(c["age"], c["entries_" + name]) for c in value["classes"]])
            self.assertEqual([32 * n for n in counts], [c["bytes_" + name] for c in value["classes"]])
            self.assertEqual(len(entries), everything["entries_" + name])
        self.assertEqual((1, NOW, 3), (everything["runs"], everything["now_us"], everything["trends_before"]))
        self.run_tool("db", "retain", "--now", str(NOW), "--apply")
        self.assertEqual(value["trends_after"], self.rows("SELECT COUNT(*) FROM trend")[0][0])

    def test_many_runs_are_those_that_really_run(self):
        self.put_weeks()
        arguments = ("--from", str(START + 9 * DAY), "--every", "1d", "--now", str(START + 14 * DAY))
        everything = self.run_tool("db", "simulate", *arguments, "--json").objects()[-1]
        self.assertEqual(6, everything["runs"])
        for day in range(9, 15):
            self.run_tool("db", "retain", "--now", str(START + day * DAY), "--apply", "-q")
        self.assertEqual(len(self.entries()), everything["entries_after"])
        counts = [sum(age_of(time_of(e), START + 14 * DAY) == age for e in self.entries()) for age in range(5)]
        self.assertEqual(counts, [c["entries_after"] for c in everything["classes"]])

    def test_wrong_use(self):
        self.fails(2, "--from is the first of several runs: --every says how often", "db", "simulate", "--from", "7")
        self.fails(2, "--every is too often: more than 1000000 runs", "db", "simulate", "--from", "0", "--now", str(NOW), "--every", "1s")

    def test_runs_that_begin_later_than_they_end(self):
        self.fails(2, "--every runs from the present on, which is later than --now: --from names an earlier time", "db", "simulate", "--now",
                   "2020-01-01", "--every", "1h")
        self.fails(2, "--from is later than --now", "db", "simulate", "--now", "2020-01-01", "--from", "2020-01-01T00:00:01Z", "--every", "1h")
        self.put_weeks()
        arguments = ("--now", str(NOW), "--from", str(NOW), "--every", "1h", "--json")
        self.assertEqual(1, self.run_tool("db", "simulate", *arguments).objects()[-1]["runs"])

    def test_a_value_that_no_device_has_trends_of(self):
        self.put_weeks()
        self.init(device=OTHER_DEVICE)
        self.fails(3, "qen.db holds no trend of the characteristic value %s" % TREND, "db", "simulate", "--value", str(TREND))
        self.fails(3, "qen.db holds no trend of the characteristic value %s" % CONFIG, "db", "simulate", "--value", str(CONFIG), "--device",
                   str(OTHER_DEVICE))
        done = self.run_tool("db", "simulate", "--value", str(CONFIG), "--now", str(NOW), "--json").objects()
        self.assertEqual([str(DEVICE), None], [o["device_uuid"] for o in done])


class Why(RetainTest):
    def test_every_entry_has_a_reason_that_comes_true(self):
        self.put_weeks()
        pin = time_of(self.all[400])
        self.run_tool("db", "put", "--bookmark", str(pin), "--value", str(CONFIG))
        objects = self.run_tool("db", "why", str(CONFIG), "--now", str(NOW), "--json").objects()
        self.assertEqual([time_of(e) for e in self.all], [o["time_us"] for o in objects])
        kept = {time_of(e) for e in self.thinned(pins=[pin])}
        self.assertEqual(kept, {o["time_us"] for o in objects if o["kept"]})
        by_time = {o["time_us"]: o for o in objects}
        self.assertEqual("pinned", by_time[pin]["reason"])
        self.assertEqual({"pinned", "nearest", "dropped", "too_young"}, {o["reason"] for o in objects})
        for one in objects:
            self.assertEqual(one["reason"] == "dropped", one["in_favour_of"] is not None)
            if one["in_favour_of"]:
                other = by_time[one["in_favour_of"]["time_us"]]
                self.assertEqual((True, one["status"]), (other["kept"], other["status"]))
                self.assertLess(abs(other["time_us"] - one["time_us"]), DAY // 4)

    def test_as_a_table_of_a_time(self):
        self.put_weeks()
        self.run_tool("db", "retain", "--now", str(NOW), "--apply")
        kept = [e for e in self.thinned() if time_of(e) < START + DAY]
        done = self.run_tool("db", "why", str(CONFIG), "--now", str(NOW), "--to", str(START + DAY - 1))
        self.assertEqual([[time_text(time_of(e)), str(status_of(e)), "kept", "thinned before"] for e in kept],
                         [[w[0], w[2], w[3], " ".join(w[4:])] for w in (line.split() for line in done.lines()[1:])])
        n = len(kept)
        self.assertEqual("%d entries: %d kept, 0 gone\n" % (n, n), done.err)

    def test_what_an_open_trend_keeps_waiting_is_said_by_why_and_retain(self):
        self.put_weeks()
        since = START + 2 * DAY + 91 * MINUTE
        self.write_trend("open", [entry(since), entry(since + HOUR)], trend=number_of(7))
        self.run_tool("db", "put", "open.qtr", "--open")
        by_time = {o["time_us"]: o["reason"] for o in self.run_tool("db", "why", str(CONFIG), "--now", str(NOW), "--json").objects()
                   if o["reason"] not in ("dropped", "nearest")}
        # From the day on in which the open trend begins; the last hours are too young in any case.
        waits = {time_of(e) for e in self.all if START + 2 * DAY <= time_of(e) < NOW - HOUR}
        self.assertEqual(waits, {time for time, reason in by_time.items() if reason == "awaits_open"})
        self.assertEqual({"awaits_open", "open_trend", "too_young"}, set(by_time.values()))
        self.assertIn("kept  waits for an open trend", self.run_tool("db", "why", str(CONFIG), "--now", str(NOW)).lines()[-20])
        note = ("qen: device %s, value %s: closed trends that have come of age wait for the open trend that begins at %s"
                % (DEVICE, CONFIG, time_text(since)))
        for arguments in ((), ("--apply",), ("--apply",)):
            self.assertEqual(note, self.run_tool("db", "retain", "--now", str(NOW), *arguments).err.splitlines()[0])
        first, _ = self.run_tool("db", "retain", "--now", str(NOW), "--json").objects()
        self.assertEqual((time_text(since), since), (first["awaited_from"], first["awaited_from_us"]))

    def test_an_open_trend_behind_all_others_is_no_news(self):
        self.put_weeks()
        self.write_trend("open", [entry(START + 10 * DAY - MINUTE)], trend=number_of(7))
        self.run_tool("db", "put", "open.qtr", "--open")
        done = self.run_tool("db", "retain", "--now", str(NOW + 30 * DAY), "--json")
        self.assertEqual(("qen: nothing was written; --apply does it\n", None), (done.err, done.objects()[0]["awaited_from"]))

    def test_what_is_not_there(self):
        self.fails(3, "device %s has no trend of the characteristic value %s" % (DEVICE, TREND), "db", "why", str(TREND))
        self.fails(2, '"rms" is no UUID', "db", "why", "rms")


class TwoAtOnce(RetainTest):
    def test_nothing_is_lost_or_doubled_by_others_at_work(self):
        """Two processes thin a device each while a third stores trends of both; a ledger of the entries says what must be there."""
        devices = (DEVICE, OTHER_DEVICE)
        self.init("--settings", "1h:6/h", device=OTHER_DEVICE)
        self.init("--settings", "1h:6/h")
        self.put_weeks(DEVICE)
        self.put_weeks(OTHER_DEVICE)
        late = {}
        names = []
        for i in range(6):
            late[i] = [entry(NOW + i * HOUR + m * MINUTE, i + m / 64) for m in range(0, 60, 5)]  # too young to go
            self.write_trend("late%d" % i, late[i], trend=number_of(9000 + i))
            names.append("late%d.qtr" % i)
        failures = []

        def work(*arguments):
            process = self.start("db", *arguments)
            _, err = process.communicate()
            if process.returncode != 0:
                failures.append((arguments, process.returncode, err))

        def store():
            for name in names:
                for device in devices:
                    work("put", name, "--device", str(device))

        def retain(device):
            for day in (3, 6, 10):
                work("retain", "--apply", "--now", str(START + day * DAY), "--device", str(device))

        workers = [threading.Thread(target=store)] + [threading.Thread(target=retain, args=(device,)) for device in devices]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        self.assertEqual([], failures)
        expected = self.all
        for day in (3, 6, 10):
            (_, expected), = thin([(0.0, expected)], (6, 0, 0, 0), START + day * DAY)
        for device in devices:
            self.assertEqual(expected + [e for i in range(6) for e in late[i]], self.entries(device=device))
        self.run_tool("db", "check")

"""The whole way of trends on real recordings: two tables in a folder that the environment names."""

import calendar
import os
import sys
import time
import unittest

from support import ToolTest
from trend_support import DAY, ENTRY, HOUR, MINUTE, SECOND, entry, parse_trend, thin, time_of

FOLDER = os.environ.get("QEN_RECORDINGS", "")
VIBRATION = os.path.join(FOLDER, "trend_plant_vibration_rms.csv")
TEMPERATURE = os.path.join(FOLDER, "trend_machine_temperature.csv")
THERE = os.path.exists(VIBRATION) and os.path.exists(TEMPERATURE)

if not THERE:
    print("test_trend_recordings: no trends in QEN_RECORDINGS=%r: the tests on real trends are left out" % FOLDER, file=sys.stderr)


def rows(path):
    with open(path) as file:
        return [line.rstrip("\n").split(",") for line in file][1:]


def vibration():
    """Entries in time order, of equal times in the order of the rows."""
    return sorted((entry(int(t), float(v)) for t, v in rows(VIBRATION)), key=time_of)


def temperature():
    return sorted((entry(calendar.timegm(time.strptime(t, "%Y-%m-%dT%H:%M:%S")) * SECOND, float(v)) for t, v in rows(TEMPERATURE)),
                  key=time_of)


@unittest.skipUnless(THERE, "no recordings")
class TrendRecordings(ToolTest):
    def take(self):
        first = self.run_tool("trend", "import", VIBRATION, "--time-unit", "us", "--unit", "mg", "-o", "v.qtr")
        second = self.run_tool("trend", "import", TEMPERATURE, "--unit", "F", "--compression", "gzip", "-o", "t.qtr")
        return first.err, second.err

    def test_every_row_becomes_an_entry_and_irregularities_are_told(self):
        first, second = self.take()
        self.assertIn("the rows step back in time 3 times: they were sorted", first)
        self.assertIn("2 entries have the time stamp of the one before; all are kept", first)
        self.assertIn("time stamps without a zone are taken as UTC", second)
        self.assertEqual(vibration(), parse_trend(self.read("v.qtr"))["entries"])
        self.assertEqual(temperature(), parse_trend(self.read("t.qtr"))["entries"])
        self.run_tool("trend", "info", "--entries", "v.qtr", "t.qtr")

    def test_tables_come_back_to_the_same_entries(self):
        self.take()
        for name in ("v", "t"):
            self.run_tool("trend", "dump", name + ".qtr", "-o", "back.csv", "--force")
            self.run_tool("trend", "import", "back.csv", "--force")
            self.assertEqual(parse_trend(self.read(name + ".qtr"))["entries"], parse_trend(self.read("back.qtr"))["entries"])

    def test_gaps(self):
        self.take()
        times = [time_of(e) for e in vibration()]
        wanted = [(a, b) for a, b in zip(times, times[1:]) if b - a > 45 * MINUTE]
        got = self.run_tool("trend", "gaps", "--longer-than", "45min", "--json", "v.qtr").objects()
        self.assertEqual(wanted, [(g["from_us"], g["to_us"]) for g in got])
        self.assertEqual(119.6, round(max(g["gap_us"] for g in got) / HOUR, 1))

    def test_deleting_a_day(self):
        self.take()
        day = 1700000000 * SECOND // DAY * DAY
        self.run_tool("trend", "delete", "v.qtr", "--from", str(day), "--to", str(day + DAY - 1), "-o", "d.qtr")
        self.assertEqual([e for e in vibration() if not day <= time_of(e) < day + DAY], parse_trend(self.read("d.qtr"))["entries"])

    def test_thinning_a_year_as_the_model_says(self):
        self.take()
        for entries, name, ratio in ((vibration(), "v", 20), (temperature(), "t", 10)):
            now = time_of(entries[-1]) + HOUR // 3
            pins = [time_of(max(entries[i:i + 1000], key=lambda e: ENTRY.unpack(e)[1])) for i in range(0, len(entries), 1000)]
            self.write("pins.csv", "".join("%d\n" % pin for pin in pins))
            o = self.run_tool("trend", "shrink", name + ".qtr", "--settings", "1h:60/h,1d:24/d,7d:4/d,28d:1/d", "--now", str(now), "--pins",
                              "pins.csv", "--time-unit", "us", "-o", "out", "--apply", "--json").objects()[0]
            thinned = parse_trend(self.read(o["results"][0]["file"]))["entries"]
            self.assertEqual(thin([(0.0, entries)], (60, 24, 4, 1), now, pins)[0][1], thinned)
            self.assertLess(ratio * len(thinned), len(entries))

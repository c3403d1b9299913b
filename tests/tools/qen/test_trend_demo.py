import math
import os
import sqlite3

from machine_model import DAMPING, HARMONICS, OUTER_RACE, RESONANCE, random_numbers
from support import ToolTest
from trend_support import ENTRY, MINUTE, SECOND, parse_trend, thin, time_of, trend_document

END = 1795197600 * SECOND  # 2026-11-20T18:00:00Z
COUNT = 8 * 7 * 24 * 12


def model(seed):
    """RMS values of eight weeks: harmonics, noise, and strikes that grow with the square of time."""
    random = random_numbers(seed)
    strikes = OUTER_RACE * 3.0**2 / (4 * DAMPING * 2 * math.pi * RESONANCE * (1 + DAMPING**2))
    healthy = 0.1**2 + sum(a * a / 2 for a in HARMONICS)
    for i in range(COUNT):
        yield math.sqrt(healthy + strikes * (i / COUNT) ** 4) * (1 + 0.02 * next(random))


class TrendDemo(ToolTest):
    def test_eight_weeks_follow_the_model_and_are_thinned(self):
        result = self.run_tool("demo", "--keep", "kept", "--seed", "7", "--json")
        entries = []
        for week in range(1, 9):
            data = self.read("kept/trend-%d.qtr" % week)
            self.assertEqual(trend_document(data, "g"), self.read("kept/trend-%d.xml" % week))
            trend = parse_trend(data)
            self.assertEqual((7 * 24 * 12, 2, 0.35), (trend["count"], trend["compression"], trend["limit"]))
            entries += trend["entries"]
        self.assertEqual([END - (COUNT - i) * 5 * MINUTE for i in range(COUNT)], [time_of(e) for e in entries])
        for one, value in zip(entries, model(7)):
            fields = ENTRY.unpack(one)
            self.assertAlmostEqual(value, fields[1], delta=1e-9)
            self.assertEqual(3 if fields[1] >= 0.5 else 2 if fields[1] >= 0.35 else 1, fields[5])
        thinned = parse_trend(self.read("kept/trend-thinned.qtr"))["entries"]
        self.assertEqual(thin([(0.35, entries)], (6, 24, 4, 1), END)[0][1], thinned)
        shown, stored = result.objects()[-2:]
        self.assertEqual(("qen.demo-trend/1", True), (shown["schema"], shown["proved"]))
        self.assertEqual((COUNT, len(thinned)), tuple(sum(c["entries_" + w] for c in shown["classes"]) for w in ("before", "after")))
        # The store has been thinned to the same entries.
        connection = sqlite3.connect(self.path("kept/store.db").decode())
        rows = connection.execute("SELECT closed, details, data FROM trend").fetchall()
        connection.close()
        kept = sorted((e for _, _, data in rows for e in parse_trend(data)["entries"]), key=time_of)
        self.assertEqual(thinned, kept)
        self.assertEqual({1}, {closed for closed, _, _ in rows})
        self.assertTrue(all(details == trend_document(data, "g") for _, details, data in rows))
        self.assertEqual({"schema": "qen.demo-store/1", "entries_before": COUNT, "entries_after": len(thinned),
                          "bytes_before": sum(len(self.read("kept/trend-%d.%s" % (w, e))) for w in range(1, 9) for e in ("qtr", "xml")),
                          "bytes_after": sum(len(details) + len(data) for _, details, data in rows), "proved": True, "problem": None}, stored)

    def test_the_last_hour_remains_whole(self):
        lines = self.run_tool("demo").lines()
        self.assertIn("  up to 1 hour     all                      11         11          352          352", lines)
        self.assertEqual("proved: every entry that remains is as it was recorded, and all of the last hour remain", lines[-3])
        self.assertRegex(lines[-2], "^the same weeks in a store, thinned by one run: 16128 entries in [0-9]+ bytes before, [0-9]+ in [0-9]+ after$")
        self.assertEqual("proved: the store keeps the same entries, and all of its rows and checksums are good", lines[-1])

    def test_a_store_that_exists_is_not_replaced_without_force(self):
        self.run_tool("demo", "--keep", "kept", "-q")
        for name in self.names("kept"):
            if name != "store.db":
                os.remove(self.path("kept/" + name))
        result = self.run_tool("demo", "--keep", "kept", code=5)
        self.assertEqual("qen: kept/store.db not written: the file exists, --force replaces it\n", result.err)
        self.run_tool("demo", "--keep", "kept", "--force")

"""Commands on stores that are killed at any moment, and what they leave. Both the suite and the soak use it."""

import os
import random
import shutil
import signal
import time

from db_support import DEVICE, StoreTest, every_five_minutes, number_of
from trend_support import DAY, START, parse_trend

DAYS = 4
NOW = START + DAYS * DAY
FILES = 300


class KilledTest(StoreTest):
    """Needs `lives`: how often a command is killed."""

    def restore(self, files):
        """Makes the store what it was."""
        for name in ("qen.db", "qen.db-wal", "qen.db-shm"):
            if os.path.exists(self.path(name)):
                os.remove(self.path(name))
            if name in files:
                self.write(name, files[name])

    def store_files(self):
        return {name: self.read(name) for name in self.names() if name.startswith("qen.db")}

    def kill_at_random(self, command, before, check):
        """Runs the command again and again from the same beginning, each time killed at another moment; `check` looks at what is left,
        the same command then does the rest and `check` is told so. Returns how many runs were cut off."""
        moments = random.Random(len(command))
        self.restore(before)
        start = time.monotonic()
        self.run_tool(*command)
        duration = time.monotonic() - start
        killed = 0
        for life in range(self.lives):
            self.restore(before)
            process = self.start(*command)
            time.sleep(moments.uniform(0, 1.05 * duration))
            process.send_signal(signal.SIGKILL)
            process.communicate()
            killed += process.returncode == -signal.SIGKILL
            with self.subTest(life=life):
                if os.path.exists(self.path("qen.db")):
                    check(False)
                if life % 3 == 0:
                    self.run_tool("db", "check", "-q")
                self.run_tool(*command)
                check(True)
        self.run_tool("db", "check", "-q")
        self.assertGreater(killed, self.lives // 3)
        return killed

    def check_put(self):
        for i in range(0, FILES, 2):
            self.write_signal("in/s%d" % i, [i % 100] * 20, with_document=False, measurement=number_of(i))
            self.write_trend("in/t%d" % i, every_five_minutes(3, START + i * DAY), with_document=False, trend=number_of(i + 1))
        records = {number_of(i).bytes: self.read("in/s%d.qts" % i) for i in range(0, FILES, 2)}
        records.update({number_of(i + 1).bytes: self.read("in/t%d.qtr" % i) for i in range(0, FILES, 2)})
        self.init()
        before = self.store_files()
        sizes = set()

        def check(done):
            rows = self.rows("SELECT measurement_uuid, data FROM measurement UNION ALL SELECT trend_uuid, data FROM trend")
            self.assertEqual(len(rows), len(dict(rows)))
            self.assertLessEqual(dict(rows).items(), records.items())
            sizes.add(len(rows))
            self.assertIn(len(rows), (FILES,) if done else (0, 256, FILES))  # a transaction is there as a whole
            if done:
                self.assertEqual(records, dict(rows))

        self.kill_at_random(("db", "put", "in"), before, check)
        return sizes

    def check_retain(self):
        values = [number_of(1000 + i) for i in range(4)]
        self.init("--settings", "1h:6/h,1d:24/d")
        for n, value in enumerate(values):
            entries = every_five_minutes(DAYS * 288)
            for part in range(3):
                self.write_trend("in/%d-%d" % (n, part), entries[part * 384:(part + 1) * 384], config=value,
                                 trend=number_of(2000 + 10 * n + part), with_document=False)
        self.run_tool("db", "put", "in")
        before = self.store_files()
        command = ("db", "retain", "--apply", "--now", str(NOW))
        old = {value: self.entries(value) for value in values}
        self.run_tool(*command)
        new = {value: self.entries(value) for value in values}
        self.assertTrue(all(len(new[value]) < len(old[value]) // 3 for value in values))
        counts = set()

        def check(done):
            now = {value: self.entries(value) for value in values}
            for value in values:
                self.assertIn(now[value], (new[value],) if done else (old[value], new[value]))
            counts.add(sum(now[value] == new[value] for value in values))
            # How far a value has been thinned is noted together with its trends.
            thinned = {row[0] for row in self.rows("SELECT value_uuid FROM retention WHERE anchor IS NOT NULL")}
            self.assertEqual({value.bytes for value in values if now[value] == new[value]}, thinned)

        self.kill_at_random(command, before, check)
        return counts

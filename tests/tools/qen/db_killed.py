"""Commands on stores that are killed at any moment, and what they leave. Both the suite and the soak use it."""

import itertools
import os
import random
import signal
import subprocess
import time

from db_support import DEVICE, StoreTest, every_five_minutes, number_of
from postgres_server import PostgresServer
from trend_support import DAY, START, parse_trend, time_of

DAYS = 4
NOW = START + DAYS * DAY
FILES = 300


class SqliteEngine:
    """The store as a file in the test's folder."""

    def __init__(self, test):
        self.test = test

    def names(self):
        return [name for name in self.test.names() if name.startswith("qen.db")]

    def keep(self):
        """Takes note of the store as it is, for `restore`."""
        self.kept = {name: self.test.read(name) for name in self.names()}

    def restore(self):
        for name in self.names():
            os.remove(self.test.path(name))
        for name, data in self.kept.items():
            self.test.write(name, data)

    def rows(self, sql):
        return StoreTest.rows(self.test, sql)


class PostgresEngine:
    """The store as a database of the tests' own server."""

    server = None

    def __init__(self, test):
        if not PostgresEngine.server:
            PostgresEngine.server = PostgresServer()
        self.run("DROP DATABASE IF EXISTS work", "DROP DATABASE IF EXISTS kept", "CREATE DATABASE work")
        test.set_variable("QEN_DB", self.server.url("work"))

    def run(self, *statements):
        return self.server.run("postgres", *statements)

    def wait_for_the_end(self):
        """The server goes on for a moment when its client is killed, and may still commit."""
        while self.run("SELECT COUNT(*) FROM pg_stat_activity WHERE datname = 'work'") != [(0,)]:
            time.sleep(0.01)

    def keep(self):
        self.wait_for_the_end()
        self.run("CREATE DATABASE kept TEMPLATE work")

    def restore(self):
        self.wait_for_the_end()
        self.run("DROP DATABASE work", "CREATE DATABASE work TEMPLATE kept")

    def rows(self, sql):
        self.wait_for_the_end()
        return self.server.run("work", sql)


class KilledTest(StoreTest):
    """Needs `lives`, how often a command is killed, and `make_engine`, one of the classes above."""

    def setUp(self):
        super().setUp()
        self.engine = self.make_engine(self)

    def rows(self, sql):
        return self.engine.rows(sql)

    def set_variable(self, name, value):
        os.environ[name] = value
        self.addCleanup(os.environ.pop, name)

    def init(self, *arguments):
        self.run_tool("db", "init", "--device", str(DEVICE), *arguments)

    def entries(self, value):
        """The entries of a characteristic value's trends, each checked as a file is, oldest first."""
        found = (parse_trend(data)["entries"] for config, data in self.rows("SELECT value_uuid, data FROM trend") if config == value.bytes)
        return sorted((e for entries in found for e in entries), key=lambda e: (time_of(e), e))

    def kill_at_random(self, command, check):
        """Runs the command again and again from the same beginning until it was killed `lives` times, each time at another moment; `check`
        looks at what is left, the same command then does the rest and `check` is told so."""
        moments = random.Random(len(command))
        duration = self.seconds(command)
        killed = 0
        for life in itertools.count():
            if killed == self.lives:
                break
            self.assertLess(life, 5 * self.lives, "the command ends before it is killed")
            self.engine.restore()
            process = self.start(*command)
            start = time.monotonic()
            try:
                process.communicate(timeout=moments.uniform(0, 1.05 * duration))
                duration = time.monotonic() - start
            except subprocess.TimeoutExpired:
                process.send_signal(signal.SIGKILL)
                process.communicate()
            killed += process.returncode == -signal.SIGKILL
            with self.subTest(life=life):
                check(False)
                if life % 3 == 0:
                    self.run_tool("db", "check", "-q")
                self.run_tool(*command)
                check(True)
        self.run_tool("db", "check", "-q")

    def seconds(self, command):
        """How long the command takes when nobody kills it."""
        self.engine.restore()
        start = time.monotonic()
        self.run_tool(*command)
        return time.monotonic() - start

    def make_records(self):
        """Files for a store, and their bytes by their UUIDs."""
        for i in range(0, FILES, 2):
            self.write_signal("in/s%d" % i, [i % 100] * 20, with_document=False, measurement=number_of(i))
            self.write_trend("in/t%d" % i, every_five_minutes(3, START + i * DAY), with_document=False, trend=number_of(i + 1))
        records = {number_of(i).bytes: self.read("in/s%d.qts" % i) for i in range(0, FILES, 2)}
        return {**records, **{number_of(i + 1).bytes: self.read("in/t%d.qtr" % i) for i in range(0, FILES, 2)}}

    def check_records(self, records, sizes):
        """Looks whether the store holds so many of the records. @return how many"""
        rows = self.rows("SELECT measurement_uuid, data FROM measurement UNION ALL SELECT trend_uuid, data FROM trend")
        self.assertEqual(len(rows), len(dict(rows)))
        self.assertLessEqual(dict(rows).items(), records.items())
        self.assertIn(len(rows), sizes)
        return len(rows)

    def check_put(self):
        records = self.make_records()
        self.init()
        self.engine.keep()
        sizes = set()

        def check(done):  # a transaction is there as a whole
            sizes.add(self.check_records(records, (FILES,) if done else (0, 256, FILES)))

        self.kill_at_random(("db", "put", "in"), check)
        return sizes

    def check_that_half_a_transaction_is_noticed(self):
        records = self.make_records()
        self.init()
        self.run_tool("db", "put", *("in/s%d.qts" % i for i in range(0, FILES, 2)))
        with self.assertRaises(AssertionError):
            self.check_records(records, (0, 256, FILES))
        self.assertEqual(FILES // 2, self.check_records(records, (FILES // 2,)))

    def check_retain(self):
        values = [number_of(1000 + i) for i in range(4)]
        self.init("--settings", "1h:6/h,1d:24/d")
        for n, value in enumerate(values):
            entries = every_five_minutes(DAYS * 288)
            for part in range(3):
                self.write_trend("in/%d-%d" % (n, part), entries[part * 384:(part + 1) * 384], config=value,
                                 trend=number_of(2000 + 10 * n + part), with_document=False)
        self.run_tool("db", "put", "in")
        self.engine.keep()
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

        self.kill_at_random(command, check)
        return counts

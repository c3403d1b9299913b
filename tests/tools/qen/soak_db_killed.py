#!/usr/bin/env python3
"""Kills qen db put and qen db retain 300 times each on SQLite and 50 times each on PostgreSQL. Not part of the suite.

Usage: QEN_COMMAND=path/to/qen soak_db_killed.py
"""

import sys
import unittest

from db_killed import KilledTest, PostgresEngine, SqliteEngine


class Soak(KilledTest):
    lives = 300
    make_engine = SqliteEngine

    def tell(self, found):
        print("killed %d times; transactions found: %s" % (self.lives, sorted(found)), file=sys.stderr)

    def test_put(self):
        sizes = self.check_put()
        self.tell(sizes)
        self.assertLess({0, 256}, sizes)

    def test_retain(self):
        counts = self.check_retain()
        self.tell(counts)
        self.assertLess({0, 4}, counts)


class SoakOnPostgres(Soak):
    lives = 50
    make_engine = PostgresEngine


if __name__ == "__main__":
    unittest.main(verbosity=2)

#!/usr/bin/env python3
"""Kills qen db put and qen db retain 300 times each. Not part of the suite.

Usage: QEN_COMMAND=path/to/qen soak_db_killed.py
"""

import unittest

from db_killed import KilledTest


class Soak(KilledTest):
    lives = 300

    def test_put(self):
        sizes = self.check_put()
        self.assertLess({0, 256}, sizes)

    def test_retain(self):
        counts = self.check_retain()
        self.assertLess({0, 4}, counts)


if __name__ == "__main__":
    unittest.main(verbosity=2)

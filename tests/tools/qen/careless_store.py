"""Adds three bookmarks to a store, two of them in one transaction, as one should not. The tests of failing disks, killed processes
and lost power run it to show that they would notice such a fault in the tool.

Usage: careless_store.py MANNER
  good       as a store is written: with a log, synchronised, errors are told
  unsynced   like good, without bringing anything to the disk
  apart      like good, but each row is a transaction of its own
  unlogged   changes the file in place, without a log or a journal
  deaf       like good, but takes no notice of errors
"""

import sqlite3
import sys
import uuid

DEVICE = uuid.UUID("d1d00000-0000-4000-8000-000000000001").bytes
TRANSACTIONS = ((1, 2), (3,))


def write(manner):
    connection = sqlite3.connect("qen.db", isolation_level=None)
    connection.execute("PRAGMA journal_mode = %s" % ("OFF" if manner == "unlogged" else "WAL"))
    connection.execute("PRAGMA synchronous = %s" % ("OFF" if manner == "unsynced" else "FULL"))
    for times in TRANSACTIONS if manner != "apart" else ((1,), (2,), (3,)):
        try:
            connection.execute("BEGIN IMMEDIATE")
            for time in times:
                connection.execute("INSERT OR IGNORE INTO bookmark VALUES (?, ?, ?)", (DEVICE, bytes(16), time))
            connection.execute("COMMIT")
        except sqlite3.Error:
            if manner != "deaf":
                raise
            if connection.in_transaction:
                connection.execute("ROLLBACK")
    connection.close()


try:
    write(sys.argv[1])
except sqlite3.Error as error:
    sys.exit("qen: qen.db: %s" % error if sys.argv[1] != "deaf" else 0)

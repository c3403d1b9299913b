"""What the tests of stores share: their files looked at with another reader, and what they are filled with."""

import os
import sqlite3
import uuid

from support import ToolTest, document, signal_of
from trend_support import CONFIG, MINUTE, START, entry, trend_document, trend_file

DEVICE = uuid.UUID("d1d00000-0000-4000-8000-000000000001")
OTHER_DEVICE = uuid.UUID("d1d00000-0000-4000-8000-000000000002")
TABLES = ("device", "measurement", "trend", "characteristic_value", "bookmark", "retention")


def number_of(i):
    """A UUID for each number."""
    return uuid.UUID("e0000000-0000-4000-8000-%012x" % i)


def every_five_minutes(count, start=START):
    """Entries with two status classes and values that are all different."""
    return [entry(start + i * 5 * MINUTE, 1 + i / 1024, 3 if i % 50 == 7 else 1) for i in range(count)]


class StoreTest(ToolTest):
    def setUp(self):
        super().setUp()
        for name in ("QEN_DB", "QEN_DEVICE"):
            os.environ.pop(name, None)

    def write_signal(self, name, values, with_document=True, **header):
        data = signal_of("int16", values, **header)
        self.write(name + ".qts", data)
        if with_document:
            self.write(name + ".xml", document(data))
        return data

    def write_trend(self, name, entries, unit="mm/s", with_document=True, **header):
        data = trend_file(entries, **{"compression": "zlib", **header})
        self.write(name + ".qtr", data)
        if with_document:
            self.write(name + ".xml", trend_document(data, unit))
        return data

    def init(self, *arguments, device=DEVICE, store="qen.db"):
        self.run_tool("db", "init", "--db", "sqlite:" + store, "--device", str(device), *arguments)

    def rows(self, sql, *parameters, store="qen.db"):
        connection = sqlite3.connect(self.path(store).decode())
        try:
            return connection.execute(sql, parameters).fetchall()
        finally:
            connection.close()

    def change(self, sql, *parameters, store="qen.db"):
        connection = sqlite3.connect(self.path(store).decode())
        try:
            with connection:
                return connection.execute(sql, parameters).rowcount
        finally:
            connection.close()

    def loosen(self, *tables, store="qen.db"):
        """Makes the tables ones that take values of any kind, as those of an attacker may."""
        connection = sqlite3.connect(self.path(store).decode())
        connection.execute("PRAGMA writable_schema = ON")
        for table in tables:
            connection.execute("UPDATE sqlite_schema SET sql = replace(sql, ') STRICT', ')') WHERE name = ?", (table,))
        connection.commit()
        connection.close()

    def contents(self, store="qen.db"):
        """Every row of every table, with the types of its values."""
        return {table: sorted(repr(row) for row in self.rows("SELECT * FROM " + table, store=store)) for table in TABLES}

    def entries(self, value=CONFIG, device=DEVICE, store="qen.db"):
        """The entries of a characteristic value's trends, each checked as a file is, oldest first."""
        from trend_support import parse_trend, time_of
        found = self.rows("SELECT data FROM trend WHERE device_uuid = ? AND value_uuid = ?", device.bytes, value.bytes, store=store)
        return sorted((e for (data,) in found for e in parse_trend(data)["entries"]), key=lambda e: (time_of(e), e))

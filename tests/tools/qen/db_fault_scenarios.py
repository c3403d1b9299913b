"""The commands that write stores, or files from stores, each with small inputs and with the contents that a store may have when such a
command ends at any moment: the stages that its transactions lead through."""

import atexit
import functools
import hashlib
import itertools
import os
import shutil
import sqlite3
import sys
import tempfile
import threading
import uuid

from db_support import DEVICE, TABLES, every_five_minutes, number_of
from faults import Scenario, is_temporary
from support import Details, archive_form, document, signal_of, time_text
from trend_support import DAY, HOUR, START, parse_trend, trend_document, trend_file

VALUES = [uuid.UUID("7c000000-0000-4000-8000-00000000000%d" % i) for i in range(3)]
NOW = START + 60 * DAY
SETTINGS = ("--settings", "28d:2/d")
# So many rows are one transaction.
BATCH = 256
CSV_ROWS = BATCH + 4
# What SQLite shares between processes: what it holds means nothing to the first one that opens the store.
SHARED = "qen.db-shm"


def is_of_store(name):
    return name.startswith("qen.db")


def signal_files(name, values, number, unit="g"):
    data = signal_of("int16", values, measurement=number_of(number))
    return {name + ".qts": data, name + ".xml": document(data, Details(unit))}


def trend_files(name, entries, number, value):
    data = trend_file(entries, "zlib", trend=number_of(number), config=value)
    return {name + ".qtr": data, name + ".xml": trend_document(data, "mm/s")}


def table_of(count):
    return "time,value\n" + "".join("%s,%d.5\n" % (time_text(START + i * HOUR), i) for i in range(count))


A = signal_files("in/a", [1, 2, 3], 1)
B = signal_files("in/b", range(2500), 2)  # more than a page
HOURS = every_five_minutes(48)
TRENDS = {**trend_files("in/p", HOURS[:24], 11, VALUES[0]), **trend_files("in/q", HOURS[24:], 12, VALUES[0]),
          **trend_files("in/r", HOURS, 13, VALUES[1])}
NEW = signal_of("int16", [7, 8, 9], measurement=number_of(3))
INPUTS = {**signal_files("in/a", [4, 5, 6, 7], 1), **B, **trend_files("in/s", HOURS[:12], 14, VALUES[2]),
          "in/one.qta": archive_form(NEW, Details("V"), number_of(3))}


def run_tool(files, *commands):
    """What these commands make of these files, one after another."""
    scenario = Scenario(files, *commands[0])
    try:
        for command in commands:
            run = scenario.run_freely(files, command)
            assert run.code == 0, run
            files = run.files
        return files
    finally:
        scenario.close()


@functools.lru_cache(None)
def stores():
    """The stores that the commands begin with, and an export: {name: files}."""
    bare = run_tool({}, ("db", "init", "--device", str(DEVICE), *SETTINGS))
    bare = {"qen.db": bare["qen.db"]}
    filled = run_tool({**bare, **A, **B, **TRENDS, "few.csv": table_of(3).encode()}, ("db", "put", "in"),
                      ("db", "put", "--values", "few.csv", "--config", str(VALUES[0]), "--bookmark", time_text(START + HOUR),
                       "--value", str(VALUES[1])), ("db", "export", "backup"))
    backup = {name: data for name, data in filled.items() if name.startswith("backup/")}
    other = run_tool({**bare, **INPUTS}, ("db", "put", "in", "--settings", "1h:6/h"))
    return {"none": {}, "bare": bare, "filled": {"qen.db": filled["qen.db"]}, "backup": backup, "other": {"qen.db": other["qen.db"]}}


class Reader:
    """Looks at stores with another program; each thread has a folder for it."""

    def __init__(self):
        self.local = threading.local()
        self.known = {}

    def contents(self, files):
        """Every row of every table, {table: rows}; nothing for what is no store yet. Raises when the file is not sound."""
        files = {name: data for name, data in files.items() if is_of_store(name) and name != SHARED}
        key = self.key(files)
        if key not in self.known:
            self.known[key] = self.read(files)
        return self.known[key]

    @staticmethod
    def key(files):
        digest = hashlib.sha1()
        for name, data in sorted(files.items()):
            digest.update(b"%s %d " % (name.encode(), len(data)) + data)
        return digest.digest()

    def read(self, files):
        if not hasattr(self.local, "folder"):
            self.local.folder = tempfile.mkdtemp(prefix="qen-test-")
            atexit.register(shutil.rmtree, self.local.folder)
        folder = self.local.folder
        for name in os.listdir(folder):
            os.remove(os.path.join(folder, name))
        for name, data in files.items():
            with open(os.path.join(folder, name), "wb") as file:
                file.write(data)
        connection = sqlite3.connect(os.path.join(folder, "qen.db"))
        try:
            connection.execute("PRAGMA synchronous = OFF")
            sound = connection.execute("PRAGMA integrity_check").fetchall()
            assert sound == [("ok",)], sound
            tables = {name for name, in connection.execute("SELECT name FROM sqlite_schema WHERE type = 'table'")}
            if not tables:
                return None
            assert tables == {*TABLES, "qen_store"}, tables
            return {table: sorted(connection.execute("SELECT * FROM " + table), key=repr) for table in tables}
        finally:
            connection.close()


READER = Reader()


def without_names(contents):
    """The same with trends told by their entries: thinned ones have new names each time."""
    def entries(row):
        return tuple(parse_trend(row[15])["entries"])

    return contents and {**contents, "trend": sorted((row[0], row[4], row[10], entries(row)) for row in contents["trend"])}


class Case:
    """@param stages  makes, of the contents before and after, the list of contents that may be found; a command without leaves the
    store alone
    @param compared  what of the contents is compared
    @param partial  whether inputs that cannot be read are left out
    @param again  what is added to the same command when it is given again"""

    def __init__(self, name, files, arguments, stages=lambda before, after: [before], compared=lambda contents: contents, partial=False,
                 again=(), command=None):
        self.name, self.make_files, self.arguments, self.again, self.command = name, files, arguments, again, command
        self.make_stages, self.compared, self.partial = stages, compared, partial

    @functools.cached_property
    def files(self):
        return self.make_files(stores())

    def contents(self, files):
        return self.compared(READER.contents(files))

    def stages(self, new):
        """@param new  the files that an undisturbed run leaves"""
        return self.make_stages(self.contents(self.files), self.contents(new))

    def store_problems(self, stages, files, is_done, is_partial=False):
        """What is wrong with the store among these files. `is_done`: it must be what it was meant to be."""
        try:
            found = self.contents(files)
        except (sqlite3.Error, AssertionError) as error:
            return ["the store is not sound: %s" % error]
        if is_done:
            return [] if found == stages[-1] else ["success, but not the result"]
        if found in stages or (is_partial and self.is_mixed(stages[0], found, stages[-1])):
            return []
        return ["no whole number of transactions"]

    @staticmethod
    def is_mixed(before, found, after):
        """Whether each row is an old or a new one, and those that are both are there."""
        def rows(contents):
            return {(table, row) for table in contents or () for row in contents[table]}

        return rows(before) & rows(after) <= rows(found) <= rows(before) | rows(after)

    def file_problems(self, new, files, may_be_mixed=False):
        """What is wrong with the files that an ended run left beside the store."""
        old, new, files = (beside_store(some) for some in (self.files, new, files))
        problems = ["%s is neither old nor new" % name for name in sorted({*old, *new, *files})
                    if files.get(name) not in (old.get(name), new.get(name))]
        for name in sorted(name for name in new if name.endswith(".xml") and not may_be_mixed):
            pair = [one for one in new if one.rpartition(".")[0] == name.rpartition(".")[0]]
            if len({files.get(one) == new[one] for one in pair if old.get(one) != new[one]}) > 1:
                problems.append("of %s one is new" % pair)
        lists = [name for name in new if name.endswith("rows.jsonl") and files.get(name) == new[name] != old.get(name)]
        if lists and files != new:
            problems.append("the list was there before the rest")
        return problems


def beside_store(files):
    return {name: data for name, data in files.items() if not is_of_store(name) and not is_temporary(name) and data is not None}


def careless(manner):
    """A store written by a program that does it in this manner. Its result is three bookmarks, two of them in one transaction."""
    def stages(before, after):
        marks = sorted(after["bookmark"], key=lambda row: row[2])
        return [{**before, "bookmark": marks[:count]} for count in (0, 2, 3)]

    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "careless_store.py")
    return Case(manner, lambda stores: stores["bare"], (manner,), stages, command=[sys.executable, "-I", "-B", script])


EMPTY = {"qen_store": [(1,)], **{table: [] for table in TABLES}}


def made_with_device(_, after):
    """A store is made, then its device noted, which may be all."""
    noted = {**EMPTY, "device": after["device"]}
    return [None, EMPTY, noted] + [after] * (after != noted)


def stored_with_settings(before, after):
    return [before, {**before, "device": after["device"]}, after]


def stored_in_batches(before, after):
    """Values in the order of the table: a whole transaction first."""
    column = "characteristic_value"
    old = [row for row in after[column] if row in before[column]]
    new = sorted((row for row in after[column] if row not in old), key=lambda row: row[2])
    assert len(new) == CSV_ROWS
    return [before, {**before, column: sorted(old + new[:BATCH], key=repr)}, after]


def thinned_by_value(before, after):
    """Each value with what is noted about it; one that fails does not keep the others."""
    def mixed(values):
        def rows(table, column):
            return sorted([row for row in before[table] if row[column] not in values] + [row for row in after[table] if row[column] in values],
                          key=repr if table == "retention" else None)
        return {**before, "trend": rows("trend", 1), "retention": rows("retention", 1)}

    first, second = ({value.bytes} for value in VALUES[:2])
    stages = [before, mixed(first), mixed(second), mixed(first | second)]
    assert stages[-1] == after and all(one != other for one, other in itertools.combinations(stages, 2))
    return stages


CASES = [
    Case("init", lambda stores: {}, ("db", "init", "--device", str(DEVICE), *SETTINGS), made_with_device),
    Case("put", lambda stores: {**stores["filled"], **INPUTS}, ("db", "put", "in", "--settings", "1h:6/h,28d:2/d"), stored_with_settings,
         partial=True),
    Case("put of values", lambda stores: {**stores["filled"], "rms.csv": table_of(CSV_ROWS).encode()},
         ("db", "put", "--values", "rms.csv", "--config", str(VALUES[2]), "--bookmark", time_text(START), "--value", str(VALUES[2])),
         stored_in_batches, partial=True),
    Case("retain", lambda stores: stores["filled"], ("db", "retain", "--apply", "--now", str(NOW)), thinned_by_value, without_names),
    Case("import", lambda stores: stores["backup"], ("db", "import", "backup"), made_with_device, partial=True),
    Case("import into a store", lambda stores: {**stores["other"], **stores["backup"]}, ("db", "import", "backup"), stored_with_settings,
         partial=True),
    Case("export", lambda stores: stores["filled"], ("db", "export", "backup"), again=("--force",)),
    Case("export --force", lambda stores: {**stores["other"], **stores["backup"]}, ("db", "export", "backup", "--force")),
    Case("get", lambda stores: stores["filled"], ("db", "get", str(number_of(2)), "-o", "pump.qts"), again=("--force",)),
    Case("get --force", lambda stores: {**stores["filled"], **trend_files("pump", HOURS[:1], 15, VALUES[0])},
         ("db", "get", str(number_of(13)), "-o", "pump.qtr", "--force")),
]


def case_of(name):
    return next(case for case in CASES if case.name == name)

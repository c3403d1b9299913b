"""The commands that write, each with small inputs and with what it promises: groups of files that change together or not at all."""

import collections
import uuid

from support import Details, Named, archive_form, document, pack, signal_of, wav
from trend_support import DAY, HOUR, START, TREND, entry, parse_trend, thin, trend_document, trend_file

ID = [uuid.UUID("7a000000-0000-4000-8000-00000000000%d" % i) for i in range(10)]
OTHER = "e0000000-0000-4000-8000-000000000099"
NOW = START + 60 * DAY


def signal_files(name, values, details, **header):
    data = signal_of("int16", values, **header)
    return {name + ".qts": data, name + ".xml": document(data, details)}


def trend_files(name, entries, unit="mm/s", **header):
    header.setdefault("trend", uuid.uuid5(TREND, name))
    data = trend_file(entries, "zlib", **header)
    return {name + ".qtr": data, name + ".xml": trend_document(data, unit)}


CSV = {"run.csv": b"1\n2\n3\n"}
WAV = {"rig.wav": wav(16, pack("int16", [1, -2, 3, -4]), channels=2)}
OLD = signal_files("run", [9, 8], Details("old unit"), time=7)
FULL = Details("g", [Named(ID[1], 2.5, "rpm")], Named(ID[2], 3.0, "g"), [Named(ID[3], 0.5, "g")])
PUMP = signal_files("pump", [5, 6, 7], FULL)
TWO = {**PUMP, **signal_files("fan", [1, 2], Details("V"), measurement=ID[4])}
ARCHIVED = [archive_form(PUMP["pump.qts"], FULL), archive_form(TWO["fan.qts"], Details("V"), ID[4])]
ARCHIVE = {"two.qta": b"".join(ARCHIVED)}
TABLE = {"rms.csv": b"time,value [mm/s]\n" + b"".join(b"2026-11-20T0%d:00:00Z,%d.5\n" % (i, i) for i in range(5))}
HOURS = [entry(START + i * HOUR, float(i), 1 + i % 2) for i in range(48)]
TRENDS = {**trend_files("a", HOURS[:24]), **trend_files("b", HOURS[24:])}
# What the settings of SHRINK leave of TRENDS: new trends of three entries each.
THINNED = collections.Counter(e for _, entries in thin([(0.0, HOURS[:24]), (0.0, HOURS[24:])], (0, 0, 0, 2), NOW) for e in entries)
IMPORT = ("--rate", "10", "--unit", "g", "--time", "0", "--measurement", OTHER)
SHRINK = ("trend", "shrink", "--settings", "28d:2/d", "--max-size", "3", "--now", str(NOW), "--apply")


class Case:
    def __init__(self, name, files, *arguments, groups=(), partial=()):
        """`groups`: names of files that change together; `partial`: contents when only some of the inputs could be used."""
        self.name, self.files, self.arguments, self.groups, self.partial = name, files, arguments, groups, list(partial)


def pairs(*names, record=".qts"):
    return [{name + record, name + ".xml"} for name in names]


CASES = [
    Case("import", CSV, "import", "run.csv", *IMPORT, groups=pairs("run")),
    Case("import --force", {**CSV, **OLD}, "import", "run.csv", "--force", *IMPORT, groups=pairs("run")),
    Case("import of two channels", WAV, "import", "rig.wav", "--compression", "zlib", "--time", "0", groups=pairs("rig-1", "rig-2")),
    Case("convert", PUMP, "convert", "pump.qts", "--remove-offset", "-d", "new/deep", groups=pairs("new/deep/pump")),
    Case("convert --in-place", PUMP, "convert", "pump.qts", "--type", "float64", "--in-place", "--check", groups=pairs("pump")),
    Case("export to WAV", PUMP, "export", "pump.qts", "-f", "wav", "-q", groups=[{"pump.wav"}]),
    Case("export to CSV", {**PUMP, "pump.csv": b"old"}, "export", "pump.qts", "-f", "csv", "--force", groups=[{"pump.csv"}]),
    Case("annotate", PUMP, "annotate", "pump.qts", "--unit", "m/s2", groups=[{"pump.xml"}]),
    Case("annotate --unit-uuid", PUMP, "annotate", "pump.qts", "--unit-uuid", str(ID[5]), groups=pairs("pump")),
    Case("archive create", TWO, "archive", "create", "two.qta", "pump.qts", "fan.qts", groups=[{"two.qta"}]),
    Case("archive create --force", {**TWO, "two.qta": b"old"}, "archive", "create", "two.qta", "pump.qts", "fan.qts", "--force",
         groups=[{"two.qta"}], partial=ARCHIVED),
    Case("archive extract", ARCHIVE, "archive", "extract", "two.qta", groups=pairs("e0000000-0000-4000-8000-000000000002", str(ID[4]))),
    Case("trend import", TABLE, "trend", "import", "rms.csv", "--split", "3",
         groups=[{"rms-1.qtr", "rms-1.xml", "rms-2.qtr", "rms-2.xml"}]),
    Case("trend merge", TRENDS, "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr", groups=pairs("c", record=".qtr")),
    Case("trend merge --force", {**TRENDS, **trend_files("c", HOURS[:1])}, "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr", "--force",
         groups=pairs("c", record=".qtr")),
    Case("trend delete --in-place", TRENDS, "trend", "delete", "a.qtr", "--from", "2026-11-20T03:00:00Z", "--to", "2026-11-20T05:00:00Z",
         "--in-place", groups=pairs("a", record=".qtr")),
    Case("trend shrink --apply", TRENDS, *SHRINK, "."),
    Case("trend shrink --apply of files", TRENDS, *SHRINK, "a.qtr", "b.qtr"),
    Case("trend shrink --apply -o", TRENDS, *SHRINK, "a.qtr", "b.qtr", "-o", "new"),
    Case("trend dump", {**TRENDS, "a.csv": b"old"}, "trend", "dump", "a.qtr", "-o", "a.csv", "--force", groups=[{"a.csv"}]),
    Case("demo --keep", {"tiny.csv": b"1\n2\n5\n"}, "demo", "tiny.csv", "--rate", "10", "--keep",
         "kept", "-q", groups=pairs(*("kept/tiny-" + form for form in ("imported", "centred", "zlib", "gzip"))) + [{"kept/tiny-exported.csv"}]),
]


def case_of(name):
    return next(case for case in CASES if case.name == name)


def trends_of(files):
    """The trends that stand in files with their documents, whole and good: {name: entries}."""
    found = {}
    for name, data in files.items():
        if name.endswith(".qtr") and files.get(name[:-4] + ".xml") == trend_document(data, "mm/s"):
            found[name] = parse_trend(data)["entries"]
    return found


def shrink_problems(before, files):
    """What is wrong with files that an end at any moment left of a thinning of TRENDS: entries that thinning keeps are missing from
    the good trends, or an old trend has gone before all new ones were there."""
    trends = trends_of(files)
    there = collections.Counter(e for entries in trends.values() for e in entries)
    problems = []
    if THINNED - there:
        problems.append("%d entries are missing" % sum((THINNED - there).values()))
    old = {name for name in before if name.endswith((".qtr", ".xml"))}
    new = collections.Counter(e for name, entries in trends.items() if name not in old for e in entries)
    gone = sorted(name for name in old if files.get(name) != before[name])
    if gone and new != THINNED:
        problems.append("%s went before all new trends were there" % ", ".join(gone))
    return problems


def shrunk_problems(before, files, in_place, folder=""):
    """What is wrong when thinning has succeeded: the new trends stand there, each entry once, and nothing else is new."""
    problems = []
    old = {name: data for name, data in before.items() if name.endswith((".qtr", ".xml"))}
    rest = {name: data for name, data in files.items() if name not in old}
    if in_place and set(old) & set(files):
        problems.append("old files are there: %s" % sorted(set(old) & set(files)))
    if not in_place and any(files.get(name) != data for name, data in old.items()):
        problems.append("old files changed")
    trends = trends_of(rest)
    if collections.Counter(e for entries in trends.values() for e in entries) != THINNED:
        problems.append("the new trends are not the thinned ones")
    pairs = {name for trend in trends for name in (trend, trend[:-4] + ".xml")}
    problems += ["%s is left behind" % name for name in sorted(set(rest) - pairs)]
    return problems

"""The commands that write, each with small inputs and with what it promises: groups of files that change together or not at all."""

import uuid

from support import Details, Named, archive_form, document, pack, signal_of, wav
from trend_support import DAY, HOUR, MINUTE, START, TREND, entry, trend_document, trend_file

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
ARCHIVE = {"two.qta": archive_form(PUMP["pump.qts"], FULL) + archive_form(TWO["fan.qts"], Details("V"))}
TABLE = {"rms.csv": b"time,value [mm/s]\n" + b"".join(b"2026-11-20T0%d:00:00Z,%d.5\n" % (i, i) for i in range(5))}
HOURS = [entry(START + i * HOUR, float(i), 1 + i % 2) for i in range(48)]
TRENDS = {**trend_files("a", HOURS[:24]), **trend_files("b", HOURS[24:])}
IMPORT = ("--rate", "10", "--unit", "g", "--time", "0", "--measurement", OTHER)
SHRINK = ("trend", "shrink", "--settings", "28d:2/d", "--max-size", "3", "--now", str(NOW), "--apply", "-q")


class Case:
    def __init__(self, name, files, *arguments, groups, gone=()):
        """`groups`: names of files that change together; `gone`: files that are removed when all groups are new."""
        self.name, self.files, self.arguments, self.groups, self.gone = name, files, arguments, groups, gone


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
         groups=[{"two.qta"}]),
    Case("archive extract", ARCHIVE, "archive", "extract", "two.qta", groups=pairs("e0000000-0000-4000-8000-000000000002", str(ID[4]))),
    Case("trend import", TABLE, "trend", "import", "rms.csv", "--split", "3",
         groups=[{"rms-1.qtr", "rms-1.xml", "rms-2.qtr", "rms-2.xml"}]),
    Case("trend merge", TRENDS, "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr", groups=pairs("c", record=".qtr")),
    Case("trend merge --force", {**TRENDS, **trend_files("c", HOURS[:1])}, "trend", "merge", "a.qtr", "b.qtr", "-o", "c.qtr", "--force",
         groups=pairs("c", record=".qtr")),
    Case("trend delete --in-place", TRENDS, "trend", "delete", "a.qtr", "--from", "2026-11-20T03:00:00Z", "--to", "2026-11-20T05:00:00Z",
         "--in-place", groups=pairs("a", record=".qtr")),
    Case("trend shrink --apply", TRENDS, *SHRINK, ".", groups=[], gone=sorted(TRENDS)),
    Case("trend shrink --apply -o", TRENDS, *SHRINK, "a.qtr", "b.qtr", "-o", "new", groups=[]),
    Case("trend dump", {**TRENDS, "a.csv": b"old"}, "trend", "dump", "a.qtr", "-o", "a.csv", "--force", groups=[{"a.csv"}]),
    Case("demo --keep", {"tiny.csv": b"1\n2\n5\n"}, "demo", "tiny.csv", "--rate", "10", "--keep",
         "kept", "-q", groups=pairs(*("kept/tiny-" + form for form in ("imported", "centred", "zlib", "gzip"))) + [{"kept/tiny-exported.csv"}]),
]

#!/usr/bin/env python3
"""What the library writes validates against the schemas of the details documents, wrong documents do not.

QEN_XMLLINT is the validator, QEN_DETAILS_DOCUMENTS the command that writes documents into the folders "measurement" and "trend" of a
folder, "full.xml" among them.
"""

import copy
import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

SCHEMAS = pathlib.Path(__file__).parents[2] / "docs/schemas"
NAMESPACE = "http://www.qen.example/2015/09/30/velmora/"
OPTIONAL = {"ValidatorGroup", "Trigger", "CharacteristicValueGroup", "Speed"}
REPEATED = {"Validator", "CharacteristicValue"}

WRONG_UUIDS = ["", "x", " 00000000-0000-0000-0000-000000000001", "00000000-0000-0000-0000-00000000000A",
               "00000000000000000000000000000001", "{00000000-0000-0000-0000-000000000001}"]
WRONG_NUMBERS = ["", " ", "x", "1,5", "+1.5", " 1.5", "1.5 ", ".5", "5.", "1.50", "01", "1.5e7", "1.5E+07", "1e+7", "10e+07", "0x1",
                 "1234567", "0.1234567891", "NaN", "INF", "infinity", "--1", "1.5 mm"]
WRONG_INTEGERS = ["", "x", "-1", "+1", "01", "1.0", "1e3", "1 000", "1.000", "0x10"]
WRONG_TIMES = ["", "2026-11-20", "2026-11-20T17:57:20Z", "2026-11-20T17:57:20.000123", "2026-11-20 17:57:20.000123Z",
               "2026-11-20T17:57:20.00012Z", "2026-11-20T17:57:20.0001234Z", "2026-13-20T17:57:20.000123Z",
               "2026-00-20T17:57:20.000123Z", "2026-11-32T17:57:20.000123Z", "2026-11-20T24:57:20.000123Z",
               "2026-11-20T17:60:20.000123Z", "2026-11-20T17:57:60.000123Z", "-0000-11-20T17:57:20.000123Z",
               "02026-11-20T17:57:20.000123Z", "+2026-11-20T17:57:20.000123Z", "226-11-20T17:57:20.000123Z",
               "2026-11-20T17:57:20,000123Z", "2026-11-20T17:57:20.000123+00:00"]
COMMON_WRONG_TEXTS = {
    "FileVersionXml": ["", "1.0.0.1", "1.0", " 1.0.0.0"],
    "UnitUuid": WRONG_UUIDS,
    "BinaryFileName": ["x", " "],
    "BinaryFileHash": ["x", " "],
}
MEASUREMENT_WRONG_TEXTS = COMMON_WRONG_TEXTS | {
    "BinaryHeaderVersion": WRONG_INTEGERS + ["65536"],
    "HeaderSize": WRONG_INTEGERS + ["65536"],
    "SignalType": ["", "1", "Raw_time_signal", "raw_time_signal ", "raw time signal", "trend"],
    "MeasurementConfigUuid": WRONG_UUIDS,
    "MeasurementUuid": WRONG_UUIDS,
    "TimeStamp": WRONG_TIMES,
    "SampleType": ["", "2", "int16", "data_int24_t", "data_int16", "DATA_INT16_T"],
    "SampleCount": WRONG_INTEGERS + ["18446744073709551616"],
    "DeltaX": WRONG_NUMBERS,
    "DataArrayByteCount": WRONG_INTEGERS + ["18446744073709551616"],
    "Compression": ["", "1", "none", "bzip2", "GZIP"],
    "ValidatorUuid": WRONG_UUIDS,
    "AverageValue": WRONG_NUMBERS,
    "TriggerUuid": WRONG_UUIDS + ["00000000-0000-0000-0000-000000000000"],
    "TripValue": WRONG_NUMBERS,
    "CharacteristicValueUuid": WRONG_UUIDS,
    "Value": WRONG_NUMBERS,
    "Speed": WRONG_NUMBERS + ["nan", "-nan"],
}
TREND_WRONG_TEXTS = COMMON_WRONG_TEXTS | {
    "BinaryHeaderVersion": ["", "1", "02", "2.0"],
    "HeaderSize": ["", "120", "096"],
    "CharacteristicValueConfigUuid": WRONG_UUIDS,
    "TrendUuid": WRONG_UUIDS,
    "SampleCount": [text for text in WRONG_INTEGERS if text != "-1"] + ["-0", "2147483648", "-2147483649"],
    "DataArrayByteCount": [text for text in WRONG_INTEGERS if text != "-1"] + ["-0", "2147483648", "-2147483649"],
    "Compression": ["1", "none", "int24", "GZIP"],
    "LowerPreAlarmLevel": WRONG_NUMBERS,
    "FirstTimeStamp": [text for text in WRONG_TIMES if text],
    "LastTimeStamp": [text for text in WRONG_TIMES if text],
}
ANY_TEXT = {"UnitString"}


def name_of(element):
    return element.tag.split("}")[1]


class Document:
    """A document, and changed copies of it: `parent` and `index` find the same place in each copy."""

    def __init__(self, path):
        self.root = ElementTree.parse(path).getroot()

    def places(self):
        """Every element but the root, as its number among all elements and its place in its parent."""
        for number, parent in enumerate(self.root.iter()):
            for index, child in enumerate(parent):
                yield number, index, child

    def changed(self, number, change):
        root = copy.deepcopy(self.root)
        change(list(root.iter())[number])
        return root


def wrong_structures(document):
    """Documents with one element missing, twice, renamed, at the wrong place, or with something that it must not hold."""
    for number, index, child in document.places():
        name = name_of(child)

        def replace(parent, *elements):
            parent[index:index + 1] = [copy.deepcopy(element) for element in elements]

        def renamed(tag):
            other = copy.deepcopy(child)
            other.tag = tag
            return other

        if name not in OPTIONAL | REPEATED:
            yield f"without {name}", document.changed(number, replace)
        if name not in REPEATED:
            yield f"{name} twice", document.changed(number, lambda parent: replace(parent, child, child))
        for tag in (name, f"{{{NAMESPACE}}}{name}s", f"{{{NAMESPACE}}}{name.lower()}", f"{{http://other.example/}}{name}"):
            yield f"{name} as {tag}", document.changed(number, lambda parent: replace(parent, renamed(tag)))
        stranger = renamed(f"{{{NAMESPACE}}}Stranger")
        yield f"stranger behind {name}", document.changed(number, lambda parent: replace(parent, child, stranger))

        def swap(parent):
            parent[index], parent[index + 1] = parent[index + 1], parent[index]

        siblings = list(list(document.root.iter())[number])
        if index + 1 < len(siblings) and name_of(siblings[index + 1]) != name:
            yield f"{name} behind {name_of(siblings[index + 1])}", document.changed(number, swap)
        yield f"attribute of {name}", document.changed(number, lambda parent: parent[index].set("unit", "m"))
        if len(child):
            yield f"text in {name}", document.changed(number, lambda parent: setattr(parent[index][0], "tail", "x"))
            yield f"empty {name}", document.changed(number, lambda parent: replace(parent, ElementTree.Element(child.tag)))


def wrong_texts(document, texts):
    for number, index, child in document.places():
        for text in texts.get(name_of(child), []):
            yield f"{name_of(child)} {text!r}", document.changed(number, lambda parent: setattr(parent[index], "text", text))


def wrong_roots(document):
    name = name_of(document.root)
    for tag in (name, f"{{{NAMESPACE}}}DataDetails", f"{{http://other.example/}}{name}"):
        yield f"root {tag}", document.changed(0, lambda root: setattr(root, "tag", tag))


def validating(schema, paths):
    """Those of the files that validate. Loader settings that the tests need are none of the validator's business."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith(("LD_", "ASAN_", "UBSAN_", "LSAN_"))}
    run = subprocess.run([os.environ["QEN_XMLLINT"], "--noout", "--nonet", "--schema", str(SCHEMAS / schema), *map(str, paths)],
                         env=environment, capture_output=True, text=True, errors="replace", check=False)
    verdicts = dict(re.findall(r"^(.*) (validates|fails to validate)$", run.stderr, re.MULTILINE))
    missing = [path for path in paths if str(path) not in verdicts]
    if missing:
        raise RuntimeError(f"no verdict on {missing[0]}:\n{run.stderr[-2000:]}")
    return {path for path in paths if verdicts[str(path)] == "validates"}


class Schema:
    """Holds for every kind of document; the kinds are below."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="qen-test-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name) / cls.kind
        subprocess.run([*shlex.split(os.environ["QEN_DETAILS_DOCUMENTS"]), folder.name], check=True)
        cls.written = sorted(cls.folder.glob("*.xml"))
        cls.full = Document(cls.folder / "full.xml")

    def test_documents_of_every_shape_validate(self):
        self.assertGreater(len(self.written), self.least_documents)
        valid = validating(self.schema, self.written)
        self.assertEqual([path.read_text() for path in self.written if path not in valid], [])

    def passing(self, documents):
        """The faults of those documents that validate, and how many there are in all."""
        faults = {}
        for number, (fault, root) in enumerate([("no fault", self.full.root), *documents]):
            path = self.folder / f"wrong-{number}"
            ElementTree.ElementTree(root).write(path, encoding="utf-8", xml_declaration=True)
            faults[path] = fault
        return sorted(faults[path] for path in validating(self.schema, list(faults))), len(faults)

    def test_wrong_elements_do_not_validate(self):
        passing, count = self.passing([*wrong_roots(self.full), *wrong_structures(self.full)])
        self.assertEqual(passing, ["no fault"])
        self.assertGreater(count, self.least_structures)

    def test_wrong_values_do_not_validate(self):
        passing, count = self.passing(wrong_texts(self.full, self.wrong_texts))
        self.assertEqual(passing, ["no fault"])
        self.assertGreater(count, self.least_texts)

    def test_every_value_has_wrong_texts(self):
        leaves = {name_of(child) for _, _, child in self.full.places() if not len(child)}
        self.assertEqual(leaves - ANY_TEXT, set(self.wrong_texts))


class MeasurementDetails(Schema, unittest.TestCase):
    kind = "measurement"
    schema = "measurement-data-details.xsd"
    wrong_texts = MEASUREMENT_WRONG_TEXTS
    least_documents, least_structures, least_texts = 80, 300, 300


class TrendDetails(Schema, unittest.TestCase):
    kind = "trend"
    schema = "trend-data-details.xsd"
    wrong_texts = TREND_WRONG_TEXTS
    least_documents, least_structures, least_texts = 40, 120, 100


if __name__ == "__main__":
    unittest.main()

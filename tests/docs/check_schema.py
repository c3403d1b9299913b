#!/usr/bin/env python3
"""Validates details documents that the library writes against their schema, and shows that wrong documents do not validate.

Usage: check_schema.py XMLLINT SCHEMA COMMAND...    COMMAND FOLDER writes documents into FOLDER, "full.xml" among them
"""

import copy
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

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
WRONG_TEXTS = {
    "FileVersionXml": ["", "1.0.0.1", "1.0", " 1.0.0.0"],
    "BinaryHeaderVersion": WRONG_INTEGERS + ["65536"],
    "HeaderSize": WRONG_INTEGERS + ["65536"],
    "SignalType": ["", "1", "Raw_time_signal", "raw_time_signal ", "raw time signal", "trend"],
    "MeasurementConfigUuid": WRONG_UUIDS,
    "MeasurementUuid": WRONG_UUIDS,
    "TimeStamp": WRONG_TIMES,
    "UnitUuid": WRONG_UUIDS,
    "SampleType": ["", "2", "int16", "data_int24_t", "data_int16", "DATA_INT16_T"],
    "SampleCount": WRONG_INTEGERS + ["18446744073709551616"],
    "DeltaX": WRONG_NUMBERS,
    "DataArrayByteCount": WRONG_INTEGERS + ["18446744073709551616"],
    "Compression": ["", "1", "none", "bzip2", "GZIP"],
    "ValidatorUuid": WRONG_UUIDS,
    "AverageValue": WRONG_NUMBERS,
    "TriggerUuid": WRONG_UUIDS + ["00000000-0000-0000-0000-000000000000"],
    "TripValue": WRONG_NUMBERS,
    "BinaryFileName": ["x", " "],
    "BinaryFileHash": ["x", " "],
    "CharacteristicValueUuid": WRONG_UUIDS,
    "Value": WRONG_NUMBERS,
    "Speed": WRONG_NUMBERS + ["nan", "-nan"],
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


def wrong_texts(document):
    for number, index, child in document.places():
        for text in WRONG_TEXTS.get(name_of(child), []):
            yield f"{name_of(child)} {text!r}", document.changed(number, lambda parent: setattr(parent[index], "text", text))


def wrong_roots(document):
    for tag in ("MeasurementDataDetails", f"{{{NAMESPACE}}}TrendDataDetails", "{http://other.example/}MeasurementDataDetails"):
        yield f"root {tag}", document.changed(0, lambda root: setattr(root, "tag", tag))


def validating(xmllint, schema, paths):
    """Those of the files that validate. Loader settings that the tests need are none of xmllint's business."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith(("LD_", "ASAN_", "UBSAN_", "LSAN_"))}
    run = subprocess.run([xmllint, "--noout", "--nonet", "--schema", schema, *map(str, paths)], env=environment,
                         capture_output=True, text=True, errors="replace", check=False)
    verdicts = dict(re.findall(r"^(.*) (validates|fails to validate)$", run.stderr, re.MULTILINE))
    missing = [path for path in paths if str(path) not in verdicts]
    if missing:
        sys.exit(f"no verdict on {missing[0]}:\n{run.stderr[-2000:]}")
    return {path for path in paths if verdicts[str(path)] == "validates"}


def main():
    xmllint, schema, *command = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="qen-test-") as name:
        folder = pathlib.Path(name)
        subprocess.run([*command, name], check=True)
        written = sorted(folder.glob("*.xml"))
        valid = validating(xmllint, schema, written)
        failures = [f"does not validate:\n{path.read_text()}" for path in written if path not in valid]

        document = Document(folder / "full.xml")
        untested = {name_of(child) for _, _, child in document.places() if not len(child)} - WRONG_TEXTS.keys() - ANY_TEXT
        failures += [f"no wrong texts for {leaf}" for leaf in untested]
        wrong = {}
        for number, (fault, root) in enumerate([("no fault", document.root), *wrong_roots(document), *wrong_structures(document),
                                                *wrong_texts(document)]):
            path = folder / f"wrong-{number}.xml"
            ElementTree.ElementTree(root).write(path, encoding="utf-8", xml_declaration=True)
            wrong[path] = fault
        passed = {wrong[path] for path in validating(xmllint, schema, list(wrong))}
        if "no fault" not in passed:
            failures.append("the document from which the wrong ones are made does not validate")
        failures += [f"validates: {fault}" for fault in sorted(passed - {"no fault"})]
    print("\n".join(failures) or f"{len(written)} documents validate, {len(wrong) - 1} wrong ones do not")
    return 1 if failures or len(written) < 80 or len(wrong) < 300 else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets into fuzz/corpus: valid records and files of every sample type and stored
form, valid texts and streams. Fuzzing goes on from there; script/fuzz --merge keeps what is needed, under names of its
own."""

import gzip
import pathlib
import random
import struct
import sys
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tests" / "golden"))
from make_golden import CODES, STORED_FORMS, checksum, record  # noqa: E402

CORPUS = pathlib.Path(__file__).parent / "corpus"
UUID = bytes(range(16))
SECOND = 1_000_000
NAMESPACE = "http://www.qen.example/2015/09/30/velmora/"


def write(target, name, content):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


def integer(value):
    size = max(1, (value.bit_length() + 7) // 8)
    return bytes([size]) + value.to_bytes(size, "little")


def text(value):
    return integer(len(value)) + value


def parameters(number):
    return UUID + number + b" " + UUID + text(b"mm/s")


def archive(signal, validators, values):
    """The archive form of a flat record."""
    content = signal[:120] + integer(0xDEADBEEF) + signal[120:] + text(b"g")
    content += integer(validators) + parameters(b"1.5") * validators + parameters(b"NaN")
    content += integer(values) + (parameters(b"ninf") + b"2.5 ") * values
    return content + UUID


def details(validators, values):
    unit = f"<vel:UnitUuid>{'0' * 8}-0000-0000-0000-{'0' * 12}</vel:UnitUuid><vel:UnitString>R&D</vel:UnitString>"
    validator = f"<vel:Validator><vel:AverageValue>1e-07</vel:AverageValue>{unit}</vel:Validator>"
    value = f"<vel:CharacteristicValue><vel:Value>nan</vel:Value>{unit}<vel:Speed>25</vel:Speed></vel:CharacteristicValue>"
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n<vel:MeasurementDataDetails xmlns:vel="{NAMESPACE}"><vel:Signal>\n'
            f"<vel:HeaderInfo>{unit}</vel:HeaderInfo><vel:ValidatorGroup>{validator * validators}</vel:ValidatorGroup>"
            f"<vel:Trigger><vel:TripValue>-inf</vel:TripValue>{unit}</vel:Trigger><vel:CharacteristicValueGroup>"
            f"{value * values}</vel:CharacteristicValueGroup></vel:Signal></vel:MeasurementDataDetails>").encode()


def settings(count):
    classes = "".join(f"<vel:{name}><vel:NumberOfRemainingTrendEntriesPer{unit}>{count}"
                      f"</vel:NumberOfRemainingTrendEntriesPer{unit}></vel:{name}>"
                      for name, unit in (("OlderThanOneHour", "Hour"), ("OlderThanOneDay", "Day")))
    return (f"<vel:DeviceDetails><vel:TrendCleanupSettings>{classes}<vel:OlderThanOneWeek><vel:NoCleanup/>"
            "</vel:OlderThanOneWeek></vel:TrendCleanupSettings></vel:DeviceDetails>").encode()


def trend(times, compression):
    entries = b"".join(struct.pack("<qdffBBxxf", time, index, 0, 0, 0, index % 4, 0) for index, time in enumerate(times))
    stored = {1: lambda data: data, 2: zlib.compress, 4: lambda data: gzip.compress(data, mtime=0)}[compression](entries)
    header = struct.pack("<HHI16s16sqq16sdIIIH", 2, 96, compression, UUID, UUID, times[0], times[-1], UUID, 1.5, len(times),
                         len(stored), 0, checksum(stored))
    return header + struct.pack("<H", checksum(header)) + stored


def shrink(counts, now, trends):
    """One run: counts per class, largest trend, days, time, no values, stored trends."""
    head = struct.pack("<IIHBBIqB", *counts, 9, 30, now, 0)
    return head + b"".join(struct.pack("<H", len(stored)) + stored for stored in trends)


def main():
    for validators, values in ((0, 0), (1, 2)):
        write("archive", f"lists{validators}-{values}", archive(record(2, 1), validators, values))
        write("details", f"lists{validators}-{values}", details(validators, values))
    write("archive", "zlib", archive(record(6, 2), 0, 0))
    write("archive", "announces-much", record(2, 1)[:104] + b"\xff" * 16 + integer(0xDEADBEEF) + b"1234")
    write("settings", "counts", settings(24))
    write("settings", "blanks", settings(" \n7\t"))
    write("details", "deep", b"<a>" * 100 + b"</a>" * 100)
    write("details", "bomb", b'<!DOCTYPE a [<!ENTITY b "cc"><!ENTITY d "&b;&b;">]><a>&d;<![CDATA[<&]]></a>')
    write("portable", "numbers", b"1.5 inf ninf NaN -4.9e-324 ")
    write("portable", "integers", integer(0) + integer(255) + integer(256) + integer(0xDEADBEEF))
    write("portable", "texts", text(b"") + text(b"mm/s") + text(b"a\0b"))
    for compression in (1, 2, 4):
        write("trend", f"form{compression}", trend(range(0, 5 * SECOND, SECOND), compression))
    for hours in (2, 26, 9 * 24, 35 * 24):
        start = 1_700_000_000 * SECOND
        first, second = (trend(range(start + begin, start + begin + 40 * 600 * SECOND, 600 * SECOND), 2)
                         for begin in (0, 39 * 600 * SECOND))
        write("shrink", f"age{hours}", shrink((2, 4, 2, 1), start + hours * 3600 * SECOND, [first, second]))
    for size in (100, 300, 600):
        write("signal_round_trip", f"bytes{size}", random.Random(size).randbytes(size))
        write("trend_round_trip", f"bytes{size}", random.Random(size).randbytes(size))
    for sample_type in CODES:
        for compression in STORED_FORMS:
            content = record(sample_type, compression)
            write("record", f"type{sample_type}-form{compression}", content)
            write("file", f"type{sample_type}-form{compression}", content)
    write("file", "cut-header", record(2, 1)[:119])
    write("file", "cut-samples", record(2, 1)[:-1])
    write("record", "cut-stream", record(2, 2)[:-1])
    write("platform", "uuid", b"01234567-89ab-cdef-0123-456789abcdef")
    write("platform", "time", b"2026-11-20T17:57:20.000123Z")
    write("platform", "time-before-christ", b"-0001-02-28T23:59:59.999999Z")
    write("platform", "zlib", struct.pack("<H", 1000) + zlib.compress(b"vibration " * 100))
    write("platform", "gzip", struct.pack("<H", 1000) + gzip.compress(b"vibration " * 100, mtime=0))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets into fuzz/corpus: valid records and files of every sample type and stored
form, valid texts and streams. The corpora hold these seeds and whatever fuzzing found worth keeping."""

import gzip
import pathlib
import struct
import zlib

CORPUS = pathlib.Path(__file__).parent / "corpus"
TYPES = {1: "b", 2: "h", 3: "i", 4: "q", 5: "f", 6: "d", 7: "B", 8: "H", 9: "I", 10: "Q"}
STORED_FORMS = {1: bytes, 2: zlib.compress, 4: lambda raw: gzip.compress(raw, mtime=0)}
SIGNED = [0, 1, -1, 100, -128, 127, 5, 5, 5]
UNSIGNED = [0, 1, 255, 100, 7, 7, 7, 128, 200]


def checksum(block):
    value = 0
    for position in range(0, len(block), 2):
        value ^= int.from_bytes(block[position:position + 2], "little")
    return value


def record(sample_type, compression):
    values = UNSIGNED if sample_type >= 7 else SIGNED
    raw = struct.pack(f"<{len(values)}{TYPES[sample_type]}", *values)
    stored = STORED_FORMS[compression](raw)
    header = struct.pack("<HHi16s16sdddq16siiQQI", 2, 120, 1, bytes(range(16)), bytes(range(16, 32)), 1 / 51200, 0.5, 3.0,
                         1_700_000_000_000_000, bytes(range(32, 48)), compression, sample_type, len(values), len(stored), 0)
    header += struct.pack("<H", checksum(stored))
    return header + struct.pack("<H", checksum(header)) + stored


def write(target, name, content):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


def main():
    for sample_type in TYPES:
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

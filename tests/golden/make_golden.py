#!/usr/bin/env python3
"""Writes the golden time signal files: one for every sample type and stored form, made here without the library, byte by byte
from the description in docs/formats.md. Run it only when a format is added; existing files never change."""

import gzip
import pathlib
import struct
import zlib

NAMES = {1: "int8", 2: "int16", 3: "int32", 4: "int64", 5: "float32", 6: "float64", 7: "uint8", 8: "uint16", 9: "uint32",
         10: "uint64"}
CODES = {1: "b", 2: "h", 3: "i", 4: "q", 5: "f", 6: "d", 7: "B", 8: "H", 9: "I", 10: "Q"}
STORED_FORMS = {1: ("none", bytes), 2: ("zlib", zlib.compress), 4: ("gzip", lambda raw: gzip.compress(raw, mtime=0))}
SIGNED = [0, 1, -1, 100, -128, 127, 5, 5, 5]
UNSIGNED = [0, 1, 255, 100, 7, 7, 7, 128, 200]


def checksum(block):
    value = 0
    for position in range(0, len(block), 2):
        value ^= int.from_bytes(block[position:position + 2], "little")
    return value


def record(sample_type, compression):
    values = UNSIGNED if sample_type >= 7 else SIGNED
    stored = STORED_FORMS[compression][1](struct.pack(f"<{len(values)}{CODES[sample_type]}", *values))
    header = struct.pack("<HHi16s16sdddq16siiQQI", 2, 120, 1, bytes(range(16)), bytes(range(16, 32)), 1 / 51200, 0.5, 3.0,
                         1_700_000_000_000_000, bytes(range(32, 48)), compression, sample_type, len(values), len(stored), 0)
    header += struct.pack("<H", checksum(stored))
    return header + struct.pack("<H", checksum(header)) + stored


def main():
    folder = pathlib.Path(__file__).parent
    for sample_type, type_name in NAMES.items():
        for compression, (form_name, _) in STORED_FORMS.items():
            (folder / f"{type_name}-{form_name}.qts").write_bytes(record(sample_type, compression))


if __name__ == "__main__":
    main()

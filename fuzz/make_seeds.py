#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets into fuzz/corpus: valid records and files of every sample type and stored
form, valid texts and streams. The corpora hold these seeds and whatever fuzzing found worth keeping."""

import gzip
import pathlib
import struct
import sys
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "tests" / "golden"))
from make_golden import CODES, STORED_FORMS, record  # noqa: E402

CORPUS = pathlib.Path(__file__).parent / "corpus"


def write(target, name, content):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


def main():
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

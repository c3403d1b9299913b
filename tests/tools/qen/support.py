"""What the tests of the tool share: running it, and independent models of its file formats."""

import contextlib
import datetime
import functools
import json
import math
import os
import operator
import pty
import shlex
import shutil
import struct
import subprocess
import tempfile
import unittest
import uuid
from array import array



def command_words(variable, otherwise):
    """The words that start a program. The tests run in folders of their own: paths become absolute."""
    return [os.path.abspath(word) if os.path.exists(word) else word for word in shlex.split(os.environ.get(variable, otherwise))]


COMMAND = command_words("QEN_COMMAND", "qen")
# The tool is built for another processor than Python.
IS_FOREIGN = os.environ.get("QEN_IS_FOREIGN", "") not in ("", "FALSE")

# name: (number in the header, struct letter)
SAMPLE_TYPES = {
    "int8": (1, "b"), "int16": (2, "h"), "int32": (3, "i"), "int64": (4, "q"), "float32": (5, "f"), "float64": (6, "d"),
    "uint8": (7, "B"), "uint16": (8, "H"), "uint32": (9, "I"), "uint64": (10, "Q"),
}
COMPRESSIONS = {"none": 1, "zlib": 2, "int24": 3, "gzip": 4}

CONFIG = uuid.UUID("c0000000-0000-4000-8000-000000000001")
MEASUREMENT = uuid.UUID("e0000000-0000-4000-8000-000000000002")
UNIT = uuid.UUID("d0000000-0000-4000-8000-000000000003")
NULL = uuid.UUID(int=0)
HEADER = struct.Struct("<HHi16s16sdddq16siiQQIHH")
assert HEADER.size == 120
HEADER_FIELDS = ("version", "size", "signal_type", "config", "measurement", "delta_x", "scale", "offset", "time", "unit",
                 "compression", "sample_type", "count", "byte_count", "reserved", "data_checksum", "header_checksum")


def xor16(data):
    """The checksum of records."""
    words = array("H", data + b"\0" * (len(data) % 2))
    return functools.reduce(operator.xor, words, 0)


def pack(sample_type, values):
    return struct.pack("<%d%s" % (len(values), SAMPLE_TYPES[sample_type][1]), *values)


def unpack(sample_type, data):
    letter = SAMPLE_TYPES[sample_type][1]
    return list(struct.unpack("<%d%s" % (len(data) // struct.calcsize(letter), letter), data))


def signal_file(sample_type, stored, count, delta_x=0.001, scale=1.0, offset=0.0, time=0, compression="none", signal_type=1,
                config=CONFIG, measurement=MEASUREMENT, unit=UNIT, byte_count=None, reserved=0):
    """The bytes of a time signal file; `stored` are its sample bytes as they stand in the file."""
    number = SAMPLE_TYPES[sample_type][0] if sample_type in SAMPLE_TYPES else sample_type
    method = COMPRESSIONS[compression] if compression in COMPRESSIONS else compression
    byte_count = len(stored) if byte_count is None else byte_count
    header = HEADER.pack(2, 120, signal_type, config.bytes, measurement.bytes, delta_x, scale, offset, time, unit.bytes,
                         method, number, count, byte_count, reserved, xor16(stored), 0)
    return header[:118] + struct.pack("<H", xor16(header[:118])) + stored


NAMESPACE = "http://www.qen.example/2015/09/30/velmora/"
SIGNAL_TYPES = ("raw_time_signal", "demodulation_time_signal", "raw_spectrum", "demodulation_spectrum", "order_analysis")


class Named:
    """A validator, a trigger or a characteristic value."""

    def __init__(self, id, number, unit="", unit_id=NULL, speed=math.nan):
        self.id, self.number, self.unit, self.unit_id, self.speed = id, number, unit, unit_id, speed


class Details:
    """What a signal carries beside its record."""

    def __init__(self, unit="", validators=(), trigger=None, values=()):
        self.unit, self.validators, self.trigger, self.values = unit, validators, trigger, values


def time_text(microseconds):
    return (datetime.datetime(1970, 1, 1) + datetime.timedelta(microseconds=microseconds)).isoformat(timespec="microseconds") + "Z"


def document(data, details=Details()):
    """The details document of a signal file, line by line."""
    header = dict(zip(HEADER_FIELDS, HEADER.unpack(data[:120])))
    lines = []

    def group(indent, name, content):
        lines.append(" " * indent + "<vel:%s>" % name)
        content()
        lines.append(" " * indent + "</vel:%s>" % name)

    def element(indent, name, value):
        lines.append(" " * indent + "<vel:%s>%s</vel:%s>" % (name, value, name))

    def named(indent, prefix, number_name, one):
        element(indent, prefix + "Uuid", one.id)
        element(indent, number_name, "%g" % one.number)
        element(indent, "UnitUuid", one.unit_id)
        element(indent, "UnitString", one.unit)
        if prefix == "CharacteristicValue" and not math.isnan(one.speed):
            element(indent, "Speed", "%g" % one.speed)

    def header_info():
        element(9, "BinaryHeaderVersion", header["version"])
        element(9, "HeaderSize", header["size"])
        element(9, "SignalType", SIGNAL_TYPES[header["signal_type"] - 1])
        element(9, "MeasurementConfigUuid", uuid.UUID(bytes=header["config"]))
        element(9, "MeasurementUuid", uuid.UUID(bytes=header["measurement"]))
        element(9, "TimeStamp", time_text(header["time"]))
        element(9, "UnitUuid", uuid.UUID(bytes=header["unit"]))
        element(9, "UnitString", details.unit)
        element(9, "SampleType", next("data_%s_t" % n for n, (number, _) in SAMPLE_TYPES.items() if number == header["sample_type"]))
        element(9, "SampleCount", header["count"])
        element(9, "DeltaX", "%g" % header["delta_x"])
        element(9, "DataArrayByteCount", header["byte_count"])
        element(9, "Compression", {1: "no_compression", 2: "zlib", 4: "gzip"}[header["compression"]])

    def entries(name, number_name, list):
        for one in list:
            group(9, name, lambda: named(12, name, number_name, one))

    def signal():
        group(6, "HeaderInfo", header_info)
        if details.validators:
            group(6, "ValidatorGroup", lambda: entries("Validator", "AverageValue", details.validators))
        if details.trigger:
            group(6, "Trigger", lambda: named(9, "Trigger", "TripValue", details.trigger))
        element(6, "BinaryFileName", "")
        element(6, "BinaryFileHash", "")
        if details.values:
            group(6, "CharacteristicValueGroup", lambda: entries("CharacteristicValue", "Value", details.values))

    element(3, "FileVersionXml", "1.0.0.0")
    group(3, "Signal", signal)
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<vel:MeasurementDataDetails xmlns:vel="%s">\n%s\n</vel:MeasurementDataDetails>'
            % (NAMESPACE, "\n".join(lines))).encode()


def archive_form(data, details=Details(), job=MEASUREMENT):
    """A signal file and its details as they stand in an archive."""
    def integer(value):
        size = max(1, (value.bit_length() + 7) // 8)
        return bytes([size]) + value.to_bytes(size, "little")

    def text(value):
        return integer(len(value.encode())) + value.encode()

    def number(value):
        return b"NaN " if math.isnan(value) else b"%.35g " % value

    def named(one):
        return one.id.bytes + number(one.number) + one.unit_id.bytes + text(one.unit)

    form = data[:120] + integer(0xDEADBEEF) + data[120:] + text(details.unit) + integer(len(details.validators))
    form += b"".join(map(named, details.validators)) + named(details.trigger or Named(NULL, 0.0)) + integer(len(details.values))
    return form + b"".join(named(one) + number(one.speed) for one in details.values) + job.bytes


def signal_of(sample_type, values, **header):
    return signal_file(sample_type, pack(sample_type, values), len(values), **header)


def parse_signal_file(data):
    """Header fields by name, and the stored bytes as "stored"; checks what every file must have."""
    header = dict(zip(HEADER_FIELDS, HEADER.unpack(data[:120])))
    header["stored"] = data[120:]
    assert header["version"] == 2 and header["size"] == 120
    assert header["byte_count"] == len(data) - 120
    assert header["data_checksum"] == xor16(data[120:])
    assert header["header_checksum"] == xor16(data[:118])
    for name in ("config", "measurement", "unit"):
        header[name] = uuid.UUID(bytes=header[name])
    return header


def values_of(data):
    """Samples of an uncompressed time signal file."""
    header = parse_signal_file(data)
    name = next(n for n, (number, _) in SAMPLE_TYPES.items() if number == header["sample_type"])
    return unpack(name, header["stored"])


def chunk(name, data, order="<"):
    return name + struct.pack(order + "I", len(data)) + data + b"\0" * (len(data) % 2)


def wave_format(tag, bits, channels, rate, order="<"):
    block = channels * bits // 8
    return struct.pack(order + "HHIIHH", tag, channels, rate, rate * block, block, bits)


def wav(bits, frames, tag=1, channels=1, rate=1000, extensible=False, order="<", before=b"", behind=b"", announced=None):
    """A WAV file of raw frame bytes; `announced` is the length that the data chunk claims."""
    form = wave_format(0xFFFE if extensible else tag, bits, channels, rate, order)
    if extensible:
        form += struct.pack("<HHI", 22, bits, 0) + struct.pack("<H", tag) + bytes.fromhex("000000001000800000aa00389b71")
    elif tag != 1:
        form += struct.pack(order + "H", 0)
    data = chunk(b"data", frames, order)
    if announced is not None:
        data = b"data" + struct.pack(order + "I", announced) + data[8:]
    body = b"WAVE" + chunk(b"fmt ", form, order) + before + data + behind
    return {"<": b"RIFF", ">": b"RIFX"}[order] + struct.pack(order + "I", len(body)) + body


def data_of_wav(data):
    """(format tag, channels, rate, bits, frame bytes) of a WAV file, by walking its chunks."""
    assert data[:4] == b"RIFF" and data[8:12] == b"WAVE", data[:12]
    form = frames = None
    position = 12
    while position + 8 <= len(data):
        name, size = data[position:position + 4], struct.unpack("<I", data[position + 4:position + 8])[0]
        body = data[position + 8:position + 8 + size]
        if name == b"fmt ":
            form = struct.unpack("<HHIIHH", body[:16])
        if name == b"data":
            frames = body
        position += 8 + size + size % 2
    tag, channels, rate, _, _, bits = form
    return tag, channels, rate, bits, frames


class Result:
    """What one run of the tool gave."""

    def __init__(self, arguments, code, out, err):
        self.arguments = arguments
        self.code = code
        self.raw = out
        self.out = out.decode("utf-8", "surrogateescape")
        self.err = err.decode("utf-8", "surrogateescape")

    def lines(self):
        return self.out.splitlines()

    def objects(self):
        return [json.loads(line) for line in self.out.splitlines()]


class ToolTest(unittest.TestCase):
    """A test with an empty folder of its own, in which the tool runs."""

    maxDiff = None

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="qen-test-")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(os.fsencode(self.folder), os.fsencode(name))

    def write(self, name, data):
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data.encode() if isinstance(data, str) else data)
        return name

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def names(self, folder="."):
        return sorted(os.listdir(os.path.join(self.folder, folder)))

    def start(self, *arguments, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        return subprocess.Popen(COMMAND + list(arguments), cwd=self.folder, **options)

    def run_tool(self, *arguments, code=0, stdin=None, **options):
        """Runs the tool, which must end with the given status (None: any) and without a sanitizer's complaint."""
        process = self.start(*arguments, stdin=subprocess.DEVNULL if stdin is None else subprocess.PIPE, **options)
        out, err = process.communicate(stdin)
        result = Result(arguments, process.returncode, out or b"", err or b"")
        self.assertNotRegex(result.err, "Sanitizer|runtime error:", arguments)
        if code is not None:
            self.assertEqual(code, result.code, (arguments, result.out[-2000:], result.err[-2000:]))
        self.assertGreaterEqual(result.code, 0, ("ended by a signal", arguments))
        return result

    def fails(self, code, message, *arguments, **options):
        """Runs the tool, which must fail with exactly one line on standard error and nothing on standard output."""
        result = self.run_tool(*arguments, code=code, **options)
        self.assertEqual("qen: " + message + "\n", result.err)
        self.assertEqual("", result.out)
        return result

    def shown_on_terminal(self, *arguments):
        """What a run shows on a terminal; what it prints goes elsewhere."""
        main, side = pty.openpty()
        process = self.start(*arguments, stdout=subprocess.DEVNULL, stderr=side)
        os.close(side)
        shown = b""
        # A terminal whose other side is closed gives an error instead of an end.
        with contextlib.suppress(OSError):
            while piece := os.read(main, 4096):
                shown += piece
        os.close(main)
        self.assertEqual(0, process.wait(), shown)
        return shown.decode()

    def peak_memory(self, *arguments, code):
        """Kilobytes that a run took at most. Sanitizers must not keep what was freed."""
        options = ":".join(filter(None, (os.environ.get("ASAN_OPTIONS"), "quarantine_size_mb=1")))
        process = self.start(*arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             env=dict(os.environ, ASAN_OPTIONS=options))
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(code, process.returncode, arguments)
        return usage.ru_maxrss

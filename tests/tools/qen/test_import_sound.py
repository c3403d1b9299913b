import gzip
import math
import struct
import zlib

from support import (CONFIG, MEASUREMENT, NULL, UNIT, ToolTest, chunk, pack, parse_signal_file, signal_file, values_of,
                     wav, wave_format)

GIVEN = ("--config", str(CONFIG), "--measurement", str(MEASUREMENT), "--unit-uuid", str(UNIT), "--time", "0")


def counts24(values, order="little"):
    return b"".join(value.to_bytes(3, order, signed=True) for value in values)


# encoding: (bits, format tag, frame bytes, sample type, sample bytes)
SIGNALLING_NAN = struct.pack("<I", 0x7FA00001)
SIGNALLING_NAN_64 = struct.pack("<Q", 0x7FF4000000000001)
FLOATS = pack("float32", [0.0, -0.0, 1.0, -1.5, 3.0e38, 1e-45, math.inf]) + SIGNALLING_NAN
DOUBLES = pack("float64", [0.0, -0.0, 1.0, -1.5, 1e308, 5e-324, -math.inf]) + SIGNALLING_NAN_64
COUNTS_24 = [0, 1, -1, 8388607, -8388608, 256, 255]
ENCODINGS = {
    "8 bits": (8, 1, bytes([0, 1, 127, 128, 129, 254, 255]), "uint8", bytes([0, 1, 127, 128, 129, 254, 255])),
    "16 bits": (16, 1, pack("int16", [0, 1, -1, 32767, -32768]), "int16", pack("int16", [0, 1, -1, 32767, -32768])),
    "24 bits": (24, 1, counts24(COUNTS_24), "int32", pack("int32", COUNTS_24)),
    "32 bits": (32, 1, pack("int32", [0, 1, -1, 2**31 - 1, -2**31]), "int32", pack("int32", [0, 1, -1, 2**31 - 1, -2**31])),
    "float": (32, 3, FLOATS, "float32", FLOATS),
    "double": (64, 3, DOUBLES, "float64", DOUBLES),
}


def aiff(bits, frames, channels=1, compression=None, announced=None):
    """An AIFF file at 1000 Hz, an AIFF-C file when a compression is named."""
    rate = struct.pack(">HQ", 16383 + 9, 1000 << (63 - 9))
    common = struct.pack(">hIh", channels, len(frames) // (channels * bits // 8), bits) + rate
    form = b"AIFF"
    if compression:
        form = b"AIFC"
        common += compression + b"\0\0"
    samples = struct.pack(">II", 0, 0) + frames
    sound = chunk(b"SSND", samples, ">")
    if announced is not None:
        sound = b"SSND" + struct.pack(">I", announced + 8) + sound[8:]
    version = chunk(b"FVER", struct.pack(">I", 0xA2805140), ">") if compression else b""
    body = form + version + chunk(b"COMM", common, ">") + sound
    return b"FORM" + struct.pack(">I", len(body)) + body


def swapped(frames, width):
    return b"".join(frames[i:i + width][::-1] for i in range(0, len(frames), width))


def rf64(bits, frames, announced=None):
    sizes = struct.pack("<QQQI", 0, len(frames) if announced is None else announced, len(frames) * 8 // bits, 0)
    body = b"WAVE" + chunk(b"ds64", sizes) + chunk(b"fmt ", wave_format(1, bits, 1, 1000))
    return b"RF64" + struct.pack("<I", 0xFFFFFFFF) + body + b"data" + struct.pack("<I", 0xFFFFFFFF) + frames


def w64(bits, frames, announced=None):
    def guid(name):
        tail = "2e91cf11a5d628db04c10000" if name == b"riff" else "f3acd3118cd100c04f8edb8a"
        return name + bytes.fromhex(tail)

    def part(name, data, size=None):
        size = 24 + (len(data) if size is None else size)
        return guid(name) + struct.pack("<Q", size) + data + b"\0" * (-len(data) % 8)

    body = guid(b"wave") + part(b"fmt ", wave_format(1, bits, 1, 1000)) + part(b"data", frames, announced)
    return guid(b"riff") + struct.pack("<Q", 24 + len(body)) + body


class ImportSound(ToolTest):
    def imported(self, data, *arguments):
        self.write("in.wav", data)
        self.run_tool("import", "in.wav", "-o", "out.qts", "--force", *GIVEN, *arguments)
        return self.read("out.qts")

    def test_every_encoding_keeps_its_exact_samples(self):
        for extensible in (False, True):
            for name, (bits, tag, frames, sample_type, samples) in ENCODINGS.items():
                with self.subTest(encoding=name, extensible=extensible):
                    data = self.imported(wav(bits, frames, tag, extensible=extensible))
                    width = len(pack(sample_type, [0]))
                    self.assertEqual(signal_file(sample_type, samples, len(samples) // width), data)

    def test_big_endian_wav(self):
        for name in ("16 bits", "24 bits", "32 bits", "float"):
            bits, tag, frames, sample_type, samples = ENCODINGS[name]
            with self.subTest(encoding=name):
                data = self.imported(wav(bits, swapped(frames, bits // 8), tag, order=">"))
                self.assertEqual(samples, data[120:])

    def test_rf64_and_wave64(self):
        for name in ("8 bits", "16 bits", "24 bits", "32 bits"):
            bits, _, frames, _, samples = ENCODINGS[name]
            for make in (rf64, w64):
                with self.subTest(encoding=name, container=make.__name__):
                    self.assertEqual(samples, self.imported(make(bits, frames))[120:])

    def test_aiff(self):
        signed = pack("int8", [0, 1, -1, 127, -128])
        self.assertEqual(signal_file("int8", signed, 5), self.imported(aiff(8, signed)))
        for name in ("16 bits", "24 bits", "32 bits"):
            bits, _, frames, _, samples = ENCODINGS[name]
            with self.subTest(encoding=name):
                self.assertEqual(samples, self.imported(aiff(bits, swapped(frames, bits // 8)))[120:])
        self.assertEqual(FLOATS, self.imported(aiff(32, swapped(FLOATS, 4), compression=b"fl32"))[120:])
        self.assertEqual(DOUBLES, self.imported(aiff(64, swapped(DOUBLES, 8), compression=b"fl64"))[120:])
        little = pack("int16", [1, -2, 300])
        self.assertEqual(little, self.imported(aiff(16, little, compression=b"sowt"))[120:])

    def test_header_holds_what_the_options_say(self):
        data = self.imported(wav(16, pack("int16", [1, 2, 3]), rate=25600), "--scale", "0.00020861538461539042", "--offset",
                             "-12.5", "--signal-type", "demodulation_time_signal", "--time", "2026-11-20T17:57:20.000123Z",
                             "--job", str(CONFIG))
        self.assertEqual(signal_file("int16", pack("int16", [1, 2, 3]), 3, delta_x=1 / 25600, scale=0.00020861538461539042,
                                     offset=-12.5, time=1795197440000123, signal_type=2), data)

    def test_times(self):
        for text, microseconds in (
                ("1970-01-01T00:00:00Z", 0), ("2000-03-01T12:00:00+02:00", 951904800000000), ("2000-02-29", 951782400000000),
                ("2000-01-01t00:00:00.5z", 946684800500000), ("2000-01-01 00:00:00.0000010Z", 946684800000001),
                ("-5", -5), ("9223372036854775807", 2**63 - 1), ("1969-12-31T23:59:59.999999Z", -1),
                ("2000-01-01T00:30:00-01:30", 946692000000000)):
            with self.subTest(text=text):
                data = self.imported(wav(8, b"\x80"), "--time", text)
                self.assertEqual(microseconds, parse_signal_file(data)["time"])

    def test_bad_times_are_usage_errors(self):
        self.write("in.wav", wav(8, b"\x80"))
        for text in ("2000-01-01T00:00:00", "2000-13-01T00:00:00Z", "2000-02-30T00:00:00Z", "yesterday", "", "1.5",
                     "2000-01-01T24:00:00Z", "2000-01-01T00:00:00+24:00", "2000-01-01T00:00:00.Z", "9223372036854775808"):
            with self.subTest(text=text):
                self.fails(2, '--time: "%s" is neither RFC 3339 time (2026-11-20T17:57:20Z) nor microseconds '
                           "(qen import --help explains)" % text, "import", "in.wav", "--time", text)
        self.fails(2, '--time: "2000-01-01T00:00:00.0000001Z" is finer than a microsecond (qen import --help explains)',
                   "import", "in.wav", "--time", "2000-01-01T00:00:00.0000001Z")

    def test_defaults(self):
        self.write("in.wav", wav(16, pack("int16", [5]), rate=48000))
        self.run_tool("import", "in.wav")
        self.run_tool("import", "in.wav", "-d", "again")
        first, second = parse_signal_file(self.read("in.qts")), parse_signal_file(self.read("again/in.qts"))
        self.assertEqual((1, 1 / 48000, 1.0, 0.0, 1), tuple(first[k] for k in ("signal_type", "delta_x", "scale", "offset",
                                                                              "compression")))
        self.assertEqual((NULL, NULL), (first["config"], first["unit"]))
        self.assertEqual(4, first["measurement"].version)
        self.assertNotEqual(first["measurement"], second["measurement"])
        self.assertGreater(first["time"], 1577836800 * 10**6)  # the clock says later than 2020
        self.assertLessEqual(first["time"], second["time"])

    def test_own_rate_stays_unless_overridden(self):
        self.write("in.wav", wav(8, b"\x80", rate=48000))
        result = self.run_tool("import", "in.wav", "-o", "a.qts", "--rate", "1000")
        self.assertEqual("qen: in.wav: keeps its own rate of 48000 Hz; --override-rate replaces it\n"
                         "in.wav -> a.qts: 1 uint8 sample, 48000 Hz\n", result.err)
        self.assertEqual(1 / 48000, parse_signal_file(self.read("a.qts"))["delta_x"])
        self.assertEqual("in.wav -> b.qts: 1 uint8 sample, 48000 Hz\n",
                         self.run_tool("import", "in.wav", "-o", "b.qts", "--rate", "48000").err)
        self.run_tool("import", "in.wav", "-o", "c.qts", "--rate", "12800.5", "--override-rate")
        self.assertEqual(1 / 12800.5, parse_signal_file(self.read("c.qts"))["delta_x"])
        self.run_tool("import", "in.wav", "-o", "d.qts", "--delta-x", "0.25", "--override-rate")
        self.assertEqual(0.25, parse_signal_file(self.read("d.qts"))["delta_x"])

    def test_impossible_rates_are_refused(self):
        for rate in (0, 0x80000000, 0xFFFFFFFF):
            self.write("in.wav", wav(8, b"\x80", rate=rate) if rate == 0 else
                       wav(8, b"\x80").replace(struct.pack("<II", 1000, 1000), struct.pack("<II", rate, 1000)))
            result = self.run_tool("import", "in.wav", code=3)
            self.assertRegex(result.err, r"^qen: in\.wav: is no readable sound file: .*\n$")
        self.assertEqual(["in.wav"], self.names())

    def test_channels_become_files(self):
        frames = pack("int16", [1, -1, 2, -2, 3, -3])
        self.write("in.wav", wav(16, frames, channels=2))
        result = self.run_tool("import", "in.wav")
        self.assertEqual("in.wav -> in-1.qts: 3 int16 samples, 1000 Hz\nin.wav -> in-2.qts: 3 int16 samples, 1000 Hz\n", result.err)
        self.assertEqual([1, 2, 3], values_of(self.read("in-1.qts")))
        self.assertEqual([-1, -2, -3], values_of(self.read("in-2.qts")))
        first, second = parse_signal_file(self.read("in-1.qts")), parse_signal_file(self.read("in-2.qts"))
        self.assertNotEqual(first["measurement"], second["measurement"])
        self.assertEqual(first["time"], second["time"])
        self.run_tool("import", "in.wav", "--channel", "2", "-o", "one.qts")
        self.assertEqual([-1, -2, -3], values_of(self.read("one.qts")))
        self.fails(3, "in.wav: has 2 channels, no channel 3", "import", "in.wav", "--channel", "3")
        self.fails(3, "in.wav: has 2 channels, no channel 0", "import", "in.wav", "--channel", "0")
        self.fails(3, "in.wav: has 2 channels, no channel 1000000", "import", "in.wav", "--channel", "18446744073709551615")

    def test_channels_of_24_and_8_bits_are_told_apart(self):
        self.write("a.wav", wav(24, counts24([1, -8388608, 2, 8388607]), channels=2))
        self.write("b.wav", wav(8, bytes([1, 2, 3, 4, 5, 6]), channels=3))
        self.run_tool("import", "a.wav", "b.wav")
        self.assertEqual([1, 2], values_of(self.read("a-1.qts")))
        self.assertEqual([-8388608, 8388607], values_of(self.read("a-2.qts")))
        self.assertEqual([[1, 4], [2, 5], [3, 6]], [values_of(self.read("b-%d.qts" % n)) for n in (1, 2, 3)])

    def test_one_measurement_or_file_name_for_several_results_is_refused_before_anything_is_written(self):
        self.write("in.wav", wav(16, pack("int16", [1, -1]), channels=2))
        self.write("other.wav", wav(8, b"\x80"))
        before = self.names()
        self.fails(2, "in.wav: --measurement names one measurement for 2 results", "import", "in.wav", "--measurement",
                   str(MEASUREMENT))
        self.fails(2, "--measurement names one measurement for 2 results", "import", "in.wav", "other.wav", "--measurement",
                   str(MEASUREMENT))
        self.fails(2, "in.wav: -o names one file for 2 results; -d names a folder", "import", "in.wav", "-o", "x.qts")
        self.fails(2, "-o names one file for 2 results; -d names a folder", "import", "in.wav", "other.wav", "-o", "x.qts")
        self.assertEqual(before, self.names())
        self.run_tool("import", "in.wav", "--channel", "1", "--measurement", str(MEASUREMENT), "-o", "x.qts")

    def test_long_recording_crosses_read_blocks(self):
        values = [(i * 7919) % 65536 - 32768 for i in range(3 * 20001)]
        self.write("in.wav", wav(16, pack("int16", values), channels=3))
        self.run_tool("import", "in.wav")
        for channel in (1, 2, 3):
            self.assertEqual(values[channel - 1::3], values_of(self.read("in-%d.qts" % channel)))

    def test_compressed_encodings_are_refused(self):
        for tag, bits, name in ((7, 8, "U-Law"), (6, 8, "A-Law"), (0x11, 4, "IMA ADPCM")):
            form = struct.pack("<HHIIHHHH", tag, 1, 1000, 1000, 256 if bits == 4 else 1, bits, 2, 505)
            body = b"WAVE" + chunk(b"fmt ", form) + chunk(b"fact", struct.pack("<I", 505)) + chunk(b"data", bytes(256))
            self.write("in.wav", b"RIFF" + struct.pack("<I", len(body)) + body)
            with self.subTest(encoding=name):
                self.fails(3, "in.wav: has the encoding %s, which does not hold samples as they were taken; only PCM of 8 to "
                           "32 bits and floating point are read" % name, "import", "in.wav")

    def test_other_containers_are_refused(self):
        au = b".snd" + struct.pack(">IIIII", 24, 4, 3, 1000, 1) + b"\0\1\0\2"
        self.write("in.au", au)
        result = self.run_tool("import", "in.au", code=3)
        self.assertRegex(result.err, r"^qen: in\.au: is a file of the kind AU \(Sun/NeXT\); only WAV, RF64, Wave64 and AIFF are read\n$")

    def test_a_header_that_announces_more_than_the_file_holds(self):
        frames = pack("int16", [1, 2, 3, 4])
        for announced in (9, 10, 1000, 2**31 - 2, 0xFFFFFFFE, 0xFFFFFFFF):
            with self.subTest(announced=announced):
                self.write("in.wav", wav(16, frames, announced=announced))
                self.fails(3, "in.wav: is cut or was not closed: its header announces %d bytes of samples, 8 can be read "
                           "(--accept-cut takes these)" % announced, "import", "in.wav")
                result = self.run_tool("import", "in.wav", "--accept-cut", "-o", "out.qts", "--force")
                self.assertEqual([1, 2, 3, 4], values_of(self.read("out.qts")))
                self.assertEqual("qen: in.wav: its header announces %d bytes of samples, 8 can be read\n"
                                 "in.wav -> out.qts: 4 int16 samples, 1000 Hz\n" % announced, result.err)

    def test_a_recording_that_was_never_closed(self):
        self.write("in.wav", wav(16, pack("int16", [1, 2, 3, 4]), announced=0))
        self.fails(3, "in.wav: holds no samples", "import", "in.wav")
        data = wav(16, pack("int16", [1, 2, 3, 4]), announced=0)
        self.write("in.wav", data[:4] + struct.pack("<I", 8) + data[8:])  # both lengths as they stand before the end
        self.run_tool("import", "in.wav", "--accept-cut", "-o", "out.qts")
        self.assertEqual([1, 2, 3, 4], values_of(self.read("out.qts")))
        self.fails(3, "in.wav: is cut or was not closed: its header announces 0 bytes of samples, 8 can be read "
                   "(--accept-cut takes these)", "import", "in.wav")

    def test_other_containers_that_announce_more_than_they_hold(self):
        frames = pack("int16", [1, 2, 3, 4])
        for name, data in (("rf64", rf64(16, frames, announced=1 << 40)), ("w64", w64(16, frames, announced=1 << 40)),
                           ("aiff", aiff(16, frames, announced=1 << 30)), ("rifx", wav(16, frames, order=">", announced=1 << 30))):
            with self.subTest(container=name):
                self.write("in.wav", data)
                self.fails(3, "in.wav: is cut or was not closed: its header announces %d bytes of samples, 8 can be read "
                           "(--accept-cut takes these)" % (1 << 30 if name in ("aiff", "rifx") else 1 << 40), "import", "in.wav")

    def test_half_a_frame_at_the_end_is_no_sample(self):
        self.write("in.wav", wav(16, pack("int16", [1, 2]) + b"\x03"))
        self.fails(3, "in.wav: is cut or was not closed: its header announces 5 bytes of samples, 4 can be read "
                   "(--accept-cut takes these)", "import", "in.wav")

    def test_a_lying_header_costs_no_memory(self):
        self.write("small.wav", wav(16, pack("int16", [1, 2])))
        self.write("lying.wav", wav(16, pack("int16", [1, 2]), announced=0xFFFFFFF0))
        self.write("lying.rf64", rf64(16, pack("int16", [1, 2]), announced=1 << 50))
        modest = self.peak_memory("import", "small.wav", code=0)
        for name in ("lying.wav", "lying.rf64"):
            self.assertLess(self.peak_memory("import", name, code=3), modest + 16384)

    def test_chunks_around_the_samples_do_no_harm(self):
        note = chunk(b"LIST", b"INFOISFT\x06\0\0\0maker\0")
        data = wav(16, pack("int16", [1, 2, 3]), before=note, behind=note)
        self.assertEqual([1, 2, 3], values_of(self.imported(data)))
        self.assertEqual([9], values_of(self.imported(wav(8, b"\x09", before=chunk(b"odd ", b"abc")))))

    def test_no_truncation_of_a_file_passes_or_crashes(self):
        data = wav(16, pack("int16", [1, 2, 3, 4]), behind=chunk(b"note", b"ab"))
        names = [self.write("%03d.wav" % length, data[:length]) for length in range(len(data) - 10)]
        result = self.run_tool("import", *names, code=3)
        self.assertEqual(len(names), len(result.err.splitlines()))
        for name, line in zip(names, result.err.splitlines()):
            self.assertTrue(line.startswith("qen: " + name + ": "), line)
        self.assertFalse([name for name in self.names() if name.endswith(".qts")])

    def test_no_changed_header_byte_crashes(self):
        data = wav(16, pack("int16", [1, 2, 3, 4]))
        names = []
        for position in range(44):
            for value in (0, 0x7F, 0xFF):
                names.append(self.write("%d-%d.wav" % (position, value), data[:position] + bytes([value]) + data[position + 1:]))
        self.run_tool("import", *names, "-d", "out", "--rate", "1", code=4)

    def test_empty_recordings_are_refused(self):
        self.write("in.wav", wav(16, b""))
        for command in ("import", "demo"):
            self.fails(3, "in.wav: holds no samples", command, "in.wav")

    def test_options_of_the_other_kind_are_refused(self):
        self.write("in.wav", wav(8, b"\x80"))
        self.fails(2, "in.wav: is a sound file: --type and --column are for CSV files", "import", "in.wav", "--type", "int16")
        self.fails(2, "in.wav: is a sound file: --type and --column are for CSV files", "import", "in.wav", "--column", "1")

    def test_bad_option_values_are_usage_errors(self):
        self.write("in.wav", wav(8, b"\x80"))
        for option, value, message in (
                ("--rate", "0", 'must be above 0'), ("--rate", "-5", ""), ("--rate", "nan", ""), ("--rate", "1,5", ""),
                ("--delta-x", "inf", ""), ("--scale", "0", ""), ("--scale", "x", ""), ("--offset", "1e999", ""),
                ("--unit-uuid", "123", ""), ("--config", "", ""), ("--measurement", "zz", ""), ("--job", "-", ""),
                ("--signal-type", "raw", ""), ("--compression", "int24", ""), ("--type", "int24", ""), ("--channel", "-1", ""),
                ("--channel", "1.5", "")):
            with self.subTest(option=option, value=value):
                result = self.run_tool("import", "in.wav", option, value, code=2)
                self.assertRegex(result.err, r"^qen: %s: .* \(qen import --help explains\)\n$" % option)
        self.assertEqual(["in.wav"], self.names())

    def test_compressed_results_hold_the_same_samples(self):
        samples = pack("int16", [i % 50 for i in range(5000)])
        self.write("in.wav", wav(16, samples))
        for method, expand in (("zlib", zlib.decompress), ("gzip", gzip.decompress)):
            self.run_tool("import", "in.wav", "--compression", method, "-o", method + ".qts")
            header = parse_signal_file(self.read(method + ".qts"))
            self.assertEqual({"zlib": 2, "gzip": 4}[method], header["compression"])
            self.assertEqual((5000, samples), (header["count"], expand(header["stored"])))
            self.assertLess(len(header["stored"]), len(samples) // 4)

    def test_json(self):
        self.write("in.wav", wav(16, pack("int16", [1, -1]), channels=2, rate=8000))
        result = self.run_tool("import", "in.wav", "--json")
        self.assertEqual("", result.err)
        first, second = result.objects()
        uuid_text = str(parse_signal_file(self.read("in-2.qts"))["measurement"])
        self.assertEqual({"schema": "qen.import/1", "input": "in.wav", "file": "in-2.qts", "details_file": "in-2.xml", "channel": 2, "label": None,
                          "unit": "", "measurement_uuid": uuid_text, "sample_type": "int16", "sample_type_code": 2, "sample_count": 1,
                          "delta_x": 0.000125, "file_size": 122}, second)
        self.assertEqual(("in-1.qts", 1), (first["file"], first["channel"]))

    def test_verbose_names_the_measurement(self):
        self.write("in.wav", wav(8, b"\x80"))
        result = self.run_tool("import", "in.wav", "-v", "--measurement", str(MEASUREMENT), "--time", "0")
        self.assertRegex(result.err, "^qen: in.qts: measurement %s at 1970-01-01T00:00:00.000000Z, 1 uint8 sample, none, offset 0, "
                         "1 sample bytes, checksums 0x[0-9a-f]{4} 0x0080\n" % MEASUREMENT)

    def test_quiet_says_nothing(self):
        self.write("in.wav", wav(16, pack("int16", [1]), announced=100))
        result = self.run_tool("import", "in.wav", "-q", "--accept-cut")
        self.assertEqual(("", ""), (result.out, result.err))

import json
import math
import struct
import zlib

from support import CONFIG, MEASUREMENT, NULL, SAMPLE_TYPES, UNIT, ToolTest, pack, signal_file, signal_of


def figures(values):
    """The figures of physical values, by their definitions."""
    count = len(values)
    mean = math.fsum(values) / count
    rms = math.sqrt(math.fsum(v * v for v in values) / count)
    variance = math.fsum((v - mean) ** 2 for v in values) / count
    peak = max(abs(v) for v in values)
    return {"minimum": min(values), "maximum": max(values), "mean": mean, "rms": rms, "peak": peak, "crest_factor": peak / rms,
            "kurtosis": math.fsum((v - mean) ** 4 for v in values) / count / variance**2}


class Info(ToolTest):
    def info(self, data, *arguments, code=0):
        self.write("a.qts", data)
        return self.run_tool("info", "--json", "a.qts", *arguments, code=code).objects()[0]

    def test_json_holds_the_whole_header(self):
        data = signal_of("int16", [1, 2, 3], delta_x=1 / 25600, scale=0.001, offset=-1.5, time=1795197440000123)
        self.assertEqual({
            "schema": "qen.info/1", "file": "a.qts", "file_size": 126, "header_good": True, "header_version": 2,
            "header_size": 120, "signal_type": "raw_time_signal", "signal_type_code": 1,
            "measurement_config_uuid": str(CONFIG), "measurement_uuid": str(MEASUREMENT), "unit_uuid": str(UNIT),
            "time": "2026-11-20T17:57:20.000123Z", "time_us": 1795197440000123, "delta_x": 3.90625e-05, "rate_hz": 25600.0,
            "scaling_factor": 0.001, "offset": -1.5, "sample_type": "int16", "sample_type_code": 2, "sample_count": 3,
            "compression": "none", "compression_code": 1, "data_byte_count": 6,
            "data_checksum": 1 ^ 2 ^ 3, "header_checksum": struct.unpack("<H", data[118:120])[0],
            "details": None, "damage": []}, self.info(data))

    def test_enumerations_have_their_names(self):
        for name, (number, _) in SAMPLE_TYPES.items():
            object = self.info(signal_of(name, [1]))
            self.assertEqual((name, number), (object["sample_type"], object["sample_type_code"]))
        for number, name in enumerate(("raw_time_signal", "demodulation_time_signal", "raw_spectrum", "demodulation_spectrum",
                                       "order_analysis"), 1):
            object = self.info(signal_of("int8", [1], signal_type=number))
            self.assertEqual((name, number), (object["signal_type"], object["signal_type_code"]))
        for name, number in (("none", 1), ("zlib", 2), ("gzip", 4)):
            self.assertEqual((name, number), (lambda o: (o["compression"], o["compression_code"]))(
                self.info(signal_file("int8", b"", 0, compression=name))))

    def test_unknown_enumerations_are_null(self):
        object = self.info(signal_file(77, b"\0", 1, compression=-9, signal_type=0x7FFFFFFF), code=1)
        self.assertEqual((None, 77, None, -9, None, 0x7FFFFFFF), tuple(object[k] for k in (
            "sample_type", "sample_type_code", "compression", "compression_code", "signal_type", "signal_type_code")))
        self.assertFalse(object["header_good"])

    def test_numbers_of_64_bits_are_exact(self):
        object = self.info(signal_file("int8", b"", 2**64 - 1, byte_count=2**64 - 2, time=2**63 - 1), code=1)
        self.assertEqual((2**64 - 1, 2**64 - 2, 2**63 - 1),
                         (object["sample_count"], object["data_byte_count"], object["time_us"]))
        self.assertEqual(-(2**63), self.info(signal_of("int8", [1], time=-(2**63)))["time_us"])
        self.assertEqual("-290308-12-21T19:59:05.224192Z", self.info(signal_of("int8", [1], time=-(2**63)))["time"])

    def test_numbers_that_json_has_not_are_null(self):
        object = self.info(signal_of("int8", [1], delta_x=math.nan, scale=math.inf, offset=-math.inf))
        self.assertEqual((None, None, None, None),
                         tuple(object[k] for k in ("delta_x", "scaling_factor", "offset", "rate_hz")))

    def test_rate(self):
        for delta_x, rate in ((0.001, 1000.0), (1 / 48828, 48828.0), (300.0, 1 / 300), (-1.0, None), (0.0, None), (5e-324, None),
                              (1e-12, 1e12), (0.3, 1 / 0.3)):
            with self.subTest(delta_x=delta_x):
                self.assertEqual(rate, self.info(signal_of("int8", [1], delta_x=delta_x))["rate_hz"])

    def test_doubles_are_exact_in_json(self):
        for value in (0.1, 1 / 3, 5e-324, 1.7976931348623157e308, 123456789.123456789, 2.0833333333333333e-05):
            self.assertEqual(value, self.info(signal_of("int8", [1], scale=value))["scaling_factor"])

    def test_text(self):
        self.write("a.qts", signal_file("int16", b"x" * 60, 50, delta_x=1 / 25600, scale=0.001, offset=2.5, time=1, compression="zlib",
                                        config=NULL))
        result = self.run_tool("info", "a.qts")
        checksums = struct.unpack("<HH", self.read("a.qts")[116:120])
        self.assertEqual(["a.qts",
                          "  kind           raw_time_signal",
                          "  time           1970-01-01T00:00:00.000001Z",
                          "  samples        50 int16",
                          "  spacing        3.90625e-05 s (25600 Hz, 0.001953125 s in all)",
                          "  value          (sample - 2.5) x 0.001",
                          "  compression    zlib",
                          "  sample bytes   60 (60 % of 100)",
                          "  measurement    e0000000-0000-4000-8000-000000000002",
                          "  configuration  00000000-0000-0000-0000-000000000000",
                          "  unit           d0000000-0000-4000-8000-000000000003",
                          "  checksums      header 0x%04x, samples 0x%04x" % (checksums[1], checksums[0])], result.lines())
        self.assertEqual("", result.err)

    def test_spectra_have_no_seconds(self):
        self.write("a.qts", signal_of("float32", [1.0], signal_type=3, delta_x=0.5))
        self.assertIn("  spacing        0.5", self.run_tool("info", "a.qts").lines())

    def test_samples_are_not_read(self):
        data = signal_of("int16", range(98))
        self.write("a.qts", data[:120] + bytes(196))  # wrong samples of the right length
        self.assertEqual(0, self.run_tool("info", "a.qts").code)
        self.run_tool("info", "a.qts", "--samples", code=1)

    def test_figures_of_every_type(self):
        values = {"int8": [1, -2, 3, -128], "uint8": [0, 255, 7], "int64": [2**40, -5, 0], "uint64": [2**53, 1, 2], "float32": [0.5, -1.25],
                  "float64": [0.1, -0.7, 5.0], "int16": [(i * 7919) % 2000 - 900 for i in range(40000)]}
        for sample_type, raw in values.items():
            for compression in ("none", "zlib"):
                stored = pack(sample_type, raw)
                stored = zlib.compress(stored) if compression == "zlib" else stored
                with self.subTest(type=sample_type, compression=compression):
                    data = signal_file(sample_type, stored, len(raw), scale=-0.25, offset=1.5, compression=compression)
                    got = self.info(data, "--samples")["statistics"]
                    expected = figures([(v - 1.5) * -0.25 for v in raw])
                    self.assertEqual(sorted(expected), sorted(got))
                    for key in expected:
                        self.assertTrue(math.isclose(expected[key], got[key], rel_tol=1e-9, abs_tol=1e-12), (key, expected, got))

    def test_figures_known_by_hand(self):
        got = self.info(signal_of("int16", [3, -1, 3, -1]), "--samples")["statistics"]
        self.assertEqual({"minimum": -1.0, "maximum": 3.0, "mean": 1.0, "rms": math.sqrt(5), "peak": 3.0,
                          "crest_factor": 3 / math.sqrt(5), "kurtosis": 1.0}, got)
        self.write("a.qts", signal_of("int16", [3, -1, 3, -1]))
        self.assertEqual(["  minimum        -1", "  maximum        3", "  mean           1", "  RMS            2.23607",
                          "  peak           3", "  crest factor   1.34164", "  kurtosis       1"],
                         self.run_tool("info", "--samples", "a.qts").lines()[-7:])

    def test_figures_that_do_not_exist_are_null(self):
        self.assertEqual({None}, set(self.info(signal_of("int16", []), "--samples")["statistics"].values()))
        constant = self.info(signal_of("int16", [0, 0]), "--samples")["statistics"]
        self.assertEqual((0.0, 0.0, None, None), tuple(constant[k] for k in ("mean", "rms", "crest_factor", "kurtosis")))
        self.write("a.qts", signal_of("int16", [0, 0]))
        self.assertEqual("  kurtosis       nan", self.run_tool("info", "--samples", "a.qts").lines()[-1])  # without a sign
        self.assertIsNone(self.info(signal_of("float64", [math.nan, 1.0]), "--samples")["statistics"]["mean"])

    def test_damage_that_the_header_shows(self):
        good = signal_of("int16", [1, 2])
        object = self.info(good[:40] + b"\xff" + good[41:], code=1)
        self.assertFalse(object["header_good"])
        self.write("a.qts", good + b"\0")
        result = self.run_tool("info", "a.qts", code=1)
        self.assertIn("  DAMAGED        size: 5 sample bytes in the file, 4 in the header", result.lines())
        self.assertEqual("", result.err)

    def test_damaged_samples_leave_the_header_readable(self):
        good = signal_of("int16", [1, 2])
        self.write("a.qts", good[:120] + b"\2" + good[121:])
        result = self.run_tool("info", "--samples", "--json", "a.qts", code=1)
        self.assertEqual("qen: a.qts: Checksum error in samples!\n", result.err)
        self.assertNotIn("statistics", json.loads(result.out))

    def test_what_is_no_time_signal_file(self):
        self.write("a.qts", b"RIFF" + bytes(200))
        self.fails(3, "a.qts: is no time signal file: it begins with the header version 18770 and size 17990, not 2 and 120",
                   "info", "a.qts")
        self.write("b.qts", bytes(119))
        self.fails(3, "b.qts: is no time signal file: it has 119 bytes, the header alone takes 120", "info", "b.qts")
        self.fails(3, "c.qts: cannot be opened: No such file or directory", "info", "c.qts")

    def test_bad_files_do_not_stop_the_rest(self):
        self.write("1.qts", signal_of("int8", [1]))
        self.write("2.qts", b"short")
        self.write("3.qts", signal_of("int8", [3]))
        result = self.run_tool("info", "--json", "1.qts", "2.qts", "none.qts", "3.qts", code=4)
        self.assertEqual(["1.qts", "3.qts"], [object["file"] for object in result.objects()])
        self.assertEqual(["qen: 2.qts: is no time signal file: it has 5 bytes, the header alone takes 120",
                          "qen: none.qts: cannot be opened: No such file or directory"], result.err.splitlines())

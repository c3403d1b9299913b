import gzip
import math
import os
import zlib

from support import NULL, SAMPLE_TYPES, ToolTest, pack, parse_signal_file, signal_file, signal_of, unpack, values_of

RAW = [(i * 7919) % 2000 - 500 for i in range(3000)]
KEPT = ("signal_type", "config", "measurement", "unit", "delta_x", "scale", "time", "count", "reserved")


def is_wider(source, target):
    """Whether every value range fits, by the rules of the types."""
    bits = lambda name: int(name.lstrip("uintfloa"))
    if source == target:
        return True
    if target.startswith("float"):
        return not source.startswith("float") or bits(target) > bits(source)
    if source.startswith("float") or bits(target) <= bits(source):
        return False
    return source.startswith("uint") or target.startswith("int")


class Convert(ToolTest):
    def converted(self, data, *arguments, code=0):
        self.write("in.qts", data)
        result = self.run_tool("convert", "in.qts", "-o", "out.qts", "--force", *arguments, code=code)
        self.assertEqual(data, self.read("in.qts"))
        return self.read("out.qts") if code == 0 else result

    def test_every_pair_of_types(self):
        values = {source: [0, 1, 127] if source.startswith("u") else [0, -1, 127] for source in SAMPLE_TYPES}
        for source in SAMPLE_TYPES:
            self.write("in/%s.qts" % source, signal_of(source, values[source], scale=0.5, offset=2.0, time=77))
        for target in SAMPLE_TYPES:
            wider = [source for source in SAMPLE_TYPES if is_wider(source, target)]
            refused = sorted(set(SAMPLE_TYPES) - set(wider))
            result = self.run_tool("convert", "in", "--type", target, "--check", "-q", "-d", target, code=4 if refused else 0)
            self.assertEqual(sorted(source + ".qts" for source in wider), self.names(target))
            for source in wider:
                self.assertEqual(signal_of(target, values[source], scale=0.5, offset=2.0, time=77),
                                 self.read("%s/%s.qts" % (target, source)), (source, target))
            self.assertEqual(len(refused), len(result.err.splitlines()))
            for source, line in zip(refused, result.err.splitlines()):
                self.assertRegex(line, r"^qen: in/%s\.qts: Conversion from \w+ to \w+ narrows the value range!$" % source)

    def test_values_are_exact_at_the_limits(self):
        self.assertEqual([2**64 - 1], values_of(self.converted(signal_of("uint64", [2**64 - 1]))))
        self.assertEqual([-(2**31), 2**31 - 1], values_of(self.converted(signal_of("int32", [-(2**31), 2**31 - 1]), "--type", "int64")))
        self.assertEqual([float(2**32 - 1)], values_of(self.converted(signal_of("uint32", [2**32 - 1]), "--type", "float64", "--check")))

    def test_check_finds_values_that_a_wider_type_cannot_hold(self):
        for source, values, target in (("int64", [0, 2**53 + 1], "float64"), ("uint64", [5, 2**64 - 1], "float64"),
                                       ("int32", [3, 2**24 + 1], "float32"), ("int64", [1, 2**63 - 1], "float32"),
                                       ("int64", [0, -(2**63) + 1], "float64")):
            with self.subTest(source=source, target=target):
                self.write("in.qts", signal_of(source, values))
                self.fails(1, "in.qts: not converted: sample 1 would not hold the same value", "convert", "in.qts", "--type",
                           target, "--check", "-o", "out.qts")
                self.assertEqual(["in.qts"], self.names())
                self.run_tool("convert", "in.qts", "--type", target, "-o", "unchecked.qts")
                self.assertEqual(len(values), parse_signal_file(self.read("unchecked.qts"))["count"])
                self.run_tool("convert", "in.qts", "--type", target, "--check", "--in-place", code=1)
                self.assertEqual(signal_of(source, values), self.read("in.qts"))
                os.remove(self.path("unchecked.qts"))
        self.converted(signal_of("int64", [2**53, -(2**63), 2**62]), "--type", "float64", "--check")

    def test_compressions(self):
        raw = pack("int16", RAW)
        forms = {"none": (raw, lambda b: b), "zlib": (zlib.compress(raw), zlib.decompress), "gzip": (gzip.compress(raw), gzip.decompress)}
        for source, (stored, _) in forms.items():
            data = signal_file("int16", stored, len(RAW), compression=source, time=5, offset=0.5)
            for target, (_, expand) in forms.items():
                with self.subTest(source=source, target=target):
                    result = self.converted(data, "--compression", target, "--check")
                    header, before = parse_signal_file(result), parse_signal_file(data)
                    self.assertEqual(raw, expand(header["stored"]))
                    self.assertEqual([before[k] for k in KEPT], [header[k] for k in KEPT])
                    if source == target:
                        self.assertEqual(data, result)
            self.assertEqual(data, self.converted(data))  # nothing asked for: the same bytes

    def test_a_type_change_keeps_the_compression(self):
        raw = pack("int16", RAW)
        result = parse_signal_file(self.converted(signal_file("int16", gzip.compress(raw), len(RAW), compression="gzip"), "--type",
                                                  "int32", "--check"))
        self.assertEqual((4, 3), (result["compression"], result["sample_type"]))
        self.assertEqual(pack("int32", RAW), gzip.decompress(result["stored"]))

    def test_the_offset_moves_into_the_header(self):
        for sample_type, values, moved, offset in (
                ("int16", [10, 11, 12, 13], [-2, -1, 0, 1], 12.0), ("int16", [-10, -11], [1, 0], -11.0),
                ("int8", [127, 127, -128], [127, 127, -128], 0.0), ("int8", [-128, -128, 100], [-101, -101, 127], -27.0),
                ("uint16", [10, 20], [10, 20], 0.0), ("float32", [1.0, 2.0], [-0.5, 0.5], 1.5), ("float64", [3.0, 5.0], [-1.0, 1.0], 4.0),
                ("int64", [2**40, 2**40 + 2], [-1, 1], float(2**40 + 1))):
            with self.subTest(type=sample_type, values=values):
                result = self.converted(signal_of(sample_type, values, scale=0.5, offset=0.25), "--remove-offset", "--check")
                self.assertEqual(signal_of(sample_type, moved, scale=0.5, offset=0.25 - offset), result)

    def test_offset_type_and_compression_at_once(self):
        result = parse_signal_file(self.converted(signal_of("int16", RAW, scale=0.001), "--remove-offset", "--type", "float64",
                                                  "--compression", "zlib", "--check"))
        total = sum(RAW)
        removed = int(total / len(RAW) + (0.5 if total > 0 else -0.5))
        self.assertEqual([float(v - removed) for v in RAW], unpack("float64", zlib.decompress(result["stored"])))
        self.assertEqual((-float(removed), 0.001, 6, 2), tuple(result[k] for k in ("offset", "scale", "sample_type", "compression")))

    def test_check_holds_for_floating_point_offsets(self):
        values = [math.sin(i) * 10 ** (i % 7) + 3.7 for i in range(2000)]
        for sample_type in ("float32", "float64"):
            self.converted(signal_of(sample_type, values), "--remove-offset", "--check")
            self.converted(signal_of(sample_type, values, offset=0.1), "--remove-offset", "--type", "float64", "--check")

    def test_check_holds_for_nan_and_infinity(self):
        data = signal_of("float32", [math.nan, math.inf, -math.inf, 1.0])
        self.assertEqual([math.inf, -math.inf, 1.0], values_of(self.converted(data, "--type", "float64", "--check"))[1:])

    def test_check_holds_for_fractional_offsets(self):
        for offset in (0.1, -1234.56789, 1e-9, 3.0):
            self.converted(signal_of("int16", RAW, offset=offset), "--remove-offset", "--check")
            self.converted(signal_of("int32", RAW, offset=offset), "--remove-offset", "--type", "int64", "--check")

    def test_empty_signals(self):
        result = parse_signal_file(self.converted(signal_of("int16", []), "--type", "float64", "--remove-offset", "--compression",
                                                  "zlib", "--check"))
        self.assertEqual((0, 0, 2, 6), tuple(result[k] for k in ("count", "byte_count", "compression", "sample_type")))

    def test_in_place(self):
        for name in ("a.qts", "b.qts"):
            self.write(name, signal_of("int16", RAW))
        result = self.run_tool("convert", "a.qts", "b.qts", "--type", "int32", "--in-place", "--check")
        self.assertEqual("a.qts -> a.qts: 3000 int32 samples, none, offset 0, 12000 sample bytes", result.err.splitlines()[0].split(", checksums")[0])
        for name in ("a.qts", "b.qts"):
            self.assertEqual(signal_of("int32", RAW), self.read(name))
        self.fails(2, "-: standard input has no place", "convert", "-", "--in-place", stdin=signal_of("int8", [1]))

    def test_a_target_is_needed(self):
        self.write("in.qts", signal_of("int16", [1]))
        self.fails(2, "convert needs -o, -d or --in-place", "convert", "in.qts", "--type", "int32")
        for pair in (("-o", "x", "-d", "y"), ("-o", "x", "--in-place"), ("-d", "x", "--in-place")):
            self.run_tool("convert", "in.qts", *pair, code=2)
        self.assertEqual(["in.qts"], self.names())

    def test_damaged_inputs_are_refused(self):
        good = signal_of("int16", [1, 2])
        for data, message in ((good[:-1], "Wrong time signal data size: actual 3 bytes, expected 4 bytes!"),
                              (good[:120] + b"\7" + good[121:], "Checksum error in samples!"),
                              (good[:60] + b"\7" + good[61:], "Checksum error in header!")):
            self.write("in.qts", data)
            self.fails(3, "in.qts: " + message, "convert", "in.qts", "--in-place")
            self.assertEqual(data, self.read("in.qts"))

    def test_lying_streams_are_refused(self):
        stream = zlib.compress(pack("int16", RAW))
        self.write("in.qts", signal_file("int16", stream, 2**29, compression="zlib"))
        self.write("ok.qts", signal_of("int8", [1]))
        result = self.run_tool("convert", "in.qts", "--compression", "none", "-o", "out.qts", code=3)
        self.assertRegex(result.err, r"^qen: in\.qts: .*\n$")
        self.assertNotIn("out.qts", self.names())
        modest = self.peak_memory("convert", "ok.qts", "--compression", "none", "-o", "out.qts", code=0)
        self.assertLess(self.peak_memory("convert", "in.qts", "--compression", "none", "-o", "o2.qts", code=3), modest + 16384)

    def test_json(self):
        self.write("in.qts", signal_of("int16", [10, 11, 12, 13]))
        result = self.run_tool("convert", "in.qts", "--remove-offset", "--type", "int32", "--check", "-o", "out.qts", "--json")
        self.assertEqual([{"schema": "qen.convert/1", "input": "in.qts", "file": "out.qts", "details_file": None, "sample_type": "int32", "sample_type_code": 3,
                           "compression": "none", "compression_code": 1, "offset": -12.0, "file_size": 136, "checked": True}],
                         result.objects())

    def test_job_changes_nothing_in_files(self):
        data = signal_of("int16", [1, 2])
        self.assertEqual(data, self.converted(data, "--job", "a0000000-0000-4000-8000-00000000000a"))

    def test_a_null_measurement_is_no_obstacle(self):
        data = signal_of("int16", [1, 2], measurement=NULL)
        self.assertEqual(data, self.converted(data))

import math
import struct
import time
import zlib

from support import ToolTest, data_of_wav, pack, signal_file, signal_of, wav

WAV_ENCODINGS = {"uint8": (1, 8), "int16": (1, 16), "int32": (1, 32), "float32": (3, 32), "float64": (3, 64)}
VALUES = {"uint8": [0, 127, 128, 255], "int16": [0, 1, -32768, 32767], "int32": [0, -1, -(2**31), 2**31 - 1],
          "float32": [0.0, -0.0, 0.1, 3e38, math.inf, 1e-45], "float64": [0.0, -0.0, 0.1, 1e308, -math.inf, 5e-324],
          "int8": [-128, 0, 127], "int64": [-(2**63), 0, 2**63 - 1], "uint16": [0, 65535], "uint32": [0, 2**32 - 1],
          "uint64": [0, 2**64 - 1]}


class Export(ToolTest):
    def exported(self, data, *arguments, name="out.csv"):
        self.write("in.qts", data)
        self.run_tool("export", "in.qts", "-o", name, "--force", "-q", *arguments)
        return self.read(name)

    def test_wav_takes_the_encoding_of_the_type(self):
        for sample_type, (tag, bits) in WAV_ENCODINGS.items():
            samples = pack(sample_type, VALUES[sample_type])
            for compression in ("none", "zlib"):
                with self.subTest(type=sample_type, compression=compression):
                    stored = zlib.compress(samples) if compression == "zlib" else samples
                    data = signal_file(sample_type, stored, len(VALUES[sample_type]), delta_x=1 / 25600, compression=compression)
                    self.assertEqual((tag, 1, 25600, bits, samples), data_of_wav(self.exported(data, name="out.wav")))

    def test_signalling_nans_survive(self):
        for sample_type, pattern in (("float32", "<I"), ("float64", "<Q")):
            nan = struct.pack(pattern, {"<I": 0x7FA00001, "<Q": 0x7FF4000000000001}[pattern])
            data = signal_file(sample_type, nan, 1)
            self.assertEqual(nan, data_of_wav(self.exported(data, name="out.wav"))[4])

    def test_types_that_wav_has_not(self):
        for sample_type in ("int8", "int64", "uint16", "uint32", "uint64"):
            self.write("in.qts", signal_of(sample_type, [1]))
            self.fails(3, "in.qts: holds %s samples, for which WAV has no exact encoding; -f csv takes every type" % sample_type,
                       "export", "in.qts", "-f", "wav")
        self.assertEqual(["in.qts"], self.names())

    def test_pcm24(self):
        values = [0, 1, -1, 8388607, -8388608]
        tag, channels, rate, bits, frames = data_of_wav(self.exported(signal_of("int32", values), "--encoding", "pcm24", name="out.wav"))
        self.assertEqual((1, 1, 1000, 24), (tag, channels, rate, bits))
        self.assertEqual(b"".join(v.to_bytes(3, "little", signed=True) for v in values), frames[:15])
        for value in (8388608, -8388609):
            self.write("in.qts", signal_of("int32", [0, value]))
            self.fails(3, "in.qts: holds the sample %d, which does not fit 24 bits" % value, "export", "in.qts", "-f", "wav",
                       "--encoding", "pcm24", "-o", "no.wav")
        self.write("in.qts", signal_of("int16", [0]))
        self.fails(3, "in.qts: holds int16 samples, for which WAV has no 24-bit encoding; -f csv takes every type", "export", "in.qts",
                   "-f", "wav", "--encoding", "pcm24", "-o", "no.wav")
        self.assertNotIn("no.wav", self.names())
        self.run_tool("export", "in.qts", "-f", "wav", "--encoding", "pcm16", code=2)

    def test_rates(self):
        for delta_x, rate in ((1 / 48828, 48828), (1 / 25600 * (1 + 5e-10), 25600), (1.0, 1), (1 / (2**31 - 1), 2**31 - 1)):
            with self.subTest(delta_x=delta_x):
                self.assertEqual(rate, data_of_wav(self.exported(signal_of("uint8", [1], delta_x=delta_x), name="out.wav"))[2])
        for delta_x, shown in ((1 / 25600 * (1 + 5e-9), None), (300.0, "0.0033333333333333335"), (0.0, "0"), (-1.0, "0"), (math.nan, "0"),
                               (1 / 2**31, "2147483648"), (2 / 51, "25.5")):
            with self.subTest(delta_x=delta_x):
                self.write("in.qts", signal_of("uint8", [1], delta_x=delta_x))
                result = self.run_tool("export", "in.qts", "-f", "wav", "-o", "no.wav", code=3)
                self.assertRegex(result.err, r"^qen: in\.qts: has the rate %s Hz \(spacing \S+\), a WAV file needs a whole number: give "
                                 r"--rate\n$" % (shown or r"\S+"))
                self.assertEqual(8000, data_of_wav(self.exported(self.read("in.qts"), "--rate", "8000", name="out.wav"))[2])
        for rate in ("0", "2147483648"):
            self.run_tool("export", "in.qts", "-f", "wav", "-o", "no.wav", "--rate", rate, code=3)

    def test_same_input_gives_the_same_wav_bytes(self):
        data = signal_of("float32", [0.5, -1.0])
        first = self.exported(data, name="a.wav")
        time.sleep(1.1)  # a time of writing in the file would show
        self.assertEqual(first, self.exported(data, name="b.wav"))

    def test_wav_round_trips(self):
        for sample_type, (tag, bits) in WAV_ENCODINGS.items():
            frames = pack(sample_type, VALUES[sample_type] * 3000)
            self.write("in.wav", wav(bits, frames, tag))
            self.run_tool("import", "in.wav", "-o", "a.qts", "--force")
            self.run_tool("export", "a.qts", "-o", "out.wav", "--force", "-q")
            self.assertEqual((tag, 1, 1000, bits, frames), data_of_wav(self.read("out.wav")))

    def test_csv_of_every_type(self):
        for sample_type, values in VALUES.items():
            with self.subTest(type=sample_type):
                lines = self.exported(signal_of(sample_type, values)).decode().splitlines()
                self.assertEqual("raw", lines[0])
                if not sample_type.startswith("float"):
                    self.assertEqual([str(v) for v in values], lines[1:])
                else:
                    self.assertEqual(pack(sample_type, values), pack(sample_type, [float(line) for line in lines[1:]]))

    def test_csv_numbers_are_the_shortest(self):
        text = self.exported(signal_of("float32", [0.1, 3.8700469, 1e10, 16777216.0, -0.0, math.inf, 100.0])).decode()
        self.assertEqual("raw\n0.1\n3.8700469\n1e+10\n16777216\n-0\ninf\n100\n", text)
        text = self.exported(signal_of("float64", [0.1, 1 / 3, 1e22, 123456.0, 5e-324])).decode()
        self.assertEqual("raw\n0.1\n0.3333333333333333\n1e+22\n123456\n5e-324\n", text)

    def test_physical_values(self):
        text = self.exported(signal_of("int16", [100, -200], offset=1.0, scale=0.5), "--physical").decode()
        self.assertEqual("physical\n49.5\n-100.5\n", text)
        values = [(i * 7919) % 2000 - 900 for i in range(40000)]
        lines = self.exported(signal_of("int16", values, offset=0.3, scale=0.001), "--physical", "--no-header").decode().splitlines()
        self.assertEqual([(v - 0.3) * 0.001 for v in values], [float(line) for line in lines])

    def test_time_column(self):
        data = signal_of("int8", [5, 6, 7], delta_x=0.1)
        self.assertEqual("time_s,raw\n0,5\n0.1,6\n0.2,7\n", self.exported(data, "--time-column").decode())
        self.assertEqual("0,5\n0.1,6\n0.2,7\n", self.exported(data, "--time-column", "--no-header").decode())
        self.assertEqual("5\n6\n7\n", self.exported(data, "--no-header", "--raw").decode())
        spectrum = signal_of("float32", [1.0], delta_x=0.5, signal_type=3)
        self.assertEqual("x,physical\n0,1\n", self.exported(spectrum, "--time-column", "--physical").decode())

    def test_csv_round_trips(self):
        for sample_type, values in VALUES.items():
            with self.subTest(type=sample_type):
                text = self.exported(signal_of(sample_type, values))
                self.run_tool("import", "out.csv", "--rate", "1000", "--type", sample_type, "-o", "back.qts", "--force")
                self.assertEqual(pack(sample_type, values), self.read("back.qts")[120:])
                self.run_tool("export", "back.qts", "-o", "again.csv", "--force")
                self.assertEqual(text, self.read("again.csv"))

    def test_csv_numbers_come_back_as_they_were(self):
        lines = "0.1 -3.8700469 12 1e+22 5e-324 -0 0.30000000000000004 1234567.875 nan inf -inf".split()
        self.write("in.csv", "raw\n" + "\n".join(lines) + "\n")
        self.run_tool("import", "in.csv", "--rate", "3", "-o", "a.qts")
        self.run_tool("export", "a.qts", "-o", "out.csv")
        self.assertEqual(self.read("in.csv"), self.read("out.csv"))

    def test_scaling_that_a_raw_export_leaves_out_is_named(self):
        self.write("in.qts", signal_of("int16", [1], scale=0.001, offset=-2.0))
        note = "qen: in.qts: raw samples were written: physical value = (sample - -2) x 0.001\n"
        for name in ("out.wav", "out.csv"):
            self.assertEqual(note + "in.qts -> %s: 1 sample\n" % name, self.run_tool("export", "in.qts", "-o", name).err)
        self.assertEqual("in.qts -> p.csv: 1 sample\n", self.run_tool("export", "in.qts", "-o", "p.csv", "--physical").err)

    def test_format(self):
        self.write("in.qts", signal_of("int16", [1]))
        self.fails(2, "export needs -f wav or -f csv", "export", "in.qts")
        self.fails(2, "export needs -f wav or -f csv", "export", "in.qts", "-o", "out.txt")
        self.run_tool("export", "in.qts", "-f", "mp3", code=2)
        self.run_tool("export", "in.qts", "-o", "OUT.WAV")
        self.assertEqual(b"RIFF", self.read("OUT.WAV")[:4])
        self.run_tool("export", "in.qts", "--format", "csv", "-o", "x.wav")
        self.assertEqual(b"raw\n1\n", self.read("x.wav"))
        self.run_tool("export", "in.qts", "-f", "csv")
        self.run_tool("export", "in.qts", "-f", "wav", "-d", "folder/deep")
        self.assertEqual(b"raw\n1\n", self.read("in.csv"))
        self.assertEqual(["in.wav"], self.names("folder/deep"))

    def test_options_of_the_other_format_are_refused(self):
        self.write("in.qts", signal_of("int16", [1]))
        for option in ("--raw", "--physical", "--time-column", "--no-header"):
            self.fails(2, "WAV files take raw samples only: --raw, --physical, --time-column and --no-header are for CSV", "export",
                       "in.qts", "-f", "wav", option)
        for options in (("--encoding", "pcm24"), ("--rate", "5")):
            self.fails(2, "--encoding and --rate are for WAV", "export", "in.qts", "-f", "csv", *options)
        self.run_tool("export", "in.qts", "-f", "csv", "--raw", "--physical", code=2)

    def test_json(self):
        self.write("in.qts", signal_of("int16", [1, 2], scale=0.5))
        result = self.run_tool("export", "in.qts", "-f", "csv", "--physical", "--json")
        self.assertEqual([{"schema": "qen.export/1", "input": "in.qts", "file": "in.csv", "format": "csv", "values": "physical",
                           "unit": "", "sample_count": 2, "scaling_factor": 0.5, "offset": 0.0}], result.objects())

    def test_damaged_inputs_are_refused(self):
        self.write("in.qts", signal_of("int16", [1, 2])[:-1])
        self.fails(3, "in.qts: Wrong time signal data size: actual 3 bytes, expected 4 bytes!", "export", "in.qts", "-f", "csv")
        self.write("in.qts", signal_file("int16", zlib.compress(b"ab")[:-1], 1, compression="zlib"))
        result = self.run_tool("export", "in.qts", "-f", "csv", code=3)
        self.assertRegex(result.err, r"^qen: in\.qts: .+\n$")
        self.assertEqual(["in.qts"], self.names())

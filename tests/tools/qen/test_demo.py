import math
import os
import re
import signal
import struct
import time
import uuid

from machine_model import OUTER_RACE, RATE, exact_counts
from support import Details, Named, ToolTest, archive_form, data_of_wav, document, pack, parse_signal_file, unpack, values_of, wav

STORED = ["as imported", "offset removed", "and zlib", "and gzip"]
FORMS = STORED + ["database object", "archive"]
PROVED = "samples came back identical from files, database object and archive"


class Demo(ToolTest):
    def test_the_machine_follows_its_model(self):
        self.run_tool("demo", "--keep", "kept", "--seed", "7")
        tag, channels, rate, bits, frames = data_of_wav(self.read("kept/machine.wav"))
        self.assertEqual((1, 1, RATE, 16, 2 * 10 * RATE), (tag, channels, rate, bits, len(frames)))
        samples = unpack("int16", frames)
        # Every sample of the first second is the model's value rounded; a value next to a half may fall on either side.
        for index, exact in enumerate(exact_counts(RATE, 7)):
            self.assertLessEqual(abs(samples[index] - exact), 0.5 + 1e-6, index)
        self.assertEqual(values_of(self.read("kept/machine-imported.qts")), samples)

    def test_the_machine_shows_its_fault(self):
        """The spectrum of the envelope has its largest line where the rolling elements pass the fault."""
        self.run_tool("demo", "--keep", "kept")
        samples = unpack("int16", data_of_wav(self.read("kept/machine.wav"))[4])
        mean = sum(samples) / len(samples)
        # The bias, and what a one-sided decaying sine adds: strength / (w (1 + zeta^2)) for each strike.
        strikes = OUTER_RACE * 3000 / (2 * math.pi * 3500 * (1 + 0.05**2))
        self.assertAlmostEqual(137 + strikes, mean, delta=1)
        # Differences keep the resonance and drop the shaft; the envelope is thinned to 1600 Hz.
        envelope = [sum(abs(samples[i + k + 1] - samples[i + k]) for k in range(32)) for i in range(0, len(samples) - 33, 32)]
        level = sum(envelope) / len(envelope)

        def line(frequency):
            turn = 2 * math.pi * frequency * 32 / RATE
            return math.hypot(sum((e - level) * math.cos(turn * i) for i, e in enumerate(envelope)),
                              sum((e - level) * math.sin(turn * i) for i, e in enumerate(envelope)))

        others = [f for f in range(20, 200, 6) if abs(f - OUTER_RACE) > 4]
        near = max(line(OUTER_RACE + step / 10) for step in range(-6, 7))
        self.assertGreater(near, 3 * max(line(f) for f in others))

    def test_the_seed_fixes_the_samples(self):
        for folder, seed in (("a", "5"), ("b", "5"), ("c", "6")):
            self.run_tool("demo", "--keep", folder, "--seed", seed)
        self.assertEqual(self.read("a/machine.wav"), self.read("b/machine.wav"))
        self.assertNotEqual(self.read("a/machine.wav"), self.read("c/machine.wav"))

    def test_table(self):
        result = self.run_tool("demo")
        self.assertEqual("", result.err)
        lines = result.lines()
        self.assertEqual("machine.wav: 512000 int16 samples, 51200 Hz, 10 s", lines[0])
        self.assertRegex(lines[1], "^  form +bytes +ratio +write ms +read ms +RMS before +RMS after +checks$")
        self.assertEqual(FORMS + ["exported to WAV"], [re.match(r" +(\D+?)  ", line)[1] for line in lines[2:9]])
        numbers = [line.split()[-7:] for line in lines[2:9]]
        self.assertEqual(["1024120", "1024120"], [n[0] for n in numbers[:2]])
        self.assertEqual("1024044", numbers[6][0])
        for n in numbers:
            self.assertAlmostEqual(int(n[0]) / 1024120, float(n[1]), delta=0.0006)
            self.assertEqual((n[4], "good"), (n[5], n[6]))
        self.assertLess(int(numbers[2][0]), 900000)
        self.assertEqual(int(numbers[2][0]) + 12, int(numbers[3][0]))  # a gzip stream has 12 bytes more around it
        self.assertEqual("proved: all 512000 %s with their details, all checksums are valid" % PROVED, lines[9])
        self.assertEqual([], self.names())

    def test_files_kept_hold_what_the_table_says(self):
        self.run_tool("demo", "--keep", "kept")
        self.assertEqual(["machine-%s.%s" % (form, extension) for form in ("centred", "gzip", "imported", "zlib")
                          for extension in ("qts", "xml")] + ["machine.wav"],
                         [name for name in self.names("kept") if name.startswith("machine") and name != "machine-exported.wav"])
        self.assertEqual(self.read("kept/machine.wav"), self.read("kept/machine-exported.wav"))
        imported = parse_signal_file(self.read("kept/machine-imported.qts"))
        centred = parse_signal_file(self.read("kept/machine-centred.qts"))
        self.assertEqual((0.001, 1 / 51200, 0.0), (imported["scale"], imported["delta_x"], imported["offset"]))
        raw = unpack("int16", imported["stored"])
        removed = -centred["offset"]
        self.assertEqual(math.floor(sum(raw) / len(raw) + 0.5), removed)
        self.assertEqual([v - removed for v in raw], unpack("int16", centred["stored"]))
        self.run_tool("verify", "kept")
        result = self.run_tool("demo", "--keep", "kept", code=5)
        self.assertIn("the file exists, --force replaces it", result.err)
        self.run_tool("demo", "--keep", "kept", "--force")

    def test_the_machine_has_details(self):
        objects = {o["form"]: o["file_size"] for o in self.run_tool("demo", "--keep", "kept", "--json").objects() if "form" in o}
        ids = [uuid.UUID("7a0c1d52-3f0e-4c5b-9d56-0b8a4c1de00%d" % i) for i in (1, 2, 3)]
        speed = struct.unpack("<f", struct.pack("<f", 29.95 * 60))[0]
        details = Details("g", [Named(ids[1], 29.95 * 60, "rpm")], Named(ids[0], 3, "g"), [Named(ids[2], OUTER_RACE, "Hz", speed=speed)])
        data = self.read("kept/machine-imported.qts")
        self.assertEqual(document(data, details), self.read("kept/machine-imported.xml"))
        # A database object holds the record and the document, an archive what its form says.
        self.assertEqual(len(data) + len(document(data, details)), objects["database object"])
        self.assertEqual(len(archive_form(data, details)), objects["archive"])

    def test_json(self):
        objects = [o for o in self.run_tool("demo", "--json").objects() if o["schema"] not in ("qen.demo-trend/1", "qen.demo-store/1")]
        self.assertEqual(FORMS + ["exported to WAV"], [o["form"] for o in objects])
        for o in objects:
            self.assertEqual(("qen.demo/1", 1, True, None), (o["schema"], o["channel"], o["proved"], o["problem"]))
            self.assertGreater(o["write_ms"], 0)
            self.assertAlmostEqual(o["rms_before"], o["rms_after"], places=9)

    def test_own_recordings(self):
        left, right = [100, 101, 102, 103], [-5, 0, 5, 7]
        self.write("two.wav", wav(16, pack("int16", [v for pair in zip(left, right) for v in pair]), channels=2))
        self.write("float.wav", wav(32, pack("float32", [0.5, -1.5, 2.25]), 3))
        self.write("counts24.wav", wav(24, b"\1\0\0\xff\xff\xff"))
        self.write("bytes.wav", wav(8, bytes(range(256))))
        self.write("int.csv", "1\n40000\n-3\n")
        self.write("real.csv", "a;b\n1;0.1\n2;0.7\n")
        result = self.run_tool("demo", "two.wav", "float.wav", "counts24.wav", "bytes.wav", "int.csv", "--rate", "25600")
        titles = [line for line in result.lines() if not line.startswith(("  ", "proved"))]
        self.assertEqual(["two.wav channel 1: 4 int16 samples, 1000 Hz, 0.004 s", "two.wav channel 2: 4 int16 samples, 1000 Hz, 0.004 s",
                          "float.wav: 3 float32 samples, 1000 Hz, 0.003 s", "counts24.wav: 2 int32 samples, 1000 Hz, 0.002 s",
                          "bytes.wav: 256 uint8 samples, 1000 Hz, 0.256 s", "int.csv: 3 int32 samples, 25600 Hz, 0.0001171875 s"], titles)
        self.assertEqual(6, sum(line.startswith("proved: ") for line in result.lines()))
        result = self.run_tool("demo", "real.csv", "--delta-x", "0.5", "--column", "b", "--scale", "10")
        self.assertIn("proved: all 2 %s (where the offset was removed, up to the rounding of that subtraction) with their details, "
                      "all checksums are valid\n" % PROVED, result.out)
        self.assertIn(" %s " % ("%.6g" % math.sqrt((1 + 49) / 2)), result.out)

    def test_signed_bytes_are_exported_as_csv(self):
        common = struct.pack(">hIh", 1, 3, 8) + struct.pack(">HQ", 16383 + 9, 1000 << 54)
        body = b"AIFFCOMM" + struct.pack(">I", 18) + common + b"SSND" + struct.pack(">I", 11) + bytes(8) + b"\x80\x00\x7f\0"
        self.write("a.aiff", b"FORM" + struct.pack(">I", len(body)) + body)
        self.assertIn("  exported to CSV ", self.run_tool("demo", "a.aiff").out)

    def test_bad_recordings(self):
        self.write("good.wav", wav(8, b"\1\2\3"))
        self.write("bad.wav", b"RIFFxxxx")
        result = self.run_tool("demo", "bad.wav", "good.wav", code=4)
        self.assertRegex(result.err, r"^qen: bad\.wav: .*\n$")
        self.assertIn("proved: all 3 samples", result.out)
        self.run_tool("demo", "bad.wav", code=3)

    def test_a_signal_leaves_no_temporary_folder(self):
        self.write("big.wav", wav(16, pack("int16", range(-5000, 5000)) * 300))
        os.mkdir(self.path("tmp"))
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process = self.start("demo", "big.wav", env=dict(os.environ, TMPDIR=os.fsdecode(self.path("tmp"))))
            deadline = time.monotonic() + 60
            while not any(files for _, _, files in os.walk(os.fsdecode(self.path("tmp")))):
                self.assertLess(time.monotonic(), deadline)
                self.assertIsNone(process.poll())
                time.sleep(0.001)
            process.send_signal(number)
            process.communicate()
            self.assertEqual(-number, process.returncode)
            self.assertEqual([], self.names("tmp"))

    def test_no_temporary_folder_stays(self):
        os.mkdir(self.path("tmp"))
        self.run_tool("demo", env=dict(os.environ, TMPDIR=os.fsdecode(self.path("tmp"))))
        self.assertEqual([], self.names("tmp"))

    def test_without_a_folder_for_temporary_files_nothing_is_made(self):
        """Nor in the root folder, where the superuser may write."""
        elsewhere = dict(os.environ, TMPDIR=os.fsdecode(self.path("none")))
        self.fails(5, "/qen-XXXXXX cannot be made: No such file or directory", "demo", env=elsewhere)
        self.write("run.csv", "1\n2\n")
        self.fails(5, "run.csv: standard output cannot be written, there is no folder for temporary files: No such file or directory",
                   "import", "run.csv", "--rate", "1", "-o", "-", env=elsewhere)

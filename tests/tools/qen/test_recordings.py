"""The whole way on real recordings: a folder of WAV and CSV files that the environment names."""

import gzip
import math
import os
import struct
import sys
import unittest
import zlib
from decimal import Decimal

from support import ToolTest, data_of_wav, pack, parse_signal_file, unpack

FOLDER = os.environ.get("QEN_RECORDINGS", "")
WAVS = sorted(name for name in os.listdir(FOLDER) if name.endswith(".wav")) if os.path.isdir(FOLDER) else []
TRIGGER = "7a000000-0000-4000-8000-000000000001"
GEARBOX = os.path.join(FOLDER, "gearbox_bearing_x.csv")

if not WAVS:
    print("test_recordings: no recordings in QEN_RECORDINGS=%r: the tests on real recordings are left out" % FOLDER, file=sys.stderr)


def rms(values):
    return math.sqrt(sum(v * v for v in values) / len(values))


@unittest.skipUnless(WAVS, "no recordings")
class Recordings(ToolTest):
    def test_wav_files_come_back_identical_through_every_form(self):
        for name in WAVS:
            source = os.path.join(FOLDER, name)
            with open(source, "rb") as file:
                data = file.read()
            tag, channels, rate, bits, frames = data_of_wav(data)
            self.assertEqual((1, 1, 16), (tag, channels, bits), name)
            samples = unpack("int16", frames)
            for method, expand in (("none", lambda b: b), ("zlib", zlib.decompress), ("gzip", gzip.decompress)):
                with self.subTest(recording=name, compression=method):
                    self.run_tool("import", source, "--scale", "0.001", "--compression", method, "-o", "a.qts", "--force")
                    header = parse_signal_file(self.read("a.qts"))
                    self.assertEqual((len(samples), 1 / rate, 0.001), (header["count"], header["delta_x"], header["scale"]))
                    self.assertEqual(frames, expand(header["stored"]))
                    self.run_tool("verify", "a.qts")
                    self.run_tool("export", "a.qts", "-o", "back.wav", "--force", "-q")
                    self.assertEqual(data_of_wav(data), data_of_wav(self.read("back.wav")))
                    self.run_tool("convert", "a.qts", "--remove-offset", "--check", "-o", "centred.qts", "--force", "-q")
                    centred = parse_signal_file(self.read("centred.qts"))
                    removed = int(-centred["offset"])
                    self.assertEqual(pack("int16", [v - removed for v in samples]), expand(centred["stored"]))

    def test_figures_are_those_of_the_samples(self):
        for name in WAVS:
            source = os.path.join(FOLDER, name)
            with open(source, "rb") as file:
                samples = unpack("int16", data_of_wav(file.read())[4])
            self.run_tool("import", source, "--scale", "0.001", "--compression", "zlib", "-o", "a.qts", "--force")
            self.run_tool("convert", "a.qts", "--remove-offset", "-o", "centred.qts", "--force")
            for file in ("a.qts", "centred.qts"):
                got = self.run_tool("info", "--json", "--samples", file).objects()[0]["statistics"]
                self.assertTrue(math.isclose(rms(samples) * 0.001, got["rms"], rel_tol=1e-9))
                self.assertTrue(math.isclose(max(map(abs, samples)) * 0.001, got["peak"], rel_tol=1e-9))

    def test_wav_files_of_this_kind_are_reproduced_to_the_byte(self):
        for name in WAVS:
            source = os.path.join(FOLDER, name)
            self.run_tool("import", source, "-o", "a.qts", "--force")
            self.run_tool("export", "a.qts", "-o", "back.wav", "--force")
            with open(source, "rb") as file:
                self.assertEqual(file.read(), self.read("back.wav"), name)

    @unittest.skipUnless(os.path.exists(GEARBOX), "no gearbox recording")
    def test_csv_numbers_come_back_identical(self):
        with open(GEARBOX) as file:
            texts = file.read().split()[1:]
        numbers = [Decimal(text) for text in texts]
        for sample_type, letter in ((None, "d"), ("float32", "f"), ("float64", "d")):
            options = ("--type", sample_type) if sample_type else ()
            for method, expand in (("none", lambda b: b), ("zlib", zlib.decompress), ("gzip", gzip.decompress)):
                with self.subTest(type=sample_type, compression=method):
                    self.run_tool("import", GEARBOX, "--rate", "25600", *options, "--compression", method, "-o", "a.qts", "--force")
                    header = parse_signal_file(self.read("a.qts"))
                    self.assertEqual(struct.pack("<%d%s" % (len(texts), letter), *map(float, texts)), expand(header["stored"]))
                    self.run_tool("verify", "a.qts")
                    self.run_tool("export", "a.qts", "--no-header", "-o", "back.csv", "--force")
                    # The same decimal numbers; 0.00002267529 and 2.267529e-05 are one.
                    self.assertEqual(numbers, [Decimal(t) for t in self.read("back.csv").decode().split()])

    def test_details_and_archives_change_no_recording(self):
        sources = [os.path.join(FOLDER, name) for name in WAVS]
        self.run_tool("import", *sources, "--scale", "0.001", "--compression", "zlib", "--unit", "g", "-d", "in")
        stems = [name[:-len(".wav")] for name in WAVS]
        first = {stem: self.read("in/%s.qts" % stem) for stem in stems}
        self.run_tool("annotate", "in", "--trigger", TRIGGER + ",1.5,unit=g", "--value", TRIGGER + ",0.25,unit=mm/s,speed=1797")
        self.run_tool("archive", "create", "all.qta", "in")
        self.assertEqual(len(WAVS), len(self.run_tool("archive", "list", "--json", "all.qta").objects()))
        extracted = self.run_tool("archive", "extract", "all.qta", "-o", "out", "--json").objects()
        self.run_tool("verify", "-q", "out")
        for stem, source, object in zip(stems, sources, extracted):
            with self.subTest(recording=source):
                self.assertEqual(first[stem], self.read(object["file"]))
                self.assertEqual(self.read("in/%s.xml" % stem), self.read(object["details_file"]))
                self.run_tool("export", object["file"], "-o", "back.wav", "--force", "-q")
                with open(source, "rb") as file:
                    self.assertEqual(file.read(), self.read("back.wav"))

    @unittest.skipUnless(os.path.exists(GEARBOX), "no gearbox recording")
    def test_the_unit_of_a_recording_in_csv_comes_back(self):
        with open(GEARBOX) as file:
            header = file.readline()
        self.run_tool("import", GEARBOX, "--rate", "25600", "--unit", "g", "-o", "a.qts")
        self.run_tool("annotate", "a.qts", "--validator", TRIGGER + ",1")
        self.run_tool("archive", "create", "a.qta", "a.qts")
        object, = self.run_tool("archive", "extract", "a.qta", "-o", "out", "--json").objects()
        self.run_tool("export", object["file"], "-o", "back.csv", "-q")
        self.assertNotIn("raw", header)
        self.assertEqual("raw [g]", self.read("back.csv").decode().split("\n")[0])
        self.run_tool("import", "back.csv", "--rate", "25600", "-o", "b.qts")
        self.assertEqual(parse_signal_file(self.read("a.qts"))["stored"], parse_signal_file(self.read("b.qts"))["stored"])
        self.assertEqual("g", self.run_tool("info", "--json", "b.qts").objects()[0]["details"]["unit"])

    def test_demo_proves_every_recording(self):
        result = self.run_tool("demo", *(os.path.join(FOLDER, name) for name in WAVS))
        self.assertEqual(len(WAVS), sum(line.startswith("proved: ") for line in result.lines()))

    def test_no_cut_recording_is_taken_silently(self):
        with open(os.path.join(FOLDER, WAVS[0]), "rb") as file:
            data = file.read()
        names = [self.write("%d.wav" % length, data[:length]) for length in (10, 43, 44, 45, 1000, len(data) - 2, len(data) - 1)]
        result = self.run_tool("import", *names, code=3)
        self.assertEqual(len(names), len(result.err.splitlines()))

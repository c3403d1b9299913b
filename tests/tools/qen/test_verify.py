import gzip
import os
import struct
import zlib

from support import HEADER, NULL, SAMPLE_TYPES, ToolTest, pack, signal_file, signal_of, xor16

RAW = pack("int16", [(i * 7919) % 2000 - 900 for i in range(300)])


def compressed(method, data=RAW):
    return zlib.compress(data) if method == "zlib" else gzip.compress(data, mtime=0)


class Verify(ToolTest):
    def verify(self, data, *, code=None):
        """(parts that are damaged, texts, remarks) of a file with these bytes."""
        self.write("a.qts", data)
        object = self.run_tool("verify", "--json", "a.qts", code=code).objects()[0]
        self.assertEqual("qen.verify/1", object["schema"])
        self.assertEqual(not object["damage"], object["good"])
        self.assertEqual(len(data), object["file_size"])
        return ([d["part"] for d in object["damage"]], [d["text"] for d in object["damage"]],
                [d["text"] for d in object["remarks"]])

    def damaged(self, data, part, text):
        self.assertEqual(([part], [text], []), self.verify(data, code=1))

    def verify_many(self, files):
        """The damaged parts of each of many files, from one run."""
        folder = self.path("many")
        os.mkdir(folder)
        for number, data in enumerate(files):
            self.write("many/%06d.qts" % number, data)
        objects = self.run_tool("verify", "--json", "many", code=None).objects()
        self.assertEqual(len(files), len(objects))
        return [[finding["part"] for finding in object["damage"]] for object in objects]

    def test_good_files_of_every_type_and_form(self):
        files = [signal_of(name, [0, 1, 100]) for name in SAMPLE_TYPES]
        files += [signal_file("int16", compressed(method), 300, compression=method) for method in ("zlib", "gzip")]
        files += [signal_file("int16", b"", 0, compression=method) for method in ("none", "zlib", "gzip")]
        files += [signal_file("int16", zlib.compress(b""), 0, compression="zlib")]
        self.assertEqual([[]] * len(files), self.verify_many(files))

    def test_every_changed_header_byte_is_seen(self):
        good = signal_of("int16", [1, 2, 3])
        files = [good[:position] + bytes([good[position] ^ change]) + good[position + 1:]
                 for position in range(120) for change in (1, 0x80, 0xFF)]
        for number, parts in enumerate(self.verify_many(files)):
            self.assertIn("header", parts, number // 3)

    def test_every_changed_sample_byte_is_seen(self):
        for method in ("none", "zlib", "gzip"):
            stored = RAW[:200] if method == "none" else compressed(method)
            good = signal_file("int16", stored, 100 if method == "none" else 300, compression=method)
            files = [good[:position] + bytes([good[position] ^ 0x10]) + good[position + 1:] for position in range(120, len(good))]
            with self.subTest(compression=method):
                for number, parts in enumerate(self.verify_many(files)):
                    self.assertEqual("samples", parts[0], number)
                    self.assertNotIn("header", parts)
            for name in os.listdir(self.path("many")):
                os.remove(os.path.join(self.path("many"), name))
            os.rmdir(self.path("many"))

    def test_every_truncation_is_seen(self):
        for method in ("none", "zlib", "gzip"):
            stored = RAW[:40] if method == "none" else compressed(method, RAW[:40])
            good = signal_file("int16", stored, 20, compression=method)
            with self.subTest(compression=method):
                for length, parts in enumerate(self.verify_many([good[:length] for length in range(len(good))])):
                    self.assertIn("size", parts, length)
            for name in os.listdir(self.path("many")):
                os.remove(os.path.join(self.path("many"), name))
            os.rmdir(self.path("many"))

    def test_sizes(self):
        good = signal_of("int16", [1, 515])
        self.damaged(good[:119], "size", "119 bytes in the file, the header alone takes 120")
        self.damaged(b"", "size", "0 bytes in the file, the header alone takes 120")
        self.assertEqual((["size", "samples"], "3 sample bytes in the file, 4 in the header"),
                         (lambda r: (r[0], r[1][0]))(self.verify(good[:-1], code=1)))
        self.damaged(good + b"\0\0\0", "size", "7 sample bytes in the file, 4 in the header")

    def test_header_checksum(self):
        good = signal_of("int16", [1, 2])
        stored, = struct.unpack("<H", good[118:120])
        self.damaged(good[:118] + struct.pack("<H", stored ^ 5) + good[120:], "header",
                     "checksum is 0x%04x, computed 0x%04x" % (stored ^ 5, stored))

    def test_sample_checksum(self):
        data = bytearray(signal_of("int16", [1, 2]))
        data[120:124] = pack("int16", [1, 6])
        self.damaged(bytes(data), "samples", "checksum is 0x0003, computed 0x0007")

    def test_odd_lengths_count_the_last_byte_as_a_low_byte(self):
        self.assertEqual(([], [], []), self.verify(signal_of("int8", [1, 2, -85]), code=0))

    def rewritten(self, **fields):
        """A good file with header fields changed and its header checksum made right again."""
        names = ("version", "size", "signal_type", "config", "measurement", "delta_x", "scale", "offset", "time", "unit",
                 "compression", "sample_type", "count", "byte_count", "reserved", "data_checksum", "header_checksum")
        good = signal_of("int16", [1, 2])
        values = dict(zip(names, HEADER.unpack(good[:120])), **fields)
        header = HEADER.pack(*values.values())[:118]
        return header + struct.pack("<H", xor16(header)) + good[120:]

    def test_versions_and_enumerations(self):
        for fields, text in (({"version": 1}, "version is 1, not 2"), ({"size": 121}, "size field is 121, not 120"),
                             ({"signal_type": 0}, "signal type 0 is unknown"), ({"signal_type": 6}, "signal type 6 is unknown"),
                             ({"signal_type": -1}, "signal type -1 is unknown"),
                             ({"sample_type": 0}, "sample type 0 is unknown"), ({"sample_type": 11}, "sample type 11 is unknown"),
                             ({"sample_type": -(2**31)}, "sample type -2147483648 is unknown"),
                             ({"compression": 0}, "compression 0 is unknown"), ({"compression": 5}, "compression 5 is unknown"),
                             ({"compression": 3}, "compression 3 (int24) has no method")):
            with self.subTest(fields=fields):
                self.damaged(self.rewritten(**fields), "header", text)

    def test_count_against_bytes(self):
        self.damaged(self.rewritten(count=3), "header", "3 int16 samples = 6 bytes, the byte count is 4")
        self.damaged(self.rewritten(sample_type=6), "header", "2 float64 samples = 16 bytes, the byte count is 4")
        for count in (2**30, 2**63, 2**64 - 1):
            self.damaged(self.rewritten(count=count), "header", "%d int16 samples = more than 2^31 - 1 bytes" % count)
        parts, texts, _ = self.verify(self.rewritten(byte_count=2**64 - 1), code=1)
        self.assertEqual((["size", "header"], ["4 sample bytes in the file, 18446744073709551615 in the header",
                                              "2 int16 samples = 4 bytes, the byte count is 18446744073709551615"]), (parts, texts))

    def test_remarks_are_no_damage(self):
        for fields, text in (({"config": NULL.bytes}, "measurement configuration UUID is null"),
                             ({"measurement": NULL.bytes}, "measurement UUID is null"), ({"unit": NULL.bytes}, "unit UUID is null"),
                             ({"delta_x": 0.0}, "sample spacing is 0"), ({"delta_x": -0.5}, "sample spacing is -0.5"),
                             ({"delta_x": float("nan")}, "sample spacing is nan"),
                             ({"scale": 0.0}, "scaling factor is 0"), ({"scale": float("inf")}, "scaling factor is inf"),
                             ({"offset": float("-inf")}, "offset is -inf"), ({"reserved": 7}, "reserved field is 7, not 0")):
            with self.subTest(fields=fields):
                self.assertEqual(([], [], [text]), self.verify(self.rewritten(**fields), code=0))

    def test_streams(self):
        for method in ("zlib", "gzip"):
            stream = compressed(method)
            with self.subTest(compression=method):
                def of(stored, count=300):
                    return signal_file("int16", stored, count, compression=method)
                self.damaged(of(stream[:-1]), "stream", "ends early, behind 600 decoded bytes")
                self.damaged(of(b""), "stream", "ends early, behind 0 decoded bytes")
                self.damaged(of(stream + b"\0"), "stream", "1 byte behind its end")
                self.damaged(of(stream + b"ab" * 150000), "stream", "300000 bytes behind its end")
                self.damaged(of(stream, 301), "stream", "holds 600 bytes, 301 int16 samples = 602 bytes")
                self.damaged(of(stream, 299), "stream", "holds more than 299 int16 samples")
                self.damaged(of(b"\xff" * 50), "stream", "incorrect header check behind 0 decoded bytes")
                checksum = 4 if method == "zlib" else 8
                wrong = stream[:-checksum] + bytes([stream[-checksum] ^ 1]) + stream[-checksum + 1:]
                self.damaged(of(wrong), "stream", "incorrect data check behind 600 decoded bytes")
        self.damaged(signal_file("int16", compressed("gzip"), 300, compression="zlib"), "stream",
                     "incorrect header check behind 0 decoded bytes")
        self.damaged(signal_file("int16", compressed("gzip") * 2, 300, compression="gzip"), "stream",
                     "%d bytes behind its end" % len(compressed("gzip")))

    def test_a_bomb_costs_neither_memory_nor_time(self):
        self.write("small.qts", signal_of("int8", [1]))
        stream = zlib.compress(bytes(50_000_000), 9)
        self.write("bomb.qts", signal_file("int8", stream, 1000, compression="zlib"))
        self.write("lying.qts", signal_file("int8", stream, 2**31 - 1, compression="zlib"))
        modest = self.peak_memory("verify", "small.qts", code=0)
        for name in ("bomb.qts", "lying.qts"):
            self.assertLess(self.peak_memory("verify", name, code=1), modest + 16384)

    def test_large_files_take_little_memory(self):
        self.write("small.qts", signal_of("int8", [1]))
        samples = bytes(40_000_000)
        self.write("large.qts", signal_file("uint8", samples, len(samples)))
        self.assertLess(self.peak_memory("verify", "large.qts", code=0), self.peak_memory("verify", "small.qts", code=0) + 16384)

    def test_text(self):
        self.write("a.qts", signal_of("int16", [1, 2]))
        self.write("b.qts", signal_of("int16", [1, 2], config=NULL, unit=NULL))
        self.write("c.qts", signal_of("int16", [1, 515])[:-1])
        result = self.run_tool("verify", "a.qts", "b.qts", "c.qts", "d.qts", code=1)
        self.assertEqual(["a.qts: good", "b.qts: good (measurement configuration UUID is null, unit UUID is null)",
                          "c.qts: damaged: size: 3 sample bytes in the file, 4 in the header",
                          "c.qts: damaged: samples: checksum is 0x0202, computed 0x0002"], result.lines())
        self.assertEqual("qen: d.qts: cannot be opened: No such file or directory\n"
                         "4 files: 2 good, 1 damaged, 1 unreadable\n", result.err)

    def test_quiet_lists_only_damage(self):
        self.write("a.qts", signal_of("int16", [1, 2], unit=NULL))
        self.write("b.qts", signal_of("int16", [1, 2]) + b"\0")
        result = self.run_tool("verify", "-q", "a.qts", "b.qts", code=1)
        self.assertEqual(("b.qts: damaged: size: 5 sample bytes in the file, 4 in the header\n", ""), (result.out, result.err))

    def test_verbose_tells_what_was_checked(self):
        self.write("a.qts", signal_of("int16", [1, 2], offset=-3.0))
        result = self.run_tool("verify", "-v", "a.qts")
        self.assertRegex(result.err, "^qen: a.qts: 2 int16 samples, none, offset -3, 4 sample bytes, checksums 0x[0-9a-f]{4} 0x0003\n$")

    def test_exit_status(self):
        self.write("good.qts", signal_of("int16", [1, 2]))
        self.write("bad.qts", bytes(200))
        self.run_tool("verify", "good.qts", code=0)
        self.run_tool("verify", "good.qts", "bad.qts", "none.qts", code=1)
        self.run_tool("verify", "good.qts", "none.qts", code=4)
        self.run_tool("verify", "none.qts", "none2.qts", code=3)

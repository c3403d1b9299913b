#include "platform/Compression.h"

#include "support/PlatformErrors.h"
#include "support/VirtualSlots.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include <zlib.h>

namespace
{
using Bytes = std::vector<unsigned char>;

enum class Format
{
  kZLib,
  kGZip
};
constexpr std::array kFormats = {Format::kZLib, Format::kGZip};
constexpr int kGZipBits = 16; // what zlib adds to the window size to mean gzip

char const* NameOf(Format format) { return format == Format::kZLib ? "zlib" : "gzip"; }

Format OtherOf(Format format) { return format == Format::kZLib ? Format::kGZip : Format::kZLib; }

std::unique_ptr<Compression> MakeCodec(Format format, int level = -1)
{
  if (format == Format::kZLib)
    return std::make_unique<CompressionZLib>(level);
  return std::make_unique<CompressionGZip>(level);
}

Bytes Compress(Format format, Bytes const& bytes, int level = -1)
{
  int size = -1;
  std::unique_ptr<unsigned char[]> const stream(
      MakeCodec(format, level)->compress(static_cast<unsigned int>(bytes.size()), bytes.data(), size));
  if (stream == nullptr || size < 0)
    throw std::logic_error("no stream");
  return Bytes(stream.get(), stream.get() + size);
}

/// Uncompresses into a block of the expected size and checks that the bytes behind it stay as they are.
Bytes Uncompress(Format format, Bytes const& stream, std::size_t expectedSize)
{
  constexpr unsigned char kGuard = 0xA5;
  constexpr std::size_t kGuardSize = 64;
  Bytes block(expectedSize + kGuardSize, kGuard);
  auto const expectGuard = [&] {
    EXPECT_TRUE(std::all_of(block.end() - kGuardSize, block.end(), [](unsigned char byte) { return byte == kGuard; }));
  };
  try
  {
    MakeCodec(format)->uncompress(static_cast<unsigned int>(stream.size()), stream.data(),
                                  static_cast<unsigned int>(expectedSize), block.data());
  }
  catch (...)
  {
    expectGuard();
    throw;
  }
  expectGuard();
  block.resize(expectedSize);
  return block;
}

testing::AssertionResult IsRefused(Format format, Bytes const& stream, std::size_t expectedSize)
{
  return Refuses<CompressionException>([&] { Uncompress(format, stream, expectedSize); });
}

/// Damage must be noticed, or hit nothing that the content depends on.
testing::AssertionResult IsRefusedOrRight(Format format, Bytes const& stream, Bytes const& content)
{
  try
  {
    if (Uncompress(format, stream, content.size()) == content)
      return testing::AssertionSuccess();
  }
  catch (CompressionException const&)
  {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "wrong data";
}

Bytes BytesOf(std::string const& text) { return Bytes(text.begin(), text.end()); }

Bytes TextOf(std::size_t size)
{
  Bytes const line = BytesOf("bearing outer race, 300 lb, 48828 Hz; ");
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = line[i % line.size()];
  return bytes;
}

Bytes NoiseOf(std::size_t size)
{
  std::mt19937 random(static_cast<unsigned int>(size) + 7U);
  Bytes bytes(size);
  std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<unsigned char>(random() >> 24U); });
  return bytes;
}

/// 16-bit samples of a triangle wave with some noise, as a sensor gives them.
Bytes VibrationOf(std::size_t size)
{
  Bytes bytes = NoiseOf(size);
  for (std::size_t i = 0; i < size; ++i)
  {
    std::size_t const phase = (i / 2) % 512;
    std::size_t const sample = (phase < 256 ? phase : 511 - phase) * 40 + bytes[i - i % 2] % 16U;
    bytes[i] = static_cast<unsigned char>(i % 2 == 0 ? sample & 0xFFU : sample >> 8U);
  }
  return bytes;
}

/// Blocks of one size, from what compresses best to what does not compress at all.
std::vector<Bytes> ContentsOf(std::size_t size)
{
  return {Bytes(size, 0), Bytes(size, 0xFF), TextOf(size), VibrationOf(size), NoiseOf(size)};
}

struct ZLibSettings
{
  int level = Z_DEFAULT_COMPRESSION;
  int strategy = Z_DEFAULT_STRATEGY;
  int windowBits = 15;
  int memoryLevel = 8;
  std::size_t flushEvery = 0;
  int flush = Z_NO_FLUSH;
  gz_header* header = nullptr;
  Bytes dictionary = {};
};

void Require(bool condition)
{
  if (!condition)
    throw std::runtime_error("zlib failed");
}

/// A stream made by zlib. Window sizes: 9 to 15 zlib, 25 to 31 gzip, negative raw.
Bytes ZLibCompress(Bytes const& bytes, ZLibSettings const& settings)
{
  z_stream state{};
  Require(deflateInit2(&state, settings.level, Z_DEFLATED, settings.windowBits, settings.memoryLevel,
                       settings.strategy) == Z_OK);
  std::unique_ptr<z_stream, decltype(&deflateEnd)> const guard(&state, &deflateEnd);
  if (settings.header != nullptr)
    Require(deflateSetHeader(&state, settings.header) == Z_OK);
  if (!settings.dictionary.empty())
    Require(deflateSetDictionary(&state, settings.dictionary.data(), static_cast<uInt>(settings.dictionary.size())) ==
            Z_OK);
  Bytes input = bytes;
  Bytes output(bytes.size() * 2 + 10000);
  state.next_in = input.data();
  state.next_out = output.data();
  state.avail_out = static_cast<uInt>(output.size());
  std::size_t const step = settings.flushEvery == 0 ? bytes.size() : settings.flushEvery;
  for (std::size_t done = 0; done < bytes.size(); done += step)
  {
    state.avail_in = static_cast<uInt>(std::min(step, bytes.size() - done));
    Require(deflate(&state, settings.flush) == Z_OK);
  }
  Require(deflate(&state, Z_FINISH) == Z_STREAM_END);
  output.resize(state.total_out);
  return output;
}

/// What zlib makes of a stream that it must read to its last byte.
Bytes ZLibUncompress(Bytes const& stream, int windowBits, std::size_t expectedSize)
{
  z_stream state{};
  Require(inflateInit2(&state, windowBits) == Z_OK);
  std::unique_ptr<z_stream, decltype(&inflateEnd)> const guard(&state, &inflateEnd);
  Bytes input = stream;
  Bytes output(expectedSize + 1);
  state.next_in = input.data();
  state.avail_in = static_cast<uInt>(input.size());
  state.next_out = output.data();
  state.avail_out = static_cast<uInt>(output.size());
  Require(inflate(&state, Z_FINISH) == Z_STREAM_END && state.avail_in == 0);
  output.resize(state.total_out);
  return output;
}

int WindowBits(Format format) { return format == Format::kZLib ? 15 : 15 + kGZipBits; }

Bytes ZLibCompress(Format format, Bytes const& bytes)
{
  ZLibSettings settings;
  settings.windowBits = WindowBits(format);
  return ZLibCompress(bytes, settings);
}

Bytes Flipped(Bytes stream, std::size_t bit)
{
  stream.at(bit / 8) = static_cast<unsigned char>(stream.at(bit / 8) ^ (1U << (bit % 8)));
  return stream;
}

Bytes Joined(Bytes first, Bytes const& second)
{
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// A gzip member with the optional fields that are asked for.
class GZipFields
{
public:
  GZipFields(bool text, bool extra, bool name, bool comment, bool headerChecksum)
  {
    header_.text = text ? 1 : 0;
    header_.time = 1234567890;
    header_.os = 3;
    header_.extra = extra ? extra_.data() : Z_NULL;
    header_.extra_len = static_cast<uInt>(extra_.size());
    header_.name = name ? name_.data() : Z_NULL;
    header_.comment = comment ? comment_.data() : Z_NULL;
    header_.hcrc = headerChecksum ? 1 : 0;
  }

  Bytes Compress(Bytes const& bytes)
  {
    ZLibSettings settings;
    settings.windowBits = 15 + kGZipBits;
    settings.header = &header_;
    return ZLibCompress(bytes, settings);
  }

private:
  Bytes extra_ = Joined(BytesOf("QE"), {4, 0, 1, 0, 2, 0xFF});
  Bytes name_ = Joined(BytesOf("motor healthy.bin"), {0});
  Bytes comment_ = Joined(BytesOf("drive end"), {0});
  gz_header header_{};
};

/// Every combination of the five optional fields.
template <class F>
void ForAllFields(F&& visit)
{
  for (unsigned int mask = 0; mask < 32; ++mask)
  {
    SCOPED_TRACE("fields " + std::to_string(mask));
    GZipFields fields((mask & 1U) != 0, (mask & 2U) != 0, (mask & 4U) != 0, (mask & 8U) != 0, (mask & 16U) != 0);
    visit(fields);
  }
}

/// A small block whose stream has literals, matches and codes of its own.
Bytes SmallContent() { return Joined(TextOf(150), NoiseOf(40)); }

/// Small streams of both formats, made by the library and by zlib.
template <class F>
void ForSmallStreams(F&& visit)
{
  for (Format format : kFormats)
    for (bool ours : {true, false})
    {
      SCOPED_TRACE(std::string(NameOf(format)) + (ours ? " of the library" : " of zlib"));
      visit(format, ours ? Compress(format, SmallContent()) : ZLibCompress(format, SmallContent()));
    }
}
} // namespace

TEST(Compression, RoundTripGivesTheSameBytes)
{
  for (Format format : kFormats)
    for (std::size_t size : {0U, 1U, 2U, 255U, 65536U, 1048576U})
      for (Bytes const& content : ContentsOf(size))
        EXPECT_TRUE(Uncompress(format, Compress(format, content), size) == content)
            << NameOf(format) << " of " << size << " bytes";
}

TEST(Compression, StreamsAreReadByZLibToTheLastByte)
{
  for (Format format : kFormats)
    for (std::size_t size : {0U, 1U, 2U, 255U, 65536U, 300000U})
      for (Bytes const& content : ContentsOf(size))
        EXPECT_TRUE(ZLibUncompress(Compress(format, content), WindowBits(format), size) == content)
            << NameOf(format) << " of " << size << " bytes";
}

TEST(Compression, EveryLevelFromMinusOneTo12RoundTrips)
{
  Bytes const content = VibrationOf(20000);
  for (Format format : kFormats)
    for (int level = -1; level <= 12; ++level)
    {
      Bytes const stream = Compress(format, content, level);
      EXPECT_TRUE(Uncompress(format, stream, content.size()) == content) << NameOf(format) << " level " << level;
      EXPECT_TRUE(ZLibUncompress(stream, WindowBits(format), content.size()) == content)
          << NameOf(format) << " level " << level;
    }
}

TEST(Compression, LevelMinusOneIsLevel6)
{
  Bytes const content = VibrationOf(20000);
  for (Format format : kFormats)
    EXPECT_TRUE(Compress(format, content, -1) == Compress(format, content, 6)) << NameOf(format);
}

TEST(Compression, HigherLevelsCompressBetter)
{
  Bytes const content = VibrationOf(50000);
  for (Format format : kFormats)
  {
    EXPECT_GT(Compress(format, content, 0).size(), content.size()) << NameOf(format);
    EXPECT_LT(Compress(format, content, 1).size(), content.size()) << NameOf(format);
    EXPECT_LT(Compress(format, content, 12).size(), Compress(format, content, 1).size()) << NameOf(format);
  }
}

TEST(Compression, UnknownLevelIsRefusedAndLeavesTheSize)
{
  Bytes const content = TextOf(100);
  for (Format format : kFormats)
    for (int level : {-2, 13, -100, 100, INT_MIN, INT_MAX})
    {
      std::unique_ptr<Compression> const codec = MakeCodec(format, level);
      int size = 4711;
      EXPECT_TRUE(Refuses<CompressionException>(
          [&] { std::unique_ptr<unsigned char[]> const stream(codec->compress(100, content.data(), size)); }))
          << NameOf(format) << " level " << level;
      EXPECT_EQ(size, 4711);
    }
}

TEST(Compression, NothingIsCompressedFromANullSource)
{
  for (Format format : kFormats)
  {
    int size = -1;
    std::unique_ptr<unsigned char[]> const array(MakeCodec(format)->compress(0, nullptr, size));
    ASSERT_NE(array, nullptr);
    ASSERT_GT(size, 0);
    Bytes const stream(array.get(), array.get() + size);
    EXPECT_EQ(ZLibUncompress(stream, WindowBits(format), 0).size(), 0U);
    EXPECT_NO_THROW(MakeCodec(format)->uncompress(static_cast<unsigned int>(size), stream.data(), 0, nullptr))
        << NameOf(format);
  }
}

TEST(Compression, NullStreamOfNoBytesIsRefused)
{
  for (Format format : kFormats)
  {
    unsigned char destination = 0;
    EXPECT_TRUE(Refuses<CompressionException>([&] { MakeCodec(format)->uncompress(0, nullptr, 1, &destination); }));
    EXPECT_TRUE(Refuses<CompressionException>([&] { MakeCodec(format)->uncompress(0, nullptr, 0, nullptr); }));
  }
}

TEST(Compression, SourceIsLeftAlone)
{
  Bytes const content = VibrationOf(5000);
  for (Format format : kFormats)
  {
    Bytes const source = content;
    Bytes const stream = Compress(format, source);
    Bytes const copy = stream;
    Uncompress(format, stream, content.size());
    EXPECT_TRUE(source == content);
    EXPECT_TRUE(stream == copy);
  }
}

TEST(Compression, StreamsStartAsTheirFormatsDo)
{
  Bytes const zlibStream = Compress(Format::kZLib, TextOf(1000));
  ASSERT_GE(zlibStream.size(), 6U);
  EXPECT_EQ(zlibStream[0] & 0x0FU, 8U);
  EXPECT_EQ((zlibStream[0] * 256U + zlibStream[1]) % 31U, 0U);
  EXPECT_EQ(zlibStream[1] & 0x20U, 0U);
  Bytes const gzipStream = Compress(Format::kGZip, TextOf(1000));
  ASSERT_GE(gzipStream.size(), 18U);
  EXPECT_EQ(Bytes(gzipStream.begin(), gzipStream.begin() + 3), (Bytes{0x1F, 0x8B, 8}));
}

TEST(Compression, TrailersAreThoseOfTheContent)
{
  Bytes const content = TextOf(1000);
  auto const word = [](unsigned long value, bool bigEndian)
  {
    Bytes bytes;
    for (unsigned int i = 0; i < 4; ++i)
      bytes.push_back(static_cast<unsigned char>(value >> (8U * (bigEndian ? 3 - i : i))));
    return bytes;
  };
  Bytes const zlibStream = Compress(Format::kZLib, content);
  EXPECT_EQ(Bytes(zlibStream.end() - 4, zlibStream.end()), word(adler32(1, content.data(), 1000), true));
  Bytes const gzipStream = Compress(Format::kGZip, content);
  EXPECT_EQ(Bytes(gzipStream.end() - 8, gzipStream.end() - 4), word(crc32(0, content.data(), 1000), false));
  EXPECT_EQ(Bytes(gzipStream.end() - 4, gzipStream.end()), word(1000, false));
}

TEST(Compression, StreamsOfZLibOfEveryLevelAndStrategyAreRead)
{
  Bytes const content = Joined(Joined(VibrationOf(6000), TextOf(3000)), NoiseOf(1000));
  for (Format format : kFormats)
    for (int level = 0; level <= 9; ++level)
      for (int strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED})
      {
        ZLibSettings settings;
        settings.level = level;
        settings.strategy = strategy;
        settings.windowBits = WindowBits(format);
        EXPECT_TRUE(Uncompress(format, ZLibCompress(content, settings), content.size()) == content)
            << NameOf(format) << " level " << level << " strategy " << strategy;
      }
}

TEST(Compression, StreamsOfZLibOfEveryWindowAndMemorySizeAreRead)
{
  Bytes const content = Joined(VibrationOf(50000), TextOf(20000));
  for (Format format : kFormats)
    for (int windowBits = 9; windowBits <= 15; ++windowBits)
      for (int memoryLevel : {1, 9})
      {
        ZLibSettings settings;
        settings.windowBits = windowBits + (format == Format::kGZip ? kGZipBits : 0);
        settings.memoryLevel = memoryLevel;
        EXPECT_TRUE(Uncompress(format, ZLibCompress(content, settings), content.size()) == content)
            << NameOf(format) << " window " << windowBits << " memory " << memoryLevel;
      }
}

TEST(Compression, StreamsOfZLibWithFlushesInsideAreRead)
{
  Bytes const content = VibrationOf(10000);
  for (Format format : kFormats)
    for (int flush : {Z_PARTIAL_FLUSH, Z_SYNC_FLUSH, Z_FULL_FLUSH, Z_BLOCK})
    {
      ZLibSettings settings;
      settings.windowBits = WindowBits(format);
      settings.flushEvery = 777;
      settings.flush = flush;
      EXPECT_TRUE(Uncompress(format, ZLibCompress(content, settings), content.size()) == content)
          << NameOf(format) << " flush " << flush;
    }
}

TEST(Compression, EmptyStreamsOfZLibAreRead)
{
  for (Format format : kFormats)
    EXPECT_EQ(Uncompress(format, ZLibCompress(format, Bytes()), 0), Bytes()) << NameOf(format);
}

TEST(Compression, OptionalGZipFieldsAreSkipped)
{
  Bytes const content = SmallContent();
  ForAllFields([&](GZipFields& fields)
               { EXPECT_TRUE(Uncompress(Format::kGZip, fields.Compress(content), content.size()) == content); });
}

TEST(Compression, EveryTruncationIsRefused)
{
  ForSmallStreams(
      [](Format format, Bytes const& stream)
      {
        for (std::size_t length = 0; length < stream.size(); ++length)
          EXPECT_TRUE(IsRefused(format, Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length)),
                                SmallContent().size()))
              << "length " << length;
      });
}

TEST(Compression, EveryTruncationOfAnEmptyStreamIsRefused)
{
  for (Format format : kFormats)
  {
    Bytes const stream = Compress(format, Bytes());
    for (std::size_t length = 0; length < stream.size(); ++length)
      EXPECT_TRUE(IsRefused(format, Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length)), 0))
          << NameOf(format) << " length " << length;
  }
}

TEST(Compression, EveryTruncationOfAGZipStreamWithAllFieldsIsRefused)
{
  Bytes const content = TextOf(50);
  Bytes const stream = GZipFields(true, true, true, true, true).Compress(content);
  for (std::size_t length = 0; length < stream.size(); ++length)
    EXPECT_TRUE(IsRefused(Format::kGZip, Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length)),
                          content.size()))
        << "length " << length;
}

TEST(Compression, EverySingleBitDamageIsRefusedOrHarmless)
{
  ForSmallStreams(
      [](Format format, Bytes const& stream)
      {
        for (std::size_t bit = 0; bit < stream.size() * 8; ++bit)
          EXPECT_TRUE(IsRefusedOrRight(format, Flipped(stream, bit), SmallContent())) << "bit " << bit;
      });
}

TEST(Compression, EverySingleBitDamageOfAGZipStreamWithAllFieldsIsRefusedOrHarmless)
{
  Bytes const content = TextOf(50);
  Bytes const stream = GZipFields(true, true, true, true, true).Compress(content);
  for (std::size_t bit = 0; bit < stream.size() * 8; ++bit)
    EXPECT_TRUE(IsRefusedOrRight(Format::kGZip, Flipped(stream, bit), content)) << "bit " << bit;
}

TEST(Compression, EveryDamagedBitOfAChecksumOrLengthIsRefused)
{
  ForSmallStreams(
      [](Format format, Bytes const& stream)
      {
        std::size_t const trailer = format == Format::kZLib ? 4 : 8;
        for (std::size_t bit = (stream.size() - trailer) * 8; bit < stream.size() * 8; ++bit)
          EXPECT_TRUE(IsRefused(format, Flipped(stream, bit), SmallContent().size())) << "bit " << bit;
      });
}

TEST(Compression, EveryDamagedBitOfAZLibHeaderIsRefused)
{
  Bytes const stream = Compress(Format::kZLib, SmallContent());
  for (std::size_t bit = 0; bit < 16; ++bit)
    EXPECT_TRUE(IsRefused(Format::kZLib, Flipped(stream, bit), SmallContent().size())) << "bit " << bit;
}

TEST(Compression, DamagedGZipSignatureMethodOrReservedFlagIsRefused)
{
  Bytes const stream = Compress(Format::kGZip, SmallContent());
  for (std::size_t bit = 0; bit < 24; ++bit)
    EXPECT_TRUE(IsRefused(Format::kGZip, Flipped(stream, bit), SmallContent().size())) << "bit " << bit;
  for (std::size_t bit : {29U, 30U, 31U})
    EXPECT_TRUE(IsRefused(Format::kGZip, Flipped(stream, bit), SmallContent().size())) << "flag bit " << bit;
}

TEST(Compression, StreamOfOtherContentWithTheOldChecksumIsRefused)
{
  Bytes content = SmallContent();
  for (Format format : kFormats)
  {
    Bytes const before = Compress(format, content, 0);
    content[10] = static_cast<unsigned char>(content[10] + 1);
    Bytes stream = Compress(format, content, 0);
    ASSERT_EQ(stream.size(), before.size());
    std::copy(before.end() - 8, before.end(), stream.end() - 8);
    EXPECT_TRUE(IsRefused(format, stream, content.size())) << NameOf(format);
  }
}

TEST(Compression, StreamThatIsLongerThanExpectedIsRefused)
{
  ForSmallStreams(
      [](Format format, Bytes const& stream)
      {
        for (std::size_t expected = 0; expected < SmallContent().size(); ++expected)
          EXPECT_TRUE(IsRefused(format, stream, expected)) << "expected " << expected;
      });
}

TEST(Compression, StreamThatIsShorterThanExpectedIsRefused)
{
  ForSmallStreams(
      [](Format format, Bytes const& stream)
      {
        std::size_t const size = SmallContent().size();
        for (std::size_t expected :
             {size + 1, size + 2, size + 3, size + 7, size + 8, size + 255, 2 * size, 100 * size})
          EXPECT_TRUE(IsRefused(format, stream, expected)) << "expected " << expected;
      });
}

TEST(Compression, EmptyStreamIsNoStreamOfOneByte)
{
  for (Format format : kFormats)
  {
    EXPECT_TRUE(IsRefused(format, Compress(format, Bytes()), 1)) << NameOf(format);
    EXPECT_TRUE(IsRefused(format, Compress(format, Bytes(1, 0)), 0)) << NameOf(format);
  }
}

TEST(Compression, StreamOfTheOtherFormatIsRefused)
{
  ForSmallStreams([](Format format, Bytes const& stream)
                  { EXPECT_TRUE(IsRefused(OtherOf(format), stream, SmallContent().size())); });
}

TEST(Compression, StreamWithoutContainerIsRefused)
{
  for (Bytes const& content : {SmallContent(), TextOf(1000), VibrationOf(1000), Bytes(1000, 0)})
  {
    ZLibSettings settings;
    settings.windowBits = -15;
    Bytes const raw = ZLibCompress(content, settings);
    for (Format format : kFormats)
      EXPECT_TRUE(IsRefused(format, raw, content.size())) << NameOf(format);
  }
}

TEST(Compression, StreamThatNeedsADictionaryIsRefused)
{
  ZLibSettings settings;
  settings.dictionary = TextOf(64);
  Bytes const stream = ZLibCompress(SmallContent(), settings);
  ASSERT_NE(stream[1] & 0x20U, 0U);
  EXPECT_TRUE(IsRefused(Format::kZLib, stream, SmallContent().size()));
}

TEST(Compression, BytesThatAreNoStreamAreRefused)
{
  for (Format format : kFormats)
    for (std::size_t size : {1U, 2U, 5U, 6U, 17U, 18U, 1000U})
      for (Bytes const& bytes : ContentsOf(size))
      {
        EXPECT_TRUE(IsRefused(format, bytes, size)) << NameOf(format) << " of " << size;
        EXPECT_TRUE(IsRefused(format, bytes, 0)) << NameOf(format) << " of " << size;
      }
}

TEST(Compression, BytesBehindTheStreamAreIgnored)
{
  ForSmallStreams(
      [](Format format, Bytes const& stream)
      {
        for (std::size_t size : {1U, 4U, 8U, 100U, 5000U})
          for (Bytes const& tail : ContentsOf(size))
            EXPECT_TRUE(Uncompress(format, Joined(stream, tail), SmallContent().size()) == SmallContent())
                << size << " bytes";
      });
}

TEST(Compression, SecondGZipMemberIsIgnored)
{
  Bytes const first = Compress(Format::kGZip, SmallContent());
  Bytes const both = Joined(first, Compress(Format::kGZip, TextOf(100)));
  EXPECT_TRUE(Uncompress(Format::kGZip, both, SmallContent().size()) == SmallContent());
  EXPECT_TRUE(IsRefused(Format::kGZip, both, SmallContent().size() + 100));
}

TEST(Compression, VirtualOperationsStandInTheOrderDestructorCompressUncompress)
{
  EXPECT_EQ(VirtualSlot(&Compression::compress), 2U);
  EXPECT_EQ(VirtualSlot(&Compression::uncompress), 3U);
}

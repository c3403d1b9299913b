#include "signalprocessing/io/file/TimeSignalFile.h"

#include "platform/Compression.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/SampleSignals.h"
#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <system_error>
#include <vector>
#include <zlib.h>

namespace
{
using Bytes = std::vector<unsigned char>;

constexpr char const kFileUnit[] = "TimeSignalFile.cpp";
constexpr char const kObjectUnit[] = "InternalTimeSignal.cpp";
constexpr std::array<compression32_t, 3> kStoredForms = {no_compression, zlib, gzip};
constexpr std::uint64_t k4GiB = 1ULL << 32;
constexpr char const kKernelStatusFile[] = "/sys/kernel/uevent_seqnum";

/// What Read hands out, released as its caller must.
class ReadRecord
{
public:
  explicit ReadRecord(std::string const& path) : record_(TimeSignalFile::Read(path)), samples_(record_->Samples) {}

  timesignal_bin_t const& operator*() const { return *record_; }
  timesignal_bin_t const* operator->() const { return record_.get(); }
  Bytes Header() const { return HeaderBytes(*record_); }
  Bytes Samples(std::size_t count) const { return Bytes(samples_.get(), samples_.get() + count); }
  Bytes Samples() const { return Samples(record_->DataArrayByteCount); }

private:
  std::unique_ptr<timesignal_bin_t> record_;
  std::unique_ptr<unsigned char[]> samples_;
};

template <class T>
void Put(Bytes& bytes, std::size_t offset, T value)
{
  static_assert(std::is_integral_v<T>);
  for (std::size_t i = 0; i < sizeof(T); ++i)
    bytes.at(offset + i) = static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8 * i));
}

void PutDouble(Bytes& bytes, std::size_t offset, double value)
{
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof(bits));
  Put(bytes, offset, bits);
}

void PutUuid(Bytes& bytes, std::size_t offset, Uuid const& uuid)
{
  std::copy_n(uuid.GetPlainUuid(), 16, bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// The checksum written down as simply as it is defined.
std::uint16_t XorOfWords(Bytes const& bytes)
{
  unsigned int sum = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    sum ^= static_cast<unsigned int>(bytes[i]) << (i % 2 == 0 ? 0 : 8);
  return static_cast<std::uint16_t>(sum);
}

/// The file of an uncompressed signal, made from the table of offsets.
Bytes FileModel(SignalParts const& parts, sample_datatype32_t type, std::uint64_t count, Bytes const& samples)
{
  Bytes header(118);
  Put(header, 0, std::uint16_t{2});
  Put(header, 2, std::uint16_t{120});
  Put(header, 4, static_cast<std::int32_t>(parts.signalType));
  PutUuid(header, 8, parts.measurementConfigUuid);
  PutUuid(header, 24, parts.measurementUuid);
  PutDouble(header, 40, parts.deltaX);
  PutDouble(header, 48, parts.scalingFactor);
  PutDouble(header, 56, parts.offset);
  Put(header, 64, static_cast<std::int64_t>(parts.timeStamp));
  PutUuid(header, 72, parts.unitUuid);
  Put(header, 88, std::int32_t{1});
  Put(header, 92, static_cast<std::int32_t>(type));
  Put(header, 96, count);
  Put(header, 104, static_cast<std::uint64_t>(samples.size()));
  Put(header, 116, XorOfWords(samples));
  Bytes file = header;
  file.resize(120);
  Put(file, 118, XorOfWords(header));
  file.insert(file.end(), samples.begin(), samples.end());
  return file;
}

/// A header that announces `byteCount` sample bytes and is otherwise nonsense, which the file layer does not look at.
Bytes NonsenseHeader(std::uint64_t byteCount)
{
  Bytes header(120);
  for (std::size_t i = 0; i < header.size(); ++i)
    header[i] = static_cast<unsigned char>(0xC0 + i);
  Put(header, 104, byteCount);
  return header;
}

Bytes CountingBytes(std::size_t count)
{
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i)
    bytes[i] = static_cast<unsigned char>(i * 7 + 1);
  return bytes;
}

Bytes Joined(Bytes first, Bytes const& second)
{
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// `count` samples of a type whose bytes repeat, so that they shrink when they are compressed.
TimeSignal RepetitiveSignal(sample_datatype32_t type, std::size_t count)
{
  Bytes samples(count * SampleSizeOf(type));
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<unsigned char>(i % 5);
  return MakeSignal(type, count, samples.data());
}

/// Raw bytes of a zlib or gzip stream, decoded by the reference implementation.
Bytes Inflated(Bytes stream, std::size_t size)
{
  constexpr int kDetectFormat = 15 + 32;
  Bytes bytes(size + 1);
  z_stream decoder{};
  decoder.next_in = stream.data();
  decoder.avail_in = static_cast<unsigned int>(stream.size());
  decoder.next_out = bytes.data();
  decoder.avail_out = static_cast<unsigned int>(bytes.size());
  EXPECT_EQ(inflateInit2(&decoder, kDetectFormat), Z_OK);
  EXPECT_EQ(inflate(&decoder, Z_FINISH), Z_STREAM_END);
  bytes.resize(decoder.total_out);
  inflateEnd(&decoder);
  return bytes;
}

std::size_t OpenFileCount()
{
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

/// As long as it lives, the process can write no byte of a file behind this size.
class FileSizeLimit
{
public:
  explicit FileSizeLimit(rlim_t size) : signalBefore_(std::signal(SIGXFSZ, SIG_IGN))
  {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit const limit = {size, before_.rlim_max};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
      throw std::system_error(errno, std::generic_category(), "setrlimit");
  }
  FileSizeLimit(FileSizeLimit const&) = delete;
  FileSizeLimit& operator=(FileSizeLimit const&) = delete;
  ~FileSizeLimit()
  {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, signalBefore_);
  }

private:
  void (*signalBefore_)(int);
  rlimit before_{};
};

/// Every test runs under the classic global locale and under one that spoils what streams write and read by habit.
class TimeSignalFiles : public testing::TestWithParam<bool>
{
protected:
  TimeSignalFiles()
  {
    if (GetParam())
      hostileLocale_.emplace();
  }

  void ExpectError(std::string const& path, std::string const& message)
  {
    ExpectThrow<TimeSignalFileException>([&] { ReadRecord{path}; }, message, kFileUnit);
  }
  void ExpectHeaderIncomplete(std::string const& path, std::uint64_t length)
  {
    ExpectError(path,
                "Time signal header incomplete: actual " + std::to_string(length) + " bytes, expected 120 bytes!");
  }
  void ExpectWrongDataSize(std::string const& path, std::uint64_t actual, std::uint64_t expected)
  {
    ExpectError(path, "Wrong time signal data size: actual " + std::to_string(actual) + " bytes, expected " +
                          std::to_string(expected) + " bytes!");
  }
  template <class Path>
  void ExpectWriteError(Path const& path, TimeSignal& signal, std::string const& message)
  {
    ExpectThrow<TimeSignalFileException>([&] { TimeSignalFile::Write(path, signal, no_compression); }, message,
                                         kFileUnit);
  }

  TemporaryDirectory folder_;
  std::string const path_ = folder_.Path("signal.bin");

private:
  std::optional<HostileLocale> hostileLocale_;
};
} // namespace

INSTANTIATE_TEST_SUITE_P(Locales, TimeSignalFiles, testing::Bool(),
                         [](auto const& locale) { return std::string(locale.param ? "Hostile" : "Classic"); });

// The hostile locale would be no test if the standard file streams took no notice of it.
TEST_P(TimeSignalFiles, HostileLocaleSpoilsOrdinaryStreams)
{
  WriteFile(path_, {'1', '2'});
  std::ifstream stream(path_, std::ios::binary);
  char first = 0;
  stream.read(&first, 1);
  EXPECT_EQ(first != '1', GetParam());
}

// Layout

TEST_P(TimeSignalFiles, FileIsTheHeaderBlockFollowedByTheSampleBytes)
{
  SignalParts const parts;
  TimeSignal signal = MakeSignal(std::vector<short>{1, -2, 300}, parts);
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), FileModel(parts, data_int16_t, 3, {0x01, 0x00, 0xFE, 0xFF, 0x2C, 0x01}));
}

TEST_P(TimeSignalFiles, OddByteCountsAreWrittenWithoutPadding)
{
  SignalParts const parts;
  Bytes const samples = {0xAB, 0x00, 0x7F};
  TimeSignal signal = MakeSignal(data_uint8_t, samples.size(), samples.data(), parts);
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), FileModel(parts, data_uint8_t, 3, samples));
}

TEST_P(TimeSignalFiles, SignalWithoutSamplesGivesAFileOf120Bytes)
{
  SignalParts const parts;
  TimeSignal signal = MakeSignal(data_float64_t, 0, nullptr, parts);
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), FileModel(parts, data_float64_t, 0, {}));
}

TEST_P(TimeSignalFiles, EveryTypeAndStoredFormComesBackAsWritten)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStoredForms)
    {
      SCOPED_TRACE("type " + std::to_string(type) + ", form " + std::to_string(form));
      TimeSignal signal = RepetitiveSignal(type, 300);
      Bytes const raw = StoredBytes(signal);
      TimeSignalFile::Write(path_, signal, form);

      timesignal_bin_t const& header = *signal.GetHeader();
      EXPECT_EQ(header.Compression, form);
      EXPECT_EQ(header.SampleType, type);
      EXPECT_EQ(header.SampleCount, 300U);
      EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(header), StoredBytes(signal)));
      if (form == no_compression)
      {
        EXPECT_EQ(StoredBytes(signal), raw);
      }
      else
      {
        EXPECT_LT(header.DataArrayByteCount, raw.size());
        EXPECT_EQ(Inflated(StoredBytes(signal), raw.size()), raw);
      }

      ReadRecord const record(path_);
      EXPECT_EQ(record.Header(), HeaderBytes(header));
      EXPECT_EQ(record.Samples(), StoredBytes(signal));
      EXPECT_TRUE(TimeSignal(*record, signal.GetUnitString(), signal.GetJobDataUuid()) == signal);
    }
}

TEST_P(TimeSignalFiles, SampleArraysOfEverySizeComeBack)
{
  for (std::size_t const count : {1, 2, 7, 8070, 8071, 8072, 8073, 16384, 65536, 100001})
  {
    Bytes const samples = CountingBytes(count);
    TimeSignal signal = MakeSignal(data_uint8_t, count, samples.data());
    TimeSignalFile::Write(path_, signal, no_compression);
    EXPECT_EQ(std::filesystem::file_size(path_), 120 + count);
    EXPECT_EQ(ReadRecord(path_).Samples(), samples);
  }
}

TEST_P(TimeSignalFiles, FileOf120BytesReadsBackWithAnEmptyArray)
{
  WriteFile(path_, NonsenseHeader(0));
  ReadRecord const record(path_);
  EXPECT_NE(record->Samples, nullptr);
  EXPECT_EQ(record.Header(), NonsenseHeader(0));
}

TEST_P(TimeSignalFiles, ReadChecksNoContents)
{
  Bytes const file = Joined(NonsenseHeader(6), {1, 2, 3, 4, 5, 6});
  WriteFile(path_, file);
  ReadRecord const record(path_);
  EXPECT_EQ(Joined(record.Header(), record.Samples()), file);
}

TEST_P(TimeSignalFiles, WrongChecksumsAreWrittenAndReadAsTheyAre)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  signal.GetHeader()->DataChecksum ^= 0x5555U;
  Bytes const header = HeaderBytes(*signal.GetHeader());
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), Joined(header, StoredBytes(signal)));
  ReadRecord const record(path_);
  EXPECT_EQ(record.Header(), header);
  ExpectThrow<TimeSignalException>([&] { TimeSignal(*record, "", CountingUuid(1)); }, "Checksum error in header!",
                                   kObjectUnit);
}

// Compression

TEST_P(TimeSignalFiles, WriteLeavesTheSignalInTheRequestedForm)
{
  TimeSignal signal = RepetitiveSignal(data_int32_t, 200);
  Bytes const raw = StoredBytes(signal);
  TimeSignalFile::Write(path_, signal, gzip);
  EXPECT_EQ(signal.GetHeader()->Compression, gzip);
  EXPECT_LT(std::filesystem::file_size(path_), 120 + raw.size());
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(signal.GetHeader()->Compression, no_compression);
  EXPECT_EQ(StoredBytes(signal), raw);
  EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(*signal.GetHeader()), raw));
}

TEST_P(TimeSignalFiles, CompressionOfAWrittenSignalIsSeenByItsHandleOnly)
{
  TimeSignal signal = RepetitiveSignal(data_int16_t, 200);
  TimeSignal const witness = signal;
  TimeSignalFile::Write(path_, signal, zlib);
  EXPECT_EQ(signal.GetHeader()->Compression, zlib);
  EXPECT_EQ(witness.GetHeader()->Compression, no_compression);
  EXPECT_EQ(HandleCount(signal), 1U);
  EXPECT_EQ(HandleCount(witness), 1U);
}

TEST_P(TimeSignalFiles, WritingTheFormInForceKeepsSharing)
{
  TimeSignal signal = RepetitiveSignal(data_int16_t, 20);
  TimeSignal const witness = signal;
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ObjectOf(signal), ObjectOf(witness));
  EXPECT_EQ(HandleCount(witness), 2U);
}

TEST_P(TimeSignalFiles, UnknownCompressionTouchesNoFile)
{
  TimeSignal signal = RepetitiveSignal(data_int16_t, 20);
  for (auto const& [method, message] : {std::pair(int24, "Unknown compression: 3!"),
                                        std::pair(static_cast<compression32_t>(0), "Unknown compression: 0!")})
  {
    ExpectThrow<TimeSignalException>([&, unknown = method] { TimeSignalFile::Write(path_, signal, unknown); }, message,
                                     kObjectUnit);
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_EQ(signal.GetHeader()->Compression, no_compression);
  }
  WriteFile(path_, {1, 2, 3});
  EXPECT_THROW(TimeSignalFile::Write(path_, signal, int24), TimeSignalException);
  EXPECT_EQ(ReadFile(path_), (Bytes{1, 2, 3}));
}

TEST_P(TimeSignalFiles, FailingCodecTouchesNoFile)
{
  TimeSignal signal = RepetitiveSignal(data_int16_t, 20);
  signal.Compress(zlib);
  std::fill_n(signal.GetSamplesPointer(), signal.GetHeader()->DataArrayByteCount, static_cast<unsigned char>(0xFF));
  EXPECT_THROW(TimeSignalFile::Write(path_, signal, no_compression), CompressionException);
  EXPECT_THROW(TimeSignalFile::Write(path_, signal, gzip), CompressionException);
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_EQ(signal.GetHeader()->Compression, zlib);
}

TEST_P(TimeSignalFiles, SignalStaysCompressedWhenTheFileCannotBeOpened)
{
  TimeSignal signal = RepetitiveSignal(data_int16_t, 20);
  std::string const path = folder_.Path("missing/signal.bin");
  ExpectThrow<TimeSignalFileException>([&] { TimeSignalFile::Write(path, signal, gzip); },
                                       "Error opening file " + path + "!", kFileUnit);
  EXPECT_EQ(signal.GetHeader()->Compression, gzip);
}

// Paths

TEST_P(TimeSignalFiles, BothKindsOfPathNameTheSameFile)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  std::string const other = folder_.Path("other.bin");
  TimeSignalFile::Write(path_, signal, no_compression);
  TimeSignalFile::Write(other.c_str(), signal, no_compression);
  EXPECT_EQ(ReadFile(path_), ReadFile(other));
  std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(other.c_str()));
  std::unique_ptr<unsigned char[]> const samples(record->Samples);
  EXPECT_EQ(HeaderBytes(*record), ReadRecord(path_).Header());
  ExpectThrow<TimeSignalFileException>([&] { TimeSignalFile::Read("/missing/file"); },
                                       "Error opening file /missing/file!", kFileUnit);
  ExpectThrow<TimeSignalFileException>([&] { TimeSignalFile::Write("/missing/file", signal, no_compression); },
                                       "Error opening file /missing/file!", kFileUnit);
}

TEST_P(TimeSignalFiles, PathStringEndsAtItsFirstNul)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  TimeSignalFile::Write(path_ + std::string("\0.ignored", 9), signal, no_compression);
  EXPECT_EQ(std::filesystem::file_size(path_), 126U);
  EXPECT_EQ(ReadRecord(path_ + std::string("\0", 1)).Samples(), StoredBytes(signal));
}

TEST_P(TimeSignalFiles, PathsThatCannotBeOpenedAreNamed)
{
  WriteFile(path_, NonsenseHeader(0));
  std::filesystem::create_symlink("loop", folder_.Path("loop"));
  TimeSignal signal = MakeSignal(std::vector<short>{1});
  for (std::string const& path :
       {std::string(), folder_.Path("missing/signal.bin"), path_ + "/child", folder_.Path("loop"),
        folder_.Path(std::string(256, 'n')), "/" + std::string(5000, 'p'), folder_.Path("%s%n%ld/100%")})
  {
    ExpectWriteError(path, signal, "Error opening file " + path + "!");
    ExpectError(path, "Error opening file " + path + "!");
  }
  ExpectError(folder_.Path("missing.bin"), "Error opening file " + folder_.Path("missing.bin") + "!");
}

TEST_P(TimeSignalFiles, NameOfAnyBytesIsTaken)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2});
  std::string const path = folder_.Path("Schwingung \xC3\xA4 100% \xFF.bin");
  TimeSignalFile::Write(path, signal, no_compression);
  EXPECT_EQ(ReadRecord(path).Samples(), StoredBytes(signal));
}

TEST_P(TimeSignalFiles, FolderIsNoFile)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1});
  ExpectWriteError(folder_.Path(), signal, "Error opening file " + folder_.Path() + "!");
  ExpectError(folder_.Path(), "Error reading file " + folder_.Path() + "!");
}

// Even the superuser may not write the kernel's read-only status files.
TEST_P(TimeSignalFiles, FileThatMayNotBeWrittenIsNotOpened)
{
  if (!std::filesystem::exists(kKernelStatusFile))
    GTEST_SKIP() << "no such file on this system";
  TimeSignal signal = MakeSignal(std::vector<short>{1});
  ExpectWriteError(kKernelStatusFile, signal, "Error opening file " + std::string(kKernelStatusFile) + "!");
}

// Lengths

TEST_P(TimeSignalFiles, FileShorterThanAHeaderReportsItsLength)
{
  Bytes const header = NonsenseHeader(0);
  for (std::size_t length = 0; length < header.size(); ++length)
  {
    WriteFile(path_, Bytes(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(length)));
    ExpectHeaderIncomplete(path_, length);
  }
}

TEST_P(TimeSignalFiles, FileOneByteTooLongReportsDataSize)
{
  WriteFile(path_, Joined(NonsenseHeader(6), CountingBytes(7)));
  ExpectWrongDataSize(path_, 7, 6);
}

TEST_P(TimeSignalFiles, FileOneByteTooShortReportsDataSize)
{
  WriteFile(path_, Joined(NonsenseHeader(6), CountingBytes(5)));
  ExpectWrongDataSize(path_, 5, 6);
}

TEST_P(TimeSignalFiles, EveryCutFileIsRefused)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStoredForms)
    {
      TimeSignal signal = RepetitiveSignal(type, 37);
      TimeSignalFile::Write(path_, signal, form);
      std::uint64_t const dataSize = signal.GetHeader()->DataArrayByteCount;
      for (std::uint64_t cut = 1; cut <= 64; ++cut)
      {
        std::uint64_t const length = 120 + dataSize - cut;
        std::filesystem::resize_file(path_, length);
        if (length < 120)
          ExpectHeaderIncomplete(path_, length);
        else
          ExpectWrongDataSize(path_, length - 120, dataSize);
      }
    }
}

TEST_P(TimeSignalFiles, EveryExtendedFileIsRefused)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStoredForms)
    {
      TimeSignal signal = RepetitiveSignal(type, 37);
      TimeSignalFile::Write(path_, signal, form);
      std::uint64_t const dataSize = signal.GetHeader()->DataArrayByteCount;
      for (std::uint64_t extra = 1; extra <= 64; ++extra)
      {
        std::filesystem::resize_file(path_, 120 + dataSize + extra);
        ExpectWrongDataSize(path_, dataSize + extra, dataSize);
      }
    }
}

TEST_P(TimeSignalFiles, ByteCountWithAnyUpperBitNeverMatches)
{
  for (unsigned int bit = 32; bit < 64; ++bit)
  {
    WriteFile(path_, Joined(NonsenseHeader((1ULL << bit) + 6), CountingBytes(6)));
    ExpectWrongDataSize(path_, 6, 6);
  }
  WriteFile(path_, Joined(NonsenseHeader(~0ULL), CountingBytes(6)));
  ExpectWrongDataSize(path_, 6, 0xFFFFFFFF);
}

// Adding the header's 120 bytes to a byte count just below 2^64 wraps, which must not make it fit.
TEST_P(TimeSignalFiles, ByteCountThatWrapsNeverMatches)
{
  for (std::uint64_t const below : {1, 60, 119, 120})
  {
    WriteFile(path_, NonsenseHeader(0ULL - below));
    ExpectWrongDataSize(path_, 0, k4GiB - below);
  }
}

TEST_P(TimeSignalFiles, OnlyTheLow32BitsOfTheLengthCount)
{
  WriteFile(path_, Joined(NonsenseHeader(6), CountingBytes(6)));
  for (std::uint64_t const extra : {k4GiB, 3 * k4GiB})
  {
    std::filesystem::resize_file(path_, extra + 126);
    ReadRecord const record(path_);
    EXPECT_EQ(record.Header(), NonsenseHeader(6));
    EXPECT_EQ(record.Samples(), CountingBytes(6));
  }
  std::filesystem::resize_file(path_, k4GiB + 127);
  ExpectWrongDataSize(path_, 7, 6);
  std::filesystem::resize_file(path_, k4GiB + 119);
  ExpectHeaderIncomplete(path_, 119);
  std::filesystem::resize_file(path_, k4GiB);
  ExpectHeaderIncomplete(path_, 0);
}

// The kernel gives its small status files the length of a page.
TEST_P(TimeSignalFiles, FileThatEndsBeforeItsLengthCannotBeRead)
{
  std::string const path = kKernelStatusFile;
  std::error_code error;
  std::uintmax_t const length = std::filesystem::file_size(path, error);
  if (error || length < 120 || ReadFile(path).size() >= 120)
    GTEST_SKIP() << "no such file on this system";
  ExpectError(path, "Error reading file " + path + "!");
}

// Writing

TEST_P(TimeSignalFiles, LongerFileOfTheSameNameIsReplaced)
{
  WriteFile(path_, Bytes(5000, 0xEE));
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(*signal.GetHeader()), StoredBytes(signal)));
}

TEST_P(TimeSignalFiles, FullDeviceIsAnErrorHoweverLittleIsWritten)
{
  std::string const path = "/dev/full";
  if (!std::filesystem::is_character_file(path))
    GTEST_SKIP() << "no such device on this system";
  for (std::size_t const count : {0, 1, 8000, 9000, 300000})
  {
    Bytes const samples = CountingBytes(count);
    TimeSignal signal = MakeSignal(data_uint8_t, count, samples.data());
    ExpectWriteError(path, signal, "Error writing to file /dev/full!");
  }
}

TEST_P(TimeSignalFiles, FailedWriteLeavesACutFile)
{
  Bytes const samples = CountingBytes(100000);
  TimeSignal signal = MakeSignal(data_uint8_t, samples.size(), samples.data());
  Bytes const whole = Joined(HeaderBytes(*signal.GetHeader()), samples);
  {
    FileSizeLimit const limit(50000);
    ExpectWriteError(path_, signal, "Error writing to file " + path_ + "!");
  }
  Bytes const written = ReadFile(path_);
  ASSERT_LE(written.size(), 50000U);
  EXPECT_TRUE(std::equal(written.begin(), written.end(), whole.begin()));
}

TEST_P(TimeSignalFiles, MissingSampleArrayCannotBeWritten)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  timesignal_bin_t& header = *signal.GetHeader();
  delete[] header.Samples;
  header.Samples = nullptr;
  ExpectWriteError(path_, signal, "Error writing to file " + path_ + "!");
  EXPECT_EQ(header.DataArrayByteCount, 6U);
}

TEST_P(TimeSignalFiles, ArrayShorterThanTheHeaderSaysIsPaddedWithZeros)
{
  for (std::size_t const missing : {1, 5, 1000, 100000})
  {
    TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
    signal.GetHeader()->DataArrayByteCount += missing;
    TimeSignalFile::Write(path_, signal, no_compression);
    Bytes samples = {1, 0, 2, 0, 3, 0};
    samples.resize(6 + missing);
    EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(*signal.GetHeader()), samples));
    EXPECT_EQ(ReadRecord(path_).Samples(), samples);
  }
}

TEST_P(TimeSignalFiles, ArrayLongerThanTheHeaderSaysIsCut)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  signal.GetHeader()->DataArrayByteCount = 3;
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(*signal.GetHeader()), {1, 0, 2}));
}

TEST_P(TimeSignalFiles, ArrayPutIntoTheHeaderByTheCallerIsWrittenWhole)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1});
  timesignal_bin_t& header = *signal.GetHeader();
  delete[] header.Samples;
  Bytes const samples = CountingBytes(300);
  header.Samples = new unsigned char[samples.size()];
  std::copy(samples.begin(), samples.end(), header.Samples);
  header.DataArrayByteCount = samples.size();
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(header), samples));
}

TEST_P(TimeSignalFiles, OnlyTheLow32BitsOfTheByteCountAreWritten)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  signal.GetHeader()->DataArrayByteCount += k4GiB;
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadFile(path_), Joined(HeaderBytes(*signal.GetHeader()), {1, 0, 2, 0, 3, 0}));
  ExpectWrongDataSize(path_, 6, 6);
}

// Errors

TEST_P(TimeSignalFiles, FailuresLeaveNoFileOpen)
{
  TimeSignal signal = MakeSignal(std::vector<short>{1, 2, 3});
  std::string const cut = folder_.Path("cut.bin");
  std::string const wrong = folder_.Path("wrong.bin");
  WriteFile(cut, Bytes(119));
  WriteFile(wrong, Joined(NonsenseHeader(6), CountingBytes(7)));
  std::size_t const before = OpenFileCount();
  TimeSignalFile::Write(path_, signal, no_compression);
  EXPECT_EQ(ReadRecord(path_).Samples(), StoredBytes(signal));
  ExpectHeaderIncomplete(cut, 119);
  ExpectWrongDataSize(wrong, 7, 6);
  ExpectError(folder_.Path("missing.bin"), "Error opening file " + folder_.Path("missing.bin") + "!");
  EXPECT_THROW(ReadRecord{folder_.Path()}, TimeSignalFileException);
  EXPECT_THROW(TimeSignalFile::Write("/dev/full", signal, no_compression), TimeSignalFileException);
  EXPECT_THROW(TimeSignalFile::Write(folder_.Path(), signal, no_compression), TimeSignalFileException);
  EXPECT_EQ(OpenFileCount(), before);
}

TEST_P(TimeSignalFiles, ClonedExceptionKeepsTheWholeError)
{
  try
  {
    ReadRecord{folder_.Path("missing.bin")};
    FAIL() << "threw nothing";
  }
  catch (TimeSignalFileException const& exception)
  {
    std::unique_ptr<VelmoraException> const clone(exception.clone());
    EXPECT_NE(dynamic_cast<TimeSignalFileException const*>(clone.get()), nullptr);
    EXPECT_EQ(clone->getClassName(), "TimeSignalFileException");
    EXPECT_STREQ(clone->what(), ("Error opening file " + folder_.Path("missing.bin") + "!").c_str());
    EXPECT_EQ(clone->getFile(), kFileUnit);
    EXPECT_EQ(clone->getLine(), exception.getLine());
  }
}

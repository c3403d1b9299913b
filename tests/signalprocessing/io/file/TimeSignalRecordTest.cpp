#include "signalprocessing/io/file/TimeSignalRecord.h"

#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "support/Expectations.h"
#include "support/Records.h"

#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr char const kObjectUnit[] = "InternalTimeSignal.cpp";
constexpr char const kTooManySamples[] = "Support for more than 2^31 samples not implemented!";
constexpr unsigned long long kTwoToThe31 = 1ULL << 31;

/// A 64-bit number as the messages print it: in full where long has 64 bits, else its low 32 bits.
std::string AsLong(unsigned long long number) { return std::to_string(static_cast<unsigned long>(number)); }

// clang-format off
/// A record written down byte by byte: three 16-bit samples 1, -2, 0x1234.
Bytes const kHandWritten = {
    0x02, 0x00, 0x78, 0x00,                                                                        // version 2, 120 bytes
    0x05, 0x00, 0x00, 0x00,                                                                        // order_analysis
    0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE, 0xAF, // configuration
    0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xBB, 0xBC, 0xBD, 0xBE, 0xBF, // measurement
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE0, 0x3F,                                                // DeltaX 0.5
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0xC0,                                                // ScalingFactor -2.5
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x59, 0x40,                                                // Offset 100
    0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,                                                // TimeStamp -2
    0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xCE, 0xCF, // unit
    0x01, 0x00, 0x00, 0x00,                                                                        // no_compression
    0x02, 0x00, 0x00, 0x00,                                                                        // data_int16_t
    0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                                                // three samples
    0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                                                // six bytes
    0x00, 0x00, 0x00, 0x00,                                                                        // reserved
    // 0x0001 ^ 0xFFFE ^ 0x1234 = 0xEDCB
    0xCB, 0xED,
    // Sixteen bytes that count up cancel but for 0 ^ 2 ^ 4 ^ ... ^ 14 = 0 and 1 ^ 3 ^ ... ^ 15 = 0, so the UUIDs drop
    // out: 2 ^ 0x78 ^ 5 = 0x7F; 0x3FE0 ^ 0xC004 ^ 0x4059 = 0xBFBD; 0xFFFE ^ 0xFFFF three times = 0x0001;
    // 1 ^ 2 ^ 3 ^ 6 = 6; 0x007F ^ 0xBFBD ^ 0x0001 ^ 0x0006 ^ 0xEDCB = 0x520E
    0x0E, 0x52,
    0x01, 0x00, 0xFE, 0xFF, 0x34, 0x12};
// clang-format on

RecordPointer RecordFrom(Bytes const& flat) { return RecordPointer(InternalTimeSignal::VectorToTimeSignalBin(flat)); }

Bytes FlatOf(timesignal_bin_t const& record)
{
  std::unique_ptr<Bytes> const flat(InternalTimeSignal::TimeSignalBinToVector(record));
  return *flat;
}

void ExpectVectorRefused(Bytes const& flat, std::string const& message)
{
  ExpectThrow<TimeSignalException>([&] { RecordFrom(flat); }, message, kObjectUnit);
}

void ExpectRecordRefused(timesignal_bin_t const& record, std::string const& message,
                         Uuid const& jobData = CountingUuid(0x70))
{
  ExpectThrow<TimeSignalException>([&] { InternalTimeSignal(record, "g", jobData); }, message, kObjectUnit);
}

/// A valid record of 16-bit samples in which one 32-bit field holds another value, both checksums right.
RecordPointer RecordWith(std::size_t offset, int value)
{
  Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
  SetField(flat, offset, value);
  RepairChecksums(flat);
  return RecordOf(flat);
}

/// A valid flat record without samples that announces some.
Bytes Announcing(sample_datatype32_t type, unsigned long long count)
{
  return FlatRecord(type, no_compression, count, Bytes());
}

unsigned short ChecksumOf(Bytes const& bytes) { return InternalTimeSignal::CalcChecksum(bytes.data(), bytes.size()); }
} // namespace

// Layout

TEST(TimeSignalRecord, EnumerationsHaveTheStoredNumbers)
{
  EXPECT_EQ(raw_time_signal, 1);
  EXPECT_EQ(demodulation_time_signal, 2);
  EXPECT_EQ(raw_spectrum, 3);
  EXPECT_EQ(demodulation_spectrum, 4);
  EXPECT_EQ(order_analysis, 5);
  EXPECT_EQ(data_int8_t, 1);
  EXPECT_EQ(data_int16_t, 2);
  EXPECT_EQ(data_int32_t, 3);
  EXPECT_EQ(data_int64_t, 4);
  EXPECT_EQ(data_float32_t, 5);
  EXPECT_EQ(data_float64_t, 6);
  EXPECT_EQ(data_uint8_t, 7);
  EXPECT_EQ(data_uint16_t, 8);
  EXPECT_EQ(data_uint32_t, 9);
  EXPECT_EQ(data_uint64_t, 10);
  EXPECT_EQ(no_compression, 1);
  EXPECT_EQ(zlib, 2);
  EXPECT_EQ(int24, 3);
  EXPECT_EQ(gzip, 4);
  EXPECT_EQ(sizeof(signal32_t), 4U);
  EXPECT_EQ(sizeof(sample_datatype32_t), 4U);
  EXPECT_EQ(sizeof(compression32_t), 4U);
}

TEST(TimeSignalRecord, HandWrittenBytesAppearInTheFields)
{
  RecordPointer const record = RecordFrom(kHandWritten);
  EXPECT_EQ(record->BinaryHeaderVersion, 2);
  EXPECT_EQ(record->HeaderSize, 120);
  EXPECT_EQ(record->SignalType, order_analysis);
  for (int i = 0; i < 16; ++i)
  {
    EXPECT_EQ(record->MeasurementConfigUuid[i], 0xA0 + i);
    EXPECT_EQ(record->MeasurementUuid[i], 0xB0 + i);
    EXPECT_EQ(record->UnitUuid[i], 0xC0 + i);
  }
  EXPECT_EQ(record->DeltaX, 0.5);
  EXPECT_EQ(record->ScalingFactor, -2.5);
  EXPECT_EQ(record->Offset, 100.0);
  EXPECT_EQ(record->TimeStamp, -2);
  EXPECT_EQ(record->Compression, no_compression);
  EXPECT_EQ(record->SampleType, data_int16_t);
  EXPECT_EQ(record->SampleCount, 3U);
  EXPECT_EQ(record->DataArrayByteCount, 6U);
  EXPECT_EQ(record->Reserved, 0U);
  EXPECT_EQ(record->DataChecksum, 0xEDCB);
  EXPECT_EQ(record->HeaderChecksum, 0x520E);
  ASSERT_NE(record->Samples, nullptr);
  EXPECT_EQ(Bytes(record->Samples, record->Samples + 6), Bytes({0x01, 0x00, 0xFE, 0xFF, 0x34, 0x12}));
}

TEST(TimeSignalRecord, HandWrittenRecordIsAccepted)
{
  InternalTimeSignal const signal(*RecordFrom(kHandWritten), "mm/s", CountingUuid(0x70));
  EXPECT_TRUE(signal.GetChecksumStatus());
  EXPECT_EQ(FlatBytes(*signal.GetHeader()), kHandWritten);
}

TEST(TimeSignalRecord, FieldsGiveTheHandWrittenBytes)
{
  std::array<unsigned char, 6> samples = {0x01, 0x00, 0xFE, 0xFF, 0x34, 0x12};
  timesignal_bin_t record = {};
  record.BinaryHeaderVersion = 2;
  record.HeaderSize = 120;
  record.SignalType = order_analysis;
  for (int i = 0; i < 16; ++i)
  {
    record.MeasurementConfigUuid[i] = static_cast<unsigned char>(0xA0 + i);
    record.MeasurementUuid[i] = static_cast<unsigned char>(0xB0 + i);
    record.UnitUuid[i] = static_cast<unsigned char>(0xC0 + i);
  }
  record.DeltaX = 0.5;
  record.ScalingFactor = -2.5;
  record.Offset = 100;
  record.TimeStamp = -2;
  record.Compression = no_compression;
  record.SampleType = data_int16_t;
  record.SampleCount = 3;
  record.DataArrayByteCount = 6;
  record.DataChecksum = 0xEDCB;
  record.HeaderChecksum = 0x520E;
  record.Samples = samples.data();
  EXPECT_EQ(FlatOf(record), kHandWritten);
}

TEST(TimeSignalRecord, SixtyHeaderWordsOfASignalCancelOut)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    Bytes const samples = SampleBytes(type, 5);
    TimeSignal const signal = MakeSignal(type, 5, samples.data());
    EXPECT_EQ(PlainChecksum(HeaderBytes(*signal.GetHeader())), 0) << type;
    EXPECT_EQ(signal.GetHeader()->DataChecksum, PlainChecksum(samples)) << type;
  }
}

TEST(TimeSignalRecord, SignalFromPartsIsTheRecordMadeByHand)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    Bytes const samples = SampleBytes(type, 7);
    TimeSignal const signal = MakeSignal(type, 7, samples.data());
    EXPECT_EQ(FlatBytes(*signal.GetHeader()), FlatRecord(type, no_compression, 7)) << type;
  }
}

// Checksum

TEST(TimeSignalRecordChecksum, OddLastByteIsALowByte)
{
  EXPECT_EQ(ChecksumOf({0xAB}), 0x00AB);
  EXPECT_EQ(ChecksumOf({0x01, 0x02, 0xF0}), 0x02F1);
}

TEST(TimeSignalRecordChecksum, WordsAreLittleEndian)
{
  EXPECT_EQ(ChecksumOf({0x34, 0x12}), 0x1234);
  EXPECT_EQ(ChecksumOf({0x34, 0x12, 0x0F, 0xF0}), 0xE23B);
}

TEST(TimeSignalRecordChecksum, EqualWordsCancelOut) { EXPECT_EQ(ChecksumOf({0x34, 0x12, 0x34, 0x12}), 0); }

TEST(TimeSignalRecordChecksum, OfNothingIsZero)
{
  EXPECT_EQ(InternalTimeSignal::CalcChecksum(nullptr, 0), 0);
  unsigned char const byte = 0xAB;
  EXPECT_EQ(InternalTimeSignal::CalcChecksum(&byte, 0), 0);
}

TEST(TimeSignalRecordChecksum, OfABlockThatIsMissingIsRefused)
{
  // A length whose low 32 bits are 0 is a length too.
  for (unsigned long long const length : {1ULL, 2ULL, 1ULL << 32, ~0ULL})
    ExpectThrow<TimeSignalException>([length] { InternalTimeSignal::CalcChecksum(nullptr, length); },
                                     "Can't calculate checksum over NULL!", kObjectUnit);
}

TEST(TimeSignalRecordChecksum, OfAHandleIsTheSame)
{
  EXPECT_EQ(TimeSignal::CalcChecksum(kHandWritten.data(), 118), 0x520E);
  EXPECT_EQ(TimeSignal::CalcChecksum(nullptr, 0), 0);
  ExpectThrow<TimeSignalException>([] { TimeSignal::CalcChecksum(nullptr, 1); }, "Can't calculate checksum over NULL!",
                                   kObjectUnit);
}

TEST(TimeSignalRecordChecksum, EveryShortLengthAtEveryMisalignmentAgreesWithOneByteAtATime)
{
  constexpr std::size_t kLengths = 301;
  constexpr std::size_t kMisalignments = 64;
  std::mt19937 random(20150930);
  // Each block ends where its array ends, so that reading too far is noticed.
  for (std::size_t length = 0; length < kLengths; ++length)
    for (std::size_t misalignment = 0; misalignment < kMisalignments; ++misalignment)
    {
      Bytes bytes(misalignment + length);
      for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
      unsigned char const* const block = bytes.data() + misalignment;
      ASSERT_EQ(InternalTimeSignal::CalcChecksum(block, length), PlainChecksum(block, length))
          << length << " bytes at misalignment " << misalignment;
    }
}

TEST(TimeSignalRecordChecksum, BigBlocksAgreeWithOneByteAtATime)
{
  std::mt19937 random(42);
  std::uniform_int_distribution<std::size_t> lengths(100000, 1500000);
  for (int round = 0; round < 8; ++round)
  {
    std::size_t const misalignment = random() % 64;
    Bytes bytes(misalignment + lengths(random));
    for (std::size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<unsigned char>((i * 0x9E3779B1U + round) >> 13);
    unsigned char const* const block = bytes.data() + misalignment;
    std::size_t const length = bytes.size() - misalignment;
    EXPECT_EQ(InternalTimeSignal::CalcChecksum(block, length), PlainChecksum(block, length)) << length;
  }
}

TEST(TimeSignalRecordChecksum, EverySingleBitCounts)
{
  Bytes bytes(77);
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit)
  {
    bytes[bit / 8] = static_cast<unsigned char>(1U << bit % 8);
    ASSERT_EQ(ChecksumOf(bytes), 1U << bit % 16) << bit;
    bytes[bit / 8] = 0;
  }
}

// Sample sizes

TEST(TimeSignalRecord, SampleSizesOfTheTenTypes)
{
  for (std::size_t i = 0; i < kSampleTypes.size(); ++i)
  {
    EXPECT_EQ(InternalTimeSignal::GetDataTypeSize(kSampleTypes.at(i)), kSampleSizes.at(i));
    EXPECT_EQ(TimeSignal::GetDataTypeSize(kSampleTypes.at(i)), kSampleSizes.at(i));
  }
}

TEST(TimeSignalRecord, SampleSizeOfAnUnknownTypeIsRefused)
{
  for (int const type : {INT_MIN, -1, 0, 11, 99, INT_MAX})
  {
    std::string const message = "Unknown data type: " + std::to_string(type) + "!";
    auto const unknown = static_cast<sample_datatype32_t>(type);
    ExpectThrow<TimeSignalException>([unknown] { InternalTimeSignal::GetDataTypeSize(unknown); }, message, kObjectUnit);
    ExpectThrow<TimeSignalException>([unknown] { TimeSignal::GetDataTypeSize(unknown); }, message, kObjectUnit);
  }
}

// Flat bytes to record

TEST(TimeSignalRecordFromVector, FewerThan120BytesAreAnIncompleteHeader)
{
  for (std::size_t size = 0; size < 120; ++size)
    ExpectVectorRefused(Bytes(kHandWritten.begin(), kHandWritten.begin() + size),
                        "Time signal header incomplete: actual " + std::to_string(size) + ", expected 120!");
}

TEST(TimeSignalRecordFromVector, HeaderAloneHasNoSampleArray)
{
  Bytes const flat = FlatRecord(data_float32_t, no_compression, 0);
  ASSERT_EQ(flat.size(), 120U);
  RecordPointer const record = RecordFrom(flat);
  EXPECT_EQ(record->Samples, nullptr);
  EXPECT_EQ(HeaderBytes(*record), flat);
}

TEST(TimeSignalRecordFromVector, OneByteTooFewOrTooManyIsAWrongDataSize)
{
  Bytes flat = kHandWritten;
  flat.push_back(0);
  ExpectVectorRefused(flat, "Wrong time signal data size: actual 7, expected 6!");
  flat.resize(flat.size() - 2);
  ExpectVectorRefused(flat, "Wrong time signal data size: actual 5, expected 6!");
  flat.resize(120);
  ExpectVectorRefused(flat, "Wrong time signal data size: actual 0, expected 6!");
}

TEST(TimeSignalRecordFromVector, ByteCountIsComparedInFull)
{
  // Sums with the header size that only fit after their high bits are dropped, or that just do or do not fit 32 bits.
  unsigned long long const four = 1ULL << 32;
  for (unsigned long long const count :
       {four - 121, four - 120, four - 1, four, four + 6, 1ULL << 63, ~0ULL - 119, ~0ULL - 113, ~0ULL})
  {
    Bytes flat = kHandWritten;
    SetField(flat, FieldOffset::kDataArrayByteCount, count);
    ExpectVectorRefused(flat, "Wrong time signal data size: actual 6, expected " + AsLong(count) + "!");
  }
}

TEST(TimeSignalRecordFromVector, UnknownSampleTypeIsRefused)
{
  for (int const type : {INT_MIN, -1, 0, 11, INT_MAX})
  {
    Bytes flat = kHandWritten;
    SetField(flat, FieldOffset::kSampleType, type);
    ExpectVectorRefused(flat, "Unknown data type: " + std::to_string(type) + "!");
  }
}

TEST(TimeSignalRecordFromVector, AtMostTwoToThe31MinusOneSampleBytesAreAccepted)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    unsigned long long const limit = kTwoToThe31 / SampleSizeOf(type);
    ExpectVectorRefused(Announcing(type, limit), kTooManySamples);
    RecordPointer const record = RecordFrom(Announcing(type, limit - 1));
    EXPECT_EQ(record->SampleCount, limit - 1);
    EXPECT_EQ(record->Samples, nullptr);
  }
}

TEST(TimeSignalRecordFromVector, ProductBeyond64BitsIsAboveTheLimit)
{
  ExpectVectorRefused(Announcing(data_int8_t, ~0ULL), kTooManySamples);
  ExpectVectorRefused(Announcing(data_int16_t, 1ULL << 63), kTooManySamples);
  ExpectVectorRefused(Announcing(data_uint16_t, (1ULL << 63) + 3), kTooManySamples);
  ExpectVectorRefused(Announcing(data_float32_t, 1ULL << 62), kTooManySamples);
  ExpectVectorRefused(Announcing(data_float64_t, 1ULL << 61), kTooManySamples);
  ExpectVectorRefused(Announcing(data_uint64_t, (1ULL << 61) + 1), kTooManySamples);
  ExpectVectorRefused(Announcing(data_int64_t, (1ULL << 32)), kTooManySamples);
}

TEST(TimeSignalRecordFromVector, EarlierCheckSpeaksFirst)
{
  Bytes flat = kHandWritten;
  SetField(flat, FieldOffset::kSampleType, 11);
  SetField(flat, FieldOffset::kSampleCount, ~0ULL);
  SetField(flat, FieldOffset::kDataArrayByteCount, 7ULL);
  ExpectVectorRefused(Bytes(flat.begin(), flat.begin() + 119),
                      "Time signal header incomplete: actual 119, expected 120!");
  ExpectVectorRefused(flat, "Wrong time signal data size: actual 6, expected 7!");
  SetField(flat, FieldOffset::kDataArrayByteCount, 6ULL);
  ExpectVectorRefused(flat, "Unknown data type: 11!");
  SetField(flat, FieldOffset::kSampleType, 10);
  ExpectVectorRefused(flat, kTooManySamples);
}

TEST(TimeSignalRecordFromVector, VersionSizeSignalTypeCompressionAndChecksumsAreNotLookedAt)
{
  Bytes flat = kHandWritten;
  SetField<unsigned short>(flat, FieldOffset::kBinaryHeaderVersion, 9);
  SetField<unsigned short>(flat, FieldOffset::kHeaderSize, 7);
  SetField(flat, FieldOffset::kSignalType, 77);
  SetField(flat, FieldOffset::kCompression, 3);
  SetField(flat, FieldOffset::kReserved, 0xDEADBEEF);
  SetField<unsigned short>(flat, FieldOffset::kDataChecksum, 1);
  SetField<unsigned short>(flat, FieldOffset::kHeaderChecksum, 2);
  RecordPointer const record = RecordFrom(flat);
  EXPECT_EQ(FlatBytes(*record), flat);
}

TEST(TimeSignalRecordFromVector, SampleCountNeedNotMatchTheBytes)
{
  Bytes flat = kHandWritten;
  SetField(flat, FieldOffset::kSampleCount, 1000ULL);
  EXPECT_EQ(FlatBytes(*RecordFrom(flat)), flat);
}

TEST(TimeSignalRecordFromVector, RecordOutlivesTheVector)
{
  auto flat = std::make_unique<Bytes>(kHandWritten);
  RecordPointer const record = RecordFrom(*flat);
  EXPECT_NE(record->Samples, flat->data() + 120);
  flat.reset();
  EXPECT_EQ(FlatBytes(*record), kHandWritten);
}

// Record to flat bytes

TEST(TimeSignalRecordToVector, ReturnsEveryValidRecordUnchanged)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStorageForms)
      for (std::size_t const count : {std::size_t{0}, std::size_t{1}, std::size_t{5}, std::size_t{1000}})
      {
        Bytes const flat = FlatRecord(type, form, count);
        EXPECT_EQ(FlatOf(*RecordFrom(flat)), flat) << type << ", " << form << ", " << count;
        EXPECT_EQ(FlatOf(*RecordOf(flat)), flat) << type << ", " << form << ", " << count;
      }
}

TEST(TimeSignalRecordToVector, ChecksAndRecomputesNothing)
{
  Bytes flat(kHeaderBytes + 5, 0xEE);
  SetField(flat, FieldOffset::kDataArrayByteCount, 5ULL);
  EXPECT_EQ(FlatOf(*RecordOf(flat)), flat);
}

TEST(TimeSignalRecordToVector, MissingSampleArrayIsWrittenAsZeros)
{
  Bytes const flat = FlatRecord(data_int16_t, no_compression, 3, {1, 2, 3, 4, 5, 6});
  RecordPointer const record = RecordOf(flat);
  std::unique_ptr<unsigned char[]> const samples(std::exchange(record->Samples, nullptr));
  Bytes expected = flat;
  std::fill(expected.begin() + 120, expected.end(), static_cast<unsigned char>(0));
  EXPECT_EQ(FlatOf(*record), expected);
}

TEST(TimeSignalRecordToVector, SamplesWithoutAByteCountAreNotWritten)
{
  Bytes flat = FlatRecord(data_int16_t, no_compression, 3, {1, 2, 3, 4, 5, 6});
  SetField(flat, FieldOffset::kDataArrayByteCount, 0ULL);
  Bytes const written = FlatOf(*RecordOf(flat));
  EXPECT_EQ(written, Bytes(flat.begin(), flat.begin() + 120));
}

// Acceptance of a record by the object that is built from it

namespace
{
/// The ten checks in their order. A record can fail any set of them at once.
enum Check
{
  kVersion,
  kHeaderSize,
  kSignalType,
  kSampleType,
  kSampleArray,
  kCompression,
  kHeaderChecksum,
  kDataChecksum,
  kJobData,
  kSizeLimit,
  kChecks
};

constexpr std::array<char const*, kChecks> kRefusals = {"Wrong version of header block: 3!",
                                                        "Wrong size of header block: 121!",
                                                        "Unknown signal type: 6!",
                                                        "Unknown data type: 11!",
                                                        "Sample array missing!",
                                                        "Unknown compression: 3!",
                                                        "Checksum error in header!",
                                                        "Checksum error in samples!",
                                                        "Missing UUID for job data entry in database!",
                                                        kTooManySamples};

/// A record, and the job-data UUID that goes with it, that fails exactly the checks whose bits are set.
struct Candidate
{
  explicit Candidate(unsigned int failing)
  {
    auto const fails = [failing](Check check) { return (failing >> check & 1) != 0; };
    Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
    if (fails(kVersion))
      SetField<unsigned short>(flat, FieldOffset::kBinaryHeaderVersion, 3);
    if (fails(kHeaderSize))
      SetField<unsigned short>(flat, FieldOffset::kHeaderSize, 121);
    if (fails(kSignalType))
      SetField(flat, FieldOffset::kSignalType, 6);
    if (fails(kSampleType))
      SetField(flat, FieldOffset::kSampleType, 11);
    if (fails(kCompression))
      SetField(flat, FieldOffset::kCompression, 3);
    if (fails(kSizeLimit))
      SetField(flat, FieldOffset::kSampleCount, 1ULL << 30);
    if (fails(kDataChecksum))
      SetField<unsigned short>(flat, FieldOffset::kDataChecksum,
                               FieldAt<unsigned short>(flat, FieldOffset::kDataChecksum) ^ 0x0100);
    RepairHeaderChecksum(flat);
    if (fails(kHeaderChecksum))
      SetField<unsigned short>(flat, FieldOffset::kHeaderChecksum,
                               FieldAt<unsigned short>(flat, FieldOffset::kHeaderChecksum) ^ 0x0100);
    if (fails(kJobData))
      jobData.ClearUuid();
    record = RecordOf(flat);
    if (fails(kSampleArray))
      keptSamples.reset(std::exchange(record->Samples, nullptr));
  }

  Uuid jobData = CountingUuid(0x70);
  std::unique_ptr<unsigned char[]> keptSamples;
  RecordPointer record;
};
} // namespace

TEST(TimeSignalRecordAcceptance, RecordWithoutDefectIsAccepted)
{
  Candidate const candidate(0);
  InternalTimeSignal const signal(*candidate.record, "g", candidate.jobData);
  EXPECT_EQ(FlatBytes(*signal.GetHeader()), FlatBytes(*candidate.record));
}

TEST(TimeSignalRecordAcceptance, EachCheckRefusesWithItsMessage)
{
  for (int check = 0; check < kChecks; ++check)
  {
    Candidate const candidate(1U << check);
    ExpectRecordRefused(*candidate.record, kRefusals.at(check), candidate.jobData);
  }
}

TEST(TimeSignalRecordAcceptance, OfTwoDefectsTheEarlierCheckSpeaks)
{
  for (int first = 0; first < kChecks; ++first)
    for (int second = first + 1; second < kChecks; ++second)
    {
      SCOPED_TRACE("the later check: " + std::to_string(second));
      Candidate const candidate(1U << first | 1U << second);
      ExpectRecordRefused(*candidate.record, kRefusals.at(first), candidate.jobData);
    }
}

TEST(TimeSignalRecordAcceptance, OfAnySetOfDefectsTheEarliestCheckSpeaks)
{
  for (unsigned int failing = 1; failing < 1U << kChecks; ++failing)
  {
    Candidate const candidate(failing);
    std::size_t earliest = 0;
    while ((failing >> earliest & 1) == 0)
      ++earliest;
    try
    {
      InternalTimeSignal(*candidate.record, "g", candidate.jobData);
      ADD_FAILURE() << "accepted with defects " << failing;
    }
    catch (TimeSignalException const& exception)
    {
      EXPECT_STREQ(exception.what(), kRefusals.at(earliest)) << failing;
    }
  }
}

TEST(TimeSignalRecordAcceptance, OtherVersionsAndHeaderSizesAreRefused)
{
  for (unsigned short const version : {0, 1, 3, 258, 65535})
  {
    Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
    SetField(flat, FieldOffset::kBinaryHeaderVersion, version);
    RepairChecksums(flat);
    ExpectRecordRefused(*RecordOf(flat), "Wrong version of header block: " + std::to_string(version) + "!");
  }
  for (unsigned short const size : {0, 119, 121, 376, 65535})
  {
    Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
    SetField(flat, FieldOffset::kHeaderSize, size);
    RepairChecksums(flat);
    ExpectRecordRefused(*RecordOf(flat), "Wrong size of header block: " + std::to_string(size) + "!");
  }
}

TEST(TimeSignalRecordAcceptance, SignalTypesZeroAndAboveFiveAreRefused)
{
  for (int const type : {0, 6, 7, 256, INT_MAX})
    ExpectRecordRefused(*RecordWith(FieldOffset::kSignalType, type),
                        "Unknown signal type: " + std::to_string(type) + "!");
}

TEST(TimeSignalRecordAcceptance, SignalTypesOneToFiveAreAccepted)
{
  for (int type = 1; type <= 5; ++type)
  {
    InternalTimeSignal const signal(*RecordWith(FieldOffset::kSignalType, type), "g", CountingUuid(0x70));
    EXPECT_EQ(signal.GetHeader()->SignalType, type);
  }
}

TEST(TimeSignalRecordAcceptance, NegativeSignalTypesAreLetThrough)
{
  for (int const type : {-1, -5, INT_MIN})
  {
    InternalTimeSignal const signal(*RecordWith(FieldOffset::kSignalType, type), "g", CountingUuid(0x70));
    EXPECT_EQ(signal.GetHeader()->SignalType, type);
  }
}

TEST(TimeSignalRecordAcceptance, SampleTypesZeroAndAboveTenAreRefused)
{
  for (int const type : {0, 11, 12, 258, INT_MAX})
    ExpectRecordRefused(*RecordWith(FieldOffset::kSampleType, type),
                        "Unknown data type: " + std::to_string(type) + "!");
}

TEST(TimeSignalRecordAcceptance, NegativeSampleTypesPassTheirCheckAndFailWhereTheirSizeIsNeeded)
{
  for (int const type : {-1, INT_MIN})
  {
    RecordPointer const record = RecordWith(FieldOffset::kSampleType, type);
    ExpectRecordRefused(*record, "Unknown data type: " + std::to_string(type) + "!");
    ExpectRecordRefused(*record, "Missing UUID for job data entry in database!", Uuid());
    record->Compression = int24;
    ExpectRecordRefused(*record, "Unknown compression: 3!");
  }
}

TEST(TimeSignalRecordAcceptance, CompressionsOtherThanTheThreeMethodsAreRefused)
{
  for (int const compression : {INT_MIN, -1, 0, 3, 5, INT_MAX})
    ExpectRecordRefused(*RecordWith(FieldOffset::kCompression, compression),
                        "Unknown compression: " + std::to_string(compression) + "!");
}

TEST(TimeSignalRecordAcceptance, CompressedSamplesAreCheckedAsStored)
{
  for (compression32_t const form : {zlib, gzip})
  {
    // Bytes that are no stream at all pass: nothing is decompressed.
    Bytes flat = FlatRecord(data_int16_t, form, 3, {0xDE, 0xAD, 0xBE});
    InternalTimeSignal const signal(*RecordOf(flat), "g", CountingUuid(0x70));
    EXPECT_EQ(FlatBytes(*signal.GetHeader()), flat);
    flat.back() ^= 1;
    ExpectRecordRefused(*RecordOf(flat), "Checksum error in samples!");
  }
}

TEST(TimeSignalRecordAcceptance, EveryFlippedSampleBitIsNoticed)
{
  Bytes flat = FlatRecord(data_int8_t, no_compression, 9);
  for (std::size_t bit = 8 * kHeaderBytes; bit < 8 * flat.size(); ++bit)
  {
    flat[bit / 8] = static_cast<unsigned char>(flat[bit / 8] ^ 1U << bit % 8);
    ExpectRecordRefused(*RecordOf(flat), "Checksum error in samples!");
    flat[bit / 8] = static_cast<unsigned char>(flat[bit / 8] ^ 1U << bit % 8);
  }
}

TEST(TimeSignalRecordAcceptance, EveryFlippedHeaderBitIsNoticed)
{
  Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
  for (std::size_t bit = 0; bit < 8 * kHeaderBytes; ++bit)
  {
    flat[bit / 8] = static_cast<unsigned char>(flat[bit / 8] ^ 1U << bit % 8);
    RecordPointer const record = RecordOf(flat);
    EXPECT_THROW(InternalTimeSignal(*record, "g", CountingUuid(0x70)), TimeSignalException) << bit;
    // Fields without a check of their own leave it to the checksum.
    bool const checkedBefore = bit / 8 < FieldOffset::kMeasurementConfigUuid ||
                               (bit / 8 >= FieldOffset::kCompression && bit / 8 < FieldOffset::kSampleCount);
    if (!checkedBefore)
      ExpectRecordRefused(*record, "Checksum error in header!");
    flat[bit / 8] = static_cast<unsigned char>(flat[bit / 8] ^ 1U << bit % 8);
  }
}

TEST(TimeSignalRecordAcceptance, ReservedBytesAreOnlySubjectToTheChecksum)
{
  Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
  SetField(flat, FieldOffset::kReserved, 0xDEADBEEF);
  RepairChecksums(flat);
  InternalTimeSignal const signal(*RecordOf(flat), "g", CountingUuid(0x70));
  EXPECT_EQ(FlatBytes(*signal.GetHeader()), flat);
}

TEST(TimeSignalRecordAcceptance, SizeLimitIsTheProductOfCountAndSize)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    unsigned long long const limit = kTwoToThe31 / SampleSizeOf(type);
    ExpectRecordRefused(*RecordOf(Announcing(type, limit)), kTooManySamples);
    InternalTimeSignal const signal(*RecordOf(Announcing(type, limit - 1)), "g", CountingUuid(0x70));
    EXPECT_EQ(signal.GetHeader()->SampleCount, limit - 1);
  }
  ExpectRecordRefused(*RecordOf(Announcing(data_float64_t, 1ULL << 61)), kTooManySamples);
  ExpectRecordRefused(*RecordOf(Announcing(data_int16_t, 1ULL << 63)), kTooManySamples);
}

TEST(TimeSignalRecordAcceptance, HandleRefusesAlike)
{
  for (int check = 0; check < kChecks; ++check)
  {
    Candidate const candidate(1U << check);
    ExpectThrow<TimeSignalException>([&] { TimeSignal(*candidate.record, "g", candidate.jobData); },
                                     kRefusals.at(check), kObjectUnit);
  }
}

#include "platform/Compression.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/Expectations.h"
#include "support/PlatformErrors.h"
#include "support/Records.h"
#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

// Callers may write the header of a signal. An array that the signal made itself is never read beyond its end, an array
// that the caller put there is as long as the caller says, and a null pointer has no samples.

namespace
{
constexpr char const kObjectUnit[] = "InternalTimeSignal.cpp";
constexpr char const kNoBlock[] = "Can't calculate checksum over NULL!";

/// Sum 24; scaling factor 0.5 and offset 3 come from the record.
Bytes const kFourSamples = {0x0A, 0x00, 0xF5, 0xFF, 0x0C, 0x00, 0x0D, 0x00}; // 10, -11, 12, 13

InternalTimeSignal FourSamples()
{
  return InternalTimeSignal(*RecordOf(FlatRecord(data_int16_t, no_compression, 4, kFourSamples)), "g",
                            CountingUuid(0x70));
}

/// Four samples under a header that announces other numbers; its checksums are not touched.
class Announcing
{
public:
  Announcing(unsigned long long samples, unsigned long long bytes) : signal_(FourSamples())
  {
    signal_.GetHeader()->SampleCount = samples;
    signal_.GetHeader()->DataArrayByteCount = bytes;
  }
  InternalTimeSignal* operator->() { return &signal_; }
  InternalTimeSignal& operator*() { return signal_; }

private:
  InternalTimeSignal signal_;
};

/// Puts an array of the caller in place of the object's own.
void ReplaceSamples(InternalTimeSignal& signal, Bytes const& bytes)
{
  auto array = std::make_unique<unsigned char[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), array.get());
  std::unique_ptr<unsigned char[]> const before(std::exchange(signal.GetHeader()->Samples, array.release()));
  signal.GetHeader()->DataArrayByteCount = bytes.size();
}

std::unique_ptr<unsigned char[]> TakeSamples(InternalTimeSignal& signal)
{
  return std::unique_ptr<unsigned char[]>(std::exchange(signal.GetHeader()->Samples, nullptr));
}

Bytes StoredOf(InternalTimeSignal const& signal)
{
  auto const stored = signal.GetStoredSamples();
  return Bytes(stored.begin(), stored.end());
}

template <class T>
std::vector<T> SamplesOf(InternalTimeSignal const& signal)
{
  auto const stored = signal.GetStoredSamples();
  std::vector<T> samples(stored.size() / sizeof(T));
  std::memcpy(samples.data(), stored.data(), samples.size() * sizeof(T));
  return samples;
}

std::vector<double> PhysicalValues(InternalTimeSignal& signal, int count)
{
  std::unique_ptr<std::vector<double>> const values(InternalTimeSignal::SamplesToDouble(signal, count));
  return *values;
}

std::vector<short> FractValues(InternalTimeSignal& signal, float& scale, int count)
{
  std::unique_ptr<std::vector<short>> const values(InternalTimeSignal::SamplesToFract(signal, scale, count));
  return *values;
}

Bytes HeaderOf(InternalTimeSignal const& signal) { return HeaderBytes(*signal.GetHeader()); }
} // namespace

// More announced than the object's own array holds

TEST(ByteCountBeyondTheArray, LeavesTheBytesThatAreThere)
{
  for (unsigned long long const bytes : {9ULL, 12ULL, 1ULL << 31, 1ULL << 32, (1ULL << 32) + 4, 1ULL << 63, ~0ULL})
    EXPECT_EQ(StoredOf(*Announcing(4, bytes)), kFourSamples) << bytes;
}

TEST(ByteCountBeyondTheArray, ChecksumIsThatOfTheBytesThatAreThere)
{
  for (unsigned long long const bytes : {9ULL, 12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(4, bytes);
    EXPECT_EQ(signal->CalcDataChecksum(), PlainChecksum(kFourSamples));
    EXPECT_FALSE(signal->GetChecksumStatus());
    signal->RecalculateSamplesChecksum();
    EXPECT_TRUE(signal->GetChecksumStatus());
    EXPECT_EQ(signal->GetHeader()->DataArrayByteCount, bytes);
  }
}

TEST(ByteCountBeyondTheArray, CopyHasTheSameHeaderAndBytes)
{
  for (unsigned long long const bytes : {9ULL, 12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(6, bytes);
    InternalTimeSignal const copy(*signal);
    EXPECT_EQ(HeaderOf(copy), HeaderOf(*signal));
    EXPECT_EQ(StoredOf(copy), kFourSamples);
    EXPECT_TRUE(copy == *signal);
  }
}

TEST(ByteCountBeyondTheArray, ComparisonLooksAtTheBytesThatAreThere)
{
  for (unsigned long long const bytes : {12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing a(4, bytes);
    Announcing b(4, bytes);
    EXPECT_TRUE(*a == *b);
    b->GetSamplesPointer()[7] ^= 1;
    EXPECT_TRUE(*a != *b);
  }
}

TEST(ByteCountBeyondTheArray, PhysicalValuesBehindTheArrayAreZero)
{
  for (unsigned long long const bytes : {12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(6, bytes);
    EXPECT_EQ(PhysicalValues(*signal, -1), std::vector<double>({3.5, -7, 4.5, 5, 0, 0}));
    EXPECT_EQ(PhysicalValues(*signal, 5), std::vector<double>({3.5, -7, 4.5, 5, 0}));
    EXPECT_EQ(PhysicalValues(*signal, 2), std::vector<double>({3.5, -7}));

    std::array<double, 7> values{};
    values.fill(9);
    EXPECT_EQ(InternalTimeSignal::SamplesToDouble(*signal, std::span<double>(values)), 6U);
    EXPECT_EQ(values, (std::array<double, 7>{3.5, -7, 4.5, 5, 0, 0, 9}));
  }
}

TEST(ByteCountBeyondTheArray, SixteenBitValuesBehindTheArrayAreZero)
{
  // Peak 13: 32767 / 13 = 2520.5, so 2^11.
  for (unsigned long long const bytes : {12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(6, bytes);
    float scale = 0;
    EXPECT_EQ(FractValues(*signal, scale, -1), std::vector<short>({20480, -22528, 24576, 26624, 0, 0}));
    EXPECT_EQ(scale, 1.0F / 2048);
  }
}

TEST(ByteCountBeyondTheArray, ConversionFillsUpWithZeros)
{
  for (unsigned long long const bytes : {12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(6, bytes);
    signal->Convert(data_float64_t);
    EXPECT_EQ(SamplesOf<double>(*signal), std::vector<double>({10, -11, 12, 13, 0, 0}));
    EXPECT_EQ(signal->GetHeader()->DataArrayByteCount, 48U);
    EXPECT_TRUE(signal->GetChecksumStatus());
  }
}

TEST(ByteCountBeyondTheArray, ConversionIntoTheCallersArrayFillsUpWithZeros)
{
  Announcing signal(6, 1ULL << 32);
  std::array<int, 7> out{};
  out.fill(99);
  signal->ConvertTo<short>(data_int32_t, out.data());
  EXPECT_EQ(out, (std::array<int, 7>{10, -11, 12, 13, 0, 0, 99}));
}

TEST(ByteCountBeyondTheArray, OffsetIsTheSumOverTheAnnouncedCount)
{
  // 24 / 6 = 4
  for (unsigned long long const bytes : {12ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(6, bytes);
    signal->ExtractOffset();
    EXPECT_EQ(SamplesOf<short>(*signal), std::vector<short>({6, -15, 8, 9}));
    EXPECT_EQ(signal->GetHeader()->Offset, -1.0);
    EXPECT_EQ(signal->GetHeader()->DataArrayByteCount, bytes);
    EXPECT_TRUE(signal->GetChecksumStatus());
  }
}

TEST(ByteCountBeyondTheArray, FileIsFilledUpWithZeros)
{
  TemporaryDirectory const folder;
  TimeSignal signal(*RecordOf(FlatRecord(data_int16_t, no_compression, 4, kFourSamples)), "g", CountingUuid(0x70));
  signal.GetHeader()->DataArrayByteCount = 13;
  TimeSignalFile::Write(folder.Path("signal.bin"), signal, no_compression);
  Bytes expected = HeaderBytes(*signal.GetHeader());
  expected.insert(expected.end(), kFourSamples.begin(), kFourSamples.end());
  expected.resize(kHeaderBytes + 13);
  EXPECT_EQ(ReadFile(folder.Path("signal.bin")), expected);
}

TEST(ByteCountBeyondTheArray, RemovingTheSamplesEndsIt)
{
  Announcing signal(6, ~0ULL);
  signal->RemoveAllSamples();
  EXPECT_EQ(HeaderOf(*signal), FlatRecord(data_int16_t, no_compression, 0));
}

// Less announced than there is

TEST(ByteCountBelowTheArray, HidesTheRest)
{
  Announcing signal(4, 5);
  EXPECT_EQ(StoredOf(*signal), Bytes({0x0A, 0x00, 0xF5, 0xFF, 0x0C}));
  // 0x000A ^ 0xFFF5 ^ 0x000C
  EXPECT_EQ(signal->CalcDataChecksum(), 0xFFF3);
  EXPECT_EQ(StoredOf(InternalTimeSignal(*signal)), Bytes({0x0A, 0x00, 0xF5, 0xFF, 0x0C}));
}

TEST(ByteCountBelowTheArray, PartOfASampleIsNoSample)
{
  Announcing readout(4, 5);
  EXPECT_EQ(PhysicalValues(*readout, -1), std::vector<double>({3.5, -7, 0, 0}));
  float scale = 0;
  // Peak 11: 32767 / 11 = 2978.8, so 2^11.
  EXPECT_EQ(FractValues(*readout, scale, -1), std::vector<short>({20480, -22528, 0, 0}));

  Announcing converted(4, 5);
  converted->Convert(data_int32_t);
  EXPECT_EQ(SamplesOf<int>(*converted), std::vector<int>({10, -11, 0, 0}));

  // -1 / 4 rounds to 0, and the odd byte stays.
  Announcing shifted(4, 5);
  shifted->ExtractOffset();
  EXPECT_EQ(StoredOf(*shifted), Bytes({0x0A, 0x00, 0xF5, 0xFF, 0x0C}));
  EXPECT_EQ(shifted->GetHeader()->Offset, 3.0);
}

TEST(ByteCountBelowTheArray, ZeroMeansNoSamples)
{
  Announcing signal(4, 0);
  EXPECT_TRUE(StoredOf(*signal).empty());
  EXPECT_EQ(signal->CalcDataChecksum(), 0);
  EXPECT_EQ(PhysicalValues(*signal, -1), std::vector<double>(4, 0.0));
  Bytes const before = HeaderOf(*signal);
  signal->ExtractOffset();
  EXPECT_EQ(HeaderOf(*signal), before);
  signal->Convert(static_cast<sample_datatype32_t>(99));
  EXPECT_EQ(signal->GetHeader()->SampleType, 99);
}

// Another sample count than there are samples

TEST(SampleCountBelowTheSamples, LimitsEveryLoop)
{
  Announcing readout(2, 8);
  EXPECT_EQ(PhysicalValues(*readout, -1), std::vector<double>({3.5, -7}));
  float scale = 0;
  EXPECT_EQ(FractValues(*readout, scale, -1), std::vector<short>({20480, -22528}));

  Announcing converted(2, 8);
  converted->Convert(data_int32_t);
  EXPECT_EQ(SamplesOf<int>(*converted), std::vector<int>({10, -11}));
  EXPECT_EQ(converted->GetHeader()->DataArrayByteCount, 8U);

  // -1 / 2 rounds away from zero; the samples behind the count stay.
  Announcing shifted(2, 8);
  shifted->ExtractOffset();
  EXPECT_EQ(SamplesOf<short>(*shifted), std::vector<short>({11, -10, 12, 13}));
  EXPECT_EQ(shifted->GetHeader()->Offset, 4.0);
}

TEST(SampleCountBelowTheSamples, ZeroLeavesAnEmptyArrayAfterAConversion)
{
  Announcing signal(0, 8);
  signal->Convert(data_int64_t);
  EXPECT_NE(signal->GetSamplesPointer(), nullptr);
  EXPECT_EQ(HeaderOf(*signal), FlatRecord(data_int64_t, no_compression, 0));
}

TEST(SampleCountBelowTheSamples, ZeroStillRefusesANarrowingConversion)
{
  Announcing signal(0, 8);
  Bytes const before = HeaderOf(*signal);
  ExpectThrow<TypeConverterException>([&] { signal->Convert(data_int8_t); },
                                      "Conversion from Int16_t to Int8_t narrows the value range!",
                                      "libs/signalprocessing/typeconverter/TypeConverter.cpp");
  EXPECT_EQ(HeaderOf(*signal), before);
  EXPECT_EQ(StoredOf(*signal), kFourSamples);
}

TEST(SampleCountBelowTheSamples, ZeroTimesNothingIsTheMeanOfIntegersAndNotANumberOfFloats)
{
  Announcing integers(0, 8);
  integers->ExtractOffset();
  EXPECT_EQ(StoredOf(*integers), kFourSamples);
  EXPECT_EQ(integers->GetHeader()->Offset, 3.0);

  for (sample_datatype32_t const type : {data_float32_t, data_float64_t})
  {
    Announcing floats(0, 8);
    floats->GetHeader()->SampleType = type;
    floats->ExtractOffset();
    EXPECT_EQ(StoredOf(*floats), kFourSamples);
    EXPECT_TRUE(std::isnan(floats->GetHeader()->Offset));
    EXPECT_TRUE(floats->GetChecksumStatus());
  }
}

TEST(SampleCountBeyondTheSamples, MeanOfFloatsIsTheSumOverTheAnnouncedCount)
{
  std::array<float, 2> const samples = {1, 2};
  Bytes stored(8);
  std::memcpy(stored.data(), samples.data(), 8);
  InternalTimeSignal signal(*RecordOf(FlatRecord(data_float32_t, no_compression, 4, stored)), "g", CountingUuid(1));
  signal.ExtractOffset();
  EXPECT_EQ(SamplesOf<float>(signal), std::vector<float>({0.25F, 1.25F}));
  EXPECT_EQ(signal.GetHeader()->Offset, 2.25);
}

TEST(SampleCountBeyondTheSamples, ConversionToMoreThanTheLargestSizeIsRefused)
{
  for (unsigned long long const count : {1ULL << 28, 1ULL << 61, (1ULL << 61) + 4, ~0ULL})
  {
    Announcing signal(count, 8);
    Bytes const before = HeaderOf(*signal);
    ExpectThrow<TimeSignalException>([&] { signal->Convert(data_float64_t); },
                                     "Support for more than 2^31 samples not implemented!", kObjectUnit);
    EXPECT_EQ(HeaderOf(*signal), before);
    EXPECT_EQ(StoredOf(*signal), kFourSamples);
  }
}

// No array at all

TEST(NullSamples, CountAsNoStoredBytes)
{
  for (unsigned long long const bytes : {1ULL, 8ULL, 1ULL << 32, ~0ULL})
  {
    Announcing signal(4, bytes);
    std::unique_ptr<unsigned char[]> const samples = TakeSamples(*signal);
    EXPECT_TRUE(signal->GetStoredSamples().empty());
    EXPECT_EQ(PhysicalValues(*signal, -1), std::vector<double>(4, 0.0));
    float scale = 0;
    EXPECT_EQ(FractValues(*signal, scale, -1), std::vector<short>(4, 0));
    EXPECT_EQ(scale, 1.0F);
    EXPECT_EQ(InternalTimeSignal(*signal).GetSamplesPointer(), nullptr);
    EXPECT_EQ(HeaderOf(InternalTimeSignal(*signal)), HeaderOf(*signal));
  }
}

TEST(NullSamples, HaveNoChecksum)
{
  Announcing signal(4, 8);
  std::unique_ptr<unsigned char[]> const samples = TakeSamples(*signal);
  ExpectThrow<TimeSignalException>([&] { signal->CalcDataChecksum(); }, kNoBlock, kObjectUnit);
  ExpectThrow<TimeSignalException>([&] { signal->GetChecksumStatus(); }, kNoBlock, kObjectUnit);
}

TEST(NullSamples, CannotBeShiftedAndAreLeftAlone)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    Announcing signal(4, 8);
    std::unique_ptr<unsigned char[]> const samples = TakeSamples(*signal);
    signal->GetHeader()->SampleType = type;
    Bytes const before = HeaderOf(*signal);
    ExpectThrow<TimeSignalException>([&] { signal->ExtractOffset(); }, kNoBlock, kObjectUnit);
    EXPECT_EQ(HeaderOf(*signal), before);
  }
}

TEST(NullSamples, ConvertToZeros)
{
  Announcing signal(4, 8);
  std::unique_ptr<unsigned char[]> const samples = TakeSamples(*signal);
  signal->Convert(data_int32_t);
  EXPECT_EQ(StoredOf(*signal), Bytes(16, 0));
  EXPECT_TRUE(signal->GetChecksumStatus());
}

TEST(NullSamples, OfACompressedSignalAreADamagedStream)
{
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal signal = FourSamples();
    signal.Compress(form);
    std::unique_ptr<unsigned char[]> const samples = TakeSamples(signal);
    Bytes const before = HeaderOf(signal);
    EXPECT_TRUE(Refuses<CompressionException>([&] { signal.Uncompress(); }));
    EXPECT_EQ(HeaderOf(signal), before);
    EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
  }
}

TEST(NullSamples, CannotBeWrittenToAFile)
{
  TemporaryDirectory const folder;
  std::string const path = folder.Path("signal.bin");
  TimeSignal signal(*RecordOf(FlatRecord(data_int16_t, no_compression, 4, kFourSamples)), "g", CountingUuid(0x70));
  std::unique_ptr<unsigned char[]> const samples(std::exchange(signal.GetHeader()->Samples, nullptr));
  ExpectThrow<TimeSignalFileException>([&] { TimeSignalFile::Write(path, signal, no_compression); },
                                       "Error writing to file " + path + "!", "TimeSignalFile.cpp");
}

TEST(NullSamples, AreGoneAfterRemovingAllSamples)
{
  Announcing signal(4, 8);
  std::unique_ptr<unsigned char[]> const samples = TakeSamples(*signal);
  signal->RemoveAllSamples();
  EXPECT_EQ(HeaderOf(*signal), FlatRecord(data_int16_t, no_compression, 0));
  EXPECT_TRUE(signal->GetChecksumStatus());
}

// An array that the caller put there

namespace
{
/// 10, -11, 12, 13, 14, -15: sum 23
Bytes const kSixSamples = {0x0A, 0x00, 0xF5, 0xFF, 0x0C, 0x00, 0x0D, 0x00, 0x0E, 0x00, 0xF1, 0xFF};

/// Not returned by value, because a copy has an array of its own.
std::unique_ptr<InternalTimeSignal> WithCallersArray()
{
  auto signal = std::make_unique<InternalTimeSignal>(FourSamples());
  ReplaceSamples(*signal, kSixSamples);
  signal->GetHeader()->SampleCount = 6;
  return signal;
}
} // namespace

TEST(CallersArray, IsAsLongAsTheCallerSays)
{
  auto const signal = WithCallersArray();
  EXPECT_EQ(StoredOf(*signal), kSixSamples);
  EXPECT_EQ(signal->CalcDataChecksum(), PlainChecksum(kSixSamples));
  signal->RecalculateSamplesChecksum();
  EXPECT_EQ(FlatBytes(*signal->GetHeader()), FlatRecord(data_int16_t, no_compression, 6, kSixSamples));
  EXPECT_EQ(PhysicalValues(*signal, -1), std::vector<double>({3.5, -7, 4.5, 5, 5.5, -9}));
}

TEST(CallersArray, IsCopiedWhole)
{
  auto const signal = WithCallersArray();
  InternalTimeSignal const copy(*signal);
  EXPECT_EQ(StoredOf(copy), kSixSamples);
  EXPECT_NE(copy.GetSamplesPointer(), signal->GetSamplesPointer());
  EXPECT_TRUE(copy == *signal);
}

TEST(CallersArray, IsComparedWhole)
{
  auto const a = WithCallersArray();
  auto const b = WithCallersArray();
  EXPECT_TRUE(*a == *b);
  b->GetSamplesPointer()[11] ^= 1;
  EXPECT_TRUE(*a != *b);
}

TEST(CallersArray, IsShiftedInPlace)
{
  // 23 / 6 rounds to 4.
  auto const signal = WithCallersArray();
  unsigned char const* const array = signal->GetSamplesPointer();
  signal->ExtractOffset();
  EXPECT_EQ(signal->GetSamplesPointer(), array);
  EXPECT_EQ(SamplesOf<short>(*signal), std::vector<short>({6, -15, 8, 9, 10, -19}));
  EXPECT_EQ(signal->GetHeader()->Offset, -1.0);
  EXPECT_TRUE(signal->GetChecksumStatus());
}

TEST(CallersArray, IsCompressedWhole)
{
  for (compression32_t const form : {zlib, gzip})
  {
    auto const signal = WithCallersArray();
    signal->Compress(form);
    std::optional<Bytes> const decoded = Decoded(StoredOf(*signal), form, kSixSamples.size());
    EXPECT_TRUE(decoded == kSixSamples);
    signal->Uncompress();
    EXPECT_EQ(FlatBytes(*signal->GetHeader()), FlatRecord(data_int16_t, no_compression, 6, kSixSamples));
  }
}

TEST(CallersArray, MayHoldAStream)
{
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal signal = FourSamples();
    ReplaceSamples(signal, Stored(kSixSamples, form));
    signal.GetHeader()->SampleCount = 6;
    signal.GetHeader()->Compression = form;
    signal.Uncompress();
    EXPECT_EQ(FlatBytes(*signal.GetHeader()), FlatRecord(data_int16_t, no_compression, 6, kSixSamples));
  }
}

TEST(CallersArray, IsReplacedByOneOfKnownLength)
{
  auto const signal = WithCallersArray();
  signal->Convert(data_int32_t);
  EXPECT_EQ(SamplesOf<int>(*signal), std::vector<int>({10, -11, 12, 13, 14, -15}));
  signal->GetHeader()->DataArrayByteCount = 1ULL << 32;
  EXPECT_EQ(signal->GetStoredSamples().size(), 24U);
}

TEST(CallersArray, IsReleasedByRemovingAllSamplesAndInit)
{
  // Leaks and double releases are for the sanitizers to find.
  auto const removed = WithCallersArray();
  removed->RemoveAllSamples();
  EXPECT_EQ(removed->GetSamplesPointer(), nullptr);

  auto const filled = WithCallersArray();
  Uuid const uuid = CountingUuid(1);
  filled->Init(raw_time_signal, uuid.GetPlainUuid(), uuid.GetPlainUuid(), 1, 1, 0, 0, uuid.GetPlainUuid(), data_int16_t,
               4, kFourSamples.size(), kFourSamples.data());
  EXPECT_EQ(StoredOf(*filled), kFourSamples);
  filled->GetHeader()->DataArrayByteCount = 12;
  EXPECT_EQ(StoredOf(*filled), kFourSamples);
}

TEST(CallersArray, MayBeShorterThanTheObjectsOwn)
{
  InternalTimeSignal signal = FourSamples();
  ReplaceSamples(signal, {0x01, 0x00});
  EXPECT_EQ(StoredOf(signal), Bytes({0x01, 0x00}));
  EXPECT_EQ(PhysicalValues(signal, -1), std::vector<double>({-1, 0, 0, 0}));
  EXPECT_EQ(StoredOf(InternalTimeSignal(signal)), Bytes({0x01, 0x00}));
}

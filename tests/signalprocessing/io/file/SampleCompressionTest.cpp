#include "platform/Compression.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "support/Expectations.h"
#include "support/PlatformErrors.h"
#include "support/Records.h"

#include <climits>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr char const kObjectUnit[] = "InternalTimeSignal.cpp";

Bytes FlatOf(InternalTimeSignal const& signal) { return FlatBytes(*signal.GetHeader()); }

Bytes StoredOf(InternalTimeSignal const& signal)
{
  auto const stored = signal.GetStoredSamples();
  return Bytes(stored.begin(), stored.end());
}

InternalTimeSignal SignalOf(Bytes const& flat) { return InternalTimeSignal(*RecordOf(flat), "g", CountingUuid(0x70)); }

/// What the platform's codec makes of raw samples.
Bytes PlatformStream(Bytes const& raw, compression32_t form)
{
  std::unique_ptr<Compression> codec;
  if (form == zlib)
    codec = std::make_unique<CompressionZLib>(-1);
  else
    codec = std::make_unique<CompressionGZip>(-1);
  int size = 0;
  std::unique_ptr<unsigned char[]> const stream(
      codec->compress(static_cast<unsigned int>(raw.size()), raw.data(), size));
  return Bytes(stream.get(), stream.get() + size);
}

/// The flat record of samples in the stored form that the platform gives them.
Bytes FlatInForm(sample_datatype32_t type, compression32_t form, std::size_t count)
{
  Bytes const raw = SampleBytes(type, count);
  if (count == 0 || form == no_compression)
    return FlatRecord(type, form, count, raw);
  return FlatRecord(type, form, count, PlatformStream(raw, form));
}

template <class F>
void ExpectRefusedUnchanged(InternalTimeSignal& signal, F&& operation, std::string const& message)
{
  Bytes const before = FlatOf(signal);
  unsigned char const* const array = signal.GetSamplesPointer();
  ExpectThrow<TimeSignalException>(operation, message, kObjectUnit);
  EXPECT_EQ(FlatOf(signal), before);
  EXPECT_EQ(signal.GetSamplesPointer(), array);
}

template <class F>
void ExpectCodecFailureUnchanged(InternalTimeSignal& signal, F&& operation)
{
  Bytes const before = FlatOf(signal);
  unsigned char const* const array = signal.GetSamplesPointer();
  EXPECT_TRUE(Refuses<CompressionException>(operation));
  EXPECT_EQ(FlatOf(signal), before);
  EXPECT_EQ(signal.GetSamplesPointer(), array);
}

std::string UnknownCompression(int method) { return "Unknown compression: " + std::to_string(method) + "!"; }

/// A signal whose stream is another one than its header announces.
InternalTimeSignal Lying(compression32_t form, unsigned long long announced, Bytes const& raw)
{
  return SignalOf(FlatRecord(data_uint8_t, form, announced, PlatformStream(raw, form)));
}
} // namespace

TEST(SampleCompression, EveryFormIsReachedFromEveryFormInEveryType)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (std::size_t const count : {std::size_t{1}, std::size_t{7}, std::size_t{4001}})
      for (compression32_t const from : kStorageForms)
        for (compression32_t const to : kStorageForms)
        {
          InternalTimeSignal signal = SignalOf(FlatInForm(type, from, count));
          signal.Compress(to);
          EXPECT_EQ(FlatOf(signal), FlatInForm(type, to, count)) << type << ": " << from << " to " << to;
          EXPECT_TRUE(signal.GetChecksumStatus());
        }
}

TEST(SampleCompression, CompressedBytesAreThoseOfThePlatformForTheRawSamples)
{
  Bytes const raw = SampleBytes(data_int32_t, 5000);
  for (compression32_t const from : {no_compression, zlib, gzip})
    for (compression32_t const to : {zlib, gzip})
    {
      InternalTimeSignal signal = SignalOf(FlatInForm(data_int32_t, from, 5000));
      signal.Compress(to);
      EXPECT_EQ(StoredOf(signal), PlatformStream(raw, to)) << from << " to " << to;
    }
}

TEST(SampleCompression, StreamsAreReadableWithZlib)
{
  Bytes const raw = SampleBytes(data_float64_t, 1000);
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal signal = SignalOf(FlatRecord(data_float64_t, no_compression, 1000, raw));
    signal.Compress(form);
    EXPECT_LT(signal.GetHeader()->DataArrayByteCount, raw.size());
    std::optional<Bytes> const decoded = Decoded(StoredOf(signal), form, raw.size());
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, raw);
  }
}

TEST(SampleCompression, StreamsMadeWithZlibAreUncompressed)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStorageForms)
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(type, form, 333));
      signal.Uncompress();
      EXPECT_EQ(FlatOf(signal), FlatRecord(type, no_compression, 333)) << type << ", " << form;
    }
}

TEST(SampleCompression, UncompressingRestoresSamplesByteCountAndChecksums)
{
  std::mt19937 random(7);
  for (std::size_t const count : {std::size_t{1}, std::size_t{2}, std::size_t{255}, std::size_t{65536}})
    for (compression32_t const form : {zlib, gzip})
    {
      // Noise, which no codec makes smaller.
      Bytes raw(count);
      for (unsigned char& byte : raw)
        byte = static_cast<unsigned char>(random());
      Bytes const before = FlatRecord(data_int8_t, no_compression, count, raw);
      InternalTimeSignal signal = SignalOf(before);
      signal.Compress(form);
      EXPECT_GT(signal.GetHeader()->DataArrayByteCount, count);
      EXPECT_EQ(signal.GetHeader()->SampleCount, count);
      signal.Uncompress();
      EXPECT_EQ(FlatOf(signal), before);
    }
}

TEST(SampleCompression, WhileCompressedTheHeaderDescribesTheUncompressedSamples)
{
  InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 2000));
  signal.Compress(gzip);
  EXPECT_EQ(signal.GetHeader()->SampleType, data_int16_t);
  EXPECT_EQ(signal.GetHeader()->SampleCount, 2000U);
  EXPECT_EQ(signal.GetHeader()->Compression, gzip);
  EXPECT_EQ(signal.GetHeader()->DataArrayByteCount, StoredOf(signal).size());
}

TEST(SampleCompression, FormInForceIsLeftAloneWrongChecksumsIncluded)
{
  for (compression32_t const form : kStorageForms)
  {
    InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, form, 50));
    signal.GetHeader()->DataChecksum ^= 1;
    signal.GetHeader()->HeaderChecksum ^= 2;
    Bytes const before = FlatOf(signal);
    unsigned char const* const array = signal.GetSamplesPointer();
    signal.Compress(form);
    EXPECT_EQ(FlatOf(signal), before);
    EXPECT_EQ(signal.GetSamplesPointer(), array);
  }
}

TEST(SampleCompression, UncompressingUncompressedSamplesDoesNothing)
{
  InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50));
  signal.GetHeader()->DataChecksum ^= 1;
  Bytes const before = FlatOf(signal);
  unsigned char const* const array = signal.GetSamplesPointer();
  signal.Uncompress();
  EXPECT_EQ(FlatOf(signal), before);
  EXPECT_EQ(signal.GetSamplesPointer(), array);
}

TEST(SampleCompression, WithoutSamplesOnlyCompressionAndChecksumsChange)
{
  for (compression32_t const from : kStorageForms)
    for (compression32_t const to : kStorageForms)
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_float32_t, from, 0));
      signal.Compress(to);
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_float32_t, to, 0)) << from << " to " << to;
      EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
      signal.Uncompress();
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_float32_t, no_compression, 0)) << from << " to " << to;
      EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
    }
}

TEST(SampleCompression, TransitionRepairsBothChecksums)
{
  for (compression32_t const from : kStorageForms)
    for (compression32_t const to : kStorageForms)
    {
      if (from == to)
        continue;
      InternalTimeSignal signal = SignalOf(FlatInForm(data_int64_t, from, 20));
      signal.GetHeader()->DataChecksum = 0x1111;
      signal.GetHeader()->HeaderChecksum = 0x2222;
      signal.Compress(to);
      EXPECT_EQ(FlatOf(signal), FlatInForm(data_int64_t, to, 20)) << from << " to " << to;
    }
}

TEST(SampleCompression, LeavesWhatIsBesideTheRecordAlone)
{
  InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50));
  signal.AddValidator(CountingUuid(1), 1, CountingUuid(2), "g");
  signal.Compress(zlib);
  EXPECT_EQ(signal.GetReferenceCounter(), 1U);
  EXPECT_EQ(signal.GetValidators().size(), 1U);
  EXPECT_EQ(signal.GetUnitString(), "g");
}

// Refusals

TEST(SampleCompressionRefusal, UnknownMethodsLeaveEveryFormAsItIs)
{
  for (compression32_t const form : kStorageForms)
    for (int const method : {INT_MIN, -1, 0, 3, 5, INT_MAX})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, form, 50));
      ExpectRefusedUnchanged(
          signal, [&] { signal.Compress(static_cast<compression32_t>(method)); }, UnknownCompression(method));
    }
}

TEST(SampleCompressionRefusal, UnknownMethodsAreRefusedWithoutSamplesToo)
{
  InternalTimeSignal signal;
  ExpectRefusedUnchanged(
      signal, [&] { signal.Compress(int24); }, UnknownCompression(3));
}

TEST(SampleCompressionRefusal, UnknownStoredFormIsNamed)
{
  for (int const stored : {INT_MIN, -1, 0, 3, 5, INT_MAX})
    for (std::size_t const count : {std::size_t{0}, std::size_t{50}})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, count));
      signal.GetHeader()->Compression = static_cast<compression32_t>(stored);
      ExpectRefusedUnchanged(
          signal, [&] { signal.Uncompress(); }, UnknownCompression(stored));
      for (compression32_t const method : kStorageForms)
        ExpectRefusedUnchanged(
            signal, [&] { signal.Compress(method); }, UnknownCompression(stored));
      // Of two unknown ones the method asked for is named.
      ExpectRefusedUnchanged(
          signal, [&] { signal.Compress(static_cast<compression32_t>(77)); }, UnknownCompression(77));
    }
}

TEST(SampleCompressionRefusal, UnknownFormInForceIsLeftAlone)
{
  InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50));
  for (int const method : {-1, 0, 3, 99})
  {
    signal.GetHeader()->Compression = static_cast<compression32_t>(method);
    Bytes const before = FlatOf(signal);
    signal.Compress(static_cast<compression32_t>(method));
    EXPECT_EQ(FlatOf(signal), before);
  }
}

TEST(SampleCompressionRefusal, UnknownSampleTypeHasNoUncompressedSize)
{
  for (int const type : {-1, 0, 11})
    for (compression32_t const form : {zlib, gzip})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, form, 50));
      signal.GetHeader()->SampleType = static_cast<sample_datatype32_t>(type);
      std::string const message = "Unknown data type: " + std::to_string(type) + "!";
      ExpectRefusedUnchanged(
          signal, [&] { signal.Uncompress(); }, message);
      ExpectRefusedUnchanged(
          signal, [&] { signal.Compress(no_compression); }, message);
      ExpectRefusedUnchanged(
          signal, [&] { signal.Compress(form == zlib ? gzip : zlib); }, message);
    }
}

TEST(SampleCompressionRefusal, UnknownSampleTypeDoesNotMatterForCompressing)
{
  Bytes const raw = SampleBytes(data_int16_t, 50);
  InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50, raw));
  signal.GetHeader()->SampleType = static_cast<sample_datatype32_t>(11);
  signal.Compress(zlib);
  EXPECT_EQ(StoredOf(signal), PlatformStream(raw, zlib));
  EXPECT_TRUE(signal.GetChecksumStatus());
}

// Streams that are not what the header says

TEST(DamagedStream, PassesTheCodecsFailureOnAndChangesNothing)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes stored = PlatformStream(SampleBytes(data_int16_t, 500), form);
    stored[stored.size() / 2] ^= 0x40;
    InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, form, 500, stored));
    ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
    ExpectCodecFailureUnchanged(signal, [&] { signal.Compress(no_compression); });
    ExpectCodecFailureUnchanged(signal, [&] { signal.Compress(form == zlib ? gzip : zlib); });
  }
}

TEST(DamagedStream, EveryTruncationIsRefused)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes const whole = PlatformStream(SampleBytes(data_int16_t, 60), form);
    for (std::size_t size = 1; size < whole.size(); ++size)
    {
      InternalTimeSignal signal =
          SignalOf(FlatRecord(data_int16_t, form, 60, Bytes(whole.begin(), whole.begin() + size)));
      ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
    }
  }
}

TEST(DamagedStream, OfTheOtherFormatIsRefused)
{
  for (compression32_t const form : {zlib, gzip})
  {
    compression32_t const other = form == zlib ? gzip : zlib;
    Bytes const stored = PlatformStream(SampleBytes(data_int16_t, 60), other);
    InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, form, 60, stored));
    ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
  }
}

TEST(DamagedStream, BytesBehindTheStreamAreIgnored)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes stored = PlatformStream(SampleBytes(data_int16_t, 60), form);
    stored.insert(stored.end(), {0xDE, 0xAD, 0xBE, 0xEF});
    InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, form, 60, stored));
    signal.Uncompress();
    EXPECT_EQ(FlatOf(signal), FlatRecord(data_int16_t, no_compression, 60));
  }
}

TEST(LyingSampleCount, OneSampleMoreOrLessIsRefused)
{
  Bytes const raw = SampleBytes(data_uint8_t, 100);
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const announced : {0ULL, 1ULL, 99ULL, 101ULL, 200ULL})
    {
      InternalTimeSignal signal = Lying(form, announced, raw);
      ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
    }
}

TEST(LyingSampleCount, EmptyStreamOfNoSamplesGivesAnEmptyArray)
{
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal signal = Lying(form, 0, Bytes());
    signal.Uncompress();
    EXPECT_EQ(FlatOf(signal), FlatRecord(data_uint8_t, no_compression, 0));
    EXPECT_NE(signal.GetSamplesPointer(), nullptr);
    EXPECT_TRUE(signal.GetChecksumStatus());
  }
}

TEST(LyingSampleCount, AroundTheLargestExpansionIsRefused)
{
  Bytes const raw = SampleBytes(data_uint8_t, 100);
  for (compression32_t const form : {zlib, gzip})
  {
    unsigned long long const largest = 1032 * PlatformStream(raw, form).size() + 64;
    for (unsigned long long const announced : {largest - 1, largest, largest + 1, (1ULL << 31) - 1})
    {
      InternalTimeSignal signal = Lying(form, announced, raw);
      ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
    }
  }
}

TEST(LyingSampleCount, BeyondTheLargestExpansionIsRefusedBeforeAnythingIsAllocated)
{
  // Sizes that no memory holds, some of which are small or 0 once their high bits are dropped: an attempt to allocate
  // them fails otherwise, and an attempt with what is left of them succeeds.
  Bytes const raw = SampleBytes(data_uint8_t, 16);
  unsigned long long const top = 1ULL << 63;
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const lie :
         {1ULL << 32, 1ULL << 40, 1ULL << 47, 1ULL << 60, 1ULL << 62, top - 1, top, ~0ULL - 16, ~0ULL})
      for (unsigned long long const announced : {lie, lie + 16})
      {
        if (announced == 16 || announced == 15)
          continue;
        InternalTimeSignal signal = Lying(form, 16, raw);
        signal.GetHeader()->SampleCount = announced;
        ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
        ExpectCodecFailureUnchanged(signal, [&] { signal.Compress(no_compression); });
      }
}

TEST(LyingSampleCount, ProductThatDropsToTheRightSizeIn64BitsIsRefused)
{
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal signal = SignalOf(FlatRecord(data_float64_t, form, 2));
    signal.GetHeader()->SampleCount = (1ULL << 61) + 2;
    ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
    signal.GetHeader()->SampleCount = (1ULL << 29) + 2;
    ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
  }
}

TEST(LyingSampleCount, LargestExpansionOfRealStreamsIsAccepted)
{
  constexpr std::size_t kCount = 1 << 22;
  Bytes const silence(kCount, 0);
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes const stored = Stored(silence, form);
    ASSERT_GT(kCount, 1000 * stored.size());
    InternalTimeSignal signal = SignalOf(FlatRecord(data_uint8_t, form, kCount, stored));
    signal.Uncompress();
    EXPECT_EQ(StoredOf(signal), silence);
  }
}

TEST(LyingByteCount, ShorterThanTheStreamIsATruncation)
{
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal signal = SignalOf(FlatRecord(data_uint8_t, form, 100));
    unsigned long long const whole = signal.GetHeader()->DataArrayByteCount;
    for (unsigned long long count = 1; count < whole; ++count)
    {
      signal.GetHeader()->DataArrayByteCount = count;
      ExpectCodecFailureUnchanged(signal, [&] { signal.Uncompress(); });
    }
  }
}

TEST(LyingByteCount, OfZeroLeavesTheStreamUnread)
{
  InternalTimeSignal signal = SignalOf(FlatRecord(data_uint8_t, zlib, 100));
  signal.GetHeader()->DataArrayByteCount = 0;
  signal.Uncompress();
  EXPECT_EQ(signal.GetHeader()->Compression, no_compression);
  EXPECT_EQ(signal.GetHeader()->DataArrayByteCount, 0U);
  EXPECT_EQ(signal.GetHeader()->SampleCount, 100U);
  EXPECT_EQ(signal.GetHeader()->DataChecksum, 0);
  EXPECT_TRUE(signal.GetChecksumStatus());
}

TEST(LyingByteCount, LongerThanTheArrayReadsTheArrayOnly)
{
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const beyond : {1ULL, 1000ULL, 1ULL << 31, 1ULL << 32, 1ULL << 62})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_uint8_t, form, 100));
      signal.GetHeader()->DataArrayByteCount += beyond;
      signal.Uncompress();
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_uint8_t, no_compression, 100)) << beyond;
    }
}

TEST(LyingByteCount, LongerThanTheArrayDoesNotRaiseTheLargestExpansion)
{
  // Only bytes that are there count. 2^60 x 1032 leaves 64 bits.
  Bytes const raw = SampleBytes(data_uint8_t, 100);
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const bytes : {1ULL << 32, 1ULL << 52, 1ULL << 60, 1ULL << 63, ~0ULL})
      for (unsigned long long const samples : {(1ULL << 31) - 1, 1ULL << 40, 1ULL << 62})
      {
        InternalTimeSignal signal = SignalOf(FlatRecord(data_uint8_t, form, 100));
        signal.GetHeader()->DataArrayByteCount = bytes;
        signal.GetHeader()->SampleCount = samples;
        Bytes const before = HeaderBytes(*signal.GetHeader());
        EXPECT_TRUE(Refuses<CompressionException>([&] { signal.Uncompress(); }));
        EXPECT_EQ(HeaderBytes(*signal.GetHeader()), before);
      }
}

TEST(LyingByteCount, LongerThanTheArrayCompressesTheArrayOnly)
{
  Bytes const raw = SampleBytes(data_int16_t, 50);
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const announced : {101ULL, 1ULL << 31, (1ULL << 32) + 4, 1ULL << 63})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50, raw));
      signal.GetHeader()->DataArrayByteCount = announced;
      signal.Compress(form);
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_int16_t, form, 50, PlatformStream(raw, form))) << announced;
    }
}

TEST(LyingByteCount, AnnouncedSamplesThatAreMissingAreCompressedAsZeros)
{
  Bytes const raw = SampleBytes(data_int16_t, 50);
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const announced : {120ULL, 121ULL, 1ULL << 31, (1ULL << 32) + 4, 1ULL << 63})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50, raw));
      signal.GetHeader()->SampleCount = 60;
      signal.GetHeader()->DataArrayByteCount = announced;
      Bytes filledUp = raw;
      filledUp.resize(120);
      signal.Compress(form);
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_int16_t, form, 60, PlatformStream(filledUp, form))) << announced;
      signal.Uncompress();
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_int16_t, no_compression, 60, filledUp)) << announced;
    }
}

TEST(LyingByteCount, MissingSampleArrayIsCompressedAsZeros)
{
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const announced : {100ULL, 1ULL << 32})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50));
      std::unique_ptr<unsigned char[]> const samples(std::exchange(signal.GetHeader()->Samples, nullptr));
      signal.GetHeader()->DataArrayByteCount = announced;
      signal.Compress(form);
      EXPECT_EQ(FlatOf(signal), FlatRecord(data_int16_t, form, 50, PlatformStream(Bytes(100, 0), form))) << announced;
    }
}

TEST(LyingByteCount, CountThatNoSignalCanHaveAddsNoZeros)
{
  Bytes const raw = SampleBytes(data_int16_t, 50);
  for (compression32_t const form : {zlib, gzip})
    for (unsigned long long const samples : {1ULL << 30, 1ULL << 60, ~0ULL})
    {
      InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50, raw));
      signal.GetHeader()->DataArrayByteCount = 1ULL << 62;
      signal.GetHeader()->SampleCount = samples;
      signal.Compress(form);
      std::span<unsigned char const> const stored = signal.GetStoredSamples();
      EXPECT_EQ(Bytes(stored.begin(), stored.end()), PlatformStream(raw, form)) << samples;
      EXPECT_EQ(signal.GetHeader()->DataArrayByteCount, stored.size());
    }
}

TEST(LyingByteCount, ShorterThanTheArrayCompressesTheAnnouncedBytes)
{
  Bytes const raw = SampleBytes(data_int16_t, 50);
  InternalTimeSignal signal = SignalOf(FlatRecord(data_int16_t, no_compression, 50, raw));
  signal.GetHeader()->DataArrayByteCount = 41;
  signal.Compress(zlib);
  EXPECT_EQ(FlatOf(signal),
            FlatRecord(data_int16_t, zlib, 50, PlatformStream(Bytes(raw.begin(), raw.begin() + 41), zlib)));
}

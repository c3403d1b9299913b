#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "support/Examination.h"
#include "support/Expectations.h"
#include "support/Records.h"
#include "support/SignalModel.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

// Records that are cut, damaged or lie about themselves: each is refused with the reason that applies first, or gives
// an object whose every operation stays inside the stored bytes and does what SignalModel says.

namespace
{
constexpr std::size_t kCount = 5;

RecordPointer RecordFrom(Bytes const& flat) { return RecordPointer(InternalTimeSignal::VectorToTimeSignalBin(flat)); }

/// Takes flat bytes in, as far as they get, and hands the object to `examine` when they get all the way.
template <class Examine>
void TakeIn(Bytes const& flat, Describe const& describe, Examine&& examine)
{
  RecordPointer record;
  Outcome const conversion = OutcomeOf([&] { record = RecordFrom(flat); });
  Outcome const expectedConversion = SignalModel::VectorConversion(flat);
  EXPECT_TRUE(conversion == expectedConversion)
      << conversion.ToString() << " instead of " << expectedConversion.ToString() << ": " << describe();
  if (!record)
    return;
  std::unique_ptr<InternalTimeSignal> signal;
  Outcome const acceptance =
      OutcomeOf([&] { signal = std::make_unique<InternalTimeSignal>(*record, "g", CountingUuid(0x70)); });
  Outcome const expectedAcceptance = SignalModel::Acceptance(flat);
  EXPECT_TRUE(acceptance == expectedAcceptance)
      << acceptance.ToString() << " instead of " << expectedAcceptance.ToString() << ": " << describe();
  if (signal)
    examine(*signal, SignalModel::Of(flat));
}

void TakeInAndExamine(Bytes const& flat, Describe const& describe)
{
  TakeIn(flat, describe,
         [&](InternalTimeSignal const& signal, SignalModel const& model)
         { Examination(signal, model, describe).All(); });
}

/// Sets every header byte of a valid record to all its other values.
void ExamineEveryHeaderByte(sample_datatype32_t type, compression32_t form, bool repaired)
{
  Bytes const valid = FlatRecord(type, form, kCount);
  for (std::size_t offset = 0; offset < kHeaderBytes && !testing::Test::HasFailure(); ++offset)
    for (unsigned int value = static_cast<unsigned int>(offset) % kValueStep; value < 256; value += kValueStep)
    {
      Bytes flat = valid;
      flat[offset] = static_cast<unsigned char>(value);
      if (value == valid[offset])
        continue;
      if (repaired)
        RepairChecksums(flat);
      Describe const describe = [&]
      {
        return "type " + std::to_string(type) + ", compression " + std::to_string(form) + ", byte " +
               std::to_string(offset) + " set to " + std::to_string(value);
      };
      TakeIn(flat, describe,
             [&](InternalTimeSignal const& signal, SignalModel const& model)
             { ExamineByte(Examination(signal, model, describe), offset); });
    }
}

struct SizeField
{
  std::size_t offset;
  std::size_t width;
};

constexpr std::array<SizeField, 4> kSizeFields = {{{FieldOffset::kSampleCount, 8},
                                                   {FieldOffset::kDataArrayByteCount, 8},
                                                   {FieldOffset::kSampleType, 4},
                                                   {FieldOffset::kCompression, 4}}};

/// Values around the right one and around every width in which a size may be calculated. Those at the end times 2, 4
/// or 8 drop to the right number of bytes in 64 bits.
std::vector<unsigned long long> BoundaryValues(unsigned long long right, std::size_t width)
{
  std::vector<unsigned long long> values = {0,          1,          right - 1,        right,      right + 1,
                                            1ULL << 15, 1ULL << 16, (1ULL << 31) - 1, 1ULL << 31, (1ULL << 32) - 1};
  if (width == 8)
    for (unsigned long long const big :
         {1ULL << 63, ~0ULL, (1ULL << 61) + right, (1ULL << 62) + right, (1ULL << 63) + right})
      values.push_back(big);
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  return values;
}

void SetSizeField(Bytes& flat, SizeField const& field, unsigned long long value)
{
  std::memcpy(flat.data() + field.offset, &value, field.width);
}

/// The number that a size field should have, by which its boundary values are chosen.
unsigned long long RightValue(Bytes const& flat, SizeField const& field)
{
  unsigned long long value = 0;
  std::memcpy(&value, flat.data() + field.offset, field.width);
  return value;
}

/// Calls visit(flat) with a valid record in which two size fields have every pair of boundary values.
template <class Visit>
void ForEveryPairOfSizes(Bytes const& valid, Visit&& visit)
{
  for (std::size_t first = 0; first < kSizeFields.size(); ++first)
    for (std::size_t second = first + 1; second < kSizeFields.size(); ++second)
      for (unsigned long long const a :
           BoundaryValues(RightValue(valid, kSizeFields.at(first)), kSizeFields.at(first).width))
        for (unsigned long long const b :
             BoundaryValues(RightValue(valid, kSizeFields.at(second)), kSizeFields.at(second).width))
        {
          if (testing::Test::HasFailure())
            return;
          Bytes flat = valid;
          SetSizeField(flat, kSizeFields.at(first), a);
          SetSizeField(flat, kSizeFields.at(second), b);
          visit(flat);
        }
}

/// One parameter for each sample type.
class DamagedRecord : public testing::TestWithParam<sample_datatype32_t>
{
};

std::string TypeName(testing::TestParamInfo<sample_datatype32_t> const& info)
{
  return kDisplayNames.at(static_cast<std::size_t>(info.param) - 1);
}
} // namespace

INSTANTIATE_TEST_SUITE_P(AllTypes, DamagedRecord, testing::ValuesIn(kSampleTypes), TypeName);

TEST_P(DamagedRecord, WholeOnePassesEveryExamination)
{
  for (compression32_t const form : kStorageForms)
    for (std::size_t const count : {std::size_t{0}, std::size_t{1}, kCount, std::size_t{300}})
    {
      Bytes const flat = FlatRecord(GetParam(), form, count);
      ASSERT_FALSE(SignalModel::VectorConversion(flat).Failed());
      ASSERT_FALSE(SignalModel::Acceptance(flat).Failed());
      TakeInAndExamine(flat, [&] { return std::to_string(count) + " samples in form " + std::to_string(form); });
    }
}

TEST_P(DamagedRecord, EveryTruncationIsRefusedForItsSize)
{
  for (compression32_t const form : kStorageForms)
  {
    Bytes const valid = FlatRecord(GetParam(), form, kCount);
    std::string const announced = std::to_string(valid.size() - kHeaderBytes);
    for (std::size_t size = 0; size < valid.size(); ++size)
    {
      std::string const message =
          size < kHeaderBytes ? "Time signal header incomplete: actual " + std::to_string(size) + ", expected 120!"
                              : "Wrong time signal data size: actual " + std::to_string(size - kHeaderBytes) +
                                    ", expected " + announced + "!";
      Bytes const cut(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(size));
      ExpectThrow<TimeSignalException>([&] { RecordFrom(cut); }, message, "InternalTimeSignal.cpp");
    }
  }
}

TEST_P(DamagedRecord, EveryTruncationThatItsByteCountAdmitsIsReadAsFarAsItGoes)
{
  for (compression32_t const form : kStorageForms)
  {
    Bytes const valid = FlatRecord(GetParam(), form, kCount);
    for (std::size_t size = kHeaderBytes; size < valid.size() && !HasFailure(); ++size)
    {
      Bytes cut(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(size));
      SetField<unsigned long long>(cut, FieldOffset::kDataArrayByteCount, size - kHeaderBytes);
      RepairChecksums(cut);
      TakeInAndExamine(cut, [&] { return std::to_string(size) + " bytes in form " + std::to_string(form); });
    }
  }
}

TEST_P(DamagedRecord, AnyOtherHeaderByteIsNoticed) { ExamineEveryHeaderByte(GetParam(), no_compression, false); }

TEST_P(DamagedRecord, AnyOtherHeaderByteUnderRightChecksumsIsSafe)
{
  ExamineEveryHeaderByte(GetParam(), no_compression, true);
}

TEST(DamagedCompressedRecord, AnyOtherHeaderByteIsNoticed)
{
  ExamineEveryHeaderByte(data_int16_t, zlib, false);
  ExamineEveryHeaderByte(data_float64_t, gzip, false);
}

TEST(DamagedCompressedRecord, AnyOtherHeaderByteUnderRightChecksumsIsSafe)
{
  ExamineEveryHeaderByte(data_int16_t, zlib, true);
  ExamineEveryHeaderByte(data_float64_t, gzip, true);
}

TEST_P(DamagedRecord, AnyFlippedBitOfAStreamIsNoticedOrHarmless)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes const valid = FlatRecord(GetParam(), form, kCount);
    Bytes const raw = SampleBytes(GetParam(), kCount);
    std::size_t refused = 0;
    for (std::size_t bit = 8 * kHeaderBytes; bit < 8 * valid.size(); ++bit)
    {
      Bytes flat = valid;
      flat[bit / 8] = static_cast<unsigned char>(flat[bit / 8] ^ 1U << bit % 8);
      RepairChecksums(flat);
      InternalTimeSignal signal(*RecordOf(flat), "g", CountingUuid(0x70));
      Outcome const outcome = OutcomeOf([&] { signal.Uncompress(); });
      refused += outcome == CodecFailure() ? 1 : 0;
      auto const stored = signal.GetStoredSamples();
      Bytes const left(stored.begin(), stored.end());
      if (outcome.Failed())
        EXPECT_TRUE(outcome == CodecFailure() && left == Bytes(flat.begin() + kHeaderBytes, flat.end())) << bit;
      else
        EXPECT_EQ(left, raw) << bit;
    }
    // Up to seven bits fill the last byte of the data. Flags, time stamp and origin in a gzip header say nothing about
    // it either.
    std::size_t const harmless = form == gzip ? 7 + 7 * 8 : 7;
    EXPECT_GE(refused + harmless, 8 * (valid.size() - kHeaderBytes));
  }
}

TEST_P(DamagedRecord, AnyPairOfSizesIsRefusedOrSafe)
{
  for (compression32_t const form : kStorageForms)
    ForEveryPairOfSizes(FlatRecord(GetParam(), form, kCount),
                        [&](Bytes& flat)
                        {
                          RepairChecksums(flat);
                          TakeInAndExamine(flat, [&] { return Hex(flat); });
                        });
}

TEST_P(DamagedRecord, AnyPairOfSizesThatTheCallerWritesIntoTheHeaderIsSafe)
{
  // One form for each type: types of every size uncompressed, two for each codec.
  constexpr std::array<compression32_t, 10> kForms = {no_compression, no_compression, zlib, no_compression,
                                                      no_compression, no_compression, gzip, zlib,
                                                      gzip,           no_compression};
  Bytes const valid = FlatRecord(GetParam(), kForms.at(static_cast<std::size_t>(GetParam()) - 1), kCount);
  ForEveryPairOfSizes(valid,
                      [&](Bytes const& flat)
                      {
                        InternalTimeSignal signal(*RecordOf(valid), "g", CountingUuid(0x70));
                        std::memcpy(static_cast<void*>(signal.GetHeader()), flat.data(), kHeaderBytes);
                        Describe const describe = [&] { return Hex(flat); };
                        Examination(signal, SignalModel::Of(flat), describe).All();
                      });
}

TEST_P(DamagedRecord, WithoutItsSampleArrayIsSafe)
{
  for (compression32_t const form : kStorageForms)
    for (unsigned long long const count : {0ULL, 1ULL, 5ULL, 6ULL, 1ULL << 31, 1ULL << 63})
      for (unsigned long long const byteCount : {1ULL, 5ULL, 40ULL, 1ULL << 31, 1ULL << 63, ~0ULL})
      {
        Bytes flat = FlatRecord(GetParam(), form, kCount);
        InternalTimeSignal signal(*RecordOf(flat), "g", CountingUuid(0x70));
        std::unique_ptr<unsigned char[]> const samples(std::exchange(signal.GetHeader()->Samples, nullptr));
        flat.resize(kHeaderBytes);
        SetField(flat, FieldOffset::kSampleCount, count);
        SetField(flat, FieldOffset::kDataArrayByteCount, byteCount);
        std::memcpy(static_cast<void*>(signal.GetHeader()), flat.data(), kHeaderBytes);
        Describe const describe = [&] { return Hex(flat); };
        Examination(signal, SignalModel(flat), describe).All();
      }
}

// Requests that no memory can hold

TEST(DamagedRecordReadout, OfAllOfMoreSamplesThanMemoryHoldsIsAnAllocationFailure)
{
  for (unsigned long long const count : {1ULL << 62, 1ULL << 63, ~0ULL})
    for (int const limit : {-1, INT_MIN})
    {
      InternalTimeSignal signal(*RecordOf(FlatRecord(data_int16_t, no_compression, kCount)), "g", CountingUuid(0x70));
      signal.GetHeader()->SampleCount = count;
      Bytes const before = FlatBytes(*signal.GetHeader());
      float scale = 5;
      using Values = std::unique_ptr<std::vector<double>>;
      using Fracts = std::unique_ptr<std::vector<short>>;
      EXPECT_THROW(Values(InternalTimeSignal::SamplesToDouble(signal, limit)), std::bad_alloc) << count;
      EXPECT_THROW(Fracts(InternalTimeSignal::SamplesToFract(signal, scale, limit)), std::bad_alloc) << count;
      EXPECT_EQ(FlatBytes(*signal.GetHeader()), before);
    }
}

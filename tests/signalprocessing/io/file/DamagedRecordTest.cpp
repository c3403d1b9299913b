#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "support/Expectations.h"
#include "support/Records.h"
#include "support/SignalModel.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

// Records that are cut, damaged or lie about themselves: each is refused with the reason that applies first, or gives
// an object whose every operation stays inside the stored bytes and does what SignalModel says.

namespace
{
constexpr std::size_t kCount = 5;
constexpr std::array<int, 3> kLimits = {0, 1, 1000};
/// Samples are only converted and compressed up to this size: what a caller asks for is allocated and filled, however
/// much it is.
constexpr unsigned long long kLargestResult = 1 << 16;

/// Every value of a header byte is tried natively, every fifth, other ones for each byte, where an exception costs ten
/// times as much: under sanitizers and in emulation.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
constexpr unsigned int kValueStep = 5;
#else
constexpr unsigned int kValueStep = 1;
#endif

/// Names a case; only called when something is wrong with it.
using Describe = std::function<std::string()>;

std::string Hex(Bytes const& header)
{
  char const* const digits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = FieldOffset::kCompression; i < kHeaderBytes; ++i)
    text += {digits[header[i] / 16], digits[header[i] % 16]};
  return text;
}

/// Runs every public operation, each on a copy of its own of an object that the model describes.
class Examination
{
public:
  Examination(InternalTimeSignal const& signal, SignalModel const& model, Describe const& describe)
    : signal_(signal), model_(model), describe_(describe)
  {
  }

  void Observers() const
  {
    EXPECT_TRUE(model_.Describes(signal_)) << describe_();
    EXPECT_EQ(signal_.CalcHeaderChecksum(), model_.HeaderChecksum()) << describe_();
    unsigned short expected = 0;
    Outcome const outcome = model_.DataChecksum(expected);
    unsigned short checksum = 0;
    bool valid = false;
    expectOutcome(OutcomeOf([&] { checksum = signal_.CalcDataChecksum(); }), outcome, "data checksum");
    expectOutcome(OutcomeOf([&] { valid = signal_.GetChecksumStatus(); }), outcome, "checksum status");
    EXPECT_EQ(checksum, expected) << describe_();
    EXPECT_EQ(valid,
              !outcome.Failed() && expected == FieldAt<unsigned short>(model_.Header(), FieldOffset::kDataChecksum) &&
                  model_.HeaderChecksum() == FieldAt<unsigned short>(model_.Header(), FieldOffset::kHeaderChecksum))
        << describe_();
  }

  void Copying() const
  {
    InternalTimeSignal const copy(signal_);
    EXPECT_TRUE(model_.Describes(copy)) << describe_();
    EXPECT_TRUE(signal_.GetSamplesPointer() == nullptr || copy.GetSamplesPointer() != signal_.GetSamplesPointer())
        << describe_();
    auto const isNan = [this](std::size_t offset) { return std::isnan(FieldAt<double>(model_.Header(), offset)); };
    bool const nan = isNan(FieldOffset::kDeltaX) || isNan(FieldOffset::kScalingFactor) || isNan(FieldOffset::kOffset);
    EXPECT_EQ(copy != signal_, nan) << describe_();
    EXPECT_EQ(copy == signal_, !nan) << describe_();
  }

  void Flattening() const
  {
    if (model_.HasArray() ? model_.ByteCount() > model_.ArraySize() : model_.ByteCount() > 1000)
      return;
    std::unique_ptr<Bytes> const flat(InternalTimeSignal::TimeSignalBinToVector(*signal_.GetHeader()));
    Bytes expected = model_.Header();
    Bytes const stored = model_.Stored();
    expected.resize(kHeaderBytes + static_cast<std::size_t>(model_.ByteCount()));
    std::copy(stored.begin(), stored.end(), expected.begin() + kHeaderBytes);
    EXPECT_EQ(*flat, expected) << describe_();
  }

  void Uncompressing() const
  {
    change(
        "uncompress", [](InternalTimeSignal& signal) { signal.Uncompress(); },
        [](SignalModel& model) { return model.Uncompress(); });
  }

  void Compressing() const
  {
    if (model_.ByteCountToCompress() > kLargestResult)
      return;
    for (compression32_t const method : kStorageForms)
      compress(method);
    InternalTimeSignal copy(signal_);
    Outcome const outcome = OutcomeOf([&] { copy.Compress(int24); });
    expectOutcome(outcome, model_.Form() == int24 ? Outcome() : SignalFailure("Unknown compression: 3!"), "int24");
    EXPECT_TRUE(model_.Describes(copy)) << describe_();
  }

  void Converting() const
  {
    for (int target = 1; target <= 11; ++target)
    {
      unsigned long long const size = target == 11 ? 1 : SampleSizeOf(static_cast<sample_datatype32_t>(target));
      bool const announcesMuch = model_.Count() > kLargestResult / size;
      bool const isRefusedForItsSize = model_.Count() > INT_MAX / size;
      if (announcesMuch && !isRefusedForItsSize)
        continue;
      change(
          "convert", [target](InternalTimeSignal& signal) { signal.Convert(static_cast<sample_datatype32_t>(target)); },
          [target](SignalModel& model) { return model.Convert(target); });
    }
  }

  void ExtractingTheOffset() const
  {
    change(
        "extract offset", [](InternalTimeSignal& signal) { signal.ExtractOffset(); },
        [](SignalModel& model) { return model.ExtractOffset(); });
  }

  void ReadingOut() const
  {
    SignalModel uncompressed = model_;
    Outcome const outcome = uncompressed.Uncompress();
    for (int const limit : kLimits)
    {
      InternalTimeSignal signal(signal_);
      std::unique_ptr<std::vector<double>> values;
      expectOutcome(OutcomeOf([&] { values.reset(InternalTimeSignal::SamplesToDouble(signal, limit)); }), outcome,
                    "physical values");
      EXPECT_TRUE(uncompressed.Describes(signal)) << describe_();
      float scale = -1;
      std::unique_ptr<std::vector<short>> fract;
      expectOutcome(OutcomeOf([&] { fract.reset(InternalTimeSignal::SamplesToFract(signal, scale, limit)); }), outcome,
                    "16-bit values");
      EXPECT_TRUE(uncompressed.Describes(signal)) << describe_();
      if (outcome.Failed() || !values || !fract)
        continue;
      expectValues(*values, uncompressed.PhysicalValues(limit));
      PlainFract const expected = uncompressed.FractValues(limit);
      EXPECT_EQ(*fract, expected.values) << describe_();
      EXPECT_EQ(scale, expected.scale) << describe_();
      readIntoBuffers(signal, uncompressed, static_cast<std::size_t>(limit));
    }
  }

  void Recalculating() const
  {
    change(
        "recalculate", [](InternalTimeSignal& signal) { signal.RecalculateSamplesChecksum(); },
        [](SignalModel& model) { return model.RecalculateSamplesChecksum(); });
    change(
        "remove samples", [](InternalTimeSignal& signal) { signal.RemoveAllSamples(); },
        [](SignalModel& model)
        {
          model.RemoveAllSamples();
          return Outcome();
        });
  }

  /// All but compressing, which is slow.
  void Quick() const
  {
    Observers();
    Copying();
    Flattening();
    Uncompressing();
    Converting();
    ExtractingTheOffset();
    ReadingOut();
    Recalculating();
  }
  void All() const
  {
    Quick();
    Compressing();
  }

private:
  void expectOutcome(Outcome const& actual, Outcome const& expected, char const* operation) const
  {
    EXPECT_TRUE(actual == expected) << operation << " ended with " << actual.ToString() << " instead of "
                                    << expected.ToString() << ": " << describe_();
  }

  template <class Change, class ModelChange>
  void change(char const* operation, Change const& apply, ModelChange const& applyToModel) const
  {
    InternalTimeSignal signal(signal_);
    SignalModel model = model_;
    Outcome const expected = applyToModel(model);
    expectOutcome(OutcomeOf([&] { apply(signal); }), expected, operation);
    if (!expected.Failed())
      model.AdoptNans(signal);
    EXPECT_TRUE(model.Describes(signal)) << operation << ": " << describe_();
  }

  void compress(compression32_t method) const
  {
    InternalTimeSignal signal(signal_);
    SignalModel model = model_;
    Outcome const outcome = OutcomeOf([&] { signal.Compress(method); });
    if (method != model.Form())
    {
      Outcome const expected = model.Uncompress();
      expectOutcome(outcome, expected, "compress");
      if (!expected.Failed() && method != no_compression)
      {
        // Nothing is compressed when no byte is announced.
        Bytes stream;
        if (model.ByteCount() != 0)
        {
          auto const stored = signal.GetStoredSamples();
          stream.assign(stored.begin(), stored.end());
          Bytes const raw = model.BytesToCompress();
          EXPECT_TRUE(Decoded(stream, method, raw.size()) == raw) << describe_();
        }
        model.Compressed(method, std::move(stream));
      }
    }
    else
      expectOutcome(outcome, Outcome(), "compress");
    EXPECT_TRUE(model.Describes(signal)) << "compress: " << describe_();
  }

  void expectValues(std::span<double const> actual, std::vector<double> const& expected) const
  {
    bool same = actual.size() == expected.size();
    for (std::size_t i = 0; same && i < expected.size(); ++i)
      same = actual[i] == expected[i] || (std::isnan(actual[i]) && std::isnan(expected[i]));
    EXPECT_TRUE(same) << "physical values: " << describe_();
  }

  /// The forms that fill the caller's buffer, one element longer than the limit.
  void readIntoBuffers(InternalTimeSignal& signal, SignalModel const& model, std::size_t limit) const
  {
    std::size_t const written = static_cast<std::size_t>(std::min<unsigned long long>(limit, model.Count()));
    std::vector<double> values(limit + 1, 77.5);
    EXPECT_EQ(InternalTimeSignal::SamplesToDouble(signal, std::span(values.data(), limit)), written) << describe_();
    expectValues(std::span(values.data(), written), model.PhysicalValues(static_cast<int>(written)));
    EXPECT_TRUE(std::all_of(values.begin() + static_cast<std::ptrdiff_t>(written), values.end(),
                            [](double value) { return value == 77.5; }))
        << describe_();

    std::vector<short> fract(limit + 1, 77);
    float scale = -1;
    EXPECT_EQ(InternalTimeSignal::SamplesToFract(signal, scale, std::span(fract.data(), limit)), written)
        << describe_();
    PlainFract const expected = model.FractValues(static_cast<int>(written));
    EXPECT_TRUE(std::equal(expected.values.begin(), expected.values.end(), fract.begin())) << describe_();
    EXPECT_EQ(scale, expected.scale) << describe_();
    EXPECT_TRUE(std::all_of(fract.begin() + static_cast<std::ptrdiff_t>(written), fract.end(),
                            [](short value) { return value == 77; }))
        << describe_();
  }

  InternalTimeSignal const& signal_;
  SignalModel const& model_;
  Describe const& describe_;
};

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

bool IsIn(std::size_t offset, std::size_t first, std::size_t behind) { return offset >= first && offset < behind; }

/// Examines what depends on a header byte.
void ExamineByte(Examination const& examination, std::size_t offset)
{
  if (IsIn(offset, FieldOffset::kCompression, FieldOffset::kReserved))
    return examination.Quick();
  examination.Observers();
  examination.Copying();
  if (IsIn(offset, FieldOffset::kScalingFactor, FieldOffset::kTimeStamp))
  {
    examination.ExtractingTheOffset();
    examination.ReadingOut();
  }
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

#pragma once

#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "support/Records.h"
#include "support/SignalModel.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

// For damaged signals: each public operation on an object stays inside the stored bytes and does what SignalModel says.

inline constexpr std::array<int, 3> kReadoutLimits = {0, 1, 1000};
/// Samples are only converted and compressed up to this size: what a caller asks for is allocated and filled, however
/// much it is.
inline constexpr unsigned long long kLargestResult = 1 << 16;

/// Every value of a header byte is tried natively, every fifth, other ones for each byte, where an exception costs ten
/// times as much: under sanitizers and in emulation.
#ifdef QEN_IS_SLOW
inline constexpr unsigned int kValueStep = 5;
#else
inline constexpr unsigned int kValueStep = 1;
#endif

/// Names a case; only called when something is wrong with it.
using Describe = std::function<std::string()>;

/// The part of a header that holds sizes, type and form.
inline std::string Hex(Bytes const& header)
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
    bool const nan = holdsNan();
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
    for (int const limit : kReadoutLimits)
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
  /// Whether a number that takes part in comparisons is no number, so that the signal differs from itself.
  bool holdsNan() const
  {
    auto const isNan = [this](std::size_t offset) { return std::isnan(FieldAt<double>(model_.Header(), offset)); };
    return isNan(FieldOffset::kDeltaX) || isNan(FieldOffset::kScalingFactor) || isNan(FieldOffset::kOffset) ||
           std::isnan(signal_.GetTrigger().TripValue) ||
           std::any_of(signal_.GetValidators().begin(), signal_.GetValidators().end(),
                       [](auto const& validator) { return std::isnan(validator.AverageValue); }) ||
           std::any_of(signal_.GetCharVals().begin(), signal_.GetCharVals().end(),
                       [](auto const& value) { return std::isnan(value.Value); });
  }

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

inline bool IsIn(std::size_t offset, std::size_t first, std::size_t behind)
{
  return offset >= first && offset < behind;
}

/// Examines what depends on a header byte.
inline void ExamineByte(Examination const& examination, std::size_t offset)
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

#pragma once

#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "support/Records.h"
#include "support/SampleSignals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

/// All that a signal holds, as plain values.
struct SignalContents
{
  using Validator = InternalTimeSignal::ValidatorParameters;
  using Trigger = InternalTimeSignal::TriggerParameters;
  using CharVal = InternalTimeSignal::CharValParameters;

  Bytes header;
  /// The bytes behind the sample pointer; nothing when it is null.
  std::optional<Bytes> samples;
  std::string unitString;
  std::vector<Validator> validators;
  Trigger trigger;
  std::vector<CharVal> charVals;
  Uuid jobDataUuid;

  Bytes Flat() const
  {
    Bytes flat = header;
    if (samples)
      flat.insert(flat.end(), samples->begin(), samples->end());
    return flat;
  }
};

/// What an object holds, as far as it can be seen.
inline SignalContents ContentsOf(InternalTimeSignal const& signal)
{
  SignalContents contents;
  contents.header = HeaderBytes(*signal.GetHeader());
  if (signal.GetSamplesPointer() != nullptr)
    contents.samples.emplace(signal.GetStoredSamples().begin(), signal.GetStoredSamples().end());
  contents.unitString = signal.GetUnitString();
  contents.validators = signal.GetValidators();
  contents.trigger = signal.GetTrigger();
  contents.charVals = signal.GetCharVals();
  contents.jobDataUuid = signal.GetJobDataUuid();
  return contents;
}

/// An object with these contents, whose record is a valid one.
inline std::unique_ptr<InternalTimeSignal> ObjectWith(SignalContents const& contents)
{
  auto signal =
      std::make_unique<InternalTimeSignal>(*RecordOf(contents.Flat()), contents.unitString, contents.jobDataUuid);
  for (auto const& validator : contents.validators)
    signal->AddValidator(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
  auto const& trigger = contents.trigger;
  signal->AddTrigger(trigger.TriggerUuid, trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
  for (auto const& value : contents.charVals)
    signal->AddCharacteristicValue(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString, value.Speed);
  return signal;
}

/// Equal bit for bit, -0 and NaNs included.
template <class T>
void ExpectSameBits(T actual, T expected, char const* what)
{
  EXPECT_EQ(std::memcmp(&actual, &expected, sizeof(T)), 0) << what << ": " << actual << " instead of " << expected;
}

/// Everything beside header and samples is the same, numbers bit for bit.
inline void ExpectSameDescription(SignalContents const& actual, SignalContents const& expected)
{
  EXPECT_EQ(actual.unitString, expected.unitString);
  EXPECT_EQ(actual.jobDataUuid, expected.jobDataUuid);
  EXPECT_EQ(actual.trigger.TriggerUuid, expected.trigger.TriggerUuid);
  ExpectSameBits(actual.trigger.TripValue, expected.trigger.TripValue, "trip value");
  EXPECT_EQ(actual.trigger.UnitUuid, expected.trigger.UnitUuid);
  EXPECT_EQ(actual.trigger.UnitString, expected.trigger.UnitString);
  ASSERT_EQ(actual.validators.size(), expected.validators.size());
  for (std::size_t i = 0; i < expected.validators.size(); ++i)
  {
    SCOPED_TRACE("validator " + std::to_string(i));
    EXPECT_EQ(actual.validators[i].ValidatorUuid, expected.validators[i].ValidatorUuid);
    ExpectSameBits(actual.validators[i].AverageValue, expected.validators[i].AverageValue, "average value");
    EXPECT_EQ(actual.validators[i].UnitUuid, expected.validators[i].UnitUuid);
    EXPECT_EQ(actual.validators[i].UnitString, expected.validators[i].UnitString);
  }
  ASSERT_EQ(actual.charVals.size(), expected.charVals.size());
  for (std::size_t i = 0; i < expected.charVals.size(); ++i)
  {
    SCOPED_TRACE("characteristic value " + std::to_string(i));
    EXPECT_EQ(actual.charVals[i].CharValUuid, expected.charVals[i].CharValUuid);
    ExpectSameBits(actual.charVals[i].Value, expected.charVals[i].Value, "value");
    EXPECT_EQ(actual.charVals[i].UnitUuid, expected.charVals[i].UnitUuid);
    EXPECT_EQ(actual.charVals[i].UnitString, expected.charVals[i].UnitString);
    ExpectSameBits(actual.charVals[i].Speed, expected.charVals[i].Speed, "speed");
  }
}

inline void ExpectSameContents(SignalContents const& actual, SignalContents const& expected)
{
  EXPECT_EQ(actual.header, expected.header);
  EXPECT_EQ(actual.samples.has_value(), expected.samples.has_value());
  EXPECT_TRUE(actual.samples == expected.samples) << "samples";
  ExpectSameDescription(actual, expected);
}

/// A signal with entries of every kind, all values different, none of them NaN but one speed.
inline SignalContents DescribedSignal(sample_datatype32_t type, compression32_t form, std::size_t count,
                                      std::size_t listLength = 2)
{
  SignalContents contents;
  Bytes const flat = FlatRecord(type, form, count);
  contents.header.assign(flat.begin(), flat.begin() + kHeaderBytes);
  if (flat.size() > kHeaderBytes)
    contents.samples.emplace(flat.begin() + kHeaderBytes, flat.end());
  contents.unitString = "mm/s";
  contents.jobDataUuid = CountingUuid(0x70);
  contents.trigger = {CountingUuid(0x80), 4.5, CountingUuid(0x90), "m/s2"};
  for (std::size_t i = 0; i < listLength; ++i)
  {
    auto const number = static_cast<unsigned char>(i);
    double const fraction = static_cast<double>(i) + 0.25;
    contents.validators.push_back({CountingUuid(static_cast<unsigned char>(0xA0 + number)), -fraction,
                                   CountingUuid(static_cast<unsigned char>(0xB0 + number)),
                                   "average " + std::to_string(i)});
    contents.charVals.push_back(
        {CountingUuid(static_cast<unsigned char>(0xC0 + number)), 1e3 * fraction,
         CountingUuid(static_cast<unsigned char>(0xD0 + number)), "unit " + std::to_string(i),
         i % 2 == 0 ? static_cast<float>(50 + fraction) : std::numeric_limits<float>::quiet_NaN()});
  }
  return contents;
}

/// Random contents of the type and form that it is told; any number, any identifier, texts of any bytes or of those
/// that documents carry as they are.
class RandomContents
{
public:
  RandomContents(std::uint64_t seed, bool plainTexts) : random_(seed), plainTexts_(plainTexts) {}

  SignalContents Make(sample_datatype32_t type, compression32_t form)
  {
    SignalContents contents;
    std::size_t const count = random_() % 4 == 0 ? 0 : random_() % 200;
    Bytes samples(count * SampleSizeOf(type));
    for (unsigned char& byte : samples)
      byte = static_cast<unsigned char>(random_());
    SignalParts parts;
    parts.signalType = static_cast<signal32_t>(1 + random_() % 5);
    parts.measurementConfigUuid = identifier();
    parts.measurementUuid = identifier();
    parts.deltaX = number<double>();
    parts.scalingFactor = number<double>();
    parts.offset = number<double>();
    parts.timeStamp = static_cast<long long>(random_());
    parts.unitUuid = identifier();
    Bytes const flat = FlatRecord(type, form, count, count == 0 ? Bytes() : Stored(samples, form), parts);
    contents.header.assign(flat.begin(), flat.begin() + kHeaderBytes);
    if (flat.size() > kHeaderBytes)
      contents.samples.emplace(flat.begin() + kHeaderBytes, flat.end());
    contents.unitString = text();
    contents.jobDataUuid = identifier();
    contents.trigger = {random_() % 4 == 0 ? Uuid() : identifier(), number<double>(), identifier(), text()};
    contents.validators.resize(random_() % 51);
    for (auto& validator : contents.validators)
      validator = {identifier(), number<double>(), identifier(), text()};
    contents.charVals.resize(random_() % 51);
    for (auto& value : contents.charVals)
      value = {identifier(), number<double>(), identifier(), text(), number<float>()};
    return contents;
  }

private:
  Uuid identifier()
  {
    unsigned char bytes[16];
    for (unsigned char& byte : bytes)
      byte = static_cast<unsigned char>(random_());
    Uuid uuid;
    uuid.SetPlainUuid(bytes);
    return uuid;
  }

  /// Any bits, special values more often than by chance.
  template <class T>
  T number()
  {
    using Limits = std::numeric_limits<T>;
    T const special[] = {T{0},
                         -T{0},
                         Limits::infinity(),
                         -Limits::infinity(),
                         Limits::quiet_NaN(),
                         Limits::max(),
                         Limits::lowest(),
                         Limits::min(),
                         Limits::denorm_min(),
                         T{1} / 3};
    if (random_() % 4 == 0)
      return special[random_() % std::size(special)];
    std::uint64_t const bits = random_();
    T value;
    std::memcpy(&value, &bits, sizeof(T));
    return value;
  }

  std::string text()
  {
    static std::string const plain = "abcXYZ019 /.,;:!?()[]{}+-*=_%$#@'\"\xC2\xB5\xE2\x84\xA6~^|\\";
    std::string result(random_() % 3 == 0 ? 0 : random_() % 40, ' ');
    for (char& character : result)
      character = plainTexts_ ? plain[random_() % plain.size()] : static_cast<char>(random_());
    return result;
  }

  std::mt19937_64 random_;
  bool plainTexts_;
};

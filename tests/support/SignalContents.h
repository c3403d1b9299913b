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

/// Names where two values differ; empty when they are the same. Numbers are compared bit for bit.
class ContentsDifference
{
public:
  void Between(SignalContents const& actual, SignalContents const& expected)
  {
    compare("header", actual.header, expected.header);
    compare("sample array", actual.samples.has_value(), expected.samples.has_value());
    compare("samples", actual.samples, expected.samples);
    BetweenDescriptions(actual, expected);
  }

  /// All but header and samples.
  void BetweenDescriptions(SignalContents const& actual, SignalContents const& expected)
  {
    compare("unit", actual.unitString, expected.unitString);
    compare("job data", actual.jobDataUuid, expected.jobDataUuid);
    compareParameters("trigger", actual.trigger.TriggerUuid, expected.trigger.TriggerUuid, actual.trigger.TripValue,
                      expected.trigger.TripValue, actual.trigger, expected.trigger);
    compare("number of validators", actual.validators.size(), expected.validators.size());
    for (std::size_t i = 0; i < std::min(actual.validators.size(), expected.validators.size()); ++i)
      compareParameters("validator", actual.validators[i].ValidatorUuid, expected.validators[i].ValidatorUuid,
                        actual.validators[i].AverageValue, expected.validators[i].AverageValue, actual.validators[i],
                        expected.validators[i]);
    compare("number of characteristic values", actual.charVals.size(), expected.charVals.size());
    for (std::size_t i = 0; i < std::min(actual.charVals.size(), expected.charVals.size()); ++i)
    {
      compareParameters("characteristic value", actual.charVals[i].CharValUuid, expected.charVals[i].CharValUuid,
                        actual.charVals[i].Value, expected.charVals[i].Value, actual.charVals[i], expected.charVals[i]);
      compareBits("speed", actual.charVals[i].Speed, expected.charVals[i].Speed);
    }
  }

  std::string const& ToString() const { return text_; }

private:
  template <class T>
  void compare(char const* what, T const& actual, T const& expected)
  {
    if (!(actual == expected))
      text_ += std::string(what) + " differs; ";
  }
  template <class T>
  void compareBits(char const* what, T actual, T expected)
  {
    if (std::memcmp(&actual, &expected, sizeof(T)) != 0)
      text_ += std::string(what) + " is " + std::to_string(actual) + " instead of " + std::to_string(expected) + "; ";
  }
  template <class Parameters>
  void compareParameters(char const* what, Uuid const& actualUuid, Uuid const& expectedUuid, double actualNumber,
                         double expectedNumber, Parameters const& actual, Parameters const& expected)
  {
    compare(what, actualUuid, expectedUuid);
    compareBits(what, actualNumber, expectedNumber);
    compare(what, actual.UnitUuid, expected.UnitUuid);
    compare(what, actual.UnitString, expected.UnitString);
  }

  std::string text_;
};

inline std::string DifferenceBetween(SignalContents const& actual, SignalContents const& expected)
{
  ContentsDifference difference;
  difference.Between(actual, expected);
  return difference.ToString();
}

inline std::string DescriptionDifference(SignalContents const& actual, SignalContents const& expected)
{
  ContentsDifference difference;
  difference.BetweenDescriptions(actual, expected);
  return difference.ToString();
}

inline void ExpectSameContents(SignalContents const& actual, SignalContents const& expected)
{
  EXPECT_EQ(DifferenceBetween(actual, expected), "");
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

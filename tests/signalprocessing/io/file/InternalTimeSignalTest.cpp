#include "signalprocessing/io/file/InternalTimeSignal.h"

#include "support/Expectations.h"
#include "support/LogCapture.h"
#include "support/Records.h"

#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr char const kObjectUnit[] = "InternalTimeSignal.cpp";
constexpr char const kLogCategory[] = "example.qen.velmora.libs.signalprocessing.io.file.time_signal";
constexpr char const kTooManySamples[] = "Support for more than 2^31 samples not implemented!";
constexpr char const kNoJobData[] = "Missing UUID for job data entry in database!";
constexpr char const kNoBlock[] = "Can't calculate checksum over NULL!";

std::array<short, 4> const kSamples = {10, -11, 12, 13};
/// The same, as stored.
Bytes const kStoredSamples = {0x0A, 0x00, 0xF5, 0xFF, 0x0C, 0x00, 0x0D, 0x00};

using Signal = std::unique_ptr<InternalTimeSignal>;

Signal MakeObject(sample_datatype32_t type, unsigned long long count, void const* samples,
                  SignalParts const& parts = {})
{
  return std::make_unique<InternalTimeSignal>(
      parts.signalType, parts.measurementConfigUuid, parts.measurementUuid, parts.deltaX, parts.scalingFactor,
      parts.offset, parts.timeStamp, parts.unitUuid, parts.unitString, type, count, samples, parts.jobDataUuid);
}

Signal MakeObject(SignalParts const& parts = {})
{
  return MakeObject(data_int16_t, kSamples.size(), kSamples.data(), parts);
}

/// An object with a trigger, two validators and two characteristic values.
Signal MakeFullObject()
{
  Signal signal = MakeObject();
  signal->AddTrigger(CountingUuid(0x01), 1.5, CountingUuid(0x02), "g");
  signal->AddValidator(CountingUuid(0x03), 2.5, CountingUuid(0x04), "rpm");
  signal->AddValidator(CountingUuid(0x05), 3.5, CountingUuid(0x06), "Hz");
  signal->AddCharacteristicValue(CountingUuid(0x07), 4.5, CountingUuid(0x08), "mm", 1500.0F);
  signal->AddCharacteristicValue(CountingUuid(0x09), 5.5, CountingUuid(0x0A), "um", 1600.0F);
  return signal;
}

void InitWith(InternalTimeSignal& signal, signal32_t signalType, sample_datatype32_t type, unsigned long long count,
              unsigned long long byteCount, void const* samples)
{
  SignalParts const parts;
  signal.Init(signalType, parts.measurementConfigUuid.GetPlainUuid(), parts.measurementUuid.GetPlainUuid(),
              parts.deltaX, parts.scalingFactor, parts.offset, parts.timeStamp, parts.unitUuid.GetPlainUuid(), type,
              count, byteCount, samples);
}

/// Takes the sample array out of an object, which then lacks it.
std::unique_ptr<unsigned char[]> TakeSamples(InternalTimeSignal& signal)
{
  return std::unique_ptr<unsigned char[]>(std::exchange(signal.GetHeader()->Samples, nullptr));
}

Bytes FlatOf(InternalTimeSignal const& signal) { return FlatBytes(*signal.GetHeader()); }

bool TriggerIsCleared(InternalTimeSignal const& signal)
{
  return signal.GetTrigger().TriggerUuid.IsNull() && signal.GetTrigger().TripValue == 0.0;
}

template <class F>
void ExpectRefused(F&& operation, std::string const& message)
{
  ExpectThrow<TimeSignalException>(operation, message, kObjectUnit);
}

void ExpectDifferent(InternalTimeSignal const& a, InternalTimeSignal const& b)
{
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(b != a);
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(b == a);
}

void ExpectEqual(InternalTimeSignal const& a, InternalTimeSignal const& b)
{
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(b == a);
  EXPECT_FALSE(a != b);
  EXPECT_FALSE(b != a);
}

/// What a comparison of two signals logs.
std::size_t WarningsOfComparing(InternalTimeSignal const& a, InternalTimeSignal const& b)
{
  LogCapture const log(kLogCategory);
  static_cast<void>(a != b);
  for (LogRecord const& record : log.Records())
  {
    EXPECT_EQ(record.category, kLogCategory);
    EXPECT_EQ(record.priority, log4cpp::Priority::WARN);
    EXPECT_EQ(record.text, "Sample array missing!");
  }
  return log.Records().size();
}

using Change = std::function<void(InternalTimeSignal&)>;

struct NamedChange
{
  char const* name;
  Change apply;
};

template <class T>
Change SetHeader(T timesignal_bin_t::*field, T value)
{
  return [field, value](InternalTimeSignal& signal) { signal.GetHeader()->*field = value; };
}

/// Changes of one header field each, none of which touches a checksum.
std::vector<NamedChange> HeaderChanges()
{
  return {
      {"BinaryHeaderVersion", SetHeader<unsigned short>(&timesignal_bin_t::BinaryHeaderVersion, 3)},
      {"HeaderSize", SetHeader<unsigned short>(&timesignal_bin_t::HeaderSize, 121)},
      {"SignalType", SetHeader(&timesignal_bin_t::SignalType, raw_spectrum)},
      {"DeltaX", SetHeader(&timesignal_bin_t::DeltaX, std::nextafter(0.25, 1.0))},
      {"ScalingFactor", SetHeader(&timesignal_bin_t::ScalingFactor, std::nextafter(0.5, 1.0))},
      {"Offset", SetHeader(&timesignal_bin_t::Offset, std::nextafter(3.0, 4.0))},
      {"TimeStamp", SetHeader(&timesignal_bin_t::TimeStamp, 0x0102030405060709LL)},
      {"high half of TimeStamp", SetHeader(&timesignal_bin_t::TimeStamp, 0x0102030505060708LL)},
      {"Compression", SetHeader(&timesignal_bin_t::Compression, gzip)},
      {"SampleType", SetHeader(&timesignal_bin_t::SampleType, data_uint16_t)},
      {"SampleCount", SetHeader(&timesignal_bin_t::SampleCount, 5ULL)},
      {"high half of SampleCount", SetHeader(&timesignal_bin_t::SampleCount, (1ULL << 32) + 4)},
      {"DataArrayByteCount", SetHeader(&timesignal_bin_t::DataArrayByteCount, 7ULL)},
      {"DataArrayByteCount 0", SetHeader(&timesignal_bin_t::DataArrayByteCount, 0ULL)},
      {"DataChecksum", [](InternalTimeSignal& signal)
       { signal.GetHeader()->DataChecksum = static_cast<unsigned short>(signal.GetHeader()->DataChecksum ^ 0x8000); }},
      {"HeaderChecksum", [](InternalTimeSignal& signal)
       { signal.GetHeader()->HeaderChecksum = static_cast<unsigned short>(signal.GetHeader()->HeaderChecksum ^ 1); }},
      {"first byte of MeasurementConfigUuid",
       [](InternalTimeSignal& signal) { signal.GetHeader()->MeasurementConfigUuid[0] ^= 1; }},
      {"last byte of MeasurementConfigUuid",
       [](InternalTimeSignal& signal) { signal.GetHeader()->MeasurementConfigUuid[15] ^= 1; }},
      {"first byte of MeasurementUuid",
       [](InternalTimeSignal& signal) { signal.GetHeader()->MeasurementUuid[0] ^= 1; }},
      {"last byte of MeasurementUuid",
       [](InternalTimeSignal& signal) { signal.GetHeader()->MeasurementUuid[15] ^= 1; }},
      {"first byte of UnitUuid", [](InternalTimeSignal& signal) { signal.GetHeader()->UnitUuid[0] ^= 1; }},
      {"last byte of UnitUuid", [](InternalTimeSignal& signal) { signal.GetHeader()->UnitUuid[15] ^= 1; }},
  };
}

/// Pairs of objects that differ in one thing beside the record.
std::vector<std::pair<char const*, std::pair<Signal, Signal>>> PairsThatDifferBehindTheRecord()
{
  std::vector<std::pair<char const*, std::pair<Signal, Signal>>> pairs;
  auto const add = [&pairs](char const* name, Change const& first, Change const& second)
  {
    std::pair<Signal, Signal> pair(MakeObject(), MakeObject());
    first(*pair.first);
    second(*pair.second);
    pairs.emplace_back(name, std::move(pair));
  };
  auto const nothing = [](InternalTimeSignal&) {};
  Uuid const a = CountingUuid(1);
  Uuid const b = CountingUuid(2);

  SignalParts otherUnit;
  otherUnit.unitString = "mm/S";
  pairs.emplace_back("unit string", std::pair(MakeObject(), MakeObject(otherUnit)));
  SignalParts otherJobData;
  otherJobData.jobDataUuid = CountingUuid(0x71);
  pairs.emplace_back("job-data UUID", std::pair(MakeObject(), MakeObject(otherJobData)));

  auto const validator = [](Uuid const& uuid, double average, Uuid const& unit, std::string const& text)
  { return [=](InternalTimeSignal& signal) { signal.AddValidator(uuid, average, unit, text); }; };
  add("number of validators", nothing, validator(a, 1, b, "g"));
  add("validator UUID", validator(a, 1, b, "g"), validator(b, 1, b, "g"));
  add("validator average value", validator(a, 1, b, "g"), validator(a, std::nextafter(1.0, 2.0), b, "g"));
  add("validator unit UUID", validator(a, 1, b, "g"), validator(a, 1, a, "g"));
  add("validator unit string", validator(a, 1, b, "g"), validator(a, 1, b, "G"));
  add("validator average value NaN", validator(a, std::nan(""), b, "g"), validator(a, std::nan(""), b, "g"));
  add(
      "second validator",
      [&](InternalTimeSignal& signal)
      {
        signal.AddValidator(a, 1, b, "g");
        signal.AddValidator(a, 2, b, "g");
      },
      [&](InternalTimeSignal& signal)
      {
        signal.AddValidator(a, 1, b, "g");
        signal.AddValidator(a, 3, b, "g");
      });
  add(
      "order of the validators",
      [&](InternalTimeSignal& signal)
      {
        signal.AddValidator(a, 1, b, "g");
        signal.AddValidator(b, 1, b, "g");
      },
      [&](InternalTimeSignal& signal)
      {
        signal.AddValidator(b, 1, b, "g");
        signal.AddValidator(a, 1, b, "g");
      });

  auto const trigger = [](Uuid const& uuid, double trip, Uuid const& unit, std::string const& text)
  { return [=](InternalTimeSignal& signal) { signal.AddTrigger(uuid, trip, unit, text); }; };
  add("trigger or none", nothing, trigger(a, 0, Uuid(), ""));
  add("trigger UUID", trigger(a, 1, b, "g"), trigger(b, 1, b, "g"));
  add("trip value", trigger(a, 1, b, "g"), trigger(a, std::nextafter(1.0, 2.0), b, "g"));
  add("trigger unit UUID", trigger(a, 1, b, "g"), trigger(a, 1, a, "g"));
  add("trigger unit string", trigger(a, 1, b, "g"), trigger(a, 1, b, "G"));
  add("trip value NaN", trigger(a, std::nan(""), b, "g"), trigger(a, std::nan(""), b, "g"));

  auto const charVal = [](Uuid const& uuid, double value, Uuid const& unit, std::string const& text)
  { return [=](InternalTimeSignal& signal) { signal.AddCharacteristicValue(uuid, value, unit, text, 1); }; };
  add("number of characteristic values", nothing, charVal(a, 1, b, "g"));
  add("characteristic value UUID", charVal(a, 1, b, "g"), charVal(b, 1, b, "g"));
  add("characteristic value", charVal(a, 1, b, "g"), charVal(a, std::nextafter(1.0, 2.0), b, "g"));
  add("characteristic value unit UUID", charVal(a, 1, b, "g"), charVal(a, 1, a, "g"));
  add("characteristic value unit string", charVal(a, 1, b, "g"), charVal(a, 1, b, "G"));
  add("characteristic value NaN", charVal(a, std::nan(""), b, "g"), charVal(a, std::nan(""), b, "g"));
  return pairs;
}
} // namespace

// Construction

TEST(InternalTimeSignal, DefaultObjectIsAnEmptyRawTimeSignalOfBytes)
{
  InternalTimeSignal const signal;
  Bytes expected(120, 0);
  expected[0] = 2;
  expected[2] = 120;
  expected[4] = 1;
  expected[88] = 1;
  expected[92] = 1;
  // 2 ^ 0x78 ^ 1 ^ 1 ^ 1
  expected[118] = 0x7B;
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()), expected);
  EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
  EXPECT_TRUE(signal.GetStoredSamples().empty());
  EXPECT_TRUE(TriggerIsCleared(signal));
  EXPECT_TRUE(signal.GetTrigger().UnitUuid.IsNull());
  EXPECT_EQ(signal.GetTrigger().UnitString, "");
  EXPECT_TRUE(signal.GetValidators().empty());
  EXPECT_TRUE(signal.GetCharVals().empty());
  EXPECT_EQ(signal.GetUnitString(), "");
  EXPECT_TRUE(signal.GetJobDataUuid().IsNull());
  EXPECT_EQ(signal.GetReferenceCounter(), 1U);
}

TEST(InternalTimeSignal, DefaultObjectHasValidChecksums) { EXPECT_TRUE(InternalTimeSignal().GetChecksumStatus()); }

TEST(InternalTimeSignal, RecordOfADefaultObjectOnlyLacksTheJobDataUuid)
{
  InternalTimeSignal const empty;
  ExpectRefused([&] { InternalTimeSignal(*empty.GetHeader(), "", Uuid()); }, kNoJobData);
  InternalTimeSignal const signal(*empty.GetHeader(), "", CountingUuid(1));
  EXPECT_EQ(FlatOf(signal), FlatOf(empty));
}

TEST(InternalTimeSignal, DefaultParameterValuesAreNull)
{
  EXPECT_TRUE(InternalTimeSignal::TriggerParameters().TriggerUuid.IsNull());
  EXPECT_EQ(InternalTimeSignal::TriggerParameters().UnitString, "");
  EXPECT_TRUE(InternalTimeSignal::ValidatorParameters().ValidatorUuid.IsNull());
  EXPECT_TRUE(InternalTimeSignal::ValidatorParameters().UnitUuid.IsNull());
  EXPECT_TRUE(InternalTimeSignal::CharValParameters().CharValUuid.IsNull());
  EXPECT_EQ(InternalTimeSignal::CharValParameters().UnitString, "");
}

TEST(InternalTimeSignal, FromARecordKeepsHeaderAndStoredBytes)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStorageForms)
    {
      Bytes const flat = FlatRecord(type, form, 11);
      RecordPointer record = RecordOf(flat);
      InternalTimeSignal const signal(*record, "m/s", CountingUuid(0x71));
      EXPECT_NE(signal.GetSamplesPointer(), record->Samples);
      record.reset();
      EXPECT_EQ(FlatOf(signal), flat) << type << ", " << form;
      EXPECT_EQ(signal.GetUnitString(), "m/s");
      EXPECT_TRUE(signal.GetJobDataUuid() == CountingUuid(0x71));
      EXPECT_TRUE(TriggerIsCleared(signal));
      EXPECT_TRUE(signal.GetValidators().empty());
      EXPECT_TRUE(signal.GetCharVals().empty());
      EXPECT_EQ(signal.GetReferenceCounter(), 1U);
      EXPECT_TRUE(signal.GetChecksumStatus());
    }
}

TEST(InternalTimeSignal, FromARecordWithoutBytesHasNoSampleArray)
{
  RecordPointer const record = RecordOf(FlatRecord(data_int32_t, zlib, 0));
  InternalTimeSignal const without(*record, "", CountingUuid(1));
  EXPECT_EQ(without.GetSamplesPointer(), nullptr);

  record->Samples = new unsigned char[4]();
  InternalTimeSignal const withAnUnusedArray(*record, "", CountingUuid(1));
  EXPECT_EQ(withAnUnusedArray.GetSamplesPointer(), nullptr);
}

TEST(InternalTimeSignal, FromARecordChecksTheJobDataUuidBehindTheChecksums)
{
  Bytes flat = FlatRecord(data_int16_t, no_compression, 3);
  ExpectRefused([&] { InternalTimeSignal(*RecordOf(flat), "", Uuid()); }, kNoJobData);
  flat.back() ^= 1;
  ExpectRefused([&] { InternalTimeSignal(*RecordOf(flat), "", Uuid()); }, "Checksum error in samples!");
}

TEST(InternalTimeSignal, FromPartsHoldsThePartsAndACopyOfTheSamples)
{
  std::array<short, 4> samples = kSamples;
  SignalParts const parts;
  Signal const signal = MakeObject(data_int16_t, 4, samples.data(), parts);
  samples.fill(0);

  EXPECT_EQ(FlatOf(*signal), FlatRecord(data_int16_t, no_compression, 4, kStoredSamples));
  EXPECT_EQ(signal->GetUnitString(), parts.unitString);
  EXPECT_TRUE(signal->GetJobDataUuid() == parts.jobDataUuid);
  EXPECT_TRUE(TriggerIsCleared(*signal));
  EXPECT_TRUE(signal->GetValidators().empty());
  EXPECT_TRUE(signal->GetCharVals().empty());
  EXPECT_EQ(signal->GetReferenceCounter(), 1U);
}

TEST(InternalTimeSignal, FromPartsStoresSampleSizeTimesCountBytesOfEveryType)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    Bytes const samples = SampleBytes(type, 5);
    Signal const signal = MakeObject(type, 5, samples.data());
    EXPECT_EQ(signal->GetHeader()->DataArrayByteCount, 5 * SampleSizeOf(type));
    EXPECT_EQ(FlatOf(*signal), FlatRecord(type, no_compression, 5)) << type;
  }
}

TEST(InternalTimeSignal, FromPartsReadsSamplesOfAnyAlignment)
{
  Bytes shifted(1);
  shifted.insert(shifted.end(), kStoredSamples.begin(), kStoredSamples.end());
  EXPECT_EQ(FlatOf(*MakeObject(data_int16_t, 4, shifted.data() + 1)), FlatOf(*MakeObject()));
}

TEST(InternalTimeSignal, FromNoSamplesHasNoArrayAndDataChecksumZero)
{
  unsigned char const unused = 0xAB;
  for (void const* samples : {static_cast<void const*>(nullptr), static_cast<void const*>(&unused)})
  {
    Signal const signal = MakeObject(data_float64_t, 0, samples);
    EXPECT_EQ(signal->GetSamplesPointer(), nullptr);
    EXPECT_EQ(signal->GetHeader()->DataArrayByteCount, 0U);
    EXPECT_EQ(signal->GetHeader()->DataChecksum, 0);
    EXPECT_TRUE(signal->GetChecksumStatus());
  }
}

TEST(InternalTimeSignal, FromACountWithoutSamplesIsFilledWithZeros)
{
  Signal const signal = MakeObject(data_int32_t, 3, nullptr);
  EXPECT_EQ(FlatOf(*signal), FlatRecord(data_int32_t, no_compression, 3, Bytes(12, 0)));
}

TEST(InternalTimeSignal, FromPartsRefusesUnknownSignalTypes)
{
  for (int const type : {0, 6, INT_MAX})
  {
    SignalParts parts;
    parts.signalType = static_cast<signal32_t>(type);
    ExpectRefused([&] { MakeObject(parts); }, "Unknown signal type: " + std::to_string(type) + "!");
  }
}

TEST(InternalTimeSignal, FromPartsLetsNegativeSignalTypesThrough)
{
  SignalParts parts;
  parts.signalType = static_cast<signal32_t>(-1);
  EXPECT_EQ(MakeObject(parts)->GetHeader()->SignalType, -1);
}

TEST(InternalTimeSignal, FromPartsRefusesUnknownSampleTypesBeforeAllElse)
{
  SignalParts nothingRight;
  nothingRight.signalType = static_cast<signal32_t>(0);
  nothingRight.jobDataUuid.ClearUuid();
  for (int const type : {INT_MIN, -1, 0, 11, INT_MAX})
    ExpectRefused([&] { MakeObject(static_cast<sample_datatype32_t>(type), 1, kSamples.data(), nothingRight); },
                  "Unknown data type: " + std::to_string(type) + "!");
}

TEST(InternalTimeSignal, FromPartsChecksSignalTypeThenJobDataThenSize)
{
  SignalParts parts;
  parts.signalType = static_cast<signal32_t>(6);
  parts.jobDataUuid.ClearUuid();
  auto const make = [&] { MakeObject(data_int64_t, 1ULL << 28, kSamples.data(), parts); };
  ExpectRefused(make, "Unknown signal type: 6!");
  parts.signalType = raw_time_signal;
  ExpectRefused(make, kNoJobData);
  parts.jobDataUuid = CountingUuid(1);
  ExpectRefused(make, kTooManySamples);
}

TEST(InternalTimeSignal, FromPartsRefusesMoreThanTwoToThe31MinusOneBytes)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (unsigned long long const bytes : {1ULL << 31, 1ULL << 32, 1ULL << 63})
      ExpectRefused([&] { MakeObject(type, bytes / SampleSizeOf(type), kSamples.data()); }, kTooManySamples);
  // Counts whose product with the size drops to 0 or to 8 in 64 bits.
  ExpectRefused([&] { MakeObject(data_float64_t, 1ULL << 61, kSamples.data()); }, kTooManySamples);
  ExpectRefused([&] { MakeObject(data_int16_t, (1ULL << 63) + 4, kSamples.data()); }, kTooManySamples);
}

// Init

TEST(InternalTimeSignalInit, ReplacesHeaderAndSamples)
{
  Signal const signal = MakeFullObject();
  signal->Compress(zlib);
  signal->GetHeader()->BinaryHeaderVersion = 7;
  signal->GetHeader()->HeaderSize = 7;
  signal->GetHeader()->Reserved = 7;

  Bytes const samples = SampleBytes(data_uint32_t, 3);
  SignalParts other;
  other.signalType = order_analysis;
  other.measurementConfigUuid = CountingUuid(0x91);
  other.measurementUuid = CountingUuid(0xA1);
  other.deltaX = -1;
  other.scalingFactor = 7;
  other.offset = 0.125;
  other.timeStamp = -5;
  other.unitUuid = CountingUuid(0xB1);
  signal->Init(other.signalType, other.measurementConfigUuid.GetPlainUuid(), other.measurementUuid.GetPlainUuid(),
               other.deltaX, other.scalingFactor, other.offset, other.timeStamp, other.unitUuid.GetPlainUuid(),
               data_uint32_t, 3, samples.size(), samples.data());
  EXPECT_EQ(FlatOf(*signal), FlatRecord(data_uint32_t, no_compression, 3, samples, other));
  EXPECT_TRUE(signal->GetChecksumStatus());
}

TEST(InternalTimeSignalInit, ClearsTheTriggerAndKeepsTheRest)
{
  Signal const signal = MakeFullObject();
  InitWith(*signal, raw_spectrum, data_int8_t, 3, 3, kSamples.data());
  EXPECT_TRUE(TriggerIsCleared(*signal));
  EXPECT_EQ(signal->GetValidators().size(), 2U);
  EXPECT_EQ(signal->GetCharVals().size(), 2U);
  EXPECT_EQ(signal->GetUnitString(), SignalParts().unitString);
  EXPECT_TRUE(signal->GetJobDataUuid() == SignalParts().jobDataUuid);
}

TEST(InternalTimeSignalInit, WithoutBytesLeavesNoArray)
{
  Signal const signal = MakeObject();
  InitWith(*signal, raw_spectrum, data_int8_t, 0, 0, kSamples.data());
  EXPECT_EQ(signal->GetSamplesPointer(), nullptr);
  EXPECT_EQ(signal->GetHeader()->DataChecksum, 0);
  EXPECT_TRUE(signal->GetChecksumStatus());
}

TEST(InternalTimeSignalInit, WithoutSamplesFillsTheArrayWithZeros)
{
  Signal const signal = MakeObject();
  InitWith(*signal, raw_spectrum, data_int64_t, 3, 24, nullptr);
  ASSERT_NE(signal->GetSamplesPointer(), nullptr);
  EXPECT_EQ(Bytes(signal->GetSamplesPointer(), signal->GetSamplesPointer() + 24), Bytes(24, 0));
  EXPECT_TRUE(signal->GetChecksumStatus());
}

TEST(InternalTimeSignalInit, StoresByteCountBytesWhateverTheCount)
{
  Signal const signal = MakeObject();
  InitWith(*signal, raw_spectrum, data_int16_t, 100, 5, kSamples.data());
  EXPECT_EQ(signal->GetHeader()->SampleCount, 100U);
  EXPECT_EQ(signal->GetHeader()->DataArrayByteCount, 5U);
  EXPECT_EQ(FlatOf(*signal).size(), 125U);
  // 0x000A ^ 0xFFF5 ^ 0x000C
  EXPECT_EQ(signal->GetHeader()->DataChecksum, 0xFFF3);
}

TEST(InternalTimeSignalInit, ChecksInItsOrderAndClearsTheTriggerBeforeTheSizeLimit)
{
  auto const badSignal = static_cast<signal32_t>(6);
  auto const badSample = static_cast<sample_datatype32_t>(11);
  auto const negativeSample = static_cast<sample_datatype32_t>(-1);
  unsigned long long const tooMany = 1ULL << 31;

  InternalTimeSignal withoutJobData;
  withoutJobData.AddTrigger(CountingUuid(1), 1.5, CountingUuid(2), "g");
  ExpectRefused([&] { InitWith(withoutJobData, badSignal, badSample, tooMany, 1, nullptr); },
                "Unknown signal type: 6!");
  ExpectRefused([&] { InitWith(withoutJobData, raw_spectrum, badSample, tooMany, 1, nullptr); },
                "Unknown data type: 11!");
  ExpectRefused([&] { InitWith(withoutJobData, raw_spectrum, negativeSample, tooMany, 1, nullptr); }, kNoJobData);
  ExpectRefused([&] { InitWith(withoutJobData, raw_spectrum, data_int8_t, tooMany, 1, nullptr); }, kNoJobData);
  EXPECT_FALSE(TriggerIsCleared(withoutJobData));
  EXPECT_EQ(FlatOf(withoutJobData), FlatOf(InternalTimeSignal()));

  Signal const signal = MakeFullObject();
  Bytes const before = FlatOf(*signal);
  ExpectRefused([&] { InitWith(*signal, raw_spectrum, data_int8_t, tooMany, 1, nullptr); }, kTooManySamples);
  EXPECT_TRUE(TriggerIsCleared(*signal));
  EXPECT_EQ(FlatOf(*signal), before);
}

TEST(InternalTimeSignalInit, NegativeTypesPassTheirChecks)
{
  Signal const signal = MakeObject();
  InitWith(*signal, static_cast<signal32_t>(INT_MIN), data_int8_t, 3, 3, kSamples.data());
  EXPECT_EQ(signal->GetHeader()->SignalType, INT_MIN);
  // The size of such a sample is unknown all the same.
  ExpectRefused([&] { InitWith(*signal, raw_spectrum, static_cast<sample_datatype32_t>(-3), 3, 3, kSamples.data()); },
                "Unknown data type: -3!");
}

TEST(InternalTimeSignalInit, SizeLimitIsOnTheProductNotOnTheByteCount)
{
  Signal const signal = MakeObject();
  ExpectRefused([&] { InitWith(*signal, raw_spectrum, data_float64_t, 1ULL << 28, 0, nullptr); }, kTooManySamples);
  InitWith(*signal, raw_spectrum, data_float64_t, (1ULL << 28) - 1, 0, nullptr);
  EXPECT_EQ(signal->GetHeader()->SampleCount, (1ULL << 28) - 1);
  EXPECT_EQ(signal->GetSamplesPointer(), nullptr);
}

// Copy

TEST(InternalTimeSignalCopy, IsDeepAndEqual)
{
  for (compression32_t const form : kStorageForms)
  {
    Signal original = MakeFullObject();
    original->Compress(form);
    original->GetHeader()->Reserved = 0xDEADBEEF;
    InternalTimeSignal const copy(*original);
    EXPECT_NE(copy.GetSamplesPointer(), original->GetSamplesPointer());
    EXPECT_EQ(FlatOf(copy), FlatOf(*original));
    ExpectEqual(copy, *original);
    // Speeds take no part in the comparison.
    EXPECT_EQ(copy.GetCharVals().at(0).Speed, 1500.0F);
    EXPECT_EQ(copy.GetCharVals().at(1).Speed, 1600.0F);
    Bytes const before = FlatOf(copy);
    original->RemoveAllSamples();
    original.reset();
    EXPECT_EQ(FlatOf(copy), before);
    EXPECT_TRUE(copy.GetJobDataUuid() == SignalParts().jobDataUuid);
  }
}

TEST(InternalTimeSignalCopy, OfASharedObjectIsCountedOnce)
{
  Signal const original = MakeObject();
  InternalTimeSignal* const second = InternalTimeSignal::CopyConstructor(original.get());
  ASSERT_EQ(original->GetReferenceCounter(), 2U);
  InternalTimeSignal const copy(*original);
  EXPECT_EQ(copy.GetReferenceCounter(), 1U);
  EXPECT_EQ(original->GetReferenceCounter(), 2U);
  InternalTimeSignal::Delete(second);
  EXPECT_EQ(original->GetReferenceCounter(), 1U);
}

TEST(InternalTimeSignalCopy, KeepsWrongChecksums)
{
  Signal const original = MakeObject();
  original->GetHeader()->DataChecksum ^= 1;
  InternalTimeSignal const copy(*original);
  EXPECT_EQ(FlatOf(copy), FlatOf(*original));
  EXPECT_FALSE(copy.GetChecksumStatus());
}

TEST(InternalTimeSignalCopy, OfNoArrayHasNoArrayAndOfAnEmptyArrayHasOne)
{
  EXPECT_EQ(InternalTimeSignal(InternalTimeSignal()).GetSamplesPointer(), nullptr);

  // An empty stream uncompresses to an array without bytes.
  Bytes const flat = FlatRecord(data_int16_t, zlib, 0, Stored(Bytes(), zlib));
  InternalTimeSignal emptied(*RecordOf(flat), "", CountingUuid(1));
  emptied.Uncompress();
  ASSERT_NE(emptied.GetSamplesPointer(), nullptr);
  ASSERT_EQ(emptied.GetHeader()->DataArrayByteCount, 0U);
  InternalTimeSignal const copy(emptied);
  EXPECT_NE(copy.GetSamplesPointer(), nullptr);
  EXPECT_NE(copy.GetSamplesPointer(), emptied.GetSamplesPointer());
}

// Accessors and modifiers

TEST(InternalTimeSignal, HeaderAndSamplesAreOpenForWriting)
{
  Signal const signal = MakeObject();
  InternalTimeSignal const& reader = *signal;
  EXPECT_EQ(reader.GetHeader(), signal->GetHeader());
  EXPECT_EQ(signal->GetSamplesPointer(), signal->GetHeader()->Samples);
  signal->GetHeader()->DeltaX = 0.75;
  signal->GetSamplesPointer()[0] = 0x55;
  EXPECT_EQ(reader.GetHeader()->DeltaX, 0.75);
  EXPECT_EQ(reader.GetStoredSamples().front(), 0x55);
}

TEST(InternalTimeSignal, SignalUnitIsReadFromTheHeader)
{
  Signal const signal = MakeObject();
  Uuid unit;
  Uuid& result = signal->GetSignalUnit(unit);
  EXPECT_EQ(&result, &unit);
  EXPECT_TRUE(unit == SignalParts().unitUuid);
  signal->GetHeader()->UnitUuid[15] = 0;
  std::array<unsigned char, 16> bytes{};
  std::memcpy(bytes.data(), signal->GetSignalUnit(unit).GetPlainUuid(), 16);
  EXPECT_EQ(bytes.at(0), 0x50);
  EXPECT_EQ(bytes.at(15), 0x00);
}

TEST(InternalTimeSignal, SecondTriggerReplacesTheFirst)
{
  Signal const signal = MakeObject();
  signal->AddTrigger(CountingUuid(1), 1.5, CountingUuid(2), "g");
  signal->AddTrigger(CountingUuid(3), 2.5, CountingUuid(4), "rpm");
  EXPECT_TRUE(signal->GetTrigger().TriggerUuid == CountingUuid(3));
  EXPECT_EQ(signal->GetTrigger().TripValue, 2.5);
  EXPECT_TRUE(signal->GetTrigger().UnitUuid == CountingUuid(4));
  EXPECT_EQ(signal->GetTrigger().UnitString, "rpm");
}

TEST(InternalTimeSignal, ValidatorsStayInTheOrderAddedDuplicatesIncluded)
{
  Signal const signal = MakeObject();
  signal->AddValidator(CountingUuid(9), 1.5, CountingUuid(2), "g");
  signal->AddValidator(CountingUuid(1), 2.5, CountingUuid(4), "rpm");
  signal->AddValidator(CountingUuid(9), 1.5, CountingUuid(2), "g");
  auto const& validators = signal->GetValidators();
  ASSERT_EQ(validators.size(), 3U);
  EXPECT_TRUE(validators[0].ValidatorUuid == CountingUuid(9));
  EXPECT_EQ(validators[0].AverageValue, 1.5);
  EXPECT_TRUE(validators[0].UnitUuid == CountingUuid(2));
  EXPECT_EQ(validators[0].UnitString, "g");
  EXPECT_TRUE(validators[1].ValidatorUuid == CountingUuid(1));
  EXPECT_EQ(validators[1].AverageValue, 2.5);
  EXPECT_TRUE(validators[1].UnitUuid == CountingUuid(4));
  EXPECT_EQ(validators[1].UnitString, "rpm");
  EXPECT_TRUE(validators[2].ValidatorUuid == CountingUuid(9));
}

TEST(InternalTimeSignal, CharacteristicValuesStayInTheOrderAddedDuplicatesIncluded)
{
  Signal const signal = MakeObject();
  signal->AddCharacteristicValue(CountingUuid(9), 1.5, CountingUuid(2), "g", 1500.5F);
  signal->AddCharacteristicValue(CountingUuid(1), 2.5, CountingUuid(4), "rpm", -1.0F);
  signal->AddCharacteristicValue(CountingUuid(9), 1.5, CountingUuid(2), "g", 1500.5F);
  auto const& values = signal->GetCharVals();
  ASSERT_EQ(values.size(), 3U);
  EXPECT_TRUE(values[0].CharValUuid == CountingUuid(9));
  EXPECT_EQ(values[0].Value, 1.5);
  EXPECT_TRUE(values[0].UnitUuid == CountingUuid(2));
  EXPECT_EQ(values[0].UnitString, "g");
  EXPECT_EQ(values[0].Speed, 1500.5F);
  EXPECT_TRUE(values[1].CharValUuid == CountingUuid(1));
  EXPECT_EQ(values[1].Value, 2.5);
  EXPECT_TRUE(values[1].UnitUuid == CountingUuid(4));
  EXPECT_EQ(values[1].UnitString, "rpm");
  EXPECT_EQ(values[1].Speed, -1.0F);
  EXPECT_TRUE(values[2].CharValUuid == CountingUuid(9));
}

TEST(InternalTimeSignal, ListsTakeAnyNumberOfEntries)
{
  Signal const signal = MakeObject();
  for (int i = 0; i < 1000; ++i)
  {
    signal->AddValidator(CountingUuid(1), i, CountingUuid(2), "g");
    signal->AddCharacteristicValue(CountingUuid(1), i, CountingUuid(2), "g", 0);
  }
  ASSERT_EQ(signal->GetValidators().size(), 1000U);
  ASSERT_EQ(signal->GetCharVals().size(), 1000U);
  EXPECT_EQ(signal->GetValidators().back().AverageValue, 999);
  EXPECT_EQ(signal->GetCharVals().back().Value, 999);
}

TEST(InternalTimeSignal, TriggerAndListsAreNoPartOfTheRecord)
{
  EXPECT_EQ(FlatOf(*MakeFullObject()), FlatOf(*MakeObject()));
}

TEST(InternalTimeSignal, RemovingAllSamplesEmptiesTheRecordAndKeepsTheRest)
{
  for (compression32_t const form : kStorageForms)
  {
    Signal const signal = MakeFullObject();
    signal->Compress(form);
    signal->GetHeader()->Reserved = 5;
    signal->RemoveAllSamples();

    Bytes expected = FlatRecord(data_int16_t, form, 0);
    SetField(expected, FieldOffset::kReserved, 5U);
    RepairChecksums(expected);
    EXPECT_EQ(FlatOf(*signal), expected);
    EXPECT_EQ(signal->GetSamplesPointer(), nullptr);
    EXPECT_EQ(signal->GetHeader()->SampleCount, 0U);
    EXPECT_EQ(signal->GetHeader()->SampleType, data_int16_t);
    EXPECT_EQ(signal->GetHeader()->Compression, form);
    EXPECT_EQ(signal->GetHeader()->DataChecksum, 0);
    EXPECT_TRUE(signal->GetChecksumStatus());
    EXPECT_FALSE(TriggerIsCleared(*signal));
    EXPECT_EQ(signal->GetValidators().size(), 2U);
    EXPECT_EQ(signal->GetCharVals().size(), 2U);
  }
}

TEST(InternalTimeSignal, RemovingNoSamplesRepairsTheChecksums)
{
  InternalTimeSignal signal;
  signal.GetHeader()->DataChecksum = 7;
  signal.RemoveAllSamples();
  EXPECT_EQ(FlatOf(signal), FlatOf(InternalTimeSignal()));
}

// Checksums

TEST(InternalTimeSignalChecksums, WrittenSamplesNeedARecalculation)
{
  Signal const signal = MakeObject();
  signal->GetSamplesPointer()[0] = 0x0B;
  EXPECT_FALSE(signal->GetChecksumStatus());
  signal->RecalculateSamplesChecksum();
  EXPECT_TRUE(signal->GetChecksumStatus());
  Bytes stored = kStoredSamples;
  stored[0] = 0x0B;
  EXPECT_EQ(FlatOf(*signal), FlatRecord(data_int16_t, no_compression, 4, stored));
}

TEST(InternalTimeSignalChecksums, RecalculationCoversAChangedHeader)
{
  Signal const signal = MakeObject();
  signal->GetHeader()->DeltaX = 0.75;
  EXPECT_FALSE(signal->GetChecksumStatus());
  signal->RecalculateSamplesChecksum();
  EXPECT_TRUE(signal->GetChecksumStatus());
}

TEST(InternalTimeSignalChecksums, AreThoseOfTheStoredBytesAndOf118HeaderBytes)
{
  for (compression32_t const form : kStorageForms)
  {
    Signal const signal = MakeObject();
    signal->Compress(form);
    Bytes const flat = FlatOf(*signal);
    EXPECT_EQ(signal->CalcDataChecksum(), PlainChecksum(flat.data() + 120, flat.size() - 120));
    EXPECT_EQ(signal->CalcHeaderChecksum(), PlainChecksum(flat.data(), 118));
  }
  EXPECT_EQ(InternalTimeSignal().CalcDataChecksum(), 0);
  EXPECT_EQ(InternalTimeSignal().CalcHeaderChecksum(), 0x007B);
}

TEST(InternalTimeSignalChecksums, CalculatingThemStoresNothing)
{
  Signal const signal = MakeObject();
  signal->GetHeader()->DataChecksum ^= 1;
  Bytes const before = FlatOf(*signal);
  signal->CalcDataChecksum();
  signal->CalcHeaderChecksum();
  signal->GetChecksumStatus();
  EXPECT_EQ(FlatOf(*signal), before);
}

TEST(InternalTimeSignalChecksums, StatusIsFalseForEitherWrongChecksum)
{
  Signal const signal = MakeObject();
  ASSERT_TRUE(signal->GetChecksumStatus());

  signal->GetHeader()->HeaderChecksum ^= 1;
  EXPECT_FALSE(signal->GetChecksumStatus());

  signal->GetHeader()->DataChecksum ^= 1;
  EXPECT_FALSE(signal->GetChecksumStatus());

  // The header checksum is right again, the other one is not.
  signal->GetHeader()->HeaderChecksum = signal->CalcHeaderChecksum();
  EXPECT_FALSE(signal->GetChecksumStatus());
}

TEST(InternalTimeSignalChecksums, OfAMissingSampleArrayAreRefused)
{
  Signal const signal = MakeObject();
  std::unique_ptr<unsigned char[]> const samples = TakeSamples(*signal);
  Bytes const before = HeaderBytes(*signal->GetHeader());
  ExpectRefused([&] { signal->CalcDataChecksum(); }, kNoBlock);
  ExpectRefused([&] { signal->GetChecksumStatus(); }, kNoBlock);
  ExpectRefused([&] { signal->RecalculateSamplesChecksum(); }, kNoBlock);
  EXPECT_EQ(HeaderBytes(*signal->GetHeader()), before);
}

// Comparison

TEST(InternalTimeSignalComparison, EqualSignalsAreEqual)
{
  ExpectEqual(InternalTimeSignal(), InternalTimeSignal());
  ExpectEqual(*MakeFullObject(), *MakeFullObject());
  Signal const signal = MakeFullObject();
  ExpectEqual(*signal, *signal);
}

TEST(InternalTimeSignalComparison, EachHeaderFieldAloneMakesADifference)
{
  for (NamedChange const& change : HeaderChanges())
  {
    SCOPED_TRACE(change.name);
    Signal const changed = MakeFullObject();
    change.apply(*changed);
    ExpectDifferent(*changed, *MakeFullObject());
  }
}

TEST(InternalTimeSignalComparison, EachThingBehindTheRecordAloneMakesADifference)
{
  for (auto const& [name, signals] : PairsThatDifferBehindTheRecord())
  {
    SCOPED_TRACE(name);
    ASSERT_EQ(FlatOf(*signals.first), FlatOf(*signals.second));
    ExpectDifferent(*signals.first, *signals.second);
  }
}

TEST(InternalTimeSignalComparison, EverySampleByteAloneMakesADifference)
{
  Bytes const stored = SampleBytes(data_uint8_t, 41);
  Signal const original = MakeObject(data_uint8_t, 41, stored.data());
  for (std::size_t i = 0; i < stored.size(); ++i)
  {
    Signal const changed = MakeObject(data_uint8_t, 41, stored.data());
    changed->GetSamplesPointer()[i] ^= 0x80;
    ExpectDifferent(*changed, *original);
  }
}

TEST(InternalTimeSignalComparison, SamplesAreComparedAsBytes)
{
  // Not a number, but the same bytes; 0 and -0, but other bytes.
  std::array<double, 2> const nan = {std::nan(""), 1};
  ExpectEqual(*MakeObject(data_float64_t, 2, nan.data()), *MakeObject(data_float64_t, 2, nan.data()));
  std::array<double, 2> const zero = {0.0, 1};
  std::array<double, 2> const negativeZero = {-0.0, 1};
  Signal const a = MakeObject(data_float64_t, 2, zero.data());
  Signal const b = MakeObject(data_float64_t, 2, negativeZero.data());
  b->GetHeader()->DataChecksum = a->GetHeader()->DataChecksum;
  b->GetHeader()->HeaderChecksum = a->GetHeader()->HeaderChecksum;
  ExpectDifferent(*a, *b);
}

TEST(InternalTimeSignalComparison, NotANumberIsNeverEqual)
{
  double const nan = std::numeric_limits<double>::quiet_NaN();
  for (double SignalParts::*const field : {&SignalParts::deltaX, &SignalParts::scalingFactor, &SignalParts::offset})
  {
    SignalParts parts;
    parts.*field = nan;
    Signal const signal = MakeObject(parts);
    ExpectDifferent(*signal, *MakeObject(parts));
    ExpectDifferent(*signal, *signal);
  }
}

TEST(InternalTimeSignalComparison, PositiveAndNegativeZeroAreEqualNumbers)
{
  for (double timesignal_bin_t::*const field :
       {&timesignal_bin_t::DeltaX, &timesignal_bin_t::ScalingFactor, &timesignal_bin_t::Offset})
  {
    Signal const a = MakeObject();
    Signal const b = MakeObject();
    a->GetHeader()->*field = 0.0;
    b->GetHeader()->*field = -0.0;
    ExpectEqual(*a, *b);
  }
}

TEST(InternalTimeSignalComparison, SpeedReservedBytesAndReferenceCounterTakeNoPart)
{
  Signal const a = MakeObject();
  Signal const b = MakeObject();
  a->AddCharacteristicValue(CountingUuid(1), 1, CountingUuid(2), "g", 1500);
  b->AddCharacteristicValue(CountingUuid(1), 1, CountingUuid(2), "g", std::nanf(""));
  b->GetHeader()->Reserved = 0xDEADBEEF;
  InternalTimeSignal* const second = InternalTimeSignal::CopyConstructor(a.get());
  ExpectEqual(*a, *b);
  InternalTimeSignal::Delete(second);
}

TEST(InternalTimeSignalComparison, SamplesBeyondTheByteCountTakeNoPart)
{
  Signal const a = MakeObject();
  Signal const b = MakeObject();
  b->GetSamplesPointer()[7] ^= 1;
  for (InternalTimeSignal* signal : {a.get(), b.get()})
    signal->GetHeader()->DataArrayByteCount = 7;
  ExpectEqual(*a, *b);
  for (InternalTimeSignal* signal : {a.get(), b.get()})
    signal->GetHeader()->DataArrayByteCount = 0;
  b->GetSamplesPointer()[0] ^= 1;
  ExpectEqual(*a, *b);
}

TEST(InternalTimeSignalComparison, OneMissingSampleArrayIsLoggedAndADifference)
{
  Signal const whole = MakeObject();
  Signal const lacking = MakeObject();
  std::unique_ptr<unsigned char[]> const samples = TakeSamples(*lacking);
  EXPECT_TRUE(*whole != *lacking);
  EXPECT_TRUE(*lacking != *whole);
  EXPECT_FALSE(*whole == *lacking);
  EXPECT_EQ(WarningsOfComparing(*whole, *lacking), 1U);
  EXPECT_EQ(WarningsOfComparing(*lacking, *whole), 1U);
}

TEST(InternalTimeSignalComparison, TwoMissingSampleArraysAreLoggedAndEqual)
{
  Signal const a = MakeFullObject();
  Signal const b = MakeFullObject();
  std::unique_ptr<unsigned char[]> const samplesOfA = TakeSamples(*a);
  std::unique_ptr<unsigned char[]> const samplesOfB = TakeSamples(*b);
  ExpectEqual(*a, *b);
  EXPECT_EQ(WarningsOfComparing(*a, *b), 1U);
}

TEST(InternalTimeSignalComparison, SignalsWithoutSamplesLogNothing)
{
  EXPECT_EQ(WarningsOfComparing(InternalTimeSignal(), InternalTimeSignal()), 0U);
  EXPECT_EQ(WarningsOfComparing(*MakeObject(), *MakeObject()), 0U);
  Signal const a = MakeObject();
  a->GetSamplesPointer()[0] ^= 1;
  EXPECT_EQ(WarningsOfComparing(*a, *MakeObject()), 0U);
  // One array less is nothing missing when no bytes are announced.
  Signal const unused = MakeObject(data_int16_t, 0, nullptr);
  unused->GetHeader()->Samples = new unsigned char[1]();
  EXPECT_EQ(WarningsOfComparing(*unused, *MakeObject(data_int16_t, 0, nullptr)), 0U);
  ExpectEqual(*unused, *MakeObject(data_int16_t, 0, nullptr));
}

TEST(InternalTimeSignalComparison, EveryHeaderFieldIsComparedBeforeTheSamples)
{
  for (NamedChange const& change : HeaderChanges())
  {
    SCOPED_TRACE(change.name);
    Signal const changed = MakeObject();
    change.apply(*changed);
    Signal const lacking = MakeObject();
    std::unique_ptr<unsigned char[]> const samples = TakeSamples(*lacking);
    EXPECT_EQ(WarningsOfComparing(*changed, *lacking), 0U);
    ExpectDifferent(*changed, *lacking);
  }
}

TEST(InternalTimeSignalComparison, EverythingElseIsComparedBehindTheSamples)
{
  for (auto const& [name, signals] : PairsThatDifferBehindTheRecord())
  {
    SCOPED_TRACE(name);
    std::unique_ptr<unsigned char[]> const samplesOfFirst = TakeSamples(*signals.first);
    std::unique_ptr<unsigned char[]> const samplesOfSecond = TakeSamples(*signals.second);
    EXPECT_EQ(WarningsOfComparing(*signals.first, *signals.second), 1U);
    ExpectDifferent(*signals.first, *signals.second);
  }
}

TEST(InternalTimeSignalComparison, DisabledWarningsAreNotWritten)
{
  Signal const whole = MakeObject();
  Signal const lacking = MakeObject();
  std::unique_ptr<unsigned char[]> const samples = TakeSamples(*lacking);
  LogCapture const log(kLogCategory, log4cpp::Priority::ERROR);
  EXPECT_TRUE(*whole != *lacking);
  EXPECT_TRUE(log.Records().empty());
}

#include "signalprocessing/io/file/TimeSignal.h"

#include "platform/Compression.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/Expectations.h"
#include "support/SampleSignals.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace
{
constexpr char const kObjectUnit[] = "InternalTimeSignal.cpp";
constexpr char const kConverterUnit[] = "libs/signalprocessing/typeconverter/TypeConverter.cpp";

auto const kUnknownCompression = static_cast<compression32_t>(99);
auto const kUnknownType = static_cast<sample_datatype32_t>(11);

std::vector<short> const kSamples = {10, 11, 12, 13};

/// Everything that a handle shows of its signal, as values of its own.
struct State
{
  using Parameters = std::tuple<Uuid, double, Uuid, std::string>;

  explicit State(TimeSignal const& signal)
    : header(HeaderBytes(*signal.GetHeader())), samples(StoredBytes(signal)), unit(signal.GetUnitString()),
      jobData(signal.GetJobDataUuid()), trigger(signal.GetTrigger().TriggerUuid, signal.GetTrigger().TripValue,
                                                signal.GetTrigger().UnitUuid, signal.GetTrigger().UnitString)
  {
    for (auto const& validator : signal.GetValidators())
      validators.emplace_back(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid,
                              validator.UnitString);
    for (auto const& value : signal.GetCharVals())
      charVals.emplace_back(Parameters(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString), value.Speed);
  }
  bool operator==(State const&) const = default;

  std::vector<unsigned char> header, samples;
  std::string unit;
  Uuid jobData;
  Parameters trigger;
  std::vector<Parameters> validators;
  std::vector<std::pair<Parameters, float>> charVals;
};

TimeSignal FullSignal()
{
  TimeSignal signal = MakeSignal(kSamples);
  signal.AddTrigger(CountingUuid(0x90), 1.5, CountingUuid(0x91), "g");
  signal.AddValidator(CountingUuid(0x92), 2.5, CountingUuid(0x93), "rpm");
  signal.AddCharacteristicValue(CountingUuid(0x94), 3.5, CountingUuid(0x95), "mm", 1500.0F);
  return signal;
}

/// A zlib signal whose stream is no stream.
TimeSignal DamagedSignal()
{
  TimeSignal signal = MakeSignal(kSamples);
  signal.Compress(zlib);
  for (std::size_t i = 0; i < signal.GetHeader()->DataArrayByteCount; ++i)
    signal.GetSamplesPointer()[i] = 0xFF;
  signal.RecalculateSamplesChecksum();
  return signal;
}

/// Runs a change on one of two sharing handles: it must go to a private copy, the other handle must see nothing of it.
template <class F>
void ExpectPrivateCopy(TimeSignal& signal, F&& change)
{
  TimeSignal const witness = signal;
  InternalTimeSignal* const shared = ObjectOf(signal);
  ASSERT_EQ(HandleCount(signal), 2U);
  State const before(witness);

  change(signal);

  EXPECT_NE(ObjectOf(signal), shared);
  EXPECT_EQ(ObjectOf(witness), shared);
  EXPECT_EQ(HandleCount(signal), 1U);
  EXPECT_EQ(HandleCount(witness), 1U);
  EXPECT_TRUE(State(witness) == before);
  EXPECT_NE(signal.GetSamplesPointer(), witness.GetSamplesPointer());
}

/// Runs an operation on one of two sharing handles that must not separate them.
template <class F>
void ExpectStillShared(TimeSignal& signal, F&& operation)
{
  TimeSignal const witness = signal;
  InternalTimeSignal* const shared = ObjectOf(signal);
  operation(signal);
  EXPECT_EQ(ObjectOf(signal), shared);
  EXPECT_EQ(ObjectOf(witness), shared);
  EXPECT_EQ(HandleCount(witness), 2U);
}

/// Runs a change on the only handle of an object, which must keep its object.
template <class F>
void ExpectChangeInPlace(TimeSignal& signal, F&& change)
{
  InternalTimeSignal* const object = ObjectOf(signal);
  ASSERT_EQ(HandleCount(signal), 1U);
  change(signal);
  EXPECT_EQ(ObjectOf(signal), object);
  EXPECT_EQ(HandleCount(signal), 1U);
}

/// Runs an operation that fails, first on the only handle and then on one of two: handle, counter and signal stay.
template <class F>
void ExpectFailureChangesNothing(TimeSignal& signal, F&& expectFailure)
{
  InternalTimeSignal* const object = ObjectOf(signal);
  ASSERT_EQ(HandleCount(signal), 1U);
  State const before(signal);

  expectFailure(signal);
  EXPECT_EQ(ObjectOf(signal), object);
  EXPECT_EQ(HandleCount(signal), 1U);
  EXPECT_TRUE(State(signal) == before);

  TimeSignal const witness = signal;
  expectFailure(signal);
  EXPECT_EQ(ObjectOf(signal), object);
  EXPECT_EQ(ObjectOf(witness), object);
  EXPECT_EQ(HandleCount(witness), 2U);
  EXPECT_TRUE(State(signal) == before);
}

/// One counted object without a handle, as the sharing functions see it.
InternalTimeSignal* NewObject()
{
  SignalParts const parts;
  return new InternalTimeSignal(parts.signalType, parts.measurementConfigUuid, parts.measurementUuid, parts.deltaX,
                                parts.scalingFactor, parts.offset, parts.timeStamp, parts.unitUuid, parts.unitString,
                                data_int16_t, kSamples.size(), kSamples.data(), parts.jobDataUuid);
}
} // namespace

// Construction, copying, release

TEST(TimeSignal, DefaultSignalIsEmptyAndConsistent)
{
  TimeSignal const signal;
  timesignal_bin_t const& header = *signal.GetHeader();
  EXPECT_EQ(header.BinaryHeaderVersion, 2);
  EXPECT_EQ(header.HeaderSize, 120);
  EXPECT_EQ(header.SignalType, raw_time_signal);
  EXPECT_EQ(header.SampleType, data_int8_t);
  EXPECT_EQ(header.Compression, no_compression);
  EXPECT_EQ(header.SampleCount, 0U);
  EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
  EXPECT_TRUE(signal.GetStoredSamples().empty());
  EXPECT_EQ(signal.GetUnitString(), "");
  EXPECT_TRUE(signal.GetJobDataUuid().IsNull());
  EXPECT_TRUE(signal.GetTrigger().TriggerUuid.IsNull());
  EXPECT_TRUE(signal.GetValidators().empty());
  EXPECT_TRUE(signal.GetCharVals().empty());
  EXPECT_TRUE(signal.GetChecksumStatus());
  EXPECT_EQ(HandleCount(signal), 1U);
}

TEST(TimeSignal, SignalFromPartsShowsItsParts)
{
  SignalParts const parts;
  TimeSignal const signal = MakeSignal(kSamples, parts);
  timesignal_bin_t const& header = *signal.GetHeader();
  EXPECT_EQ(header.SignalType, parts.signalType);
  EXPECT_EQ(0, std::memcmp(header.MeasurementConfigUuid, parts.measurementConfigUuid.GetPlainUuid(), 16));
  EXPECT_EQ(0, std::memcmp(header.MeasurementUuid, parts.measurementUuid.GetPlainUuid(), 16));
  EXPECT_EQ(0, std::memcmp(header.UnitUuid, parts.unitUuid.GetPlainUuid(), 16));
  EXPECT_EQ(header.DeltaX, parts.deltaX);
  EXPECT_EQ(header.ScalingFactor, parts.scalingFactor);
  EXPECT_EQ(header.Offset, parts.offset);
  EXPECT_EQ(header.TimeStamp, parts.timeStamp);
  EXPECT_EQ(header.SampleType, data_int16_t);
  EXPECT_EQ(header.SampleCount, kSamples.size());
  EXPECT_EQ(header.DataArrayByteCount, kSamples.size() * 2);
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
  EXPECT_NE(static_cast<void const*>(signal.GetSamplesPointer()), static_cast<void const*>(kSamples.data()));
  EXPECT_EQ(signal.GetUnitString(), parts.unitString);
  EXPECT_EQ(signal.GetJobDataUuid(), parts.jobDataUuid);
  EXPECT_TRUE(signal.GetChecksumStatus());
  EXPECT_EQ(HandleCount(signal), 1U);
}

TEST(TimeSignal, SignalFromRecordOwnsACopyOfTheSamples)
{
  TimeSignal const source = MakeSignal(kSamples);
  TimeSignal const signal(*source.GetHeader(), "m", CountingUuid(0xA0));
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()), HeaderBytes(*source.GetHeader()));
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
  EXPECT_NE(signal.GetSamplesPointer(), source.GetSamplesPointer());
  EXPECT_EQ(signal.GetUnitString(), "m");
  EXPECT_EQ(signal.GetJobDataUuid(), CountingUuid(0xA0));
  EXPECT_EQ(HandleCount(signal), 1U);
  EXPECT_EQ(HandleCount(source), 1U);
}

TEST(TimeSignal, RefusedPartsPassTheirExceptionOn)
{
  SignalParts parts;
  parts.jobDataUuid.ClearUuid();
  ExpectThrow<TimeSignalException>([&] { MakeSignal(kSamples, parts); }, "Missing UUID for job data entry in database!",
                                   kObjectUnit);
  ExpectThrow<TimeSignalException>([&] { MakeSignal(kUnknownType, 4, kSamples.data()); }, "Unknown data type: 11!",
                                   kObjectUnit);
}

TEST(TimeSignal, RefusedRecordPassesItsExceptionOn)
{
  TimeSignal const source = MakeSignal(kSamples);
  timesignal_bin_t record = *source.GetHeader();
  record.BinaryHeaderVersion = 3;
  ExpectThrow<TimeSignalException>([&] { TimeSignal(record, "m", CountingUuid(1)); },
                                   "Wrong version of header block: 3!", kObjectUnit);
}

TEST(TimeSignal, CopyOfAHandleSharesItsObject)
{
  TimeSignal const first = MakeSignal(kSamples);
  TimeSignal const second = first;
  TimeSignal const third(second);
  EXPECT_EQ(ObjectOf(second), ObjectOf(first));
  EXPECT_EQ(ObjectOf(third), ObjectOf(first));
  EXPECT_EQ(HandleCount(first), 3U);
  EXPECT_EQ(second.GetSamplesPointer(), first.GetSamplesPointer());
}

TEST(TimeSignal, ReleasedHandleLeavesTheCounterOfTheOthers)
{
  TimeSignal const first = MakeSignal(kSamples);
  {
    TimeSignal const second = first;
    EXPECT_EQ(HandleCount(first), 2U);
  }
  EXPECT_EQ(HandleCount(first), 1U);
  EXPECT_EQ(StoredSamples<short>(first), kSamples);
}

TEST(TimeSignal, ObjectOutlivesTheHandleThatMadeIt)
{
  auto maker = std::make_unique<TimeSignal>(MakeSignal(kSamples));
  TimeSignal const heir = *maker;
  maker.reset();
  EXPECT_EQ(HandleCount(heir), 1U);
  EXPECT_EQ(StoredSamples<short>(heir), kSamples);
}

TEST(TimeSignal, HandlesInAContainerCountEach)
{
  TimeSignal const source = MakeSignal(kSamples);
  std::vector<TimeSignal> handles;
  for (unsigned int i = 1; i <= 20; ++i)
  {
    handles.push_back(source);
    EXPECT_EQ(HandleCount(source), i + 1);
  }
  handles.erase(handles.begin(), handles.begin() + 15);
  EXPECT_EQ(HandleCount(source), 6U);
  handles.clear();
  EXPECT_EQ(HandleCount(source), 1U);
}

// Assignment

TEST(TimeSignal, AssignmentRedirectsTheHandle)
{
  TimeSignal handle = MakeSignal(std::vector<short>{1});
  TimeSignal const left = handle;
  TimeSignal const right = MakeSignal(kSamples);
  TimeSignal const* const result = &(handle = right);
  EXPECT_EQ(result, &handle);
  EXPECT_EQ(ObjectOf(handle), ObjectOf(right));
  EXPECT_EQ(HandleCount(left), 1U);
  EXPECT_EQ(HandleCount(right), 2U);
  EXPECT_EQ(StoredSamples<short>(left), std::vector<short>{1});
}

TEST(TimeSignal, AssignmentToTheLastHandleReleasesItsObject)
{
  TimeSignal handle = MakeSignal(std::vector<short>{1});
  TimeSignal const right = MakeSignal(kSamples);
  handle = right;
  EXPECT_EQ(HandleCount(right), 2U);
  EXPECT_EQ(StoredSamples<short>(handle), kSamples);
}

TEST(TimeSignal, SelfAssignmentChangesNothing)
{
  TimeSignal handle = MakeSignal(kSamples);
  TimeSignal const& self = handle;
  InternalTimeSignal* const object = ObjectOf(handle);
  handle = self;
  EXPECT_EQ(ObjectOf(handle), object);
  EXPECT_EQ(HandleCount(handle), 1U);
}

TEST(TimeSignal, AssignmentBetweenSharingHandlesLeavesTheCounter)
{
  TimeSignal first = MakeSignal(kSamples);
  TimeSignal const second = first;
  first = second;
  EXPECT_EQ(ObjectOf(first), ObjectOf(second));
  EXPECT_EQ(HandleCount(first), 2U);
}

// Comparison

TEST(TimeSignal, HandlesOfOneObjectAreEqualEvenWithNaN)
{
  SignalParts parts;
  parts.deltaX = std::numeric_limits<double>::quiet_NaN();
  TimeSignal const first = MakeSignal(kSamples, parts);
  TimeSignal const second = first;
  EXPECT_TRUE(first == second);
  EXPECT_FALSE(first != second);
  EXPECT_TRUE(first == first);
  TimeSignal const third = MakeSignal(kSamples, parts);
  EXPECT_FALSE(first == third);
  EXPECT_TRUE(first != third);
}

TEST(TimeSignal, HandlesOfDifferentObjectsCompareTheirSignals)
{
  TimeSignal const first = FullSignal();
  TimeSignal const same = FullSignal();
  TimeSignal other = FullSignal();
  other.AddValidator(CountingUuid(1), 0, CountingUuid(2), "");
  EXPECT_TRUE(first == same);
  EXPECT_FALSE(first != same);
  EXPECT_FALSE(first == other);
  EXPECT_TRUE(first != other);
}

// Copy on write

TEST(TimeSignal, CompressedCopyLeavesTheOtherHandleUncompressed)
{
  for (compression32_t const method : {zlib, gzip})
  {
    TimeSignal signal = FullSignal();
    ExpectPrivateCopy(signal, [&](TimeSignal& handle) { handle.Compress(method); });
    EXPECT_EQ(signal.GetHeader()->Compression, method);
    EXPECT_TRUE(signal.GetChecksumStatus());
    signal.Uncompress();
    EXPECT_TRUE(State(signal) == State(FullSignal()));
  }
}

TEST(TimeSignal, OnlyHandleIsCompressedInPlace)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectChangeInPlace(signal, [](TimeSignal& handle) { handle.Compress(zlib); });
  EXPECT_EQ(signal.GetHeader()->Compression, zlib);
}

TEST(TimeSignal, CompressionInForceSeparatesNobody)
{
  TimeSignal uncompressed = MakeSignal(kSamples);
  ExpectStillShared(uncompressed, [](TimeSignal& handle) { handle.Compress(no_compression); });
  TimeSignal compressed = MakeSignal(kSamples);
  compressed.Compress(gzip);
  ExpectStillShared(compressed, [](TimeSignal& handle) { handle.Compress(gzip); });
}

TEST(TimeSignal, ChangeOfTheMethodSeparates)
{
  TimeSignal signal = MakeSignal(kSamples);
  signal.Compress(zlib);
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.Compress(gzip); });
  EXPECT_EQ(signal.GetHeader()->Compression, gzip);
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.Compress(no_compression); });
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
}

TEST(TimeSignal, UncompressedCopyLeavesTheOtherHandleCompressed)
{
  TimeSignal signal = MakeSignal(kSamples);
  signal.Compress(zlib);
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.Uncompress(); });
  EXPECT_EQ(signal.GetHeader()->Compression, no_compression);
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
}

TEST(TimeSignal, OnlyHandleIsUncompressedInPlace)
{
  TimeSignal signal = MakeSignal(kSamples);
  signal.Compress(zlib);
  ExpectChangeInPlace(signal, [](TimeSignal& handle) { handle.Uncompress(); });
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
}

TEST(TimeSignal, UncompressingWhatIsUncompressedSeparatesNobody)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectStillShared(signal, [](TimeSignal& handle) { handle.Uncompress(); });
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
}

TEST(TimeSignal, ConvertedCopyLeavesTheOtherHandleItsType)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.Convert(data_float64_t); });
  EXPECT_EQ(signal.GetHeader()->SampleType, data_float64_t);
  EXPECT_EQ(StoredSamples<double>(signal), (std::vector<double>{10, 11, 12, 13}));
  EXPECT_TRUE(signal.GetChecksumStatus());
}

TEST(TimeSignal, OnlyHandleIsConvertedInPlace)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectChangeInPlace(signal, [](TimeSignal& handle) { handle.Convert(data_int32_t); });
  EXPECT_EQ(StoredSamples<int>(signal), (std::vector<int>{10, 11, 12, 13}));
}

TEST(TimeSignal, ConvertingToTheSameTypeSeparatesNobody)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectStillShared(signal, [](TimeSignal& handle) { handle.Convert(data_int16_t); });
  EXPECT_EQ(StoredSamples<short>(signal), kSamples);
}

TEST(TimeSignal, ExtractedOffsetIsSeenByOneHandleOnly)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.ExtractOffset(); });
  EXPECT_EQ(StoredSamples<short>(signal), (std::vector<short>{-2, -1, 0, 1}));
  EXPECT_EQ(signal.GetHeader()->Offset, SignalParts().offset - 12);
}

TEST(TimeSignal, OnlyHandleHasItsOffsetExtractedInPlace)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectChangeInPlace(signal, [](TimeSignal& handle) { handle.ExtractOffset(); });
  EXPECT_EQ(StoredSamples<short>(signal), (std::vector<short>{-2, -1, 0, 1}));
}

TEST(TimeSignal, ExtractOffsetSeparatesEvenWhenNothingChanges)
{
  TimeSignal centred = MakeSignal(std::vector<short>{-1, 1});
  ExpectPrivateCopy(centred, [](TimeSignal& handle) { handle.ExtractOffset(); });
  EXPECT_EQ(StoredSamples<short>(centred), (std::vector<short>{-1, 1}));
  TimeSignal empty = MakeSignal(std::vector<short>());
  TimeSignal const witness = empty;
  empty.ExtractOffset();
  EXPECT_NE(ObjectOf(empty), ObjectOf(witness));
  EXPECT_EQ(HandleCount(witness), 1U);
}

TEST(TimeSignal, AddedTriggerIsSeenByOneHandleOnly)
{
  TimeSignal signal = FullSignal();
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.AddTrigger(CountingUuid(1), 9, CountingUuid(2), "V"); });
  EXPECT_EQ(signal.GetTrigger().TriggerUuid, CountingUuid(1));
  EXPECT_EQ(signal.GetTrigger().TripValue, 9);
  EXPECT_EQ(signal.GetTrigger().UnitUuid, CountingUuid(2));
  EXPECT_EQ(signal.GetTrigger().UnitString, "V");
}

TEST(TimeSignal, AddedValidatorIsSeenByOneHandleOnly)
{
  TimeSignal signal = FullSignal();
  ExpectPrivateCopy(signal, [](TimeSignal& handle) { handle.AddValidator(CountingUuid(1), 9, CountingUuid(2), "V"); });
  ASSERT_EQ(signal.GetValidators().size(), 2U);
  EXPECT_EQ(signal.GetValidators()[1].ValidatorUuid, CountingUuid(1));
  EXPECT_EQ(signal.GetValidators()[1].AverageValue, 9);
  EXPECT_EQ(signal.GetValidators()[1].UnitUuid, CountingUuid(2));
  EXPECT_EQ(signal.GetValidators()[1].UnitString, "V");
}

TEST(TimeSignal, AddedCharacteristicValueIsSeenByOneHandleOnly)
{
  TimeSignal signal = FullSignal();
  ExpectPrivateCopy(signal, [](TimeSignal& handle)
                    { handle.AddCharacteristicValue(CountingUuid(1), 9, CountingUuid(2), "V", 25.5F); });
  ASSERT_EQ(signal.GetCharVals().size(), 2U);
  EXPECT_EQ(signal.GetCharVals()[1].CharValUuid, CountingUuid(1));
  EXPECT_EQ(signal.GetCharVals()[1].Value, 9);
  EXPECT_EQ(signal.GetCharVals()[1].UnitUuid, CountingUuid(2));
  EXPECT_EQ(signal.GetCharVals()[1].UnitString, "V");
  EXPECT_EQ(signal.GetCharVals()[1].Speed, 25.5F);
}

TEST(TimeSignal, OnlyHandleTakesAdditionsInPlace)
{
  TimeSignal signal = MakeSignal(kSamples);
  ExpectChangeInPlace(signal, [](TimeSignal& handle) { handle.AddTrigger(CountingUuid(1), 9, CountingUuid(2), "V"); });
  ExpectChangeInPlace(signal,
                      [](TimeSignal& handle) { handle.AddValidator(CountingUuid(3), 9, CountingUuid(4), "V"); });
  ExpectChangeInPlace(signal, [](TimeSignal& handle)
                      { handle.AddCharacteristicValue(CountingUuid(5), 9, CountingUuid(6), "V", 1); });
  EXPECT_EQ(signal.GetTrigger().TriggerUuid, CountingUuid(1));
  EXPECT_EQ(signal.GetValidators().size(), 1U);
  EXPECT_EQ(signal.GetCharVals().size(), 1U);
}

TEST(TimeSignal, AddingTheTriggerItHasSeparates)
{
  TimeSignal signal = FullSignal();
  ExpectPrivateCopy(signal,
                    [](TimeSignal& handle) { handle.AddTrigger(CountingUuid(0x90), 1.5, CountingUuid(0x91), "g"); });
  EXPECT_TRUE(State(signal) == State(FullSignal()));
}

TEST(TimeSignal, AdditionsMayBeTakenFromTheSignalItself)
{
  TimeSignal signal = FullSignal();
  for (int i = 0; i < 5; ++i)
  {
    auto const& validator = signal.GetValidators().back();
    signal.AddValidator(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
    auto const& value = signal.GetCharVals().back();
    signal.AddCharacteristicValue(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString, value.Speed);
  }
  auto const& trigger = signal.GetTrigger();
  signal.AddTrigger(trigger.UnitUuid, trigger.TripValue, trigger.TriggerUuid, trigger.UnitString);

  State const state(signal);
  EXPECT_EQ(state.validators, std::vector(6, State::Parameters(CountingUuid(0x92), 2.5, CountingUuid(0x93), "rpm")));
  EXPECT_EQ(state.charVals,
            std::vector(6, std::pair(State::Parameters(CountingUuid(0x94), 3.5, CountingUuid(0x95), "mm"), 1500.0F)));
  EXPECT_EQ(state.trigger, State::Parameters(CountingUuid(0x91), 1.5, CountingUuid(0x90), "g"));
}

TEST(TimeSignal, PrivateCopyTakesOneOfManyHandlesAway)
{
  TimeSignal first = MakeSignal(kSamples);
  TimeSignal const second = first;
  TimeSignal const third = first;
  first.ExtractOffset();
  EXPECT_EQ(HandleCount(first), 1U);
  EXPECT_EQ(HandleCount(second), 2U);
  EXPECT_EQ(ObjectOf(second), ObjectOf(third));
}

TEST(TimeSignal, SecondChangeOfAPrivateCopyStaysInPlace)
{
  TimeSignal first = MakeSignal(kSamples);
  TimeSignal const second = first;
  first.ExtractOffset();
  ExpectChangeInPlace(first, [](TimeSignal& handle) { handle.Compress(zlib); });
  EXPECT_EQ(StoredSamples<short>(second), kSamples);
}

// Failures

TEST(TimeSignal, FailedCompressKeepsHandleAndCounter)
{
  TimeSignal signal = FullSignal();
  ExpectFailureChangesNothing(
      signal, [](TimeSignal& handle)
      { ExpectThrow<TimeSignalException>([&] { handle.Compress(int24); }, "Unknown compression: 3!", kObjectUnit); });
}

TEST(TimeSignal, FailedCompressOfACompressedSignalKeepsItCompressed)
{
  TimeSignal signal = FullSignal();
  signal.Compress(gzip);
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle)
                              {
                                ExpectThrow<TimeSignalException>([&] { handle.Compress(kUnknownCompression); },
                                                                 "Unknown compression: 99!", kObjectUnit);
                              });
}

TEST(TimeSignal, FailedUncompressKeepsHandleAndCounter)
{
  TimeSignal signal = DamagedSignal();
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle) { EXPECT_THROW(handle.Uncompress(), CompressionException); });
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle) { EXPECT_THROW(handle.Compress(gzip), CompressionException); });
}

TEST(TimeSignal, UncompressOfAnUnknownMethodKeepsHandleAndCounter)
{
  TimeSignal signal = MakeSignal(kSamples);
  signal.GetHeader()->Compression = int24;
  ExpectFailureChangesNothing(
      signal, [](TimeSignal& handle)
      { ExpectThrow<TimeSignalException>([&] { handle.Uncompress(); }, "Unknown compression: 3!", kObjectUnit); });
}

TEST(TimeSignal, RefusedConversionKeepsHandleAndCounter)
{
  TimeSignal signal = FullSignal();
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle)
                              {
                                ExpectThrow<TypeConverterException>(
                                    [&] { handle.Convert(data_uint16_t); },
                                    "Conversion from Int16_t to Uint16_t narrows the value range!", kConverterUnit);
                              });
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle) {
                                ExpectThrow<TimeSignalException>([&] { handle.Convert(kUnknownType); },
                                                                 "Unknown data type: 11!", kObjectUnit);
                              });
}

TEST(TimeSignal, CompressedSignalRefusesConversionAndOffsetExtraction)
{
  TimeSignal signal = FullSignal();
  signal.Compress(zlib);
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle)
                              {
                                for (sample_datatype32_t const target : {data_int16_t, data_float64_t})
                                  ExpectThrow<TimeSignalException>([&] { handle.Convert(target); },
                                                                   "Cannot modify compress data!", kObjectUnit);
                              });
  ExpectFailureChangesNothing(signal,
                              [](TimeSignal& handle) {
                                ExpectThrow<TimeSignalException>([&] { handle.ExtractOffset(); },
                                                                 "Cannot modify compress data!", kObjectUnit);
                              });
}

// A lock that stays taken would stop the other thread, and with it this test, for ever.
TEST(TimeSignal, FailedOperationReleasesTheLock)
{
  TimeSignal signal = DamagedSignal();
  TimeSignal const witness = signal;
  EXPECT_THROW(signal.Uncompress(), CompressionException);
  EXPECT_THROW(signal.ExtractOffset(), TimeSignalException);
  EXPECT_THROW(signal.Convert(data_float64_t), TimeSignalException);
  EXPECT_THROW(signal.Compress(int24), TimeSignalException);
  unsigned int countOfOtherThread = 0;
  std::thread([&] { countOfOtherThread = HandleCount(TimeSignal(witness)); }).join();
  EXPECT_EQ(countOfOtherThread, 3U);
}

// In-place operations and accessors

TEST(TimeSignal, AccessorsOfSharingHandlesShowOneObject)
{
  TimeSignal const first = FullSignal();
  TimeSignal const second = first;
  InternalTimeSignal* const object = ObjectOf(first);
  for (TimeSignal const* const handle : {&first, &second})
  {
    EXPECT_EQ(handle->GetHeader(), object->GetHeader());
    EXPECT_EQ(handle->GetSamplesPointer(), object->GetHeader()->Samples);
    EXPECT_EQ(handle->GetStoredSamples().data(), object->GetHeader()->Samples);
    EXPECT_EQ(handle->GetStoredSamples().size(), object->GetHeader()->DataArrayByteCount);
    EXPECT_EQ(&handle->GetUnitString(), &object->GetUnitString());
    EXPECT_EQ(&handle->GetJobDataUuid(), &object->GetJobDataUuid());
    EXPECT_EQ(&handle->GetValidators(), &object->GetValidators());
    EXPECT_EQ(&handle->GetTrigger(), &object->GetTrigger());
    EXPECT_EQ(&handle->GetCharVals(), &object->GetCharVals());
  }
  EXPECT_EQ(HandleCount(first), 2U);
}

TEST(TimeSignal, SignalUnitIsWrittenIntoTheCallersUuid)
{
  TimeSignal const signal = MakeSignal(kSamples);
  Uuid unit;
  EXPECT_EQ(&signal.GetSignalUnit(unit), &unit);
  EXPECT_EQ(unit, SignalParts().unitUuid);
}

TEST(TimeSignal, HeaderWrittenThroughOneHandleIsSeenByAll)
{
  TimeSignal const first = MakeSignal(kSamples);
  TimeSignal const second = first;
  first.GetHeader()->TimeStamp = 77;
  EXPECT_EQ(second.GetHeader()->TimeStamp, 77);
  EXPECT_FALSE(second.GetChecksumStatus());
}

TEST(TimeSignal, RemovedSamplesAreGoneForEverySharingHandle)
{
  TimeSignal first = MakeSignal(kSamples);
  TimeSignal const second = first;
  first.RemoveAllSamples();
  EXPECT_EQ(ObjectOf(first), ObjectOf(second));
  EXPECT_EQ(HandleCount(first), 2U);
  EXPECT_EQ(second.GetSamplesPointer(), nullptr);
  EXPECT_EQ(second.GetHeader()->SampleCount, 0U);
  EXPECT_EQ(second.GetHeader()->DataArrayByteCount, 0U);
  EXPECT_EQ(second.GetHeader()->SampleType, data_int16_t);
  EXPECT_TRUE(second.GetChecksumStatus());
}

TEST(TimeSignal, RecalculatedChecksumIsSeenByEverySharingHandle)
{
  TimeSignal first = MakeSignal(kSamples);
  TimeSignal const second = first;
  first.GetSamplesPointer()[0] ^= 0x40U;
  EXPECT_FALSE(second.GetChecksumStatus());
  first.RecalculateSamplesChecksum();
  EXPECT_EQ(HandleCount(first), 2U);
  EXPECT_TRUE(second.GetChecksumStatus());
  // 10 ^ 0x40, 11, 12, 13
  EXPECT_EQ(second.GetHeader()->DataChecksum, 0x40 ^ 10 ^ 11 ^ 12 ^ 13);
}

// Static functions

TEST(TimeSignal, ChecksumOfBytesIsTheExclusiveOrOfTheirWords)
{
  std::array<unsigned char, 3> const bytes = {0x01, 0x02, 0x04};
  EXPECT_EQ(TimeSignal::CalcChecksum(bytes.data(), 3), 0x0201 ^ 0x0004);
  EXPECT_EQ(TimeSignal::CalcChecksum(bytes.data(), 1), 0x0001);
  EXPECT_EQ(TimeSignal::CalcChecksum(nullptr, 0), 0);
  ExpectThrow<TimeSignalException>([] { TimeSignal::CalcChecksum(nullptr, 1); }, "Can't calculate checksum over NULL!",
                                   kObjectUnit);
}

TEST(TimeSignal, SizeOfEverySampleType)
{
  for (sample_datatype32_t const type : kSampleTypes)
    EXPECT_EQ(TimeSignal::GetDataTypeSize(type), SampleSizeOf(type)) << type;
  ExpectThrow<TimeSignalException>([] { TimeSignal::GetDataTypeSize(kUnknownType); }, "Unknown data type: 11!",
                                   kObjectUnit);
}

// Readout

namespace
{
TimeSignal ReadoutSignal()
{
  SignalParts parts;
  parts.offset = 1;
  parts.scalingFactor = 0.5;
  return MakeSignal(std::vector<short>{100, -200}, parts);
}
std::vector<double> const kPhysicalValues = {49.5, -100.5};
std::vector<short> const kFractions = {12800, -25600};
constexpr float kFractionScale = 0.0078125F;
} // namespace

TEST(TimeSignal, PhysicalValuesComeAsAVector)
{
  TimeSignal signal = ReadoutSignal();
  for (int const all : {-1, 2, 7})
  {
    std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, all));
    EXPECT_EQ(*values, kPhysicalValues);
  }
  std::unique_ptr<std::vector<double>> const first(TimeSignal::SamplesToDouble(signal, 1));
  EXPECT_EQ(*first, std::vector<double>{49.5});
  std::unique_ptr<std::vector<double>> const none(TimeSignal::SamplesToDouble(signal, 0));
  EXPECT_TRUE(none->empty());
}

TEST(TimeSignal, FractionsComeAsAVectorWithTheirScale)
{
  TimeSignal signal = ReadoutSignal();
  for (int const all : {-1, 2, 7})
  {
    float scale = 0;
    std::unique_ptr<std::vector<short>> const values(TimeSignal::SamplesToFract(signal, scale, all));
    EXPECT_EQ(*values, kFractions);
    EXPECT_EQ(scale, kFractionScale);
  }
  float scale = 0;
  std::unique_ptr<std::vector<short>> const none(TimeSignal::SamplesToFract(signal, scale, 0));
  EXPECT_TRUE(none->empty());
  EXPECT_EQ(scale, kFractionScale);
}

TEST(TimeSignal, PhysicalValuesFillTheCallersBuffer)
{
  TimeSignal signal = ReadoutSignal();
  std::vector<double> longer(4, 7.0);
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, std::span<double>(longer)), 2U);
  EXPECT_EQ(longer, (std::vector<double>{49.5, -100.5, 7, 7}));
  std::vector<double> shorter(1);
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, std::span<double>(shorter)), 1U);
  EXPECT_EQ(shorter, std::vector<double>{49.5});
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, std::span<double>()), 0U);
}

TEST(TimeSignal, FractionsFillTheCallersBuffer)
{
  TimeSignal signal = ReadoutSignal();
  float scale = 0;
  std::vector<short> longer(4, 7);
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, std::span<short>(longer)), 2U);
  EXPECT_EQ(longer, (std::vector<short>{12800, -25600, 7, 7}));
  EXPECT_EQ(scale, kFractionScale);
  std::vector<short> shorter(1);
  scale = 0;
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, std::span<short>(shorter)), 1U);
  EXPECT_EQ(shorter, std::vector<short>{12800});
  EXPECT_EQ(scale, kFractionScale);
  scale = 0;
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, std::span<short>()), 0U);
  EXPECT_EQ(scale, kFractionScale);
}

TEST(TimeSignal, ReadoutUncompressesForEverySharingHandle)
{
  float scale = 0;
  std::vector<double> values(2);
  std::vector<short> fractions(2);
  auto const expectUncompressed = [](auto&& read)
  {
    TimeSignal signal = ReadoutSignal();
    signal.Compress(zlib);
    TimeSignal const witness = signal;
    read(signal);
    EXPECT_EQ(ObjectOf(signal), ObjectOf(witness));
    EXPECT_EQ(HandleCount(witness), 2U);
    EXPECT_EQ(witness.GetHeader()->Compression, no_compression);
    EXPECT_EQ(StoredSamples<short>(witness), (std::vector<short>{100, -200}));
  };
  expectUncompressed(
      [&](TimeSignal& signal)
      { EXPECT_EQ(*std::unique_ptr<std::vector<double>>(TimeSignal::SamplesToDouble(signal, -1)), kPhysicalValues); });
  expectUncompressed(
      [&](TimeSignal& signal)
      { EXPECT_EQ(*std::unique_ptr<std::vector<short>>(TimeSignal::SamplesToFract(signal, scale, -1)), kFractions); });
  expectUncompressed(
      [&](TimeSignal& signal)
      {
        EXPECT_EQ(TimeSignal::SamplesToDouble(signal, std::span<double>(values)), 2U);
        EXPECT_EQ(values, kPhysicalValues);
      });
  expectUncompressed(
      [&](TimeSignal& signal)
      {
        EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, std::span<short>(fractions)), 2U);
        EXPECT_EQ(fractions, kFractions);
      });
}

TEST(TimeSignal, ReadoutOfADamagedStreamPassesItsExceptionOn)
{
  TimeSignal signal = DamagedSignal();
  float scale = 5;
  ExpectFailureChangesNothing(
      signal,
      [&](TimeSignal& handle)
      {
        std::vector<double> values(1, 7.0);
        std::vector<short> fractions(1, 7);
        EXPECT_THROW(TimeSignal::SamplesToDouble(handle, -1), CompressionException);
        EXPECT_THROW(TimeSignal::SamplesToFract(handle, scale, -1), CompressionException);
        EXPECT_THROW(TimeSignal::SamplesToDouble(handle, std::span<double>(values)), CompressionException);
        EXPECT_THROW(TimeSignal::SamplesToFract(handle, scale, std::span<short>(fractions)), CompressionException);
        EXPECT_EQ(values, std::vector<double>{7});
        EXPECT_EQ(fractions, std::vector<short>{7});
      });
}

// The sharing functions under the handle

TEST(TimeSignalSharing, NewObjectsAndDeepCopiesCountOne)
{
  InternalTimeSignal* const object = NewObject();
  InternalTimeSignal::CopyConstructor(object);
  InternalTimeSignal::CopyConstructor(object);
  EXPECT_EQ(object->GetReferenceCounter(), 3U);
  InternalTimeSignal const deepCopy(*object);
  EXPECT_EQ(deepCopy.GetReferenceCounter(), 1U);
  EXPECT_EQ(object->GetReferenceCounter(), 3U);
  for (int i = 0; i < 3; ++i)
    InternalTimeSignal::Delete(object);
}

TEST(TimeSignalSharing, CopyConstructorReturnsTheObjectItCounts)
{
  InternalTimeSignal* const object = NewObject();
  EXPECT_EQ(InternalTimeSignal::CopyConstructor(object), object);
  EXPECT_EQ(object->GetReferenceCounter(), 2U);
  InternalTimeSignal::Delete(object);
  EXPECT_EQ(object->GetReferenceCounter(), 1U);
  InternalTimeSignal::Delete(object);
}

TEST(TimeSignalSharing, CopyOperatorOfOneObjectChangesNothing)
{
  InternalTimeSignal* const object = NewObject();
  EXPECT_EQ(InternalTimeSignal::CopyOperator(object, object), object);
  EXPECT_EQ(object->GetReferenceCounter(), 1U);
  InternalTimeSignal::Delete(object);
}

TEST(TimeSignalSharing, CopyOperatorMovesOneCount)
{
  InternalTimeSignal* const current = NewObject();
  InternalTimeSignal* const other = NewObject();
  InternalTimeSignal::CopyConstructor(current);
  EXPECT_EQ(InternalTimeSignal::CopyOperator(current, other), other);
  EXPECT_EQ(current->GetReferenceCounter(), 1U);
  EXPECT_EQ(other->GetReferenceCounter(), 2U);
  // The last count of the current object destroys it.
  EXPECT_EQ(InternalTimeSignal::CopyOperator(current, other), other);
  EXPECT_EQ(other->GetReferenceCounter(), 3U);
  for (int i = 0; i < 3; ++i)
    InternalTimeSignal::Delete(other);
}

namespace
{
/// Runs a changing function on an object with one count and on one with two.
template <class F>
void ExpectSharingFunction(InternalTimeSignal* object, F&& change)
{
  EXPECT_EQ(change(object), object);
  EXPECT_EQ(object->GetReferenceCounter(), 1U);
  InternalTimeSignal::Delete(object);
}

template <class F>
void ExpectCopyingFunction(InternalTimeSignal* object, F&& change)
{
  InternalTimeSignal::CopyConstructor(object);
  InternalTimeSignal* const changed = change(object);
  EXPECT_NE(changed, object);
  EXPECT_EQ(object->GetReferenceCounter(), 1U);
  EXPECT_EQ(changed->GetReferenceCounter(), 1U);
  InternalTimeSignal::Delete(changed);
  InternalTimeSignal::Delete(object);
}

template <class F>
void ExpectKeepingFunction(InternalTimeSignal* object, F&& change)
{
  InternalTimeSignal::CopyConstructor(object);
  EXPECT_EQ(change(object), object);
  EXPECT_EQ(object->GetReferenceCounter(), 2U);
  InternalTimeSignal::Delete(object);
  InternalTimeSignal::Delete(object);
}

InternalTimeSignal* NewCompressedObject()
{
  InternalTimeSignal* const object = NewObject();
  object->Compress(zlib);
  return object;
}
} // namespace

TEST(TimeSignalSharing, DoUncompressCopiesASharedCompressedObject)
{
  auto const change = [](InternalTimeSignal* object) { return InternalTimeSignal::DoUncompress(object); };
  ExpectSharingFunction(NewCompressedObject(), change);
  ExpectCopyingFunction(NewCompressedObject(), change);
  ExpectKeepingFunction(NewObject(), change);
}

TEST(TimeSignalSharing, DoCompressCopiesASharedObjectOfAnotherMethod)
{
  auto const change = [](InternalTimeSignal* object) { return InternalTimeSignal::DoCompress(object, zlib); };
  ExpectSharingFunction(NewObject(), change);
  ExpectCopyingFunction(NewObject(), change);
  ExpectKeepingFunction(NewCompressedObject(), change);
}

TEST(TimeSignalSharing, DoConvertCopiesASharedObjectOfAnotherType)
{
  ExpectSharingFunction(NewObject(),
                        [](InternalTimeSignal* object) { return InternalTimeSignal::DoConvert(object, data_int32_t); });
  ExpectCopyingFunction(NewObject(),
                        [](InternalTimeSignal* object) { return InternalTimeSignal::DoConvert(object, data_int32_t); });
  ExpectKeepingFunction(NewObject(),
                        [](InternalTimeSignal* object) { return InternalTimeSignal::DoConvert(object, data_int16_t); });
}

TEST(TimeSignalSharing, DoExtractOffsetCopiesEverySharedObject)
{
  auto const change = [](InternalTimeSignal* object) { return InternalTimeSignal::DoExtractOffset(object); };
  ExpectSharingFunction(NewObject(), change);
  ExpectCopyingFunction(NewObject(), change);
}

TEST(TimeSignalSharing, DoAddFunctionsCopyEverySharedObject)
{
  Uuid const first = CountingUuid(1);
  Uuid const second = CountingUuid(2);
  auto const addTrigger = [&](InternalTimeSignal* object)
  { return InternalTimeSignal::DoAddTrigger(object, first, 1, second, "V"); };
  auto const addValidator = [&](InternalTimeSignal* object)
  { return InternalTimeSignal::DoAddValidator(object, first, 1, second, "V"); };
  auto const addCharVal = [&](InternalTimeSignal* object)
  { return InternalTimeSignal::DoAddCharacteristicValue(object, first, 1, second, "V", 2); };
  ExpectSharingFunction(NewObject(), addTrigger);
  ExpectCopyingFunction(NewObject(), addTrigger);
  ExpectSharingFunction(NewObject(), addValidator);
  ExpectCopyingFunction(NewObject(), addValidator);
  ExpectSharingFunction(NewObject(), addCharVal);
  ExpectCopyingFunction(NewObject(), addCharVal);
}

TEST(TimeSignalSharing, FailedChangeOfASharedObjectLeavesItsCounter)
{
  InternalTimeSignal* const object = NewCompressedObject();
  InternalTimeSignal::CopyConstructor(object);
  ExpectThrow<TimeSignalException>([&] { InternalTimeSignal::DoCompress(object, int24); }, "Unknown compression: 3!",
                                   kObjectUnit);
  ExpectThrow<TimeSignalException>([&] { InternalTimeSignal::DoConvert(object, data_float64_t); },
                                   "Cannot modify compress data!", kObjectUnit);
  ExpectThrow<TimeSignalException>([&] { InternalTimeSignal::DoExtractOffset(object); }, "Cannot modify compress data!",
                                   kObjectUnit);
  EXPECT_EQ(object->GetReferenceCounter(), 2U);
  InternalTimeSignal::Delete(object);
  InternalTimeSignal::Delete(object);
}

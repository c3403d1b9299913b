// Time signals and their handles when memory fails: making them, changing them, alone or shared, and reading them out.

#include "failing_memory/CommonScenarios.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/SignalState.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace
{
/// Keeps the parts of a signal in memory of their own.
struct Ingredients
{
  Bytes samples = SampleBytes(data_int16_t, 50);
  SignalParts parts;

  Ingredients() { parts.unitString = LongText("unit"); }

  std::unique_ptr<InternalTimeSignal> Object() const
  {
    return std::make_unique<InternalTimeSignal>(parts.signalType, parts.measurementConfigUuid, parts.measurementUuid,
                                                parts.deltaX, parts.scalingFactor, parts.offset, parts.timeStamp,
                                                parts.unitUuid, parts.unitString, data_int16_t, 50, samples.data(),
                                                parts.jobDataUuid);
  }
  TimeSignal Handle() const { return MakeSignal(data_int16_t, 50, samples.data(), parts); }
};

/// A handle, and another one on the same signal when it is shared.
struct Handles
{
  TimeSignal own;
  std::optional<TimeSignal> other;
};

enum class Sharing
{
  kAlone,
  kShared
};

/// A change of a signal through a handle, which leaves the handle with the signal as it was when it fails.
Scenario<Handles> Changing(SignalContents const& contents, Sharing sharing, std::function<void(TimeSignal&)> change)
{
  return {.make =
              [contents, sharing]
          {
            Handles handles{HandleOn(contents), {}};
            if (sharing == Sharing::kShared)
              handles.other.emplace(handles.own);
            return handles;
          },
          .act = [change](Handles& handles) { change(handles.own); },
          .see = [](Handles& handles) { return Sight::Of(handles.own, handles.other); }};
}

void ExpectEnduresAloneAndShared(SignalContents const& contents, std::function<void(TimeSignal&)> const& change)
{
  ExpectEndures(Changing(contents, Sharing::kAlone, change));
  ExpectEndures(Changing(contents, Sharing::kShared, change));
}

/// The signal is as before, or it has been uncompressed.
Scenario<Handles>::Fault MayBeUncompressed(SignalContents contents, std::string more = "")
{
  return [uncompressed = Sight::Of(HandleOn(std::move(contents)), std::optional<TimeSignal>()) +
                         more](Handles& handles, Attempt const& attempt) -> std::string
  {
    std::string const seen = Sight::Of(handles.own, handles.other);
    return seen == attempt.before || seen == uncompressed ? "" : "failed and left the signal changed";
  };
}

std::string const kUnit = LongText("another unit");
} // namespace

// Making

TEST(TimeSignalFailingMemory, EmptySignalIsMadeWholeOrNotAtAll)
{
  ExpectEndures(Giving([] { return TimeSignal(); }));
}

TEST(TimeSignalFailingMemory, HandleIsMadeOfARecordWholeOrNotAtAll)
{
  for (compression32_t const form : kStorageForms)
  {
    SignalContents const contents = LongDescription(data_int32_t, form);
    RecordPointer const record = RecordOf(contents.Flat());
    ExpectEndures(Giving([&] { return TimeSignal(*record, contents.unitString, contents.jobDataUuid); }));
  }
}

TEST(TimeSignalFailingMemory, ObjectIsMadeOfARecordWholeOrNotAtAll)
{
  SignalContents const contents = LongDescription();
  RecordPointer const record = RecordOf(contents.Flat());
  ExpectEndures(
      Giving([&] { return std::make_unique<InternalTimeSignal>(*record, contents.unitString, contents.jobDataUuid); }));
}

TEST(TimeSignalFailingMemory, HandleIsMadeOfItsPartsWholeOrNotAtAll)
{
  Ingredients const ingredients;
  ExpectEndures(Giving([&] { return ingredients.Handle(); }));
}

TEST(TimeSignalFailingMemory, ObjectIsMadeOfItsPartsWholeOrNotAtAll)
{
  Ingredients const ingredients;
  ExpectEndures(Giving([&] { return ingredients.Object(); }));
}

TEST(TimeSignalFailingMemory, DeepCopyIsMadeWholeOrNotAtAll)
{
  std::unique_ptr<InternalTimeSignal> const source = ObjectWith(LongDescription());
  ExpectEndures(Giving([&] { return std::make_unique<InternalTimeSignal>(*source); }));
}

TEST(TimeSignalFailingMemory, RefusedRecordIsRefusedOrTheRefusalFindsNoMemory)
{
  SignalContents const contents = LongDescription();
  RecordPointer const whole = RecordOf(contents.Flat());
  auto const refuse = [&](auto spoil, Uuid const& jobDataUuid)
  {
    Bytes flat = contents.Flat();
    spoil(flat);
    RecordPointer const record = RecordOf(flat);
    ExpectEndures(Refusing([&] { TimeSignal(*record, contents.unitString, jobDataUuid); }));
  };
  refuse([](Bytes& flat) { flat[FieldOffset::kHeaderSize] = 99; }, contents.jobDataUuid);
  refuse([](Bytes& flat) { flat.back() ^= 1; }, contents.jobDataUuid);
  refuse([](Bytes&) {}, Uuid());
}

TEST(TimeSignalFailingMemory, SignalOfAnUnknownTypeIsRefusedOrTheRefusalFindsNoMemory)
{
  SignalParts const parts;
  ExpectEndures(Refusing([&] { MakeSignal(UnknownSampleType(77), 1, nullptr, parts); }));
  SignalParts withoutJob;
  withoutJob.jobDataUuid.ClearUuid();
  ExpectEndures(Refusing([&] { MakeSignal(data_int8_t, 1, nullptr, withoutJob); }));
}

TEST(TimeSignalFailingMemory, FailedInitialisationClearsTheTriggerAndNothingElse)
{
  using Object = std::unique_ptr<InternalTimeSignal>;
  Ingredients const ingredients;
  SignalParts const& parts = ingredients.parts;
  ExpectEndures(Scenario<Object>{
      .make = [] { return ObjectWith(LongDescription(data_int8_t, zlib)); },
      .act =
          [&](Object& object)
      {
        object->Init(parts.signalType, parts.measurementConfigUuid.GetPlainUuid(), parts.measurementUuid.GetPlainUuid(),
                     parts.deltaX, parts.scalingFactor, parts.offset, parts.timeStamp, parts.unitUuid.GetPlainUuid(),
                     data_int16_t, 50, 100, ingredients.samples.data());
      },
      .see = [](Object& object) { return Sight::Of(object); },
      .faultOfFailure = [](Object& object, Attempt const&) -> std::string
      {
        Object const expected = ObjectWith(LongDescription(data_int8_t, zlib));
        InternalTimeSignal::TriggerParameters const trigger = expected->GetTrigger();
        expected->AddTrigger(Uuid(), 0, trigger.UnitUuid, trigger.UnitString);
        return Sight::Of(object) == Sight::Of(expected) ? "" : "failed and left more changed than the trigger";
      }});
}

TEST(TimeSignalFailingMemory, RecordIsMadeOfItsFlatFormWholeOrNotAtAll)
{
  Bytes const flat = FlatRecord(data_int16_t, zlib, 50);
  ExpectEndures(Giving([&] { return RecordPointer(InternalTimeSignal::VectorToTimeSignalBin(flat)); }));
  Bytes cut = flat;
  cut.pop_back();
  ExpectEndures(Refusing([&] { RecordPointer(InternalTimeSignal::VectorToTimeSignalBin(cut)); }));
}

TEST(TimeSignalFailingMemory, FlatFormIsMadeOfARecordWholeOrNotAtAll)
{
  RecordPointer const record = RecordOf(FlatRecord(data_int16_t, no_compression, 50));
  ExpectEndures(Giving([&] { return std::unique_ptr<Bytes>(InternalTimeSignal::TimeSignalBinToVector(*record)); }));
}

// Changing

TEST(TimeSignalFailingMemory, SignalThatCannotBeCompressedStays)
{
  for (compression32_t const method : {zlib, gzip})
    ExpectEnduresAloneAndShared(LongDescription(), [method](TimeSignal& signal) { signal.Compress(method); });
}

TEST(TimeSignalFailingMemory, SharedSignalThatCannotBeCompressedOtherwiseStays)
{
  ExpectEndures(Changing(LongDescription(data_int16_t, zlib), Sharing::kShared,
                         [](TimeSignal& signal) { signal.Compress(gzip); }));
}

TEST(TimeSignalFailingMemory, SignalThatCannotBeCompressedOtherwiseStaysOrIsUncompressed)
{
  Scenario<Handles> scenario =
      Changing(LongDescription(data_int16_t, gzip), Sharing::kAlone, [](TimeSignal& signal) { signal.Compress(zlib); });
  scenario.faultOfFailure = MayBeUncompressed(LongDescription());
  ExpectEndures(scenario);
}

TEST(TimeSignalFailingMemory, SignalWithTooShortAnArrayThatCannotBeCompressedStays)
{
  Scenario<Handles> scenario =
      Changing(LongDescription(), Sharing::kAlone, [](TimeSignal& signal) { signal.Compress(zlib); });
  scenario.make = []
  {
    Handles handles{HandleOn(LongDescription()), {}};
    // The array goes on with zeros, which the stream holds too.
    handles.own.GetHeader()->SampleCount += 10;
    handles.own.GetHeader()->DataArrayByteCount += 20;
    return handles;
  };
  ExpectEndures(scenario);
}

TEST(TimeSignalFailingMemory, SignalThatCannotBeUncompressedStays)
{
  for (compression32_t const form : {zlib, gzip})
    ExpectEnduresAloneAndShared(LongDescription(data_int32_t, form), [](TimeSignal& signal) { signal.Uncompress(); });
}

TEST(TimeSignalFailingMemory, SignalThatCannotBeConvertedStays)
{
  ExpectEnduresAloneAndShared(LongDescription(), [](TimeSignal& signal) { signal.Convert(data_float64_t); });
}

TEST(TimeSignalFailingMemory, SharedSignalThatCannotBeCopiedKeepsItsOffset)
{
  for (sample_datatype32_t const type : {data_int16_t, data_float32_t})
    ExpectEndures(
        Changing(LongDescription(type), Sharing::kShared, [](TimeSignal& signal) { signal.ExtractOffset(); }));
}

TEST(TimeSignalFailingMemory, TriggerThatCannotBeReplacedStays)
{
  ExpectEnduresAloneAndShared(LongDescription(), [](TimeSignal& signal)
                              { signal.AddTrigger(CountingUuid(1), 2.5, CountingUuid(3), kUnit); });
}

TEST(TimeSignalFailingMemory, ValidatorThatCannotBeAddedLeavesTheOthers)
{
  ExpectEnduresAloneAndShared(LongDescription(), [](TimeSignal& signal)
                              { signal.AddValidator(CountingUuid(1), 2.5, CountingUuid(3), kUnit); });
}

TEST(TimeSignalFailingMemory, CharacteristicValueThatCannotBeAddedLeavesTheOthers)
{
  ExpectEnduresAloneAndShared(LongDescription(), [](TimeSignal& signal)
                              { signal.AddCharacteristicValue(CountingUuid(1), 2.5, CountingUuid(3), kUnit, 50); });
}

TEST(TimeSignalFailingMemory, RefusedChangeIsRefusedOrTheRefusalFindsNoMemory)
{
  ExpectEnduresAloneAndShared(LongDescription(), [](TimeSignal& signal) { signal.Compress(int24); });
  ExpectEnduresAloneAndShared(LongDescription(), [](TimeSignal& signal) { signal.Convert(data_uint16_t); });
  SignalContents const compressed = LongDescription(data_int16_t, zlib);
  ExpectEnduresAloneAndShared(compressed, [](TimeSignal& signal) { signal.Convert(data_float64_t); });
  ExpectEnduresAloneAndShared(compressed, [](TimeSignal& signal) { signal.ExtractOffset(); });
}

TEST(TimeSignalFailingMemory, DamagedStreamIsReportedOrTheReportFindsNoMemory)
{
  SignalContents contents = LongDescription(data_int16_t, gzip);
  contents.samples->at(contents.samples->size() / 2) ^= 0x55;
  Bytes flat = contents.Flat();
  RepairChecksums(flat);
  contents.header.assign(flat.begin(), flat.begin() + kHeaderBytes);
  ExpectEnduresAloneAndShared(contents, [](TimeSignal& signal) { signal.Uncompress(); });
}

TEST(TimeSignalFailingMemory, StreamThatLiesAboutItsSizeIsRefusedOrTheRefusalFindsNoMemory)
{
  SignalContents contents = LongDescription(data_int16_t, zlib);
  SetField(contents.header, FieldOffset::kSampleCount, 1000000000ULL);
  Bytes flat = contents.Flat();
  RepairChecksums(flat);
  contents.header.assign(flat.begin(), flat.begin() + kHeaderBytes);
  ExpectEnduresAloneAndShared(contents, [](TimeSignal& signal) { signal.Uncompress(); });
}

TEST(TimeSignalFailingMemory, RefusedArrayConversionIsRefusedOrTheRefusalFindsNoMemory)
{
  int const in[1] = {1};
  short out[1] = {2};
  ExpectEndures(Refusing([&] { TypeConverter::Convert<int, short>(1, in, out); }));
  ExpectEndures(Refusing([&] { TypeConverter::Convert<int, double>(1, in, nullptr); }));
  EXPECT_EQ(out[0], 2);
}

TEST(TimeSignalFailingMemory, RefusedConversionIntoTheCallersArrayIsRefusedOrTheRefusalFindsNoMemory)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(LongDescription());
  ExpectEndures(Refusing([&] { signal->ConvertTo<short>(UnknownSampleType(0), nullptr); }));
}

TEST(TimeSignalFailingMemory, MissingSamplesAreReportedOrTheReportFindsNoMemory)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(LongDescription());
  delete[] std::exchange(signal->GetHeader()->Samples, nullptr);
  ExpectEndures(Refusing([&] { signal->RecalculateSamplesChecksum(); }));
  ExpectEndures(Refusing([&] { InternalTimeSignal::CalcChecksum(nullptr, 1); }));
  ExpectEndures(Refusing([&] { InternalTimeSignal::GetDataTypeSize(UnknownSampleType(0)); }));
}

// Reading out

namespace
{
template <class Value>
struct Readout
{
  TimeSignal signal;
  std::unique_ptr<std::vector<Value>> values;
  float scale = -1;
};

/// A readout that gives nothing when it fails, though the signal may be uncompressed by then.
template <class Value>
Scenario<Readout<Value>> ReadingOut(compression32_t form, std::function<void(Readout<Value>&)> read)
{
  auto const see = [](Readout<Value>& readout) { return Sight::Of(readout.signal, readout.values, readout.scale); };
  return {.make =
              [form] {
                return Readout<Value>{HandleOn(LongDescription(data_int16_t, form)), nullptr};
              },
          .act = std::move(read),
          .see = see,
          .faultOfFailure = [see](Readout<Value>& readout, Attempt const& attempt) -> std::string
          {
            Readout<Value> uncompressed{HandleOn(LongDescription()), nullptr};
            std::string const seen = see(readout);
            return seen == attempt.before || seen == see(uncompressed) ? "" : "failed and left the state changed";
          }};
}
} // namespace

TEST(TimeSignalFailingMemory, PhysicalValuesAreReadWholeOrNotAtAll)
{
  for (compression32_t const form : kStorageForms)
    ExpectEndures(ReadingOut<double>(form, [](Readout<double>& readout)
                                     { readout.values.reset(TimeSignal::SamplesToDouble(readout.signal, -1)); }));
}

TEST(TimeSignalFailingMemory, BlockScaledValuesAreReadWholeOrNotAtAll)
{
  for (compression32_t const form : kStorageForms)
    ExpectEndures(
        ReadingOut<short>(form, [](Readout<short>& readout)
                          { readout.values.reset(TimeSignal::SamplesToFract(readout.signal, readout.scale, 7)); }));
}

TEST(TimeSignalFailingMemory, ReadoutsIntoTheCallersBufferLeaveEverythingWhenTheyFail)
{
  Scenario<Readout<double>> doubles = ReadingOut<double>(
      zlib, [](Readout<double>& readout) { TimeSignal::SamplesToDouble(readout.signal, *readout.values); });
  doubles.make = []
  {
    return Readout<double>{HandleOn(LongDescription(data_int16_t, zlib)), std::make_unique<std::vector<double>>(60, 7)};
  };
  doubles.faultOfFailure = {};
  ExpectEndures(doubles);
  Scenario<Readout<short>> shorts =
      ReadingOut<short>(gzip, [](Readout<short>& readout)
                        { TimeSignal::SamplesToFract(readout.signal, readout.scale, *readout.values); });
  shorts.make = [] {
    return Readout<short>{HandleOn(LongDescription(data_int16_t, gzip)), std::make_unique<std::vector<short>>(60, 7)};
  };
  shorts.faultOfFailure = {};
  ExpectEndures(shorts);
}

// Comparing

namespace
{
/// Two signals, one without its samples, and the log of their comparison.
struct Comparison
{
  std::unique_ptr<InternalTimeSignal> whole = ObjectWith(LongDescription());
  std::unique_ptr<InternalTimeSignal> bare = ObjectWith(LongDescription());
  RecordsOfItsTime log;
  std::string result = "none yet";

  explicit Comparison(LogCapture& capture) : log(capture)
  {
    delete[] std::exchange(bare->GetHeader()->Samples, nullptr);
  }
};
} // namespace

TEST(TimeSignalFailingMemory, ComparisonIsRightThoughItsWarningIsLost)
{
  LogCapture capture(kTimeSignalCategory);
  ExpectEndures(Scenario<Comparison>{
      .make = [&] { return Comparison(capture); },
      .act = [](Comparison& comparison)
      { comparison.result = *comparison.whole != *comparison.bare ? "different" : "same"; },
      .see = [](Comparison& comparison) { return Sight::Of(comparison.result, comparison.log.Get().size()); },
      .faultOfSuccess = [](Comparison& comparison, Attempt const&) -> std::string
      {
        std::vector<LogRecord> const records = comparison.log.Get();
        if (comparison.result != "different" || records.size() > 1)
          return "wrong comparison";
        return records.empty() || records[0].text == "Sample array missing!" ? "" : "warning is cut";
      }});
}

// What needs no memory

TEST(TimeSignalFailingMemory, HandlesAreCopiedComparedAndReleasedWithoutMemory)
{
  TimeSignal const first = HandleOn(LongDescription());
  TimeSignal const second = HandleOn(LongDescription());
  ExpectNeedsNoMemory(
      [&]
      {
        TimeSignal copy(first);
        copy = second;
        TimeSignal const again(copy);
        copy = again;
        if (copy != first)
          throw 1;
      });
  EXPECT_EQ(HandleCount(first), 1U);
  EXPECT_EQ(HandleCount(second), 1U);
}

TEST(TimeSignalFailingMemory, SignalsAreChangedInPlaceWithoutMemory)
{
  TimeSignal signal = HandleOn(LongDescription());
  std::vector<double> values(50);
  std::vector<short> fractions(50);
  float scale = 0;
  ExpectNeedsNoMemory(
      [&]
      {
        signal.ExtractOffset();
        signal.Convert(data_int16_t);
        signal.Compress(no_compression);
        signal.Uncompress();
        TimeSignal::SamplesToDouble(signal, values);
        TimeSignal::SamplesToFract(signal, scale, fractions);
        signal.RecalculateSamplesChecksum();
        if (!signal.GetChecksumStatus())
          throw 1;
        signal.RemoveAllSamples();
        signal.Convert(data_float64_t);
        signal.Compress(gzip);
      });
  EXPECT_EQ(signal.GetHeader()->SampleCount, 0U);
  EXPECT_EQ(signal.GetHeader()->Compression, gzip);
}

TEST(TimeSignalFailingMemory, ArraysAreConvertedWithoutMemory)
{
  std::vector<short> const in(50, 7);
  std::vector<double> out(50);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(LongDescription());
  ExpectNeedsNoMemory(
      [&]
      {
        TypeConverter::Convert(in.size(), in.data(), out.data());
        signal->ConvertTo<short>(data_float64_t, out.data());
      });
}

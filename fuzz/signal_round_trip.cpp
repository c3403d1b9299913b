// Writes, reads back and compares: the input says what a signal holds; it goes through record, file, archive and
// database object, and each must consist of exactly the bytes that the tests make without the library, and give the
// signal back.

#include "Examination.h"
#include "MemoryFile.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "support/ArchiveForm.h"
#include "support/DatabaseForm.h"

#include <array>
#include <limits>
#include <memory>
#include <span>
#include <string>

namespace
{
using Fuzzing::Input;

Uuid takeUuid(Input& input)
{
  Uuid uuid;
  uuid.SetPlainUuid(input.Take<std::array<unsigned char, 16>>().data());
  return uuid;
}

/// Special values are near, any bits can be had.
template <class T>
T takeNumber(Input& input)
{
  using Limits = std::numeric_limits<T>;
  constexpr std::array<T, 9> kSpecial{T{0},
                                      -T{0},
                                      Limits::infinity(),
                                      -Limits::infinity(),
                                      Limits::max(),
                                      Limits::min(),
                                      Limits::denorm_min(),
                                      T{1} / 3,
                                      Limits::quiet_NaN()};
  std::size_t const choice = input.Below(16);
  return choice < kSpecial.size() ? kSpecial.at(choice) : input.Take<T>();
}

/// A signal to be: what it is made of, the samples uncompressed.
struct Plan
{
  SignalParts parts;
  sample_datatype32_t type;
  Bytes raw;
  bool plainTexts;
  SignalContents description;

  explicit Plan(Input& input)
  {
    type = kSampleTypes.at(input.Below(kSampleTypes.size()));
    plainTexts = input.Below(4) != 0;
    takeSamples(input);
    parts.signalType = static_cast<signal32_t>(1 + input.Below(5));
    parts.measurementConfigUuid = takeUuid(input);
    parts.measurementUuid = takeUuid(input);
    parts.deltaX = takeNumber<double>(input);
    parts.scalingFactor = takeNumber<double>(input);
    parts.offset = takeNumber<double>(input);
    parts.timeStamp = input.Take<long long>();
    parts.unitUuid = takeUuid(input);
    parts.unitString = takeText(input);
    parts.jobDataUuid = takeUuid(input);
    if (parts.jobDataUuid.IsNull())
      parts.jobDataUuid = CountingUuid(1);
    takeDescription(input);
  }

  std::size_t Count() const { return raw.size() / SampleSizeOf(type); }

  /// All that the signal holds around these stored bytes.
  SignalContents Contents(compression32_t form, Bytes const& stored) const
  {
    SignalContents contents = description;
    Bytes const flat = FlatRecord(type, form, Count(), stored, parts);
    contents.header.assign(flat.begin(), flat.begin() + kHeaderBytes);
    if (!stored.empty())
      contents.samples = stored;
    return contents;
  }

private:
  std::string takeText(Input& input)
  {
    static std::string const kPlain = "abcXYZ019 /.,;:!?()[]{}+-*=_%$#@'\"\xC2\xB5\xE2\x84\xA6~^|\\";
    auto const bytes = input.TakeBytes(input.Below(12));
    std::string text(bytes.begin(), bytes.end());
    if (plainTexts)
      for (char& character : text)
        character = kPlain[static_cast<unsigned char>(character) % kPlain.size()];
    return text;
  }

  void takeDescription(Input& input)
  {
    description.unitString = parts.unitString;
    description.jobDataUuid = parts.jobDataUuid;
    description.trigger = {input.Below(2) == 0 ? Uuid() : takeUuid(input), takeNumber<double>(input), takeUuid(input),
                           takeText(input)};
    description.validators.resize(input.Below(4));
    for (auto& validator : description.validators)
      validator = {takeUuid(input), takeNumber<double>(input), takeUuid(input), takeText(input)};
    description.charVals.resize(input.Below(4));
    for (auto& value : description.charVals)
      value = {takeUuid(input), takeNumber<double>(input), takeUuid(input), takeText(input), takeNumber<float>(input)};
  }

  /// Repeated, so that there is something to compress.
  void takeSamples(Input& input)
  {
    std::size_t const repetitions = 1 + input.Below(20);
    auto const bytes = input.TakeBytes(input.Take<std::uint8_t>());
    for (std::size_t i = 0; i < repetitions; ++i)
      raw.insert(raw.end(), bytes.begin(), bytes.end());
    raw.resize(raw.size() / SampleSizeOf(type) * SampleSizeOf(type));
  }
};

TimeSignal makeSignal(Plan const& plan)
{
  Guarded const samples(std::span<unsigned char const>(plan.raw));
  TimeSignal signal = MakeSignal(plan.type, plan.Count(), samples.Bytes().data(), plan.parts);
  auto const& trigger = plan.description.trigger;
  signal.AddTrigger(trigger.TriggerUuid, trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
  for (auto const& validator : plan.description.validators)
    signal.AddValidator(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
  for (auto const& value : plan.description.charVals)
    signal.AddCharacteristicValue(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString, value.Speed);
  return signal;
}

SignalContents contentsOf(TimeSignal const& signal) { return ContentsOf(*ObjectOf(signal)); }

/// What a signal without samples has behind its pointer differs from form to form.
void expectContents(SignalContents actual, SignalContents const& expected)
{
  if (!expected.samples && actual.samples && actual.samples->empty())
    actual.samples.reset();
  EXPECT_EQ(DifferenceBetween(actual, expected), "");
}

void throughRecord(TimeSignal const& signal, SignalContents const& expected)
{
  std::unique_ptr<Bytes> const flat(InternalTimeSignal::TimeSignalBinToVector(*signal.GetHeader()));
  EXPECT_EQ(*flat, expected.Flat());
  RecordPointer const record(InternalTimeSignal::VectorToTimeSignalBin(*flat));
  TimeSignal const back(*record, signal.GetUnitString(), signal.GetJobDataUuid());
  // A record carries no lists.
  SignalContents withoutLists = expected;
  withoutLists.validators.clear();
  withoutLists.trigger = {};
  withoutLists.charVals.clear();
  expectContents(contentsOf(back), withoutLists);
  EXPECT_TRUE(back.GetChecksumStatus());
}

void throughFile(TimeSignal signal, SignalContents const& expected)
{
  MemoryFile const file;
  TimeSignalFile::Write(file.Path(), signal, signal.GetHeader()->Compression);
  EXPECT_EQ(file.Content(), expected.Flat());
  RecordPointer const record(TimeSignalFile::Read(file.Path()));
  EXPECT_EQ(FlatBytes(*record), expected.Flat());
}

/// @return the signal as it comes back
TimeSignal throughArchive(TimeSignal const& signal, SignalContents const& expected)
{
  Archive archive;
  archive << signal;
  SignalContents const held = contentsOf(signal);
  EXPECT_TRUE(archive.str() == ArchiveForm(held));
  TimeSignal back;
  archive >> back;
  EXPECT_TRUE(archive.good());
  expectContents(contentsOf(back), ThroughArchive(expected));
  return back;
}

void throughDatabaseObject(TimeSignal const& signal, SignalContents const& expected)
{
  std::unique_ptr<MeasurementDataDO> const stored(signal.GetMeasurementDataDO());
  EXPECT_EQ(stored->getBinaryData(), expected.Flat());
  EXPECT_EQ(stored->getJobData().getUuid(), expected.jobDataUuid);
  EXPECT_EQ(stored->getMeasurementTimeStamp(), FieldAt<long long>(expected.header, FieldOffset::kTimeStamp));
  EXPECT_FALSE(stored->getSavedByAlarmStatusChange());
  TimeSignal const back(*stored);
  expectContents(WithOneNan(contentsOf(back)), WithOneNan(ThroughDatabase(expected)));
}

/// Brings the signal into a form, whose stream must hold the samples, and sends it through everything.
void travel(TimeSignal signal, Plan const& plan, compression32_t form)
{
  signal.Compress(form);
  Bytes const stored = StoredBytes(signal);
  EXPECT_EQ(form == no_compression || plan.raw.empty() ? stored : Decoded(stored, form, plan.raw.size()), plan.raw);
  SignalContents const expected = plan.Contents(form, stored);
  expectContents(contentsOf(signal), expected);
  throughRecord(signal, expected);
  throughFile(signal, expected);
  TimeSignal back = throughArchive(signal, expected);
  if (plan.plainTexts)
    throughDatabaseObject(signal, expected);
  back.Uncompress();
  EXPECT_EQ(StoredBytes(back), plan.raw);
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  Input input(bytes);
  Plan const plan(input);
  TimeSignal const signal = makeSignal(plan);
  expectContents(contentsOf(signal), plan.Contents(no_compression, plan.raw));
  for (compression32_t const form : kStorageForms)
    travel(signal, plan, form);
  return plan.Count() != 0;
}

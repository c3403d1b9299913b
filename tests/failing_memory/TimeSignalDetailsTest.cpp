// Details documents and database objects of time signals when memory fails: a document is written or read whole, or the
// failure is seen.

#include "failing_memory/CommonScenarios.h"
#include "platform/Options.h"
#include "support/ClassicStream.h"
#include "support/Replaced.h"

#include <locale>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace
{
using Object = std::unique_ptr<InternalTimeSignal>;

std::unique_ptr<MeasurementDataDO> StoredSignal()
{
  return std::unique_ptr<MeasurementDataDO>(ObjectWith(LongDescription())->GetMeasurementDataDO());
}

/// Numbers as in German texts, in a facet whose derived data a stream makes at first use.
class DecimalComma : public std::numpunct<char>
{
protected:
  char do_decimal_point() const override { return ','; }
};

/// A failed document is the beginning of the whole one.
std::string FaultOfDocument(std::stringstream& stream, Attempt const& attempt)
{
  return attempt.reference.starts_with(stream.str()) ? "" : "document holds what does not belong there";
}

void Empty(std::stringstream& stream)
{
  stream.clear();
  stream.str("");
}

/// A parsed document and an object that reads it.
struct Reading
{
  std::string text = StoredSignal()->getMeasurementDataDetails();
  Options parser;
  Option* signal = nullptr;
  Object object = std::make_unique<InternalTimeSignal>();

  Reading() { signal = parser.parse(text)->FindOption("vel:MeasurementDataDetails.vel:Signal", false); }
  explicit Reading(Object before) : Reading() { object = std::move(before); }
};

/// The fields of a list or trigger in the order in which they are read.
template <class Parameters>
std::vector<std::string> FieldsOf(std::vector<Parameters> const& list,
                                  std::vector<std::string> (*fieldsOf)(Parameters const&))
{
  std::vector<std::string> fields;
  for (Parameters const& parameters : list)
    for (std::string const& field : fieldsOf(parameters))
      fields.push_back(field);
  return fields;
}

std::vector<std::string> ValidatorFields(InternalTimeSignal::ValidatorParameters const& validator)
{
  return {Sight::Of(validator.ValidatorUuid), Sight::Of(validator.AverageValue), Sight::Of(validator.UnitUuid),
          validator.UnitString};
}

std::vector<std::string> CharValFields(InternalTimeSignal::CharValParameters const& value)
{
  return {Sight::Of(value.CharValUuid), Sight::Of(value.Value), Sight::Of(value.UnitUuid), value.UnitString,
          Sight::Of(value.Speed)};
}

std::vector<std::string> TriggerFields(InternalTimeSignal::TriggerParameters const& trigger)
{
  return {Sight::Of(trigger.TriggerUuid), Sight::Of(trigger.TripValue), Sight::Of(trigger.UnitUuid),
          trigger.UnitString};
}

/// Whether the first of the fields are as in the document and all behind them as before.
bool AreReadUpToAPlace(std::vector<std::string> const& fields, std::vector<std::string> const& read,
                       std::vector<std::string> const& before)
{
  if (fields.size() != read.size() || fields.size() != before.size())
    return false;
  std::size_t place = 0;
  while (place < fields.size() && fields[place] == read[place])
    ++place;
  return std::equal(fields.begin() + static_cast<std::ptrdiff_t>(place), fields.end(),
                    before.begin() + static_cast<std::ptrdiff_t>(place));
}

/// A lookup in the document. Only the object is looked at: the tree remembers what it was asked.
Scenario<Reading> LookingUp(std::function<void(Reading&)> lookUp, Scenario<Reading>::Fault faultOfFailure)
{
  return {.make = [] { return Reading(); },
          .act = std::move(lookUp),
          .see = [](Reading& reading) { return Sight::Of(reading.object); },
          .faultOfFailure = std::move(faultOfFailure)};
}

/// The document of a signal, written into a stream of the caller.
Scenario<std::stringstream> WritingInto(std::function<std::stringstream()> make, InternalTimeSignal const& signal)
{
  return {.make = std::move(make),
          .act =
              [&signal](std::stringstream& stream)
          {
            signal.CreateXmlDetails(stream);
            RequireGood(stream);
          },
          .see = [](std::stringstream& stream) { return stream.str(); },
          .faultOfFailure = FaultOfDocument,
          .rewind = Empty};
}
} // namespace

// Documents

TEST(TimeSignalDetailsFailingMemory, CutDocumentShowsInTheStreamOrAsAnException)
{
  Object const signal = ObjectWith(LongDescription());
  ExpectEndures(WritingInto([] { return ClassicStream(); }, *signal));
}

TEST(TimeSignalDetailsFailingMemory, CutDocumentInALocaleOfTheCallersShowsInTheStreamOrAsAnException)
{
  Object const signal = ObjectWith(LongDescription());
  auto const make = []
  {
    std::stringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new DecimalComma));
    return stream;
  };
  ExpectEndures(WritingInto(make, *signal));
}

TEST(TimeSignalDetailsFailingMemory, DocumentOfAnUnknownTypeIsRefusedOrTheRefusalFindsNoMemory)
{
  Object const signal = ObjectWith(LongDescription());
  signal->GetHeader()->SampleType = static_cast<sample_datatype32_t>(77);
  auto scenario = Refusing([&] { std::unique_ptr<MeasurementDataDO>(signal->GetMeasurementDataDO()); });
  ExpectEndures(scenario);
}

// Lookups

TEST(TimeSignalDetailsFailingMemory, UnitThatCannotBeReadStays)
{
  ExpectEndures(LookingUp([](Reading& reading) { reading.object->FindUnitString(reading.signal, Uuid()); },
                          [](Reading& reading, Attempt const& attempt) -> std::string
                          { return Sight::Of(reading.object) == attempt.before ? "" : "failed and left it changed"; }));
}

TEST(TimeSignalDetailsFailingMemory, ValidatorsAreReadWholeOrUpToAPlace)
{
  ExpectEndures(LookingUp([](Reading& reading) { reading.object->FindValidators(reading.signal); },
                          [](Reading& reading, Attempt const&) -> std::string
                          {
                            auto const& list = reading.object->GetValidators();
                            auto const expected = LongDescription().validators;
                            bool const isSound =
                                list.empty() || AreReadUpToAPlace(FieldsOf(list, &ValidatorFields),
                                                                  FieldsOf(expected, &ValidatorFields),
                                                                  FieldsOf({{}, {}}, &ValidatorFields));
                            return isSound ? "" : "list is neither as before nor read up to a place";
                          }));
}

TEST(TimeSignalDetailsFailingMemory, CharacteristicValuesAreReadWholeOrUpToAPlace)
{
  ExpectEndures(LookingUp([](Reading& reading) { reading.object->FindCharacteristicValues(reading.signal); },
                          [](Reading& reading, Attempt const&) -> std::string
                          {
                            auto const& list = reading.object->GetCharVals();
                            auto const expected = LongDescription().charVals;
                            bool const isSound = list.empty() || AreReadUpToAPlace(FieldsOf(list, &CharValFields),
                                                                                   FieldsOf(expected, &CharValFields),
                                                                                   FieldsOf({{}, {}}, &CharValFields));
                            return isSound ? "" : "list is neither as before nor read up to a place";
                          }));
}

TEST(TimeSignalDetailsFailingMemory, ListThatIsThereAlreadyIsOverwrittenWholeOrUpToAPlace)
{
  SignalContents before = LongDescription();
  for (auto& validator : before.validators)
    validator = {CountingUuid(1), 77, CountingUuid(2), LongText("earlier unit")};
  Scenario<Reading> scenario =
      LookingUp([](Reading& reading) { reading.object->FindValidators(reading.signal); },
                [before](Reading& reading, Attempt const&) -> std::string
                {
                  bool const isSound = AreReadUpToAPlace(FieldsOf(reading.object->GetValidators(), &ValidatorFields),
                                                         FieldsOf(LongDescription().validators, &ValidatorFields),
                                                         FieldsOf(before.validators, &ValidatorFields));
                  return isSound ? "" : "list is not read up to a place";
                });
  scenario.make = [before] { return Reading(ObjectWith(before)); };
  ExpectEndures(scenario);
}

TEST(TimeSignalDetailsFailingMemory, TriggerIsReadWholeOrUpToAPlace)
{
  ExpectEndures(LookingUp([](Reading& reading) { reading.object->FindTrigger(reading.signal); },
                          [](Reading& reading, Attempt const&) -> std::string
                          {
                            bool const isSound =
                                AreReadUpToAPlace(TriggerFields(reading.object->GetTrigger()),
                                                  TriggerFields(LongDescription().trigger), TriggerFields({}));
                            return isSound ? "" : "trigger is neither as before nor read up to a place";
                          }));
}

TEST(TimeSignalDetailsFailingMemory, MissingHeaderInfoIsReportedOrTheReportFindsNoMemory)
{
  Options parser;
  Option* const signal = parser.parse("<vel:Signal/>");
  Object const object = ObjectWith(LongDescription());
  std::string const before = Sight::Of(object);
  ExpectEndures(Refusing([&] { object->FindUnitString(signal, CountingUuid(1)); }));
  EXPECT_EQ(Sight::Of(object), before);
}

// Database objects

TEST(TimeSignalDetailsFailingMemory, DatabaseObjectIsMadeWholeOrNotAtAll)
{
  for (compression32_t const form : kStorageForms)
  {
    Object const signal = ObjectWith(LongDescription(data_int16_t, form));
    ExpectEndures(Giving([&] { return std::unique_ptr<MeasurementDataDO>(signal->GetMeasurementDataDO()); }));
  }
}

// The stream of the document grows by doubling: with units of other lengths it does so at other elements.
TEST(TimeSignalDetailsFailingMemory, DatabaseObjectIsMadeWholeOrNotAtAllWhereverItsDocumentGrows)
{
  constexpr std::size_t kLongestLine = 150;
  constexpr std::size_t kStep = 5;
  for (std::size_t length = 0; length < kLongestLine; length += kStep)
  {
    SignalContents contents = LongDescription();
    contents.unitString.assign(length, 'u');
    Object const signal = ObjectWith(contents);
    ExpectEndures(Giving([&] { return std::unique_ptr<MeasurementDataDO>(signal->GetMeasurementDataDO()); }));
  }
}

TEST(TimeSignalDetailsFailingMemory, HandleIsMadeOfADatabaseObjectWholeOrNotAtAll)
{
  std::unique_ptr<MeasurementDataDO> const stored = StoredSignal();
  ExpectEndures(Giving([&] { return TimeSignal(*stored); }));
}

TEST(TimeSignalDetailsFailingMemory, ObjectIsMadeOfADatabaseObjectWholeOrNotAtAll)
{
  std::unique_ptr<MeasurementDataDO> const stored = StoredSignal();
  ExpectEndures(Giving([&] { return std::make_unique<InternalTimeSignal>(*stored); }));
}

namespace
{
/// A signal that is made of a database object with a wrong checksum, and the log of that.
struct LoggedReading
{
  RecordsOfItsTime log;
  std::optional<TimeSignal> signal{};

  std::string FaultOfLog() const
  {
    std::vector<LogRecord> const records = log.Get();
    if (records.size() > 1)
      return "more than one record";
    return records.empty() || records[0].text.starts_with("Saved checksum : ") ? "" : "record is cut";
  }
};
} // namespace

TEST(TimeSignalDetailsFailingMemory, SignalWithAWrongChecksumIsMadeThoughItsRecordIsLost)
{
  std::unique_ptr<MeasurementDataDO> const stored = StoredSignal();
  Bytes bytes = stored->getBinaryData();
  bytes[FieldOffset::kHeaderChecksum] ^= 1;
  stored->setBinaryData(bytes);
  LogCapture capture(kTimeSignalCategory);
  ExpectEndures(Scenario<LoggedReading>{
      .make = [&] { return LoggedReading{RecordsOfItsTime(capture)}; },
      .act = [&](LoggedReading& reading) { reading.signal.emplace(*stored); },
      .see = [](LoggedReading& reading) { return Sight::Of(reading.signal) + reading.FaultOfLog(); },
      .faultOfSuccess = [](LoggedReading& reading, Attempt const& attempt) -> std::string
      { return Sight::Of(reading.signal) == attempt.reference ? reading.FaultOfLog() : "another signal"; }});
}

TEST(TimeSignalDetailsFailingMemory, RefusedDatabaseObjectIsRefusedOrTheRefusalFindsNoMemory)
{
  std::unique_ptr<MeasurementDataDO> const whole = StoredSignal();
  std::string const details = whole->getMeasurementDataDetails();
  for (std::string const& text : {std::string("not XML, in a text that is too long for a short string"),
                                  std::string("<vel:MeasurementDataDetails/>"),
                                  Replaced(details, "<vel:AverageValue>-0.25", "<vel:AverageValue>x"),
                                  Replaced(details, "<vel:TriggerUuid>", "<vel:TriggerUuid>x")})
  {
    MeasurementDataDO stored(*whole);
    stored.setMeasurementDataDetails(text);
    ExpectEndures(Refusing([&] { TimeSignal{stored}; }));
  }
}

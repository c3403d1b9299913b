#include "platform/Options.h"
#include "platform/Uuid.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignalException.h"
#include "support/ClassicStream.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/PlatformErrors.h"
#include "support/SignalState.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace
{
using Validator = InternalTimeSignal::ValidatorParameters;
using CharVal = InternalTimeSignal::CharValParameters;

constexpr float kNoSpeed = std::numeric_limits<float>::quiet_NaN();

Uuid const kMeasurement("66666666-7777-4888-9999-aaaaaaaaaaaa");
Uuid const kOldUuid("01010101-0101-0101-0101-010101010101");
Uuid const kOldUnit("02020202-0202-0202-0202-020202020202");
std::string const kA = "aaaaaaaa-0000-4000-8000-000000000001";
std::string const kB = "bbbbbbbb-0000-4000-8000-000000000002";
std::string const kC = "cccccccc-0000-4000-8000-000000000003";

/// The text of a vel:Signal element, parsed.
class SignalElement
{
public:
  explicit SignalElement(std::string const& content) : root_(parser_.parse("<vel:Signal>" + content + "</vel:Signal>"))
  {
  }
  operator Option*() const { return root_; }

private:
  Options parser_;
  Option* root_;
};

std::string Tagged(std::string const& name, std::string const& content)
{
  return "<vel:" + name + ">" + content + "</vel:" + name + ">";
}

std::string ValidatorText(std::string const& uuid, std::string const& average, std::string const& unitUuid,
                          std::string const& unit)
{
  return Tagged("Validator", Tagged("ValidatorUuid", uuid) + Tagged("AverageValue", average) +
                                 Tagged("UnitUuid", unitUuid) + Tagged("UnitString", unit));
}

std::string TriggerText(std::string const& uuid, std::string const& trip, std::string const& unitUuid,
                        std::string const& unit)
{
  return Tagged("Trigger", Tagged("TriggerUuid", uuid) + Tagged("TripValue", trip) + Tagged("UnitUuid", unitUuid) +
                               Tagged("UnitString", unit));
}

std::string CharValText(std::string const& uuid, std::string const& value, std::string const& unitUuid,
                        std::string const& unit, std::string const& speed)
{
  return Tagged("CharacteristicValue", Tagged("CharacteristicValueUuid", uuid) + Tagged("Value", value) +
                                           Tagged("UnitUuid", unitUuid) + Tagged("UnitString", unit) +
                                           Tagged("Speed", speed));
}

std::string Validators(std::string const& entries) { return Tagged("ValidatorGroup", entries); }
std::string CharVals(std::string const& entries) { return Tagged("CharacteristicValueGroup", entries); }

void ExpectEntry(Validator const& entry, Uuid const& uuid, double average, Uuid const& unitUuid,
                 std::string const& unit)
{
  EXPECT_EQ(entry.ValidatorUuid, uuid);
  EXPECT_EQ(entry.AverageValue, average);
  EXPECT_EQ(entry.UnitUuid, unitUuid);
  EXPECT_EQ(entry.UnitString, unit);
}

/// A speed of NaN expects no speed.
void ExpectEntry(CharVal const& entry, Uuid const& uuid, double value, Uuid const& unitUuid, std::string const& unit,
                 float speed)
{
  EXPECT_EQ(entry.CharValUuid, uuid);
  EXPECT_EQ(entry.Value, value);
  EXPECT_EQ(entry.UnitUuid, unitUuid);
  EXPECT_EQ(entry.UnitString, unit);
  EXPECT_TRUE(entry.Speed == speed || (std::isnan(entry.Speed) && std::isnan(speed)))
      << entry.Speed << ", not " << speed;
}

void ExpectTrigger(InternalTimeSignal const& signal, Uuid const& uuid, double trip, Uuid const& unitUuid,
                   std::string const& unit)
{
  EXPECT_EQ(signal.GetTrigger().TriggerUuid, uuid);
  EXPECT_EQ(signal.GetTrigger().TripValue, trip);
  EXPECT_EQ(signal.GetTrigger().UnitUuid, unitUuid);
  EXPECT_EQ(signal.GetTrigger().UnitString, unit);
}

void ExpectOldEntry(Validator const& entry) { ExpectEntry(entry, kOldUuid, 99, kOldUnit, "old"); }
void ExpectOldEntry(CharVal const& entry) { ExpectEntry(entry, kOldUuid, 99, kOldUnit, "old", 9); }
void ExpectOldTrigger(InternalTimeSignal const& signal) { ExpectTrigger(signal, kOldUuid, 99, kOldUnit, "old"); }

/// Gives a signal a trigger and a number of entries in both lists, all of them with old values.
void FillWithOldValues(InternalTimeSignal& signal, int entries)
{
  signal.AddTrigger(kOldUuid, 99, kOldUnit, "old");
  for (int i = 0; i < entries; ++i)
  {
    signal.AddValidator(kOldUuid, 99, kOldUnit, "old");
    signal.AddCharacteristicValue(kOldUuid, 99, kOldUnit, "old", 9);
  }
}

// All four

TEST(TimeSignalDetailsLookup, WrittenDocumentGivesBackListsTriggerAndUnit)
{
  SignalParts parts;
  parts.unitString = "R&D m/s2 ";
  TimeSignal const written = MakeSignal({1, 2}, parts);
  InternalTimeSignal& source = *ObjectOf(written);
  source.AddValidator(Uuid(kA), 1480.5, Uuid(kB), "1/min");
  source.AddValidator(Uuid(), -0.333333, Uuid(), "");
  source.AddTrigger(Uuid(kB), 1e-7, Uuid(kC), " & ");
  source.AddCharacteristicValue(Uuid(kC), 2.5, Uuid(kA), "mm/s", 1480.25F);
  source.AddCharacteristicValue(Uuid(kB), std::numeric_limits<double>::infinity(), Uuid(), "", kNoSpeed);
  source.AddCharacteristicValue(Uuid(kA), 0, Uuid(), "\xC2\xB5m", 0);
  ClassicStream document;
  source.CreateXmlDetails(document);

  Options parser;
  Option* const signal = parser.parse(document.str())->FindOption("vel:MeasurementDataDetails.vel:Signal", false);
  ASSERT_NE(signal, nullptr);
  InternalTimeSignal read;
  read.FindUnitString(signal, kMeasurement);
  read.FindValidators(signal);
  read.FindTrigger(signal);
  read.FindCharacteristicValues(signal);

  EXPECT_EQ(read.GetUnitString(), "R&D m/s2 ");
  ASSERT_EQ(read.GetValidators().size(), 2U);
  ExpectEntry(read.GetValidators().at(0), Uuid(kA), 1480.5, Uuid(kB), "1/min");
  ExpectEntry(read.GetValidators().at(1), Uuid(), -0.333333, Uuid(), "");
  ExpectTrigger(read, Uuid(kB), 1e-7, Uuid(kC), " & ");
  ASSERT_EQ(read.GetCharVals().size(), 3U);
  ExpectEntry(read.GetCharVals().at(0), Uuid(kC), 2.5, Uuid(kA), "mm/s", 1480.25F);
  ExpectEntry(read.GetCharVals().at(1), Uuid(kB), std::numeric_limits<double>::infinity(), Uuid(), "", kNoSpeed);
  ExpectEntry(read.GetCharVals().at(2), Uuid(kA), 0, Uuid(), "\xC2\xB5m", 0);
}

TEST(TimeSignalDetailsLookup, LookupsTouchNothingElse)
{
  TimeSignal const handle = MakeSignal({1, 2, 3});
  InternalTimeSignal& signal = *ObjectOf(handle);
  FillWithOldValues(signal, 1);
  SignalState const before(handle);
  SignalElement const element(Tagged("HeaderInfo", Tagged("UnitString", "new") + Tagged("SampleCount", "77")) +
                              Validators(ValidatorText(kA, "1", kB, "m")));

  signal.FindValidators(element);
  EXPECT_EQ(signal.GetUnitString(), "mm/s");
  ExpectOldTrigger(signal);
  ExpectOldEntry(signal.GetCharVals().at(0));
  signal.FindUnitString(element, kMeasurement);
  before.ExpectUnchanged(handle);
  EXPECT_TRUE(signal.GetChecksumStatus());
}

TEST(TimeSignalDetailsLookup, GlobalLocaleChangesNothing)
{
  HostileLocale const hostile;
  InternalTimeSignal signal;
  SignalElement const element(Validators(ValidatorText(kA, "1234.5", kB, "m")) + TriggerText(kA, "1234.5", kB, "m") +
                              CharVals(CharValText(kA, "1234.5", kB, "m", "1480.25")));
  signal.FindValidators(element);
  signal.FindTrigger(element);
  signal.FindCharacteristicValues(element);

  ExpectEntry(signal.GetValidators().at(0), Uuid(kA), 1234.5, Uuid(kB), "m");
  ExpectTrigger(signal, Uuid(kA), 1234.5, Uuid(kB), "m");
  ExpectEntry(signal.GetCharVals().at(0), Uuid(kA), 1234.5, Uuid(kB), "m", 1480.25F);
}

TEST(TimeSignalDetailsLookup, FirstOfSeveralGroupsIsRead)
{
  InternalTimeSignal signal;
  SignalElement const element(
      Validators(ValidatorText(kA, "1", "", "")) +
      Validators(ValidatorText(kB, "2", "", "") + ValidatorText(kB, "2", "", "")) + TriggerText(kA, "1", "", "") +
      TriggerText(kB, "2", "", "") + CharVals("") + CharVals(CharValText(kB, "2", "", "", "1")) +
      Tagged("HeaderInfo", Tagged("UnitString", "m")) + Tagged("HeaderInfo", Tagged("UnitString", "s")));
  signal.FindUnitString(element, kMeasurement);
  signal.FindValidators(element);
  signal.FindTrigger(element);
  signal.FindCharacteristicValues(element);

  EXPECT_EQ(signal.GetUnitString(), "m");
  ASSERT_EQ(signal.GetValidators().size(), 1U);
  EXPECT_EQ(signal.GetValidators().at(0).ValidatorUuid, Uuid(kA));
  EXPECT_EQ(signal.GetTrigger().TriggerUuid, Uuid(kA));
  EXPECT_TRUE(signal.GetCharVals().empty());
}

TEST(TimeSignalDetailsLookup, ElementsElsewhereOrWithoutThePrefixAreNotSeen)
{
  InternalTimeSignal signal;
  FillWithOldValues(signal, 1);
  std::string const groups = Validators(ValidatorText(kA, "1", "", "")) + CharVals(CharValText(kA, "1", "", "", "1"));
  SignalElement const element("<ValidatorGroup/><CharacteristicValueGroup/><Trigger/><x:Trigger/>" +
                              Tagged("Other", groups + TriggerText(kA, "1", "", "")));
  signal.FindValidators(element);
  signal.FindCharacteristicValues(element);
  signal.FindTrigger(element);

  ExpectOldEntry(signal.GetValidators().at(0));
  ExpectOldEntry(signal.GetCharVals().at(0));
  EXPECT_TRUE(signal.GetTrigger().TriggerUuid.IsNull());
}

// The unit

TEST(TimeSignalDetailsLookup, UnitIsTheTextOfTheHeaderInfo)
{
  for (char const* unit : {"mm/s", " m ", "R&D", "\xC2\xB0", "\xB0"})
  {
    InternalTimeSignal signal;
    signal.FindUnitString(SignalElement(Tagged("HeaderInfo", Tagged("UnitString", unit))), kMeasurement);
    EXPECT_EQ(signal.GetUnitString(), unit);
  }
}

TEST(TimeSignalDetailsLookup, MissingOrEmptyUnitIsEmpty)
{
  for (char const* content : {"", "<vel:UnitString/>", "<UnitString>m</UnitString>", "<vel:UnitUuid>m</vel:UnitUuid>"})
  {
    TimeSignal const handle = MakeSignal({1});
    ASSERT_EQ(handle.GetUnitString(), "mm/s");
    ObjectOf(handle)->FindUnitString(SignalElement(Tagged("HeaderInfo", content)), kMeasurement);
    EXPECT_EQ(handle.GetUnitString(), "") << content;
  }
}

TEST(TimeSignalDetailsLookup, MissingHeaderInfoNamesTheMeasurement)
{
  for (char const* content : {"", "<vel:UnitString>m</vel:UnitString>", "<HeaderInfo/>", "<vel:Trigger/>"})
  {
    TimeSignal const handle = MakeSignal({1});
    SignalElement const element(content);
    ExpectThrow<TimeSignalException>([&] { ObjectOf(handle)->FindUnitString(element, kMeasurement); },
                                     "Corrupt time signal database object 66666666-7777-4888-9999-aaaaaaaaaaaa!",
                                     kTimeSignalUnit);
    EXPECT_EQ(handle.GetUnitString(), "mm/s");
  }
}

TEST(TimeSignalDetailsLookup, MissingHeaderInfoOfANullMeasurementNamesTheNullUuid)
{
  InternalTimeSignal signal;
  SignalElement const element("");
  ExpectThrow<TimeSignalException>([&] { signal.FindUnitString(element, Uuid()); },
                                   "Corrupt time signal database object 00000000-0000-0000-0000-000000000000!",
                                   kTimeSignalUnit);
}

TEST(TimeSignalDetailsLookup, OtherElementThanASignalHasNoHeaderInfo)
{
  Options parser;
  Option* const root = parser.parse("<vel:Other>" + Tagged("HeaderInfo", "") + "</vel:Other>");
  InternalTimeSignal signal;
  ExpectThrow<TimeSignalException>([&] { signal.FindUnitString(root, kMeasurement); },
                                   "Corrupt time signal database object 66666666-7777-4888-9999-aaaaaaaaaaaa!",
                                   kTimeSignalUnit);
}

// The trigger

TEST(TimeSignalDetailsLookup, TriggerIsReplaced)
{
  InternalTimeSignal signal;
  FillWithOldValues(signal, 0);
  signal.FindTrigger(SignalElement(TriggerText(kA, "-1.5e3", kB, "mm/s")));

  ExpectTrigger(signal, Uuid(kA), -1500, Uuid(kB), "mm/s");
}

TEST(TimeSignalDetailsLookup, MissingFieldsOfATriggerAreCleared)
{
  for (char const* content :
       {"<vel:Trigger/>", "<vel:Trigger></vel:Trigger>",
        "<vel:Trigger><vel:TriggerUuid/><vel:TripValue/><vel:UnitUuid/><vel:UnitString/></vel:Trigger>"})
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, 0);
    signal.FindTrigger(SignalElement(content));
    ExpectTrigger(signal, Uuid(), 0, Uuid(), "");
  }
}

TEST(TimeSignalDetailsLookup, MissingTriggerClearsUuidAndTripValueAndKeepsTheUnit)
{
  InternalTimeSignal signal;
  FillWithOldValues(signal, 0);
  signal.FindTrigger(SignalElement(Tagged("HeaderInfo", "")));

  ExpectTrigger(signal, Uuid(), 0, kOldUnit, "old");
}

TEST(TimeSignalDetailsLookup, MalformedTriggerKeepsTheFieldsBehindTheFault)
{
  InternalTimeSignal signal;
  FillWithOldValues(signal, 0);
  EXPECT_TRUE(Refuses<UuidException>([&] { signal.FindTrigger(SignalElement(TriggerText("x", "1", kB, "mm"))); }));
  ExpectOldTrigger(signal);

  EXPECT_TRUE(Refuses<OptionException>([&] { signal.FindTrigger(SignalElement(TriggerText(kA, "1,5", kB, "mm"))); }));
  ExpectTrigger(signal, Uuid(kA), 99, kOldUnit, "old");

  EXPECT_TRUE(Refuses<UuidException>([&] { signal.FindTrigger(SignalElement(TriggerText(kB, "1.5", " ", "mm"))); }));
  ExpectTrigger(signal, Uuid(kB), 1.5, kOldUnit, "old");
}

TEST(TimeSignalDetailsLookup, TripValueMayBeAnythingThatIsWritten)
{
  InternalTimeSignal signal;
  signal.FindTrigger(SignalElement(TriggerText(kA, "inf", "", "")));
  EXPECT_EQ(signal.GetTrigger().TripValue, std::numeric_limits<double>::infinity());
  signal.FindTrigger(SignalElement(TriggerText(kA, "-nan", "", "")));
  EXPECT_TRUE(std::isnan(signal.GetTrigger().TripValue));
  signal.FindTrigger(SignalElement(TriggerText(kA, " 4.94066e-324\n", "", "")));
  EXPECT_EQ(signal.GetTrigger().TripValue, std::numeric_limits<double>::denorm_min());
}

// Validators

TEST(TimeSignalDetailsLookup, ValidatorsAreReadInDocumentOrder)
{
  InternalTimeSignal signal;
  signal.FindValidators(
      SignalElement(Validators(ValidatorText(kA, "1.5", kB, "m") + "<vel:Other/>" + ValidatorText(kB, "-2", kC, "") +
                               ValidatorText(kC, "nan", "", " s "))));

  ASSERT_EQ(signal.GetValidators().size(), 3U);
  ExpectEntry(signal.GetValidators().at(0), Uuid(kA), 1.5, Uuid(kB), "m");
  ExpectEntry(signal.GetValidators().at(1), Uuid(kB), -2, Uuid(kC), "");
  EXPECT_EQ(signal.GetValidators().at(2).ValidatorUuid, Uuid(kC));
  EXPECT_TRUE(std::isnan(signal.GetValidators().at(2).AverageValue));
  EXPECT_EQ(signal.GetValidators().at(2).UnitString, " s ");
}

TEST(TimeSignalDetailsLookup, MissingValidatorGroupKeepsTheList)
{
  InternalTimeSignal signal;
  FillWithOldValues(signal, 2);
  signal.FindValidators(SignalElement(""));

  ASSERT_EQ(signal.GetValidators().size(), 2U);
  ExpectOldEntry(signal.GetValidators().at(0));
  ExpectOldEntry(signal.GetValidators().at(1));
}

TEST(TimeSignalDetailsLookup, EmptyValidatorGroupEmptiesTheList)
{
  for (char const* content : {"", " \n ", "<vel:Other/>", "<Validator/>"})
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, 2);
    signal.FindValidators(SignalElement(Validators(content)));
    EXPECT_TRUE(signal.GetValidators().empty()) << content;
    EXPECT_EQ(signal.GetCharVals().size(), 2U);
  }
}

TEST(TimeSignalDetailsLookup, ValidatorListGrowsAndShrinksToTheDocument)
{
  for (int const before : {0, 1, 2, 5})
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, before);
    signal.FindValidators(SignalElement(Validators(ValidatorText(kA, "1", kB, "m") + "<vel:Validator/>")));

    ASSERT_EQ(signal.GetValidators().size(), 2U);
    ExpectEntry(signal.GetValidators().at(0), Uuid(kA), 1, Uuid(kB), "m");
    ExpectEntry(signal.GetValidators().at(1), Uuid(), 0, Uuid(), "");
  }
}

TEST(TimeSignalDetailsLookup, MalformedValidatorKeepsTheFieldsBehindTheFault)
{
  struct
  {
    std::string entry;
    bool isUuid;
    Uuid uuid;
    double average;
  } const faults[] = {{ValidatorText("x", "1", kB, "m"), true, kOldUuid, 99},
                      {ValidatorText(kA, "1 2", kB, "m"), false, Uuid(kA), 99},
                      {ValidatorText(kA, "1", kB + "0", "m"), true, Uuid(kA), 1}};
  for (auto const& fault : faults)
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, 2);
    SignalElement const element(
        Validators(ValidatorText(kC, "3", kC, "c") + fault.entry + ValidatorText(kC, "3", kC, "c")));
    auto const find = [&] { signal.FindValidators(element); };
    EXPECT_TRUE(fault.isUuid ? Refuses<UuidException>(find) : Refuses<OptionException>(find));

    ASSERT_EQ(signal.GetValidators().size(), 3U);
    ExpectEntry(signal.GetValidators().at(0), Uuid(kC), 3, Uuid(kC), "c");
    ExpectEntry(signal.GetValidators().at(1), fault.uuid, fault.average, kOldUnit, "old");
    ExpectEntry(signal.GetValidators().at(2), Uuid(), 0, Uuid(), "");
  }
}

// Characteristic values

TEST(TimeSignalDetailsLookup, CharacteristicValuesAreReadInDocumentOrder)
{
  InternalTimeSignal signal;
  signal.FindCharacteristicValues(
      SignalElement(CharVals(CharValText(kA, "1.5", kB, "m", "1480") + "text" + CharValText(kB, "-2", kC, "", "0") +
                             CharValText(kC, "0", "", " s ", "-0.5"))));

  ASSERT_EQ(signal.GetCharVals().size(), 3U);
  ExpectEntry(signal.GetCharVals().at(0), Uuid(kA), 1.5, Uuid(kB), "m", 1480);
  ExpectEntry(signal.GetCharVals().at(1), Uuid(kB), -2, Uuid(kC), "", 0);
  ExpectEntry(signal.GetCharVals().at(2), Uuid(kC), 0, Uuid(), " s ", -0.5F);
}

TEST(TimeSignalDetailsLookup, MissingOrNaNSpeedIsNoSpeed)
{
  for (char const* speed : {"", "nan", "-nan"})
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, 1);
    signal.FindCharacteristicValues(SignalElement(CharVals(CharValText(kA, "1", kB, "m", speed))));
    ExpectEntry(signal.GetCharVals().at(0), Uuid(kA), 1, Uuid(kB), "m", kNoSpeed);
  }
  InternalTimeSignal signal;
  FillWithOldValues(signal, 1);
  signal.FindCharacteristicValues(SignalElement(CharVals("<vel:CharacteristicValue/>")));
  ExpectEntry(signal.GetCharVals().at(0), Uuid(), 0, Uuid(), "", kNoSpeed);
}

TEST(TimeSignalDetailsLookup, SpeedIsNarrowedToFloat)
{
  struct
  {
    char const* text;
    float speed;
  } const speeds[] = {{"0.1", 0.1F},
                      {"16777217", 16777216.0F}, // halfway between two floats, rounded to the even one
                      {"3.40282e+38", 3.40282e+38F},
                      {"1e39", std::numeric_limits<float>::infinity()},
                      {"-inf", -std::numeric_limits<float>::infinity()},
                      {"1e-60", 0.0F}};
  for (auto const& [text, speed] : speeds)
  {
    InternalTimeSignal signal;
    signal.FindCharacteristicValues(SignalElement(CharVals(CharValText(kA, "1", kB, "m", text))));
    EXPECT_EQ(signal.GetCharVals().at(0).Speed, speed) << text;
  }
}

TEST(TimeSignalDetailsLookup, MissingCharacteristicValueGroupKeepsTheList)
{
  InternalTimeSignal signal;
  FillWithOldValues(signal, 2);
  signal.FindCharacteristicValues(SignalElement(""));

  ASSERT_EQ(signal.GetCharVals().size(), 2U);
  ExpectOldEntry(signal.GetCharVals().at(0));
  ExpectOldEntry(signal.GetCharVals().at(1));
}

TEST(TimeSignalDetailsLookup, EmptyCharacteristicValueGroupEmptiesTheList)
{
  for (char const* content : {"", " \n ", "<vel:Other/>", "<CharacteristicValue/>"})
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, 2);
    signal.FindCharacteristicValues(SignalElement(CharVals(content)));
    EXPECT_TRUE(signal.GetCharVals().empty()) << content;
    EXPECT_EQ(signal.GetValidators().size(), 2U);
  }
}

TEST(TimeSignalDetailsLookup, CharacteristicValueListGrowsAndShrinksToTheDocument)
{
  for (int const before : {0, 1, 2, 5})
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, before);
    signal.FindCharacteristicValues(
        SignalElement(CharVals(CharValText(kA, "1", kB, "m", "2") + "<vel:CharacteristicValue/>")));

    ASSERT_EQ(signal.GetCharVals().size(), 2U);
    ExpectEntry(signal.GetCharVals().at(0), Uuid(kA), 1, Uuid(kB), "m", 2);
    ExpectEntry(signal.GetCharVals().at(1), Uuid(), 0, Uuid(), "", kNoSpeed);
  }
}

TEST(TimeSignalDetailsLookup, MalformedCharacteristicValueKeepsTheFieldsBehindTheFault)
{
  struct
  {
    std::string entry;
    bool isUuid;
    Uuid uuid;
    double value;
    Uuid unitUuid;
    std::string unit;
  } const faults[] = {{CharValText("x", "1", kB, "m", "2"), true, kOldUuid, 99, kOldUnit, "old"},
                      {CharValText(kA, "x", kB, "m", "2"), false, Uuid(kA), 99, kOldUnit, "old"},
                      {CharValText(kA, "1", "x", "m", "2"), true, Uuid(kA), 1, kOldUnit, "old"},
                      {CharValText(kA, "1", kB, "m", "fast"), false, Uuid(kA), 1, Uuid(kB), "m"}};
  for (auto const& fault : faults)
  {
    InternalTimeSignal signal;
    FillWithOldValues(signal, 2);
    SignalElement const element(
        CharVals(CharValText(kC, "3", kC, "c", "4") + fault.entry + CharValText(kC, "3", kC, "c", "4")));
    auto const find = [&] { signal.FindCharacteristicValues(element); };
    EXPECT_TRUE(fault.isUuid ? Refuses<UuidException>(find) : Refuses<OptionException>(find));

    ASSERT_EQ(signal.GetCharVals().size(), 3U);
    ExpectEntry(signal.GetCharVals().at(0), Uuid(kC), 3, Uuid(kC), "c", 4);
    ExpectEntry(signal.GetCharVals().at(1), fault.uuid, fault.value, fault.unitUuid, fault.unit, 9);
    ExpectEntry(signal.GetCharVals().at(2), Uuid(), 0, Uuid(), "", kNoSpeed);
  }
}

TEST(TimeSignalDetailsLookup, ListOfManyEntriesIsRead)
{
  constexpr std::size_t kEntries = 20000;
  std::string entries;
  for (std::size_t i = 0; i < kEntries; ++i)
    entries += Tagged("CharacteristicValue", Tagged("Value", std::to_string(i)));
  InternalTimeSignal signal;
  signal.FindCharacteristicValues(SignalElement(CharVals(entries)));

  ASSERT_EQ(signal.GetCharVals().size(), kEntries);
  std::size_t wrong = 0;
  for (std::size_t i = 0; i < kEntries; ++i)
    wrong += signal.GetCharVals().at(i).Value == static_cast<double>(i) ? 0 : 1;
  EXPECT_EQ(wrong, 0U);
}
} // namespace

#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignalException.h"
#include "support/ClassicStream.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/SignalState.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{
constexpr float kNoSpeed = std::numeric_limits<float>::quiet_NaN();

Uuid const kConfigUuid("11111111-2222-4333-8444-555555555555");
Uuid const kMeasurementUuid("66666666-7777-4888-9999-aaaaaaaaaaaa");
Uuid const kUnitUuid("bbbbbbbb-cccc-4ddd-8eee-ffffffffffff");

/// The signal that the documents of this test describe: three 16-bit samples, no lists, no trigger.
TimeSignal PlainSignal()
{
  SignalParts parts;
  parts.signalType = raw_time_signal;
  parts.measurementConfigUuid = kConfigUuid;
  parts.measurementUuid = kMeasurementUuid;
  parts.deltaX = 0.25;
  parts.timeStamp = 1795197440000123;
  parts.unitUuid = kUnitUuid;
  parts.unitString = "m/s2";
  return MakeSignal({100, -200, 7}, parts);
}

std::string DocumentOf(InternalTimeSignal const& signal)
{
  ClassicStream stream;
  signal.CreateXmlDetails(stream);
  return stream.str();
}

std::string DocumentOf(TimeSignal const& signal) { return DocumentOf(*ObjectOf(signal)); }

/// The text between the tags of the first element of a name.
std::string ValueIn(std::string const& document, std::string const& name)
{
  std::string const start = "<vel:" + name + ">";
  std::size_t const from = document.find(start);
  std::size_t const to = document.find("</vel:" + name + ">");
  if (from == std::string::npos || to == std::string::npos)
    return "no " + name;
  return document.substr(from + start.size(), to - from - start.size());
}

std::size_t CountOf(std::string const& piece, std::string const& text)
{
  std::size_t count = 0;
  for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1))
    ++count;
  return count;
}

std::string Replaced(std::string text, std::string const& from, std::string const& to)
{
  std::size_t const at = text.find(from);
  return at == std::string::npos ? "no " + from : text.replace(at, from.size(), to);
}

// The document of PlainSignal, in the pieces between which the optional groups stand.

std::string const kDocumentStart = R"(<?xml version="1.0" encoding="UTF-8"?>
<vel:MeasurementDataDetails xmlns:vel="http://www.qen.example/2015/09/30/velmora/">
   <vel:FileVersionXml>1.0.0.0</vel:FileVersionXml>
   <vel:Signal>
      <vel:HeaderInfo>
         <vel:BinaryHeaderVersion>2</vel:BinaryHeaderVersion>
         <vel:HeaderSize>120</vel:HeaderSize>
         <vel:SignalType>raw_time_signal</vel:SignalType>
         <vel:MeasurementConfigUuid>11111111-2222-4333-8444-555555555555</vel:MeasurementConfigUuid>
         <vel:MeasurementUuid>66666666-7777-4888-9999-aaaaaaaaaaaa</vel:MeasurementUuid>
         <vel:TimeStamp>2026-11-20T17:57:20.000123Z</vel:TimeStamp>
         <vel:UnitUuid>bbbbbbbb-cccc-4ddd-8eee-ffffffffffff</vel:UnitUuid>
         <vel:UnitString>m/s2</vel:UnitString>
         <vel:SampleType>data_int16_t</vel:SampleType>
         <vel:SampleCount>3</vel:SampleCount>
         <vel:DeltaX>0.25</vel:DeltaX>
         <vel:DataArrayByteCount>6</vel:DataArrayByteCount>
         <vel:Compression>no_compression</vel:Compression>
      </vel:HeaderInfo>
)";

std::string const kTwoValidators = R"(      <vel:ValidatorGroup>
         <vel:Validator>
            <vel:ValidatorUuid>00000000-0000-0000-0000-0000000000a1</vel:ValidatorUuid>
            <vel:AverageValue>1480.5</vel:AverageValue>
            <vel:UnitUuid>00000000-0000-0000-0000-0000000000a2</vel:UnitUuid>
            <vel:UnitString>1/min</vel:UnitString>
         </vel:Validator>
         <vel:Validator>
            <vel:ValidatorUuid>00000000-0000-0000-0000-000000000000</vel:ValidatorUuid>
            <vel:AverageValue>-0.333333</vel:AverageValue>
            <vel:UnitUuid>00000000-0000-0000-0000-000000000000</vel:UnitUuid>
            <vel:UnitString></vel:UnitString>
         </vel:Validator>
      </vel:ValidatorGroup>
)";

std::string const kTrigger = R"(      <vel:Trigger>
         <vel:TriggerUuid>00000000-0000-0000-0000-0000000000b1</vel:TriggerUuid>
         <vel:TripValue>1e-07</vel:TripValue>
         <vel:UnitUuid>00000000-0000-0000-0000-0000000000b2</vel:UnitUuid>
         <vel:UnitString>mm/s</vel:UnitString>
      </vel:Trigger>
)";

std::string const kBinaryFile = R"(      <vel:BinaryFileName></vel:BinaryFileName>
      <vel:BinaryFileHash></vel:BinaryFileHash>
)";

std::string const kThreeCharacteristicValues = R"(      <vel:CharacteristicValueGroup>
         <vel:CharacteristicValue>
            <vel:CharacteristicValueUuid>00000000-0000-0000-0000-0000000000c1</vel:CharacteristicValueUuid>
            <vel:Value>2.5</vel:Value>
            <vel:UnitUuid>00000000-0000-0000-0000-0000000000c2</vel:UnitUuid>
            <vel:UnitString>mm/s RMS</vel:UnitString>
            <vel:Speed>1480.25</vel:Speed>
         </vel:CharacteristicValue>
         <vel:CharacteristicValue>
            <vel:CharacteristicValueUuid>00000000-0000-0000-0000-0000000000c3</vel:CharacteristicValueUuid>
            <vel:Value>1.23457e+06</vel:Value>
            <vel:UnitUuid>00000000-0000-0000-0000-0000000000c4</vel:UnitUuid>
            <vel:UnitString>g</vel:UnitString>
         </vel:CharacteristicValue>
         <vel:CharacteristicValue>
            <vel:CharacteristicValueUuid>00000000-0000-0000-0000-0000000000c5</vel:CharacteristicValueUuid>
            <vel:Value>0</vel:Value>
            <vel:UnitUuid>00000000-0000-0000-0000-0000000000c6</vel:UnitUuid>
            <vel:UnitString></vel:UnitString>
            <vel:Speed>0</vel:Speed>
         </vel:CharacteristicValue>
      </vel:CharacteristicValueGroup>
)";

std::string const kDocumentEnd = "   </vel:Signal>\n</vel:MeasurementDataDetails>";

std::string const kPlainDocument = kDocumentStart + kBinaryFile + kDocumentEnd;

/// A UUID that ends in two hexadecimal digits and is zero elsewhere.
Uuid Numbered(char const* lastDigits) { return Uuid(std::string("00000000-0000-0000-0000-0000000000") + lastDigits); }

void AddTwoValidators(TimeSignal& signal)
{
  signal.AddValidator(Numbered("a1"), 1480.5, Numbered("a2"), "1/min");
  signal.AddValidator(Uuid(), -1.0 / 3, Uuid(), "");
}

void AddTheTrigger(TimeSignal& signal) { signal.AddTrigger(Numbered("b1"), 1e-7, Numbered("b2"), "mm/s"); }

void AddThreeCharacteristicValues(TimeSignal& signal)
{
  signal.AddCharacteristicValue(Numbered("c1"), 2.5, Numbered("c2"), "mm/s RMS", 1480.25F);
  signal.AddCharacteristicValue(Numbered("c3"), 1234567, Numbered("c4"), "g", kNoSpeed);
  signal.AddCharacteristicValue(Numbered("c5"), 0, Numbered("c6"), "", 0);
}

/// Three groups may be there or not, in every combination.
class DetailsGroups : public testing::TestWithParam<int>
{
};

TEST_P(DetailsGroups, StandInTheirOrderAndOnlyWhenThereIsSomething)
{
  bool const validators = (GetParam() & 1) != 0;
  bool const trigger = (GetParam() & 2) != 0;
  bool const characteristicValues = (GetParam() & 4) != 0;
  TimeSignal signal = PlainSignal();
  // The order in which they are added does not matter.
  if (characteristicValues)
    AddThreeCharacteristicValues(signal);
  if (trigger)
    AddTheTrigger(signal);
  if (validators)
    AddTwoValidators(signal);

  EXPECT_EQ(DocumentOf(signal), kDocumentStart + (validators ? kTwoValidators : "") + (trigger ? kTrigger : "") +
                                    kBinaryFile + (characteristicValues ? kThreeCharacteristicValues : "") +
                                    kDocumentEnd);
}

INSTANTIATE_TEST_SUITE_P(Combinations, DetailsGroups, testing::Range(0, 8));

TEST(TimeSignalDetails, SignalWithoutListsHasHeaderInfoAndEmptyFileElements)
{
  EXPECT_EQ(DocumentOf(PlainSignal()), kPlainDocument);
}

TEST(TimeSignalDetails, DefaultObjectIsDescribedToo)
{
  InternalTimeSignal const signal;
  std::string const document = DocumentOf(signal);

  EXPECT_EQ(ValueIn(document, "BinaryHeaderVersion"), "2");
  EXPECT_EQ(ValueIn(document, "HeaderSize"), "120");
  EXPECT_EQ(ValueIn(document, "SignalType"), "raw_time_signal");
  EXPECT_EQ(ValueIn(document, "MeasurementConfigUuid"), "00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(ValueIn(document, "TimeStamp"), "1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(ValueIn(document, "UnitString"), "");
  EXPECT_EQ(ValueIn(document, "SampleType"), "data_int8_t");
  EXPECT_EQ(ValueIn(document, "SampleCount"), "0");
  EXPECT_EQ(ValueIn(document, "DeltaX"), "0");
  EXPECT_EQ(CountOf("\n", document), 22U);
}

TEST(TimeSignalDetails, DocumentNeverEndsInALineFeed)
{
  TimeSignal signal = PlainSignal();
  EXPECT_EQ(DocumentOf(signal).back(), '>');
  AddThreeCharacteristicValues(signal);
  EXPECT_EQ(DocumentOf(signal).back(), '>');
}

TEST(TimeSignalDetails, TriggerWithoutUuidIsNotWritten)
{
  TimeSignal signal = PlainSignal();
  signal.AddTrigger(Uuid(), 12.5, kUnitUuid, "mm/s");

  EXPECT_EQ(DocumentOf(signal), kPlainDocument);
}

TEST(TimeSignalDetails, TriggerNeedsNothingButAUuid)
{
  TimeSignal signal = PlainSignal();
  signal.AddTrigger(Numbered("01"), 0, Uuid(), "");

  EXPECT_EQ(DocumentOf(signal), kDocumentStart + R"(      <vel:Trigger>
         <vel:TriggerUuid>00000000-0000-0000-0000-000000000001</vel:TriggerUuid>
         <vel:TripValue>0</vel:TripValue>
         <vel:UnitUuid>00000000-0000-0000-0000-000000000000</vel:UnitUuid>
         <vel:UnitString></vel:UnitString>
      </vel:Trigger>
)" + kBinaryFile + kDocumentEnd);
}

TEST(TimeSignalDetails, OnlyASpeedThatIsNaNIsLeftOut)
{
  struct
  {
    float speed;
    char const* text;
  } const speeds[] = {{0.0F, "0"},
                      {-0.0F, "-0"},
                      {-12.5F, "-12.5"},
                      {0.1F, "0.1"},
                      {16777216.0F, "1.67772e+07"},
                      {std::numeric_limits<float>::max(), "3.40282e+38"},
                      {std::numeric_limits<float>::denorm_min(), "1.4013e-45"},
                      {std::numeric_limits<float>::infinity(), "inf"},
                      {-std::numeric_limits<float>::infinity(), "-inf"},
                      {kNoSpeed, "no Speed"},
                      {-kNoSpeed, "no Speed"},
                      {std::numeric_limits<float>::signaling_NaN(), "no Speed"}};
  for (auto const& [speed, text] : speeds)
  {
    TimeSignal signal = PlainSignal();
    signal.AddCharacteristicValue(Uuid(), 1, Uuid(), "", speed);
    EXPECT_EQ(ValueIn(DocumentOf(signal), "Speed"), text);
  }
}

TEST(TimeSignalDetails, SpeedIsWidenedBeforeItIsWritten)
{
  TimeSignal signal = PlainSignal();
  signal.AddCharacteristicValue(Uuid(), 0.1, Uuid(), "", 0.1F);
  ClassicStream stream;
  stream << std::setprecision(17);
  ObjectOf(signal)->CreateXmlDetails(stream);

  // The float nearest to 0.1, as a double.
  EXPECT_EQ(ValueIn(stream.str(), "Speed"), "0.10000000149011612");
  EXPECT_EQ(ValueIn(stream.str(), "Value"), "0.10000000000000001");
}

/// The values of all elements of a name, each on a line of its own.
std::vector<std::string> ValuesIn(std::string const& document, std::string const& name)
{
  std::vector<std::string> values;
  std::istringstream lines(document);
  for (std::string line; std::getline(lines, line);)
    if (line.find("<vel:" + name + ">") != std::string::npos && line.find("</") != std::string::npos)
      values.push_back(ValueIn(line, name));
  return values;
}

TEST(TimeSignalDetails, ListsOfAnyLengthKeepTheirOrder)
{
  TimeSignal signal = PlainSignal();
  std::vector<std::string> averages, values;
  for (int i = 1; i <= 1000; ++i)
  {
    signal.AddValidator(Uuid(), i, Uuid(), "");
    signal.AddCharacteristicValue(Uuid(), -i, Uuid(), "", kNoSpeed);
    averages.push_back(std::to_string(i));
    values.push_back(std::to_string(-i));
  }
  std::string const document = DocumentOf(signal);

  EXPECT_TRUE(ValuesIn(document, "AverageValue") == averages);
  EXPECT_TRUE(ValuesIn(document, "Value") == values);
  EXPECT_EQ(CountOf("<vel:ValidatorGroup>", document), 1U);
  EXPECT_EQ(CountOf("<vel:CharacteristicValueGroup>", document), 1U);
}

// Names

TEST(TimeSignalDetails, SignalTypesAreNamed)
{
  std::vector<std::string> const names = {"raw_time_signal", "demodulation_time_signal", "raw_spectrum",
                                          "demodulation_spectrum", "order_analysis"};
  for (int type = 1; type <= 5; ++type)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->SignalType = static_cast<signal32_t>(type);
    EXPECT_EQ(DocumentOf(signal),
              Replaced(kPlainDocument, "raw_time_signal", names.at(static_cast<std::size_t>(type) - 1)));
  }
}

TEST(TimeSignalDetails, SampleTypesAreNamedInTheOrderOfTheirNumbers)
{
  std::vector<std::string> const names = {"data_int8_t",    "data_int16_t",   "data_int32_t", "data_int64_t",
                                          "data_float32_t", "data_float64_t", "data_uint8_t", "data_uint16_t",
                                          "data_uint32_t",  "data_uint64_t"};
  for (int type = 1; type <= 10; ++type)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->SampleType = static_cast<sample_datatype32_t>(type);
    EXPECT_EQ(DocumentOf(signal),
              Replaced(kPlainDocument, "data_int16_t", names.at(static_cast<std::size_t>(type) - 1)));
  }
}

TEST(TimeSignalDetails, CompressionsAreNamedAlsoTheOneWithoutAMethod)
{
  std::vector<std::string> const names = {"no_compression", "zlib", "int24", "gzip"};
  for (int form = 1; form <= 4; ++form)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->Compression = static_cast<compression32_t>(form);
    EXPECT_EQ(DocumentOf(signal),
              Replaced(kPlainDocument, "no_compression", names.at(static_cast<std::size_t>(form) - 1)));
  }
}

TEST(TimeSignalDetails, CompressedSignalSaysHowManyBytesAreStored)
{
  TimeSignal signal = PlainSignal();
  signal.Compress(gzip);
  std::string const document = DocumentOf(signal);

  EXPECT_EQ(ValueIn(document, "Compression"), "gzip");
  EXPECT_EQ(ValueIn(document, "SampleCount"), "3");
  EXPECT_EQ(ValueIn(document, "DataArrayByteCount"), std::to_string(signal.GetHeader()->DataArrayByteCount));
}

constexpr int kUnknownNumbers[] = {0, -1, 99, INT_MAX, INT_MIN};

void ExpectUnknown(TimeSignal const& signal, std::string const& message, std::string const& lastTag)
{
  ClassicStream stream;
  ExpectThrow<TimeSignalException>([&] { ObjectOf(signal)->CreateXmlDetails(stream); }, message, kTimeSignalUnit);
  std::string const expected = kPlainDocument.substr(0, kPlainDocument.find(lastTag) + lastTag.size());
  EXPECT_EQ(stream.str(), expected);
  EXPECT_TRUE(stream.good());
}

TEST(TimeSignalDetails, UnknownSignalTypeEndsTheDocumentInItsStartTag)
{
  for (int const type : kUnknownNumbers)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->SignalType = static_cast<signal32_t>(type);
    ExpectUnknown(signal, "Unknown signal type: " + std::to_string(type) + "!", "<vel:SignalType>");
  }
  TimeSignal const next = PlainSignal();
  next.GetHeader()->SignalType = static_cast<signal32_t>(6);
  ExpectUnknown(next, "Unknown signal type: 6!", "<vel:SignalType>");
}

TEST(TimeSignalDetails, UnknownSampleTypeEndsTheDocumentInItsStartTag)
{
  for (int const type : kUnknownNumbers)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->SampleType = static_cast<sample_datatype32_t>(type);
    ExpectUnknown(signal, "Unknown data type: " + std::to_string(type) + "!", "<vel:SampleType>");
  }
  TimeSignal const next = PlainSignal();
  next.GetHeader()->SampleType = static_cast<sample_datatype32_t>(11);
  ExpectUnknown(next, "Unknown data type: 11!", "<vel:SampleType>");
}

TEST(TimeSignalDetails, UnknownCompressionEndsTheDocumentInItsStartTag)
{
  for (int const form : kUnknownNumbers)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->Compression = static_cast<compression32_t>(form);
    ExpectUnknown(signal, "Unknown compression: " + std::to_string(form) + "!", "<vel:Compression>");
  }
  TimeSignal const next = PlainSignal();
  next.GetHeader()->Compression = static_cast<compression32_t>(5);
  ExpectUnknown(next, "Unknown compression: 5!", "<vel:Compression>");
}

TEST(TimeSignalDetails, FirstOfSeveralUnknownNumbersIsReported)
{
  TimeSignal const signal = PlainSignal();
  signal.GetHeader()->Compression = static_cast<compression32_t>(7);
  signal.GetHeader()->SampleType = static_cast<sample_datatype32_t>(77);
  ExpectUnknown(signal, "Unknown data type: 77!", "<vel:SampleType>");
  signal.GetHeader()->SignalType = static_cast<signal32_t>(777);
  ExpectUnknown(signal, "Unknown signal type: 777!", "<vel:SignalType>");
}

// Values

TEST(TimeSignalDetails, HeaderFieldsAreWrittenAsTheyStand)
{
  TimeSignal const signal = PlainSignal();
  timesignal_bin_t& header = *signal.GetHeader();
  header.BinaryHeaderVersion = 65535;
  header.HeaderSize = 0;
  header.SampleCount = ULLONG_MAX;
  header.DataArrayByteCount = ULLONG_MAX - 1;
  std::string const document = DocumentOf(signal);
  header.DataArrayByteCount = 6;

  EXPECT_EQ(ValueIn(document, "BinaryHeaderVersion"), "65535");
  EXPECT_EQ(ValueIn(document, "HeaderSize"), "0");
  EXPECT_EQ(ValueIn(document, "SampleCount"), "18446744073709551615");
  EXPECT_EQ(ValueIn(document, "DataArrayByteCount"), "18446744073709551614");
}

TEST(TimeSignalDetails, ScalingOffsetAndChecksumsAreNotWritten)
{
  TimeSignal const signal = PlainSignal();
  timesignal_bin_t& header = *signal.GetHeader();
  header.ScalingFactor = 123;
  header.Offset = 456;
  header.DataChecksum ^= 0xFFFF;
  header.HeaderChecksum ^= 0xFFFF;
  header.Reserved = 789;

  EXPECT_EQ(DocumentOf(signal), kPlainDocument);
}

TEST(TimeSignalDetails, TimeStampsOfTheWholeRangeAreWritten)
{
  struct
  {
    long long timeStamp;
    char const* text;
  } const times[] = {{0, "1970-01-01T00:00:00.000000Z"},
                     {-1, "1969-12-31T23:59:59.999999Z"},
                     {LLONG_MAX, "294247-01-10T04:00:54.775807Z"},
                     {LLONG_MIN, "-290308-12-21T19:59:05.224192Z"}};
  for (auto const& [timeStamp, text] : times)
  {
    TimeSignal const signal = PlainSignal();
    signal.GetHeader()->TimeStamp = timeStamp;
    EXPECT_EQ(DocumentOf(signal), Replaced(kPlainDocument, "2026-11-20T17:57:20.000123Z", text));
  }
}

TEST(TimeSignalDetails, NumbersHaveSixSignificantDigitsByDefault)
{
  struct
  {
    double value;
    char const* text;
  } const numbers[] = {{1.0 / 3, "0.333333"},
                       {1e-7, "1e-07"},
                       {2.0 / 3 * 1e-5, "6.66667e-06"},
                       {0.0001, "0.0001"},
                       {100000, "100000"},
                       {1000000, "1e+06"},
                       {123456.7, "123457"},
                       {-0.0, "-0"},
                       {1.0 / 65536, "1.52588e-05"},
                       {std::numeric_limits<double>::max(), "1.79769e+308"},
                       {std::numeric_limits<double>::denorm_min(), "4.94066e-324"},
                       {std::numeric_limits<double>::infinity(), "inf"},
                       {-std::numeric_limits<double>::infinity(), "-inf"},
                       {std::numeric_limits<double>::quiet_NaN(), "nan"},
                       {-std::numeric_limits<double>::quiet_NaN(), "-nan"}};
  for (auto const& [value, text] : numbers)
  {
    TimeSignal signal = PlainSignal();
    signal.GetHeader()->DeltaX = value;
    signal.AddValidator(Uuid(), value, Uuid(), "");
    signal.AddTrigger(kUnitUuid, value, Uuid(), "");
    signal.AddCharacteristicValue(Uuid(), value, Uuid(), "", kNoSpeed);
    std::string const document = DocumentOf(signal);
    for (char const* name : {"DeltaX", "AverageValue", "TripValue", "Value"})
      EXPECT_EQ(ValueIn(document, name), text) << name;
  }
}

TEST(TimeSignalDetails, UnitsAreWrittenAsTheyAre)
{
  using std::string_literals::operator""s;
  for (std::string const& unit :
       {"<&>\"']]>"s, "R&D"s, "&amp;"s, " m / s "s, "\xC2\xB5m\n"s, "\xB5"s, "a\0b"s, "</vel:UnitString>"s})
  {
    SignalParts parts;
    parts.unitString = unit;
    TimeSignal signal = MakeSignal({1}, parts);
    signal.AddValidator(Uuid(), 1, Uuid(), unit);
    signal.AddTrigger(kUnitUuid, 1, Uuid(), unit);
    signal.AddCharacteristicValue(Uuid(), 1, Uuid(), unit, kNoSpeed);
    EXPECT_EQ(CountOf("<vel:UnitString>" + unit + "</vel:UnitString>\n", DocumentOf(signal)), 4U) << unit;
  }
}

TEST(TimeSignalDetails, UnitWithALessThanSignMakesADocumentThatIsNoXml)
{
  SignalParts parts;
  parts.unitString = "<mm";
  Options parser;
  EXPECT_EQ(parser.parse(DocumentOf(MakeSignal({1}, parts))), nullptr);
  EXPECT_NE(parser.parse(kPlainDocument), nullptr);
}

// The stream

TEST(TimeSignalDetails, DocumentFollowsWhatTheStreamHolds)
{
  ClassicStream stream;
  stream << "before";
  ObjectOf(PlainSignal())->CreateXmlDetails(stream);
  stream << "between";
  ObjectOf(PlainSignal())->CreateXmlDetails(stream);

  EXPECT_EQ(stream.str(), "before" + kPlainDocument + "between" + kPlainDocument);
}

TEST(TimeSignalDetails, DocumentIsWrittenAtTheCurrentPosition)
{
  ClassicStream stream;
  stream << "0123456789" << std::string(kPlainDocument.size(), 'x');
  stream.seekp(4);
  ObjectOf(PlainSignal())->CreateXmlDetails(stream);

  EXPECT_EQ(stream.str(), "0123" + kPlainDocument + "xxxxxx");
  EXPECT_EQ(stream.tellg(), std::streampos(0));
}

TEST(TimeSignalDetails, FractionsFollowTheStreamAndIntegersDoNot)
{
  TimeSignal signal = PlainSignal();
  signal.GetHeader()->SampleCount = 4000;
  AddTheTrigger(signal);
  signal.AddCharacteristicValue(Uuid(), 2.5, Uuid(), "", 16);
  struct
  {
    std::ios_base& (*first)(std::ios_base&);
    std::ios_base& (*second)(std::ios_base&);
    int precision;
    char const* deltaX;
    char const* tripValue;
    char const* value;
    char const* speed;
  } const settings[] = {
      {&std::fixed, &std::dec, 3, "0.250", "0.000", "2.500", "16.000"},
      {&std::scientific, &std::uppercase, 1, "2.5E-01", "1.0E-07", "2.5E+00", "1.6E+01"},
      {&std::hex, &std::showbase, 6, "0.25", "1e-07", "2.5", "16"},
      {&std::oct, &std::showpos, 6, "+0.25", "+1e-07", "+2.5", "+16"},
      {&std::showpoint, &std::boolalpha, 4, "0.2500", "1.000e-07", "2.500", "16.00"},
      {&std::hexfloat, &std::dec, 6, "0x1p-2", "0x1.ad7f29abcaf48p-24", "0x1.4p+1", "0x1p+4"},
  };
  for (auto const& set : settings)
  {
    ClassicStream stream;
    stream << set.first << set.second << std::setprecision(set.precision) << std::setfill('*');
    auto const flags = stream.flags();
    ObjectOf(signal)->CreateXmlDetails(stream);
    std::string const document = stream.str();

    EXPECT_EQ(ValueIn(document, "DeltaX"), set.deltaX);
    EXPECT_EQ(ValueIn(document, "TripValue"), set.tripValue);
    EXPECT_EQ(ValueIn(document, "Value"), set.value);
    EXPECT_EQ(ValueIn(document, "Speed"), set.speed);
    EXPECT_EQ(ValueIn(document, "BinaryHeaderVersion"), "2");
    EXPECT_EQ(ValueIn(document, "HeaderSize"), "120");
    EXPECT_EQ(ValueIn(document, "SampleCount"), "4000");
    EXPECT_EQ(ValueIn(document, "DataArrayByteCount"), "6");
    EXPECT_EQ(stream.flags(), flags);
    EXPECT_EQ(stream.precision(), set.precision);
    EXPECT_EQ(stream.fill(), '*');
    EXPECT_EQ(stream.width(), 0);
  }
}

TEST(TimeSignalDetails, FieldWidthMeetsTheFirstFractionOnly)
{
  ClassicStream stream;
  stream << std::setw(9) << std::setfill('*');
  ObjectOf(PlainSignal())->CreateXmlDetails(stream);

  EXPECT_EQ(stream.str(), Replaced(kPlainDocument, ">0.25<", ">*****0.25<"));
}

TEST(TimeSignalDetails, LocaleOfTheStreamMeetsFractionsOnly)
{
  TimeSignal const signal = PlainSignal();
  signal.GetHeader()->SampleCount = 4000;
  ClassicStream stream;
  std::locale const hostile(std::locale::classic(), new HostilePunctuation);
  stream.imbue(hostile);
  ObjectOf(signal)->CreateXmlDetails(stream);

  EXPECT_EQ(ValueIn(stream.str(), "DeltaX"), "0,25");
  EXPECT_EQ(ValueIn(stream.str(), "SampleCount"), "4000");
  EXPECT_EQ(ValueIn(stream.str(), "HeaderSize"), "120");
  EXPECT_EQ(stream.getloc(), hostile);
}

TEST(TimeSignalDetails, DocumentOfADatabaseObjectKnowsNoGlobalLocale)
{
  TimeSignal signal = PlainSignal();
  AddTwoValidators(signal);
  AddTheTrigger(signal);
  AddThreeCharacteristicValues(signal);
  HostileLocale const hostile;
  std::unique_ptr<MeasurementDataDO> const stored(signal.GetMeasurementDataDO());

  EXPECT_EQ(stored->getMeasurementDataDetails(),
            kDocumentStart + kTwoValidators + kTrigger + kBinaryFile + kThreeCharacteristicValues + kDocumentEnd);
}

TEST(TimeSignalDetails, FailedStreamIsLeftToItsOwner)
{
  ClassicStream stream;
  stream << "before";
  stream.setstate(std::ios_base::failbit);
  EXPECT_NO_THROW(ObjectOf(PlainSignal())->CreateXmlDetails(stream));

  EXPECT_EQ(stream.str(), "before");
  EXPECT_EQ(stream.rdstate(), std::ios_base::failbit);
}

TEST(TimeSignalDetails, DescribingASignalDoesNotChangeIt)
{
  TimeSignal signal = PlainSignal();
  AddTwoValidators(signal);
  AddTheTrigger(signal);
  signal.Compress(zlib);
  SignalState const before(signal);
  std::string const first = DocumentOf(signal);

  EXPECT_EQ(DocumentOf(signal), first);
  before.ExpectUnchanged(signal);
  EXPECT_TRUE(signal.GetChecksumStatus());
  EXPECT_EQ(signal.GetValidators().size(), 2U);
  EXPECT_EQ(signal.GetTrigger().TriggerUuid, Numbered("b1"));
}

TEST(TimeSignalDetails, SamplesAreNotNeeded)
{
  TimeSignal const signal = PlainSignal();
  DropSamples(signal);
  EXPECT_EQ(DocumentOf(signal), kPlainDocument);
}
} // namespace

#include "platform/database/TrendDataDO.h"

#include "platform/Compression.h"
#include "signalprocessing/io/file/Trend.h"
#include "support/ClassicStream.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/PlatformErrors.h"
#include "support/TrendRecords.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{
using StoredPointer = std::unique_ptr<TrendDataDO>;

TrendParts SomeParts(std::size_t count, compression32_t form = no_compression)
{
  TrendParts parts;
  parts.form = form;
  for (std::size_t i = 0; i < count; ++i)
    parts.entries.push_back(MarkedEntry(1795197440000123 + static_cast<long long>(i) * 60000000,
                                        static_cast<unsigned char>(i % 5), static_cast<unsigned int>(i)));
  return parts;
}

StoredPointer Store(Trend const& trend) { return StoredPointer(trend.GetTrendDataDO()); }

Trend TrendFrom(TrendParts const& parts) { return Trend(StoredTrend(parts)); }

std::string UnitFrom(std::string const& details)
{
  TrendParts const parts = SomeParts(1);
  return Trend(StoredTrend(parts, FlatTrend(parts), details)).GetSignalUnitString();
}

std::string DetailsWithUnit(std::string const& element)
{
  return "<vel:TrendDataDetails><vel:Signal><vel:HeaderInfo>" + element +
         "</vel:HeaderInfo></vel:Signal></vel:TrendDataDetails>";
}

std::string Generated(Trend const& trend, trend_header_t const& header)
{
  ClassicStream stream;
  trend.GenerateDetails(header, stream);
  return stream.str();
}

/// What stands in an element of a document that has it once.
std::string Element(std::string const& document, std::string const& name)
{
  std::string const start = "<vel:" + name + ">";
  std::size_t const first = document.find(start);
  EXPECT_NE(first, std::string::npos) << name;
  std::size_t const from = first + start.size();
  return document.substr(from, document.find("</vel:" + name + ">", from) - from);
}

trend_header_t HeaderOf(Bytes const& flat)
{
  trend_header_t header;
  std::memcpy(&header, flat.data(), sizeof(header));
  return header;
}

std::string LimitText(double limit)
{
  TrendParts parts = SomeParts(1);
  parts.limit = limit;
  return Element(Store(TrendFrom(parts))->getTrendDataDetails(), "LowerPreAlarmLevel");
}

/// The object that a trend with these parts has to give, whatever its stream looks like.
void ExpectStored(TrendDataDO const& stored, TrendParts const& parts)
{
  Bytes const& data = stored.getData();
  ASSERT_GE(data.size(), kTrendHeaderBytes);
  EXPECT_EQ(EntriesOf(data), parts.entries);
  EXPECT_EQ(data, FlatTrend(parts, Bytes(data.begin() + kTrendHeaderBytes, data.end())));
  EXPECT_EQ(stored.getTrendDataDetails(), TrendDetails(parts, data));
  EXPECT_EQ(stored.getCurrentUuid().getUuid(), parts.trendUuid);
  EXPECT_EQ(stored.getCharacteristicValueConfig().getUuid(), parts.configUuid);
  EXPECT_EQ(stored.getCharacteristicValueConfigBaseUuid().getUuid(), parts.baseUuid);
  EXPECT_EQ(stored.getCharacteristicValueConfigBaseUuid().getId(), 0U);
  EXPECT_FALSE(stored.getCharacteristicValueConfigBaseUuid().getFlag());
  EXPECT_FALSE(stored.getClosed());
  EXPECT_EQ(stored.getFirstTimeStamp(), parts.entries.empty() ? 0 : TimeOf(parts.entries.front()));
  EXPECT_EQ(stored.getLastTimeStamp(), parts.entries.empty() ? 0 : TimeOf(parts.entries.back()));
  EXPECT_EQ(stored.getNumSamples(), parts.entries.size());
}
} // namespace

TEST(TrendDetailsDocument, IsThisTextToTheLastByte)
{
  TrendParts parts = SomeParts(2);
  parts.limit = 1.0 / 3;
  StoredPointer const stored = Store(TrendFrom(parts));
  EXPECT_EQ(stored->getTrendDataDetails(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<vel:TrendDataDetails xmlns:vel=\"http://www.qen.example/2015/09/30/velmora/\">\n"
            "   <vel:FileVersionXml>1.0.0.0</vel:FileVersionXml>\n"
            "   <vel:Signal>\n"
            "      <vel:HeaderInfo>\n"
            "         <vel:BinaryHeaderVersion>2</vel:BinaryHeaderVersion>\n"
            "         <vel:HeaderSize>96</vel:HeaderSize>\n"
            "         <vel:CharacteristicValueConfigUuid>10111213-1415-1617-1819-1a1b1c1d1e1f"
            "</vel:CharacteristicValueConfigUuid>\n"
            "         <vel:TrendUuid>50515253-5455-5657-5859-5a5b5c5d5e5f</vel:TrendUuid>\n"
            "         <vel:UnitUuid>70717273-7475-7677-7879-7a7b7c7d7e7f</vel:UnitUuid>\n"
            "         <vel:UnitString>mm/s</vel:UnitString>\n"
            "         <vel:SampleCount>2</vel:SampleCount>\n"
            "         <vel:DataArrayByteCount>64</vel:DataArrayByteCount>\n"
            "         <vel:Compression>no_compression</vel:Compression>\n"
            "      </vel:HeaderInfo>\n"
            "      <vel:LowerPreAlarmLevel>0.333333</vel:LowerPreAlarmLevel>\n"
            "      <vel:FirstTimeStamp>2026-11-20T17:57:20.000123Z</vel:FirstTimeStamp>\n"
            "      <vel:LastTimeStamp>2026-11-20T17:58:20.000123Z</vel:LastTimeStamp>\n"
            "      <vel:BinaryFileName></vel:BinaryFileName>\n"
            "      <vel:BinaryFileHash></vel:BinaryFileHash>\n"
            "   </vel:Signal>\n"
            "</vel:TrendDataDetails>");
}

TEST(TrendDetailsDocument, TrendGivesIdentityAndUnitTheHeaderEverythingElse)
{
  TrendParts const parts = SomeParts(3);
  TrendParts other = SomeParts(2, gzip);
  other.configUuid = CountingUuid(0x90);
  other.trendUuid = CountingUuid(0xA0);
  other.unitUuid = CountingUuid(0xB0);
  other.unitString = "other";
  other.limit = -8.75;
  Bytes flat = FlatTrend(other);
  SetField<unsigned short>(flat, TrendField::kBinaryHeaderVersion, 77);
  SetField<unsigned short>(flat, TrendField::kHeaderSize, 78);
  EXPECT_EQ(Generated(TrendFrom(parts), HeaderOf(flat)), TrendDetails(parts, flat));
}

TEST(TrendDetailsDocument, CountsAreSigned32BitNumbers)
{
  trend_header_t header{};
  header.SampleCount = 0xFFFFFFFF;
  header.DataArrayByteCount = 0x80000000;
  std::string const details = Generated(TrendFrom(SomeParts(1)), header);
  EXPECT_EQ(Element(details, "SampleCount"), "-1");
  EXPECT_EQ(Element(details, "DataArrayByteCount"), "-2147483648");
}

TEST(TrendDetailsDocument, OnlyTheThreeMethodsHaveAName)
{
  trend_header_t header{};
  Trend const trend = TrendFrom(SomeParts(1));
  auto const name = [&](int number)
  {
    header.Compression = static_cast<compression32_t>(number);
    return Element(Generated(trend, header), "Compression");
  };
  EXPECT_EQ(name(1), "no_compression");
  EXPECT_EQ(name(2), "zlib");
  EXPECT_EQ(name(4), "gzip");
  for (int const number : {3, 0, 5, -1, 1000})
    EXPECT_EQ(name(number), "") << number;
}

TEST(TrendDetailsDocument, TimeStampsOfZeroAreLeftOutEachOnItsOwn)
{
  Trend const trend = TrendFrom(SomeParts(1));
  trend_header_t header{};
  header.FirstTimeStamp = 1;
  EXPECT_EQ(Element(Generated(trend, header), "FirstTimeStamp"), "1970-01-01T00:00:00.000001Z");
  EXPECT_EQ(Element(Generated(trend, header), "LastTimeStamp"), "");
  header.FirstTimeStamp = 0;
  header.LastTimeStamp = -1;
  EXPECT_EQ(Element(Generated(trend, header), "FirstTimeStamp"), "");
  EXPECT_EQ(Element(Generated(trend, header), "LastTimeStamp"), "1969-12-31T23:59:59.999999Z");
}

TEST(TrendDetailsDocument, ExtremeTimeStampsAreWritten)
{
  trend_header_t header{};
  header.FirstTimeStamp = LLONG_MIN;
  header.LastTimeStamp = LLONG_MAX;
  std::string const details = Generated(TrendFrom(SomeParts(1)), header);
  EXPECT_EQ(Element(details, "FirstTimeStamp"), "-290308-12-21T19:59:05.224192Z");
  EXPECT_EQ(Element(details, "LastTimeStamp"), "294247-01-10T04:00:54.775807Z");
}

TEST(TrendDetailsDocument, LimitHasSixSignificantDigits)
{
  EXPECT_EQ(LimitText(0.5), "0.5");
  EXPECT_EQ(LimitText(0), "0");
  EXPECT_EQ(LimitText(1234567), "1.23457e+06");
  EXPECT_EQ(LimitText(-0.00001234567), "-1.23457e-05");
  EXPECT_EQ(LimitText(100000), "100000");
  EXPECT_EQ(LimitText(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(LimitText(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(TrendDetailsDocument, LimitFollowsTheSettingsOfTheStream)
{
  TrendParts parts = SomeParts(1);
  parts.limit = 1.0 / 3;
  ClassicStream stream;
  stream << std::fixed << std::setprecision(9);
  TrendFrom(parts).GenerateDetails(HeaderOf(FlatTrend(parts)), stream);
  EXPECT_EQ(Element(stream.str(), "LowerPreAlarmLevel"), "0.333333333");
}

TEST(TrendDetailsDocument, IsAppendedToTheStream)
{
  TrendParts const parts = SomeParts(1);
  Bytes const flat = FlatTrend(parts);
  ClassicStream stream;
  stream << "before";
  TrendFrom(parts).GenerateDetails(HeaderOf(flat), stream);
  stream << "behind";
  EXPECT_EQ(stream.str(), "before" + TrendDetails(parts, flat) + "behind");
}

TEST(TrendDetailsDocument, UnitIsNotEscaped)
{
  for (char const* const unit : {"R&D", "<vel:X>", "\"'", "\xC2\xB5m", "", "  ", "a\nb", "]]>"})
  {
    Trend const trend(CountingUuid(1), CountingUuid(2), CountingUuid(3), unit, 0);
    EXPECT_EQ(Element(Store(trend)->getTrendDataDetails(), "UnitString"), unit);
  }
}

TEST(TrendDetailsDocument, GlobalLocaleChangesNothing)
{
  TrendParts parts = SomeParts(1200);
  parts.limit = 1234.5;
  Trend const trend = TrendFrom(parts);
  HostileLocale const hostile;
  ExpectStored(*Store(trend), parts);
}

TEST(TrendToDatabase, EveryFormGivesRecordDetailsAndColumns)
{
  for (compression32_t const form : kStorageForms)
    for (std::size_t const count : {0U, 1U, 2U, 300U})
    {
      SCOPED_TRACE(std::to_string(form) + ", " + std::to_string(count));
      TrendParts const parts = SomeParts(count, form);
      ExpectStored(*Store(TrendFrom(parts)), parts);
    }
}

TEST(TrendToDatabase, UncompressedRecordIsTheOneMadeByHand)
{
  TrendParts const parts = SomeParts(3);
  EXPECT_EQ(Store(TrendFrom(parts))->getData(), FlatTrend(parts));
}

TEST(TrendToDatabase, TrendFromFiveValuesIsStoredWithItsNewUuid)
{
  Trend trend(CountingUuid(0x10), CountingUuid(0x30), CountingUuid(0x70), "mm/s", 0.5);
  TrendParts parts = SomeParts(4, zlib);
  for (EntryBytes const& entry : parts.entries)
    trend.AddTrendEntry(ToEntry(entry), true);
  trend.SetCompression(zlib);
  parts.trendUuid = trend.GetTrendUuid();
  ExpectStored(*Store(trend), parts);
}

TEST(TrendToDatabase, HeaderChecksumCoversTheDataChecksum)
{
  for (compression32_t const form : kStorageForms)
  {
    StoredPointer const stored = Store(TrendFrom(SomeParts(3, form)));
    Bytes const& data = stored->getData();
    Bytes const header(data.begin(), data.begin() + kTrendHeaderBytes);
    EXPECT_EQ(FieldAt<unsigned short>(data, TrendField::kDataChecksum),
              PlainChecksum(Bytes(data.begin() + kTrendHeaderBytes, data.end())));
    EXPECT_EQ(PlainChecksum(header), 0) << "all words of a header cancel out";
  }
}

TEST(TrendToDatabase, TimeStampsAreThoseOfTheEntries)
{
  TrendParts parts = SomeParts(2);
  parts.firstColumn = 1;
  parts.lastColumn = 2;
  ExpectStored(*Store(TrendFrom(parts)), parts);
}

TEST(TrendToDatabase, TrendWithoutEntriesHasNoTimesWhateverItHeld)
{
  for (compression32_t const form : kStorageForms)
  {
    TrendParts parts = SomeParts(0, form);
    parts.firstColumn = 1000;
    parts.lastColumn = 2000;
    Trend const trend = TrendFrom(parts);
    EXPECT_EQ(trend.GetFirstTimeStamp(), 1000);
    StoredPointer const stored = Store(trend);
    ExpectStored(*stored, parts);
    EXPECT_EQ(Element(stored->getTrendDataDetails(), "FirstTimeStamp"), "");
    EXPECT_EQ(Element(stored->getTrendDataDetails(), "LastTimeStamp"), "");
  }
}

TEST(TrendToDatabase, StoringChangesNothingInTheTrend)
{
  Trend const trend = TrendFrom(SomeParts(5, gzip));
  Trend const before = trend;
  Store(trend);
  EXPECT_TRUE(trend == before);
}

TEST(TrendToDatabase, UnknownCompressionCannotBeStored)
{
  Trend trend = TrendFrom(SomeParts(2));
  for (int const number : {3, 0, 5, -1})
  {
    trend.SetCompression(static_cast<compression32_t>(number));
    ExpectThrow<TrendException>([&] { Store(trend); }, "Unknown compression: " + std::to_string(number) + "!",
                                kTrendUnit);
  }
  trend.SetCompression(no_compression);
  EXPECT_NE(Store(trend), nullptr);
}

TEST(TrendFromDatabase, TakesIdentityFromTheObjectAndTheRestFromTheRecord)
{
  TrendParts parts = SomeParts(3, gzip);
  TrendParts record = parts;
  record.configUuid = CountingUuid(0x81);
  record.trendUuid = CountingUuid(0x82);
  record.unitUuid = CountingUuid(0x83);
  record.limit = -4.5;
  Bytes flat = FlatTrend(record);
  SetField(flat, TrendField::kFirstTimeStamp, 11LL);
  SetField(flat, TrendField::kLastTimeStamp, 12LL);
  parts.firstColumn = 21;
  parts.lastColumn = 22;
  Trend const trend(StoredTrend(parts, flat, TrendDetails(parts, flat)));
  EXPECT_EQ(trend.GetCharacteristicValueConfigUuid(), parts.configUuid);
  EXPECT_EQ(trend.GetCharacteristicValueConfigBaseUuid(), parts.baseUuid);
  EXPECT_EQ(trend.GetTrendUuid(), parts.trendUuid);
  EXPECT_EQ(trend.GetSignalUnitUuid(), CountingUuid(0x83));
  EXPECT_EQ(trend.GetSignalUnitString(), "mm/s");
  EXPECT_EQ(trend.GetLowerPreAlarmLimit(), -4.5);
  EXPECT_EQ(trend.GetFirstTimeStamp(), 21);
  EXPECT_EQ(trend.GetLastTimeStamp(), 22);
  EXPECT_EQ(trend.GetCompression(), gzip);
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), parts.entries);
}

TEST(TrendFromDatabase, NumberOfSamplesAndClosedAreNotLookedAt)
{
  TrendParts const parts = SomeParts(3);
  TrendDataDO stored = StoredTrend(parts);
  stored.setNumSamples(1);
  stored.setClosed(true);
  EXPECT_EQ(Trend(stored).GetNumberOfEntries(), 3U);
}

TEST(TrendFromDatabase, ChecksumsAreNotVerified)
{
  TrendParts const parts = SomeParts(2);
  Bytes flat = FlatTrend(parts);
  SetField<unsigned short>(flat, TrendField::kDataChecksum, 0x1234);
  SetField<unsigned short>(flat, TrendField::kHeaderChecksum, 0x5678);
  EXPECT_EQ(AllBytes(Trend(StoredTrend(parts, flat, "")).GetTrendEntryVector()), parts.entries);
}

TEST(TrendFromDatabase, WhatWasStoredComesBackEqual)
{
  for (compression32_t const form : kStorageForms)
  {
    Trend const trend = TrendFrom(SomeParts(20, form));
    Trend const back(*Store(trend));
    EXPECT_TRUE(back == trend);
    EXPECT_EQ(back.GetTrendUuid(), trend.GetTrendUuid());
    EXPECT_EQ(AllBytes(back.GetTrendEntryVector()), AllBytes(trend.GetTrendEntryVector()));
  }
}

TEST(TrendFromDatabase, UnitIsTheTextOfItsElement)
{
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString>mm/s</vel:UnitString>")), "mm/s");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString> \xC2\xB5m  </vel:UnitString>")), " \xC2\xB5m  ");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString>R&D</vel:UnitString>")), "R&D");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString>&lt;x&gt;</vel:UnitString>")), "<x>");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString>a</vel:UnitString><vel:UnitString>b</vel:UnitString>")), "a");
}

TEST(TrendFromDatabase, UnitIsEmptyWhenTheDetailsHaveNone)
{
  EXPECT_EQ(UnitFrom(DetailsWithUnit("")), "");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString></vel:UnitString>")), "");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<vel:UnitString/>")), "");
  EXPECT_EQ(UnitFrom(DetailsWithUnit("<UnitString>mm/s</UnitString>")), "");
  EXPECT_EQ(UnitFrom("<vel:TrendDataDetails><vel:Signal><vel:UnitString>g</vel:UnitString></vel:Signal>"
                     "</vel:TrendDataDetails>"),
            "");
  EXPECT_EQ(UnitFrom("<vel:MeasurementDataDetails><vel:Signal><vel:HeaderInfo><vel:UnitString>g</vel:UnitString>"
                     "</vel:HeaderInfo></vel:Signal></vel:MeasurementDataDetails>"),
            "");
}

TEST(TrendFromDatabase, UnitIsEmptyWhenTheDetailsAreNoXml)
{
  std::string const whole = DetailsWithUnit("<vel:UnitString>g</vel:UnitString>");
  ASSERT_EQ(UnitFrom(whole), "g");
  EXPECT_EQ(UnitFrom(""), "");
  EXPECT_EQ(UnitFrom("garbage"), "");
  EXPECT_EQ(UnitFrom(std::string(1, '\0')), "");
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_EQ(UnitFrom(whole.substr(0, size)), "") << size;
}

TEST(TrendFromDatabase, AnyUnitWithoutMarkupSurvivesStoring)
{
  for (char const* const unit : {"mm/s", "R&D", " g ",
                                 "\xC2\xB0"
                                 "C",
                                 "\"'", "1/min & more", ""})
  {
    TrendParts parts = SomeParts(1);
    parts.unitString = unit;
    EXPECT_EQ(TrendFrom(parts).GetSignalUnitString(), unit);
    EXPECT_EQ(Trend(*Store(TrendFrom(parts))).GetSignalUnitString(), unit);
  }
}

TEST(TrendFromDatabase, UnitWithMarkupLosesItselfAndNothingElse)
{
  TrendParts parts = SomeParts(2);
  parts.unitString = "a<b";
  Trend const trend = TrendFrom(parts);
  EXPECT_EQ(trend.GetSignalUnitString(), "");
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), parts.entries);
}

TEST(TrendFromDatabase, RecordOfTheWrongSizeIsRefused)
{
  TrendParts const parts = SomeParts(2);
  Bytes flat = FlatTrend(parts);
  flat.push_back(0);
  ExpectThrow<TrendException>([&] { Trend{StoredTrend(parts, flat, "")}; },
                              "Wrong trend data size: actual 65 bytes, expected 64 bytes!", kTrendUnit);
  ExpectThrow<TrendException>([&] { Trend{StoredTrend(parts, Bytes(), "")}; },
                              "Trend header incomplete: actual 0 bytes, expected 96 bytes!", kTrendUnit);
}

TEST(TrendFromDatabase, UnknownCompressionIsRefused)
{
  for (int const number : {0, 3, 5, -1, INT_MAX, INT_MIN})
  {
    TrendParts const parts = SomeParts(2);
    Bytes flat = FlatTrend(parts);
    SetField(flat, TrendField::kCompression, number);
    // Neither would four billion entries be made room for.
    for (unsigned int const count : {2U, 0xFFFFFFFFU})
    {
      SetField(flat, TrendField::kSampleCount, count);
      ExpectThrow<TrendException>([&] { Trend{StoredTrend(parts, flat, "")}; },
                                  "Unknown compression: " + std::to_string(number) + "!", kTrendUnit);
    }
  }
}

TEST(TrendFromDatabase, DamagedStreamIsTheCodecsError)
{
  for (compression32_t const form : {zlib, gzip})
  {
    TrendParts const parts = SomeParts(2, form);
    Bytes flat = FlatTrend(parts);
    flat.back() = static_cast<unsigned char>(~flat.back()); // of the stream's checksum or length
    EXPECT_TRUE(Refuses<CompressionException>([&] { Trend{StoredTrend(parts, flat, "")}; })) << form;
  }
}

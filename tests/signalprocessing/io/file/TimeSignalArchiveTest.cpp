#include "signalprocessing/io/file/TimeSignalArchive.h"

#include "support/ArchiveForm.h"
#include "support/ByteStreams.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/LogCapture.h"
#include "support/SignalContents.h"
#include "support/SignalState.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <ios>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using QenSerialize::SerializationException;
using namespace std::string_literals;

namespace
{
constexpr char kTimeSignalCategory[] = "example.qen.velmora.libs.signalprocessing.io.file.time_signal";
constexpr char kSharedMessage[] = "Cannot stream data into time signal object with a reference counter greater than 1!";

std::string Archived(InternalTimeSignal const& signal)
{
  Archive archive;
  archive << signal;
  EXPECT_TRUE(archive.good());
  return archive.str();
}

/// Reads a whole archive into an object.
void ReadInto(InternalTimeSignal& signal, std::string const& bytes)
{
  Archive archive(bytes);
  archive >> signal;
  EXPECT_TRUE(archive.good());
  EXPECT_EQ(archive.tellg(), std::streampos(static_cast<std::streamoff>(bytes.size())));
}

SignalContents ReadBack(std::string const& bytes)
{
  InternalTimeSignal signal;
  ReadInto(signal, bytes);
  return ContentsOf(signal);
}

/// Writing an object with these contents gives their archive form, and reading that gives the contents.
void ExpectRoundTrip(SignalContents const& contents)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  std::string const bytes = Archived(*signal);
  ASSERT_TRUE(bytes == ArchiveForm(contents));
  ExpectSameContents(ContentsOf(*signal), contents);
  ExpectSameContents(ReadBack(bytes), ThroughArchive(contents));
}

/// A header without samples, whose other fields hold recognisable nonsense.
Bytes NonsenseHeader()
{
  Bytes header(kHeaderBytes);
  for (std::size_t i = 0; i < header.size(); ++i)
    header[i] = static_cast<unsigned char>(0x11 + i);
  SetField(header, FieldOffset::kDataArrayByteCount, 0ULL);
  return header;
}

/// Puts a caller's sample array into an object.
void PutSamples(InternalTimeSignal& signal, Bytes const& samples)
{
  auto array = std::make_unique<unsigned char[]>(samples.size());
  std::copy(samples.begin(), samples.end(), array.get());
  std::unique_ptr<unsigned char[]> const old(std::exchange(signal.GetHeader()->Samples, array.release()));
  signal.GetHeader()->DataArrayByteCount = samples.size();
}

/// The shortest archive: no samples, no list entries, empty texts, numbers 0.
std::string TagAndRest(std::string const& tag)
{
  return tag + "\x01\x00"s + "\x01\x00"s + std::string(16, '\0') + "0 " + std::string(16, '\0') + "\x01\x00"s +
         "\x01\x00"s + std::string(16, '\0');
}
} // namespace

// UUIDs

TEST(UuidArchive, IsSixteenPlainBytes)
{
  Archive archive;
  EXPECT_EQ(&(archive << CountingUuid(0xF8) << Uuid()), &archive);
  EXPECT_EQ(archive.str(), "\xF8\xF9\xFA\xFB\xFC\xFD\xFE\xFF\x00\x01\x02\x03\x04\x05\x06\x07"s + std::string(16, '\0'));
  Uuid first, second = CountingUuid(1);
  EXPECT_EQ(&(archive >> first >> second), &archive);
  EXPECT_EQ(first, CountingUuid(0xF8));
  EXPECT_TRUE(second.IsNull());
  EXPECT_TRUE(archive.good());
}

TEST(UuidArchive, BlanksAndLineFeedsAreBytesLikeOthers)
{
  std::string const bytes = " \n\t\r  \n\n\x0B\x0C       "s.substr(0, 16);
  ASSERT_EQ(bytes.size(), 16U);
  Archive archive(bytes);
  Uuid uuid;
  archive >> uuid;
  EXPECT_EQ(PlainBytes(uuid), bytes);
}

TEST(UuidArchive, CutOneLeavesTheValueAndFailsTheArchive)
{
  for (std::size_t size = 0; size < 16; ++size)
  {
    Archive archive(std::string(size, 'x'));
    Uuid uuid = CountingUuid(1);
    EXPECT_NO_THROW(archive >> uuid);
    EXPECT_TRUE(archive.fail());
    EXPECT_EQ(uuid, CountingUuid(1));
  }
}

// The form

TEST(TimeSignalArchive, TinySignalIsTheRowOfBytesWrittenByHand)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 0, 0);
  contents.samples = Bytes{0x01, 0x00, 0xFE, 0xFF};
  contents.header = FlatRecord(data_int16_t, no_compression, 2, *contents.samples);
  contents.header.resize(kHeaderBytes);
  contents.unitString = "g";
  contents.validators = {{CountingUuid(0x01), 0.5, CountingUuid(0x11), "mm"}};
  contents.trigger = {CountingUuid(0x21), -2, CountingUuid(0x31), ""};
  contents.charVals = {{CountingUuid(0x41), 1e100, CountingUuid(0x51), "s", 1.5F}};
  contents.jobDataUuid = CountingUuid(0x61);
  std::string const expected =
      PlainBytes(contents.header) + "\x04\xEF\xBE\xAD\xDE" + "\x01\x00\xFE\xFF"s + "\x01\x01g" + "\x01\x01" +
      "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10" + "0.5 " +
      "\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F\x20" + "\x01\x02mm" +
      "\x21\x22\x23\x24\x25\x26\x27\x28\x29\x2A\x2B\x2C\x2D\x2E\x2F\x30" + "-2 " +
      "\x31\x32\x33\x34\x35\x36\x37\x38\x39\x3A\x3B\x3C\x3D\x3E\x3F\x40" + "\x01\x00"s + "\x01\x01" +
      "\x41\x42\x43\x44\x45\x46\x47\x48\x49\x4A\x4B\x4C\x4D\x4E\x4F\x50" + "1.000000000000000015902891109759918e+100 " +
      "\x51\x52\x53\x54\x55\x56\x57\x58\x59\x5A\x5B\x5C\x5D\x5E\x5F\x60" + "\x01\x01s" + "1.5 " +
      "\x61\x62\x63\x64\x65\x66\x67\x68\x69\x6A\x6B\x6C\x6D\x6E\x6F\x70";
  EXPECT_EQ(Archived(*ObjectWith(contents)), expected);
  ExpectSameContents(ReadBack(expected), contents);
}

TEST(TimeSignalArchive, EmptySignalHasTagZeroAndAllOtherItems)
{
  InternalTimeSignal const signal;
  std::string const bytes = Archived(signal);
  EXPECT_EQ(bytes, PlainBytes(HeaderBytes(*signal.GetHeader())) + TagAndRest("\x01\x00"s));
  SignalContents const back = ReadBack(bytes);
  EXPECT_FALSE(back.samples);
  EXPECT_TRUE(back.trigger.TriggerUuid.IsNull());
}

TEST(TimeSignalArchive, EveryTypeAndStoredFormIsWrittenByteForByteAndComesBack)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStorageForms)
      for (std::size_t const count : {0U, 1U, 5U, 1000U})
      {
        SCOPED_TRACE("type " + std::to_string(type) + ", form " + std::to_string(form));
        ExpectRoundTrip(DescribedSignal(type, form, count));
      }
}

TEST(TimeSignalArchive, ListsOfAnyLengthComeBackInTheirOrder)
{
  for (std::size_t const length : {0U, 1U, 2U, 50U, 255U, 256U, 1000U})
    ExpectRoundTrip(DescribedSignal(data_int16_t, no_compression, 3, length));
}

TEST(TimeSignalArchive, SampleArraysOfEverySizeComeBack)
{
  for (std::size_t const count : {4095U, 4096U, 4097U, 65535U, 65536U, 65537U, 1048576U, 1048577U, 3000001U})
  {
    SignalContents contents = DescribedSignal(data_int8_t, no_compression, 0);
    contents.samples.emplace(count);
    for (std::size_t i = 0; i < count; ++i)
      (*contents.samples)[i] = static_cast<unsigned char>(i * 7 + i / 256);
    contents.header = FlatRecord(data_int8_t, no_compression, count, *contents.samples);
    contents.header.resize(kHeaderBytes);
    ExpectRoundTrip(contents);
  }
}

TEST(TimeSignalArchive, SignalReadIntoAFreshOneIsEqual)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(DescribedSignal(data_float32_t, gzip, 100));
  InternalTimeSignal back;
  ReadInto(back, Archived(*signal));
  EXPECT_TRUE(back == *signal);
  EXPECT_TRUE(back.GetChecksumStatus());
  EXPECT_EQ(back.GetReferenceCounter(), 1U);
  EXPECT_TRUE(std::isnan(back.GetCharVals().at(1).Speed));
}

TEST(TimeSignalArchive, CompressedSamplesAreUsableWhenTheyAreBack)
{
  InternalTimeSignal back;
  ReadInto(back, ArchiveForm(DescribedSignal(data_int32_t, zlib, 100)));
  back.Uncompress();
  EXPECT_EQ(*ContentsOf(back).samples, SampleBytes(data_int32_t, 100));
}

TEST(TimeSignalArchive, NullTriggerKeepsItsOtherFields)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  contents.trigger.TriggerUuid.ClearUuid();
  ExpectRoundTrip(contents);
}

TEST(TimeSignalArchive, TextsComeBackUpToTheirFirstZeroByte)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  contents.unitString = "m\0/s"s;
  contents.trigger.UnitString = "\0"s;
  contents.validators.front().UnitString = "ab\0"s;
  contents.charVals.front().UnitString = "a\0b\0c"s;
  ExpectRoundTrip(contents);
  SignalContents const back = ReadBack(ArchiveForm(contents));
  EXPECT_EQ(back.unitString, "m");
  EXPECT_EQ(back.trigger.UnitString, "");
  EXPECT_EQ(back.validators.front().UnitString, "ab");
  EXPECT_EQ(back.charVals.front().UnitString, "a");
}

TEST(TimeSignalArchive, AnyNumbersAndTextsComeBack)
{
  RandomContents random(21, false);
  for (int run = 0; run < 3; ++run)
    for (sample_datatype32_t const type : kSampleTypes)
      for (compression32_t const form : kStorageForms)
      {
        SCOPED_TRACE("run " + std::to_string(run) + ", type " + std::to_string(type) + ", form " +
                     std::to_string(form));
        ExpectRoundTrip(random.Make(type, form));
      }
}

TEST(TimeSignalArchive, SeveralSignalsFollowEachOther)
{
  RandomContents random(22, false);
  std::vector<SignalContents> all;
  for (sample_datatype32_t const type : kSampleTypes)
    all.push_back(random.Make(type, kStorageForms.at(static_cast<std::size_t>(type) % 3)));
  Archive archive("before"s);
  std::string expected = "before";
  for (SignalContents const& contents : all)
  {
    EXPECT_EQ(&(archive << *ObjectWith(contents)), &archive);
    expected += ArchiveForm(contents);
  }
  EXPECT_TRUE(archive.str() == expected);
  archive.ignore(6);
  for (SignalContents const& contents : all)
  {
    InternalTimeSignal signal;
    EXPECT_EQ(&(archive >> signal), &archive);
    ExpectSameContents(ContentsOf(signal), ThroughArchive(contents));
  }
  EXPECT_TRUE(archive.good());
}

TEST(TimeSignalArchive, NeitherLooksAtTheGlobalLocale)
{
  HostileLocale const hostile;
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 2000);
  contents.trigger.TripValue = 1234567.5;
  ExpectRoundTrip(contents);
}

TEST(TimeSignalArchive, SettingsOfTheArchiveStay)
{
  Archive archive;
  archive.precision(3);
  archive.setf(std::ios_base::showpos | std::ios_base::boolalpha);
  auto const flags = archive.flags();
  archive << *ObjectWith(DescribedSignal(data_int16_t, no_compression, 3));
  EXPECT_EQ(archive.precision(), 3);
  EXPECT_EQ(archive.flags(), flags);
  InternalTimeSignal signal;
  archive >> signal;
  EXPECT_EQ(archive.precision(), 3);
  EXPECT_EQ(archive.flags(), flags);
}

// Headers as they stand

TEST(TimeSignalArchive, HeaderIsTakenAsItStands)
{
  std::string const bytes = PlainBytes(NonsenseHeader()) + TagAndRest("\x01\x00"s);
  InternalTimeSignal signal;
  ReadInto(signal, bytes);
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()), NonsenseHeader());
  EXPECT_EQ(Archived(signal), bytes);
}

TEST(TimeSignalArchive, WrongChecksumsAreWrittenAndReadAsTheyAre)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  signal->GetHeader()->DataChecksum = 0x1234;
  signal->GetHeader()->HeaderChecksum = 0x5678;
  contents.header = HeaderBytes(*signal->GetHeader());
  EXPECT_EQ(Archived(*signal), ArchiveForm(contents));
  ExpectSameContents(ReadBack(ArchiveForm(contents)), contents);
}

TEST(TimeSignalArchive, OnlyTheLow32BitsOfTheByteCountAreFollowedBySamples)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  SetField(contents.header, FieldOffset::kDataArrayByteCount, (5ULL << 32) + 6);
  InternalTimeSignal signal;
  ReadInto(signal, ArchiveForm(contents));
  EXPECT_EQ(signal.GetHeader()->DataArrayByteCount, (5ULL << 32) + 6);
  EXPECT_EQ(Bytes(signal.GetStoredSamples().begin(), signal.GetStoredSamples().end()), *contents.samples);
  EXPECT_EQ(Archived(signal), ArchiveForm(contents));
}

TEST(TimeSignalArchive, EmptyArrayIsNotNoArray)
{
  std::string const bytes = PlainBytes(NonsenseHeader()) + TagAndRest("\x04\xEF\xBE\xAD\xDE");
  InternalTimeSignal signal;
  ReadInto(signal, bytes);
  EXPECT_NE(signal.GetSamplesPointer(), nullptr);
  EXPECT_TRUE(signal.GetStoredSamples().empty());
  EXPECT_EQ(Archived(signal), bytes);
}

TEST(TimeSignalArchive, ByteCountWithoutAnArrayHasTagZero)
{
  Bytes header = NonsenseHeader();
  SetField(header, FieldOffset::kDataArrayByteCount, 6ULL);
  std::string const bytes = PlainBytes(header) + TagAndRest("\x01\x00"s);
  InternalTimeSignal signal;
  ReadInto(signal, bytes);
  EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
  EXPECT_EQ(signal.GetHeader()->DataArrayByteCount, 6U);
  EXPECT_EQ(Archived(signal), bytes);
}

TEST(TimeSignalArchive, ArrayShorterThanTheHeaderSaysIsContinuedByZeros)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  signal->GetHeader()->DataArrayByteCount = 9;
  SetField(contents.header, FieldOffset::kDataArrayByteCount, 9ULL);
  contents.samples->resize(9);
  EXPECT_EQ(Archived(*signal), ArchiveForm(contents));
}

TEST(TimeSignalArchive, OfALongerArrayAsMuchIsWrittenAsTheHeaderSays)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  signal->GetHeader()->DataArrayByteCount = 1;
  SetField(contents.header, FieldOffset::kDataArrayByteCount, 1ULL);
  contents.samples->resize(1);
  EXPECT_EQ(Archived(*signal), ArchiveForm(contents));
}

TEST(TimeSignalArchive, ArrayThatTheCallerPutIntoTheHeaderIsWrittenWhole)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  contents.samples = Bytes{9, 8, 7, 6, 5, 4, 3, 2, 1};
  PutSamples(*signal, *contents.samples);
  SetField(contents.header, FieldOffset::kDataArrayByteCount, 9ULL);
  EXPECT_EQ(Archived(*signal), ArchiveForm(contents));
}

// Objects that held something before

TEST(TimeSignalArchiveTarget, IsReplacedWhole)
{
  SignalContents const big = DescribedSignal(data_float64_t, gzip, 100, 7);
  SignalContents const small = DescribedSignal(data_int16_t, no_compression, 2, 1);
  SignalContents none = DescribedSignal(data_uint8_t, no_compression, 0, 0);
  none.unitString = "";
  none.trigger = {};
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(big);
  for (SignalContents const& next : {small, none, big, none, small, big, big})
  {
    ReadInto(*signal, ArchiveForm(next));
    ExpectSameContents(ContentsOf(*signal), next);
  }
}

TEST(TimeSignalArchiveTarget, ArrayOfTheCallerIsReplacedToo)
{
  SignalContents const contents = DescribedSignal(data_int32_t, no_compression, 4);
  SignalContents const without = DescribedSignal(data_int32_t, no_compression, 0);
  for (SignalContents const* const next : {&contents, &without})
  {
    InternalTimeSignal signal;
    PutSamples(signal, Bytes(100, 7));
    ReadInto(signal, ArchiveForm(*next));
    ExpectSameContents(ContentsOf(signal), *next);
  }
}

TEST(TimeSignalArchiveTarget, TakesItsOwnArchive)
{
  SignalContents const contents = DescribedSignal(data_int32_t, no_compression, 4);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  ReadInto(*signal, Archived(*signal));
  ExpectSameContents(ContentsOf(*signal), contents);
}

// Failures

TEST(TimeSignalArchiveTag, OtherValueIsRefusedBehindTheHeader)
{
  Bytes const header = NonsenseHeader();
  for (std::uint32_t const tag : {1U, 2U, 0xDEADU, 0xDEADBEEEU, 0xEFBEADDEU, 0xFFFFFFFFU})
  {
    SignalContents const before = DescribedSignal(data_int16_t, no_compression, 3);
    std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(before);
    Archive archive(PlainBytes(header) + TagAndRest(PortableUnsigned(tag)));
    ExpectThrow<TimeSignalException>([&] { archive >> *signal; }, "Corrupt time signal archive object!",
                                     kTimeSignalUnit);
    EXPECT_EQ(HeaderBytes(*signal->GetHeader()), header);
    SignalContents const after = ContentsOf(*signal);
    EXPECT_EQ(DescriptionDifference(after, before), "");
    EXPECT_NE(signal->GetSamplesPointer(), nullptr);
    EXPECT_TRUE(archive.good());
    EXPECT_EQ(archive.tellg(), std::streampos(static_cast<std::streamoff>(120 + PortableUnsigned(tag).size())));
  }
}

TEST(TimeSignalArchiveTag, LongFormsOfTheTwoValuesAreAccepted)
{
  SignalContents const back = ReadBack(PlainBytes(NonsenseHeader()) + TagAndRest("\x04\x00\x00\x00\x00"s));
  EXPECT_FALSE(back.samples);
  EXPECT_TRUE(ReadBack(PlainBytes(NonsenseHeader()) + TagAndRest("\x74\xEF\xBE\xAD\xDE")).samples);
}

TEST(TimeSignalArchiveTag, OtherValueIsLoggedForDebugging)
{
  LogCapture const log(kTimeSignalCategory);
  Archive archive(PlainBytes(NonsenseHeader()) + TagAndRest("\x01\x01"));
  InternalTimeSignal signal;
  EXPECT_THROW(archive >> signal, TimeSignalException);
  std::vector<LogRecord> const records = log.Records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.front().text, "Wrong tag!");
  EXPECT_EQ(records.front().priority, log4cpp::Priority::DEBUG);
  EXPECT_EQ(records.front().category, kTimeSignalCategory);
}

TEST(TimeSignalArchiveTag, NothingIsLoggedWithoutTheDebugPriority)
{
  LogCapture const log(kTimeSignalCategory, log4cpp::Priority::INFO);
  Archive archive(PlainBytes(NonsenseHeader()) + TagAndRest("\x01\x01"));
  InternalTimeSignal signal;
  EXPECT_THROW(archive >> signal, TimeSignalException);
  EXPECT_TRUE(log.Records().empty());
}

TEST(TimeSignalArchiveTag, NothingIsLoggedForGoodAndCutArchives)
{
  LogCapture const log(kTimeSignalCategory);
  std::string const bytes = ArchiveForm(DescribedSignal(data_int16_t, no_compression, 3));
  ReadBack(bytes);
  for (std::size_t const size : {0U, 120U, 121U, 130U})
  {
    Archive archive(bytes.substr(0, size));
    InternalTimeSignal signal;
    EXPECT_THROW(archive >> signal, SerializationException);
  }
  EXPECT_TRUE(log.Records().empty());
}

TEST(TimeSignalArchiveFailure, WrongSpeedIsRefusedInItsOwnUnit)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, 3, 1);
  std::vector<ArchiveItem> const items = ArchiveItems(contents);
  std::string bytes;
  for (ArchiveItem const& item : items)
    bytes += item.kind == ArchiveItemKind::speed ? "fast " : item.bytes;
  Archive archive(bytes);
  InternalTimeSignal signal;
  ExpectThrow<SerializationException>([&] { archive >> signal; }, "Deserializing of object float failed",
                                      "InternalTimeSignal.cpp");
}

TEST(TimeSignalArchiveFailure, ArchiveThatEndsInTheLastUuidShowsInItsStateAlone)
{
  std::string const bytes = ArchiveForm(DescribedSignal(data_int16_t, no_compression, 3));
  for (std::size_t missing = 1; missing <= 16; ++missing)
  {
    InternalTimeSignal signal;
    Archive archive(bytes.substr(0, bytes.size() - missing));
    EXPECT_NO_THROW(archive >> signal);
    EXPECT_TRUE(archive.fail());
    EXPECT_TRUE(signal.GetJobDataUuid().IsNull());
    EXPECT_EQ(signal.GetCharVals().size(), 2U);
  }
}

// The header goes unchecked, so the tag behind it is the first that finds the archive failed.
TEST(TimeSignalArchiveFailure, FailedArchiveIsNoticedAtTheTag)
{
  for (auto const state : {std::ios_base::failbit, std::ios_base::badbit})
  {
    std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(DescribedSignal(data_int16_t, no_compression, 3));
    SignalContents const before = ContentsOf(*signal);
    Archive archive("abc");
    archive.setstate(state);
    ExpectThrow<SerializationException>([&] { archive << *signal; }, "Serializing of object unsigned int failed",
                                        kSerializeUnit);
    EXPECT_EQ(archive.str(), "abc");
    ExpectThrow<SerializationException>([&] { archive >> *signal; }, "Deserializing of object unsigned int failed",
                                        kSerializeUnit);
    ExpectSameContents(ContentsOf(*signal), before);
  }
}

TEST(TimeSignalArchiveFailure, ArchiveThatTakesNoMoreIsNoticedAtTheNextNumberOrText)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 3);
  contents.unitString = std::string(300, 'x');
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  std::vector<ArchiveItem> const items = ArchiveItems(contents);
  std::size_t limit = 0;
  for (std::size_t item = 0; item < items.size(); ++item)
    for (std::size_t i = 0; i < items[item].bytes.size(); ++i, ++limit)
    {
      Outcome const expected = EndOfCutArchive(items, item, i, Direction::writing);
      ScarceSinkBuffer sink(limit);
      Archive archive;
      archive.rdbuf(&sink);
      Outcome const outcome = OutcomeOf([&] { archive << *signal; });
      EXPECT_TRUE(outcome == expected) << limit << " bytes, full in " << items[item].name << ": " << outcome.ToString()
                                       << " instead of " << expected.ToString();
      EXPECT_TRUE(archive.fail()) << limit;
      EXPECT_EQ(sink.Bytes(), ArchiveForm(contents).substr(0, limit));
    }
  EXPECT_EQ(DifferenceBetween(ContentsOf(*signal), contents), "");
}

TEST(TimeSignalArchive, SamplesThatArriveOneByOneAreReadWholeOrUpToTheCut)
{
  for (std::size_t const count : {1U, 65535U, 65536U, 65537U, 131073U, 300001U})
  {
    SignalContents const contents = DescribedSignal(data_int8_t, no_compression, count);
    std::string const bytes = ArchiveForm(contents);
    InternalTimeSignal signal;
    ByteSourceBuffer source(bytes);
    Archive archive;
    archive.rdbuf(&source);
    archive >> signal;
    EXPECT_TRUE(archive.good()) << count;
    EXPECT_EQ(source.Taken(), bytes.size());
    EXPECT_EQ(DifferenceBetween(ContentsOf(signal), ThroughArchive(contents)), "") << count;

    constexpr std::size_t kTagSize = 5;
    ByteSourceBuffer cut(bytes.substr(0, kHeaderBytes + kTagSize + count - 1));
    Archive cutArchive;
    cutArchive.rdbuf(&cut);
    EXPECT_THROW(cutArchive >> signal, SerializationException) << count;
    EXPECT_TRUE(cutArchive.fail());
    EXPECT_EQ(cut.Taken(), kHeaderBytes + kTagSize + count - 1);
  }
}

TEST(TimeSignalArchiveFailure, ArchiveThatThrowsByItselfThrowsItsOwnException)
{
  std::string const bytes = ArchiveForm(DescribedSignal(data_int16_t, no_compression, 3));
  for (std::size_t size = 0; size < bytes.size(); ++size)
  {
    InternalTimeSignal signal;
    Archive archive(bytes.substr(0, size));
    archive.exceptions(std::ios_base::failbit | std::ios_base::badbit);
    EXPECT_THROW(archive >> signal, std::ios_base::failure) << size;
    EXPECT_EQ(archive.precision(), 6) << size;
  }
}

// Handles

TEST(TimeSignalArchiveHandle, WritesAndReadsItsSignal)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, 3);
  TimeSignal handle(*RecordOf(contents.Flat()), contents.unitString, contents.jobDataUuid);
  handle.AddValidator(CountingUuid(1), 2.5, CountingUuid(3), "V");
  Archive archive;
  EXPECT_EQ(&(archive << handle), &archive);
  EXPECT_EQ(archive.str(), ArchiveForm(ContentsOf(*ObjectOf(handle))));
  TimeSignal back;
  InternalTimeSignal const* const object = ObjectOf(back);
  EXPECT_EQ(&(archive >> back), &archive);
  EXPECT_EQ(ObjectOf(back), object) << "the object is read into, not replaced";
  EXPECT_TRUE(back == handle);
}

TEST(TimeSignalArchiveHandle, SharedSignalIsWrittenWithoutACopy)
{
  TimeSignal const handle = MakeSignal(std::vector<short>{1, 2, 3});
  TimeSignal const other = handle;
  Archive archive;
  archive << handle;
  EXPECT_EQ(ObjectOf(handle), ObjectOf(other));
  EXPECT_EQ(HandleCount(handle), 2U);
  EXPECT_EQ(archive.str(), ArchiveForm(ContentsOf(*ObjectOf(other))));
}

TEST(TimeSignalArchiveHandle, SharedSignalIsNotReadInto)
{
  TimeSignal handle = MakeSignal(std::vector<short>{1, 2, 3});
  TimeSignal const other = handle;
  SignalState const state(handle);
  SignalContents const before = ContentsOf(*ObjectOf(handle));
  SignalContents const next = DescribedSignal(data_float64_t, no_compression, 9);
  Archive archive(ArchiveForm(next));
  ExpectThrow<TimeSignalException>([&] { archive >> handle; }, kSharedMessage, kTimeSignalUnit);
  ExpectThrow<TimeSignalException>([&] { archive >> *ObjectOf(handle); }, kSharedMessage, kTimeSignalUnit);
  state.ExpectUnchanged(handle);
  ExpectSameContents(ContentsOf(*ObjectOf(other)), before);
  EXPECT_EQ(HandleCount(handle), 2U);
  EXPECT_EQ(archive.tellg(), std::streampos(0)) << "nothing is read";
  EXPECT_TRUE(archive.good());
}

TEST(TimeSignalArchiveHandle, SharingIsCheckedBeforeTheArchive)
{
  TimeSignal handle;
  TimeSignal const other = handle;
  Archive archive;
  ExpectThrow<TimeSignalException>([&] { archive >> handle; }, kSharedMessage, kTimeSignalUnit);
  EXPECT_TRUE(archive.good());
}

TEST(TimeSignalArchiveHandle, SignalIsReadIntoOnceItsOtherHandlesAreGone)
{
  TimeSignal handle = MakeSignal(std::vector<short>{1, 2, 3});
  SignalContents const next = DescribedSignal(data_float64_t, no_compression, 9);
  Archive archive(ArchiveForm(next));
  {
    TimeSignal const other = handle;
    EXPECT_THROW(archive >> handle, TimeSignalException);
  }
  archive >> handle;
  ExpectSameContents(ContentsOf(*ObjectOf(handle)), next);
}

TEST(TimeSignalArchiveHandle, FailedReadLeavesTheHandleItsObject)
{
  TimeSignal handle = MakeSignal(std::vector<short>{1, 2, 3});
  InternalTimeSignal const* const object = ObjectOf(handle);
  Archive archive(ArchiveForm(DescribedSignal(data_float64_t, no_compression, 9)).substr(0, 150));
  EXPECT_THROW(archive >> handle, SerializationException);
  EXPECT_EQ(ObjectOf(handle), object);
  EXPECT_EQ(HandleCount(handle), 1U);
}

#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include "support/ArchivedObject.h"
#include "support/ClassicStream.h"
#include "support/DatabaseForm.h"
#include "support/Examination.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/LogCapture.h"
#include "support/PlatformErrors.h"
#include "support/SignalContents.h"
#include "support/SignalState.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace std::string_literals;

namespace
{
constexpr char kTimeSignalCategory[] = "example.qen.velmora.libs.signalprocessing.io.file.time_signal";
constexpr std::size_t kCount = 5;
constexpr char kWholeDetails[] =
    "<vel:MeasurementDataDetails xmlns:vel=\"http://www.qen.example/2015/09/30/velmora/\"><vel:Signal><vel:HeaderInfo>"
    "<vel:UnitString>mm/s</vel:UnitString></vel:HeaderInfo></vel:Signal></vel:MeasurementDataDetails>";

using ObjectPointer = std::unique_ptr<MeasurementDataDO>;

ObjectPointer Stored(InternalTimeSignal const& signal) { return ObjectPointer(signal.GetMeasurementDataDO()); }

std::string DetailsOf(InternalTimeSignal const& signal)
{
  ClassicStream stream;
  signal.CreateXmlDetails(stream);
  return stream.str();
}

/// A stored measurement, as another program may have put it into the database.
MeasurementDataDO StoredMeasurement(Bytes const& binaryData, std::string const& details)
{
  MeasurementDataDO stored;
  stored.setCurrentUuid(UuidEntryDO(7, CountingUuid(0xE0), true));
  stored.setJobData(UuidEntryDO(8, CountingUuid(0x70), false));
  stored.setBinaryData(binaryData);
  stored.setMeasurementDataDetails(details);
  return stored;
}

/// Names the object's current UUID, which is another one than the measurement's.
std::string const kCorruptMessage = "Corrupt time signal database object e0e1e2e3-e4e5-e6e7-e8e9-eaebecedeeef!";

void ExpectCorrupt(Bytes const& binaryData, std::string const& details)
{
  MeasurementDataDO const stored = StoredMeasurement(binaryData, details);
  ExpectThrow<TimeSignalException>([&] { InternalTimeSignal const signal(stored); }, kCorruptMessage, kTimeSignalUnit);
  ExpectThrow<TimeSignalException>([&] { TimeSignal const signal(stored); }, kCorruptMessage, kTimeSignalUnit);
}

Bytes ValidRecord() { return FlatRecord(data_int16_t, no_compression, kCount); }

void ExpectRoundTrip(SignalContents const& contents)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  ObjectPointer const stored = Stored(*signal);
  EXPECT_EQ(stored->getBinaryData(), contents.Flat());
  InternalTimeSignal const back(*stored);
  EXPECT_EQ(back.GetReferenceCounter(), 1U);
  EXPECT_EQ(DifferenceBetween(WithOneNan(ContentsOf(back)), WithOneNan(ThroughDatabase(contents))), "");
}

void ExpectEntry(UuidEntryDO const& entry, Uuid const& uuid)
{
  EXPECT_EQ(entry.getUuid(), uuid);
  EXPECT_EQ(entry.getId(), 0U);
  EXPECT_FALSE(entry.getFlag());
}

/// Builds a signal from a stored measurement, which may be refused for any of the known reasons, and examines it.
/// @return whether there was a signal
bool IsBuiltAndSafe(MeasurementDataDO const& stored, Describe const& describe)
{
  std::unique_ptr<InternalTimeSignal> signal;
  try
  {
    signal = std::make_unique<InternalTimeSignal>(stored);
  }
  catch (TimeSignalException const& refusal)
  {
    EXPECT_EQ(refusal.what(), kCorruptMessage) << describe();
  }
  catch (OptionException const&)
  {
  }
  catch (UuidException const&)
  {
  }
  if (!signal)
    return false;
  SignalContents const contents = ContentsOf(*signal);
  SignalModel const model(contents.header, contents.samples);
  EXPECT_EQ(contents.Flat(), stored.getBinaryData()) << describe();
  Examination(*signal, model, describe).Observers();
  ExamineOutputs(*signal, describe);
  return true;
}
} // namespace

// From a signal to an object

TEST(TimeSignalDatabaseObject, HoldsEveryPropertyOfTheSignal)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  ObjectPointer const stored = Stored(*signal);
  SignalParts const parts;
  ExpectEntry(stored->getCurrentUuid(), parts.measurementUuid);
  EXPECT_EQ(stored->getMeasurementTimeStamp(), parts.timeStamp);
  ExpectEntry(stored->getMeasurementConfig(), parts.measurementConfigUuid);
  EXPECT_EQ(stored->getMeasurementDataDetails(), DetailsOf(*signal));
  EXPECT_EQ(stored->getBinaryData(), contents.Flat());
  ExpectEntry(stored->getJobData(), contents.jobDataUuid);
  EXPECT_FALSE(stored->getSavedByAlarmStatusChange());
}

TEST(TimeSignalDatabaseObject, OfEveryTypeAndStoredFormHoldsTheRecordAsItIs)
{
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStorageForms)
      for (std::size_t const count : {0U, 1U, 300U})
        ExpectRoundTrip(DescribedSignal(type, form, count));
}

TEST(TimeSignalDatabaseObject, LeavesTheSignalAsItWas)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(DescribedSignal(data_int16_t, zlib, kCount));
  SignalContents const before = ContentsOf(*signal);
  ObjectPointer const first = Stored(*signal);
  ObjectPointer const second = Stored(*signal);
  ExpectSameContents(ContentsOf(*signal), before);
  EXPECT_NE(first, second);
  EXPECT_EQ(first->getBinaryData(), second->getBinaryData());
  EXPECT_EQ(first->getMeasurementDataDetails(), second->getMeasurementDataDetails());
}

TEST(TimeSignalDatabaseObject, OutlivesTheSignal)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
  ObjectPointer const stored = Stored(*ObjectWith(contents));
  EXPECT_EQ(stored->getBinaryData(), contents.Flat());
}

TEST(TimeSignalDatabaseObject, NumbersOfItsDocumentHaveSixDigitsInAnyLocale)
{
  HostileLocale const hostile;
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount, 0);
  contents.trigger.TripValue = 1234567.5;
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  signal->GetHeader()->DeltaX = 1.0 / 3;
  signal->GetHeader()->SampleCount = 1234567;
  std::string const details = Stored(*signal)->getMeasurementDataDetails();
  EXPECT_NE(details.find("<vel:TripValue>1.23457e+06</vel:TripValue>"), std::string::npos) << details;
  EXPECT_NE(details.find("<vel:DeltaX>0.333333</vel:DeltaX>"), std::string::npos);
  EXPECT_NE(details.find("<vel:SampleCount>1234567</vel:SampleCount>"), std::string::npos);
  contents.trigger.TripValue = 1234570;
  EXPECT_EQ(DescriptionDifference(ContentsOf(InternalTimeSignal(*Stored(*signal))), contents), "");
}

TEST(TimeSignalDatabaseObject, HeaderIsStoredAsItStands)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(DescribedSignal(data_int16_t, no_compression, kCount));
  signal->GetHeader()->BinaryHeaderVersion = 9;
  signal->GetHeader()->HeaderSize = 77;
  signal->GetHeader()->Reserved = 0xABCDEF01;
  signal->GetHeader()->DataChecksum = 1;
  signal->GetHeader()->HeaderChecksum = 2;
  SignalContents const contents = ContentsOf(*signal);
  EXPECT_EQ(Stored(*signal)->getBinaryData(), contents.Flat());
}

TEST(TimeSignalDatabaseObject, ArrayShorterThanTheHeaderSaysIsContinuedByZeros)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  signal->GetHeader()->DataArrayByteCount = 14;
  SetField(contents.header, FieldOffset::kDataArrayByteCount, 14ULL);
  contents.samples->resize(14);
  EXPECT_EQ(Stored(*signal)->getBinaryData(), contents.Flat());
}

TEST(TimeSignalDatabaseObject, MissingArrayIsStoredAsZeros)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount);
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  std::unique_ptr<unsigned char[]> const samples(std::exchange(signal->GetHeader()->Samples, nullptr));
  contents.samples->assign(10, 0);
  EXPECT_EQ(Stored(*signal)->getBinaryData(), contents.Flat());
}

TEST(TimeSignalDatabaseObject, UnknownNumbersInTheHeaderAreRefused)
{
  struct Case
  {
    std::size_t field;
    int number;
    char const* message;
  };
  for (Case const& wrong : {Case{FieldOffset::kSignalType, 0, "Unknown signal type: 0!"},
                            Case{FieldOffset::kSignalType, 6, "Unknown signal type: 6!"},
                            Case{FieldOffset::kSignalType, -1, "Unknown signal type: -1!"},
                            Case{FieldOffset::kSampleType, 0, "Unknown data type: 0!"},
                            Case{FieldOffset::kSampleType, 11, "Unknown data type: 11!"},
                            Case{FieldOffset::kCompression, 0, "Unknown compression: 0!"},
                            Case{FieldOffset::kCompression, 5, "Unknown compression: 5!"}})
  {
    SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
    std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
    Bytes header = contents.header;
    SetField(header, wrong.field, wrong.number);
    std::memcpy(static_cast<void*>(signal->GetHeader()), header.data(), kHeaderBytes);
    ExpectThrow<TimeSignalException>([&] { Stored(*signal); }, wrong.message, kTimeSignalUnit);
    EXPECT_EQ(HeaderBytes(*signal->GetHeader()), header);
  }
}

// The method has a name and a number, which a document can carry.
TEST(TimeSignalDatabaseObject, Int24IsNamed)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(DescribedSignal(data_int16_t, no_compression, kCount));
  signal->GetHeader()->Compression = int24;
  ObjectPointer const stored = Stored(*signal);
  EXPECT_EQ(InternalTimeSignal(*stored).GetHeader()->Compression, int24);
}

// Numbers and texts through the details document

TEST(TimeSignalDatabaseRoundTrip, ListsOfAnyLengthComeBackInTheirOrder)
{
  for (std::size_t const length : {0U, 1U, 2U, 50U, 300U})
    ExpectRoundTrip(DescribedSignal(data_int16_t, no_compression, kCount, length));
}

TEST(TimeSignalDatabaseRoundTrip, AnyNumbersComeBackAsTheirSixDigitsRead)
{
  RandomContents random(41, true);
  for (int run = 0; run < 3; ++run)
    for (sample_datatype32_t const type : kSampleTypes)
      for (compression32_t const form : kStorageForms)
      {
        SCOPED_TRACE("run " + std::to_string(run) + ", type " + std::to_string(type) + ", form " +
                     std::to_string(form));
        ExpectRoundTrip(random.Make(type, form));
      }
}

TEST(TimeSignalDatabaseRoundTrip, WrittenByHand)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount, 1);
  contents.validators.front().AverageValue = 1.0 / 3;
  contents.charVals.front().Value = 123456.7;
  contents.charVals.front().Speed = 1.0F / 3;
  InternalTimeSignal const back(*Stored(*ObjectWith(contents)));
  EXPECT_EQ(back.GetValidators().front().AverageValue, 0.333333);
  EXPECT_EQ(back.GetCharVals().front().Value, 123457);
  EXPECT_EQ(back.GetCharVals().front().Speed, 0.333333F);
}

TEST(TimeSignalDatabaseRoundTrip, TriggerWithoutItsUuidComesBackCleared)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount);
  contents.trigger.TriggerUuid.ClearUuid();
  InternalTimeSignal const back(*Stored(*ObjectWith(contents)));
  EXPECT_TRUE(back.GetTrigger().TriggerUuid.IsNull());
  EXPECT_EQ(back.GetTrigger().TripValue, 0);
  EXPECT_TRUE(back.GetTrigger().UnitUuid.IsNull());
  EXPECT_EQ(back.GetTrigger().UnitString, "");
}

TEST(TimeSignalDatabaseRoundTrip, SpeedThatIsUnknownStaysUnknown)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
  InternalTimeSignal const back(*Stored(*ObjectWith(contents)));
  EXPECT_EQ(back.GetCharVals().at(0).Speed, contents.charVals.at(0).Speed);
  EXPECT_TRUE(std::isnan(back.GetCharVals().at(1).Speed));
}

TEST(TimeSignalDatabaseRoundTrip, UnitWithAnAmpersandComesBack)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount);
  contents.unitString = "R&D";
  ExpectRoundTrip(contents);
}

TEST(TimeSignalDatabaseRoundTrip, UnitWithMarkupMakesACorruptObject)
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, kCount);
  contents.unitString = "<1";
  ObjectPointer const stored = Stored(*ObjectWith(contents));
  ExpectThrow<TimeSignalException>([&] { InternalTimeSignal const back(*stored); },
                                   "Corrupt time signal database object 30313233-3435-3637-3839-3a3b3c3d3e3f!",
                                   kTimeSignalUnit);
}

TEST(TimeSignalDatabaseRoundTrip, CompressedSamplesAreUsableWhenTheyAreBack)
{
  for (compression32_t const form : {zlib, gzip})
  {
    InternalTimeSignal back(*Stored(*ObjectWith(DescribedSignal(data_float64_t, form, 100))));
    back.Uncompress();
    EXPECT_EQ(*ContentsOf(back).samples, SampleBytes(data_float64_t, 100));
  }
}

// From an object to a signal

TEST(TimeSignalFromDatabase, HasNothingThatNeitherRecordNorDetailsTell)
{
  InternalTimeSignal const signal(StoredMeasurement(ValidRecord(), kWholeDetails));
  SignalContents const contents = ContentsOf(signal);
  EXPECT_EQ(contents.Flat(), ValidRecord());
  EXPECT_EQ(contents.unitString, "mm/s");
  EXPECT_TRUE(contents.validators.empty());
  EXPECT_TRUE(contents.charVals.empty());
  EXPECT_TRUE(contents.trigger.TriggerUuid.IsNull());
  EXPECT_EQ(contents.trigger.TripValue, 0);
  EXPECT_EQ(contents.jobDataUuid, CountingUuid(0x70));
  EXPECT_EQ(signal.GetReferenceCounter(), 1U);
}

TEST(TimeSignalFromDatabase, OwnsItsSamples)
{
  auto stored = std::make_unique<MeasurementDataDO>(StoredMeasurement(ValidRecord(), kWholeDetails));
  InternalTimeSignal signal(*stored);
  EXPECT_NE(signal.GetSamplesPointer(), stored->getBinaryData().data() + kHeaderBytes);
  stored.reset();
  EXPECT_EQ(ContentsOf(signal).Flat(), ValidRecord());
}

TEST(TimeSignalFromDatabase, RecordWithoutSamplesHasNoArray)
{
  InternalTimeSignal const signal(StoredMeasurement(FlatRecord(data_int16_t, no_compression, 0), kWholeDetails));
  EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
}

// The columns tell the same as the record; the record is what counts.
TEST(TimeSignalFromDatabase, ColumnsBesideTheJobDataAreNotRead)
{
  MeasurementDataDO stored = StoredMeasurement(ValidRecord(), kWholeDetails);
  stored.setCurrentUuid(UuidEntryDO(1, CountingUuid(1), true));
  stored.setMeasurementConfig(UuidEntryDO(2, CountingUuid(2), true));
  stored.setMeasurementTimeStamp(3);
  stored.setSavedByAlarmStatusChange(true);
  EXPECT_EQ(ContentsOf(InternalTimeSignal(stored)).Flat(), ValidRecord());
}

TEST(TimeSignalFromDatabase, JobDataMayBeMissing)
{
  MeasurementDataDO stored = StoredMeasurement(ValidRecord(), kWholeDetails);
  stored.setJobData(UuidEntryDO());
  EXPECT_TRUE(InternalTimeSignal(stored).GetJobDataUuid().IsNull());
}

TEST(TimeSignalFromDatabase, NothingOfTheHeaderIsCheckedButSizesAndSampleType)
{
  Bytes flat = ValidRecord();
  SetField<unsigned short>(flat, FieldOffset::kBinaryHeaderVersion, 3);
  SetField<unsigned short>(flat, FieldOffset::kHeaderSize, 121);
  SetField(flat, FieldOffset::kSignalType, 0);
  SetField(flat, FieldOffset::kCompression, 3);
  SetField(flat, FieldOffset::kReserved, 5U);
  SetField<unsigned short>(flat, FieldOffset::kDataChecksum, 0x1111);
  SetField<unsigned short>(flat, FieldOffset::kHeaderChecksum, 0x2222);
  InternalTimeSignal const signal(StoredMeasurement(flat, kWholeDetails));
  EXPECT_EQ(ContentsOf(signal).Flat(), flat);
}

TEST(TimeSignalFromDatabase, DetailsThatAreNoXmlAreCorrupt)
{
  for (std::string const& details : {""s, " "s, "not XML"s, "<"s, kWholeDetails + "behind"s, "<a>"s, "\0"s})
    ExpectCorrupt(ValidRecord(), details);
}

TEST(TimeSignalFromDatabase, DetailsWithoutASignalAreCorrupt)
{
  for (std::string const& details :
       {"<vel:MeasurementDataDetails/>"s, "<vel:MeasurementDataDetails><Signal/></vel:MeasurementDataDetails>"s,
        "<vel:Signal><vel:HeaderInfo/></vel:Signal>"s,
        "<MeasurementDataDetails><vel:Signal><vel:HeaderInfo/></vel:Signal></MeasurementDataDetails>"s,
        "<vel:MeasurementDataDetails><x><vel:Signal><vel:HeaderInfo/></vel:Signal></x></vel:MeasurementDataDetails>"s})
    ExpectCorrupt(ValidRecord(), details);
}

TEST(TimeSignalFromDatabase, DetailsWithoutHeaderInfoAreCorrupt)
{
  for (std::string const& details :
       {"<vel:MeasurementDataDetails><vel:Signal/></vel:MeasurementDataDetails>"s,
        "<vel:MeasurementDataDetails><vel:Signal><vel:Trigger/></vel:Signal></vel:MeasurementDataDetails>"s})
    ExpectCorrupt(ValidRecord(), details);
}

TEST(TimeSignalFromDatabase, UnitMayBeMissing)
{
  std::string const details =
      "<vel:MeasurementDataDetails><vel:Signal><vel:HeaderInfo/></vel:Signal></vel:MeasurementDataDetails>";
  EXPECT_EQ(InternalTimeSignal(StoredMeasurement(ValidRecord(), details)).GetUnitString(), "");
}

TEST(TimeSignalFromDatabase, MalformedNumbersAndUuidsPassTheirExceptions)
{
  auto const details = [](std::string const& inSignal)
  {
    return "<vel:MeasurementDataDetails><vel:Signal><vel:HeaderInfo/>" + inSignal +
           "</vel:Signal></vel:MeasurementDataDetails>";
  };
  auto const build = [&](std::string const& inSignal)
  { InternalTimeSignal const signal(StoredMeasurement(ValidRecord(), details(inSignal))); };
  EXPECT_NO_THROW(build("<vel:Trigger><vel:TripValue>1.5</vel:TripValue></vel:Trigger>"));
  EXPECT_TRUE(
      Refuses<OptionException>([&] { build("<vel:Trigger><vel:TripValue>1,5</vel:TripValue></vel:Trigger>"); }));
  EXPECT_TRUE(
      Refuses<UuidException>([&] { build("<vel:Trigger><vel:TriggerUuid>x</vel:TriggerUuid></vel:Trigger>"); }));
  EXPECT_TRUE(Refuses<OptionException>(
      [&]
      {
        build("<vel:ValidatorGroup><vel:Validator><vel:AverageValue>x</vel:AverageValue></vel:Validator>"
              "</vel:ValidatorGroup>");
      }));
  EXPECT_TRUE(Refuses<OptionException>(
      [&]
      {
        build("<vel:CharacteristicValueGroup><vel:CharacteristicValue><vel:Speed>fast</vel:Speed>"
              "</vel:CharacteristicValue></vel:CharacteristicValueGroup>");
      }));
}

TEST(TimeSignalFromDatabase, BadBinaryDataIsRefusedForItsSizes)
{
  Bytes const valid = ValidRecord();
  auto const expect = [](Bytes const& bytes, std::string const& message)
  {
    // The record is looked at before the details.
    for (std::string const& details : {std::string(kWholeDetails), "not XML"s})
      ExpectThrow<TimeSignalException>([&] { InternalTimeSignal const signal(StoredMeasurement(bytes, details)); },
                                       message, kTimeSignalUnit);
  };
  expect({}, "Time signal header incomplete: actual 0, expected 120!");
  expect(Bytes(119), "Time signal header incomplete: actual 119, expected 120!");
  Bytes flat = valid;
  flat.push_back(0);
  expect(flat, "Wrong time signal data size: actual 11, expected 10!");
  flat = valid;
  SetField(flat, FieldOffset::kSampleType, 11);
  expect(flat, "Unknown data type: 11!");
  flat = valid;
  SetField(flat, FieldOffset::kSampleCount, 1ULL << 30);
  expect(flat, "Support for more than 2^31 samples not implemented!");
}

TEST(TimeSignalFromDatabase, EveryCutRecordIsRefusedForItsSize)
{
  for (compression32_t const form : kStorageForms)
  {
    Bytes const valid = FlatRecord(data_float32_t, form, kCount);
    for (std::size_t size = 0; size < valid.size(); ++size)
    {
      Bytes const cut(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(size));
      Outcome const outcome =
          OutcomeOf([&] { InternalTimeSignal const signal(StoredMeasurement(cut, kWholeDetails)); });
      EXPECT_TRUE(outcome.Failed() && outcome == SignalModel::VectorConversion(cut)) << outcome.ToString();
    }
  }
}

TEST(TimeSignalFromDatabase, EveryCutDetailsTextIsCorrupt)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount, 1);
  std::string const details = DetailsOf(*ObjectWith(contents));
  for (std::size_t size = 0; size < details.size(); ++size)
  {
    MeasurementDataDO const stored = StoredMeasurement(contents.Flat(), details.substr(0, size));
    Outcome const outcome = OutcomeOf([&] { InternalTimeSignal const signal(stored); });
    EXPECT_TRUE(outcome == SignalFailure(kCorruptMessage)) << size << ": " << outcome.ToString();
  }
  EXPECT_NO_THROW(InternalTimeSignal{StoredMeasurement(contents.Flat(), details)});
}

TEST(TimeSignalFromDatabase, AnyOtherByteInTheDetailsIsRefusedOrSafe)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount, 1);
  std::string const details = DetailsOf(*ObjectWith(contents));
  std::size_t built = 0;
  std::size_t refused = 0;
  for (std::size_t offset = 0; offset < details.size() && !HasFailure(); ++offset)
    for (char const value : {'\0', '<', '>', '&', '/', '"', ' ', 'x', '1', '\xFF'})
    {
      std::string changed = details;
      changed[offset] = value;
      Describe const describe = [&] { return "byte " + std::to_string(offset) + " set to " + std::to_string(value); };
      (IsBuiltAndSafe(StoredMeasurement(contents.Flat(), changed), describe) ? built : refused) += 1;
    }
  EXPECT_GT(built, 0U);
  EXPECT_GT(refused, 0U);
}

TEST(TimeSignalFromDatabase, AnyOtherHeaderByteIsRefusedForItsSizesOrSafe)
{
  for (compression32_t const form : {no_compression, gzip})
  {
    Bytes const valid = FlatRecord(data_int32_t, form, kCount);
    unsigned int const step = form == gzip ? 7 : kValueStep;
    for (std::size_t offset = 0; offset < kHeaderBytes && !HasFailure(); ++offset)
      for (unsigned int value = static_cast<unsigned int>(offset) % step; value < 256; value += step)
      {
        Bytes flat = valid;
        flat[offset] = static_cast<unsigned char>(value);
        Describe const describe = [&] { return "byte " + std::to_string(offset) + " set to " + std::to_string(value); };
        std::unique_ptr<InternalTimeSignal> signal;
        Outcome const outcome =
            OutcomeOf([&] { signal = std::make_unique<InternalTimeSignal>(StoredMeasurement(flat, kWholeDetails)); });
        Outcome const expected = SignalModel::VectorConversion(flat);
        EXPECT_TRUE(outcome == expected) << outcome.ToString() << " instead of " << expected.ToString() << ": "
                                         << describe();
        if (!signal)
          continue;
        ExamineByte(Examination(*signal, SignalModel::Of(flat), describe), offset);
        ExamineOutputs(*signal, describe);
      }
  }
}

// What is logged

namespace
{
std::vector<LogRecord> LogOfBuilding(Bytes const& flat, log4cpp::Priority::Value priority)
{
  LogCapture const log(kTimeSignalCategory, priority);
  EXPECT_EQ(ContentsOf(InternalTimeSignal(StoredMeasurement(flat, kWholeDetails))).Flat(), flat);
  return log.Records();
}
} // namespace

TEST(TimeSignalFromDatabaseLog, WrongHeaderChecksumIsLoggedForDebuggingAndNoError)
{
  Bytes flat = ValidRecord();
  unsigned short const right = PlainChecksum(flat.data(), FieldOffset::kHeaderChecksum);
  unsigned short const saved = static_cast<unsigned short>(right ^ 0x8001U);
  SetField(flat, FieldOffset::kHeaderChecksum, saved);
  std::vector<LogRecord> const records = LogOfBuilding(flat, log4cpp::Priority::DEBUG);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.front().text,
            "Saved checksum : " + std::to_string(saved) + ", Calculated: " + std::to_string(right));
  EXPECT_EQ(records.front().priority, log4cpp::Priority::DEBUG);
  EXPECT_EQ(records.front().category, kTimeSignalCategory);
}

TEST(TimeSignalFromDatabaseLog, NothingIsLoggedWithoutTheDebugPriority)
{
  Bytes flat = ValidRecord();
  flat[FieldOffset::kHeaderChecksum] ^= 1;
  EXPECT_TRUE(LogOfBuilding(flat, log4cpp::Priority::INFO).empty());
}

TEST(TimeSignalFromDatabaseLog, NothingIsLoggedForARightHeaderOverWrongSamples)
{
  Bytes flat = ValidRecord();
  flat.back() ^= 1;
  EXPECT_TRUE(LogOfBuilding(flat, log4cpp::Priority::DEBUG).empty());
}

TEST(TimeSignalFromDatabaseLog, CorruptDetailsAreReportedBeforeTheChecksumIsLookedAt)
{
  LogCapture const log(kTimeSignalCategory);
  Bytes flat = ValidRecord();
  flat[FieldOffset::kHeaderChecksum] ^= 1;
  ExpectCorrupt(flat, "not XML");
  EXPECT_TRUE(log.Records().empty());
}

// Handles

TEST(TimeSignalDatabaseHandle, HoldsANewSignalAlone)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
  ObjectPointer const stored = Stored(*ObjectWith(contents));
  TimeSignal const handle(*stored);
  EXPECT_EQ(HandleCount(handle), 1U);
  ExpectSameContents(ContentsOf(*ObjectOf(handle)), contents);
}

TEST(TimeSignalDatabaseHandle, StoresASharedSignalWithoutACopy)
{
  SignalContents const contents = DescribedSignal(data_int16_t, no_compression, kCount);
  TimeSignal const handle(*Stored(*ObjectWith(contents)));
  TimeSignal const other = handle;
  SignalState const state(handle);
  ObjectPointer const stored(handle.GetMeasurementDataDO());
  state.ExpectUnchanged(handle);
  EXPECT_EQ(ObjectOf(handle), ObjectOf(other));
  EXPECT_EQ(HandleCount(handle), 2U);
  EXPECT_EQ(stored->getBinaryData(), contents.Flat());
  EXPECT_EQ(stored->getMeasurementDataDetails(), DetailsOf(*ObjectOf(handle)));
}

TEST(TimeSignalDatabaseHandle, PassesTheExceptionsOfItsSignalOn)
{
  TimeSignal const handle = MakeSignal(std::vector<short>{1, 2});
  handle.GetHeader()->SignalType = static_cast<signal32_t>(9);
  ExpectThrow<TimeSignalException>([&] { ObjectPointer(handle.GetMeasurementDataDO()); }, "Unknown signal type: 9!",
                                   kTimeSignalUnit);
  ExpectThrow<TimeSignalException>([] { TimeSignal(StoredMeasurement(Bytes(3), kWholeDetails)); },
                                   "Time signal header incomplete: actual 3, expected 120!", kTimeSignalUnit);
}

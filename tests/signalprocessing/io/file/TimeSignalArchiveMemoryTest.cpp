// What archives, database objects and portable values cost, and what is left of them when an operation fails or memory
// runs out at any place.

#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "support/ArchiveForm.h"
#include "support/CountedMemory.h"
#include "support/Replaced.h"
#include "support/SignalContents.h"
#include "support/SignalState.h"

#include <array>
#include <gtest/gtest.h>
#include <ios>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using QenSerialize::SerializationException;

namespace
{
constexpr long kMegabyte = 1 << 20;
constexpr std::uint32_t k4GiBLessOne = 0xFFFFFFFF;

SignalContents LongDescription()
{
  SignalContents contents = DescribedSignal(data_int16_t, no_compression, 50);
  contents.unitString = "a unit that is too long for a short string";
  contents.trigger.UnitString = contents.unitString;
  for (auto& validator : contents.validators)
    validator.UnitString = contents.unitString;
  for (auto& value : contents.charVals)
    value.UnitString = contents.unitString;
  return contents;
}

/// An archive up to an item of this name, which then announces this much, and a few bytes.
std::string ArchiveThatLies(std::string const& name, std::uint32_t size)
{
  std::string bytes;
  for (ArchiveItem const& item : ArchiveItems(LongDescription()))
  {
    if (item.name == name)
      return bytes + PortableUnsigned(size) + "some bytes";
    bytes += item.bytes;
  }
  return "";
}

/// Formatted input and output take a failed allocation for a failure of the stream, which the caller sees as a value
/// that cannot be read or written, or in the stream's state.
template <class F>
void AsBadAlloc(std::ios const& stream, F&& operation)
{
  try
  {
    operation();
  }
  catch (SerializationException const&)
  {
    throw std::bad_alloc();
  }
  if (!stream)
    throw std::bad_alloc();
}

/// What any object must be able to do.
void ExpectUsable(InternalTimeSignal& signal)
{
  InternalTimeSignal const copy(signal);
  EXPECT_EQ(DifferenceBetween(ContentsOf(copy), ContentsOf(signal)), "");
  SignalContents const next = DescribedSignal(data_int64_t, no_compression, 2, 1);
  Archive archive(ArchiveForm(next));
  archive >> signal;
  EXPECT_EQ(DifferenceBetween(ContentsOf(signal), next), "");
}

void PutSamples(InternalTimeSignal& signal)
{
  std::unique_ptr<unsigned char[]> array(new unsigned char[7]{1, 2, 3, 4, 5, 6, 7});
  std::unique_ptr<unsigned char[]> const old(std::exchange(signal.GetHeader()->Samples, array.release()));
  signal.GetHeader()->DataArrayByteCount = 7;
}
} // namespace

// Sizes that lie

TEST(PortableValueMemory, TextThatAnnounces4GiBCostsWhatArrives)
{
  for (std::uint32_t const size : {0x10000000U, 0x7FFFFFFFU, 0x80000000U, k4GiBLessOne})
  {
    std::istringstream stream(PortableUnsigned(size) + "fifteen bytes..");
    std::string text;
    PeakBytes const peak;
    EXPECT_THROW(QenSerialize::deserialize(text, stream), SerializationException);
    EXPECT_LT(peak.Get(), kMegabyte) << size;
    EXPECT_EQ(text, "");
  }
}

TEST(PortableValueMemory, TextCostsAFewTimesItsSize)
{
  long const size = 8 * kMegabyte;
  std::istringstream stream(PortableText(std::string(static_cast<std::size_t>(size), 'x')));
  std::string text;
  PeakBytes const peak;
  QenSerialize::deserialize(text, stream);
  EXPECT_EQ(text.size(), static_cast<std::size_t>(size));
  EXPECT_LE(peak.Get(), 4 * size);
}

TEST(TimeSignalArchiveMemory, ListOrTextThatAnnounces4GiBCostsWhatArrives)
{
  for (char const* const name : {"unit", "validator count", "validator unit", "trigger unit",
                                 "characteristic value count", "characteristic value unit"})
    for (std::uint32_t const size : {0x10000000U, k4GiBLessOne})
    {
      Archive archive(ArchiveThatLies(name, size));
      ASSERT_NE(archive.str(), "");
      InternalTimeSignal signal;
      PeakBytes const peak;
      EXPECT_THROW(archive >> signal, SerializationException) << name;
      EXPECT_LT(peak.Get(), kMegabyte) << name;
    }
}

TEST(TimeSignalArchiveMemory, SamplesThatAre4GiBCostWhatArrives)
{
  for (std::uint32_t const size : {0x10000000U, 0x7FFFFFFFU, k4GiBLessOne})
  {
    Bytes header(kHeaderBytes);
    SetField(header, FieldOffset::kDataArrayByteCount, static_cast<unsigned long long>(size));
    Archive archive(PlainBytes(header) + PortableUnsigned(kSamplesFollow) + "some bytes");
    InternalTimeSignal signal;
    PeakBytes const peak;
    EXPECT_THROW(archive >> signal, SerializationException);
    EXPECT_LT(peak.Get(), kMegabyte) << size;
    EXPECT_LT(signal.GetStoredSamples().size(), 20U);
  }
}

TEST(TimeSignalArchiveMemory, SamplesCostAFewTimesTheirSize)
{
  long const size = 8 * kMegabyte;
  SignalContents contents;
  contents.samples.emplace(static_cast<std::size_t>(size));
  contents.header = FlatRecord(data_int8_t, no_compression, static_cast<std::size_t>(size), *contents.samples);
  contents.header.resize(kHeaderBytes);
  Archive archive(ArchiveForm(contents));
  InternalTimeSignal signal;
  PeakBytes const peak;
  archive >> signal;
  EXPECT_EQ(signal.GetStoredSamples().size(), static_cast<std::size_t>(size));
  EXPECT_LE(peak.Get(), 4 * size);
}

// What failed reads leave

TEST(TimeSignalArchiveMemory, FailedReadLeavesNothingBesideTheObject)
{
  std::string const bytes = ArchiveForm(LongDescription());
  auto const readCut = [&](std::size_t size)
  {
    for (int kind = 0; kind < 3; ++kind)
    {
      std::unique_ptr<InternalTimeSignal> const signal =
          kind == 0 ? std::make_unique<InternalTimeSignal>() : ObjectWith(LongDescription());
      if (kind == 2)
        PutSamples(*signal);
      Archive archive(bytes.substr(0, size));
      try
      {
        archive >> *signal;
      }
      catch (SerializationException const&)
      {
      }
      EXPECT_TRUE(archive.fail());
    }
  };
  readCut(0);
  long const blocks = liveBlocks;
  for (std::size_t size = 0; size < bytes.size(); ++size)
  {
    readCut(size);
    ASSERT_EQ(liveBlocks, blocks) << size;
  }
}

TEST(TimeSignalArchiveMemory, ReplacedSamplesAreReleased)
{
  std::string const with = ArchiveForm(LongDescription());
  std::string const without = ArchiveForm(DescribedSignal(data_int16_t, no_compression, 0));
  for (std::string const& bytes : {with, without})
  {
    auto const read = [&]
    {
      std::unique_ptr<InternalTimeSignal> const own = ObjectWith(LongDescription());
      std::unique_ptr<InternalTimeSignal> const callers = ObjectWith(LongDescription());
      PutSamples(*callers);
      for (InternalTimeSignal* const signal : {own.get(), callers.get(), own.get(), callers.get()})
      {
        Archive archive(bytes);
        archive >> *signal;
      }
    };
    read();
    long const blocks = liveBlocks;
    read();
    EXPECT_EQ(liveBlocks, blocks);
  }
}

// When memory runs out

TEST(PortableValueMemory, TextThatMemoryCannotHoldLeavesTheTargetEmpty)
{
  std::string const bytes = PortableText(std::string(300, 'x'));
  std::string text;
  std::istringstream stream;
  int const failures = FailEveryAllocation(
      [&]
      {
        stream.clear();
        stream.seekg(0);
        AsBadAlloc(stream, [&] { QenSerialize::deserialize(text, stream); });
      },
      [&]
      {
        EXPECT_EQ(text, "");
        text = "what was there before, in more than a short string";
        stream.str(bytes);
      });
  EXPECT_GE(failures, 1);
  EXPECT_EQ(text, std::string(300, 'x'));
}

TEST(ArchiveMemory, BufferThatCannotGrowIsABadStream)
{
  Archive archive("abc");
  std::string const block(1000, 'x');
  {
    AllocationLimit const limit(0);
    archive.write(block.data(), 1000);
  }
  EXPECT_TRUE(archive.bad());
  EXPECT_EQ(archive.str(), "abc");
  archive.clear();
  EXPECT_EQ(archive.get(), 'a');
  archive.write(block.data(), 1000);
  EXPECT_EQ(archive.str(), "abc" + block);
  EXPECT_EQ(archive.get(), 'b');
}

TEST(ArchiveMemory, BufferThatCannotGrowThrowsWhereItIsAskedTo)
{
  Archive archive("abc");
  archive.exceptions(std::ios_base::badbit);
  std::string const block(1000, 'x');
  auto const write = [&]
  {
    AllocationLimit const limit(0);
    archive.write(block.data(), 1000);
  };
  EXPECT_THROW(write(), std::bad_alloc);
  EXPECT_EQ(archive.str(), "abc");
}

TEST(TimeSignalArchiveMemory, ReadThatRunsOutOfMemoryLeavesAValidObject)
{
  SignalContents const contents = LongDescription();
  std::string const bytes = ArchiveForm(contents);
  for (int kind = 0; kind < 3; ++kind)
  {
    std::unique_ptr<InternalTimeSignal> signal;
    Archive archive;
    auto const start = [&]
    {
      signal = kind == 0 ? std::make_unique<InternalTimeSignal>() : ObjectWith(DescribedSignal(data_int8_t, zlib, 9));
      if (kind == 2)
        PutSamples(*signal);
      archive.str(bytes);
    };
    start();
    int const failures = FailEveryAllocation([&] { AsBadAlloc(archive, [&] { archive >> *signal; }); },
                                             [&]
                                             {
                                               ExpectUsable(*signal);
                                               start();
                                             });
    EXPECT_GE(failures, 7) << "samples, two lists and the texts are allocated at least";
    EXPECT_EQ(DifferenceBetween(ContentsOf(*signal), contents), "");
  }
}

TEST(TimeSignalArchiveMemory, WriteThatRunsOutOfMemoryLeavesTheSignal)
{
  SignalContents const contents = LongDescription();
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  std::unique_ptr<Archive> archive = std::make_unique<Archive>();
  int const failures = FailEveryAllocation([&] { AsBadAlloc(*archive, [&] { *archive << *signal; }); },
                                           [&]
                                           {
                                             EXPECT_EQ(DifferenceBetween(ContentsOf(*signal), contents), "");
                                             archive = std::make_unique<Archive>();
                                           });
  EXPECT_GE(failures, 1);
  EXPECT_EQ(archive->str(), ArchiveForm(contents));
}

// Database objects

TEST(TimeSignalDatabaseMemory, ObjectThatCannotBeMadeLeavesNothing)
{
  SignalContents const contents = LongDescription();
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  auto const store = [&] { std::unique_ptr<MeasurementDataDO> const stored(signal->GetMeasurementDataDO()); };
  store();
  long const blocks = liveBlocks;
  int const failures = FailEveryAllocation(store, [&] { EXPECT_EQ(liveBlocks, blocks); });
  EXPECT_GE(failures, 3) << "the object, its document and its record are allocated at least";
  EXPECT_EQ(liveBlocks, blocks);

  for (int const type : {0, 99})
  {
    signal->GetHeader()->SampleType = UnknownSampleType(type);
    EXPECT_THROW(signal->GetMeasurementDataDO(), TimeSignalException);
    EXPECT_EQ(liveBlocks, blocks);
  }
}

TEST(TimeSignalDatabaseMemory, SignalThatCannotBeMadeLeavesNothing)
{
  std::unique_ptr<MeasurementDataDO> const stored(ObjectWith(LongDescription())->GetMeasurementDataDO());
  auto const build = [&] { TimeSignal const handle(*stored); };
  build();
  long const blocks = liveBlocks;
  int const failures = FailEveryAllocation(build, [&] { EXPECT_EQ(liveBlocks, blocks); });
  EXPECT_GE(failures, 4) << "the object, its samples and its lists are allocated at least";
  EXPECT_EQ(liveBlocks, blocks);
}

TEST(TimeSignalDatabaseMemory, RefusedObjectLeavesNothing)
{
  std::unique_ptr<MeasurementDataDO> const whole(ObjectWith(LongDescription())->GetMeasurementDataDO());
  std::string const details = whole->getMeasurementDataDetails();
  std::vector<std::string> const wrong = {"not XML",
                                          "<vel:MeasurementDataDetails/>",
                                          "<vel:MeasurementDataDetails><vel:Signal/></vel:MeasurementDataDetails>",
                                          Replaced(details, "<vel:AverageValue>-0.25", "<vel:AverageValue>x"),
                                          Replaced(details, "<vel:TripValue>4.5", "<vel:TripValue>x"),
                                          Replaced(details, "<vel:TriggerUuid>", "<vel:TriggerUuid>x"),
                                          Replaced(details, "<vel:Speed>", "<vel:Speed>x")};
  for (bool const isWholeRecord : {true, false})
    for (std::string const& text : wrong)
    {
      auto const build = [&]
      {
        MeasurementDataDO stored(*whole);
        stored.setMeasurementDataDetails(text);
        if (!isWholeRecord)
          stored.setBinaryData(Bytes(130));
        long const objects = liveObjects;
        EXPECT_THROW(TimeSignal{stored}, VelmoraException);
        EXPECT_EQ(liveObjects, objects);
      };
      build();
      long const blocks = liveBlocks;
      build();
      EXPECT_EQ(liveBlocks, blocks) << text;
    }
}

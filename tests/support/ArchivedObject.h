#pragma once

#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "support/ArchiveForm.h"
#include "support/Examination.h"
#include "support/SignalContents.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

/// What is written of a signal has the size that its header announces, with zeros for what is not there. Above this
/// size it is left out: it would only show that memory can be filled.
inline constexpr unsigned long long kLargestOutput = 1 << 20;

/// How making the details document has to end.
inline Outcome DocumentOutcome(Bytes const& header)
{
  int const signalType = FieldAt<int>(header, FieldOffset::kSignalType);
  int const sampleType = FieldAt<int>(header, FieldOffset::kSampleType);
  int const compression = FieldAt<int>(header, FieldOffset::kCompression);
  if (signalType < 1 || signalType > 5)
    return SignalFailure("Unknown signal type: " + std::to_string(signalType) + "!");
  if (sampleType < 1 || sampleType > 10)
    return SignalFailure("Unknown data type: " + std::to_string(sampleType) + "!");
  if (compression < 1 || compression > 4)
    return SignalFailure("Unknown compression: " + std::to_string(compression) + "!");
  return {};
}

/// A signal writes what it holds: details document, database object and archive.
inline void ExamineOutputs(InternalTimeSignal const& signal, Describe const& describe)
{
  SignalContents contents = ContentsOf(signal);
  Outcome const documentOutcome = DocumentOutcome(contents.header);
  std::stringstream document;
  Outcome const created = OutcomeOf([&] { signal.CreateXmlDetails(document); });
  EXPECT_TRUE(created == documentOutcome) << created.ToString() << ": " << describe();

  auto const byteCount = FieldAt<unsigned long long>(contents.header, FieldOffset::kDataArrayByteCount);
  if (byteCount <= kLargestOutput)
  {
    std::unique_ptr<MeasurementDataDO> object;
    Outcome const stored = OutcomeOf([&] { object.reset(signal.GetMeasurementDataDO()); });
    EXPECT_TRUE(stored == documentOutcome) << stored.ToString() << ": " << describe();
    Bytes flat = contents.Flat();
    flat.resize(kHeaderBytes + static_cast<std::size_t>(byteCount));
    EXPECT_TRUE(object == nullptr || object->getBinaryData() == flat) << describe();
  }

  auto const archivedByteCount = static_cast<std::uint32_t>(byteCount);
  if (contents.samples && archivedByteCount > kLargestOutput)
    return;
  if (contents.samples)
    contents.samples->resize(archivedByteCount);
  Archive archive;
  archive << signal;
  EXPECT_TRUE(archive.good()) << describe();
  EXPECT_TRUE(archive.str() == ArchiveForm(contents)) << describe();
}

/// The header that an object has when only a part of another one has arrived: each byte is the old or the new one.
inline bool IsPartlyOverwritten(Bytes const& header, Bytes const& old, Bytes const& arrived)
{
  for (std::size_t i = 0; i < kHeaderBytes; ++i)
    if (header[i] != old[i] && (i >= arrived.size() || header[i] != arrived[i]))
      return false;
  return true;
}

struct ArchiveReadingEnd
{
  std::unique_ptr<InternalTimeSignal> signal;
  SignalModel model;
  bool isWhole;
};

/// Reads any bytes into a target, checks how that ends, and gives the object with a model of its header and samples.
inline ArchiveReadingEnd ReadAndCompare(std::unique_ptr<InternalTimeSignal> signal, std::string const& bytes,
                                        Describe const& describe)
{
  SignalContents const old = ContentsOf(*signal);
  ArchiveReader const reader(bytes);
  Archive archive(bytes);
  Outcome const outcome = OutcomeOf([&] { archive >> *signal; });
  EXPECT_TRUE(outcome == reader.End()) << outcome.ToString() << " instead of " << reader.End().ToString() << ": "
                                       << describe();
  EXPECT_EQ(signal->GetReferenceCounter(), 1U) << describe();
  SignalContents const actual = ContentsOf(*signal);
  Bytes const& header = reader.Contents().header;
  bool const isHeaderWhole = header.size() == kHeaderBytes;
  EXPECT_TRUE(isHeaderWhole ? actual.header == header : IsPartlyOverwritten(actual.header, old.header, header))
      << describe();
  if (!outcome.Failed())
  {
    EXPECT_EQ(archive.good(), reader.IsGood()) << describe();
    SignalContents expected = reader.Contents();
    if (!reader.IsGood())
      expected.jobDataUuid = old.jobDataUuid;
    EXPECT_EQ(DifferenceBetween(actual, expected), "") << describe();
  }
  // Behind a failure of the archive itself there is no position to compare.
  bool const isSamePosition = !reader.IsGood() || static_cast<std::size_t>(archive.tellg()) == reader.Taken();
  EXPECT_TRUE(isSamePosition) << describe();
  return {std::move(signal),
          SignalModel(actual.header, reader.KnowsSamples() ? reader.Contents().samples : old.samples),
          !reader.End().Failed() && reader.IsGood()};
}

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

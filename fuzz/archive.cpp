// Foreign bytes as an archive: reading into a signal that has samples and lists already ends as the model of the tests
// says, and what came of it goes through every operation and into an archive again.

#include "Examination.h"
#include "support/ArchivedObject.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace
{
/// Only a NaN with a payload and text behind a zero byte are lost, and both are gone after the first reading.
void writeAndRead(InternalTimeSignal const& signal)
{
  Archive archive;
  archive << signal;
  InternalTimeSignal again;
  archive >> again;
  Archive repeated;
  repeated << again;
  EXPECT_TRUE(archive.good() && repeated.str() == archive.str());
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> input)
{
  static SignalContents const before = DescribedSignal(data_uint8_t, no_compression, 11, 3);
  std::string const bytes(input.begin(), input.end());
  Describe const describe = [] { return std::string("archive"); };
  ArchiveReadingEnd const end = ReadAndCompare(ObjectWith(before), bytes, describe);
  // Also what a failure left half read is a signal.
  Examination(*end.signal, end.model, describe).All();
  ExamineOutputs(*end.signal, describe);
  if (end.model.ByteCount() <= kLargestOutput)
    writeAndRead(*end.signal);
  return end.isWhole;
}

// Foreign bytes as a time signal file: read or refused for the reason that applies; what was read gives the same bytes
// when it is written again, and in other forms files that hold the same samples.

#include "Examination.h"
#include "MemoryFile.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "support/SignalModel.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace
{
std::string failureOf(char const* message, unsigned long long actual, unsigned long long expected)
{
  return std::string(message) + ": actual " + std::to_string(static_cast<unsigned long>(actual)) + " bytes, expected " +
         std::to_string(static_cast<unsigned long>(expected)) + " bytes!";
}

/// The message that reading has to end with; empty when the file is read.
std::string expectedFailure(Bytes const& content)
{
  if (content.size() < kHeaderBytes)
    return failureOf("Time signal header incomplete", content.size(), kHeaderBytes);
  auto const announced = FieldAt<unsigned long long>(content, FieldOffset::kDataArrayByteCount);
  std::size_t const actual = content.size() - kHeaderBytes;
  return announced == actual ? ""
                             : failureOf("Wrong time signal data size", actual, static_cast<unsigned int>(announced));
}

RecordPointer read(MemoryFile const& file, std::string& failure)
{
  try
  {
    return RecordPointer(TimeSignalFile::Read(file.Path()));
  }
  catch (TimeSignalFileException const& exception)
  {
    failure = exception.what();
    return nullptr;
  }
}

/// A file in another form, as far as the signal has one: read back it gives the samples of the model.
void writeInForm(TimeSignal signal, SignalModel const& model, compression32_t form)
{
  if (model.ByteCountToCompress() > (1U << 16))
    return;
  SignalModel plain = model;
  Outcome const expected = form == model.Form() ? Outcome() : plain.Uncompress();
  MemoryFile const file;
  Outcome const written = OutcomeOf([&] { TimeSignalFile::Write(file.Path(), signal, form); });
  EXPECT_EQ(written, expected) << written.ToString();
  if (expected.Failed())
  {
    EXPECT_TRUE(file.Content().empty());
    return;
  }
  std::string failure;
  RecordPointer const again = read(file, failure);
  EXPECT_EQ(failure, "");
  auto const stored = signal.GetStoredSamples();
  Bytes const content = file.Content();
  EXPECT_EQ(FlatBytes(*again), content);
  EXPECT_TRUE(std::equal(stored.begin(), stored.end(), content.begin() + kHeaderBytes, content.end()));
  if (form != no_compression && form != model.Form() && plain.ByteCount() != 0)
  {
    EXPECT_EQ(Decoded(Bytes(stored.begin(), stored.end()), form, plain.BytesToCompress().size()),
              plain.BytesToCompress());
  }
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> input)
{
  Bytes const content(input.begin(), input.end());
  MemoryFile const file(content);
  std::string failure;
  RecordPointer const record = read(file, failure);
  EXPECT_EQ(failure, expectedFailure(content));
  if (record == nullptr)
    return false;
  EXPECT_EQ(FlatBytes(*record), content);

  std::unique_ptr<TimeSignal> signal;
  Outcome const built = OutcomeOf([&] { signal = std::make_unique<TimeSignal>(*record, "", CountingUuid(0x70)); });
  EXPECT_EQ(built, SignalModel::Acceptance(content)) << built.ToString();
  if (built.Failed())
    return false;
  MemoryFile const copy;
  TimeSignalFile::Write(copy.Path(), *signal, record->Compression);
  EXPECT_EQ(copy.Content(), content);
  for (compression32_t const form : kStorageForms)
    writeInForm(*signal, SignalModel::Of(content), form);
  return true;
}

// Time signal files when memory fails.

#include "signalprocessing/io/file/TimeSignalFile.h"
#include "failing_memory/CommonScenarios.h"
#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <string>

namespace
{
std::string FileEnding(std::string const& message)
{
  return EndsWith("TimeSignalFileException", "TimeSignalFile.cpp", message);
}

/// A folder with the name of a file that is too long for a short string.
struct Place
{
  TemporaryDirectory directory;
  std::string path = directory.Path("a file with a very long name");
};

Bytes const kOlderFile(300, 0x11);

/// What an undisturbed writing leaves.
struct Written
{
  std::string signal;
  Bytes file;
};

Written WriteUndisturbed(std::string const& path, compression32_t form)
{
  TimeSignal signal = HandleOn(LongDescription());
  TimeSignalFile::Write(path, signal, form);
  return {Sight::Of(signal), ReadFile(path)};
}

/// The older file stays as long as the signal is not in its new form; then there is that file, or the beginning of the
/// new one.
std::string FaultOfWriting(std::string const& signal, Bytes const& file, Written const& expected)
{
  bool const isOlderFile = file == kOlderFile;
  if (signal != expected.signal)
  {
    if (signal != Sight::Of(HandleOn(LongDescription())))
      return "failed and left the signal changed";
    return isOlderFile ? "" : "the file was touched before the signal was compressed";
  }
  bool const isBeginning =
      file.size() < expected.file.size() && std::equal(file.begin(), file.end(), expected.file.begin());
  return isOlderFile || isBeginning ? "" : "the file holds what nobody wrote";
}
} // namespace

TEST(TimeSignalFileFailingMemory, FailedWritingLeavesTheOlderFileOrTheBeginningOfTheNewOne)
{
  Place const place;
  std::string const& path = place.path;
  for (compression32_t const form : kStorageForms)
  {
    Written const expected = WriteUndisturbed(path, form);
    ExpectEndures(Scenario<TimeSignal>{
        .make =
            [&]
        {
          WriteFile(path, kOlderFile);
          return HandleOn(LongDescription());
        },
        .act = [&](TimeSignal& signal) { TimeSignalFile::Write(path, signal, form); },
        .see = [&](TimeSignal& signal) { return Sight::Of(signal, ReadFile(path)); },
        .endings = {FileEnding("Error opening file " + path + "!"), FileEnding("Error writing to file " + path + "!")},
        .faultOfFailure = [&](TimeSignal& signal, Attempt const&)
        { return FaultOfWriting(Sight::Of(signal), ReadFile(path), expected); }});
  }
}

TEST(TimeSignalFileFailingMemory, FileIsReadWholeOrNotAtAll)
{
  Place const place;
  for (compression32_t const form : kStorageForms)
  {
    WriteUndisturbed(place.path, form);
    auto scenario = Giving([&] { return RecordPointer(TimeSignalFile::Read(place.path)); });
    scenario.endings = {FileEnding("Error opening file " + place.path + "!"),
                        FileEnding("Error reading file " + place.path + "!")};
    ExpectEndures(scenario);
  }
}

TEST(TimeSignalFileFailingMemory, RefusedFileIsRefusedOrTheRefusalFindsNoMemory)
{
  Place const place;
  auto const read = Refusing([&] { RecordPointer(TimeSignalFile::Read(place.path)); });
  ExpectEndures(read);
  for (std::size_t const size : {std::size_t{50}, std::size_t{150}})
  {
    Bytes flat = LongDescription().Flat();
    flat.resize(size);
    WriteFile(place.path, flat);
    auto scenario = read;
    scenario.endings = {FileEnding("Error opening file " + place.path + "!")};
    ExpectEndures(scenario);
  }
}

TEST(TimeSignalFileFailingMemory, FileThatCannotBeOpenedIsReportedOrTheReportFindsNoMemory)
{
  Place const place;
  std::string const path = place.path + "/below a file that is not there";
  TimeSignal signal = HandleOn(LongDescription());
  ExpectEndures(Refusing([&] { TimeSignalFile::Write(path, signal, no_compression); }));
}

#include "FileFaults.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "support/Expectations.h"
#include "support/SampleSignals.h"
#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

// Every call that the library makes on a file fails in turn: each error once and from then on forever, until an
// operation meets no fault any more.

namespace
{
using Bytes = std::vector<unsigned char>;

struct Fault
{
  char const* kind;
  bool forever;
  /// Whether the operation succeeds in spite of it: what was only interrupted or cut short is continued.
  bool isOvercome;
};

std::ostream& operator<<(std::ostream& stream, Fault const& fault)
{
  return stream << fault.kind << (fault.forever ? "Forever" : "Once");
}

constexpr Fault kWriteFaults[] = {{"EIO", false, false},   {"EIO", true, false},    {"ENOSPC", false, false},
                                  {"ENOSPC", true, false}, {"EINTR", false, false}, {"EINTR", true, false},
                                  {"short", false, true},  {"short", true, true}};
constexpr Fault kReadFaults[] = {{"EIO", false, false},  {"EIO", true, false},   {"EINTR", false, false},
                                 {"EINTR", true, false}, {"short", false, true}, {"short", true, true}};

std::size_t OpenFileCount()
{
  using Files = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Files("/proc/self/fd"), Files()));
}

/// What a run under a fault came to.
struct Outcome
{
  unsigned injected = 0;
  bool failed = false;
};

class FailingFile : public testing::TestWithParam<Fault>
{
protected:
  FailingFile()
    : folder_(std::filesystem::canonical(directory_.Path())), path_(folder_ + "/signal.bin"), signal_(MakeSamples())
  {
  }

  static TimeSignal MakeSamples()
  {
    std::vector<short> samples(10000); // more than any buffer
    for (std::size_t i = 0; i < samples.size(); ++i)
      samples[i] = static_cast<short>(i * 7);
    return MakeSignal(samples);
  }

  /// Runs an operation whose call number `at` has the fault; what it throws must be one of the messages.
  Outcome RunWithFault(unsigned at, std::function<void()> const& operation, std::vector<std::string> const& messages)
  {
    Outcome outcome;
    FileFaults::Arm(folder_.c_str(), GetParam().kind, at, GetParam().forever);
    try
    {
      operation();
    }
    catch (TimeSignalFileException const& error)
    {
      FileFaults::Disarm();
      outcome.failed = true;
      EXPECT_EQ(error.getClassName(), "TimeSignalFileException");
      EXPECT_EQ(error.getFile(), "TimeSignalFile.cpp");
      EXPECT_NE(std::find(messages.begin(), messages.end(), error.what()), messages.end()) << error.what();
    }
    FileFaults::Disarm();
    outcome.injected = FileFaults::Injected();
    return outcome;
  }

  /// Runs `check(at)` for every call that an operation makes, until one meets no fault any more.
  /// @return how many calls had it
  static unsigned ForEveryCall(std::function<Outcome(unsigned)> const& check)
  {
    for (unsigned at = 1; at < 1000; ++at)
    {
      SCOPED_TRACE("call " + std::to_string(at));
      std::size_t const before = OpenFileCount();
      Outcome const outcome = check(at);
      EXPECT_EQ(OpenFileCount(), before);
      EXPECT_FALSE(outcome.failed && (outcome.injected == 0 || GetParam().isOvercome));
      if (outcome.injected == 0)
      {
        EXPECT_EQ(FileFaults::Calls(), at - 1); // the last call had its turn
        return at - 1;
      }
    }
    ADD_FAILURE() << "there was always one more call";
    return 0;
  }

  std::string Message(char const* what) const { return std::string("Error ") + what + " file " + path_ + "!"; }

  Bytes Contents() const
  {
    Bytes bytes = HeaderBytes(*signal_.GetHeader());
    Bytes const samples = StoredBytes(signal_);
    bytes.insert(bytes.end(), samples.begin(), samples.end());
    return bytes;
  }

  TemporaryDirectory directory_;
  std::string folder_;
  std::string path_;
  TimeSignal signal_;
};

class FailingWrite : public FailingFile
{
};

TEST_P(FailingWrite, FailsClearlyOrWritesTheWholeFile)
{
  bool someFailed = false;
  unsigned const calls = ForEveryCall(
      [&](unsigned at)
      {
        auto const write = [&] { TimeSignalFile::Write(path_, signal_, no_compression); };
        std::filesystem::remove(path_);
        Outcome const outcome = RunWithFault(at, write, {Message("opening"), Message("writing to")});
        someFailed = someFailed || outcome.failed;
        EXPECT_TRUE(outcome.failed || ReadFile(path_) == Contents());
        write();
        EXPECT_EQ(ReadFile(path_), Contents());
        return outcome;
      });
  EXPECT_EQ(someFailed, !GetParam().isOvercome);
  EXPECT_GE(calls, GetParam().isOvercome ? 1U : 3U); // to write; besides, to open and to close
}

/// What the test above would notice.
TEST_P(FailingWrite, WriterThatIgnoresErrorsIsNoticed)
{
  unsigned cutFiles = 0;
  ForEveryCall(
      [&](unsigned at)
      {
        auto const write = [&]
        {
          Bytes const bytes = Contents();
          int const file = open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
          [[maybe_unused]] ssize_t const ignored = ::write(file, bytes.data(), bytes.size());
          close(file);
        };
        WriteFile(path_, {});
        Outcome const outcome = RunWithFault(at, write, {});
        cutFiles += ReadFile(path_) == Contents() ? 0U : 1U;
        return outcome;
      });
  EXPECT_GE(cutFiles, 1U);
}

INSTANTIATE_TEST_SUITE_P(Faults, FailingWrite, testing::ValuesIn(kWriteFaults),
                         [](auto const& fault) { return testing::PrintToString(fault.param); });

class FailingRead : public FailingFile
{
};

TEST_P(FailingRead, FailsClearlyOrGivesTheWholeRecord)
{
  WriteFile(path_, Contents());
  bool someFailed = false;
  unsigned const calls = ForEveryCall(
      [&](unsigned at)
      {
        auto const read = [&]
        {
          std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(path_));
          std::unique_ptr<unsigned char[]> const samples(record->Samples);
          Bytes bytes = HeaderBytes(*record);
          bytes.insert(bytes.end(), samples.get(), samples.get() + record->DataArrayByteCount);
          EXPECT_EQ(bytes, Contents());
        };
        Outcome const outcome = RunWithFault(at, read, {Message("opening"), Message("reading")});
        someFailed = someFailed || outcome.failed;
        read();
        return outcome;
      });
  EXPECT_EQ(someFailed, !GetParam().isOvercome);
  EXPECT_GE(calls, GetParam().isOvercome ? 1U : 3U); // to read; besides, to open and to close
}

INSTANTIATE_TEST_SUITE_P(Faults, FailingRead, testing::ValuesIn(kReadFaults),
                         [](auto const& fault) { return testing::PrintToString(fault.param); });
} // namespace

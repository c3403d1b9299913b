#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

/// A time signal at namespace scope: worked with in its constructor, before main, and in its destructor, behind main.
/// Each of them says so on the standard output; whatever goes wrong ends the program with status 1.
class StaticSignal
{
public:
  explicit StaticSignal(char const* owner) : owner_(owner), signal_(makeSignal())
  {
    work();
    report("constructed");
  }
  ~StaticSignal()
  {
    work();
    report("destroyed");
  }
  StaticSignal(StaticSignal const&) = delete;
  StaticSignal& operator=(StaticSignal const&) = delete;

  TimeSignal const& signal() const { return signal_; }

private:
  static TimeSignal makeSignal()
  {
    std::vector<short> const samples = {1, -2, 300, -400};
    Uuid const uuid = Uuid::CreateUuid();
    return TimeSignal(raw_time_signal, uuid, uuid, 1, 1, 0, 0, uuid, "g", data_int16_t, samples.size(), samples.data(),
                      uuid);
  }

  /// Shares, copies on write, compresses, fails and compares: everything that takes the lock or an exception.
  void work() const
  {
    TimeSignal copy = signal_;
    copy.Compress(zlib);
    require(signal_.GetHeader()->Compression == no_compression && copy.GetHeader()->Compression == zlib,
            "copy on write");
    require(failsToCompress(copy), "exception");
    copy.Uncompress();
    require(copy == signal_, "comparison");
    std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(copy, -1));
    require(*values == std::vector<double>{1, -2, 300, -400}, "readout");
  }

  static bool failsToCompress(TimeSignal& signal)
  {
    try
    {
      signal.Compress(int24);
      return false;
    }
    catch (TimeSignalException const&)
    {
      return true;
    }
  }

  void report(char const* event) const
  {
    std::printf("%s %s\n", owner_, event);
    std::fflush(stdout);
  }

  void require(bool condition, char const* finding) const
  {
    if (condition)
      return;
    report(finding);
    std::_Exit(1);
  }

  char const* owner_;
  TimeSignal signal_;
};

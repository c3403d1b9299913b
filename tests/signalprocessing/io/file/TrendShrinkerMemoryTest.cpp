#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/ShrinkRun.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

// Runs that find too little memory. Each is a process of its own, whose address space is limited: neither a sanitizer
// nor an emulator lives with that.

#ifndef QEN_IS_SLOW
namespace
{
constexpr std::size_t kMegabyte = 1 << 20;
constexpr std::size_t kEntryCount = 48 * kMegabyte / kTrendEntryBytes;

/// From now on the process can have this much more memory than it has.
bool LimitMemory(std::size_t more)
{
  unsigned long pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%lu", &pages) != 1)
    return false;
  std::fclose(file);
  rlim_t const size = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + more;
  rlimit const limit = {size, size};
  return setrlimit(RLIMIT_AS, &limit) == 0;
}

/// A trend that is small until it is read.
TrendDataDO BigTrend()
{
  TrendParts parts;
  parts.form = zlib;
  parts.limit = 9;
  Bytes flat = FlatTrend(parts, Stored(Bytes(kEntryCount * kTrendEntryBytes), zlib));
  SetField(flat, TrendField::kSampleCount, static_cast<unsigned int>(kEntryCount));
  return StoredTrend(parts, flat, "");
}

std::vector<TrendDataDO> const& SmallAndBigTrend()
{
  static std::vector<TrendDataDO> const trends = []
  {
    TrendParts small;
    small.entries = EntriesAt({1, 2});
    return std::vector<TrendDataDO>{StoredTrend(small), BigTrend()};
  }();
  return trends;
}

TrendShrinker ShrinkerOfOne()
{
  ShrinkSettings settings;
  settings.maxSize = 4294967295U;
  return MakeShrinker(settings);
}

/// Ends the process: with 0 when the run gives this many trends and its last record is that of an unknown exception.
[[noreturn]] void EndAfterRun(std::vector<TrendDataDO> const& trends, std::size_t memory, std::size_t expectedTrends)
{
  TrendShrinker shrinker = ShrinkerOfOne();
  LogCapture const capture(kTrendShrinkerCategory);
  if (!LimitMemory(memory))
    std::_Exit(2);
  std::vector<TrendDataDO*> const result = shrinker.ShrinkTrends(0, trends, {});
  std::vector<LogRecord> const records = capture.Records();
  bool const logged = !records.empty() && records.back().priority == 300 &&
                      records.back().text == "Unknown exception in function ShrinkTrends()!";
  std::_Exit(logged && result.size() == expectedTrends ? 0 : 1);
}

/// Ends the process: with 0 when the run throws std::bad_alloc and logs no error.
[[noreturn]] void EndAfterThrowingRun(std::vector<TrendDataDO> const& trends, std::size_t memory)
{
  TrendShrinker shrinker = ShrinkerOfOne();
  LogCapture const capture(kTrendShrinkerCategory, log4cpp::Priority::ERROR);
  if (!LimitMemory(memory))
    std::_Exit(2);
  try
  {
    shrinker.ShrinkTrendsOrThrow(0, trends, {});
  }
  catch (std::bad_alloc const&)
  {
    std::_Exit(capture.Records().empty() ? 0 : 1);
  }
  std::_Exit(1);
}
} // namespace

TEST(TrendShrinkerMemory, RunThatCannotReadItsTrendsGivesNothing)
{
  std::vector<TrendDataDO> const& trends = SmallAndBigTrend();
  EXPECT_EXIT(EndAfterRun(trends, 24 * kMegabyte, 0), testing::ExitedWithCode(0), "");
}

TEST(TrendShrinkerMemory, GroupsBeforeTheOneThatFailsAreReturned)
{
  // The entries of the big trend fit once, but not twice.
  std::vector<TrendDataDO> const& trends = SmallAndBigTrend();
  EXPECT_EXIT(EndAfterRun(trends, 77 * kMegabyte, 1), testing::ExitedWithCode(0), "");
}

TEST(TrendShrinkerMemory, ThrowingTwinPassesTheExceptionOn)
{
  std::vector<TrendDataDO> const& trends = SmallAndBigTrend();
  EXPECT_EXIT(EndAfterThrowingRun(trends, 24 * kMegabyte), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(EndAfterThrowingRun(trends, 77 * kMegabyte), testing::ExitedWithCode(0), "");
}
#endif

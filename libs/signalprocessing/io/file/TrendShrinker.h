#pragma once

#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "utilities/Export.h"

#include <deque>
#include <memory>
#include <span>
#include <vector>

class ThinningObserver;

/// Thins out stored trends by age: what is older than an hour, a day, a week and four weeks keeps as many entries per
/// hour or day as the device's configuration says. TrendShrinker.cpp tells how.
///
/// Time stamps are microseconds since 1970-01-01T00:00:00Z. A shrinker holds its settings alone: different threads may
/// use it at once.
class QEN_FILE_IO_EXPORT TrendShrinker
{
public:
  /// Reads the four counts from the device's details. A class that is missing, or that has a NoCleanup element, counts
  /// 0, which keeps everything. Throws OptionException for a count that is no number.
  /// @param maxTrendSize         largest number of entries of a trend in the result
  /// @param maxDaysTrendDuration never shortens a trend below maxTrendSize
  TrendShrinker(DeviceDO const& device, unsigned int maxTrendSize, unsigned int maxDaysTrendDuration);

  unsigned int GetMaxTrendSize() const;
  unsigned int GetMaxDaysTrendDuration() const;
  unsigned int GetNoTrendValuesPerHourOlderThanOneHour() const;
  unsigned int GetNoTrendValuesPerDayOlderThanOneDay() const;
  unsigned int GetNoTrendValuesPerDayOlderThanOneWeek() const;
  unsigned int GetNoTrendValuesPerDayOlderThanFourWeeks() const;

  /// Thins the trends of one characteristic value. Never throws: what goes wrong is logged, and the trends that are
  /// made by then are returned, or none when there is no memory for the list of them. They may end in the middle of a
  /// group of trends, so what they replace must not be deleted for them; ShrinkTrendsOrThrow tells.
  /// @param now    the current time
  /// @param trends the stored trends, oldest first; those without entries are skipped
  /// @param values the stored characteristic values, oldest first: the entry with the time stamp of one of them is
  /// kept,
  ///               with the exceptions that TrendShrinker.cpp names
  /// @return new trends, closed and compressed with zlib, oldest first; the caller owns them
  std::vector<TrendDataDO*> ShrinkTrends(long long now, std::vector<TrendDataDO> const& trends,
                                         std::vector<CharacteristicValueDataDO> const& values);
  /// The same run for callers that must know: whatever ends it early is thrown instead of logged, and nothing is
  /// returned. TrendException for a maximum trend size of 0 and for damaged records, CompressionException,
  /// std::bad_alloc.
  std::vector<std::unique_ptr<TrendDataDO>> ShrinkTrendsOrThrow(long long now, std::vector<TrendDataDO> const& trends,
                                                                std::vector<CharacteristicValueDataDO> const& values);
  /// The same, and the observer is told of every entry: of those of trends that overlap, after they were merged.
  std::vector<std::unique_ptr<TrendDataDO>> ShrinkTrendsOrThrow(long long now, std::vector<TrendDataDO> const& trends,
                                                                std::vector<CharacteristicValueDataDO> const& values,
                                                                ThinningObserver& observer);

  /// A new trend with the identity of the first and the entries of both by time; of equal time stamps the first trend's
  /// entry comes first.
  Trend MergeTrends(Trend const& first, Trend const& second) const;
  /// Whether a is older than b.
  static bool CompareTrendEntry(trend_entry_t const& a, trend_entry_t const& b);
  /// Index of the last of the first `count` entries, ascending by time, that is not later than t; of several at exactly
  /// t, the one that halving meets first; 0 when all are later.
  static unsigned int FindLastEntryPos(std::deque<trend_entry_t> const& entries, unsigned int count, long long t);

private:
  class Values;
  struct Period;
  struct Walk;
  using Output = std::vector<std::unique_ptr<TrendDataDO>>;

  QEN_FILE_IO_HIDDEN void run(long long now, std::vector<TrendDataDO> const& trends,
                              std::vector<CharacteristicValueDataDO> const& values, ThinningObserver* observer,
                              Output& output) const;
  /// Thins one group of trends and appends its result.
  QEN_FILE_IO_HIDDEN void Shrink(long long now, std::span<Trend const> group, Values& values,
                                 ThinningObserver* observer, Output& output) const;
  /// Gathers the entries of one period, across trends, and thins them.
  QEN_FILE_IO_HIDDEN static void ShrinkTrendsOfOnePeriod(Period const& period, Walk& walk);
  /// Thins the entries of one period and leaves in `entries` those behind it.
  QEN_FILE_IO_HIDDEN static void ShrinkTrendEntriesOfOnePeriod(Period const& period,
                                                               std::span<trend_entry_t const>& entries, Walk& walk);
  /// Cuts the survivors of a group into trends with the identity of its first one.
  QEN_FILE_IO_HIDDEN void cutIntoTrends(std::deque<trend_entry_t>& survivors, Trend const& identity,
                                        Output& output) const;
  QEN_FILE_IO_HIDDEN unsigned int countOfNextTrend(std::deque<trend_entry_t> const& survivors) const;

  unsigned int maxTrendSize_;
  unsigned int maxDaysTrendDuration_;
  unsigned int perHourOlderThanOneHour_;
  unsigned int perDayOlderThanOneDay_;
  unsigned int perDayOlderThanOneWeek_;
  unsigned int perDayOlderThanFourWeeks_;
};

#pragma once

#include "support/TrendShrinkingModel.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <utility>
#include <vector>

/// What a store must keep of the closed entries of one value, unit and limit, found out without a ledger: every period
/// that is old enough is thinned, with each run again. With the same slots that changes nothing, so the outcome is that
/// of a store that thins each of them once.
struct RetentionModel
{
  ShrinkSettings settings;
  long long anchor = 0;              ///< where a period starts
  std::optional<long long> openFrom; ///< first entry of the first open trend
  std::vector<long long> pins;       ///< characteristic values and bookmarks
  bool keepPeaks = false;

  /// @param entries by time
  std::vector<EntryBytes> Thin(long long now, std::vector<EntryBytes> const& entries) const
  {
    if (entries.empty())
      return {};
    long long const start = dayStart(TimeOf(entries.front()));
    auto const wait =
        std::find_if(entries.begin(), entries.end(),
                     [end = endOfWhatIsThinned(now)](EntryBytes const& entry) { return end && TimeOf(entry) >= *end; });
    TrendParts ripe;
    ripe.entries.assign(entries.begin(), wait);
    ripe.firstColumn = start;
    std::vector<EntryBytes> left;
    if (!ripe.entries.empty())
    {
      ShrinkSettings all = settings;
      all.maxSize = static_cast<unsigned int>(entries.size());
      TrendShrinkingModel model(all, now);
      model.Run({ripe}, pinsOf(now, start, ripe.entries));
      for (ShrunkTrend const& trend : model.Results())
        left.insert(left.end(), trend.entries.begin(), trend.entries.end());
    }
    left.insert(left.end(), wait, entries.end());
    return left;
  }

  long long dayStart(long long time) const { return startOf(time, TrendShrinkingDetail::kDay); }

private:
  long long startOf(long long time, long long length) const
  {
    long long const behind = (time - anchor) % length;
    return time - (behind < 0 ? behind + length : behind);
  }

  static bool isDayOld(long long start, long long now)
  {
    using TrendShrinkingDetail::kDay;
    return start + kDay - 1 < now - (kDay - 1);
  }
  static bool isHourOld(long long start, long long now)
  {
    using TrendShrinkingDetail::kHour;
    return start + kHour - 1 < now - (kHour - 1);
  }

  /// A period that an open trend reaches into waits, and all behind it.
  std::optional<long long> endOfWhatIsThinned(long long now) const
  {
    if (!openFrom)
      return std::nullopt;
    long long const day = dayStart(*openFrom);
    return isDayOld(day, now) ? day : startOf(*openFrom, TrendShrinkingDetail::kHour);
  }

  std::vector<long long> pinsOf(long long now, long long start, std::vector<EntryBytes> const& entries) const
  {
    std::set<long long> wanted(pins.begin(), pins.end());
    std::set<long long> pinned;
    for (EntryBytes const& entry : entries)
      if (wanted.count(TimeOf(entry)) != 0)
        pinned.insert(TimeOf(entry));
    if (keepPeaks)
      for (long long const time : peaks(now, start, entries))
        pinned.insert(time);
    return {pinned.begin(), pinned.end()};
  }

  static std::vector<long long> peaks(long long now, long long start, std::vector<EntryBytes> const& entries)
  {
    using namespace TrendShrinkingDetail;
    std::vector<long long> times;
    for (; start <= TimeOf(entries.back()) && isHourOld(start, now);)
    {
      long long const end = start + (isDayOld(start, now) ? kDay : kHour);
      std::optional<trend_entry_t> smallest, largest;
      std::optional<long long> previous;
      for (EntryBytes const& bytes : entries)
      {
        trend_entry_t const entry = ToEntry(bytes);
        // Only the first of several entries with one time stamp can be pinned.
        if (std::exchange(previous, entry.TimeStamp) == entry.TimeStamp || std::isnan(entry.Value) ||
            entry.TimeStamp < start || entry.TimeStamp >= end)
          continue;
        if (!smallest || entry.Value < smallest->Value)
          smallest = entry;
        if (!largest || entry.Value > largest->Value)
          largest = entry;
      }
      if (smallest)
        times.insert(times.end(), {smallest->TimeStamp, largest->TimeStamp});
      start = end;
    }
    return times;
  }
};

#pragma once

#include "support/TrendRecords.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <vector>

// How stored trends are thinned, in the plainest code: period by period and slot by slot, whether or not there is
// anything in them. Time stamps that no 64-bit number can hold are the nearest that it can.

namespace TrendShrinkingDetail
{
inline constexpr long long kLargest = std::numeric_limits<long long>::max();
inline constexpr long long kSmallest = std::numeric_limits<long long>::min();
inline constexpr long long kHour = 3600000000;
inline constexpr long long kDay = 24 * kHour;

inline long long Plus(long long a, long long b)
{
  long long sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? (b < 0 ? kSmallest : kLargest) : sum;
}

inline long long Minus(long long a, long long b)
{
  long long difference = 0;
  return __builtin_sub_overflow(a, b, &difference) ? (b < 0 ? kLargest : kSmallest) : difference;
}

/// Days in microseconds.
inline long long DaysLong(unsigned int days)
{
  long long product = 0;
  return __builtin_mul_overflow(static_cast<long long>(days), kDay, &product) ? kLargest : product;
}
} // namespace TrendShrinkingDetail

struct ShrinkSettings
{
  unsigned int maxSize = 1000;
  unsigned int maxDays = 100;
  unsigned int perHourOlderThanOneHour = 0;
  unsigned int perDayOlderThanOneDay = 0;
  unsigned int perDayOlderThanOneWeek = 0;
  unsigned int perDayOlderThanFourWeeks = 0;
};

/// A trend that comes out: all but its UUID, which is new.
struct ShrunkTrend
{
  Uuid configUuid, baseUuid, unitUuid;
  std::string unitString;
  double limit = 0;
  std::vector<EntryBytes> entries;
};

/// A log record of a run. The UUIDs of merged trends are new: in their place stands "new".
struct ShrinkLogRecord
{
  int priority = 0;
  std::string text;
  bool operator==(ShrinkLogRecord const&) const = default;
};

class TrendShrinkingModel
{
public:
  TrendShrinkingModel(ShrinkSettings const& settings, long long now) : settings_(settings), now_(now) {}

  /// The whole run: trends oldest first, time stamps of the characteristic values in ascending order.
  void Run(std::vector<TrendParts> const& trends, std::vector<long long> const& values)
  {
    values_ = values;
    value_ = 0;
    std::vector<Item> list;
    for (TrendParts const& parts : trends)
      if (!parts.entries.empty())
        list.push_back({parts, parts.First(), parts.Last(), parts.trendUuid.ToString(), parts.entries});
    std::vector<Item> group;
    std::size_t count = 0;
    for (Item& item : list)
    {
      if (group.empty())
        count = 0;
      else if (item.parts.limit != group.front().parts.limit)
      {
        finishGroup(group, count);
        group.clear();
        count = 0;
      }
      else if (item.first < group.back().last)
      {
        log(700, "Trends " + item.name + " and " + group.back().name + " overlap!");
        count -= group.back().entries.size();
        item = merged(group.back(), item);
        group.pop_back();
      }
      count += item.entries.size();
      group.push_back(item);
    }
    if (!group.empty())
      finishGroup(group, count);
  }

  std::vector<ShrunkTrend> const& Results() const { return results_; }
  std::vector<ShrinkLogRecord> const& Log() const { return log_; }

private:
  struct Item
  {
    TrendParts parts; // identity and limit
    long long first, last;
    std::string name;
    std::vector<EntryBytes> entries;
  };
  struct Period
  {
    long long length;
    unsigned int count;
  };
  /// Where the walk through a group is. The entries stay those of the last trend when there is no trend left.
  struct Position
  {
    std::size_t trend = 0;
    std::vector<EntryBytes> const* entries = nullptr;
    std::size_t entry = 0;
  };
  using Buckets = std::array<std::deque<EntryBytes>, 4>;

  void log(int priority, std::string const& text) { log_.push_back({priority, text}); }

  static Item merged(Item const& first, Item const& second)
  {
    Item result = first;
    result.name = "new";
    result.entries.insert(result.entries.end(), second.entries.begin(), second.entries.end());
    std::stable_sort(result.entries.begin(), result.entries.end(),
                     [](EntryBytes const& a, EntryBytes const& b) { return TimeOf(a) < TimeOf(b); });
    result.first = TimeOf(result.entries.front());
    result.last = TimeOf(result.entries.back());
    return result;
  }

  void finishGroup(std::vector<Item> const& group, std::size_t count)
  {
    log(600, "Trend size before shrinking: " + std::to_string(count));
    std::deque<EntryBytes> out = thin(group);
    if (!out.empty())
      log(600, "Trend size after shrinking: " + std::to_string(out.size()));
    while (!out.empty())
      cutOne(group.front().parts, out);
  }

  std::optional<Period> classify(long long start) const
  {
    using namespace TrendShrinkingDetail;
    long long const dayLast = Plus(start, 86399999999);
    if (dayLast < Minus(now_, 2419199999999))
      return Period{kDay, settings_.perDayOlderThanFourWeeks};
    if (dayLast < Minus(now_, 604799999999))
      return Period{kDay, settings_.perDayOlderThanOneWeek};
    if (dayLast < Minus(now_, 86399999999))
      return Period{kDay, settings_.perDayOlderThanOneDay};
    if (Plus(start, 3599999999) < Minus(now_, 3599999999))
      return Period{kHour, settings_.perHourOlderThanOneHour};
    return std::nullopt;
  }

  std::deque<EntryBytes> thin(std::vector<Item> const& group)
  {
    std::deque<EntryBytes> out;
    long long start = group.front().first;
    Position at;
    while (at.trend < group.size())
    {
      at.entries = &group[at.trend].entries;
      at.entry = 0;
      while (at.entry < at.entries->size())
      {
        if (std::optional<Period> const period = classify(start))
        {
          trendsOfOnePeriod(start, *period, group, at, out);
          start += period->length;
          continue;
        }
        for (; at.entry < at.entries->size(); ++at.entry)
          out.push_back((*at.entries)[at.entry]);
      }
      if (at.trend < group.size())
        ++at.trend;
    }
    return out;
  }

  void trendsOfOnePeriod(long long start, Period const& period, std::vector<Item> const& group, Position& at,
                         std::deque<EntryBytes>& out)
  {
    long long const periodEnd = start + period.length;
    if (periodEnd - 1 < TimeOf(at.entries->back()))
      return entriesOfOnePeriod(start, period, *at.entries, at.entry, out);
    if (at.trend < group.size())
      ++at.trend;
    if (at.trend == group.size())
      return entriesOfOnePeriod(start, period, *at.entries, at.entry, out);
    std::vector<EntryBytes> gathered(at.entries->begin() + static_cast<std::ptrdiff_t>(at.entry), at.entries->end());
    for (; at.trend < group.size(); ++at.trend)
    {
      at.entries = &group[at.trend].entries;
      bool const reachesFurther = periodEnd - 1 < TimeOf(at.entries->back());
      for (at.entry = 0; at.entry < at.entries->size(); ++at.entry)
      {
        if (reachesFurther && TimeOf((*at.entries)[at.entry]) >= periodEnd)
          break;
        gathered.push_back((*at.entries)[at.entry]);
      }
      if (reachesFurther)
        break;
    }
    std::size_t gatheredEntry = 0;
    entriesOfOnePeriod(start, period, gathered, gatheredEntry, out);
  }

  void entriesOfOnePeriod(long long start, Period const& period, std::vector<EntryBytes> const& entries,
                          std::size_t& entry, std::deque<EntryBytes>& out)
  {
    long long const periodEnd = start + period.length;
    std::size_t stop = entry;
    while (stop < entries.size() && TimeOf(entries[stop]) < periodEnd)
      ++stop;
    if (period.count == 0)
    {
      for (; entry < stop; ++entry)
        out.push_back(entries[entry]);
      return;
    }
    long long const slot = period.length / static_cast<long long>(period.count);
    long long const half = slot / 2;
    std::size_t position = entry;
    for (long long i = 1; i <= static_cast<long long>(period.count); ++i)
    {
      long long const slotEnd = start + i * slot;
      long long const centre = start + (i - 1) * slot + half;
      Buckets buckets;
      pin(entries, position, stop, periodEnd, slotEnd, buckets);
      choose(entries, position, stop, centre, slotEnd, buckets);
      merge(buckets, out);
      while (position < stop && TimeOf(entries[position]) < slotEnd)
        ++position;
    }
    entry = stop;
  }

  /// 0 for other statuses, which go first among equal time stamps.
  static std::size_t bucketOf(EntryBytes const& entry) { return StatusOf(entry) <= 3 ? StatusOf(entry) : 0; }

  void pin(std::vector<EntryBytes> const& entries, std::size_t position, std::size_t stop, long long periodEnd,
           long long slotEnd, Buckets& buckets)
  {
    if (value_ == values_.size() || values_[value_] >= periodEnd)
      return;
    // Behind the last entry there is nothing to compare the value with.
    if (position < entries.size())
      while (value_ < values_.size() && values_[value_] < TimeOf(entries[position]))
        ++value_;
    for (std::size_t i = position; i < stop; ++i)
    {
      if (value_ == values_.size() || TimeOf(entries[i]) >= slotEnd || values_[value_] >= slotEnd)
        return;
      if (TimeOf(entries[i]) == values_[value_])
        buckets.at(bucketOf(entries[i])).push_back(entries[i]);
      while (value_ < values_.size() && values_[value_] <= TimeOf(entries[i]))
        ++value_;
    }
  }

  static void choose(std::vector<EntryBytes> const& entries, std::size_t position, std::size_t stop, long long centre,
                     long long slotEnd, Buckets& buckets)
  {
    using TrendShrinkingDetail::Minus;
    struct Candidate
    {
      long long distance = TrendShrinkingDetail::kLargest;
      std::optional<EntryBytes> entry;
    };
    std::array<Candidate, 4> candidates;
    auto const isFull = [](std::deque<EntryBytes> const& bucket) { return !bucket.empty(); };
    for (std::size_t i = position; i < stop && TimeOf(entries[i]) < slotEnd; ++i)
    {
      if (std::all_of(buckets.begin(), buckets.end(), isFull))
        break;
      long long const time = TimeOf(entries[i]);
      std::deque<EntryBytes>& bucket = buckets.at(bucketOf(entries[i]));
      Candidate& candidate = candidates.at(bucketOf(entries[i]));
      if (time < centre)
        candidate = {Minus(centre, time), entries[i]};
      else if (bucket.empty())
        bucket.push_back(candidate.entry && Minus(time, centre) >= candidate.distance ? *candidate.entry : entries[i]);
    }
    for (std::size_t i = 0; i < buckets.size(); ++i)
      if (buckets.at(i).empty() && candidates.at(i).entry)
        buckets.at(i).push_back(*candidates.at(i).entry);
  }

  static void merge(Buckets& buckets, std::deque<EntryBytes>& out)
  {
    for (;;)
    {
      std::deque<EntryBytes>* earliest = nullptr;
      for (std::deque<EntryBytes>& bucket : buckets)
        if (!bucket.empty() && (earliest == nullptr || TimeOf(bucket.front()) < TimeOf(earliest->front())))
          earliest = &bucket;
      if (earliest == nullptr)
        return;
      out.push_back(earliest->front());
      earliest->pop_front();
    }
  }

  static std::size_t lastEntryPosition(std::deque<EntryBytes> const& entries, std::size_t count, long long time)
  {
    std::size_t low = 0;
    std::size_t high = count;
    while (low + 1 != high)
    {
      std::size_t const middle = (low + high) / 2;
      long long const found = TimeOf(entries[middle]);
      if (found <= time)
        low = middle;
      else
        high = middle;
      if (found == time)
        high = middle + 1;
    }
    return low;
  }

  void cutOne(TrendParts const& identity, std::deque<EntryBytes>& out)
  {
    using namespace TrendShrinkingDetail;
    long long const limit = Plus(TimeOf(out.front()), DaysLong(settings_.maxDays));
    std::size_t const most = std::min<std::size_t>(out.size(), settings_.maxSize);
    std::size_t const taken = TimeOf(out[most - 1]) >= limit ? most : lastEntryPosition(out, most, limit) + 1;
    auto const behind = out.begin() + static_cast<std::ptrdiff_t>(taken);
    results_.push_back({identity.configUuid, identity.baseUuid, identity.unitUuid, identity.unitString, identity.limit,
                        std::vector<EntryBytes>(out.begin(), behind)});
    out.erase(out.begin(), behind);
  }

  ShrinkSettings settings_;
  long long now_;
  std::vector<long long> values_;
  std::size_t value_ = 0;
  std::vector<ShrunkTrend> results_;
  std::vector<ShrinkLogRecord> log_;
};

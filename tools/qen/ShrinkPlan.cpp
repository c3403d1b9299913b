#include "ShrinkPlan.h"

#include "Duration.h"
#include "ExitCode.h"
#include "Text.h"

#include <algorithm>
#include <set>

namespace
{
using EntryList = std::vector<trend_entry_t>;

/// The entries that are wanted as bytes, which sorting does not change: assigned entries may lose the bytes that belong
/// to no field.
template <class Wanted>
std::vector<std::string_view> SortedBytes(EntryList const& entries, Wanted const& wanted)
{
  std::vector<std::string_view> all;
  for (trend_entry_t const& entry : entries)
    if (wanted(entry))
      all.push_back(TrendFile::BytesOf(entry));
  std::sort(all.begin(), all.end());
  return all;
}

void Append(EntryList& all, Trend const& trend)
{
  EntryList const& entries = trend.GetTrendEntryVector();
  all.insert(all.end(), entries.begin(), entries.end());
}

constexpr auto kAll = [](trend_entry_t const&) { return true; };

[[noreturn]] void Refuse(std::string const& why)
{
  throw ToolError(ExitCode::Difference, "nothing was written: the thinned trends " + why);
}

/// How many entries of a trend stand in trends before it, too.
unsigned long long CountShared(TrendFamily const& family)
{
  std::set<std::string_view> seen;
  unsigned long long shared = 0;
  for (TrendFamily::Member const& member : family.Members())
  {
    EntryList const& entries = member.loaded.trend.GetTrendEntryVector();
    for (trend_entry_t const& entry : entries)
      shared += seen.count(TrendFile::BytesOf(entry));
    for (trend_entry_t const& entry : entries)
      seen.insert(TrendFile::BytesOf(entry));
  }
  return shared;
}

std::vector<CharacteristicValueDataDO> MakeValues(std::vector<long long> const& pins)
{
  std::vector<CharacteristicValueDataDO> values(pins.size());
  for (std::size_t i = 0; i < pins.size(); ++i)
    values[i].setMeasurementTimeStamp(pins[i]);
  return values;
}
} // namespace

ShrinkPlan::ShrinkPlan(TrendFamily const& family, TrendShrinker& shrinker, long long now,
                       std::vector<long long> const& pins)
{
  EntryList before;
  EntryList after;
  std::vector<TrendDataDO> stored;
  for (TrendFamily::Member const& member : family.Members())
  {
    Append(before, member.loaded.trend);
    stored.push_back(member.loaded.stored);
    bytes_.before += member.fileSize;
  }
  if (family.Members().size() > 1)
    shared_ = CountShared(family);
  results_ = shrinker.ShrinkTrendsOrThrow(now, stored, MakeValues(pins));
  for (auto const& result : results_)
  {
    Append(after, Trend(*result));
    bytes_.after += result->getData().size();
  }
  CountEntries(before, &Count::before, now, pins);
  CountEntries(after, &Count::after, now, pins);
  Check(before, after, now);
}

ShrinkPlan::Count ShrinkPlan::AllEntries() const
{
  Count all;
  for (Count const& count : entries_)
  {
    all.before += count.before;
    all.after += count.after;
  }
  return all;
}

void ShrinkPlan::CountEntries(EntryList const& entries, unsigned long long Count::*member, long long now,
                              std::vector<long long> const& pins)
{
  for (trend_entry_t const& entry : entries)
  {
    ++(entries_[AgeClass::Of(entry.TimeStamp, now)].*member);
    pinned_.*member += std::binary_search(pins.begin(), pins.end(), entry.TimeStamp) ? 1U : 0U;
  }
}

void ShrinkPlan::Check(EntryList const& before, EntryList const& after, long long now) const
{
  for (auto const& result : results_)
  {
    Trend const trend(*result);
    EntryList const& entries = trend.GetTrendEntryVector();
    if (!std::is_sorted(entries.begin(), entries.end(), TrendShrinker::CompareTrendEntry))
      Refuse("are not in time order");
  }
  if (after.empty() && !before.empty())
    Refuse("would hold no entry at all");
  std::vector<std::string_view> const old = SortedBytes(before, kAll);
  std::vector<std::string_view> const remaining = SortedBytes(after, kAll);
  if (!std::includes(old.begin(), old.end(), remaining.begin(), remaining.end()))
    Refuse("hold an entry that was not there");
  std::vector<std::string_view> const needed =
      SortedBytes(before, [&](trend_entry_t const& entry) { return AgeClass::Of(entry.TimeStamp, now) == 0; });
  if (!std::includes(remaining.begin(), remaining.end(), needed.begin(), needed.end()))
    Refuse("lack an entry that is younger than an hour");
}

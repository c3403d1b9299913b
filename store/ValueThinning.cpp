#include "store/ValueThinning.h"

#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/TrendEntries.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "store/ThinningCheck.h"
#include "store/TrendPeriods.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

namespace
{
using EntryRange = std::span<trend_entry_t const>;

constexpr char const kSourceUnit[] = "ValueThinning.cpp";
/// So many small trends are joined at once: each entry is written once more for it, and a year leaves eleven trends.
/// Those stay as they are. Joining them again would save a value 17 KB a year, but a run would read a thousand days at
/// once, to join them and after a late trend.
constexpr std::size_t kJoinedTrends = 32;

/// The entries of a time range, which ends before `to`.
EntryRange between(EntryRange entries, long long from, long long to)
{
  auto const first = std::ranges::lower_bound(entries, from, {}, &trend_entry_t::TimeStamp);
  return {first, std::ranges::lower_bound(first, entries.end(), to, {}, &trend_entry_t::TimeStamp)};
}

void append(std::vector<trend_entry_t>& all, EntryRange entries)
{
  all.insert(all.end(), entries.begin(), entries.end());
}

void sortOldestFirst(std::vector<TrendSummary>& rows)
{
  std::ranges::sort(
      rows, {}, [](TrendSummary const& row) { return std::tuple(row.firstTimeStamp, row.lastTimeStamp, row.trend); });
}

bool reachesIntoAny(std::vector<ThinningStretch> const& stretches, TrendSummary const& row)
{
  return std::ranges::any_of(stretches, [&row](ThinningStretch const& stretch)
                             { return row.lastTimeStamp >= stretch.from && row.firstTimeStamp < stretch.to; });
}

unsigned long long byteCountOf(TrendDataDO const& stored)
{
  return stored.getData().size() + stored.getTrendDataDetails().size();
}

[[noreturn]] void refuseMissing(Uuid const& trend)
{
  throw ExceptionFactory(kSourceUnit, __LINE__)
      .createException<TrendException>("Trend %s is not there any more!", trend.ToString().c_str());
}

void requireSoundEntries(Trend const& trend)
{
  std::vector<trend_entry_t> const& entries = trend.GetTrendEntryVector();
  ThinningCheck::RequireOrder(entries);
  if (entries.empty() || entries.front().TimeStamp != trend.GetFirstTimeStamp() ||
      entries.back().TimeStamp != trend.GetLastTimeStamp())
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TrendException>("Time stamps of trend %s are not those of its entries!",
                                         trend.GetTrendUuid().ToString().c_str());
}

/// The smallest and the largest value of each period; of equal ones the first. What is no number is neither, nor is
/// what cannot be pinned: all but the first of several entries with one time stamp.
class Extremes
{
public:
  Extremes(TrendPeriods const& periods, std::vector<long long>& pins) : periods_(periods), pins_(pins) {}
  ~Extremes() { flush(); }

  void Add(trend_entry_t const& entry)
  {
    bool const canBePinned = previous_ != entry.TimeStamp;
    previous_ = entry.TimeStamp;
    if (!canBePinned || std::isnan(entry.Value))
      return;
    long long const start = periods_.Start(entry.TimeStamp);
    if (smallest_ != nullptr && start != start_)
      flush();
    start_ = start;
    if (smallest_ == nullptr || entry.Value < smallest_->Value)
      smallest_ = &entry;
    if (largest_ == nullptr || entry.Value > largest_->Value)
      largest_ = &entry;
  }

private:
  void flush()
  {
    for (trend_entry_t const* extreme : {std::exchange(smallest_, nullptr), std::exchange(largest_, nullptr)})
      if (extreme != nullptr)
        pins_.push_back(extreme->TimeStamp);
  }

  TrendPeriods periods_;
  std::vector<long long>& pins_;
  std::optional<long long> previous_;
  long long start_ = 0;
  trend_entry_t const* smallest_ = nullptr;
  trend_entry_t const* largest_ = nullptr;
};
} // namespace

/// Trends that follow each other, of one unit and limit: what is thinned as if it were one.
class ValueThinning::Strand
{
public:
  struct Row
  {
    Uuid trend;
    RetentionResult::Amount size;
  };

  /// Of the kind of a stored trend.
  Strand(TrendDataDO const& stored, Trend const& trend)
    : config_(stored.getCharacteristicValueConfig()), base_(stored.getCharacteristicValueConfigBaseUuid()),
      unit_(trend.GetSignalUnitUuid()), unitString_(trend.GetSignalUnitString()), limit_(trend.GetLowerPreAlarmLimit())
  {
  }

  bool Takes(Trend const& trend) const
  {
    // A limit that is NaN differs from itself.
    return trend.GetLowerPreAlarmLimit() == limit_ && trend.GetSignalUnitUuid() == unit_ &&
           trend.GetSignalUnitString() == unitString_ &&
           trend.GetCharacteristicValueConfigBaseUuid() == base_.getUuid();
  }

  void Add(TrendDataDO const& stored, Trend const& trend)
  {
    rows_.push_back({trend.GetTrendUuid(), {1, trend.GetNumberOfEntries(), byteCountOf(stored)}});
    append(entries_, trend.GetTrendEntryVector());
  }

  /// Puts the entries of trends that overlap in time order; of equal time stamps those of the earlier trend come first.
  void Order()
  {
    if (std::ranges::is_sorted(entries_, {}, &trend_entry_t::TimeStamp))
      return;
    std::vector<trend_entry_t const*> order;
    order.reserve(entries_.size());
    for (trend_entry_t const& entry : entries_)
      order.push_back(&entry);
    std::ranges::stable_sort(order, {}, &trend_entry_t::TimeStamp);
    Entries ordered(entries_.size());
    for (std::size_t i = 0; i < order.size(); ++i)
      CopyWhole(ordered[i], *order[i]);
    entries_ = std::move(ordered);
  }

  std::vector<Row> const& Rows() const { return rows_; }
  Entries const& AllEntries() const { return entries_; }

  /// A new trend of the same kind with these entries, as an open database object.
  std::unique_ptr<TrendDataDO> Make(EntryRange piece, compression32_t compression) const
  {
    Trend made(config_.getUuid(), base_.getUuid(), unit_, unitString_, limit_);
    std::deque<trend_entry_t> entriesOfPiece;
    for (trend_entry_t const& entry : piece)
      AppendWhole(entriesOfPiece, entry);
    made.AddTrendEntries(entriesOfPiece.begin(), entriesOfPiece.end());
    made.SetCompression(compression);
    std::unique_ptr<TrendDataDO> stored(made.GetTrendDataDO());
    stored->setCharacteristicValueConfig(config_);
    stored->setCharacteristicValueConfigBaseUuid(base_);
    return stored;
  }

private:
  UuidEntryDO config_;
  UuidEntryDO base_;
  Uuid unit_;
  std::string unitString_;
  double limit_;
  std::vector<Row> rows_;
  Entries entries_; // of all rows, by time
};

ValueThinning::ValueThinning(DeviceDatabase& database, RetentionSettings const& settings, TrendShrinker& shrinker,
                             Uuid const& device, Uuid const& value)
  : database_(database), settings_(settings), shrinker_(shrinker), device_(device), value_(value),
    ledger_(database, device, value)
{
}

std::optional<long long> ValueThinning::AwaitedFrom(RetentionPlan const& plan)
{
  for (ThinningStretch const& stretch : plan.waiting)
  {
    TrendQuery const query{value_, true, {std::max(stretch.from, plan.openFrom), stretch.to - 1}, 1};
    if (query.time.from <= query.time.to && !database_.ListTrends(device_, query).empty())
      return plan.openFrom;
  }
  return std::nullopt;
}

RetentionPlan ValueThinning::Plan() { return Plan(ledger_.Look().value_or(RetentionLedger::State{})); }

RetentionPlan ValueThinning::Plan(RetentionLedger::State const& ledger)
{
  RetentionPlan::Basis basis{};
  basis.now = settings_.now;
  basis.counts = {shrinker_.GetNoTrendValuesPerDayOlderThanFourWeeks(),
                  shrinker_.GetNoTrendValuesPerDayOlderThanOneWeek(), shrinker_.GetNoTrendValuesPerDayOlderThanOneDay(),
                  shrinker_.GetNoTrendValuesPerHourOlderThanOneHour()};
  TrendQuery query{value_, false, {}, std::numeric_limits<unsigned int>::max()};
  for (TrendSummary const& open : database_.ListTrends(device_, query))
    if (open.entryCount != 0)
      basis.openFrom = std::min(basis.openFrom, open.firstTimeStamp);
  basis.anchor = ledger.anchor.value_or(std::numeric_limits<long long>::max());
  if (!ledger.anchor)
  {
    query.isClosed = true;
    for (TrendSummary const& closed : database_.ListTrends(device_, query))
      if (closed.entryCount != 0)
        basis.anchor = std::min(basis.anchor, closed.firstTimeStamp);
  }
  return {basis, ledger};
}

RetentionResult ValueThinning::Run(ThinningObserver* observer)
{
  RetentionResult result;
  result.device = device_;
  result.value = value_;
  RetentionPlan plan = Plan(ledger_.Take());
  std::vector<TrendSummary> const due = dueRows(plan);
  if (due.empty())
    return result;
  rewrite(due, plan, observer, result);
  join(plan, result);
  ledger_.Write(plan.after);
  return result;
}

// One list for all stretches, a round trip where there would be up to four. The engine looks at no row more for it: the
// index leads from the start of the first stretch to the newest trend, whatever the end. And all but the first stretch
// lie within four weeks, so there is little between them that is listed in vain.
std::vector<TrendSummary> ValueThinning::dueRows(RetentionPlan const& plan)
{
  if (plan.stretches.empty())
    return {};
  TrendQuery const query{value_,
                         true,
                         {plan.stretches.front().from, plan.stretches.back().to - 1},
                         std::numeric_limits<unsigned int>::max()};
  std::vector<TrendSummary> rows = database_.ListTrends(device_, query);
  std::erase_if(rows, [&](TrendSummary const& row) { return !reachesIntoAny(plan.stretches, row); });
  sortOldestFirst(rows);
  return rows;
}

std::vector<TrendSummary> ValueThinning::smallRows(RetentionPlan const& plan)
{
  if (plan.finalBefore <= plan.after.compactedUntil)
    return {};
  TrendQuery const query{
      value_, true, {plan.after.compactedUntil, plan.finalBefore - 1}, std::numeric_limits<unsigned int>::max()};
  std::vector<TrendSummary> rows = database_.ListTrends(device_, query);
  std::erase_if(rows, [&](TrendSummary const& row)
                { return row.lastTimeStamp >= plan.finalBefore || row.entryCount > settings_.maxTrendSize / 2; });
  sortOldestFirst(rows);
  return rows;
}

void ValueThinning::join(RetentionPlan& plan, RetentionResult& result)
{
  std::vector<TrendSummary> const small = smallRows(plan);
  if (small.size() < kJoinedTrends)
    return;
  RetentionPlan joining = plan;
  joining.stretches.clear();
  rewrite(small, joining, nullptr, result);
  plan.after.compactedUntil = plan.finalBefore;
}

void ValueThinning::rewrite(std::vector<TrendSummary> const& summaries, RetentionPlan const& plan,
                            ThinningObserver* observer, RetentionResult& result)
{
  for (Strand const& strand : readStrands(summaries, result))
  {
    Entries const survivors = thin(strand, plan, observer);
    std::vector<EntryRange> const pieces = cut(survivors, plan);
    if (survivors.size() != strand.AllEntries().size() || pieces.size() != strand.Rows().size())
      replace(strand, pieces, result);
  }
}

std::vector<ValueThinning::Strand> ValueThinning::readStrands(std::vector<TrendSummary> const& summaries,
                                                              RetentionResult& result)
{
  std::vector<Strand> strands;
  for (TrendSummary const& summary : summaries)
  {
    std::optional<TrendDataDO> const stored = database_.FindTrend(device_, summary.trend);
    if (!stored)
      refuseMissing(summary.trend);
    Trend const trend(*stored);
    requireSoundEntries(trend);
    result.bytesRead += byteCountOf(*stored);
    if (strands.empty() || !strands.back().Takes(trend))
      strands.emplace_back(*stored, trend);
    strands.back().Add(*stored, trend);
  }
  for (Strand& strand : strands)
    strand.Order();
  return strands;
}

ValueThinning::Entries ValueThinning::thin(Strand const& strand, RetentionPlan const& plan, ThinningObserver* observer)
{
  EntryRange const all = strand.AllEntries();
  EntryRange rest = all;
  Entries survivors;
  for (ThinningStretch const& stretch : plan.stretches)
  {
    EntryRange const inside = between(rest, stretch.from, stretch.to);
    append(survivors, {rest.begin(), inside.begin()});
    rest = {inside.end(), rest.end()};
    if (!inside.empty())
    {
      // Empty periods in front do not count: they may be without number.
      ThinningStretch stretchWithEntries = stretch;
      stretchWithEntries.from = TrendPeriods(*plan.after.anchor, stretch.periodLength).Start(inside.front().TimeStamp);
      append(survivors, thinStretch(strand, stretchWithEntries, inside, observer));
    }
  }
  append(survivors, rest);
  ThinningCheck::RequireSubset(all, survivors);
  ThinningCheck::RequireYoung(all, survivors, SaturatingSubtract(settings_.now, kTrendHour - 1));
  return survivors;
}

ValueThinning::Entries ValueThinning::thinStretch(Strand const& strand, ThinningStretch const& stretch,
                                                  EntryRange entries, ThinningObserver* observer)
{
  std::unique_ptr<TrendDataDO> const whole = strand.Make(entries, no_compression);
  // This is where the shrinker's periods start.
  whole->setFirstTimeStamp(stretch.from);
  std::vector<TrendDataDO> const trends{*whole};
  std::vector<long long> const pinned = pins(stretch, entries);
  std::vector<CharacteristicValueDataDO> values(pinned.size());
  for (std::size_t i = 0; i < pinned.size(); ++i)
    values[i].setMeasurementTimeStamp(pinned[i]);
  Entries survivors;
  for (auto const& thinned : observer == nullptr
                                 ? shrinker_.ShrinkTrendsOrThrow(settings_.now, trends, values)
                                 : shrinker_.ShrinkTrendsOrThrow(settings_.now, trends, values, *observer))
    append(survivors, Trend(*thinned).GetTrendEntryVector());
  ThinningCheck::RequireRepresented(entries, survivors, stretch);
  ThinningCheck::RequirePinned(entries, survivors, stretch, pinned);
  return survivors;
}

std::vector<long long> ValueThinning::pins(ThinningStretch const& stretch, EntryRange entries)
{
  TimeRange const range{stretch.from, stretch.to - 1};
  std::vector<long long> wanted = database_.ListBookmarks(device_, value_, range);
  for (StoredCharacteristicValue const& stored : database_.ListCharacteristicValues(device_, value_, range))
    wanted.push_back(stored.timeStamp);
  if (settings_.keepPeaks)
  {
    Extremes extremes(TrendPeriods(stretch.from, stretch.periodLength), wanted);
    for (trend_entry_t const& entry : entries)
      extremes.Add(entry);
  }
  std::ranges::sort(wanted);
  // A value that was recorded without an entry would hide the next one from the shrinker.
  std::vector<long long> pinned;
  for (trend_entry_t const& entry : entries)
    if ((pinned.empty() || pinned.back() != entry.TimeStamp) && std::ranges::binary_search(wanted, entry.TimeStamp))
      pinned.push_back(entry.TimeStamp);
  return pinned;
}

// Where entries will be thinned again, a trend holds those of one day: then a later run reads what it thins and little
// else.
std::vector<ValueThinning::EntryRange> ValueThinning::cut(EntryRange entries, RetentionPlan const& plan) const
{
  TrendPeriods const days(*plan.after.anchor, kTrendDay);
  std::vector<EntryRange> pieces;
  while (!entries.empty())
  {
    long long const first = entries.front().TimeStamp;
    // The last time, which is one that entries may have, rather than an end behind it.
    long long const last =
        first < plan.finalBefore ? plan.finalBefore - 1 : SaturatingAdd(days.Start(first), kTrendDay - 1);
    auto const end = std::ranges::upper_bound(entries, last, {}, &trend_entry_t::TimeStamp);
    std::size_t const count =
        std::min<std::size_t>(EntryRange(entries.begin(), end).size(), std::max(settings_.maxTrendSize, 1U));
    pieces.push_back(entries.first(count));
    entries = entries.subspan(count);
  }
  return pieces;
}

void ValueThinning::replace(Strand const& strand, std::vector<EntryRange> const& pieces, RetentionResult& result)
{
  for (Strand::Row const& row : strand.Rows())
  {
    // What took its place since it was read, an open trend perhaps, is not this run's to delete.
    if (!database_.deleteThinnedRow(device_, row.trend, value_))
      refuseMissing(row.trend);
    // What this run made itself is not there afterwards, nor was it before.
    if (made_.erase(row.trend) != 0)
      result.after -= row.size;
    else
      result.before += row.size;
  }
  for (EntryRange const piece : pieces)
  {
    std::unique_ptr<TrendDataDO> const made = strand.Make(piece, zlib);
    made->setClosed(true);
    database_.putTrendRow(device_, *made);
    made_.insert(made->getCurrentUuid().getUuid());
    result.after += {1, piece.size(), byteCountOf(*made)};
  }
}

// How trends are thinned.
//
// The idea. A machine's trend is read back at different distances: the last hour in every detail, last week by the
// hour, last year by the day. So the stored entries of a characteristic value fall into age classes (older than one
// hour, one day, one week, four weeks), and each class has a number of entries that shall remain per period, which is
// an hour in the first class and a day in the others. A period is cut into that many slots of equal length, and each
// slot keeps, of every status class (1, 2, 3, any other), the entry nearest to its centre; of two that are equally
// near, the earlier one (of several with one time stamp before the centre, the last). Picking real entries rather than
// averaging keeps alarms what they were. An entry that was recorded together with a stored characteristic value is
// pinned: it is what a user sees when following the value to its trend. It is kept whatever its place in the slot, and
// then no other entry of its status is chosen there. Three things can come between: of several entries with one time
// stamp only the first is pinned; a value between two entries can hide the next one, because an entry is compared with
// the current value before that moves on; and what lies behind the last slot of a period is dropped, pinned or not.
//
// An example. Entries every ten minutes, all of status 1, two per hour shall remain, and these are the minutes of an
// hour that is old enough:
//
//     0   10   20 | 30   40   50          slots of 30 minutes, centres at 15 and 45
//
// 10 and 20 lie equally far from 15, and so do 40 and 50 from 45: the earlier ones stay, 10 and 40. Had a
// characteristic value been stored at 20, then 20 and 40 would stay. Had the entry at 50 status 3, then 10, 40 and 50
// would stay: an entry of another status is never lost for a neighbour's sake.
//
// Periods start at the first time stamp of the first trend and follow each other without gaps. They are not aligned to
// calendar hours or days: a device does not know its user's calendar, a trend begins when a machine is commissioned,
// and periods that start with the data begin with a full one. What thinning twice does follows from that: the periods
// of the second run start at the first entry that survived the first run, so slots shift, and entries that were nearest
// to an old centre need not be nearest to a new one. Each run over the same stretch takes a little more. Thin each
// stretch once per class.
//
// A period belongs to a class when its last microsecond is more than the class's age minus one microsecond old. The
// first period that belongs to none ends the work: what follows is too young, and kept as it is. When the period's
// length does not divide by the count, the last microseconds of the period belong to no slot, and entries there are
// dropped.
//
// Trends that follow each other with the same lower pre-alarm limit are one group. They are thinned as if they were one
// trend, after trends that overlap have been merged; a period may reach from one into the next. The survivors of a
// group are cut into new trends of the largest permitted size.
//
// The cost. Each entry is looked at a fixed number of times: once or twice to find the end of its period, at most three
// times within its slot; trends that overlap are sorted once more for each merge. Periods and slots without entries are
// not visited: the next one that has any is computed from the next entry's time stamp, so a gap of two centuries costs
// as little as one of a minute, and a count of three thousand million per hour as little as one. Time stamps come from
// outside and may be anything, so every sum of times that could overflow saturates.

#include "signalprocessing/io/file/TrendShrinker.h"

#include "platform/MessageLogger.h"
#include "platform/Options.h"
#include "platform/Organisation.h"
#include "signalprocessing/io/file/ThinningObserver.h"
#include "signalprocessing/io/file/TrendAgeClasses.h"
#include "signalprocessing/io/file/TrendEntries.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cxxabi.h>
#include <limits>
#include <new>
#include <numeric>
#include <utility>

namespace
{
constexpr char const kSourceUnit[] = "TrendShrinker.cpp";
constexpr long long kMaxTime = std::numeric_limits<long long>::max();

/// What lives from load to unload of the library.
struct ProcessState
{
  MessageLogger* logger = MessageLogger::getLogger(std::string(Organisation::kLoggerPrefix) +
                                                   ".velmora.libs.signalprocessing.io.file.trend_shrinker");
};
// Before other static objects of a program that links the library statically.
[[gnu::init_priority(200)]] ProcessState processState;

using Entries = std::span<trend_entry_t const>;

void logSizeBefore(std::size_t entryCount)
{
  if (processState.logger->isEnabled(log4cpp::Priority::INFO))
    LogObject(processState.logger, log4cpp::Priority::INFO, kSourceUnit,
              __LINE__)("Trend size before shrinking: %lu", static_cast<unsigned long>(entryCount));
}

void logSizeAfter(std::size_t entryCount)
{
  if (processState.logger->isEnabled(log4cpp::Priority::INFO))
    LogObject(processState.logger, log4cpp::Priority::INFO, kSourceUnit,
              __LINE__)("Trend size after shrinking: %lu", static_cast<unsigned long>(entryCount));
}

void logOverlap(Trend const& later, Trend const& earlier)
{
  if (processState.logger->isEnabled(log4cpp::Priority::DEBUG))
    LogObject(processState.logger, log4cpp::Priority::DEBUG, kSourceUnit,
              __LINE__)("Trends %s and %s overlap!", later.GetTrendUuid().ToString().c_str(),
                        earlier.GetTrendUuid().ToString().c_str());
}

void logUnknownException()
{
  if (processState.logger->isEnabled(log4cpp::Priority::ERROR))
    LogObject(processState.logger, log4cpp::Priority::ERROR, kSourceUnit, __LINE__)("Unknown exception in function %s!",
                                                                                    "ShrinkTrends()");
}

unsigned int readCount(Option* root, std::string const& ageClass, std::string const& countName)
{
  std::string const path = "vel:DeviceDetails.vel:TrendCleanupSettings.vel:" + ageClass + ".vel:";
  if (root == nullptr || root->FindOption((path + "NoCleanup").c_str(), false) != nullptr)
    return 0;
  return root->Value<unsigned int>((path + countName).c_str(), 0);
}

Entries entriesOf(Trend const& trend) { return trend.GetTrendEntryVector(); }

/// The entries in front of the first one at or behind a time.
Entries takeBefore(Entries& entries, long long end)
{
  auto const stop = std::ranges::find_if(entries, [end](trend_entry_t const& entry) { return entry.TimeStamp >= end; });
  Entries const taken(entries.begin(), stop);
  entries = entries.subspan(taken.size());
  return taken;
}

/// A trend of its own, without entries, for the same characteristic value, unit and limit.
Trend newTrendLike(Trend const& trend)
{
  return {trend.GetCharacteristicValueConfigUuid(), trend.GetCharacteristicValueConfigBaseUuid(),
          trend.GetSignalUnitUuid(), trend.GetSignalUnitString(), trend.GetLowerPreAlarmLimit()};
}

/// All trends that have entries. They are read before the first one is thinned: nothing comes of a run with a damaged
/// one.
std::vector<Trend> readTrends(std::vector<TrendDataDO> const& stored)
{
  std::vector<Trend> trends;
  trends.reserve(stored.size());
  for (TrendDataDO const& object : stored)
  {
    trends.emplace_back(object);
    if (trends.back().GetNumberOfEntries() == 0)
      trends.pop_back();
  }
  return trends;
}

void appendAll(std::deque<trend_entry_t>& survivors, Entries entries)
{
  for (trend_entry_t const& entry : entries)
    AppendWhole(survivors, entry);
}

/// Of a vector the standard library moves bytes.
void appendAll(std::vector<trend_entry_t>& gathered, Entries entries)
{
  gathered.insert(gathered.end(), entries.begin(), entries.end());
}

/// What one slot keeps of one status class.
struct Bucket
{
  std::vector<trend_entry_t const*> kept;
  bool isPinned = false;
  std::size_t merged = 0;
  // The entry nearest to the centre among those before it.
  trend_entry_t const* candidate = nullptr;

  void Clear()
  {
    kept.clear();
    isPinned = false;
    merged = 0;
    candidate = nullptr;
  }

  void Pin(trend_entry_t const& entry)
  {
    kept.push_back(&entry);
    isPinned = true;
  }

  /// The entry is before the centre, and later than all offered so far.
  void OfferBefore(trend_entry_t const& entry) { candidate = &entry; }

  /// The entry is the first one at or behind the centre.
  void DecideBehind(trend_entry_t const& entry, long long centre)
  {
    if (!kept.empty())
      return;
    bool const isFurther =
        candidate != nullptr && entry.TimeStamp - centre >= SaturatingSubtract(centre, candidate->TimeStamp);
    kept.push_back(isFurther ? candidate : &entry);
  }

  void DecideAtEnd()
  {
    if (kept.empty() && candidate != nullptr)
      kept.push_back(candidate);
  }

  /// What was decided about an entry of this status in the slot.
  void Tell(trend_entry_t const& entry, ThinningObserver& observer) const
  {
    if (std::ranges::find(kept, &entry) != kept.end())
      return observer.Observe(entry, isPinned ? ThinningVerdict::pinned : ThinningVerdict::nearest, nullptr);
    auto const apart = [&entry](trend_entry_t const* other)
    {
      auto const [earlier, later] = std::minmax(entry.TimeStamp, other->TimeStamp);
      return TimeBetween(earlier, later);
    };
    observer.Observe(entry, ThinningVerdict::dropped, *std::ranges::min_element(kept, {}, apart));
  }

  trend_entry_t const* Front() const { return merged < kept.size() ? kept[merged] : nullptr; }
};

/// The buckets of one slot, in the order in which equal time stamps leave them: other statuses, 1, 2, 3.
class Slot
{
public:
  void Clear()
  {
    for (Bucket& bucket : buckets_)
      bucket.Clear();
  }

  void Pin(trend_entry_t const& entry) { bucketOf(entry).Pin(entry); }

  void Choose(Entries entries, long long centre)
  {
    for (trend_entry_t const& entry : entries)
    {
      if (entry.TimeStamp < centre)
        bucketOf(entry).OfferBefore(entry);
      else
        bucketOf(entry).DecideBehind(entry, centre);
    }
    for (Bucket& bucket : buckets_)
      bucket.DecideAtEnd();
  }

  void Tell(Entries entries, ThinningObserver& observer)
  {
    for (trend_entry_t const& entry : entries)
      bucketOf(entry).Tell(entry, observer);
  }

  void MergeInto(std::deque<trend_entry_t>& survivors)
  {
    for (Bucket* oldest = findOldest(); oldest != nullptr; oldest = findOldest())
      AppendWhole(survivors, *oldest->kept[oldest->merged++]);
  }

private:
  Bucket& bucketOf(trend_entry_t const& entry) { return buckets_[entry.Status <= 3 ? entry.Status : 0]; }

  Bucket* findOldest()
  {
    Bucket* oldest = nullptr;
    for (Bucket& bucket : buckets_)
      if (bucket.Front() != nullptr && (oldest == nullptr || bucket.Front()->TimeStamp < oldest->Front()->TimeStamp))
        oldest = &bucket;
    return oldest;
  }

  std::array<Bucket, 4> buckets_;
};
} // namespace

ThinningObserver::ThinningObserver() = default;
ThinningObserver::ThinningObserver(ThinningObserver const&) = default;
ThinningObserver& ThinningObserver::operator=(ThinningObserver const&) = default;
ThinningObserver::~ThinningObserver() = default;

/// The stored characteristic values of a run, read forward only, across all its groups.
class TrendShrinker::Values
{
public:
  explicit Values(std::vector<CharacteristicValueDataDO> const& values) : current_(values.begin()), end_(values.end())
  {
  }

  bool HasBefore(long long time) const { return current_ != end_ && Time() < time; }
  /// The time stamp of the current value; there must be one.
  long long Time() const { return current_->getMeasurementTimeStamp(); }
  void SkipBefore(long long time)
  {
    while (HasBefore(time))
      ++current_;
  }
  /// What a stretch without entries before `end` does to the values: those before the next entry are gone, once the
  /// stretch has reached the current one.
  void SkipInEmptyStretch(long long end, long long nextEntry)
  {
    if (HasBefore(end))
      SkipBefore(nextEntry);
  }
  void SkipUpTo(long long time)
  {
    while (current_ != end_ && Time() <= time)
      ++current_;
  }

private:
  std::vector<CharacteristicValueDataDO>::const_iterator current_;
  std::vector<CharacteristicValueDataDO>::const_iterator end_;
};

/// A stretch of time that is thinned to `count` entries of each status; all are kept when count is 0.
struct TrendShrinker::Period
{
  long long start;
  long long length;
  unsigned int count;
  // Kept, because the device divides numbers of 64 bits in software.
  long long slotLength = count == 0 ? 0 : length / count;

  long long End() const { return start + length; }
  /// Slots are counted from 1.
  long long SlotEnd(unsigned long long slot) const { return start + static_cast<long long>(slot) * slotLength; }
  long long SlotCentre(unsigned long long slot) const { return SlotEnd(slot - 1) + slotLength / 2; }
  /// The first slot from `slot` on that ends behind a time, or one behind the last slot.
  unsigned long long SlotOf(long long time, unsigned long long slot) const
  {
    if (time < SlotEnd(slot))
      return slot;
    unsigned long long const behind = count + 1ULL;
    if (slotLength == 0)
      return behind;
    return std::min(TimeBetween(start, time) / static_cast<unsigned long long>(slotLength) + 1, behind);
  }
};

/// Where the work on a group stands.
struct TrendShrinker::Walk
{
  Entries entries;              // what remains of the current trend
  std::span<Trend const> ahead; // the trends behind it
  Values& values;
  ThinningObserver* observer; // null: nobody asks
  std::deque<trend_entry_t>& survivors;
  Slot slot{};

  /// Goes on to the next trend when the current one is used up.
  /// @return false at the end of the group
  bool ReachEntries()
  {
    while (entries.empty() && !ahead.empty())
      NextTrend();
    return !entries.empty();
  }

  void NextTrend()
  {
    entries = entriesOf(ahead.front());
    ahead = ahead.subspan(1);
  }

  /// The start of the first period from `first` on that holds entries, but at most of the first one of the next class,
  /// whose periods start at `border`.
  long long SkipEmptyPeriods(Period const& first, long long border)
  {
    long long const next = entries.front().TimeStamp;
    // A trend that ends within a period is gathered with the ones ahead, whatever the order of its entries.
    long long const reach = ahead.empty() ? next : std::min(next, entries.back().TimeStamp);
    if (reach < first.End())
      return first.start;
    auto const length = static_cast<unsigned long long>(first.length);
    unsigned long long const withoutEntries = TimeBetween(first.start, reach) / length;
    unsigned long long const ofClass = (TimeBetween(first.start, border) + length - 1) / length;
    auto const start = static_cast<long long>(static_cast<unsigned long long>(first.start) +
                                              std::min(withoutEntries, ofClass) * length);
    if (first.count != 0)
      values.SkipInEmptyStretch(start, next);
    return start;
  }

  void Tell(Entries decided, ThinningVerdict verdict) const
  {
    if (observer == nullptr)
      return;
    for (trend_entry_t const& entry : decided)
      observer->Observe(entry, verdict, nullptr);
  }

  void KeepAll(Entries kept, ThinningVerdict verdict) const
  {
    Tell(kept, verdict);
    appendAll(survivors, kept);
  }

  /// Thins the entries of one slot, of which there is at least one.
  void ShrinkSlot(Period const& period, unsigned long long number, Entries inSlot)
  {
    slot.Clear();
    Pin(inSlot, period.SlotEnd(number), period.End());
    slot.Choose(inSlot, period.SlotCentre(number));
    if (observer != nullptr)
      slot.Tell(inSlot, *observer);
    slot.MergeInto(survivors);
  }

  void Pin(Entries inSlot, long long slotEnd, long long periodEnd)
  {
    if (!values.HasBefore(periodEnd))
      return;
    values.SkipBefore(inSlot.front().TimeStamp);
    for (trend_entry_t const& entry : inSlot)
    {
      if (!values.HasBefore(slotEnd))
        return;
      if (entry.TimeStamp == values.Time())
        slot.Pin(entry);
      values.SkipUpTo(entry.TimeStamp);
    }
  }
};

TrendShrinker::TrendShrinker(DeviceDO const& device, unsigned int maxTrendSize, unsigned int maxDaysTrendDuration)
  : maxTrendSize_(maxTrendSize), maxDaysTrendDuration_(maxDaysTrendDuration)
{
  Options parser;
  Option* const root = parser.parse(device.getDeviceDetails());
  perHourOlderThanOneHour_ = readCount(root, "OlderThanOneHour", "NumberOfRemainingTrendEntriesPerHour");
  perDayOlderThanOneDay_ = readCount(root, "OlderThanOneDay", "NumberOfRemainingTrendEntriesPerDay");
  perDayOlderThanOneWeek_ = readCount(root, "OlderThanOneWeek", "NumberOfRemainingTrendEntriesPerDay");
  perDayOlderThanFourWeeks_ = readCount(root, "OlderThanFourWeeks", "NumberOfRemainingTrendEntriesPerDay");
}

unsigned int TrendShrinker::GetMaxTrendSize() const { return maxTrendSize_; }
unsigned int TrendShrinker::GetMaxDaysTrendDuration() const { return maxDaysTrendDuration_; }
unsigned int TrendShrinker::GetNoTrendValuesPerHourOlderThanOneHour() const { return perHourOlderThanOneHour_; }
unsigned int TrendShrinker::GetNoTrendValuesPerDayOlderThanOneDay() const { return perDayOlderThanOneDay_; }
unsigned int TrendShrinker::GetNoTrendValuesPerDayOlderThanOneWeek() const { return perDayOlderThanOneWeek_; }
unsigned int TrendShrinker::GetNoTrendValuesPerDayOlderThanFourWeeks() const { return perDayOlderThanFourWeeks_; }

// Cancellation is caught as a reference to nothing.
__attribute__((no_sanitize("null"))) std::vector<TrendDataDO*>
TrendShrinker::ShrinkTrends(long long now, std::vector<TrendDataDO> const& trends,
                            std::vector<CharacteristicValueDataDO> const& values)
{
  Output output;
  std::vector<TrendDataDO*> result;
  try
  {
    run(now, trends, values, nullptr, output);
  }
  catch (abi::__forced_unwind const&)
  {
    throw; // the thread is being cancelled
  }
  catch (VelmoraException const& exception)
  {
    ExceptionLogger::log(processState.logger, log4cpp::Priority::ERROR, kSourceUnit, __LINE__, exception);
  }
  catch (...)
  {
    logUnknownException();
  }
  try
  {
    result.reserve(output.size());
  }
  catch (std::bad_alloc const&)
  {
    logUnknownException();
    return result;
  }
  for (std::unique_ptr<TrendDataDO>& trend : output)
    result.push_back(trend.release());
  return result;
}

std::vector<std::unique_ptr<TrendDataDO>>
TrendShrinker::ShrinkTrendsOrThrow(long long now, std::vector<TrendDataDO> const& trends,
                                   std::vector<CharacteristicValueDataDO> const& values)
{
  Output output;
  run(now, trends, values, nullptr, output);
  return output;
}

std::vector<std::unique_ptr<TrendDataDO>>
TrendShrinker::ShrinkTrendsOrThrow(long long now, std::vector<TrendDataDO> const& trends,
                                   std::vector<CharacteristicValueDataDO> const& values, ThinningObserver& observer)
{
  Output output;
  run(now, trends, values, &observer, output);
  return output;
}

void TrendShrinker::run(long long now, std::vector<TrendDataDO> const& trends,
                        std::vector<CharacteristicValueDataDO> const& values, ThinningObserver* observer,
                        Output& output) const
{
  if (trends.empty())
    return;
  if (maxTrendSize_ == 0)
    throw ExceptionFactory(kSourceUnit, __LINE__).createException<TrendException>("Maximum trend size must not be 0!");
  std::vector<Trend> read = readTrends(trends);
  Values position(values);
  std::vector<Trend> group;
  for (Trend& trend : read)
  {
    // A limit that is NaN differs from itself and makes a group of its own.
    if (!group.empty() && trend.GetLowerPreAlarmLimit() != group.front().GetLowerPreAlarmLimit())
    {
      Shrink(now, group, position, observer, output);
      group.clear();
    }
    if (group.empty() || trend.GetFirstTimeStamp() >= group.back().GetLastTimeStamp())
      group.push_back(std::move(trend));
    else
    {
      logOverlap(trend, group.back());
      group.back() = MergeTrends(group.back(), trend);
    }
  }
  if (!group.empty())
    Shrink(now, group, position, observer, output);
}

void TrendShrinker::Shrink(long long now, std::span<Trend const> group, Values& values, ThinningObserver* observer,
                           Output& output) const
{
  logSizeBefore(std::accumulate(group.begin(), group.end(), std::size_t{0},
                                [](std::size_t sum, Trend const& trend) { return sum + trend.GetNumberOfEntries(); }));
  std::array const counts{perDayOlderThanFourWeeks_, perDayOlderThanOneWeek_, perDayOlderThanOneDay_,
                          perHourOlderThanOneHour_};
  std::deque<trend_entry_t> survivors;
  Walk walk{entriesOf(group.front()), group.subspan(1), values, observer, survivors};
  long long start = group.front().GetFirstTimeStamp();
  while (walk.ReachEntries())
  {
    auto const ageClass =
        std::ranges::find_if(kTrendAgeClasses, [&](TrendAgeClass const& older) { return start < older.Border(now); });
    if (ageClass == kTrendAgeClasses.end())
    {
      walk.KeepAll(std::exchange(walk.entries, {}), ThinningVerdict::too_young);
      continue;
    }
    Period const period{start, ageClass->periodLength,
                        counts.at(static_cast<std::size_t>(ageClass - kTrendAgeClasses.begin()))};
    long long const next = walk.SkipEmptyPeriods(period, ageClass->Border(now));
    if (next == start)
      ShrinkTrendsOfOnePeriod(period, walk);
    start = next == start ? period.End() : next;
  }
  cutIntoTrends(survivors, group.front(), output);
}

void TrendShrinker::ShrinkTrendsOfOnePeriod(Period const& period, Walk& walk)
{
  long long const last = period.End() - 1;
  if (last < walk.entries.back().TimeStamp || walk.ahead.empty())
    return ShrinkTrendEntriesOfOnePeriod(period, walk.entries, walk);
  std::vector<trend_entry_t> gathered(walk.entries.begin(), walk.entries.end());
  walk.entries = {};
  while (walk.entries.empty() && !walk.ahead.empty())
  {
    walk.NextTrend();
    appendAll(gathered, last < walk.entries.back().TimeStamp ? takeBefore(walk.entries, period.End())
                                                             : std::exchange(walk.entries, {}));
  }
  Entries remaining(gathered);
  ShrinkTrendEntriesOfOnePeriod(period, remaining, walk);
}

void TrendShrinker::ShrinkTrendEntriesOfOnePeriod(Period const& period, std::span<trend_entry_t const>& entries,
                                                  Walk& walk)
{
  Entries inPeriod = takeBefore(entries, period.End());
  if (period.count == 0)
    return walk.KeepAll(inPeriod, ThinningVerdict::no_cleanup);
  unsigned long long nextSlot = 1;
  while (!inPeriod.empty())
  {
    unsigned long long const slot = period.SlotOf(inPeriod.front().TimeStamp, nextSlot);
    if (slot > period.count)
      break;
    walk.ShrinkSlot(period, slot, takeBefore(inPeriod, period.SlotEnd(slot)));
    nextSlot = slot + 1;
  }
  walk.Tell(inPeriod, ThinningVerdict::remainder);
  // The slots that are left hold nothing; entries behind the last slot are dropped.
  Entries const behind = inPeriod.empty() ? entries : inPeriod;
  if (nextSlot <= period.count && !behind.empty())
    walk.values.SkipInEmptyStretch(period.End(), behind.front().TimeStamp);
}

void TrendShrinker::cutIntoTrends(std::deque<trend_entry_t>& survivors, Trend const& identity, Output& output) const
{
  if (!survivors.empty())
    logSizeAfter(survivors.size());
  while (!survivors.empty())
  {
    auto const end = survivors.begin() + static_cast<std::ptrdiff_t>(countOfNextTrend(survivors));
    Trend trend = newTrendLike(identity);
    trend.AddTrendEntries(survivors.begin(), end);
    survivors.erase(survivors.begin(), end);
    trend.SetCompression(zlib);
    std::unique_ptr<TrendDataDO> stored(trend.GetTrendDataDO());
    stored->setClosed(true);
    output.push_back(std::move(stored));
  }
}

// Survivors in ascending order always fill a trend: the limit only tells where the search would end in others.
unsigned int TrendShrinker::countOfNextTrend(std::deque<trend_entry_t> const& survivors) const
{
  long long duration = 0;
  if (__builtin_mul_overflow(static_cast<long long>(maxDaysTrendDuration_), kTrendDay, &duration))
    duration = kMaxTime;
  long long const limit = SaturatingAdd(survivors.front().TimeStamp, duration);
  auto const count = static_cast<unsigned int>(std::min<std::size_t>(survivors.size(), maxTrendSize_));
  if (survivors[count - 1].TimeStamp >= limit)
    return count;
  return FindLastEntryPos(survivors, count, limit) + 1;
}

Trend TrendShrinker::MergeTrends(Trend const& first, Trend const& second) const
{
  std::vector<trend_entry_t const*> order;
  order.reserve(first.GetTrendEntryVector().size() + second.GetTrendEntryVector().size());
  for (Trend const* const trend : {&first, &second})
    for (trend_entry_t const& entry : trend->GetTrendEntryVector())
      order.push_back(&entry);
  std::ranges::stable_sort(order,
                           [](trend_entry_t const* a, trend_entry_t const* b) { return CompareTrendEntry(*a, *b); });
  std::deque<trend_entry_t> entries;
  for (trend_entry_t const* const entry : order)
    AppendWhole(entries, *entry);
  Trend merged = newTrendLike(first);
  merged.AddTrendEntries(entries.begin(), entries.end());
  return merged;
}

bool TrendShrinker::CompareTrendEntry(trend_entry_t const& a, trend_entry_t const& b)
{
  return a.TimeStamp < b.TimeStamp;
}

unsigned int TrendShrinker::FindLastEntryPos(std::deque<trend_entry_t> const& entries, unsigned int count, long long t)
{
  unsigned int low = 0;
  unsigned int high = count;
  while (high - low > 1)
  {
    unsigned int const middle = low + (high - low) / 2;
    if (entries[middle].TimeStamp == t)
      return middle;
    (entries[middle].TimeStamp < t ? low : high) = middle;
  }
  return low;
}

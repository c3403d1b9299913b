// What a thinning tells of each entry, against an independent reading of the rule.

#include "signalprocessing/io/file/ThinningObserver.h"

#include "support/Dice.h"
#include "support/Expectations.h"
#include "support/ShrinkRun.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <vector>

namespace
{
using Verdict = ThinningVerdict;

struct Decision
{
  EntryBytes entry;
  Verdict verdict;
  std::optional<EntryBytes> inFavourOf;
};

class Listener : public ThinningObserver
{
public:
  void Observe(trend_entry_t const& entry, ThinningVerdict verdict, trend_entry_t const* inFavourOf) override
  {
    decisions.push_back({ToBytes(entry), verdict,
                         inFavourOf == nullptr ? std::nullopt : std::optional<EntryBytes>(ToBytes(*inFavourOf))});
  }
  std::vector<Decision> decisions;
};

/// What an observer of a run is told.
std::vector<Decision> decisionsOf(ShrinkSettings const& settings, long long now, std::vector<TrendParts> const& trends,
                                  std::vector<long long> const& values = {})
{
  Listener listener;
  MakeShrinker(settings).ShrinkTrendsOrThrow(now, StoredTrends(trends), ValuesAt(values), listener);
  return listener.decisions;
}

struct Told
{
  long long time;
  Verdict verdict;
  long long inFavourOf = -1;
  bool operator==(Told const&) const = default;
};

void PrintTo(Told const& told, std::ostream* stream)
{
  *stream << told.time << ": " << static_cast<int>(told.verdict) << ", for " << told.inFavourOf;
}

/// In units of time.
std::vector<Told> toldOf(std::vector<Decision> const& decisions, long long unit)
{
  std::vector<Told> told;
  for (Decision const& decision : decisions)
    told.push_back({TimeOf(decision.entry) / unit, decision.verdict,
                    decision.inFavourOf ? TimeOf(*decision.inFavourOf) / unit : -1});
  return told;
}

using Tolds = std::vector<Told>;

std::vector<EntryBytes> minutes(std::vector<long long> times, unsigned char status = 1, unsigned int mark = 0)
{
  for (long long& time : times)
    time *= kMinute;
  return EntriesAt(times, status, mark);
}

TrendParts trendOf(std::vector<EntryBytes> const& entries)
{
  TrendParts parts;
  parts.entries = entries;
  return parts;
}

constexpr ShrinkSettings kTwoPerHour{1000, 100, 2, 0, 0, 0};

// The independent reading. Entries are in time order, of one group, and their periods start at the first of them.

struct Class
{
  long long length;
  unsigned int count;
};

std::optional<Class> classOf(ShrinkSettings const& settings, long long start, long long now)
{
  auto const isOlder = [&](long long length, long long age) { return now - (start + length - 1) > age - 1; };
  if (isOlder(kDay, 4 * kWeek))
    return Class{kDay, settings.perDayOlderThanFourWeeks};
  if (isOlder(kDay, kWeek))
    return Class{kDay, settings.perDayOlderThanOneWeek};
  if (isOlder(kDay, kDay))
    return Class{kDay, settings.perDayOlderThanOneDay};
  if (isOlder(kHour, kHour))
    return Class{kHour, settings.perHourOlderThanOneHour};
  return std::nullopt;
}

std::size_t statusClass(EntryBytes const& entry) { return StatusOf(entry) <= 3 ? StatusOf(entry) : 0; }

long long distance(long long a, long long b) { return a < b ? b - a : a - b; }

/// Whether `a` is to be kept rather than `b`, both of one status and slot, neither pinned.
bool isNearer(EntryBytes const& a, EntryBytes const& b, long long centre)
{
  return distance(TimeOf(a), centre) < distance(TimeOf(b), centre);
}

/// Of the entries of one status in one slot, without equal time stamps: all that are pinned, else the nearest.
void decideSlot(std::vector<EntryBytes> const& entries, long long centre, std::vector<long long> const& pins,
                std::vector<Decision>& decisions)
{
  std::vector<EntryBytes> kept;
  for (EntryBytes const& entry : entries)
    if (std::count(pins.begin(), pins.end(), TimeOf(entry)) != 0)
      kept.push_back(entry);
  bool const isPinned = !kept.empty();
  if (!isPinned)
    kept.push_back(*std::min_element(entries.begin(), entries.end(),
                                     [centre](EntryBytes const& a, EntryBytes const& b)
                                     { return isNearer(a, b, centre); }));
  for (EntryBytes const& entry : entries)
  {
    if (std::count(kept.begin(), kept.end(), entry) != 0)
      decisions.push_back({entry, isPinned ? Verdict::pinned : Verdict::nearest, std::nullopt});
    else
      decisions.push_back(
          {entry, Verdict::dropped,
           *std::min_element(kept.begin(), kept.end(),
                             [&](EntryBytes const& a, EntryBytes const& b) { return isNearer(a, b, TimeOf(entry)); })});
  }
}

std::vector<Decision> read(ShrinkSettings const& settings, long long now, std::vector<EntryBytes> const& entries,
                           std::vector<long long> const& pins)
{
  std::vector<Decision> decisions;
  std::map<std::pair<long long, std::size_t>, std::vector<EntryBytes>> slots; // by centre and status
  long long start = TimeOf(entries.front());
  for (EntryBytes const& entry : entries)
  {
    std::optional<Class> ageClass = classOf(settings, start, now);
    for (; ageClass && TimeOf(entry) >= start + ageClass->length; ageClass = classOf(settings, start, now))
      start += ageClass->length;
    if (!ageClass)
      decisions.push_back({entry, Verdict::too_young, std::nullopt});
    else if (ageClass->count == 0)
      decisions.push_back({entry, Verdict::no_cleanup, std::nullopt});
    else
    {
      long long const slot = ageClass->length / ageClass->count;
      long long const number = (TimeOf(entry) - start) / slot;
      if (number >= ageClass->count)
        decisions.push_back({entry, Verdict::remainder, std::nullopt});
      else
        slots[{start + number * slot + slot / 2, statusClass(entry)}].push_back(entry);
    }
  }
  for (auto const& [centreAndStatus, inSlot] : slots)
    decideSlot(inSlot, centreAndStatus.first, pins, decisions);
  return decisions;
}

bool operator==(Decision const& a, Decision const& b)
{
  return a.entry == b.entry && a.verdict == b.verdict && a.inFavourOf == b.inFavourOf;
}

std::vector<Decision> sorted(std::vector<Decision> decisions)
{
  std::sort(decisions.begin(), decisions.end(), [](Decision const& a, Decision const& b) { return a.entry < b.entry; });
  return decisions;
}

/// A series without equal time stamps, with counts of which some leave much of a period without a slot, cut into
/// trends, some of which overlap.
struct Series
{
  ShrinkSettings settings;
  long long now = 0;
  std::vector<TrendParts> trends;
  std::vector<EntryBytes> entries; // of all, by time
  std::vector<long long> values;   // each at an entry
};

Series makeSeries(unsigned int seed)
{
  Dice dice(seed);
  Series series;
  series.settings = {static_cast<unsigned int>(dice.Between(5, 80)),
                     40,
                     dice.Of(std::array{0U, 1U, 3U, 7U, 2000000000U}),
                     dice.Of(std::array{0U, 1U, 5U, 11U}),
                     dice.Of(std::array{0U, 1U, 4U}),
                     dice.Of(std::array{0U, 1U, 2U, 4000000000U})};
  long long time = 1700000000000000 + dice.Below(kDay);
  long long const step = dice.Of(std::array{3 * kMinute, 50 * kMinute, 11 * kHour});
  std::size_t const size = static_cast<std::size_t>(dice.Between(20, 150));
  for (unsigned int mark = 0; mark < size; ++mark)
  {
    time += 1 + dice.Below(dice.OneIn(20) ? 3 * kDay : step);
    series.entries.push_back(MarkedEntry(time, dice.Of(std::array<unsigned char, 7>{1, 1, 1, 2, 3, 0, 9}), mark));
    if (dice.OneIn(9))
      series.values.push_back(time);
  }
  series.now = time - dice.Below(3 * kHour) + dice.Of(std::array{0LL, 2 * kHour, 3 * kDay, 20 * kDay});
  series.trends.resize(static_cast<std::size_t>(dice.Between(1, 5)));
  for (std::size_t i = 0; i < size; ++i)
  {
    std::size_t const trend = i * series.trends.size() / size;
    bool const strays = trend + 1 < series.trends.size() && dice.OneIn(10);
    series.trends[trend + (strays ? 1 : 0)].entries.push_back(series.entries[i]);
  }
  return series;
}
} // namespace

TEST(TrendShrinkerObserver, IsToldWhyEachEntryStaysOrGoes)
{
  // Slots of 30 minutes with centres at 15 and 45; the hour from 60 on is too young.
  TrendParts const trend = trendOf(minutes({0, 10, 20, 30, 40, 50, 60, 70}));
  EXPECT_EQ(toldOf(decisionsOf(kTwoPerHour, 2 * kHour, {trend}, {20 * kMinute}), kMinute),
            (Tolds{{0, Verdict::dropped, 20},
                   {10, Verdict::dropped, 20},
                   {20, Verdict::pinned},
                   {30, Verdict::dropped, 40},
                   {40, Verdict::nearest},
                   {50, Verdict::dropped, 40},
                   {60, Verdict::too_young},
                   {70, Verdict::too_young}}));
}

TEST(TrendShrinkerObserver, DroppedEntryNamesTheNearestOfThosePinned)
{
  TrendParts const trend = trendOf(minutes({0, 1, 9, 10, 11, 25}));
  EXPECT_EQ(toldOf(decisionsOf({1000, 100, 1, 0, 0, 0}, 2 * kHour, {trend}, {kMinute, 11 * kMinute}), kMinute),
            (Tolds{{0, Verdict::dropped, 1},
                   {1, Verdict::pinned},
                   {9, Verdict::dropped, 11},
                   {10, Verdict::dropped, 11},
                   {11, Verdict::pinned},
                   {25, Verdict::dropped, 11}}));
}

TEST(TrendShrinkerObserver, EachStatusIsDecidedByItself)
{
  std::vector<EntryBytes> entries = minutes({1, 2, 3}, 1);
  entries[1].at(EntryField::kStatus) = 3;
  EXPECT_EQ(toldOf(decisionsOf(kTwoPerHour, 3 * kHour, {trendOf(entries)}), kMinute),
            (Tolds{{1, Verdict::dropped, 3}, {2, Verdict::nearest}, {3, Verdict::nearest}}));
}

TEST(TrendShrinkerObserver, RemainderOfAPeriodIsTold)
{
  // An hour has 3,600,000,000 microseconds, which leaves 2 when divided by 7.
  TrendParts const trend = trendOf(EntriesAt({0, kHour - 3, kHour - 2, kHour - 1}));
  EXPECT_EQ(toldOf(decisionsOf({1000, 100, 7, 0, 0, 0}, 2 * kHour, {trend}, {kHour - 1}), 1),
            (Tolds{{0, Verdict::nearest},
                   {kHour - 3, Verdict::nearest},
                   {kHour - 2, Verdict::remainder},
                   {kHour - 1, Verdict::remainder}}));
}

TEST(TrendShrinkerObserver, PeriodWithoutSlotsIsAllRemainder)
{
  TrendParts const trend = trendOf(minutes({0, 30}));
  EXPECT_EQ(toldOf(decisionsOf({1000, 100, 3600000001U, 0, 0, 0}, 2 * kHour, {trend}), kMinute),
            (Tolds{{0, Verdict::remainder}, {30, Verdict::remainder}}));
}

TEST(TrendShrinkerObserver, ClassThatKeepsEverythingIsTold)
{
  TrendParts const trend = trendOf(minutes({0, 30, 24 * 60, 24 * 60 + 5}));
  EXPECT_EQ(toldOf(decisionsOf({1000, 100, 1, 0, 1, 1}, 2 * kDay, {trend}), kMinute),
            (Tolds{{0, Verdict::no_cleanup},
                   {30, Verdict::no_cleanup},
                   {24 * 60, Verdict::dropped, 24 * 60 + 5},
                   {24 * 60 + 5, Verdict::nearest}}));
}

TEST(TrendShrinkerObserver, EntriesWithOneTimeStampAreToldApart)
{
  std::vector<EntryBytes> const entries = minutes({15, 15, 15});
  std::vector<Decision> const decisions =
      decisionsOf(kTwoPerHour, 3 * kHour, {trendOf(minutes({0})), trendOf(entries)}, {});
  // The periods start at 0, so that 15 is a centre: the first entry at it stays.
  ASSERT_EQ(decisions.size(), 4U);
  EXPECT_TRUE(decisions[1] == (Decision{MarkedEntry(15 * kMinute, 1, 0), Verdict::nearest, std::nullopt}));
  EXPECT_TRUE(decisions[2] == (Decision{entries[1], Verdict::dropped, entries[0]}));
  EXPECT_TRUE(decisions[3] == (Decision{entries[2], Verdict::dropped, entries[0]}));
}

TEST(TrendShrinkerObserver, OverlappingTrendsAreToldInTimeOrder)
{
  TrendParts const first = trendOf(minutes({0, 10, 40}));
  TrendParts second = trendOf(minutes({5, 45}, 1, 10));
  second.trendUuid = CountingUuid(0x60);
  EXPECT_EQ(toldOf(decisionsOf(kTwoPerHour, 2 * kHour, {first, second}), kMinute), (Tolds{{0, Verdict::dropped, 10},
                                                                                          {5, Verdict::dropped, 10},
                                                                                          {10, Verdict::nearest},
                                                                                          {40, Verdict::dropped, 45},
                                                                                          {45, Verdict::nearest}}));
}

TEST(TrendShrinkerObserver, PeriodAcrossTrendsIsToldOnce)
{
  EXPECT_EQ(toldOf(decisionsOf({1000, 100, 1, 0, 0, 0}, 3 * kHour,
                               {trendOf(minutes({0, 10})), trendOf(minutes({20, 61})), trendOf(minutes({62, 125}))}),
                   kMinute),
            (Tolds{{0, Verdict::dropped, 20},
                   {10, Verdict::dropped, 20},
                   {20, Verdict::nearest},
                   {61, Verdict::dropped, 62},
                   {62, Verdict::nearest},
                   {125, Verdict::too_young}}));
}

TEST(TrendShrinkerObserver, EachLimitStartsPeriodsOfItsOwn)
{
  TrendParts other = trendOf(minutes({50, 100}));
  other.limit = 3;
  EXPECT_EQ(
      toldOf(decisionsOf({1000, 100, 1, 0, 0, 0}, 3 * kHour, {trendOf(minutes({0, 10})), other}), kMinute),
      (Tolds{{0, Verdict::dropped, 10}, {10, Verdict::nearest}, {50, Verdict::dropped, 100}, {100, Verdict::nearest}}));
}

TEST(TrendShrinkerObserver, IsToldNothingOfTrendsWithoutEntries)
{
  EXPECT_TRUE(decisionsOf(kTwoPerHour, 2 * kHour, {}).empty());
  EXPECT_TRUE(decisionsOf(kTwoPerHour, 2 * kHour, {trendOf({}), trendOf({})}).empty());
}

TEST(TrendShrinkerObserver, RandomSeriesAreToldOnceAndByTheRule)
{
  std::map<Verdict, std::size_t> seen;
  for (unsigned int seed = 1; seed <= 300 && !HasFailure(); ++seed)
  {
    SCOPED_TRACE(seed);
    Series const series = makeSeries(seed);
    std::vector<Decision> const told = decisionsOf(series.settings, series.now, series.trends, series.values);
    std::vector<Decision> const expected = read(series.settings, series.now, series.entries, series.values);
    ASSERT_EQ(told.size(), series.entries.size());
    ASSERT_TRUE(sorted(told) == sorted(expected));
    for (std::size_t i = 0; i < told.size(); ++i)
    {
      ASSERT_TRUE(told[i].entry == series.entries[i]);
      ++seen[told[i].verdict];
    }
  }
  EXPECT_EQ(seen.size(), 6U);
}

TEST(TrendShrinkerObserver, RunWithAnObserverGivesTheSameAsOneWithout)
{
  for (unsigned int seed = 1; seed <= 60 && !HasFailure(); ++seed)
  {
    SCOPED_TRACE(seed);
    Series const series = makeSeries(seed);
    TrendShrinker shrinker = MakeShrinker(series.settings);
    std::vector<TrendDataDO> const trends = StoredTrends(series.trends);
    std::vector<CharacteristicValueDataDO> const values = ValuesAt(series.values);
    Listener listener;
    ShrinkOutput const told = shrinker.ShrinkTrendsOrThrow(series.now, trends, values, listener);
    ShrinkOutput const untold = shrinker.ShrinkTrendsOrThrow(series.now, trends, values);
    ASSERT_EQ(told.size(), untold.size());
    for (std::size_t i = 0; i < told.size(); ++i)
    {
      // All but the UUID, which is new, and the checksum of the header that holds it.
      Bytes mine = told[i]->getData();
      Bytes const& other = untold[i]->getData();
      ASSERT_NE(told[i]->getCurrentUuid().getUuid(), untold[i]->getCurrentUuid().getUuid());
      ASSERT_GE(mine.size(), kTrendHeaderBytes);
      ASSERT_EQ(mine.size(), other.size());
      std::copy_n(other.begin() + TrendField::kTrendUuid, 16, mine.begin() + TrendField::kTrendUuid);
      std::copy_n(other.begin() + TrendField::kHeaderChecksum, 2, mine.begin() + TrendField::kHeaderChecksum);
      ASSERT_TRUE(mine == other);
      ASSERT_EQ(told[i]->getFirstTimeStamp(), untold[i]->getFirstTimeStamp());
      ASSERT_EQ(told[i]->getLastTimeStamp(), untold[i]->getLastTimeStamp());
      ASSERT_EQ(told[i]->getNumSamples(), untold[i]->getNumSamples());
      ASSERT_TRUE(told[i]->getClosed());
    }
    // And what stays by its verdict is what comes out.
    std::vector<EntryBytes> staying;
    for (Decision const& decision : listener.decisions)
      if (decision.verdict != Verdict::dropped && decision.verdict != Verdict::remainder)
        staying.push_back(decision.entry);
    ASSERT_TRUE(staying == AllEntries(told));
  }
}

TEST(TrendShrinkerObserver, ThatThrowsEndsTheRun)
{
  class Thrower : public ThinningObserver
  {
  public:
    void Observe(trend_entry_t const&, ThinningVerdict, trend_entry_t const*) override
    {
      if (++count == 3)
        throw std::runtime_error("enough");
    }
    int count = 0;
  };
  Thrower thrower;
  std::vector<TrendDataDO> const trends = StoredTrends({trendOf(minutes({0, 10, 20, 30, 40}))});
  TrendShrinker shrinker = MakeShrinker(kTwoPerHour);
  try
  {
    shrinker.ShrinkTrendsOrThrow(2 * kHour, trends, {}, thrower);
    ADD_FAILURE() << "threw nothing";
  }
  catch (std::runtime_error const& error)
  {
    EXPECT_STREQ(error.what(), "enough");
  }
  EXPECT_EQ(thrower.count, 3);
  // The shrinker can run again.
  Listener listener;
  EXPECT_EQ(AllTimes(shrinker.ShrinkTrendsOrThrow(2 * kHour, trends, {}, listener)),
            (std::vector{10 * kMinute, 40 * kMinute}));
}

TEST(TrendShrinkerObserver, CopiesAreToldOfTheirOwnRunsAlone)
{
  std::vector<TrendDataDO> const trends = StoredTrends({trendOf(minutes({0, 10, 40}))});
  TrendShrinker shrinker = MakeShrinker(kTwoPerHour);
  Listener original;
  shrinker.ShrinkTrendsOrThrow(2 * kHour, trends, {}, original);
  Listener copy = original;
  shrinker.ShrinkTrendsOrThrow(2 * kHour, trends, {}, copy);
  EXPECT_EQ(original.decisions.size(), 3u);
  EXPECT_EQ(copy.decisions.size(), 6u);
  original = copy;
  shrinker.ShrinkTrendsOrThrow(2 * kHour, trends, {}, original);
  EXPECT_EQ(original.decisions.size(), 9u);
  EXPECT_EQ(copy.decisions.size(), 6u);
}

TEST(TrendShrinkerObserver, MaximumSizeOfZeroAndDamagedTrendsAreThrownBeforeAnythingIsTold)
{
  Listener listener;
  std::vector<TrendDataDO> trends = StoredTrends({trendOf(minutes({0, 10})), trendOf(minutes({20, 30}))});
  ExpectThrow<TrendException>(
      [&] {
        MakeShrinker({0, 100, 1, 0, 0, 0}).ShrinkTrendsOrThrow(2 * kHour, trends, {}, listener);
      },
      "Maximum trend size must not be 0!", kTrendShrinkerUnit);
  Bytes data = trends.back().getData();
  data.pop_back();
  trends.back().setData(data);
  ExpectThrow<TrendException>([&] { MakeShrinker(kTwoPerHour).ShrinkTrendsOrThrow(2 * kHour, trends, {}, listener); },
                              "Wrong trend data size: actual 63 bytes, expected 64 bytes!", kTrendUnit);
  EXPECT_TRUE(listener.decisions.empty());
}

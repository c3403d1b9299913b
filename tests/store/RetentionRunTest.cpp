// One run, or a few, over stores whose outcome is counted by hand or left to the model that walks every slot.

#include "store/RetentionRun.h"

#include "platform/Options.h"
#include "store/RetentionLedger.h"
#include "support/Dice.h"
#include "support/Expectations.h"
#include "support/RetentionModel.h"
#include "support/StoreSupport.h"

#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <set>

namespace
{
constexpr long long kLargest = std::numeric_limits<long long>::max();
constexpr long long kSmallest = std::numeric_limits<long long>::min();
constexpr char const* kNotOrdered = "Trend entries are not in time order!";

/// One entry an hour, and one a day of everything older.
constexpr ShrinkSettings kOne{1000, 366, 1, 1, 1, 1};

std::vector<long long> sinceStart(std::vector<long long> times)
{
  for (long long& time : times)
    time -= kStoreStart;
  return times;
}

std::vector<EntryBytes> minutes(std::vector<long long> const& times, unsigned char status = 1, unsigned int mark = 0)
{
  std::vector<EntryBytes> entries;
  for (long long const time : times)
    entries.push_back(MarkedEntry(kStoreStart + time * kMinute, status, mark++));
  return entries;
}

std::vector<long long> minutesOf(RetentionStore& store)
{
  std::vector<long long> times;
  for (long long const time : store.Times())
    times.push_back((time - kStoreStart) / kMinute);
  return times;
}

std::string unitIn(std::string const& details)
{
  std::string const tag = "<vel:UnitString>";
  std::size_t const from = details.find(tag) + tag.size();
  return details.substr(from, details.find('<', from) - from);
}

std::string columnsDisagree(Uuid const& trend)
{
  return "Time stamps of trend " + trend.ToString() + " are not those of its entries!";
}

using Minutes = std::vector<long long>;

/// Runs at a time; everything of one value must stay as it is, and the error must be this one.
void expectRefusal(RetentionStore& store, long long now, std::string const& message)
{
  StoredRows const before = store.Rows();
  RetentionResult const result = store.Run(now);
  EXPECT_EQ(result.error, message);
  EXPECT_TRUE(store.Rows() == before);
  EXPECT_EQ(result.before.trends + result.after.trends + result.before.entries + result.after.entries, 0U);
  EXPECT_EQ(result.device, store.device);
  EXPECT_EQ(result.value, store.value);
}
} // namespace

TEST(RetentionRun, FirstRunGivesWhatOneRunOfTheShrinkerGives)
{
  ShrinkSettings const counts{500, 366, 7, 13, 11, 3}; // none divides its period into whole microseconds but 3
  RetentionStore store(counts);
  std::vector<TrendParts> raw;
  unsigned int mark = 0;
  Dice dice(7);
  long long time = kStoreStart + 12345;
  for (int trend = 0; trend < 12; ++trend)
  {
    std::vector<EntryBytes> entries;
    for (int i = 0; i < 120; ++i)
      entries.push_back(MarkedEntry(time += 40 * kMinute + dice.Below(kMinute),
                                    dice.Of(std::array<unsigned char, 5>{1, 1, 2, 3, 0}), mark++));
    raw.push_back(TrendWith(entries));
    raw.back().form = trend % 3 == 0 ? zlib : trend % 3 == 1 ? gzip : no_compression;
    time += trend == 5 ? 5 * kDay : trend % 4 == 3 ? -6 * kHour : 0;
  }
  std::vector<long long> const pins = {TimeOf(raw[1].entries[4]), TimeOf(raw[1].entries[5]), TimeOf(raw[9].entries[9])};
  store.PutValues(pins);
  for (TrendParts const& parts : raw)
    store.Put(parts);
  long long const now = time + 2 * kHour;
  TrendShrinkingModel model(counts, now);
  model.Run(raw, pins);
  std::vector<EntryBytes> expected;
  for (ShrunkTrend const& trend : model.Results())
    expected.insert(expected.end(), trend.entries.begin(), trend.entries.end());
  ASSERT_EQ(store.Run(now).error, "");
  EXPECT_EQ(TextOf(store.Entries()), TextOf(Ordered(expected)));
  EXPECT_TRUE(store.Entries() == Ordered(expected));
}

TEST(RetentionRun, EachLimitIsThinnedByItselfWithThePeriodsOfTheFirst)
{
  RetentionStore store(kOne);
  TrendParts low = TrendWith(minutes({0, 29, 30, 59, 61}));
  TrendParts high = TrendWith(minutes({62, 89, 95, 121, 130}, 1, 50));
  high.limit = 7;
  Uuid const lowUuid = store.Put(low);
  store.Put(high);
  // Hours from the first entry on: of the second one both limits keep one. Centre 30, 90, 150.
  ASSERT_EQ(store.Run(kStoreStart + 4 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{30, 61, 89, 130}));
  std::map<double, std::size_t> countOfLimit;
  for (auto const& [uuid, row] : store.Rows())
    countOfLimit[FieldAt<double>(row.data, TrendField::kLowerPreAlarmLevel)] += row.count;
  EXPECT_EQ(countOfLimit, (std::map<double, std::size_t>{{0.5, 2}, {7.0, 2}}));
  EXPECT_EQ(store.Rows().count(lowUuid), 0U);
}

TEST(RetentionRun, WhatOneRunMakesIsClosedCompressedAndCarriesTheIdentityOfTheFirstTrend)
{
  RetentionStore store(kOne);
  TrendParts const parts = TrendWith(minutes({0, 10, 20, 30}));
  Uuid const raw = store.Put(parts);
  RetentionResult const result = store.Run(kStoreStart + 2 * kHour);
  EXPECT_EQ(result.error, "");
  StoredRows const rows = store.Rows();
  ASSERT_EQ(rows.size(), 1U);
  StoredRow const& made = rows.begin()->second;
  EXPECT_NE(made.uuids[0], raw);
  EXPECT_EQ(made.uuids[1], parts.configUuid);
  EXPECT_EQ(made.uuids[2], parts.baseUuid);
  EXPECT_EQ(made.ids, (std::array<unsigned int, 3>{0, 8, 9}));
  EXPECT_EQ(made.flags[1] && made.flags[2], true);
  EXPECT_TRUE(made.isClosed);
  EXPECT_EQ(made.first, kStoreStart + 30 * kMinute);
  EXPECT_EQ(made.last, kStoreStart + 30 * kMinute);
  EXPECT_EQ(made.count, 1U);
  EXPECT_EQ(FieldAt<int>(made.data, TrendField::kCompression), static_cast<int>(zlib));
  TrendParts expected = parts;
  expected.trendUuid = made.uuids[0];
  expected.form = zlib;
  expected.entries = {parts.entries[3]};
  EXPECT_EQ(made.details, TrendDetails(expected, made.data));
  EXPECT_EQ(result.before.trends, 1U);
  EXPECT_EQ(result.before.entries, 4U);
  TrendParts stored = parts;
  stored.trendUuid = raw;
  EXPECT_EQ(result.before.bytes, FlatTrend(stored).size() + TrendDetails(stored, FlatTrend(stored)).size());
  EXPECT_EQ(result.bytesRead, result.before.bytes);
  EXPECT_EQ(result.after.trends, 1U);
  EXPECT_EQ(result.after.entries, 1U);
  EXPECT_EQ(result.after.bytes, made.data.size() + made.details.size());
}

// The second hour starts at minute 60, and so does the stretch of the second run.
TEST(RetentionRun, TrendThatEndsWhereAPeriodStartsIsThinnedWithIt)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 10, 60}));
  store.Put(minutes({61, 90}, 1, 3));
  EXPECT_EQ(store.Run(kStoreStart + 2 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (std::vector<long long>{10, 60, 61, 90}));
  EXPECT_EQ(store.Run(kStoreStart + 3 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (std::vector<long long>{10, 90}));
}

TEST(RetentionRun, SecondRunAtTheSameTimeWritesNothing)
{
  RetentionStore store({100, 366, 6, 12, 6, 3});
  store.Put(EntriesEvery(9 * kMinute, kStoreStart, kStoreStart + 40 * kDay));
  long long const now = kStoreStart + 41 * kDay;
  ASSERT_EQ(store.Run(now).error, "");
  StoredRows const rows = store.Rows();
  RetentionResult const again = store.Run(now);
  EXPECT_EQ(again.error, "");
  EXPECT_EQ(again.before.trends + again.after.trends + again.bytesRead, 0U);
  EXPECT_TRUE(store.Rows() == rows);
}

TEST(RetentionRun, EntryThatIsExactlyAnHourOldIsOfAge)
{
  RetentionStore store(kOne);
  store.Put(EntriesAt({kStoreStart, kStoreStart + kHour / 2, kStoreStart + kHour - 1}));
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour - 2).error, "");
  EXPECT_EQ(store.Times().size(), 3U);
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour - 1).error, "");
  EXPECT_EQ(sinceStart(store.Times()), std::vector{kHour / 2});
}

TEST(RetentionRun, EntriesWithOneTimeStampKeepOneOfEachStatus)
{
  RetentionStore store(kOne);
  std::vector<EntryBytes> entries;
  for (unsigned char const status : {3, 2, 1, 3, 0, 7})
    entries.push_back(MarkedEntry(kStoreStart + 30 * kMinute, status, entries.size()));
  entries.insert(entries.begin(), MarkedEntry(kStoreStart, 1, 99));
  store.Put(entries);
  store.PutValues({kStoreStart + 30 * kMinute});
  ASSERT_EQ(store.Run(kStoreStart + 3 * kHour).error, "");
  // Pinned is the first of them, of status 3; the others are nearest, the first of each status class.
  EXPECT_TRUE(store.Entries() == Ordered({entries[1], entries[2], entries[3], entries[5]}));
}

TEST(RetentionRun, ValueWithoutAnEntryDoesNotHideTheNextOne)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 5, 30, 40}));
  // To the shrinker the value at 3 would be the current one until it meets the entry at 5.
  store.PutValues({kStoreStart + 3 * kMinute, kStoreStart + 5 * kMinute});
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{5});
}

TEST(RetentionRun, BookmarksAndValuesPin)
{
  RetentionStore store({100, 366, 2, 0, 0, 0});
  store.Put(minutes({0, 1, 2, 31, 45, 46}));
  store.database.PutBookmark(store.device, store.value, kStoreStart + 1 * kMinute);
  store.PutValues({kStoreStart, kStoreStart + 46 * kMinute});
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{0, 1, 46}));
}

TEST(RetentionRun, BookmarksOfOtherValuesDoNotPin)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 30}));
  store.database.PutBookmark(store.device, CountingUuid(0xc0), kStoreStart);
  store.database.PutBookmark(CountingUuid(0xc0), store.value, kStoreStart);
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{30});
}

TEST(RetentionRun, RemainderOfAPeriodGoesEvenWhenItIsPinned)
{
  RetentionStore store({100, 366, 7, 0, 0, 0});
  store.Put(EntriesAt({kStoreStart, kStoreStart + kHour - 3, kStoreStart + kHour - 2, kStoreStart + kHour - 1}));
  store.PutValues({kStoreStart + kHour - 1});
  store.settings.keepPeaks = true;
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour).error, "");
  EXPECT_EQ(sinceStart(store.Times()), (std::vector{0LL, kHour - 3}));
}

TEST(RetentionRun, CountBeyondTheMicrosecondsOfAPeriodLeavesNothing)
{
  RetentionStore store({100, 366, 3600000001U, 0, 0, 0});
  store.Put(minutes({0, 30}));
  RetentionResult const result = store.Run(kStoreStart + 2 * kHour);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.after.trends, 0U);
  EXPECT_TRUE(store.Rows().empty());
}

TEST(RetentionPeaks, DaysExtremesStayThroughAllClasses)
{
  RetentionStore store({100, 366, 2, 4, 2, 1});
  store.settings.keepPeaks = true;
  Dice dice(3);
  std::vector<EntryBytes> all;
  for (long long time = kStoreStart; time < kStoreStart + 34 * kDay; time += 17 * kMinute)
  {
    double const value = dice.OneIn(9) ? std::numeric_limits<double>::quiet_NaN() : dice.Below(100000) * 0.5 - 20000;
    all.push_back(EntryWithValue(time, value, static_cast<unsigned char>(dice.Between(0, 3))));
  }
  std::size_t const perTrend = 200;
  std::size_t at = 0;
  for (long long now = kStoreStart; now < kStoreStart + 36 * kDay; now += 9 * kHour)
  {
    while (at < all.size() && TimeOf(all[std::min(all.size(), at + perTrend) - 1]) < now)
    {
      store.Put({all.begin() + at, all.begin() + std::min(all.size(), at + perTrend)});
      at = std::min(all.size(), at + perTrend);
    }
    ASSERT_EQ(store.Run(now).error, "");
  }
  using Extremes = std::map<long long, std::pair<double, double>>;
  auto const extremesOf = [](std::vector<EntryBytes> const& entries)
  {
    Extremes extremes;
    for (EntryBytes const& entry : entries)
      if (double const value = ValueOf(entry); value == value)
      {
        auto& day = extremes.try_emplace((TimeOf(entry) - kStoreStart) / kDay, value, value).first->second;
        day = {std::min(day.first, value), std::max(day.second, value)};
      }
    return extremes;
  };
  std::vector<EntryBytes> const left = store.Entries();
  EXPECT_LT(left.size(), all.size() / 3);
  ASSERT_EQ(extremesOf(all).size(), 34U);
  EXPECT_EQ(extremesOf(left), extremesOf(all));
}

TEST(RetentionPeaks, FirstOfEqualValuesIsThePeakAndNoNumberIsNone)
{
  double const nan = std::numeric_limits<double>::quiet_NaN();
  RetentionStore store(kOne);
  store.settings.keepPeaks = true;
  std::vector<EntryBytes> entries;
  for (auto const& [minute, value] : {std::pair{1, nan}, {2, 5.0}, {3, -1.0}, {4, 5.0}, {5, -1.0}, {30, 0.0}})
    entries.push_back(EntryWithValue(kStoreStart + minute * kMinute, value));
  store.Put(entries);
  ASSERT_EQ(store.Run(kStoreStart + 3 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{2, 3}));
}

TEST(RetentionPeaks, SecondEntryOfATimeStampIsNoPeak)
{
  RetentionStore store(kOne);
  store.settings.keepPeaks = true;
  long long const time = kStoreStart + 2 * kMinute;
  store.Put({EntryWithValue(kStoreStart, 1), EntryWithValue(time, 2), EntryWithValue(time, 9),
             EntryWithValue(time + 1, 8), EntryWithValue(kStoreStart + kHour / 2, 3)});
  ASSERT_EQ(store.Run(kStoreStart + 3 * kHour).error, "");
  EXPECT_EQ(sinceStart(store.Times()), (std::vector{0LL, 2 * kMinute + 1}));
}

TEST(RetentionPeaks, NothingButNoNumbersIsThinnedAsWithoutPeaks)
{
  RetentionStore store(kOne);
  store.settings.keepPeaks = true;
  double const nan = std::numeric_limits<double>::quiet_NaN();
  store.Put({EntryWithValue(kStoreStart, nan), EntryWithValue(kStoreStart + 29 * kMinute, nan)});
  ASSERT_EQ(store.Run(kStoreStart + 3 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{29});
}

TEST(RetentionOpenTrend, StaysAsItIsAndItsPeriodWaits)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1, 60, 61}));
  TrendParts const open = TrendWith(minutes({62, 63, 130}));
  Uuid const openUuid = store.Put(open, false);
  StoredRow const before = store.Rows().at(openUuid);
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{1, 60, 61}));
  EXPECT_TRUE(store.Rows().at(openUuid) == before);
}

TEST(RetentionOpenTrend, IsTakenWhenItIsClosed)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1, 60, 61}));
  TrendParts open = TrendWith(minutes({62, 63, 64, 130}));
  open.trendUuid = store.NextUuid();
  store.PutAs(open, false);
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  store.PutAs(open, true);
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{1, 64, 130}));
}

TEST(RetentionOpenTrend, IsToldWhenClosedTrendsBehindItsFirstEntryWait)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1, 60, 61}));
  TrendParts open = TrendWith(minutes({62}));
  open.trendUuid = store.NextUuid();
  store.PutAs(open, false);
  long long const now = kStoreStart + 5 * kHour;
  // What lies before it in the same hour waits, too, but for no longer than a trend grows.
  EXPECT_EQ(store.Run(now).awaitedFrom, std::nullopt);
  // Too young in any case.
  store.Put(minutes({4 * 60 + 30}));
  EXPECT_EQ(store.Run(now).awaitedFrom, std::nullopt);
  store.Put(minutes({120, 121}));
  EXPECT_EQ(store.Run(now).awaitedFrom, kStoreStart + 62 * kMinute);
  EXPECT_EQ(minutesOf(store), (Minutes{1, 60, 61, 120, 121, 4 * 60 + 30}));
  store.PutAs(open, true);
  EXPECT_EQ(store.Run(now).awaitedFrom, std::nullopt);
  EXPECT_EQ(minutesOf(store), (Minutes{1, 62, 121, 4 * 60 + 30}));
}

TEST(RetentionOpenTrend, WithoutEntriesHoldsNothingUp)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1, 60, 61}));
  store.Put(TrendWith({}), false);
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{1, 61}));
}

TEST(RetentionOpenTrend, OfAnotherValueHoldsNothingUp)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1}));
  TrendParts other = TrendWith(minutes({0}));
  other.configUuid = CountingUuid(0xc0);
  store.Put(other, false);
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{1});
}

TEST(RetentionLateTrend, BeforeTheFirstPeriodIsThinnedWithTheSamePeriods)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 30}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  // The hours before start at -120 and -60: centres at -90 and -30.
  store.Put(minutes({-100, -95, -70, -40, -20}, 1, 50));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{-95, -40, 30}));
}

TEST(RetentionLateTrend, BetweenThinnedEntriesIsThinnedWithThem)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 20, 100, 140}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{20, 100, 140}));
  store.Put(minutes({31, 70, 91}, 1, 50));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{31, 91, 140}));
}

TEST(RetentionLateTrend, OverlappingTheThinnedOnesIsMergedWithThem)
{
  RetentionStore store({100, 366, 2, 0, 0, 0});
  store.Put(minutes({0, 15, 44, 59}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  store.Put(minutes({14, 45, 65}, 3, 50));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{14, 15, 44, 45, 65}));
  EXPECT_EQ(store.Rows().size(), 1U);
}

TEST(RetentionLateTrend, OverlappingManyTrendsGivesWhatTheModelGives)
{
  ShrinkSettings const counts{5000, 366, 3, 0, 0, 0};
  RetentionStore store(counts);
  std::vector<TrendParts> raw;
  for (int trend = 0; trend < 40; ++trend)
  {
    raw.push_back(TrendWith(EntriesEvery(41 * kMinute + trend * kSecond, kStoreStart + trend * kMinute,
                                         kStoreStart + 15 * kHour, 1 + trend % 3, 1000 * trend)));
    store.Put(raw.back());
  }
  long long const now = kStoreStart + 20 * kHour;
  TrendShrinkingModel model(counts, now);
  model.Run(raw, {});
  ASSERT_EQ(model.Results().size(), 1U);
  ASSERT_EQ(store.Run(now).error, "");
  EXPECT_TRUE(store.Entries() == Ordered(model.Results()[0].entries));
}

TEST(RetentionSettingsChange, ChangedCountIsAppliedToWhatWasThinned)
{
  RetentionStore store({100, 366, 4, 0, 0, 0});
  store.Put(minutes({0, 7, 22, 37, 52, 67}));
  long long const now = kStoreStart + 5 * kHour;
  ASSERT_EQ(store.Run(now).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{7, 22, 37, 52, 67}));
  store.Configure({100, 366, 2, 0, 0, 0});
  ASSERT_EQ(store.Run(now).error, "");
  EXPECT_EQ(minutesOf(store), (Minutes{22, 52, 67}));
}

TEST(RetentionSettingsChange, ClassThatIsSwitchedOffStops)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 30, 45}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  store.Configure({100, 366, 0, 0, 0, 0});
  store.Put(minutes({60, 61, 62}));
  StoredRows const rows = store.Rows();
  for (long long const now : {5 * kHour, 50 * kDay})
  {
    RetentionResult const result = store.Run(kStoreStart + now);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.bytesRead, 0U);
    EXPECT_TRUE(store.Rows() == rows);
  }
}

TEST(RetentionSettingsChange, LaterBookmarkDoesNotBringBackWhatIsGone)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 30, 45}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  store.database.PutBookmark(store.device, store.value, kStoreStart);
  store.Put(minutes({31, 50}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{30});
}

TEST(RetentionKinds, OtherUnitsBaseUuidsAndLimitsAreNeverMixed)
{
  RetentionStore store(kOne);
  std::vector<TrendParts> kinds(6, TrendWith({}));
  kinds[1].unitUuid = CountingUuid(0xa1);
  kinds[2].unitString = "in/s";
  kinds[3].baseUuid = CountingUuid(0xa2);
  kinds[4].limit = 0.75;
  kinds[5].limit = std::numeric_limits<double>::quiet_NaN();
  for (std::size_t i = 0; i < kinds.size(); ++i)
  {
    // All of one hour, each kind with one entry that would win had it been mixed with the others.
    long long const near = static_cast<long long>(i);
    kinds[i].entries = minutes({near, 30 + near, 50 + near}, 1, 100 * static_cast<unsigned int>(i));
    store.Put(kinds[i]);
  }
  ASSERT_EQ(store.Run(kStoreStart + 3 * kHour).error, "");
  StoredRows const rows = store.Rows();
  ASSERT_EQ(rows.size(), kinds.size());
  std::set<std::tuple<Bytes, std::string, Uuid, long long>> found;
  for (auto const& [uuid, row] : rows)
  {
    Bytes const identity(row.data.begin() + TrendField::kUnitUuid, row.data.begin() + TrendField::kSampleCount);
    ASSERT_EQ(row.count, 1U);
    found.insert({identity, unitIn(row.details), row.uuids[2], (row.first - kStoreStart) / kMinute});
  }
  std::set<std::tuple<Bytes, std::string, Uuid, long long>> expected;
  for (std::size_t i = 0; i < kinds.size(); ++i)
  {
    Bytes const flat = FlatTrend(kinds[i]);
    expected.insert({Bytes(flat.begin() + TrendField::kUnitUuid, flat.begin() + TrendField::kSampleCount),
                     kinds[i].unitString, kinds[i].baseUuid, 30 + static_cast<long long>(i)});
  }
  EXPECT_TRUE(found == expected);
}

TEST(RetentionFailure, DisorderedEntriesLeaveTheirValueAlone)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1, 2}));
  store.Put(minutes({60, 62, 61, 63}));
  expectRefusal(store, kStoreStart + 5 * kHour, kNotOrdered);
}

TEST(RetentionFailure, ColumnsThatDisagreeWithTheEntriesLeaveTheirValueAlone)
{
  for (bool const isFirst : {true, false})
  {
    RetentionStore store(kOne);
    store.Put(minutes({0, 1, 2}));
    TrendParts wrong = TrendWith(minutes({60, 61, 62}));
    (isFirst ? wrong.firstColumn : wrong.lastColumn) = kStoreStart + 60 * kMinute + 30 * kSecond;
    Uuid const uuid = store.Put(wrong);
    expectRefusal(store, kStoreStart + 5 * kHour, columnsDisagree(uuid));
  }
}

TEST(RetentionFailure, RecordWithoutEntriesUnderColumnsThatHaveSomeLeavesItsValueAlone)
{
  RetentionStore store(kOne);
  TrendParts empty = TrendWith({});
  empty.trendUuid = store.NextUuid();
  TrendDataDO stored = ClosedTrend(empty);
  stored.setNumSamples(1);
  stored.setFirstTimeStamp(kStoreStart);
  stored.setLastTimeStamp(kStoreStart);
  store.database.PutTrend(store.device, stored);
  expectRefusal(store, kStoreStart + 5 * kHour, columnsDisagree(empty.trendUuid));
}

TEST(RetentionFailure, DamagedRecordLeavesItsValueAlone)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 1, 2}));
  TrendParts parts = TrendWith(minutes({60, 61, 62}));
  parts.trendUuid = store.NextUuid();
  TrendDataDO stored = ClosedTrend(parts);
  Bytes data = stored.getData();
  data.pop_back();
  stored.setData(data);
  store.database.PutTrend(store.device, stored);
  expectRefusal(store, kStoreStart + 5 * kHour, "Wrong trend data size: actual 95 bytes, expected 96 bytes!");
}

TEST(RetentionFailure, MaximumTrendSizeOfZeroIsRefusedWhenThereIsSomethingToThin)
{
  RetentionStore store(kOne);
  store.settings.maxTrendSize = 0;
  store.Put(minutes({0, 1, 2}));
  EXPECT_EQ(store.Run(kStoreStart + kHour).error, "");
  expectRefusal(store, kStoreStart + 5 * kHour, "Maximum trend size must not be 0!");
}

TEST(RetentionFailure, ValueThatFailsLetsTheOthersThrough)
{
  RetentionStore store(kOne);
  std::vector<Uuid> values;
  for (unsigned char mark = 0; mark < 5; ++mark)
  {
    TrendParts parts = TrendWith(mark == 2 ? minutes({0, 2, 1}) : minutes({0, 29, 31}));
    parts.configUuid = CountingUuid(static_cast<unsigned char>(0x20 * mark + 1));
    values.push_back(parts.configUuid);
    store.Put(parts);
  }
  StoredRows const before = store.Rows();
  std::map<Uuid, RetentionResult> const results = store.RunDevice(kStoreStart + 5 * kHour);
  ASSERT_EQ(results.size(), 5U);
  for (std::size_t i = 0; i < values.size(); ++i)
  {
    RetentionResult const& result = results.at(values[i]);
    EXPECT_EQ(result.error, i == 2 ? kNotOrdered : "");
    EXPECT_EQ(result.after.entries, i == 2 ? 0U : 1U);
    EXPECT_EQ(result.device, store.device);
  }
  for (auto const& [uuid, row] : before)
    EXPECT_EQ(store.Rows().count(uuid), row.uuids[1] == values[2] ? 1U : 0U);
  EXPECT_EQ(store.Rows().size(), 5U);
}

TEST(RetentionFailure, TroubleBehindTheFirstWritesRollsThemBack)
{
  RetentionStore store({40, 366, 1, 2, 2, 2});
  int day = 0;
  auto const liveADay = [&]
  {
    store.Put(EntriesEvery(kHour, kStoreStart + day * kDay, kStoreStart + (day + 1) * kDay, 1, 24 * day));
    ++day;
  };
  // With the next day the 32nd small trend is behind the oldest class, and all of them are joined.
  while (day < 59)
  {
    liveADay();
    ASSERT_EQ(store.Run(kStoreStart + day * kDay).error, "");
  }
  RetentionLedger ledger(store.database, store.device, store.value);
  RetentionLedger::State const state = *ledger.Look();
  std::optional<TrendDataDO> damaged;
  for (TrendSummary const& summary : store.database.ListTrends(store.device))
    damaged = store.database.FindTrend(store.device, summary.trend); // the last one is the oldest
  damaged->setData(Bytes(damaged->getData().begin(), damaged->getData().begin() + 95));
  store.database.PutTrend(store.device, *damaged);
  {
    // Damage does not pass through PutTrend, which would have the trend thinned again.
    DeviceDatabase::Transaction transaction(store.database);
    ledger.Take();
    ledger.Write(state);
    transaction.Commit();
  }
  liveADay();
  expectRefusal(store, kStoreStart + day * kDay, "Trend header incomplete: actual 95 bytes, expected 96 bytes!");
  RetentionLedger::State const after = *ledger.Look();
  EXPECT_EQ(after.compactedUntil, state.compactedUntil);
  EXPECT_EQ(after.ageClasses[0].until, state.ageClasses[0].until);
}

TEST(RetentionFailure, RemovedTroubleLetsTheNextRunThrough)
{
  RetentionStore store(kOne);
  store.Put(minutes({0, 29, 31}));
  Uuid const bad = store.Put(minutes({60, 62, 61, 63}));
  expectRefusal(store, kStoreStart + 5 * kHour, kNotOrdered);
  store.database.DeleteTrend(store.device, bad);
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{29});
}

TEST(RetentionDevice, WithoutDetailsKeepsEverything)
{
  RetentionStore store;
  store.Put(EntriesEvery(kMinute, kStoreStart, kStoreStart + kDay));
  StoredRows const rows = store.Rows();
  RetentionResult const result = store.Run(kStoreStart + 50 * kDay);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.bytesRead, 0U);
  EXPECT_TRUE(store.Rows() == rows);
}

TEST(RetentionDevice, UnknownDeviceHasNoValues)
{
  RetentionStore store(kOne);
  store.device = CountingUuid(0xd0);
  EXPECT_TRUE(store.RunDevice(kStoreStart).empty());
  EXPECT_EQ(store.Run(kStoreStart).error, "");
}

TEST(RetentionDevice, CountThatIsNoNumberIsThrown)
{
  RetentionStore store;
  store.Put(minutes({0, 1, 2}));
  store.database.PutDevice(
      store.device, DeviceWithCleanup(CleanupClass("OlderThanOneDay", "<vel:NumberOfRemainingTrendEntriesPerDay>several"
                                                                      "</vel:NumberOfRemainingTrendEntriesPerDay>")));
  StoredRows const rows = store.Rows();
  EXPECT_THROW(store.Run(kStoreStart + 5 * kHour), OptionException);
  EXPECT_THROW(store.RunDevice(kStoreStart + 5 * kHour), OptionException);
  EXPECT_TRUE(store.Rows() == rows);
}

TEST(RetentionDevice, OtherDevicesStayAsTheyAre)
{
  RetentionStore store(kOne);
  Uuid const mine = store.device;
  store.device = CountingUuid(0xd0);
  store.Configure(kOne);
  store.Put(minutes({0, 1, 2}));
  StoredRows const others = store.Rows();
  store.device = mine;
  store.Put(minutes({0, 1, 2}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{2});
  store.device = CountingUuid(0xd0);
  EXPECT_TRUE(store.Rows() == others);
  EXPECT_FALSE(RetentionLedger(store.database, store.device, store.value).Look()->anchor);
}

TEST(RetentionTrendSize, MadeTrendsHoldAtMostTheMaximum)
{
  for (unsigned int const size : {1U, 2U, 7U})
  {
    RetentionStore store({size, 366, 6, 0, 0, 0});
    store.Put(EntriesEvery(kMinute, kStoreStart, kStoreStart + 5 * kHour));
    ASSERT_EQ(store.Run(kStoreStart + 6 * kHour).error, "");
    EXPECT_EQ(store.Times().size(), 30U);
    StoredRows const rows = store.Rows();
    EXPECT_EQ(rows.size(), (30 + size - 1) / size);
    for (auto const& [uuid, row] : rows)
      EXPECT_LE(row.count, size);
  }
}

TEST(RetentionTrendSize, WhatWillBeThinnedAgainIsKeptByTheDay)
{
  RetentionStore store({1000, 366, 1, 4, 0, 2});
  store.Put(EntriesEvery(kHour / 2, kStoreStart, kStoreStart + 40 * kDay));
  ASSERT_EQ(store.Run(kStoreStart + 40 * kDay).error, "");
  // What is older than four weeks is in one trend, everything younger in one for each day.
  std::size_t old = 0;
  for (auto const& [uuid, row] : store.Rows())
  {
    EXPECT_TRUE(row.first >= kStoreStart + 12 * kDay || row.last < kStoreStart + 12 * kDay);
    if (row.first < kStoreStart + 12 * kDay)
      ++old;
    else
      EXPECT_EQ((row.first - kStoreStart) / kDay, (row.last - kStoreStart) / kDay);
  }
  EXPECT_EQ(old, 1U);
  EXPECT_EQ(store.Rows().size(), 29U);
}

TEST(RetentionTrendSize, SmallTrendsBehindTheOldestClassAreJoinedOnceThereAreThirtyTwo)
{
  RetentionStore store({40, 366, 1, 2, 2, 2});
  std::size_t most = 0;
  std::size_t behindNow = 0;
  for (int day = 0; day < 110; ++day)
  {
    store.Put(EntriesEvery(kHour, kStoreStart + day * kDay, kStoreStart + (day + 1) * kDay, 1, 24 * day));
    RetentionResult const result = store.Run(kStoreStart + (day + 1) * kDay);
    ASSERT_EQ(result.error, "");
    std::size_t behind = 0;
    long long const end = kStoreStart + (day + 1 - 28) * kDay;
    for (auto const& [uuid, row] : store.Rows())
    {
      ASSERT_LE(row.count, 40U);
      behind += row.last < end && row.count <= 20 ? 1 : 0;
    }
    most = std::max(most, behind);
    behindNow = behind;
  }
  // 82 days are behind; 32 of them, twice, gave 64 entries each in trends of 40 and 24.
  EXPECT_EQ(most, 31U);
  EXPECT_EQ(behindNow, 82U - 64U);
  EXPECT_EQ(store.Times().size(), 2U * 82 + 2 * 27 + 24);
}

TEST(RetentionTrendSize, JoinedTrendsAreCountedOnce)
{
  RetentionStore store({40, 366, 1, 2, 2, 2});
  for (int day = 0; day < 70; ++day)
  {
    store.Put(EntriesEvery(kHour, kStoreStart + day * kDay, kStoreStart + (day + 1) * kDay, 1, 24 * day));
    StoredRows const before = store.Rows();
    RetentionResult const result = store.Run(kStoreStart + (day + 1) * kDay);
    ASSERT_EQ(result.error, "");
    StoredRows const after = store.Rows();
    RetentionResult::Amount gone, made;
    for (auto const& [uuid, row] : before)
      if (after.count(uuid) == 0)
        gone = {gone.trends + 1, gone.entries + row.count, gone.bytes + row.data.size() + row.details.size()};
    for (auto const& [uuid, row] : after)
      if (before.count(uuid) == 0)
        made = {made.trends + 1, made.entries + row.count, made.bytes + row.data.size() + row.details.size()};
    ASSERT_EQ(std::tuple(result.before.trends, result.before.entries, result.before.bytes),
              std::tuple(gone.trends, gone.entries, gone.bytes));
    ASSERT_EQ(std::tuple(result.after.trends, result.after.entries, result.after.bytes),
              std::tuple(made.trends, made.entries, made.bytes));
  }
}

TEST(RetentionTrendSize, JoinedTrendsAreNotJoinedAgain)
{
  RetentionStore store({1000, 366, 1, 2, 2, 2});
  std::size_t most = 0;
  std::vector<unsigned int> behind;
  for (int day = 0; day < 110; ++day)
  {
    store.Put(EntriesEvery(kHour, kStoreStart + day * kDay, kStoreStart + (day + 1) * kDay, 1, 24 * day));
    ASSERT_EQ(store.Run(kStoreStart + (day + 1) * kDay).error, "");
    behind.clear();
    for (auto const& [uuid, row] : store.Rows())
      if (row.last < kStoreStart + (day + 1 - 28) * kDay)
        behind.push_back(row.count);
    most = std::max(most, behind.size());
  }
  // 82 days of two entries are behind. The first 32 are one trend of 64 by the time that 31 others stand beside it, and
  // only the next one has all of those joined.
  EXPECT_EQ(most, 32U);
  std::vector<unsigned int> expected(18, 2);
  expected.insert(expected.end(), {64, 64});
  std::sort(behind.begin(), behind.end());
  EXPECT_EQ(behind, expected);
}

TEST(RetentionTrendSize, TrendsOfMoreThanHalfTheMaximumAreNotJoined)
{
  // 24 of 40 entries a day: two of them would not fit into one.
  RetentionStore store({40, 366, 1, 24, 24, 24});
  for (int day = 0; day < 62; ++day)
  {
    store.Put(EntriesEvery(kHour, kStoreStart + day * kDay, kStoreStart + (day + 1) * kDay, 1, 24 * day));
    ASSERT_EQ(store.Run(kStoreStart + (day + 1) * kDay).error, "");
  }
  std::size_t behind = 0;
  for (auto const& [uuid, row] : store.Rows())
    if (row.last < kStoreStart + 34 * kDay)
    {
      ++behind;
      EXPECT_EQ(row.count, 24U);
    }
  EXPECT_EQ(behind, 34U);
}

TEST(RetentionRun, TrendThatBeginsWhereAStretchEndsIsNotRead)
{
  RetentionStore store(kOne);
  Uuid const ripe = store.Put(minutes({0, 30}));
  Uuid const young = store.Put(minutes({60, 70}));
  StoredRow const first = store.Rows().at(ripe);
  RetentionResult const result = store.Run(kStoreStart + 2 * kHour);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.bytesRead, first.data.size() + first.details.size());
  EXPECT_EQ(store.Rows().count(ripe), 0U);
  EXPECT_EQ(store.Rows().count(young), 1U);
}

TEST(RetentionRun, TrendsWithoutEntriesStay)
{
  RetentionStore store(kOne);
  Uuid const empty = store.Put(TrendWith({}));
  StoredRow const before = store.Rows().at(empty);
  store.Put(minutes({0, 1}));
  ASSERT_EQ(store.Run(kStoreStart + 5 * kHour).error, "");
  EXPECT_EQ(minutesOf(store), Minutes{1});
  EXPECT_TRUE(store.Rows().at(empty) == before);
}

TEST(RetentionRun, AnyRunTimesLeaveWhatTheSettingsSayOfEachDay)
{
  for (long long const step : {kHour, 5 * kHour, kDay, 9 * kDay, 33 * kDay})
  {
    SCOPED_TRACE(step);
    RetentionStore store({1000, 366, 6, 24, 12, 6});
    std::set<EntryBytes> raw;
    long long written = kStoreStart;
    long long const end = kStoreStart + 45 * kDay;
    unsigned int mark = 0;
    for (long long now = kStoreStart; now < end + step; now += step)
    {
      for (; written + kDay / 2 <= std::min(now, end); written += kDay / 2)
      {
        std::vector<EntryBytes> const half = EntriesEvery(10 * kMinute, written, written + kDay / 2, 1, mark += 100);
        raw.insert(half.begin(), half.end());
        store.Put(half);
      }
      ASSERT_EQ(store.Run(now).error, "");
    }
    ASSERT_EQ(store.Run(end).error, "");
    std::map<long long, unsigned int> perDay;
    for (EntryBytes const& entry : store.Entries())
    {
      ASSERT_EQ(raw.count(entry), 1U);
      ++perDay[(TimeOf(entry) - kStoreStart) / kDay];
    }
    // Runs that were late by more than the end have thinned more than is asked for here.
    for (long long day = 0; step <= kDay && day < 44; ++day)
      EXPECT_EQ(perDay[day], day < 17 ? 6U : day < 38 ? 12U : 24U) << day;
    for (long long day = 0; day < 17; ++day)
      EXPECT_EQ(perDay[day], 6U) << day;
  }
}

TEST(RetentionExtremes, EntriesAtBothEndsOfTimeAreKeptInTrendsThatEnd)
{
  RetentionStore store(kOne);
  store.Put(
      EntriesAt({kSmallest, kSmallest + 1, -5, 0, 7, kStoreStart, kStoreStart + 1, kLargest - 1, kLargest, kLargest}));
  ASSERT_EQ(store.Run(kStoreStart + 50 * kDay).error, "");
  // Days count from the smallest time stamp; -5, 0 and 7 lie in one of them, and so do the other neighbours.
  std::vector<long long> const times = store.Times();
  std::set<long long> const left(times.begin(), times.end());
  EXPECT_EQ(times.size(), 6U);
  EXPECT_EQ(left.count(kSmallest + 1), 1U);
  EXPECT_EQ(left.count(kLargest - 1) + left.count(kLargest), 2U);
  EXPECT_EQ(std::count(times.begin(), times.end(), kLargest), 2);
}

TEST(RetentionExtremes, RunsAtBothEndsOfTimeKeepTheirInvariants)
{
  for (long long const now : {kSmallest, kSmallest + kHour, kLargest - kDay, kLargest})
    for (long long const first : {kSmallest, kSmallest + 100 * kDay, 0LL, kLargest - 100 * kDay})
    {
      RetentionStore store({1000, 366, 1, 1, 1, 1});
      store.Put(EntriesEvery(7 * kHour, first, first + 99 * kDay));
      std::vector<EntryBytes> const before = store.Entries();
      ASSERT_EQ(store.Run(now).error, "") << now << " " << first;
      std::vector<EntryBytes> const after = store.Entries();
      std::set<EntryBytes> const known(before.begin(), before.end());
      for (EntryBytes const& entry : after)
        ASSERT_EQ(known.count(entry), 1U);
      EXPECT_EQ(after.size() == before.size(), now < 0) << now << " " << first;
      StoredRows const rows = store.Rows();
      ASSERT_EQ(store.Run(now).error, "");
      EXPECT_TRUE(store.Rows() == rows);
    }
}

TEST(RetentionExtremes, SmallestTimeStampAloneWaitsForNothing)
{
  RetentionStore store(kOne);
  store.Put(EntriesAt({kSmallest, kSmallest + 29 * kMinute}));
  ASSERT_EQ(store.Run(kSmallest).error, "");
  EXPECT_EQ(store.Times().size(), 2U);
  ASSERT_EQ(store.Run(kSmallest + 2 * kHour).error, "");
  EXPECT_EQ(store.Times(), std::vector{kSmallest + 29 * kMinute});
}

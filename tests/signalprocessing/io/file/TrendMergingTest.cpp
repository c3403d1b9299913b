#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/ShrinkRun.h"

#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{
Trend TrendFrom(std::vector<EntryBytes> const& entries, TrendParts parts = {})
{
  parts.entries = entries;
  return Trend(StoredTrend(parts));
}

Trend Merged(Trend const& first, Trend const& second) { return MakeShrinker({}).MergeTrends(first, second); }

std::vector<EntryBytes> MergedEntries(std::vector<EntryBytes> const& first, std::vector<EntryBytes> const& second)
{
  return AllBytes(Merged(TrendFrom(first), TrendFrom(second)).GetTrendEntryVector());
}

unsigned int LastPosition(std::vector<long long> const& times, unsigned int count, long long time)
{
  return TrendShrinker::FindLastEntryPos(ToDeque(EntriesAt(times)), count, time);
}
} // namespace

TEST(TrendMerging, EntriesOfBothFollowEachOtherByTime)
{
  auto const a = EntriesAt({10, 30}, 1, 0);
  auto const b = EntriesAt({20, 30}, 2, 50);
  Trend const merged = Merged(TrendFrom(a), TrendFrom(b));
  EXPECT_EQ(AllBytes(merged.GetTrendEntryVector()), (std::vector{a[0], b[0], a[1], b[1]}));
  EXPECT_EQ(merged.GetFirstTimeStamp(), 10);
  EXPECT_EQ(merged.GetLastTimeStamp(), 30);
}

TEST(TrendMerging, EqualTimesKeepTheirOrderTheFirstTrendAhead)
{
  auto const a = EntriesAt({5, 5, 5}, 1, 0);
  auto const b = EntriesAt({5, 5}, 2, 50);
  EXPECT_EQ(MergedEntries(a, b), (std::vector{a[0], a[1], a[2], b[0], b[1]}));
  EXPECT_EQ(MergedEntries(b, a), (std::vector{b[0], b[1], a[0], a[1], a[2]}));
}

TEST(TrendMerging, ManyEqualTimesKeepTheirOrder)
{
  std::vector<EntryBytes> a, b, expected;
  for (unsigned int i = 0; i < 500; ++i)
  {
    a.push_back(MarkedEntry(i / 100, 1, i));
    b.push_back(MarkedEntry(i / 100, 2, 500 + i));
  }
  for (unsigned int block = 0; block < 5; ++block)
    for (auto const* const entries : {&a, &b})
      expected.insert(expected.end(), entries->begin() + 100 * block, entries->begin() + 100 * (block + 1));
  EXPECT_EQ(MergedEntries(a, b), expected);
}

TEST(TrendMerging, DuplicatesStay)
{
  auto const a = EntriesAt({1, 2}, 1, 0);
  EXPECT_EQ(MergedEntries(a, a), (std::vector{a[0], a[0], a[1], a[1]}));
}

TEST(TrendMerging, DisorderedEntriesAreSortedToo)
{
  auto const a = EntriesAt({30, -10, LLONG_MAX}, 1, 0);
  auto const b = EntriesAt({20, LLONG_MIN}, 2, 50);
  Trend const merged = Merged(TrendFrom(a), TrendFrom(b));
  EXPECT_EQ(AllBytes(merged.GetTrendEntryVector()), (std::vector{b[1], a[1], b[0], a[0], a[2]}));
  EXPECT_EQ(merged.GetFirstTimeStamp(), LLONG_MIN);
  EXPECT_EQ(merged.GetLastTimeStamp(), LLONG_MAX);
}

TEST(TrendMerging, TimeStampsAreThoseOfTheEntries)
{
  TrendParts odd;
  odd.firstColumn = 1;
  odd.lastColumn = 999;
  Trend const merged = Merged(TrendFrom(EntriesAt({10, 20}), odd), TrendFrom(EntriesAt({15}), odd));
  EXPECT_EQ(merged.GetFirstTimeStamp(), 10);
  EXPECT_EQ(merged.GetLastTimeStamp(), 20);
}

TEST(TrendMerging, OneWithoutEntriesAddsNothing)
{
  auto const a = EntriesAt({10, 20});
  EXPECT_EQ(MergedEntries(a, {}), a);
  EXPECT_EQ(MergedEntries({}, a), a);
}

TEST(TrendMerging, TwoWithoutEntriesGiveOneWithoutTimes)
{
  TrendParts odd;
  odd.firstColumn = 1;
  odd.lastColumn = 999;
  Trend const merged = Merged(TrendFrom({}, odd), TrendFrom({}, odd));
  EXPECT_EQ(merged.GetNumberOfEntries(), 0U);
  EXPECT_EQ(merged.GetFirstTimeStamp(), 0);
  EXPECT_EQ(merged.GetLastTimeStamp(), 0);
}

TEST(TrendMerging, IdentityIsThatOfTheFirst)
{
  TrendParts first;
  TrendParts second;
  second.configUuid = CountingUuid(0x91);
  second.baseUuid = CountingUuid(0x92);
  second.trendUuid = CountingUuid(0x93);
  second.unitUuid = CountingUuid(0x94);
  second.unitString = "other";
  second.limit = 77;
  Trend const merged = Merged(TrendFrom(EntriesAt({1}), first), TrendFrom(EntriesAt({2}), second));
  EXPECT_EQ(merged.GetCharacteristicValueConfigUuid(), first.configUuid);
  EXPECT_EQ(merged.GetCharacteristicValueConfigBaseUuid(), first.baseUuid);
  EXPECT_EQ(merged.GetSignalUnitUuid(), first.unitUuid);
  EXPECT_EQ(merged.GetSignalUnitString(), first.unitString);
  EXPECT_EQ(merged.GetLowerPreAlarmLimit(), first.limit);
  EXPECT_NE(merged.GetTrendUuid(), first.trendUuid);
  EXPECT_NE(merged.GetTrendUuid(), second.trendUuid);
  EXPECT_NE(merged.GetTrendUuid(), Merged(TrendFrom({}), TrendFrom({})).GetTrendUuid());
}

TEST(TrendMerging, ResultIsUncompressedWhateverTheTwoAre)
{
  TrendParts compressed;
  compressed.form = zlib;
  EXPECT_EQ(Merged(TrendFrom(EntriesAt({1}), compressed), TrendFrom(EntriesAt({2}), compressed)).GetCompression(),
            no_compression);
}

TEST(TrendMerging, BothStayAsTheyWere)
{
  Trend const first = TrendFrom(EntriesAt({10, 30}));
  Trend const second = TrendFrom(EntriesAt({20, 30}));
  Trend const firstBefore = first;
  Trend const secondBefore = second;
  Merged(first, second);
  EXPECT_TRUE(first == firstBefore);
  EXPECT_TRUE(second == secondBefore);
}

TEST(TrendEntryOrder, IsThatOfTheTimes)
{
  auto const isOlder = [](long long a, long long b)
  { return TrendShrinker::CompareTrendEntry(ToEntry(MarkedEntry(a, 1, 1)), ToEntry(MarkedEntry(b, 2, 0))); };
  EXPECT_TRUE(isOlder(1, 2));
  EXPECT_FALSE(isOlder(2, 1));
  EXPECT_FALSE(isOlder(2, 2));
  EXPECT_TRUE(isOlder(LLONG_MIN, LLONG_MAX));
  EXPECT_FALSE(isOlder(LLONG_MAX, LLONG_MIN));
  EXPECT_TRUE(isOlder(-1, 0));
}

TEST(TrendLastPosition, IsThatOfTheLastEntryNotLaterThanTheTime)
{
  std::vector<long long> const times = {10, 20, 30, 40, 50};
  for (unsigned int count = 1; count <= 5; ++count)
    for (long long time = 10; time <= 60; ++time)
      EXPECT_EQ(LastPosition(times, count, time), std::min(static_cast<unsigned int>(time / 10), count) - 1)
          << count << ", " << time;
}

TEST(TrendLastPosition, IsZeroWhenAllAreLater)
{
  EXPECT_EQ(LastPosition({10, 20, 30}, 3, 9), 0U);
  EXPECT_EQ(LastPosition({10}, 1, LLONG_MIN), 0U);
  EXPECT_EQ(LastPosition({10}, 1, LLONG_MAX), 0U);
}

TEST(TrendLastPosition, LooksNoFurtherThanTheCount)
{
  EXPECT_EQ(LastPosition({10, 20, 30, 40}, 2, 100), 1U);
  EXPECT_EQ(LastPosition({10, 20, 30, 40}, 3, 30), 2U);
}

TEST(TrendLastPosition, OfEqualTimesIsTheOneThatHalvingMeets)
{
  // The search looks at (lo + hi) / 2 and stops where the time is found.
  EXPECT_EQ(LastPosition({1, 5, 5, 5}, 4, 5), 2U);
  EXPECT_EQ(LastPosition({5, 5, 5, 5, 5}, 5, 5), 2U);
  EXPECT_EQ(LastPosition({1, 2, 3, 4, 5, 5}, 6, 5), 4U);
  EXPECT_EQ(LastPosition({5, 5}, 2, 5), 1U);
  EXPECT_EQ(LastPosition({1, 5, 5, 9, 9, 9}, 6, 5), 1U);
}

#include "signalprocessing/io/file/Trend.h"

#include "platform/QenTime.h"
#include "platform/database/TrendDataDO.h"
#include "support/Expectations.h"
#include "support/PlainTrend.h"
#include "support/TrendRecords.h"
#include "support/VirtualSlots.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace
{
Trend EmptyTrend() { return Trend(CountingUuid(0x10), CountingUuid(0x20), CountingUuid(0x30), "mm/s", 0.25); }

Trend TrendAt(std::vector<long long> const& times)
{
  Trend trend = EmptyTrend();
  for (EntryBytes const& entry : EntriesAt(times))
    trend.AddTrendEntry(ToEntry(entry), true);
  return trend;
}

std::vector<long long> Times(Trend const& trend) { return TimesOf(AllBytes(trend.GetTrendEntryVector())); }

void ExpectSpan(Trend const& trend, long long first, long long last)
{
  EXPECT_EQ(trend.GetFirstTimeStamp(), first);
  EXPECT_EQ(trend.GetLastTimeStamp(), last);
}

/// What has to be left of a trend with entries at 10, 20, 30 and 40 after a deletion.
void ExpectDeletion(long long from, long long to, bool result, std::vector<long long> const& left)
{
  SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
  Trend trend = TrendAt({10, 20, 30, 40});
  EXPECT_EQ(trend.DeleteTrendEntries(from, to), result);
  EXPECT_EQ(Times(trend), left);
  ExpectSpan(trend, left.empty() ? 0 : left.front(), left.empty() ? 0 : left.back());
}

std::deque<trend_entry_t> DequeAt(std::vector<long long> const& times) { return ToDeque(EntriesAt(times)); }

void AddAll(Trend& trend, std::deque<trend_entry_t> const& entries)
{
  trend.AddTrendEntries(entries.begin(), entries.end());
}

/// A trend from a database object, whose columns need not be those of its entries.
Trend TrendWithColumns(std::vector<long long> const& times, long long first, long long last)
{
  TrendParts parts;
  parts.entries = EntriesAt(times);
  parts.firstColumn = first;
  parts.lastColumn = last;
  return Trend(StoredTrend(parts));
}

/// A trend with two entries whose bytes `change` changed.
Trend ChangedTrend(std::function<void(TrendParts&)> const& change)
{
  TrendParts parts;
  parts.entries = EntriesAt({10, 20});
  change(parts);
  return Trend(StoredTrend(parts));
}

bool EqualsUnchanged(std::function<void(TrendParts&)> const& change)
{
  Trend const changed = ChangedTrend(change);
  Trend const unchanged = ChangedTrend([](TrendParts&) {});
  EXPECT_EQ(changed == unchanged, unchanged == changed);
  EXPECT_NE(changed == unchanged, changed != unchanged);
  return changed == unchanged;
}

template <class T>
void SetEntryField(TrendParts& parts, std::size_t entry, std::size_t offset, T value)
{
  std::memcpy(parts.entries.at(entry).data() + offset, &value, sizeof(value));
}
} // namespace

TEST(TrendException, HasTheNameAndTheSlotsOfTheFamily)
{
  TrendException const exception;
  EXPECT_EQ(exception.getClassName(), "TrendException");
  std::unique_ptr<VelmoraException> const copy(exception.clone());
  VelmoraException const& copied = *copy;
  EXPECT_TRUE(typeid(copied) == typeid(TrendException));
  EXPECT_EQ(VirtualSlot(&TrendException::what), 2U);
  EXPECT_EQ(VirtualSlot(&TrendException::clone), 3U);
}

TEST(Trend, NewOneHasTheGivenIdentityAndNothingElse)
{
  Trend const trend(CountingUuid(1), CountingUuid(2), CountingUuid(3), "\xC2\xB5m & <b>", -7.5);
  EXPECT_EQ(trend.GetCharacteristicValueConfigUuid(), CountingUuid(1));
  EXPECT_EQ(trend.GetCharacteristicValueConfigBaseUuid(), CountingUuid(2));
  EXPECT_EQ(trend.GetSignalUnitUuid(), CountingUuid(3));
  EXPECT_EQ(trend.GetSignalUnitString(), "\xC2\xB5m & <b>");
  EXPECT_EQ(trend.GetLowerPreAlarmLimit(), -7.5);
  ExpectSpan(trend, 0, 0);
  EXPECT_TRUE(trend.GetTrendEntryVector().empty());
  EXPECT_EQ(trend.GetNumberOfEntries(), 0U);
  EXPECT_EQ(trend.GetCompression(), no_compression);
}

TEST(Trend, EveryNewOneHasANewRandomUuid)
{
  Trend const first = EmptyTrend();
  Trend const second = EmptyTrend();
  EXPECT_NE(first.GetTrendUuid(), second.GetTrendUuid());
  EXPECT_FALSE(first.GetTrendUuid().IsNull());
  EXPECT_EQ(first.GetTrendUuid().GetPlainUuid()[6] >> 4, 4); // version 4 is random
}

TEST(Trend, AnyCompressionCanBeSet)
{
  Trend trend = EmptyTrend();
  for (int const number : {1, 2, 3, 4, 0, 5, -1})
  {
    trend.SetCompression(static_cast<compression32_t>(number));
    EXPECT_EQ(static_cast<int>(trend.GetCompression()), number);
  }
}

TEST(Trend, CopyHasEverythingTheTrendUuidIncluded)
{
  TrendParts parts;
  parts.entries = EntriesAt({10, 20, 30}, 3, 5);
  parts.firstColumn = 4;
  parts.lastColumn = 99;
  parts.form = gzip;
  Trend const trend{StoredTrend(parts)};
  Trend const constructed(trend);
  Trend assigned = EmptyTrend();
  assigned = trend;
  for (Trend const& copy : {constructed, assigned})
  {
    EXPECT_TRUE(copy == trend);
    EXPECT_EQ(copy.GetCharacteristicValueConfigUuid(), parts.configUuid);
    EXPECT_EQ(copy.GetCharacteristicValueConfigBaseUuid(), parts.baseUuid);
    EXPECT_EQ(copy.GetTrendUuid(), parts.trendUuid);
    EXPECT_EQ(copy.GetSignalUnitUuid(), parts.unitUuid);
    EXPECT_EQ(copy.GetSignalUnitString(), "mm/s");
    EXPECT_EQ(copy.GetLowerPreAlarmLimit(), 0.5);
    ExpectSpan(copy, 4, 99);
    EXPECT_EQ(copy.GetCompression(), gzip);
    EXPECT_EQ(AllBytes(copy.GetTrendEntryVector()), parts.entries);
  }
}

TEST(Trend, CopiesAreIndependent)
{
  Trend const trend = TrendAt({1, 2});
  Trend copy(trend);
  copy.DeleteTrendEntries(1, 1);
  copy.SetCompression(zlib);
  EXPECT_EQ(Times(trend), (std::vector<long long>{1, 2}));
  EXPECT_EQ(trend.GetCompression(), no_compression);
}

TEST(Trend, AssignmentToItselfChangesNothing)
{
  Trend trend = TrendAt({1, 2});
  Trend const before = trend;
  Trend const& same = trend;
  trend = same;
  EXPECT_TRUE(trend == before);
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), AllBytes(before.GetTrendEntryVector()));
}

TEST(Trend, MovedOneHasEverythingOfItsSource)
{
  Trend const original = TrendAt({1, 2, 3});
  Trend source = original;
  Trend moved(std::move(source));
  EXPECT_TRUE(moved == original);
  Trend assigned = EmptyTrend();
  assigned = std::move(moved);
  EXPECT_TRUE(assigned == original);
}

TEST(TrendComparison, EqualTrendsAreEqual)
{
  EXPECT_TRUE(EqualsUnchanged([](TrendParts&) {}));
  EXPECT_TRUE(EmptyTrend() != EmptyTrend()); // their trend UUIDs differ
}

TEST(TrendComparison, EveryUuidCounts)
{
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.configUuid = CountingUuid(9); }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.baseUuid = CountingUuid(9); }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.trendUuid = CountingUuid(9); }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.unitUuid = CountingUuid(9); }));
}

TEST(TrendComparison, UnitTimesLimitAndCompressionCount)
{
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.unitString = "mm/S"; }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.unitString = ""; }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.firstColumn = 11; }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.lastColumn = 21; }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.limit = 0.5000001; }));
  EXPECT_FALSE(EqualsUnchanged([](TrendParts& parts) { parts.form = zlib; }));
}

TEST(TrendComparison, FiveFieldsOfEveryEntryCount)
{
  for (std::size_t const entry : {0U, 1U})
  {
    auto const equalsWith = [entry](std::size_t offset, auto value)
    {
      return EqualsUnchanged(
          [&](TrendParts& parts)
          {
            parts.firstColumn = 10; // the columns stay, whatever happens to the entries
            parts.lastColumn = 20;
            SetEntryField(parts, entry, offset, value);
          });
    };
    EXPECT_FALSE(equalsWith(EntryField::kTimeStamp, 15LL));
    EXPECT_FALSE(equalsWith(EntryField::kValue, 99.0));
    EXPECT_FALSE(equalsWith(EntryField::kAuxFloat1, 99.0F));
    EXPECT_FALSE(equalsWith(EntryField::kAuxFloat2, 99.0F));
    EXPECT_FALSE(equalsWith(EntryField::kStatus, static_cast<unsigned char>(99)));
  }
}

TEST(TrendComparison, AuxByteAuxFloat3AndTheGapDoNotCount)
{
  auto const equalsWith = [](std::size_t offset, auto value)
  { return EqualsUnchanged([&](TrendParts& parts) { SetEntryField(parts, 1, offset, value); }); };
  EXPECT_TRUE(equalsWith(EntryField::kAuxByte, static_cast<unsigned char>(99)));
  EXPECT_TRUE(equalsWith(EntryField::kAuxFloat3, 99.0F));
  EXPECT_TRUE(equalsWith(EntryField::kAuxFloat3, std::numeric_limits<float>::quiet_NaN()));
  EXPECT_TRUE(equalsWith(EntryField::kPadding, static_cast<unsigned short>(0xFFFF)));
}

TEST(TrendComparison, NumberOfEntriesCounts)
{
  auto const keepColumns = [](TrendParts& parts)
  {
    parts.firstColumn = 10;
    parts.lastColumn = 20;
  };
  EXPECT_FALSE(EqualsUnchanged(
      [&](TrendParts& parts)
      {
        keepColumns(parts);
        parts.entries.pop_back();
      }));
  EXPECT_FALSE(EqualsUnchanged(
      [&](TrendParts& parts)
      {
        keepColumns(parts);
        parts.entries.push_back(parts.entries.back());
      }));
}

TEST(TrendComparison, NanMakesATrendDifferFromItself)
{
  double const nan = std::numeric_limits<double>::quiet_NaN();
  float const floatNan = std::numeric_limits<float>::quiet_NaN();
  Trend const limit = ChangedTrend([&](TrendParts& parts) { parts.limit = nan; });
  Trend const value = ChangedTrend([&](TrendParts& parts) { SetEntryField(parts, 1, EntryField::kValue, nan); });
  Trend const aux1 =
      ChangedTrend([&](TrendParts& parts) { SetEntryField(parts, 0, EntryField::kAuxFloat1, floatNan); });
  Trend const aux2 =
      ChangedTrend([&](TrendParts& parts) { SetEntryField(parts, 0, EntryField::kAuxFloat2, floatNan); });
  for (Trend const& trend : {limit, value, aux1, aux2})
  {
    EXPECT_FALSE(trend == trend);
    EXPECT_TRUE(trend != trend);
  }
}

TEST(TrendComparison, ZerosOfBothSignsAreEqual)
{
  auto const zero = [](double sign)
  {
    return ChangedTrend(
        [sign](TrendParts& parts)
        {
          parts.limit = std::copysign(0.0, sign);
          SetEntryField(parts, 0, EntryField::kValue, std::copysign(0.0, sign));
          SetEntryField(parts, 0, EntryField::kAuxFloat1, std::copysign(0.0F, static_cast<float>(sign)));
          SetEntryField(parts, 0, EntryField::kAuxFloat2, std::copysign(0.0F, static_cast<float>(sign)));
        });
  };
  EXPECT_TRUE(zero(1) == zero(-1));
}

TEST(TrendEntries, EntryIsReturnedWholeByItsIndex)
{
  std::vector<EntryBytes> const entries = EntriesAt({5, 6, 7}, 2, 40);
  Trend trend = EmptyTrend();
  for (EntryBytes const& entry : entries)
    trend.AddTrendEntry(ToEntry(entry), true);
  EXPECT_EQ(trend.GetNumberOfEntries(), 3U);
  for (unsigned int i = 0; i < 3; ++i)
    EXPECT_EQ(ToBytes(trend.GetTrendEntry(i)), entries[i]);
}

TEST(TrendEntries, IndexBeyondTheLastGivesZerosWithANanAtTheEnd)
{
  EntryBytes expected{};
  std::uint32_t const nan = 0x7FC00000;
  std::memcpy(expected.data() + EntryField::kAuxFloat3, &nan, sizeof(nan));
  Trend const trend = TrendAt({1, 2});
  for (unsigned int const index : {2U, 3U, 0x80000000U, 0xFFFFFFFFU})
    EXPECT_EQ(ToBytes(trend.GetTrendEntry(index)), expected) << index;
  EXPECT_EQ(ToBytes(EmptyTrend().GetTrendEntry(0)), expected);
}

TEST(TrendAddEntry, AppendingMovesTheLastTimeStamp)
{
  Trend trend = EmptyTrend();
  trend.AddTrendEntry(ToEntry(MarkedEntry(10, 1, 1)), true);
  ExpectSpan(trend, 10, 10);
  trend.AddTrendEntry(ToEntry(MarkedEntry(30, 1, 2)), true);
  ExpectSpan(trend, 10, 30);
  EXPECT_EQ(Times(trend), (std::vector<long long>{10, 30}));
}

TEST(TrendAddEntry, WithoutAppendingTheLastEntryIsOverwritten)
{
  Trend trend = TrendAt({10, 20});
  EntryBytes const entry = MarkedEntry(35, 3, 77);
  trend.AddTrendEntry(ToEntry(entry), false);
  EXPECT_EQ(Times(trend), (std::vector<long long>{10, 35}));
  EXPECT_EQ(ToBytes(trend.GetTrendEntry(1)), entry);
  ExpectSpan(trend, 10, 35);
}

TEST(TrendAddEntry, OverwritingTheOnlyEntryLeavesTheFirstTimeStamp)
{
  Trend trend = TrendAt({10});
  trend.AddTrendEntry(ToEntry(MarkedEntry(50, 1, 1)), false);
  EXPECT_EQ(Times(trend), std::vector<long long>{50});
  ExpectSpan(trend, 10, 50);
}

TEST(TrendAddEntry, OverwritingLeavesAFirstTimeStampOfZero)
{
  Trend trend = TrendAt({0});
  trend.AddTrendEntry(ToEntry(MarkedEntry(50, 1, 1)), false);
  ExpectSpan(trend, 0, 50);
}

TEST(TrendAddEntry, EmptyTrendTakesAnEntryEitherWay)
{
  Trend trend = EmptyTrend();
  trend.AddTrendEntry(ToEntry(MarkedEntry(7, 1, 1)), false);
  EXPECT_EQ(Times(trend), std::vector<long long>{7});
  ExpectSpan(trend, 7, 7);
}

TEST(TrendAddEntry, FirstTimeStampOfZeroIsSetByTheNextEntry)
{
  Trend trend = TrendAt({0});
  ExpectSpan(trend, 0, 0);
  trend.AddTrendEntry(ToEntry(MarkedEntry(9, 1, 1)), true);
  ExpectSpan(trend, 9, 9);
  EXPECT_EQ(Times(trend), (std::vector<long long>{0, 9}));
}

TEST(TrendAddEntry, NeitherOrderNorDuplicatesAreChecked)
{
  Trend const trend = TrendAt({30, 10, 10, LLONG_MIN, LLONG_MAX, -1});
  EXPECT_EQ(Times(trend), (std::vector<long long>{30, 10, 10, LLONG_MIN, LLONG_MAX, -1}));
  ExpectSpan(trend, 30, -1);
}

TEST(TrendAddEntry, EntryOfTheTrendItselfCanBeAdded)
{
  Trend trend = TrendAt({1, 2, 3});
  EntryBytes const first = ToBytes(trend.GetTrendEntry(0));
  for (int i = 0; i < 20; ++i)
    trend.AddTrendEntry(trend.GetTrendEntryVector().front(), true);
  EXPECT_EQ(trend.GetNumberOfEntries(), 23U);
  EXPECT_EQ(ToBytes(trend.GetTrendEntry(22)), first);
}

TEST(TrendAddEntries, RangeIsAppendedInOrderWithAllItsBytes)
{
  Trend trend = TrendAt({1, 2});
  std::vector<EntryBytes> const entries = EntriesAt({5, 4, 4}, 3, 60);
  AddAll(trend, ToDeque(entries));
  EXPECT_EQ(Times(trend), (std::vector<long long>{1, 2, 5, 4, 4}));
  for (unsigned int i = 0; i < 3; ++i)
    EXPECT_EQ(ToBytes(trend.GetTrendEntry(2 + i)), entries[i]);
  ExpectSpan(trend, 1, 4);
}

TEST(TrendAddEntries, EmptyTrendGetsTheFirstTimeStampOfTheRange)
{
  Trend trend = EmptyTrend();
  AddAll(trend, DequeAt({5, 8}));
  ExpectSpan(trend, 5, 8);
}

TEST(TrendAddEntries, EmptyTrendForgetsTheFirstTimeStampItHeld)
{
  Trend trend = TrendWithColumns({}, 100, 200);
  ExpectSpan(trend, 100, 200);
  AddAll(trend, DequeAt({5, 8}));
  ExpectSpan(trend, 5, 8);
}

TEST(TrendAddEntries, TrendWithEntriesKeepsAFirstTimeStampOfZero)
{
  Trend trend = TrendAt({0});
  AddAll(trend, DequeAt({5}));
  ExpectSpan(trend, 0, 5);
}

TEST(TrendAddEntries, EmptyRangeChangesNothing)
{
  Trend trend = TrendWithColumns({}, 100, 200);
  AddAll(trend, {});
  ExpectSpan(trend, 100, 200);
  EXPECT_EQ(trend.GetNumberOfEntries(), 0U);
  Trend filled = TrendWithColumns({1, 2}, 100, 200);
  AddAll(filled, {});
  ExpectSpan(filled, 100, 200);
}

TEST(TrendAddEntries, PartOfADequeCanBeAdded)
{
  Trend trend = EmptyTrend();
  std::deque<trend_entry_t> const range = DequeAt({1, 2, 3, 4});
  trend.AddTrendEntries(range.begin() + 1, range.begin() + 3);
  EXPECT_EQ(Times(trend), (std::vector<long long>{2, 3}));
  ExpectSpan(trend, 2, 3);
}

TEST(TrendDeleteEntries, BothEndsOfTheRangeBelongToIt)
{
  ExpectDeletion(20, 30, true, {10, 40});
  ExpectDeletion(20, 20, true, {10, 30, 40});
}

TEST(TrendDeleteEntries, LeadingPartMovesTheFirstTimeStamp)
{
  ExpectDeletion(10, 20, true, {30, 40});
  ExpectDeletion(LLONG_MIN, 10, true, {20, 30, 40});
  ExpectDeletion(9, 39, true, {40});
}

TEST(TrendDeleteEntries, TrailingPartMovesTheLastTimeStamp)
{
  ExpectDeletion(30, 40, true, {10, 20});
  ExpectDeletion(11, LLONG_MAX, true, {10});
  ExpectDeletion(40, 40, true, {10, 20, 30});
}

TEST(TrendDeleteEntries, WholeSpanLeavesNothing)
{
  ExpectDeletion(10, 40, true, {});
  ExpectDeletion(LLONG_MIN, LLONG_MAX, true, {});
}

TEST(TrendDeleteEntries, OnlyEntryCanBeDeleted)
{
  Trend trend = TrendAt({15});
  EXPECT_FALSE(trend.DeleteTrendEntries(14, 14));
  EXPECT_FALSE(trend.DeleteTrendEntries(16, 16));
  EXPECT_TRUE(trend.DeleteTrendEntries(15, 15));
  EXPECT_EQ(trend.GetNumberOfEntries(), 0U);
  ExpectSpan(trend, 0, 0);
}

TEST(TrendDeleteEntries, RangeWithoutEntriesChangesNothing)
{
  ExpectDeletion(11, 19, false, {10, 20, 30, 40});
  ExpectDeletion(21, 21, false, {10, 20, 30, 40});
  ExpectDeletion(0, 9, false, {10, 20, 30, 40});
  ExpectDeletion(41, 99, false, {10, 20, 30, 40});
  ExpectDeletion(LLONG_MIN, LLONG_MIN, false, {10, 20, 30, 40});
  ExpectDeletion(LLONG_MAX, LLONG_MAX, false, {10, 20, 30, 40});
}

TEST(TrendDeleteEntries, EveryRangeDeletesWhatLiesInIt)
{
  for (long long from = 8; from <= 42; ++from)
    for (long long to = from; to <= 42; ++to)
    {
      std::vector<long long> left;
      for (long long const time : {10, 20, 30, 40})
        if (time < from || time > to)
          left.push_back(time);
      ExpectDeletion(from, to, left.size() < 4, left);
    }
}

TEST(TrendDeleteEntries, RestKeepsItsOrderAndItsBytes)
{
  std::vector<EntryBytes> const entries = EntriesAt({10, 20, 20, 30, 40}, 2, 9);
  TrendParts parts;
  parts.entries = entries;
  Trend trend{StoredTrend(parts)};
  EXPECT_TRUE(trend.DeleteTrendEntries(20, 20));
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), (std::vector{entries[0], entries[3], entries[4]}));
}

TEST(TrendDeleteEntries, ReversedRangeIsRefusedAndNamesTheConfiguration)
{
  Trend trend = TrendAt({10, 20});
  Trend const before = trend;
  ExpectThrow<TrendException>([&] { trend.DeleteTrendEntries(1500000, -1); },
                              "Time range error for trend 10111213-1415-1617-1819-1a1b1c1d1e1f: cannot delete entries "
                              "from 1970-01-01T00:00:01.500000Z to 1969-12-31T23:59:59.999999Z!",
                              kTrendUnit);
  EXPECT_TRUE(trend == before);
  ExpectThrow<TrendException>([] { EmptyTrend().DeleteTrendEntries(LLONG_MAX, LLONG_MIN); },
                              "Time range error for trend 10111213-1415-1617-1819-1a1b1c1d1e1f: cannot delete entries "
                              "from " +
                                  QenTime::TimeStampToString(LLONG_MAX) + " to " +
                                  QenTime::TimeStampToString(LLONG_MIN) + "!",
                              kTrendUnit);
}

TEST(TrendDeleteEntries, EmptyTrendIsCoveredByARangeAroundZero)
{
  for (auto const& [from, to] : std::vector<std::pair<long long, long long>>{{0, 0}, {-5, 5}, {LLONG_MIN, LLONG_MAX}})
    EXPECT_TRUE(EmptyTrend().DeleteTrendEntries(from, to)) << from;
  EXPECT_FALSE(EmptyTrend().DeleteTrendEntries(1, 5));
  EXPECT_FALSE(EmptyTrend().DeleteTrendEntries(-5, -1));
}

TEST(TrendDeleteEntries, TimeStampsOfTheTrendDecideWhetherAllIsCovered)
{
  // Nothing of 10 to 40 lies outside, but the trend says that it spans only 20 to 30.
  Trend covered = TrendWithColumns({10, 20, 30, 40}, 20, 30);
  EXPECT_TRUE(covered.DeleteTrendEntries(20, 30));
  EXPECT_EQ(covered.GetNumberOfEntries(), 0U);
  ExpectSpan(covered, 0, 0);
}

TEST(TrendDeleteEntries, WideTimeStampsOfTheTrendDoNotHideThatNothingIsLeft)
{
  Trend trend = TrendWithColumns({10, 20}, 5, 45);
  EXPECT_TRUE(trend.DeleteTrendEntries(6, 44));
  EXPECT_EQ(trend.GetNumberOfEntries(), 0U);
  ExpectSpan(trend, 0, 0);
}

TEST(TrendDeleteEntries, WithAFirstTimeStampInTheRangeDeletionStartsAtTheFirstEntry)
{
  // The trend says that it starts at 25, so all from the first entry on goes, up to the first one behind the range.
  Trend trend = TrendWithColumns({10, 20, 30, 40}, 25, 40);
  EXPECT_TRUE(trend.DeleteTrendEntries(25, 35));
  EXPECT_EQ(Times(trend), std::vector<long long>{40});
  ExpectSpan(trend, 40, 40);
}

TEST(TrendDeleteEntries, WithALastTimeStampInTheRangeDeletionGoesToTheLastEntry)
{
  Trend trend = TrendWithColumns({10, 20, 30, 40}, 10, 25);
  EXPECT_TRUE(trend.DeleteTrendEntries(15, 25));
  EXPECT_EQ(Times(trend), std::vector<long long>{10});
  ExpectSpan(trend, 10, 10);
}

TEST(TrendDeleteEntries, RangeBeforeTheFirstTimeStampOfTheTrendDeletesNothing)
{
  Trend trend = TrendWithColumns({10, 20, 30, 40}, 35, 40);
  EXPECT_FALSE(trend.DeleteTrendEntries(10, 34));
  EXPECT_EQ(trend.GetNumberOfEntries(), 4U);
  ExpectSpan(trend, 35, 40);
}

TEST(TrendDeleteEntries, UnchangedTrendKeepsTheTimeStampsItHad)
{
  Trend trend = TrendWithColumns({10, 20, 30, 40}, 5, 45);
  EXPECT_FALSE(trend.DeleteTrendEntries(21, 29));
  ExpectSpan(trend, 5, 45);
}

TEST(TrendDeleteEntries, DisorderedEntriesAreScannedFromTheFront)
{
  // From the first entry >= 20 to the one before the first > 30 behind it, whatever stands between them.
  Trend trend = TrendWithColumns({10, 25, 5, 30, 31, 22}, 10, 50);
  EXPECT_TRUE(trend.DeleteTrendEntries(20, 30));
  EXPECT_EQ(Times(trend), (std::vector<long long>{10, 31, 22}));
  ExpectSpan(trend, 10, 22);
}

TEST(TrendDeleteEntries, AnyEntriesUnderAnyTimeStampsOfTheTrendAreDeletedStepByStep)
{
  std::mt19937 random(7);
  auto const below = [&random](unsigned int count) { return static_cast<long long>(random() % count); };
  for (int i = 0; i < 3000; ++i)
  {
    std::vector<long long> times(static_cast<std::size_t>(below(5)));
    std::generate(times.begin(), times.end(), [&below] { return below(9); });
    if (i % 2 == 0)
      std::sort(times.begin(), times.end());
    PlainTrend plain{EntriesAt(times), below(9), below(9)};
    Trend trend = TrendWithColumns(times, plain.first, plain.last);
    long long const from = below(9);
    long long const to = from + below(4);
    EXPECT_EQ(trend.DeleteTrendEntries(from, to), plain.Delete(from, to)) << i;
    EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), plain.entries) << i;
    ExpectSpan(trend, plain.first, plain.last);
  }
}

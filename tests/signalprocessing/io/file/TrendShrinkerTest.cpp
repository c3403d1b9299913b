#include "signalprocessing/io/file/TrendShrinker.h"

#include "platform/Compression.h"
#include "support/CancelledThread.h"
#include "support/Expectations.h"
#include "support/PlatformErrors.h"
#include "support/ShrinkRun.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

// Thinned trends whose result is worked out by hand.

namespace
{
constexpr long long kNow = 1700000000000000;
/// Ten hours ago: periods that start here are hours.
constexpr long long kStart = kNow - 10 * kHour;

/// An entry by its distance from the start of the first period, and its status.
struct Spot
{
  long long offset;
  int status;
  bool operator==(Spot const&) const = default;
};
using Spots = std::vector<Spot>;

std::ostream& operator<<(std::ostream& stream, Spot const& spot)
{
  return stream << "{" << spot.offset << ", " << spot.status << "}";
}

/// Offsets in minutes, all of status 1.
Spots Minutes(std::vector<long long> const& minutes)
{
  Spots spots;
  for (long long const minute : minutes)
    spots.push_back({minute * kMinute, 1});
  return spots;
}

/// A trend whose first period starts at `start`.
TrendParts TrendAt(Spots const& spots, long long start = kStart)
{
  TrendParts parts;
  unsigned int mark = 0;
  for (Spot const& spot : spots)
    parts.entries.push_back(MarkedEntry(start + spot.offset, static_cast<unsigned char>(spot.status), ++mark));
  parts.firstColumn = start;
  return parts;
}

Spots SpotsOf(ShrinkOutput const& output, long long start = kStart)
{
  Spots spots;
  for (EntryBytes const& entry : AllEntries(output))
    spots.push_back({TimeOf(entry) - start, StatusOf(entry)});
  return spots;
}

ShrinkSettings HourCount(unsigned int count)
{
  ShrinkSettings settings;
  settings.perHourOlderThanOneHour = count;
  return settings;
}

ShrinkSettings DayCount(unsigned int count)
{
  ShrinkSettings settings;
  settings.perDayOlderThanFourWeeks = count;
  return settings;
}

std::vector<long long> ValueTimes(std::vector<long long> const& offsets)
{
  std::vector<long long> values;
  for (long long const offset : offsets)
    values.push_back(kStart + offset);
  return values;
}

/// What is left of entries of the hours after kStart.
Spots Thinned(unsigned int countPerHour, Spots const& spots, std::vector<long long> const& valueOffsets = {})
{
  return SpotsOf(Shrink(HourCount(countPerHour), kNow, {TrendAt(spots)}, ValueTimes(valueOffsets)));
}

/// Whether two entries one second apart, from `start` on, come out as one.
bool IsThinned(ShrinkSettings const& settings, long long start)
{
  auto const size = AllEntries(Shrink(settings, kNow, {TrendAt({{0, 1}, {kSecond, 1}}, start)})).size();
  EXPECT_TRUE(size == 1 || size == 2);
  return size == 1;
}

/// Only one class thins: one entry for each of its periods.
ShrinkSettings Only(unsigned int ShrinkSettings::*count)
{
  ShrinkSettings settings;
  settings.*count = 1;
  return settings;
}

std::vector<TrendParts> WithLimits(std::vector<double> const& limits)
{
  std::vector<TrendParts> trends;
  for (std::size_t i = 0; i < limits.size(); ++i)
  {
    trends.push_back(TrendAt(Minutes({static_cast<long long>(i)}), kNow - kMinute * 30));
    trends.back().firstColumn.reset();
    trends.back().limit = limits[i];
    trends.back().trendUuid = CountingUuid(static_cast<unsigned char>(i));
  }
  return trends;
}

/// A trend of the last half hour, which comes out as it is, cut by these settings into trends of these sizes.
std::vector<std::size_t> CutSizes(unsigned int maxSize, unsigned int maxDays, std::vector<long long> const& offsets)
{
  ShrinkSettings settings;
  settings.maxSize = maxSize;
  settings.maxDays = maxDays;
  Spots spots;
  for (long long const offset : offsets)
    spots.push_back({offset, 1});
  ShrinkOutput const output = Shrink(settings, kNow, {TrendAt(spots, kNow - kMinute)});
  EXPECT_EQ(SpotsOf(output, kNow - kMinute), spots);
  return Sizes(output);
}
using SizeList = std::vector<std::size_t>;
} // namespace

TEST(TrendAgeClass, FourWeeksBeginWith29DaysLessOneMicrosecond)
{
  // The period's last microsecond, a day less one behind its start, is more than 28 days less one microsecond old.
  ShrinkSettings const settings = Only(&ShrinkSettings::perDayOlderThanFourWeeks);
  EXPECT_TRUE(IsThinned(settings, kNow - 29 * kDay + 1));
  EXPECT_FALSE(IsThinned(settings, kNow - 29 * kDay + 2));
  EXPECT_TRUE(IsThinned(settings, kNow - 400 * kDay));
}

TEST(TrendAgeClass, WeekBeginsWithEightDaysLessOneMicrosecond)
{
  ShrinkSettings const settings = Only(&ShrinkSettings::perDayOlderThanOneWeek);
  EXPECT_TRUE(IsThinned(settings, kNow - 8 * kDay + 1));
  EXPECT_FALSE(IsThinned(settings, kNow - 8 * kDay + 2));
  EXPECT_TRUE(IsThinned(settings, kNow - 29 * kDay + 2));
  EXPECT_FALSE(IsThinned(settings, kNow - 29 * kDay + 1));
}

TEST(TrendAgeClass, DayBeginsWithTwoDaysLessOneMicrosecond)
{
  ShrinkSettings const settings = Only(&ShrinkSettings::perDayOlderThanOneDay);
  EXPECT_TRUE(IsThinned(settings, kNow - 2 * kDay + 1));
  EXPECT_FALSE(IsThinned(settings, kNow - 2 * kDay + 2));
  EXPECT_TRUE(IsThinned(settings, kNow - 8 * kDay + 2));
  EXPECT_FALSE(IsThinned(settings, kNow - 8 * kDay + 1));
}

TEST(TrendAgeClass, HourBeginsWithTwoHoursLessOneMicrosecond)
{
  ShrinkSettings const settings = Only(&ShrinkSettings::perHourOlderThanOneHour);
  EXPECT_TRUE(IsThinned(settings, kNow - 2 * kHour + 1));
  EXPECT_FALSE(IsThinned(settings, kNow - 2 * kHour + 2));
  EXPECT_TRUE(IsThinned(settings, kNow - 2 * kDay + 2));
  EXPECT_FALSE(IsThinned(settings, kNow - 2 * kDay + 1));
}

TEST(TrendAgeClass, YoungerTrendsAreCopiedUnchanged)
{
  ShrinkSettings settings;
  settings.perHourOlderThanOneHour = settings.perDayOlderThanOneDay = settings.perDayOlderThanOneWeek =
      settings.perDayOlderThanFourWeeks = 1;
  TrendParts const parts = TrendAt(Minutes({0, 1, 1, 2, 30, 58, 59}), kNow - kHour);
  ShrinkOutput const output = Shrink(settings, kNow, {parts});
  EXPECT_EQ(AllEntries(output), parts.entries);
  TrendParts const future = TrendAt(Minutes({0, 1, 1, 2}), kNow + kDay);
  EXPECT_EQ(AllEntries(Shrink(settings, kNow, {future})), future.entries);
}

TEST(TrendAgeClass, ClassesFollowEachOtherAlongATrend)
{
  // Days until two days before now, then hours, then everything. 60 h ago: a day, then 34 hours, the last of which
  // starts 2 h ago.
  ShrinkSettings settings = HourCount(1);
  settings.perDayOlderThanOneDay = 1;
  long long const start = kNow - 60 * kHour;
  Spots const spots = {{1 * kHour, 1},
                       {11 * kHour, 1}, // nearest to the centre of the day
                       {14 * kHour, 1},
                       {24 * kHour, 1}, // the first hour
                       {24 * kHour + 59 * kMinute, 1},
                       {58 * kHour + 20 * kMinute, 1}, // the last hour
                       {58 * kHour + 30 * kMinute, 1},
                       {59 * kHour, 1}, // from here on all is kept
                       {59 * kHour + 1, 1},
                       {60 * kHour, 1}};
  EXPECT_EQ(SpotsOf(Shrink(settings, kNow, {TrendAt(spots, start)}), start), (Spots{{11 * kHour, 1},
                                                                                    {24 * kHour + 59 * kMinute, 1},
                                                                                    {58 * kHour + 30 * kMinute, 1},
                                                                                    {59 * kHour, 1},
                                                                                    {59 * kHour + 1, 1},
                                                                                    {60 * kHour, 1}}));
}

TEST(TrendAgeClass, OnceAPeriodIsTooYoungEverythingLaterIsKept)
{
  // The second trend is old enough, but the walk does not go back.
  TrendParts young = TrendAt(Minutes({0, 1}), kNow - kMinute);
  young.lastColumn = LLONG_MIN; // no overlap
  TrendParts const old = TrendAt(Minutes({1, 2, 3}), kNow - 20 * kHour);
  EXPECT_EQ(AllEntries(Shrink(HourCount(1), kNow, {young, old})).size(), 5U);
  EXPECT_EQ(AllEntries(Shrink(HourCount(1), kNow, {old})).size(), 1U);
}

TEST(TrendPeriod, StartsAtTheFirstTimeStampAndNotAtAFullHour)
{
  EXPECT_EQ(Thinned(1, {{0, 1}, {kHour - 1, 1}, {kHour, 1}, {2 * kHour - 1, 1}}),
            (Spots{{kHour - 1, 1}, {2 * kHour - 1, 1}})); // each one microsecond nearer to its centre
}

TEST(TrendPeriod, FollowsTheTimeStampOfTheTrendAndNotOfItsFirstEntry)
{
  TrendParts parts = TrendAt(Minutes({10, 65}));
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {parts})), Minutes({10, 65}));
  parts.firstColumn.reset(); // the hour from the first entry on, centred at 40
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {parts})), Minutes({65}));
}

TEST(TrendPeriod, GapIsWalkedThroughInWholePeriods)
{
  // The sixth hour is centred at 5:30.
  EXPECT_EQ(Thinned(1, Minutes({0, 310, 329, 340, 359, 360})), Minutes({0, 329, 360}));
}

TEST(TrendPeriod, GapOfTwoHundredYearsKeepsTheAlignment)
{
  long long const start = kNow - 300 * 365 * kDay;
  long long const gap = 73048 * kDay;
  Spots const spots = {{0, 1}, {gap - 1, 1}, {gap, 1}, {gap + 12 * kHour, 1}, {gap + 13 * kHour, 1}};
  EXPECT_EQ(SpotsOf(Shrink(DayCount(1), kNow, {TrendAt(spots, start)}), start),
            (Spots{{0, 1}, {gap - 1, 1}, {gap + 12 * kHour, 1}}));
}

TEST(TrendPeriod, GapEndsWhereThePeriodsGetTooYoung)
{
  // From 300 years ago the days end 2 days ago at the latest, whatever the hour, and the hours 1 h ago.
  long long const start = kNow - 109500 * kDay - kMinute;
  ShrinkSettings settings = HourCount(1);
  settings.perDayOlderThanOneDay = 1;
  long long const lastHour = 109500 * kDay - 2 * kHour;
  Spots const spots = {{0, 1},
                       {lastHour - 5 * kMinute, 1},
                       {lastHour + 5 * kMinute, 1}, // the last hour that is thinned
                       {lastHour + 6 * kMinute, 1},
                       {lastHour + 60 * kMinute, 1},
                       {lastHour + 61 * kMinute, 1}};
  EXPECT_EQ(SpotsOf(Shrink(settings, kNow, {TrendAt(spots, start)}), start), (Spots{{0, 1},
                                                                                    {lastHour - 5 * kMinute, 1},
                                                                                    {lastHour + 6 * kMinute, 1},
                                                                                    {lastHour + 60 * kMinute, 1},
                                                                                    {lastHour + 61 * kMinute, 1}}));
}

TEST(TrendSlot, CountOfZeroKeepsEverything)
{
  Spots const spots = {{0, 1}, {0, 1}, {1, 1}, {1, 3}, {kHour - 1, 1}, {kHour, 2}, {kHour, 2}};
  EXPECT_EQ(Thinned(0, spots), spots);
}

TEST(TrendSlot, KeepsTheEntryNearestToItsCentre)
{
  EXPECT_EQ(Thinned(1, Minutes({10, 29, 32, 50})), Minutes({29}));
  EXPECT_EQ(Thinned(1, Minutes({10, 28, 31, 50})), Minutes({31}));
  EXPECT_EQ(Thinned(1, Minutes({10, 20})), Minutes({20}));
  EXPECT_EQ(Thinned(1, Minutes({40, 50})), Minutes({40}));
  EXPECT_EQ(Thinned(1, Minutes({29, 30, 31})), Minutes({30}));
}

TEST(TrendSlot, TieGoesToTheEntryBeforeTheCentre)
{
  EXPECT_EQ(Thinned(1, Minutes({29, 31})), Minutes({29}));
  EXPECT_EQ(Thinned(1, {{30 * kMinute - 5, 1}, {30 * kMinute + 5, 1}}), (Spots{{30 * kMinute - 5, 1}}));
  EXPECT_EQ(Thinned(1, {{30 * kMinute - 5, 1}, {30 * kMinute + 4, 1}}), (Spots{{30 * kMinute + 4, 1}}));
}

TEST(TrendSlot, OfEqualTimesTheLastCountsBeforeTheCentreAndTheFirstFromItOn)
{
  auto const keptMark = [](long long minute)
  {
    TrendParts const parts = TrendAt(Minutes({minute, minute, minute}));
    auto const left = AllEntries(Shrink(HourCount(1), kNow, {parts}));
    EXPECT_EQ(left.size(), 1U);
    return std::find(parts.entries.begin(), parts.entries.end(), left.at(0)) - parts.entries.begin();
  };
  EXPECT_EQ(keptMark(29), 2);
  EXPECT_EQ(keptMark(30), 0);
  EXPECT_EQ(keptMark(31), 0);
}

TEST(TrendSlot, KeepsOneEntryOfEachStatus)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{10 * m, 1}, {11 * m, 3}, {28 * m, 1}, {40 * m, 3}, {50 * m, 1}}),
            (Spots{{28 * m, 1}, {40 * m, 3}}));
  EXPECT_EQ(
      Thinned(1, {{5 * m, 0}, {6 * m, 1}, {7 * m, 2}, {8 * m, 3}, {20 * m, 3}, {21 * m, 2}, {22 * m, 1}, {23 * m, 0}}),
      (Spots{{20 * m, 3}, {21 * m, 2}, {22 * m, 1}, {23 * m, 0}}));
}

TEST(TrendSlot, AllOtherStatusesAreOneClass)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{28 * m, 0}, {29 * m, 4}, {33 * m, 255}}), (Spots{{29 * m, 4}}));
  EXPECT_EQ(Thinned(1, {{20 * m, 4}, {31 * m, 255}, {35 * m, 0}}), (Spots{{31 * m, 255}}));
}

TEST(TrendSlot, EndsOneMicrosecondBeforeTheNext)
{
  long long const half = 30 * kMinute;
  EXPECT_EQ(Thinned(2, {{half - 1, 1}, {half, 1}}), (Spots{{half - 1, 1}, {half, 1}}));
  EXPECT_EQ(Thinned(2, {{half, 1}, {half + 1, 1}}), (Spots{{half + 1, 1}}));
  EXPECT_EQ(Thinned(2, {{0, 1}, {half - 1, 1}}), (Spots{{half - 1, 1}})); // a microsecond nearer to the centre
}

TEST(TrendSlot, RemainderOfAPeriodIsDropped)
{
  // Seven slots of 514285714 microseconds leave the last two of an hour.
  EXPECT_EQ(Thinned(7, {{3599999997, 1}, {3599999998, 1}, {3599999999, 1}, {kHour, 1}}),
            (Spots{{3599999997, 1}, {kHour, 1}}));
}

TEST(TrendSlot, PinnedEntryInTheRemainderIsDroppedToo)
{
  EXPECT_EQ(Thinned(7, {{0, 1}, {3599999998, 1}, {3599999999, 1}, {kHour, 1}}, {3599999998, 3599999999}),
            (Spots{{0, 1}, {kHour, 1}}));
}

TEST(TrendSlot, HalfOfAnOddLengthIsCutDown)
{
  // Slots of three microseconds, centred one behind their start.
  EXPECT_EQ(Thinned(1200000000, {{0, 1}, {2, 1}}), (Spots{{0, 1}}));
  EXPECT_EQ(Thinned(1200000000, {{0, 1}, {1, 1}, {2, 1}, {4, 1}, {5, 1}}), (Spots{{1, 1}, {4, 1}}));
}

TEST(TrendSlot, ThreeBillionSlotsOfAMicrosecondEachKeepAllTimesOfTheFirst50Minutes)
{
  long long const end = 3000000000;
  EXPECT_EQ(Thinned(3000000000U, {{0, 1}, {1, 1}, {1, 1}, {1, 2}, {end - 1, 1}, {end, 1}, {kHour - 1, 1}, {kHour, 1}}),
            (Spots{{0, 1}, {1, 1}, {1, 2}, {end - 1, 1}, {kHour, 1}}));
}

TEST(TrendSlot, ThreeBillionSlotsOfADayHaveTwentyEightMicrosecondsEach)
{
  // Centred 14 behind their start; together they cover 84000 s of the day's 86400.
  long long const start = kNow - 100 * kDay;
  Spots const spots = {{0, 1},           {13, 1},          {15, 1},       {27, 1},  {28, 1},
                       {83999999999, 1}, {84000000000, 1}, {kDay - 1, 1}, {kDay, 1}};
  EXPECT_EQ(SpotsOf(Shrink(DayCount(3000000000U), kNow, {TrendAt(spots, start)}), start),
            (Spots{{13, 1}, {28, 1}, {83999999999, 1}, {kDay, 1}}));
}

TEST(TrendSlot, MoreSlotsThanMicrosecondsKeepNothing)
{
  for (unsigned int const count : {3600000001U, 4294967295U})
  {
    LogCapture const capture(kTrendShrinkerCategory);
    EXPECT_TRUE(Shrink(HourCount(count), kNow, {TrendAt(Minutes({0, 10, 59, 60}))}).empty());
    std::vector<LogRecord> const records = capture.Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, "Trend size before shrinking: 4");
  }
  EXPECT_EQ(Thinned(3600000000U, {{0, 1}, {1, 1}, {kHour - 1, 1}}).size(), 3U);
}

TEST(TrendSlot, EntriesOfOneTimeComeOutOtherStatusesFirstThenOneTwoThree)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{m, 3}, {m, 2}, {m, 1}, {m, 9}}), (Spots{{m, 9}, {m, 1}, {m, 2}, {m, 3}}));
}

TEST(TrendSlot, ChosenEntriesComeOutByTime)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{10 * m, 3}, {15 * m, 1}, {31 * m, 2}, {33 * m, 0}}),
            (Spots{{10 * m, 3}, {15 * m, 1}, {31 * m, 2}, {33 * m, 0}}));
}

TEST(TrendPin, EntryOfAStoredValueIsKeptInsteadOfTheNearest)
{
  EXPECT_EQ(Thinned(1, Minutes({2, 29, 30, 45}), {2 * kMinute}), Minutes({2}));
  EXPECT_EQ(Thinned(1, Minutes({2, 29, 30, 45}), {45 * kMinute}), Minutes({45}));
}

TEST(TrendPin, EveryEntryOfAStoredValueIsKept)
{
  EXPECT_EQ(Thinned(1, Minutes({2, 10, 30, 45, 50}), {2 * kMinute, 10 * kMinute, 50 * kMinute}), Minutes({2, 10, 50}));
}

TEST(TrendPin, ConcernsItsOwnStatusOnly)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{2 * m, 1}, {3 * m, 2}, {29 * m, 1}, {30 * m, 2}}, {2 * m}), (Spots{{2 * m, 1}, {30 * m, 2}}));
}

TEST(TrendPin, ValueBetweenTwoEntriesHidesTheNextOne)
{
  // The entry at 20 meets the value at 15, then all values up to 20 are passed.
  EXPECT_EQ(Thinned(1, Minutes({10, 20, 30}), {15 * kMinute, 20 * kMinute}), Minutes({30}));
}

TEST(TrendPin, ValuesBeforeTheFirstEntryOfASlotArePassed)
{
  EXPECT_EQ(Thinned(1, Minutes({20, 30}), {0, 5 * kMinute, 20 * kMinute}), Minutes({20}));
  EXPECT_EQ(Thinned(1, Minutes({10, 20, 30}), {5 * kMinute, 20 * kMinute}), Minutes({20}));
}

TEST(TrendPin, OneMicrosecondOffIsNoCoincidence)
{
  EXPECT_EQ(Thinned(1, Minutes({2, 30}), {2 * kMinute - 1}), Minutes({30}));
  EXPECT_EQ(Thinned(1, Minutes({2, 30}), {2 * kMinute + 1}), Minutes({30}));
}

TEST(TrendPin, OfTwoEntriesWithOneTimeOnlyTheFirstIsPinned)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{10 * m, 1}, {10 * m, 3}, {30 * m, 3}}, {10 * m}), (Spots{{10 * m, 1}, {30 * m, 3}}));
  TrendParts const parts = TrendAt(Minutes({10, 10}));
  EXPECT_EQ(AllEntries(Shrink(HourCount(1), kNow, {parts}, ValueTimes({10 * m}))),
            std::vector<EntryBytes>{parts.entries[0]});
  EXPECT_EQ(AllEntries(Shrink(HourCount(1), kNow, {parts})), std::vector<EntryBytes>{parts.entries[1]});
}

TEST(TrendPin, RepeatedValuePinsOneEntry)
{
  TrendParts const parts = TrendAt(Minutes({10, 10}));
  EXPECT_EQ(AllEntries(Shrink(HourCount(1), kNow, {parts}, ValueTimes({10 * kMinute, 10 * kMinute, 10 * kMinute}))),
            std::vector<EntryBytes>{parts.entries[0]});
}

TEST(TrendPin, ValueAtASlotBorderBelongsToTheSlotThatStartsThere)
{
  long long const half = 30 * kMinute;
  EXPECT_EQ(Thinned(2, {{half - 2, 1}, {half - 1, 1}, {half, 1}, {45 * kMinute, 1}}, {half}),
            (Spots{{half - 2, 1}, {half, 1}}));
  EXPECT_EQ(Thinned(2, {{0, 1}, {15 * kMinute, 1}, {half - 1, 1}, {half, 1}}, {half - 1}),
            (Spots{{half - 1, 1}, {half, 1}}));
}

TEST(TrendPin, ValuesGoOnIntoTheNextPeriods)
{
  EXPECT_EQ(Thinned(1, Minutes({2, 30, 62, 90, 122, 150}), {62 * kMinute, 122 * kMinute}), Minutes({30, 62, 122}));
}

TEST(TrendPin, ValuesInAGapArePassed)
{
  EXPECT_EQ(Thinned(1, Minutes({30, 302, 330}), {60 * kMinute, 125 * kMinute, 302 * kMinute}), Minutes({30, 302}));
}

TEST(TrendPin, PinnedAndChosenEntriesComeOutByTime)
{
  long long const m = kMinute;
  EXPECT_EQ(Thinned(1, {{10 * m, 1}, {15 * m, 3}, {20 * m, 1}, {25 * m, 0}}, {10 * m, 20 * m}),
            (Spots{{10 * m, 1}, {15 * m, 3}, {20 * m, 1}, {25 * m, 0}}));
}

TEST(TrendPin, FourPinnedStatusesLeaveNothingToChoose)
{
  long long const m = kMinute;
  EXPECT_EQ(
      Thinned(1, {{1 * m, 0}, {2 * m, 1}, {3 * m, 2}, {4 * m, 3}, {29 * m, 0}, {30 * m, 1}, {31 * m, 2}, {32 * m, 3}},
              {1 * m, 2 * m, 3 * m, 4 * m}),
      (Spots{{1 * m, 0}, {2 * m, 1}, {3 * m, 2}, {4 * m, 3}}));
}

TEST(TrendPin, ValuesAreSharedByAllGroupsAndNeverGoBack)
{
  // The second group covers the same hour, whose value the first one has passed.
  TrendParts const first = TrendAt(Minutes({10, 30}));
  TrendParts second = first;
  second.limit = 9;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {first, second}, ValueTimes({10 * kMinute}))), Minutes({10, 30}));
}

TEST(TrendPin, ValueInAPeriodWithoutCleanupStaysForTheNextGroup)
{
  // The first group is too young to be thinned, so it looks at no value.
  TrendParts const young = TrendAt(Minutes({0}), kNow - kMinute);
  TrendParts old = TrendAt(Minutes({10, 30}));
  old.limit = 9;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {young, old}, ValueTimes({10 * kMinute}))).at(1),
            (Spot{10 * kMinute, 1}));
}

TEST(TrendPin, EmptyPeriodWithoutCleanupPassesNoValue)
{
  // The first group consists of hours without cleanup, the second one, which starts a microsecond earlier, of a day.
  ShrinkSettings settings;
  settings.perDayOlderThanOneDay = 1;
  long long const start = kNow - 2 * kDay + 2;
  TrendParts const hours = TrendAt(Minutes({0, 130}), start);
  TrendParts day = TrendAt(Minutes({70, 720}), start);
  day.firstColumn = start - 1;
  day.limit = 9;
  EXPECT_EQ(SpotsOf(Shrink(settings, kNow, {hours, day}, {start + 70 * kMinute}), start), Minutes({0, 130, 70}));
  EXPECT_EQ(SpotsOf(Shrink(settings, kNow, {hours, day}), start), Minutes({0, 130, 720}));
}

TEST(TrendPin, EmptyPeriodsPassNoValueOfTheHoursWithoutCleanupBehindThem)
{
  // The first group has an empty day and then hours without cleanup, where the value is. The second one starts a
  // microsecond earlier, so that it has a day there.
  ShrinkSettings settings;
  settings.perDayOlderThanOneDay = 1;
  long long const start = kNow - 2 * kDay + 1;
  TrendParts const first = TrendAt({{0, 1}, {3 * kDay, 1}}, start + 1 - 2 * kDay);
  TrendParts second = TrendAt({{6 * kHour, 1}, {12 * kHour, 1}}, start);
  second.limit = 9;
  Spots const kept = {{1 - 2 * kDay, 1}, {1 + kDay, 1}};
  EXPECT_EQ(SpotsOf(Shrink(settings, kNow, {first, second}, {start + 6 * kHour}), start),
            (Spots{kept[0], kept[1], {6 * kHour, 1}}));
  EXPECT_EQ(SpotsOf(Shrink(settings, kNow, {first, second}), start), (Spots{kept[0], kept[1], {12 * kHour, 1}}));
}

TEST(TrendPin, SlotBehindTheLastEntryOfAPeriodPassesTheValuesBeforeTheNextOne)
{
  // Two slots: nothing is left for the second, which compares the value at 40 with the entry at 70 and passes it. That
  // entry is too young to look at values itself. In the next group, which goes back to 40, the value is missing.
  long long const start = kNow - 2 * kHour;
  TrendParts const first = TrendAt(Minutes({10, 70}), start);
  TrendParts second = TrendAt(Minutes({40, 45}), start);
  second.limit = 9;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(2), kNow, {first, second}, {start + 40 * kMinute}), start), Minutes({10, 70, 45}));
  EXPECT_EQ(SpotsOf(Shrink(HourCount(2), kNow, {second}, {start + 40 * kMinute}), start), Minutes({40}));
}

TEST(TrendPin, EmptyPeriodPassesTheValuesBeforeTheNextEntry)
{
  // The second hour is empty; its slot compares the value at 70 with the entry at 130, which is too young to look at
  // values itself. In the next group, which goes back to 70, the value is missing.
  long long const start = kNow - 3 * kHour;
  TrendParts const first = TrendAt(Minutes({10, 130}), start);
  TrendParts second = TrendAt(Minutes({70, 95}), start);
  second.limit = 9;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {first, second}, {start + 70 * kMinute}), start),
            Minutes({10, 130, 95}));
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {second}, {start + 70 * kMinute}), start), Minutes({70}));
}

TEST(TrendPin, SlotBehindTheLastEntryOfAllPassesNoValue)
{
  TrendParts const first = TrendAt(Minutes({10}));
  TrendParts second = TrendAt(Minutes({40, 45}));
  second.limit = 9;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(2), kNow, {first, second}, ValueTimes({40 * kMinute}))), Minutes({10, 40}));
}

TEST(TrendGathering, PeriodReachesIntoTheNextTrend)
{
  TrendParts next = TrendAt(Minutes({31, 32, 70}));
  next.firstColumn.reset();
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {TrendAt(Minutes({10, 20})), next})), Minutes({31, 70}));
}

TEST(TrendGathering, PeriodSwallowsWholeTrends)
{
  std::vector<TrendParts> trends;
  for (auto const& minutes : std::vector<std::vector<long long>>{{5, 8}, {12}, {28, 29}, {33, 59, 60, 95}, {110}})
  {
    trends.push_back(TrendAt(Minutes(minutes)));
    trends.back().firstColumn.reset();
  }
  trends.front().firstColumn = kStart;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, trends)), Minutes({29, 95}));
}

TEST(TrendGathering, TrendThatEndsWithThePeriodIsTakenWhole)
{
  TrendParts next = TrendAt({{31 * kMinute, 1}, {kHour - 1, 1}});
  next.firstColumn.reset();
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {TrendAt(Minutes({10})), next})), Minutes({31}));
}

TEST(TrendGathering, TrendThatEndsWithTheNextPeriodsFirstMicrosecondIsCut)
{
  TrendParts next = TrendAt({{31 * kMinute, 1}, {kHour, 1}});
  next.firstColumn.reset();
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {TrendAt(Minutes({10})), next})),
            (Spots{{31 * kMinute, 1}, {kHour, 1}}));
}

TEST(TrendGathering, PeriodsWithoutCleanupReachIntoTheNextTrendToo)
{
  TrendParts next = TrendAt(Minutes({31, 32, 70}));
  next.firstColumn.reset();
  EXPECT_EQ(SpotsOf(Shrink(HourCount(0), kNow, {TrendAt(Minutes({10, 20})), next})), Minutes({10, 20, 31, 32, 70}));
}

TEST(TrendGathering, ValuePinsEntriesOfGatheredTrends)
{
  TrendParts next = TrendAt(Minutes({31, 32, 70}));
  next.firstColumn.reset();
  EXPECT_EQ(
      SpotsOf(Shrink(HourCount(1), kNow, {TrendAt(Minutes({10, 20})), next}, ValueTimes({10 * kMinute, 32 * kMinute}))),
      Minutes({10, 32, 70}));
}

TEST(TrendGathering, PeriodsStayAlignedToTheFirstTrend)
{
  // The second trend starts at 2:10 but its hours go from 2:00 to 3:00.
  TrendParts next = TrendAt(Minutes({130, 149, 165, 179, 180}));
  next.firstColumn.reset();
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {TrendAt(Minutes({10})), next})), Minutes({10, 149, 180}));
}

TEST(TrendOverlap, OverlappingTrendsAreThinnedAsOne)
{
  TrendParts first = TrendAt(Minutes({10, 31, 50}));
  TrendParts second = TrendAt(Minutes({20, 30, 40}));
  first.firstColumn.reset();
  second.firstColumn.reset();
  first.trendUuid = CountingUuid(1);
  second.trendUuid = CountingUuid(2);
  LogCapture const capture(kTrendShrinkerCategory);
  // The hour from 10 on has its centre at 40.
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {first, second})), Minutes({40}));
  std::vector<LogRecord> const records = capture.Records();
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0].category, kTrendShrinkerCategory);
  EXPECT_EQ(records[0].priority, 700);
  EXPECT_EQ(records[0].text,
            "Trends 02030405-0607-0809-0a0b-0c0d0e0f1011 and 01020304-0506-0708-090a-0b0c0d0e0f10 overlap!");
  EXPECT_EQ(records[1].priority, 600);
  EXPECT_EQ(records[1].text, "Trend size before shrinking: 6");
  EXPECT_EQ(records[2].priority, 600);
  EXPECT_EQ(records[2].text, "Trend size after shrinking: 1");
}

TEST(TrendOverlap, StartAtTheEndOfTheOtherIsNone)
{
  TrendParts first = TrendAt(Minutes({10, 40}));
  TrendParts second = TrendAt(Minutes({40, 50}));
  second.firstColumn.reset();
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_EQ(SpotsOf(Shrink(HourCount(0), kNow, {first, second})), Minutes({10, 40, 40, 50}));
  EXPECT_EQ(capture.Records().size(), 2U);
  second.firstColumn = kStart + 40 * kMinute - 1;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(0), kNow, {first, second})), Minutes({10, 40, 40, 50}));
  EXPECT_EQ(capture.Records().size(), 5U); // and one for the overlap
}

TEST(TrendOverlap, MergedTrendIsComparedWithTheNext)
{
  // The third starts behind the second but before the end of the first.
  std::vector<TrendParts> trends = {TrendAt(Minutes({10, 40})), TrendAt(Minutes({20, 30})), TrendAt(Minutes({35, 60})),
                                    TrendAt(Minutes({60, 61}))};
  for (std::size_t i = 0; i < trends.size(); ++i)
  {
    trends[i].firstColumn.reset();
    trends[i].trendUuid = CountingUuid(static_cast<unsigned char>(i));
  }
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_EQ(SpotsOf(Shrink(HourCount(0), kNow, trends)), Minutes({10, 20, 30, 35, 40, 60, 60, 61}));
  std::vector<ShrinkLogRecord> const log = Normalised(capture.Records(), trends);
  EXPECT_EQ(log, (std::vector<ShrinkLogRecord>{
                     {700, "Trends " + CountingUuid(1).ToString() + " and " + CountingUuid(0).ToString() + " overlap!"},
                     {700, "Trends " + CountingUuid(2).ToString() + " and new overlap!"},
                     {600, "Trend size before shrinking: 8"},
                     {600, "Trend size after shrinking: 8"}}));
}

TEST(TrendOverlap, TimeStampsOfTheTrendsDecide)
{
  TrendParts first = TrendAt(Minutes({10, 40}));
  TrendParts second = TrendAt(Minutes({20, 30}));
  second.firstColumn = kStart + 40 * kMinute; // says that it starts later than it does
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_EQ(SpotsOf(Shrink(HourCount(0), kNow, {first, second})), Minutes({10, 40, 20, 30}));
  EXPECT_EQ(capture.Records().size(), 2U);
  first.lastColumn = kStart + 99 * kMinute;
  EXPECT_EQ(SpotsOf(Shrink(HourCount(0), kNow, {first, second})), Minutes({10, 20, 30, 40}));
}

TEST(TrendOverlap, DifferentLimitsAreNeverMerged)
{
  TrendParts first = TrendAt(Minutes({10, 40}));
  TrendParts second = TrendAt(Minutes({20, 30}));
  second.limit = 0.75;
  LogCapture const capture(kTrendShrinkerCategory);
  ShrinkOutput const output = Shrink(HourCount(0), kNow, {first, second});
  EXPECT_EQ(SpotsOf(output), Minutes({10, 40, 20, 30}));
  EXPECT_EQ(Sizes(output), (SizeList{2, 2}));
  std::vector<ShrinkLogRecord> const expected = {{600, "Trend size before shrinking: 2"},
                                                 {600, "Trend size after shrinking: 2"},
                                                 {600, "Trend size before shrinking: 2"},
                                                 {600, "Trend size after shrinking: 2"}};
  EXPECT_EQ(Normalised(capture.Records(), {}), expected);
}

TEST(TrendGroup, IsARunOfTrendsWithOneLimit)
{
  EXPECT_EQ(Sizes(Shrink({}, kNow, WithLimits({1, 1, 2, 2, 2, 1}))), (SizeList{2, 3, 1}));
}

TEST(TrendGroup, EveryNanIsAGroupOfItsOwn)
{
  double const nan = std::numeric_limits<double>::quiet_NaN();
  ShrinkOutput const output = Shrink({}, kNow, WithLimits({nan, nan, 1, 1, nan, 1}));
  EXPECT_EQ(Sizes(output), (SizeList{1, 1, 2, 1, 1}));
  EXPECT_TRUE(std::isnan(FieldAt<double>(output[0]->getData(), TrendField::kLowerPreAlarmLevel)));
  EXPECT_TRUE(std::isnan(FieldAt<double>(output[3]->getData(), TrendField::kLowerPreAlarmLevel)));
}

TEST(TrendGroup, ZerosOfBothSignsAreOneLimit)
{
  ShrinkOutput const output = Shrink({}, kNow, WithLimits({-0.0, 0.0}));
  ASSERT_EQ(Sizes(output), SizeList{2});
  EXPECT_TRUE(std::signbit(FieldAt<double>(output[0]->getData(), TrendField::kLowerPreAlarmLevel)));
}

TEST(TrendGroup, GivesItsFirstTrendsIdentityToWhatComesOut)
{
  std::vector<TrendParts> trends = WithLimits({1, 1, 2});
  for (std::size_t i = 0; i < trends.size(); ++i)
  {
    auto const mark = static_cast<unsigned char>(0x40 * i);
    trends[i].configUuid = CountingUuid(mark);
    trends[i].baseUuid = CountingUuid(static_cast<unsigned char>(mark + 1));
    trends[i].unitUuid = CountingUuid(static_cast<unsigned char>(mark + 2));
    trends[i].unitString = "unit " + std::to_string(i);
    trends[i].form = gzip;
  }
  ShrinkSettings settings;
  settings.maxSize = 1;
  ShrinkOutput const output = Shrink(settings, kNow, trends);
  auto const expected = [&](std::size_t identity, std::size_t entries)
  {
    TrendParts const& parts = trends[identity];
    return ShrunkTrend{parts.configUuid, parts.baseUuid, parts.unitUuid,
                       parts.unitString, parts.limit,    trends[entries].entries};
  };
  EXPECT_EQ(FaultOf(output, {expected(0, 0), expected(0, 1), expected(2, 2)}, trends), "");
}

TEST(TrendCutting, TrendsHoldAsManyEntriesAsTheyMay)
{
  EXPECT_EQ(CutSizes(2, 100, {0, 1, 2, 3, 4}), (SizeList{2, 2, 1}));
  EXPECT_EQ(CutSizes(2, 100, {0, 1, 2, 3}), (SizeList{2, 2}));
  EXPECT_EQ(CutSizes(1, 100, {0, 1, 2}), (SizeList{1, 1, 1}));
  EXPECT_EQ(CutSizes(5, 100, {0, 1, 2, 3, 4}), (SizeList{5}));
  EXPECT_EQ(CutSizes(4294967295U, 100, {0, 1, 2, 3, 4}), (SizeList{5}));
}

TEST(TrendCutting, DurationNeverShortensATrend)
{
  for (unsigned int const days : {0U, 1U, 2U, 100U, 4294967295U})
  {
    EXPECT_EQ(CutSizes(3, days, {0, 1, 2 * kDay, 3 * kDay, 30 * kDay, 31 * kDay, 32 * kDay}), (SizeList{3, 3, 1}))
        << days;
    EXPECT_EQ(CutSizes(9, days, {0, kDay - 1, kDay, kDay + 1, 5 * kDay}), (SizeList{5})) << days;
    EXPECT_EQ(CutSizes(2, days, {0, 0, 0, 0, 0}), (SizeList{2, 2, 1})) << days;
  }
}

TEST(TrendCutting, DisorderedEntriesAreCutWhereTheSearchEnds)
{
  // Four entries, the last of them before the end of the first day: halving meets 3 days, then 1 h.
  EXPECT_EQ(CutSizes(4, 1, {0, kHour, 3 * kDay, 2 * kHour}), (SizeList{2, 2}));
  // The same among more entries than a trend may hold; the rest ends before its own first day does.
  EXPECT_EQ(CutSizes(4, 1, {0, kHour, 3 * kDay, 2 * kHour, 5 * kHour}), (SizeList{2, 3}));
  // Halving meets the end of the day itself.
  EXPECT_EQ(CutSizes(4, 1, {0, kHour, kDay, 2 * kHour}), (SizeList{3, 1}));
  // The last one is not before the end of the day: all are taken unseen.
  EXPECT_EQ(CutSizes(4, 1, {0, kHour, 3 * kDay, kDay}), (SizeList{4}));
}

TEST(TrendCutting, EveryTrendIsClosedCompressedAndComplete)
{
  TrendParts const parts = TrendAt({{0, 1}, {1, 2}, {2, 3}}, kNow - kMinute);
  ShrinkSettings settings;
  settings.maxSize = 2;
  ShrinkOutput const output = Shrink(settings, kNow, {parts});
  ShrunkTrend first{parts.configUuid, parts.baseUuid, parts.unitUuid, parts.unitString, parts.limit, {}};
  ShrunkTrend second = first;
  first.entries = {parts.entries[0], parts.entries[1]};
  second.entries = {parts.entries[2]};
  EXPECT_EQ(FaultOf(output, {first, second}, {parts}), "");
  EXPECT_TRUE(output[0]->getClosed());
  EXPECT_EQ(FieldAt<int>(output[0]->getData(), TrendField::kCompression), 2);
}

TEST(TrendExtreme, WholeRangeOfTimesIsWalked)
{
  long long const now = 0;
  TrendParts parts;
  parts.entries = EntriesAt({LLONG_MIN, 0, LLONG_MAX});
  EXPECT_EQ(AllTimes(Shrink(DayCount(1), now, {parts})), (std::vector<long long>{LLONG_MIN, 0, LLONG_MAX}));
  parts.entries = EntriesAt({LLONG_MIN, LLONG_MIN + 1, LLONG_MAX - 1, LLONG_MAX});
  for (long long const at : {LLONG_MAX, LLONG_MAX - 1, 0LL})
    EXPECT_EQ(AllTimes(Shrink(DayCount(1), at, {parts})),
              (std::vector<long long>{LLONG_MIN + 1, LLONG_MAX - 1, LLONG_MAX}))
        << at;
}

TEST(TrendExtreme, NothingIsOldAtTheBeginningOfTime)
{
  ShrinkSettings settings = HourCount(1);
  settings.perDayOlderThanOneDay = settings.perDayOlderThanOneWeek = settings.perDayOlderThanFourWeeks = 1;
  TrendParts parts;
  parts.entries = EntriesAt({LLONG_MIN, LLONG_MIN + 1, 0, LLONG_MAX});
  for (long long const now : {LLONG_MIN, LLONG_MIN + 1, LLONG_MIN + 2 * kHour - 2})
    EXPECT_EQ(AllEntries(Shrink(settings, now, {parts})), parts.entries) << now;
  EXPECT_EQ(AllTimes(Shrink(settings, LLONG_MIN + 2 * kHour, {parts})),
            (std::vector<long long>{LLONG_MIN + 1, 0, LLONG_MAX}));
}

TEST(TrendExtreme, PeriodsAtTheEndOfTimeAreTooYoung)
{
  ShrinkSettings settings = HourCount(1);
  settings.perDayOlderThanOneDay = settings.perDayOlderThanOneWeek = settings.perDayOlderThanFourWeeks = 1;
  TrendParts parts;
  parts.entries = EntriesAt({LLONG_MAX - 2, LLONG_MAX - 1, LLONG_MAX, LLONG_MAX});
  EXPECT_EQ(AllEntries(Shrink(settings, LLONG_MAX, {parts})), parts.entries);
}

TEST(TrendExtreme, EntriesFarBeforeTheirPeriodAreStillCompared)
{
  // The period starts where the trend says. All entries before its centre: the last one is kept.
  TrendParts parts;
  parts.entries = EntriesAt({LLONG_MIN, LLONG_MIN + 5, kStart + 1});
  parts.firstColumn = kStart;
  EXPECT_EQ(AllTimes(Shrink(HourCount(1), kNow, {parts})), std::vector<long long>{kStart + 1});
  parts.entries = EntriesAt({LLONG_MIN, kStart + 50 * kMinute});
  EXPECT_EQ(AllTimes(Shrink(HourCount(1), kNow, {parts})), std::vector<long long>{kStart + 50 * kMinute});
}

TEST(TrendExtreme, ValuesMayHaveAnyTime)
{
  TrendParts const parts = TrendAt(Minutes({2, 30}));
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {parts}, {LLONG_MIN, -1, 0, kStart + 2 * kMinute, LLONG_MAX})),
            Minutes({2}));
  EXPECT_EQ(SpotsOf(Shrink(HourCount(1), kNow, {parts}, {LLONG_MAX})), Minutes({30}));
}

TEST(TrendExtreme, LongestDurationDoesNotOverflow)
{
  ShrinkSettings settings;
  settings.maxDays = 4294967295U;
  settings.maxSize = 2;
  TrendParts parts;
  parts.entries = EntriesAt({LLONG_MIN, -1, 0, 1, LLONG_MAX});
  EXPECT_EQ(Sizes(Shrink(settings, 0, {parts})), (SizeList{2, 2, 1}));
}

TEST(TrendRun, EmptyInputGivesNothingAndLogsNothing)
{
  for (unsigned int const size : {0U, 10U})
  {
    ShrinkSettings settings;
    settings.maxSize = size;
    LogCapture const capture(kTrendShrinkerCategory);
    EXPECT_TRUE(Shrink(settings, kNow, {}).empty());
    EXPECT_TRUE(Shrink(settings, kNow, {}, {1, 2, 3}).empty());
    EXPECT_TRUE(capture.Records().empty());
  }
}

TEST(TrendRun, AllCountsZeroKeepEveryEntry)
{
  ShrinkSettings settings;
  settings.maxSize = 3;
  TrendParts parts = TrendAt(
      {{0, 1}, {0, 1}, {kDay, 2}, {20 * kDay, 3}, {50 * kDay, 1}, {60 * kDay, 9}, {61 * kDay, 1}}, kNow - 61 * kDay);
  ShrinkOutput const output = Shrink(settings, kNow, {parts});
  EXPECT_EQ(AllEntries(output), parts.entries);
  EXPECT_EQ(Sizes(output), (SizeList{3, 3, 1}));
}

TEST(TrendRun, EntriesComeOutWithAllTheirBytes)
{
  // Every number is a signalling NaN, and the gap is filled.
  TrendParts parts;
  for (unsigned int i = 0; i < 40; ++i)
  {
    EntryBytes entry = MarkedEntry(kStart + i * 20 * kMinute, static_cast<unsigned char>(i % 5), i);
    unsigned long long const nan = 0x7FF4000000000000ULL + i;
    unsigned int const floatNan = 0x7FA00000U + i;
    std::memcpy(entry.data() + EntryField::kValue, &nan, sizeof(nan));
    for (std::size_t const at : {EntryField::kAuxFloat1, EntryField::kAuxFloat2, EntryField::kAuxFloat3})
      std::memcpy(entry.data() + at, &floatNan, sizeof(floatNan));
    parts.entries.push_back(entry);
  }
  EXPECT_EQ(AllEntries(Shrink({}, kNow, {parts})), parts.entries);
  EXPECT_EQ(DifferenceToModel(HourCount(1), kNow, {parts}, {}), "");
  TrendParts const overlapping = parts;
  EXPECT_EQ(DifferenceToModel(HourCount(2), kNow, {parts, overlapping}, {}), "");
}

TEST(TrendRun, TrendsWithoutEntriesAreSkipped)
{
  std::vector<TrendParts> trends = WithLimits({1, 7, 1, 1});
  trends[1].entries.clear(); // would split the group by its limit
  trends[1].firstColumn = kNow;
  trends[2].entries.clear(); // would overlap
  trends[2].firstColumn = LLONG_MIN;
  trends[2].lastColumn = LLONG_MAX;
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_EQ(Sizes(Shrink({}, kNow, trends)), SizeList{2});
  EXPECT_EQ(
      Normalised(capture.Records(), trends),
      (std::vector<ShrinkLogRecord>{{600, "Trend size before shrinking: 2"}, {600, "Trend size after shrinking: 2"}}));
}

TEST(TrendRun, TrendWithoutEntriesGivesNoIdentity)
{
  std::vector<TrendParts> trends = WithLimits({1, 1});
  trends[0].entries.clear();
  trends[0].unitString = "of the empty one";
  ShrinkOutput const output = Shrink({}, kNow, trends);
  ASSERT_EQ(output.size(), 1U);
  EXPECT_NE(output[0]->getTrendDataDetails().find("<vel:UnitString>mm/s<"), std::string::npos);
}

TEST(TrendRun, OnlyTrendsWithoutEntriesGiveNothing)
{
  TrendParts empty;
  LogCapture const capture(kTrendShrinkerCategory, log4cpp::Priority::ERROR);
  EXPECT_TRUE(Shrink(HourCount(1), kNow, {empty, empty}).empty());
  EXPECT_TRUE(MakeShrinker({}).ShrinkTrendsOrThrow(kNow, StoredTrends({empty}), {}).empty());
  EXPECT_TRUE(capture.Records().empty());
}

TEST(TrendRun, GroupOfWhichNothingIsLeftGivesNoTrend)
{
  TrendParts const old = TrendAt(Minutes({0, 1}));
  TrendParts young = TrendAt(Minutes({0}), kNow - kMinute);
  young.limit = 9;
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_EQ(Sizes(Shrink(HourCount(4000000000U), kNow, {old, young})), SizeList{1});
  EXPECT_EQ(Normalised(capture.Records(), {}), (std::vector<ShrinkLogRecord>{{600, "Trend size before shrinking: 2"},
                                                                             {600, "Trend size before shrinking: 1"},
                                                                             {600, "Trend size after shrinking: 1"}}));
}

TEST(TrendRun, InputStaysAsItWas)
{
  std::vector<TrendDataDO> const stored = StoredTrends({TrendAt(Minutes({10, 40})), TrendAt(Minutes({20, 30}))});
  std::vector<TrendDataDO> const before = stored;
  Owned(MakeShrinker(HourCount(1)).ShrinkTrends(kNow, stored, ValuesAt({kStart})));
  for (std::size_t i = 0; i < stored.size(); ++i)
  {
    EXPECT_EQ(stored[i].getData(), before[i].getData());
    EXPECT_EQ(stored[i].getClosed(), before[i].getClosed());
    EXPECT_EQ(stored[i].getTrendDataDetails(), before[i].getTrendDataDetails());
  }
}

TEST(TrendRun, ShrinkerCanRunAgain)
{
  TrendShrinker shrinker = MakeShrinker(HourCount(1));
  std::vector<TrendDataDO> const stored = StoredTrends({TrendAt(Minutes({2, 30, 70}))});
  auto const values = ValuesAt(ValueTimes({2 * kMinute}));
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(SpotsOf(Owned(shrinker.ShrinkTrends(kNow, stored, values))), Minutes({2, 70}));
}

TEST(TrendRun, ThinnedTrendsCanBeThinnedAgain)
{
  // What is left of an hour is one entry nearest to its centre, and the next run starts from the first of them.
  ShrinkOutput const once = Shrink(HourCount(1), kNow, {TrendAt(Minutes({0, 30, 60, 90}))});
  std::vector<TrendDataDO> stored;
  for (auto const& trend : once)
    stored.push_back(*trend);
  EXPECT_EQ(SpotsOf(Owned(MakeShrinker(HourCount(1)).ShrinkTrends(kNow, stored, {}))), Minutes({30, 90}));
}

TEST(TrendRun, SizesAreLoggedAtInfo)
{
  LogCapture const capture(kTrendShrinkerCategory, log4cpp::Priority::INFO);
  Shrink(HourCount(1), kNow, {TrendAt(Minutes({10, 29, 70})), TrendAt(Minutes({20, 30}))});
  std::vector<LogRecord> const records = capture.Records();
  ASSERT_EQ(records.size(), 2U); // not the overlap
  EXPECT_EQ(records[0].category, kTrendShrinkerCategory);
  EXPECT_EQ(records[0].priority, 600);
  EXPECT_EQ(records[0].text, "Trend size before shrinking: 5");
  EXPECT_EQ(records[1].priority, 600);
  EXPECT_EQ(records[1].text, "Trend size after shrinking: 2");
}

TEST(TrendRun, NothingIsLoggedBelowTheCategorysPriority)
{
  LogCapture const capture(kTrendShrinkerCategory, log4cpp::Priority::WARN);
  Shrink(HourCount(1), kNow, {TrendAt(Minutes({10, 29, 70})), TrendAt(Minutes({20, 30}))});
  EXPECT_TRUE(capture.Records().empty());
}

TEST(TrendRun, MaximumSizeOfZeroIsRefused)
{
  ShrinkSettings settings;
  settings.maxSize = 0;
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_TRUE(Shrink(settings, kNow, {TrendAt(Minutes({1}))}).empty());
  std::vector<LogRecord> const records = capture.Records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].category, kTrendShrinkerCategory);
  EXPECT_EQ(records[0].priority, 300);
  EXPECT_EQ(records[0].text, "Maximum trend size must not be 0!");
  ExpectThrow<TrendException>(
      [&] { MakeShrinker(settings).ShrinkTrendsOrThrow(kNow, StoredTrends({TrendAt(Minutes({1}))}), {}); },
      "Maximum trend size must not be 0!", kTrendShrinkerUnit);
}

TEST(TrendRun, DamagedTrendAmongGoodOnesEndsTheRunWithoutAResult)
{
  for (std::size_t const damaged : {0U, 1U, 2U})
  {
    std::vector<TrendDataDO> stored = StoredTrends(WithLimits({1, 2, 3}));
    Bytes data = stored[damaged].getData();
    data.pop_back();
    stored[damaged].setData(data);
    std::string const message = "Wrong trend data size: actual 31 bytes, expected 32 bytes!";
    LogCapture const capture(kTrendShrinkerCategory);
    EXPECT_TRUE(Owned(MakeShrinker({}).ShrinkTrends(kNow, stored, {})).empty());
    std::vector<LogRecord> const records = capture.Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].priority, 300);
    EXPECT_EQ(records[0].text, message);
    ExpectThrow<TrendException>([&] { MakeShrinker({}).ShrinkTrendsOrThrow(kNow, stored, {}); }, message, kTrendUnit);
    EXPECT_EQ(capture.Records().size(), 1U); // what is thrown is not logged
  }
}

TEST(TrendRun, DamagedStreamEndsTheRunWithTheCodecsError)
{
  std::vector<TrendParts> trends = WithLimits({1, 2});
  trends[1].form = zlib;
  std::vector<TrendDataDO> stored = StoredTrends(trends);
  Bytes data = stored[1].getData();
  data.back() = static_cast<unsigned char>(~data.back());
  stored[1].setData(data);
  LogCapture const capture(kTrendShrinkerCategory);
  EXPECT_TRUE(Owned(MakeShrinker({}).ShrinkTrends(kNow, stored, {})).empty());
  std::vector<LogRecord> const records = capture.Records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].priority, 300);
  EXPECT_FALSE(records[0].text.empty());
  EXPECT_TRUE(Refuses<CompressionException>([&] { MakeShrinker({}).ShrinkTrendsOrThrow(kNow, stored, {}); }));
}

TEST(TrendRun, ThreadThatIsCancelledWhileItLogsEndsThere)
{
  CancellingAppender sink;
  LogRoute const route(kTrendShrinkerCategory, log4cpp::Priority::INFO, sink);
  std::vector<TrendDataDO> const stored = StoredTrends({TrendAt(Minutes({1}))});
  bool wentOn = false;
  EXPECT_TRUE(EndsCancelled(
      [&]
      {
        MakeShrinker({}).ShrinkTrends(kNow, stored, {});
        wentOn = true;
      }));
  EXPECT_FALSE(wentOn);
}

TEST(TrendRun, ThrowingTwinGivesTheSame)
{
  std::vector<TrendParts> const trends = {TrendAt(Minutes({2, 30, 70})), TrendAt(Minutes({50, 80, 200}))};
  ShrinkSettings settings = HourCount(1);
  settings.maxSize = 2;
  TrendShrinkingModel model(settings, kNow);
  model.Run(trends, ValueTimes({2 * kMinute}));
  ASSERT_GT(model.Results().size(), 1U);
  EXPECT_EQ(FaultOf(MakeShrinker(settings).ShrinkTrendsOrThrow(kNow, StoredTrends(trends),
                                                               ValuesAt(ValueTimes({2 * kMinute}))),
                    model.Results(), trends),
            "");
}

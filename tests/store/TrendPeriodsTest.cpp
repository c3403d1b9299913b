#include "store/TrendPeriods.h"

#include <gtest/gtest.h>
#include <limits>

namespace
{
constexpr long long kLargest = std::numeric_limits<long long>::max();
constexpr long long kSmallest = std::numeric_limits<long long>::min();
} // namespace

TEST(TrendPeriods, FollowEachOtherInBothDirectionsFromTheAnchor)
{
  TrendPeriods const periods(1000, 100);
  EXPECT_EQ(periods.Start(1000), 1000);
  EXPECT_EQ(periods.Start(1099), 1000);
  EXPECT_EQ(periods.Start(1100), 1100);
  EXPECT_EQ(periods.Start(999), 900);
  EXPECT_EQ(periods.Start(900), 900);
  EXPECT_EQ(periods.Start(899), 800);
  EXPECT_EQ(periods.Start(-1), -100);
}

TEST(TrendPeriods, NextStartIsTheTimeItselfWhereOneStarts)
{
  TrendPeriods const periods(1000, 100);
  EXPECT_EQ(periods.NextStart(1000), 1000);
  EXPECT_EQ(periods.NextStart(1001), 1100);
  EXPECT_EQ(periods.NextStart(1099), 1100);
  EXPECT_EQ(periods.NextStart(901), 1000);
  EXPECT_EQ(periods.NextStart(900), 900);
  EXPECT_EQ(periods.NextStart(-199), -100);
}

TEST(TrendPeriods, DaysStartWithHoursOfTheSameAnchor)
{
  for (long long const time : {0LL, 1767225600000123LL, -1767225600000123LL})
  {
    long long const day = TrendPeriods(77, kTrendDay).Start(time);
    EXPECT_LE(day, time);
    EXPECT_LT(time - day, kTrendDay);
    EXPECT_EQ(TrendPeriods(77, kTrendHour).Start(day), day);
  }
}

TEST(TrendPeriods, StartsOutsideTheRangeOfTimeStampsAreTheNearestTimeStamps)
{
  // From the smallest to the largest there are 2^64 - 1 = 18446744073709551615, which leaves 15 when divided by 100.
  TrendPeriods const fromTheSmallest(kSmallest, 100);
  EXPECT_EQ(fromTheSmallest.Start(kSmallest), kSmallest);
  EXPECT_EQ(fromTheSmallest.Start(kSmallest + 99), kSmallest);
  EXPECT_EQ(fromTheSmallest.Start(kLargest), kLargest - 15);
  EXPECT_EQ(fromTheSmallest.NextStart(kLargest - 15), kLargest - 15);
  EXPECT_EQ(fromTheSmallest.NextStart(kLargest - 14), kLargest);
  TrendPeriods const fromTheLargest(kLargest, 100);
  EXPECT_EQ(fromTheLargest.Start(kLargest), kLargest);
  EXPECT_EQ(fromTheLargest.Start(kLargest - 1), kLargest - 100);
  EXPECT_EQ(fromTheLargest.NextStart(kSmallest), kSmallest + 15);
  EXPECT_EQ(fromTheLargest.Start(kSmallest + 14), kSmallest);
}

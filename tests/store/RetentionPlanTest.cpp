// What comes of age when, in days and hours counted from the anchor. All expected borders are counted by hand: at day
// 40 what is older than four weeks ends at day 12, than a week at day 33, than a day at day 39, than an hour at 23
// o'clock.

#include "store/RetentionPlan.h"

#include <gtest/gtest.h>
#include <limits>
#include <ostream>
#include <vector>

using State = RetentionLedger::State;
using Rest = RetentionPlan::Rest;

bool operator==(ThinningStretch const& a, ThinningStretch const& b)
{
  return a.from == b.from && a.to == b.to && a.periodLength == b.periodLength && a.count == b.count;
}

void PrintTo(ThinningStretch const& stretch, std::ostream* stream)
{
  *stream << stretch.from << " to " << stretch.to << ", " << stretch.count << " of " << stretch.periodLength;
}

namespace
{
constexpr long long kLargest = std::numeric_limits<long long>::max();
constexpr long long kNever = std::numeric_limits<long long>::min();
constexpr long long kAnchor = 1767225600123456;
constexpr long long kHalfHour = kTrendHour / 2;

constexpr long long at(long long day, long long hour = 0) { return kAnchor + day * kTrendDay + hour * kTrendHour; }

State neverRun() { return {{}, kNever, {{{kNever, 0}, {kNever, 0}, {kNever, 0}, {kNever, 0}}}}; }

RetentionPlan::Basis basisAt(long long now) { return {now, kAnchor, kLargest, {6, 12, 24, 3}}; }

State afterDay40() { return RetentionPlan(basisAt(at(40)), neverRun()).after; }

std::vector<long long> untils(RetentionPlan const& plan)
{
  std::vector<long long> result;
  for (RetentionLedger::AgeClass const& ageClass : plan.after.ageClasses)
    result.push_back(ageClass.until);
  return result;
}

ThinningStretch days(long long from, long long to, unsigned int count) { return {from, to, kTrendDay, count}; }
ThinningStretch hours(long long from, long long to) { return {from, to, kTrendHour, 3}; }

using Stretches = std::vector<ThinningStretch>;
} // namespace

TEST(RetentionPlan, FirstRunThinsEverythingThatIsOfAge)
{
  RetentionPlan const plan(basisAt(at(40)), neverRun());
  EXPECT_EQ(plan.stretches, (Stretches{days(kNever, at(12), 6), days(at(12), at(33), 12), days(at(33), at(39), 24),
                                       hours(at(39), at(39, 23))}));
  EXPECT_EQ(untils(plan), (std::vector{at(12), at(33), at(39), at(39, 23)}));
  EXPECT_EQ(plan.after.anchor, kAnchor);
  EXPECT_EQ(plan.finalBefore, at(12));
}

TEST(RetentionPlan, PeriodIsOfAgeWhenItsLastMicrosecondIs)
{
  // One microsecond earlier the last microsecond of the twelfth day is exactly four weeks old, and that is enough.
  EXPECT_EQ(RetentionPlan(basisAt(at(40) - 1), neverRun()).stretches.front(), days(kNever, at(12), 6));
  EXPECT_EQ(RetentionPlan(basisAt(at(40) - 2), neverRun()).stretches.front(), days(kNever, at(11), 6));
  EXPECT_EQ(RetentionPlan(basisAt(at(40) - 1), neverRun()).stretches.back(), hours(at(39), at(39, 23)));
  EXPECT_EQ(RetentionPlan(basisAt(at(40) - 2), neverRun()).stretches.back(), hours(at(38), at(39, 22)));
}

TEST(RetentionPlan, SecondRunAtTheSameTimeThinsNothing)
{
  RetentionPlan const plan(basisAt(at(40)), afterDay40());
  EXPECT_EQ(plan.stretches, Stretches{});
  EXPECT_EQ(untils(plan), (std::vector{at(12), at(33), at(39), at(39, 23)}));
}

TEST(RetentionPlan, HourLaterOneHourIsOfAge)
{
  EXPECT_EQ(RetentionPlan(basisAt(at(40, 1)), afterDay40()).stretches, Stretches{hours(at(39, 23), at(40))});
}

TEST(RetentionPlan, DayLaterOneDayOfEachClassIsOfAge)
{
  RetentionPlan const plan(basisAt(at(41)), afterDay40());
  EXPECT_EQ(plan.stretches, (Stretches{days(at(12), at(13), 6), days(at(33), at(34), 12), days(at(39), at(40), 24),
                                       hours(at(40), at(40, 23))}));
}

TEST(RetentionPlan, LongPauseLeavesNoStretchToYoungerClasses)
{
  RetentionPlan const plan(basisAt(at(100)), afterDay40());
  EXPECT_EQ(plan.stretches, (Stretches{days(at(12), at(72), 6), days(at(72), at(93), 12), days(at(93), at(99), 24),
                                       hours(at(99), at(99, 23))}));
}

TEST(RetentionPlan, ClockThatWasSetBackUndoesNothing)
{
  RetentionPlan const plan(basisAt(at(20)), afterDay40());
  EXPECT_EQ(plan.stretches, Stretches{});
  EXPECT_EQ(untils(plan), (std::vector{at(12), at(33), at(39), at(39, 23)}));
  EXPECT_EQ(plan.Judge(at(20)), Rest::thinned_before);
}

TEST(RetentionPlan, ClassThatIsOffKeepsItsAgeFromYoungerClasses)
{
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.counts[1] = 0;
  RetentionPlan const plan(basis, neverRun());
  EXPECT_EQ(plan.stretches, (Stretches{days(kNever, at(12), 6), days(at(33), at(39), 24), hours(at(39), at(39, 23))}));
  EXPECT_EQ(plan.Judge(at(12)), Rest::no_cleanup);
  EXPECT_EQ(plan.Judge(at(33) - 1), Rest::no_cleanup);
}

TEST(RetentionPlan, NothingIsFinalBeforeTheOldestClassThatIsOn)
{
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.counts = {0, 0, 24, 3};
  EXPECT_EQ(RetentionPlan(basis, neverRun()).finalBefore, at(39));
  basis.counts = {0, 0, 0, 0};
  RetentionPlan const plan(basis, neverRun());
  EXPECT_EQ(plan.finalBefore, kNever);
  EXPECT_EQ(plan.stretches, Stretches{});
  EXPECT_EQ(plan.Judge(at(0)), Rest::no_cleanup);
  EXPECT_EQ(plan.Judge(at(39, 23)), Rest::too_young);
}

TEST(RetentionPlan, ChangedCountStartsItsClassAnew)
{
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.counts = {6, 12, 8, 3};
  EXPECT_EQ(RetentionPlan(basis, afterDay40()).stretches, Stretches{days(at(33), at(39), 8)});
  basis.counts = {1, 12, 24, 3};
  EXPECT_EQ(RetentionPlan(basis, afterDay40()).stretches, Stretches{days(kNever, at(12), 1)});
}

TEST(RetentionPlan, ChangedCountLeavesToOlderClassesWhatTheyHadBeforeTheClockWasSetBack)
{
  // At day 20 a week ends at day 13, of which the oldest class has had all before day 12.
  RetentionPlan::Basis basis = basisAt(at(20));
  basis.counts = {6, 8, 24, 3};
  EXPECT_EQ(RetentionPlan(basis, afterDay40()).stretches, Stretches{days(at(12), at(13), 8)});
}

TEST(RetentionPlan, SwitchedOffClassThinsNothingMore)
{
  RetentionPlan::Basis basis = basisAt(at(41));
  basis.counts = {6, 12, 24, 0};
  EXPECT_EQ(RetentionPlan(basis, afterDay40()).stretches,
            (Stretches{days(at(12), at(13), 6), days(at(33), at(34), 12), days(at(39), at(40), 24)}));
}

TEST(RetentionPlan, LedgerThatWasSetBackThinsWholePeriodsAgain)
{
  State rewound = afterDay40();
  for (RetentionLedger::AgeClass& ageClass : rewound.ageClasses)
    ageClass.until = std::min(ageClass.until, at(34, 5) + 17);
  EXPECT_EQ(RetentionPlan(basisAt(at(40)), rewound).stretches,
            (Stretches{days(at(34), at(39), 24), hours(at(39), at(39, 23))}));
  for (RetentionLedger::AgeClass& ageClass : rewound.ageClasses)
    ageClass.until = at(-3, 5);
  EXPECT_EQ(RetentionPlan(basisAt(at(40)), rewound).stretches,
            (Stretches{days(at(-3), at(12), 6), days(at(12), at(33), 12), days(at(33), at(39), 24),
                       hours(at(39), at(39, 23))}));
}

TEST(RetentionPlan, PeriodThatAnOpenTrendReachesIntoWaits)
{
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.openFrom = at(20, 5) + kHalfHour;
  RetentionPlan const plan(basis, neverRun());
  EXPECT_EQ(plan.stretches, (Stretches{days(kNever, at(12), 6), days(at(12), at(20), 12)}));
  basis.openFrom = at(39, 5) + kHalfHour;
  EXPECT_EQ(RetentionPlan(basis, neverRun()).stretches.back(), hours(at(39), at(39, 5)));
  basis.openFrom = at(-50);
  EXPECT_EQ(RetentionPlan(basis, neverRun()).stretches, Stretches{days(kNever, at(-50), 6)});
}

TEST(RetentionPlan, WhatWaitedIsThinnedByTheClassOfItsAge)
{
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.openFrom = at(20, 5) + kHalfHour;
  State const waiting = RetentionPlan(basis, neverRun()).after;
  EXPECT_EQ(RetentionPlan(basisAt(at(40)), waiting).stretches,
            (Stretches{days(at(20), at(33), 12), days(at(33), at(39), 24), hours(at(39), at(39, 23))}));
}

TEST(RetentionPlan, WhatHasComeOfAgeAwaitsTheOpenTrendWhicheverClassItBelongsTo)
{
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.openFrom = at(20, 5) + kHalfHour;
  RetentionPlan const plan(basis, neverRun());
  // Before the open trend, but on the same day; and long behind it.
  for (long long const time : {at(20), at(20, 4), at(20, 5), at(32), at(34), at(39, 2), at(39, 23) - 1})
    EXPECT_EQ(plan.Judge(time), Rest::awaits_open) << time - kAnchor;
  for (long long const time : {at(39, 23), at(50)})
    EXPECT_EQ(plan.Judge(time), Rest::too_young) << time - kAnchor;
  EXPECT_EQ(plan.Judge(at(20) - 1), Rest::thinned_before);
  EXPECT_EQ(plan.waiting, (Stretches{days(at(20), at(33), 12), days(at(33), at(39), 24), hours(at(39), at(39, 23))}));
  EXPECT_EQ(plan.openFrom, basis.openFrom);
}

TEST(RetentionPlan, NothingWaitsWithoutAnOpenTrendOrForAClassThatIsOff)
{
  EXPECT_EQ(RetentionPlan(basisAt(at(40)), neverRun()).waiting, Stretches{});
  RetentionPlan::Basis basis = basisAt(at(40));
  basis.openFrom = at(20, 5);
  basis.counts = {6, 0, 24, 0};
  RetentionPlan const plan(basis, neverRun());
  EXPECT_EQ(plan.waiting, Stretches{days(at(33), at(39), 24)});
  EXPECT_EQ(plan.Judge(at(20, 5)), Rest::no_cleanup);
}

TEST(RetentionPlan, RestWasThinnedBeforeOrIsTooYoung)
{
  RetentionPlan const plan(basisAt(at(40)), afterDay40());
  for (long long const time : {kNever, at(0), at(12) - 1, at(12), at(38), at(39), at(39, 23) - 1})
    EXPECT_EQ(plan.Judge(time), Rest::thinned_before) << time;
  EXPECT_EQ(plan.Judge(at(39, 23)), Rest::too_young);
  EXPECT_EQ(plan.Judge(kLargest), Rest::too_young);
}

TEST(RetentionPlan, StretchesStayInOrderAtTheEndsOfTime)
{
  for (long long const now : {kNever, kNever + 3 * kTrendDay, 0LL, kLargest - 3 * kTrendDay, kLargest})
    for (long long const anchor : {kNever, 0LL, kLargest})
    {
      RetentionPlan::Basis basis = basisAt(now);
      basis.anchor = anchor;
      RetentionPlan const plan(basis, neverRun());
      long long end = kNever;
      for (ThinningStretch const& stretch : plan.stretches)
      {
        EXPECT_GE(stretch.from, end) << now << " " << anchor;
        EXPECT_LT(stretch.from, stretch.to) << now << " " << anchor;
        end = stretch.to;
      }
      EXPECT_TRUE(plan.stretches.empty() || end <= now) << now << " " << anchor;
    }
}

// Each check with entries that are right and with one violation.

#include "store/ThinningCheck.h"

#include "signalprocessing/io/file/Trend.h"
#include "support/Expectations.h"
#include "support/TrendRecords.h"

#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace
{
constexpr char const* kUnit = "ThinningCheck.cpp";
constexpr char const* kNotOrdered = "Trend entries are not in time order!";
constexpr char const* kStranger = "Thinned trend holds an entry that was not there!";
constexpr char const* kYoung = "Thinned trend lacks an entry that is too young!";
constexpr char const* kStatus = "Thinned trend lacks a status of a slot!";
constexpr char const* kPinned = "Thinned trend lacks a pinned entry!";
constexpr long long kLargest = std::numeric_limits<long long>::max();
constexpr long long kSmallest = std::numeric_limits<long long>::min();

std::vector<trend_entry_t> entries(std::vector<EntryBytes> const& bytes)
{
  std::vector<trend_entry_t> result(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i)
    std::memcpy(&result[i], bytes[i].data(), sizeof result[i]);
  return result;
}

EntryBytes at(long long time, unsigned char status = 1, unsigned int mark = 0)
{
  return MarkedEntry(time, status, mark);
}

template <class Check>
void expectRefusal(Check&& check, char const* message)
{
  ExpectThrow<TrendException>(check, message, kUnit);
}

void expectStranger(std::vector<EntryBytes> const& before, std::vector<EntryBytes> const& after)
{
  expectRefusal([&] { ThinningCheck::RequireSubset(entries(before), entries(after)); }, kStranger);
}

// Two periods of 100 from 1000 on with three slots of 33 each; 1 remains behind the last slot of each.
constexpr ThinningStretch kStretch{1000, 1200, 100, 3};

void representedOrThrow(std::vector<EntryBytes> const& before, std::vector<EntryBytes> const& after,
                        ThinningStretch const& stretch = kStretch)
{
  ThinningCheck::RequireRepresented(entries(before), entries(after), stretch);
}

void expectLoss(std::vector<EntryBytes> const& before, std::vector<EntryBytes> const& after)
{
  expectRefusal([&] { representedOrThrow(before, after); }, kStatus);
}

void pinnedOrThrow(std::vector<EntryBytes> const& before, std::vector<EntryBytes> const& after,
                   std::vector<long long> const& pins)
{
  ThinningCheck::RequirePinned(entries(before), entries(after), kStretch, pins);
}

void expectLostPin(std::vector<EntryBytes> const& before, std::vector<EntryBytes> const& after,
                   std::vector<long long> const& pins)
{
  expectRefusal([&] { pinnedOrThrow(before, after, pins); }, kPinned);
}
} // namespace

TEST(ThinningCheck, EntriesMustBeInTimeOrder)
{
  EXPECT_NO_THROW(ThinningCheck::RequireOrder({}));
  EXPECT_NO_THROW(ThinningCheck::RequireOrder(entries({at(kSmallest), at(5), at(5, 3), at(kLargest)})));
  expectRefusal([] { ThinningCheck::RequireOrder(entries({at(5), at(7), at(6)})); }, kNotOrdered);
}

TEST(ThinningCheck, EntriesThatWereThereBeforePass)
{
  std::vector<EntryBytes> const before = {at(1), at(2), at(2, 3, 5), at(2, 1, 6), at(9)};
  for (std::vector<EntryBytes> const& after :
       {std::vector<EntryBytes>{}, before, {at(2, 3, 5)}, {at(1), at(9)}, {at(2), at(2, 1, 6), at(9)}})
    EXPECT_NO_THROW(ThinningCheck::RequireSubset(entries(before), entries(after)));
}

TEST(ThinningCheck, EntriesWithOneTimeStampMayChangePlaces)
{
  EXPECT_NO_THROW(ThinningCheck::RequireSubset(entries({at(2, 3), at(2, 1), at(2, 0), at(3)}),
                                               entries({at(2, 0), at(2, 1), at(2, 3), at(3)})));
}

TEST(ThinningCheck, AnyOtherByteMakesAStranger)
{
  for (std::size_t byte = 0; byte < kTrendEntryBytes; ++byte)
  {
    EntryBytes changed = at(200);
    changed.at(byte) ^= 1;
    expectStranger({at(100), at(200), at(300)}, {changed});
  }
}

TEST(ThinningCheck, EntryThatIsThereOnceMustNotComeOutTwice)
{
  expectStranger({at(1), at(2), at(3)}, {at(2), at(2)});
  expectStranger({at(2), at(2, 3)}, {at(2, 3), at(2, 3)});
  EXPECT_NO_THROW(ThinningCheck::RequireSubset(entries({at(2), at(2)}), entries({at(2), at(2)})));
}

TEST(ThinningCheck, EntriesOutOfOrderAndWithoutAnyBeforeAreStrangers)
{
  expectStranger({at(1), at(2), at(3)}, {at(3), at(1)});
  expectStranger({}, {at(1)});
}

TEST(ThinningCheck, EveryYoungEntryMustBeThere)
{
  std::vector<EntryBytes> const before = {at(1), at(10), at(11), at(11, 3), at(12)};
  auto const check = [&](std::vector<EntryBytes> const& after, long long youngFrom)
  { ThinningCheck::RequireYoung(entries(before), entries(after), youngFrom); };
  EXPECT_NO_THROW(check({at(11), at(11, 3), at(12)}, 11));
  EXPECT_NO_THROW(check({}, 13));
  EXPECT_NO_THROW(check(before, kSmallest));
  expectRefusal([&] { check({at(11), at(12)}, 11); }, kYoung);
  expectRefusal([&] { check({at(11), at(11, 3)}, 11); }, kYoung);
  expectRefusal([&] { check({at(11), at(11, 3), at(12), at(12)}, 11); }, kYoung);
  expectRefusal([&] { check({at(11), at(11, 3), at(12)}, 10); }, kYoung);
}

TEST(ThinningCheck, EachStatusOfEachSlotMustBeLeft)
{
  // Slots from 1000, 1033, 1066; 1099 behind the last one.
  std::vector<EntryBytes> const before = {at(1000), at(1032), at(1033), at(1033, 3), at(1098, 2), at(1110)};
  EXPECT_NO_THROW(representedOrThrow(before, before));
  EXPECT_NO_THROW(representedOrThrow(before, {at(1032), at(1033), at(1033, 3), at(1098, 2), at(1110)}));
  expectLoss(before, {at(1033), at(1033, 3), at(1098, 2), at(1110)});
  expectLoss(before, {at(1000), at(1033), at(1098, 2), at(1110)});
  expectLoss(before, {at(1000), at(1033, 3), at(1098, 2), at(1110)});
  expectLoss(before, {at(1000), at(1033), at(1033, 3), at(1110)});
  expectLoss(before, {at(1000), at(1033), at(1033, 3), at(1098, 2)});
  expectLoss(before, {});
}

TEST(ThinningCheck, StatusesFromFourOnAreOneWithStatusZero)
{
  EXPECT_NO_THROW(representedOrThrow({at(1001, 0), at(1002, 4), at(1003, 255)}, {at(1002, 4)}));
  expectLoss({at(1001, 0), at(1002, 3)}, {at(1002, 3)});
}

TEST(ThinningCheck, WhatLiesBehindTheLastSlotOfAPeriodMayGo)
{
  EXPECT_NO_THROW(representedOrThrow({at(1099), at(1099, 3), at(1199)}, {}));
  EXPECT_NO_THROW(representedOrThrow({at(1000), at(1099, 3), at(1101)}, {at(1000), at(1101)}));
}

TEST(ThinningCheck, PeriodOfMoreSlotsThanMicrosecondsHasNone)
{
  EXPECT_NO_THROW(representedOrThrow({at(1000), at(1001)}, {}, {1000, 1200, 100, 101}));
}

TEST(ThinningCheck, SlotsOfTheWholeRangeOfTimeStampsAreToldApart)
{
  ThinningStretch const all{kSmallest, kLargest, kTrendDay, 1};
  std::vector<EntryBytes> const before = {at(kSmallest), at(0), at(kLargest)};
  EXPECT_NO_THROW(representedOrThrow(before, before, all));
  expectRefusal([&] { representedOrThrow(before, {at(kSmallest), at(0)}, all); }, kStatus);
}

TEST(ThinningCheck, FirstEntryOfAPinnedTimeMustBeLeft)
{
  std::vector<EntryBytes> const before = {at(1001), at(1002), at(1002, 3), at(1003)};
  EXPECT_NO_THROW(pinnedOrThrow(before, {at(1002)}, {1002}));
  EXPECT_NO_THROW(pinnedOrThrow(before, {at(1001), at(1003)}, {1001, 1003}));
  expectLostPin(before, {at(1002, 3)}, {1002});
  expectLostPin(before, {at(1001)}, {1001, 1003});
  expectLostPin(before, {at(1002, 1, 9)}, {1002});
}

TEST(ThinningCheck, PinnedEntryMayStandBehindOthersOfItsTime)
{
  EXPECT_NO_THROW(pinnedOrThrow({at(1002, 3), at(1002)}, {at(1002), at(1002, 3)}, {1002}));
}

TEST(ThinningCheck, PinWithoutAnEntryOrBehindTheLastSlotAsksForNothing)
{
  EXPECT_NO_THROW(pinnedOrThrow({at(1001), at(1003), at(1099)}, {at(1001)}, {999, 1002, 1099, 1150}));
}

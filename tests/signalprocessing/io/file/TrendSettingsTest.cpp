#include "platform/Options.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/HostileLocale.h"
#include "support/PlatformErrors.h"
#include "support/ShrinkRun.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace
{
/// The four counts: per hour, per day after a day, after a week and after four weeks.
using Counts = std::array<unsigned int, 4>;

Counts CountsOf(DeviceDO const& device)
{
  TrendShrinker const shrinker(device, 10, 20);
  return {shrinker.GetNoTrendValuesPerHourOlderThanOneHour(), shrinker.GetNoTrendValuesPerDayOlderThanOneDay(),
          shrinker.GetNoTrendValuesPerDayOlderThanOneWeek(), shrinker.GetNoTrendValuesPerDayOlderThanFourWeeks()};
}

Counts CountsOf(std::string const& classes) { return CountsOf(DeviceWithCleanup(classes)); }

/// The class that the four counts belong to, with this content each.
std::string AllClasses(std::array<std::string, 4> const& contents)
{
  return CleanupClass("OlderThanOneHour", contents[0]) + CleanupClass("OlderThanOneDay", contents[1]) +
         CleanupClass("OlderThanOneWeek", contents[2]) + CleanupClass("OlderThanFourWeeks", contents[3]);
}

std::string const kAllCounts = AllClasses({PerHour(60), PerDay(24), PerDay(4), PerDay(1)});
constexpr Counts kNone = {0, 0, 0, 0};

std::string CountElement(std::string const& name, std::string const& text)
{
  return "<vel:" + name + ">" + text + "</vel:" + name + ">";
}

/// The per-day count after a week when its element holds this text.
unsigned int WeekCount(std::string const& text)
{
  return CountsOf(CleanupClass("OlderThanOneWeek", CountElement("NumberOfRemainingTrendEntriesPerDay", text))).at(2);
}
} // namespace

TEST(TrendSettings, EveryClassHasItsOwnCount) { EXPECT_EQ(CountsOf(kAllCounts), (Counts{60, 24, 4, 1})); }

TEST(TrendSettings, ClassAloneLeavesTheOthersAtZero)
{
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneHour", PerHour(9))), (Counts{9, 0, 0, 0}));
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneDay", PerDay(24))), (Counts{0, 24, 0, 0}));
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneWeek", PerDay(7))), (Counts{0, 0, 7, 0}));
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanFourWeeks", PerDay(8))), (Counts{0, 0, 0, 8}));
}

TEST(TrendSettings, OrderOfTheClassesDoesNotMatter)
{
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanFourWeeks", PerDay(1)) + CleanupClass("OlderThanOneDay", PerDay(2)) +
                     CleanupClass("OlderThanOneHour", PerHour(3)) + CleanupClass("OlderThanOneWeek", PerDay(4))),
            (Counts{3, 2, 4, 1}));
}

TEST(TrendSettings, WithoutDetailsNothingIsCleanedUp)
{
  EXPECT_EQ(CountsOf(DeviceDO()), kNone);
  EXPECT_EQ(CountsOf(DeviceWithDetails("no XML")), kNone);
  EXPECT_EQ(CountsOf(DeviceWithDetails("<vel:DeviceDetails/>")), kNone);
  EXPECT_EQ(CountsOf(""), kNone);
  EXPECT_EQ(CountsOf(AllClasses({"", "", "", ""})), kNone);
}

TEST(TrendSettings, OtherRootsAndPlacesDoNotCount)
{
  std::string const settings = "<vel:TrendCleanupSettings>" + kAllCounts + "</vel:TrendCleanupSettings>";
  EXPECT_EQ(CountsOf(DeviceWithDetails("<vel:DeviceDetails>" + settings + "</vel:DeviceDetails>")),
            (Counts{60, 24, 4, 1}));
  EXPECT_EQ(CountsOf(DeviceWithDetails("<DeviceDetails>" + settings + "</DeviceDetails>")), kNone);
  EXPECT_EQ(CountsOf(DeviceWithDetails(settings)), kNone);
  EXPECT_EQ(CountsOf(DeviceWithDetails("<vel:DeviceDetails>" + kAllCounts + "</vel:DeviceDetails>")), kNone);
  EXPECT_EQ(CountsOf(DeviceWithDetails("<vel:DeviceDetails><vel:More>" + settings + "</vel:More></vel:DeviceDetails>")),
            kNone);
}

TEST(TrendSettings, NoCleanupOutweighsACount)
{
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneDay", "<vel:NoCleanup/>" + PerDay(4))), kNone);
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneDay", PerDay(4) + "<vel:NoCleanup/>")), kNone);
}

TEST(TrendSettings, NoCleanupConcernsItsOwnClass)
{
  std::array<std::string, 4> const contents = {PerHour(60), PerDay(24), PerDay(4), PerDay(1)};
  for (std::size_t i = 0; i < contents.size(); ++i)
  {
    auto changed = contents;
    changed.at(i) += "<vel:NoCleanup/>";
    Counts expected = {60, 24, 4, 1};
    expected.at(i) = 0;
    EXPECT_EQ(CountsOf(AllClasses(changed)), expected) << i;
  }
}

TEST(TrendSettings, WhatNoCleanupSaysIsNotRead)
{
  for (char const* const text : {"", "true", "false", "0", "no"})
    EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneWeek", CountElement("NoCleanup", text) + PerDay(4))), kNone) << text;
}

TEST(TrendSettings, CountBesideNoCleanupIsNotRead)
{
  EXPECT_EQ(CountsOf(CleanupClass("OlderThanOneWeek",
                                  "<vel:NoCleanup/>" + CountElement("NumberOfRemainingTrendEntriesPerDay", "x"))),
            kNone);
}

TEST(TrendSettings, CountOfTheWrongPeriodIsIgnored)
{
  EXPECT_EQ(CountsOf(AllClasses({PerDay(5), PerHour(5), PerHour(5), PerHour(5)})), kNone);
  EXPECT_EQ(CountsOf(AllClasses({PerDay(5) + PerHour(6), "", "", ""})), (Counts{6, 0, 0, 0}));
}

TEST(TrendSettings, CountsGoTo32Bits)
{
  EXPECT_EQ(WeekCount("0"), 0U);
  EXPECT_EQ(WeekCount("4294967295"), 4294967295U);
  EXPECT_EQ(WeekCount(" 24\n"), 24U);
  EXPECT_EQ(WeekCount(""), 0U);
}

TEST(TrendSettings, CountThatIsNoNumberIsAnOptionException)
{
  for (char const* const text : {"x", "12x", "1.5", "-1", "4294967296", " ", "1 2", "0x10"})
    EXPECT_TRUE(Refuses<OptionException>([&] { WeekCount(text); })) << "'" << text << "'";
}

TEST(TrendSettings, LimitsAreKeptAsTheyAre)
{
  for (auto const& [size, days] :
       std::vector<std::pair<unsigned int, unsigned int>>{{0, 0}, {1, 2}, {4294967295U, 0}, {0, 4294967295U}})
  {
    TrendShrinker const shrinker(DeviceDO(), size, days);
    EXPECT_EQ(shrinker.GetMaxTrendSize(), size);
    EXPECT_EQ(shrinker.GetMaxDaysTrendDuration(), days);
  }
}

TEST(TrendSettings, GlobalLocaleChangesNothing)
{
  DeviceDO const device = DeviceWithCleanup(AllClasses({PerHour(1234), PerDay(24), PerDay(4), PerDay(1)}));
  HostileLocale const hostile;
  EXPECT_EQ(CountsOf(device), (Counts{1234, 24, 4, 1}));
}

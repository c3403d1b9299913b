// Runs on a copy: what they leave, what they tell, and that the store is only read.

#include "store/RetentionSimulation.h"

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

namespace
{
using Verdict = RetentionVerdict;
using Explanation = RetentionSimulation::Explanation;

constexpr ShrinkSettings kCounts{1000, 366, 2, 4, 2, 1};

/// All that a store holds of one value, its ledger included.
struct Contents
{
  StoredRows rows;
  std::vector<long long> values, bookmarks, ledger;
  bool operator==(Contents const&) const = default;
};

Contents contentsOf(DeviceDatabase& database, RetentionStore const& names)
{
  Contents contents{RowsOf(database, names.device), {}, database.ListBookmarks(names.device, names.value), {}};
  for (StoredCharacteristicValue const& stored : database.ListCharacteristicValues(names.device, names.value))
    contents.values.push_back(stored.timeStamp);
  if (auto const state = RetentionLedger(database, names.device, names.value).Look())
  {
    contents.ledger = {state->anchor.value_or(-1), state->anchor.has_value(), state->compactedUntil};
    for (RetentionLedger::AgeClass const& ageClass : state->ageClasses)
      contents.ledger.insert(contents.ledger.end(), {ageClass.until, ageClass.count});
  }
  return contents;
}

bool stays(Explanation const& told) { return told.verdict != Verdict::dropped && told.verdict != Verdict::remainder; }

std::vector<EntryBytes> entriesOf(std::vector<Explanation> const& told)
{
  std::vector<EntryBytes> entries;
  for (Explanation const& explanation : told)
    entries.push_back(ToBytes(explanation.entry));
  return Ordered(entries);
}

std::vector<EntryBytes> staying(std::vector<Explanation> told)
{
  std::erase_if(told, [](Explanation const& explanation) { return !stays(explanation); });
  return entriesOf(told);
}

/// Time after the start, status and verdict of each entry, and for dropped ones the time of that which stays.
struct Told
{
  long long time;
  Verdict verdict;
  long long inFavourOf = -1;
  bool operator==(Told const&) const = default;
};

void PrintTo(Told const& told, std::ostream* stream)
{
  *stream << told.time / kMinute << " min: " << static_cast<int>(told.verdict) << ", for " << told.inFavourOf / kMinute;
}

std::vector<Told> toldOf(std::vector<Explanation> const& explanations)
{
  std::vector<Told> told;
  for (Explanation const& explanation : explanations)
    told.push_back({explanation.entry.TimeStamp - kStoreStart, explanation.verdict,
                    explanation.inFavourOf ? explanation.inFavourOf->TimeStamp - kStoreStart : -1});
  return told;
}

std::vector<Explanation> explain(RetentionStore& store, long long now)
{
  store.settings.now = now;
  return RetentionSimulation(store.database, store.device, store.value).Explain(store.settings);
}

std::vector<EntryBytes> minutes(std::vector<long long> const& times, unsigned char status = 1, unsigned int mark = 0)
{
  std::vector<EntryBytes> entries;
  for (long long const time : times)
    entries.push_back(MarkedEntry(kStoreStart + time * kMinute, status, mark++));
  return entries;
}

using Tolds = std::vector<Told>;
constexpr long long kM = kMinute;
} // namespace

TEST(RetentionSimulation, FirstRunLeavesWhatARunOnTheStoreLeaves)
{
  RetentionStore store(kCounts);
  // Not at a full hour or day since 1970, so that periods have to start at the first entry.
  store.Put(EntriesEvery(7 * kMinute, kStoreStart + 1234567, kStoreStart + 3 * kDay));
  long long const now = kStoreStart + 3 * kDay + kHour;
  store.settings.now = now;
  RetentionSimulation simulation(store.database, store.device, store.value);
  RetentionResult const simulated = simulation.Run(store.settings);
  RetentionResult const real = store.Run(now);
  EXPECT_EQ(simulated.error, "");
  EXPECT_EQ(EntriesOf(RowsOf(simulation.Database(), store.device)), store.Entries());
  EXPECT_EQ(simulated.before.entries, real.before.entries);
  EXPECT_EQ(simulated.after.entries, real.after.entries);
  EXPECT_EQ(simulated.after.trends, real.after.trends);
  EXPECT_LT(real.after.entries, real.before.entries);
}

TEST(RetentionSimulation, TakesNoNoticeOfOtherValues)
{
  RetentionStore store(kCounts);
  Uuid const mine = store.Put(minutes({0, 1, 2}));
  TrendParts other = TrendWith(minutes({0, 1, 2}));
  other.configUuid = CountingUuid(0xc0);
  store.Put(other);
  RetentionSimulation simulation(store.database, store.device, store.value);
  StoredRows const copied = RowsOf(simulation.Database(), store.device);
  ASSERT_EQ(copied.size(), 1U);
  EXPECT_TRUE(copied.begin()->second == store.Rows().at(mine));
}

TEST(RetentionSimulation, CopiesEverythingThatThinningLooksAt)
{
  RetentionStore store(kCounts);
  store.PutValues({kStoreStart + 5, kStoreStart + 9});
  store.database.PutBookmark(store.device, store.value, kStoreStart + 7);
  TrendParts open = TrendWith(minutes({9000, 9001}));
  store.Put(open, false);
  store.Put(TrendWith({}));
  store.Put(minutes({0, 1, 2, 3, 1500}));
  ASSERT_EQ(store.Run(kStoreStart + 4 * kDay).error, "");
  store.Put(minutes({700, 701}));
  Contents const contents = contentsOf(store.database, store);
  ASSERT_EQ(contents.ledger.size(), 11U);
  RetentionSimulation simulation(store.database, store.device, store.value);
  EXPECT_TRUE(contentsOf(simulation.Database(), store) == contents);
  EXPECT_EQ(simulation.Database().FindDevice(store.device)->getDeviceDetails(),
            store.database.FindDevice(store.device)->getDeviceDetails());
}

TEST(RetentionSimulation, NothingIsCopiedOfAnUnknownDevice)
{
  RetentionStore store;
  RetentionSimulation simulation(store.database, store.device, store.value);
  EXPECT_TRUE(simulation.Database().ListDevices().empty());
  EXPECT_EQ(simulation.Run(store.settings).error, "");
  EXPECT_TRUE(simulation.Explain(store.settings).empty());
}

TEST(RetentionSimulation, TellsPinnedNearestDroppedAndTooYoung)
{
  // Two slots an hour, centres at 15 and 45 minutes; hours end at 60 and 120, and the second is not of age.
  RetentionStore store({1000, 366, 2, 0, 0, 0});
  store.Put(minutes({0, 10, 20, 31, 40, 59, 61, 70}));
  store.database.PutBookmark(store.device, store.value, kStoreStart + 59 * kMinute);
  EXPECT_EQ(toldOf(explain(store, kStoreStart + 2 * kHour)), (Tolds{{0, Verdict::dropped, 10 * kM},
                                                                    {10 * kM, Verdict::nearest},
                                                                    {20 * kM, Verdict::dropped, 10 * kM},
                                                                    {31 * kM, Verdict::dropped, 59 * kM},
                                                                    {40 * kM, Verdict::dropped, 59 * kM},
                                                                    {59 * kM, Verdict::pinned},
                                                                    {61 * kM, Verdict::too_young},
                                                                    {70 * kM, Verdict::too_young}}));
}

TEST(RetentionSimulation, EachStatusIsDroppedInFavourOfItsOwn)
{
  RetentionStore store({1000, 366, 1, 0, 0, 0});
  std::vector<EntryBytes> entries = minutes({0, 28, 31}, 1);
  std::vector<EntryBytes> const alarms = minutes({5, 50}, 3, 10);
  entries.insert(entries.begin() + 1, alarms.front());
  entries.push_back(alarms.back());
  store.Put(entries);
  EXPECT_EQ(toldOf(explain(store, kStoreStart + 2 * kHour)), (Tolds{{0, Verdict::dropped, 31 * kM},
                                                                    {5 * kM, Verdict::dropped, 50 * kM},
                                                                    {28 * kM, Verdict::dropped, 31 * kM},
                                                                    {31 * kM, Verdict::nearest},
                                                                    {50 * kM, Verdict::nearest}}));
}

TEST(RetentionSimulation, TellsWhatLiesBehindTheLastSlot)
{
  // 3,600,000,000 microseconds leave 2 when divided by 7.
  RetentionStore store({1000, 366, 7, 0, 0, 0});
  store.Put(EntriesAt({kStoreStart, kStoreStart + kHour - 3, kStoreStart + kHour - 2}));
  EXPECT_EQ(toldOf(explain(store, kStoreStart + 2 * kHour)),
            (Tolds{{0, Verdict::nearest}, {kHour - 3, Verdict::nearest}, {kHour - 2, Verdict::remainder}}));
}

TEST(RetentionSimulation, TellsClassesThatKeepEverything)
{
  RetentionStore store({1000, 366, 1, 0, 0, 0});
  store.Put(minutes({0, 1, 24 * 60, 24 * 60 + 1}));
  EXPECT_EQ(toldOf(explain(store, kStoreStart + 2 * kDay)), (Tolds{{0, Verdict::no_cleanup},
                                                                   {1 * kM, Verdict::no_cleanup},
                                                                   {kDay, Verdict::dropped, kDay + kMinute},
                                                                   {kDay + kMinute, Verdict::nearest}}));
}

TEST(RetentionSimulation, TellsWhatWasThinnedBefore)
{
  RetentionStore store({1000, 366, 1, 0, 0, 0});
  store.Put(minutes({0, 29, 61, 88}));
  ASSERT_EQ(store.Run(kStoreStart + 2 * kHour).error, "");
  EXPECT_EQ(
      toldOf(explain(store, kStoreStart + 3 * kHour)),
      (Tolds{{29 * kM, Verdict::thinned_before}, {61 * kM, Verdict::dropped, 88 * kM}, {88 * kM, Verdict::nearest}}));
}

TEST(RetentionSimulation, TellsOpenTrendsAndWhatWaitsForThem)
{
  RetentionStore store({1000, 366, 1, 1, 1, 1});
  store.Put(minutes({0, 1, 24 * 60, 24 * 60 + 1}));
  TrendParts open = TrendWith(minutes({24 * 60 + 600, 24 * 60 + 601}));
  store.Put(open, false);
  // The second day is old enough, but the open trend reaches into it.
  EXPECT_EQ(toldOf(explain(store, kStoreStart + 5 * kDay)), (Tolds{{0, Verdict::dropped, kMinute},
                                                                   {kMinute, Verdict::nearest},
                                                                   {kDay, Verdict::awaits_open},
                                                                   {kDay + kMinute, Verdict::awaits_open},
                                                                   {kDay + 10 * kHour, Verdict::open_trend},
                                                                   {kDay + 601 * kMinute, Verdict::open_trend}}));
}

TEST(RetentionSimulation, EntriesWithOneTimeStampAreToldInTheOrderOfTheirTrends)
{
  RetentionStore store({1000, 366, 0, 0, 0, 0});
  std::vector<EntryBytes> const older = minutes({10, 20});
  std::vector<EntryBytes> const newer = minutes({20, 30}, 1, 50);
  store.Put(newer);
  store.Put(older);
  std::vector<EntryBytes> told;
  for (Explanation const& explanation : explain(store, kStoreStart + kDay))
    told.push_back(ToBytes(explanation.entry));
  EXPECT_EQ(told, (std::vector<EntryBytes>{older[0], older[1], newer[0], newer[1]}));
}

TEST(RetentionSimulation, OnlyOpenTrendsAreToldAsOpen)
{
  RetentionStore store(kCounts);
  TrendParts open = TrendWith(minutes({0, 1}));
  store.Put(open, false);
  EXPECT_EQ(toldOf(explain(store, kStoreStart + 50 * kDay)),
            (Tolds{{0, Verdict::open_trend}, {kMinute, Verdict::open_trend}}));
}

TEST(RetentionSimulation, ExplainThrowsWhatStopsTheRun)
{
  RetentionStore store(kCounts);
  TrendParts disordered = TrendWith(minutes({0, 30, 20, 40}));
  store.Put(disordered);
  ExpectThrow<TrendException>([&] { explain(store, kStoreStart + kDay); }, "Trend entries are not in time order!",
                              "ThinningCheck.cpp");
  store.settings.now = kStoreStart + kDay;
  RetentionSimulation simulation(store.database, store.device, store.value);
  EXPECT_EQ(simulation.Run(store.settings).error, "Trend entries are not in time order!");
}

TEST(RetentionSimulation, ExplainThrowsForACountThatIsNoNumber)
{
  RetentionStore store;
  store.database.PutDevice(
      store.device, DeviceWithCleanup(CleanupClass("OlderThanOneHour", "<vel:NumberOfRemainingTrendEntriesPerHour>many"
                                                                       "</vel:NumberOfRemainingTrendEntriesPerHour>")));
  RetentionSimulation simulation(store.database, store.device, store.value);
  EXPECT_THROW(simulation.Explain(store.settings), OptionException);
  EXPECT_THROW(simulation.Run(store.settings), OptionException);
}

/// Random values, each explained and run: everything is told once, and what is told to stay is what a run leaves.
class RandomSimulation : public testing::Test
{
protected:
  static void fill(RetentionStore& store, Dice& dice)
  {
    store.Configure({static_cast<unsigned int>(dice.Between(20, 200)), 1, dice.Of(std::array{0U, 2U, 7U}),
                     dice.Of(std::array{1U, 6U}), dice.Of(std::array{0U, 3U, 11U}), 2});
    store.settings.keepPeaks = dice.OneIn(2);
    unsigned int mark = 0;
    long long time = kStoreStart + dice.Below(kDay);
    for (long long trends = dice.Between(1, 6); trends > 0; --trends)
    {
      std::vector<EntryBytes> entries;
      for (long long count = dice.Between(1, 60); count > 0; --count)
        entries.push_back(MarkedEntry(time += 1 + dice.Below(dice.Of(std::array{kMinute, kHour, 9 * kHour})),
                                      dice.Of(std::array<unsigned char, 4>{1, 1, 3, 0}), mark++));
      if (dice.OneIn(3))
        store.PutValues({TimeOf(entries.front()), TimeOf(entries.back()) + 1});
      TrendParts parts = TrendWith(entries);
      parts.limit = dice.OneIn(4) ? 2.5 : 0.5;
      store.Put(parts, trends != 1 || dice.OneIn(2));
      if (dice.OneIn(4))
        time -= dice.Below(5 * kHour);
    }
    newest_ = time;
  }

  static inline long long newest_ = 0;
};

TEST_F(RandomSimulation, EverythingIsToldOnceAndWhatStaysIsWhatARunLeaves)
{
  for (unsigned int seed = 1; seed <= 60 && !HasFailure(); ++seed)
  {
    SCOPED_TRACE("case " + std::to_string(seed));
    Dice dice(seed);
    RetentionStore store;
    fill(store, dice);
    long long now = newest_ - 20 * kDay;
    for (int run = 0; run < 3 && !HasFailure(); ++run)
    {
      now += dice.Below(20 * kDay);
      store.settings.now = now;
      Contents const before = contentsOf(store.database, store);
      std::vector<Explanation> const told = explain(store, now);
      RetentionSimulation simulation(store.database, store.device, store.value);
      ASSERT_EQ(simulation.Run(store.settings).error, "");
      ASSERT_TRUE(contentsOf(store.database, store) == before);
      ASSERT_TRUE(entriesOf(told) == EntriesOf(before.rows));
      ASSERT_EQ(store.Run(now).error, "");
      ASSERT_TRUE(staying(told) == EntriesOf(store.Rows()));
      ASSERT_TRUE(EntriesOf(RowsOf(simulation.Database(), store.device)) == EntriesOf(store.Rows()));
      for (std::size_t i = 0; i < told.size(); ++i)
      {
        ASSERT_EQ(told[i].inFavourOf.has_value(), told[i].verdict == Verdict::dropped);
        ASSERT_TRUE(i == 0 || told[i - 1].entry.TimeStamp <= told[i].entry.TimeStamp);
      }
    }
  }
}

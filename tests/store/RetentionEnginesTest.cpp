// Runs of retention on each engine leave what they leave in memory.

#include "store/RetentionLedger.h"
#include "store/RetentionRun.h"
#include "store/RetentionSimulation.h"
#include "support/StoreSupport.h"
#include "support/StoreTest.h"

#include <thread>

namespace
{
Uuid const kDevice = CountingUuid(0x91);
constexpr int kDays = 40;

class RetentionOnEngine : public StoreTest
{
protected:
  RetentionOnEngine()
  {
    counts_.perHourOlderThanOneHour = 6;
    counts_.perDayOlderThanOneDay = 48;
    counts_.perDayOlderThanOneWeek = 12;
    counts_.perDayOlderThanFourWeeks = 4;
  }

  /// Three characteristic values, each with closed trends of two days and an open one of the last day.
  void Fill(DeviceDatabase& database) const
  {
    database.PutDevice(kDevice, DeviceWithCleanup(counts_));
    for (unsigned int value = 0; value < 3; ++value)
      for (int day = 0; day < kDays; day += 2)
        Put(database, value, day, day + 2 < kDays);
    for (CharacteristicValueDataDO const& object : ValuesAt({kStoreStart + 20 * kMinute, kStoreStart + 9 * kDay}))
      database.PutCharacteristicValue(kDevice, Value(1), 0.5, object);
    database.PutBookmark(kDevice, Value(2), kStoreStart + 3 * kDay + 40 * kMinute);
  }

  static Uuid Value(unsigned int number) { return CountingUuid(static_cast<unsigned char>(0x20 * number)); }

  static std::vector<RetentionResult> Thin(DeviceDatabase& database, long long now)
  {
    RetentionSettings settings;
    settings.now = now;
    std::vector<RetentionResult> results;
    RetentionRun(database, settings)
        .ThinDevice(kDevice, [&](RetentionResult const& result) { results.push_back(result); });
    return results;
  }

  static void Put(DeviceDatabase& database, unsigned int value, int day, bool isClosed)
  {
    long long const start = kStoreStart + day * kDay;
    TrendParts parts = TrendWith(
        EntriesEvery(20 * kMinute, start, start + 2 * kDay, static_cast<unsigned char>(1 + value), 150 * day));
    parts.configUuid = Value(value);
    parts.trendUuid = CountingUuid(static_cast<unsigned char>(0x40 * value + day));
    parts.form = zlib;
    TrendDataDO stored = StoredTrend(parts);
    stored.setClosed(isClosed);
    database.PutTrend(kDevice, stored);
  }

private:
  ShrinkSettings counts_;
};

std::vector<EntryBytes> entriesOf(DeviceDatabase& database, Uuid const& value)
{
  TrendQuery query;
  query.value = value;
  return EntriesOf(RowsOf(database, kDevice, query));
}
} // namespace

INSTANTIATE_TEST_SUITE_P(Engines, RetentionOnEngine, EnginesOfThisBuild(), EngineName);

TEST_P(RetentionOnEngine, RunsLeaveWhatTheyLeaveInMemory)
{
  DeviceDatabase database = Open();
  DeviceDatabase memory("sqlite::memory:");
  Fill(database);
  Fill(memory);
  for (long long const now :
       {kStoreStart + 10 * kDay, kStoreStart + 10 * kDay + kHour, kStoreStart + 39 * kDay, kStoreStart + 80 * kDay})
  {
    SCOPED_TRACE(now);
    std::vector<RetentionResult> const results = Thin(database, now);
    std::vector<RetentionResult> const expected = Thin(memory, now);
    ASSERT_EQ(results.size(), 3u);
    for (std::size_t i = 0; i < results.size(); ++i)
    {
      EXPECT_EQ(results[i].error, "");
      EXPECT_EQ(results[i].after.entries, expected[i].after.entries);
      EXPECT_EQ(entriesOf(database, results[i].value), entriesOf(memory, results[i].value));
    }
  }
  EXPECT_LT(entriesOf(database, Value(0)).size(), 400u); // of 2,880
}

TEST_P(RetentionOnEngine, SimulationLeavesTheStoreAloneAndSaysWhatTheRunWillLeave)
{
  DeviceDatabase database = Open();
  Fill(database);
  StoredRows const before = RowsOf(database, kDevice);
  RetentionSimulation simulation(database, kDevice, Value(1));
  RetentionSettings settings;
  settings.now = kStoreStart + 60 * kDay;
  EXPECT_EQ(simulation.Run(settings).error, "");
  EXPECT_TRUE(RowsOf(database, kDevice) == before);
  Thin(database, settings.now);
  EXPECT_EQ(entriesOf(database, Value(1)), entriesOf(simulation.Database(), Value(1)));
}

TEST_P(RetentionOnEngine, RunsOverOneDeviceAtOnceThinEachStretchOnce)
{
  DeviceDatabase database = Open();
  DeviceDatabase memory("sqlite::memory:");
  Fill(database);
  Fill(memory);
  long long const now = kStoreStart + 60 * kDay;
  std::vector<std::vector<RetentionResult>> results(3);
  {
    std::vector<std::jthread> runs;
    for (std::vector<RetentionResult>& found : results)
      runs.emplace_back(
          [&]
          {
            DeviceDatabase own = Open();
            found = Thin(own, now);
          });
  }
  unsigned long long entriesBefore = 0;
  for (std::vector<RetentionResult> const& found : results)
    for (RetentionResult const& result : found)
    {
      EXPECT_EQ(result.error, "");
      entriesBefore += result.before.entries;
    }
  EXPECT_EQ(entriesBefore, 3u * 38 * 72); // what is closed, each entry by one run
  Thin(memory, now);
  for (unsigned int const value : {0u, 1u, 2u})
    EXPECT_EQ(entriesOf(database, Value(value)), entriesOf(memory, Value(value)));
}

TEST_P(RetentionOnEngine, DamagedTrendKeepsItsValueAsItIsAndLetsTheOthersThrough)
{
  DeviceDatabase database = Open();
  Fill(database);
  std::vector<TrendSummary> const trends = database.ListTrends(kDevice, {Value(1), true, {}, 1});
  TrendDataDO damaged = *database.FindTrend(kDevice, trends.front().trend);
  Bytes record = damaged.getData();
  record.resize(record.size() - 1);
  damaged.setData(record);
  database.PutTrend(kDevice, damaged);
  TrendQuery const query{Value(1), std::nullopt, {}, 1000};
  StoredRows const before = RowsOf(database, kDevice, query);
  for (RetentionResult const& result : Thin(database, kStoreStart + 60 * kDay))
  {
    EXPECT_EQ(result.error.empty(), result.value != Value(1));
    EXPECT_EQ(result.after.trends != 0, result.value != Value(1));
  }
  EXPECT_TRUE(RowsOf(database, kDevice, query) == before);
}

#ifdef QEN_POSTGRES
// A transaction that only puts in open trends takes no ledger, and so does not wait for a run, nor the run for it.
TEST_P(RetentionOnEngine, TrendThatIsOpenedWhileARunReplacesItIsNotDeleted)
{
  if (IsSqlite())
    return; // has one writer at a time
  DeviceDatabase database = Open();
  Fill(database);
  Uuid const opened = database.ListTrends(kDevice, {Value(1), true, {}, 1}).front().trend;
  TrendQuery const query{Value(1), std::nullopt, {}, 1000};
  DeviceDatabase::Transaction writing(database);
  TrendDataDO trend = *database.FindTrend(kDevice, opened);
  trend.setClosed(false);
  database.PutTrend(kDevice, trend);
  StoredRows const before = RowsOf(database, kDevice, query);
  std::vector<RetentionResult> results;
  {
    std::jthread const run(
        [&]
        {
          DeviceDatabase own = Open();
          results = Thin(own, kStoreStart + 60 * kDay);
        });
    while (Run("SELECT COUNT(*) FROM pg_locks WHERE NOT granted") == "0")
      std::this_thread::yield();
    writing.Commit();
  }
  for (RetentionResult const& result : results)
    EXPECT_EQ(result.error, result.value == Value(1) ? "Trend " + opened.ToString() + " is not there any more!" : "");
  EXPECT_TRUE(RowsOf(database, kDevice, query) == before);
}
#endif

TEST_P(RetentionOnEngine, RunThatFindsNothingToDoWaitsForNoWriter)
{
  DeviceDatabase database = Open();
  Fill(database);
  long long const now = kStoreStart + 60 * kDay;
  Thin(database, now);
  DeviceDatabase::Transaction const transaction(database);
  for (unsigned int const value : {0u, 1u, 2u})
    RetentionLedger(database, kDevice, Value(value)).Take();
  DeviceDatabase impatient = Open({false, std::chrono::milliseconds(1)});
  std::vector<RetentionResult> const results = Thin(impatient, now);
  ASSERT_EQ(results.size(), 3u);
  for (RetentionResult const& result : results)
    EXPECT_EQ(result.error, "");
}

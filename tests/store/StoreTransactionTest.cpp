// Several calls as one, and several connections at once.
#include "store/DatabaseException.h"
#include "store/RetentionLedger.h"
#include "support/ChildProcess.h"
#include "support/Expectations.h"
#include "support/StoreTest.h"
#include "support/StoredObjects.h"

#include <chrono>

namespace
{
using std::chrono::milliseconds;

Uuid const kDevice = NumberedUuid(0xd1);
Uuid const kValue = NumberedUuid(0xc1);

TrendDataDO trend(unsigned int number, unsigned int generation = 1)
{
  return MakeTrend(NumberedUuid(number), kValue, false, number, number, generation);
}

class StoreTransactions : public StoreTest
{
protected:
  std::string EngineFile() const { return Say("SqliteConnection.cpp", "PostgresConnection.cpp"); }
  std::size_t TrendCount() const { return Open().ListTrends(kDevice).size(); }
};
INSTANTIATE_TEST_SUITE_P(Engines, StoreTransactions, EnginesOfThisBuild(), EngineName);

class StoreConcurrency : public StoreTransactions
{
};
INSTANTIATE_TEST_SUITE_P(Engines, StoreConcurrency, EnginesOfThisBuild(), EngineName);

class StoreReading : public StoreTransactions
{
protected:
  static constexpr DatabaseAccess kReadOnly{true, milliseconds(10000)};
};
INSTANTIATE_TEST_SUITE_P(Engines, StoreReading, EnginesOfThisBuild(), EngineName);
} // namespace

TEST_P(StoreTransactions, CommittedCallsAreStored)
{
  DeviceDatabase database = Open();
  {
    DeviceDatabase::Transaction transaction(database);
    database.PutTrend(kDevice, trend(1));
    database.PutTrend(kDevice, trend(2));
    EXPECT_EQ(database.ListTrends(kDevice).size(), 2u);
    EXPECT_EQ(TrendCount(), 0u);
    transaction.Commit();
  }
  EXPECT_EQ(TrendCount(), 2u);
}

TEST_P(StoreTransactions, CallsWithoutCommitAreNotStored)
{
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, trend(1));
  {
    DeviceDatabase::Transaction const transaction(database);
    database.PutTrend(kDevice, trend(1, 2));
    database.PutTrend(kDevice, trend(2));
    database.DeleteDevice(kDevice);
  }
  EXPECT_EQ(TrendCount(), 1u);
  ExpectSame(*database.FindTrend(kDevice, NumberedUuid(1)), trend(1));
  EXPECT_EQ(database.ListDevices().size(), 1u);
}

TEST_P(StoreTransactions, PartsAreStoredWithTheWhole)
{
  DeviceDatabase database = Open();
  DeviceDatabase::Transaction outer(database);
  {
    DeviceDatabase::Transaction inner(database);
    database.PutTrend(kDevice, trend(1));
    inner.Commit();
  }
  EXPECT_EQ(TrendCount(), 0u);
  outer.Commit();
  EXPECT_EQ(TrendCount(), 1u);
}

TEST_P(StoreTransactions, CommittedPartIsNotStoredWithoutTheWhole)
{
  DeviceDatabase database = Open();
  {
    DeviceDatabase::Transaction const outer(database);
    DeviceDatabase::Transaction inner(database);
    database.PutTrend(kDevice, trend(1));
    inner.Commit();
  }
  EXPECT_EQ(TrendCount(), 0u);
}

TEST_P(StoreTransactions, PartWithoutCommitDoomsTheWhole)
{
  DeviceDatabase database = Open();
  {
    DeviceDatabase::Transaction outer(database);
    database.PutTrend(kDevice, trend(1));
    {
      DeviceDatabase::Transaction const inner(database);
      database.PutTrend(kDevice, trend(2));
    }
    ExpectThrow<DatabaseException>([&] { outer.Commit(); }, "commit: a part of the transaction has failed",
                                   "DeviceDatabase.cpp");
  }
  EXPECT_EQ(TrendCount(), 0u);
}

TEST_P(StoreTransactions, FailedCallDoomsTheWhole)
{
  DeviceDatabase database = Open();
  Run("DROP TABLE bookmark");
  {
    DeviceDatabase::Transaction outer(database);
    database.PutTrend(kDevice, trend(1));
    ExpectThrow<DatabaseException>(
        [&] { database.PutBookmark(kDevice, kValue, 1); },
        "put bookmark: " + Say("no such table: bookmark", "relation \"bookmark\" does not exist"), EngineFile());
    ExpectThrow<DatabaseException>([&] { outer.Commit(); }, "commit: a part of the transaction has failed",
                                   "DeviceDatabase.cpp");
  }
  EXPECT_EQ(TrendCount(), 0u);
}

TEST_P(StoreTransactions, FailedCallLeavesNothingOfItself)
{
  DeviceDatabase database = Open();
  Run("DROP TABLE bookmark");
  EXPECT_THROW(database.PutBookmark(kDevice, kValue, 1), DatabaseException);
  // Its device would have been added before.
  EXPECT_TRUE(database.ListDevices().empty());
}

TEST_P(StoreTransactions, DatabaseWorksAfterADoomedTransaction)
{
  DeviceDatabase database = Open();
  {
    DeviceDatabase::Transaction const outer(database);
    DeviceDatabase::Transaction const inner(database);
  }
  DeviceDatabase::Transaction transaction(database);
  database.PutTrend(kDevice, trend(1));
  transaction.Commit();
  EXPECT_EQ(TrendCount(), 1u);
}

TEST_P(StoreConcurrency, WriterGivesUpAfterItsPatienceAndNotBefore)
{
  DeviceDatabase first = Open();
  DeviceDatabase second = Open({false, milliseconds(300)});
  {
    DeviceDatabase::Transaction transaction(first);
    first.PutTrend(kDevice, trend(1));
    auto const start = std::chrono::steady_clock::now();
    ExpectThrow<DatabaseException>(
        [&] { second.PutTrend(kDevice, trend(2)); },
        Say("begin: database is locked", "add device: canceling statement due to lock timeout"), EngineFile());
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(300));
    transaction.Commit();
  }
  second.PutTrend(kDevice, trend(2));
  EXPECT_EQ(TrendCount(), 2u);
}

TEST_P(StoreConcurrency, WriterWaitsForTheEndOfAnothersTransaction)
{
  DeviceDatabase(Url()).PutDevice(kDevice, DeviceDO());
  Signal isHolding;
  ChildProcess other(
      [&]
      {
        DeviceDatabase database = Open();
        DeviceDatabase::Transaction transaction(database);
        database.PutTrend(kDevice, trend(1, 5));
        isHolding.Give();
        usleep(200000);
        transaction.Commit();
        return std::string("committed");
      });
  isHolding.Await();
  DeviceDatabase database = Open({false, std::chrono::minutes(2)});
  database.PutTrend(kDevice, trend(1, 6));
  // Had it not waited, the other one's trend would stand there.
  EXPECT_EQ(other.Said(), "committed");
  ExpectSame(*database.FindTrend(kDevice, NumberedUuid(1)), trend(1, 6));
}

TEST_P(StoreConcurrency, ClosedTrendWaitsForTheLedgerBeforeItTouchesItsRow)
{
  TrendDataDO const first = MakeTrend(NumberedUuid(1), kValue, true, 1, 1, 1);
  TrendDataDO const second = MakeTrend(NumberedUuid(1), kValue, true, 2, 2, 2);
  DeviceDatabase(Url()).PutTrend(kDevice, first);
  Signal isHolding;
  ChildProcess other(
      [&]
      {
        isHolding.Await();
        DeviceDatabase database = Open({false, std::chrono::minutes(2)});
        database.PutTrend(kDevice, second);
        return std::string("stored");
      });
  DeviceDatabase database = Open({false, std::chrono::minutes(2)});
  {
    DeviceDatabase::Transaction transaction(database);
    RetentionLedger(database, kDevice, kValue).Take();
    isHolding.Give();
    usleep(300000);
    // Had the other one taken the row by now, each would wait for the other.
    database.DeleteTrend(kDevice, NumberedUuid(1));
    transaction.Commit();
  }
  EXPECT_EQ(other.Said(), "stored");
  ExpectSame(*database.FindTrend(kDevice, NumberedUuid(1)), second);
}

TEST_P(StoreConcurrency, StoreIsOpenedWhileAnotherWrites)
{
  DeviceDatabase writer = Open();
  DeviceDatabase::Transaction const transaction(writer);
  writer.PutTrend(kDevice, trend(1));
  EXPECT_TRUE(Open({false, milliseconds(0)}).ListTrends(kDevice).empty());
}

TEST_P(StoreConcurrency, ReadersDoNotWaitAndSeeWhatWasCommitted)
{
  DeviceDatabase writer = Open();
  writer.PutTrend(kDevice, trend(1, 1));
  DeviceDatabase reader = Open({true, milliseconds(0)});
  DeviceDatabase::Transaction transaction(writer);
  writer.PutTrend(kDevice, trend(1, 2));
  ExpectSame(*reader.FindTrend(kDevice, NumberedUuid(1)), trend(1, 1));
  EXPECT_EQ(reader.ListTrends(kDevice).at(0).entryCount, 1u);
  transaction.Commit();
  ExpectSame(*reader.FindTrend(kDevice, NumberedUuid(1)), trend(1, 2));
}

TEST_P(StoreConcurrency, FourProcessesMakeOneStore)
{
  for (unsigned int round = 0; round < 3; ++round)
  {
    Signal start;
    std::vector<std::unique_ptr<ChildProcess>> processes;
    for (unsigned int number = 0; number < 4; ++number)
      processes.push_back(std::make_unique<ChildProcess>(
          [&, number]
          {
            start.Await();
            DeviceDatabase database = Open({false, std::chrono::minutes(2)});
            database.PutDevice(NumberedUuid(number), MakeDevice("process " + std::to_string(number)));
            return std::string("stored");
          }));
    start.Give(4);
    for (auto const& process : processes)
      EXPECT_EQ(process->Said(), "stored");
    EXPECT_EQ(Run("SELECT COUNT(*) FROM qen_store"), "1");
    DeviceDatabase database = Open();
    ASSERT_EQ(database.ListDevices().size(), 4u);
    for (unsigned int number = 0; number < 4; ++number)
      EXPECT_EQ(database.FindDevice(NumberedUuid(number))->getDeviceDetails(), "process " + std::to_string(number));
    Run("DROP TABLE qen_store; DROP TABLE device; DROP TABLE measurement; DROP TABLE trend; "
        "DROP TABLE characteristic_value; DROP TABLE bookmark; DROP TABLE retention");
  }
}

TEST_P(StoreReading, StoreThatIsOnlyReadTakesNoWrites)
{
  Open().PutTrend(kDevice, trend(1));
  DeviceDatabase database = Open(kReadOnly);
  ExpectSame(*database.FindTrend(kDevice, NumberedUuid(1)), trend(1));
  ExpectThrow<DatabaseException>([&] { database.PutTrend(kDevice, trend(2)); },
                                 Say("add device: attempt to write a readonly database",
                                     "add device: cannot execute INSERT in a read-only transaction"),
                                 EngineFile());
  ExpectThrow<DatabaseException>([&] { database.DeleteTrend(kDevice, NumberedUuid(1)); },
                                 Say("delete trend: attempt to write a readonly database",
                                     "delete trend: cannot execute DELETE in a read-only transaction"),
                                 EngineFile());
  EXPECT_EQ(TrendCount(), 1u);
}

TEST_P(StoreReading, StoreThatDoesNotExistIsNotMade)
{
  if (IsSqlite())
  {
    ExpectThrow<DatabaseException>([&] { Open(kReadOnly); },
                                   "open " + FilePath() + ": unable to open database file: No such file or directory",
                                   EngineFile());
    EXPECT_FALSE(std::filesystem::exists(FilePath()));
    return;
  }
  ExpectThrow<NoStoreException>([&] { Open(kReadOnly); }, "find store: there is none", "DeviceDatabase.cpp");
  EXPECT_EQ(Run("SELECT to_regclass('qen_store') IS NULL"), "t");
}

TEST_P(StoreReading, DatabaseOfAnotherProgramHoldsNoStore)
{
  Run("CREATE TABLE foreign_table (number INTEGER)");
  ExpectThrow<NoStoreException>([&] { Open(kReadOnly); }, "find store: there is none", "DeviceDatabase.cpp");
}

TEST_P(StoreReading, StoreOfAnotherVersionIsRefused)
{
  Open();
  for (auto const& [set, message] :
       {std::pair{"UPDATE qen_store SET version = 2",
                  "read schema version: the store has version 2, this program knows 1"},
        {"UPDATE qen_store SET version = 0", "read schema version: the store has version 0, this program knows 1"},
        {"DELETE FROM qen_store", "read schema version: there is none"}})
  {
    Run(set);
    ExpectThrow<DatabaseException>([&] { Open(kReadOnly); }, message, "StoreSchema.cpp");
  }
}

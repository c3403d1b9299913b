// Threads that write to one file at once, each through a DeviceDatabase of its own.
#include "store/DeviceDatabase.h"
#include "support/StoredObjects.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <thread>

namespace
{
constexpr unsigned int kThreads = 4;
constexpr unsigned int kTrends = 50;

TrendDataDO trendOf(unsigned int thread, unsigned int number)
{
  return MakeTrend(NumberedUuid(number), NumberedUuid(0x100 + thread), number % 2 == 0, number, number + 10,
                   thread + 1);
}
} // namespace

TEST(StoreThreads, NothingIsLostWhenFourThreadsWriteToOneFile)
{
  TemporaryDirectory const folder;
  std::string const url = "sqlite:" + folder.Path("store.db");
  DatabaseAccess const patient{false, std::chrono::minutes(2)};
  {
    std::vector<std::jthread> threads;
    for (unsigned int thread = 0; thread < kThreads; ++thread)
      threads.emplace_back(
          [&url, &patient, thread]
          {
            DeviceDatabase database(url, patient);
            for (unsigned int number = 0; number < kTrends; ++number)
              database.PutTrend(NumberedUuid(thread), trendOf(thread, number));
          });
  }
  DeviceDatabase database(url);
  for (unsigned int thread = 0; thread < kThreads; ++thread)
  {
    EXPECT_EQ(database.ListTrends(NumberedUuid(thread)).size(), kTrends);
    for (unsigned int number = 0; number < kTrends; ++number)
    {
      auto const found = database.FindTrend(NumberedUuid(thread), NumberedUuid(number));
      ASSERT_TRUE(found) << thread << " " << number;
      ExpectSame(*found, trendOf(thread, number));
    }
  }
  EXPECT_TRUE(database.CheckIntegrity().empty());
}

// A machine that is measured every five minutes for a year, whose store is thinned every hour.

#include "support/StoreSupport.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace
{
/// The device: an open trend that grows, closed and followed by a new one every so many entries.
class Writer
{
public:
  Writer(RetentionStore& store, std::size_t closeAt) : store_(store), closeAt_(closeAt) { begin(); }

  void Add(EntryBytes const& entry)
  {
    parts_.entries.push_back(entry);
    if (parts_.entries.size() == closeAt_)
    {
      put(true);
      begin();
    }
  }
  void Flush()
  {
    if (!parts_.entries.empty())
      put(false);
  }

private:
  void begin()
  {
    parts_.trendUuid = store_.NextUuid();
    parts_.form = zlib;
    parts_.entries.clear();
  }
  void put(bool isClosed) { store_.PutAs(parts_, isClosed); }

  RetentionStore& store_;
  std::size_t closeAt_;
  TrendParts parts_;
};

unsigned long long storedBytes(RetentionStore& store)
{
  DeviceStatistics const statistics = store.database.ReadStatistics(store.device);
  return statistics.openTrends.byteCount + statistics.closedTrends.byteCount;
}
} // namespace

TEST(RetentionYear, HourlyRunsKeepWhatTheSettingsSayOfEachDayAndStatus)
{
  RetentionStore store({100000, 366, 6, 72, 24, 12});
  Writer writer(store, 288);
  std::set<EntryBytes> raw;
  unsigned long long bytesRead = 0;
  unsigned long long mostRead = 0;
  unsigned int runs = 0;
  constexpr int kDays = 365;
  unsigned int mark = 0;
  for (int hour = 0; hour < kDays * 24; ++hour)
  {
    for (int step = 0; step < 12; ++step)
    {
      // Status 1 all the time, a second series of status 3 one minute later on every third day.
      long long const time = kStoreStart + hour * kHour + step * 5 * kMinute;
      EntryBytes const entry = MarkedEntry(time, 1, mark++);
      raw.insert(entry);
      writer.Add(entry);
      if (hour / 24 % 3 == 0)
      {
        EntryBytes const alarm = MarkedEntry(time + kMinute, 3, mark++);
        raw.insert(alarm);
        writer.Add(alarm);
      }
    }
    writer.Flush();
    RetentionResult const result = store.Run(kStoreStart + (hour + 1) * kHour);
    ASSERT_EQ(result.error, "");
    if (hour >= (kDays - 28) * 24)
    {
      bytesRead += result.bytesRead;
      mostRead = std::max(mostRead, result.bytesRead);
      ++runs;
    }
  }
  std::map<std::pair<long long, int>, unsigned int> perDayAndStatus;
  for (EntryBytes const& entry : EntriesOf(store.Rows()))
  {
    ASSERT_EQ(raw.count(entry), 1u);
    ++perDayAndStatus[{(TimeOf(entry) - kStoreStart) / kDay, StatusOf(entry)}];
  }
  long long const now = kStoreStart + kDays * kDay;
  for (int day = 0; day < kDays - 3; ++day)
  {
    long long const end = kStoreStart + (day + 1) * kDay;
    unsigned int const expected = end + 28 * kDay <= now ? 12 : end + 7 * kDay <= now ? 24 : 72;
    EXPECT_EQ((perDayAndStatus[{day, 1}]), expected) << "day " << day;
    EXPECT_EQ((perDayAndStatus[{day, 3}]), day % 3 == 0 ? expected : 0) << "day " << day;
  }
  unsigned long long const stored = storedBytes(store);
  std::printf("stored %llu bytes in %zu trends; a run read %.0f bytes (%.2f %%) on average, %llu at most\n", stored,
              store.database.ListTrends(store.device).size(), double(bytesRead) / runs,
              100.0 * bytesRead / runs / stored, mostRead);
  EXPECT_LT(bytesRead / runs, stored / 100);
}

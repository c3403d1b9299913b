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

constexpr int kDays = 365;
/// So many small trends behind the oldest class are joined at once; there is one for each day.
constexpr int kJoined = 32;

/// What runs read, those that join small trends told apart, and what they leave.
class Readings
{
public:
  void Add(RetentionResult const& run, long long now, std::vector<TrendSummary> const& left)
  {
    ++runs_;
    all_ += run.bytesRead;
    // The last of them was made by the same run, and does not count as one that was there before.
    bool const hasJoined = run.before.trends >= kJoined - 1;
    joining_ += hasJoined ? 1 : 0;
    unsigned long long& most = hasJoined ? mostWithJoining_ : mostWithout_;
    most = std::max(most, run.bytesRead);
    mostTrends_ = std::max(mostTrends_, left.size());
    for (TrendSummary const& trend : left)
      if (trend.lastTimeStamp < now - 28 * kDay && trend.lastTimeStamp - trend.firstTimeStamp < kDay)
        largestSmall_ = std::max(largestSmall_, trend.byteCount);
  }

  void ExpectBounded(unsigned long long stored) const
  {
    std::printf(
        "stored %llu bytes in at most %zu trends; a run read %llu bytes (%.2f %%) on average, %llu at most, %llu "
        "when it joined small trends of up to %llu\n",
        stored, mostTrends_, all_ / runs_, 100.0 * double(all_) / runs_ / double(stored), mostWithout_,
        mostWithJoining_, largestSmall_);
    EXPECT_LT(all_ / runs_, stored / 100);
    EXPECT_EQ(joining_, 1u);
    EXPECT_LE(mostWithJoining_, kJoined * largestSmall_ + mostWithout_);
    // A closed trend a day and the open one, small ones that wait for each other, and one for each time they did not.
    EXPECT_LE(mostTrends_, std::size_t{28 + 2 + kJoined - 1 + kDays / kJoined});
  }

private:
  unsigned int runs_ = 0;
  unsigned int joining_ = 0;
  unsigned long long all_ = 0;
  unsigned long long mostWithout_ = 0;
  unsigned long long mostWithJoining_ = 0;
  unsigned long long largestSmall_ = 0; ///< of the trends of one day behind the oldest class, bytes
  std::size_t mostTrends_ = 0;
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
  Readings readings;
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
    long long const now = kStoreStart + (hour + 1) * kHour;
    RetentionResult const result = store.Run(now);
    ASSERT_EQ(result.error, "");
    if (hour >= (kDays - kJoined) * 24)
      readings.Add(result, now, store.database.ListTrends(store.device));
  }
  std::map<std::pair<long long, int>, unsigned int> perDayAndStatus;
  std::map<long long, unsigned int> perHourOfTheLastDay;
  for (EntryBytes const& entry : EntriesOf(store.Rows()))
  {
    ASSERT_EQ(raw.count(entry), 1u);
    long long const time = TimeOf(entry) - kStoreStart;
    ++perDayAndStatus[{time / kDay, StatusOf(entry)}];
    if (time / kDay == kDays - 1)
      ++perHourOfTheLastDay[time % kDay / kHour];
  }
  long long const now = kStoreStart + kDays * kDay;
  for (int day = 0; day < kDays - 1; ++day)
  {
    long long const end = kStoreStart + (day + 1) * kDay;
    unsigned int const expected = end + 28 * kDay <= now ? 12 : end + 7 * kDay <= now ? 24 : 72;
    EXPECT_EQ((perDayAndStatus[{day, 1}]), expected) << "day " << day;
    EXPECT_EQ((perDayAndStatus[{day, 3}]), day % 3 == 0 ? expected : 0) << "day " << day;
  }
  // The trend of the last day, without alarms, was closed by its last entry; the hour before now is too young.
  for (int hour = 0; hour < 24; ++hour)
    EXPECT_EQ(perHourOfTheLastDay[hour], hour < 23 ? 6u : 12u) << "hour " << hour;
  readings.ExpectBounded(storedBytes(store));
}

// A machine that is measured every five minutes for a year, whose store is thinned every hour.

#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"
#include "support/TrendRecords.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace
{
constexpr long long kMinute = 60000000;
constexpr long long kHour = 60 * kMinute;
constexpr long long kDay = 24 * kHour;
constexpr long long kStart = 1767225600000000; // 2026-01-01T00:00:00Z

DeviceDO deviceWith(unsigned int perHour, unsigned int day, unsigned int week, unsigned int fourWeeks)
{
  auto const perDay = [](char const* name, unsigned int count)
  {
    return "<vel:" + std::string(name) + "><vel:NumberOfRemainingTrendEntriesPerDay>" + std::to_string(count) +
           "</vel:NumberOfRemainingTrendEntriesPerDay></vel:" + name + ">";
  };
  DeviceDO device;
  device.setDeviceDetails("<vel:DeviceDetails xmlns:vel=\"urn:x\"><vel:TrendCleanupSettings><vel:OlderThanOneHour>"
                          "<vel:NumberOfRemainingTrendEntriesPerHour>" +
                          std::to_string(perHour) +
                          "</vel:NumberOfRemainingTrendEntriesPerHour></vel:OlderThanOneHour>" +
                          perDay("OlderThanOneDay", day) + perDay("OlderThanOneWeek", week) +
                          perDay("OlderThanFourWeeks", fourWeeks) +
                          "</vel:TrendCleanupSettings></vel:DeviceDetails>");
  return device;
}

/// The device: an open trend that grows, closed and followed by a new one every so many entries.
class Writer
{
public:
  Writer(DeviceDatabase& database, Uuid const& device, std::size_t closeAt)
    : database_(database), device_(device), closeAt_(closeAt)
  {
    begin();
  }

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
  Uuid const& OpenTrend() const { return parts_.trendUuid; }
  Bytes OpenRecord() const { return FlatTrend(parts_); }

private:
  void begin()
  {
    parts_.trendUuid = Uuid::CreateUuid();
    parts_.form = zlib;
    parts_.entries.clear();
  }
  void put(bool isClosed)
  {
    TrendDataDO stored = StoredTrend(parts_);
    stored.setClosed(isClosed);
    database_.PutTrend(device_, stored);
  }

  DeviceDatabase& database_;
  Uuid device_;
  std::size_t closeAt_;
  TrendParts parts_;
};

std::vector<EntryBytes> storedEntries(DeviceDatabase& database, Uuid const& device)
{
  std::vector<EntryBytes> all;
  std::vector<TrendSummary> trends = database.ListTrends(device);
  std::reverse(trends.begin(), trends.end());
  for (TrendSummary const& summary : trends)
    for (EntryBytes const& entry : EntriesOf(database.FindTrend(device, summary.trend)->getData()))
      all.push_back(entry);
  return all;
}

unsigned long long storedBytes(DeviceDatabase& database, Uuid const& device)
{
  DeviceStatistics const statistics = database.ReadStatistics(device);
  return statistics.openTrends.byteCount + statistics.closedTrends.byteCount;
}
} // namespace

TEST(RetentionYear, HourlyRunsKeepWhatTheSettingsSayOfEachDayAndStatus)
{
  DeviceDatabase database("sqlite::memory:");
  Uuid const device = Uuid::CreateUuid();
  database.PutDevice(device, deviceWith(6, 72, 24, 12));
  Writer writer(database, device, 288);
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
      long long const time = kStart + hour * kHour + step * 5 * kMinute;
      for (auto const& entry : {MarkedEntry(time, 1, mark++)})
      {
        raw.insert(entry);
        writer.Add(entry);
      }
      if (hour / 24 % 3 == 0)
      {
        EntryBytes const alarm = MarkedEntry(time + kMinute, 3, mark++);
        raw.insert(alarm);
        writer.Add(alarm);
      }
    }
    writer.Flush();
    RetentionSettings settings;
    settings.now = kStart + (hour + 1) * kHour;
    RetentionRun run(database, settings);
    run.ThinDevice(device,
                   [&](RetentionResult const& result)
                   {
                     ASSERT_EQ(result.error, "");
                     if (hour >= (kDays - 28) * 24)
                     {
                       bytesRead += result.bytesRead;
                       mostRead = std::max(mostRead, result.bytesRead);
                       ++runs;
                     }
                   });
  }
  std::map<std::pair<long long, int>, unsigned int> perDayAndStatus;
  for (EntryBytes const& entry : storedEntries(database, device))
  {
    ASSERT_EQ(raw.count(entry), 1u);
    ++perDayAndStatus[{(TimeOf(entry) - kStart) / kDay, StatusOf(entry)}];
  }
  long long const now = kStart + kDays * kDay;
  for (int day = 0; day < kDays - 3; ++day)
  {
    long long const end = kStart + (day + 1) * kDay;
    unsigned int const expected = end + 28 * kDay <= now ? 12 : end + 7 * kDay <= now ? 24 : 72;
    EXPECT_EQ((perDayAndStatus[{day, 1}]), expected) << "day " << day;
    EXPECT_EQ((perDayAndStatus[{day, 3}]), day % 3 == 0 ? expected : 0) << "day " << day;
  }
  unsigned long long const stored = storedBytes(database, device);
  std::printf("stored %llu bytes in %zu trends; a run read %.0f bytes (%.2f %%) on average, %llu at most\n", stored,
              database.ListTrends(device).size(), double(bytesRead) / runs, 100.0 * bytesRead / runs / stored, mostRead);
  EXPECT_LT(bytesRead / runs, stored / 100);
}

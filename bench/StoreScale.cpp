// How a store grows with its fleet: devices with 20 characteristic values each, one closed trend of 2,000 entries for
// each value, one a five minutes. Prints, for a tenth of the devices and then for all of them, how fast trends go in,
// what one retention run costs for a million entries, and what the store takes up before and after.
//
//   qen_store_scale URL [DEVICES]     the URL names a store that does not exist yet; 2,000 devices

#include "platform/QenTime.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <exception>
#include <memory>
#include <random>

namespace
{
constexpr unsigned int kValues = 20;
constexpr unsigned int kEntries = 2000;
constexpr unsigned int kDefaultDevices = 2000;
constexpr long long kFiveMinutes = 300000000;
constexpr long long kNow = 1800000000000000;
constexpr char const kDetails[] =
    "<vel:DeviceDetails xmlns:vel=\"urn:scale\"><vel:TrendCleanupSettings><vel:OlderThanOneHour>"
    "<vel:NumberOfRemainingTrendEntriesPerHour>12</vel:NumberOfRemainingTrendEntriesPerHour></vel:OlderThanOneHour>"
    "<vel:OlderThanOneDay><vel:NumberOfRemainingTrendEntriesPerDay>24</vel:NumberOfRemainingTrendEntriesPerDay>"
    "</vel:OlderThanOneDay></vel:TrendCleanupSettings></vel:DeviceDetails>";

/// Wall time and processor time since the object was made, seconds.
class Watch
{
public:
  double Wall() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_).count(); }
  double Processor() const { return static_cast<double>(std::clock() - processor_) / CLOCKS_PER_SEC; }

private:
  std::chrono::steady_clock::time_point wall_ = std::chrono::steady_clock::now();
  std::clock_t processor_ = std::clock();
};

/// A slow wave with noise, as a machine's level is.
std::unique_ptr<TrendDataDO> makeTrend(Uuid const& value, std::mt19937& random)
{
  std::normal_distribution<double> noise(0, 0.05);
  Trend trend(value, Uuid(), Uuid(), "mm/s", 4.5);
  std::deque<trend_entry_t> entries;
  for (unsigned int i = 0; i < kEntries; ++i)
  {
    trend_entry_t& entry = entries.emplace_back();
    entry.TimeStamp = kNow - (kEntries - i) * kFiveMinutes;
    entry.Value = std::round((2 + std::sin(i / 288.0) + noise(random)) * 1000) / 1000;
    entry.Status = static_cast<unsigned char>(entry.Value > 3 ? 2 : 1);
  }
  trend.AddTrendEntries(entries.begin(), entries.end());
  trend.SetCompression(zlib);
  std::unique_ptr<TrendDataDO> stored(trend.GetTrendDataDO());
  stored->setClosed(true);
  return stored;
}

class Fleet
{
public:
  explicit Fleet(std::string const& url) : database_(url) { device_.setDeviceDetails(kDetails); }

  /// Until there are so many devices.
  void Grow(unsigned int devices)
  {
    // Trends that differ, made once: making them is not what is measured.
    std::mt19937 random(1);
    std::vector<std::unique_ptr<TrendDataDO>> trends;
    for (unsigned int i = 0; i < kValues; ++i)
      trends.push_back(makeTrend(Uuid::CreateUuid(), random));
    Watch const watch;
    unsigned int const added = devices - static_cast<unsigned int>(devices_.size());
    while (devices_.size() < devices)
    {
      devices_.push_back(Uuid::CreateUuid());
      DeviceDatabase::Transaction transaction(database_);
      database_.PutDevice(devices_.back(), device_);
      for (auto const& trend : trends)
      {
        trend->setCurrentUuid({0, Uuid::CreateUuid(), false});
        database_.PutTrend(devices_.back(), *trend);
      }
      transaction.Commit();
    }
    std::printf("%6zu devices  put %8.0f trends/s\n", devices_.size(), added * kValues / watch.Wall());
  }

  void Thin()
  {
    RetentionSettings settings;
    settings.now = kNow;
    RetentionRun run(database_, settings);
    RetentionResult sum;
    Watch const watch;
    for (Uuid const& device : devices_)
      run.ThinDevice(device, [&sum](RetentionResult const& result) { add(sum, result); });
    double const millions = static_cast<double>(sum.before.entries) / 1e6;
    std::printf(
        "%6zu devices  run over %.1f M entries: %.3f s wall, %.3f s processor for each M; %llu -> %llu entries, "
        "%llu -> %llu trends, %.1f -> %.1f MB%s%s\n",
        devices_.size(), millions, watch.Wall() / millions, watch.Processor() / millions, sum.before.entries,
        sum.after.entries, sum.before.trends, sum.after.trends, static_cast<double>(sum.before.bytes) / 1e6,
        static_cast<double>(sum.after.bytes) / 1e6, sum.error.empty() ? "" : "; FAILED: ", sum.error.c_str());
    Watch const again;
    for (Uuid const& device : devices_)
      run.ThinDevice(device, [](RetentionResult const&) {});
    std::printf("%6zu devices  a run with nothing to do: %.3f ms for each device\n", devices_.size(),
                again.Wall() * 1000 / static_cast<double>(devices_.size()));
  }

  void ReleaseSpace() { database_.ReleaseSpace(); }

private:
  static void add(RetentionResult& sum, RetentionResult const& result)
  {
    if (!result.error.empty())
      sum.error = result.error;
    sum.before += result.before;
    sum.after += result.after;
  }

  DeviceDatabase database_;
  DeviceDO device_;
  std::vector<Uuid> devices_;
};
} // namespace

int main(int count, char** arguments)
try
{
  if (count < 2)
    return std::fprintf(stderr, "usage: qen_store_scale URL [DEVICES]\n"), 2;
  unsigned int const devices =
      count > 2 ? static_cast<unsigned int>(std::strtoul(arguments[2], nullptr, 10)) : kDefaultDevices;
  Fleet fleet(arguments[1]);
  for (unsigned int const size : {devices / 10, devices})
  {
    fleet.Grow(size);
    fleet.Thin();
  }
  fleet.ReleaseSpace();
  return 0;
}
catch (std::exception const& exception)
{
  return std::fprintf(stderr, "qen_store_scale: %s\n", exception.what()), 1;
}

#include "Material.h"

#include "platform/Organisation.h"
#include "signalprocessing/io/file/Trend.h"

#include <cmath>
#include <deque>
#include <memory>

namespace
{
Uuid exampleUuid() { return Uuid("00000000-0000-0000-0000-000000000001"); }

/// A small generator whose numbers are the same everywhere.
class Noise
{
public:
  int operator()()
  {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<int>(state_ >> 24) - 128;
  }

private:
  unsigned state_ = 1;
};

std::string cleanupClass(std::string const& name, std::string const& period, int count)
{
  std::string const key = "vel:NumberOfRemainingTrendEntriesPer" + period;
  return "<vel:" + name + "><" + key + ">" + std::to_string(count) + "</" + key + "></vel:" + name + ">";
}
} // namespace

std::vector<short> Material::Vibration(std::size_t count)
{
  std::vector<short> samples(count);
  Noise noise;
  for (std::size_t i = 0; i < count; ++i)
  {
    auto const time = static_cast<double>(i);
    samples[i] = static_cast<short>(2000 * std::sin(time * 0.01) + 300 * std::sin(time * 0.37) + noise());
  }
  return samples;
}

TimeSignal Material::Signal(std::vector<short> const& samples)
{
  Uuid const uuid = exampleUuid();
  return {raw_time_signal, uuid,         uuid,           1.0 / 51200,    1.0, 0.0, 0, uuid,
          "mm/s",          data_int16_t, samples.size(), samples.data(), uuid};
}

void Material::Annotate(TimeSignal& signal, int count)
{
  Uuid const uuid = exampleUuid();
  signal.AddTrigger(uuid, 1.25, uuid, "mm/s");
  for (int i = 0; i < count; ++i)
  {
    signal.AddValidator(uuid, i + 0.125, uuid, "1/min");
    signal.AddCharacteristicValue(uuid, i * 3.7, uuid, "mm/s", 1480.5F);
  }
}

std::vector<trend_entry_t> Material::TrendEntries(std::size_t count)
{
  constexpr long long kMinute = 60'000'000;
  std::vector<trend_entry_t> entries(count);
  Noise noise;
  for (std::size_t i = 0; i < count; ++i)
  {
    trend_entry_t& entry = entries[i];
    entry.TimeStamp = kNow - kMinute - static_cast<long long>(count - 1 - i) * 5 * kMinute;
    entry.Value = 2.5 + 0.01 * noise();
    entry.Status = i % 50 == 49 ? 2 : 1;
  }
  return entries;
}

TrendDataDO Material::StoredTrend(std::size_t count, compression32_t compression)
{
  std::vector<trend_entry_t> const entries = TrendEntries(count);
  std::deque<trend_entry_t> const queue(entries.begin(), entries.end());
  Uuid const uuid = exampleUuid();
  Trend trend(uuid, uuid, uuid, "mm/s", 4.5);
  trend.AddTrendEntries(queue.begin(), queue.end());
  trend.SetCompression(compression);
  std::unique_ptr<TrendDataDO> const stored(trend.GetTrendDataDO());
  return *stored;
}

DeviceDO Material::Device()
{
  DeviceDO device;
  device.setDeviceDetails("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<vel:DeviceDetails xmlns:vel=\"" +
                          std::string(Organisation::kNamespaceUri) + "\"><vel:TrendCleanupSettings>" +
                          cleanupClass("OlderThanOneHour", "Hour", 6) + cleanupClass("OlderThanOneDay", "Day", 24) +
                          cleanupClass("OlderThanOneWeek", "Day", 4) + cleanupClass("OlderThanFourWeeks", "Day", 1) +
                          "</vel:TrendCleanupSettings></vel:DeviceDetails>");
  return device;
}

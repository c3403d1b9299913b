// A whole thinning run from foreign bytes: time, settings, characteristic values and trends with any time stamps. What
// survives must have been there, and the run must end.

#include "Examination.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <algorithm>
#include <set>

namespace
{
using Examination::Input;
using Examination::Require;

std::string classDetails(char const* name, char const* unit, unsigned int count)
{
  std::string const element = std::string("vel:NumberOfRemainingTrendEntriesPer") + unit;
  return std::string("<vel:") + name + "><" + element + ">" + std::to_string(count) + "</" + element +
         "></vel:" + name + ">";
}

DeviceDO takeDevice(Input& input)
{
  DeviceDO device;
  device.setDeviceDetails("<vel:DeviceDetails><vel:TrendCleanupSettings>" +
                          classDetails("OlderThanOneHour", "Hour", input.Take<unsigned int>()) +
                          classDetails("OlderThanOneDay", "Day", input.Take<unsigned int>()) +
                          classDetails("OlderThanOneWeek", "Day", input.Take<unsigned short>()) +
                          classDetails("OlderThanFourWeeks", "Day", input.Take<unsigned char>()) +
                          "</vel:TrendCleanupSettings></vel:DeviceDetails>");
  return device;
}

/// Small steps of any unit, and now and then any time.
long long takeTime(Input& input, long long last)
{
  auto const kind = input.Take<unsigned char>();
  if (kind == 255)
    return input.Take<long long>();
  constexpr std::array<long long, 4> kUnits{1, 1000000, 3600000000, 86400000000};
  return static_cast<long long>(static_cast<unsigned long long>(last) +
                                static_cast<unsigned long long>(kUnits[kind % 4] * (kind / 4)));
}

TrendDataDO takeTrend(Input& input, long long& time, std::multiset<std::string>& entries)
{
  Trend trend(Uuid(), Uuid(), Uuid(), "", input.Take<signed char>() < 0 ? 1.0 : 2.0);
  for (unsigned int count = input.Take<unsigned char>(); count > 0 && !input.IsEmpty(); --count)
  {
    trend_entry_t entry;
    std::memset(static_cast<void*>(&entry), static_cast<int>(count), sizeof entry);
    time = takeTime(input, time);
    entry.TimeStamp = time;
    entry.Status = input.Take<unsigned char>();
    trend.AddTrendEntry(entry, true);
    entries.emplace(reinterpret_cast<char const*>(&entry), sizeof entry);
  }
  std::unique_ptr<TrendDataDO> const stored(trend.GetTrendDataDO());
  return *stored;
}

void requireAmong(TrendDataDO const& survivor, std::multiset<std::string>& entries)
{
  Require(survivor.getClosed());
  Trend const trend(survivor);
  for (trend_entry_t const& entry : trend.GetTrendEntryVector())
  {
    auto const found = entries.find(std::string(reinterpret_cast<char const*>(&entry), sizeof entry));
    Require(found != entries.end());
    entries.erase(found);
  }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  Input input(data, size);
  DeviceDO const device = takeDevice(input);
  auto const maxSize = static_cast<unsigned int>(input.Take<unsigned char>()) + 1;
  TrendShrinker shrinker(device, maxSize, input.Take<unsigned int>());
  auto const now = input.Take<long long>();
  long long time = input.Take<long long>();
  std::vector<CharacteristicValueDataDO> values(input.Take<unsigned char>() % 16);
  long long valueTime = time;
  for (CharacteristicValueDataDO& value : values)
    value.setMeasurementTimeStamp(valueTime = takeTime(input, valueTime));
  std::multiset<std::string> entries;
  std::vector<TrendDataDO> trends;
  while (!input.IsEmpty())
    trends.push_back(takeTrend(input, time, entries));
  for (std::unique_ptr<TrendDataDO> const& survivor : shrinker.ShrinkTrendsOrThrow(now, trends, values))
  {
    Require(survivor->getNumSamples() <= maxSize && survivor->getNumSamples() > 0);
    requireAmong(*survivor, entries);
  }
  return 0;
}

#pragma once

#include "Examination.h"
#include "support/TrendShrinkingModel.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

/// The input of a thinning run: settings, time, characteristic values, and stored trends, each behind its size.
struct ShrinkInput
{
  ShrinkSettings settings;
  long long now = 0;
  std::vector<long long> values;
  std::vector<Bytes> trends;

  explicit ShrinkInput(std::span<std::uint8_t const> bytes)
  {
    Fuzzing::Input input(bytes);
    settings.perHourOlderThanOneHour = input.Take<unsigned int>();
    settings.perDayOlderThanOneDay = input.Take<unsigned int>();
    settings.perDayOlderThanOneWeek = input.Take<unsigned short>();
    settings.perDayOlderThanFourWeeks = input.Take<std::uint8_t>();
    settings.maxSize = input.Take<std::uint8_t>();
    settings.maxDays = input.Take<unsigned int>();
    now = input.Take<long long>();
    values.resize(input.Below(16));
    for (long long& value : values)
      value = input.Take<long long>();
    while (!input.IsEmpty())
    {
      auto const trend = input.TakeBytes(input.Take<unsigned short>());
      trends.emplace_back(trend.begin(), trend.end());
    }
  }

  Bytes Form() const
  {
    Bytes bytes;
    auto const put = [&bytes](auto value)
    {
      bytes.resize(bytes.size() + sizeof value);
      std::memcpy(bytes.data() + bytes.size() - sizeof value, &value, sizeof value);
    };
    put(settings.perHourOlderThanOneHour);
    put(settings.perDayOlderThanOneDay);
    put(static_cast<unsigned short>(settings.perDayOlderThanOneWeek));
    put(static_cast<std::uint8_t>(settings.perDayOlderThanFourWeeks));
    put(static_cast<std::uint8_t>(settings.maxSize));
    put(settings.maxDays);
    put(now);
    put(static_cast<std::uint8_t>(values.size()));
    for (long long const value : values)
      put(value);
    for (Bytes const& trend : trends)
    {
      put(static_cast<unsigned short>(trend.size()));
      bytes.insert(bytes.end(), trend.begin(), trend.end());
    }
    return bytes;
  }
};

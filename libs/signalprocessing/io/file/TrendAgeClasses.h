#pragma once

#include <array>
#include <limits>

/// Times of trends, microseconds, and the age classes that thinning tells apart.

inline constexpr long long kTrendHour = 3600000000;
inline constexpr long long kTrendDay = 24 * kTrendHour;

// Time stamps come from outside and may be anything.

inline long long SaturatingAdd(long long a, long long b)
{
  long long sum = 0;
  if (__builtin_add_overflow(a, b, &sum))
    return a < 0 ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
  return sum;
}

inline long long SaturatingSubtract(long long a, long long b)
{
  long long difference = 0;
  if (__builtin_sub_overflow(a, b, &difference))
    return a < 0 ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
  return difference;
}

/// How far `later` is behind `earlier`, which must not be later.
inline unsigned long long TimeBetween(long long earlier, long long later)
{
  return static_cast<unsigned long long>(later) - static_cast<unsigned long long>(earlier);
}

struct TrendAgeClass
{
  long long age;
  long long periodLength;

  /// Periods that start before this are old enough at the time `now`.
  long long Border(long long now) const
  {
    return SaturatingSubtract(SaturatingSubtract(now, age - 1), periodLength - 1);
  }
};

/// Oldest first: a period belongs to the first class that it is old enough for.
inline constexpr std::array<TrendAgeClass, 4> kTrendAgeClasses{
    {{28 * kTrendDay, kTrendDay}, {7 * kTrendDay, kTrendDay}, {kTrendDay, kTrendDay}, {kTrendHour, kTrendHour}}};

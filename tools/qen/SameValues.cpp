#include "SameValues.h"

#include "signalprocessing/io/file/SampleTypes.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace
{
/// Tells 0 from -0, and a not-a-number is the same as itself.
bool HaveSameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

template <class T>
T SampleAt(std::span<unsigned char const> bytes, std::size_t index)
{
  T sample;
  std::memcpy(&sample, bytes.data() + index * sizeof(T), sizeof(T));
  return sample;
}

/// Whether a floating-point number is exactly the integer.
template <class T>
bool IsInteger(double value, T integer)
{
  // The type's limits as powers of two are exact in double. The range comes first: conversions beyond it are undefined.
  double const end = std::ldexp(1.0, std::numeric_limits<T>::digits);
  double const begin = std::signed_integral<T> ? -end : 0.0;
  return value >= begin && value < end && value == std::trunc(value) && static_cast<T>(value) == integer;
}

/// Integer samples before, moved by a whole number of counts.
template <class Before, class After>
bool Agree(Before before, After after, long long removed)
{
  if constexpr (std::integral<After>)
    // Modulo 2^64 no sum overflows, and samples of 64 bits cannot be apart by as much.
    return static_cast<unsigned long long>(after) + static_cast<unsigned long long>(removed) ==
           static_cast<unsigned long long>(before);
  else if (removed == 0)
    return IsInteger(static_cast<double>(after), before);
  else
    return IsInteger(static_cast<double>(after), static_cast<long long>(static_cast<unsigned long long>(before) -
                                                                        static_cast<unsigned long long>(removed)));
}

/// What was taken off floating-point samples, and by how much it may be wrong because offsets are rounded.
struct Shift
{
  double removed = 0;
  double rounding = 0;
};

template <std::floating_point Before, class After>
bool Agree(Before before, After after, Shift shift)
{
  double const expected = static_cast<double>(before) - shift.removed;
  double const actual = static_cast<double>(after);
  if (expected == actual || (std::isnan(expected) && std::isnan(actual)))
    return true;
  double const rounding =
      std::numeric_limits<Before>::epsilon() * (std::abs(static_cast<double>(before)) + std::abs(shift.removed));
  return shift.removed != 0 && std::abs(expected - actual) <= rounding + shift.rounding;
}

/// What was taken off each sample; for integers a whole number. Nothing when the offsets cannot belong to the same
/// values.
template <class T>
std::optional<std::conditional_t<std::integral<T>, long long, Shift>> Removed(double offsetBefore, double offsetAfter)
{
  if (HaveSameBits(offsetBefore, offsetAfter))
    return std::conditional_t<std::integral<T>, long long, Shift>{};
  double const removed = offsetBefore - offsetAfter;
  double const rounding = std::numeric_limits<double>::epsilon() * (std::abs(offsetBefore) + std::abs(offsetAfter));
  if (!std::isfinite(removed))
    return std::nullopt;
  if constexpr (std::floating_point<T>)
    return Shift{removed, rounding};
  else
  {
    double const whole = std::round(removed);
    if (std::abs(whole) >= std::ldexp(1.0, 63) || std::abs(whole - removed) > rounding)
      return std::nullopt;
    return static_cast<long long>(whole);
  }
}

template <class Before, class After>
std::optional<unsigned long long> Compare(TimeSignal const& before, TimeSignal const& after)
{
  auto const removed = Removed<Before>(before.GetHeader()->Offset, after.GetHeader()->Offset);
  if (!removed)
    return 0;
  auto const first = before.GetStoredSamples();
  auto const second = after.GetStoredSamples();
  std::size_t const count = std::min(first.size() / sizeof(Before), second.size() / sizeof(After));
  for (std::size_t i = 0; i < count; ++i)
    if (!Agree(SampleAt<Before>(first, i), SampleAt<After>(second, i), *removed))
      return i;
  if (before.GetHeader()->SampleCount != after.GetHeader()->SampleCount)
    return count;
  return std::nullopt;
}
} // namespace

std::optional<unsigned long long> FirstDifference(TimeSignal const& before, TimeSignal const& after)
{
  timesignal_bin_t const& a = *before.GetHeader();
  timesignal_bin_t const& b = *after.GetHeader();
  unsigned long long const shorter = std::min(a.SampleCount, b.SampleCount);
  if (!HaveSameBits(a.ScalingFactor, b.ScalingFactor))
    return shorter;
  if (a.SampleType == b.SampleType && HaveSameBits(a.Offset, b.Offset))
  {
    auto const first = before.GetStoredSamples();
    auto const second = after.GetStoredSamples();
    if (std::equal(first.begin(), first.end(), second.begin(), second.end()))
      return std::nullopt;
  }
  std::optional<unsigned long long> difference = shorter;
  VisitSampleType(a.SampleType,
                  [&]<class Before>(std::type_identity<Before>)
                  {
                    VisitSampleType(b.SampleType, [&]<class After>(std::type_identity<After>)
                                    { difference = Compare<Before, After>(before, after); });
                  });
  return difference;
}

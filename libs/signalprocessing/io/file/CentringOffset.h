#pragma once

#include "signalprocessing/io/file/SampleKernels.h"

#include <algorithm>
#include <limits>

/// Rounds the mean of integer samples away from zero in the direction in which they lie, as T holds it.
template <class T>
T RoundToSample(double mean, double half)
{
  if constexpr (sizeof(T) == sizeof(long long))
    return SampleKernels::SaturateToInt64(mean + half);
  else
    return static_cast<T>(SampleKernels::SaturateToInt32(mean + half));
}

/// The offset that centres samples on zero and keeps every one of them in the range of T.
template <class T, class Acc>
T ChooseCentringOffset(SampleKernels::Summary<T, Acc> const& summary, unsigned long long sampleCount)
{
  constexpr T kSmallest = std::numeric_limits<T>::min();
  constexpr T kLargest = std::numeric_limits<T>::max();
  double const mean = static_cast<double>(summary.Sum) / static_cast<double>(sampleCount);
  if (!(summary.Sum > 0))
  {
    auto const lowest = static_cast<T>(summary.Largest - kLargest);
    return std::max(RoundToSample<T>(mean, -0.5), lowest);
  }
  // Without negative samples every offset is good; -1 instead of 0 gives that and does not overflow.
  auto const highest = static_cast<T>(std::min(summary.Smallest, static_cast<T>(-1)) - kSmallest);
  return std::min(RoundToSample<T>(mean, 0.5), highest);
}

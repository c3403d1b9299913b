#include "Statistics.h"

#include "PhysicalValues.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
struct Sums
{
  double count = 0, sum = 0, squares = 0;
  double minimum = std::numeric_limits<double>::infinity();
  double maximum = -std::numeric_limits<double>::infinity();
};
} // namespace

Statistics StatisticsOf(TimeSignal& signal)
{
  signal.Uncompress();
  Sums sums;
  ForEachPhysicalBlock(signal,
                       [&](std::span<double const> values)
                       {
                         for (double value : values)
                         {
                           sums.sum += value;
                           sums.squares += value * value;
                           sums.minimum = std::min(sums.minimum, value);
                           sums.maximum = std::max(sums.maximum, value);
                         }
                         sums.count += static_cast<double>(values.size());
                       });
  if (sums.count == 0)
    sums.minimum = sums.maximum = std::numeric_limits<double>::quiet_NaN();

  double const mean = sums.sum / sums.count;
  double secondMoment = 0;
  double fourthMoment = 0;
  ForEachPhysicalBlock(signal,
                       [&](std::span<double const> values)
                       {
                         for (double value : values)
                         {
                           double const square = (value - mean) * (value - mean);
                           secondMoment += square;
                           fourthMoment += square * square;
                         }
                       });
  Statistics statistics{};
  statistics.minimum = sums.minimum;
  statistics.maximum = sums.maximum;
  statistics.mean = mean;
  statistics.rms = std::sqrt(sums.squares / sums.count);
  statistics.peak = std::max(std::abs(sums.minimum), std::abs(sums.maximum));
  statistics.crestFactor = statistics.peak / statistics.rms;
  statistics.kurtosis = sums.count * fourthMoment / (secondMoment * secondMoment);
  return statistics;
}

#include "signalprocessing/io/file/BlockScale.h"

namespace
{
// As a signed 32-bit number, in which 2^31 is negative and higher powers vanish: readers of the scale rely on it.
int powerOfTwo(unsigned exponent) { return exponent < 32 ? static_cast<int>(1U << exponent) : 0; }
} // namespace

BlockScale ChooseBlockScale(double peak)
{
  constexpr double kLargest = 32767.0;
  constexpr unsigned kSearchEnd = 64;
  auto const power = [](unsigned exponent) { return static_cast<double>(1ULL << exponent); };
  if (peak == 0.0)
    return {0, false, 1.0F};
  unsigned exponent = 1;
  if (peak > kLargest)
  {
    while (exponent < kSearchEnd && power(exponent) < peak / kLargest)
      ++exponent;
    return {exponent, true, static_cast<float>(powerOfTwo(exponent))};
  }
  while (exponent < kSearchEnd && power(exponent) <= kLargest / peak)
    ++exponent;
  --exponent;
  return {exponent, false, static_cast<float>(1.0 / static_cast<double>(powerOfTwo(exponent)))};
}

#include "signalprocessing/io/file/SampleKernels.h"

#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/typeconverter/IntegerToFloating.h"
#include "utilities/VectorClones.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <utility>

static_assert(FLT_EVAL_METHOD == 0, "each sum is rounded to its type, as it is on every device");

// The loops themselves are free functions on pointers and counts: vector clones are made of functions, not of templates
// that are visible elsewhere.
namespace
{
template <class T>
struct Extremes
{
  T smallest = 0; // of 0 and all samples
  T largest = 0;

  [[gnu::always_inline]] void include(T sample)
  {
    smallest = std::min(smallest, sample);
    largest = std::max(largest, sample);
  }
  [[gnu::always_inline]] void include(Extremes const& other)
  {
    smallest = std::min(smallest, other.smallest);
    largest = std::max(largest, other.largest);
  }
};

// Four quarters of the samples side by side: a minimum waits for the one before it, and the vector units have time for
// several. The quarters are rounded up and overlap, as samples may be looked at twice. Registers of 32 bits are too few
// for four pairs of 64-bit extremes.
template <class T>
QEN_VECTOR_CLONES Extremes<T> findExtremes(T const* samples, std::size_t count)
{
  Extremes<T> inFirst;
  if constexpr (sizeof(T) > sizeof(std::size_t))
  {
    for (std::size_t i = 0; i < count; ++i)
      inFirst.include(samples[i]);
  }
  else
  {
    std::size_t const quarter = count / 4 + (count % 4 != 0);
    T const* const second = samples + std::min(quarter, count - quarter);
    T const* const third = samples + std::min(2 * quarter, count - quarter);
    T const* const fourth = samples + (count - quarter);
    Extremes<T> inSecond;
    Extremes<T> inThird;
    Extremes<T> inFourth;
    for (std::size_t i = 0; i < quarter; ++i)
    {
      inFirst.include(samples[i]);
      inSecond.include(second[i]);
      inThird.include(third[i]);
      inFourth.include(fourth[i]);
    }
    inFirst.include(inSecond);
    inThird.include(inFourth);
    inFirst.include(inThird);
  }
  return inFirst;
}

// A maximum over floating point has an order that the compiler must not change, so it keeps one register for it.
// Thirty-two independent maxima give the same result and keep the vector units busy.
template <class T>
QEN_VECTOR_CLONES T findMagnitude(T const* samples, std::size_t count)
{
  constexpr std::size_t kLanes = 32;
  std::array<T, kLanes> peaks{};
  std::size_t const whole = count - count % kLanes;
  for (std::size_t i = 0; i < whole; i += kLanes)
  {
    for (std::size_t lane = 0; lane < kLanes; ++lane)
    {
      T const magnitude = std::fabs(samples[i + lane]);
      peaks[lane] = magnitude > peaks[lane] ? magnitude : peaks[lane];
    }
  }
  T peak = 0;
  for (T const candidate : peaks)
    peak = candidate > peak ? candidate : peak;
  for (std::size_t i = whole; i < count; ++i)
    peak = std::fabs(samples[i]) > peak ? std::fabs(samples[i]) : peak;
  return peak;
}

template <class T>
QEN_VECTOR_CLONES void scaleToPhysical(T const* samples, std::size_t count, double offset, double scale, double* output)
{
  for (std::size_t i = 0; i < count; ++i)
    output[i] = (IntegerToFloating::Convert<double>(samples[i]) - offset) * scale;
}

template <class T>
QEN_VECTOR_CLONES void shiftRight(T const* samples, std::size_t count, unsigned bits, short* output)
{
  for (std::size_t i = 0; i < count; ++i)
    output[i] = static_cast<short>(samples[i] >> bits);
}

// Only the low 16 bits of the result are kept, and those come from the low 16 bits of the sample.
template <class T>
QEN_VECTOR_CLONES void shiftLeft(T const* samples, std::size_t count, unsigned bits, short* output)
{
  for (std::size_t i = 0; i < count; ++i)
    output[i] = static_cast<short>(static_cast<unsigned>(static_cast<unsigned short>(samples[i])) << bits);
}

/// Truncation that saturates, without a branch so that it vectorises; NaN gives 0.
template <class Int, class T>
Int saturate(T value)
{
  // The smallest integer is a power of two and so exact in every floating type; its negative is the first one too
  // large.
  constexpr T kLow = static_cast<T>(std::numeric_limits<Int>::min());
  constexpr T kTooHigh = -kLow;
  T const inRange = value >= kLow && value < kTooHigh ? value : T(0);
  Int const truncated = static_cast<Int>(inRange);
  Int const below = value < kLow ? std::numeric_limits<Int>::min() : truncated;
  return value >= kTooHigh ? std::numeric_limits<Int>::max() : below;
}

template <class T>
QEN_VECTOR_CLONES void quantise(T const* samples, std::size_t count, T scale, short* output)
{
  for (std::size_t i = 0; i < count; ++i)
    output[i] = static_cast<short>(saturate<int>(samples[i] / scale));
}

/// Adds the samples to a sum: in index order for floating point, by wrapping around for integers.
template <class T, class Acc>
QEN_VECTOR_CLONES Acc addTo(Acc start, T const* samples, std::size_t count)
{
  if constexpr (std::is_floating_point_v<Acc>)
  {
    Acc total = start;
    for (std::size_t i = 0; i < count; ++i)
      total += static_cast<Acc>(samples[i]);
    return total;
  }
  else
  {
    using Wrapping = std::make_unsigned_t<Acc>;
    auto total = static_cast<Wrapping>(start);
    for (std::size_t i = 0; i < count; ++i)
      total += static_cast<Wrapping>(samples[i]);
    return static_cast<Acc>(total);
  }
}

#ifdef QEN_HAS_VECTOR_CLONES
/// Each addition waits for the one before it, and a conversion between them can take its turn in the adders: those of a
/// block go first, in vectors.
QEN_VECTOR_CLONES double addTo(double start, float const* samples, std::size_t count)
{
  constexpr std::size_t kBlock = 128;
  std::array<double, kBlock> wide;
  double total = start;
  for (std::size_t first = 0; first < count; first += kBlock)
  {
    std::size_t const length = std::min(kBlock, count - first);
    std::copy_n(samples + first, length, wide.begin());
    for (std::size_t i = 0; i < length; ++i)
      total += wide[i];
  }
  return total;
}
#endif

/// Eight bits: sixteen hold the sum of 256 samples, in vectors of twice as many elements as 32 would.
QEN_VECTOR_CLONES int addTo(int start, signed char const* samples, std::size_t count)
{
  constexpr std::size_t kBlock = 256;
  auto total = static_cast<unsigned>(start);
  for (std::size_t first = 0; first < count; first += kBlock)
  {
    std::size_t const end = std::min(first + kBlock, count);
    short inBlock = 0;
    for (std::size_t i = first; i < end; ++i)
      inBlock = static_cast<short>(inBlock + samples[i]);
    total += static_cast<unsigned>(inBlock);
  }
  return static_cast<int>(total);
}

template <class T>
QEN_VECTOR_CLONES void subtract(T* samples, std::size_t count, T offset)
{
  if constexpr (std::is_floating_point_v<T>)
  {
    for (std::size_t i = 0; i < count; ++i)
      samples[i] -= offset;
  }
  else
  {
    using Wrapping = std::make_unsigned_t<T>;
    for (std::size_t i = 0; i < count; ++i)
      samples[i] =
          static_cast<T>(static_cast<Wrapping>(static_cast<Wrapping>(samples[i]) - static_cast<Wrapping>(offset)));
  }
}
} // namespace

namespace SampleKernels
{
template <class T>
double Peak(std::span<T const> samples)
{
  if constexpr (std::is_floating_point_v<T>)
  {
    return static_cast<double>(findMagnitude(samples.data(), samples.size()));
  }
  else
  {
    // Rounding to double keeps the order, so the two extremes are enough, also for 64 bits.
    auto const [smallest, largest] = findExtremes(samples.data(), samples.size());
    return std::max(static_cast<double>(largest), -static_cast<double>(smallest));
  }
}

template <class T>
void PhysicalValues(std::span<T const> samples, double offset, double scale, double* output)
{
  scaleToPhysical(samples.data(), samples.size(), offset, scale, output);
}

template <class T>
void ShiftRight(std::span<T const> samples, unsigned bits, short* output)
{
  constexpr unsigned kWidth = std::numeric_limits<std::make_unsigned_t<T>>::digits;
  if (bits < kWidth)
    shiftRight(samples.data(), samples.size(), bits, output);
  else
    std::transform(samples.begin(), samples.end(), output,
                   [](T sample) { return static_cast<short>(std::cmp_less(sample, 0) ? -1 : 0); });
}

template <class T>
void ShiftLeft(std::span<T const> samples, unsigned bits, short* output)
{
  constexpr unsigned kKeptBits = 16;
  if (bits < kKeptBits)
    shiftLeft(samples.data(), samples.size(), bits, output);
  else
    std::fill_n(output, samples.size(), short(0));
}

template <class T>
void Quantise(std::span<T const> samples, T scale, short* output)
{
  quantise(samples.data(), samples.size(), scale, output);
}

template <class T, class Acc>
Summary<T, Acc> Summarise(std::span<T const> samples)
{
  // Piece by piece, so that the second loop over a piece finds it in the cache.
  constexpr std::size_t kBlock = Checksum::kHotBytes / sizeof(T);
  Summary<T, Acc> summary;
  for (std::size_t first = 0; first < samples.size(); first += kBlock)
  {
    std::span<T const> const block = samples.subspan(first, std::min(kBlock, samples.size() - first));
    auto const [smallest, largest] = findExtremes(block.data(), block.size());
    summary.Sum = addTo(summary.Sum, block.data(), block.size());
    summary.Smallest = std::min(summary.Smallest, smallest);
    summary.Largest = std::max(summary.Largest, largest);
  }
  return summary;
}

template <class T>
double SumInOrder(std::span<T const> samples)
{
  return addTo(0.0, samples.data(), samples.size());
}

template <class T>
void Subtract(std::span<T> samples, T offset)
{
  subtract(samples.data(), samples.size(), offset);
}

int SaturateToInt32(double value) { return saturate<int>(value); }

long long SaturateToInt64(double value) { return saturate<long long>(value); }

#define QEN_INSTANTIATE(T)                                                                                             \
  template double Peak(std::span<T const>);                                                                            \
  template void PhysicalValues(std::span<T const>, double, double, double*);
#define QEN_INSTANTIATE_INTEGER(T)                                                                                     \
  QEN_INSTANTIATE(T)                                                                                                   \
  template void ShiftRight(std::span<T const>, unsigned, short*);                                                      \
  template void ShiftLeft(std::span<T const>, unsigned, short*);
#define QEN_INSTANTIATE_SIGNED(T, Acc)                                                                                 \
  QEN_INSTANTIATE_INTEGER(T)                                                                                           \
  template Summary<T, Acc> Summarise(std::span<T const>);                                                              \
  template void Subtract(std::span<T>, T);
#define QEN_INSTANTIATE_FLOATING(T)                                                                                    \
  QEN_INSTANTIATE(T)                                                                                                   \
  template void Quantise(std::span<T const>, T, short*);                                                               \
  template double SumInOrder(std::span<T const>);                                                                      \
  template void Subtract(std::span<T>, T);

QEN_INSTANTIATE_SIGNED(signed char, int)
QEN_INSTANTIATE_SIGNED(short, int)
QEN_INSTANTIATE_SIGNED(int, long long)
QEN_INSTANTIATE_SIGNED(long long, double)
QEN_INSTANTIATE_INTEGER(unsigned char)
QEN_INSTANTIATE_INTEGER(unsigned short)
QEN_INSTANTIATE_INTEGER(unsigned int)
QEN_INSTANTIATE_INTEGER(unsigned long long)
QEN_INSTANTIATE_FLOATING(float)
QEN_INSTANTIATE_FLOATING(double)
} // namespace SampleKernels

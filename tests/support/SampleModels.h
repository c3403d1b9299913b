#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

// Plain models of what is computed from samples: one sample after the other, nothing clever.

/// Truncation towards zero that saturates; NaN gives 0.
template <class Integer>
Integer PlainTruncate(double value)
{
  double const bound = std::ldexp(1.0, std::numeric_limits<Integer>::digits); // largest value + 1
  if (std::isnan(value))
    return 0;
  if (value >= bound)
    return std::numeric_limits<Integer>::max();
  if (value <= -bound)
    return std::numeric_limits<Integer>::min();
  return static_cast<Integer>(value);
}

template <class Integer>
short LowSixteenBits(Integer value)
{
  return static_cast<short>(static_cast<unsigned short>(static_cast<unsigned long long>(value) & 0xFFFF));
}

template <class T>
double PlainPeak(std::span<T const> samples)
{
  double peak = 0.0;
  for (T const sample : samples)
  {
    double const magnitude = std::fabs(static_cast<double>(sample));
    if (magnitude > peak)
      peak = magnitude;
  }
  return peak;
}

template <class T>
double PlainPhysicalValue(T sample, double offset, double scalingFactor)
{
  double const difference = static_cast<double>(sample) - offset;
  return difference * scalingFactor;
}

/// Low 16 bits of a sample shifted right in its own width. Sign or zero extension to 64 bits changes nothing of that.
template <class T>
short PlainShiftRight(T sample, unsigned bits)
{
  if constexpr (std::is_signed_v<T>)
    return LowSixteenBits(static_cast<long long>(sample) >> std::min(bits, 63U));
  else
    return bits > 63 ? short{0} : LowSixteenBits(static_cast<unsigned long long>(sample) >> bits);
}

template <class T>
short PlainShiftLeft(T sample, unsigned bits)
{
  return bits > 31 ? short{0} : LowSixteenBits(static_cast<unsigned long long>(sample) << bits);
}

template <class T>
short PlainQuantise(T sample, T scale)
{
  return LowSixteenBits(PlainTruncate<std::int32_t>(static_cast<double>(sample / scale)));
}

struct PlainFract
{
  float scale = 1.0F;
  std::vector<short> values;
};

/// The scale as it is reported: the power of two is a 32-bit signed integer, so 31 makes it negative and more make it
/// 0.
inline double PlainPowerOfTwo(unsigned k)
{
  return k > 31 ? 0.0 : static_cast<double>(static_cast<std::int32_t>(std::uint32_t{1} << k));
}

/// The block-scaled form of all samples.
template <class T>
PlainFract PlainSamplesToFract(std::span<T const> samples)
{
  double const peak = PlainPeak(samples);
  bool const right = peak > 32767.0;
  unsigned k = 0;
  PlainFract result;
  if (right)
  {
    double const ratio = peak / 32767.0;
    k = 1;
    while (k < 64 && std::ldexp(1.0, static_cast<int>(k)) < ratio)
      ++k;
    result.scale = static_cast<float>(PlainPowerOfTwo(k));
  }
  else if (peak != 0.0)
  {
    double const ratio = 32767.0 / peak;
    while (k < 64 && std::ldexp(1.0, static_cast<int>(k) + 1) <= ratio)
      ++k;
    double const power = PlainPowerOfTwo(k);
    result.scale = power == 0.0 ? std::numeric_limits<float>::infinity() : static_cast<float>(1.0 / power);
  }
  for (T const sample : samples)
  {
    if constexpr (std::is_floating_point_v<T>)
      result.values.push_back(PlainQuantise(sample, static_cast<T>(result.scale)));
    else
      result.values.push_back(right ? PlainShiftRight(sample, k) : PlainShiftLeft(sample, k));
  }
  return result;
}

/// What offset extraction makes of samples of type T: the shifted samples and how much was taken off.
template <class T>
struct PlainOffset
{
  double extracted = 0;
  std::vector<T> samples;
};

/// Type in which samples of each integer type are summed.
template <class T>
struct SumType;
template <>
struct SumType<signed char>
{
  using type = int;
};
template <>
struct SumType<short>
{
  using type = int;
};
template <>
struct SumType<int>
{
  using type = long long;
};
template <>
struct SumType<long long>
{
  using type = double;
};

/// Sum in index order; integers wrap.
template <class Sum, class T>
Sum PlainSum(std::span<T const> samples)
{
  if constexpr (std::is_floating_point_v<Sum>)
  {
    Sum sum = 0;
    for (T const sample : samples)
      sum += static_cast<Sum>(sample);
    return sum;
  }
  else
  {
    using Unsigned = std::make_unsigned_t<Sum>;
    Unsigned sum = 0;
    for (T const sample : samples)
      sum += static_cast<Unsigned>(static_cast<Sum>(sample));
    return static_cast<Sum>(sum);
  }
}

/// Integer offset for `sampleCount` announced samples of which `samples` are there.
template <class T>
T PlainIntegerOffset(std::span<T const> samples, unsigned long long sampleCount)
{
  using Rounded = std::conditional_t<sizeof(T) == 8, long long, std::int32_t>;
  constexpr T smallest = std::numeric_limits<T>::min();
  constexpr T largest = std::numeric_limits<T>::max();
  auto const sum = PlainSum<typename SumType<T>::type>(samples);
  double const mean = sampleCount == 0 ? std::numeric_limits<double>::quiet_NaN()
                                       : static_cast<double>(sum) / static_cast<double>(sampleCount);
  if (sum > 0)
  {
    T const offset = static_cast<T>(PlainTruncate<Rounded>(mean + 0.5));
    T lowest = 0;
    for (T const sample : samples)
      lowest = std::min(lowest, sample);
    return offset + smallest > lowest ? static_cast<T>(lowest - smallest) : offset; // offset >= 0
  }
  T const offset = static_cast<T>(PlainTruncate<Rounded>(mean - 0.5));
  T highest = 0;
  for (T const sample : samples)
    highest = std::max(highest, sample);
  return offset + largest < highest ? static_cast<T>(highest - largest) : offset; // offset <= 0
}

/// The offset of samples of any type; unsigned samples keep theirs.
template <class T>
PlainOffset<T> PlainExtractOffset(std::span<T const> samples, unsigned long long sampleCount)
{
  PlainOffset<T> result;
  T offset = 0;
  if constexpr (std::is_floating_point_v<T>)
  {
    double const sum = PlainSum<double>(samples);
    offset =
        sampleCount == 0 ? std::numeric_limits<T>::quiet_NaN() : static_cast<T>(sum / static_cast<double>(sampleCount));
  }
  else if constexpr (std::is_signed_v<T>)
    offset = PlainIntegerOffset(samples, sampleCount);
  result.extracted = static_cast<double>(offset);
  for (T const sample : samples)
    result.samples.push_back(static_cast<T>(sample - offset));
  return result;
}

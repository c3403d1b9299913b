#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>

/// The language's conversions from integers to floating point, rounded to nearest, in operations that vector units
/// have.
///
/// Before AVX-512 there is no vector instruction for integers of 64 bits: a loop of plain conversions takes them one by
/// one. They are put together from two parts instead. The bits of 2^52 with an integer of up to 52 bits put into the
/// mantissa are the number 2^52 + integer; the last bit of 2^64 counts 2^12, so that the upper 52 bits are made the
/// same way.
namespace IntegerToFloating
{
/// Elsewhere the processor has the conversion as a vector instruction, or has no vectors of 64-bit numbers at all.
#if defined(__SSE2__) && !defined(__AVX512DQ__)
inline constexpr bool kGoesInTwoParts = true;
#else
inline constexpr bool kGoesInTwoParts = false;
#endif

namespace Detail
{
/// Bits of the lower part.
inline constexpr unsigned kLowerBits = 12;

/// An integer without its lower part, exactly. A signed upper part with its sign bit turned around is larger by 2^51,
/// which counts 2^63, and never negative.
template <class Int>
double upperPart(Int value)
{
  constexpr bool kIsSigned = std::is_signed_v<Int>;
  constexpr std::uint64_t kTurned = kIsSigned ? std::uint64_t{1} << 51 : 0;
  constexpr double kAdded = kIsSigned ? 0x1p64 + 0x1p63 : 0x1p64;
  std::uint64_t const upper = (static_cast<std::uint64_t>(value) >> kLowerBits) ^ kTurned;
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(0x1p64) | upper) - kAdded;
}

/// Exactly; 0 or more, also of negative integers.
template <class Int>
double lowerPart(Int value)
{
  constexpr std::uint64_t kMask = (1U << kLowerBits) - 1;
  std::uint64_t const lower = static_cast<std::uint64_t>(value) & kMask;
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(0x1p52) | lower) - 0x1p52;
}

/// Only the addition rounds.
template <class Int>
double toDouble(Int value)
{
  return upperPart(value) + lowerPart(value);
}

/// By way of a double that is exact: rounding to double and then to float would round twice. Near zero every sum is.
/// Further away all floats, and all points halfway between two of them, are multiples of 2^12. So of the lower part it
/// matters only whether it is 0; one half of 2^12 says that it is not, and then 53 bits hold the number.
template <class Int>
float toFloat(Int value)
{
  double const upper = upperPart(value);
  double const lower = lowerPart(value);
  double const notZero = lower == 0 ? 0 : 0x1p11;
  return static_cast<float>(upper + (std::fabs(upper) < 0x1p52 ? lower : notZero));
}
} // namespace Detail

/// The same as static_cast<Out>(value) for every value.
template <class Out, class In>
[[gnu::always_inline]] inline Out Convert(In value)
{
  constexpr bool kIsWideInteger = std::is_integral_v<In> && sizeof(In) == sizeof(std::uint64_t);
  if constexpr (kGoesInTwoParts && kIsWideInteger && std::is_same_v<Out, double>)
    return Detail::toDouble(value);
  else if constexpr (kGoesInTwoParts && kIsWideInteger && std::is_same_v<Out, float>)
    return Detail::toFloat(value);
  else
    return static_cast<Out>(value);
}
} // namespace IntegerToFloating

#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

/// The language's conversions from integers to floating point, rounded to nearest, in operations that vector units
/// have.
///
/// Before AVX-512 there is no vector instruction for integers of 64 bits: a loop of plain conversions takes them one by
/// one. They are put together from halves instead. The bits of 2^52 with an integer below 2^32 put into the mantissa
/// are the number 2^52 + integer; the last bit of 2^84 counts 2^32, so that the upper half is made the same way.
namespace IntegerToFloating
{
/// Elsewhere the processor has the conversion as a vector instruction, or has no vectors of 64-bit numbers at all.
#if defined(__SSE2__) && !defined(__AVX512DQ__)
inline constexpr bool kGoesByHalves = true;
#else
inline constexpr bool kGoesByHalves = false;
#endif

namespace Detail
{
inline constexpr std::uint64_t kBitsOfTwoTo52 = std::bit_cast<std::uint64_t>(0x1p52);
inline constexpr std::uint64_t kBitsOfTwoTo84 = std::bit_cast<std::uint64_t>(0x1p84);
inline constexpr std::uint64_t kLowHalf = 0xFFFFFFFF;
inline constexpr std::uint64_t kSignOfUpperHalf = 0x80000000;

/// upper * 2^32 + lower - excess. The difference is exact: every term is a multiple of 2^32 with few bits. So only the
/// last addition rounds.
inline double joinHalves(std::uint64_t upper, std::uint64_t lower, double excess)
{
  double const upperPart = std::bit_cast<double>(kBitsOfTwoTo84 | upper) - (0x1p84 + 0x1p52 + excess);
  return upperPart + std::bit_cast<double>(kBitsOfTwoTo52 | lower);
}

inline double toDouble(unsigned long long value) { return joinHalves(value >> 32, value & kLowHalf, 0); }

inline double toDouble(long long value)
{
  auto const bits = static_cast<std::uint64_t>(value);
  // The upper half with its sign turned around is larger by 2^31 and never negative.
  return joinHalves((bits >> 32) ^ kSignOfUpperHalf, bits & kLowHalf, 0x1p63);
}

/// By way of a double that is exact: rounding to double and then to float would round twice. Further from zero than
/// 2^52, all floats and all points halfway between two of them are multiples of 2^28. A value between two multiples of
/// 2^12 may therefore go to the middle of them, which clears its last eleven bits: 53 are left at most.
template <class Int>
float toFloat(Int value)
{
  constexpr std::uint64_t kExactBelow = std::is_signed_v<Int> ? std::uint64_t{1} << 52 : 0;
  constexpr std::uint64_t kCleared = 0x7FF;
  auto const bits = static_cast<std::uint64_t>(value);
  bool const isExact = (bits + kExactBelow) >> 53 == 0;
  std::uint64_t const shortened = (((bits & kCleared) + kCleared) | bits) & ~kCleared;
  return static_cast<float>(toDouble(static_cast<Int>(isExact ? bits : shortened)));
}
} // namespace Detail

/// The same as static_cast<Out>(value) for every value.
template <class Out, class In>
[[gnu::always_inline]] inline Out Convert(In value)
{
  constexpr bool kIsWideInteger = std::is_integral_v<In> && sizeof(In) == sizeof(std::uint64_t);
  if constexpr (kGoesByHalves && kIsWideInteger && std::is_same_v<Out, double>)
    return Detail::toDouble(value);
  else if constexpr (kGoesByHalves && kIsWideInteger && std::is_same_v<Out, float>)
    return Detail::toFloat(value);
  else
    return static_cast<Out>(value);
}
} // namespace IntegerToFloating

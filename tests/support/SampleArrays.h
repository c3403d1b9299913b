#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"
#include "support/Guarded.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <sanitizer/asan_interface.h>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

/// Element types of samples, in the order of the sample types' numbers.
using SampleElements = std::tuple<signed char, short, int, long long, float, double, unsigned char, unsigned short,
                                  unsigned int, unsigned long long>;

inline constexpr std::size_t kSampleElementCount = std::tuple_size_v<SampleElements>;

template <class T, std::size_t Index = 0>
constexpr std::size_t SampleElementIndex()
{
  if constexpr (std::is_same_v<T, std::tuple_element_t<Index, SampleElements>>)
    return Index;
  else
    return SampleElementIndex<T, Index + 1>();
}

/// The sample type of an element type.
template <class T>
inline constexpr sample_datatype32_t kSampleTypeOf = static_cast<sample_datatype32_t>(SampleElementIndex<T>() + 1);

/// Calls visitor(std::type_identity<T>{}, sampleType) for each of the ten.
template <class Visitor>
void ForEachSampleElement(Visitor&& visitor)
{
  [&]<std::size_t... Index>(std::index_sequence<Index...>)
  {
    (visitor(std::type_identity<std::tuple_element_t<Index, SampleElements>>{},
             kSampleTypeOf<std::tuple_element_t<Index, SampleElements>>),
     ...);
  }
  (std::make_index_sequence<kSampleElementCount>{});
}

/// What the tests of sample loops run through: lengths around every vector width and addresses across a cache line.
inline constexpr std::size_t kMaxLength = 300;
inline constexpr std::size_t kCacheLine = 64;

/// Calls visitor(misalignment, length) for every length from 0 to kMaxLength at every distance from a cache line's
/// start that an array of T can have.
template <class T, class Visitor>
void ForEachPlacement(Visitor&& visitor)
{
  for (std::size_t misalignment = 0; misalignment < kCacheLine; misalignment += sizeof(T))
    for (std::size_t length = 0; length <= kMaxLength; ++length)
      visitor(misalignment, length);
}

template <class T>
bool SameBits(T left, T right)
{
  return std::memcmp(&left, &right, sizeof(T)) == 0;
}

/// Equal bit for bit, except that one NaN is as good as another.
template <class T>
bool SameNumber(T left, T right)
{
  if constexpr (std::is_floating_point_v<T>)
  {
    if (std::isnan(left) && std::isnan(right))
      return true;
  }
  return SameBits(left, right);
}

/// Index of the first element that differs (see SameNumber); the shorter length when one array is longer, and npos when
/// there is no difference.
inline constexpr std::size_t kNoDifference = static_cast<std::size_t>(-1);
template <class T>
std::size_t FirstDifference(std::span<T const> left, std::span<T const> right)
{
  std::size_t const common = std::min(left.size(), right.size());
  if (left.size() == right.size() && (common == 0 || std::memcmp(left.data(), right.data(), common * sizeof(T)) == 0))
    return kNoDifference;
  for (std::size_t i = 0; i < common; ++i)
    if (!SameNumber(left[i], right[i]))
      return i;
  return left.size() == right.size() ? kNoDifference : common;
}
template <class T>
std::size_t FirstDifference(std::vector<T> const& left, std::vector<T> const& right)
{
  return FirstDifference(std::span<T const>(left), std::span<T const>(right));
}

inline constexpr std::uint32_t kFloatSignallingNan = 0x7FA12345;
inline constexpr std::uint32_t kFloatQuietNan = 0xFFC54321;
inline constexpr std::uint64_t kDoubleSignallingNan = 0x7FF123456789ABCD;
inline constexpr std::uint64_t kDoubleQuietNan = 0xFFF9876543210FED;

/// Limits of the type and of the types that it is converted to; for floating types also zeros of both signs, denormals,
/// infinities and NaNs, last of all a signalling one.
template <class T>
std::vector<T> SpecialSamples()
{
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_integral_v<T>)
  {
    std::vector<T> samples = {
        0, 1, 2, 127, Limits::max() - 1, Limits::max(), Limits::min(), Limits::min() + 1, Limits::max() / 2};
    for (int bit = 1; bit < Limits::digits; ++bit)
    {
      T const power = static_cast<T>(T{1} << bit);
      samples.insert(samples.end(), {static_cast<T>(power - 1), power, static_cast<T>(power + 1)});
    }
    std::size_t const positive = samples.size();
    for (std::size_t i = 0; std::is_signed_v<T> && i < positive; ++i)
      samples.push_back(static_cast<T>(~samples[i]));
    return samples;
  }
  else
  {
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    constexpr bool isFloat = std::is_same_v<T, float>;
    T const tiny = Limits::denorm_min();
    return {T{0},
            -T{0},
            T{1},
            T{-1},
            T{0.5},
            T{-2.5},
            T{32767},
            T{-32768},
            T{2147483648.0},
            Limits::max(),
            Limits::lowest(),
            Limits::min(),
            -Limits::min(),
            tiny,
            -tiny,
            Limits::min() - tiny,
            Limits::epsilon(),
            Limits::infinity(),
            -Limits::infinity(),
            Limits::quiet_NaN(),
            std::bit_cast<T>(static_cast<Bits>(isFloat ? kFloatQuietNan : kDoubleQuietNan)),
            std::bit_cast<T>(static_cast<Bits>(isFloat ? kFloatSignallingNan : kDoubleSignallingNan))};
  }
}

/// Every bit random: for floating types all magnitudes, infinities and NaNs.
template <class T>
std::vector<T> RandomBits(std::size_t count, std::uint64_t seed)
{
  std::mt19937_64 random(seed);
  std::vector<T> samples(count);
  for (T& sample : samples)
  {
    std::uint64_t const bits = random();
    std::memcpy(&sample, &bits, sizeof(T));
  }
  return samples;
}

/// Random bits with special values strewn in.
template <class T>
std::vector<T> MixedSamples(std::size_t count, std::uint64_t seed)
{
  std::vector<T> samples = RandomBits<T>(count, seed);
  std::vector<T> const special = SpecialSamples<T>();
  std::mt19937_64 random(seed + 1);
  for (T& sample : samples)
    if (random() % 3 == 0)
      sample = special[random() % special.size()];
  return samples;
}

/// Finite values as a sensor gives them: integers use `bits` bits of their type beside the sign, floating values spread
/// over +-2^bits with fractions that make sums round.
template <class T>
std::vector<T> OrdinarySamples(std::size_t count, std::uint64_t seed, int bits)
{
  std::mt19937_64 random(seed);
  std::vector<T> samples(count);
  for (T& sample : samples)
  {
    if constexpr (std::is_integral_v<T>)
    {
      using Wide = std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>;
      constexpr int wideDigits = std::numeric_limits<Wide>::digits;
      int const kept = std::min(bits, std::numeric_limits<T>::digits);
      sample = static_cast<T>(static_cast<Wide>(random()) >> (wideDigits - kept));
    }
    else
      sample = static_cast<T>(std::ldexp(static_cast<double>(static_cast<long long>(random())), bits - 63));
  }
  return samples;
}

/// An array that starts `misalignment` bytes behind the start of a cache line and ends less than a cache line in front
/// of memory that cannot be read: for one misalignment of each length right in front of it. What can be read around it
/// is the address sanitizer's, where there is one.
template <class T>
class MisalignedArray
{
public:
  MisalignedArray(std::size_t misalignment, std::span<T const> samples)
  {
    std::size_t const gap = (kCacheLine - (misalignment + samples.size_bytes()) % kCacheLine) % kCacheLine;
    memory_ = takeMemory(samples.size_bytes() + gap);
    std::span<unsigned char> const all = memory_->Bytes();
    auto* const first = reinterpret_cast<T*>(all.last(samples.size_bytes() + gap).data());
    samples_ = {first, samples.size()};
    ASAN_POISON_MEMORY_REGION(all.data(), all.size());
    ASAN_UNPOISON_MEMORY_REGION(first, samples.size_bytes());
    std::ranges::copy(samples, first);
  }
  MisalignedArray(MisalignedArray const&) = delete;
  MisalignedArray& operator=(MisalignedArray const&) = delete;
  ~MisalignedArray()
  {
    ASAN_UNPOISON_MEMORY_REGION(memory_->Bytes().data(), memory_->Bytes().size());
    if (memory_->Bytes().size() == kSmall)
      spare().push_back(std::move(memory_));
  }

  T* data() const { return samples_.data(); }
  operator std::span<T const>() const { return samples_; }
  std::span<T> span() const { return samples_; }

private:
  using Memory = std::unique_ptr<Guarded>;
  static constexpr std::size_t kSmall = 4096;

  /// Mapping memory takes longer than what most tests do with an array, so that of small ones serves again.
  static std::vector<Memory>& spare()
  {
    static std::vector<Memory> memories;
    return memories;
  }
  static Memory takeMemory(std::size_t size)
  {
    if (size > kSmall || spare().empty())
      return std::make_unique<Guarded>(std::max(size, kSmall));
    Memory memory = std::move(spare().back());
    spare().pop_back();
    return memory;
  }

  Memory memory_;
  std::span<T> samples_;
};

/// Room for results between two strips of bytes, a cache line each, that must stay as they are.
class GuardedRoom
{
public:
  explicit GuardedRoom(std::size_t maxByteCount) : bytes_(maxByteCount + 4 * kCacheLine)
  {
    void* start = bytes_.data();
    std::size_t space = bytes_.size();
    std::align(kCacheLine, kCacheLine, start, space);
    origin_ = static_cast<unsigned char*>(start) + kCacheLine;
  }

  /// Gives out `byteCount` bytes that start `misalignment` bytes behind the start of a cache line, filled with a
  /// pattern like the strips.
  unsigned char* Take(std::size_t misalignment, std::size_t byteCount)
  {
    first_ = origin_ + misalignment;
    behind_ = first_ + byteCount;
    std::fill(first_ - kCacheLine, behind_ + kCacheLine, kFill);
    return first_;
  }
  template <class T>
  T* TakeArray(std::size_t misalignment, std::size_t count)
  {
    return reinterpret_cast<T*>(Take(misalignment, count * sizeof(T)));
  }

  bool IsUntouchedAround() const
  {
    return holdsPattern(first_ - kCacheLine, first_) && holdsPattern(behind_, behind_ + kCacheLine);
  }
  bool IsUntouched() const { return holdsPattern(first_ - kCacheLine, behind_ + kCacheLine); }

private:
  static constexpr unsigned char kFill = 0xA5;

  static bool holdsPattern(unsigned char const* from, unsigned char const* to)
  {
    return std::all_of(from, to, [](unsigned char byte) { return byte == kFill; });
  }

  std::vector<unsigned char> bytes_;
  unsigned char* origin_ = nullptr;
  unsigned char* first_ = nullptr;
  unsigned char* behind_ = nullptr;
};

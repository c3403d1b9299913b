#include "signalprocessing/io/file/Checksum.h"

#include "utilities/VectorClones.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace
{
// Independent accumulators of 64 bits: sixteen are enough for the compiler to keep four wide registers busy, four are
// all that registers of 32 bits hold. Each has four 16-bit lanes, which are folded into one at the end.
using Accumulators = std::array<std::uint64_t, sizeof(void*) == sizeof(std::uint64_t) ? 16 : 4>;
constexpr std::size_t kStride = sizeof(Accumulators);

std::uint64_t loadWord(unsigned char const* bytes)
{
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

unsigned short fold(std::uint64_t word)
{
  word ^= word >> 32;
  word ^= word >> 16;
  return static_cast<unsigned short>(word);
}

/// The checksum of fewer bytes than a stride.
std::uint64_t foldTail(unsigned char const* bytes, std::size_t byteCount)
{
  Accumulators padded{};
  std::memcpy(padded.data(), bytes, byteCount);
  std::uint64_t sum = 0;
  for (std::uint64_t const word : padded)
    sum ^= word;
  return sum;
}

QEN_VECTOR_CLONES std::uint64_t foldStrides(unsigned char const* bytes, std::size_t byteCount)
{
  Accumulators sums{};
  for (std::size_t position = 0; position < byteCount; position += kStride)
  {
    for (std::size_t lane = 0; lane < sums.size(); ++lane)
      sums[lane] ^= loadWord(bytes + position + lane * sizeof(std::uint64_t));
  }
  std::uint64_t sum = 0;
  for (std::uint64_t const lane : sums)
    sum ^= lane;
  return sum;
}
} // namespace

unsigned short Checksum::Compute(void const* data, std::size_t byteCount)
{
  if (byteCount == 0)
    return 0;
  auto const* const bytes = static_cast<unsigned char const*>(data);
  std::size_t const tail = byteCount % kStride;
  std::size_t const whole = byteCount - tail;
  return fold(foldStrides(bytes, whole) ^ foldTail(bytes + whole, tail));
}

unsigned short Checksum::Copy(void* destination, void const* source, std::size_t byteCount)
{
  auto* const to = static_cast<unsigned char*>(destination);
  auto const* const from = static_cast<unsigned char const*>(source);
  return WhileHot(to, byteCount,
                  [&](std::size_t first, std::size_t count) { std::memcpy(to + first, from + first, count); });
}

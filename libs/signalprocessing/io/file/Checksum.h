#pragma once

#include <algorithm>
#include <cstddef>

/// The checksum of records: the exclusive or of a block's little-endian 16-bit words, an odd last byte counting as the
/// low byte of a word. Blocks may start at any address. Pure functions; the caller owns all memory.
///
/// The checksum of joined blocks is the exclusive or of their checksums as long as every block but the last has an even
/// length. That is what lets it be taken piece by piece, while the bytes are still in the processor's cache.
namespace Checksum
{
unsigned short Compute(void const* data, std::size_t byteCount);

/// Copies a block and returns its checksum; the blocks must not overlap.
unsigned short Copy(void* destination, void const* source, std::size_t byteCount);

/// Bytes that stay in the first-level cache between being produced and being summed.
inline constexpr std::size_t kHotBytes = 16384;

/// Lets `produce(first, count)` fill count elements of T from element `first` of `data` on, and returns the checksum of
/// all.
template <class T, class Produce>
unsigned short WhileHot(T const* data, std::size_t count, Produce produce)
{
  constexpr std::size_t kBlock = kHotBytes / sizeof(T);
  unsigned short checksum = 0;
  for (std::size_t first = 0; first < count; first += kBlock)
  {
    std::size_t const length = std::min(kBlock, count - first);
    produce(first, length);
    checksum = static_cast<unsigned short>(checksum ^ Compute(data + first, length * sizeof(T)));
  }
  return checksum;
}
} // namespace Checksum

#include "Limits.h"

#include "utilities/VectorClones.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace
{
using Wide [[gnu::vector_size(32)]] = std::uint64_t;

QEN_VECTOR_CLONES std::uint64_t readAll(unsigned char const* bytes, std::size_t byteCount)
{
  std::array<Wide, 8> sums{};
  for (std::size_t position = 0; position + sizeof sums <= byteCount; position += sizeof sums)
  {
    for (std::size_t lane = 0; lane < sums.size(); ++lane)
    {
      Wide word;
      std::memcpy(&word, bytes + position + lane * sizeof word, sizeof word);
      sums[lane] ^= word;
    }
  }
  Wide total{};
  for (Wide const& sum : sums)
    total ^= sum;
  return total[0] ^ total[1] ^ total[2] ^ total[3];
}
} // namespace

unsigned long long Limits::Read(void const* data, std::size_t byteCount)
{
  return readAll(static_cast<unsigned char const*>(data), byteCount);
}

__attribute__((optimize("no-tree-vectorize"))) unsigned short Limits::NaiveChecksum(unsigned short const* words,
                                                                                    std::size_t count)
{
  unsigned short sum = 0;
  for (std::size_t i = 0; i < count; ++i)
    sum = static_cast<unsigned short>(sum ^ words[i]);
  return sum;
}

#include "Limits.h"

#include "utilities/VectorClones.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#define QEN_ONE_BY_ONE __attribute__((optimize("no-tree-vectorize")))

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

QEN_VECTOR_CLONES void writeAll(unsigned char* bytes, std::size_t byteCount)
{
  for (std::size_t position = 0; position + sizeof(Wide) <= byteCount; position += sizeof(Wide))
  {
    Wide word;
    std::memcpy(&word, bytes + position, sizeof word);
    word ^= 0x55;
    std::memcpy(bytes + position, &word, sizeof word);
  }
}
} // namespace

unsigned long long Limits::Read(void const* data, std::size_t byteCount)
{
  return readAll(static_cast<unsigned char const*>(data), byteCount);
}

void Limits::ReadAndWrite(void* data, std::size_t byteCount) { writeAll(static_cast<unsigned char*>(data), byteCount); }

double Limits::ChainOfAdditions(std::size_t count)
{
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i)
    sum += 0.1;
  return sum;
}

QEN_ONE_BY_ONE unsigned short Limits::NaiveChecksum(short const* samples, std::size_t count)
{
  unsigned short sum = 0;
  for (std::size_t i = 0; i < count; ++i)
    sum = static_cast<unsigned short>(sum ^ static_cast<unsigned short>(samples[i]));
  return sum;
}

QEN_ONE_BY_ONE void Limits::NaiveReadout(short const* samples, std::size_t count, double offset, double scale,
                                         double* values)
{
  for (std::size_t i = 0; i < count; ++i)
    values[i] = (samples[i] - offset) * scale;
}

QEN_ONE_BY_ONE double Limits::NaivePeak(short const* samples, std::size_t count)
{
  double peak = 0;
  for (std::size_t i = 0; i < count; ++i)
    peak = std::max(peak, std::abs(static_cast<double>(samples[i])));
  return peak;
}

#include "signalprocessing/io/file/PaddedBytes.h"

#include "signalprocessing/io/file/MemorySize.h"

#include <algorithm>
#include <array>

namespace
{
void writeZeros(std::ostream& stream, std::size_t count)
{
  std::array<char, 4096> const zeros{};
  while (count != 0 && stream)
  {
    std::size_t const length = std::min(count, zeros.size());
    stream.write(zeros.data(), static_cast<std::streamsize>(length));
    count -= length;
  }
}
} // namespace

void WritePadded(std::ostream& stream, std::span<unsigned char const> stored, std::size_t byteCount)
{
  std::size_t const present = std::min(byteCount, stored.size());
  stream.write(reinterpret_cast<char const*>(stored.data()), static_cast<std::streamsize>(present));
  writeZeros(stream, byteCount - present);
}

std::unique_ptr<std::vector<unsigned char>> MakeFlatRecord(void const* header, std::size_t headerSize,
                                                           std::span<unsigned char const> stored,
                                                           unsigned long long byteCount)
{
  // The inner call keeps the sum from wrapping.
  std::size_t const size = MemorySize(static_cast<unsigned long long>(MemorySize(byteCount)) + headerSize);
  auto bytes = std::make_unique<std::vector<unsigned char>>();
  bytes->reserve(size);
  auto const* const start = static_cast<unsigned char const*>(header);
  bytes->insert(bytes->end(), start, start + headerSize);
  bytes->insert(bytes->end(), stored.begin(), stored.end());
  bytes->resize(size);
  return bytes;
}

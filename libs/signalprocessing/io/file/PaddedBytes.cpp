#include "signalprocessing/io/file/PaddedBytes.h"

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

#include "signalprocessing/io/file/Checksum.h"

#include "utilities/VectorClones.h"

#include <cstdint>
#include <cstring>

namespace
{
constexpr std::size_t kWord = sizeof(std::uint64_t);

/// Four 16-bit words at once.
std::uint64_t loadWord(unsigned char const* bytes, std::size_t index)
{
  std::uint64_t word;
  std::memcpy(&word, bytes + index * kWord, sizeof word);
  return word;
}

unsigned short fold(std::uint64_t word)
{
  word ^= word >> 32;
  word ^= word >> 16;
  return static_cast<unsigned short>(word);
}

/// The last bytes, fewer than a word, as a word with zeros behind them.
std::uint64_t padTail(unsigned char const* bytes, std::size_t byteCount)
{
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, byteCount);
  return word;
}

// The quarters of the words side by side, so that no exclusive or waits for the one before it.
QEN_VECTOR_CLONES std::uint64_t foldWords(unsigned char const* words, std::size_t count)
{
  std::size_t const quarter = count / 4;
  unsigned char const* const second = words + quarter * kWord;
  unsigned char const* const third = second + quarter * kWord;
  unsigned char const* const fourth = third + quarter * kWord;
  std::uint64_t ofFirst = 0;
  std::uint64_t ofSecond = 0;
  std::uint64_t ofThird = 0;
  std::uint64_t ofFourth = 0;
  for (std::size_t i = 0; i < quarter; ++i)
  {
    ofFirst ^= loadWord(words, i);
    ofSecond ^= loadWord(second, i);
    ofThird ^= loadWord(third, i);
    ofFourth ^= loadWord(fourth, i);
  }
  for (std::size_t i = 4 * quarter; i < count; ++i)
    ofFirst ^= loadWord(words, i);
  return ofFirst ^ ofSecond ^ ofThird ^ ofFourth;
}
} // namespace

unsigned short Checksum::Compute(void const* data, std::size_t byteCount)
{
  if (byteCount == 0)
    return 0;
  auto const* const bytes = static_cast<unsigned char const*>(data);
  std::size_t const tail = byteCount % kWord;
  std::size_t const whole = byteCount - tail;
  return fold(foldWords(bytes, whole / kWord) ^ padTail(bytes + whole, tail));
}

unsigned short Checksum::Copy(void* destination, void const* source, std::size_t byteCount)
{
  auto* const to = static_cast<unsigned char*>(destination);
  auto const* const from = static_cast<unsigned char const*>(source);
  return WhileHot(to, byteCount,
                  [&](std::size_t first, std::size_t count) { std::memcpy(to + first, from + first, count); });
}

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

/// Calls use(std::span<T const>) on one block after the other of samples that lie at any address.
template <class T, class Use>
void ForEachBlock(std::span<unsigned char const> bytes, Use&& use)
{
  constexpr std::size_t kBlock = 16384;
  std::size_t const count = bytes.size() / sizeof(T);
  std::vector<T> block(std::min(count, kBlock));
  for (std::size_t first = 0; first < count; first += kBlock)
  {
    std::span<T> const samples = std::span(block).first(std::min(kBlock, count - first));
    std::memcpy(samples.data(), bytes.data() + first * sizeof(T), samples.size_bytes());
    use(std::span<T const>(samples));
  }
}

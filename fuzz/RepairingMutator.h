#pragma once

#include "support/Records.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

/// Mutators that take an input apart, let libFuzzer change a part of it, and put it together again so that sizes,
/// checksums and streams agree: what is behind the checks of a format is out of reach for blind changes.
namespace Mutation
{
class Random
{
public:
  explicit Random(unsigned int seed) : engine_(seed) {}
  std::size_t Below(std::size_t bound) { return engine_() % bound; }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <class Container>
  auto& Of(Container& container)
  {
    return container[Below(container.size())];
  }

private:
  std::mt19937 engine_;
};

/// Lets libFuzzer change bytes, of which there may be `most` then.
inline void Change(Bytes& bytes, std::size_t most)
{
  std::size_t const size = bytes.size();
  bytes.resize(std::max(size, most));
  if (!bytes.empty())
    bytes.resize(LLVMFuzzerMutate(bytes.data(), size, bytes.size()));
}

/// Lets libFuzzer change bytes whose number stays.
inline void ChangeInPlace(Bytes& bytes)
{
  Bytes const before = bytes;
  Change(bytes, bytes.size());
  if (bytes.size() < before.size())
    bytes.insert(bytes.end(), before.begin() + static_cast<std::ptrdiff_t>(bytes.size()), before.end());
}

/// The same for a value that consists of its bytes.
template <class T>
void ChangeValue(T& value)
{
  Bytes bytes(sizeof(T));
  std::memcpy(bytes.data(), &value, sizeof(T));
  ChangeInPlace(bytes);
  std::memcpy(static_cast<void*>(&value), bytes.data(), sizeof(T));
}

/// What LLVMFuzzerCustomMutator has to do. One input in eight is left as the change made it, so that the paths that
/// refuse stay covered.
/// @param mutated gives the changed and repaired input: mutated(Bytes, Random&, maxSize)
template <class Mutated>
std::size_t Mutate(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned int seed, Mutated mutated)
{
  Random random(seed);
  if (!random.OneIn(8))
  {
    Bytes const result = mutated(Bytes(data, data + size), random, maxSize);
    if (result.size() <= maxSize)
    {
      std::copy(result.begin(), result.end(), data);
      return result.size();
    }
  }
  return LLVMFuzzerMutate(data, size, maxSize);
}
} // namespace Mutation

#pragma once

#include <array>
#include <cstddef>
#include <random>

/// Numbers that follow from a seed alone, on every platform.
class Dice
{
public:
  explicit Dice(unsigned int seed) : engine_(seed) {}
  long long Below(long long count)
  {
    return static_cast<long long>(engine_() % static_cast<unsigned long long>(count));
  }
  long long Between(long long first, long long last) { return first + Below(last - first + 1); }
  bool OneIn(long long count) { return Below(count) == 0; }
  template <class T, std::size_t n>
  T Of(std::array<T, n> const& choices)
  {
    return choices.at(static_cast<std::size_t>(Below(n)));
  }

private:
  std::mt19937_64 engine_;
};

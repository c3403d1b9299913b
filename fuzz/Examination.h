#pragma once

#include "platform/VelmoraException.h"
#include "support/Guarded.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <type_traits>

/// What all targets share. A target is one function, Examine; expectations of GoogleTest that fail in it are findings,
/// so that it can use the models of the tests.
///
/// Reads behind the end. The input lies against an unreadable page, and so do the bytes that a target hands over by
/// pointer (Guarded). Where an interface takes a vector or a text, its heap block of exactly that size is the guard:
/// the address sanitizer sees the byte behind it.
namespace Fuzzing
{
/// Written by each target.
/// @return whether the input was accepted: whether it got as far as the deepest operation
bool Examine(std::span<std::uint8_t const> input);

inline void Require(bool condition)
{
  if (!condition)
    __builtin_trap();
}

/// Runs an operation. An exception of the family, or a lack of memory, is what any input may lead to; everything else
/// is a finding.
template <class Operation>
bool Succeeds(Operation operation)
{
  try
  {
    operation();
    return true;
  }
  catch (VelmoraException const&)
  {
  }
  catch (std::bad_alloc const&)
  {
  }
  return false;
}

/// The input as a row of values; zeros behind its end.
class Input
{
public:
  explicit Input(std::span<std::uint8_t const> bytes) : bytes_(bytes) {}

  bool IsEmpty() const { return bytes_.empty(); }

  template <class T>
  T Take()
  {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    std::span<std::uint8_t const> const taken = TakeBytes(sizeof value);
    if (!taken.empty())
      std::memcpy(static_cast<void*>(&value), taken.data(), taken.size());
    return value;
  }

  /// A number below `bound`, from one byte.
  std::size_t Below(std::size_t bound) { return Take<std::uint8_t>() % bound; }

  /// Fewer when the input ends.
  std::span<std::uint8_t const> TakeBytes(std::size_t count)
  {
    std::span<std::uint8_t const> const taken = bytes_.first(std::min(count, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }

  std::string Rest() const { return {bytes_.begin(), bytes_.end()}; }

private:
  std::span<std::uint8_t const> bytes_;
};
} // namespace Fuzzing

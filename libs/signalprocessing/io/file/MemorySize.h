#pragma once

#include <cstddef>
#include <limits>
#include <new>

/// A size in bytes that a record announces and the address space may not have: std::bad_alloc on every target, where
/// containers would throw std::length_error or a 32-bit sum would wrap.
inline std::size_t MemorySize(unsigned long long byteCount)
{
  if (byteCount > static_cast<unsigned long long>(std::numeric_limits<std::ptrdiff_t>::max()))
    throw std::bad_alloc();
  return static_cast<std::size_t>(byteCount);
}

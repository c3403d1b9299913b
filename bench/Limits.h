#pragma once

#include <cstddef>

/// What the hardware allows: the loops that the library's figures are quoted against.
namespace Limits
{
/// Reads every byte once: exclusive or into eight independent wide accumulators.
unsigned long long Read(void const* data, std::size_t byteCount);
/// Checksum as a first program would write it, one 16-bit word at a time.
unsigned short NaiveChecksum(unsigned short const* words, std::size_t count);
} // namespace Limits

#pragma once

#include <cstddef>

/// What the hardware allows, and what a first program would write: the loops that the library's figures are quoted
/// against.
namespace Limits
{
/// Reads every byte once: exclusive or into eight independent wide accumulators.
unsigned long long Read(void const* data, std::size_t byteCount);
/// Reads and writes every byte once.
void ReadAndWrite(void* data, std::size_t byteCount);
/// `count` additions in double precision, each waiting for the one before.
double ChainOfAdditions(std::size_t count);

/// Sample by sample, not vectorised.
unsigned short NaiveChecksum(short const* samples, std::size_t count);
void NaiveReadout(short const* samples, std::size_t count, double offset, double scale, double* values);
double NaivePeak(short const* samples, std::size_t count);
} // namespace Limits

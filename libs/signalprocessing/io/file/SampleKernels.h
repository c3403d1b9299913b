#pragma once

#include <span>

/// The loops over the samples of a time signal, one instance for each element type that they make sense for. Pure
/// functions on arrays of the caller, which are aligned for their element types; nothing throws. An output array has at
/// least as many elements as the input.
namespace SampleKernels
{
/// Largest absolute value in double precision, 0 for no samples. A NaN is never the peak. All ten types.
template <class T>
double Peak(std::span<T const> samples);

/// output[i] = (samples[i] - offset) * scale in double precision. All ten types.
template <class T>
void PhysicalValues(std::span<T const> samples, double offset, double scale, double* output);

/// output[i] = low 16 bits of samples[i] >> bits, in the samples' own width: arithmetic for signed types, logical for
/// unsigned ones; more bits than the width has give the sign or 0. Integer types.
template <class T>
void ShiftRight(std::span<T const> samples, unsigned bits, short* output);

/// output[i] = low 16 bits of samples[i] << bits. Integer types.
template <class T>
void ShiftLeft(std::span<T const> samples, unsigned bits, short* output);

/// output[i] = low 16 bits of samples[i] / scale, truncated to a 32-bit integer: out of range saturates, NaN gives 0.
/// float and double.
template <class T>
void Quantise(std::span<T const> samples, T scale, short* output);

/// What offset extraction needs to know of integer samples.
template <class T, class Acc>
struct Summary
{
  Acc Sum = 0;    ///< wraps; in index order when Acc is double
  T Smallest = 0; ///< of 0 and all samples
  T Largest = 0;  ///< of 0 and all samples
};
/// (signed char, int), (short, int), (int, long long), (long long, double).
template <class T, class Acc>
Summary<T, Acc> Summarise(std::span<T const> samples);

/// Sum in double precision, in index order from 0.0. float and double.
template <class T>
double SumInOrder(std::span<T const> samples);

/// samples[i] -= offset, wrapping for integers. signed char, short, int, long long, float, double.
template <class T>
void Subtract(std::span<T> samples, T offset);

/// Truncation towards zero as the device's processor does it: out of range saturates, NaN gives 0.
int SaturateToInt32(double value);
long long SaturateToInt64(double value);
} // namespace SampleKernels

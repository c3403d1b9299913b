#pragma once

#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>

/// Compares the values of two signals whose sample types and offsets may differ: the physical value is
/// (sample - Offset) x ScalingFactor, and the scaling factors must be equal.
///
/// Integers must agree exactly. Floating-point samples of equal offsets must agree exactly, not-a-number with itself;
/// when an offset was removed each sample may differ by the rounding of one subtraction in the type of `before`.
///
/// @param before,after  uncompressed
/// @return the index of the first sample that differs; SampleCount of the shorter signal when only the lengths or the
///         scaling factors differ; nothing when all are the same
std::optional<unsigned long long> FirstDifference(TimeSignal const& before, TimeSignal const& after);

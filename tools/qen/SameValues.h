#pragma once

#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>

/// Compares the values of two signals whose sample types and offsets may differ: the physical value is
/// (sample - Offset) x ScalingFactor, and the scaling factors must be equal.
///
/// Integers must agree exactly. Floating-point samples of equal offsets must agree exactly, not-a-number with itself;
/// when an offset was removed they may differ by the rounding of two subtractions, that of the sample in the type of
/// `before` and that of the header's offset.
///
/// @param before,after  uncompressed
/// @return the index of the first sample that differs; SampleCount of the shorter signal when only the lengths or the
///         scaling factors differ; nothing when all are the same
std::optional<unsigned long long> FirstDifference(TimeSignal const& before, TimeSignal const& after);

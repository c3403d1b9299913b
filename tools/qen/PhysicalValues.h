#pragma once

#include "signalprocessing/io/file/TimeSignal.h"

#include <functional>
#include <span>

/// Calls use(values) on one block of physical values, (sample - Offset) x ScalingFactor, after the other. Takes memory
/// for a block, not for the signal.
/// @param signal  uncompressed
void ForEachPhysicalBlock(TimeSignal const& signal, std::function<void(std::span<double const>)> const& use);

#pragma once

#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/TrendRecord.h"

#include <cstddef>
#include <string>
#include <vector>

/// What the benchmarks work on: the same numbers in every run and on every machine.
namespace Material
{
/// A vibration of two tones and noise.
std::vector<short> Vibration(std::size_t count);
/// A signal of those samples, sampled at 51.2 kHz, in mm/s.
TimeSignal Signal(std::vector<short> const& samples);
/// Adds a trigger, `count` validators and `count` characteristic values.
void Annotate(TimeSignal& signal, int count);

/// Entries five minutes apart that end a minute before `Now`, one in fifty of another status.
std::vector<trend_entry_t> TrendEntries(std::size_t count);
/// The same as one stored trend.
TrendDataDO StoredTrend(std::size_t count, compression32_t compression);
/// A device that keeps 6 entries an hour, then 24, 4 and 1 a day.
DeviceDO Device();
inline constexpr long long kNow = 1'700'000'000'000'000;
} // namespace Material

#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <array>
#include <cstddef>

/// Names of enumerators in details documents.
namespace RecordNames
{
// In the order of the enumerations, which start at 1.
inline constexpr std::array<char const*, 5> kSignalTypes{"raw_time_signal", "demodulation_time_signal", "raw_spectrum",
                                                         "demodulation_spectrum", "order_analysis"};
inline constexpr std::array<char const*, 10> kSampleTypes{
    "data_int8_t",    "data_int16_t", "data_int32_t",  "data_int64_t",  "data_float32_t",
    "data_float64_t", "data_uint8_t", "data_uint16_t", "data_uint32_t", "data_uint64_t"};
inline constexpr std::array<char const*, 4> kCompressions{"no_compression", "zlib", "int24", "gzip"};

/// The name of an enumerator, or null.
template <std::size_t Size, class Enumeration>
char const* Find(Enumeration value, std::array<char const*, Size> const& names)
{
  return value >= 1 && static_cast<std::size_t>(value) <= Size ? names[static_cast<std::size_t>(value) - 1] : nullptr;
}
} // namespace RecordNames

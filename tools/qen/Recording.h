#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

/// The samples of one channel, in the element type that holds them exactly.
using SampleArray =
    std::variant<std::vector<signed char>, std::vector<short>, std::vector<int>, std::vector<long long>,
                 std::vector<float>, std::vector<double>, std::vector<unsigned char>, std::vector<unsigned short>,
                 std::vector<unsigned int>, std::vector<unsigned long long>>;

/// The alternatives stand in the order of the sample types, so that an index tells the type.
constexpr sample_datatype32_t SampleTypeOf(SampleArray const& samples)
{
  return static_cast<sample_datatype32_t>(samples.index() + 1);
}
static_assert(data_int8_t == 1 && data_uint64_t == std::variant_size_v<SampleArray>);

/// An empty array of the sample type; REQUIRES: a known type.
SampleArray EmptySamples(sample_datatype32_t type);
std::size_t SampleCountOf(SampleArray const& samples);
void const* SampleBytesOf(SampleArray const& samples);
/// Whether both hold the same type and the same bytes.
bool SameSamples(SampleArray const& a, SampleArray const& b);

/// Samples beyond this size cannot become a time signal.
inline constexpr unsigned long long kMaximumSampleBytes = 2147483647;
/// Throws ToolError when one more sample of the given size would be too much.
void RequireRoomForSample(std::size_t count, std::size_t sampleSize);

/// What a WAV or CSV file holds: the samples of one or several channels, taken at one rate.
struct Recording
{
  std::vector<SampleArray> channels;
  /// Number of the first of them in the file, from 1.
  std::size_t firstChannel = 1;
  std::optional<double> rate; ///< Hz; a CSV file has none
  std::string label;          ///< what a CSV file calls its values
  std::vector<std::string> remarks;
};

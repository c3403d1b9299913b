#include "Recording.h"

#include "ExitCode.h"

#include "signalprocessing/io/file/SampleTypes.h"

#include <cstring>

SampleArray EmptySamples(sample_datatype32_t type)
{
  SampleArray samples;
  VisitSampleType(type, [&]<class T>(std::type_identity<T>) { samples = std::vector<T>(); });
  return samples;
}

std::size_t SampleCountOf(SampleArray const& samples)
{
  return std::visit([](auto const& values) { return values.size(); }, samples);
}

void const* SampleBytesOf(SampleArray const& samples)
{
  return std::visit([](auto const& values) -> void const* { return values.data(); }, samples);
}

bool SameSamples(SampleArray const& a, SampleArray const& b)
{
  if (a.index() != b.index())
    return false;
  return std::visit(
      [&]<class T>(std::vector<T> const& values)
      {
        auto const& others = std::get<std::vector<T>>(b);
        return values.size() == others.size() &&
               (values.empty() || std::memcmp(values.data(), others.data(), values.size() * sizeof(T)) == 0);
      },
      a);
}

void RequireRoomForSample(std::size_t count, std::size_t sampleSize)
{
  if ((static_cast<unsigned long long>(count) + 1) * sampleSize > kMaximumSampleBytes)
    throw ToolError(ExitCode::Unreadable, "holds more than 2^31 - 1 bytes of samples");
}

#pragma once

#include "platform/VelmoraException.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

/// What all targets share: how an input fails, how bytes are read as values, what a signal must survive.
namespace Examination
{
inline void Require(bool condition)
{
  if (!condition)
    __builtin_trap();
}

/// Runs an operation. An exception of the family, or a lack of memory, is what any input may lead to; everything else
/// is a finding.
template <class Operation>
bool Succeeds(Operation operation)
{
  try
  {
    operation();
    return true;
  }
  catch (VelmoraException const&)
  {
  }
  catch (std::bad_alloc const&)
  {
  }
  return false;
}

/// The input as a row of values; zeros behind its end.
class Input
{
public:
  Input(std::uint8_t const* data, std::size_t size) : bytes_(data, size) {}

  bool IsEmpty() const { return bytes_.empty(); }

  template <class T>
  T Take()
  {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    std::size_t const length = std::min(sizeof value, bytes_.size());
    std::memcpy(static_cast<void*>(&value), bytes_.data(), length);
    bytes_ = bytes_.subspan(length);
    return value;
  }

  std::string Rest() const { return {bytes_.begin(), bytes_.end()}; }

private:
  std::span<std::uint8_t const> bytes_;
};

/// The library keeps whatever the header says; only a fuzzer cannot afford gigabytes of zeros that it may announce.
inline bool IsAffordable(timesignal_bin_t const& header)
{
  return header.SampleCount < 100000 && header.DataArrayByteCount < 1000000;
}

inline void ReadOut(TimeSignal& signal)
{
  std::array<double, 64> values{};
  std::array<short, 64> fractions{};
  float scale = 0;
  TimeSignal::SamplesToDouble(signal, values);
  TimeSignal::SamplesToFract(signal, scale, fractions);
  std::unique_ptr<std::vector<double>> const first(TimeSignal::SamplesToDouble(signal, 10));
  std::unique_ptr<std::vector<short>> const all(TimeSignal::SamplesToFract(signal, scale, -1));
}

/// Every operation on the samples, each on a copy.
inline void CompressConvertAndRead(TimeSignal const& original)
{
  for (compression32_t const method : {zlib, gzip, no_compression})
  {
    TimeSignal copy(original);
    if (Succeeds([&] { copy.Compress(method); }) && original.GetHeader()->Compression != method)
      Require(copy.GetChecksumStatus());
  }
  for (int type = 0; type <= 11; ++type)
  {
    TimeSignal copy(original);
    Succeeds([&] { copy.Uncompress(); });
    if (Succeeds([&] { copy.Convert(static_cast<sample_datatype32_t>(type)); }))
      Succeeds([&] { copy.ExtractOffset(); });
    Succeeds([&] { ReadOut(copy); });
  }
}
} // namespace Examination

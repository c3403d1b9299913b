#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

/// All sample types, in the order of their numbers.
inline constexpr std::array<sample_datatype32_t, 10> kSampleTypes = {
    data_int8_t,    data_int16_t, data_int32_t,  data_int64_t,  data_float32_t,
    data_float64_t, data_uint8_t, data_uint16_t, data_uint32_t, data_uint64_t};

/// Bytes of one sample, written down by hand in the same order.
inline constexpr std::array<std::size_t, 10> kSampleSizes = {1, 2, 4, 8, 4, 8, 1, 2, 4, 8};

inline std::size_t SampleSizeOf(sample_datatype32_t type)
{
  return kSampleSizes.at(static_cast<std::size_t>(type) - 1);
}

/// A UUID whose bytes count up from `first`.
inline Uuid CountingUuid(unsigned char first)
{
  std::array<unsigned char, 16> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes.at(i) = static_cast<unsigned char>(first + i);
  Uuid uuid;
  uuid.SetPlainUuid(bytes.data());
  return uuid;
}

/// What a signal consists of beside its samples, each value different from the others and from the defaults.
struct SignalParts
{
  signal32_t signalType = demodulation_spectrum;
  Uuid measurementConfigUuid = CountingUuid(0x10);
  Uuid measurementUuid = CountingUuid(0x30);
  double deltaX = 0.25;
  double scalingFactor = 0.5;
  double offset = 3;
  long long timeStamp = 0x0102030405060708;
  Uuid unitUuid = CountingUuid(0x50);
  std::string unitString = "mm/s";
  Uuid jobDataUuid = CountingUuid(0x70);
};

inline TimeSignal MakeSignal(sample_datatype32_t type, unsigned long long count, void const* samples,
                             SignalParts const& parts = {})
{
  return TimeSignal(parts.signalType, parts.measurementConfigUuid, parts.measurementUuid, parts.deltaX,
                    parts.scalingFactor, parts.offset, parts.timeStamp, parts.unitUuid, parts.unitString, type, count,
                    samples, parts.jobDataUuid);
}

inline TimeSignal MakeSignal(std::vector<short> const& samples, SignalParts const& parts = {})
{
  return MakeSignal(data_int16_t, samples.size(), samples.data(), parts);
}

/// The stored sample bytes, as many as the header announces.
inline std::vector<unsigned char> StoredBytes(TimeSignal const& signal)
{
  unsigned char const* const first = signal.GetSamplesPointer();
  return first == nullptr ? std::vector<unsigned char>()
                          : std::vector<unsigned char>(first, first + signal.GetHeader()->DataArrayByteCount);
}

template <class T>
std::vector<T> StoredSamples(TimeSignal const& signal)
{
  std::vector<T> samples(signal.GetHeader()->DataArrayByteCount / sizeof(T));
  if (!samples.empty())
    std::memcpy(samples.data(), signal.GetSamplesPointer(), samples.size() * sizeof(T));
  return samples;
}

/// The first 120 bytes of a record as they stand in memory.
inline std::vector<unsigned char> HeaderBytes(timesignal_bin_t const& record)
{
  std::vector<unsigned char> bytes(120);
  std::memcpy(bytes.data(), &record, bytes.size());
  return bytes;
}

static_assert(sizeof(TimeSignal) == sizeof(InternalTimeSignal*), "a handle is one pointer");

/// The object that a handle holds. A handle does not show it, but consists of nothing else.
inline InternalTimeSignal* ObjectOf(TimeSignal const& handle)
{
  InternalTimeSignal* object = nullptr;
  std::memcpy(&object, static_cast<void const*>(&handle), sizeof(object));
  return object;
}

/// How many handles share the object that this one holds.
inline unsigned int HandleCount(TimeSignal const& handle) { return ObjectOf(handle)->GetReferenceCounter(); }

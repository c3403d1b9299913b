#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"
#include "support/SampleSignals.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>
#include <zlib.h>

// Time signal records made byte by byte, without the library: a flat record is the 120 header bytes followed by the
// stored sample bytes, exactly as files and databases hold it.

using Bytes = std::vector<unsigned char>;

/// The forms in which samples can be stored.
inline constexpr std::array<compression32_t, 3> kStorageForms = {no_compression, zlib, gzip};

inline constexpr std::size_t kHeaderBytes = 120;

/// Where the fields start in a flat record.
namespace FieldOffset
{
inline constexpr std::size_t kBinaryHeaderVersion = 0;
inline constexpr std::size_t kHeaderSize = 2;
inline constexpr std::size_t kSignalType = 4;
inline constexpr std::size_t kMeasurementConfigUuid = 8;
inline constexpr std::size_t kMeasurementUuid = 24;
inline constexpr std::size_t kDeltaX = 40;
inline constexpr std::size_t kScalingFactor = 48;
inline constexpr std::size_t kOffset = 56;
inline constexpr std::size_t kTimeStamp = 64;
inline constexpr std::size_t kUnitUuid = 72;
inline constexpr std::size_t kCompression = 88;
inline constexpr std::size_t kSampleType = 92;
inline constexpr std::size_t kSampleCount = 96;
inline constexpr std::size_t kDataArrayByteCount = 104;
inline constexpr std::size_t kReserved = 112;
inline constexpr std::size_t kDataChecksum = 116;
inline constexpr std::size_t kHeaderChecksum = 118;
} // namespace FieldOffset

template <class T>
T FieldAt(Bytes const& flat, std::size_t offset)
{
  T value;
  std::memcpy(&value, flat.data() + offset, sizeof(T));
  return value;
}

template <class T>
void SetField(Bytes& flat, std::size_t offset, T value)
{
  std::memcpy(flat.data() + offset, &value, sizeof(T));
}

/// The checksum of records, one byte at a time: bytes at even places enter the low half, those at odd places the high
/// half.
inline unsigned short PlainChecksum(unsigned char const* bytes, std::size_t count)
{
  unsigned int halves[2] = {0, 0};
  for (std::size_t i = 0; i < count; ++i)
    halves[i % 2] ^= bytes[i];
  return static_cast<unsigned short>(halves[0] + 256 * halves[1]);
}

inline unsigned short PlainChecksum(Bytes const& bytes) { return PlainChecksum(bytes.data(), bytes.size()); }

inline void RepairHeaderChecksum(Bytes& flat)
{
  SetField(flat, FieldOffset::kHeaderChecksum, PlainChecksum(flat.data(), FieldOffset::kHeaderChecksum));
}

/// Makes both checksums of a flat record right; every byte behind the header counts as a sample byte.
inline void RepairChecksums(Bytes& flat)
{
  SetField(flat, FieldOffset::kDataChecksum, PlainChecksum(flat.data() + kHeaderBytes, flat.size() - kHeaderBytes));
  RepairHeaderChecksum(flat);
}

inline int WindowBits(compression32_t form) { return form == gzip ? 15 + 16 : 15; }

/// The stored form of raw samples, streams made with zlib.
inline Bytes Stored(Bytes const& raw, compression32_t form)
{
  if (form == no_compression)
    return raw;
  z_stream stream = {};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, WindowBits(form), 8, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::runtime_error("deflateInit2");
  Bytes result(deflateBound(&stream, static_cast<uLong>(raw.size())));
  Bytes source = raw;
  stream.next_in = source.data();
  stream.avail_in = static_cast<uInt>(source.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  int const status = deflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  if (status != Z_STREAM_END)
    throw std::runtime_error("deflate");
  return result;
}

/// What a stream decodes to when it is whole and decodes to exactly `size` bytes; bytes behind the stream are ignored.
inline std::optional<Bytes> Decoded(Bytes const& stored, compression32_t form, std::size_t size)
{
  z_stream stream = {};
  if (inflateInit2(&stream, WindowBits(form)) != Z_OK)
    throw std::runtime_error("inflateInit2");
  Bytes source = stored;
  Bytes result(size + 1);
  stream.next_in = source.data();
  stream.avail_in = static_cast<uInt>(source.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  int const status = inflate(&stream, Z_FINISH);
  bool const whole = status == Z_STREAM_END && stream.total_out == size;
  inflateEnd(&stream);
  if (!whole)
    return std::nullopt;
  result.resize(size);
  return result;
}

/// `count` different small samples; signed and floating types have negative ones.
template <class T>
Bytes SampleBytesOf(std::size_t count)
{
  std::vector<T> samples(count);
  for (std::size_t i = 0; i < count; ++i)
  {
    int const value = static_cast<int>(i * 29 % 101);
    samples[i] = static_cast<T>(std::is_unsigned_v<T> ? value : value - 40);
  }
  Bytes bytes(count * sizeof(T));
  if (!bytes.empty())
    std::memcpy(bytes.data(), samples.data(), bytes.size());
  return bytes;
}

inline Bytes SampleBytes(sample_datatype32_t type, std::size_t count)
{
  switch (type)
  {
  case data_int8_t:
    return SampleBytesOf<signed char>(count);
  case data_int16_t:
    return SampleBytesOf<short>(count);
  case data_int32_t:
    return SampleBytesOf<int>(count);
  case data_int64_t:
    return SampleBytesOf<long long>(count);
  case data_float32_t:
    return SampleBytesOf<float>(count);
  case data_float64_t:
    return SampleBytesOf<double>(count);
  case data_uint8_t:
    return SampleBytesOf<unsigned char>(count);
  case data_uint16_t:
    return SampleBytesOf<unsigned short>(count);
  case data_uint32_t:
    return SampleBytesOf<unsigned int>(count);
  case data_uint64_t:
    return SampleBytesOf<unsigned long long>(count);
  }
  throw std::invalid_argument("no sample type");
}

/// A valid flat record with the values of SignalParts around samples that are stored as they are given.
inline Bytes FlatRecord(sample_datatype32_t type, compression32_t form, unsigned long long count, Bytes const& stored,
                        SignalParts const& parts = {})
{
  Bytes flat(kHeaderBytes + stored.size());
  SetField<unsigned short>(flat, FieldOffset::kBinaryHeaderVersion, 2);
  SetField<unsigned short>(flat, FieldOffset::kHeaderSize, 120);
  SetField(flat, FieldOffset::kSignalType, static_cast<int>(parts.signalType));
  std::copy_n(parts.measurementConfigUuid.GetPlainUuid(), 16, flat.begin() + FieldOffset::kMeasurementConfigUuid);
  std::copy_n(parts.measurementUuid.GetPlainUuid(), 16, flat.begin() + FieldOffset::kMeasurementUuid);
  SetField(flat, FieldOffset::kDeltaX, parts.deltaX);
  SetField(flat, FieldOffset::kScalingFactor, parts.scalingFactor);
  SetField(flat, FieldOffset::kOffset, parts.offset);
  SetField(flat, FieldOffset::kTimeStamp, parts.timeStamp);
  std::copy_n(parts.unitUuid.GetPlainUuid(), 16, flat.begin() + FieldOffset::kUnitUuid);
  SetField(flat, FieldOffset::kCompression, static_cast<int>(form));
  SetField(flat, FieldOffset::kSampleType, static_cast<int>(type));
  SetField(flat, FieldOffset::kSampleCount, count);
  SetField(flat, FieldOffset::kDataArrayByteCount, static_cast<unsigned long long>(stored.size()));
  std::copy(stored.begin(), stored.end(), flat.begin() + kHeaderBytes);
  RepairChecksums(flat);
  return flat;
}

/// A valid flat record of `count` samples in a stored form; without samples nothing is stored, not even an empty
/// stream.
inline Bytes FlatRecord(sample_datatype32_t type, compression32_t form, std::size_t count)
{
  return FlatRecord(type, form, count, count == 0 ? Bytes() : Stored(SampleBytes(type, count), form));
}

/// Releases a record and its sample array.
struct RecordDeleter
{
  void operator()(timesignal_bin_t* record) const
  {
    delete[] record->Samples;
    delete record;
  }
};
using RecordPointer = std::unique_ptr<timesignal_bin_t, RecordDeleter>;

/// A flat record in memory as it stands, its sample array null when there are no bytes behind the header.
inline RecordPointer RecordOf(Bytes const& flat)
{
  RecordPointer record(new timesignal_bin_t());
  std::memcpy(static_cast<void*>(record.get()), flat.data(), kHeaderBytes);
  if (flat.size() > kHeaderBytes)
  {
    record->Samples = new unsigned char[flat.size() - kHeaderBytes];
    std::copy(flat.begin() + kHeaderBytes, flat.end(), record->Samples);
  }
  return record;
}

/// The flat form of a record in memory whose sample array is as long as its header says.
inline Bytes FlatBytes(timesignal_bin_t const& record)
{
  std::size_t const byteCount = record.Samples == nullptr ? 0 : static_cast<std::size_t>(record.DataArrayByteCount);
  Bytes flat(kHeaderBytes + byteCount);
  std::memcpy(flat.data(), static_cast<void const*>(&record), kHeaderBytes);
  std::copy_n(record.Samples, byteCount, flat.begin() + kHeaderBytes);
  return flat;
}

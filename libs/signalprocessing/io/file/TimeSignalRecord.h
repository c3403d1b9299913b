#pragma once

#include <cstddef>

/// Kind of signal. The numbers are stored in records: never change them.
enum signal32_t : int
{
  raw_time_signal = 1,
  demodulation_time_signal,
  raw_spectrum,
  demodulation_spectrum,
  order_analysis
};

/// Element type of the samples. The numbers are stored in records, the unsigned types behind the floating ones: never
/// change them.
enum sample_datatype32_t : int
{
  data_int8_t = 1,
  data_int16_t,
  data_int32_t,
  data_int64_t,
  data_float32_t,
  data_float64_t,
  data_uint8_t,
  data_uint16_t,
  data_uint32_t,
  data_uint64_t
};

/// How the samples are stored. int24 has a number and a name but no method: every operation refuses it.
enum compression32_t : int
{
  no_compression = 1,
  zlib,
  int24,
  gzip
};

/// One measurement: a header of 120 little-endian bytes, in memory followed by the pointer to the sample bytes.
///
///   offset  bytes  field                  meaning
///        0      2  BinaryHeaderVersion    2
///        2      2  HeaderSize             120
///        4      4  SignalType             signal32_t
///        8     16  MeasurementConfigUuid  the measurement configuration
///       24     16  MeasurementUuid        the measurement
///       40      8  DeltaX                 spacing of the samples on the x axis (seconds for a time signal)
///       48      8  ScalingFactor          physical value = (raw sample - Offset) x ScalingFactor
///       56      8  Offset                 in raw samples
///       64      8  TimeStamp              microseconds since 1970-01-01T00:00:00Z
///       72     16  UnitUuid               the unit of the physical values
///       88      4  Compression            compression32_t
///       92      4  SampleType             sample_datatype32_t, of the samples when uncompressed
///       96      8  SampleCount            number of samples
///      104      8  DataArrayByteCount     number of stored sample bytes, after compression
///      112      4  Reserved               written as 0, never read
///      116      2  DataChecksum           16-bit exclusive or of the stored sample bytes
///      118      2  HeaderChecksum         16-bit exclusive or of the header bytes 0 to 117
///
/// The flat form (file, byte vector, database) is the 120 bytes followed by DataArrayByteCount sample bytes; the
/// pointer is never written. Samples is an array made with new[] of DataArrayByteCount bytes; the record does not
/// release it.
struct timesignal_bin_t
{
  unsigned short BinaryHeaderVersion, HeaderSize;
  signal32_t SignalType;
  unsigned char MeasurementConfigUuid[16], MeasurementUuid[16];
  double DeltaX, ScalingFactor, Offset;
  long long TimeStamp;
  unsigned char UnitUuid[16];
  compression32_t Compression;
  sample_datatype32_t SampleType;
  unsigned long long SampleCount, DataArrayByteCount;
  unsigned int Reserved;
  unsigned short DataChecksum, HeaderChecksum;
  unsigned char* Samples;
};

/// Bytes of the header in every stored form.
inline constexpr std::size_t kTimeSignalHeaderSize = 120;

static_assert(offsetof(timesignal_bin_t, BinaryHeaderVersion) == 0);
static_assert(offsetof(timesignal_bin_t, HeaderSize) == 2);
static_assert(offsetof(timesignal_bin_t, SignalType) == 4);
static_assert(offsetof(timesignal_bin_t, MeasurementConfigUuid) == 8);
static_assert(offsetof(timesignal_bin_t, MeasurementUuid) == 24);
static_assert(offsetof(timesignal_bin_t, DeltaX) == 40);
static_assert(offsetof(timesignal_bin_t, ScalingFactor) == 48);
static_assert(offsetof(timesignal_bin_t, Offset) == 56);
static_assert(offsetof(timesignal_bin_t, TimeStamp) == 64);
static_assert(offsetof(timesignal_bin_t, UnitUuid) == 72);
static_assert(offsetof(timesignal_bin_t, Compression) == 88);
static_assert(offsetof(timesignal_bin_t, SampleType) == 92);
static_assert(offsetof(timesignal_bin_t, SampleCount) == 96);
static_assert(offsetof(timesignal_bin_t, DataArrayByteCount) == 104);
static_assert(offsetof(timesignal_bin_t, Reserved) == 112);
static_assert(offsetof(timesignal_bin_t, DataChecksum) == 116);
static_assert(offsetof(timesignal_bin_t, HeaderChecksum) == 118);
static_assert(offsetof(timesignal_bin_t, Samples) == kTimeSignalHeaderSize, "the header is copied as one block");
// Where this is defined, records have the byte order of the machine and nobody else can read them: for trying out how
// far the rest of the library depends on it.
#ifndef QEN_FOREIGN_BYTE_ORDER
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "headers and samples are stored as they stand in memory");
#endif

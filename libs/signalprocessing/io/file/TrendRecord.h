#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <cstddef>

/// One stored trend: a header of 96 little-endian bytes, followed by its entries, raw or compressed as a whole.
///
///   offset  bytes  field                          meaning
///        0      2  BinaryHeaderVersion            2
///        2      2  HeaderSize                     96
///        4      4  Compression                    no_compression, zlib or gzip
///        8     16  CharacteristicValueConfigUuid  the configuration of the characteristic value
///       24     16  TrendUuid                      this trend
///       40      8  FirstTimeStamp                 of the first entry, microseconds since 1970; 0 without entries
///       48      8  LastTimeStamp                  of the last entry; 0 without entries
///       56     16  UnitUuid                       the unit of the values
///       72      8  LowerPreAlarmLevel             the lower pre-alarm limit while the trend was recorded
///       80      4  SampleCount                    number of entries
///       84      4  DataArrayByteCount             bytes behind the header, after compression
///       88      4  Reserved                       written as 0, never read
///       92      2  DataChecksum                   16-bit exclusive or of the bytes behind the header
///       94      2  HeaderChecksum                 16-bit exclusive or of the header while this field is 0
struct trend_header_t
{
  unsigned short BinaryHeaderVersion, HeaderSize;
  compression32_t Compression;
  unsigned char CharacteristicValueConfigUuid[16], TrendUuid[16];
  long long FirstTimeStamp, LastTimeStamp;
  unsigned char UnitUuid[16];
  double LowerPreAlarmLevel;
  unsigned int SampleCount, DataArrayByteCount, Reserved;
  unsigned short DataChecksum, HeaderChecksum;
};

/// One entry of a trend, 32 little-endian bytes. Only time stamp and status mean anything here: the rest is carried.
///
///   offset  bytes  field        meaning
///        0      8  TimeStamp    microseconds since 1970-01-01T00:00:00Z
///        8      8  Value
///       16      4  AuxFloat1
///       20      4  AuxFloat2
///       24      1  AuxByte
///       25      1  Status       status class; thinning tells 1, 2, 3 and all others apart
///       26      2               whatever the entry held
///       28      4  AuxFloat3
struct trend_entry_t
{
  long long TimeStamp;
  double Value;
  float AuxFloat1, AuxFloat2;
  unsigned char AuxByte, Status;
  float AuxFloat3;
};

/// Bytes of the header in every stored form.
inline constexpr std::size_t kTrendHeaderSize = 96;

static_assert(offsetof(trend_header_t, BinaryHeaderVersion) == 0);
static_assert(offsetof(trend_header_t, HeaderSize) == 2);
static_assert(offsetof(trend_header_t, Compression) == 4);
static_assert(offsetof(trend_header_t, CharacteristicValueConfigUuid) == 8);
static_assert(offsetof(trend_header_t, TrendUuid) == 24);
static_assert(offsetof(trend_header_t, FirstTimeStamp) == 40);
static_assert(offsetof(trend_header_t, LastTimeStamp) == 48);
static_assert(offsetof(trend_header_t, UnitUuid) == 56);
static_assert(offsetof(trend_header_t, LowerPreAlarmLevel) == 72);
static_assert(offsetof(trend_header_t, SampleCount) == 80);
static_assert(offsetof(trend_header_t, DataArrayByteCount) == 84);
static_assert(offsetof(trend_header_t, Reserved) == 88);
static_assert(offsetof(trend_header_t, DataChecksum) == 92);
static_assert(offsetof(trend_header_t, HeaderChecksum) == 94);
static_assert(sizeof(trend_header_t) == kTrendHeaderSize, "the header is copied as one block");
static_assert(offsetof(trend_entry_t, TimeStamp) == 0);
static_assert(offsetof(trend_entry_t, Value) == 8);
static_assert(offsetof(trend_entry_t, AuxFloat1) == 16);
static_assert(offsetof(trend_entry_t, AuxFloat2) == 20);
static_assert(offsetof(trend_entry_t, AuxByte) == 24);
static_assert(offsetof(trend_entry_t, Status) == 25);
static_assert(offsetof(trend_entry_t, AuxFloat3) == 28);
static_assert(sizeof(trend_entry_t) == 32, "entries are stored back to back");

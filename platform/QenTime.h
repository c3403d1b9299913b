#pragma once

#include "platform/Export.h"
#include "platform/VelmoraException.h"

#include <string>

/// A text that is no time stamp.
class QEN_PLATFORM_EXPORT QenTimeException : public VelmoraException
{
public:
  QenTimeException();
  ~QenTimeException() override;
  VelmoraException* clone() const override;
};

/// Time stamps of the device: microseconds since 1970-01-01T00:00:00Z, without leap seconds, in a signed 64-bit number.
/// All operations may be called from any thread.
class QEN_PLATFORM_EXPORT QenTime
{
public:
  /// "2026-11-20T17:57:20.000123Z": proleptic Gregorian calendar, UTC, always six decimals. Total over every 64-bit
  /// value: years have at least four digits, may have more, and carry a minus sign before the year 0 ("-0001" is 2 BC).
  static std::string TimeStampToString(long long microseconds);
  /// The exact inverse: accepts what TimeStampToString writes and nothing else; otherwise throws QenTimeException.
  static long long StringToTimeStamp(std::string const& text);
  static long long Now();
};

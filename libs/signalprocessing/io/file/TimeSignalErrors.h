#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignalException.h"
#include "signalprocessing/io/file/TimeSignalRecord.h"
#include "utilities/exception/ExceptionFactory.h"

class MessageLogger;

/// What the units that make up InternalTimeSignal share when they report: one source unit, one logger, and the errors
/// that more than one of them raises.
namespace TimeSignalErrors
{
inline constexpr char const kSourceUnit[] = "InternalTimeSignal.cpp";

MessageLogger* Logger();

inline TimeSignalException UnknownSignalType(signal32_t type, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line)
      .createException<TimeSignalException>("Unknown signal type: %ld!", static_cast<long>(type));
}

inline TimeSignalException UnknownDataType(sample_datatype32_t type, char const* sourceUnit = kSourceUnit,
                                           int line = __builtin_LINE())
{
  return ExceptionFactory(sourceUnit, line)
      .createException<TimeSignalException>("Unknown data type: %ld!", static_cast<long>(type));
}

inline TimeSignalException UnknownCompression(compression32_t method, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line)
      .createException<TimeSignalException>("Unknown compression: %ld!", static_cast<long>(method));
}

inline TimeSignalException CorruptDatabaseObject(Uuid const& uuid, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line)
      .createException<TimeSignalException>("Corrupt time signal database object %s!", uuid.ToString().c_str());
}
} // namespace TimeSignalErrors

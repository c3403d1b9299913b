#pragma once

#include "platform/VelmoraException.h"

#include <cstdarg>

/// Makes an exception of this platform with its place and message; not part of what the platform offers.
template <class T>
__attribute__((format(printf, 3, 4))) T PlatformError(char const* file, int line, char const* format, ...)
{
  T exception;
  exception.setFile(file);
  exception.setLine(line);
  va_list arguments;
  va_start(arguments, format);
  exception.fillInArgumentString(format, arguments);
  va_end(arguments);
  return exception;
}

#pragma once

#include "platform/VelmoraException.h"
#include "utilities/Export.h"

#include <cstdarg>

/// Builds one exception at the place that throws it:
/// `throw ExceptionFactory(kSourceUnit, __LINE__).createException<TimeSignalException>("Unknown compression: %ld!",
/// value);`
class QEN_FILE_IO_EXPORT ExceptionFactory
{
public:
  /// @param sourceFile name of the source unit; must outlive the factory
  ExceptionFactory(char const* sourceFile, int line);

  /// A T with the factory's file and line and the formatted message.
  template <class T>
  T createException(char const* format, ...) const __attribute__((format(printf, 2, 3)));

  /// The same, keeping a clone of the exception that caused it.
  template <class T>
  T createException(VelmoraException& cause, char const* format, ...) const __attribute__((format(printf, 3, 4)));

private:
  void locate(VelmoraException& exception) const;

  char const* sourceFile_;
  int line_;
};

template <class T>
T ExceptionFactory::createException(char const* format, ...) const
{
  T exception;
  locate(exception);
  va_list arguments;
  va_start(arguments, format);
  exception.fillInArgumentString(format, arguments);
  va_end(arguments);
  return exception;
}

template <class T>
T ExceptionFactory::createException(VelmoraException& cause, char const* format, ...) const
{
  T exception;
  locate(exception);
  exception.setRootCause(cause);
  va_list arguments;
  va_start(arguments, format);
  exception.fillInArgumentString(format, arguments);
  va_end(arguments);
  return exception;
}

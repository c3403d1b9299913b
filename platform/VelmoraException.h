#pragma once

#include "platform/Export.h"

#include <cstdarg>
#include <exception>
#include <memory>
#include <string>

/// Root of every exception of the device's software: a class name, the place where it was raised, a printf-style
/// message and, optionally, the exception that caused it.
///
/// Thrown by value, caught by reference. An object belongs to one thread at a time. Members that store text can throw
/// std::bad_alloc.
class QEN_PLATFORM_EXPORT VelmoraException : public std::exception
{
public:
  /// @param className the name of the most derived class, copied
  explicit VelmoraException(char const* className);
  /// Copies everything, the root cause by cloning it.
  VelmoraException(VelmoraException const& other);
  VelmoraException& operator=(VelmoraException const& other);
  ~VelmoraException() override;

  /// The formatted message and nothing else; valid until the object is changed or destroyed.
  char const* what() const noexcept override;
  /// A new copy of the most derived class; the caller owns it.
  virtual VelmoraException* clone() const;

  void setFile(char const* file);
  void setLine(int line);
  /// Formats the message of what(). The argument list is left as vsnprintf leaves it.
  void fillInArgumentString(char const* format, va_list arguments) __attribute__((format(printf, 2, 0)));
  /// Keeps a clone of the cause.
  void setRootCause(VelmoraException const& cause);

  std::string const& getClassName() const;
  /// Name of the source unit that raised the exception; empty until set.
  std::string const& getFile() const;
  int getLine() const;
  /// The cause, owned by this object; null when there is none.
  VelmoraException const* getRootCause() const;

private:
  std::string className_;
  std::string file_;
  int line_ = 0;
  std::string message_;
  std::unique_ptr<VelmoraException> rootCause_;
};

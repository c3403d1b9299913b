#pragma once

#include "platform/Export.h"

#include <log4cpp/Priority.hh>

#include <string>

class VelmoraException;

namespace log4cpp
{
class Category;
}

/// A log category. Where its records go, and from which priority on, is configured through log4cpp by the program,
/// which attaches its sinks before the first record is written and leaves them in place. All operations may be called
/// from any thread.
class QEN_PLATFORM_EXPORT MessageLogger
{
public:
  /// The logger of a category, made on first use. It is never null and lives for the process; nobody frees it. Throws
  /// std::bad_alloc on first use.
  static MessageLogger* getLogger(std::string const& category);
  bool isEnabled(log4cpp::Priority::PriorityLevel priority) const;

  MessageLogger(MessageLogger const&) = delete;
  MessageLogger& operator=(MessageLogger const&) = delete;

private:
  friend class LogObject;
  explicit MessageLogger(log4cpp::Category& category);
  void write(log4cpp::Priority::PriorityLevel priority, std::string const& message) const;

  log4cpp::Category& category_;
};

/// One log record: made, called once with its text, and gone. Logging never throws: a record that cannot be written is
/// lost.
class QEN_PLATFORM_EXPORT LogObject
{
public:
  /// @param file,line where the record is raised. The record's text is the message alone; sinks of this platform do not
  ///                  show the place.
  LogObject(MessageLogger* logger, log4cpp::Priority::PriorityLevel priority, char const* file, int line);
  ~LogObject();
  LogObject(LogObject const&) = delete;
  LogObject& operator=(LogObject const&) = delete;

  /// Emits the record.
  void operator()(char const* format, ...) __attribute__((format(printf, 2, 3)));

private:
  MessageLogger* logger_;
  log4cpp::Priority::PriorityLevel priority_;
};

/// Logs a caught exception with its message as the record's text. Never throws.
class QEN_PLATFORM_EXPORT ExceptionLogger
{
public:
  static void log(MessageLogger* logger, log4cpp::Priority::PriorityLevel priority, char const* file, int line,
                  VelmoraException const& exception);
};

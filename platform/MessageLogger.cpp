#include "platform/MessageLogger.h"

#include "platform/VelmoraException.h"

#include <cstdarg>
#include <log4cpp/Category.hh>
#include <map>
#include <memory>
#include <mutex>

namespace
{
struct Registry
{
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<MessageLogger>> loggers;
};

Registry& registry()
{
  static Registry instance;
  return instance;
}
} // namespace

MessageLogger::MessageLogger(log4cpp::Category& category) : category_(category) {}

MessageLogger* MessageLogger::getLogger(std::string const& category)
{
  Registry& all = registry();
  std::lock_guard const lock(all.mutex);
  std::unique_ptr<MessageLogger>& logger = all.loggers[category];
  if (!logger)
    logger.reset(new MessageLogger(log4cpp::Category::getInstance(category)));
  return logger.get();
}

bool MessageLogger::isEnabled(log4cpp::Priority::PriorityLevel priority) const
{
  return category_.isPriorityEnabled(priority);
}

void MessageLogger::write(log4cpp::Priority::PriorityLevel priority, std::string const& message) const
{
  category_.log(priority, message);
}

LogObject::LogObject(MessageLogger* logger, log4cpp::Priority::PriorityLevel priority, char const*, int)
  : logger_(logger), priority_(priority)
{
}

LogObject::~LogObject() = default;

void LogObject::operator()(char const* format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  try
  {
    // The exception base already knows how to turn a format and its arguments into text.
    VelmoraException record("LogRecord");
    record.fillInArgumentString(format, arguments);
    logger_->write(priority_, record.what());
  }
  catch (...)
  {
    // Losing a record must not lose a measurement.
  }
  va_end(arguments);
}

void ExceptionLogger::log(MessageLogger* logger, log4cpp::Priority::PriorityLevel priority, char const* file, int line,
                          VelmoraException const& exception)
{
  LogObject(logger, priority, file, line)("%s", exception.what());
}

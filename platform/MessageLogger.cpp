#include "platform/MessageLogger.h"

#include "platform/VelmoraException.h"

#include <cstdarg>
#include <cxxabi.h>
#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LoggingEvent.hh>
#include <log4cpp/NDC.hh>
#include <map>
#include <memory>
#include <mutex>

namespace
{
struct Registry
{
  // Categories that are there first are gone last.
  Registry() { log4cpp::Category::getRoot(); }

  std::mutex mutex;
  std::map<std::string, std::unique_ptr<MessageLogger>> loggers;
  // Sinks are no more thread-safe than the streams they write to; one of them may log something itself.
  std::recursive_mutex writing;
};

// Made at load, so that it outlives every static object of a program that logs.
[[gnu::init_priority(150)]] Registry registry;
} // namespace

MessageLogger::MessageLogger(log4cpp::Category& category) : category_(category) {}

MessageLogger* MessageLogger::getLogger(std::string const& category)
{
  std::lock_guard const lock(registry.mutex);
  std::unique_ptr<MessageLogger>& logger = registry.loggers[category];
  if (!logger)
    logger.reset(new MessageLogger(log4cpp::Category::getInstance(category)));
  return logger.get();
}

bool MessageLogger::isEnabled(log4cpp::Priority::PriorityLevel priority) const
{
  return category_.isPriorityEnabled(priority);
}

// Category::log would end the process when a sink throws, because it promises not to throw itself. So the sinks are
// called here, those of the category first and then those of its parents, as far as the categories pass records on.
void MessageLogger::write(log4cpp::Priority::PriorityLevel priority, std::string const& message) const
{
  if (!isEnabled(priority))
    return;
  std::lock_guard const lock(registry.writing);
  log4cpp::LoggingEvent const event(category_.getName(), message, log4cpp::NDC::get(), priority);
  for (log4cpp::Category* category = &category_; category != nullptr; category = category->getParent())
  {
    for (log4cpp::Appender* const appender : category->getAllAppenders())
      appender->doAppend(event);
    if (!category->getAdditivity())
      break;
  }
}

LogObject::LogObject(MessageLogger* logger, log4cpp::Priority::PriorityLevel priority, char const*, int)
  : logger_(logger), priority_(priority)
{
}

LogObject::~LogObject() = default;

// Cancellation is caught as a reference to nothing.
__attribute__((no_sanitize("null"))) void LogObject::operator()(char const* format, ...)
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
  catch (abi::__forced_unwind const&)
  {
    throw; // the thread is being cancelled
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

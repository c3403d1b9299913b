#pragma once

#include <log4cpp/AppenderSkeleton.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LoggingEvent.hh>

#include <mutex>
#include <string>
#include <vector>

/// One record as a sink gets it.
struct LogRecord
{
  std::string category;
  log4cpp::Priority::Value priority;
  std::string text;
};

/// What every sink of the tests has in common: no layout, nothing to close.
class TestAppender : public log4cpp::AppenderSkeleton
{
public:
  explicit TestAppender(std::string const& name) : log4cpp::AppenderSkeleton(name) {}
  void close() override {}
  bool requiresLayout() const override { return false; }
  void setLayout(log4cpp::Layout*) override {}
};

class RecordingAppender : public TestAppender
{
public:
  RecordingAppender() : TestAppender("recording") {}
  std::vector<LogRecord> Records() const
  {
    std::lock_guard const lock(mutex_);
    return records_;
  }
  void Forget()
  {
    std::lock_guard const lock(mutex_);
    std::vector<LogRecord>().swap(records_);
  }

protected:
  void _append(log4cpp::LoggingEvent const& event) override
  {
    std::lock_guard const lock(mutex_);
    records_.push_back({event.categoryName, event.priority, event.message});
  }

private:
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

/// As long as it lives, a category lets records of a priority and above through, to one sink and to no other.
class LogRoute
{
public:
  LogRoute(std::string const& category, log4cpp::Priority::Value priority, log4cpp::Appender& sink)
    : category_(log4cpp::Category::getInstance(category)), sink_(sink), priorityBefore_(category_.getPriority()),
      additivityBefore_(category_.getAdditivity())
  {
    category_.setPriority(priority);
    category_.setAdditivity(false);
    category_.addAppender(sink_);
  }
  LogRoute(LogRoute const&) = delete;
  LogRoute& operator=(LogRoute const&) = delete;
  ~LogRoute()
  {
    category_.removeAppender(&sink_);
    category_.setAdditivity(additivityBefore_);
    category_.setPriority(priorityBefore_);
  }

private:
  log4cpp::Category& category_;
  log4cpp::Appender& sink_;
  log4cpp::Priority::Value priorityBefore_;
  bool additivityBefore_;
};

/// The records of a category, from the moment it is made.
class LogCapture
{
public:
  explicit LogCapture(std::string const& category, log4cpp::Priority::Value priority = log4cpp::Priority::DEBUG)
    : route_(category, priority, sink_)
  {
  }
  std::vector<LogRecord> Records() const { return sink_.Records(); }
  /// Releases the records of until now.
  void Forget() { sink_.Forget(); }

private:
  RecordingAppender sink_;
  LogRoute route_;
};

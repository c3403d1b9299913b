#include "platform/MessageLogger.h"

#include "support/LogCapture.h"

#include <array>
#include <gtest/gtest.h>
#include <latch>
#include <log4cpp/Priority.hh>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{
std::string const kCategory = "example.qen.test.message_logger_threads";

void LogText(std::string const& text)
{
  LogObject record(MessageLogger::getLogger(kCategory), log4cpp::Priority::WARN, "unit.cpp", 1);
  record("%s", text.c_str());
}

TEST(MessageLogger, LoggersAreTheSameInEveryThread)
{
  constexpr int kThreads = 8;
  constexpr int kNames = 100;
  std::array<std::vector<MessageLogger*>, kThreads> found;
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (auto& loggers : found)
    threads.emplace_back(
        [&loggers, &start]
        {
          start.arrive_and_wait();
          for (int i = 0; i < kNames; ++i)
            loggers.push_back(MessageLogger::getLogger("example.qen.test.threads." + std::to_string(i)));
        });
  for (std::thread& thread : threads)
    thread.join();
  for (auto const& loggers : found)
    EXPECT_EQ(loggers, found[0]);
  EXPECT_EQ(std::set(found[0].begin(), found[0].end()).size(), static_cast<std::size_t>(kNames));
}

TEST(MessageLogger, RecordsOfManyThreadsAreAllWhole)
{
  constexpr int kThreads = 4;
  constexpr int kRecords = 100;
  LogCapture const capture(kCategory);
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back(
        [t, &start]
        {
          start.arrive_and_wait();
          for (int i = 0; i < kRecords; ++i)
            LogText("thread " + std::to_string(t) + " record " + std::to_string(i));
        });
  for (std::thread& thread : threads)
    thread.join();
  std::multiset<std::string> texts;
  for (LogRecord const& record : capture.Records())
    texts.insert(record.text);
  EXPECT_EQ(texts.size(), static_cast<std::size_t>(kThreads * kRecords));
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kRecords; ++i)
      EXPECT_EQ(texts.count("thread " + std::to_string(t) + " record " + std::to_string(i)), 1U);
}
} // namespace

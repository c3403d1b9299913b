#include "platform/MessageLogger.h"

#include "platform/VelmoraException.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "support/CancelledThread.h"
#include "support/DecimalPoint.h"
#include "support/LogCapture.h"
#include "support/SampleSignals.h"

#include <array>
#include <cstdarg>
#include <cstdlib>
#include <gtest/gtest.h>
#include <log4cpp/Category.hh>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using log4cpp::Priority;

constexpr char kTimeSignalCategory[] = "example.qen.velmora.libs.signalprocessing.io.file.time_signal";

// Looked up while this program starts, before anything of it has called the library.
bool const kTimeSignalCategoryIsThereAtLoad = log4cpp::Category::exists(kTimeSignalCategory) != nullptr;

/// A category that no other test uses.
std::string const kCategory = "example.qen.test.message_logger";

constexpr std::array kPriorities = {Priority::FATAL,  Priority::ALERT, Priority::CRIT,  Priority::ERROR, Priority::WARN,
                                    Priority::NOTICE, Priority::INFO,  Priority::DEBUG, Priority::NOTSET};

class BrokenAppender : public TestAppender
{
public:
  explicit BrokenAppender(bool standardException) : TestAppender("broken"), standardException_(standardException) {}

protected:
  void _append(log4cpp::LoggingEvent const&) override
  {
    ++calls;
    if (standardException_)
      throw std::runtime_error("disk full");
    throw 42;
  }

public:
  int calls = 0;

private:
  bool standardException_;
};

class ValveException : public VelmoraException
{
public:
  explicit ValveException(char const* message) : VelmoraException("ValveException")
  {
    setFile("valve.cpp");
    setLine(3);
    fill("%s", message);
  }
  VelmoraException* clone() const override { return new ValveException(*this); }

private:
  __attribute__((format(printf, 2, 3))) void fill(char const* format, ...)
  {
    va_list arguments;
    va_start(arguments, format);
    fillInArgumentString(format, arguments);
    va_end(arguments);
  }
};

void ExpectOneRecord(LogCapture const& capture, std::string const& category, Priority::Value priority,
                     std::string const& text)
{
  std::vector<LogRecord> const records = capture.Records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].category, category);
  EXPECT_EQ(records[0].priority, priority);
  EXPECT_EQ(records[0].text, text);
}

void LogText(std::string const& text, Priority::PriorityLevel priority = Priority::WARN)
{
  LogObject record(MessageLogger::getLogger(kCategory), priority, "unit.cpp", 42);
  record("%s", text.c_str());
}

/// Logs twice into a sink that throws and once into a good one, then ends the process: with 0 if nothing was thrown,
/// the broken sink was asked both times and the good one got its record. Runs in a child process, because an exception
/// that leaves log4cpp ends the process at once.
template <class F>
[[noreturn]] void EndAfterBrokenSink(bool standardException, F&& log)
{
  BrokenAppender broken(standardException);
  bool thrown = false;
  try
  {
    LogRoute const route(kCategory, Priority::DEBUG, broken);
    log();
    log();
  }
  catch (...)
  {
    thrown = true;
  }
  LogCapture const capture(kCategory);
  LogText("kept");
  bool const kept = capture.Records().size() == 1 && capture.Records()[0].text == "kept";
  std::_Exit(!thrown && broken.calls == 2 && kept ? 0 : 1);
}

/// A signal whose header announces samples that are not there.
InternalTimeSignal SignalWithoutItsSamples()
{
  InternalTimeSignal signal(*ObjectOf(MakeSignal({1, 2, 3, 4})));
  delete[] signal.GetHeader()->Samples;
  signal.GetHeader()->Samples = nullptr;
  return signal;
}
} // namespace

TEST(MessageLogger, CategoryHasOneLoggerThatStays)
{
  MessageLogger* const logger = MessageLogger::getLogger(kCategory);
  ASSERT_NE(logger, nullptr);
  EXPECT_EQ(MessageLogger::getLogger(kCategory), logger);
  for (int i = 0; i < 200; ++i)
    MessageLogger::getLogger(kCategory + ".many." + std::to_string(i));
  EXPECT_EQ(MessageLogger::getLogger(std::string(kCategory)), logger);
}

TEST(MessageLogger, EveryCategoryHasItsOwnLogger)
{
  std::set<MessageLogger*> loggers;
  for (char const* name : {"", "a", "A", "a.b", "a.b.c", "a b", ".", "..", "a.", "\xC3\xA4"})
    loggers.insert(MessageLogger::getLogger(name));
  EXPECT_EQ(loggers.size(), 10U);
  EXPECT_EQ(loggers.count(nullptr), 0U);
}

TEST(MessageLogger, PrioritiesHaveTheNumbersOfTheDevice)
{
  EXPECT_EQ(static_cast<int>(Priority::ERROR), 300);
  EXPECT_EQ(static_cast<int>(Priority::WARN), 400);
  EXPECT_EQ(static_cast<int>(Priority::INFO), 600);
  EXPECT_EQ(static_cast<int>(Priority::DEBUG), 700);
}

TEST(MessageLogger, PriorityIsEnabledUpToThatOfTheCategory)
{
  MessageLogger* const logger = MessageLogger::getLogger(kCategory);
  for (Priority::PriorityLevel threshold : kPriorities)
  {
    if (threshold == Priority::NOTSET)
      continue;
    LogCapture const capture(kCategory, threshold);
    for (Priority::PriorityLevel priority : kPriorities)
      EXPECT_EQ(logger->isEnabled(priority), static_cast<int>(priority) <= static_cast<int>(threshold))
          << "priority " << priority << " at threshold " << threshold;
  }
}

TEST(MessageLogger, CategoryWithoutPriorityFollowsItsParent)
{
  std::string const child = kCategory + ".child";
  MessageLogger* const logger = MessageLogger::getLogger(child);
  LogCapture const inherited(child, Priority::NOTSET);
  {
    LogCapture const parent(kCategory, Priority::INFO);
    EXPECT_TRUE(logger->isEnabled(Priority::INFO));
    EXPECT_FALSE(logger->isEnabled(Priority::DEBUG));
  }
  LogCapture const parent(kCategory, Priority::ERROR);
  EXPECT_TRUE(logger->isEnabled(Priority::ERROR));
  EXPECT_FALSE(logger->isEnabled(Priority::WARN));
}

TEST(MessageLogger, RecordHasCategoryPriorityAndText)
{
  for (Priority::PriorityLevel priority : kPriorities)
  {
    if (priority == Priority::NOTSET)
      continue;
    LogCapture const capture(kCategory);
    LogText("pressure lost", priority);
    ExpectOneRecord(capture, kCategory, priority, "pressure lost");
  }
}

TEST(MessageLogger, TextIsTheMessageAlone)
{
  LogCapture const capture(kCategory);
  {
    LogObject record(MessageLogger::getLogger(kCategory), Priority::ERROR, "libs/valve/Valve.cpp", 12345);
    record("message");
  }
  ExpectOneRecord(capture, kCategory, Priority::ERROR, "message");
}

TEST(MessageLogger, RecordIsEmittedByTheCall)
{
  LogCapture const capture(kCategory);
  {
    LogObject record(MessageLogger::getLogger(kCategory), Priority::WARN, "unit.cpp", 1);
    EXPECT_EQ(capture.Records().size(), 0U);
    record("message");
    EXPECT_EQ(capture.Records().size(), 1U);
  }
  EXPECT_EQ(capture.Records().size(), 1U);
}

TEST(MessageLogger, ObjectThatIsNeverCalledLeavesNoRecord)
{
  LogCapture const capture(kCategory);
  {
    LogObject const record(MessageLogger::getLogger(kCategory), Priority::WARN, "unit.cpp", 1);
  }
  EXPECT_EQ(capture.Records().size(), 0U);
}

TEST(MessageLogger, RecordBelowThePriorityOfTheCategoryIsNotWritten)
{
  LogCapture const capture(kCategory, Priority::WARN);
  LogText("quiet", Priority::NOTICE);
  EXPECT_EQ(capture.Records().size(), 0U);
  LogText("loud", Priority::WARN);
  ExpectOneRecord(capture, kCategory, Priority::WARN, "loud");
}

TEST(MessageLogger, RecordReachesTheSinkOfTheParentCategory)
{
  LogCapture const capture(kCategory, Priority::INFO);
  std::string const child = kCategory + ".child.of.child";
  {
    LogObject record(MessageLogger::getLogger(child), Priority::INFO, "unit.cpp", 1);
    record("from below");
  }
  ExpectOneRecord(capture, child, Priority::INFO, "from below");
}

TEST(MessageLogger, RecordOfAClosedCategoryStaysInIt)
{
  LogCapture const parent(kCategory);
  std::string const child = kCategory + ".closed";
  LogCapture const capture(child);
  {
    LogObject record(MessageLogger::getLogger(child), Priority::INFO, "unit.cpp", 1);
    record("kept");
  }
  ExpectOneRecord(capture, child, Priority::INFO, "kept");
  EXPECT_EQ(parent.Records().size(), 0U);
}

TEST(MessageLogger, MessageIsFormattedAsPrintfDoes)
{
  LogCapture const capture(kCategory);
  {
    LogObject record(MessageLogger::getLogger(kCategory), Priority::DEBUG, "unit.cpp", 1);
    record("Saved checksum : %u, Calculated: %u (%s, %.2f, %lld, %d%%)", 65535U, 7U, "x", 0.5, -9000000000LL, 50);
  }
  ExpectOneRecord(capture, kCategory, Priority::DEBUG,
                  "Saved checksum : 65535, Calculated: 7 (x, 0" + DecimalPoint() + "50, -9000000000, 50%)");
}

TEST(MessageLogger, FormattedTextIsNotFormattedAgain)
{
  LogCapture const capture(kCategory);
  LogText("%s%n%d 100%%");
  ExpectOneRecord(capture, kCategory, Priority::WARN, "%s%n%d 100%%");
}

TEST(MessageLogger, MessageOfAnyLengthIsWhole)
{
  for (std::size_t length : {0U, 1U, 127U, 128U, 1023U, 1024U, 1025U, 4096U, 65535U, 65536U, 65537U, 1048577U})
  {
    std::string const text = "begin\n" + std::string(length, 'x') + "\tend";
    LogCapture const capture(kCategory);
    LogText(text);
    ASSERT_EQ(capture.Records().size(), 1U) << "length " << length;
    EXPECT_TRUE(capture.Records()[0].text == text) << "length " << length;
  }
}

TEST(MessageLogger, EmptyMessageIsARecord)
{
  LogCapture const capture(kCategory);
  LogText("");
  ExpectOneRecord(capture, kCategory, Priority::WARN, "");
}

TEST(MessageLogger, SinkThatThrowsCostsTheRecordOnly)
{
  for (bool standardException : {true, false})
    EXPECT_EXIT(EndAfterBrokenSink(standardException, [] { LogText("lost"); }), testing::ExitedWithCode(0), "");
}

TEST(MessageLogger, ThreadThatIsCancelledInASinkEndsThere)
{
  {
    CancellingAppender sink;
    LogRoute const route(kCategory, Priority::WARN, sink);
    bool wentOn = false;
    EXPECT_TRUE(EndsCancelled(
        [&]
        {
          LogText("lost");
          wentOn = true;
        }));
    EXPECT_FALSE(wentOn);
  }
  LogCapture const capture(kCategory);
  LogText("no lock is left");
  ExpectOneRecord(capture, kCategory, Priority::WARN, "no lock is left");
}

TEST(MessageLogger, TextThatCannotBeFormattedDoesNotThrow)
{
  LogCapture const capture(kCategory);
  wchar_t const outsideUnicode[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
  EXPECT_NO_THROW({
    LogObject record(MessageLogger::getLogger(kCategory), Priority::WARN, "unit.cpp", 1);
    record("%ls", outsideUnicode);
  });
  LogText("after");
  ASSERT_FALSE(capture.Records().empty());
  EXPECT_EQ(capture.Records().back().text, "after");
}

TEST(ExceptionLogger, RecordIsTheMessageOfTheException)
{
  LogCapture const capture(kCategory);
  ExceptionLogger::log(MessageLogger::getLogger(kCategory), Priority::ERROR, "unit.cpp", 7, ValveException("stuck"));
  ExpectOneRecord(capture, kCategory, Priority::ERROR, "stuck");
}

TEST(ExceptionLogger, MessageIsNotFormattedAgain)
{
  LogCapture const capture(kCategory);
  ExceptionLogger::log(MessageLogger::getLogger(kCategory), Priority::WARN, "unit.cpp", 7, ValveException("%s%n 5%%"));
  ExpectOneRecord(capture, kCategory, Priority::WARN, "%s%n 5%%");
}

TEST(ExceptionLogger, MessageOfAnyLengthIsWhole)
{
  for (std::size_t length : {0U, 1U, 1024U, 65537U, 1048577U})
  {
    std::string const text(length, 'm');
    LogCapture const capture(kCategory);
    ExceptionLogger::log(MessageLogger::getLogger(kCategory), Priority::ERROR, "unit.cpp", 7,
                         ValveException(text.c_str()));
    ASSERT_EQ(capture.Records().size(), 1U) << "length " << length;
    EXPECT_TRUE(capture.Records()[0].text == text) << "length " << length;
  }
}

TEST(ExceptionLogger, DisabledPriorityLeavesNoRecord)
{
  LogCapture const capture(kCategory, Priority::CRIT);
  ExceptionLogger::log(MessageLogger::getLogger(kCategory), Priority::ERROR, "unit.cpp", 7, ValveException("stuck"));
  EXPECT_EQ(capture.Records().size(), 0U);
}

TEST(ExceptionLogger, SinkThatThrowsCostsTheRecordOnly)
{
  for (bool standardException : {true, false})
    EXPECT_EXIT(EndAfterBrokenSink(standardException,
                                   [] {
                                     ExceptionLogger::log(MessageLogger::getLogger(kCategory), Priority::ERROR,
                                                          "unit.cpp", 7, ValveException("lost"));
                                   }),
                testing::ExitedWithCode(0), "");
}

TEST(TimeSignalLog, CategoryExistsFromLoad) { EXPECT_TRUE(kTimeSignalCategoryIsThereAtLoad); }

TEST(TimeSignalLog, WarningGoesToTheCategoryOfTheUnit)
{
  InternalTimeSignal const first = SignalWithoutItsSamples();
  InternalTimeSignal const second = SignalWithoutItsSamples();
  LogCapture const capture(kTimeSignalCategory, Priority::WARN);
  EXPECT_FALSE(first != second);
  ExpectOneRecord(capture, kTimeSignalCategory, Priority::WARN, "Sample array missing!");
}

TEST(TimeSignalLog, WarningIsNotBuiltBelowItsPriority)
{
  InternalTimeSignal const first = SignalWithoutItsSamples();
  InternalTimeSignal const second = SignalWithoutItsSamples();
  LogCapture const capture(kTimeSignalCategory, Priority::ERROR);
  EXPECT_FALSE(first != second);
  EXPECT_EQ(capture.Records().size(), 0U);
}

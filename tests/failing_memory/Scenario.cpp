#include "failing_memory/Scenario.h"

#include "platform/VelmoraException.h"
#include "support/SampleSignals.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <new>
#include <typeinfo>
#include <utility>

// log4cpp loses a category that it cannot enter into its list.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name under which the leak sanitizer looks for it
extern "C" char const* __lsan_default_suppressions() { return "leak:log4cpp::HierarchyMaintainer::_getInstance\n"; }

namespace
{
constexpr char const kBadAlloc[] = "std::bad_alloc";

/// Writes without memory of its own, as far as there is room.
void Append(std::array<char, 512>& text, char const* more)
{
  std::size_t const used = std::strlen(text.data());
  std::snprintf(text.data() + used, text.size() - used, "%s", more);
}

void AppendException(std::array<char, 512>& text, char const* className, char const* file, char const* message)
{
  for (char const* const part : {className, " from ", file, ": ", message})
    Append(text, part);
}

void Add(ScenarioReport& sum, ScenarioReport const& report)
{
  sum.attemptsOnce += report.attemptsOnce;
  sum.attemptsPersistently += report.attemptsPersistently;
  sum.failedCalls += report.failedCalls;
}

/// Whether a failure has left the lock of all time signals locked.
bool isLockLost = false;

/// What each test's scenarios came to. Printed when all tests have run.
class Table : public testing::Environment
{
public:
  /// Returns the sum of all scenarios of that test.
  ScenarioReport const& Add(std::string const& test, ScenarioReport const& report)
  {
    ScenarioReport& row = rows_[test];
    ::Add(row, report);
    ++scenarios_;
    return row;
  }

  void TearDown() override
  {
    ScenarioReport sum;
    for (auto const& [test, report] : rows_)
    {
      ::Add(sum, report);
      if (std::getenv("QEN_FAILING_MEMORY_TABLE") != nullptr)
        print(test, report);
    }
    print(std::to_string(rows_.size()) + " tests with " + std::to_string(scenarios_) + " scenarios", sum);
    // The library would wait for its lock when it is unloaded.
    if (isLockLost)
    {
      std::puts("FAILED: the lock is lost");
      std::fflush(stdout);
      std::_Exit(1);
    }
  }

private:
  static void print(std::string const& name, ScenarioReport const& report)
  {
    std::printf("%-100s %5lu places failed once, %5lu from there on, %7lu calls failed\n", name.c_str(),
                report.attemptsOnce, report.attemptsPersistently, report.failedCalls);
  }

  std::map<std::string, ScenarioReport> rows_;
  unsigned long scenarios_ = 0;
};

// GoogleTest owns it.
Table* const table = static_cast<Table*>(testing::AddGlobalTestEnvironment(new Table));
} // namespace

Ending::Ending(char const* text) { Append(text_, text); }

bool Ending::IsBadAlloc() const { return std::strcmp(Text(), kBadAlloc) == 0; }

Ending Ending::ofCurrentException()
{
  Ending ending;
  try
  {
    throw;
  }
  catch (std::bad_alloc const&)
  {
    Append(ending.text_, kBadAlloc);
  }
  catch (VelmoraException const& exception)
  {
    for (VelmoraException const* cause = &exception; cause != nullptr; cause = cause->getRootCause())
    {
      if (cause != &exception)
        Append(ending.text_, ", caused by ");
      AppendException(ending.text_, cause->getClassName().c_str(), cause->getFile().c_str(), cause->what());
    }
  }
  catch (std::exception const& exception)
  {
    AppendException(ending.text_, typeid(exception).name(), "the standard library", exception.what());
  }
  catch (...)
  {
    Append(ending.text_, "an unknown exception");
  }
  return ending;
}

std::string EndsWith(char const* className, char const* file, std::string const& message)
{
  std::array<char, 512> text{};
  AppendException(text, className, file, message.c_str());
  return text.data();
}

OtherThread::OtherThread(std::function<void()> action) : action_(std::move(action)), thread_([this] { work(); }) {}

// A thread that is stuck for good is left behind, so that the program ends.
OtherThread::~OtherThread()
{
  bool const isStuck = !isIdleWithin(std::chrono::seconds(10));
  {
    std::lock_guard const lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  if (isStuck)
    thread_.detach();
  else
    thread_.join();
}

bool OtherThread::Manages(std::chrono::milliseconds patience)
{
  {
    std::lock_guard const lock(mutex_);
    isAsked_ = true;
  }
  changed_.notify_all();
  return isIdleWithin(patience);
}

bool OtherThread::isIdleWithin(std::chrono::milliseconds patience)
{
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [this] { return !isAsked_; });
}

void OtherThread::work()
{
  std::unique_lock lock(mutex_);
  for (;;)
  {
    changed_.wait(lock, [this] { return isAsked_ || isEnding_; });
    if (isEnding_)
      return;
    lock.unlock();
    action_();
    lock.lock();
    isAsked_ = false;
    changed_.notify_all();
  }
}

bool OtherThreadsCanUseTimeSignals()
{
  constexpr std::chrono::minutes kNoMachineNeeds(1);
  static TimeSignal const handle;
  static OtherThread other([] { TimeSignal const copy(handle); });
  // Nobody waits for a stuck thread twice.
  isLockLost = isLockLost || !other.Manages(kNoMachineNeeds);
  return !isLockLost;
}

void RecordScenario(ScenarioReport const& report)
{
  testing::TestInfo const& test = *testing::UnitTest::GetInstance()->current_test_info();
  ScenarioReport const& sum = table->Add(std::string(test.test_suite_name()) + "." + test.name(), report);
  testing::Test::RecordProperty("places_failed_once", std::to_string(sum.attemptsOnce));
  testing::Test::RecordProperty("places_failed_persistently", std::to_string(sum.attemptsPersistently));
  testing::Test::RecordProperty("calls_failed", std::to_string(sum.failedCalls));
}

#pragma once

#include "support/CountedMemory.h"
#include "support/FailingMemory.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// An operation that is run again and again while memory fails at its first call for memory, at its second, and so on,
// until it comes through undisturbed; once with only that call failing and once with all calls from there on failing.
// After each run: how did it end, what did it leave, does the same call work now, is anything lost, is the lock free?

/// How an operation ended, in memory that was there before.
class Ending
{
public:
  Ending() = default;
  /// Runs the operation while `failure` lasts, and ends that.
  template <class F>
  static Ending Of(MemoryFailure& failure, F&& operation)
  {
    try
    {
      operation();
      failure.End();
      return Ending("returned");
    }
    catch (...)
    {
      failure.End();
      return ofCurrentException();
    }
  }

  char const* Text() const { return text_.data(); }
  bool IsBadAlloc() const;
  bool operator==(Ending const&) const = default;

private:
  explicit Ending(char const* text);
  static Ending ofCurrentException();

  std::array<char, 512> text_{};
};

/// How an operation ends with an exception of this system.
std::string EndsWith(char const* className, char const* file, std::string const& message);

/// One run of a scenario.
struct Attempt
{
  unsigned long call;
  FailureSpan span;
  std::string const& before;    ///< what was seen before the operation
  std::string const& reference; ///< what is seen after an undisturbed one
};

/// The operation and what holds for it. Outside of `act` memory does not fail.
template <class State>
struct Scenario
{
  using Fault = std::function<std::string(State&, Attempt const&)>;

  /// A new state for each run.
  std::function<State()> make;
  std::function<void(State&)> act;
  /// All that can be seen of the state, results included.
  std::function<std::string(State&)> see;
  /// How it may end beside its undisturbed ending and std::bad_alloc.
  std::vector<std::string> endings{};
  /// What is wrong with the state that a failure left; by default all that differs from before, blocks that are held
  /// beyond those of before included.
  Fault faultOfFailure{};
  /// What is wrong with the state when the operation ended as if undisturbed; by default all that differs from then.
  Fault faultOfSuccess{};
  /// Makes a state on which the operation failed ready for the same call.
  std::function<void(State&)> rewind{};
  /// Whether the operation makes something that lives for the process.
  bool keeps = false;
};

struct ScenarioReport
{
  unsigned long attemptsOnce = 0;         ///< runs in which one call failed
  unsigned long attemptsPersistently = 0; ///< runs in which all calls from some place on failed
  unsigned long failedCalls = 0;
  std::vector<std::string> findings{};
};

/// A thread that does one thing whenever it is asked to. It is there before memory fails.
class OtherThread
{
public:
  explicit OtherThread(std::function<void()> action);
  OtherThread(OtherThread const&) = delete;
  OtherThread& operator=(OtherThread const&) = delete;
  ~OtherThread();

  /// Has it done, and tells whether that took no longer than this.
  bool Manages(std::chrono::milliseconds patience);

private:
  bool isIdleWithin(std::chrono::milliseconds patience);
  void work();

  std::function<void()> action_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isAsked_ = false;
  bool isEnding_ = false;
  std::thread thread_;
};

/// Whether another thread comes by the lock that all time signals share.
bool OtherThreadsCanUseTimeSignals();

template <class State>
class ScenarioRun
{
public:
  explicit ScenarioRun(Scenario<State> const& scenario) : scenario_(scenario) {}

  ScenarioReport Report()
  {
    runUndisturbed();
    failEveryCall(FailureSpan::kOnce, report_.attemptsOnce);
    failEveryCall(FailureSpan::kPersistently, report_.attemptsPersistently);
    return std::move(report_);
  }

private:
  /// What a run leaves in memory. Whatever is made once, at first use, is not made again in a second run.
  struct Traces
  {
    unsigned long failures = 0;
    bool isUnchanged = false; ///< whether the state had to be left as it was
    long kept = 0;            ///< blocks more than before the operation
    long objects = 0;         ///< time signals more than before the operation
    long lost = 0;            ///< blocks that outlive the state
    long lostObjects = 0;
  };

  Ending act(State& state, MemoryFailure& failure)
  {
    return Ending::Of(failure, [&] { scenario_.act(state); });
  }
  Ending actUndisturbed(State& state)
  {
    MemoryFailure none(0, FailureSpan::kOnce);
    return act(state, none);
  }

  /// The first run makes what is made at first use; the second one shows whether runs can be compared at all.
  void runUndisturbed()
  {
    for (int run = 0; run < 2; ++run)
    {
      State state = scenario_.make();
      ending_ = actUndisturbed(state);
      std::string const seen = scenario_.see(state);
      if (run != 0 && seen != reference_)
        report_.findings.push_back("undisturbed runs differ");
      reference_ = seen;
    }
  }

  void failEveryCall(FailureSpan span, unsigned long& attempts)
  {
    constexpr unsigned long kMostCalls = 100000;
    constexpr std::size_t kEnoughFindings = 10;
    for (unsigned long call = 1; call < kMostCalls && report_.findings.size() < kEnoughFindings; ++call)
    {
      place_ =
          "call " + std::to_string(call) + (span == FailureSpan::kOnce ? " failed once: " : " and all later failed: ");
      Traces traces = attempt(call, span);
      if (!isClean(traces))
        traces = attempt(call, span);
      judge(traces);
      if (traces.failures == 0)
        return;
      ++attempts;
      report_.failedCalls += traces.failures;
      if (!OtherThreadsCanUseTimeSignals())
        find("the lock is left locked");
    }
    if (report_.findings.size() < kEnoughFindings)
      find("never comes through");
  }

  Traces attempt(unsigned long call, FailureSpan span)
  {
    Traces traces;
    long const blocks = HeldBlocks() - blocksOfFindings_;
    long const objects = liveObjects;
    {
      State state = scenario_.make();
      std::string const before = scenario_.see(state);
      long const blocksBefore = HeldBlocks();
      long const objectsBefore = liveObjects;
      MemoryFailure failure(call, span);
      Ending const ending = act(state, failure);
      traces.failures = failure.Failures();
      traces.kept = HeldBlocks() - blocksBefore;
      traces.objects = liveObjects - objectsBefore;
      bool const hasFailed = judgeEnding(ending);
      traces.isUnchanged = hasFailed && !scenario_.faultOfFailure;
      judgeState(state, Attempt{call, span, before, reference_}, hasFailed, traces.failures != 0);
      if (hasFailed)
        judgeSameCall(state);
    }
    traces.lost = HeldBlocks() - blocksOfFindings_ - blocks;
    traces.lostObjects = liveObjects - objects;
    return traces;
  }

  /// Whether the ending is one of a failure.
  bool judgeEnding(Ending const& ending)
  {
    if (ending == ending_)
      return false;
    bool const isKnown = ending.IsBadAlloc() || std::find(scenario_.endings.begin(), scenario_.endings.end(),
                                                          ending.Text()) != scenario_.endings.end();
    if (!isKnown)
      find(std::string("ends with ") + ending.Text());
    return true;
  }

  void judgeState(State& state, Attempt const& attempt, bool hasFailed, bool wasDisturbed)
  {
    auto const& fault = hasFailed ? scenario_.faultOfFailure : scenario_.faultOfSuccess;
    std::string const& expected = hasFailed ? attempt.before : attempt.reference;
    std::string text;
    if (fault && wasDisturbed)
      text = fault(state, attempt);
    else if (scenario_.see(state) != expected)
      text = hasFailed ? "failed and left the state changed" : "came through with another result";
    if (!text.empty())
      find(text);
  }

  void judgeSameCall(State& state)
  {
    if (scenario_.rewind)
      scenario_.rewind(state);
    Ending const ending = actUndisturbed(state);
    if (!(ending == ending_))
      find(std::string("the same call ends afterwards with ") + ending.Text());
    else if (scenario_.see(state) != reference_)
      find("the same call gives another result afterwards");
  }

  bool isClean(Traces const& traces) const
  {
    return (scenario_.keeps || (traces.lost == 0 && traces.lostObjects == 0)) &&
           (!traces.isUnchanged || (traces.kept == 0 && traces.objects == 0));
  }

  void judge(Traces const& traces)
  {
    if (isClean(traces))
      return;
    if (traces.lost != 0 || traces.lostObjects != 0)
      find("leaks " + std::to_string(traces.lost) + " blocks, " + std::to_string(traces.lostObjects) +
           " of them signals");
    else
      find("holds " + std::to_string(traces.kept) + " blocks more after the failure, " +
           std::to_string(traces.objects) + " of them signals");
  }

  void find(std::string const& text)
  {
    long const before = HeldBlocks();
    report_.findings.push_back(place_ + text);
    blocksOfFindings_ += HeldBlocks() - before;
  }

  Scenario<State> const& scenario_;
  ScenarioReport report_;
  Ending ending_;
  std::string reference_;
  std::string place_;
  long blocksOfFindings_ = 0;
};

template <class State>
ScenarioReport RunScenario(Scenario<State> const& scenario)
{
  return ScenarioRun<State>(scenario).Report();
}

/// Adds the figures of the running test to its properties and to the table that is printed at the end.
void RecordScenario(ScenarioReport const& report);

/// The test of a scenario: nothing is found, and calls did fail.
template <class State>
void ExpectEndures(Scenario<State> const& scenario)
{
  ScenarioReport const report = RunScenario(scenario);
  for (std::string const& finding : report.findings)
    ADD_FAILURE() << finding;
  EXPECT_GT(report.attemptsOnce, 0U);
  EXPECT_GT(report.attemptsPersistently, 0U);
  RecordScenario(report);
}

/// The test of what needs no memory at all.
template <class F>
void ExpectNeedsNoMemory(F&& operation)
{
  MemoryFailure failure(1, FailureSpan::kPersistently);
  Ending const ending = Ending::Of(failure, operation);
  EXPECT_STREQ(ending.Text(), "returned");
  EXPECT_EQ(failure.Calls(), 0U);
}

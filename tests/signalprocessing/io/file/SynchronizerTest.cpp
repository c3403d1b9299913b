#include "signalprocessing/io/file/Synchronizer.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

static_assert(std::has_virtual_destructor_v<Synchronizer>);
static_assert(!std::is_copy_constructible_v<Synchronizer> && !std::is_copy_assignable_v<Synchronizer>);
static_assert(!std::is_copy_constructible_v<Synchronizer::Mutex> && !std::is_copy_assignable_v<Synchronizer::Mutex>);

namespace
{
/// Gives another thread every chance to do what it must not do. Right code passes however short or long this takes.
void LetOthersRun() { std::this_thread::sleep_for(std::chrono::milliseconds(20)); }

/// Steps of several threads in the order in which they happened.
class Log
{
public:
  void add(char step)
  {
    std::lock_guard const lock(mutex_);
    steps_ += step;
  }
  std::string steps() const
  {
    std::lock_guard const lock(mutex_);
    return steps_;
  }

private:
  mutable std::mutex mutex_;
  std::string steps_;
};

/// A thread that adds 'V' to the log once it is behind the guard. Returns when the thread is about to take the mutex.
std::thread StartVisitor(Synchronizer::Mutex& mutex, Log& log)
{
  std::promise<void> atTheDoor;
  std::future<void> const waitForVisitor = atTheDoor.get_future();
  std::thread visitor(
      [&mutex, &log, door = std::move(atTheDoor)]() mutable
      {
        door.set_value();
        Synchronizer const guard(mutex);
        log.add('V');
      });
  waitForVisitor.wait();
  return visitor;
}
} // namespace

TEST(Synchronizer, GuardedBlockRunsExactlyOnce)
{
  Synchronizer::Mutex mutex;
  int runs = 0;
  for (Synchronizer guard(mutex); guard.firstRun();)
    ++runs;
  EXPECT_EQ(runs, 1);
}

TEST(Synchronizer, FirstRunIsTrueForTheFirstCallOnly)
{
  Synchronizer::Mutex mutex;
  Synchronizer guard(mutex);
  EXPECT_TRUE(guard.firstRun());
  EXPECT_FALSE(guard.firstRun());
  EXPECT_FALSE(guard.firstRun());
}

TEST(Synchronizer, EachGuardCountsItsOwnRun)
{
  Synchronizer::Mutex mutex;
  Synchronizer outer(mutex);
  EXPECT_TRUE(outer.firstRun());
  Synchronizer inner(mutex);
  EXPECT_TRUE(inner.firstRun());
  EXPECT_FALSE(outer.firstRun());
}

// A mutex that is not re-entrant would stop this test for ever.
TEST(Synchronizer, HoldingThreadPassesStraightThrough)
{
  Synchronizer::Mutex mutex;
  int depth = 0;
  for (Synchronizer first(mutex); first.firstRun();)
    for (Synchronizer second(mutex); second.firstRun();)
      for (Synchronizer third(mutex); third.firstRun();)
        depth = 3;
  EXPECT_EQ(depth, 3);
}

TEST(Synchronizer, AnotherThreadIsKeptOut)
{
  Synchronizer::Mutex mutex;
  Log log;
  std::thread visitor;
  {
    Synchronizer const guard(mutex);
    visitor = StartVisitor(mutex, log);
    LetOthersRun();
    log.add('M');
  }
  visitor.join();
  EXPECT_EQ(log.steps(), "MV");
}

TEST(Synchronizer, OnlyTheOutermostGuardUnlocks)
{
  Synchronizer::Mutex mutex;
  Log log;
  std::thread visitor;
  {
    Synchronizer const outer(mutex);
    {
      Synchronizer const middle(mutex);
      Synchronizer const inner(mutex);
    }
    visitor = StartVisitor(mutex, log);
    LetOthersRun();
    log.add('M');
  }
  visitor.join();
  EXPECT_EQ(log.steps(), "MV");
}

TEST(Synchronizer, GuardReleasedInAnyOrderUnlocksWithTheLast)
{
  Synchronizer::Mutex mutex;
  Log log;
  auto first = std::make_unique<Synchronizer>(mutex);
  auto second = std::make_unique<Synchronizer>(mutex);
  first.reset();
  std::thread visitor = StartVisitor(mutex, log);
  LetOthersRun();
  log.add('M');
  second.reset();
  visitor.join();
  EXPECT_EQ(log.steps(), "MV");
}

TEST(Synchronizer, MutexIsFreeAgainAfterTheGuard)
{
  Synchronizer::Mutex mutex;
  Log log;
  for (int round = 0; round < 3; ++round)
  {
    {
      Synchronizer const outer(mutex);
      Synchronizer const inner(mutex);
      log.add('M');
    }
    StartVisitor(mutex, log).join();
  }
  EXPECT_EQ(log.steps(), "MVMVMV");
}

TEST(Synchronizer, ThreadThatHeldTheMutexOnceWaitsLikeAnyOther)
{
  Synchronizer::Mutex mutex;
  Log log;
  std::promise<void> visitorHolds;
  std::thread visitor;
  {
    Synchronizer const guard(mutex);
    log.add('M');
  }
  visitor = std::thread(
      [&]
      {
        Synchronizer const guard(mutex);
        visitorHolds.set_value();
        LetOthersRun();
        log.add('V');
      });
  visitorHolds.get_future().wait();
  {
    Synchronizer const guard(mutex);
    log.add('M');
  }
  visitor.join();
  EXPECT_EQ(log.steps(), "MVM");
}

TEST(Synchronizer, ExceptionReleasesTheMutex)
{
  Synchronizer::Mutex mutex;
  Log log;
  try
  {
    Synchronizer const outer(mutex);
    Synchronizer const inner(mutex);
    throw std::runtime_error("left the guarded block");
  }
  catch (std::runtime_error const&)
  {
    log.add('M');
  }
  StartVisitor(mutex, log).join();
  EXPECT_EQ(log.steps(), "MV");
}

TEST(Synchronizer, MutexesAreIndependent)
{
  Synchronizer::Mutex held;
  Synchronizer::Mutex other;
  Log log;
  Synchronizer const guard(held);
  StartVisitor(other, log).join();
  log.add('M');
  EXPECT_EQ(log.steps(), "VM");
}

TEST(Synchronizer, GuardIsReleasedThroughItsBase)
{
  class NamedGuard : public Synchronizer
  {
  public:
    NamedGuard(Synchronizer::Mutex& mutex, bool& destroyed) : Synchronizer(mutex), destroyed_(destroyed) {}
    ~NamedGuard() override { destroyed_ = true; }

  private:
    bool& destroyed_;
  };
  Synchronizer::Mutex mutex;
  Log log;
  bool destroyed = false;
  std::unique_ptr<Synchronizer> guard = std::make_unique<NamedGuard>(mutex, destroyed);
  guard.reset();
  EXPECT_TRUE(destroyed);
  StartVisitor(mutex, log).join();
  EXPECT_EQ(log.steps(), "V");
}

TEST(Synchronizer, DestructionOfABusyMutexWaits)
{
  auto mutex = std::make_unique<Synchronizer::Mutex>();
  Log log;
  std::promise<void> holderHolds;
  std::thread holder(
      [&]
      {
        Synchronizer const guard(*mutex);
        holderHolds.set_value();
        LetOthersRun();
        log.add('H');
      });
  holderHolds.get_future().wait();
  mutex->~Mutex();
  log.add('D');
  holder.join();
  ::operator delete(mutex.release());
  EXPECT_EQ(log.steps(), "HD");
}

TEST(Synchronizer, DestructionOfAFreeMutexWaitsForNobody)
{
  Log log;
  {
    Synchronizer::Mutex never;
  }
  log.add('N');
  {
    Synchronizer::Mutex once;
    Synchronizer const guard(once);
  }
  log.add('O');
  EXPECT_EQ(log.steps(), "NO");
}

#pragma once

#include <atomic>
#include <gtest/gtest.h>
#include <new>

// What programs that are linked with CountedMemory.cpp know of their memory: its global operator new counts, and can be
// told to fail.

/// Blocks of exactly the size of an InternalTimeSignal.
extern std::atomic<long> liveObjects;
extern std::atomic<long> liveBlocks;
/// Blocks that were ever made.
extern std::atomic<long> madeBlocks;

/// The most bytes that were alive at once since it was made, beyond those that were alive then. One at a time.
class PeakBytes
{
public:
  PeakBytes();
  long Get() const;

private:
  long before_;
};

/// As long as it lives, so many more allocations of this thread succeed.
class AllocationLimit
{
public:
  explicit AllocationLimit(long allocations);
  AllocationLimit(AllocationLimit const&) = delete;
  AllocationLimit& operator=(AllocationLimit const&) = delete;
  ~AllocationLimit();
};

/// Runs an operation with 0, 1, 2, ... allocations until it has enough of them, and calls `check` after each failure.
/// Returns how often it failed.
template <class F, class Check>
int FailEveryAllocation(F&& operation, Check&& check)
{
  constexpr int kMore = 100000;
  for (int failures = 0; failures < kMore; ++failures)
  {
    try
    {
      AllocationLimit const limit(failures);
      operation();
      return failures;
    }
    catch (std::bad_alloc const&)
    {
      check();
    }
  }
  ADD_FAILURE() << "does not end with any number of allocations";
  return kMore;
}

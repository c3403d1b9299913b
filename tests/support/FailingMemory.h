#pragma once

// Memory that fails where it is told to. A program that is linked with FailingMemory.cpp has a malloc, calloc, realloc,
// free, memalign, aligned_alloc and posix_memalign of its own, for itself and for every library that it loads: the C
// library and third-party code included. With CountedMemory.cpp beside it all forms of operator new go through them.

/// Which calls fail.
enum class FailureSpan
{
  kOnce,        ///< one call alone
  kPersistently ///< that call and all behind it
};

/// From when it is made until End, calls of this thread fail from the first one on that it names. One at a time in each
/// thread.
class MemoryFailure
{
public:
  /// @param first number of the call, counted from 1; with 0 and kOnce calls are counted and none fails
  MemoryFailure(unsigned long first, FailureSpan span);
  MemoryFailure(MemoryFailure const&) = delete;
  MemoryFailure& operator=(MemoryFailure const&) = delete;
  ~MemoryFailure();

  void End();
  /// How many calls asked for memory.
  unsigned long Calls() const;
  /// How many of them failed.
  unsigned long Failures() const;
};

/// Blocks that the whole program holds.
long HeldBlocks();

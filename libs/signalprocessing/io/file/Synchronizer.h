#pragma once

#include "utilities/Export.h"

#include <atomic>
#include <pthread.h>

/// Scoped guard over a mutex that the holding thread may take again: only the outermost guard of a thread locks and
/// unlocks. A guard belongs to the thread that made it.
class QEN_FILE_IO_EXPORT Synchronizer
{
public:
  /// POSIX mutex, owner, hold count.
  class QEN_FILE_IO_EXPORT Mutex
  {
  public:
    Mutex();
    /// Waits, a millisecond at a time, as long as somebody holds the mutex.
    ~Mutex();
    Mutex(Mutex const&) = delete;
    Mutex& operator=(Mutex const&) = delete;

  private:
    friend class Synchronizer;
    QEN_FILE_IO_HIDDEN bool heldByCaller() const;

    pthread_mutex_t mutex_;
    // Other threads compare the owner with themselves while it changes; none of them can read its own identity from it
    // unless it holds the mutex, so no ordering is needed.
    std::atomic<pthread_t> owner_;
    int holdCount_;
  };

  explicit Synchronizer(Mutex& mutex);
  Synchronizer(Synchronizer const&) = delete;
  Synchronizer& operator=(Synchronizer const&) = delete;
  virtual ~Synchronizer();

  /// True for the first call only, which makes a guarded block of a statement:
  /// `for (Synchronizer guard(mutex); guard.firstRun();) { ... }`
  bool firstRun();

private:
  Mutex& mutex_;
  bool hasRun_;
};

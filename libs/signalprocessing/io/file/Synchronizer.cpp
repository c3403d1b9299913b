#include "signalprocessing/io/file/Synchronizer.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

Synchronizer::Mutex::Mutex() : owner_(pthread_t{}), holdCount_(0) { pthread_mutex_init(&mutex_, nullptr); }

Synchronizer::Mutex::~Mutex()
{
  constexpr useconds_t kRetryMicroseconds = 1000;
  while (pthread_mutex_destroy(&mutex_) == EBUSY)
    usleep(kRetryMicroseconds);
}

bool Synchronizer::Mutex::heldByCaller() const
{
  pthread_t const owner = owner_.load(std::memory_order_relaxed);
  return owner != pthread_t{} && pthread_equal(owner, pthread_self()) != 0;
}

Synchronizer::Synchronizer(Mutex& mutex) : mutex_(mutex), hasRun_(false)
{
  if (!mutex_.heldByCaller())
  {
    pthread_mutex_lock(&mutex_.mutex_);
    mutex_.owner_.store(pthread_self(), std::memory_order_relaxed);
  }
  ++mutex_.holdCount_;
}

Synchronizer::~Synchronizer()
{
  if (--mutex_.holdCount_ < 1)
  {
    mutex_.owner_.store(pthread_t{}, std::memory_order_relaxed);
    pthread_mutex_unlock(&mutex_.mutex_);
  }
}

bool Synchronizer::firstRun() { return !std::exchange(hasRun_, true); }

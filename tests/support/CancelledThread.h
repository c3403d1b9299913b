#pragma once

#include "support/LogCapture.h"

#include <functional>
#include <pthread.h>

/// A sink in which the thread that writes to it is cancelled, as at any other call that waits.
class CancellingAppender : public TestAppender
{
public:
  CancellingAppender() : TestAppender("cancelling") {}

protected:
  void _append(log4cpp::LoggingEvent const&) override
  {
    pthread_cancel(pthread_self());
    pthread_testcancel();
  }
};

/// Runs the work in a thread of its own.
/// @return whether the thread ended by being cancelled
inline bool EndsCancelled(std::function<void()> const& work)
{
  auto const run = [](void* context) -> void*
  {
    (*static_cast<std::function<void()> const*>(context))();
    return nullptr;
  };
  pthread_t thread{};
  void* result = nullptr;
  auto* const context = const_cast<void*>(static_cast<void const*>(&work));
  return pthread_create(&thread, nullptr, run, context) == 0 && pthread_join(thread, &result) == 0 &&
         result == PTHREAD_CANCELED;
}

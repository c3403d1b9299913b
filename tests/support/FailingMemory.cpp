#include "support/FailingMemory.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

// This file is built without sanitizers: its functions run before their runtime is up.

// NOLINTBEGIN(bugprone-reserved-identifier): the names under which the real functions can be reached
extern "C"
{
  void* __libc_malloc(std::size_t size);
  void* __libc_calloc(std::size_t count, std::size_t size);
  void* __libc_realloc(void* block, std::size_t size);
  void* __libc_memalign(std::size_t alignment, std::size_t size);
  void __libc_free(void* block);
  // There in programs that the address sanitizer watches.
  [[gnu::weak]] void* __interceptor_malloc(std::size_t size);
  [[gnu::weak]] void* __interceptor_calloc(std::size_t count, std::size_t size);
  [[gnu::weak]] void* __interceptor_realloc(void* block, std::size_t size);
  [[gnu::weak]] void* __interceptor_memalign(std::size_t alignment, std::size_t size);
  [[gnu::weak]] void __interceptor_free(void* block);
}

namespace
{
// Calls a function of the allocator below.
#define QEN_REAL(function, ...)                                                                                        \
  (__interceptor_##function != nullptr ? __interceptor_##function(__VA_ARGS__) : __libc_##function(__VA_ARGS__))

struct Plan
{
  bool isActive;
  unsigned long first;
  FailureSpan span;
  unsigned long calls;
  unsigned long failures;
};
constinit thread_local Plan plan{};
constinit std::atomic<long> heldBlocks{0};

bool Fails() noexcept
{
  if (!plan.isActive)
    return false;
  ++plan.calls;
  if (plan.calls < plan.first || (plan.calls > plan.first && plan.span == FailureSpan::kOnce))
    return false;
  ++plan.failures;
  errno = ENOMEM;
  return true;
}

void Count(long change) noexcept { heldBlocks.fetch_add(change, std::memory_order_relaxed); }

void* Counted(void* block) noexcept
{
  if (block != nullptr)
    Count(1);
  return block;
}

void* Aligned(std::size_t alignment, std::size_t size) noexcept
{
  return Fails() ? nullptr : Counted(QEN_REAL(memalign, alignment, size));
}
} // namespace

extern "C"
{
  void* malloc(std::size_t size) noexcept { return Fails() ? nullptr : Counted(QEN_REAL(malloc, size)); }

  void* calloc(std::size_t count, std::size_t size) noexcept
  {
    return Fails() ? nullptr : Counted(QEN_REAL(calloc, count, size));
  }

  void* realloc(void* block, std::size_t size) noexcept
  {
    if (Fails())
      return nullptr;
    void* const moved = QEN_REAL(realloc, block, size);
    if (block == nullptr)
      return Counted(moved);
    if (size == 0 && moved == nullptr)
      Count(-1);
    return moved;
  }

  void* memalign(std::size_t alignment, std::size_t size) noexcept { return Aligned(alignment, size); }
  void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return Aligned(alignment, size); }

  int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
  {
    void* const aligned = Aligned(alignment, size);
    if (aligned == nullptr)
      return ENOMEM;
    *block = aligned;
    return 0;
  }

  void free(void* block) noexcept
  {
    if (block == nullptr)
      return;
    Count(-1);
    QEN_REAL(free, block);
  }
}
// NOLINTEND(bugprone-reserved-identifier)

MemoryFailure::MemoryFailure(unsigned long first, FailureSpan span) { plan = {true, first, span, 0, 0}; }
MemoryFailure::~MemoryFailure() { End(); }
void MemoryFailure::End() { plan.isActive = false; }
unsigned long MemoryFailure::Calls() const { return plan.calls; }
unsigned long MemoryFailure::Failures() const { return plan.failures; }

long HeldBlocks() { return heldBlocks.load(std::memory_order_relaxed); }

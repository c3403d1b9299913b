#include "support/CountedMemory.h"

#include "signalprocessing/io/file/InternalTimeSignal.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

// Relaxed counting orders nothing between the threads, so it hides no race.
std::atomic<long> liveObjects{0};
std::atomic<long> liveBlocks{0};
std::atomic<long> madeBlocks{0};

namespace
{
std::atomic<long> liveBytes{0};
std::atomic<long> peakBytes{0};
/// How many more allocations of this thread succeed; all when negative.
thread_local long allocationsLeft = -1;

/// In front of every block: its size, in as many bytes as keep the block aligned.
union BlockHeader
{
  std::size_t size;
  std::max_align_t alignment;
};

void CountBlock(std::size_t size, long change)
{
  liveBlocks.fetch_add(change, std::memory_order_relaxed);
  if (size == sizeof(InternalTimeSignal))
    liveObjects.fetch_add(change, std::memory_order_relaxed);
  long const bytes = change * static_cast<long>(size);
  long const now = liveBytes.fetch_add(bytes, std::memory_order_relaxed) + bytes;
  long peak = peakBytes.load(std::memory_order_relaxed);
  while (now > peak && !peakBytes.compare_exchange_weak(peak, now, std::memory_order_relaxed))
    continue;
}

constexpr std::size_t kOrdinary = alignof(std::max_align_t);

/// Bytes in front of a block of this alignment, the last of which are its header.
std::size_t LeadOf(std::size_t alignment) { return std::max(sizeof(BlockHeader), alignment); }

/// Null when there is no memory.
void* AllocateCounted(std::size_t size, std::size_t alignment) noexcept
{
  if (allocationsLeft == 0)
    return nullptr;
  if (allocationsLeft > 0)
    --allocationsLeft;
  // Sizes that no block can have, as a lying header may ask for.
  if (size > static_cast<std::size_t>(-1) / 2)
    return nullptr;
  // A byte at least, so that the block's address lies within it: leak sanitizers look for such addresses.
  std::size_t const whole = LeadOf(alignment) + std::max<std::size_t>(size, 1);
  void* const lead =
      alignment <= kOrdinary ? std::malloc(whole) : std::aligned_alloc(alignment, (whole + alignment - 1) & -alignment);
  if (lead == nullptr)
    return nullptr;
  unsigned char* const block = static_cast<unsigned char*>(lead) + LeadOf(alignment);
  (reinterpret_cast<BlockHeader*>(block) - 1)->size = size;
  CountBlock(size, 1);
  madeBlocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment = kOrdinary)
{
  void* const block = AllocateCounted(size, alignment);
  if (block == nullptr)
    throw std::bad_alloc();
  return block;
}

void ReleaseCounted(void* block, std::size_t alignment = kOrdinary) noexcept
{
  if (block == nullptr)
    return;
  CountBlock((static_cast<BlockHeader*>(block) - 1)->size, -1);
  std::free(static_cast<unsigned char*>(block) - LeadOf(alignment));
}

std::size_t NumberOf(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }
} // namespace

// All forms: a runtime that has an operator new of its own would not come here for those that are missing.
void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return AllocateCounted(size, kOrdinary); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return AllocateCounted(size, kOrdinary); }
void* operator new(std::size_t size, std::align_val_t alignment) { return AllocateOrThrow(size, NumberOf(alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment)
{
  return AllocateOrThrow(size, NumberOf(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept
{
  return AllocateCounted(size, NumberOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept
{
  return AllocateCounted(size, NumberOf(alignment));
}
void operator delete(void* block) noexcept { ReleaseCounted(block); }
void operator delete[](void* block) noexcept { ReleaseCounted(block); }
void operator delete(void* block, std::size_t) noexcept { ReleaseCounted(block); }
void operator delete[](void* block, std::size_t) noexcept { ReleaseCounted(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { ReleaseCounted(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { ReleaseCounted(block); }
void operator delete(void* block, std::align_val_t alignment) noexcept { ReleaseCounted(block, NumberOf(alignment)); }
void operator delete[](void* block, std::align_val_t alignment) noexcept { ReleaseCounted(block, NumberOf(alignment)); }
void operator delete(void* block, std::size_t, std::align_val_t alignment) noexcept
{
  ReleaseCounted(block, NumberOf(alignment));
}
void operator delete[](void* block, std::size_t, std::align_val_t alignment) noexcept
{
  ReleaseCounted(block, NumberOf(alignment));
}
void operator delete(void* block, std::align_val_t alignment, std::nothrow_t const&) noexcept
{
  ReleaseCounted(block, NumberOf(alignment));
}
void operator delete[](void* block, std::align_val_t alignment, std::nothrow_t const&) noexcept
{
  ReleaseCounted(block, NumberOf(alignment));
}

PeakBytes::PeakBytes() : before_(liveBytes) { peakBytes = before_; }
long PeakBytes::Get() const { return peakBytes - before_; }

AllocationLimit::AllocationLimit(long allocations) { allocationsLeft = allocations; }
AllocationLimit::~AllocationLimit() { allocationsLeft = -1; }

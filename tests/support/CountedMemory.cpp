#include "support/CountedMemory.h"

#include "signalprocessing/io/file/InternalTimeSignal.h"

#include <cstddef>
#include <cstdlib>

// Relaxed counting orders nothing between the threads, so it hides no race.
std::atomic<long> liveObjects{0};
std::atomic<long> liveBlocks{0};

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

void* AllocateCounted(std::size_t size)
{
  if (allocationsLeft == 0)
    throw std::bad_alloc();
  if (allocationsLeft > 0)
    --allocationsLeft;
  // Sizes that no block can have, as a lying header may ask for.
  if (size > static_cast<std::size_t>(-1) / 2)
    throw std::bad_alloc();
  auto* const header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + size));
  if (header == nullptr)
    throw std::bad_alloc();
  header->size = size;
  CountBlock(size, 1);
  return header + 1;
}

void ReleaseCounted(void* block) noexcept
{
  if (block == nullptr)
    return;
  BlockHeader* const header = static_cast<BlockHeader*>(block) - 1;
  CountBlock(header->size, -1);
  std::free(header);
}
} // namespace

void* operator new(std::size_t size) { return AllocateCounted(size); }
void* operator new[](std::size_t size) { return AllocateCounted(size); }
void operator delete(void* block) noexcept { ReleaseCounted(block); }
void operator delete[](void* block) noexcept { ReleaseCounted(block); }
void operator delete(void* block, std::size_t) noexcept { ReleaseCounted(block); }
void operator delete[](void* block, std::size_t) noexcept { ReleaseCounted(block); }

PeakBytes::PeakBytes() : before_(liveBytes) { peakBytes = before_; }
long PeakBytes::Get() const { return peakBytes - before_; }

AllocationLimit::AllocationLimit(long allocations) { allocationsLeft = allocations; }
AllocationLimit::~AllocationLimit() { allocationsLeft = -1; }

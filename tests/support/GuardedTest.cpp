// That reads behind an array do not go unseen, whatever has compiled what reads.
#include "support/Guarded.h"

#include "support/SampleArrays.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{
template <class T>
void readBehind(std::span<T const> array)
{
  [[maybe_unused]] T const volatile behind = *(array.data() + array.size());
}
} // namespace

TEST(GuardedDeathTest, ByteBehindIsNotRead)
{
  for (std::size_t const size : {0u, 1u, 4095u, 4096u, 4097u})
  {
    Guarded const bytes(size);
    std::ranges::fill(bytes.Bytes(), 0xff);
    EXPECT_DEATH(readBehind<std::uint8_t>(bytes.Bytes()), "");
  }
}

TEST(GuardedDeathTest, SampleBehindAnArrayIsNotReadWhereTheArrayEndsWithACacheLine)
{
  std::vector<short> const samples(100);
  // 100 samples are 200 bytes, which end 8 bytes behind the start of a cache line.
  MisalignedArray<short> const array(kCacheLine - 8, samples);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.data()) % kCacheLine, kCacheLine - 8);
  EXPECT_DEATH(readBehind<short>(array), "");
}

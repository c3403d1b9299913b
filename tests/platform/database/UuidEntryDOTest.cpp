#include "platform/database/UuidEntryDO.h"

#include "support/SampleSignals.h"

#include <gtest/gtest.h>

TEST(UuidEntryDO, FreshOneIsNumberZeroWithTheNullUuid)
{
  UuidEntryDO const entry;
  EXPECT_EQ(entry.getId(), 0U);
  EXPECT_TRUE(entry.getUuid().IsNull());
  EXPECT_FALSE(entry.getFlag());
}

TEST(UuidEntryDO, HoldsWhatItIsMadeOf)
{
  UuidEntryDO const entry(4000000000U, CountingUuid(1), true);
  EXPECT_EQ(entry.getId(), 4000000000U);
  EXPECT_EQ(entry.getUuid(), CountingUuid(1));
  EXPECT_TRUE(entry.getFlag());
}

TEST(UuidEntryDO, NewUuidLeavesNumberAndFlag)
{
  UuidEntryDO entry(7, CountingUuid(1), true);
  entry.setUuid(CountingUuid(2));
  EXPECT_EQ(entry.getId(), 7U);
  EXPECT_EQ(entry.getUuid(), CountingUuid(2));
  EXPECT_TRUE(entry.getFlag());
}

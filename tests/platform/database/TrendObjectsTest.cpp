#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "platform/database/UuidEntryDO.h"
#include "support/SampleSignals.h"

#include <climits>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace
{
using Bytes = std::vector<unsigned char>;

/// An object in which everything differs from a new one.
TrendDataDO FullTrend()
{
  TrendDataDO trend;
  trend.setData({1, 0, 255});
  trend.setCurrentUuid(UuidEntryDO(11, CountingUuid(0x10), true));
  trend.setCharacteristicValueConfig(UuidEntryDO(12, CountingUuid(0x20), true));
  trend.setCharacteristicValueConfigBaseUuid(UuidEntryDO(13, CountingUuid(0x30), true));
  trend.setClosed(true);
  trend.setFirstTimeStamp(LLONG_MIN);
  trend.setLastTimeStamp(LLONG_MAX);
  trend.setTrendDataDetails("details");
  trend.setNumSamples(UINT_MAX);
  return trend;
}

void ExpectEntry(UuidEntryDO const& entry, unsigned int id, Uuid const& uuid, bool flag)
{
  EXPECT_EQ(entry.getId(), id);
  EXPECT_EQ(entry.getUuid(), uuid);
  EXPECT_EQ(entry.getFlag(), flag);
}

void ExpectFull(TrendDataDO const& trend)
{
  EXPECT_EQ(trend.getData(), Bytes({1, 0, 255}));
  ExpectEntry(trend.getCurrentUuid(), 11, CountingUuid(0x10), true);
  ExpectEntry(trend.getCharacteristicValueConfig(), 12, CountingUuid(0x20), true);
  ExpectEntry(trend.getCharacteristicValueConfigBaseUuid(), 13, CountingUuid(0x30), true);
  EXPECT_TRUE(trend.getClosed());
  EXPECT_EQ(trend.getFirstTimeStamp(), LLONG_MIN);
  EXPECT_EQ(trend.getLastTimeStamp(), LLONG_MAX);
  EXPECT_EQ(trend.getTrendDataDetails(), "details");
  EXPECT_EQ(trend.getNumSamples(), UINT_MAX);
}

void ExpectNew(TrendDataDO const& trend)
{
  EXPECT_TRUE(trend.getData().empty());
  ExpectEntry(trend.getCurrentUuid(), 0, Uuid(), false);
  ExpectEntry(trend.getCharacteristicValueConfig(), 0, Uuid(), false);
  ExpectEntry(trend.getCharacteristicValueConfigBaseUuid(), 0, Uuid(), false);
  EXPECT_FALSE(trend.getClosed());
  EXPECT_EQ(trend.getFirstTimeStamp(), 0);
  EXPECT_EQ(trend.getLastTimeStamp(), 0);
  EXPECT_EQ(trend.getTrendDataDetails(), "");
  EXPECT_EQ(trend.getNumSamples(), 0U);
}
} // namespace

TEST(TrendUuidEntry, NewOneHasNumberZeroTheNullUuidAndNoFlag) { ExpectEntry(UuidEntryDO(), 0, Uuid(), false); }

TEST(TrendUuidEntry, KeepsItsThreeParts)
{
  ExpectEntry(UuidEntryDO(UINT_MAX, CountingUuid(1), true), UINT_MAX, CountingUuid(1), true);
  ExpectEntry(UuidEntryDO(0, CountingUuid(2), false), 0, CountingUuid(2), false);
}

TEST(TrendUuidEntry, AnotherUuidLeavesNumberAndFlag)
{
  UuidEntryDO entry(5, CountingUuid(1), true);
  entry.setUuid(CountingUuid(9));
  ExpectEntry(entry, 5, CountingUuid(9), true);
}

TEST(TrendDataObject, NewOneIsEmptyAndOpen) { ExpectNew(TrendDataDO()); }

TEST(TrendDataObject, KeepsEverythingThatIsSet) { ExpectFull(FullTrend()); }

TEST(TrendDataObject, SettersCopyWhatTheyAreGiven)
{
  TrendDataDO trend;
  Bytes data = {1, 2, 3};
  std::string details = "before";
  UuidEntryDO entry(1, CountingUuid(1), true);
  long long time = 4;
  bool closed = true;
  unsigned int count = 6;
  trend.setData(data);
  trend.setTrendDataDetails(details);
  trend.setCurrentUuid(entry);
  trend.setFirstTimeStamp(time);
  trend.setLastTimeStamp(time);
  trend.setClosed(closed);
  trend.setNumSamples(count);
  data[0] = 9;
  details[0] = 'B';
  entry.setUuid(CountingUuid(2));
  time = 0;
  closed = false;
  count = 0;
  EXPECT_EQ(trend.getData(), Bytes({1, 2, 3}));
  EXPECT_EQ(trend.getTrendDataDetails(), "before");
  EXPECT_EQ(trend.getCurrentUuid().getUuid(), CountingUuid(1));
  EXPECT_EQ(trend.getFirstTimeStamp(), 4);
  EXPECT_EQ(trend.getLastTimeStamp(), 4);
  EXPECT_TRUE(trend.getClosed());
  EXPECT_EQ(trend.getNumSamples(), 6U);
}

TEST(TrendDataObject, GettersShowTheObjectsOwnState)
{
  TrendDataDO trend;
  Bytes const& data = trend.getData();
  bool const& closed = trend.getClosed();
  long long const& first = trend.getFirstTimeStamp();
  trend.setData({7});
  trend.setClosed(true);
  trend.setFirstTimeStamp(3);
  EXPECT_EQ(&trend.getData(), &data);
  EXPECT_EQ(trend.getData(), Bytes({7}));
  EXPECT_TRUE(closed);
  EXPECT_EQ(first, 3);
}

TEST(TrendDataObject, CopiesAreIndependent)
{
  TrendDataDO const original = FullTrend();
  TrendDataDO copy(original);
  ExpectFull(copy);
  copy = TrendDataDO();
  ExpectNew(copy);
  ExpectFull(original);
  copy = original;
  ExpectFull(copy);
}

TEST(TrendDataObject, AssignmentToItselfChangesNothing)
{
  TrendDataDO trend = FullTrend();
  TrendDataDO const& same = trend;
  trend = same;
  ExpectFull(trend);
}

TEST(TrendDataObject, EveryObjectCanBeDerivedFrom)
{
  EXPECT_TRUE(std::has_virtual_destructor_v<TrendDataDO>);
  EXPECT_TRUE(std::has_virtual_destructor_v<DeviceDO>);
  EXPECT_TRUE(std::has_virtual_destructor_v<CharacteristicValueDataDO>);
}

TEST(TrendDevice, KeepsACopyOfItsDetails)
{
  DeviceDO device;
  EXPECT_EQ(device.getDeviceDetails(), "");
  std::string details("a\0b", 3);
  device.setDeviceDetails(details);
  details.clear();
  EXPECT_EQ(device.getDeviceDetails(), std::string("a\0b", 3));
  DeviceDO copy(device);
  device.setDeviceDetails("other");
  EXPECT_EQ(copy.getDeviceDetails(), std::string("a\0b", 3));
  copy = device;
  EXPECT_EQ(copy.getDeviceDetails(), "other");
}

TEST(TrendCharacteristicValue, KeepsACopyOfItsTime)
{
  CharacteristicValueDataDO value;
  EXPECT_EQ(value.getMeasurementTimeStamp(), 0);
  long long time = LLONG_MIN;
  value.setMeasurementTimeStamp(time);
  time = 0;
  EXPECT_EQ(value.getMeasurementTimeStamp(), LLONG_MIN);
  CharacteristicValueDataDO copy(value);
  value.setMeasurementTimeStamp(LLONG_MAX);
  EXPECT_EQ(copy.getMeasurementTimeStamp(), LLONG_MIN);
  copy = value;
  EXPECT_EQ(copy.getMeasurementTimeStamp(), LLONG_MAX);
}

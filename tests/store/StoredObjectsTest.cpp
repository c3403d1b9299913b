// What is put into a store comes out as it was, on every engine.
#include "support/StoredObjects.h"
#include "support/StoreTest.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace
{
constexpr long long kEarliest = std::numeric_limits<long long>::min();
constexpr long long kLatest = std::numeric_limits<long long>::max();

Uuid const kDevice = NumberedUuid(0xd1);
Uuid const kOther = NumberedUuid(0xd2);
Uuid const kObject = NumberedUuid(0xa1);
Uuid const kValue = NumberedUuid(0xc1);

class StoredObjects : public StoreTest
{
};
INSTANTIATE_TEST_SUITE_P(Engines, StoredObjects, EnginesOfThisBuild(), EngineName);
} // namespace

TEST_P(StoredObjects, MeasurementComesBackInEveryPart)
{
  MeasurementDataDO object = MakeMeasurement(kObject, 1600000000123456);
  object.setMeasurementDataDetails(HostileText());
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, object);
  auto const found = database.FindMeasurement(kDevice, kObject);
  ASSERT_TRUE(found);
  ExpectSame(*found, object);
}

TEST_P(StoredObjects, MeasurementWithTheOtherFlagsComesBack)
{
  MeasurementDataDO object;
  object.setCurrentUuid({0, kObject, false});
  object.setMeasurementConfig({5, NumberedUuid(3), true});
  object.setJobData({0x7fffffffu, NumberedUuid(4), false});
  object.setMeasurementTimeStamp(-1);
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, object);
  auto const found = database.FindMeasurement(kDevice, kObject);
  ASSERT_TRUE(found);
  ExpectSame(*found, object);
}

TEST_P(StoredObjects, TrendComesBackInEveryPart)
{
  TrendDataDO object = MakeTrend(kObject, kValue, true, -5, 1600000000123456, 0xffffffffu);
  object.setTrendDataDetails(HostileText());
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, object);
  auto const found = database.FindTrend(kDevice, kObject);
  ASSERT_TRUE(found);
  ExpectSame(*found, object);
}

TEST_P(StoredObjects, OpenTrendWithTheOtherFlagsComesBack)
{
  TrendDataDO object;
  object.setCurrentUuid({0xffffffffu, kObject, true});
  object.setCharacteristicValueConfig({1, kValue, false});
  object.setCharacteristicValueConfigBaseUuid({0x80000000u, NumberedUuid(3), false});
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, object);
  auto const found = database.FindTrend(kDevice, kObject);
  ASSERT_TRUE(found);
  ExpectSame(*found, object);
}

TEST_P(StoredObjects, ObjectsWithoutAnythingComeBack)
{
  DeviceDatabase database = Open();
  database.PutDevice(Uuid(), DeviceDO());
  database.PutMeasurement(Uuid(), MeasurementDataDO());
  database.PutTrend(Uuid(), TrendDataDO());
  ASSERT_TRUE(database.FindDevice(Uuid()));
  EXPECT_EQ(database.FindDevice(Uuid())->getDeviceDetails(), "");
  ASSERT_TRUE(database.FindMeasurement(Uuid(), Uuid()));
  ExpectSame(*database.FindMeasurement(Uuid(), Uuid()), MeasurementDataDO());
  ASSERT_TRUE(database.FindTrend(Uuid(), Uuid()));
  ExpectSame(*database.FindTrend(Uuid(), Uuid()), TrendDataDO());
}

TEST_P(StoredObjects, DeviceDetailsComeBackByteForByte)
{
  DeviceDatabase database = Open();
  database.PutDevice(kDevice, MakeDevice(HostileText()));
  ASSERT_TRUE(database.FindDevice(kDevice));
  EXPECT_EQ(database.FindDevice(kDevice)->getDeviceDetails(), HostileText());
}

TEST_P(StoredObjects, ExtremeTimeStampsComeBack)
{
  DeviceDatabase database = Open();
  for (long long const time : {kEarliest, kLatest})
  {
    database.PutMeasurement(kDevice, MakeMeasurement(kObject, time));
    EXPECT_EQ(database.FindMeasurement(kDevice, kObject)->getMeasurementTimeStamp(), time);
    database.PutTrend(kDevice, MakeTrend(kObject, kValue, true, time, time, 1));
    EXPECT_EQ(database.FindTrend(kDevice, kObject)->getFirstTimeStamp(), time);
    EXPECT_EQ(database.FindTrend(kDevice, kObject)->getLastTimeStamp(), time);
    database.PutCharacteristicValue(kDevice, kValue, 1.5, AtTime(time));
    database.PutBookmark(kDevice, kValue, time);
  }
  auto const values = database.ListCharacteristicValues(kDevice, kValue);
  ASSERT_EQ(values.size(), 2u);
  EXPECT_EQ(values[0].timeStamp, kEarliest);
  EXPECT_EQ(values[1].timeStamp, kLatest);
  EXPECT_EQ(database.ListBookmarks(kDevice, kValue), (std::vector<long long>{kEarliest, kLatest}));
}

TEST_P(StoredObjects, MegabytesComeBack)
{
  MeasurementDataDO measurement = MakeMeasurement(kObject, 1);
  measurement.setBinaryData(NumberedBytes(1 << 20, 1));
  TrendDataDO trend = MakeTrend(kObject, kValue, false, 1, 2, 3);
  trend.setData(NumberedBytes((1 << 20) + 1, 2));
  trend.setTrendDataDetails(std::string(1 << 20, 'x'));
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, measurement);
  database.PutTrend(kDevice, trend);
  ExpectSame(*database.FindMeasurement(kDevice, kObject), measurement);
  ExpectSame(*database.FindTrend(kDevice, kObject), trend);
}

TEST_P(StoredObjects, CharacteristicValuesComeBackBitForBit)
{
  double const values[] = {0.0,
                           1.0,
                           0.1,
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::max(),
                           std::numeric_limits<double>::lowest(),
                           std::numeric_limits<double>::denorm_min(),
                           9007199254740993.0,
                           -4611686018427387904.0};
  DeviceDatabase database = Open();
  long long time = 0;
  for (double const value : values)
    database.PutCharacteristicValue(kDevice, kValue, value, AtTime(time++));
  auto const found = database.ListCharacteristicValues(kDevice, kValue);
  ASSERT_EQ(found.size(), std::size(values));
  for (std::size_t i = 0; i < found.size(); ++i)
  {
    EXPECT_EQ(found[i].timeStamp, static_cast<long long>(i));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(found[i].value), std::bit_cast<std::uint64_t>(values[i])) << values[i];
  }
}

TEST_P(StoredObjects, NegativeZeroComesBackAsZeroFromSqlite)
{
  DeviceDatabase database = Open();
  database.PutCharacteristicValue(kDevice, kValue, -0.0, AtTime(5));
  auto const found = database.ListCharacteristicValues(kDevice, kValue);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].value, 0.0);
  EXPECT_EQ(std::signbit(found[0].value), !IsSqlite());
}

TEST_P(StoredObjects, NanComesBackAsNan)
{
  DeviceDatabase database = Open();
  database.PutCharacteristicValue(kDevice, kValue, std::numeric_limits<double>::quiet_NaN(), AtTime(5));
  auto const found = database.ListCharacteristicValues(kDevice, kValue);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].timeStamp, 5);
  EXPECT_TRUE(std::isnan(found[0].value));
}

TEST_P(StoredObjects, PutAgainReplacesEveryPart)
{
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, MakeMeasurement(kObject, 1));
  database.PutTrend(kDevice, MakeTrend(kObject, kValue, true, 1, 2, 3));
  database.PutDevice(kDevice, MakeDevice("old"));
  MeasurementDataDO measurement;
  measurement.setCurrentUuid({77, kObject, false});
  TrendDataDO trend;
  trend.setCurrentUuid({78, kObject, true});
  trend.setCharacteristicValueConfig({1, NumberedUuid(0xc2), false});
  database.PutMeasurement(kDevice, measurement);
  database.PutTrend(kDevice, trend);
  database.PutDevice(kDevice, MakeDevice("new"));
  ExpectSame(*database.FindMeasurement(kDevice, kObject), measurement);
  ExpectSame(*database.FindTrend(kDevice, kObject), trend);
  EXPECT_EQ(database.FindDevice(kDevice)->getDeviceDetails(), "new");
  EXPECT_EQ(database.ListMeasurements(kDevice).size(), 1u);
  EXPECT_EQ(database.ListTrends(kDevice).size(), 1u);
  EXPECT_EQ(database.ListTrendValues(kDevice), (std::vector<Uuid>{NumberedUuid(0xc2)}));
}

TEST_P(StoredObjects, CharacteristicValueOfTheSameTimeIsReplaced)
{
  DeviceDatabase database = Open();
  database.PutCharacteristicValue(kDevice, kValue, 1, AtTime(10));
  database.PutCharacteristicValue(kDevice, kValue, 2, AtTime(10));
  auto const found = database.ListCharacteristicValues(kDevice, kValue);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].value, 2);
}

TEST_P(StoredObjects, BookmarkPutTwiceIsOne)
{
  DeviceDatabase database = Open();
  database.PutBookmark(kDevice, kValue, 10);
  database.PutBookmark(kDevice, kValue, 10);
  EXPECT_EQ(database.ListBookmarks(kDevice, kValue), std::vector<long long>{10});
  EXPECT_TRUE(database.DeleteBookmark(kDevice, kValue, 10));
  EXPECT_TRUE(database.ListBookmarks(kDevice, kValue).empty());
}

TEST_P(StoredObjects, NothingIsFoundInAFreshStore)
{
  DeviceDatabase database = Open();
  EXPECT_FALSE(database.FindDevice(kDevice));
  EXPECT_FALSE(database.FindMeasurement(kDevice, kObject));
  EXPECT_FALSE(database.FindTrend(kDevice, kObject));
  EXPECT_TRUE(database.ListDevices().empty());
  EXPECT_TRUE(database.ListMeasurements(kDevice).empty());
  EXPECT_TRUE(database.ListTrends(kDevice).empty());
  EXPECT_TRUE(database.ListTrendValues(kDevice).empty());
  EXPECT_TRUE(database.ListCharacteristicValues(kDevice, kValue).empty());
  EXPECT_TRUE(database.ListBookmarks(kDevice, kValue).empty());
}

TEST_P(StoredObjects, NothingIsDeletedFromAFreshStore)
{
  DeviceDatabase database = Open();
  EXPECT_FALSE(database.DeleteDevice(kDevice));
  EXPECT_FALSE(database.DeleteMeasurement(kDevice, kObject));
  EXPECT_FALSE(database.DeleteTrend(kDevice, kObject));
  EXPECT_FALSE(database.DeleteBookmark(kDevice, kValue, 1));
}

TEST_P(StoredObjects, DeviceIsKnownByItsData)
{
  DeviceDatabase database = Open();
  database.PutTrend(NumberedUuid(5), MakeTrend(kObject, kValue, false, 1, 2, 3));
  database.PutMeasurement(NumberedUuid(3), MakeMeasurement(kObject, 1));
  database.PutCharacteristicValue(NumberedUuid(4), kValue, 1, AtTime(1));
  database.PutBookmark(NumberedUuid(1), kValue, 1);
  database.PutDevice(NumberedUuid(2), MakeDevice("known"));
  EXPECT_EQ(database.ListDevices(),
            (std::vector<Uuid>{NumberedUuid(1), NumberedUuid(2), NumberedUuid(3), NumberedUuid(4), NumberedUuid(5)}));
  ASSERT_TRUE(database.FindDevice(NumberedUuid(5)));
  EXPECT_EQ(database.FindDevice(NumberedUuid(5))->getDeviceDetails(), "");
}

TEST_P(StoredObjects, DataLeaveTheDetailsOfTheirDeviceAlone)
{
  DeviceDatabase database = Open();
  database.PutDevice(kDevice, MakeDevice("details"));
  database.PutTrend(kDevice, MakeTrend(kObject, kValue, false, 1, 2, 3));
  EXPECT_EQ(database.FindDevice(kDevice)->getDeviceDetails(), "details");
}

TEST_P(StoredObjects, DevicesDoNotSeeEachOthersData)
{
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, MakeMeasurement(kObject, 1));
  database.PutTrend(kDevice, MakeTrend(kObject, kValue, true, 1, 2, 3));
  database.PutCharacteristicValue(kDevice, kValue, 1, AtTime(1));
  database.PutBookmark(kDevice, kValue, 1);
  database.PutDevice(kOther, MakeDevice("other"));

  EXPECT_FALSE(database.FindMeasurement(kOther, kObject));
  EXPECT_FALSE(database.FindTrend(kOther, kObject));
  EXPECT_TRUE(database.ListMeasurements(kOther).empty());
  EXPECT_TRUE(database.ListTrends(kOther).empty());
  EXPECT_TRUE(database.ListTrendValues(kOther).empty());
  EXPECT_TRUE(database.ListCharacteristicValues(kOther, kValue).empty());
  EXPECT_TRUE(database.ListBookmarks(kOther, kValue).empty());
  EXPECT_FALSE(database.DeleteMeasurement(kOther, kObject));
  EXPECT_FALSE(database.DeleteTrend(kOther, kObject));
  EXPECT_FALSE(database.DeleteBookmark(kOther, kValue, 1));
  EXPECT_EQ(database.ReadStatistics(kOther).measurements.count, 0u);
}

TEST_P(StoredObjects, TheSameObjectOfTwoDevicesIsTwo)
{
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, MakeTrend(kObject, kValue, true, 1, 2, 3));
  database.PutTrend(kOther, MakeTrend(kObject, kValue, false, 4, 5, 6));
  EXPECT_TRUE(database.DeleteTrend(kDevice, kObject));
  EXPECT_FALSE(database.FindTrend(kDevice, kObject));
  ExpectSame(*database.FindTrend(kOther, kObject), MakeTrend(kObject, kValue, false, 4, 5, 6));
}

TEST_P(StoredObjects, DeletedObjectsAreGone)
{
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, MakeMeasurement(kObject, 1));
  database.PutTrend(kDevice, MakeTrend(kObject, kValue, true, 1, 2, 3));
  database.PutMeasurement(kDevice, MakeMeasurement(kOther, 2));
  EXPECT_TRUE(database.DeleteMeasurement(kDevice, kObject));
  EXPECT_TRUE(database.DeleteTrend(kDevice, kObject));
  EXPECT_FALSE(database.FindMeasurement(kDevice, kObject));
  EXPECT_FALSE(database.FindTrend(kDevice, kObject));
  EXPECT_TRUE(database.FindMeasurement(kDevice, kOther));
  EXPECT_FALSE(database.DeleteMeasurement(kDevice, kObject));
  EXPECT_FALSE(database.DeleteTrend(kDevice, kObject));
}

TEST_P(StoredObjects, DeletedDeviceTakesAllItsRowsWithIt)
{
  DeviceDatabase database = Open();
  for (Uuid const& device : {kDevice, kOther})
  {
    database.PutDevice(device, MakeDevice("details"));
    database.PutMeasurement(device, MakeMeasurement(kObject, 1));
    database.PutTrend(device, MakeTrend(kObject, kValue, true, 1, 2, 3));
    database.PutCharacteristicValue(device, kValue, 1, AtTime(1));
    database.PutBookmark(device, kValue, 1);
  }
  EXPECT_TRUE(database.DeleteDevice(kDevice));
  EXPECT_FALSE(database.DeleteDevice(kDevice));
  EXPECT_EQ(database.ListDevices(), std::vector<Uuid>{kOther});
  EXPECT_TRUE(database.FindMeasurement(kOther, kObject));
  for (char const* const table : {"device", "measurement", "trend", "characteristic_value", "bookmark", "retention"})
    EXPECT_EQ(Run(std::string("SELECT COUNT(*) FROM ") + table), "1") << table;
}

TEST_P(StoredObjects, DeviceWithDataOnlyCanBeDeleted)
{
  DeviceDatabase database = Open();
  database.PutBookmark(kDevice, kValue, 1);
  EXPECT_TRUE(database.DeleteDevice(kDevice));
  EXPECT_TRUE(database.ListDevices().empty());
}

TEST_P(StoredObjects, StoreKeepsItsContentWhenItIsOpenedAgain)
{
  Open().PutTrend(kDevice, MakeTrend(kObject, kValue, true, 1, 2, 3));
  DeviceDatabase database = Open();
  ExpectSame(*database.FindTrend(kDevice, kObject), MakeTrend(kObject, kValue, true, 1, 2, 3));
}

TEST_P(StoredObjects, ClosedTrendWithEntriesMakesALedgerOfItsValue)
{
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(1), kValue, false, 1, 2, 3));
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(2), kValue, true, 0, 0, 0));
  EXPECT_EQ(Run("SELECT COUNT(*) FROM retention"), "0");
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(3), kValue, true, 1, 2, 3));
  EXPECT_EQ(Run("SELECT COUNT(*) FROM retention"), "1");
}

TEST_P(StoredObjects, DeviceWithDetailsOnlyCanBeDeleted)
{
  DeviceDatabase database = Open();
  database.PutDevice(kDevice, MakeDevice("details"));
  EXPECT_TRUE(database.DeleteDevice(kDevice));
  EXPECT_FALSE(database.DeleteDevice(kDevice));
}

TEST_P(StoredObjects, ClosedTrendInThinnedTimeRewindsTheLedgerToItsStart)
{
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(1), kValue, true, 1, 2, 3));
  Run("UPDATE retention SET compacted_until = 100, hour_until = 90, day_until = 50, week_until = 49, "
      "four_weeks_until = 10");
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(2), kValue, true, 50, 60, 3));
  EXPECT_EQ(Run("SELECT compacted_until FROM retention"), "50");
  EXPECT_EQ(Run("SELECT hour_until FROM retention"), "50");
  EXPECT_EQ(Run("SELECT day_until FROM retention"), "50");
  EXPECT_EQ(Run("SELECT week_until FROM retention"), "49");
  EXPECT_EQ(Run("SELECT four_weeks_until FROM retention"), "10");
  // Before everything that was thinned.
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(3), kValue, true, 5, 60, 3));
  for (std::string const column : {"compacted_until", "hour_until", "day_until", "week_until", "four_weeks_until"})
    EXPECT_EQ(Run("SELECT " + column + " FROM retention"), "5") << column;
}

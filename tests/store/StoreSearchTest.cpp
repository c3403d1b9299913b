// Lists of a store against a plain model: everything in memory, filtered and sorted there.
#include "support/StoreTest.h"
#include "support/StoredObjects.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr long long kEarliest = std::numeric_limits<long long>::min();
constexpr long long kLatest = std::numeric_limits<long long>::max();
constexpr unsigned int kNoLimit = std::numeric_limits<unsigned int>::max();

Uuid const kDevice = NumberedUuid(0xd1);
Uuid const kOther = NumberedUuid(0xd2);
Uuid const kValue = NumberedUuid(0xc1);

class StoreSearch : public StoreTest
{
};
INSTANTIATE_TEST_SUITE_P(Engines, StoreSearch, EnginesOfThisBuild(), EngineName);

/// Measurements of two configurations and two jobs in every combination, several at the same time.
std::vector<MeasurementDataDO> someMeasurements()
{
  std::vector<MeasurementDataDO> objects;
  unsigned int number = 0;
  for (long long const time : {300LL, 100LL, 200LL})
    for (unsigned int const config : {1u, 2u})
      for (unsigned int const job : {3u, 4u})
      {
        MeasurementDataDO object =
            MakeMeasurement(NumberedUuid(100 - number), time, NumberedUuid(config), NumberedUuid(job));
        object.setBinaryData(NumberedBytes(10 + number, number));
        object.setSavedByAlarmStatusChange(number % 3 == 0);
        objects.push_back(object);
        ++number;
      }
  return objects;
}

std::vector<Uuid> expected(std::vector<MeasurementDataDO> objects, MeasurementQuery const& query)
{
  std::erase_if(objects,
                [&](MeasurementDataDO const& object)
                {
                  long long const time = object.getMeasurementTimeStamp();
                  return (query.config && *query.config != object.getMeasurementConfig().getUuid()) ||
                         (query.job && *query.job != object.getJobData().getUuid()) || time < query.time.from ||
                         time > query.time.to;
                });
  std::ranges::sort(objects,
                    [](MeasurementDataDO const& one, MeasurementDataDO const& other)
                    {
                      if (one.getMeasurementTimeStamp() != other.getMeasurementTimeStamp())
                        return one.getMeasurementTimeStamp() > other.getMeasurementTimeStamp();
                      return one.getCurrentUuid().getUuid() < other.getCurrentUuid().getUuid();
                    });
  std::vector<Uuid> uuids;
  for (MeasurementDataDO const& object : objects)
    if (uuids.size() < query.limit)
      uuids.push_back(object.getCurrentUuid().getUuid());
  return uuids;
}

/// Trends of two values, open and closed, with and without entries, some with the same times.
std::vector<TrendDataDO> someTrends()
{
  std::vector<TrendDataDO> objects;
  unsigned int number = 0;
  for (auto const& [first, last, entries] :
       {std::tuple{100LL, 200LL, 5u}, {150LL, 200LL, 4u}, {201LL, 300LL, 3u}, {0LL, 0LL, 0u}, {300LL, 300LL, 1u}})
    for (unsigned int const value : {1u, 2u})
      for (bool const isClosed : {false, true})
        objects.push_back(MakeTrend(NumberedUuid(200 - number++), NumberedUuid(value), isClosed, first, last, entries));
  return objects;
}

bool isInRange(TrendDataDO const& object, TimeRange const& range)
{
  if (range.from == kEarliest && range.to == kLatest)
    return true;
  return object.getNumSamples() != 0 && object.getLastTimeStamp() >= range.from &&
         object.getFirstTimeStamp() <= range.to;
}

std::vector<Uuid> expected(std::vector<TrendDataDO> objects, TrendQuery const& query)
{
  std::erase_if(objects,
                [&](TrendDataDO const& object)
                {
                  return (query.value && *query.value != object.getCharacteristicValueConfig().getUuid()) ||
                         (query.isClosed && *query.isClosed != object.getClosed()) || !isInRange(object, query.time);
                });
  std::ranges::sort(objects,
                    [](TrendDataDO const& one, TrendDataDO const& other)
                    {
                      if (one.getLastTimeStamp() != other.getLastTimeStamp())
                        return one.getLastTimeStamp() > other.getLastTimeStamp();
                      if (one.getFirstTimeStamp() != other.getFirstTimeStamp())
                        return one.getFirstTimeStamp() > other.getFirstTimeStamp();
                      return one.getCurrentUuid().getUuid() < other.getCurrentUuid().getUuid();
                    });
  std::vector<Uuid> uuids;
  for (TrendDataDO const& object : objects)
    if (uuids.size() < query.limit)
      uuids.push_back(object.getCurrentUuid().getUuid());
  return uuids;
}

std::vector<Uuid> found(DeviceDatabase& database, MeasurementQuery const& query)
{
  std::vector<Uuid> uuids;
  for (MeasurementSummary const& summary : database.ListMeasurements(kDevice, query))
    uuids.push_back(summary.measurement);
  return uuids;
}

std::vector<Uuid> found(DeviceDatabase& database, TrendQuery const& query)
{
  std::vector<Uuid> uuids;
  for (TrendSummary const& summary : database.ListTrends(kDevice, query))
    uuids.push_back(summary.trend);
  return uuids;
}

std::vector<TimeRange> const kRanges{{},         {100, kLatest}, {101, kLatest}, {kEarliest, 200}, {kEarliest, 199},
                                     {200, 200}, {101, 199},     {150, 250},     {300, 300},       {301, kLatest},
                                     {300, 100}, {0, 0},         {201, 201},     {kEarliest, 99},  {100, 300}};
constexpr unsigned int kLimits[] = {0, 1, 3, kNoLimit};
} // namespace

TEST_P(StoreSearch, MeasurementsAreFoundByEveryCombinationOfFilters)
{
  DeviceDatabase database = Open();
  std::vector<MeasurementDataDO> const objects = someMeasurements();
  for (MeasurementDataDO const& object : objects)
    database.PutMeasurement(kDevice, object);
  database.PutMeasurement(kOther, MakeMeasurement(NumberedUuid(1), 200, NumberedUuid(1), NumberedUuid(3)));

  unsigned int notEmpty = 0;
  std::vector<std::optional<Uuid>> const configs{std::nullopt, NumberedUuid(1), NumberedUuid(2), NumberedUuid(9)};
  std::vector<std::optional<Uuid>> const jobs{std::nullopt, NumberedUuid(3), NumberedUuid(4), NumberedUuid(1)};
  for (auto const& config : configs)
    for (auto const& job : jobs)
      for (TimeRange const& range : kRanges)
        for (unsigned int const limit : kLimits)
        {
          MeasurementQuery const query{config, job, range, limit};
          std::vector<Uuid> const uuids = expected(objects, query);
          EXPECT_EQ(found(database, query), uuids)
              << (config ? config->ToString() : "any") << " " << (job ? job->ToString() : "any") << " " << range.from
              << ".." << range.to << " limit " << limit;
          notEmpty += !uuids.empty();
        }
  EXPECT_GT(notEmpty, 100u);
}

TEST_P(StoreSearch, TrendsAreFoundByEveryCombinationOfFilters)
{
  DeviceDatabase database = Open();
  std::vector<TrendDataDO> const objects = someTrends();
  for (TrendDataDO const& object : objects)
    database.PutTrend(kDevice, object);
  database.PutTrend(kOther, MakeTrend(NumberedUuid(1), NumberedUuid(1), true, 100, 300, 4));

  unsigned int notEmpty = 0;
  std::vector<std::optional<Uuid>> const values{std::nullopt, NumberedUuid(1), NumberedUuid(2), NumberedUuid(9)};
  std::vector<std::optional<bool>> const states{std::nullopt, false, true};
  for (auto const& value : values)
    for (auto const& state : states)
      for (TimeRange const& range : kRanges)
        for (unsigned int const limit : kLimits)
        {
          TrendQuery const query{value, state, range, limit};
          std::vector<Uuid> const uuids = expected(objects, query);
          EXPECT_EQ(found(database, query), uuids)
              << (value ? value->ToString() : "any") << " " << range.from << ".." << range.to << " limit " << limit;
          notEmpty += !uuids.empty();
        }
  EXPECT_GT(notEmpty, 100u);
}

TEST_P(StoreSearch, NewestMeasurementIsListedFirst)
{
  DeviceDatabase database = Open();
  for (long long const time : {20LL, -30LL, 10LL})
    database.PutMeasurement(kDevice, MakeMeasurement(NumberedUuid(static_cast<unsigned int>(time + 50)), time));
  EXPECT_EQ(found(database, MeasurementQuery{}),
            (std::vector<Uuid>{NumberedUuid(70), NumberedUuid(60), NumberedUuid(20)}));
}

TEST_P(StoreSearch, MeasurementsOfTheSameTimeComeInTheOrderOfTheirUuids)
{
  DeviceDatabase database = Open();
  for (unsigned int const number : {0x1ffu, 0x100u, 0xffu})
    database.PutMeasurement(kDevice, MakeMeasurement(NumberedUuid(number), 10));
  EXPECT_EQ(found(database, MeasurementQuery{}),
            (std::vector<Uuid>{NumberedUuid(0xff), NumberedUuid(0x100), NumberedUuid(0x1ff)}));
}

TEST_P(StoreSearch, TrendWithoutEntriesIsListedOnlyWithoutLimitsOfTime)
{
  DeviceDatabase database = Open();
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(1), kValue, false, 0, 0, 0));
  EXPECT_EQ(database.ListTrends(kDevice).size(), 1u);
  EXPECT_EQ(database.ListTrends(kDevice, {std::nullopt, std::nullopt, {kEarliest, 100}, kNoLimit}).size(), 0u);
  EXPECT_EQ(database.ListTrends(kDevice, {std::nullopt, std::nullopt, {-1, kLatest}, kNoLimit}).size(), 0u);
}

TEST_P(StoreSearch, SummariesTellWhatIsStored)
{
  DeviceDatabase database = Open();
  database.PutMeasurement(kDevice, MakeMeasurement(NumberedUuid(5), 42, NumberedUuid(6), NumberedUuid(7)));
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(8), NumberedUuid(9), true, 10, 20, 3));

  auto const measurements = database.ListMeasurements(kDevice);
  ASSERT_EQ(measurements.size(), 1u);
  EXPECT_EQ(measurements[0].measurement, NumberedUuid(5));
  EXPECT_EQ(measurements[0].config, NumberedUuid(6));
  EXPECT_EQ(measurements[0].job, NumberedUuid(7));
  EXPECT_EQ(measurements[0].timeStamp, 42);
  EXPECT_TRUE(measurements[0].isSavedByAlarmStatusChange);
  // 200 bytes of record and "<measurement/>".
  EXPECT_EQ(measurements[0].byteCount, 214u);

  auto const trends = database.ListTrends(kDevice);
  ASSERT_EQ(trends.size(), 1u);
  EXPECT_EQ(trends[0].trend, NumberedUuid(8));
  EXPECT_EQ(trends[0].value, NumberedUuid(9));
  EXPECT_TRUE(trends[0].isClosed);
  EXPECT_EQ(trends[0].firstTimeStamp, 10);
  EXPECT_EQ(trends[0].lastTimeStamp, 20);
  EXPECT_EQ(trends[0].entryCount, 3u);
  // 120 bytes of record and "<trend/>".
  EXPECT_EQ(trends[0].byteCount, 128u);
}

TEST_P(StoreSearch, ValuesWithTrendsAreListedOnceAndAscending)
{
  DeviceDatabase database = Open();
  unsigned int number = 0;
  for (unsigned int const value : {0x201u, 0x1ffu, 0x201u, 0x3u})
    database.PutTrend(kDevice, MakeTrend(NumberedUuid(number++), NumberedUuid(value), true, 1, 2, 1));
  database.PutTrend(kOther, MakeTrend(NumberedUuid(1), NumberedUuid(0x77), true, 1, 2, 1));
  EXPECT_EQ(database.ListTrendValues(kDevice),
            (std::vector<Uuid>{NumberedUuid(0x3), NumberedUuid(0x1ff), NumberedUuid(0x201)}));
}

TEST_P(StoreSearch, CharacteristicValuesAreFoundByTimeWithBothBorders)
{
  DeviceDatabase database = Open();
  for (long long const time : {30LL, 10LL, 20LL})
    database.PutCharacteristicValue(kDevice, kValue, static_cast<double>(time) / 4, AtTime(time));
  database.PutCharacteristicValue(kDevice, NumberedUuid(0xc2), 99, AtTime(20));
  database.PutCharacteristicValue(kOther, kValue, 99, AtTime(20));
  auto const times = [&](TimeRange const& range)
  {
    std::vector<long long> result;
    for (StoredCharacteristicValue const& value : database.ListCharacteristicValues(kDevice, kValue, range))
    {
      EXPECT_EQ(value.value, static_cast<double>(value.timeStamp) / 4);
      result.push_back(value.timeStamp);
    }
    return result;
  };
  EXPECT_EQ(times({}), (std::vector<long long>{10, 20, 30}));
  EXPECT_EQ(times({10, 30}), (std::vector<long long>{10, 20, 30}));
  EXPECT_EQ(times({11, 29}), std::vector<long long>{20});
  EXPECT_EQ(times({20, 20}), std::vector<long long>{20});
  EXPECT_EQ(times({21, 29}), std::vector<long long>{});
  EXPECT_EQ(times({30, 10}), std::vector<long long>{});
}

TEST_P(StoreSearch, BookmarksAreFoundByTimeWithBothBorders)
{
  DeviceDatabase database = Open();
  for (long long const time : {30LL, 10LL, 20LL})
    database.PutBookmark(kDevice, kValue, time);
  database.PutBookmark(kDevice, NumberedUuid(0xc2), 20);
  database.PutBookmark(kOther, kValue, 20);
  using Times = std::vector<long long>;
  EXPECT_EQ(database.ListBookmarks(kDevice, kValue), (Times{10, 20, 30}));
  EXPECT_EQ(database.ListBookmarks(kDevice, kValue, {10, 20}), (Times{10, 20}));
  EXPECT_EQ(database.ListBookmarks(kDevice, kValue, {11, 19}), Times{});
  EXPECT_EQ(database.ListBookmarks(kDevice, kValue, {20, 30}), (Times{20, 30}));
}

TEST_P(StoreSearch, ConfigurationsWithValuesOrBookmarksAreListedOnceInOrder)
{
  DeviceDatabase database = Open();
  EXPECT_EQ(database.ListStoredValues(kDevice), std::vector<Uuid>{});
  database.PutBookmark(kDevice, NumberedUuid(0xc3), 20);
  database.PutBookmark(kDevice, NumberedUuid(0xc2), 20);
  database.PutCharacteristicValue(kDevice, NumberedUuid(0xc2), 1, AtTime(1));
  database.PutCharacteristicValue(kDevice, kValue, 1, AtTime(1));
  database.PutCharacteristicValue(kDevice, kValue, 1, AtTime(2));
  database.PutBookmark(kOther, NumberedUuid(0xc4), 20);
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(1), NumberedUuid(0xc5), true, 1, 2, 5));
  EXPECT_EQ(database.ListStoredValues(kDevice), (std::vector<Uuid>{kValue, NumberedUuid(0xc2), NumberedUuid(0xc3)}));
}

TEST_P(StoreSearch, StatisticsCountWhatADeviceTakesUp)
{
  DeviceDatabase database = Open();
  // 200 + 14 bytes each.
  database.PutMeasurement(kDevice, MakeMeasurement(NumberedUuid(1), 1));
  database.PutMeasurement(kDevice, MakeMeasurement(NumberedUuid(2), 2));
  // 120 + 8 bytes each.
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(1), kValue, false, 1, 2, 5));
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(2), kValue, true, 1, 2, 0xffffffffu));
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(3), kValue, true, 1, 2, 7));
  database.PutTrend(kDevice, MakeTrend(NumberedUuid(4), kValue, true, 0, 0, 0));
  database.PutCharacteristicValue(kDevice, kValue, 1, AtTime(1));
  database.PutCharacteristicValue(kDevice, NumberedUuid(0xc2), 1, AtTime(1));
  for (long long const time : {1, 2, 3})
    database.PutBookmark(kDevice, kValue, time);
  database.PutMeasurement(kOther, MakeMeasurement(NumberedUuid(1), 1));
  database.PutTrend(kOther, MakeTrend(NumberedUuid(1), kValue, false, 1, 2, 5));
  database.PutTrend(kOther, MakeTrend(NumberedUuid(2), kValue, true, 1, 2, 5));
  database.PutCharacteristicValue(kOther, kValue, 1, AtTime(1));
  database.PutBookmark(kOther, kValue, 1);

  DeviceStatistics const statistics = database.ReadStatistics(kDevice);
  EXPECT_EQ(statistics.measurements.count, 2u);
  EXPECT_EQ(statistics.measurements.byteCount, 428u);
  EXPECT_EQ(statistics.openTrends.count, 1u);
  EXPECT_EQ(statistics.openTrends.byteCount, 128u);
  EXPECT_EQ(statistics.closedTrends.count, 3u);
  EXPECT_EQ(statistics.closedTrends.byteCount, 384u);
  EXPECT_EQ(statistics.trendEntries, 5ull + 0xffffffffull + 7ull);
  EXPECT_EQ(statistics.characteristicValues, 2u);
  EXPECT_EQ(statistics.bookmarks, 3u);
}

TEST_P(StoreSearch, StatisticsOfAnUnknownDeviceAreAllZero)
{
  DeviceStatistics const statistics = Open().ReadStatistics(kDevice);
  EXPECT_EQ(statistics.measurements.count, 0u);
  EXPECT_EQ(statistics.measurements.byteCount, 0u);
  EXPECT_EQ(statistics.openTrends.count, 0u);
  EXPECT_EQ(statistics.openTrends.byteCount, 0u);
  EXPECT_EQ(statistics.closedTrends.count, 0u);
  EXPECT_EQ(statistics.closedTrends.byteCount, 0u);
  EXPECT_EQ(statistics.trendEntries, 0u);
  EXPECT_EQ(statistics.characteristicValues, 0u);
}

#pragma once

#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

/// The UUID whose last byte is this number.
inline Uuid NumberedUuid(unsigned int number)
{
  unsigned char bytes[16] = {};
  bytes[14] = static_cast<unsigned char>(number >> 8);
  bytes[15] = static_cast<unsigned char>(number);
  Uuid uuid;
  uuid.SetPlainUuid(bytes);
  return uuid;
}

/// Bytes that no text can be: NUL, quotes, pieces of UTF-8, and all others.
inline std::string HostileText()
{
  std::string text = std::string(2, '\0') + "'\";--\\x00\xc3(\xff\xfe";
  for (int byte = 0; byte < 256; ++byte)
    text += static_cast<char>(byte);
  return text;
}

inline std::vector<unsigned char> NumberedBytes(std::size_t count, unsigned int seed)
{
  std::vector<unsigned char> bytes(count);
  for (unsigned char& byte : bytes)
    byte = static_cast<unsigned char>((seed = seed * 1103515245u + 12345u) >> 16);
  return bytes;
}

/// A measurement of which every part differs from the defaults and from the others.
inline MeasurementDataDO MakeMeasurement(Uuid const& uuid, long long time, Uuid const& config = NumberedUuid(0x1001),
                                         Uuid const& job = NumberedUuid(0x1002))
{
  MeasurementDataDO object;
  object.setCurrentUuid({1, uuid, true});
  object.setMeasurementConfig({0xffffffffu, config, false});
  object.setJobData({0x80000000u, job, true});
  object.setMeasurementTimeStamp(time);
  object.setSavedByAlarmStatusChange(true);
  object.setMeasurementDataDetails("<measurement/>");
  object.setBinaryData(NumberedBytes(200, uuid.GetPlainUuid()[15]));
  return object;
}

/// A trend of which every part differs from the defaults and from the others.
inline TrendDataDO MakeTrend(Uuid const& uuid, Uuid const& value, bool isClosed, long long first, long long last,
                             unsigned int entries)
{
  TrendDataDO object;
  object.setCurrentUuid({7, uuid, false});
  object.setCharacteristicValueConfig({0xfffffffeu, value, true});
  object.setCharacteristicValueConfigBaseUuid({9, NumberedUuid(0x1003), true});
  object.setClosed(isClosed);
  object.setFirstTimeStamp(first);
  object.setLastTimeStamp(last);
  object.setNumSamples(entries);
  object.setTrendDataDetails("<trend/>");
  object.setData(NumberedBytes(120, uuid.GetPlainUuid()[15]));
  return object;
}

inline DeviceDO MakeDevice(std::string const& details)
{
  DeviceDO object;
  object.setDeviceDetails(details);
  return object;
}

inline CharacteristicValueDataDO AtTime(long long time)
{
  CharacteristicValueDataDO object;
  object.setMeasurementTimeStamp(time);
  return object;
}

inline void ExpectSameEntry(UuidEntryDO const& actual, UuidEntryDO const& expected)
{
  EXPECT_EQ(actual.getId(), expected.getId());
  EXPECT_EQ(actual.getUuid(), expected.getUuid());
  EXPECT_EQ(actual.getFlag(), expected.getFlag());
}

inline void ExpectSame(MeasurementDataDO const& actual, MeasurementDataDO const& expected)
{
  ExpectSameEntry(actual.getCurrentUuid(), expected.getCurrentUuid());
  ExpectSameEntry(actual.getMeasurementConfig(), expected.getMeasurementConfig());
  ExpectSameEntry(actual.getJobData(), expected.getJobData());
  EXPECT_EQ(actual.getMeasurementTimeStamp(), expected.getMeasurementTimeStamp());
  EXPECT_EQ(actual.getSavedByAlarmStatusChange(), expected.getSavedByAlarmStatusChange());
  EXPECT_EQ(actual.getMeasurementDataDetails(), expected.getMeasurementDataDetails());
  EXPECT_TRUE(actual.getBinaryData() == expected.getBinaryData());
}

inline bool IsSame(UuidEntryDO const& one, UuidEntryDO const& other)
{
  return one.getId() == other.getId() && one.getUuid() == other.getUuid() && one.getFlag() == other.getFlag();
}

inline bool IsSame(TrendDataDO const& one, TrendDataDO const& other)
{
  return IsSame(one.getCurrentUuid(), other.getCurrentUuid()) &&
         IsSame(one.getCharacteristicValueConfig(), other.getCharacteristicValueConfig()) &&
         IsSame(one.getCharacteristicValueConfigBaseUuid(), other.getCharacteristicValueConfigBaseUuid()) &&
         one.getClosed() == other.getClosed() && one.getFirstTimeStamp() == other.getFirstTimeStamp() &&
         one.getLastTimeStamp() == other.getLastTimeStamp() && one.getNumSamples() == other.getNumSamples() &&
         one.getTrendDataDetails() == other.getTrendDataDetails() && one.getData() == other.getData();
}

inline void ExpectSame(TrendDataDO const& actual, TrendDataDO const& expected)
{
  ExpectSameEntry(actual.getCurrentUuid(), expected.getCurrentUuid());
  ExpectSameEntry(actual.getCharacteristicValueConfig(), expected.getCharacteristicValueConfig());
  ExpectSameEntry(actual.getCharacteristicValueConfigBaseUuid(), expected.getCharacteristicValueConfigBaseUuid());
  EXPECT_EQ(actual.getClosed(), expected.getClosed());
  EXPECT_EQ(actual.getFirstTimeStamp(), expected.getFirstTimeStamp());
  EXPECT_EQ(actual.getLastTimeStamp(), expected.getLastTimeStamp());
  EXPECT_EQ(actual.getNumSamples(), expected.getNumSamples());
  EXPECT_EQ(actual.getTrendDataDetails(), expected.getTrendDataDetails());
  EXPECT_TRUE(actual.getData() == expected.getData());
}

#pragma once

#include "platform/Compression.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/ShrinkRun.h"
#include "support/TrendRecords.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

// For stored trends of any bytes: what reading them has to give, and each operation on what was read.

inline std::string TrendFailure(std::string const& message)
{
  return "TrendException \"" + message + "\" in Trend.cpp";
}
inline std::string const kTrendCodecFailure = "CompressionException";

template <class T>
std::string WrongTrendSize(T there, long long needed)
{
  return TrendFailure("Wrong trend data size: actual " + std::to_string(static_cast<unsigned long>(there)) +
                      " bytes, expected " + std::to_string(static_cast<long>(needed)) + " bytes!");
}

/// How an operation ended: empty when it threw nothing. The texts of the codec are free.
template <class F>
std::string TrendEndOf(F&& operation)
{
  try
  {
    operation();
    return "";
  }
  catch (VelmoraException const& failure)
  {
    if (typeid(failure) == typeid(CompressionException))
      return kTrendCodecFailure;
    return (typeid(failure) == typeid(TrendException) ? failure.getClassName() : typeid(failure).name()) +
           std::string(" \"") + failure.what() + "\" in " + failure.getFile();
  }
  catch (std::exception const& failure)
  {
    return typeid(failure).name();
  }
}

/// What reading a flat trend has to give: a failure or entries.
struct TrendReading
{
  std::string failure;
  std::vector<EntryBytes> entries;
};

inline TrendReading ExpectedTrendReading(Bytes const& flat)
{
  if (flat.size() < kTrendHeaderBytes)
    return {
        TrendFailure("Trend header incomplete: actual " + std::to_string(flat.size()) + " bytes, expected 96 bytes!"),
        {}};
  unsigned long long const there = flat.size() - kTrendHeaderBytes;
  unsigned int const announced = FieldAt<unsigned int>(flat, TrendField::kDataArrayByteCount);
  if (there != announced)
    return {WrongTrendSize(there, static_cast<long long>(announced)), {}};
  int const form = FieldAt<int>(flat, TrendField::kCompression);
  if (form != no_compression && form != zlib && form != gzip)
    return {TrendFailure("Unknown compression: " + std::to_string(form) + "!"), {}};
  unsigned long long const needed = 32ULL * FieldAt<unsigned int>(flat, TrendField::kSampleCount);
  if (needed > (form == no_compression ? there : 1032 * there + 64))
    return {WrongTrendSize(there, static_cast<long long>(needed)), {}};
  Bytes data(flat.begin() + kTrendHeaderBytes, flat.end());
  if (form == no_compression)
    data.resize(static_cast<std::size_t>(needed));
  else if (std::optional<Bytes> const raw =
               Decoded(data, static_cast<compression32_t>(form), static_cast<std::size_t>(needed)))
    data = *raw;
  else
    return {kTrendCodecFailure, {}};
  return {"", Split(data)};
}

inline void ExpectTrendParts(Trend const& trend, TrendParts const& parts)
{
  EXPECT_EQ(trend.GetCharacteristicValueConfigUuid(), parts.configUuid);
  EXPECT_EQ(trend.GetCharacteristicValueConfigBaseUuid(), parts.baseUuid);
  EXPECT_EQ(trend.GetTrendUuid(), parts.trendUuid);
  EXPECT_EQ(trend.GetSignalUnitUuid(), parts.unitUuid);
  EXPECT_EQ(trend.GetSignalUnitString(), parts.unitString);
  double const limit = trend.GetLowerPreAlarmLimit();
  EXPECT_EQ(std::memcmp(&limit, &parts.limit, sizeof(limit)), 0);
  EXPECT_EQ(trend.GetFirstTimeStamp(), parts.First());
  EXPECT_EQ(trend.GetLastTimeStamp(), parts.Last());
  EXPECT_EQ(trend.GetCompression(), parts.form);
  EXPECT_EQ(trend.GetNumberOfEntries(), parts.entries.size());
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), parts.entries);
}

/// Stores a trend in each form and reads it back.
inline void StoreTrendAndReadBack(Trend trend, TrendParts parts)
{
  for (compression32_t const form : kStorageForms)
  {
    trend.SetCompression(form);
    parts.form = form;
    std::unique_ptr<TrendDataDO> const stored(trend.GetTrendDataDO());
    Bytes const& data = stored->getData();
    EXPECT_EQ(data, FlatTrend(parts, Bytes(data.begin() + kTrendHeaderBytes, data.end())));
    EXPECT_EQ(EntriesOf(data), parts.entries);
    EXPECT_EQ(stored->getTrendDataDetails(), TrendDetails(parts, data));
    TrendParts back = parts;
    back.firstColumn.reset();
    back.lastColumn.reset();
    ExpectTrendParts(Trend(*stored), back);
  }
}

/// Whether a number that takes part in comparisons is no number, so that the trend differs from itself.
inline bool HoldsNan(TrendParts const& parts)
{
  return std::isnan(parts.limit) || std::any_of(parts.entries.begin(), parts.entries.end(),
                                                [](EntryBytes const& bytes)
                                                {
                                                  trend_entry_t const entry = ToEntry(bytes);
                                                  return std::isnan(entry.Value) || std::isnan(entry.AuxFloat1) ||
                                                         std::isnan(entry.AuxFloat2);
                                                });
}

/// Every other operation of a trend.
inline void OperateOnTrend(Trend const& trend, TrendParts const& parts)
{
  Trend copy(trend);
  EXPECT_EQ(copy == trend, !HoldsNan(parts));
  EXPECT_EQ(ToBytes(trend.GetTrendEntry(static_cast<unsigned int>(parts.entries.size()))).at(EntryField::kStatus), 0);
  EntryBytes const entry = MarkedEntry(5000, 1, 9);
  copy.AddTrendEntry(ToEntry(entry), true);
  copy.AddTrendEntry(ToEntry(entry), false);
  TrendParts longer = parts;
  longer.entries.push_back(entry);
  EXPECT_EQ(AllBytes(copy.GetTrendEntryVector()), longer.entries);
  EXPECT_TRUE(copy.DeleteTrendEntries(LLONG_MIN, LLONG_MAX));
  EXPECT_EQ(copy.GetNumberOfEntries(), 0U);
  Trend const merged = MakeShrinker({}).MergeTrends(trend, trend);
  EXPECT_EQ(merged.GetNumberOfEntries(), 2 * parts.entries.size());
}

#pragma once

#include "platform/QenTime.h"
#include "support/PlainTrend.h"
#include "support/TrendExamination.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

/// The parts of the trend that a readable flat record gives with columns and identity as its header has them.
inline TrendParts PartsOf(Bytes const& flat, std::vector<EntryBytes> entries)
{
  TrendParts parts;
  parts.form = static_cast<compression32_t>(FieldAt<int>(flat, TrendField::kCompression));
  parts.configUuid.SetPlainUuid(flat.data() + TrendField::kCharacteristicValueConfigUuid);
  parts.trendUuid.SetPlainUuid(flat.data() + TrendField::kTrendUuid);
  parts.unitUuid.SetPlainUuid(flat.data() + TrendField::kUnitUuid);
  parts.limit = FieldAt<double>(flat, TrendField::kLowerPreAlarmLevel);
  parts.firstColumn = FieldAt<long long>(flat, TrendField::kFirstTimeStamp);
  parts.lastColumn = FieldAt<long long>(flat, TrendField::kLastTimeStamp);
  parts.entries = std::move(entries);
  return parts;
}

/// A database object of any bytes, with columns and identity as their header has them.
inline TrendDataDO StoredBytes(Bytes const& flat)
{
  static std::string const details = TrendDetails({}, FlatTrend({}));
  return StoredTrend(flat.size() < kTrendHeaderBytes ? TrendParts() : PartsOf(flat, {}), flat, details);
}

inline void ExpectEntries(Trend const& trend, PlainTrend const& plain)
{
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), plain.entries);
  EXPECT_EQ(trend.GetFirstTimeStamp(), plain.first);
  EXPECT_EQ(trend.GetLastTimeStamp(), plain.last);
}

/// Deletes and compares; a range the wrong way round is refused.
inline void DeleteAndCompare(Trend& trend, PlainTrend& plain, long long from, long long to)
{
  bool deleted = false;
  std::string const end = TrendEndOf([&] { deleted = trend.DeleteTrendEntries(from, to); });
  if (to < from)
  {
    EXPECT_EQ(end, TrendFailure("Time range error for trend " + trend.GetCharacteristicValueConfigUuid().ToString() +
                                ": cannot delete entries from " + QenTime::TimeStampToString(from) + " to " +
                                QenTime::TimeStampToString(to) + "!"));
  }
  else
  {
    EXPECT_EQ(end, "");
    EXPECT_EQ(deleted, plain.Delete(from, to));
  }
  ExpectEntries(trend, plain);
}

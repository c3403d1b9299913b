#pragma once

#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"
#ifdef QEN_POSTGRES
#include "support/PostgresServer.h"
#endif
#include "support/ShrinkRun.h"
#include "support/TrendRecords.h"

#include <algorithm>
#include <compare>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

// Stores for the tests of retention, filled and read without looking at how runs work.

inline constexpr long long kStoreStart = 1767225600000000; // 2026-01-01T00:00:00Z

/// All that is stored of a trend.
struct StoredRow
{
  std::array<Uuid, 3> uuids;
  std::array<unsigned int, 3> ids{};
  std::array<bool, 3> flags{};
  bool isClosed = false;
  long long first = 0, last = 0;
  unsigned int count = 0;
  std::string details;
  Bytes data;

  explicit StoredRow(TrendDataDO const& stored)
    : isClosed(stored.getClosed()), first(stored.getFirstTimeStamp()), last(stored.getLastTimeStamp()),
      count(stored.getNumSamples()), details(stored.getTrendDataDetails()), data(stored.getData())
  {
    UuidEntryDO const* const entries[] = {&stored.getCurrentUuid(), &stored.getCharacteristicValueConfig(),
                                          &stored.getCharacteristicValueConfigBaseUuid()};
    for (std::size_t i = 0; i < 3; ++i)
    {
      uuids.at(i) = entries[i]->getUuid();
      ids.at(i) = entries[i]->getId();
      flags.at(i) = entries[i]->getFlag();
    }
  }
  bool operator==(StoredRow const&) const = default;
};

using StoredRows = std::map<Uuid, StoredRow>;

inline StoredRows RowsOf(DeviceDatabase& database, Uuid const& device, TrendQuery const& query = {})
{
  StoredRows rows;
  for (TrendSummary const& summary : database.ListTrends(device, query))
    rows.emplace(summary.trend, StoredRow(*database.FindTrend(device, summary.trend)));
  return rows;
}

/// Entries in an order of which nothing depends on how they are stored.
inline std::vector<EntryBytes> Ordered(std::vector<EntryBytes> entries)
{
  std::sort(entries.begin(), entries.end(),
            [](EntryBytes const& a, EntryBytes const& b)
            { return TimeOf(a) != TimeOf(b) ? TimeOf(a) < TimeOf(b) : a < b; });
  return entries;
}

inline std::vector<EntryBytes> EntriesOf(StoredRows const& rows)
{
  std::vector<EntryBytes> entries;
  for (auto const& [uuid, row] : rows)
    for (EntryBytes const& entry : EntriesOf(row.data))
      entries.push_back(entry);
  return Ordered(entries);
}

inline TrendDataDO ClosedTrend(TrendParts const& parts)
{
  TrendDataDO stored = StoredTrend(parts);
  stored.setClosed(true);
  return stored;
}

/// A trend of these entries, otherwise with the values that parts have by default.
inline TrendParts TrendWith(std::vector<EntryBytes> const& entries)
{
  TrendParts parts;
  parts.entries = entries;
  return parts;
}

/// Entries of one status in equal steps; marks count up from `mark`.
inline std::vector<EntryBytes> EntriesEvery(long long step, long long from, long long to, unsigned char status = 1,
                                            unsigned int mark = 0)
{
  std::vector<EntryBytes> entries;
  for (long long time = from; time < to; time += step)
    entries.push_back(MarkedEntry(time, status, mark++));
  return entries;
}

inline EntryBytes EntryWithValue(long long time, double value, unsigned char status = 1)
{
  EntryBytes entry = MarkedEntry(time, status, static_cast<unsigned int>(time / kMinute));
  std::memcpy(entry.data() + EntryField::kValue, &value, sizeof(value));
  return entry;
}

inline double ValueOf(EntryBytes const& entry) { return ToEntry(entry).Value; }

/// Where stores of tests that need no particular engine are: in memory, or each in a fresh schema of a server where
/// QEN_STORE_ENGINE says "postgresql".
inline std::string UrlOfAFreshStore()
{
#ifdef QEN_POSTGRES
  char const* const engine = std::getenv("QEN_STORE_ENGINE");
  if (engine != nullptr && std::string(engine) == "postgresql")
    return PostgresServer::Instance().Url(PostgresServer::Instance().FreshSchema());
#endif
  return "sqlite::memory:";
}

/// A store with one device, most of all for one characteristic value.
class RetentionStore
{
public:
  DeviceDatabase database{UrlOfAFreshStore()};
  Uuid device = CountingUuid(0x90);
  Uuid value = TrendParts().configUuid;
  RetentionSettings settings;

  RetentionStore() = default;
  explicit RetentionStore(ShrinkSettings const& counts) { Configure(counts); }

  void Configure(ShrinkSettings const& counts)
  {
    database.PutDevice(device, DeviceWithCleanup(counts));
    settings.maxTrendSize = counts.maxSize;
  }

  /// Under a UUID of its own.
  Uuid Put(TrendParts parts, bool isClosed = true)
  {
    parts.trendUuid = NextUuid();
    PutAs(parts, isClosed);
    return parts.trendUuid;
  }
  Uuid Put(std::vector<EntryBytes> const& entries) { return Put(TrendWith(entries)); }
  void PutAs(TrendParts const& parts, bool isClosed)
  {
    TrendDataDO stored = StoredTrend(parts);
    stored.setClosed(isClosed);
    database.PutTrend(device, stored);
  }
  Uuid NextUuid()
  {
    std::array<unsigned char, 16> bytes{0xee};
    ++trendCount_;
    std::memcpy(bytes.data() + 8, &trendCount_, sizeof trendCount_);
    Uuid uuid;
    uuid.SetPlainUuid(bytes.data());
    return uuid;
  }

  void PutValues(std::vector<long long> const& times)
  {
    for (CharacteristicValueDataDO const& object : ValuesAt(times))
      database.PutCharacteristicValue(device, value, 1.25, object);
  }

  RetentionResult Run(long long now)
  {
    settings.now = now;
    return RetentionRun(database, settings).ThinValue(device, value);
  }
  std::map<Uuid, RetentionResult> RunDevice(long long now)
  {
    settings.now = now;
    std::map<Uuid, RetentionResult> results;
    RetentionRun(database, settings)
        .ThinDevice(device, [&](RetentionResult const& result) { results.emplace(result.value, result); });
    return results;
  }

  StoredRows Rows() { return RowsOf(database, device); }
  StoredRows Rows(bool isClosed)
  {
    TrendQuery query;
    query.value = value;
    query.isClosed = isClosed;
    return RowsOf(database, device, query);
  }
  std::vector<EntryBytes> Entries() { return EntriesOf(Rows(true)); }
  std::vector<long long> Times() { return TimesOf(Entries()); }

private:
  unsigned int trendCount_ = 0;
};

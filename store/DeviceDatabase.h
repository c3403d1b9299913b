#pragma once

#include "platform/Uuid.h"
#include "store/DatabaseAccess.h"
#include "store/Export.h"

#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

class CharacteristicValueDataDO;
class DeviceDO;
class MeasurementDataDO;
class RetentionLedger;
class SqlConnection;
class SqlParameter;
class TrendDataDO;
class ValueThinning;
struct SqlText;

/// A closed range of time stamps, microseconds since 1970-01-01T00:00:00Z.
struct TimeRange
{
  long long from = std::numeric_limits<long long>::min();
  long long to = std::numeric_limits<long long>::max();
};

/// Which measurements to list; what is left out does not restrict.
struct MeasurementQuery
{
  std::optional<Uuid> config;
  std::optional<Uuid> job;
  TimeRange time;
  unsigned int limit = std::numeric_limits<unsigned int>::max();
};

/// A stored measurement without its record and its details document.
struct MeasurementSummary
{
  Uuid measurement;
  Uuid config;
  Uuid job;
  long long timeStamp = 0;
  bool isSavedByAlarmStatusChange = false;
  unsigned long long byteCount = 0; ///< of record and details document
};

/// Which trends to list: those with entries in the range, and, when it is not limited, those without entries.
struct TrendQuery
{
  std::optional<Uuid> value;
  std::optional<bool> isClosed;
  TimeRange time;
  unsigned int limit = std::numeric_limits<unsigned int>::max();
};

/// A stored trend without its record and its details document.
struct TrendSummary
{
  Uuid trend;
  Uuid value; ///< the characteristic value's configuration
  bool isClosed = false;
  long long firstTimeStamp = 0;
  long long lastTimeStamp = 0;
  unsigned int entryCount = 0;
  unsigned long long byteCount = 0; ///< of record and details document
};

/// A characteristic value: what was measured, and when.
struct StoredCharacteristicValue
{
  long long timeStamp = 0;
  double value = 0;
};

/// What a device takes up.
struct DeviceStatistics
{
  struct Kind
  {
    unsigned long long count = 0;
    unsigned long long byteCount = 0; ///< of records and details documents
  };

  Kind measurements;
  Kind openTrends;
  Kind closedTrends;
  unsigned long long trendEntries = 0;
  unsigned long long characteristicValues = 0;
  unsigned long long bookmarks = 0;
};

/// Keeps and finds the database objects of one device or of many, in SQLite or in PostgreSQL.
///
/// What is put in comes out as it was, byte for byte. Objects are known by their device and their current UUID; putting
/// one that is there replaces it. Each call that writes is one transaction of its own, or part of the Transaction that
/// is open. Two processes may use one store at once; they wait for each other, but no longer than DatabaseAccess says.
///
/// Time stamps are microseconds since 1970-01-01T00:00:00Z. Every failure is a DatabaseException with the name of the
/// statement and the engine's message, or std::bad_alloc; nothing of the call is stored then. Only a commit that fails
/// because the disk does, or the line to the server, may be found to have been stored, wholly, when the store is opened
/// again. Threads. An object belongs to one thread at a time; threads that work at once open one each.
class QEN_STORE_EXPORT DeviceDatabase
{
public:
  /// @param url "sqlite:PATH", or "postgresql://..." as libpq takes it. A store that does not exist is made, one of an
  ///            earlier version brought up to date, unless it is only read.
  explicit DeviceDatabase(std::string const& url, DatabaseAccess const& access = {});
  DeviceDatabase(DeviceDatabase const&) = delete;
  DeviceDatabase& operator=(DeviceDatabase const&) = delete;
  ~DeviceDatabase();

  /// Several calls as one: either all of them are stored, or, without a Commit, none. Within another one it is a part
  /// of that.
  class QEN_STORE_EXPORT Transaction
  {
  public:
    explicit Transaction(DeviceDatabase& database);
    Transaction(Transaction const&) = delete;
    Transaction& operator=(Transaction const&) = delete;
    /// Without Commit: rolls back, the one around it too.
    ~Transaction();
    void Commit();

  private:
    DeviceDatabase& database_;
    bool isCommitted_ = false;
  };

  void PutDevice(Uuid const& device, DeviceDO const& object);
  /// Nothing when the device is not known; without details when only its data are.
  std::optional<DeviceDO> FindDevice(Uuid const& device);
  /// All that are known, ascending.
  std::vector<Uuid> ListDevices();
  /// With all that is stored of it. @return whether it was known
  bool DeleteDevice(Uuid const& device);

  void PutMeasurement(Uuid const& device, MeasurementDataDO const& object);
  std::optional<MeasurementDataDO> FindMeasurement(Uuid const& device, Uuid const& measurement);
  /// Newest first.
  std::vector<MeasurementSummary> ListMeasurements(Uuid const& device, MeasurementQuery const& query = {});
  /// @return whether there was one
  bool DeleteMeasurement(Uuid const& device, Uuid const& measurement);

  /// A closed trend that reaches into a time that was thinned already is thinned with the next run.
  void PutTrend(Uuid const& device, TrendDataDO const& object);
  std::optional<TrendDataDO> FindTrend(Uuid const& device, Uuid const& trend);
  /// Newest first, by the last entry.
  std::vector<TrendSummary> ListTrends(Uuid const& device, TrendQuery const& query = {});
  /// @return whether there was one
  bool DeleteTrend(Uuid const& device, Uuid const& trend);
  /// The configurations of all characteristic values that have trends, ascending.
  std::vector<Uuid> ListTrendValues(Uuid const& device);

  /// A NaN comes back as a NaN, if not the same; SQLite knows no negative zero.
  void PutCharacteristicValue(Uuid const& device, Uuid const& config, double value,
                              CharacteristicValueDataDO const& object);
  /// Oldest first.
  std::vector<StoredCharacteristicValue> ListCharacteristicValues(Uuid const& device, Uuid const& config,
                                                                  TimeRange const& time = {});

  /// Marks a time whose trend entries are kept in preference when the trends of a characteristic value are thinned.
  void PutBookmark(Uuid const& device, Uuid const& config, long long timeStamp);
  /// @return whether there was one
  bool DeleteBookmark(Uuid const& device, Uuid const& config, long long timeStamp);
  /// Oldest first.
  std::vector<long long> ListBookmarks(Uuid const& device, Uuid const& config, TimeRange const& time = {});

  /// The configurations of all that characteristic values or bookmarks are stored of, ascending.
  std::vector<Uuid> ListStoredValues(Uuid const& device);

  DeviceStatistics ReadStatistics(Uuid const& device);
  /// What is wrong with the tables, one line each: what the engine's own check finds, which PostgreSQL has none of for
  /// clients, and rows whose device is not there. Reads all there is.
  std::vector<std::string> CheckIntegrity();
  /// Gives room that is left over back to the file system: SQLite's file gets smaller.
  void ReleaseSpace();

private:
  friend class RetentionLedger;
  friend class ValueThinning;

  template <class Write>
  void write(Write const& write);
  void addDevice(Uuid const& device);
  /// Makes the device known, too.
  void putRow(Uuid const& device, SqlText const& statement, std::span<SqlParameter const> parameters);
  /// The row alone: for those who hold the ledger of its value.
  void putTrendRow(Uuid const& device, TrendDataDO const& object);
  bool deleteRow(SqlText const& statement, std::span<SqlParameter const> parameters);
  /// The row alone, if it is still a closed trend of that value.
  bool deleteThinnedRow(Uuid const& device, Uuid const& trend, Uuid const& value);
  std::vector<Uuid> listIdentifiers(SqlText const& statement, std::span<SqlParameter const> parameters);

  std::unique_ptr<SqlConnection> connection_;
  unsigned int openTransactions_ = 0;
  bool isDoomed_ = false;
};

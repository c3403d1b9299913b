#include "store/DeviceDatabase.h"

#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "store/DatabaseException.h"
#include "store/DatabaseUrl.h"
#include "store/RetentionLedger.h"
#include "store/SqlConnection.h"
#include "store/StoreSchema.h"
#include "utilities/exception/ExceptionFactory.h"

namespace
{
SqlText const kAddDevice{"add device",
                         "INSERT INTO device (device_uuid, details) VALUES ($1, $2) ON CONFLICT DO NOTHING"};
SqlText const kPutDevice{"put device", "INSERT INTO device (device_uuid, details) VALUES ($1, $2) "
                                       "ON CONFLICT (device_uuid) DO UPDATE SET details = excluded.details"};
SqlText const kFindDevice{"find device", "SELECT details FROM device WHERE device_uuid = $1"};
SqlText const kListDevices{"list devices", "SELECT device_uuid FROM device ORDER BY device_uuid"};

SqlText const kPutMeasurement{
    "put measurement",
    "INSERT INTO measurement (device_uuid, measurement_uuid, measurement_id, measurement_flag, config_uuid, config_id, "
    "config_flag, job_uuid, job_id, job_flag, time_stamp, saved_by_alarm, details, data) "
    "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14) "
    "ON CONFLICT (device_uuid, measurement_uuid) DO UPDATE SET measurement_id = excluded.measurement_id, "
    "measurement_flag = excluded.measurement_flag, config_uuid = excluded.config_uuid, config_id = excluded.config_id, "
    "config_flag = excluded.config_flag, job_uuid = excluded.job_uuid, job_id = excluded.job_id, "
    "job_flag = excluded.job_flag, time_stamp = excluded.time_stamp, saved_by_alarm = excluded.saved_by_alarm, "
    "details = excluded.details, data = excluded.data"};
SqlText const kFindMeasurement{
    "find measurement",
    "SELECT measurement_uuid, measurement_id, measurement_flag, config_uuid, config_id, config_flag, "
    "job_uuid, job_id, job_flag, time_stamp, saved_by_alarm, details, data "
    "FROM measurement WHERE device_uuid = $1 AND measurement_uuid = $2"};
SqlText const kDeleteMeasurement{"delete measurement",
                                 "DELETE FROM measurement WHERE device_uuid = $1 AND measurement_uuid = $2"};

SqlText const kPutTrend{
    "put trend",
    "INSERT INTO trend (device_uuid, trend_uuid, trend_id, trend_flag, value_uuid, value_id, value_flag, base_uuid, "
    "base_id, base_flag, closed, first_time, last_time, entry_count, details, data) "
    "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16) "
    "ON CONFLICT (device_uuid, trend_uuid) DO UPDATE SET trend_id = excluded.trend_id, trend_flag = "
    "excluded.trend_flag, "
    "value_uuid = excluded.value_uuid, value_id = excluded.value_id, value_flag = excluded.value_flag, "
    "base_uuid = excluded.base_uuid, base_id = excluded.base_id, base_flag = excluded.base_flag, "
    "closed = excluded.closed, first_time = excluded.first_time, last_time = excluded.last_time, "
    "entry_count = excluded.entry_count, details = excluded.details, data = excluded.data"};
SqlText const kFindTrend{
    "find trend", "SELECT trend_uuid, trend_id, trend_flag, value_uuid, value_id, value_flag, base_uuid, base_id, "
                  "base_flag, closed, first_time, last_time, entry_count, details, data "
                  "FROM trend WHERE device_uuid = $1 AND trend_uuid = $2"};
SqlText const kDeleteTrend{"delete trend", "DELETE FROM trend WHERE device_uuid = $1 AND trend_uuid = $2"};
/// Nothing where another process has replaced it meanwhile.
SqlText const kDeleteThinned{"delete thinned trend",
                             "DELETE FROM trend WHERE device_uuid = $1 AND trend_uuid = $2 AND value_uuid = $3 AND "
                             "closed <> 0"};
SqlText const kListTrendValues{"list trend values",
                               "SELECT DISTINCT value_uuid FROM trend WHERE device_uuid = $1 ORDER BY value_uuid"};

SqlText const kPutValue{"put characteristic value",
                        "INSERT INTO characteristic_value (device_uuid, value_uuid, time_stamp, value) "
                        "VALUES ($1, $2, $3, $4) "
                        "ON CONFLICT (device_uuid, value_uuid, time_stamp) DO UPDATE SET value = excluded.value"};
SqlText const kListValues{"list characteristic values",
                          "SELECT time_stamp, value FROM characteristic_value WHERE device_uuid = $1 AND "
                          "value_uuid = $2 AND time_stamp BETWEEN $3 AND $4 ORDER BY time_stamp"};

SqlText const kPutBookmark{"put bookmark", "INSERT INTO bookmark (device_uuid, value_uuid, time_stamp) "
                                           "VALUES ($1, $2, $3) ON CONFLICT DO NOTHING"};
SqlText const kDeleteBookmark{"delete bookmark",
                              "DELETE FROM bookmark WHERE device_uuid = $1 AND value_uuid = $2 AND time_stamp = $3"};
SqlText const kListBookmarks{"list bookmarks", "SELECT time_stamp FROM bookmark WHERE device_uuid = $1 AND "
                                               "value_uuid = $2 AND time_stamp BETWEEN $3 AND $4 ORDER BY time_stamp"};

SqlText const kListStoredValues{"list stored values",
                                "SELECT value_uuid FROM characteristic_value WHERE device_uuid = $1 UNION "
                                "SELECT value_uuid FROM bookmark WHERE device_uuid = $1 ORDER BY value_uuid"};

SqlText const kMeasurementStatistics{
    "read statistics", "SELECT COUNT(*), CAST(COALESCE(SUM(LENGTH(data) + LENGTH(details)), 0) AS BIGINT) "
                       "FROM measurement WHERE device_uuid = $1"};
SqlText const kTrendStatistics{"read statistics",
                               "SELECT closed, COUNT(*), CAST(SUM(LENGTH(data) + LENGTH(details)) AS BIGINT), "
                               "CAST(SUM(entry_count) AS BIGINT) FROM trend WHERE device_uuid = $1 GROUP BY closed"};
SqlText const kValueStatistics{"read statistics",
                               "SELECT (SELECT COUNT(*) FROM characteristic_value WHERE device_uuid = $1), "
                               "(SELECT COUNT(*) FROM bookmark WHERE device_uuid = $1)"};

/// Everything of a device, the device itself last. Its ledgers first: whoever thins one of its values meanwhile has
/// finished by then.
SqlText const kDeleteDevice[] = {{"delete device", "DELETE FROM retention WHERE device_uuid = $1"},
                                 {"delete device", "DELETE FROM measurement WHERE device_uuid = $1"},
                                 {"delete device", "DELETE FROM trend WHERE device_uuid = $1"},
                                 {"delete device", "DELETE FROM characteristic_value WHERE device_uuid = $1"},
                                 {"delete device", "DELETE FROM bookmark WHERE device_uuid = $1"},
                                 {"delete device", "DELETE FROM device WHERE device_uuid = $1"}};

/// Devices that are not there and have rows in other tables. All rows are looked at.
SqlText const kListStrayRows{"list stray rows",
                             "SELECT device_uuid FROM measurement UNION "
                             "SELECT device_uuid FROM trend UNION "
                             "SELECT device_uuid FROM characteristic_value UNION "
                             "SELECT device_uuid FROM bookmark UNION "
                             "SELECT device_uuid FROM retention EXCEPT "
                             "SELECT device_uuid FROM device ORDER BY device_uuid",
                             true};

/// A list of conditions that the caller chooses, with their parameters.
class Filter
{
public:
  explicit Filter(Uuid const& device) { Add("device_uuid = ", device); }

  void Add(char const* condition, SqlParameter const& parameter)
  {
    parameters_.push_back(parameter);
    text_ += (parameters_.size() == 1 ? " WHERE " : " AND ");
    text_ += condition;
    text_ += '$';
    text_ += std::to_string(parameters_.size());
  }
  void AddIf(char const* condition, auto const& parameter)
  {
    if (parameter)
      Add(condition, *parameter);
  }
  void AddLimit(unsigned int count)
  {
    parameters_.emplace_back(count);
    limit_ = " LIMIT $";
    limit_ += std::to_string(parameters_.size());
  }

  SqlText Around(char const* name, std::string const& select, std::string const& order) const
  {
    return {name, select + text_ + order + limit_};
  }
  SqlParameters Parameters() const { return parameters_; }

private:
  std::string text_;
  std::string limit_;
  std::vector<SqlParameter> parameters_;
};

/// The three columns of a reference.
UuidEntryDO readEntry(SqlRows const& row, int column)
{
  return {row.Count(column + 1), row.Identifier(column), row.Flag(column + 2)};
}

std::vector<unsigned char> readBytes(SqlRows const& row, int column)
{
  std::span<unsigned char const> const bytes = row.Bytes(column);
  return {bytes.begin(), bytes.end()};
}

MeasurementDataDO readMeasurement(SqlRows const& row)
{
  MeasurementDataDO object;
  object.setCurrentUuid(readEntry(row, 0));
  object.setMeasurementConfig(readEntry(row, 3));
  object.setJobData(readEntry(row, 6));
  object.setMeasurementTimeStamp(row.Integer(9));
  object.setSavedByAlarmStatusChange(row.Flag(10));
  object.setMeasurementDataDetails(row.Text(11));
  object.setBinaryData(readBytes(row, 12));
  return object;
}

TrendDataDO readTrend(SqlRows const& row)
{
  TrendDataDO object;
  object.setCurrentUuid(readEntry(row, 0));
  object.setCharacteristicValueConfig(readEntry(row, 3));
  object.setCharacteristicValueConfigBaseUuid(readEntry(row, 6));
  object.setClosed(row.Flag(9));
  object.setFirstTimeStamp(row.Integer(10));
  object.setLastTimeStamp(row.Integer(11));
  object.setNumSamples(row.Count(12));
  object.setTrendDataDetails(row.Text(13));
  object.setData(readBytes(row, 14));
  return object;
}

/// Tells databases that serve another purpose, or none yet, from stores of other versions.
void requireStore(SqlConnection& connection)
{
  if (!connection.HasTable(StoreSchema::kVersionTable))
    throw ExceptionFactory("DeviceDatabase.cpp", __LINE__)
        .createException<NoStoreException>("find store: there is none");
  StoreSchema::Require(connection);
}

bool isUnlimited(TimeRange const& range) { return range.from == TimeRange().from && range.to == TimeRange().to; }
} // namespace

DeviceDatabase::DeviceDatabase(std::string const& url, DatabaseAccess const& access)
  : connection_(DatabaseUrl::Connect(url, access))
{
  if (access.readOnly)
    requireStore(*connection_);
  else
    StoreSchema::Migrate(*connection_);
}

DeviceDatabase::~DeviceDatabase() = default;

DeviceDatabase::Transaction::Transaction(DeviceDatabase& database) : database_(database)
{
  if (database_.openTransactions_ == 0)
    database_.connection_->Begin();
  ++database_.openTransactions_;
}

DeviceDatabase::Transaction::~Transaction()
{
  if (isCommitted_)
    return;
  database_.isDoomed_ = true;
  if (--database_.openTransactions_ != 0)
    return;
  database_.connection_->Rollback();
  database_.isDoomed_ = false;
}

void DeviceDatabase::Transaction::Commit()
{
  if (database_.isDoomed_)
    throw ExceptionFactory("DeviceDatabase.cpp", __LINE__)
        .createException<DatabaseException>("commit: a part of the transaction has failed");
  if (database_.openTransactions_ == 1)
    database_.connection_->Commit();
  --database_.openTransactions_;
  isCommitted_ = true;
}

template <class Write>
void DeviceDatabase::write(Write const& write)
{
  Transaction transaction(*this);
  write();
  transaction.Commit();
}

void DeviceDatabase::addDevice(Uuid const& device)
{
  static std::string const noDetails;
  SqlParameter const parameters[] = {device, noDetails};
  connection_->Execute(kAddDevice, parameters);
}

void DeviceDatabase::putRow(Uuid const& device, SqlText const& statement, std::span<SqlParameter const> parameters)
{
  write(
      [&]
      {
        addDevice(device);
        connection_->Execute(statement, parameters);
      });
}

bool DeviceDatabase::deleteRow(SqlText const& statement, std::span<SqlParameter const> parameters)
{
  unsigned long long deleted = 0;
  write([&] { deleted = connection_->Execute(statement, parameters); });
  return deleted != 0;
}

std::vector<Uuid> DeviceDatabase::listIdentifiers(SqlText const& statement, std::span<SqlParameter const> parameters)
{
  std::vector<Uuid> identifiers;
  for (auto const rows = connection_->Query(statement, parameters); rows->Next();)
    identifiers.push_back(rows->Identifier(0));
  return identifiers;
}

void DeviceDatabase::PutDevice(Uuid const& device, DeviceDO const& object)
{
  std::string const& details = object.getDeviceDetails();
  SqlParameter const parameters[] = {device, details};
  write([&] { connection_->Execute(kPutDevice, parameters); });
}

std::optional<DeviceDO> DeviceDatabase::FindDevice(Uuid const& device)
{
  SqlParameter const parameters[] = {device};
  auto const rows = connection_->Query(kFindDevice, parameters);
  if (!rows->Next())
    return std::nullopt;
  DeviceDO object;
  object.setDeviceDetails(rows->Text(0));
  return object;
}

std::vector<Uuid> DeviceDatabase::ListDevices() { return listIdentifiers(kListDevices, {}); }

bool DeviceDatabase::DeleteDevice(Uuid const& device)
{
  SqlParameter const parameters[] = {device};
  unsigned long long deleted = 0;
  write(
      [&]
      {
        for (SqlText const& statement : kDeleteDevice)
          deleted = connection_->Execute(statement, parameters);
      });
  return deleted != 0;
}

void DeviceDatabase::PutMeasurement(Uuid const& device, MeasurementDataDO const& object)
{
  UuidEntryDO const& current = object.getCurrentUuid();
  UuidEntryDO const& config = object.getMeasurementConfig();
  UuidEntryDO const& job = object.getJobData();
  SqlParameter const parameters[] = {device,
                                     current.getUuid(),
                                     current.getId(),
                                     current.getFlag(),
                                     config.getUuid(),
                                     config.getId(),
                                     config.getFlag(),
                                     job.getUuid(),
                                     job.getId(),
                                     job.getFlag(),
                                     object.getMeasurementTimeStamp(),
                                     object.getSavedByAlarmStatusChange(),
                                     object.getMeasurementDataDetails(),
                                     std::span(object.getBinaryData())};
  putRow(device, kPutMeasurement, parameters);
}

std::optional<MeasurementDataDO> DeviceDatabase::FindMeasurement(Uuid const& device, Uuid const& measurement)
{
  SqlParameter const parameters[] = {device, measurement};
  auto const rows = connection_->Query(kFindMeasurement, parameters);
  if (!rows->Next())
    return std::nullopt;
  return readMeasurement(*rows);
}

std::vector<MeasurementSummary> DeviceDatabase::ListMeasurements(Uuid const& device, MeasurementQuery const& query)
{
  Filter filter(device);
  filter.AddIf("config_uuid = ", query.config);
  filter.AddIf("job_uuid = ", query.job);
  filter.Add("time_stamp >= ", query.time.from);
  filter.Add("time_stamp <= ", query.time.to);
  filter.AddLimit(query.limit);
  SqlText const statement = filter.Around("list measurements",
                                          "SELECT measurement_uuid, config_uuid, job_uuid, time_stamp, saved_by_alarm, "
                                          "LENGTH(data) + LENGTH(details) FROM measurement",
                                          " ORDER BY time_stamp DESC, measurement_uuid");
  std::vector<MeasurementSummary> found;
  for (auto const rows = connection_->Query(statement, filter.Parameters()); rows->Next();)
    found.push_back({rows->Identifier(0), rows->Identifier(1), rows->Identifier(2), rows->Integer(3), rows->Flag(4),
                     static_cast<unsigned long long>(rows->Integer(5))});
  return found;
}

bool DeviceDatabase::DeleteMeasurement(Uuid const& device, Uuid const& measurement)
{
  SqlParameter const parameters[] = {device, measurement};
  return deleteRow(kDeleteMeasurement, parameters);
}

void DeviceDatabase::PutTrend(Uuid const& device, TrendDataDO const& object)
{
  write(
      [&]
      {
        addDevice(device);
        // The ledger first: whoever thins this value meanwhile has finished by then, and does not miss the trend.
        if (object.getClosed() && object.getNumSamples() != 0)
          RetentionLedger(*this, device, object.getCharacteristicValueConfig().getUuid())
              .Rewind(object.getFirstTimeStamp());
        putTrendRow(device, object);
      });
}

void DeviceDatabase::putTrendRow(Uuid const& device, TrendDataDO const& object)
{
  UuidEntryDO const& current = object.getCurrentUuid();
  UuidEntryDO const& config = object.getCharacteristicValueConfig();
  UuidEntryDO const& base = object.getCharacteristicValueConfigBaseUuid();
  SqlParameter const parameters[] = {device,
                                     current.getUuid(),
                                     current.getId(),
                                     current.getFlag(),
                                     config.getUuid(),
                                     config.getId(),
                                     config.getFlag(),
                                     base.getUuid(),
                                     base.getId(),
                                     base.getFlag(),
                                     object.getClosed(),
                                     object.getFirstTimeStamp(),
                                     object.getLastTimeStamp(),
                                     object.getNumSamples(),
                                     object.getTrendDataDetails(),
                                     std::span(object.getData())};
  connection_->Execute(kPutTrend, parameters);
}

std::optional<TrendDataDO> DeviceDatabase::FindTrend(Uuid const& device, Uuid const& trend)
{
  SqlParameter const parameters[] = {device, trend};
  auto const rows = connection_->Query(kFindTrend, parameters);
  if (!rows->Next())
    return std::nullopt;
  return readTrend(*rows);
}

std::vector<TrendSummary> DeviceDatabase::ListTrends(Uuid const& device, TrendQuery const& query)
{
  Filter filter(device);
  filter.AddIf("value_uuid = ", query.value);
  filter.AddIf("closed = ", query.isClosed);
  if (!isUnlimited(query.time))
  {
    filter.Add("last_time >= ", query.time.from);
    filter.Add("first_time <= ", query.time.to);
    filter.Add("entry_count > ", 0LL);
  }
  filter.AddLimit(query.limit);
  SqlText const statement = filter.Around("list trends",
                                          "SELECT trend_uuid, value_uuid, closed, first_time, last_time, entry_count, "
                                          "LENGTH(data) + LENGTH(details) FROM trend",
                                          " ORDER BY last_time DESC, first_time DESC, trend_uuid");
  std::vector<TrendSummary> found;
  for (auto const rows = connection_->Query(statement, filter.Parameters()); rows->Next();)
    found.push_back({rows->Identifier(0), rows->Identifier(1), rows->Flag(2), rows->Integer(3), rows->Integer(4),
                     rows->Count(5), static_cast<unsigned long long>(rows->Integer(6))});
  return found;
}

bool DeviceDatabase::DeleteTrend(Uuid const& device, Uuid const& trend)
{
  SqlParameter const parameters[] = {device, trend};
  return deleteRow(kDeleteTrend, parameters);
}

bool DeviceDatabase::deleteThinnedRow(Uuid const& device, Uuid const& trend, Uuid const& value)
{
  SqlParameter const parameters[] = {device, trend, value};
  return connection_->Execute(kDeleteThinned, parameters) != 0;
}

std::vector<Uuid> DeviceDatabase::ListTrendValues(Uuid const& device)
{
  SqlParameter const parameters[] = {device};
  return listIdentifiers(kListTrendValues, parameters);
}

void DeviceDatabase::PutCharacteristicValue(Uuid const& device, Uuid const& config, double value,
                                            CharacteristicValueDataDO const& object)
{
  SqlParameter const parameters[] = {device, config, object.getMeasurementTimeStamp(), value};
  putRow(device, kPutValue, parameters);
}

std::vector<StoredCharacteristicValue> DeviceDatabase::ListCharacteristicValues(Uuid const& device, Uuid const& config,
                                                                                TimeRange const& time)
{
  SqlParameter const parameters[] = {device, config, time.from, time.to};
  std::vector<StoredCharacteristicValue> values;
  // SQLite knows no NaN and keeps NULL in its place.
  for (auto const rows = connection_->Query(kListValues, parameters); rows->Next();)
    values.push_back({rows->Integer(0), rows->IsNull(1) ? std::numeric_limits<double>::quiet_NaN() : rows->Real(1)});
  return values;
}

void DeviceDatabase::PutBookmark(Uuid const& device, Uuid const& config, long long timeStamp)
{
  SqlParameter const parameters[] = {device, config, timeStamp};
  putRow(device, kPutBookmark, parameters);
}

bool DeviceDatabase::DeleteBookmark(Uuid const& device, Uuid const& config, long long timeStamp)
{
  SqlParameter const parameters[] = {device, config, timeStamp};
  return deleteRow(kDeleteBookmark, parameters);
}

std::vector<long long> DeviceDatabase::ListBookmarks(Uuid const& device, Uuid const& config, TimeRange const& time)
{
  SqlParameter const parameters[] = {device, config, time.from, time.to};
  std::vector<long long> bookmarks;
  for (auto const rows = connection_->Query(kListBookmarks, parameters); rows->Next();)
    bookmarks.push_back(rows->Integer(0));
  return bookmarks;
}

std::vector<Uuid> DeviceDatabase::ListStoredValues(Uuid const& device)
{
  SqlParameter const parameters[] = {device};
  return listIdentifiers(kListStoredValues, parameters);
}

DeviceStatistics DeviceDatabase::ReadStatistics(Uuid const& device)
{
  SqlParameter const parameters[] = {device};
  DeviceStatistics statistics;
  auto const count = [](SqlRows const& row, int column)
  { return static_cast<unsigned long long>(row.Integer(column)); };
  for (auto const rows = connection_->Query(kMeasurementStatistics, parameters); rows->Next();)
    statistics.measurements = {count(*rows, 0), count(*rows, 1)};
  for (auto const rows = connection_->Query(kTrendStatistics, parameters); rows->Next();)
  {
    (rows->Flag(0) ? statistics.closedTrends : statistics.openTrends) = {count(*rows, 1), count(*rows, 2)};
    statistics.trendEntries += count(*rows, 3);
  }
  for (auto const rows = connection_->Query(kValueStatistics, parameters); rows->Next();)
  {
    statistics.characteristicValues = count(*rows, 0);
    statistics.bookmarks = count(*rows, 1);
  }
  return statistics;
}

std::vector<std::string> DeviceDatabase::CheckIntegrity()
{
  std::vector<std::string> findings = connection_->CheckIntegrity();
  for (Uuid const& device : listIdentifiers(kListStrayRows, {}))
    findings.push_back("rows of device " + device.ToString() + ", which is not there");
  return findings;
}
void DeviceDatabase::ReleaseSpace() { connection_->ReleaseSpace(); }

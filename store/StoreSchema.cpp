#include "store/StoreSchema.h"

#include "store/DatabaseException.h"
#include "store/SqlConnection.h"
#include "store/StoreTransaction.h"
#include "utilities/exception/ExceptionFactory.h"

#include <string_view>
#include <utility>

namespace
{
constexpr char const kSourceUnit[] = "StoreSchema.cpp";
constexpr char const kVersionTable[] = "qen_store";

// The device leads every key: a distributed engine keeps all rows of a device together. References are UUIDs with the
// number and the flag that database objects carry beside them. Details documents are bytes, because they have to come
// back as they were, whatever their units are written in.
constexpr char const kFirstVersion[] = R"(
CREATE TABLE device (
  device_uuid {uuid} NOT NULL,
  details {bytes} NOT NULL,
  PRIMARY KEY (device_uuid));

CREATE TABLE measurement (
  device_uuid {uuid} NOT NULL,
  measurement_uuid {uuid} NOT NULL, measurement_id {integer} NOT NULL, measurement_flag {integer} NOT NULL,
  config_uuid {uuid} NOT NULL, config_id {integer} NOT NULL, config_flag {integer} NOT NULL,
  job_uuid {uuid} NOT NULL, job_id {integer} NOT NULL, job_flag {integer} NOT NULL,
  time_stamp {integer} NOT NULL,
  saved_by_alarm {integer} NOT NULL,
  details {bytes} NOT NULL,
  data {bytes} NOT NULL,
  PRIMARY KEY (device_uuid, measurement_uuid));
ALTER TABLE measurement {keep};
CREATE INDEX measurement_by_time ON measurement (device_uuid, time_stamp);
CREATE INDEX measurement_by_config ON measurement (device_uuid, config_uuid, time_stamp);
CREATE INDEX measurement_by_job ON measurement (device_uuid, job_uuid, time_stamp);

CREATE TABLE trend (
  device_uuid {uuid} NOT NULL,
  trend_uuid {uuid} NOT NULL, trend_id {integer} NOT NULL, trend_flag {integer} NOT NULL,
  value_uuid {uuid} NOT NULL, value_id {integer} NOT NULL, value_flag {integer} NOT NULL,
  base_uuid {uuid} NOT NULL, base_id {integer} NOT NULL, base_flag {integer} NOT NULL,
  closed {integer} NOT NULL,
  first_time {integer} NOT NULL,
  last_time {integer} NOT NULL,
  entry_count {integer} NOT NULL,
  details {bytes} NOT NULL,
  data {bytes} NOT NULL,
  PRIMARY KEY (device_uuid, trend_uuid));
ALTER TABLE trend {keep};
CREATE INDEX trend_by_value ON trend (device_uuid, value_uuid, last_time);

CREATE TABLE characteristic_value (
  device_uuid {uuid} NOT NULL,
  value_uuid {uuid} NOT NULL,
  time_stamp {integer} NOT NULL,
  value {real},
  PRIMARY KEY (device_uuid, value_uuid, time_stamp));

CREATE TABLE bookmark (
  device_uuid {uuid} NOT NULL,
  value_uuid {uuid} NOT NULL,
  time_stamp {integer} NOT NULL,
  PRIMARY KEY (device_uuid, value_uuid, time_stamp));

CREATE TABLE retention (
  device_uuid {uuid} NOT NULL,
  value_uuid {uuid} NOT NULL,
  anchor {integer},
  compacted_until {integer} NOT NULL,
  four_weeks_until {integer} NOT NULL, four_weeks_count {integer} NOT NULL,
  week_until {integer} NOT NULL, week_count {integer} NOT NULL,
  day_until {integer} NOT NULL, day_count {integer} NOT NULL,
  hour_until {integer} NOT NULL, hour_count {integer} NOT NULL,
  PRIMARY KEY (device_uuid, value_uuid));
)";

constexpr char const* kMigrations[] = {kFirstVersion};

void replaceAll(std::string& text, std::string_view from, std::string_view to)
{
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

std::string inDialect(std::string script, SqlDialect const& dialect)
{
  if (dialect.keepBytesAsTheyAre[0] == '\0')
  {
    replaceAll(script, "ALTER TABLE measurement {keep};", "");
    replaceAll(script, "ALTER TABLE trend {keep};", "");
  }
  for (auto const& [placeholder, name] : {std::pair{"{uuid}", dialect.uuid},
                                          {"{integer}", dialect.integer},
                                          {"{real}", dialect.real},
                                          {"{bytes}", dialect.bytes},
                                          {"{keep}", dialect.keepBytesAsTheyAre}})
    replaceAll(script, placeholder, name);
  return script;
}

/// 0 for a database without tables.
unsigned int readVersion(SqlConnection& connection)
{
  static SqlText const statement{"read schema version", "SELECT version FROM qen_store"};
  if (!connection.HasTable(kVersionTable))
    return 0;
  auto const rows = connection.Query(statement, {});
  if (!rows->Next())
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<DatabaseException>("%s: there is none", statement.name);
  return rows->Count(0);
}

[[noreturn]] void refuse(unsigned int found, std::size_t known)
{
  throw ExceptionFactory(kSourceUnit, __LINE__)
      .createException<DatabaseException>("read schema version: the store has version %u, this program knows %lu",
                                          found, static_cast<unsigned long>(known));
}

void writeVersion(SqlConnection& connection, std::size_t version)
{
  SqlParameter const parameters[] = {static_cast<long long>(version)};
  static SqlText const statement{"write schema version", "UPDATE qen_store SET version = $1"};
  connection.Execute(statement, parameters);
}

void createVersionTable(SqlConnection& connection)
{
  connection.RequireRoomForTables();
  connection.RunScript("create store", inDialect("CREATE TABLE qen_store (version {integer} NOT NULL);"
                                                 "INSERT INTO qen_store VALUES (0)",
                                                 connection.Dialect()));
}
} // namespace

unsigned int StoreSchema::NewestVersion() { return std::size(kMigrations); }

void StoreSchema::Require(SqlConnection& connection)
{
  unsigned int const found = readVersion(connection);
  if (found != NewestVersion())
    refuse(found, NewestVersion());
}

void StoreSchema::Migrate(SqlConnection& connection) { Migrate(connection, kMigrations); }

void StoreSchema::Migrate(SqlConnection& connection, std::span<char const* const> migrations)
{
  // Nearly always there is nothing to do, and no lock to take.
  if (readVersion(connection) == migrations.size())
    return;
  StoreTransaction transaction(connection);
  connection.LockSchema();
  unsigned int const found = readVersion(connection);
  if (found > migrations.size())
    refuse(found, migrations.size());
  if (found == 0)
    createVersionTable(connection);
  for (char const* const migration : migrations.subspan(found))
    connection.RunScript("migrate store", inDialect(migration, connection.Dialect()));
  writeVersion(connection, migrations.size());
  transaction.Commit();
}

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

// The device leads every key: a distributed engine keeps all rows of a device together. References are UUIDs with the
// number and the flag that database objects carry beside them. Details documents are bytes, because they have to come
// back as they were, whatever their units are written in. "{kind name}" stands for a column in the engine's words, one
// that never holds another kind of value: nobody can put in what would make a row unreadable.
constexpr char const kFirstVersion[] = R"(
CREATE TABLE device (
  {uuid device_uuid},
  {bytes details},
  PRIMARY KEY (device_uuid)){strict table};

CREATE TABLE measurement (
  {uuid device_uuid},
  {uuid measurement_uuid}, {count measurement_id}, {flag measurement_flag},
  {uuid config_uuid}, {count config_id}, {flag config_flag},
  {uuid job_uuid}, {count job_id}, {flag job_flag},
  {integer time_stamp},
  {flag saved_by_alarm},
  {bytes details},
  {bytes data},
  PRIMARY KEY (device_uuid, measurement_uuid)){strict table};
{keep measurement}
CREATE INDEX measurement_by_time ON measurement (device_uuid, time_stamp);
CREATE INDEX measurement_by_config ON measurement (device_uuid, config_uuid, time_stamp);
CREATE INDEX measurement_by_job ON measurement (device_uuid, job_uuid, time_stamp);

CREATE TABLE trend (
  {uuid device_uuid},
  {uuid trend_uuid}, {count trend_id}, {flag trend_flag},
  {uuid value_uuid}, {count value_id}, {flag value_flag},
  {uuid base_uuid}, {count base_id}, {flag base_flag},
  {flag closed},
  {integer first_time},
  {integer last_time},
  {count entry_count},
  {bytes details},
  {bytes data},
  PRIMARY KEY (device_uuid, trend_uuid)){strict table};
{keep trend}
CREATE INDEX trend_by_value ON trend (device_uuid, value_uuid, last_time);

CREATE TABLE characteristic_value (
  {uuid device_uuid},
  {uuid value_uuid},
  {integer time_stamp},
  {real or none value},
  PRIMARY KEY (device_uuid, value_uuid, time_stamp)){strict table};

CREATE TABLE bookmark (
  {uuid device_uuid},
  {uuid value_uuid},
  {integer time_stamp},
  PRIMARY KEY (device_uuid, value_uuid, time_stamp)){strict table};

CREATE TABLE retention (
  {uuid device_uuid},
  {uuid value_uuid},
  {integer or none anchor},
  {integer compacted_until},
  {integer four_weeks_until}, {count four_weeks_count},
  {integer week_until}, {count week_count},
  {integer day_until}, {count day_count},
  {integer hour_until}, {count hour_count},
  PRIMARY KEY (device_uuid, value_uuid)){strict table};
)";

constexpr char const* kMigrations[] = {kFirstVersion};

void replaceAll(std::string& text, std::string_view from, std::string_view to)
{
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

/// What the engine says in place of "{kind name}"; % is the name.
std::string wordsFor(std::string_view kind, SqlDialect const& dialect)
{
  std::string const number = std::string("% ") + dialect.integer;
  if (kind == "uuid")
    return std::string("% ") + dialect.uuid + " NOT NULL" + dialect.uuidCheck;
  if (kind == "bytes")
    return std::string("% ") + dialect.bytes + " NOT NULL";
  if (kind == "real or none")
    return std::string("% ") + dialect.real;
  if (kind == "integer or none")
    return number;
  if (kind == "integer")
    return number + " NOT NULL";
  if (kind == "count")
    return number + " NOT NULL CHECK (% BETWEEN 0 AND 4294967295)";
  if (kind == "flag")
    return number + " NOT NULL CHECK (% IN (0, 1))";
  return kind == "keep" ? dialect.keepBytesAsTheyAre : dialect.strictTable;
}

std::string inDialect(std::string script, SqlDialect const& dialect)
{
  for (std::size_t at = script.find('{'); at != std::string::npos; at = script.find('{', at))
  {
    std::size_t const size = script.find('}', at) + 1 - at;
    std::string const placeholder = script.substr(at + 1, size - 2);
    std::size_t const space = placeholder.rfind(' ');
    std::string words = wordsFor(std::string_view(placeholder).substr(0, space), dialect);
    replaceAll(words, "%", std::string_view(placeholder).substr(space + 1));
    script.replace(at, size, words);
  }
  return script;
}

/// 0 for a database without tables.
unsigned int readVersion(SqlConnection& connection)
{
  static SqlText const statement{"read schema version", "SELECT version FROM qen_store"};
  if (!connection.HasTable(StoreSchema::kVersionTable))
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
  connection.RunScript("create store", inDialect("CREATE TABLE qen_store ({integer version}){strict table};"
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

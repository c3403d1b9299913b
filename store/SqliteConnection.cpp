#include "store/SqliteConnection.h"

#include "store/DatabaseException.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <limits>
#include <sqlite3.h>
#include <string>
#include <system_error>
#include <utility>

namespace
{
constexpr char const kSourceUnit[] = "SqliteConnection.cpp";
constexpr SqlDialect kDialect{"BLOB", "INTEGER", "REAL", "BLOB", " CHECK (LENGTH(%) = 16)", " STRICT", ""};

/// What the operating system said about the store's file or its log last; 0 for nothing.
int lastSystemError(sqlite3* database)
{
  int error = 0;
  sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &error);
  sqlite3_file* log = nullptr;
  sqlite3_file_control(database, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
  // One that was never opened has no methods, one in memory not all.
  if (error == 0 && log != nullptr && log->pMethods != nullptr && log->pMethods->xFileControl != nullptr)
    log->pMethods->xFileControl(log, SQLITE_FCNTL_LAST_ERRNO, &error);
  return error;
}

std::string reasonOf(sqlite3* database)
{
  if (database == nullptr)
    return "out of memory";
  std::string reason = sqlite3_errmsg(database);
  // The engine also calls a file damaged that the disk does not let it read.
  int const error = (sqlite3_errcode(database) & 0xff) == SQLITE_CORRUPT ? lastSystemError(database) : 0;
  return error == 0 ? reason : reason + ": " + std::generic_category().message(error);
}

[[noreturn]] void fail(sqlite3* database, char const* name, int line)
{
  throw ExceptionFactory(kSourceUnit, line)
      .createException<DatabaseException>("%s: %s", name, reasonOf(database).c_str());
}

/// Ends the use of a statement, whatever it came to: its error has been reported.
struct Reset
{
  void operator()(sqlite3_stmt* statement) const
  {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};
using RunningStatement = std::unique_ptr<sqlite3_stmt, Reset>;

/// @return whether there is a row
bool step(sqlite3_stmt* statement, char const* name)
{
  int const code = sqlite3_step(statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE)
    fail(sqlite3_db_handle(statement), name, __LINE__);
  return code == SQLITE_ROW;
}

class SqliteRows : public SqlRows
{
public:
  SqliteRows(sqlite3_stmt* statement, char const* name) : statement_(statement), name_(name) {}

  bool Next() override { return step(statement_.get(), name_); }
  bool IsNull(int column) const override { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }

  long long Integer(int column) const override
  {
    requireType(column, SQLITE_INTEGER);
    return sqlite3_column_int64(statement_.get(), column);
  }

  double Real(int column) const override
  {
    requireType(column, SQLITE_FLOAT);
    return sqlite3_column_double(statement_.get(), column);
  }

  std::span<unsigned char const> Bytes(int column) const override
  {
    requireType(column, SQLITE_BLOB);
    auto const* const bytes = static_cast<unsigned char const*>(sqlite3_column_blob(statement_.get(), column));
    auto const size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    if (bytes == nullptr && sqlite3_errcode(sqlite3_db_handle(statement_.get())) == SQLITE_NOMEM)
      fail(nullptr, name_, __LINE__);
    return {bytes, bytes == nullptr ? 0 : size};
  }

protected:
  char const* statementName() const override { return name_; }

private:
  void requireType(int column, int type) const
  {
    if (sqlite3_column_type(statement_.get(), column) != type)
      refuse(column);
  }

  RunningStatement statement_;
  char const* name_;
};

int bind(sqlite3_stmt* statement, int index, SqlParameter const& parameter)
{
  // An empty range may point nowhere, which SQLite would take for NULL.
  static unsigned char const nothing = 0;
  switch (parameter.GetKind())
  {
  case SqlParameter::Kind::integer:
    return sqlite3_bind_int64(statement, index, parameter.Integer());
  case SqlParameter::Kind::real:
    return sqlite3_bind_double(statement, index, parameter.Real());
  case SqlParameter::Kind::uuid:
  case SqlParameter::Kind::bytes:
    break;
  }
  std::span<unsigned char const> const bytes = parameter.Bytes();
  return sqlite3_bind_blob64(statement, index, bytes.empty() ? &nothing : bytes.data(), bytes.size(), SQLITE_STATIC);
}
} // namespace

void SqliteConnection::Closer::operator()(sqlite3* database) const { sqlite3_close(database); }
void SqliteConnection::Closer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

SqliteConnection::SqliteConnection(std::string const& path, DatabaseAccess const& access)
{
  sqlite3* database = nullptr;
  int const flags = access.readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  // Even a database that did not open has to be closed, and knows why.
  int const code = sqlite3_open_v2(path.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  std::string const name = "open " + path;
  require(code, name.c_str());
  configure(access, name.c_str());
}

// Statements have to go before the database they belong to.
SqliteConnection::~SqliteConnection() { statements_.clear(); }

void SqliteConnection::configure(DatabaseAccess const& access, char const* name)
{
  long long const patience = std::clamp<long long>(access.patience.count(), 0, std::numeric_limits<int>::max());
  require(sqlite3_busy_timeout(database_.get(), static_cast<int>(patience)), name);
  sqlite3_extended_result_codes(database_.get(), 1);
  // A hostile file must not run code of its own: what a schema may call is limited to what is harmless.
  RunScript(name, "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
  if (access.readOnly)
    return;
  // This one writes, and would wait for other writers whenever a store is opened.
  if (isEmpty(name))
    RunScript(name, "PRAGMA auto_vacuum = INCREMENTAL");
  RunScript(name, "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
}

bool SqliteConnection::isEmpty(char const* name)
{
  SqlText const statement{name, "SELECT page_count FROM pragma_page_count"};
  auto const rows = Query(statement, {});
  return rows->Next() && rows->Integer(0) == 0;
}

std::unique_ptr<SqlRows> SqliteConnection::Query(SqlText const& statement, SqlParameters parameters)
{
  return std::make_unique<SqliteRows>(start(statement, parameters), statement.name);
}

unsigned long long SqliteConnection::Execute(SqlText const& statement, SqlParameters parameters)
{
  RunningStatement const running(start(statement, parameters));
  step(running.get(), statement.name);
  return static_cast<unsigned long long>(sqlite3_changes64(database_.get()));
}

void SqliteConnection::RunScript(char const* name, std::string const& script)
{
  require(sqlite3_exec(database_.get(), script.c_str(), nullptr, nullptr, nullptr), name);
}

void SqliteConnection::Begin() { RunScript("begin", "BEGIN IMMEDIATE"); }
void SqliteConnection::Commit() { RunScript("commit", "COMMIT"); }

void SqliteConnection::Rollback() noexcept
{
  // After some errors SQLite has rolled back by itself.
  if (sqlite3_get_autocommit(database_.get()) == 0)
    sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

// A transaction that writes is alone with the file.
void SqliteConnection::LockSchema() {}

bool SqliteConnection::HasTable(char const* name)
{
  std::string const wanted = name;
  SqlParameter const parameters[] = {wanted};
  static SqlText const statement{"find table",
                                 "SELECT 1 FROM sqlite_schema WHERE type = 'table' AND name = CAST($1 AS TEXT)"};
  return Query(statement, parameters)->Next();
}

void SqliteConnection::RequireRoomForTables()
{
  static SqlText const statement{"create store", "SELECT 1 FROM sqlite_schema LIMIT 1"};
  if (Query(statement, {})->Next())
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<DatabaseException>("%s: the file holds tables of another program", statement.name);
}

SqlDialect const& SqliteConnection::Dialect() const { return kDialect; }

void SqliteConnection::ReleaseSpace()
{
  RunScript("release space", "PRAGMA incremental_vacuum; PRAGMA wal_checkpoint(TRUNCATE)");
}

std::vector<std::string> SqliteConnection::CheckIntegrity()
{
  static SqlText const statement{"check integrity", "SELECT CAST(integrity_check AS BLOB) FROM pragma_integrity_check"};
  std::vector<std::string> findings;
  for (auto const rows = Query(statement, {}); rows->Next();)
    findings.push_back(rows->Text(0));
  if (findings.size() == 1 && findings.front() == "ok")
    findings.clear();
  // Whoever made such a table may have put anything into it.
  static SqlText const lax{"check integrity", "SELECT CAST(name AS BLOB) FROM pragma_table_list WHERE schema = 'main' "
                                              "AND type = 'table' AND strict = 0 AND name NOT LIKE 'sqlite%' "
                                              "ORDER BY name"};
  for (auto const rows = Query(lax, {}); rows->Next();)
    findings.push_back("table " + rows->Text(0) + " takes values of any kind");
  return findings;
}

sqlite3_stmt* SqliteConnection::prepare(SqlText const& statement)
{
  auto const known = statements_.find(statement.text);
  if (known != statements_.end())
    return known->second.get();
  // $2 is a name to SQLite, ?2 is the second parameter.
  std::string text = statement.text;
  std::ranges::replace(text, '$', '?');
  sqlite3_stmt* prepared = nullptr;
  require(sqlite3_prepare_v3(database_.get(), text.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr),
          statement.name);
  Statement owned(prepared);
  return statements_.emplace(statement.text, std::move(owned)).first->second.get();
}

sqlite3_stmt* SqliteConnection::start(SqlText const& statement, SqlParameters parameters)
{
  RunningStatement prepared(prepare(statement));
  int index = 1;
  for (SqlParameter const& parameter : parameters)
    require(bind(prepared.get(), index++, parameter), statement.name);
  return prepared.release();
}

void SqliteConnection::require(int code, char const* name) const
{
  if (code != SQLITE_OK)
    fail(database_.get(), name, __LINE__);
}

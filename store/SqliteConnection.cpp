#include "store/SqliteConnection.h"

#include "store/DatabaseException.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <limits>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace
{
constexpr char const kSourceUnit[] = "SqliteConnection.cpp";
constexpr SqlDialect kDialect{"BLOB", "INTEGER", "REAL", "BLOB", " CHECK (LENGTH(%) = 16)", " STRICT", ""};

/// Without the details that an extended code adds.
int primary(int code) { return code & 0xff; }

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

/// What the operating system said; 0 where the engine asked it nothing.
int systemErrorOf(sqlite3* database)
{
  int const code = sqlite3_extended_errcode(database);
  // The engine also calls a file damaged that the disk does not let it read.
  if (primary(code) == SQLITE_CORRUPT)
    return lastSystemError(database);
  bool const hasSystemError = (primary(code) == SQLITE_IOERR || primary(code) == SQLITE_CANTOPEN) &&
                              code != SQLITE_IOERR_NOMEM && code != SQLITE_IOERR_SHORT_READ;
  return hasSystemError ? sqlite3_system_errno(database) : 0;
}

std::string reasonOf(sqlite3* database, int systemError)
{
  std::string reason = sqlite3_errmsg(database);
  // In English whatever the locale is, as the engine's part is.
  char const* const description = systemError == 0 ? nullptr : strerrordesc_np(systemError);
  return description == nullptr ? reason : reason + ": " + description;
}

/// @param systemError  is told, too: the engine calls a full disk an I/O error like any other
[[noreturn]] void fail(sqlite3* database, int systemError, char const* name, int line)
{
  throw ExceptionFactory(kSourceUnit, line)
      .createException<DatabaseException>("%s: %s", name, reasonOf(database, systemError).c_str());
}

[[noreturn]] void fail(sqlite3* database, char const* name, int line)
{
  if (database == nullptr)
    throw ExceptionFactory(kSourceUnit, line).createException<DatabaseException>("%s: out of memory", name);
  fail(database, systemErrorOf(database), name, line);
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

/// What keeps from writing there; 0 for nothing.
int obstacleTo(std::filesystem::path const& path) { return access(path.c_str(), W_OK) == 0 ? 0 : errno; }
bool isWritable(std::filesystem::path const& path) { return obstacleTo(path) == 0; }

bool hasContent(std::string const& path)
{
  std::error_code error;
  return std::filesystem::file_size(path, error) != 0 && !error;
}

std::filesystem::path folderOf(std::string const& path)
{
  std::filesystem::path folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

/// A file whose folder takes no index of the log, and that has no log: as it is on a medium that is only read.
bool isFrozen(std::string const& path)
{
  return !isWritable(path) && !isWritable(folderOf(path)) && !hasContent(path + "-wal") &&
         !hasContent(path + "-journal");
}

/// Whether the engine may have wanted to write beside the file, or to it, and was not let.
bool isRefusal(int code, std::string const& path)
{
  return primary(code) == SQLITE_READONLY ||
         (primary(code) == SQLITE_CANTOPEN && !(isWritable(path) && isWritable(folderOf(path))));
}

/// The URI by which SQLite takes no locks and makes no files.
std::string frozenUri(std::string const& path)
{
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string uri = "file:";
  for (char const character : path)
  {
    auto const byte = static_cast<unsigned char>(character);
    uri += {'%', kDigits[byte >> 4], kDigits[byte & 0xf]};
  }
  return uri + "?immutable=1";
}
} // namespace

/// A file that is read without locks. What was read counts as long as nobody has written to it.
class SqliteConnection::FrozenFile
{
public:
  explicit FrozenFile(std::string const& path) : path_(path), state_(look()) {}

  void RequireUnchanged(char const* name) const
  {
    if (look() != state_)
      throw ExceptionFactory(kSourceUnit, __LINE__)
          .createException<DatabaseException>("%s: the file was changed while it was read without locks", name);
  }

private:
  using State = std::array<long long, 5>;

  State look() const
  {
    struct stat file
    {
    };
    if (stat(path_.c_str(), &file) != 0)
      return {};
    return {static_cast<long long>(file.st_dev), static_cast<long long>(file.st_ino),
            static_cast<long long>(file.st_size), static_cast<long long>(file.st_mtim.tv_sec),
            static_cast<long long>(file.st_mtim.tv_nsec)};
  }

  std::string path_;
  State state_;
};

namespace
{
class SqliteRows : public SqlRows
{
public:
  SqliteRows(sqlite3_stmt* statement, char const* name, SqliteConnection::FrozenFile const* frozen)
    : statement_(statement), name_(name), frozen_(frozen)
  {
  }

  bool Next() override
  {
    bool const isRow = step(statement_.get(), name_);
    requireUnchanged();
    return isRow;
  }
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
    // Long values are not read before they are asked for.
    requireUnchanged();
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

  void requireUnchanged() const
  {
    if (frozen_ != nullptr)
      frozen_->RequireUnchanged(name_);
  }

  RunningStatement statement_;
  char const* name_;
  SqliteConnection::FrozenFile const* frozen_;
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

SqliteConnection::SqliteConnection(std::string const& path, DatabaseAccess const& access) : openName_("open " + path)
{
  open(path, access.readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, access);
  if (access.readOnly)
    makeReadable(path, access);
  else
    prepareToWrite(access.patience);
}

// Statements have to go before the database they belong to.
SqliteConnection::~SqliteConnection() { statements_.clear(); }

void SqliteConnection::open(std::string const& path, int flags, DatabaseAccess const& access)
{
  sqlite3* database = nullptr;
  // Even a database that did not open has to be closed, and knows why.
  int const code = sqlite3_open_v2(path.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  // Where it cannot make a file the engine goes on to look for one to read, and tells why there is none.
  bool const cannotMake = primary(code) == SQLITE_CANTOPEN && (flags & SQLITE_OPEN_CREATE) != 0;
  if (int const obstacle = cannotMake ? obstacleTo(folderOf(path)) : 0; obstacle != 0)
    fail(database, obstacle, openName_.c_str(), __LINE__);
  require(code, openName_.c_str());
  long long const patience = std::clamp<long long>(access.patience.count(), 0, std::numeric_limits<int>::max());
  require(sqlite3_busy_timeout(database_.get(), static_cast<int>(patience)), openName_.c_str());
  sqlite3_extended_result_codes(database_.get(), 1);
  // A hostile file must not run code of its own: what a schema may call is limited to what is harmless.
  RunScript(openName_.c_str(), "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
}

void SqliteConnection::prepareToWrite(std::chrono::milliseconds patience)
{
  // This one writes, and would wait for other writers whenever a store is opened.
  if (isEmpty())
    RunScript(openName_.c_str(), "PRAGMA auto_vacuum = INCREMENTAL");
  startLog(patience);
  RunScript(openName_.c_str(), "PRAGMA synchronous = FULL");
}

// Of processes that make one store at the same time the engine has all but one fail here, and at once: it knows that
// those that read already would wait for each other.
void SqliteConnection::startLog(std::chrono::milliseconds patience)
{
  auto const deadline =
      std::chrono::steady_clock::now() + std::min<std::chrono::milliseconds>(patience, std::chrono::hours(24 * 365));
  auto const start = [this]
  { return sqlite3_exec(database_.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr); };
  int code = start();
  while (primary(code) == SQLITE_BUSY && std::chrono::steady_clock::now() < deadline)
  {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    code = start();
  }
  require(code, openName_.c_str());
}

// A process that was killed while it made the store has left a journal, and one whose log cannot be read alone a log:
// both are settled by whoever may write. Where nobody may, there is nobody to settle anything, and no use for locks.
void SqliteConnection::makeReadable(std::string const& path, DatabaseAccess const& access)
{
  int code = probe();
  if (code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY)
    code = settle(path, access);
  if (isRefusal(code, path) && isFrozen(path))
  {
    frozen_ = std::make_unique<FrozenFile>(path);
    open(frozenUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, access);
    code = probe();
  }
  if (isRefusal(code, path))
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<DatabaseException>("%s: %s: a change has to be settled first, which needs permission to "
                                            "write the file and its folder",
                                            openName_.c_str(), sqlite3_errmsg(database_.get()));
  require(code, openName_.c_str());
}

int SqliteConnection::settle(std::string const& path, DatabaseAccess const& access)
{
  open(path, SQLITE_OPEN_READWRITE, access);
  if (int const code = probe(); code != SQLITE_OK)
    return code;
  open(path, SQLITE_OPEN_READONLY, access);
  return probe();
}

int SqliteConnection::probe()
{
  return sqlite3_exec(database_.get(), "SELECT 1 FROM sqlite_schema LIMIT 1", nullptr, nullptr, nullptr);
}

bool SqliteConnection::isEmpty()
{
  SqlText const statement{openName_.c_str(), "SELECT page_count FROM pragma_page_count"};
  auto const rows = Query(statement, {});
  return rows->Next() && rows->Integer(0) == 0;
}

std::unique_ptr<SqlRows> SqliteConnection::Query(SqlText const& statement, SqlParameters parameters)
{
  return std::make_unique<SqliteRows>(start(statement, parameters), statement.name, frozen_.get());
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

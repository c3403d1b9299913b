#pragma once

#include "store/SqlConnection.h"

#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

/// An SQLite file: write-ahead log, every commit on the disk before it returns.
class SqliteConnection : public SqlConnection
{
public:
  /// Creates the file when there is none. @param path ":memory:" keeps everything in memory
  SqliteConnection(std::string const& path, DatabaseAccess const& access);
  ~SqliteConnection() override;

  std::unique_ptr<SqlRows> Query(SqlText const& statement, SqlParameters parameters) override;
  unsigned long long Execute(SqlText const& statement, SqlParameters parameters) override;
  void RunScript(char const* name, std::string const& script) override;
  void Begin() override;
  void Commit() override;
  void Rollback() noexcept override;
  void LockSchema() override;
  bool HasTable(char const* name) override;
  void RequireRoomForTables() override;
  SqlDialect const& Dialect() const override;
  void ReleaseSpace() override;
  std::vector<std::string> CheckIntegrity() override;

  class FrozenFile;

private:
  struct Closer
  {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  /// In place of what is open.
  void open(std::string const& path, int flags, DatabaseAccess const& access);
  void prepareToWrite(std::chrono::milliseconds patience);
  void startLog(std::chrono::milliseconds patience);
  /// Settles what a process that was cut off has left, and goes without locks where nothing can be written.
  void makeReadable(std::string const& path, DatabaseAccess const& access);
  /// Has the engine roll back or take in what was cut off. @return as probe()
  int settle(std::string const& path, DatabaseAccess const& access);
  /// Reads the file's first page. @return the engine's extended code
  int probe();
  /// Whether nobody has written to the file yet.
  bool isEmpty();
  sqlite3_stmt* prepare(SqlText const& statement);
  /// A prepared statement with its parameters, ready for its first step.
  sqlite3_stmt* start(SqlText const& statement, SqlParameters parameters);
  void require(int code, char const* name) const;

  std::string openName_;               ///< what opening is called in errors
  std::unique_ptr<FrozenFile> frozen_; ///< when the file is read without locks
  std::unique_ptr<sqlite3, Closer> database_;
  std::unordered_map<std::string, Statement> statements_;
};

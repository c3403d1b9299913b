#pragma once

#include "store/SqlConnection.h"

#include <unordered_map>

struct pg_conn;
struct pg_result;

/// A session of a PostgreSQL server, or of one that speaks its protocol. The tables are in the session's default
/// schema.
///
/// Values travel in binary form, so no setting of the server or of the user changes what comes back. A session that
/// broke is opened anew by the next call outside a transaction.
class PostgresConnection : public SqlConnection
{
public:
  /// @param url as libpq takes it; what it says prevails over DatabaseAccess where both name a time for connecting
  PostgresConnection(std::string const& url, DatabaseAccess const& access);
  ~PostgresConnection() override;

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

private:
  struct Closer
  {
    void operator()(pg_conn* connection) const;
    void operator()(pg_result* result) const;
  };
  using Result = std::unique_ptr<pg_result, Closer>;
  class Rows;

  /// Once the connection stands: what the session is told before its first statement.
  void configure();
  /// Outside a transaction: opens the session anew if it has ended.
  void requireSession();
  Result runScript(char const* name, std::string const& script);
  Result run(SqlText const& statement, SqlParameters parameters);
  /// The name of the statement as it is prepared in this session.
  std::string const& prepare(SqlText const& statement, SqlParameters parameters);
  /// The result if it is a good one; throws what the engine says otherwise.
  Result require(pg_result* result, char const* name) const;
  [[noreturn]] void fail(char const* name, char const* message, int line) const;

  std::string settings_;
  std::unique_ptr<pg_conn, Closer> connection_;
  std::unordered_map<std::string, std::string> statements_;
  unsigned int preparedCount_ = 0;
  bool isInTransaction_ = false;
};

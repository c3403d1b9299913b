#pragma once

#include "store/SqlConnection.h"

#include <optional>
#include <unordered_map>

struct pg_conn;
struct pg_result;

/// A session of a PostgreSQL server, or of one that speaks its protocol. The tables are in the session's default
/// schema.
///
/// Values travel in binary form, so no setting of the server or of the user changes what comes back. A session that
/// broke, or whose server did not answer, is opened anew by the next call outside a transaction; until then nothing
/// waits for it again.
class PostgresConnection : public SqlConnection
{
public:
  /// @param url as libpq takes it; what it says prevails over DatabaseAccess where both name a time for connecting
  PostgresConnection(std::string const& url, DatabaseAccess const& access);
  ~PostgresConnection() override;

  std::unique_ptr<SqlRows> Query(SqlText const& statement, SqlParameters parameters) override;
  unsigned long long Execute(SqlText const& statement, SqlParameters parameters) override;
  /// Waits for as long as it takes.
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
  /// How long nothing may come and go.
  using Limit = std::optional<std::chrono::milliseconds>;

  Result runScript(char const* name, std::string const& script, Limit limit);
  /// Sends something and waits for the answer. @param send returns 0 when it cannot
  template <class Send>
  Result ask(char const* name, Limit limit, Send const& send);
  void flush(char const* name, Limit limit);
  /// @return the last result, or the first one that is an error
  Result receive(char const* name, Limit limit);
  /// @return what the session's connection is ready for, of these events
  int await(char const* name, int events, Limit limit);
  Result run(SqlText const& statement, SqlParameters parameters);
  /// The name of the statement as it is prepared in this session.
  std::string const& prepare(SqlText const& statement, SqlParameters parameters);
  /// The result if it is a good one; throws what the engine says otherwise.
  Result require(Result result, char const* name) const;
  [[noreturn]] void fail(char const* name, char const* message, int line) const;

  std::chrono::milliseconds silence_;
  std::string settings_;
  std::unique_ptr<pg_conn, Closer> connection_;
  std::unordered_map<std::string, std::string> statements_;
  unsigned int preparedCount_ = 0;
  bool isInTransaction_ = false;
  bool isLost_ = false; ///< the server did not answer
};

#pragma once

#include "platform/Uuid.h"
#include "store/DatabaseAccess.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A statement in the SQL that all engines share; parameters are $1, $2, ... The name tells users in errors what was
/// attempted.
struct SqlText
{
  char const* name;
  std::string text;
  bool takesAnyTime = false; ///< reads so much that no limit makes sense
};

/// One parameter of a statement. Bytes are borrowed until the statement has run.
class SqlParameter
{
public:
  enum class Kind
  {
    integer,
    real,
    uuid,
    bytes
  };

  SqlParameter(long long value) : kind_(Kind::integer), integer_(value) {}
  SqlParameter(unsigned int value) : kind_(Kind::integer), integer_(value) {}
  SqlParameter(bool value) : kind_(Kind::integer), integer_(value ? 1 : 0) {}
  SqlParameter(double value) : kind_(Kind::real), real_(value) {}
  SqlParameter(Uuid const& value) : kind_(Kind::uuid), bytes_(value.GetPlainUuid(), 16) {}
  SqlParameter(std::span<unsigned char const> value) : kind_(Kind::bytes), bytes_(value) {}
  SqlParameter(std::string const& value)
    : kind_(Kind::bytes), bytes_(reinterpret_cast<unsigned char const*>(value.data()), value.size())
  {
  }

  Kind GetKind() const { return kind_; }
  long long Integer() const { return integer_; }
  double Real() const { return real_; }
  std::span<unsigned char const> Bytes() const { return bytes_; }

private:
  Kind kind_;
  long long integer_ = 0;
  double real_ = 0;
  std::span<unsigned char const> bytes_;
};

using SqlParameters = std::span<SqlParameter const>;

/// The rows that a query found, one at a time; columns count from 0. A value of another type than the one asked for is
/// damage, and a DatabaseException.
class SqlRows
{
public:
  SqlRows() = default;
  SqlRows(SqlRows const&) = delete;
  SqlRows& operator=(SqlRows const&) = delete;
  virtual ~SqlRows();

  /// Goes to the next row, at first to the first one. @return whether there is one
  virtual bool Next() = 0;
  virtual bool IsNull(int column) const = 0;
  virtual long long Integer(int column) const = 0;
  virtual double Real(int column) const = 0;
  /// Valid until the next row.
  virtual std::span<unsigned char const> Bytes(int column) const = 0;

  Uuid Identifier(int column) const;
  bool Flag(int column) const { return Integer(column) != 0; }
  unsigned int Count(int column) const;
  std::string Text(int column) const;

protected:
  /// For values of a wrong type or range.
  [[noreturn]] void refuse(int column) const;
  virtual char const* statementName() const = 0;
};

/// What engines call differently. In texts, % stands for a name.
struct SqlDialect
{
  char const* uuid;
  char const* integer;
  char const* real;
  char const* bytes;
  /// Behind the type of a column: that it holds UUIDs; empty where the type says so.
  char const* uuidCheck;
  /// Behind the columns of a table: that they hold values of their types; empty where all tables do.
  char const* strictTable;
  /// Tells of a table that the bytes in its column data are compressed already; empty where the engine never tries.
  char const* keepBytesAsTheyAre;
};

/// A connection to a database. Statements are prepared once each. Every failure is a DatabaseException that holds the
/// statement's name and the engine's message. One thread at a time.
class SqlConnection
{
public:
  SqlConnection() = default;
  SqlConnection(SqlConnection const&) = delete;
  SqlConnection& operator=(SqlConnection const&) = delete;
  virtual ~SqlConnection();

  /// The rows of a query. Only one set of a statement may be in use at a time.
  virtual std::unique_ptr<SqlRows> Query(SqlText const& statement, SqlParameters parameters) = 0;
  /// @return how many rows were changed
  virtual unsigned long long Execute(SqlText const& statement, SqlParameters parameters) = 0;
  /// Runs statements without parameters, which semicolons part.
  virtual void RunScript(char const* name, std::string const& script) = 0;

  /// Starts a transaction that will write. Waits for other writers, but no longer than the time given at opening.
  virtual void Begin() = 0;
  virtual void Commit() = 0;
  /// Never throws: an engine that cannot say so has lost the transaction anyway.
  virtual void Rollback() noexcept = 0;
  /// Waits until no other process creates or migrates the tables; until the end of the transaction.
  virtual void LockSchema() = 0;
  virtual bool HasTable(char const* name) = 0;
  /// Throws for a database that serves another purpose already, where the engine gives each purpose one of its own.
  virtual void RequireRoomForTables() = 0;
  virtual SqlDialect const& Dialect() const = 0;
  /// Gives room that deleted rows left back to the file system, where the engine does not do so by itself.
  virtual void ReleaseSpace() = 0;
  /// What the engine's own check finds wrong, one line each; empty when all is well.
  virtual std::vector<std::string> CheckIntegrity() = 0;
};

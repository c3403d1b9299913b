// What every engine's connection does, below the store's tables.
#include "store/SqlConnection.h"
#include "store/DatabaseException.h"
#include "store/DatabaseUrl.h"
#include "store/StoreTransaction.h"
#include "support/Expectations.h"
#include "support/StoreTest.h"
#include "support/StoredObjects.h"

#include <cmath>
#include <limits>

namespace
{
std::string const kNothing;

class SqlConnections : public StoreTest
{
protected:
  SqlConnections() : connection_(DatabaseUrl::Connect(Url(), {}))
  {
    connection_->RunScript("make table", "CREATE TABLE probe (number BIGINT, bytes " + std::string(bytes()) +
                                             ", real DOUBLE PRECISION, text TEXT)");
  }

  char const* bytes() const { return connection_->Dialect().bytes; }
  void Put(std::string const& values) { connection_->RunScript("put", "INSERT INTO probe VALUES (" + values + ")"); }

  /// The rows of the table, the first of them ready.
  std::unique_ptr<SqlRows> Read()
  {
    auto rows = connection_->Query(kRead, {});
    EXPECT_TRUE(rows->Next());
    return rows;
  }

  std::string KindError(int column) const
  {
    return "read probe: column " + std::to_string(column) + " holds a value of a wrong kind";
  }
  template <class F>
  void ExpectWrongKind(int column, F&& operation)
  {
    ExpectThrow<DatabaseException>(operation, KindError(column), "SqlConnection.cpp");
  }

  std::string EngineFile() const { return Say("SqliteConnection.cpp", "PostgresConnection.cpp"); }

  static inline SqlText const kRead{"read probe", "SELECT number, bytes, real, text FROM probe ORDER BY number"};
  static inline SqlText const kInsert{"insert probe", "INSERT INTO probe VALUES ($1, $2, $3, NULL)"};
  std::unique_ptr<SqlConnection> connection_;
};
INSTANTIATE_TEST_SUITE_P(Engines, SqlConnections, EnginesOfThisBuild(), EngineName);
} // namespace

TEST_P(SqlConnections, ParametersOfEveryKindComeBack)
{
  std::string const text = HostileText();
  SqlParameter const parameters[] = {std::numeric_limits<long long>::min(), text, 0.1};
  EXPECT_EQ(connection_->Execute(kInsert, parameters), 1u);
  auto const rows = Read();
  EXPECT_EQ(rows->Integer(0), std::numeric_limits<long long>::min());
  EXPECT_EQ(rows->Text(1), text);
  EXPECT_EQ(rows->Real(2), 0.1);
  EXPECT_TRUE(rows->IsNull(3));
  EXPECT_FALSE(rows->IsNull(2));
  EXPECT_FALSE(rows->Next());
}

TEST_P(SqlConnections, EmptyBytesAreNotNull)
{
  SqlParameter const parameters[] = {1LL, std::span<unsigned char const>(), 0.0};
  connection_->Execute(kInsert, parameters);
  auto const rows = Read();
  EXPECT_FALSE(rows->IsNull(1));
  EXPECT_EQ(rows->Bytes(1).size(), 0u);
}

TEST_P(SqlConnections, ChangedRowsAreCounted)
{
  for (long long number : {1LL, 2LL, 3LL})
  {
    SqlParameter const parameters[] = {number, kNothing, 0.0};
    connection_->Execute(kInsert, parameters);
  }
  static SqlText const remove{"remove probe", "DELETE FROM probe WHERE number > $1"};
  SqlParameter const one[] = {1LL};
  EXPECT_EQ(connection_->Execute(remove, one), 2u);
  EXPECT_EQ(connection_->Execute(remove, one), 0u);
}

TEST_P(SqlConnections, NullIsNoValueOfAnyKind)
{
  Put("NULL, NULL, NULL, NULL");
  auto const rows = Read();
  ExpectWrongKind(0, [&] { rows->Integer(0); });
  ExpectWrongKind(0, [&] { rows->Flag(0); });
  ExpectWrongKind(0, [&] { rows->Count(0); });
  ExpectWrongKind(1, [&] { rows->Bytes(1); });
  ExpectWrongKind(1, [&] { rows->Text(1); });
  ExpectWrongKind(1, [&] { rows->Identifier(1); });
  ExpectWrongKind(2, [&] { rows->Real(2); });
}

TEST_P(SqlConnections, ValueOfAnotherTypeIsRefused)
{
  Put("1, " + Say("x'31'", "'\\x31'") + ", 1.5, 'text'");
  auto const rows = Read();
  ExpectWrongKind(0, [&] { rows->Real(0); });
  ExpectWrongKind(0, [&] { rows->Bytes(0); });
  ExpectWrongKind(1, [&] { rows->Integer(1); });
  ExpectWrongKind(1, [&] { rows->Real(1); });
  ExpectWrongKind(2, [&] { rows->Integer(2); });
  ExpectWrongKind(2, [&] { rows->Bytes(2); });
  ExpectWrongKind(3, [&] { rows->Bytes(3); });
  ExpectWrongKind(3, [&] { rows->Integer(3); });
}

TEST_P(SqlConnections, CountsAreUnsignedThirtyTwoBits)
{
  Put("-1, NULL, NULL, NULL");
  Put("0, NULL, NULL, NULL");
  Put("4294967295, NULL, NULL, NULL");
  Put("4294967296, NULL, NULL, NULL");
  auto const rows = Read();
  ExpectWrongKind(0, [&] { rows->Count(0); });
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->Count(0), 0u);
  EXPECT_FALSE(rows->Flag(0));
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->Count(0), 4294967295u);
  EXPECT_TRUE(rows->Flag(0));
  ASSERT_TRUE(rows->Next());
  ExpectWrongKind(0, [&] { rows->Count(0); });
}

TEST_P(SqlConnections, IdentifierIsSixteenBytes)
{
  std::string const fifteen(15, 'a');
  std::string const sixteen = "0123456789abcdef";
  std::string const seventeen(17, 'a');
  for (auto const& [number, text] : {std::pair{1LL, &fifteen}, {2LL, &sixteen}, {3LL, &seventeen}})
  {
    SqlParameter const parameters[] = {number, *text, 0.0};
    connection_->Execute(kInsert, parameters);
  }
  auto const rows = Read();
  ExpectWrongKind(1, [&] { rows->Identifier(1); });
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->Identifier(1).ToString(), "30313233-3435-3637-3839-616263646566");
  ASSERT_TRUE(rows->Next());
  ExpectWrongKind(1, [&] { rows->Identifier(1); });
}

TEST_P(SqlConnections, ErrorsNameTheStatementAndWhatTheEngineSays)
{
  static SqlText const statement{"find nothing", "SELECT * FROM absent"};
  std::string const said = Say("no such table: absent", "relation \"absent\" does not exist");
  ExpectThrow<DatabaseException>([&] { connection_->Query(statement, {}); }, "find nothing: " + said, EngineFile());
  ExpectThrow<DatabaseException>([&] { connection_->Execute(statement, {}); }, "find nothing: " + said, EngineFile());
  ExpectThrow<DatabaseException>([&] { connection_->RunScript("find nothing", statement.text); },
                                 "find nothing: " + said, EngineFile());
}

TEST_P(SqlConnections, StatementRunsAgainAfterItFailed)
{
  connection_->RunScript("make index", "CREATE UNIQUE INDEX probe_number ON probe (number)");
  SqlParameter const one[] = {1LL, kNothing, 0.0};
  SqlParameter const two[] = {2LL, kNothing, 0.0};
  connection_->Execute(kInsert, one);
  ExpectThrow<DatabaseException>([&] { connection_->Execute(kInsert, one); },
                                 "insert probe: " +
                                     Say("UNIQUE constraint failed: probe.number",
                                         "duplicate key value violates unique constraint \"probe_number\""),
                                 EngineFile());
  EXPECT_EQ(connection_->Execute(kInsert, two), 1u);
}

TEST_P(SqlConnections, OnlyOwnTablesAreFound)
{
  EXPECT_TRUE(connection_->HasTable("probe"));
  EXPECT_FALSE(connection_->HasTable("prob"));
  EXPECT_FALSE(connection_->HasTable("PROBE"));
  EXPECT_FALSE(connection_->HasTable("pg_class"));
  EXPECT_FALSE(connection_->HasTable("probe'; DROP TABLE probe; --"));
  connection_->RunScript("make view", "CREATE VIEW sight AS SELECT 1 AS one");
  EXPECT_FALSE(connection_->HasTable("sight"));
}

TEST_P(SqlConnections, TransactionWithoutCommitIsRolledBack)
{
  {
    StoreTransaction const transaction(*connection_);
    Put("1, NULL, NULL, NULL");
  }
  EXPECT_FALSE(connection_->Query(kRead, {})->Next());
  {
    StoreTransaction transaction(*connection_);
    Put("2, NULL, NULL, NULL");
    transaction.Commit();
  }
  EXPECT_EQ(Read()->Integer(0), 2);
}

TEST_P(SqlConnections, RollbackWithoutTransactionIsHarmless)
{
  connection_->Rollback();
  Put("1, NULL, NULL, NULL");
  EXPECT_EQ(Read()->Integer(0), 1);
}

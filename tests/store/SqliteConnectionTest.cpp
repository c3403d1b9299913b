// The settings with which an SQLite file is used, and what only this engine does.
#include "store/SqliteConnection.h"
#include "store/DatabaseException.h"
#include "store/StoreTransaction.h"
#include "support/Expectations.h"
#include "support/SqliteFile.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace
{
/// A setting, as the connection itself sees it.
std::string setting(SqliteConnection& connection, std::string const& name)
{
  SqlText const statement{"read setting", "SELECT CAST(" + name + " AS BLOB) FROM pragma_" + name};
  auto const rows = connection.Query(statement, {});
  return rows->Next() ? rows->Text(0) : "none";
}
} // namespace

TEST(SqliteConnection, CommitsAreOnTheDiskBeforeTheyReturn)
{
  TemporaryDirectory const folder;
  SqliteConnection connection(folder.Path("store.db"), {});
  EXPECT_EQ(setting(connection, "journal_mode"), "wal");
  // FULL
  EXPECT_EQ(setting(connection, "synchronous"), "2");
}

TEST(SqliteConnection, FilesOfOthersCannotRunCode)
{
  TemporaryDirectory const folder;
  SqliteConnection connection(folder.Path("store.db"), {});
  EXPECT_EQ(setting(connection, "trusted_schema"), "0");
  EXPECT_EQ(setting(connection, "cell_size_check"), "1");
}

TEST(SqliteConnection, FreePagesCanBeGivenBack)
{
  TemporaryDirectory const folder;
  SqliteConnection connection(folder.Path("store.db"), {});
  connection.RunScript("make table", "CREATE TABLE probe (bytes BLOB)");
  // INCREMENTAL
  EXPECT_EQ(setting(connection, "auto_vacuum"), "2");
}

TEST(SqliteConnection, PatienceIsTheBusyTimeoutInMilliseconds)
{
  TemporaryDirectory const folder;
  SqliteConnection connection(folder.Path("store.db"), {false, std::chrono::milliseconds(1234)});
  SqlText const statement{"read setting", "SELECT CAST(timeout AS BLOB) FROM pragma_busy_timeout"};
  auto const rows = connection.Query(statement, {});
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->Text(0), "1234");
}

TEST(SqliteConnection, SettingsOfTheFileStayWhenItIsOnlyRead)
{
  TemporaryDirectory const folder;
  std::string const path = folder.Path("plain.db");
  SqliteFile(path).Run("CREATE TABLE probe (number INTEGER); INSERT INTO probe VALUES (7)");
  SqliteConnection connection(path, {true, std::chrono::milliseconds(0)});
  EXPECT_EQ(setting(connection, "journal_mode"), "delete");
  ExpectThrow<DatabaseException>([&] { connection.RunScript("write", "INSERT INTO probe VALUES (8)"); },
                                 "write: attempt to write a readonly database", "SqliteConnection.cpp");
}

TEST(SqliteConnection, DatabaseInMemoryLeavesNoFile)
{
  SqliteConnection connection(":memory:", {});
  connection.RunScript("make table", "CREATE TABLE probe (number INTEGER); INSERT INTO probe VALUES (7)");
  EXPECT_TRUE(connection.HasTable("probe"));
  EXPECT_FALSE(std::filesystem::exists(":memory:"));
  SqliteConnection other(":memory:", {});
  EXPECT_FALSE(other.HasTable("probe"));
}

TEST(SqliteConnection, RoomForTablesIsAnEmptyFile)
{
  TemporaryDirectory const folder;
  SqliteConnection connection(folder.Path("store.db"), {});
  EXPECT_NO_THROW(connection.RequireRoomForTables());
  connection.RunScript("make table", "CREATE TABLE probe (number INTEGER)");
  ExpectThrow<DatabaseException>([&] { connection.RequireRoomForTables(); },
                                 "create store: the file holds tables of another program", "SqliteConnection.cpp");
}

TEST(SqliteConnection, TransactionInATransactionIsAnError)
{
  SqliteConnection connection(":memory:", {});
  connection.Begin();
  ExpectThrow<DatabaseException>([&] { connection.Begin(); }, "begin: cannot start a transaction within a transaction",
                                 "SqliteConnection.cpp");
}

TEST(SqliteConnection, BytesForWhichThereIsNoMemoryAreAnError)
{
  SqliteConnection connection(":memory:", {});
  SqlText const statement{"read zeros", "SELECT zeroblob(size) FROM (SELECT 1000000 AS size UNION ALL SELECT 0)"};
  auto const rows = connection.Query(statement, {});
  ASSERT_TRUE(rows->Next());
  // The engine makes zeros of a size that it has to look up when it is asked for them.
  sqlite3_int64 const before = sqlite3_hard_heap_limit64(sqlite3_memory_used() + 100000);
  ExpectThrow<DatabaseException>([&] { rows->Bytes(0); }, "read zeros: out of memory", "SqliteConnection.cpp");
  sqlite3_hard_heap_limit64(before);
}

TEST(SqliteConnection, TransactionThatCannotBeCommittedIsRolledBack)
{
  SqliteConnection connection(":memory:", {});
  connection.RunScript("make tables",
                       "PRAGMA foreign_keys = ON; CREATE TABLE parent (number INTEGER PRIMARY KEY);"
                       "CREATE TABLE child (parent INTEGER REFERENCES parent DEFERRABLE INITIALLY DEFERRED)");
  {
    StoreTransaction transaction(connection);
    connection.RunScript("put", "INSERT INTO child VALUES (7)");
    ExpectThrow<DatabaseException>([&] { transaction.Commit(); }, "commit: FOREIGN KEY constraint failed",
                                   "SqliteConnection.cpp");
  }
  EXPECT_NO_THROW(connection.Begin());
  SqlText const statement{"count", "SELECT COUNT(*) FROM child"};
  auto const rows = connection.Query(statement, {});
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->Integer(0), 0);
}

// How stores are made and brought up to date, with migrations of the tests' own.
#include "store/StoreSchema.h"
#include "store/DatabaseException.h"
#include "store/DatabaseUrl.h"
#include "support/Expectations.h"
#include "support/StoreTest.h"
#include "support/StoredObjects.h"

namespace
{
constexpr char const* kOne[] = {"CREATE TABLE measurement ({bytes data}){strict table};{keep measurement}"
                                "CREATE TABLE counted ({integer or none number}){strict table};"
                                "INSERT INTO counted VALUES (NULL);"};
constexpr char const* kTwo[] = {kOne[0],
                                "CREATE TABLE added ({integer number}, {real or none value}){strict table};"
                                "INSERT INTO added (number) VALUES (41); UPDATE added SET number = number + 1"};
constexpr char const* kBroken[] = {kOne[0], "CREATE TABLE added ({integer number}); SELECT * FROM nowhere"};
constexpr char const* kKinds[] = {
    "CREATE TABLE kinds ({uuid a}, {count b}, {flag c}, {integer d}, {bytes e}, {real or none f}, "
    "{integer or none g}){strict table}"};

class StoreSchemas : public StoreTest
{
protected:
  StoreSchemas() : connection_(DatabaseUrl::Connect(Url(), {})) {}
  void ExpectVersionError(unsigned int found, unsigned int known, auto const& operation)
  {
    ExpectThrow<DatabaseException>(operation,
                                   "read schema version: the store has version " + std::to_string(found) +
                                       ", this program knows " + std::to_string(known),
                                   "StoreSchema.cpp");
  }

  std::unique_ptr<SqlConnection> connection_;
};
INSTANTIATE_TEST_SUITE_P(Engines, StoreSchemas, EnginesOfThisBuild(), EngineName);
} // namespace

TEST_P(StoreSchemas, EmptyDatabaseGetsAllMigrationsAtOnce)
{
  StoreSchema::Migrate(*connection_, kTwo);
  EXPECT_EQ(Run("SELECT version FROM qen_store"), "2");
  EXPECT_EQ(Run("SELECT COUNT(*) FROM counted"), "1");
  EXPECT_EQ(Run("SELECT number FROM added"), "42");
}

TEST_P(StoreSchemas, OlderStoreGetsOnlyWhatItLacks)
{
  StoreSchema::Migrate(*connection_, kOne);
  EXPECT_EQ(Run("SELECT version FROM qen_store"), "1");
  EXPECT_FALSE(connection_->HasTable("added"));
  StoreSchema::Migrate(*connection_, kTwo);
  EXPECT_EQ(Run("SELECT version FROM qen_store"), "2");
  EXPECT_EQ(Run("SELECT COUNT(*) FROM qen_store"), "1");
  EXPECT_EQ(Run("SELECT COUNT(*) FROM counted"), "1");
  EXPECT_EQ(Run("SELECT number FROM added"), "42");
}

TEST_P(StoreSchemas, MigratingAgainChangesNothing)
{
  StoreSchema::Migrate(*connection_, kTwo);
  StoreSchema::Migrate(*connection_, kTwo);
  EXPECT_EQ(Run("SELECT number FROM added"), "42");
}

TEST_P(StoreSchemas, FailedMigrationLeavesTheOldVersion)
{
  StoreSchema::Migrate(*connection_, kOne);
  ExpectThrow<DatabaseException>([&] { StoreSchema::Migrate(*connection_, kBroken); },
                                 "migrate store: " +
                                     Say("no such table: nowhere", "relation \"nowhere\" does not exist"),
                                 Say("SqliteConnection.cpp", "PostgresConnection.cpp"));
  EXPECT_EQ(Run("SELECT version FROM qen_store"), "1");
  EXPECT_FALSE(connection_->HasTable("added"));
  StoreSchema::Migrate(*connection_, kTwo);
  EXPECT_EQ(Run("SELECT number FROM added"), "42");
}

TEST_P(StoreSchemas, FailedFirstUseLeavesNothing)
{
  EXPECT_THROW(StoreSchema::Migrate(*connection_, kBroken), DatabaseException);
  EXPECT_FALSE(connection_->HasTable("qen_store"));
  EXPECT_FALSE(connection_->HasTable("measurement"));
}

TEST_P(StoreSchemas, StoreOfANewerProgramIsRefused)
{
  StoreSchema::Migrate(*connection_, kTwo);
  ExpectVersionError(2, 1, [&] { StoreSchema::Migrate(*connection_, kOne); });
  EXPECT_EQ(Run("SELECT version FROM qen_store"), "2");
}

TEST_P(StoreSchemas, LookingNeedsExactlyTheNewestVersion)
{
  unsigned int const newest = StoreSchema::NewestVersion();
  ExpectVersionError(0, newest, [&] { StoreSchema::Require(*connection_); });
  StoreSchema::Migrate(*connection_);
  EXPECT_NO_THROW(StoreSchema::Require(*connection_));
  Run("UPDATE qen_store SET version = " + std::to_string(newest + 1));
  ExpectVersionError(newest + 1, newest, [&] { StoreSchema::Require(*connection_); });
  Run("UPDATE qen_store SET version = 0");
  ExpectVersionError(0, newest, [&] { StoreSchema::Require(*connection_); });
}

TEST_P(StoreSchemas, FileOfAnotherProgramIsLeftAloneWhileADatabaseServesSeveral)
{
  Run("CREATE TABLE foreign_table (number BIGINT); INSERT INTO foreign_table VALUES (7)");
  if (IsSqlite())
  {
    ExpectThrow<DatabaseException>([&] { StoreSchema::Migrate(*connection_, kOne); },
                                   "create store: the file holds tables of another program", "SqliteConnection.cpp");
    EXPECT_EQ(Run("SELECT COUNT(*) FROM sqlite_schema"), "1");
  }
  else
  {
    StoreSchema::Migrate(*connection_, kOne);
    EXPECT_EQ(Run("SELECT version FROM qen_store"), "1");
  }
  EXPECT_EQ(Run("SELECT number FROM foreign_table"), "7");
}

TEST_P(StoreSchemas, ColumnsTakeValuesOfTheirKindOnly)
{
  StoreSchema::Migrate(*connection_, kKinds);
  SqlText const put{"put kinds", "INSERT INTO kinds VALUES ($1, $2, $3, $4, $5, $6, $7)"};
  Uuid const uuid = NumberedUuid(1);
  std::string const bytes = "bytes";
  std::vector<SqlParameter> const good{uuid, 4294967295U, true, -1LL, bytes, 0.5, 0LL};
  connection_->Execute(put, good);
  for (auto const& [column, wrong] : std::vector<std::pair<std::size_t, SqlParameter>>{
           {0, bytes}, {1, -1LL}, {1, 4294967296LL}, {2, 2LL}, {2, -1LL}, {3, bytes}, {5, bytes}, {6, bytes}})
  {
    SCOPED_TRACE(column);
    std::vector<SqlParameter> parameters = good;
    parameters.at(column) = wrong;
    EXPECT_THROW(connection_->Execute(put, parameters), DatabaseException);
  }
  EXPECT_EQ(Run("SELECT COUNT(*) FROM kinds"), "1");
  for (char const* const column : {"a", "b", "c", "d", "e"})
  {
    SCOPED_TRACE(column);
    EXPECT_ANY_THROW(Run(std::string("UPDATE kinds SET ") + column + " = NULL"));
  }
  Run("UPDATE kinds SET f = NULL, g = NULL");
}

// How stores are made and brought up to date, with migrations of the tests' own.
#include "store/StoreSchema.h"
#include "store/DatabaseException.h"
#include "store/DatabaseUrl.h"
#include "support/Expectations.h"
#include "support/StoreTest.h"

namespace
{
constexpr char const* kOne[] = {"CREATE TABLE measurement (data {bytes}); ALTER TABLE measurement {keep};"
                                "INSERT INTO measurement VALUES (NULL);"};
constexpr char const* kTwo[] = {kOne[0],
                                "CREATE TABLE added (uuid {uuid}, number {integer}, value {real});"
                                "INSERT INTO added (number) VALUES (41); UPDATE added SET number = number + 1"};
constexpr char const* kBroken[] = {kOne[0], "CREATE TABLE added (number {integer}); SELECT * FROM nowhere"};

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
  EXPECT_EQ(Run("SELECT COUNT(*) FROM measurement"), "1");
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
  EXPECT_EQ(Run("SELECT COUNT(*) FROM measurement"), "1");
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

#pragma once

#include "FailingVfs.h"
#ifdef QEN_POSTGRES
#include "PostgresServer.h"
#endif
#include "SqliteFile.h"
#include "TemporaryDirectory.h"
#include "store/DeviceDatabase.h"

#include <gtest/gtest.h>
#include <string>

/// The engines that this build knows; tests of a store run on each of them.
enum class Engine
{
  sqlite,
  postgresql
};

inline auto EnginesOfThisBuild()
{
#ifdef QEN_POSTGRES
  return testing::Values(Engine::sqlite, Engine::postgresql);
#else
  return testing::Values(Engine::sqlite);
#endif
}

inline std::string EngineName(testing::TestParamInfo<Engine> const& info)
{
  return info.param == Engine::sqlite ? "Sqlite" : "Postgresql";
}

/// A place of its own for each test's store, which does not exist yet. No disk keeps the tests waiting: SQLite's files
/// are not synchronised.
class StoreTest : public testing::TestWithParam<Engine>
{
protected:
  StoreTest()
  {
#ifdef QEN_POSTGRES
    if (GetParam() == Engine::postgresql)
    {
      url_ = PostgresServer::Instance().Url(PostgresServer::Instance().FreshSchema());
      return;
    }
#endif
    url_ = "sqlite:" + FilePath();
  }

  std::string const& Url() const { return url_; }
  bool IsSqlite() const { return GetParam() == Engine::sqlite; }
  /// What one engine says and the other one.
  std::string Say(std::string const& sqlite, std::string const& postgresql) const
  {
    return IsSqlite() ? sqlite : postgresql;
  }
  DeviceDatabase Open(DatabaseAccess const& access = {}) const { return DeviceDatabase(Url(), access); }

  /// SQL that is not the store's, and its single value.
  std::string Run(std::string const& script) const
  {
#ifdef QEN_POSTGRES
    if (!IsSqlite())
      return PostgresServer::Run(Url(), script);
#endif
    return SqliteFile(FilePath()).Run(script);
  }

  std::string FilePath() const { return folder_.Path("store.db"); }

private:
  FailingVfs disk_;
  TemporaryDirectory folder_;
  std::string url_;
};

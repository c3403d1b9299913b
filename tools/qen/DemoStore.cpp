#include "DemoStore.h"

#include "ExitCode.h"
#include "Json.h"
#include "StoredObject.h"
#include "Text.h"

#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"

#include <algorithm>
#include <filesystem>

namespace
{
Uuid Device() { return Uuid("d1d00000-0000-4000-8000-000000000001"); }

void Put(DeviceDatabase& database, TrendFamily const& weeks, DeviceDO const& settings)
{
  DeviceDatabase::Transaction transaction(database);
  database.PutDevice(Device(), settings);
  for (TrendFamily::Member const& week : weeks.Members())
  {
    TrendDataDO trend = week.loaded.stored;
    trend.setClosed(true);
    database.PutTrend(Device(), trend);
  }
  transaction.Commit();
}

std::vector<std::string> SortedEntries(std::vector<TrendDataDO> const& trends)
{
  std::vector<std::string> all;
  for (TrendDataDO const& object : trends)
  {
    Trend const trend(object);
    for (trend_entry_t const& entry : trend.GetTrendEntryVector())
      all.emplace_back(TrendFile::BytesOf(entry));
  }
  std::sort(all.begin(), all.end());
  return all;
}

std::vector<TrendDataDO> ReadAll(DeviceDatabase& database)
{
  std::vector<TrendDataDO> trends;
  for (TrendSummary const& row : database.ListTrends(Device()))
    trends.push_back(database.FindTrend(Device(), row.trend).value());
  return trends;
}

std::vector<TrendDataDO> ResultsOf(ShrinkPlan const& plan)
{
  std::vector<TrendDataDO> trends;
  for (auto const& result : plan.Results())
    trends.push_back(*result);
  return trends;
}

/// What is wrong; empty when nothing is.
std::string FindProblem(DeviceDatabase& database, ShrinkPlan const& plan)
{
  if (!database.CheckIntegrity().empty())
    return "the database is damaged";
  std::vector<TrendDataDO> const trends = ReadAll(database);
  for (TrendDataDO const& trend : trends)
    if (!StoredObject::FindDamage(trend).empty())
      return "a row is damaged";
  return SortedEntries(trends) == SortedEntries(ResultsOf(plan)) ? "" : "other entries remain than in files";
}
} // namespace

DemoStore::DemoStore(std::string const& folder, OutputFile::Existing existing)
  : path_(folder + "/store.db"), existing_(existing)
{
}

void DemoStore::RequireRoom() const
{
  for (char const* const suffix : {"", "-wal", "-shm"})
  {
    std::error_code error;
    if (existing_ == OutputFile::Existing::Refuse && std::filesystem::exists(path_ + suffix, error))
      throw ToolError(ExitCode::Disk,
                      Text::Printable(path_ + suffix) + " not written: the file exists, --force replaces it");
    std::filesystem::remove(path_ + suffix, error);
  }
}

bool DemoStore::Show(TrendFamily const& weeks, DeviceDO const& settings, long long now, ShrinkPlan const& plan,
                     bool json, Report& report) const
{
  RequireRoom();
  DeviceDatabase database("sqlite:" + path_);
  Put(database, weeks, settings);
  RetentionSettings retention;
  retention.now = now;
  DeviceStatistics const before = database.ReadStatistics(Device());
  std::string error;
  RetentionRun(database, retention).ThinDevice(Device(), [&](RetentionResult const& result) { error = result.error; });
  database.ReleaseSpace();
  DeviceStatistics const after = database.ReadStatistics(Device());
  std::string const problem = error.empty() ? FindProblem(database, plan) : error;
  if (json)
  {
    Json object = JsonText::Object("qen.demo-store/1");
    object["entries_before"] = before.trendEntries;
    object["entries_after"] = after.trendEntries;
    object["bytes_before"] = before.closedTrends.byteCount;
    object["bytes_after"] = after.closedTrends.byteCount;
    object["proved"] = problem.empty();
    object["problem"] = problem.empty() ? Json(nullptr) : Json(problem);
    report.Data(JsonText::Line(object));
    return problem.empty();
  }
  report.Data("the same weeks in a store, thinned by one run: " + std::to_string(before.trendEntries) + " entries in " +
              std::to_string(before.closedTrends.byteCount) + " bytes before, " + std::to_string(after.trendEntries) +
              " in " + std::to_string(after.closedTrends.byteCount) + " after");
  report.Data(problem.empty() ? "proved: the store keeps the same entries, and all of its rows and checksums are good"
                              : "NOT PROVED: the store: " + problem);
  return problem.empty();
}

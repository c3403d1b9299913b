#include "DemoTrend.h"

#include "DemoStore.h"
#include "Duration.h"
#include "ExitCode.h"
#include "MachineModel.h"
#include "ShrinkPlan.h"
#include "ShrinkReport.h"
#include "Text.h"
#include "TrendOutput.h"

#include "signalprocessing/io/file/TrendEntries.h"

namespace
{
constexpr int kWeeks = 8;
constexpr long long kEnd = 1795197600 * Duration::kSecond; // 2026-11-20T18:00:00Z: one picture for all times
constexpr char kSettings[] = "1h:6/h,1d:24/d,7d:4/d,28d:1/d";
constexpr unsigned int kMostEntries = 100000;

/// Runs what reads a file that was written; one that cannot be read proves nothing.
template <class Read>
auto ReadBack(std::string const& path, Read read)
{
  try
  {
    return read();
  }
  catch (ToolError const& error)
  {
    throw ToolError(ExitCode::Difference, "NOT PROVED: " + Text::Printable(path) + ": " + error.what());
  }
}

std::string PathOfWeek(std::string const& folder, int week)
{
  return folder + "/trend-" + std::to_string(week) + TrendFile::kExtension;
}
} // namespace

bool DemoTrend::Show(bool json, Report& report) const
{
  Record();
  TrendFamily family{Uuid()};
  for (int week = 1; week <= kWeeks; ++week)
    ReadBack(PathOfWeek(folder_, week), [&] { family.Add(PathOfWeek(folder_, week)); });
  DeviceDO const settings = TrendSettings::FromText(kSettings);
  TrendShrinker shrinker(settings, kMostEntries, 0);
  ShrinkPlan const plan(family, shrinker, kEnd, {}); // proves that entries stay as they are
  bool const proved = IsWrittenAndRead(folder_ + "/trend-thinned" + TrendFile::kExtension, plan);
  if (json)
  {
    Json object = JsonText::Object("qen.demo-trend/1");
    object["classes"] = DescribeAges(plan, shrinker);
    object["proved"] = proved;
    report.Data(JsonText::Line(object));
    return DemoStore(folder_, existing_).Show(family, settings, kEnd, plan, json, report) && proved;
  }
  report.Data("trend of its vibration: " + Text::Counted(plan.AllEntries().before, "entry", "entries") + " in " +
              Text::Counted(kWeeks, "week") + ", thinned by age with " + kSettings);
  PrintAges(plan, shrinker, report);
  report.Data(proved ? "proved: every entry that remains is as it was recorded, and all of the last hour remain"
                     : "NOT PROVED: the thinned trend did not come back from its file");
  return DemoStore(folder_, existing_).Show(family, settings, kEnd, plan, json, report) && proved;
}

void DemoTrend::Record() const
{
  std::vector<trend_entry_t> const entries = MachineModel::Trend(kEnd, kWeeks, seed_);
  std::list<TrendOutput> outputs;
  constexpr long long kWeek = 7 * Duration::kDay;
  for (int week = 0; week < kWeeks; ++week)
  {
    long long const first = kEnd - (kWeeks - week) * kWeek;
    std::deque<trend_entry_t> part;
    for (trend_entry_t const& entry : entries)
      if (entry.TimeStamp >= first && entry.TimeStamp < first + kWeek)
        AppendWhole(part, entry);
    ::Trend trend(Uuid("7a0c1d52-3f0e-4c5b-9d56-0b8a4c1de004"), Uuid(), Uuid(), MachineModel::kUnit,
                  MachineModel::kPreAlarm);
    trend.AddTrendEntries(part.begin(), part.end());
    trend.SetCompression(zlib);
    outputs.emplace_back(PathOfWeek(folder_, week + 1), existing_);
    outputs.back().Write(*std::unique_ptr<TrendDataDO>(trend.GetTrendDataDO()));
  }
  TrendOutput::Commit(outputs);
}

bool DemoTrend::IsWrittenAndRead(std::string const& path, ShrinkPlan const& plan) const
{
  TrendDataDO const& thinned = *plan.Results().front();
  std::list<TrendOutput> outputs;
  outputs.emplace_back(path, existing_);
  outputs.back().Write(thinned);
  TrendOutput::Commit(outputs);
  TrendFile::Loaded const back = ReadBack(path, [&] { return TrendFile::Read(InputFile(path), Uuid()); });
  return plan.Results().size() == 1 && back.stored.getData() == thinned.getData() &&
         back.trend.GetSignalUnitString() == MachineModel::kUnit;
}

#include "Duration.h"
#include "InputFiles.h"
#include "Json.h"
#include "RetentionOptions.h"
#include "StoreCommand.h"
#include "Text.h"
#include "TrendFile.h"
#include "TrendSettings.h"

#include "platform/QenTime.h"
#include "signalprocessing/io/file/TrendAgeClasses.h"
#include "store/RetentionSimulation.h"

#include <array>

namespace
{
constexpr char kDetails[] =
    "What will be left of the trends at a time that is to come: runs qen db retain in memory, on a copy of what\n"
    "there is now, once at --now, or with --every so often from --from until then. Nothing is written, and no\n"
    "new entries are assumed. The result is exact, not an estimate. Ages are those at --now, before and after;\n"
    "bytes of entries are those without compression, bytes of trends those of records and documents.\n\n"
    "Examples:\n"
    "  qen db simulate --now 2027-01-01\n"
    "  qen db simulate --now 2027-01-01 --every 1h --value c0000000-0000-4000-8000-000000000011 --json";

/// What there is of one or of many characteristic values.
struct Tally
{
  std::array<unsigned long long, AgeClass::kCount> entries{}; ///< by age
  unsigned long long trends = 0;
  unsigned long long bytes = 0; ///< of records and documents

  unsigned long long AllEntries() const
  {
    unsigned long long all = 0;
    for (unsigned long long const count : entries)
      all += count;
    return all;
  }

  void Add(Tally const& more)
  {
    for (std::size_t i = 0; i < AgeClass::kCount; ++i)
      entries[i] += more.entries[i];
    trends += more.trends;
    bytes += more.bytes;
  }
};

Tally Count(DeviceDatabase& database, Uuid const& device, Uuid const& value, long long now)
{
  Tally tally;
  for (TrendSummary const& row : database.ListTrends(device, {value, {}, {}}))
  {
    auto const object = database.FindTrend(device, row.trend);
    if (!object)
      continue;
    ++tally.trends;
    tally.bytes += row.byteCount;
    Trend const trend(*object);
    for (trend_entry_t const& entry : trend.GetTrendEntryVector())
      ++tally.entries[AgeClass::Of(entry.TimeStamp, now)];
  }
  return tally;
}

class DbSimulate : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else all");
    options.AddUuid("--value", value_, "only the characteristic value with this configuration");
    retention_.AddNow(options);
    options.AddDuration("--every", every_, "runs so often until then: 1h, 1d [one run]");
    options.AddTime("--from", from_, "the first of these runs [the present]");
    retention_.AddLimits(options);
    options.AddJson(json_, "print JSON Lines (qen.db-simulate/1), one for each value, the last one for all");
  }

private:
  ExitCode Work(Report& report) override
  {
    RetentionSettings const settings = retention_.Settings();
    std::vector<long long> const runs = Runs(settings.now);
    auto const database = store_.OpenToRead();
    Outcome outcome;
    bool isKnown = !value_;
    for (Uuid const& device : store_.KnownDevices(*database))
      for (Uuid const& value : Values(*database, device))
      {
        isKnown = true;
        outcome.Add(RunGuarded(report, "device " + device.ToString() + ", value " + value.ToString(),
                               [&]
                               {
                                 Simulate(*database, device, value, settings, runs, report);
                                 return ExitCode::Good;
                               }));
      }
    if (!isKnown)
      throw ToolError(ExitCode::Unreadable,
                      store_.Name() + " holds no trend of the characteristic value " + value_->ToString());
    if (json_)
      report.Data(JsonText::Line(DescribeAll(settings, runs.size())));
    else
      Print(settings, runs.size(), report);
    return outcome.Result();
  }

  /// Of a device: the chosen value, if it has trends of that, or all that it has trends of.
  std::vector<Uuid> Values(DeviceDatabase& database, Uuid const& device) const
  {
    if (!value_)
      return database.ListTrendValues(device);
    return database.ListTrends(device, {*value_, {}, {}, 1}).empty() ? std::vector<Uuid>() : std::vector<Uuid>{*value_};
  }

  std::vector<long long> Runs(long long now) const
  {
    if (from_ && !every_)
      throw ToolError(ExitCode::Usage, "--from is the first of several runs: --every says how often");
    std::vector<long long> runs;
    if (every_)
    {
      if (*every_ <= 0)
        throw ToolError(ExitCode::Usage, "--every has no length");
      constexpr std::size_t kMostRuns = 1000000;
      long long const first = from_ ? *from_ : QenTime::Now();
      if (first > now)
        throw ToolError(ExitCode::Usage, from_ ? "--from is later than --now"
                                               : "--every runs from the present on, which is later than --now: --from "
                                                 "names an earlier time");
      for (long long time = first; time < now; time = SaturatingAdd(time, *every_))
        if (runs.push_back(time); runs.size() > kMostRuns)
          throw ToolError(ExitCode::Usage, "--every is too often: more than 1000000 runs");
    }
    runs.push_back(now);
    return runs;
  }

  void Simulate(DeviceDatabase& database, Uuid const& device, Uuid const& value, RetentionSettings settings,
                std::vector<long long> const& runs, Report& report)
  {
    RetentionSimulation simulation(database, device, value);
    long long const now = settings.now;
    Tally const before = Count(simulation.Database(), device, value, now);
    for (long long const time : runs)
    {
      settings.now = time;
      RetentionResult const result = simulation.Run(settings);
      if (!result.error.empty())
        throw ToolError(ExitCode::Unreadable, result.error);
    }
    Tally const after = Count(simulation.Database(), device, value, now);
    before_.Add(before);
    after_.Add(after);
    if (!json_)
      return;
    Json object = JsonText::Object("qen.db-simulate/1");
    object["device_uuid"] = device.ToString();
    object["characteristic_value_config_uuid"] = value.ToString();
    Describe(object, before, after);
    report.Data(JsonText::Line(object));
  }

  static void Describe(Json& object, Tally const& before, Tally const& after)
  {
    object["classes"] = Json::array();
    for (std::size_t i = 0; i < AgeClass::kCount; ++i)
      object["classes"].push_back({{"age", AgeClass::Name(i)},
                                   {"entries_before", before.entries[i]},
                                   {"entries_after", after.entries[i]},
                                   {"bytes_before", before.entries[i] * sizeof(trend_entry_t)},
                                   {"bytes_after", after.entries[i] * sizeof(trend_entry_t)}});
    object["entries_before"] = before.AllEntries();
    object["entries_after"] = after.AllEntries();
    object["trends_before"] = before.trends;
    object["trends_after"] = after.trends;
    object["trend_bytes_before"] = before.bytes;
    object["trend_bytes_after"] = after.bytes;
  }

  Json DescribeAll(RetentionSettings const& settings, std::size_t runs) const
  {
    Json object = JsonText::Object("qen.db-simulate/1");
    object["device_uuid"] = nullptr;
    JsonText::AddTime(object, "now", settings.now);
    object["runs"] = runs;
    Describe(object, before_, after_);
    return object;
  }

  void Print(RetentionSettings const& settings, std::size_t runs, Report& report) const
  {
    auto const row = [&](std::string const& name, unsigned long long before, unsigned long long after)
    {
      return "  " + Text::Left(name, 17) + Text::Right(std::to_string(before), 11) +
             Text::Right(std::to_string(after), 11);
    };
    auto const rowOfEntries = [&](std::string const& name, unsigned long long before, unsigned long long after)
    {
      report.Data(row(name, before, after) + Text::Right(std::to_string(before * sizeof(trend_entry_t)), 13) +
                  Text::Right(std::to_string(after * sizeof(trend_entry_t)), 13));
    };
    report.Data("at " + QenTime::TimeStampToString(settings.now) + ", after " + Text::Counted(runs, "run"));
    report.Data("  age                  entries      after        bytes        after");
    for (std::size_t i = 0; i < AgeClass::kCount; ++i)
      rowOfEntries(AgeClass::Name(i), before_.entries[i], after_.entries[i]);
    rowOfEntries("all", before_.AllEntries(), after_.AllEntries());
    report.Data(row("trends", before_.trends, after_.trends));
    report.Data(row("bytes of trends", before_.bytes, after_.bytes));
  }

  RetentionOptions retention_;
  std::optional<Uuid> value_;
  std::optional<long long> every_, from_;
  bool json_ = false;
  Tally before_, after_;
};
} // namespace

extern CommandEntry const kDbSimulate;
CommandEntry const kDbSimulate = {"simulate", "show what thinning will have left at a time to come", kDetails,
                                  &MakeCommand<DbSimulate>};

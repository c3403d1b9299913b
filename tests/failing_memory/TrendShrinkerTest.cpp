// Thinning of trends when memory fails: settings, merging, and whole runs.

#include "failing_memory/CommonScenarios.h"
#include "support/ShrinkRun.h"

#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr long long kNow = 100 * kDay;

ShrinkSettings Settings()
{
  ShrinkSettings settings;
  settings.maxSize = 7;
  settings.perHourOlderThanOneHour = 2;
  settings.perDayOlderThanOneDay = 12;
  settings.perDayOlderThanOneWeek = 6;
  settings.perDayOlderThanFourWeeks = 3;
  return settings;
}

std::vector<long long> TimesFrom(long long start, long long step, int count)
{
  std::vector<long long> times;
  for (int i = 0; i < count; ++i)
    times.push_back(start + i * step);
  return times;
}

TrendParts PartsOf(std::vector<long long> const& times, double limit, unsigned char uuid)
{
  TrendParts parts;
  parts.form = uuid % 2 == 0 ? zlib : no_compression;
  parts.unitString = LongText("unit");
  parts.limit = limit;
  parts.trendUuid = CountingUuid(uuid);
  parts.entries = EntriesAt(times, static_cast<unsigned char>(1 + uuid % 3), uuid);
  return parts;
}

/// Two groups, in the first of which trends overlap, of different ages.
std::vector<TrendDataDO> Trends()
{
  return StoredTrends({PartsOf(TimesFrom(kNow - 40 * kDay, 3 * kHour, 20), 0.5, 2),
                       PartsOf(TimesFrom(kNow - 39 * kDay, 5 * kHour, 20), 0.5, 3),
                       PartsOf(TimesFrom(kNow - 10 * kDay, 4 * kHour, 12), 7, 4),
                       PartsOf(TimesFrom(kNow - 5 * kHour, 20 * kMinute, 14), 7, 5)});
}

std::vector<CharacteristicValueDataDO> Values() { return ValuesAt({kNow - 40 * kDay + 6 * kHour, kNow - 4 * kHour}); }

/// A run, what it gave in either form, and what it logged. Owning what it gave takes no memory.
struct LoggedRun
{
  RecordsOfItsTime log;
  std::vector<TrendDataDO*> trends;
  ShrinkOutput ownedTrends;

  explicit LoggedRun(LogCapture& capture) : log(capture) {}
  LoggedRun(LoggedRun const&) = delete;
  LoggedRun& operator=(LoggedRun const&) = delete;
  ~LoggedRun()
  {
    for (TrendDataDO* const trend : trends)
      delete trend;
  }

  std::string Seen() const
  {
    Sight sight;
    for (TrendDataDO const* const trend : trends)
      sight.AddAllButItsUuid(*trend);
    for (std::unique_ptr<TrendDataDO> const& trend : ownedTrends)
      sight.AddAllButItsUuid(*trend);
    return sight.Text();
  }
  bool HasReportedAnUnknownException() const
  {
    std::vector<LogRecord> const records = log.Get();
    return !records.empty() && records.back().priority == log4cpp::Priority::ERROR &&
           records.back().text == "Unknown exception in function ShrinkTrends()!";
  }
};

Scenario<LoggedRun> Running(LogCapture& capture, std::function<void(LoggedRun&)> run)
{
  return {.make = [&capture] { return LoggedRun(capture); },
          .act = std::move(run),
          .see = [](LoggedRun& state) { return state.Seen(); }};
}
} // namespace

TEST(TrendShrinkerFailingMemory, SettingsAreReadWholeOrNotAtAll)
{
  DeviceDO const device = DeviceWithCleanup(
      CleanupClass("OlderThanOneHour", PerHour(2)) + CleanupClass("OlderThanOneDay", PerDay(12)) +
      CleanupClass("OlderThanOneWeek", PerDay(6) + "<vel:NoCleanup/>") + CleanupClass("OlderThanFourWeeks", PerDay(3)));
  using Result = std::optional<TrendShrinker>;
  ExpectEndures(Scenario<Result>{.make = [] { return Result(); },
                                 .act = [&](Result& result) { result.emplace(device, 7, 8); },
                                 .see =
                                     [](Result& result)
                                 {
                                   return result
                                              ? Sight::Of(result->GetMaxTrendSize(), result->GetMaxDaysTrendDuration(),
                                                          result->GetNoTrendValuesPerHourOlderThanOneHour(),
                                                          result->GetNoTrendValuesPerDayOlderThanOneDay(),
                                                          result->GetNoTrendValuesPerDayOlderThanOneWeek(),
                                                          result->GetNoTrendValuesPerDayOlderThanFourWeeks())
                                              : "";
                                 }});
  DeviceDO const wrong =
      DeviceWithCleanup(CleanupClass("OlderThanOneHour", "<vel:NumberOfRemainingTrendEntriesPerHour>no number"
                                                         "</vel:NumberOfRemainingTrendEntriesPerHour>"));
  ExpectEndures(Refusing([&] { TrendShrinker(wrong, 7, 8); }));
}

TEST(TrendShrinkerFailingMemory, TrendsAreMergedWholeOrNotAtAll)
{
  TrendShrinker const shrinker = MakeShrinker(Settings());
  Trend const first(StoredTrend(PartsOf(TimesFrom(0, 10, 150), 1, 2)));
  Trend const second(StoredTrend(PartsOf(TimesFrom(5, 7, 150), 2, 3)));
  ExpectEndures(GivingNewTrend([&] { return shrinker.MergeTrends(first, second); }));
}

TEST(TrendShrinkerFailingMemory, RunThatMustNotThrowGivesTheTrendsThatAreMadeAndReportsTheRest)
{
  LogCapture capture(kTrendShrinkerCategory);
  TrendShrinker shrinker = MakeShrinker(Settings());
  std::vector<TrendDataDO> const trends = Trends();
  std::vector<CharacteristicValueDataDO> const values = Values();
  Scenario<LoggedRun> scenario =
      Running(capture, [&](LoggedRun& run) { run.trends = shrinker.ShrinkTrends(kNow, trends, values); });
  scenario.faultOfSuccess = [](LoggedRun& run, Attempt const& attempt) -> std::string
  {
    std::string const seen = run.Seen();
    if (seen == attempt.reference)
      return "";
    if (!attempt.reference.starts_with(seen))
      return "trends differ";
    // When everything fails from some place on, the record does too.
    bool const mayBeLost = attempt.span == FailureSpan::kPersistently;
    return mayBeLost || run.HasReportedAnUnknownException() ? "" : "run ended early without a record";
  };
  ExpectEndures(scenario);
}

TEST(TrendShrinkerFailingMemory, RunThatThrowsGivesAllTrendsOrNone)
{
  LogCapture capture(kTrendShrinkerCategory);
  TrendShrinker shrinker = MakeShrinker(Settings());
  std::vector<TrendDataDO> const trends = Trends();
  std::vector<CharacteristicValueDataDO> const values = Values();
  Scenario<LoggedRun> scenario =
      Running(capture, [&](LoggedRun& run) { run.ownedTrends = shrinker.ShrinkTrendsOrThrow(kNow, trends, values); });
  // The sink holds the records.
  scenario.faultOfFailure = [](LoggedRun& run, Attempt const&) -> std::string
  { return run.ownedTrends.empty() ? "" : "failed and gave trends"; };
  ExpectEndures(scenario);
}

TEST(TrendShrinkerFailingMemory, DamagedTrendIsReportedOrTheReportIsLost)
{
  LogCapture capture(kTrendShrinkerCategory);
  TrendShrinker shrinker = MakeShrinker(Settings());
  std::vector<TrendDataDO> trends = Trends();
  Bytes cut = trends[2].getData();
  cut.pop_back();
  trends[2].setData(cut);
  std::vector<CharacteristicValueDataDO> const values = Values();
  ExpectEndures(Running(capture, [&](LoggedRun& run) { run.trends = shrinker.ShrinkTrends(kNow, trends, values); }));
  Scenario<LoggedRun> throwing =
      Running(capture, [&](LoggedRun& run) { run.ownedTrends = shrinker.ShrinkTrendsOrThrow(kNow, trends, values); });
  ExpectEndures(throwing);
}

TEST(TrendShrinkerFailingMemory, MaximumTrendSizeOfZeroIsRefusedOrTheRefusalFindsNoMemory)
{
  ShrinkSettings settings = Settings();
  settings.maxSize = 0;
  TrendShrinker shrinker = MakeShrinker(settings);
  std::vector<TrendDataDO> const trends = Trends();
  ExpectEndures(Refusing([&] { shrinker.ShrinkTrendsOrThrow(kNow, trends, {}); }));
}

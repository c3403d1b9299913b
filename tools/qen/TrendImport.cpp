#include "Command.h"
#include "DetailsText.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "OutputPlan.h"
#include "Text.h"
#include "TrendCsv.h"
#include "TrendFile.h"
#include "TrendOutput.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr char const* kExtensions[] = {".csv"};
/// Streams of entries count their bytes in 31 bits.
constexpr unsigned long long kMostEntries = std::numeric_limits<int>::max() / sizeof(trend_entry_t);

constexpr char kDetails[] =
    "Rows of a time stamp and a value, columns separated by comma, semicolon or tab, and a status and other\n"
    "numbers of the entry where there are columns for them. A first line without a number or a time stamp\n"
    "names the columns; lines that begin with # and blank lines are skipped. Columns named time, value,\n"
    "status, aux_float1, aux_float2, aux_byte and aux_float3 need no option: tables of qen trend dump come\n"
    "back as they were. --status '' takes no such column.\n\n"
    "Time stamps are ISO 8601 text (without a zone: UTC), or numbers since 1970, which need --time-unit; both\n"
    "down to microseconds. Rows that step back in time are sorted, repeated times kept; a note counts both.\n"
    "A row without a value ends the import unless --skip-bad is given. Values become float64.\n\n"
    "NAME.csv gives NAME.qtr and NAME.xml beside it; with --split NAME-1.qtr, NAME-2.qtr and so on, all of\n"
    "them or none. The unit may stand in the value's column name: \"rms [mm/s]\".\n\n"
    "Examples:\n"
    "  qen trend import rms.csv --unit mm/s --limit 4.5\n"
    "  qen trend import log.csv --time epoch_us --time-unit us --value rms_mg --skip-bad -d trends\n"
    "  qen trend import rms.csv --split 10000 --compression gzip";

class TrendImport : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "CSV files").Required();
    reader_.AddOptions(options);
    options.AddDetailsText("--unit", unit_, "of the values, as text [from the column's name]");
    options.AddUuid("--unit-uuid", unitUuid_, "of the unit [null]");
    options.AddUuid("--config", config_, "characteristic value configuration [null]");
    options.AddNumber("--limit", limit_, "lower pre-alarm limit [0]");
    options.AddCompression(compression_, "none, zlib or gzip [zlib]");
    options.AddCount("--split", split_, "into files of at most so many entries");
    plan_.AddOptions(options);
    options.AddJson(json_, "print what was made as JSON Lines (qen.trend-import/1)");
  }

  ExitCode Run(Report& report) override
  {
    if (split_ == 0ULL)
      throw ToolError(ExitCode::Usage, "--split 0 leaves no room for entries");
    InputFiles const inputs = InputFiles::Expand(arguments_, kExtensions);
    plan_.RequireRoomFor(inputs.files.size());
    return inputs.ForEach(report, [&](std::string const& file) { return Import(file, report); });
  }

private:
  ExitCode Import(std::string const& file, Report& report)
  {
    InputFile const input(file);
    TrendCsvReader::Result const table = reader_.Read(input);
    for (std::string const& remark : table.remarks)
      report.Note(file, remark);
    unsigned long long const size = split_.value_or(kMostEntries);
    auto const parts = static_cast<std::size_t>((table.entries.size() - 1) / size + 1);
    plan_.RequireRoomFor(parts);
    if (size > kMostEntries || (parts > 1 && !split_))
      throw ToolError(ExitCode::Unreadable,
                      "has more entries than the " + std::to_string(kMostEntries) + " of one trend: --split");
    std::list<TrendOutput> outputs;
    std::vector<Trend> trends;
    for (std::size_t part = 0; part < parts; ++part)
    {
      auto const first = table.entries.begin() + static_cast<std::ptrdiff_t>(part * size);
      unsigned long long const count = std::min(size, table.entries.size() - part * size);
      trends.push_back(MakeTrend(table, first, first + static_cast<std::ptrdiff_t>(count)));
      std::string const suffix = parts > 1 ? "-" + std::to_string(part + 1) : "";
      outputs.emplace_back(plan_.Target(file, suffix, TrendFile::kExtension), plan_.Existing());
      outputs.back().Write(*std::unique_ptr<TrendDataDO>(trends.back().GetTrendDataDO()));
    }
    TrendOutput::Commit(outputs);
    auto trend = trends.begin();
    for (TrendOutput const& output : outputs)
      Tell(file, output.Path(), table, *trend++, report);
    return ExitCode::Good;
  }

  using Position = std::deque<trend_entry_t>::const_iterator;

  Trend MakeTrend(TrendCsvReader::Result const& table, Position const& first, Position const& end) const
  {
    Trend trend(config_.value_or(Uuid()), Uuid(), unitUuid_.value_or(Uuid()), UnitOf(table), limit_.value_or(0));
    trend.AddTrendEntries(first, end);
    trend.SetCompression(compression_.value_or(zlib));
    return trend;
  }

  std::string UnitOf(TrendCsvReader::Result const& table) const
  {
    if (unit_)
      return *unit_;
    std::string const problem = DetailsText::Problem(table.unit);
    if (!problem.empty())
      throw ToolError(ExitCode::Unreadable, "the unit in the column's name, " + Text::Quoted(table.unit) + ", " +
                                                problem + ": --unit gives another one");
    return table.unit;
  }

  void Tell(std::string const& file, std::string const& target, TrendCsvReader::Result const& table, Trend const& trend,
            Report& report) const
  {
    if (!json_)
      return report.Say(Text::Printable(file) + " -> " + OutputFile::Show(target) + ": " + TrendFile::Summary(trend));
    Json object = JsonText::Object("qen.trend-import/1");
    JsonText::AddPath(object, "input", file);
    JsonText::AddPath(object, "file", target);
    object["trend_uuid"] = trend.GetTrendUuid().ToString();
    object["entry_count"] = trend.GetNumberOfEntries();
    JsonText::AddTime(object, "first_time", trend.GetFirstTimeStamp());
    JsonText::AddTime(object, "last_time", trend.GetLastTimeStamp());
    object["unit"] = trend.GetSignalUnitString();
    JsonText::AddEnumerator(object, "compression", Names::Find(Names::Compressions(), trend.GetCompression()),
                            trend.GetCompression());
    object["skipped_rows"] = table.skipped;
    object["backward_steps"] = table.backwardSteps;
    object["repeated_times"] = table.repeatedTimes;
    report.Data(JsonText::Line(object));
  }

  std::vector<std::string> arguments_;
  TrendCsvReader reader_;
  std::optional<std::string> unit_;
  std::optional<Uuid> unitUuid_, config_;
  std::optional<double> limit_;
  std::optional<compression32_t> compression_;
  std::optional<unsigned long long> split_;
  OutputPlan plan_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kTrendImport;
CommandEntry const kTrendImport = {"import", "make trend files of CSV tables", kDetails, &MakeCommand<TrendImport>};

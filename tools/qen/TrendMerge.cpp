#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Text.h"
#include "TrendFamily.h"
#include "TrendFile.h"
#include "TrendOutput.h"

#include "signalprocessing/io/file/TrendShrinker.h"

namespace
{
constexpr char kDetails[] =
    "Makes one trend of two of the same characteristic value: the entries of both by time; of equal times the\n"
    "entry of the trend that begins first comes first, and both are kept. The result is a new trend with the\n"
    "unit and limit of both, which must agree.\n\n"
    "Examples:\n"
    "  qen trend merge january.qtr february.qtr -o winter.qtr";

class TrendMerge : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", files_, 2, "two trend files").Required();
    options.AddText("-o,--output", "FILE", output_, "write to this file; - is standard output").Required();
    options.AddUuid("--base-uuid", base_, "base of the configuration, which files do not carry [null]");
    options.AddCompression(compression_, "none, zlib or gzip [that of the first]");
    options.AddFlag("--force", force_, "replace a file that exists");
    options.AddJson(json_, "print what was made as JSON (qen.trend-merge/1)");
  }

  ExitCode Run(Report& report) override
  {
    TrendFamily family(base_.value_or(Uuid()));
    ExitCode const code = InputFiles{files_, {}}.ForEach(report,
                                                         [&](std::string const& file)
                                                         {
                                                           family.Add(file);
                                                           return ExitCode::Good;
                                                         });
    if (code != ExitCode::Good)
      return ExitCode::Unreadable;
    family.SortByTime();
    family.RequireSameLimit();
    Trend const& first = family.Members().front().loaded.trend;
    Trend const& second = family.Members().back().loaded.trend;
    Trend merged = TrendShrinker(DeviceDO(), 1, 0).MergeTrends(first, second);
    merged.SetCompression(compression_.value_or(first.GetCompression()));
    std::list<TrendOutput> outputs;
    outputs.emplace_back(output_, force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    outputs.back().Write(*std::unique_ptr<TrendDataDO>(merged.GetTrendDataDO()));
    TrendOutput::Commit(outputs);
    Tell(merged, report);
    return ExitCode::Good;
  }

private:
  void Tell(Trend const& merged, Report& report) const
  {
    unsigned long long const repeated = TrendFile::RepeatedTimes(merged);
    if (!json_)
      return report.Say(Text::Printable(files_[0]) + ", " + Text::Printable(files_[1]) + " -> " +
                        OutputFile::Show(output_) + ": " + TrendFile::Summary(merged) +
                        (repeated == 0 ? "" : ", " + Text::Counted(repeated, "repeated time")));
    Json object = JsonText::Object("qen.trend-merge/1");
    JsonText::AddPath(object, "file", output_);
    object["trend_uuid"] = merged.GetTrendUuid().ToString();
    object["characteristic_value_config_base_uuid"] = merged.GetCharacteristicValueConfigBaseUuid().ToString();
    object["entry_count"] = merged.GetNumberOfEntries();
    object["repeated_times"] = repeated;
    report.Data(JsonText::Line(object));
  }

  std::vector<std::string> files_;
  std::string output_;
  std::optional<Uuid> base_;
  std::optional<compression32_t> compression_;
  bool force_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kTrendMerge;
CommandEntry const kTrendMerge = {"merge", "make one trend of two", kDetails, &MakeCommand<TrendMerge>};

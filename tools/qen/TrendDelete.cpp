#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Text.h"
#include "TrendFile.h"
#include "TrendOutput.h"

namespace
{
constexpr char kDetails[] =
    "Takes the entries with --from <= time <= --to out of a trend, which stays the same trend otherwise. The\n"
    "result goes to -o, or replaces the file with --in-place. Its document and record are each replaced in\n"
    "one step, one after the other; should the machine stop in between, the trend is as it was and only its\n"
    "document already tells of the deletion (qen trend info says so): run the same command again.\n\n"
    "Examples:\n"
    "  qen trend delete rms.qtr --from 2026-11-20 --to 2026-11-20T23:59:59.999999Z -o clean.qtr\n"
    "  qen trend delete rms.qtr --from 2026-11-20T08:00:00Z --to 2026-11-20T08:15:00Z --in-place";

class TrendDelete : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("FILE", file_, "a trend file").Required();
    options.AddTime("--from", from_, "first time stamp to delete").Required();
    options.AddTime("--to", to_, "last time stamp to delete").Required();
    options.AddText("-o,--output", "FILE", output_, "write to this file; - is standard output");
    options.AddFlag("--in-place", inPlace_, "replace the file").Excludes("--output");
    options.AddFlag("--force", force_, "replace a file that exists");
    options.AddJson(json_, "print what was done as JSON (qen.trend-delete/1)");
  }

  ExitCode Run(Report& report) override
  {
    if (output_.empty() && !inPlace_)
      throw ToolError(ExitCode::Usage, "delete needs -o, or --in-place to change the file itself");
    if (*to_ < *from_)
      throw ToolError(ExitCode::Usage, "--to lies before --from");
    if (inPlace_ && file_ == "-")
      throw ToolError(ExitCode::Usage, "standard input cannot be changed in place");
    return InputFiles{{file_}, {}}.ForEach(report, [&](std::string const& file) { return Delete(file, report); });
  }

private:
  ExitCode Delete(std::string const& file, Report& report) const
  {
    Trend trend = TrendFile::Read(InputFile(file), Uuid()).trend;
    unsigned int const before = trend.GetNumberOfEntries();
    trend.DeleteTrendEntries(*from_, *to_);
    unsigned int const deleted = before - trend.GetNumberOfEntries();
    if (deleted != 0 || !inPlace_)
      Write(trend);
    std::string const target = inPlace_ ? file : output_;
    if (!json_)
      report.Say(Text::Printable(file) + (inPlace_ ? "" : " -> " + OutputFile::Show(target)) + ": " +
                 Text::Counted(deleted, "entry", "entries") + " deleted, " + TrendFile::Summary(trend) + " left");
    else
      report.Data(Describe(file, target, trend, deleted));
    return ExitCode::Good;
  }

  void Write(Trend const& trend) const
  {
    std::list<TrendOutput> outputs;
    outputs.emplace_back(inPlace_ ? file_ : output_,
                         inPlace_ || force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    outputs.back().Write(*std::unique_ptr<TrendDataDO>(trend.GetTrendDataDO()));
    TrendOutput::Commit(outputs);
  }

  static std::string Describe(std::string const& file, std::string const& target, Trend const& trend, unsigned deleted)
  {
    Json object = JsonText::Object("qen.trend-delete/1");
    JsonText::AddPath(object, "input", file);
    JsonText::AddPath(object, "file", target);
    object["trend_uuid"] = trend.GetTrendUuid().ToString();
    object["deleted"] = deleted;
    object["entry_count"] = trend.GetNumberOfEntries();
    return JsonText::Line(object);
  }

  std::string file_;
  std::optional<long long> from_, to_;
  std::string output_;
  bool inPlace_ = false;
  bool force_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kTrendDelete;
CommandEntry const kTrendDelete = {"delete", "take a stretch of time out of a trend", kDetails,
                                   &MakeCommand<TrendDelete>};

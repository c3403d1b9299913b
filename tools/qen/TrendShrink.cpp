#include "Command.h"
#include "DeviceSettings.h"
#include "Duration.h"
#include "InputFiles.h"
#include "Json.h"
#include "OutputPlan.h"
#include "ShrinkPlan.h"
#include "ShrinkReport.h"
#include "Text.h"
#include "TrendCsv.h"
#include "TrendReplacement.h"

#include "platform/QenTime.h"

#include <filesystem>
#include <limits>

namespace
{
namespace fs = std::filesystem;

constexpr char const* kExtensions[] = {TrendFile::kExtension};
constexpr unsigned long long kDefaultMaxSize = 100000;
constexpr unsigned long long kDefaultMaxDays = 366;

constexpr char kDetails[] =
    "Thins the trends of one characteristic value by age as the device does: of each hour or day that is old\n"
    "enough so many slots keep, for each status class, the entry nearest to the slot's middle. Entries stay\n"
    "as they were measured; none is averaged. --settings has the classes older than 1 hour, 1 day, 7 and 28\n"
    "days; one that is left out keeps everything. --pins names times, say of stored measurements, whose\n"
    "entries are kept in preference.\n\n"
    "Prints the plan and writes nothing until --apply is given. Before it writes, it checks that every entry\n"
    "of the result is one of the old entries bit for bit and that all entries younger than an hour are there.\n"
    "Results are new trends named UUID.qtr, in the folder of the oldest file or in -o.\n\n"
    "With -o the old files stay. Without, they are removed once all new ones are complete and on the disk. If\n"
    "the machine stops in between, nothing is lost: run the same command again. By a list, .shrink-UUID, that\n"
    "lies beside the new files meanwhile, it finishes what was begun, and does no more then, or takes it back\n"
    "first. Temporary files .qen-* that are left can be deleted. A note tells when entries stand in more than\n"
    "one file.\n"
    "Thin a stretch once per class: each further run takes a little more, since slots begin anew.\n\n"
    "Examples:\n"
    "  qen trend shrink trends --settings 1h:60/h,1d:24/d,7d:4/d,28d:1/d\n"
    "  qen trend shrink rms.qtr --settings 28d:24/d --pins measurements.csv --apply\n"
    "  qen trend shrink rms.qtr --device device.xml --now 2028-01-01 --json";

class TrendShrink : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "trend files of one characteristic value").Required();
    settings_.AddOptions(options, "--device");
    options.AddTime("--now", now_, "the time from which ages count [the present]");
    options.AddCount("--max-size", maxSize_, "most entries of one new trend [100000]");
    options.AddCount("--max-days", maxDays_, "handed to the thinning; never shortens below --max-size [366]");
    options.AddUuid("--base-uuid", base_, "base of the configuration, which files do not carry [null]");
    options.AddText("--pins", "FILE", pinsFile_, "CSV table of time stamps to keep in preference");
    pins_.AddOptions(options);
    options.AddText("-o,-d,--directory", "DIR", directory_, "write into this folder and leave the old files");
    options.AddFlag("--apply", apply_, "write the result");
    options.AddJson(json_, "print the plan as JSON (qen.trend-shrink/1)");
  }

  ExitCode Run(Report& report) override
  {
    RequireOptions();
    InputFiles inputs = InputFiles::Expand(arguments_, kExtensions);
    if (inputs.problems.empty())
    {
      if (SettleEarlierRuns(inputs.files, report))
        return ExitCode::Good;
      inputs = InputFiles::Expand(arguments_, kExtensions); // some may have been taken back
    }
    TrendShrinker shrinker = settings_.MakeShrinker(static_cast<unsigned int>(maxSize_.value_or(kDefaultMaxSize)),
                                                    static_cast<unsigned int>(maxDays_.value_or(kDefaultMaxDays)));
    std::vector<long long> const pins = ReadPins();
    TrendFamily family(base_.value_or(Uuid()));
    ExitCode const code = ReadAll(inputs, family, report);
    if (code != ExitCode::Good)
      return code;
    family.SortByTime();
    ShrinkPlan const plan(family, shrinker, now_.value_or(presentTime_), pins);
    if (plan.SharedEntries() != 0)
      report.Say("qen: " + Text::Counted(plan.SharedEntries(), "entry stands", "entries stand") +
                 " in more than one file");
    std::vector<std::string> targets = Targets(family, plan);
    if (apply_ && !plan.Results().empty())
      Apply(family, plan, targets);
    if (json_)
      PrintJson(family, plan, shrinker, targets, report);
    else
      Print(family, plan, shrinker, targets, report);
    return ExitCode::Good;
  }

private:
  void RequireOptions() const
  {
    if (!settings_.IsGiven())
      throw ToolError(ExitCode::Usage, "shrink needs --settings or --device");
    if (maxSize_ == 0ULL)
      throw ToolError(ExitCode::Usage, "--max-size 0 leaves no room for entries");
    for (auto const& limit : {maxSize_, maxDays_})
      if (limit.value_or(0) > std::numeric_limits<unsigned int>::max())
        throw ToolError(ExitCode::Usage, std::to_string(*limit) + " is more than 4294967295");
    bool const removes = apply_ && directory_.empty();
    for (std::string const& argument : arguments_)
      if (removes && argument == "-")
        throw ToolError(ExitCode::Usage, "standard input cannot be replaced: -o");
  }

  /// @return whether one of them is what this run was asked for; it is done, then
  bool SettleEarlierRuns(std::vector<std::string> const& files, Report& report) const
  {
    std::vector<std::string> folders;
    if (!directory_.empty())
      folders.push_back(directory_);
    for (std::string const& file : files)
      folders.push_back(fs::path(file).parent_path().native());
    bool isDone = false;
    for (TrendReplacement& run : TrendReplacement::Find(folders, files))
    {
      if (!apply_)
        report.Note(run.Path(), "tells of a run that ended early; --apply settles it");
      else if (run.Settle())
        isDone = TellOfFinished(run, report);
      else
        report.Say("qen: a run that ended early was taken back: all of its old files are there");
    }
    return isDone;
  }

  bool TellOfFinished(TrendReplacement const& run, Report& report) const
  {
    Json object = JsonText::Object("qen.trend-shrink-finished/1");
    object["results"] = Json::array();
    for (std::string const& file : run.NewFiles())
    {
      Json result;
      JsonText::AddPath(result, "file", file);
      object["results"].push_back(result);
      if (!json_)
        report.Say(Text::Printable(file) + ": in its place");
    }
    if (json_)
      report.Data(JsonText::Line(object));
    report.Say("qen: a run that ended early was finished; nothing else was done");
    return true;
  }

  std::vector<long long> ReadPins() const
  {
    if (pinsFile_.empty())
      return {};
    try
    {
      return pins_.Read(InputFile(pinsFile_));
    }
    catch (ToolError const& error)
    {
      throw ToolError(error.Code(), Text::Printable(pinsFile_) + ": " + Text::Printable(error.what()));
    }
  }

  /// All or none: what is missing would be missing from the result.
  static ExitCode ReadAll(InputFiles const& inputs, TrendFamily& family, Report& report)
  {
    ExitCode const code = inputs.ForEach(report,
                                         [&](std::string const& file)
                                         {
                                           family.Add(file);
                                           return ExitCode::Good;
                                         });
    return code == ExitCode::PartlyDone ? ExitCode::Unreadable : code;
  }

  std::vector<std::string> Targets(TrendFamily const& family, ShrinkPlan const& plan) const
  {
    fs::path folder = directory_;
    if (directory_.empty())
      folder = fs::path(family.Members().front().path).parent_path();
    std::vector<std::string> targets;
    for (auto const& result : plan.Results())
      targets.push_back((folder / (result->getCurrentUuid().getUuid().ToString() + TrendFile::kExtension)).native());
    return targets;
  }

  void Apply(TrendFamily const& family, ShrinkPlan const& plan, std::vector<std::string> const& targets) const
  {
    if (!directory_.empty())
      OutputPlan::MakeFolder(directory_);
    TrendReplacement replacement(fs::path(targets.front()).parent_path().native());
    for (TrendFamily::Member const& member : family.Members())
      replacement.AddOld(member, directory_.empty());
    std::list<TrendOutput> outputs;
    for (std::size_t i = 0; i < targets.size(); ++i)
    {
      replacement.AddNew(plan.Results()[i]->getCurrentUuid().getUuid());
      outputs.emplace_back(targets[i], OutputFile::Existing::Refuse);
      outputs.back().Write(*plan.Results()[i]);
    }
    replacement.Commit(outputs);
  }

  void Print(TrendFamily const& family, ShrinkPlan const& plan, TrendShrinker const& shrinker,
             std::vector<std::string> const& targets, Report& report) const
  {
    PrintAges(plan, shrinker, report);
    PrintTotals({family.Members().size(), plan.Results().size()}, plan, report);
    if (!apply_)
      return report.Say("qen: nothing was written; --apply does it");
    for (std::size_t i = 0; i < targets.size(); ++i)
      report.Say(Text::Printable(targets[i]) + ": " + TrendFile::Summary(Trend(*plan.Results()[i])));
  }

  void PrintJson(TrendFamily const& family, ShrinkPlan const& plan, TrendShrinker const& shrinker,
                 std::vector<std::string> const& targets, Report& report) const
  {
    Json object = JsonText::Object("qen.trend-shrink/1");
    object["applied"] = apply_;
    JsonText::AddTime(object, "now", now_.value_or(presentTime_));
    object["inputs"] = Json::array();
    for (TrendFamily::Member const& member : family.Members())
    {
      Json input;
      JsonText::AddPath(input, "file", member.path);
      input["trend_uuid"] = member.loaded.trend.GetTrendUuid().ToString();
      input["entry_count"] = member.loaded.trend.GetNumberOfEntries();
      object["inputs"].push_back(input);
    }
    object["results"] = Json::array();
    for (std::size_t i = 0; i < targets.size(); ++i)
      object["results"].push_back(Describe(targets[i], *plan.Results()[i]));
    object["classes"] = DescribeAges(plan, shrinker);
    object["entries_before"] = plan.AllEntries().before;
    object["entries_after"] = plan.AllEntries().after;
    object["pinned_before"] = plan.PinnedEntries().before;
    object["pinned_after"] = plan.PinnedEntries().after;
    object["file_bytes_before"] = plan.Bytes().before;
    object["file_bytes_after"] = plan.Bytes().after;
    report.Data(JsonText::Line(object));
  }

  static Json Describe(std::string const& target, TrendDataDO const& result)
  {
    Json object;
    JsonText::AddPath(object, "file", target);
    object["trend_uuid"] = result.getCurrentUuid().getUuid().ToString();
    object["characteristic_value_config_base_uuid"] =
        result.getCharacteristicValueConfigBaseUuid().getUuid().ToString();
    object["entry_count"] = result.getNumSamples();
    JsonText::AddTime(object, "first_time", result.getFirstTimeStamp());
    JsonText::AddTime(object, "last_time", result.getLastTimeStamp());
    object["closed"] = result.getClosed();
    return object;
  }

  std::vector<std::string> arguments_;
  DeviceSettings settings_;
  std::optional<long long> now_;
  std::optional<unsigned long long> maxSize_, maxDays_;
  std::optional<Uuid> base_;
  std::string pinsFile_;
  TimeTableReader pins_;
  std::string directory_;
  bool apply_ = false;
  bool json_ = false;
  long long const presentTime_ = QenTime::Now();
};
} // namespace

extern CommandEntry const kTrendShrink;
CommandEntry const kTrendShrink = {"shrink", "thin trends by age", kDetails, &MakeCommand<TrendShrink>};

#include "CommandGroup.h"
#include "Report.h"
#include "Text.h"

#include "store/DatabaseException.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace
{
constexpr char kIntroduction[] =
    "Time signal files (.qts): measured machine vibration, one signal a file, exact and checksummed.\n"
    "Makes them from WAV and CSV recordings, shows, checks and converts them, adds units and other details,\n"
    "keeps many in one archive, and gives recordings back. Makes, shows and thins trends (.qtr).\n"
    "Keeps everything of a device in a database.\n";
constexpr char kClosing[] =
    "NAME.qts has its details document NAME.xml beside it: unit, validators, trigger, characteristic values.\n"
    "Data goes to standard output, messages to standard error. FILE may be a directory, which stands for\n"
    "all files below it, and - is standard input or output.\n"
    "Exit status: 0 good, 1 damage or a difference found, 2 wrong usage, 3 unreadable input,\n"
    "4 some inputs done and some not, 5 a result cannot be written or a database failed.\n\n"
    "qen COMMAND --help explains a command with examples. Start with: qen demo";

/// Help that names each option's value and nothing more.
class HelpFormatter : public CLI::Formatter
{
public:
  HelpFormatter()
  {
    constexpr std::size_t kColumnWidth = 28;
    column_width(kColumnWidth);
    label("SUBCOMMAND", "COMMAND");
    label("Positionals", "Arguments");
  }
  std::string make_option_opts(CLI::Option const* option) const override
  {
    return option->get_type_name().empty() ? "" : " " + option->get_type_name();
  }
};

/// What the user wants to hear, which every command lets him say.
struct Talk
{
  bool quiet = false;
  bool verbose = false;

  Report::Level Level() const
  {
    return quiet ? Report::Level::Quiet : verbose ? Report::Level::Verbose : Report::Level::Normal;
  }
};

bool AnyPart(CLI::App* /*part*/) { return true; }

/// Adds -q and -v to every command, and to its parts: they may stand before and behind the name of a part.
void AddTalkOptions(CLI::App& app, Talk& talk)
{
  for (CLI::App* const command : app.get_subcommands(AnyPart))
  {
    OptionSet options(*command);
    options.AddFlag("-q,--quiet", talk.quiet, "say nothing but errors");
    options.AddFlag("-v,--verbose", talk.verbose, "say more").Excludes("--quiet");
    AddTalkOptions(*command, talk);
  }
}

/// The arguments, in the reverse order in which CLI11 wants them.
std::vector<std::string> Arguments(int argc, char const* const* argv)
{
  std::vector<std::string> arguments(argv + 1, argv + argc);
  if (!arguments.empty() && arguments[0] == "help") // qen help [COMMAND]
  {
    arguments.erase(arguments.begin());
    arguments.emplace_back("--help");
  }
  // CLI11 has a use of its own for "[a,b]" and "++", which may be names of files.
  for (std::size_t i = 1; i < arguments.size(); ++i)
  {
    std::string& argument = arguments[i];
    bool const isTaken = argument == "++" || (argument.starts_with('[') && argument.ends_with(']'));
    if (isTaken && arguments[i - 1] != "--column" && arguments[i - 1] != "--unit")
      argument.insert(0, "./");
  }
  return {arguments.rbegin(), arguments.rend()};
}

ExitCode ReportParseResult(CLI::App& app, CLI::ParseError const& result, std::string const& firstArgument,
                           Report& report)
{
  std::ostringstream text;
  if (result.get_exit_code() == 0)
  {
    app.exit(result, text, text);
    std::string help = text.str();
    while (help.ends_with('\n'))
      help.pop_back();
    report.Data(help);
    return ExitCode::Good;
  }
  bool const hasCommand = !app.get_subcommands().empty();
  CLI::App* part = &app;
  std::string command = "qen";
  while (!part->get_subcommands().empty())
  {
    part = part->get_subcommands().front();
    command += " " + part->get_name();
  }
  std::vector<std::string> missing;
  for (CLI::App const* const next : part->get_subcommands(AnyPart))
    missing.push_back(next->get_name());
  if (firstArgument.empty())
    report.Error("which command?\n\n" + app.help());
  else if (!hasCommand)
    report.Error("there is no command or option \"" + Text::Printable(firstArgument) + "\" (qen --help explains)");
  else if (!missing.empty())
    report.Error(part->get_name() + " needs one of " + Text::Join(missing, ", ") + " (" + command +
                 " --help explains)");
  else
    report.Error(Text::Printable(result.what()) + " (" + command + " --help explains)");
  return ExitCode::Usage;
}

ExitCode Run(int argc, char const* const* argv, Report& report)
{
  CLI::App app(kIntroduction, "qen");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "show this help");
  app.footer(kClosing);
  app.set_version_flag("--version", "qen " QEN_VERSION, "show the version");
  CommandGroup commands("Commands", CommandTable());
  OptionSet options(app);
  commands.Define(options);
  Talk talk;
  AddTalkOptions(app, talk);
  try
  {
    app.parse(Arguments(argc, argv));
  }
  catch (CLI::ParseError const& result)
  {
    return ReportParseResult(app, result, argc > 1 ? argv[1] : "", report);
  }
  report.SetLevel(talk.Level());
  return commands.Run(report);
}

/// Runs the tool; whatever no command caught becomes a message.
ExitCode RunGuarded(int argc, char const* const* argv, Report& report)
{
  try
  {
    return Run(argc, argv, report);
  }
  catch (ToolError const& error)
  {
    report.Error(error.what());
    return error.Code();
  }
  catch (DatabaseException const& error)
  {
    report.Error(Text::Printable(error.what()));
    return ExitCode::Disk;
  }
  catch (std::exception const& error)
  {
    report.Error(error.what());
    return ExitCode::Unreadable;
  }
}
} // namespace

int main(int argc, char** argv)
{
  std::signal(SIGXFSZ, SIG_IGN); // a file beyond the limit is an error of writing like a full disk
  Report report;
  ExitCode code = RunGuarded(argc, argv, report);
  if (!report.Finish())
  {
    report.Error("standard output cannot be written");
    code = ExitCode::Disk;
  }
  return static_cast<int>(code);
}

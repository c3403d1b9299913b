#pragma once

#include "ExitCode.h"
#include "OptionSet.h"
#include "Report.h"

#include <memory>
#include <span>

/// One verb of the tool. An object lives for one call: options are defined, the command line is read, the command runs.
class Command
{
public:
  Command() = default;
  Command(Command const&) = delete;
  Command& operator=(Command const&) = delete;
  virtual ~Command() = default;

  /// Adds the command's own options, bound to members of the object; -q and -v come by themselves.
  virtual void Define(OptionSet& options) = 0;
  /// Failures of single files are reported and become the exit status; a ToolError that leaves ends the call.
  virtual ExitCode Run(Report& report) = 0;
};

/// How the tool knows a command. To add one: write its file, name its entry in CommandTable.cpp.
struct CommandEntry
{
  char const* name;
  char const* summary; ///< one line
  char const* details; ///< explanation and examples at the end of --help
  std::unique_ptr<Command> (*make)();
};

template <class T>
std::unique_ptr<Command> MakeCommand()
{
  return std::make_unique<T>();
}

/// All commands in the order of the help.
std::span<CommandEntry const* const> CommandTable();

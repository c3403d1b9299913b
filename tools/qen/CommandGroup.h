#pragma once

#include "Command.h"

#include <vector>

/// A command that consists of others, one of which is named behind it: qen trend import.
class CommandGroup : public Command
{
public:
  /// The entries are listed in the help under `heading`.
  CommandGroup(char const* heading, std::span<CommandEntry const* const> entries) : heading_(heading), entries_(entries)
  {
  }

  void Define(OptionSet& options) override;
  ExitCode Run(Report& report) override { return chosen_->Run(report); }

private:
  char const* heading_;
  std::span<CommandEntry const* const> entries_;
  std::vector<std::unique_ptr<Command>> commands_;
  Command* chosen_ = nullptr;
};

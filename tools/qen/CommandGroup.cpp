#include "CommandGroup.h"

void CommandGroup::Define(OptionSet& options)
{
  for (CommandEntry const* const entry : entries_)
  {
    Command* const command = commands_.emplace_back(entry->make()).get();
    OptionSet ofCommand = options.AddCommand(heading_, *entry, [this, command] { chosen_ = command; });
    command->Define(ofCommand);
  }
}

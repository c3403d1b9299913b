#include "Command.h"

extern CommandEntry const kImportCommand, kInfoCommand, kVerifyCommand, kConvertCommand, kExportCommand,
    kAnnotateCommand, kDetailsCommand, kArchiveCommand, kTrendCommand, kDbCommand, kDemoCommand;

std::span<CommandEntry const* const> CommandTable()
{
  static constexpr CommandEntry const* kCommands[] = {
      &kImportCommand,  &kInfoCommand,    &kVerifyCommand, &kConvertCommand, &kExportCommand, &kAnnotateCommand,
      &kDetailsCommand, &kArchiveCommand, &kTrendCommand,  &kDbCommand,      &kDemoCommand};
  return kCommands;
}

#include "StoreCommand.h"

#include "Text.h"

#include "store/DatabaseException.h"

ExitCode StoreCommand::Run(Report& report)
try
{
  return Work(report);
}
catch (NoStoreException const&)
{
  throw ToolError(ExitCode::Disk, store_.Name() + " holds no store: qen db init makes one");
}
catch (DatabaseException const& error)
{
  std::string const text = Text::Printable(error.what());
  // A file that cannot be opened is in the message already.
  bool const isNamed = text.starts_with("open " + store_.Name() + ": ");
  throw ToolError(ExitCode::Disk, isNamed ? text : store_.Name() + ": " + text);
}

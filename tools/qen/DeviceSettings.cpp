#include "DeviceSettings.h"

#include "ExitCode.h"
#include "OptionSet.h"
#include "Text.h"
#include "TrendSettings.h"

void DeviceSettings::AddOptions(OptionSet& options, std::string const& documentOption)
{
  options.AddRead("--settings", "TEXT", "how many entries remain: 1h:60/h,1d:24/d,7d:4/d,28d:1/d",
                  [this](std::string const& text) { fromText_ = TrendSettings::FromText(text); });
  options.AddText(documentOption, "FILE", file_, "the same from the device's details, an XML file")
      .Excludes("--settings");
}

DeviceDO DeviceSettings::Read() const
try
{
  DeviceDO const device = fromText_ ? *fromText_ : TrendSettings::FromFile(InputFile(file_));
  TrendSettings::RequireUsable(TrendShrinker(device, 1, 0));
  return device;
}
catch (std::exception const& error)
{
  if (fromText_)
    throw ToolError(ExitCode::Usage, "--settings: " + std::string(error.what()));
  throw ToolError(ExitCode::Unreadable, Text::Printable(file_) + ": " + Text::Printable(error.what()));
}

TrendShrinker DeviceSettings::MakeShrinker(unsigned int maxSize, unsigned int maxDays) const
{
  return {Read(), maxSize, maxDays};
}

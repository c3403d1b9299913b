#pragma once

#include "platform/database/DeviceDO.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <optional>
#include <string>

class OptionSet;

/// How many trend entries remain, as the user says it: as short text, or with the device's details document.
class DeviceSettings
{
public:
  /// Adds --settings and an option for the document, which exclude each other.
  void AddOptions(OptionSet& options, std::string const& documentOption);

  bool IsGiven() const { return fromText_ || !file_.empty(); }
  /// REQUIRES: IsGiven. Throws ToolError for settings that cannot be used, with the status Usage for text, Unreadable
  /// for a document.
  DeviceDO Read() const;
  /// The same with what thins by them.
  TrendShrinker MakeShrinker(unsigned int maxSize, unsigned int maxDays) const;

private:
  std::optional<DeviceDO> fromText_;
  std::string file_;
};

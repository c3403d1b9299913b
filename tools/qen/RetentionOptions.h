#pragma once

#include "store/RetentionRun.h"

#include <optional>

class OptionSet;

/// How trends of a store are thinned, as the user says it.
class RetentionOptions
{
public:
  /// Adds --now.
  void AddNow(OptionSet& options);
  /// Adds --keep-peaks, --max-size and --max-days.
  void AddLimits(OptionSet& options);

  /// Throws ToolError, Usage, for limits that leave no room.
  RetentionSettings Settings() const;

private:
  std::optional<long long> now_;
  std::optional<unsigned long long> maxSize_, maxDays_;
  bool keepPeaks_ = false;
};

#include "RetentionOptions.h"

#include "ExitCode.h"
#include "OptionSet.h"

#include "platform/QenTime.h"

#include <limits>

void RetentionOptions::AddNow(OptionSet& options)
{
  options.AddTime("--now", now_, "the time from which ages count [the present]");
}

void RetentionOptions::AddLimits(OptionSet& options)
{
  options.AddFlag("--keep-peaks", keepPeaks_, "keep the smallest and the largest value of each period, too");
  options.AddCount("--max-size", maxSize_, "most entries of one new trend [100000]");
  options.AddCount("--max-days", maxDays_, "handed to the thinning; never shortens below --max-size [366]");
}

RetentionSettings RetentionOptions::Settings() const
{
  if (maxSize_ == 0ULL)
    throw ToolError(ExitCode::Usage, "--max-size 0 leaves no room for entries");
  for (auto const& limit : {maxSize_, maxDays_})
    if (limit.value_or(0) > std::numeric_limits<unsigned int>::max())
      throw ToolError(ExitCode::Usage, std::to_string(*limit) + " is more than 4294967295");
  RetentionSettings settings;
  settings.now = now_ ? *now_ : QenTime::Now();
  settings.maxTrendSize = static_cast<unsigned int>(maxSize_.value_or(settings.maxTrendSize));
  settings.maxDaysTrendDuration = static_cast<unsigned int>(maxDays_.value_or(settings.maxDaysTrendDuration));
  settings.keepPeaks = keepPeaks_;
  return settings;
}

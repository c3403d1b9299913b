#pragma once

#include "InputFile.h"

#include "platform/database/DeviceDO.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <array>
#include <cstddef>
#include <string>

/// How entries are divided by their age when trends are thinned: 0 is up to an hour, the last over four weeks.
namespace AgeClass
{
inline constexpr std::size_t kCount = 5;

/// The class of an entry; what lies ahead of now is young.
std::size_t Of(long long time, long long now);
/// "up to 1 hour", "1 hour to 1 day", ...
char const* Name(std::size_t ageClass);
} // namespace AgeClass

/// How many entries remain of each age class, from the device's details or as short text.
namespace TrendSettings
{
/// From text such as "1h:60/h,1d:24/d,7d:4/d,28d:1/d", in which a class may be missing. Throws std::invalid_argument.
DeviceDO FromText(std::string const& text);
/// From a document of device details, which must hold trend cleanup settings. Throws ToolError, Unreadable.
DeviceDO FromFile(InputFile const& file);

/// The same from its text.
DeviceDO FromDetails(std::string const& details);

/// Counts by age class; 0 keeps everything.
std::array<unsigned int, AgeClass::kCount> Counts(TrendShrinker const& shrinker);
/// Throws std::invalid_argument for counts that leave slots without length, which would drop every entry.
void RequireUsable(TrendShrinker const& shrinker);
/// "all", "60 an hour", "4 a day"
std::string ShowRule(std::size_t ageClass, unsigned int count);
} // namespace TrendSettings

#include "TrendSettings.h"

#include "CsvLine.h"
#include "DecimalNumber.h"
#include "Duration.h"
#include "ExitCode.h"
#include "Text.h"

#include "platform/Options.h"
#include "platform/Organisation.h"

#include <optional>
#include <stdexcept>

namespace
{
struct Class
{
  char const* name;
  long long youngest; ///< age in microseconds from which an entry belongs to it
  char const* key;    ///< in settings as text; null for the class that is always kept
  char const* element;
  char const* countElement;
  char unit; ///< of the count: 'h' or 'd'
};

constexpr char kPerHour[] = "NumberOfRemainingTrendEntriesPerHour";
constexpr char kPerDay[] = "NumberOfRemainingTrendEntriesPerDay";

constexpr Class kClasses[AgeClass::kCount] = {
    {"up to 1 hour", 0, nullptr, nullptr, nullptr, '\0'},
    {"1 hour to 1 day", Duration::kHour, "1h", "OlderThanOneHour", kPerHour, 'h'},
    {"1 to 7 days", Duration::kDay, "1d", "OlderThanOneDay", kPerDay, 'd'},
    {"7 to 28 days", 7 * Duration::kDay, "7d", "OlderThanOneWeek", kPerDay, 'd'},
    {"over 28 days", 28 * Duration::kDay, "28d", "OlderThanFourWeeks", kPerDay, 'd'}};

using Counts = std::array<std::optional<unsigned int>, AgeClass::kCount>;

[[noreturn]] void RefuseText(std::string const& part, std::string const& why)
{
  throw std::invalid_argument(Text::Quoted(part) + " " + why +
                              "; settings look like 1h:60/h,1d:24/d,7d:4/d,28d:1/d, in which classes may be missing");
}

/// Reads one class, "7d:4/d".
void TakePart(std::string const& part, Counts& counts)
{
  std::size_t const colon = part.find(':');
  std::string const rest = colon == std::string::npos ? "" : part.substr(colon + 1);
  for (std::size_t i = 1; i < AgeClass::kCount; ++i)
  {
    if (part.substr(0, colon) != kClasses[i].key)
      continue;
    if (counts[i])
      RefuseText(part, "names a class again");
    if (!rest.ends_with(std::string("/") + kClasses[i].unit))
      RefuseText(part,
                 std::string("does not end in a count per ") + (kClasses[i].unit == 'h' ? "hour, /h" : "day, /d"));
    std::string const number = rest.substr(0, rest.size() - 2);
    counts[i] = DecimalNumber::IsInteger(number) ? DecimalNumber::Exact<unsigned int>(number) : std::nullopt;
    if (!counts[i] || *counts[i] == 0)
      RefuseText(part, "has no count from 1 to 4294967295 (a class that is left out keeps everything)");
    return;
  }
  RefuseText(part, "names no class: 1h, 1d, 7d or 28d");
}

std::string Element(std::string const& name, std::string const& content)
{
  return "<vel:" + name + ">" + content + "</vel:" + name + ">";
}

/// The part of the device's details that matters here.
std::string MakeDetails(Counts const& counts)
{
  std::string text =
      "<vel:DeviceDetails xmlns:vel=\"" + std::string(Organisation::kNamespaceUri) + "\"><vel:TrendCleanupSettings>";
  for (std::size_t i = 1; i < AgeClass::kCount; ++i)
    if (counts[i])
      text += Element(kClasses[i].element, Element(kClasses[i].countElement, std::to_string(*counts[i])));
  return text + "</vel:TrendCleanupSettings></vel:DeviceDetails>";
}
} // namespace

std::size_t AgeClass::Of(long long time, long long now)
{
  long long age = 0;
  if (__builtin_sub_overflow(now, time, &age))
    return time < now ? kCount - 1 : 0;
  std::size_t ageClass = 0;
  while (ageClass + 1 < kCount && age >= kClasses[ageClass + 1].youngest)
    ++ageClass;
  return ageClass;
}

char const* AgeClass::Name(std::size_t ageClass) { return kClasses[ageClass].name; }

DeviceDO TrendSettings::FromText(std::string const& text)
{
  ::Counts counts;
  for (std::string const& part : CsvLine::Split(text, ','))
    TakePart(part, counts);
  DeviceDO device;
  device.setDeviceDetails(MakeDetails(counts));
  return device;
}

DeviceDO TrendSettings::FromFile(InputFile const& file)
{
  std::vector<unsigned char> const bytes = file.ReadAll();
  return FromDetails({bytes.begin(), bytes.end()});
}

DeviceDO TrendSettings::FromDetails(std::string const& details)
{
  DeviceDO device;
  device.setDeviceDetails(details);
  Options options;
  Option* const root = options.parse(device.getDeviceDetails());
  if (root == nullptr)
    throw ToolError(ExitCode::Unreadable, "is no XML document");
  if (root->FindOption("vel:DeviceDetails.vel:TrendCleanupSettings", false) == nullptr)
    throw ToolError(ExitCode::Unreadable,
                    "holds no trend cleanup settings, vel:DeviceDetails.vel:TrendCleanupSettings");
  return device;
}

std::array<unsigned int, AgeClass::kCount> TrendSettings::Counts(TrendShrinker const& shrinker)
{
  return {0, shrinker.GetNoTrendValuesPerHourOlderThanOneHour(), shrinker.GetNoTrendValuesPerDayOlderThanOneDay(),
          shrinker.GetNoTrendValuesPerDayOlderThanOneWeek(), shrinker.GetNoTrendValuesPerDayOlderThanFourWeeks()};
}

void TrendSettings::RequireUsable(TrendShrinker const& shrinker)
{
  std::array<unsigned int, AgeClass::kCount> const counts = Counts(shrinker);
  for (std::size_t i = 1; i < AgeClass::kCount; ++i)
    if (counts[i] > (kClasses[i].unit == 'h' ? Duration::kHour : Duration::kDay))
      throw std::invalid_argument(ShowRule(i, counts[i]) + " is more than one each microsecond: no entry would remain");
}

std::string TrendSettings::ShowRule(std::size_t ageClass, unsigned int count)
{
  if (count == 0)
    return "all";
  return std::to_string(count) + (kClasses[ageClass].unit == 'h' ? " an hour" : " a day");
}

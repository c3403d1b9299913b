// Foreign text as a device's details, from which the shrinker takes its counts; and details made of the input, whose
// counts are known.

#include "Examination.h"
#include "TextMutator.h"
#include "platform/Options.h"
#include "platform/database/DeviceDO.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

char const* const TextMutation::kNeeded = "vel:DeviceDetails.vel:TrendCleanupSettings";
char const* const TextMutation::kSkeleton =
    "<vel:DeviceDetails><vel:TrendCleanupSettings><vel:OlderThanOneHour><vel:NumberOfRemainingTrendEntriesPerHour>2"
    "</vel:NumberOfRemainingTrendEntriesPerHour></vel:OlderThanOneHour></vel:TrendCleanupSettings></vel:DeviceDetails>";

namespace
{
using Fuzzing::Input;
using Fuzzing::Succeeds;

using Counts = std::array<unsigned int, 4>;

struct AgeClass
{
  char const* name;
  char const* unit;
};
constexpr std::array<AgeClass, 4> kClasses = {{{"OlderThanOneHour", "Hour"},
                                               {"OlderThanOneDay", "Day"},
                                               {"OlderThanOneWeek", "Day"},
                                               {"OlderThanFourWeeks", "Day"}}};

Counts countsOf(TrendShrinker const& shrinker)
{
  return {shrinker.GetNoTrendValuesPerHourOlderThanOneHour(), shrinker.GetNoTrendValuesPerDayOlderThanOneDay(),
          shrinker.GetNoTrendValuesPerDayOlderThanOneWeek(), shrinker.GetNoTrendValuesPerDayOlderThanFourWeeks()};
}

TrendShrinker shrinkerOf(std::string const& text, unsigned int maxSize, unsigned int maxDays)
{
  DeviceDO device;
  device.setDeviceDetails(text);
  TrendShrinker const shrinker(device, maxSize, maxDays);
  EXPECT_EQ(shrinker.GetMaxTrendSize(), maxSize);
  EXPECT_EQ(shrinker.GetMaxDaysTrendDuration(), maxDays);
  return shrinker;
}

std::string element(std::string const& name, std::string const& content)
{
  return "<vel:" + name + ">" + content + "</vel:" + name + ">";
}

/// One age class and the count that it must give: none where it is switched off, missing, or counts per another unit.
std::string composeClass(Input& input, AgeClass const& ageClass, unsigned int& expected)
{
  auto const choices = input.Take<std::uint8_t>();
  auto const count = input.Take<unsigned int>();
  auto const has = [choices](unsigned int bit) { return (unsigned{choices} >> bit & 1U) != 0; };
  bool const isSwitchedOff = has(0) && has(1);
  bool const countsPerOtherUnit = has(2) && has(3);
  std::string const unit = countsPerOtherUnit ? "Minute" : ageClass.unit;
  std::string content;
  if (!has(4))
    content = element("NumberOfRemainingTrendEntriesPer" + unit,
                      (has(5) ? " \t\n" : "") + std::to_string(count) + (has(6) ? "\r\n " : ""));
  if (isSwitchedOff)
    content = has(7) ? content + "<vel:NoCleanup/>" : element("NoCleanup", "false") + content;
  expected = isSwitchedOff || countsPerOtherUnit || has(4) ? 0 : count;
  return element(ageClass.name, content);
}

void composeAndRead(Input& input)
{
  auto const maxSize = input.Take<unsigned int>();
  auto const maxDays = input.Take<unsigned int>();
  Counts expected{};
  std::string classes;
  for (std::size_t i = 0; i < kClasses.size(); ++i)
    classes += composeClass(input, kClasses.at(i), expected.at(i));
  std::string const text = element("DeviceDetails", element("TrendCleanupSettings", classes));
  EXPECT_EQ(countsOf(shrinkerOf(text, maxSize, maxDays)), expected) << text;
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  Input input(bytes);
  composeAndRead(input);
  std::string const text = Input(bytes).Rest();
  Options parser;
  bool const isXml = parser.parse(text) != nullptr;
  return Succeeds([&] { shrinkerOf(text, 1, 1); }) && isXml;
}

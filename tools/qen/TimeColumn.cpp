#include "TimeColumn.h"

#include "DecimalNumber.h"
#include "Names.h"
#include "OptionSet.h"
#include "Text.h"
#include "TimeText.h"

#include "platform/QenTime.h"

#include <stdexcept>

namespace
{
constexpr Names::Entry kUnits[] = {{"s", 6}, {"ms", 3}, {"us", 0}};

[[noreturn]] void Refuse(std::string const& why) { throw std::invalid_argument(why); }

/// The number as microseconds, exactly.
long long FromNumber(std::string const& text, int unitExponent)
{
  std::size_t const mark = text.find_first_of("eE");
  std::string const mantissa = text.substr(0, mark);
  std::optional<int> const exponent =
      mark == std::string::npos ? std::optional<int>(0) : DecimalNumber::Exact<int>(text.substr(mark + 1));
  constexpr int kLargestExponent = 400;
  if (!exponent || *exponent > kLargestExponent || *exponent < -kLargestExponent)
    Refuse("is beyond the range of time stamps");
  std::optional<long long> const microseconds =
      DecimalNumber::Exact<long long>(mantissa + "e" + std::to_string(*exponent + unitExponent));
  if (!microseconds)
    Refuse("is no whole number of microseconds within their range");
  return *microseconds;
}

std::optional<long long> TryIso(std::string const& text)
{
  try
  {
    return QenTime::StringToTimeStamp(text); // also years that RFC 3339 has not
  }
  catch (QenTimeException const&)
  {
  }
  try
  {
    return TimeText::Parse(text);
  }
  catch (std::invalid_argument const&)
  {
    return std::nullopt;
  }
}
} // namespace

void TimeColumn::AddOptions(OptionSet& options)
{
  options.AddRead("--time-unit", "UNIT", "of time stamps that are numbers since 1970: s, ms or us",
                  [this](std::string const& text) { unitExponent_ = Names::Parse(kUnits, text); });
}

long long TimeColumn::Parse(std::string const& text)
{
  if (DecimalNumber::IsNumber(text))
  {
    if (!unitExponent_)
      Refuse("is a number: --time-unit says whether of s, ms or us");
    return FromNumber(text, *unitExponent_);
  }
  if (auto const time = TryIso(text))
    return *time;
  auto const time = TryIso(text + "Z");
  if (!time)
    Refuse("is no time stamp such as 2026-11-20T17:57:20Z, down to microseconds");
  tookZoneless_ = true;
  return *time;
}

bool TimeColumn::IsTimeOrNumber(std::string const& text)
{
  return DecimalNumber::IsNumber(text) || TryIso(text) || TryIso(text + "Z");
}

#include "TimeText.h"

#include "DecimalNumber.h"

#include "platform/QenTime.h"

#include <stdexcept>
#include <string_view>

namespace
{
constexpr long long kMicrosecondsPerMinute = 60000000;

[[noreturn]] void Refuse(std::string const& text)
{
  throw std::invalid_argument("\"" + text + "\" is neither RFC 3339 time (2026-11-20T17:57:20Z) nor microseconds");
}

/// Whether the text looks like the pattern, in which 0 stands for a digit.
bool Matches(std::string_view text, std::string_view pattern)
{
  if (text.size() != pattern.size())
    return false;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (pattern[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != pattern[i])
      return false;
  return true;
}

int TwoDigits(std::string_view text) { return (text[0] - '0') * 10 + (text[1] - '0'); }

/// Minutes by which a zone ("Z", "+01:00") is ahead of UTC.
int ZoneMinutes(std::string_view zone, std::string const& whole)
{
  if (zone == "Z" || zone == "z")
    return 0;
  bool const ahead = Matches(zone, "+00:00");
  if (!ahead && !Matches(zone, "-00:00"))
    Refuse(whole);
  int const hours = TwoDigits(zone.substr(1));
  int const minutes = TwoDigits(zone.substr(4));
  if (hours > 23 || minutes > 59)
    Refuse(whole);
  return (ahead ? 1 : -1) * (hours * 60 + minutes);
}

/// ".5" as ".500000".
std::string SixDecimals(std::string_view fraction, std::string const& whole)
{
  if (fraction.empty())
    return ".000000";
  std::string_view digits = fraction.substr(1);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
    Refuse(whole);
  if (digits.size() > 6 && digits.find_first_not_of('0', 6) != std::string_view::npos)
    throw std::invalid_argument("\"" + whole + "\" is finer than a microsecond");
  std::string decimals(digits.substr(0, 6));
  decimals.resize(6, '0');
  return "." + decimals;
}
} // namespace

long long TimeText::Parse(std::string const& text)
{
  if (std::optional<long long> const microseconds = DecimalNumber::Exact<long long>(text))
    return *microseconds;
  std::string const whole = Matches(text, "0000-00-00") ? text + "T00:00:00Z" : text;
  constexpr std::size_t kDateAndTime = 19;
  std::string date = whole.substr(0, kDateAndTime);
  if (date.size() == kDateAndTime && (date[10] == 't' || date[10] == ' '))
    date[10] = 'T';
  std::size_t const zone = whole.find_first_not_of(".0123456789", kDateAndTime);
  if (!Matches(date, "0000-00-00T00:00:00") || zone == std::string::npos)
    Refuse(text);
  std::string const fraction = SixDecimals(std::string_view(whole).substr(kDateAndTime, zone - kDateAndTime), text);
  int const ahead = ZoneMinutes(std::string_view(whole).substr(zone), text);
  try
  {
    return QenTime::StringToTimeStamp(date + fraction + "Z") - ahead * kMicrosecondsPerMinute;
  }
  catch (QenTimeException const&)
  {
    Refuse(text);
  }
}

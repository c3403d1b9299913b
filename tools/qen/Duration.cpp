#include "Duration.h"

#include "DecimalNumber.h"
#include "Text.h"

#include <cmath>
#include <stdexcept>

namespace
{
struct Unit
{
  char const* name;
  long long microseconds;
};

constexpr Unit kUnits[] = {{"d", Duration::kDay},    {"h", Duration::kHour}, {"min", 60 * Duration::kSecond},
                           {"s", Duration::kSecond}, {"ms", 1000},           {"us", 1}};
} // namespace

long long Duration::Parse(std::string const& text)
{
  std::size_t const digits = text.find_first_not_of("0123456789.");
  std::string const name = digits == std::string::npos ? "" : text.substr(digits);
  for (Unit const& unit : kUnits)
  {
    std::optional<double> const number =
        name == unit.name ? DecimalNumber::Nearest(text.substr(0, digits)) : std::nullopt;
    double const microseconds = number ? std::round(*number * static_cast<double>(unit.microseconds)) : -1;
    if (microseconds >= 0 && microseconds < 9e18)
      return static_cast<long long>(microseconds);
  }
  throw std::invalid_argument("\"" + text + "\" is no length of time such as 90s, 45min, 1.5h, 7d");
}

std::string Duration::Show(long long microseconds)
{
  for (Unit const& unit : kUnits)
    if (microseconds >= unit.microseconds)
      return Text::Rounded(static_cast<double>(microseconds) / static_cast<double>(unit.microseconds)) + " " +
             unit.name;
  return std::to_string(microseconds) + " us";
}

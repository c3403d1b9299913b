#include "DecimalNumber.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <limits>

namespace
{
constexpr std::string_view kDigits = "0123456789";

std::string_view WithoutPlus(std::string_view text)
{
  bool const plus = text.size() > 1 && text[0] == '+' && text[1] != '-' && text[1] != '+';
  return text.substr(plus ? 1 : 0);
}

template <class T>
std::optional<T> Parse(std::string_view text)
{
  text = WithoutPlus(text);
  T value{};
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    return std::nullopt;
  return value;
}

/// A decimal number with one representation for each value: 0.d1d2d3... x 10^exponent with neither a leading nor a
/// trailing zero; no digits for zero.
struct Canonical
{
  bool negative = false;
  std::string digits;
  long long exponent = 0;

  bool operator==(Canonical const&) const = default;
};

/// REQUIRES: the text of a finite number.
Canonical Canonicalise(std::string_view text)
{
  Canonical number;
  text = WithoutPlus(text);
  if (text.starts_with('-'))
  {
    number.negative = true;
    text.remove_prefix(1);
  }
  std::size_t const exponentMark = std::min(text.find_first_of("eE"), text.size());
  if (exponentMark < text.size())
    number.exponent = Parse<long long>(text.substr(exponentMark + 1)).value_or(0);
  std::string_view const mantissa = text.substr(0, exponentMark);
  std::size_t const point = std::min(mantissa.find('.'), mantissa.size());
  std::copy_if(mantissa.begin(), mantissa.end(), std::back_inserter(number.digits), [](char c) { return c != '.'; });
  std::size_t const leadingZeros = std::min(number.digits.find_first_not_of('0'), number.digits.size());
  number.digits.erase(0, leadingZeros);
  number.digits.erase(number.digits.find_last_not_of('0') + 1);
  if (number.digits.empty())
    number.exponent = 0;
  else
    number.exponent += static_cast<long long>(point) - static_cast<long long>(leadingZeros);
  return number;
}

/// The plain digits of an integer that fits 64 bits, whatever its notation; nothing for other numbers.
std::optional<std::string> IntegerText(std::string_view text)
{
  constexpr long long kMostDigits = 20;
  Canonical const number = Canonicalise(text);
  if (number.digits.empty())
    return "0";
  if (number.exponent > kMostDigits || number.exponent < static_cast<long long>(number.digits.size()))
    return std::nullopt;
  std::string plain = (number.negative ? "-" : "") + number.digits;
  plain.append(static_cast<std::size_t>(number.exponent) - number.digits.size(), '0');
  return plain;
}

template <class T>
bool NamesSameNumber(T value, std::string_view text)
{
  if (!std::isfinite(value))
    return true; // the text said so: what is beyond the range does not parse
  std::array<char, 32> shortest;
  char* const end = std::to_chars(shortest.data(), shortest.data() + shortest.size(), value).ptr;
  return Canonicalise(text) == Canonicalise({shortest.data(), end});
}
} // namespace

bool DecimalNumber::IsInteger(std::string_view text)
{
  text = WithoutPlus(text);
  bool const negative = text.starts_with('-');
  text.remove_prefix(negative ? 1 : 0);
  if (text.empty() || text.find_first_not_of(kDigits) != std::string_view::npos)
    return false;
  return !negative || text.find_first_not_of('0') != std::string_view::npos;
}

bool DecimalNumber::IsNumber(std::string_view text)
{
  text = WithoutPlus(text);
  double value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error != std::errc::invalid_argument && end == text.data() + text.size();
}

std::optional<double> DecimalNumber::Nearest(std::string_view text) { return Parse<double>(text); }

template <class T>
std::optional<T> DecimalNumber::Exact(std::string_view text)
{
  if constexpr (std::floating_point<T>)
  {
    std::optional<T> const value = Parse<T>(text);
    return value && NamesSameNumber(*value, text) ? value : std::nullopt;
  }
  else
  {
    // Texts such as 3.0 and 1e3 name integers too; texts that are no numbers at all must not reach the notation reader.
    std::optional<double> const nearest = Nearest(text);
    if (!nearest || !std::isfinite(*nearest))
      return std::nullopt;
    std::optional<std::string> const plain = IntegerText(text);
    return plain ? Parse<T>(*plain) : std::nullopt;
  }
}

template std::optional<signed char> DecimalNumber::Exact(std::string_view);
template std::optional<short> DecimalNumber::Exact(std::string_view);
template std::optional<int> DecimalNumber::Exact(std::string_view);
template std::optional<long long> DecimalNumber::Exact(std::string_view);
template std::optional<float> DecimalNumber::Exact(std::string_view);
template std::optional<double> DecimalNumber::Exact(std::string_view);
template std::optional<unsigned char> DecimalNumber::Exact(std::string_view);
template std::optional<unsigned short> DecimalNumber::Exact(std::string_view);
template std::optional<unsigned int> DecimalNumber::Exact(std::string_view);
template std::optional<unsigned long long> DecimalNumber::Exact(std::string_view);

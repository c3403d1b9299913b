#include "OptionValue.h"

#include "DecimalNumber.h"
#include "DetailsText.h"

#include <cmath>
#include <optional>
#include <stdexcept>

double OptionValue::ReadNumber(std::string const& text)
{
  std::optional<double> const number = DecimalNumber::Nearest(text);
  if (!number || !std::isfinite(*number))
    throw std::invalid_argument("\"" + text + "\" is no finite number");
  return *number;
}

double OptionValue::ReadFactor(std::string const& text)
{
  double const number = ReadNumber(text);
  if (number == 0)
    throw std::invalid_argument("must not be 0");
  return number;
}

double OptionValue::ReadPositive(std::string const& text)
{
  double const number = ReadNumber(text);
  if (number <= 0)
    throw std::invalid_argument("\"" + text + "\" is not above 0");
  return number;
}

unsigned long long OptionValue::ReadCount(std::string const& text)
{
  std::optional<unsigned long long> const count = DecimalNumber::Exact<unsigned long long>(text);
  if (!DecimalNumber::IsInteger(text) || !count)
    throw std::invalid_argument("\"" + text + "\" is no whole number from 0 on");
  return *count;
}

Uuid OptionValue::ReadUuid(std::string const& text)
{
  if (text.empty())
    throw std::invalid_argument("the UUID is empty");
  try
  {
    return Uuid(text);
  }
  catch (UuidException const&)
  {
    throw std::invalid_argument("\"" + text + "\" is no UUID");
  }
}

std::string OptionValue::ReadDetailsText(std::string const& text)
{
  DetailsText::Require(text);
  return text;
}

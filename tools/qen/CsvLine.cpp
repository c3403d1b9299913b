#include "CsvLine.h"

#include "DecimalNumber.h"
#include "ExitCode.h"
#include "Text.h"

#include <algorithm>

namespace
{
constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kDelimiters = ";\t,";

/// Position of the bracket that the last character closes; npos when that is none or has no partner.
std::size_t OpeningOfLast(std::string_view text)
{
  char const close = text.empty() ? '\0' : text.back();
  char const open = close == ']' ? '[' : close == ')' ? '(' : '\0';
  if (open == '\0')
    return std::string_view::npos;
  int depth = 0;
  for (std::size_t position = text.size(); position-- > 0;)
  {
    depth += text[position] == close ? 1 : text[position] == open ? -1 : 0;
    if (depth == 0)
      return position;
  }
  return std::string_view::npos;
}

/// A field of a line, in double quotes when it needs them.
std::string Quotable(std::string const& field)
{
  return field.find_first_of(kDelimiters) == std::string::npos ? field : '"' + field + '"';
}
} // namespace

std::string_view CsvLine::Trimmed(std::string_view text)
{
  std::size_t const first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos)
    return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

char CsvLine::DelimiterOf(std::string_view line)
{
  for (char delimiter : kDelimiters)
    if (Trimmed(line).find(delimiter) != std::string_view::npos)
      return delimiter;
  return '\0';
}

std::vector<std::string> CsvLine::Split(std::string_view line, char delimiter)
{
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (char character : line)
  {
    if (character == '"')
      quoted = !quoted;
    else if (character == delimiter && delimiter != '\0' && !quoted)
      fields.emplace_back();
    else
      fields.back() += character;
  }
  for (std::string& field : fields)
    field = Trimmed(field);
  return fields;
}

CsvLine::ColumnName::ColumnName(std::string const& text)
{
  std::string_view const name = text;
  std::size_t const opening = OpeningOfLast(name);
  words = Trimmed(name.substr(0, opening));
  if (opening != std::string_view::npos)
    unit = Trimmed(name.substr(opening + 1, name.size() - opening - 2));
}

std::string CsvLine::NameWithUnit(std::string const& words, std::string const& unit)
{
  // Readers take a double quote away, and the unit with it would be another one.
  bool const hasUnit = !unit.empty() && unit.find('"') == std::string::npos;
  return Quotable(words + (hasUnit ? " [" + unit + "]" : ""));
}

std::optional<std::size_t> CsvLine::FindNamed(std::span<std::string const> names, std::string const& name)
{
  auto const index = [&](auto position) { return static_cast<std::size_t>(position - names.begin()); };
  auto const whole = std::find(names.begin(), names.end(), name);
  if (whole != names.end())
    return index(whole);
  auto const matches = [&](std::string const& other) { return ColumnName(other).words == name; };
  auto const first = std::find_if(names.begin(), names.end(), matches);
  if (first == names.end() || std::find_if(first + 1, names.end(), matches) != names.end())
    return std::nullopt;
  return index(first);
}

std::size_t CsvLine::FindColumn(std::span<std::string const> names, std::size_t count, std::string const& column)
{
  if (auto const named = FindNamed(names, column))
    return *named;
  std::optional<unsigned int> const number = DecimalNumber::Exact<unsigned int>(column);
  if (!number || *number < 1 || *number > count)
    throw ToolError(ExitCode::Unreadable, "has no column " + Text::Quoted(column) + " among its " +
                                              std::to_string(count) +
                                              (names.empty() ? "" : " (" + Text::Join(names, ", ") + ")"));
  return *number - 1;
}

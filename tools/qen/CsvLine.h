#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Lines of tables whose columns are separated by comma, semicolon or tab; double quotes may enclose a field.
namespace CsvLine
{
/// Without the blanks around it.
std::string_view Trimmed(std::string_view text);
/// The character that separates columns in a line; NUL when there is one column.
char DelimiterOf(std::string_view line);
/// Columns of a line, without blanks and double quotes around them.
std::vector<std::string> Split(std::string_view line, char delimiter);

/// A column's name as "acceleration [m/s2]" or "velocity (mm/s)" has it: the words, and the unit, which may be empty.
struct ColumnName
{
  explicit ColumnName(std::string const& text);
  std::string words;
  std::string unit;
};
/// The name with its unit as a field of the line of names; without a unit that readers would not give back.
std::string NameWithUnit(std::string const& words, std::string const& unit);

/// The column, from 0, with a name: the whole name, else its words when they are those of one column only.
std::optional<std::size_t> FindNamed(std::span<std::string const> names, std::string const& name);
/// The same, else by number, from 1. Throws ToolError, Unreadable, when there is no such column.
/// @param count  number of columns
std::size_t FindColumn(std::span<std::string const> names, std::size_t count, std::string const& column);
} // namespace CsvLine

#include "TrendTable.h"

#include "CsvLine.h"
#include "Text.h"
#include "TimeColumn.h"

#include <algorithm>

bool TrendTable::Next()
{
  while (lines_.Next())
  {
    std::string_view const line = CsvLine::Trimmed(lines_.Line());
    if (line.empty() || line.starts_with('#'))
      continue;
    if (!hasRow_) // a line of names may have another delimiter than the rows
      delimiter_ = CsvLine::DelimiterOf(lines_.Line());
    fields_ = CsvLine::Split(lines_.Line(), delimiter_);
    if (!std::exchange(started_, true) && std::none_of(fields_.begin(), fields_.end(), TimeColumn::IsTimeOrNumber))
    {
      names_ = fields_;
      continue;
    }
    hasRow_ = true;
    return true;
  }
  return false;
}

std::string const& TrendTable::Field(std::size_t column) const
{
  static std::string const kEmpty;
  return column < fields_.size() ? fields_[column] : kEmpty;
}

std::size_t TrendTable::Find(std::string const& column) const
{
  return CsvLine::FindColumn(names_, std::max(fields_.size(), names_.size()), column);
}

std::optional<std::size_t> TrendTable::FindNamed(std::string const& name) const
{
  return CsvLine::FindNamed(names_, name);
}

std::string TrendTable::Where(std::size_t column) const
{
  return "line " + std::to_string(lines_.Number()) + ", column " +
         (column < names_.size() ? Text::Quoted(names_[column]) : std::to_string(column + 1));
}

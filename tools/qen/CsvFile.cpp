#include "CsvFile.h"

#include "DecimalNumber.h"
#include "ExitCode.h"
#include "LineReader.h"
#include "Text.h"
#include "ValueCollector.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace
{
constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kDelimiters = ";\t,";

[[noreturn]] void Refuse(std::string const& text) { throw ToolError(ExitCode::Unreadable, text); }

std::string_view Trimmed(std::string_view text)
{
  std::size_t const first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos)
    return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The character that separates columns in a line; NUL when there is one column.
char DelimiterOf(std::string_view line)
{
  for (char delimiter : kDelimiters)
    if (Trimmed(line).find(delimiter) != std::string_view::npos)
      return delimiter;
  return '\0';
}

/// Columns of a line, without blanks and double quotes around them.
std::vector<std::string> Split(std::string_view line, char delimiter)
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

/// Reads the lines: finds the column, then collects its values.
class TableReader
{
public:
  TableReader(InputFile const& file, CsvFile::ReadOptions const& options)
    : lines_(file), column_(options.column), values_(options.type)
  {
  }

  Recording Read()
  {
    while (lines_.Next())
      TakeLine();
    if (!started_)
      Refuse("holds no values");
    Recording recording;
    recording.remarks = values_.Remarks();
    recording.channels.push_back(values_.Take());
    recording.label = label_;
    return recording;
  }

private:
  void TakeLine()
  {
    std::string_view const line = lines_.Line();
    if (Trimmed(line).empty())
    {
      firstBlank_ = started_ && firstBlank_ == 0 ? lines_.Number() : firstBlank_;
      return;
    }
    if (Trimmed(line).starts_with('#'))
      return;
    // A missing value would move all later ones in time.
    if (firstBlank_ != 0)
      RefuseLine(firstBlank_, "is empty, but values follow");
    if (!started_ && header_.empty() && IsHeader(line))
      header_ = line;
    else
      TakeValues(line);
  }

  /// A first line of which no column is a number.
  static bool IsHeader(std::string_view line)
  {
    std::vector<std::string> const fields = Split(line, DelimiterOf(line));
    return std::none_of(fields.begin(), fields.end(),
                        [](std::string const& field) { return DecimalNumber::IsNumber(field); });
  }

  void TakeValues(std::string_view line)
  {
    if (!started_)
      Start(line);
    if (delimiter_ == '\0')
      return values_.Add(Split(line, '\0').front(), lines_.Number());
    std::vector<std::string> const fields = Split(line, delimiter_);
    if (fields.size() <= index_)
      RefuseLine(lines_.Number(), "has " + Text::Counted(fields.size(), "column") + ", column " +
                                      std::to_string(index_ + 1) + " is missing");
    values_.Add(fields[index_], lines_.Number());
  }

  void Start(std::string_view firstLine)
  {
    started_ = true;
    delimiter_ = DelimiterOf(firstLine);
    std::size_t const count = Split(firstLine, delimiter_).size();
    std::vector<std::string> const names = header_.empty() ? std::vector<std::string>() : Split(header_, delimiter_);
    index_ = FindColumn(names, count);
    if (index_ < names.size())
      label_ = names[index_];
  }

  std::size_t FindColumn(std::vector<std::string> const& names, std::size_t count) const
  {
    if (column_.empty())
    {
      if (count > 1)
        Refuse("has " + std::to_string(count) + " columns" +
               (names.empty() ? "" : " (" + Text::Join(names, ", ") + ")") + "; --column chooses one");
      return 0;
    }
    if (auto const named = FindNamed(names))
      return *named;
    std::optional<unsigned int> const number = DecimalNumber::Exact<unsigned int>(column_);
    if (!number || *number < 1 || *number > count)
      Refuse("has no column " + Text::Quoted(column_) + " among its " + std::to_string(count) +
             (names.empty() ? "" : " (" + Text::Join(names, ", ") + ")"));
    return *number - 1;
  }

  /// By the whole name, else by its words when they are those of one column only.
  std::optional<std::size_t> FindNamed(std::vector<std::string> const& names) const
  {
    auto const index = [&](auto name) { return static_cast<std::size_t>(name - names.begin()); };
    auto const whole = std::find(names.begin(), names.end(), column_);
    if (whole != names.end())
      return index(whole);
    auto const matches = [&](std::string const& name) { return CsvFile::ColumnName(name).words == column_; };
    auto const first = std::find_if(names.begin(), names.end(), matches);
    if (first == names.end() || std::find_if(first + 1, names.end(), matches) != names.end())
      return std::nullopt;
    return index(first);
  }

  LineReader lines_;
  std::string column_;
  ValueCollector values_;
  std::string header_;
  std::string label_;
  bool started_ = false;
  char delimiter_ = '\0';
  std::size_t index_ = 0;
  unsigned long long firstBlank_ = 0; ///< line of the first blank line behind values, 0 for none
};

template <class T>
void AppendNumber(std::string& text, T value)
{
  std::array<char, 32> digits;
  text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}
} // namespace

CsvFile::ColumnName::ColumnName(std::string const& text)
{
  std::string_view const name = text;
  std::size_t const opening = OpeningOfLast(name);
  words = Trimmed(name.substr(0, opening));
  if (opening != std::string_view::npos)
    unit = Trimmed(name.substr(opening + 1, name.size() - opening - 2));
}

Recording CsvFile::Read(InputFile const& file, ReadOptions const& options) { return TableReader(file, options).Read(); }

CsvFile::Writer::Writer(OutputFile& file, WriteOptions options) : file_(file), options_(std::move(options))
{
  if (!options_.valueName.empty())
  {
    // Readers take a double quote away, and the unit with it would be another one.
    bool const hasUnit = !options_.unit.empty() && options_.unit.find('"') == std::string::npos;
    std::string const name = options_.valueName + (hasUnit ? " [" + options_.unit + "]" : "");
    text_ = (options_.timeStep ? options_.timeName + "," : "") + Quotable(name) + "\n";
  }
}

template <class T>
void CsvFile::Writer::Write(std::span<T const> values)
{
  constexpr std::size_t kFlushAt = 65536;
  for (T value : values)
  {
    if (options_.timeStep)
    {
      AppendNumber(text_, static_cast<double>(index_) * *options_.timeStep);
      text_ += ',';
    }
    AppendNumber(text_, value);
    text_ += '\n';
    ++index_;
    if (text_.size() >= kFlushAt)
      Flush();
  }
}

void CsvFile::Writer::Finish() { Flush(); }

void CsvFile::Writer::Flush()
{
  file_.Write(text_.data(), text_.size());
  text_.clear();
}

template void CsvFile::Writer::Write(std::span<signed char const>);
template void CsvFile::Writer::Write(std::span<short const>);
template void CsvFile::Writer::Write(std::span<int const>);
template void CsvFile::Writer::Write(std::span<long long const>);
template void CsvFile::Writer::Write(std::span<float const>);
template void CsvFile::Writer::Write(std::span<double const>);
template void CsvFile::Writer::Write(std::span<unsigned char const>);
template void CsvFile::Writer::Write(std::span<unsigned short const>);
template void CsvFile::Writer::Write(std::span<unsigned int const>);
template void CsvFile::Writer::Write(std::span<unsigned long long const>);

#include "CsvFile.h"

#include "CsvLine.h"
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
[[noreturn]] void Refuse(std::string const& text) { throw ToolError(ExitCode::Unreadable, text); }

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
    if (CsvLine::Trimmed(line).empty())
    {
      firstBlank_ = started_ && firstBlank_ == 0 ? lines_.Number() : firstBlank_;
      return;
    }
    if (CsvLine::Trimmed(line).starts_with('#'))
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
    std::vector<std::string> const fields = CsvLine::Split(line, CsvLine::DelimiterOf(line));
    return std::none_of(fields.begin(), fields.end(),
                        [](std::string const& field) { return DecimalNumber::IsNumber(field); });
  }

  void TakeValues(std::string_view line)
  {
    if (!started_)
      Start(line);
    if (delimiter_ == '\0')
      return values_.Add(CsvLine::Split(line, '\0').front(), lines_.Number());
    std::vector<std::string> const fields = CsvLine::Split(line, delimiter_);
    if (fields.size() <= index_)
      RefuseLine(lines_.Number(), "has " + Text::Counted(fields.size(), "column") + ", column " +
                                      std::to_string(index_ + 1) + " is missing");
    values_.Add(fields[index_], lines_.Number());
  }

  void Start(std::string_view firstLine)
  {
    started_ = true;
    delimiter_ = CsvLine::DelimiterOf(firstLine);
    std::size_t const count = CsvLine::Split(firstLine, delimiter_).size();
    std::vector<std::string> const names =
        header_.empty() ? std::vector<std::string>() : CsvLine::Split(header_, delimiter_);
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
    return CsvLine::FindColumn(names, count, column_);
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

Recording CsvFile::Read(InputFile const& file, ReadOptions const& options) { return TableReader(file, options).Read(); }

CsvFile::Writer::Writer(OutputFile& file, WriteOptions options) : file_(file), options_(std::move(options))
{
  if (!options_.valueName.empty())
    text_ = (options_.timeStep ? options_.timeName + "," : "") +
            CsvLine::NameWithUnit(options_.valueName, options_.unit) + "\n";
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

#include "TrendCsv.h"

#include "CsvLine.h"
#include "DecimalNumber.h"
#include "DetailsText.h"
#include "ExitCode.h"
#include "OptionSet.h"
#include "Text.h"
#include "TrendFile.h"
#include "TrendTable.h"

#include "platform/QenTime.h"
#include "signalprocessing/io/file/TrendEntries.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace
{
enum Column : std::size_t
{
  kTime,
  kValue,
  kStatus,
  kAuxFloat1,
  kAuxFloat2,
  kAuxByte,
  kAuxFloat3
};

constexpr char const* kNames[] = {"time", "value", "status", "aux_float1", "aux_float2", "aux_byte", "aux_float3"};
constexpr char const* kOptions[] = {"--time",       "--value",    "--status",    "--aux-float1",
                                    "--aux-float2", "--aux-byte", "--aux-float3"};

unsigned char ParseByte(std::string const& text)
{
  std::optional<unsigned char> const value = DecimalNumber::Exact<unsigned char>(text);
  if (!value)
    throw std::invalid_argument("is no whole number from 0 to 255");
  return *value;
}

unsigned char ReadStatus(std::string const& text)
{
  try
  {
    return ParseByte(text);
  }
  catch (std::invalid_argument const& error)
  {
    throw std::invalid_argument(Text::Quoted(text) + " " + error.what());
  }
}

double ParseNumber(std::string const& text)
{
  std::optional<double> const value = DecimalNumber::Nearest(text);
  if (!value)
    throw std::invalid_argument(DecimalNumber::IsNumber(text) ? "is beyond the range of float64" : "is no number");
  return *value;
}

float ParseFloat(std::string const& text)
{
  if (std::optional<float> const exact = DecimalNumber::Exact<float>(text))
    return *exact;
  double const value = ParseNumber(text);
  if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max()) && std::isfinite(value))
    throw std::invalid_argument("is beyond the range of float32");
  return static_cast<float>(value);
}

template <class T>
void Append(std::string& text, T const& value)
{
  if constexpr (std::floating_point<T>)
    text += "," + Text::Shortest(value);
  else
    text += "," + std::to_string(value);
}
} // namespace

/// The rows of one table on their way to entries.
class TrendRows
{
public:
  TrendRows(TrendCsvReader const& reader, InputFile const& file) : reader_(reader), times_(reader.times_), table_(file)
  {
  }

  TrendCsvReader::Result Take()
  {
    while (table_.Next())
      TakeRow();
    if (result_.entries.empty() && result_.skipped == 0)
      throw ToolError(ExitCode::Unreadable, "holds no rows");
    if (result_.entries.empty())
      throw ToolError(ExitCode::Unreadable, "holds no row that can be used: " + firstProblem_);
    Sort();
    Remark();
    return std::move(result_);
  }

private:
  void FindColumns()
  {
    for (std::size_t column = 0; column < TrendCsvReader::kColumns; ++column)
    {
      std::optional<std::string> const& wanted = reader_.columns_[column];
      if (wanted)
        index_[column] = wanted->empty() ? std::nullopt : std::optional<std::size_t>(table_.Find(*wanted));
      else
        index_[column] = table_.FindNamed(kNames[column]);
    }
    for (std::size_t const column : {kTime, kValue})
      if (!index_[column])
        index_[column] = table_.Find(std::to_string(column + 1));
    if (*index_[kValue] < table_.Names().size())
      result_.unit = CsvLine::ColumnName(table_.Names()[*index_[kValue]]).unit;
    started_ = true;
  }

  void TakeRow()
  {
    if (!started_)
      FindColumns();
    trend_entry_t entry;
    std::memset(&entry, 0, sizeof(entry)); // the bytes that belong to no field, too
    std::string const problem = Fill(entry);
    if (problem.empty())
      return Add(entry);
    if (!reader_.skipBad_)
      throw ToolError(ExitCode::Unreadable, problem);
    if (result_.skipped++ == 0)
      firstProblem_ = problem;
  }

  /// @return what is wrong with the row; empty when nothing is
  std::string Fill(trend_entry_t& entry)
  {
    std::size_t column = kTime;
    try
    {
      entry.TimeStamp = times_.Parse(Required(kTime));
      entry.Value = ParseNumber(Required(column = kValue));
      entry.Status = static_cast<unsigned char>(reader_.defaultStatus_.value_or(0));
      FillOptional(column = kStatus, entry.Status, ParseByte);
      FillOptional(column = kAuxFloat1, entry.AuxFloat1, ParseFloat);
      FillOptional(column = kAuxFloat2, entry.AuxFloat2, ParseFloat);
      FillOptional(column = kAuxByte, entry.AuxByte, ParseByte);
      FillOptional(column = kAuxFloat3, entry.AuxFloat3, ParseFloat);
    }
    catch (std::invalid_argument const& error)
    {
      return Problem(*index_[column], error.what());
    }
    return {};
  }

  std::string const& Required(std::size_t column) const
  {
    std::string const& text = table_.Field(*index_[column]);
    if (text.empty())
      throw std::invalid_argument("is empty");
    return text;
  }

  template <class T>
  void FillOptional(std::size_t column, T& value, T (*parse)(std::string const&)) const
  {
    if (index_[column] && !table_.Field(*index_[column]).empty())
      value = parse(table_.Field(*index_[column]));
  }

  std::string Problem(std::size_t index, std::string const& what) const
  {
    std::string const& text = table_.Field(index);
    return table_.Where(index) + ": " + (text.empty() ? "" : Text::Quoted(text) + " ") + what;
  }

  void Add(trend_entry_t const& entry)
  {
    if (!result_.entries.empty() && entry.TimeStamp < result_.entries.back().TimeStamp)
      ++result_.backwardSteps;
    AppendWhole(result_.entries, entry);
  }

  void Sort()
  {
    auto& entries = result_.entries;
    if (result_.backwardSteps != 0)
    {
      std::vector<trend_entry_t const*> order;
      order.reserve(entries.size());
      for (trend_entry_t const& entry : entries)
        order.push_back(&entry);
      std::stable_sort(order.begin(), order.end(),
                       [](auto const* a, auto const* b) { return a->TimeStamp < b->TimeStamp; });
      std::deque<trend_entry_t> sorted;
      for (trend_entry_t const* const entry : order)
        AppendWhole(sorted, *entry);
      entries.swap(sorted);
    }
    for (std::size_t i = 1; i < entries.size(); ++i)
      result_.repeatedTimes += entries[i].TimeStamp == entries[i - 1].TimeStamp ? 1U : 0U;
  }

  void Remark()
  {
    auto const remark = [&](std::string const& text) { result_.remarks.push_back(text); };
    if (times_.TookZoneless())
      remark("time stamps without a zone are taken as UTC");
    if (result_.skipped != 0)
      remark(Text::Counted(result_.skipped, "bad row") + " left out, the first: " + firstProblem_);
    if (result_.backwardSteps != 0)
      remark("the rows step back in time " + Text::Counted(result_.backwardSteps, "time") + ": they were sorted");
    if (result_.repeatedTimes != 0)
      remark(Text::Counted(result_.repeatedTimes, "entry has", "entries have") +
             " the time stamp of the one before; all are kept");
  }

  TrendCsvReader const& reader_;
  TimeColumn times_;
  TrendTable table_;
  TrendCsvReader::Result result_;
  std::array<std::optional<std::size_t>, TrendCsvReader::kColumns> index_;
  bool started_ = false;
  std::string firstProblem_;
};

void TrendCsvReader::AddOptions(OptionSet& options)
{
  constexpr char const* kHelp[] = {"column of the time stamps, by name or number [time, else 1]",
                                   "column of the values [value, else 2]",
                                   "column of the statuses [status, if there is one]",
                                   "column of AuxFloat1 [aux_float1, if there is one]",
                                   "the same for AuxFloat2",
                                   "the same for AuxByte",
                                   "the same for AuxFloat3"};
  for (std::size_t column = 0; column < kColumns; ++column)
    options.AddText(kOptions[column], "COLUMN", columns_[column], kHelp[column]);
  options.AddRead("--default-status", "N", "of rows without one, 0 to 255 [0]",
                  [this](std::string const& text) { defaultStatus_ = ReadStatus(text); });
  AddRowOptions(options);
}

void TrendCsvReader::AddRowOptions(OptionSet& options)
{
  times_.AddOptions(options);
  options.AddFlag("--skip-bad", skipBad_, "leave out rows that cannot be read, and count them");
}

TrendCsvReader::Result TrendCsvReader::Read(InputFile const& file) const { return TrendRows(*this, file).Take(); }

void TimeTableReader::AddOptions(OptionSet& options)
{
  options.AddText("--pins-column", "COLUMN", column_, "column of their time stamps, by name or number [1]");
  times_.AddOptions(options);
}

std::vector<long long> TimeTableReader::Read(InputFile const& file) const
{
  TimeColumn parser = times_;
  TrendTable table(file);
  std::vector<long long> times;
  std::optional<std::size_t> column;
  while (table.Next())
  {
    if (!column)
      column = table.Find(column_);
    std::string const& text = table.Field(*column);
    try
    {
      times.push_back(parser.Parse(text));
    }
    catch (std::invalid_argument const& error)
    {
      throw ToolError(ExitCode::Unreadable, table.Where(*column) + ": " + Text::Quoted(text) + " " + error.what());
    }
  }
  std::sort(times.begin(), times.end());
  return times;
}

TrendCsvWriter::TrendCsvWriter(OutputFile& file, std::string const& unit) : file_(file)
{
  std::string const value = CsvLine::NameWithUnit(kNames[kValue], unit);
  for (std::size_t column = 0; column < std::size(kNames); ++column)
    text_ += (column == 0 ? "" : ",") + (column == kValue ? value : std::string(kNames[column]));
  text_ += '\n';
}

void TrendCsvWriter::Write(trend_entry_t const& entry)
{
  constexpr std::size_t kFlushAt = 65536;
  std::string row = QenTime::TimeStampToString(entry.TimeStamp);
  Append(row, entry.Value);
  Append(row, entry.Status);
  Append(row, entry.AuxFloat1);
  Append(row, entry.AuxFloat2);
  Append(row, entry.AuxByte);
  Append(row, entry.AuxFloat3);
  text_ += row + "\n";
  // What a reader will make of the row.
  trend_entry_t back;
  std::memset(&back, 0, sizeof(back));
  auto const number = []<class T>(T value) { return std::isnan(value) ? std::numeric_limits<T>::quiet_NaN() : value; };
  back.TimeStamp = entry.TimeStamp;
  back.Value = number(entry.Value);
  back.AuxFloat1 = number(entry.AuxFloat1);
  back.AuxFloat2 = number(entry.AuxFloat2);
  back.AuxByte = entry.AuxByte;
  back.Status = entry.Status;
  back.AuxFloat3 = number(entry.AuxFloat3);
  inexact_ += TrendFile::BytesOf(back) != TrendFile::BytesOf(entry) ? 1U : 0U;
  if (text_.size() >= kFlushAt)
    Finish();
}

void TrendCsvWriter::Finish()
{
  file_.Write(text_.data(), text_.size());
  text_.clear();
}

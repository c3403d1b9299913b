#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "TimeColumn.h"

#include "signalprocessing/io/file/Trend.h"

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <vector>

class OptionSet;

/// Reads tables of time-stamped values.
class TrendCsvReader
{
public:
  /// Adds the options that say which column is what.
  void AddOptions(OptionSet& options);
  /// Adds only those that say how rows are read.
  void AddRowOptions(OptionSet& options);

  struct Result
  {
    std::deque<trend_entry_t> entries; ///< ascending by time; of equal times in the order of the rows
    std::string unit;                  ///< from the name of the value's column, may be empty
    std::vector<std::string> remarks;
    unsigned long long skipped = 0;
    unsigned long long backwardSteps = 0;
    unsigned long long repeatedTimes = 0;
  };

  /// A row without a time stamp or a value, or with a field that cannot be read, is a ToolError that names line and
  /// column, or is skipped when the user says so.
  Result Read(InputFile const& file) const;

private:
  friend class TrendRows;
  static constexpr std::size_t kColumns = 7;
  std::array<std::optional<std::string>, kColumns> columns_;
  TimeColumn times_;
  std::optional<unsigned long long> defaultStatus_;
  bool skipBad_ = false;
};

/// Reads tables of which only one column, the time stamps, matters.
class TimeTableReader
{
public:
  /// Adds the options for a table that an option named "--pins" gives.
  void AddOptions(OptionSet& options);
  /// Ascending.
  std::vector<long long> Read(InputFile const& file) const;

private:
  std::string column_ = "1";
  TimeColumn times_;
};

/// Writes entries as a table that reads back to the same entries.
class TrendCsvWriter
{
public:
  TrendCsvWriter(OutputFile& file, std::string const& unit);
  void Write(trend_entry_t const& entry);
  void Finish();
  /// Entries that hold what no table tells: bits of a not-a-number, bytes that belong to no field.
  unsigned long long InexactEntries() const { return inexact_; }

private:
  OutputFile& file_;
  std::string text_;
  unsigned long long inexact_ = 0;
};

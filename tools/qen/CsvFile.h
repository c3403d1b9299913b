#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "Recording.h"

#include <optional>
#include <span>
#include <string>

/// Values as text, one on a line. Numbers are exact and independent of any locale, the decimal mark is a point.
namespace CsvFile
{
struct ReadOptions
{
  std::string column; ///< name, with or without its unit, or number, from 1; may be empty when there is one column
  std::optional<sample_datatype32_t> type; ///< without it the smallest that holds all values
};

/// Reads one column. Lines that begin with # and blank lines before the first value are skipped; a first line
/// without numbers names the columns. Comma, semicolon or tab separate columns; double quotes may enclose them.
///
/// Integers become the smallest of int16, int32 and int64 that holds them all; one decimal point, exponent or "nan"
/// makes all values float64. A decimal text with more digits than float64 holds is rounded, with a remark; everything
/// else that a type cannot hold exactly is refused with its line number.
Recording Read(InputFile const& file, ReadOptions const& options);

struct WriteOptions
{
  std::string valueName;          ///< the column's name on the first line; empty for no such line
  std::string unit;               ///< behind that name in brackets
  std::optional<double> timeStep; ///< adds a first column index x step
  std::string timeName;
};

/// Writes numbers line by line with the shortest text that reads back exactly.
class Writer
{
public:
  Writer(OutputFile& file, WriteOptions options);
  template <class T>
  void Write(std::span<T const> values);
  /// Hands what is left to the file.
  void Finish();

private:
  void Flush();

  OutputFile& file_;
  WriteOptions options_;
  std::string text_;
  unsigned long long index_ = 0;
};
} // namespace CsvFile

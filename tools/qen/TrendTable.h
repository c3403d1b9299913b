#pragma once

#include "LineReader.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The rows of a table of text, columns separated by comma, semicolon or tab. Blank lines and lines that begin with #
/// are skipped; a first line without a number or a time stamp names the columns.
class TrendTable
{
public:
  explicit TrendTable(InputFile const& file) : lines_(file) {}

  /// Goes on to the next row; false at the end.
  bool Next();
  /// A field of the row; empty when the row is too short. Columns count from 0.
  std::string const& Field(std::size_t column) const;

  /// A column by its name or its number, from 1. REQUIRES: a row was read. Throws when there is none.
  std::size_t Find(std::string const& column) const;
  std::optional<std::size_t> FindNamed(std::string const& name) const;
  /// Names of the columns, none without a first line of names.
  std::vector<std::string> const& Names() const { return names_; }
  /// How messages name a field of the row: "line 3, column "rms"", "line 3, column 2".
  std::string Where(std::size_t column) const;

private:
  LineReader lines_;
  bool started_ = false;
  bool hasRow_ = false;
  char delimiter_ = '\0';
  std::vector<std::string> names_;
  std::vector<std::string> fields_;
};

#pragma once

#include "OutputFile.h"

#include "platform/database/TrendDataDO.h"

#include <list>
#include <optional>
#include <string>

/// A trend file and its details document, which appear together or not at all, also with those of other trends.
///
/// Standard output, devices and pipes take the trend alone.
class TrendOutput
{
public:
  /// Failures are ToolError, Disk; also when another file than the document of a trend would have to give way.
  TrendOutput(std::string const& target, OutputFile::Existing existing);

  /// Writes both files and brings them to the disk, under temporary names.
  void Write(TrendDataDO const& trend);
  /// Gives all files of all trends their names, documents first: a trend never stands without its unit.
  static void Commit(std::list<TrendOutput>& trends);

  std::string const& Path() const { return path_; }

private:
  std::string path_;
  OutputFile record_;
  std::optional<OutputFile> document_;
};

#pragma once

#include <string>
#include <string_view>

/// What the tool says: data on standard output, everything else on standard error.
class Report
{
public:
  enum class Level
  {
    Quiet,
    Normal,
    Verbose
  };

  void SetLevel(Level level) { level_ = level; }
  bool IsQuiet() const { return level_ == Level::Quiet; }

  /// One line of data.
  void Data(std::string_view line);
  /// What was done: one line, unless the user wants quiet.
  void Say(std::string_view line);
  /// More about a file, for the user who asked for it: "qen: FILE: text".
  void Detail(std::string_view file, std::string_view text);
  /// What the user should know although the work goes on: "qen: FILE: text".
  void Note(std::string_view file, std::string_view text);
  /// What went wrong with a file: "qen: FILE: text"; also in quiet runs.
  void Error(std::string_view file, std::string_view text);
  void Error(std::string_view text);

  /// Shows on a terminal which of several files is at work; elsewhere nothing.
  void Progress(std::size_t position, std::size_t total, std::string_view file);

  /// Writes out what is still held back. False when some data could not be written.
  bool Finish();

private:
  void Talk(std::string_view line);
  void ClearProgress();

  Level level_ = Level::Normal;
  bool progressShown_ = false;
};

#pragma once

#include "ExitCode.h"
#include "Report.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

/// Runs work that belongs to a file; whatever it throws becomes a message with the file's name, and a status.
/// @param where  in front of the message, for work on a part of the file
ExitCode RunGuarded(Report& report, std::string const& file, std::function<ExitCode()> const& work,
                    std::string const& where = "");

/// The files that one call of a command works on.
struct InputFiles
{
  struct Problem
  {
    std::string file, text;
  };
  std::vector<std::string> files;
  std::vector<Problem> problems;

  /// Takes files as they are named and every file below a directory, in the order of the names, whose extension is in
  /// the list (".wav"; upper and lower case count alike). Links to directories below a directory are not followed.
  static InputFiles Expand(std::span<std::string const> arguments, std::span<char const* const> extensions);

  /// Runs `work` on each file. A failure is reported with the file's name and does not stop the rest.
  ExitCode ForEach(Report& report, std::function<ExitCode(std::string const&)> const& work) const;
};

#pragma once

#include <stdexcept>
#include <string>

/// Exit status of the tool. The numbers are documented for scripts: never change them.
enum class ExitCode : int
{
  Good = 0,
  Difference = 1, ///< damage or a difference was found
  Usage = 2,      ///< the command line makes no sense
  Unreadable = 3, ///< no input could be used
  PartlyDone = 4, ///< some inputs were done, others were not
  Disk = 5        ///< a result could not be written, or a database failed
};

/// A failure with the exit status that it leads to. The text is one line; the input's name is left out.
class ToolError : public std::runtime_error
{
public:
  ToolError(ExitCode code, std::string const& text) : std::runtime_error(text), code_(code) {}
  ExitCode Code() const { return code_; }

private:
  ExitCode code_;
};

/// The exit status of a run over several files: 1 when damage was found in any, else 4 when only some could be done,
/// else the gravest failure.
class Outcome
{
public:
  void Add(ExitCode code);
  ExitCode Result() const;

private:
  bool done_ = false;
  bool difference_ = false;
  ExitCode failure_ = ExitCode::Good;
};

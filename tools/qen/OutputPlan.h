#pragma once

#include "OutputFile.h"

#include <set>
#include <string>

class OptionSet;

/// Where the results of one call go: -o names one file, -d a folder, with neither each result lies beside its input.
class OutputPlan
{
public:
  /// Adds -o, -d and --force.
  void AddOptions(OptionSet& options);

  bool HasFile() const { return !file_.empty(); }
  bool HasDirectory() const { return !directory_.empty(); }
  std::string const& File() const { return file_; }
  OutputFile::Existing Existing() const;

  /// Refuses -o for more than one result.
  void RequireRoomFor(std::size_t results) const;
  /// The target of one result: the input's name with `suffix` behind its stem and the given extension (".wav"). Creates
  /// the folder of -d. Refuses a name that an earlier result of this call has, and standard input without -o and -d.
  std::string Target(std::string const& input, std::string const& suffix, std::string const& extension);

  /// Makes a folder, and those above it, unless it is there; new ones are brought to the disk.
  static void MakeFolder(std::string const& path);

private:
  std::string file_;
  std::string directory_;
  bool force_ = false;
  std::set<std::string> taken_;
};

#include "OutputPlan.h"

#include "ExitCode.h"
#include "OptionSet.h"
#include "Text.h"

#include <cstring>
#include <filesystem>
#include <vector>

void OutputPlan::AddOptions(OptionSet& options)
{
  options.AddText("-o,--output", "FILE", file_, "write to this file; - is standard output");
  options.AddText("-d,--directory", "DIR", directory_, "write into this folder, which is made when it is missing")
      .Excludes("--output");
  options.AddFlag("--force", force_, "replace files that exist");
}

OutputFile::Existing OutputPlan::Existing() const
{
  return force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse;
}

void OutputPlan::RequireRoomFor(std::size_t results) const
{
  if (HasFile() && results > 1)
    throw ToolError(ExitCode::Usage,
                    "-o names one file for " + std::to_string(results) + " results; -d names a folder");
}

void OutputPlan::MakeFolder(std::string const& path)
{
  namespace fs = std::filesystem;
  std::error_code error;
  std::vector<fs::path> missing;
  for (fs::path folder = path; !folder.empty() && !fs::exists(folder, error); folder = folder.parent_path())
    missing.push_back(folder);
  fs::create_directories(path, error);
  if (error)
    throw ToolError(ExitCode::Disk, Text::Printable(path) + " cannot be made: " + error.message());
  // What lies in a folder is on the disk when the folder is.
  for (fs::path const& folder : missing)
  {
    std::string const above = folder.parent_path().native();
    if (int const failure = OutputFile::SynchroniseFolder(above.empty() ? "." : above); failure != 0)
      throw ToolError(ExitCode::Disk, Text::Printable(path) +
                                          " was made, but cannot be brought to the disk: " + std::strerror(failure));
  }
}

std::string OutputPlan::Target(std::string const& input, std::string const& suffix, std::string const& extension)
{
  namespace fs = std::filesystem;
  if (HasFile())
    return file_;
  if (input == "-" && !HasDirectory())
    throw ToolError(ExitCode::Usage, "standard input needs -o or -d");
  std::string const stem = input == "-" ? "stdin" : fs::path(input).stem().native();
  if (HasDirectory())
    MakeFolder(directory_);
  fs::path const folder = HasDirectory() ? fs::path(directory_) : fs::path(input).parent_path();
  std::string target = (folder / (stem + suffix + extension)).native();
  if (!taken_.insert(fs::path(target).lexically_normal().native()).second)
    throw ToolError(ExitCode::Disk, Text::Printable(target) + " not written: another input of this call has that name");
  return target;
}

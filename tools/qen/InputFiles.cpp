#include "InputFiles.h"

#include "Text.h"

#include "store/DatabaseException.h"

#include <algorithm>
#include <filesystem>
#include <new>

namespace
{
namespace fs = std::filesystem;

bool HasExtension(fs::path const& path, std::span<char const* const> extensions)
{
  std::string const extension = Text::Lower(path.extension().native());
  return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

void ExpandDirectory(std::string const& directory, std::span<char const* const> extensions, InputFiles& inputs)
{
  std::error_code error;
  std::vector<std::string> found;
  fs::recursive_directory_iterator entry(directory, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
  {
    std::error_code ignored;
    if (HasExtension(entry->path(), extensions) && entry->is_regular_file(ignored))
      found.push_back(entry->path().native());
  }
  if (error)
    inputs.problems.push_back({directory, "cannot be listed: " + error.message()});
  else if (found.empty())
    inputs.problems.push_back(
        {directory, "holds no file with the extension " +
                        Text::Join(std::vector<std::string>(extensions.begin(), extensions.end()), ", ")});
  std::sort(found.begin(), found.end());
  inputs.files.insert(inputs.files.end(), found.begin(), found.end());
}

} // namespace

ExitCode RunGuarded(Report& report, std::string const& file, std::function<ExitCode()> const& work,
                    std::string const& where)
{
  try
  {
    return work();
  }
  catch (ToolError const& error)
  {
    report.Error(file, where + error.what());
    return error.Code();
  }
  catch (DatabaseException const& error)
  {
    report.Error(file, where + error.what());
    return ExitCode::Disk;
  }
  catch (std::bad_alloc const&)
  {
    report.Error(file, where + "needs more memory than there is");
  }
  catch (std::exception const& error)
  {
    report.Error(file, where + error.what());
  }
  return ExitCode::Unreadable;
}

InputFiles InputFiles::Expand(std::span<std::string const> arguments, std::span<char const* const> extensions)
{
  InputFiles inputs;
  for (std::string const& argument : arguments)
  {
    std::error_code ignored;
    if (argument != "-" && fs::is_directory(argument, ignored))
      ExpandDirectory(argument, extensions, inputs);
    else
      inputs.files.push_back(argument);
  }
  return inputs;
}

ExitCode InputFiles::ForEach(Report& report, std::function<ExitCode(std::string const&)> const& work) const
{
  Outcome outcome;
  for (Problem const& problem : problems)
  {
    report.Error(problem.file, problem.text);
    outcome.Add(ExitCode::Unreadable);
  }
  for (std::size_t i = 0; i < files.size(); ++i)
  {
    report.Progress(i + 1, files.size(), files[i]);
    outcome.Add(RunGuarded(report, files[i], [&] { return work(files[i]); }));
  }
  return outcome.Result();
}

#include "TemporaryFolder.h"

#include "ExitCode.h"
#include "Text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(std::string const& kept) : path_(kept), isKept_(!kept.empty())
{
  std::error_code error;
  if (isKept_)
    fs::create_directories(path_, error);
  else
  {
    path_ = fs::temp_directory_path(error).native() + "/qen-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr)
      error = std::error_code(errno, std::generic_category());
  }
  if (error)
    throw ToolError(ExitCode::Disk, Text::Printable(path_) + " cannot be made: " + error.message());
}

TemporaryFolder::~TemporaryFolder()
{
  std::error_code ignored;
  if (!isKept_)
    fs::remove_all(path_, ignored);
}

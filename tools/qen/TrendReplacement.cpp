// A list is a row of words, each ended by a NUL byte: the name of the form; "new" and its UUID for each new trend;
// "old", or "kept" for one that stays, its UUID, its file names from the list's folder on and an empty word for each
// old one; "end".
#include "TrendReplacement.h"

#include "ExitCode.h"
#include "SignalFile.h"
#include "Text.h"
#include "TrendDocument.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{
namespace fs = std::filesystem;

constexpr char kForm[] = "qen.trend-shrink-list/1";
constexpr char kPrefix[] = ".shrink-";
constexpr char const* kNewExtensions[] = {TrendFile::kExtension, DetailsDocument::kExtension};

[[noreturn]] void Fail(std::string const& path, char const* what, int error)
{
  throw ToolError(ExitCode::Disk, Text::Printable(path) + " " + what + ": " + std::strerror(error));
}

/// Absolute and without links, as far as the path exists.
std::string Canonical(std::string const& path)
{
  std::error_code error;
  fs::path const canonical = fs::weakly_canonical(path.empty() ? "." : path, error);
  return error ? path : canonical.native();
}

/// The names of a file: its own and, when that is a link, behind it that of the link.
void AddNames(std::string const& path, std::vector<std::string>& names)
{
  fs::path const file(path);
  names.push_back(Canonical(path));
  std::string const link = (fs::path(Canonical(file.parent_path().native())) / file.filename()).native();
  if (link != names.back())
    names.push_back(link);
}

bool IsThere(std::string const& path)
{
  struct stat status;
  if (stat(path.c_str(), &status) == 0)
    return true;
  if (errno != ENOENT && errno != ENOTDIR)
    Fail(path, "cannot be examined", errno);
  return false;
}

bool IsRecordOf(std::string const& path, Uuid const& trend)
{
  std::optional<trend_header_t> const header = TrendFile::PeekHeader(InputFile(path));
  return header && SignalFile::ToUuid(header->TrendUuid) == trend;
}

/// Whether there is a record or document of the trend.
bool IsOf(std::string const& path, Uuid const& trend)
{
  if (!IsThere(path))
    return false;
  try
  {
    return IsRecordOf(path, trend) || TrendDocument::IsOf(path, trend);
  }
  catch (ToolError const& error)
  {
    throw ToolError(ExitCode::Disk, Text::Printable(path) + " " + error.what());
  }
}

/// Removes a record or document of the trend, or a link that leads nowhere any more.
/// @return whether there was one
bool RemoveIfOf(std::string const& path, Uuid const& trend)
{
  std::error_code ignored;
  bool const isOurs = IsThere(path) ? IsOf(path, trend) : fs::is_symlink(path, ignored);
  if (isOurs && unlink(path.c_str()) != 0)
    Fail(path, "cannot be removed", errno);
  return isOurs;
}

void Synchronise(std::string const& folder)
{
  if (int const error = OutputFile::SynchroniseFolder(folder); error != 0)
    Fail(folder, "cannot be brought to the disk", error);
}

std::vector<std::string> Words(std::string const& text)
{
  std::vector<std::string> words;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find('\0', start)) != std::string::npos; start = end + 1)
    words.push_back(text.substr(start, end - start));
  return words;
}
} // namespace

TrendReplacement::TrendReplacement(std::string const& folder) : folder_(Canonical(folder)) {}

TrendReplacement::~TrendReplacement()
{
  if (lock_ >= 0)
    close(lock_);
}

TrendReplacement::TrendReplacement(TrendReplacement&& other) noexcept
  : folder_(std::move(other.folder_)), path_(std::move(other.path_)), lock_(std::exchange(other.lock_, -1)),
    new_(std::move(other.new_)), old_(std::move(other.old_))
{
}

void TrendReplacement::AddNew(Uuid const& trend)
{
  if (new_.empty())
    path_ = folder_ + "/" + kPrefix + trend.ToString();
  new_.push_back(trend);
}

void TrendReplacement::AddOld(TrendFamily::Member const& member, bool goes)
{
  Old old{member.loaded.trend.GetTrendUuid(), goes, {}};
  for (std::string const& path : {member.path, member.loaded.documentPath})
    if (!path.empty())
      AddNames(path, old.names);
  old_.push_back(std::move(old));
}

void TrendReplacement::Commit(std::list<TrendOutput>& outputs)
{
  try
  {
    Write();
    TrendOutput::Commit(outputs);
  }
  catch (ToolError const& error)
  {
    throw ToolError(error.Code(), error.what() + TryToTakeBack());
  }
  Finish();
}

void TrendReplacement::Write()
{
  std::string text;
  auto const add = [&](std::string const& word) { text.append(word).push_back('\0'); };
  add(kForm);
  for (Uuid const& trend : new_)
  {
    add("new");
    add(trend.ToString());
  }
  for (Old const& old : old_)
  {
    add(old.goes ? "old" : "kept");
    add(old.trend.ToString());
    for (std::string const& name : old.names)
      add(fs::path(name).lexically_relative(folder_).native());
    add("");
  }
  add("end");
  OutputFile output(path_, OutputFile::Existing::Refuse);
  output.Write(text.data(), text.size());
  lock_ = dup(output.Descriptor()); // shares the lock and outlives the descriptor
  Lock();
  output.Commit();
}

/// @return whether it is a list
bool TrendReplacement::Read()
try
{
  std::vector<unsigned char> const bytes = InputFile(path_).ReadAll();
  std::vector<std::string> const words = Words(std::string(bytes.begin(), bytes.end()));
  if (words.size() < 2 || words.front() != kForm || words.back() != "end")
    return false;
  auto const end = words.end() - 1;
  for (auto word = words.begin() + 1; word < end - 1; ++word)
  {
    std::string const& kind = *word++;
    Uuid const trend(*word);
    if (kind == "new")
      new_.push_back(trend);
    else
      for (old_.push_back({trend, kind == "old", {}}); ++word < end && !word->empty();)
        old_.back().names.push_back((fs::path(folder_) / *word).lexically_normal().native());
  }
  return !new_.empty(); // nothing takes the place of anything else
}
catch (UuidException const&)
{
  return false;
}
catch (ToolError const& error)
{
  throw ToolError(error.Code(), Text::Printable(path_) + " " + error.what());
}

/// @return whether no other run has the lock; some file systems know no locks
bool TrendReplacement::Lock()
{
  if (lock_ < 0)
    lock_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  return flock(lock_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

std::vector<TrendReplacement> TrendReplacement::Find(std::vector<std::string> const& folders,
                                                     std::vector<std::string> const& files)
{
  std::set<std::string> everyFolder;
  for (std::string const& folder : folders)
    everyFolder.insert(Canonical(folder));
  std::vector<std::string> everyName;
  for (std::string const& file : files)
    AddNames(file, everyName);
  std::vector<TrendReplacement> found;
  for (std::string const& folder : everyFolder)
  {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
    {
      TrendReplacement list(folder);
      list.path_ = entry->path().native();
      std::error_code ignored;
      bool const isNamedSo = entry->path().filename().native().starts_with(kPrefix) && entry->is_regular_file(ignored);
      if (isNamedSo && list.Read() && list.TellsOf(everyName))
        found.push_back(std::move(list));
    }
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
      throw ToolError(ExitCode::Unreadable, Text::Printable(folder) + " cannot be listed: " + error.message());
  }
  return found;
}

bool TrendReplacement::TellsOf(std::vector<std::string> const& files) const
{
  std::vector<std::string> names = NewFiles();
  for (Old const& old : old_)
    names.insert(names.end(), old.names.begin(), old.names.end());
  return std::any_of(files.begin(), files.end(),
                     [&](std::string const& file)
                     { return std::find(names.begin(), names.end(), file) != names.end(); });
}

std::vector<std::string> TrendReplacement::NewFiles() const
{
  std::vector<std::string> names;
  for (Uuid const& trend : new_)
    names.push_back(folder_ + "/" + trend.ToString() + TrendFile::kExtension);
  return names;
}

bool TrendReplacement::Settle()
{
  if (!Lock() || !IsThere(path_))
    throw ToolError(ExitCode::Disk, "another run is replacing these trends (" + Text::Printable(path_) + ")");
  if (AllNewAreGood())
  {
    Synchronise(folder_); // the run may have ended before it did
    Finish();
    return true;
  }
  if (!AllOldAreThere())
    throw ToolError(ExitCode::Disk, Text::Printable(path_) +
                                        " tells of a run that ended early, but some of its new files are missing and "
                                        "some of its old ones, too: put files back, or delete it");
  TakeBack();
  return false;
}

bool TrendReplacement::AllNewAreGood() const
{
  std::vector<std::string> const files = NewFiles();
  for (std::size_t i = 0; i < files.size(); ++i)
    try
    {
      if (!IsThere(files[i]))
        return false;
      TrendFile::Loaded const loaded = TrendFile::Read(InputFile(files[i]), Uuid());
      if (loaded.trend.GetTrendUuid() != new_[i] || loaded.documentPath.empty())
        return false;
    }
    catch (ToolError const&)
    {
      return false;
    }
  return true;
}

bool TrendReplacement::AllOldAreThere() const
{
  return std::all_of(old_.begin(), old_.end(),
                     [](Old const& old) { return !old.names.empty() && IsOf(old.names.front(), old.trend); });
}

void TrendReplacement::Finish()
try
{
  std::set<std::string> folders;
  for (Old const& old : old_)
    for (std::string const& name : old.names)
      if (old.goes && RemoveIfOf(name, old.trend))
        folders.insert(fs::path(name).parent_path().native());
  for (std::string const& folder : folders)
    Synchronise(folder); // before the list goes
  RemoveList();
}
catch (ToolError const& error)
{
  throw ToolError(ExitCode::Disk,
                  "the new trends are complete, but " + std::string(error.what()) + "; the same command again goes on");
}

/// @return whether any of the new files had its name
bool TrendReplacement::TakeBack()
{
  bool wereThere = false;
  for (Uuid const& trend : new_)
    for (char const* const extension : kNewExtensions)
      wereThere = RemoveIfOf(folder_ + "/" + trend.ToString() + extension, trend) || wereThere;
  if (wereThere)
    Synchronise(folder_); // before the list goes
  RemoveList();
  return wereThere;
}

/// @return what the user must know of it
std::string TrendReplacement::TryToTakeBack()
try
{
  return TakeBack() ? "; the new trends were removed again" : "";
}
catch (ToolError const&)
{
  return "; the next run takes back what was done";
}

void TrendReplacement::RemoveList()
{
  if (unlink(path_.c_str()) != 0 && errno != ENOENT)
    Fail(path_, "cannot be removed", errno);
  OutputFile::SynchroniseFolder(folder_); // a list that comes back only tells once more of what is done
}

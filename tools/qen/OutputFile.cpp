#include "OutputFile.h"

#include "ExitCode.h"
#include "Text.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{
namespace fs = std::filesystem;

/// The files that a signal must not leave behind, linked. Read by the handler; changed while signals are held.
OutputFile::Pending* pendingFiles = nullptr;

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGTERM};

extern "C" void RemovePendingFile(int signal)
{
  for (OutputFile::Pending const* file = pendingFiles; file != nullptr; file = file->next)
    unlink(file->path.c_str());
  raise(signal); // the handler is gone by now: ends the process as the signal does
}

/// Keeps ending signals away while the temporary file and the list above change together.
class SignalsHeld
{
public:
  SignalsHeld()
  {
    sigset_t ending;
    sigemptyset(&ending);
    for (int signal : kEndingSignals)
      sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, &before_);
  }
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(SignalsHeld const&) = delete;
  SignalsHeld& operator=(SignalsHeld const&) = delete;

private:
  sigset_t before_;
};

void RemovePendingFileOnSignals()
{
  for (int signal : kEndingSignals)
  {
    struct sigaction action;
    // A signal that the caller of the tool chose to ignore (nohup) stays ignored.
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
      continue;
    action.sa_handler = &RemovePendingFile;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

/// @return 0, or the error number
int WriteAll(int descriptor, char const* bytes, std::size_t count)
{
  while (count > 0)
  {
    ssize_t const written = write(descriptor, bytes, count);
    if (written < 0 && errno == EINTR)
      continue;
    if (written <= 0)
      return written == 0 ? ENOSPC : errno;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return 0;
}

/// Gives a file a name that nothing has yet, in one step as far as the file system can.
/// @return 0, or the error number
int RenameToNew(char const* from, char const* to)
{
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
    return 0;
  if (errno != EEXIST && link(from, to) == 0)
  {
    unlink(from); // it has its name now, even if it should keep the other one, too
    return 0;
  }
  if (errno == EEXIST)
    return EEXIST;
  struct stat status;
  if (lstat(to, &status) == 0) // neither way is supported: the last resort
    return EEXIST;
  return std::rename(from, to) == 0 ? 0 : errno;
}

/// Two files change their names in one step.
bool Exchange(char const* one, char const* other)
{
  return renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE) == 0;
}

/// Whether a failed exchange means that there is nothing to exchange, or that the file system cannot do it.
bool CanOnlyRename(int error) { return error == ENOENT || error == EINVAL || error == ENOSYS; }

std::string FolderOf(std::string const& path)
{
  std::string const folder = fs::path(path).parent_path().native();
  return folder.empty() ? "." : folder;
}
} // namespace

OutputFile::OutputFile(std::string const& target, Existing existing)
  : name_(target), target_(target), existing_(existing), isStream_(target == "-")
{
  std::error_code ignored;
  fs::file_status const status = isStream_ ? fs::file_status() : fs::status(target_, ignored);
  if (fs::is_directory(status))
    throw ToolError(ExitCode::Disk, Text::Printable(target_) + " is a directory, not a file to write");
  isStream_ = isStream_ || (fs::exists(status) && !fs::is_regular_file(status));
  if (!isStream_ && fs::exists(status))
  {
    if (existing_ == Existing::Refuse)
      Fail("not written", EEXIST);
    target_ = fs::canonical(target_).native(); // through links, so that the file itself is replaced
  }
  std::error_code error;
  std::string const folder = isStream_ ? fs::temp_directory_path(error).native() : FolderOf(target_);
  if (error)
    Fail("cannot be written, there is no folder for temporary files", error.value());
  Create(folder);
}

OutputFile::~OutputFile()
{
  Remove();
  if (descriptor_ >= 0)
    close(descriptor_);
}

void OutputFile::Create(std::string const& folder)
{
  folder_ = folder;
  std::string name = folder_ + "/.qen-XXXXXX";
  auto pending = std::make_unique<Pending>();
  RemovePendingFileOnSignals();
  SignalsHeld const held;
  descriptor_ = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor_ < 0)
    Fail("cannot be written", errno);
  temporary_ = name;
  pending->path = name;
  pending->next = pendingFiles;
  pending_ = std::move(pending);
  pendingFiles = pending_.get();
}

void OutputFile::Write(void const* bytes, std::size_t count)
{
  if (int const error = WriteAll(descriptor_, static_cast<char const*>(bytes), count); error != 0)
    Fail("cannot be written", error);
}

void OutputFile::Commit()
{
  if (isStream_)
  {
    Remove();
    CopyToTarget();
    return;
  }
  OutputFile* const files[] = {this};
  CommitTogether(files);
}

void OutputFile::CommitTogether(std::span<OutputFile* const> files)
{
  for (OutputFile* const file : files)
    file->Complete();
  RenameTogether(files);
  std::set<std::string> synchronised;
  for (OutputFile const* const file : files)
    if (synchronised.insert(file->folder_).second)
      if (int const error = SynchroniseFolder(file->folder_); error != 0)
        file->Fail("was written, but its folder cannot be brought to the disk", error);
}

void OutputFile::CommitTogether(OutputFile& first, OutputFile& second)
{
  OutputFile* const files[] = {&first, &second};
  CommitTogether(files);
}

void OutputFile::RenameTogether(std::span<OutputFile* const> files)
{
  SignalsHeld const held;
  std::vector<Before> done;
  done.reserve(files.size());
  try
  {
    for (OutputFile* const file : files)
      done.push_back(file->TakeName(file != files.back())); // nothing that could fail comes behind the last
  }
  catch (ToolError const& error)
  {
    std::string text = error.what();
    for (std::size_t i = done.size(); i-- > 0;)
      text += files[i]->GiveNameBack(done[i]);
    throw ToolError(error.Code(), text);
  }
  for (OutputFile* const file : files)
    file->Remove();
}

void OutputFile::Complete()
{
  if (descriptor_ < 0)
    return;
  SetMode();
  if (fsync(descriptor_) != 0)
    Fail("cannot be brought to the disk", errno);
  if (close(std::exchange(descriptor_, -1)) != 0)
    Fail("cannot be written", errno);
}

int OutputFile::SynchroniseFolder(std::string const& path)
{
  int const folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0 && errno == EACCES) // one that may be written but not read
  {
    sync();
    return 0;
  }
  // Some file systems cannot synchronise folders: they answer EINVAL.
  int const error = folder >= 0 && (fsync(folder) == 0 || errno == EINVAL) ? 0 : errno;
  if (folder >= 0)
    close(folder);
  return error;
}

/// Owner and mode of the file that is replaced, or those of any new file. File systems without them refuse, and only
/// the superuser gives files away; the contents matter more.
void OutputFile::SetMode()
{
  struct stat status;
  if (stat(target_.c_str(), &status) == 0)
  {
    [[maybe_unused]] int const ignored = fchown(descriptor_, status.st_uid, status.st_gid);
    fchmod(descriptor_, status.st_mode & 07777);
    return;
  }
  mode_t const mask = umask(0);
  umask(mask);
  fchmod(descriptor_, 0666 & ~mask);
}

OutputFile::Before OutputFile::TakeName(bool keepsOld)
{
  SignalsHeld const held;
  bool const replaces = existing_ == Existing::Replace;
  if (replaces && keepsOld && Exchange(temporary_.c_str(), target_.c_str()))
    return Before::Kept;
  if (replaces && keepsOld && !CanOnlyRename(errno))
    Fail("cannot be written", errno);
  bool const wasThere = replaces && access(target_.c_str(), F_OK) == 0;
  int error = 0;
  if (!replaces)
    error = RenameToNew(temporary_.c_str(), target_.c_str());
  else if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
    error = errno;
  if (error != 0)
    Fail(error == EEXIST ? "not written" : "cannot be written", error);
  Forget();
  return wasThere ? Before::Gone : Before::Nothing;
}

/// @return what the user must know when the target is not as it was
std::string OutputFile::GiveNameBack(Before before)
{
  if (before == Before::Nothing && unlink(target_.c_str()) == 0)
    return "";
  if (before == Before::Kept && Exchange(temporary_.c_str(), target_.c_str()))
    return "";
  std::string text = "; " + Show(name_) + " is new already";
  if (before == Before::Kept)
  {
    text += ", what it held is " + Show(temporary_);
    Forget();
  }
  return text;
}

void OutputFile::Forget()
{
  temporary_.clear();
  Pending** link = &pendingFiles;
  while (*link != nullptr && *link != pending_.get())
    link = &(*link)->next;
  if (*link != nullptr)
    *link = pending_->next;
  pending_.reset();
}

void OutputFile::CopyToTarget()
{
  bool const isStandardOutput = target_ == "-";
  if (isStandardOutput)
    std::fflush(stdout);
  int const out = isStandardOutput ? dup(STDOUT_FILENO) : open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (out < 0)
    Fail("cannot be opened", errno);
  std::array<char, 65536> buffer;
  int error = lseek(descriptor_, 0, SEEK_SET) < 0 ? errno : 0;
  ssize_t count = 0;
  while (error == 0 && (count = read(descriptor_, buffer.data(), buffer.size())) > 0)
    error = WriteAll(out, buffer.data(), static_cast<std::size_t>(count));
  if (count < 0)
    error = errno;
  if (close(out) != 0 && error == 0)
    error = errno;
  if (error != 0)
    Fail("cannot be written", error);
}

void OutputFile::Remove()
{
  if (temporary_.empty())
    return;
  SignalsHeld const held;
  unlink(temporary_.c_str());
  Forget();
}

std::string OutputFile::Show(std::string const& target)
{
  return target == "-" ? "standard output" : Text::Printable(target);
}

void OutputFile::Fail(char const* doing, int error) const
{
  std::string const reason = error == EEXIST ? "the file exists, --force replaces it" : std::strerror(error);
  throw ToolError(ExitCode::Disk, Show(name_) + " " + doing + ": " + reason);
}

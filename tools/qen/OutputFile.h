#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

/// A result that appears complete or not at all.
///
/// Everything is written into a temporary file in the target's folder; Commit brings it to the disk, gives it the
/// target's name in one step and brings the folder to the disk. Until then the target is as it was, and whatever ends
/// this object early (an exception, SIGINT, SIGTERM or SIGHUP) removes the temporary file.
///
/// The target "-" is standard output. For it and for targets that are no ordinary files (devices, pipes) the temporary
/// file lies in the system's folder for such files and Commit copies it.
///
/// Failures are ToolError with the status Disk and a text that names the target.
class OutputFile
{
public:
  enum class Existing
  {
    Refuse,
    Replace
  };

  OutputFile(std::string const& target, Existing existing);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  /// The file to write into, by name or by descriptor.
  std::string const& TemporaryPath() const { return temporary_; }
  int Descriptor() const { return descriptor_; }
  void Write(void const* bytes, std::size_t count);

  void Commit();
  /// Brings the file to the disk, still under its temporary name, and closes it: nothing more is written into it.
  void Complete();
  /// Commits files that belong together: all are on the disk before the first takes its name, in the given order. When
  /// one is refused its name, those before it lose theirs again and what they replaced is back. Should that fail, too,
  /// or the file system be one that cannot exchange files (FAT, NFS), the message says what is new already.
  static void CommitTogether(std::span<OutputFile* const> files);
  static void CommitTogether(OutputFile& first, OutputFile& second);

  /// Whether the target is standard output, a device or a pipe.
  bool IsStream() const { return isStream_; }

  /// Throws that the file "cannot be written", say, and why.
  [[noreturn]] void Fail(char const* doing, int error) const;

  /// Brings the names of a folder to the disk.
  /// @return 0, or the error number
  static int SynchroniseFolder(std::string const& folder);

  /// A target as messages name it.
  static std::string Show(std::string const& target);

  /// A temporary file that an ending signal must remove.
  struct Pending
  {
    std::string path;
    Pending* next = nullptr;
  };

private:
  void Create(std::string const& folder);
  void SetMode();
  /// What the target was before the file took its name.
  enum class Before
  {
    Nothing,
    Gone,
    Kept ///< under the temporary name
  };

  static void RenameTogether(std::span<OutputFile* const> files);
  Before TakeName(bool keepsOld);
  std::string GiveNameBack(Before before);
  void CopyToTarget();
  void Remove();
  void Forget();
  std::string name_; ///< as the user knows the target
  std::string target_;
  std::string folder_;
  std::string temporary_;
  Existing existing_;
  int descriptor_ = -1;
  std::unique_ptr<Pending> pending_; ///< the temporary file in the list that the signal handler reads
  bool isStream_ = false;
};

#pragma once

#include <csignal>
#include <string>

/// A new folder that goes, with all it holds, at the end of the object's life; or one that the user names, which stays.
///
/// While there is a new folder, SIGHUP, SIGINT and SIGTERM end the process only when the folder is gone.
class TemporaryFolder
{
public:
  /// @param kept  the folder to use and keep, made when it is missing; empty for a new one
  explicit TemporaryFolder(std::string const& kept);
  ~TemporaryFolder();
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  std::string const& Path() const { return path_; }

  /// Throws when such a signal waits for the folder to go. Long work calls it now and then.
  static void ThrowIfInterrupted();

private:
  void NoteSignals();

  std::string path_;
  bool isKept_;
  struct sigaction before_[3];
};

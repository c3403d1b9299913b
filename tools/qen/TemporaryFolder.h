#pragma once

#include <string>

/// A new folder that goes, with all it holds, at the end of the object's life; or one that the user names, which stays.
class TemporaryFolder
{
public:
  /// @param kept  the folder to use and keep, made when it is missing; empty for a new one
  explicit TemporaryFolder(std::string const& kept);
  ~TemporaryFolder();
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  std::string const& Path() const { return path_; }

private:
  std::string path_;
  bool isKept_;
};

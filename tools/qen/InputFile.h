#pragma once

#include <span>
#include <string>
#include <vector>

/// A file that is open for reading at any place. "-" is standard input; what cannot be read at any place (pipes,
/// terminals, devices) is first copied into an unnamed temporary file. Failures are ToolError, Unreadable.
class InputFile
{
public:
  explicit InputFile(std::string const& path);
  ~InputFile();
  InputFile(InputFile const&) = delete;
  InputFile& operator=(InputFile const&) = delete;

  std::string const& Path() const { return path_; }
  /// Whether Path() names the file itself, so that others may open it too.
  bool IsOnDisk() const { return onDisk_; }
  unsigned long long Size() const { return size_; }

  /// Reads as many bytes as fit and are there.
  /// @return their number
  std::size_t ReadAt(unsigned long long position, std::span<unsigned char> bytes) const;
  /// The whole contents.
  std::vector<unsigned char> ReadAll() const;

private:
  void Open();
  void Spool();

  std::string path_;
  int descriptor_ = -1;
  bool onDisk_ = false;
  unsigned long long size_ = 0;
};

/// Reads a file from its start in large pieces.
class SequentialReader
{
public:
  explicit SequentialReader(InputFile const& file, unsigned long long start = 0);
  /// The next bytes, none at the end; valid until the next call.
  std::span<unsigned char const> Next();

private:
  InputFile const& file_;
  unsigned long long position_;
  std::vector<unsigned char> buffer_;
};

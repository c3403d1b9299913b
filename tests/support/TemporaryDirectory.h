#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

/// A fresh folder that is gone again with the object.
class TemporaryDirectory
{
public:
  TemporaryDirectory() : path_((std::filesystem::temp_directory_path() / "qen-test-XXXXXX").string())
  {
    if (mkdtemp(path_.data()) == nullptr)
      throw std::system_error(errno, std::generic_category(), path_);
  }
  TemporaryDirectory(TemporaryDirectory const&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;
  ~TemporaryDirectory()
  {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string Path() const { return path_; }
  std::string Path(std::string const& name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

/// Whole files through the C library, which no C++ locale touches.
inline void WriteFile(std::string const& path, std::vector<unsigned char> const& bytes)
{
  std::unique_ptr<std::FILE, decltype(&std::fclose)> const file(std::fopen(path.c_str(), "wb"), &std::fclose);
  bool const written = file && (bytes.empty() || std::fwrite(bytes.data(), bytes.size(), 1, file.get()) == 1);
  if (!written || std::fflush(file.get()) != 0)
    throw std::system_error(errno, std::generic_category(), path);
}

inline std::vector<unsigned char> ReadFile(std::string const& path)
{
  std::unique_ptr<std::FILE, decltype(&std::fclose)> const file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file)
    throw std::system_error(errno, std::generic_category(), path);
  std::vector<unsigned char> bytes(std::filesystem::file_size(path));
  if (!bytes.empty())
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  return bytes;
}

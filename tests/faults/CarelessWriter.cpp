// Replaces a file by new contents as one should not. The tests of failing disks, killed processes and lost power run it
// to show that they would notice such a fault in the tool.
//
// Usage: careless_writer MANNER FILE TEXT
//   good       temporary file, synchronised, renamed, folder synchronised; errors are told and nothing is left behind
//   in-place   writes over the file
//   unsynced   like good, without bringing the new contents to the disk before they take the name
//   unnamed    like good, without bringing the folder to the disk
//   deaf       like good, but takes no notice of errors
//   untidy     like good, but leaves the temporary file behind when it fails
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace
{
constexpr int kDisk = 5;

class Writer
{
public:
  explicit Writer(std::string const& manner) : manner_(manner) {}

  int Replace(std::string const& path, std::string const& text)
  {
    bool const inPlace = manner_ == "in-place";
    std::string const written = inPlace ? path : path + ".new";
    bool done = Write(written, text);
    done = done && (inPlace || std::rename(written.c_str(), path.c_str()) == 0 || IsDeaf());
    if (!done && !inPlace && manner_ != "untidy")
      unlink(written.c_str());
    done = done && (manner_ == "unnamed" || SynchroniseFolder());
    if (!done)
      std::fprintf(stderr, "qen: %s cannot be written\n", path.c_str());
    return done ? 0 : kDisk;
  }

private:
  bool IsDeaf() const { return manner_ == "deaf"; }

  bool Write(std::string const& path, std::string const& text) const
  {
    int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0)
      return IsDeaf();
    bool done = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) || IsDeaf();
    done = done && (manner_ == "unsynced" || fsync(file) == 0 || IsDeaf());
    return (close(file) == 0 || IsDeaf()) && done;
  }

  bool SynchroniseFolder() const
  {
    int const folder = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    bool const done = folder >= 0 && fsync(folder) == 0;
    if (folder >= 0)
      close(folder);
    return done || IsDeaf();
  }

  std::string manner_;
};
} // namespace

int main(int argc, char** argv) { return argc == 4 ? Writer(argv[1]).Replace(argv[2], argv[3]) : 2; }

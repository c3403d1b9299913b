#include "InputFile.h"

#include "ExitCode.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{
constexpr std::size_t kPiece = 262144; // even, so that checksums of pieces combine

[[noreturn]] void Fail(char const* what)
{
  throw ToolError(ExitCode::Unreadable, std::string(what) + ": " + std::strerror(errno));
}

class ClosedAtEnd
{
public:
  explicit ClosedAtEnd(int descriptor) : descriptor_(descriptor) {}
  ~ClosedAtEnd() { close(descriptor_); }
  ClosedAtEnd(ClosedAtEnd const&) = delete;
  ClosedAtEnd& operator=(ClosedAtEnd const&) = delete;

private:
  int descriptor_;
};

ssize_t ReadSome(int descriptor, std::span<unsigned char> bytes)
{
  ssize_t count;
  do
    count = read(descriptor, bytes.data(), bytes.size());
  while (count < 0 && errno == EINTR);
  return count;
}
} // namespace

InputFile::InputFile(std::string const& path) : path_(path)
{
  Open();
  struct stat status;
  if (fstat(descriptor_, &status) != 0)
    Fail("cannot be examined");
  if (S_ISDIR(status.st_mode))
    throw ToolError(ExitCode::Unreadable, "is a directory");
  onDisk_ = path_ != "-" && S_ISREG(status.st_mode);
  if (S_ISREG(status.st_mode) && onDisk_)
    size_ = static_cast<unsigned long long>(status.st_size);
  else
    Spool();
}

InputFile::~InputFile()
{
  if (descriptor_ >= 0)
    close(descriptor_);
}

void InputFile::Open()
{
  descriptor_ = path_ == "-" ? dup(STDIN_FILENO) : open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (descriptor_ < 0)
    Fail("cannot be opened");
}

void InputFile::Spool()
{
  int const pipe = std::exchange(descriptor_, -1);
  ClosedAtEnd const source(pipe);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> const spool(std::tmpfile(), &std::fclose);
  if (spool == nullptr)
    Fail("cannot be copied into a temporary file");
  std::vector<unsigned char> buffer(kPiece);
  ssize_t count;
  while ((count = ReadSome(pipe, buffer)) > 0)
  {
    if (std::fwrite(buffer.data(), 1, static_cast<std::size_t>(count), spool.get()) != static_cast<std::size_t>(count))
      Fail("cannot be copied into a temporary file");
    size_ += static_cast<unsigned long long>(count);
  }
  if (count < 0)
    Fail("cannot be read");
  if (std::fflush(spool.get()) != 0 || (descriptor_ = dup(fileno(spool.get()))) < 0)
    Fail("cannot be copied into a temporary file");
}

std::size_t InputFile::ReadAt(unsigned long long position, std::span<unsigned char> bytes) const
{
  std::size_t done = 0;
  while (done < bytes.size())
  {
    ssize_t const count =
        pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(position + done));
    if (count == 0)
      break;
    if (count > 0)
      done += static_cast<std::size_t>(count);
    else if (errno != EINTR)
      Fail("cannot be read");
  }
  return done;
}

std::vector<unsigned char> InputFile::ReadAll() const
{
  std::vector<unsigned char> bytes;
  SequentialReader reader(*this);
  for (auto piece = reader.Next(); !piece.empty(); piece = reader.Next())
    bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

SequentialReader::SequentialReader(InputFile const& file, unsigned long long start)
  : file_(file), position_(start), buffer_(kPiece)
{
}

std::span<unsigned char const> SequentialReader::Next()
{
  std::size_t const count = file_.ReadAt(position_, buffer_);
  position_ += count;
  return {buffer_.data(), count};
}

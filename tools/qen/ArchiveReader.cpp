#include "ArchiveReader.h"

#include "ExitCode.h"
#include "Text.h"

#include "platform/VelmoraException.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>

/// The bytes of a file as a stream reads them.
class ArchiveReader::Buffer : public std::streambuf
{
public:
  explicit Buffer(InputFile const& file) : file_(file), cache_(kCacheSize) {}

  /// Of the next byte that will be read.
  unsigned long long Position() const { return position_ - static_cast<unsigned long long>(egptr() - gptr()); }
  /// Whether all was read and more was asked for.
  bool MetEnd() const { return metEnd_; }
  /// Nothing is read from here on: a damaged length must not take the rest of a large archive for one text.
  void SetLimit(unsigned long long position) { limit_ = position; }
  /// Throws what went wrong with the file, which streams keep to themselves.
  void RethrowFailure() const
  {
    if (failure_)
      std::rethrow_exception(failure_);
  }

protected:
  // One byte at a time is shown, so that the rest of the file always counts as what comes next: a reader that asks how
  // much there is makes an array of the right size at once.
  int_type underflow() override
  {
    if (Take({&byte_, 1}) == 0)
      return traits_type::eof();
    char* const byte = reinterpret_cast<char*>(&byte_);
    setg(byte, byte, byte + 1);
    return traits_type::to_int_type(*byte);
  }

  std::streamsize xsgetn(char* destination, std::streamsize count) override
  {
    std::span<unsigned char> bytes(reinterpret_cast<unsigned char*>(destination), static_cast<std::size_t>(count));
    std::size_t done = 0;
    if (gptr() != egptr() && !bytes.empty())
    {
      bytes[done++] = static_cast<unsigned char>(*gptr());
      gbump(1);
    }
    done += Take(bytes.subspan(done));
    return static_cast<std::streamsize>(done);
  }

  std::streamsize showmanyc() override
  {
    constexpr unsigned long long kMost = std::numeric_limits<std::streamsize>::max();
    return position_ < file_.Size() ? static_cast<std::streamsize>(std::min(file_.Size() - position_, kMost)) : -1;
  }

private:
  /// The next bytes behind the one that is shown, small pieces through the cache.
  std::size_t Take(std::span<unsigned char> bytes)
  {
    std::size_t done = 0;
    while (done < bytes.size())
    {
      std::size_t const room = static_cast<std::size_t>(
          std::min<unsigned long long>(bytes.size() - done, limit_ - std::min(limit_, position_)));
      std::size_t const count = TakeSome(bytes.subspan(done, room));
      metEnd_ = metEnd_ || (count == 0 && position_ == file_.Size());
      if (count == 0)
        break;
      done += count;
      position_ += count;
    }
    return done;
  }

  std::size_t TakeSome(std::span<unsigned char> bytes)
  try
  {
    if (cached_.empty() && bytes.size() >= kCacheSize)
      return file_.ReadAt(position_, bytes);
    if (cached_.empty())
      cached_ = {cache_.data(), file_.ReadAt(position_, cache_)};
    std::size_t const count = std::min(bytes.size(), cached_.size());
    std::copy_n(cached_.begin(), count, bytes.begin());
    cached_ = cached_.subspan(count);
    return count;
  }
  catch (ToolError const&)
  {
    failure_ = std::current_exception();
    return 0;
  }

  static constexpr std::size_t kCacheSize = 65536;
  InputFile const& file_;
  std::vector<unsigned char> cache_;
  std::span<unsigned char const> cached_; ///< what of the cache comes next
  unsigned long long position_ = 0;       ///< behind the byte that is shown
  unsigned long long limit_ = 0;
  unsigned char byte_ = 0;
  bool metEnd_ = false;
  std::exception_ptr failure_;
};

ArchiveReader::ArchiveReader(InputFile const& file) : file_(file), buffer_(std::make_unique<Buffer>(file))
{
  archive_.std::ios::rdbuf(buffer_.get());
}

ArchiveReader::~ArchiveReader() = default;

std::optional<ArchiveReader::Entry> ArchiveReader::Next()
{
  unsigned long long const start = buffer_->Position();
  if (start == file_.Size())
    return std::nullopt;
  unsigned int const sampleBytes = SampleBytesAt(start);
  // Found out before memory is taken for samples that are not there.
  if (sampleBytes > file_.Size() - start)
    RefuseCut(start);
  constexpr unsigned long long kMostDetails = 32ULL << 20;
  buffer_->SetLimit(start + sampleBytes + kMostDetails);
  Entry entry;
  std::string reason;
  try
  {
    archive_ >> entry.signal;
  }
  catch (VelmoraException const& error)
  {
    reason = error.what();
  }
  buffer_->RethrowFailure();
  // A signal that lacks some of its last bytes, its job-data entry, shows in the state alone.
  if (buffer_->MetEnd())
    RefuseCut(start);
  if (!reason.empty() || !archive_)
    RefuseDamaged(start, reason);
  entry.number = ++count_;
  entry.position = start;
  entry.size = buffer_->Position() - start;
  return entry;
}

/// How many sample bytes the header announces; 0 when no sample array follows it, as far as can be seen.
unsigned int ArchiveReader::SampleBytesAt(unsigned long long start) const
{
  constexpr unsigned char kSampleTag[] = {0x04, 0xEF, 0xBE, 0xAD, 0xDE};
  unsigned char bytes[kTimeSignalHeaderSize + sizeof kSampleTag];
  bool const isThere = file_.ReadAt(start, bytes) == sizeof bytes;
  if (!isThere || std::memcmp(bytes + kTimeSignalHeaderSize, kSampleTag, sizeof kSampleTag) != 0)
    return 0;
  timesignal_bin_t header{};
  std::memcpy(&header, bytes, kTimeSignalHeaderSize);
  return static_cast<unsigned int>(header.DataArrayByteCount);
}

void ArchiveReader::RefuseCut(unsigned long long start) const
{
  Refuse("is cut: " + Before(start) + " and the archive ends at byte " + std::to_string(file_.Size()) + " within it");
}

void ArchiveReader::RefuseDamaged(unsigned long long start, std::string const& reason) const
{
  Refuse("is damaged at byte " + std::to_string(buffer_->Position()) + ": " + Before(start) +
         " and cannot be read: " + reason);
}

std::string ArchiveReader::Before(unsigned long long start) const
{
  return Text::Counted(count_, "whole signal") + ", then one begins at byte " + std::to_string(start);
}

void ArchiveReader::Refuse(std::string const& text) const
{
  throw ToolError(ExitCode::Difference, text + (count_ == 0 ? "; is it an archive of signals?" : ""));
}

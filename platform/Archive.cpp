#include "platform/Archive.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <locale>
#include <streambuf>
#include <utility>

// There is no put area: writes append to the string at once, and the get area is laid over it anew, because the string
// may have moved.
class Archive::Buffer : public std::streambuf
{
public:
  std::string const& Bytes() const { return bytes_; }

  void Replace(std::string bytes)
  {
    bytes_ = std::move(bytes);
    layGetArea(0);
  }

protected:
  std::streamsize xsputn(char const* source, std::streamsize count) override
  {
    std::size_t const position = readPosition();
    makeRoom(static_cast<std::size_t>(count));
    bytes_.append(source, static_cast<std::size_t>(count));
    layGetArea(position);
    return count;
  }

  int_type overflow(int_type byte) override
  {
    if (traits_type::eq_int_type(byte, traits_type::eof()))
      return traits_type::not_eof(byte);
    std::size_t const position = readPosition();
    bytes_.push_back(traits_type::to_char_type(byte));
    layGetArea(position);
    return byte;
  }

  std::streamsize xsgetn(char* destination, std::streamsize count) override
  {
    auto const length = static_cast<std::size_t>(std::min<std::streamsize>(count, egptr() - gptr()));
    if (length != 0)
      std::memcpy(destination, gptr(), length);
    layGetArea(readPosition() + length);
    return static_cast<std::streamsize>(length);
  }

  // The get area always reaches to the last byte.
  int_type underflow() override { return traits_type::eof(); }
  std::streamsize showmanyc() override { return -1; }

  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override
  {
    off_type const end = egptr() - eback();
    off_type base = 0;
    if (from == std::ios_base::end || (from == std::ios_base::cur && (which & std::ios_base::in) == 0))
      base = end;
    else if (from == std::ios_base::cur)
      base = gptr() - eback();
    if (offset < -base || offset > end - base)
      return pos_type(off_type(-1));
    off_type const position = base + offset;
    if ((which & std::ios_base::out) != 0 && position != end)
      return pos_type(off_type(-1));
    if ((which & std::ios_base::in) != 0)
      layGetArea(static_cast<std::size_t>(position));
    return pos_type(position);
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override
  {
    return seekoff(off_type(position), std::ios_base::beg, which);
  }

private:
  /// Little follows a big block, and the string would double for it.
  void makeRoom(std::size_t blockSize)
  {
    constexpr std::size_t kBigBlock = 65536;
    if (blockSize >= kBigBlock && blockSize > bytes_.capacity() - bytes_.size())
      bytes_.reserve(bytes_.size() + blockSize + kBigBlock);
  }

  std::size_t readPosition() const { return static_cast<std::size_t>(gptr() - eback()); }
  void layGetArea(std::size_t position)
  {
    setg(bytes_.data(), bytes_.data() + position, bytes_.data() + bytes_.size());
  }

  std::string bytes_;
};

Archive::Archive() : Archive(std::string()) {}

Archive::Archive(std::string bytes) : std::iostream(nullptr), buffer_(std::make_unique<Buffer>())
{
  rdbuf(buffer_.get());
  imbue(std::locale::classic());
  buffer_->Replace(std::move(bytes));
}

Archive::~Archive() = default;

std::string Archive::str() const { return buffer_->Bytes(); }

void Archive::str(std::string bytes)
{
  buffer_->Replace(std::move(bytes));
  clear();
}

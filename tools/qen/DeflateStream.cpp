#include "DeflateStream.h"

#include <array>
#include <new>
#include <zlib.h>

struct DeflateStream::Codec
{
  explicit Codec(int windowBits)
  {
    if (inflateInit2(&stream, windowBits) != Z_OK)
      throw std::bad_alloc();
  }
  ~Codec() { inflateEnd(&stream); }
  Codec(Codec const&) = delete;
  Codec& operator=(Codec const&) = delete;

  z_stream stream{};
  std::array<unsigned char, 65536> output;
};

namespace
{
/// The parameter by which zlib knows the format; 15 is the largest window.
int WindowBits(DeflateStream::Format format) { return format == DeflateStream::Format::Zlib ? 15 : 15 + 16; }
} // namespace

DeflateStream::DeflateStream(Format format, unsigned long long limit)
  : codec_(std::make_unique<Codec>(WindowBits(format))), limit_(limit)
{
}

DeflateStream::~DeflateStream() = default;

void DeflateStream::Feed(std::span<unsigned char const> bytes)
{
  z_stream& stream = codec_->stream;
  stream.next_in = const_cast<unsigned char*>(bytes.data()); // read only: the interface predates const
  stream.avail_in = static_cast<unsigned int>(bytes.size());
  int result = Z_OK;
  while (state_ == State::Running && result != Z_BUF_ERROR)
  {
    stream.next_out = codec_->output.data();
    stream.avail_out = static_cast<unsigned int>(codec_->output.size());
    result = inflate(&stream, Z_NO_FLUSH);
    decoded_ += codec_->output.size() - stream.avail_out;
    if (result == Z_STREAM_END)
      state_ = State::Ended;
    else if (result == Z_MEM_ERROR)
      throw std::bad_alloc();
    else if (result != Z_OK && result != Z_BUF_ERROR) // the latter asks for more input
    {
      state_ = State::Damaged;
      damage_ = result == Z_NEED_DICT ? "needs a dictionary" : stream.msg != nullptr ? stream.msg : "is damaged";
    }
    if (decoded_ > limit_)
      state_ = State::TooLong;
  }
  if (state_ == State::Ended)
    behindEnd_ += stream.avail_in;
  stream.avail_in = 0;
}

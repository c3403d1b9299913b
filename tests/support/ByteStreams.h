#pragma once

#include <cstddef>
#include <istream>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>

// Streams over plain bytes in the classic locale, whatever the global one is, that give or take one byte at a time.

/// Takes so many bytes and refuses all others.
class ScarceSinkBuffer : public std::streambuf
{
public:
  explicit ScarceSinkBuffer(std::size_t limit) : limit_(limit) {}
  std::string const& Bytes() const { return bytes_; }

protected:
  int_type overflow(int_type byte) override
  {
    if (traits_type::eq_int_type(byte, traits_type::eof()) || bytes_.size() == limit_)
      return traits_type::eof();
    bytes_.push_back(traits_type::to_char_type(byte));
    return byte;
  }

private:
  std::size_t limit_;
  std::string bytes_;
};

class ByteSink : public std::ostream
{
public:
  explicit ByteSink(std::size_t limit = static_cast<std::size_t>(-1)) : std::ostream(nullptr), buffer_(limit)
  {
    rdbuf(&buffer_);
    imbue(std::locale::classic());
  }
  std::string const& Bytes() const { return buffer_.Bytes(); }

private:
  ScarceSinkBuffer buffer_;
};

/// Gives bytes, at most one of them ahead.
class ByteSourceBuffer : public std::streambuf
{
public:
  explicit ByteSourceBuffer(std::string bytes) : bytes_(std::move(bytes)) {}
  std::size_t Taken() const { return next_ - static_cast<std::size_t>(egptr() - gptr()); }

protected:
  int_type underflow() override
  {
    if (next_ == bytes_.size())
      return traits_type::eof();
    char* const byte = bytes_.data() + next_++;
    setg(byte, byte, byte + 1);
    return traits_type::to_int_type(*byte);
  }

private:
  std::string bytes_;
  std::size_t next_ = 0;
};

class ByteSource : public std::istream
{
public:
  explicit ByteSource(std::string bytes) : std::istream(nullptr), buffer_(std::move(bytes))
  {
    rdbuf(&buffer_);
    imbue(std::locale::classic());
  }
  /// How many bytes have been taken, also when the stream has failed.
  std::size_t Taken() const { return buffer_.Taken(); }

private:
  ByteSourceBuffer buffer_;
};

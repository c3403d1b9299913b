#pragma once

#include <memory>
#include <span>
#include <string>

/// Decodes a zlib or gzip stream piece by piece to see whether it is whole, without keeping what it holds.
class DeflateStream
{
public:
  enum class Format
  {
    Zlib,
    GZip
  };
  enum class State
  {
    Running, ///< more is to come
    Ended,   ///< the stream is whole, its checksum right
    Damaged, ///< see Damage()
    TooLong  ///< it holds more than the limit; decoding stopped
  };

  /// @param limit  decoding stops once more than so many bytes came out
  DeflateStream(Format format, unsigned long long limit);
  ~DeflateStream();
  DeflateStream(DeflateStream const&) = delete;
  DeflateStream& operator=(DeflateStream const&) = delete;

  /// Takes the next bytes; those behind the stream's end are only counted.
  void Feed(std::span<unsigned char const> bytes);

  State GetState() const { return state_; }
  std::string const& Damage() const { return damage_; }
  unsigned long long DecodedBytes() const { return decoded_; }
  unsigned long long BytesBehindEnd() const { return behindEnd_; }

private:
  struct Codec;
  std::unique_ptr<Codec> codec_;
  unsigned long long limit_;
  unsigned long long decoded_ = 0;
  unsigned long long behindEnd_ = 0;
  State state_ = State::Running;
  std::string damage_;
};

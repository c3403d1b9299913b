#pragma once

#include "platform/Export.h"
#include "platform/VelmoraException.h"

/// Data that cannot be compressed or uncompressed.
class QEN_PLATFORM_EXPORT CompressionException : public VelmoraException
{
public:
  CompressionException();
  ~CompressionException() override;
  VelmoraException* clone() const override;
};

/// A whole-buffer codec for one stream format. Made for one use; different objects may work in different threads.
class QEN_PLATFORM_EXPORT Compression
{
public:
  Compression();
  Compression(Compression const&) = delete;
  Compression& operator=(Compression const&) = delete;
  virtual ~Compression();

  /// Compresses a block into one stream.
  /// @param byteCount   size of the source in bytes, may be 0
  /// @param outputSize  receives the size of the stream in bytes; untouched on failure
  /// @return a new array that the caller releases with delete[]
  /// Throws CompressionException for an unknown level or a stream of more than 2^31 - 1 bytes, std::bad_alloc.
  /// The stream depends on the codec's version: only what it decodes to is stable.
  virtual unsigned char* compress(unsigned int byteCount, void const* source, int& outputSize) = 0;

  /// Decodes one stream, whose checksum is verified, into exactly outputSize bytes. Bytes behind the stream are
  /// ignored. Throws CompressionException for a stream that is damaged, cut or of another length; what the destination
  /// holds then is unspecified. std::bad_alloc leaves it alone.
  virtual void uncompress(unsigned int byteCount, void const* source, unsigned int outputSize, void* destination) = 0;
};

/// zlib streams (RFC 1950).
class QEN_PLATFORM_EXPORT CompressionZLib : public Compression
{
public:
  /// @param level 0 (stored) to 12 (smallest); -1 is the codec's default, 6
  explicit CompressionZLib(int level);
  ~CompressionZLib() override;
  unsigned char* compress(unsigned int byteCount, void const* source, int& outputSize) override;
  void uncompress(unsigned int byteCount, void const* source, unsigned int outputSize, void* destination) override;

private:
  int level_;
};

/// gzip streams of one member (RFC 1952); optional header fields are read and skipped.
class QEN_PLATFORM_EXPORT CompressionGZip : public Compression
{
public:
  /// @param level 0 (stored) to 12 (smallest); -1 is the codec's default, 6
  explicit CompressionGZip(int level);
  ~CompressionGZip() override;
  unsigned char* compress(unsigned int byteCount, void const* source, int& outputSize) override;
  void uncompress(unsigned int byteCount, void const* source, unsigned int outputSize, void* destination) override;

private:
  int level_;
};

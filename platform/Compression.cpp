#include "platform/Compression.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <libdeflate.h>
#include <limits>
#include <memory>
#include <new>

namespace
{
constexpr char const kSourceUnit[] = "Compression.cpp";

struct ReleaseCompressor
{
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};
struct ReleaseDecompressor
{
  void operator()(libdeflate_decompressor* decompressor) const { libdeflate_free_decompressor(decompressor); }
};

/// The codec's functions for one container around the deflate stream.
struct Container
{
  char const* name;
  decltype(&libdeflate_zlib_compress) compress;
  decltype(&libdeflate_zlib_compress_bound) bound;
  decltype(&libdeflate_zlib_decompress) decompress;
};
constexpr Container kZLib{"zlib", &libdeflate_zlib_compress, &libdeflate_zlib_compress_bound,
                          &libdeflate_zlib_decompress};
constexpr Container kGZip{"gzip", &libdeflate_gzip_compress, &libdeflate_gzip_compress_bound,
                          &libdeflate_gzip_decompress};

std::unique_ptr<libdeflate_compressor, ReleaseCompressor> makeCompressor(int level)
{
  constexpr int kDefaultLevel = 6;
  constexpr int kHighestLevel = 12;
  if (level < -1 || level > kHighestLevel)
    throw PlatformError<CompressionException>(kSourceUnit, __LINE__, "Unknown compression level: %d!", level);
  std::unique_ptr<libdeflate_compressor, ReleaseCompressor> compressor(
      libdeflate_alloc_compressor(level == -1 ? kDefaultLevel : level));
  if (!compressor)
    throw std::bad_alloc();
  return compressor;
}

unsigned char* compressWith(Container const& container, int level, unsigned int byteCount, void const* source,
                            int& outputSize)
{
  auto const compressor = makeCompressor(level);
  std::size_t const bound = container.bound(compressor.get(), byteCount);
  auto const scratch = std::make_unique_for_overwrite<unsigned char[]>(bound);
  std::size_t const size = container.compress(compressor.get(), source, byteCount, scratch.get(), bound);
  if (size == 0 || size > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    throw PlatformError<CompressionException>(kSourceUnit, __LINE__, "Stream of %u bytes is too long for %s!",
                                              byteCount, container.name);
  // The bound is larger than the stream, which may be kept for long: it gets an array of its own size.
  auto stream = std::make_unique_for_overwrite<unsigned char[]>(size);
  std::copy_n(scratch.get(), size, stream.get());
  outputSize = static_cast<int>(size);
  return stream.release();
}

void uncompressWith(Container const& container, unsigned int byteCount, void const* source, unsigned int outputSize,
                    void* destination)
{
  std::unique_ptr<libdeflate_decompressor, ReleaseDecompressor> const decompressor(libdeflate_alloc_decompressor());
  if (!decompressor)
    throw std::bad_alloc();
  // Without a place for the actual size the codec itself insists on exactly the expected one.
  switch (container.decompress(decompressor.get(), source, byteCount, destination, outputSize, nullptr))
  {
  case LIBDEFLATE_SUCCESS:
    return;
  case LIBDEFLATE_BAD_DATA:
    throw PlatformError<CompressionException>(kSourceUnit, __LINE__, "Damaged %s stream of %u bytes!", container.name,
                                              byteCount);
  case LIBDEFLATE_SHORT_OUTPUT:
    throw PlatformError<CompressionException>(kSourceUnit, __LINE__, "%s stream holds less than %u bytes!",
                                              container.name, outputSize);
  case LIBDEFLATE_INSUFFICIENT_SPACE:
    throw PlatformError<CompressionException>(kSourceUnit, __LINE__, "%s stream holds more than %u bytes!",
                                              container.name, outputSize);
  }
}
} // namespace

CompressionException::CompressionException() : VelmoraException("CompressionException") {}
CompressionException::~CompressionException() = default;
VelmoraException* CompressionException::clone() const { return new CompressionException(*this); }

Compression::Compression() = default;
Compression::~Compression() = default;

CompressionZLib::CompressionZLib(int level) : level_(level) {}
CompressionZLib::~CompressionZLib() = default;

unsigned char* CompressionZLib::compress(unsigned int byteCount, void const* source, int& outputSize)
{
  return compressWith(kZLib, level_, byteCount, source, outputSize);
}

void CompressionZLib::uncompress(unsigned int byteCount, void const* source, unsigned int outputSize, void* destination)
{
  uncompressWith(kZLib, byteCount, source, outputSize, destination);
}

CompressionGZip::CompressionGZip(int level) : level_(level) {}
CompressionGZip::~CompressionGZip() = default;

unsigned char* CompressionGZip::compress(unsigned int byteCount, void const* source, int& outputSize)
{
  return compressWith(kGZip, level_, byteCount, source, outputSize);
}

void CompressionGZip::uncompress(unsigned int byteCount, void const* source, unsigned int outputSize, void* destination)
{
  uncompressWith(kGZip, byteCount, source, outputSize, destination);
}

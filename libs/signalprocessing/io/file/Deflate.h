#pragma once

#include "platform/Compression.h"
#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <memory>

/// The stored forms that are deflate streams.
namespace Deflate
{
inline bool IsMethod(compression32_t method) { return method == zlib || method == gzip; }

/// A codec for one use, at its default level; null for any other method.
inline std::unique_ptr<Compression> MakeCodec(compression32_t method)
{
  constexpr int kDefaultLevel = -1;
  if (method == zlib)
    return std::make_unique<CompressionZLib>(kDefaultLevel);
  if (method == gzip)
    return std::make_unique<CompressionGZip>(kDefaultLevel);
  return nullptr;
}

/// What a stream can hold at most: deflate cannot expand further. A record that announces more is wrong and gets no
/// memory.
constexpr unsigned long long MaxContent(unsigned long long streamSize)
{
  constexpr unsigned long long kMaxExpansion = 1032;
  constexpr unsigned long long kContainerBytes = 64;
  return kMaxExpansion * streamSize + kContainerBytes;
}
} // namespace Deflate

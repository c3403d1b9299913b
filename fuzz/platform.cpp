// Foreign bytes as texts and streams: identifiers, time stamps, zlib and gzip.

#include "Examination.h"
#include "platform/Compression.h"
#include "platform/QenTime.h"
#include "platform/Uuid.h"

#include <algorithm>
#include <memory>
#include <string>

namespace
{
using Fuzzing::Require;
using Fuzzing::Succeeds;

bool readUuid(std::string const& text)
{
  return Succeeds(
      [&]
      {
        Uuid const uuid(text);
        Require(Uuid(uuid.ToString()) == uuid);
      });
}

bool readTime(std::string const& text)
{
  return Succeeds([&] { Require(QenTime::TimeStampToString(QenTime::StringToTimeStamp(text)) == text); });
}

/// Both ends of the codec: as a stream, and as what a stream is made of.
template <class Codec>
bool compressAndUncompress(std::span<std::uint8_t const> bytes, std::size_t outputSize)
{
  auto const byteCount = static_cast<unsigned int>(bytes.size());
  Guarded const output(outputSize);
  bool const isStream = Succeeds(
      [&]
      { Codec(-1).uncompress(byteCount, bytes.data(), static_cast<unsigned int>(outputSize), output.Bytes().data()); });
  int size = 0;
  std::unique_ptr<unsigned char[]> const stream(Codec(-1).compress(byteCount, bytes.data(), size));
  Guarded const exact(std::span<std::uint8_t const>(stream.get(), static_cast<std::size_t>(size)));
  Guarded const again(bytes.size());
  Codec(-1).uncompress(static_cast<unsigned int>(size), exact.Bytes().data(), byteCount, again.Bytes().data());
  Require(std::ranges::equal(again.Bytes(), bytes));
  return isStream;
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  Input input(bytes);
  std::string const text = input.Rest();
  bool accepted = readUuid(text);
  accepted = readTime(text) || accepted;
  auto const timeStamp = Input(bytes).Take<long long>();
  Require(QenTime::StringToTimeStamp(QenTime::TimeStampToString(timeStamp)) == timeStamp);

  std::size_t const outputSize = input.Take<unsigned short>();
  std::span<std::uint8_t const> const stream = input.TakeBytes(bytes.size());
  accepted = compressAndUncompress<CompressionZLib>(stream, outputSize) || accepted;
  return compressAndUncompress<CompressionGZip>(stream, outputSize) || accepted;
}

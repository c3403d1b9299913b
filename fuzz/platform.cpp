// Foreign bytes as texts and streams: identifiers, time stamps, zlib and gzip.

#include "Examination.h"
#include "platform/Compression.h"
#include "platform/QenTime.h"
#include "platform/Uuid.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace
{
using Examination::Require;

void readTexts(std::string const& text)
{
  try
  {
    Uuid const uuid(text);
    Require(Uuid(uuid.ToString()) == uuid);
  }
  catch (UuidException const&)
  {
  }
  try
  {
    Require(QenTime::TimeStampToString(QenTime::StringToTimeStamp(text)) == text);
  }
  catch (QenTimeException const&)
  {
  }
}

template <class Codec>
void uncompress(std::uint8_t const* data, std::size_t size, unsigned outputSize)
{
  std::vector<unsigned char> output(outputSize);
  try
  {
    Codec(-1).uncompress(static_cast<unsigned>(size), data, outputSize, output.data());
  }
  catch (CompressionException const&)
  {
  }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  readTexts(std::string(data, data + size));
  long long timeStamp = 0;
  std::memcpy(&timeStamp, data, std::min(size, sizeof timeStamp));
  Require(QenTime::StringToTimeStamp(QenTime::TimeStampToString(timeStamp)) == timeStamp);

  unsigned short outputSize = 0;
  std::size_t const announced = std::min(size, sizeof outputSize);
  std::memcpy(&outputSize, data, announced);
  uncompress<CompressionZLib>(data + announced, size - announced, outputSize);
  uncompress<CompressionGZip>(data + announced, size - announced, outputSize);
  return 0;
}

// Foreign bytes as portable values, each kind until the first failure, and as values that are written and read back.

#include "Examination.h"
#include "utilities/archive/Serialize.h"

#include <cmath>
#include <sstream>

namespace
{
using Examination::Input;
using Examination::Require;
using Examination::Succeeds;

template <class T>
void readAll(std::string const& bytes)
{
  std::istringstream stream(bytes);
  while (Succeeds(
      [&]
      {
        T value{};
        QenSerialize::deserialize(value, stream);
      }))
  {
  }
}

template <class T>
void writeAndReadNumber(T value)
{
  std::stringstream stream;
  QenSerialize::serialize(value, stream);
  T again{};
  Require(!QenSerialize::deserialize_floating_point(again, stream));
  Require(std::isnan(value) ? std::isnan(again) : std::memcmp(&again, &value, sizeof value) == 0);
}

void writeAndReadText(std::string const& text)
{
  std::stringstream stream;
  QenSerialize::serialize(text, stream);
  std::string again;
  QenSerialize::deserialize(again, stream);
  Require(again == text.substr(0, text.find('\0')));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  Input input(data, size);
  std::string const bytes = input.Rest();
  readAll<unsigned int>(bytes);
  readAll<double>(bytes);
  readAll<std::string>(bytes);
  writeAndReadText(bytes);
  writeAndReadNumber(input.Take<double>());
  writeAndReadNumber(input.Take<float>());
  return 0;
}

// Foreign bytes as portable values, each kind until the first failure, and as values that are written and read back.

#include "Examination.h"
#include "utilities/archive/Serialize.h"

#include <cmath>
#include <sstream>

namespace
{
using Fuzzing::Input;
using Fuzzing::Require;
using Fuzzing::Succeeds;

/// @return whether there was any
template <class T>
bool readAll(std::string const& bytes)
{
  std::istringstream stream(bytes);
  unsigned int count = 0;
  while (Succeeds(
      [&]
      {
        T value{};
        QenSerialize::deserialize(value, stream);
      }))
    ++count;
  return count != 0;
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

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  Input input(bytes);
  std::string const text = input.Rest();
  bool accepted = readAll<unsigned int>(text);
  accepted = readAll<double>(text) || accepted;
  accepted = readAll<std::string>(text) || accepted;
  writeAndReadText(text);
  writeAndReadNumber(input.Take<double>());
  writeAndReadNumber(input.Take<float>());
  return accepted;
}

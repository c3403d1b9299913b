#include "Names.h"

#include "Text.h"

#include <stdexcept>
#include <vector>

namespace
{
constexpr Names::Entry kSampleTypes[] = {
    {"int8", data_int8_t},       {"int16", data_int16_t},    {"int32", data_int32_t},   {"int64", data_int64_t},
    {"uint8", data_uint8_t},     {"uint16", data_uint16_t},  {"uint32", data_uint32_t}, {"uint64", data_uint64_t},
    {"float32", data_float32_t}, {"float64", data_float64_t}};
constexpr Names::Entry kCompressions[] = {{"none", no_compression}, {"zlib", zlib}, {"gzip", gzip}, {"int24", int24}};
constexpr std::size_t kStorableCompressions = 3;
constexpr Names::Entry kSignalTypes[] = {{"raw_time_signal", raw_time_signal},
                                         {"demodulation_time_signal", demodulation_time_signal},
                                         {"raw_spectrum", raw_spectrum},
                                         {"demodulation_spectrum", demodulation_spectrum},
                                         {"order_analysis", order_analysis}};
} // namespace

std::span<Names::Entry const> Names::SampleTypes() { return kSampleTypes; }
std::span<Names::Entry const> Names::Compressions() { return kCompressions; }
std::span<Names::Entry const> Names::StorableCompressions() { return Compressions().first(kStorableCompressions); }
std::span<Names::Entry const> Names::SignalTypes() { return kSignalTypes; }

char const* Names::Find(std::span<Entry const> entries, int value)
{
  for (Entry const& entry : entries)
    if (entry.value == value)
      return entry.name;
  return nullptr;
}

std::string Names::Show(std::span<Entry const> entries, int value)
{
  char const* const name = Find(entries, value);
  return name != nullptr ? name : "unknown (" + std::to_string(value) + ")";
}

int Names::Parse(std::span<Entry const> entries, std::string const& text)
{
  for (Entry const& entry : entries)
    if (entry.name == text)
      return entry.value;
  throw std::invalid_argument("\"" + text + "\" is none of " + List(entries));
}

std::string Names::List(std::span<Entry const> entries)
{
  std::vector<std::string> names;
  for (Entry const& entry : entries)
    names.emplace_back(entry.name);
  return Text::Join(names, ", ");
}

#pragma once

#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <span>
#include <string>

/// The enumerations of time signals as the tool writes and reads them: int16, zlib, raw_time_signal.
namespace Names
{
struct Entry
{
  char const* name;
  int value;
};

std::span<Entry const> SampleTypes();
std::span<Entry const> Compressions();
/// Those that samples can really be stored with.
std::span<Entry const> StorableCompressions();
std::span<Entry const> SignalTypes();

/// Null for an unknown value.
char const* Find(std::span<Entry const> entries, int value);
/// The name, or "unknown (77)".
std::string Show(std::span<Entry const> entries, int value);
/// The value of a name; throws std::invalid_argument, naming all, for a text that is none.
int Parse(std::span<Entry const> entries, std::string const& text);
/// "int8, int16, ..."
std::string List(std::span<Entry const> entries);
} // namespace Names

#pragma once

#include "OutputFile.h"

#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>

/// Writes time signals as WAV and CSV files into an output's temporary file; the caller commits. The signal is
/// uncompressed when it is compressed. Refusals are ToolError with the status Unreadable.
namespace Exporter
{
struct Options
{
  bool physical = false;
  bool timeColumn = false;
  bool noHeader = false;
  bool pcm24 = false;
  std::optional<unsigned long long> rate;
};

void WriteWav(TimeSignal& signal, Options const& options, OutputFile& output);
void WriteCsv(TimeSignal& signal, Options const& options, OutputFile& output);
} // namespace Exporter

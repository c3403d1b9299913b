#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "Recording.h"

#include <optional>
#include <span>
#include <string>

/// Sound files, read and written sample by sample as they are stored: nothing is scaled, rounded or resampled.
namespace SoundFile
{
struct ReadOptions
{
  std::optional<unsigned int> channel; ///< from 1; without it all
  bool acceptCut = false;              ///< take what is there when a file is shorter than its header says
};

/// Reads WAV, RF64, Sony Wave64 and AIFF files with integer samples of 8 to 32 bits or floating-point samples. 24-bit
/// samples become int32 of the same counts. Throws ToolError for everything else, for files cut short,
/// and for files that cannot be read to their end.
Recording Read(InputFile const& file, ReadOptions const& options);

enum class Encoding
{
  Exact, ///< the encoding of the sample type
  Pcm24  ///< for int32 samples that all fit
};

/// Writes one channel as a WAV file: uint8, int16, int32, float32, float64. Throws ToolError for other types, for int32
/// samples beyond 24 bits asked for as Pcm24, and when the disk is full.
/// @param file   nothing has been written into it
/// @param bytes  whole samples of the type
void Write(OutputFile& file, std::span<unsigned char const> bytes, sample_datatype32_t type, int rate,
           Encoding encoding);
} // namespace SoundFile

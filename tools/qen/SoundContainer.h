#pragma once

#include "InputFile.h"

#include <optional>

/// The layout of sound files, as far as their readers keep it to themselves: they quietly take what is there.
namespace SoundContainer
{
/// Whether the file begins as a sound file does (RIFF, RIFX, RF64, Sony Wave64, AIFF, FLAC, Ogg and others).
bool Recognise(InputFile const& file);

/// Bytes of samples that the file's own header announces; nothing for a file whose structure is not known here or that
/// has no samples chunk.
std::optional<unsigned long long> AnnouncedBytes(InputFile const& file);
} // namespace SoundContainer

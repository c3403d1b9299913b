#pragma once

#include "InputFile.h"

#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <optional>
#include <string>
#include <vector>

/// What a check of a time signal file found.
struct Verification
{
  struct Finding
  {
    char const* part; ///< "size", "header", "samples" or "stream"
    std::string text;
  };

  std::optional<timesignal_bin_t> header; ///< nothing when the file is shorter than a header
  unsigned long long fileSize = 0;
  std::vector<Finding> damage;
  /// What is allowed but worth knowing: null identifiers, a spacing or a scaling that cannot be used.
  std::vector<Finding> remarks;

  bool IsGood() const { return damage.empty(); }
};

/// Checks a whole file: sizes, header checksum, versions and enumerations, sample checksum, the stream of compressed
/// samples (decoded in full), and the number of samples against the bytes. Takes constant memory.
Verification Verify(InputFile const& file);
/// The part of it that the header alone tells.
Verification VerifyHeader(InputFile const& file);

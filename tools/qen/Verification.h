#pragma once

#include "DetailsDocument.h"
#include "ExitCode.h"
#include "InputFile.h"

#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

/// What a check of a time signal file found.
struct Verification
{
  struct Finding
  {
    char const* part; ///< "size", "header", "samples", "stream" or "details"
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
/// The same checks as of a file, on a record in memory.
Verification Verify(std::span<unsigned char const> record);
/// The same on a signal that came from elsewhere.
Verification Verify(TimeSignal const& signal);
/// Adds what is wrong with the details document beside a file: it must be readable and repeat the header.
/// @return the document, when there is one that can be read
std::optional<DetailsDocument> VerifyDetails(InputFile const& file, Verification& verification);
/// The same for a document that is no file.
void VerifyDetails(std::string const& document, Verification& verification);
/// What a document that cannot be read is.
Verification::Finding UnreadableDetails(ToolError const& error);

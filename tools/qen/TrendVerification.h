#pragma once

#include "InputFile.h"
#include "Verification.h"

#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendRecord.h"

#include <optional>
#include <span>
#include <vector>

/// What a check of a trend file found. The library accepts a trend whose sizes agree; here is what it does not look at.
struct TrendVerification
{
  std::optional<trend_header_t> header; ///< nothing when the file is shorter than a header
  /// Parts are "size", "header", "entries" (the stored bytes), "stream" (of compressed ones) and "order".
  std::vector<Verification::Finding> damage;

  bool IsGood() const { return damage.empty(); }
};

/// Header checksum, version, compression, and all sizes; reads 96 bytes.
TrendVerification VerifyTrendHeader(InputFile const& file);
/// The same for a whole record, and the checksum and stream of its entries.
TrendVerification VerifyTrendRecord(std::span<unsigned char const> record);
/// What is left once the entries of a good record are decoded: their order, and the time stamps of the header.
TrendVerification VerifyTrendEntries(trend_header_t const& header, Trend const& trend);

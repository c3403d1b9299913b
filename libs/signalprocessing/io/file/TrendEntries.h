#pragma once

#include "signalprocessing/io/file/TrendRecord.h"

#include <cstring>
#include <deque>

/// Copies an entry with its padding, which is stored too and which a plain assignment need not copy.
inline void CopyWhole(trend_entry_t& destination, trend_entry_t const& source)
{
  std::memcpy(&destination, &source, sizeof destination);
}

inline void AppendWhole(std::deque<trend_entry_t>& entries, trend_entry_t const& entry)
{
  CopyWhole(entries.emplace_back(), entry);
}

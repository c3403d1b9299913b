#pragma once

#include "support/TrendRecords.h"

#include <cstddef>
#include <vector>

/// What the operations of a trend do to its entries and its two time stamps, on a plain list, one step after the other.
struct PlainTrend
{
  std::vector<EntryBytes> entries;
  long long first, last;

  void Add(EntryBytes const& entry, bool append)
  {
    if (!append && !entries.empty())
      entries.back() = entry;
    else
    {
      entries.push_back(entry);
      if (first == 0)
        first = TimeOf(entry);
    }
    last = TimeOf(entry);
  }

  void Add(std::vector<EntryBytes> const& added)
  {
    if (added.empty())
      return;
    if (entries.empty())
      first = TimeOf(added.front());
    entries.insert(entries.end(), added.begin(), added.end());
    last = TimeOf(added.back());
  }

  bool Delete(long long from, long long to)
  {
    if (from <= first && to >= last)
    {
      *this = {{}, 0, 0};
      return true;
    }
    if (from < last && to < first)
      return false;
    std::size_t start = 0;
    while (first < from && start < entries.size() && TimeOf(entries[start]) < from)
      ++start;
    std::size_t end = start;
    while (end < entries.size() && (to >= last || TimeOf(entries[end]) <= to))
      ++end;
    if (start == end)
      return false;
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(start),
                  entries.begin() + static_cast<std::ptrdiff_t>(end));
    first = entries.empty() ? 0 : TimeOf(entries.front());
    last = entries.empty() ? 0 : TimeOf(entries.back());
    return true;
  }
};

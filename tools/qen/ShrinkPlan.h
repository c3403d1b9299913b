#pragma once

#include "TrendFamily.h"
#include "TrendSettings.h"

#include <array>
#include <memory>
#include <vector>

/// What thinning makes of the trends of one characteristic value. Nothing is written.
class ShrinkPlan
{
public:
  /// Thins the trends and checks the result: every entry of it must be an entry of the trends bit for bit, as often as
  /// it is there; every entry younger than an hour must be in it; times must ascend; and something must remain of
  /// something. Throws ToolError, Difference, when that does not hold, and what TrendShrinker throws.
  ShrinkPlan(TrendFamily const& family, TrendShrinker& shrinker, long long now, std::vector<long long> const& pins);

  struct Count
  {
    unsigned long long before = 0;
    unsigned long long after = 0;
  };

  std::vector<std::unique_ptr<TrendDataDO>> const& Results() const { return results_; }
  std::array<Count, AgeClass::kCount> const& Entries() const { return entries_; }
  Count AllEntries() const;
  /// Bytes of the trend files.
  Count Bytes() const { return bytes_; }
  /// Entries with the time of a pin.
  Count PinnedEntries() const { return pinned_; }
  /// Entries that stand bit for bit in more than one trend.
  unsigned long long SharedEntries() const { return shared_; }

private:
  void Check(std::vector<trend_entry_t> const& before, std::vector<trend_entry_t> const& after, long long now) const;
  void CountEntries(std::vector<trend_entry_t> const& entries, unsigned long long Count::*member, long long now,
                    std::vector<long long> const& pins);

  std::vector<std::unique_ptr<TrendDataDO>> results_;
  std::array<Count, AgeClass::kCount> entries_;
  Count bytes_, pinned_;
  unsigned long long shared_ = 0;
};

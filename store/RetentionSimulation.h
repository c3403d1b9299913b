#pragma once

#include "signalprocessing/io/file/ThinningObserver.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"

#include <optional>

/// What would become of one characteristic value: a copy of all that thinning looks at, kept in memory, on which runs
/// really run. The store is only read.
class QEN_STORE_EXPORT RetentionSimulation
{
public:
  /// Why an entry stays or goes in one run.
  struct Explanation
  {
    trend_entry_t entry;
    ThinningVerdict verdict;
    std::optional<trend_entry_t> inFavourOf; ///< of a dropped entry: the one that stays for it
  };

  /// Copies the trends of the value, its characteristic values, bookmarks and ledger, and the device's details.
  /// Throws DatabaseException.
  RetentionSimulation(DeviceDatabase& source, Uuid const& device, Uuid const& value);

  /// One run at settings.now.
  RetentionResult Run(RetentionSettings const& settings);
  /// One run at settings.now that also tells of every entry of the closed and open trends, oldest first.
  /// Throws what stopped the run.
  std::vector<Explanation> Explain(RetentionSettings const& settings);
  /// The copy: what the runs have left.
  DeviceDatabase& Database() { return copy_; }

private:
  DeviceDatabase copy_;
  Uuid device_;
  Uuid value_;
};

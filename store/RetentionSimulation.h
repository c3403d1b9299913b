#pragma once

#include "signalprocessing/io/file/TrendRecord.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"

#include <optional>
#include <vector>

/// Why an entry stays or goes.
enum class RetentionVerdict
{
  pinned,         ///< stays: a characteristic value, a bookmark or a peak
  nearest,        ///< stays: of its status class, the entry nearest to the centre of its slot
  dropped,        ///< goes: another entry of its status class stays for its slot
  remainder,      ///< goes: it lies behind the last slot of its period
  too_young,      ///< stays: its period has not come of age
  awaits_open,    ///< stays: its period has come of age, but an open trend begins in it or before
  no_cleanup,     ///< stays: its age class keeps everything
  thinned_before, ///< stays: its age class has been applied already
  open_trend      ///< stays: its trend is open
};

/// What would become of one characteristic value: a copy of all that thinning looks at, kept in memory, on which runs
/// really run. The store is only read.
///
/// Errors are DatabaseException, TrendException, CompressionException, OptionException and std::bad_alloc. Threads. An
/// object belongs to one thread at a time.
class QEN_STORE_EXPORT RetentionSimulation
{
public:
  struct Explanation
  {
    trend_entry_t entry;
    RetentionVerdict verdict;
    std::optional<trend_entry_t> inFavourOf; ///< of a dropped entry: the one that stays for it
  };

  /// Copies the trends of the value, its characteristic values, bookmarks and ledger, and the device's details.
  RetentionSimulation(DeviceDatabase& source, Uuid const& device, Uuid const& value);

  /// One run at settings.now.
  RetentionResult Run(RetentionSettings const& settings);
  /// One run at settings.now that tells of every entry of closed and open trends, oldest first; of those with one time
  /// stamp in the order in which they are stored. Throws what stopped the run.
  std::vector<Explanation> Explain(RetentionSettings const& settings);
  /// The copy: what the runs have left.
  DeviceDatabase& Database() { return copy_; }

private:
  void copyFrom(DeviceDatabase& source);

  DeviceDatabase copy_;
  Uuid device_;
  Uuid value_;
};

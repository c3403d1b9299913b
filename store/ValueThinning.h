#pragma once

#include "signalprocessing/io/file/Trend.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionLedger.h"
#include "store/RetentionPlan.h"
#include "store/RetentionRun.h"

#include <optional>
#include <set>
#include <span>
#include <vector>

class ThinningObserver;
class TrendShrinker;

/// One run over the trends of one characteristic value.
class ValueThinning
{
public:
  ValueThinning(DeviceDatabase& database, RetentionSettings const& settings, TrendShrinker& shrinker,
                Uuid const& device, Uuid const& value);

  /// Whether closed trends have come of age. Only looks.
  bool IsDue(RetentionPlan const& plan) { return !dueRows(plan).empty(); }
  /// Where the open trend begins that closed trends behind that time wait for, although they have come of age; nothing
  /// when none does. What lies before waits for no longer than a trend grows, if trends follow each other.
  std::optional<long long> AwaitedFrom(RetentionPlan const& plan);
  /// Within a transaction: thins and replaces what has come of age. Throws DatabaseException, TrendException,
  /// CompressionException, std::bad_alloc.
  /// @param observer is told of the entries that are thinned; may be null
  RetentionResult Run(ThinningObserver* observer);
  /// As the ledger stands: what a run would thin.
  RetentionPlan Plan(RetentionLedger::State const& ledger);
  RetentionPlan Plan();

private:
  class Strand;
  using Entries = std::vector<trend_entry_t>;
  using EntryRange = std::span<trend_entry_t const>;

  std::vector<TrendSummary> dueRows(RetentionPlan const& plan);
  std::vector<TrendSummary> smallRows(RetentionPlan const& plan);
  /// Joins small trends that no run will thin again.
  void join(RetentionPlan& plan, RetentionResult& result);
  void rewrite(std::vector<TrendSummary> const& summaries, RetentionPlan const& plan, ThinningObserver* observer,
               RetentionResult& result);
  std::vector<Strand> readStrands(std::vector<TrendSummary> const& summaries, RetentionResult& result);
  Entries thin(Strand const& strand, RetentionPlan const& plan, ThinningObserver* observer);
  Entries thinStretch(Strand const& strand, ThinningStretch const& stretch, EntryRange entries,
                      ThinningObserver* observer);
  std::vector<long long> pins(ThinningStretch const& stretch, EntryRange entries);
  std::vector<EntryRange> cut(EntryRange entries, RetentionPlan const& plan) const;
  void replace(Strand const& strand, std::vector<EntryRange> const& pieces, RetentionResult& result);

  DeviceDatabase& database_;
  RetentionSettings settings_;
  TrendShrinker& shrinker_;
  Uuid device_;
  Uuid value_;
  RetentionLedger ledger_;
  std::set<Uuid> made_; ///< trends that this run has put in
};

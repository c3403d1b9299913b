#pragma once

#include "store/RetentionLedger.h"

#include <array>
#include <limits>
#include <vector>

/// Whole periods that have come of age for one class since it was applied last.
struct ThinningStretch
{
  long long from; ///< where a period starts
  long long to;   ///< where a period starts, behind the stretch
  long long periodLength;
  unsigned int count; ///< slots of a period, not 0
};

/// What one run has to thin of one characteristic value, and what the ledger says afterwards.
///
/// Each class reaches from where it was applied last, or from where the next older one ends now, to the last whole
/// period that is old enough and that no open trend reaches into. So each stretch is thinned by one class alone, and by
/// each class once; a first run thins what a plain run over all trends would. A class whose count has changed starts
/// anew.
class RetentionPlan
{
public:
  /// Everything that thinning depends on.
  struct Basis
  {
    long long now;
    long long anchor; ///< where a period starts, and with it a day
    /// The first entry that a trend still grows behind; the largest time stamp when there is none.
    long long openFrom = std::numeric_limits<long long>::max();
    std::array<unsigned int, RetentionLedger::kAgeClasses> counts;
  };

  RetentionPlan(Basis const& basis, RetentionLedger::State const& before);

  /// Why an entry that no stretch holds stays as it is.
  enum class Rest
  {
    too_young,      ///< it has not come of age for its class
    awaits_open,    ///< it has, but an open trend begins in its period or before
    no_cleanup,     ///< its class keeps everything
    thinned_before, ///< its class has been applied
  };
  Rest Judge(long long time) const;

  std::vector<ThinningStretch> stretches; ///< oldest first; they do not overlap
  std::vector<ThinningStretch> waiting;   ///< what an open trend alone keeps from being thinned, as stretches
  long long openFrom;                     ///< of the basis
  /// What lies before is never thinned again, so trends need not be kept apart there.
  long long finalBefore = std::numeric_limits<long long>::min();
  RetentionLedger::State after;

private:
  std::array<long long, RetentionLedger::kAgeClasses> reach_{}; ///< where what belongs to each class ends
};

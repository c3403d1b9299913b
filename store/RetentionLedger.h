#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TrendAgeClasses.h"
#include "store/Export.h"

#include <array>
#include <limits>
#include <optional>

class DeviceDatabase;

/// What the store remembers of the thinning of one characteristic value: where its periods start and how far each age
/// class has been applied. Whoever changes closed trends of the value takes its ledger first, which keeps all others
/// waiting.
class QEN_STORE_EXPORT RetentionLedger
{
public:
  /// One age class, in the order of kTrendAgeClasses.
  struct AgeClass
  {
    /// Everything before has been thinned to `count`; need not be where a period starts.
    long long until = std::numeric_limits<long long>::min();
    unsigned int count = 0;
  };
  static constexpr std::size_t kAgeClasses = kTrendAgeClasses.size();

  struct State
  {
    std::optional<long long> anchor; ///< a time at which periods start; none before the first run
    long long compactedUntil = std::numeric_limits<long long>::min(); ///< small trends before have been joined
    std::array<AgeClass, kAgeClasses> ageClasses;
  };

  RetentionLedger(DeviceDatabase& database, Uuid const& device, Uuid const& value)
    : database_(database), device_(device), value_(value)
  {
  }

  /// What is in it; nothing where there is none. Takes nothing: others may change it at any time.
  std::optional<State> Look();
  /// Within a transaction: takes the ledger, of which others wait for the end, and tells what is in it.
  State Take();
  /// @param state must have an anchor
  void Write(State const& state);
  /// Within a transaction: takes the ledger, and has everything from this time on thinned again.
  void Rewind(long long time);

private:
  DeviceDatabase& database_;
  Uuid device_;
  Uuid value_;
};

#pragma once

#include "signalprocessing/io/file/TimeSignal.h"

#include <string>
#include <vector>

/// What a signal carries beside its record: unit, validators, trigger and characteristic values.
struct Details
{
  using Validator = InternalTimeSignal::ValidatorParameters;
  using Trigger = InternalTimeSignal::TriggerParameters;
  using CharacteristicValue = InternalTimeSignal::CharValParameters;

  std::string unit;
  std::vector<Validator> validators;
  Trigger trigger; ///< none when its UUID is null
  std::vector<CharacteristicValue> values;

  bool HasTrigger() const { return !trigger.TriggerUuid.IsNull(); }
  bool IsEmpty() const;
  /// "unit m/s2, trigger, 2 validators, 1 characteristic value"; "nothing"
  std::string Summary() const;

  static Details Of(TimeSignal const& signal);
  /// Adds all but the unit, which a signal is made with.
  void AddTo(TimeSignal& signal) const;
};

/// Whether both have the same texts and identifiers, and the same numbers but for those digits that documents drop.
bool SameInDocument(Details const& a, Details const& b);
/// A line for each number that a document, which keeps 6 significant digits, changes.
std::vector<std::string> RoundedNumbers(Details const& details);

#pragma once

#include "Details.h"

#include <optional>
#include <string>
#include <vector>

class OptionSet;

/// What the user wants to change in the details of signals.
class Annotation
{
public:
  /// Adds the options that name unit, trigger, validators and characteristic values, and what is to be cleared.
  void AddOptions(OptionSet& options);

  /// Throws when nothing is to be changed.
  void RequireSomething() const;
  /// Clears first, then adds and replaces: entries are the same when their UUIDs are.
  void ApplyTo(Details& details) const;
  /// The unit UUID that the header must have.
  Uuid UnitUuidFor(timesignal_bin_t const& header) const;

private:
  bool Clears(char const* what) const;

  std::optional<std::string> unit_;
  std::optional<Uuid> unitUuid_;
  std::optional<Details::Trigger> trigger_;
  std::vector<Details::Validator> validators_;
  std::vector<Details::CharacteristicValue> values_;
  std::vector<std::string> cleared_;
};

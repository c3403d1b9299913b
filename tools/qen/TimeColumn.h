#pragma once

#include <optional>
#include <string>

class OptionSet;

/// Time stamps as tables have them: ISO 8601, which is recognised by itself, or numbers since 1970 in a unit that the
/// user must name.
class TimeColumn
{
public:
  /// Adds --time-unit.
  void AddOptions(OptionSet& options);

  /// Microseconds since 1970-01-01T00:00:00Z. Throws std::invalid_argument with what is wrong: "is ...".
  long long Parse(std::string const& text);
  /// Whether a text was taken that names no zone, as UTC.
  bool TookZoneless() const { return tookZoneless_; }

  /// Whether the text is a time stamp or a number, rather than the name of a column.
  static bool IsTimeOrNumber(std::string const& text);

private:
  std::optional<int> unitExponent_; ///< of ten, in microseconds
  bool tookZoneless_ = false;
};

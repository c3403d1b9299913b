#pragma once

#include "support/PortableForm.h"
#include "support/SignalContents.h"

#include <cmath>
#include <limits>
#include <type_traits>

// What a signal becomes that goes through a database object.

/// What a number reads as that was written with six digits.
inline double ReadFromSixDigits(double value) { return std::isnan(value) ? value : Scanned(Printed("%g", value)); }

/// Contents as they come back from a database object: numbers with six digits, no trigger without its UUID, and a NaN
/// is a NaN.
inline SignalContents ThroughDatabase(SignalContents contents)
{
  for (auto& validator : contents.validators)
    validator.AverageValue = ReadFromSixDigits(validator.AverageValue);
  if (contents.trigger.TriggerUuid.IsNull())
    contents.trigger = {};
  contents.trigger.TripValue = ReadFromSixDigits(contents.trigger.TripValue);
  for (auto& value : contents.charVals)
  {
    value.Value = ReadFromSixDigits(value.Value);
    value.Speed = static_cast<float>(ReadFromSixDigits(static_cast<double>(value.Speed)));
  }
  return contents;
}

/// One NaN is as good as another.
inline SignalContents WithOneNan(SignalContents contents)
{
  auto const one = [](auto& value)
  {
    if (std::isnan(value))
      value = std::numeric_limits<std::remove_reference_t<decltype(value)>>::quiet_NaN();
  };
  for (auto& validator : contents.validators)
    one(validator.AverageValue);
  one(contents.trigger.TripValue);
  for (auto& value : contents.charVals)
  {
    one(value.Value);
    one(value.Speed);
  }
  return contents;
}

#include "Details.h"

#include "DecimalNumber.h"
#include "Text.h"

#include <algorithm>
#include <cmath>

namespace
{
/// The number that a document gives back.
double Kept(double number) { return DecimalNumber::Nearest(Text::Rounded(number)).value_or(number); }
float Kept(float number) { return static_cast<float>(Kept(static_cast<double>(number))); }

template <class T>
bool SameKept(T a, T b)
{
  return Kept(a) == Kept(b) || (std::isnan(a) && std::isnan(b));
}

template <class T>
void Add(std::vector<std::string>& remarks, std::string const& what, T number)
{
  if (!std::isnan(number) && Kept(number) != number)
    remarks.push_back(what + " " + Text::Shortest(number) + " is kept with 6 digits, as " +
                      Text::Rounded(static_cast<double>(number)));
}

bool Same(Details::Validator const& a, Details::Validator const& b)
{
  return a.ValidatorUuid == b.ValidatorUuid && SameKept(a.AverageValue, b.AverageValue) && a.UnitUuid == b.UnitUuid &&
         a.UnitString == b.UnitString;
}

bool Same(Details::Trigger const& a, Details::Trigger const& b)
{
  if (a.TriggerUuid.IsNull() && b.TriggerUuid.IsNull())
    return true;
  return a.TriggerUuid == b.TriggerUuid && SameKept(a.TripValue, b.TripValue) && a.UnitUuid == b.UnitUuid &&
         a.UnitString == b.UnitString;
}

bool Same(Details::CharacteristicValue const& a, Details::CharacteristicValue const& b)
{
  return a.CharValUuid == b.CharValUuid && SameKept(a.Value, b.Value) && a.UnitUuid == b.UnitUuid &&
         a.UnitString == b.UnitString && SameKept(a.Speed, b.Speed);
}

template <class T>
bool Same(std::vector<T> const& a, std::vector<T> const& b)
{
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](T const& x, T const& y) { return Same(x, y); });
}
} // namespace

bool Details::IsEmpty() const { return unit.empty() && validators.empty() && !HasTrigger() && values.empty(); }

std::string Details::Summary() const
{
  std::vector<std::string> parts;
  if (!unit.empty())
    parts.push_back("unit " + unit);
  if (HasTrigger())
    parts.emplace_back("trigger");
  if (!validators.empty())
    parts.push_back(Text::Counted(validators.size(), "validator"));
  if (!values.empty())
    parts.push_back(Text::Counted(values.size(), "characteristic value"));
  return parts.empty() ? "nothing" : Text::Join(parts, ", ");
}

Details Details::Of(TimeSignal const& signal)
{
  return {signal.GetUnitString(), signal.GetValidators(), signal.GetTrigger(), signal.GetCharVals()};
}

void Details::AddTo(TimeSignal& signal) const
{
  for (Validator const& validator : validators)
    signal.AddValidator(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
  signal.AddTrigger(trigger.TriggerUuid, trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
  for (CharacteristicValue const& value : values)
    signal.AddCharacteristicValue(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString, value.Speed);
}

bool SameInDocument(Details const& a, Details const& b)
{
  return a.unit == b.unit && Same(a.validators, b.validators) && Same(a.trigger, b.trigger) && Same(a.values, b.values);
}

std::vector<std::string> RoundedNumbers(Details const& details)
{
  std::vector<std::string> remarks;
  for (Details::Validator const& validator : details.validators)
    Add(remarks, "average value", validator.AverageValue);
  if (details.HasTrigger())
    Add(remarks, "trip value", details.trigger.TripValue);
  for (Details::CharacteristicValue const& value : details.values)
  {
    Add(remarks, "characteristic value", value.Value);
    Add(remarks, "speed", value.Speed);
  }
  return remarks;
}

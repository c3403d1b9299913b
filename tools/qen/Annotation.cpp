#include "Annotation.h"

#include "DetailsText.h"
#include "ExitCode.h"
#include "OptionSet.h"
#include "OptionValue.h"
#include "SignalFile.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace
{
constexpr char kUnit[] = "unit", kUnitUuid[] = "unit-uuid", kTrigger[] = "trigger", kValidators[] = "validators",
               kValues[] = "values", kAll[] = "all";

/// A number with its meaning, as "UUID,NUMBER,unit=TEXT,unit-uuid=UUID,speed=NUMBER" names it.
struct Quantity
{
  Uuid uuid;
  double number = 0;
  std::string unit;
  Uuid unitUuid;
  float speed = std::numeric_limits<float>::quiet_NaN();
};

float ReadSpeed(std::string const& text)
{
  double const speed = OptionValue::ReadNumber(text);
  if (std::abs(speed) > static_cast<double>(std::numeric_limits<float>::max()))
    throw std::invalid_argument("the speed " + text + " is too large");
  return static_cast<float>(speed);
}

/// Takes one of the named fields when the text is one.
bool TakeField(std::string_view text, bool hasSpeed, Quantity& quantity)
{
  std::size_t const equals = std::min(text.find('='), text.size());
  std::string_view const name = text.substr(0, equals);
  std::string const value(text.substr(std::min(equals + 1, text.size())));
  if (equals == text.size())
    return false;
  if (name == "unit")
  {
    DetailsText::Require(value);
    quantity.unit = value;
  }
  else if (name == "unit-uuid")
    quantity.unitUuid = OptionValue::ReadUuid(value);
  else if (name == "speed" && hasSpeed)
    quantity.speed = ReadSpeed(value);
  else
    return false;
  return true;
}

/// Where the next named field begins, with its comma; a comma may also stand in a unit.
std::size_t EndOfField(std::string_view text, std::size_t from)
{
  std::size_t end = text.size();
  for (std::string_view const next : {",unit=", ",unit-uuid=", ",speed="})
    end = std::min(end, text.find(next, from));
  return end;
}

Quantity ReadQuantity(std::string const& text, bool hasSpeed)
{
  std::size_t const firstComma = text.find(',');
  if (firstComma == std::string::npos)
    throw std::invalid_argument("\"" + text + "\" has no number behind its UUID: UUID,NUMBER");
  Quantity quantity;
  quantity.uuid = OptionValue::ReadUuid(text.substr(0, firstComma));
  if (quantity.uuid.IsNull())
    throw std::invalid_argument("the null UUID names nothing");
  std::size_t position = EndOfField(text, firstComma + 1);
  quantity.number = OptionValue::ReadNumber(text.substr(firstComma + 1, position - firstComma - 1));
  while (position < text.size())
  {
    std::size_t const end = EndOfField(text, position + 1);
    std::string const field = text.substr(position + 1, end - position - 1);
    if (!TakeField(field, hasSpeed, quantity))
      throw std::invalid_argument(Text::Quoted(field) + " is none of unit=TEXT, unit-uuid=UUID" +
                                  (hasSpeed ? ", speed=NUMBER" : ""));
    position = end;
  }
  return quantity;
}

/// Puts an entry in the place of the first with its UUID, of which no other stays, or behind all others.
template <class T>
void Place(std::vector<T>& entries, T const& entry, Uuid T::*uuid)
{
  auto const isSame = [&](T const& other) { return other.*uuid == entry.*uuid; };
  auto const first = std::find_if(entries.begin(), entries.end(), isSame);
  if (first == entries.end())
    return entries.push_back(entry);
  *first = entry;
  entries.erase(std::remove_if(first + 1, entries.end(), isSame), entries.end());
}
} // namespace

void Annotation::AddOptions(OptionSet& options)
{
  options.AddDetailsText("--unit", unit_, "unit of the physical values, such as m/s2");
  options.AddUuid("--unit-uuid", unitUuid_, "UUID of that unit; it stands in the header, whose checksum follows");
  options.AddRepeated("--trigger", "SPEC",
                      "what started the measurement, and the value that did: UUID,VALUE[,unit=...]",
                      [this](std::string const& text)
                      {
                        Quantity const read = ReadQuantity(text, false);
                        trigger_ = {read.uuid, read.number, read.unitUuid, read.unit};
                      });
  options.AddRepeated("--validator", "SPEC", "a condition and its average during the measurement; may be repeated",
                      [this](std::string const& text)
                      {
                        Quantity const read = ReadQuantity(text, false);
                        validators_.push_back({read.uuid, read.number, read.unitUuid, read.unit});
                      });
  options.AddRepeated("--value", "SPEC", "a characteristic value of the signal, also with ,speed=...; may be repeated",
                      [this](std::string const& text)
                      {
                        Quantity const read = ReadQuantity(text, true);
                        values_.push_back({read.uuid, read.number, read.unitUuid, read.unit, read.speed});
                      });
  options.AddRepeated("--clear", "WHAT", "unit, unit-uuid, trigger, validators, values or all; may be repeated",
                      [this](std::string const& text)
                      {
                        constexpr std::array kNames = {kUnit, kUnitUuid, kTrigger, kValidators, kValues, kAll};
                        if (std::none_of(kNames.begin(), kNames.end(), [&](char const* name) { return text == name; }))
                          throw std::invalid_argument(
                              "\"" + text + "\" is none of unit, unit-uuid, trigger, validators, values, all");
                        cleared_.push_back(text);
                      });
}

void Annotation::RequireSomething() const
{
  if (!unit_ && !unitUuid_ && !trigger_ && validators_.empty() && values_.empty() && cleared_.empty())
    throw ToolError(ExitCode::Usage, "annotate needs --unit, --unit-uuid, --trigger, --validator, --value or --clear");
}

bool Annotation::Clears(char const* what) const
{
  return std::any_of(cleared_.begin(), cleared_.end(),
                     [&](std::string const& cleared) { return cleared == what || cleared == kAll; });
}

void Annotation::ApplyTo(Details& details) const
{
  if (Clears(kUnit))
    details.unit.clear();
  if (Clears(kTrigger))
    details.trigger = {};
  if (Clears(kValidators))
    details.validators.clear();
  if (Clears(kValues))
    details.values.clear();
  details.unit = unit_.value_or(details.unit);
  details.trigger = trigger_.value_or(details.trigger);
  for (Details::Validator const& validator : validators_)
    Place(details.validators, validator, &Details::Validator::ValidatorUuid);
  for (Details::CharacteristicValue const& value : values_)
    Place(details.values, value, &Details::CharacteristicValue::CharValUuid);
}

Uuid Annotation::UnitUuidFor(timesignal_bin_t const& header) const
{
  if (unitUuid_)
    return *unitUuid_;
  return Clears(kUnitUuid) ? Uuid() : SignalFile::ToUuid(header.UnitUuid);
}

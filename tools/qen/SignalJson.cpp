#include "SignalJson.h"

#include "DecimalNumber.h"
#include "Names.h"
#include "SignalFile.h"
#include "Text.h"

#include <cmath>

namespace
{
Json WithUnit(char const* name, Uuid const& uuid, char const* numberName, double number, Uuid const& unitUuid,
              std::string const& unit)
{
  return {{name, uuid.ToString()}, {numberName, number}, {"unit", unit}, {"unit_uuid", unitUuid.ToString()}};
}
/// With the digits of a float; null for not-a-number, which stands for none.
Json Speed(float speed)
{
  std::optional<double> const shortest = DecimalNumber::Nearest(Text::Shortest(speed));
  return shortest && !std::isnan(*shortest) ? Json(*shortest) : Json(nullptr);
}
} // namespace

void SignalJson::AddHeader(Json& object, timesignal_bin_t const& header)
{
  object["header_version"] = header.BinaryHeaderVersion;
  object["header_size"] = header.HeaderSize;
  JsonText::AddEnumerator(object, "signal_type", Names::Find(Names::SignalTypes(), header.SignalType),
                          header.SignalType);
  object["measurement_config_uuid"] = SignalFile::ToUuid(header.MeasurementConfigUuid).ToString();
  object["measurement_uuid"] = SignalFile::ToUuid(header.MeasurementUuid).ToString();
  object["unit_uuid"] = SignalFile::ToUuid(header.UnitUuid).ToString();
  JsonText::AddTime(object, "time", header.TimeStamp);
  object["delta_x"] = header.DeltaX;
  std::optional<double> const rate = SignalFile::RateOf(header);
  object["rate_hz"] = rate ? Json(*rate) : Json(nullptr);
  object["scaling_factor"] = header.ScalingFactor;
  object["offset"] = header.Offset;
  JsonText::AddEnumerator(object, "sample_type", Names::Find(Names::SampleTypes(), header.SampleType),
                          header.SampleType);
  object["sample_count"] = header.SampleCount;
  JsonText::AddEnumerator(object, "compression", Names::Find(Names::Compressions(), header.Compression),
                          header.Compression);
  object["data_byte_count"] = header.DataArrayByteCount;
  object["data_checksum"] = header.DataChecksum;
  object["header_checksum"] = header.HeaderChecksum;
}

Json SignalJson::OfDetails(Details const& details)
{
  Json object = {{"unit", details.unit}, {"validators", Json::array()}};
  for (Details::Validator const& validator : details.validators)
    object["validators"].push_back(WithUnit("uuid", validator.ValidatorUuid, "average_value", validator.AverageValue,
                                            validator.UnitUuid, validator.UnitString));
  Details::Trigger const& trigger = details.trigger;
  object["trigger"] = nullptr;
  if (details.HasTrigger())
    object["trigger"] =
        WithUnit("uuid", trigger.TriggerUuid, "trip_value", trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
  object["characteristic_values"] = Json::array();
  for (Details::CharacteristicValue const& value : details.values)
  {
    Json entry = WithUnit("uuid", value.CharValUuid, "value", value.Value, value.UnitUuid, value.UnitString);
    entry["speed"] = Speed(value.Speed);
    object["characteristic_values"].push_back(entry);
  }
  return object;
}

Json SignalJson::OfFindings(std::vector<Verification::Finding> const& findings)
{
  Json list = Json::array();
  for (Verification::Finding const& finding : findings)
    list.push_back({{"part", finding.part}, {"text", finding.text}});
  return list;
}

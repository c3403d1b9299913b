#include "platform/Options.h"
#include "platform/QenTime.h"
#include "signalprocessing/io/file/DetailsWriter.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/RecordNames.h"
#include "signalprocessing/io/file/TimeSignalErrors.h"
#include "signalprocessing/io/file/UuidBytes.h"

#include <cmath>
#include <limits>
#include <sstream>

// The details document: what InternalTimeSignal writes about itself in XML, and how it finds it there again.

namespace
{
using TimeSignalErrors::CorruptDatabaseObject;
using TimeSignalErrors::UnknownCompression;
using TimeSignalErrors::UnknownDataType;
using TimeSignalErrors::UnknownSignalType;

char const* signalTypeName(signal32_t type)
{
  char const* const name = RecordNames::Find(type, RecordNames::kSignalTypes);
  return name != nullptr ? name : throw UnknownSignalType(type);
}

char const* sampleTypeName(sample_datatype32_t type)
{
  char const* const name = RecordNames::Find(type, RecordNames::kSampleTypes);
  return name != nullptr ? name : throw UnknownDataType(type);
}

char const* compressionName(compression32_t method)
{
  char const* const name = RecordNames::Find(method, RecordNames::kCompressions);
  return name != nullptr ? name : throw UnknownCompression(method);
}

void writeHeaderInfo(DetailsWriter& document, timesignal_bin_t const& header, std::string const& unitString)
{
  document.Element("BinaryHeaderVersion", header.BinaryHeaderVersion);
  document.Element("HeaderSize", header.HeaderSize);
  document.Element("SignalType", [&] { return signalTypeName(header.SignalType); });
  document.Element("MeasurementConfigUuid", UuidFromBytes(header.MeasurementConfigUuid).ToString());
  document.Element("MeasurementUuid", UuidFromBytes(header.MeasurementUuid).ToString());
  document.Element("TimeStamp", QenTime::TimeStampToString(header.TimeStamp));
  document.Element("UnitUuid", UuidFromBytes(header.UnitUuid).ToString());
  document.Element("UnitString", unitString);
  document.Element("SampleType", [&] { return sampleTypeName(header.SampleType); });
  document.Element("SampleCount", header.SampleCount);
  document.Element("DeltaX", header.DeltaX);
  document.Element("DataArrayByteCount", header.DataArrayByteCount);
  document.Element("Compression", [&] { return compressionName(header.Compression); });
}

void writeUnit(DetailsWriter& document, Uuid const& unitUuid, std::string const& unitString)
{
  document.Element("UnitUuid", unitUuid.ToString());
  document.Element("UnitString", unitString);
}

void writeValidator(DetailsWriter& document, InternalTimeSignal::ValidatorParameters const& validator)
{
  document.Element("ValidatorUuid", validator.ValidatorUuid.ToString());
  document.Element("AverageValue", validator.AverageValue);
  writeUnit(document, validator.UnitUuid, validator.UnitString);
}

void writeTrigger(DetailsWriter& document, InternalTimeSignal::TriggerParameters const& trigger)
{
  document.Element("TriggerUuid", trigger.TriggerUuid.ToString());
  document.Element("TripValue", trigger.TripValue);
  writeUnit(document, trigger.UnitUuid, trigger.UnitString);
}

void writeCharacteristicValue(DetailsWriter& document, InternalTimeSignal::CharValParameters const& charVal)
{
  document.Element("CharacteristicValueUuid", charVal.CharValUuid.ToString());
  document.Element("Value", charVal.Value);
  writeUnit(document, charVal.UnitUuid, charVal.UnitString);
  if (!std::isnan(charVal.Speed))
    document.Element("Speed", static_cast<double>(charVal.Speed));
}

/// A group with one group for each entry; an empty list has no group.
template <class Parameters>
void writeList(DetailsWriter& document, char const* groupName, char const* entryName,
               std::vector<Parameters> const& list, void (*writeEntry)(DetailsWriter&, Parameters const&))
{
  if (list.empty())
    return;
  document.Group(groupName,
                 [&]
                 {
                   for (Parameters const& entry : list)
                     document.Group(entryName, [&] { writeEntry(document, entry); });
                 });
}

Uuid uuidValue(Option& entry, char const* key) { return Uuid(entry.Value<std::string>(key, {})); }

void readValidator(Option& entry, InternalTimeSignal::ValidatorParameters& validator)
{
  validator.ValidatorUuid = uuidValue(entry, "vel:Validator.vel:ValidatorUuid");
  validator.AverageValue = entry.Value<double>("vel:Validator.vel:AverageValue", 0.0);
  validator.UnitUuid = uuidValue(entry, "vel:Validator.vel:UnitUuid");
  validator.UnitString = entry.Value<std::string>("vel:Validator.vel:UnitString", {});
}

void readTrigger(Option& entry, InternalTimeSignal::TriggerParameters& trigger)
{
  trigger.TriggerUuid = uuidValue(entry, "vel:Trigger.vel:TriggerUuid");
  trigger.TripValue = entry.Value<double>("vel:Trigger.vel:TripValue", 0.0);
  trigger.UnitUuid = uuidValue(entry, "vel:Trigger.vel:UnitUuid");
  trigger.UnitString = entry.Value<std::string>("vel:Trigger.vel:UnitString", {});
}

void readCharacteristicValue(Option& entry, InternalTimeSignal::CharValParameters& charVal)
{
  charVal.CharValUuid = uuidValue(entry, "vel:CharacteristicValue.vel:CharacteristicValueUuid");
  charVal.Value = entry.Value<double>("vel:CharacteristicValue.vel:Value", 0.0);
  charVal.UnitUuid = uuidValue(entry, "vel:CharacteristicValue.vel:UnitUuid");
  charVal.UnitString = entry.Value<std::string>("vel:CharacteristicValue.vel:UnitString", {});
  charVal.Speed = static_cast<float>(
      entry.Value<double>("vel:CharacteristicValue.vel:Speed", std::numeric_limits<double>::quiet_NaN()));
}

/// Overwrites a list with the entries of its group. Without a group the list stays, with an empty one it is emptied.
template <class Parameters>
void readList(Option& signal, char const* groupKey, char const* entryKey, std::vector<Parameters>& list,
              void (*readEntry)(Option&, Parameters&))
{
  Option* const group = signal.FindOption(groupKey, false);
  if (group == nullptr)
    return;
  std::vector<Option*> const* const entries = group->FindAllOptions(entryKey);
  if (entries == nullptr)
    return;
  list.resize(entries->size());
  for (std::size_t index = 0; index < list.size(); ++index)
    readEntry(*entries->at(index), list[index]);
}
} // namespace

void InternalTimeSignal::CreateXmlDetails(std::stringstream& stream) const
{
  DetailsWriter document(stream);
  auto const signal = [&]
  {
    document.Group("HeaderInfo", [&] { writeHeaderInfo(document, record_, unitString_); });
    writeList(document, "ValidatorGroup", "Validator", validators_, writeValidator);
    if (!trigger_.TriggerUuid.IsNull())
      document.Group("Trigger", [&] { writeTrigger(document, trigger_); });
    document.Element("BinaryFileName", "");
    document.Element("BinaryFileHash", "");
    writeList(document, "CharacteristicValueGroup", "CharacteristicValue", charVals_, writeCharacteristicValue);
  };
  document.Document("MeasurementDataDetails", [&] { document.Group("Signal", signal); });
}

void InternalTimeSignal::FindUnitString(Option* signal, Uuid const& measurementUuid)
{
  Option* const headerInfo = signal->FindOption("vel:Signal.vel:HeaderInfo", false);
  if (headerInfo == nullptr)
    throw CorruptDatabaseObject(measurementUuid);
  unitString_ = headerInfo->Value<std::string>("vel:HeaderInfo.vel:UnitString", {});
}

void InternalTimeSignal::FindValidators(Option* signal)
{
  readList(*signal, "vel:Signal.vel:ValidatorGroup", "vel:ValidatorGroup.vel:Validator", validators_, readValidator);
}

// Without a trigger the unit of an earlier one stays.
void InternalTimeSignal::FindTrigger(Option* signal)
{
  if (Option* const trigger = signal->FindOption("vel:Signal.vel:Trigger", false))
    return readTrigger(*trigger, trigger_);
  trigger_.TriggerUuid.ClearUuid();
  trigger_.TripValue = 0;
}

void InternalTimeSignal::FindCharacteristicValues(Option* signal)
{
  readList(*signal, "vel:Signal.vel:CharacteristicValueGroup", "vel:CharacteristicValueGroup.vel:CharacteristicValue",
           charVals_, readCharacteristicValue);
}

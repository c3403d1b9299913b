#pragma once

#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "support/SignalContents.h"
#include "support/TrendRecords.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

/// All that can be seen of some values, as one text: equal texts for equal values, different ones for different values.
class Sight
{
public:
  template <class... Values>
  static std::string Of(Values const&... values)
  {
    Sight sight;
    (sight.Add(values), ...);
    return sight.text_;
  }

  template <class Number>
  requires std::is_arithmetic_v<Number> || std::is_enum_v<Number>
  void Add(Number number) { addBytes(&number, sizeof(number)); }
  void Add(char const* text) { Add(std::string(text)); }
  void Add(std::string const& text)
  {
    Add(text.size());
    text_ += text;
  }
  template <class Value>
  requires std::is_arithmetic_v<Value>
  void Add(std::vector<Value> const& values)
  {
    Add(values.size());
    addBytes(values.data(), values.size() * sizeof(Value));
  }
  void Add(Uuid const& uuid) { addBytes(uuid.GetPlainUuid(), 16); }
  void Add(UuidEntryDO const& entry)
  {
    Add(entry.getUuid());
    Add(entry.getId());
    Add(entry.getFlag());
  }

  void Add(InternalTimeSignal const& signal) { add(ContentsOf(signal)); }
  /// How many handles share the signal is seen too.
  void Add(TimeSignal const& handle)
  {
    Add(HandleCount(handle));
    Add(*ObjectOf(handle));
  }
  void Add(timesignal_bin_t const& record)
  {
    Add(FlatBytes(record));
    Add(record.Samples != nullptr);
  }
  void Add(MeasurementDataDO const& stored)
  {
    Add(stored.getCurrentUuid());
    Add(stored.getMeasurementTimeStamp());
    Add(stored.getMeasurementConfig());
    Add(stored.getMeasurementDataDetails());
    Add(stored.getBinaryData());
    Add(stored.getJobData());
    Add(stored.getSavedByAlarmStatusChange());
  }

  void Add(Trend const& trend)
  {
    Add(trend.GetTrendUuid());
    AddAllButItsUuid(trend);
  }
  void AddAllButItsUuid(Trend const& trend)
  {
    Add(trend.GetCharacteristicValueConfigUuid());
    Add(trend.GetCharacteristicValueConfigBaseUuid());
    Add(trend.GetSignalUnitUuid());
    Add(trend.GetSignalUnitString());
    Add(trend.GetLowerPreAlarmLimit());
    Add(trend.GetFirstTimeStamp());
    Add(trend.GetLastTimeStamp());
    Add(trend.GetCompression());
    Add(Joined(AllBytes(trend.GetTrendEntryVector())));
  }
  void Add(TrendDataDO const& stored)
  {
    Add(stored.getData());
    Add(stored.getCurrentUuid());
    Add(stored.getTrendDataDetails());
    addColumns(stored);
  }
  /// Record and details with a UUID of zeros in place of the trend's.
  void AddAllButItsUuid(TrendDataDO const& stored)
  {
    Bytes data = stored.getData();
    SetField(data, TrendField::kTrendUuid, std::array<unsigned char, 16>{});
    RepairTrendChecksums(data);
    Add(data);
    std::string details = stored.getTrendDataDetails();
    std::string const uuid = stored.getCurrentUuid().getUuid().ToString();
    std::size_t const place = details.find(uuid);
    if (place != std::string::npos)
      details.replace(place, uuid.size(), Uuid().ToString());
    Add(details);
    addColumns(stored);
  }

  void Add(VelmoraException const& exception)
  {
    Add(exception.getClassName());
    Add(exception.getFile());
    Add(exception.getLine());
    Add(exception.what());
    Add(exception.getRootCause() != nullptr);
    if (exception.getRootCause() != nullptr)
      Add(*exception.getRootCause());
  }

  template <class Value>
  void Add(std::optional<Value> const& value)
  {
    Add(value.has_value());
    if (value)
      Add(*value);
  }
  template <class Value, class Deleter>
  void Add(std::unique_ptr<Value, Deleter> const& value)
  {
    Add(value != nullptr);
    if (value)
      Add(*value);
  }

  std::string const& Text() const { return text_; }

private:
  void addBytes(void const* bytes, std::size_t size) { text_.append(static_cast<char const*>(bytes), size); }

  void add(SignalContents const& contents)
  {
    Add(contents.header);
    Add(contents.samples.has_value());
    Add(contents.samples.value_or(Bytes()));
    Add(contents.unitString);
    Add(contents.jobDataUuid);
    add(contents.trigger.TriggerUuid, contents.trigger.TripValue, contents.trigger);
    Add(contents.validators.size());
    for (auto const& validator : contents.validators)
      add(validator.ValidatorUuid, validator.AverageValue, validator);
    Add(contents.charVals.size());
    for (auto const& value : contents.charVals)
    {
      add(value.CharValUuid, value.Value, value);
      Add(value.Speed);
    }
  }

  template <class Parameters>
  void add(Uuid const& uuid, double number, Parameters const& parameters)
  {
    Add(uuid);
    Add(number);
    Add(parameters.UnitUuid);
    Add(parameters.UnitString);
  }

  void addColumns(TrendDataDO const& stored)
  {
    Add(stored.getCharacteristicValueConfig());
    Add(stored.getCharacteristicValueConfigBaseUuid());
    Add(stored.getClosed());
    Add(stored.getFirstTimeStamp());
    Add(stored.getLastTimeStamp());
    Add(stored.getNumSamples());
  }

  std::string text_;
};

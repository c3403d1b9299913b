#pragma once

#include "failing_memory/Scenario.h"
#include "failing_memory/Sight.h"
#include "support/LogCapture.h"

#include <ios>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

// What scenarios of several subjects have in common.

/// A text that no short string holds, so that each copy of it takes memory.
inline std::string LongText(std::string const& text)
{
  return text + ", in more letters than a short string has room for";
}

/// A signal whose texts are all long, with two validators, a trigger and two characteristic values.
inline SignalContents LongDescription(sample_datatype32_t type = data_int16_t, compression32_t form = no_compression,
                                      std::size_t count = 50)
{
  SignalContents contents = DescribedSignal(type, form, count);
  contents.unitString = LongText("unit");
  contents.trigger.UnitString = LongText("unit of the trigger");
  for (auto& validator : contents.validators)
    validator.UnitString = LongText(validator.UnitString);
  for (auto& value : contents.charVals)
    value.UnitString = LongText(value.UnitString);
  return contents;
}

/// A handle on a signal with these contents.
inline TimeSignal HandleOn(SignalContents const& contents)
{
  TimeSignal handle(*RecordOf(contents.Flat()), contents.unitString, contents.jobDataUuid);
  for (auto const& validator : contents.validators)
    handle.AddValidator(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
  auto const& trigger = contents.trigger;
  handle.AddTrigger(trigger.TriggerUuid, trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
  for (auto const& value : contents.charVals)
    handle.AddCharacteristicValue(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString, value.Speed);
  return handle;
}

/// A function that makes something of what it is given, or fails and makes nothing.
template <class F>
auto Giving(F function)
{
  using Result = std::optional<std::invoke_result_t<F>>;
  return Scenario<Result>{.make = [] { return Result(); },
                          .act = [function](Result& result) { result.emplace(function()); },
                          .see = [](Result& result) { return Sight::Of(result); }};
}

/// A function that makes a trend. Its UUID is another one each time, so that is not looked at.
template <class F>
auto GivingNewTrend(F function)
{
  using Result = std::unique_ptr<Trend>;
  return Scenario<Result>{.make = [] { return Result(); },
                          .act = [function](Result& result) { result = std::make_unique<Trend>(function()); },
                          .see =
                              [](Result& result)
                          {
                            Sight sight;
                            if (result)
                              sight.AddAllButItsUuid(*result);
                            return sight.Text();
                          }};
}

/// A function that always refuses, whatever it is given, or fails to say so.
template <class F>
auto Refusing(F function)
{
  struct Nothing
  {
  };
  return Scenario<Nothing>{.make = [] { return Nothing(); },
                           .act = [function](Nothing&) { function(); },
                           .see = [](Nothing&) { return std::string(); }};
}

/// The records of its time, of a capture that is there for the whole test: log4cpp remembers every sink that there ever
/// was.
class RecordsOfItsTime
{
public:
  explicit RecordsOfItsTime(LogCapture& capture) : capture_(capture) { capture_.Forget(); }
  RecordsOfItsTime(RecordsOfItsTime const&) = delete;
  RecordsOfItsTime& operator=(RecordsOfItsTime const&) = delete;
  ~RecordsOfItsTime() { capture_.Forget(); }

  std::vector<LogRecord> Get() const { return capture_.Records(); }

private:
  LogCapture& capture_;
};

inline constexpr char const kTimeSignalCategory[] = "example.qen.velmora.libs.signalprocessing.io.file.time_signal";

/// Streams take a failed allocation for a failure of their own and show it in their state, where their owner looks.
inline void RequireGood(std::ios const& stream)
{
  if (!stream)
    throw std::bad_alloc();
}

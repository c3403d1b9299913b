#include "StoreFolder.h"

#include "DetailsDocument.h"

#include <filesystem>

namespace
{
constexpr char const* kAgeClasses[] = {"four_weeks", "week", "day", "hour"};
static_assert(std::size(kAgeClasses) == RetentionLedger::kAgeClasses);

Json DescribeEntry(UuidEntryDO const& entry)
{
  return {{"uuid", entry.getUuid().ToString()}, {"id", entry.getId()}, {"flag", entry.getFlag()}};
}

UuidEntryDO ReadEntry(Json const& object)
{
  return {object.at("id").get<unsigned int>(), Uuid(object.at("uuid").get<std::string>()),
          object.at("flag").get<bool>()};
}
} // namespace

std::string StoreFolder::Document(std::string const& record)
{
  return std::filesystem::path(record).replace_extension(DetailsDocument::kExtension).native();
}

Json StoreFolder::Describe(char const* kind, Uuid const& uuid) { return {{"kind", kind}, {"uuid", uuid.ToString()}}; }

Json StoreFolder::Describe(MeasurementDataDO const& object)
{
  return {{"kind", "measurement"},
          {"measurement", DescribeEntry(object.getCurrentUuid())},
          {"config", DescribeEntry(object.getMeasurementConfig())},
          {"job", DescribeEntry(object.getJobData())},
          {"time_us", object.getMeasurementTimeStamp()},
          {"saved_by_alarm_status_change", object.getSavedByAlarmStatusChange()},
          {"has_details", !object.getMeasurementDataDetails().empty()}};
}

void StoreFolder::Read(Json const& line, MeasurementDataDO& object)
{
  object.setCurrentUuid(ReadEntry(line.at("measurement")));
  object.setMeasurementConfig(ReadEntry(line.at("config")));
  object.setJobData(ReadEntry(line.at("job")));
  object.setMeasurementTimeStamp(line.at("time_us").get<long long>());
  object.setSavedByAlarmStatusChange(line.at("saved_by_alarm_status_change").get<bool>());
}

Json StoreFolder::Describe(TrendDataDO const& object)
{
  return {{"kind", "trend"},
          {"trend", DescribeEntry(object.getCurrentUuid())},
          {"value", DescribeEntry(object.getCharacteristicValueConfig())},
          {"base", DescribeEntry(object.getCharacteristicValueConfigBaseUuid())},
          {"closed", object.getClosed()},
          {"first_time_us", object.getFirstTimeStamp()},
          {"last_time_us", object.getLastTimeStamp()},
          {"entry_count", object.getNumSamples()},
          {"has_details", !object.getTrendDataDetails().empty()}};
}

void StoreFolder::Read(Json const& line, TrendDataDO& object)
{
  object.setCurrentUuid(ReadEntry(line.at("trend")));
  object.setCharacteristicValueConfig(ReadEntry(line.at("value")));
  object.setCharacteristicValueConfigBaseUuid(ReadEntry(line.at("base")));
  object.setClosed(line.at("closed").get<bool>());
  object.setFirstTimeStamp(line.at("first_time_us").get<long long>());
  object.setLastTimeStamp(line.at("last_time_us").get<long long>());
  object.setNumSamples(line.at("entry_count").get<unsigned int>());
}

Json StoreFolder::Describe(Uuid const& value, RetentionLedger::State const& ledger)
{
  Json line = Describe("retention", value);
  line["anchor_us"] = ledger.anchor ? Json(*ledger.anchor) : Json(nullptr);
  line["compacted_until_us"] = ledger.compactedUntil;
  for (std::size_t i = 0; i < RetentionLedger::kAgeClasses; ++i)
    line[kAgeClasses[i]] = {{"until_us", ledger.ageClasses[i].until}, {"count", ledger.ageClasses[i].count}};
  return line;
}

RetentionLedger::State StoreFolder::ReadLedger(Json const& line)
{
  RetentionLedger::State ledger{};
  if (!line.at("anchor_us").is_null())
    ledger.anchor = line.at("anchor_us").get<long long>();
  ledger.compactedUntil = line.at("compacted_until_us").get<long long>();
  for (std::size_t i = 0; i < RetentionLedger::kAgeClasses; ++i)
    ledger.ageClasses[i] = {line.at(kAgeClasses[i]).at("until_us").get<long long>(),
                            line.at(kAgeClasses[i]).at("count").get<unsigned int>()};
  return ledger;
}

Uuid StoreFolder::ReadUuid(Json const& line) { return Uuid(line.at("uuid").get<std::string>()); }

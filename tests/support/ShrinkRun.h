#pragma once

#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/LogCapture.h"
#include "support/TrendRecords.h"
#include "support/TrendShrinkingModel.h"

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

// Runs of the trend shrinker, and what they have to give.

inline constexpr char const* kTrendShrinkerCategory =
    "example.qen.velmora.libs.signalprocessing.io.file.trend_shrinker";

inline constexpr long long kSecond = 1000000;
inline constexpr long long kMinute = 60 * kSecond;
inline constexpr long long kHour = 60 * kMinute;
inline constexpr long long kDay = 24 * kHour;
inline constexpr long long kWeek = 7 * kDay;

inline std::string CleanupClass(std::string const& name, std::string const& content)
{
  return "<vel:" + name + ">" + content + "</vel:" + name + ">";
}

inline std::string PerHour(unsigned int count)
{
  return "<vel:NumberOfRemainingTrendEntriesPerHour>" + std::to_string(count) +
         "</vel:NumberOfRemainingTrendEntriesPerHour>";
}

inline std::string PerDay(unsigned int count)
{
  return "<vel:NumberOfRemainingTrendEntriesPerDay>" + std::to_string(count) +
         "</vel:NumberOfRemainingTrendEntriesPerDay>";
}

inline DeviceDO DeviceWithDetails(std::string const& details)
{
  DeviceDO device;
  device.setDeviceDetails(details);
  return device;
}

/// A device whose cleanup settings have this content.
inline DeviceDO DeviceWithCleanup(std::string const& classes)
{
  return DeviceWithDetails("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<vel:DeviceDetails xmlns:vel=\"" +
                           std::string(Organisation::kNamespaceUri) + "\"><vel:TrendCleanupSettings>" + classes +
                           "</vel:TrendCleanupSettings></vel:DeviceDetails>");
}

/// A device whose cleanup settings have these counts.
inline DeviceDO DeviceWithCleanup(ShrinkSettings const& settings)
{
  return DeviceWithCleanup(CleanupClass("OlderThanOneHour", PerHour(settings.perHourOlderThanOneHour)) +
                           CleanupClass("OlderThanOneDay", PerDay(settings.perDayOlderThanOneDay)) +
                           CleanupClass("OlderThanOneWeek", PerDay(settings.perDayOlderThanOneWeek)) +
                           CleanupClass("OlderThanFourWeeks", PerDay(settings.perDayOlderThanFourWeeks)));
}

inline TrendShrinker MakeShrinker(ShrinkSettings const& settings)
{
  return TrendShrinker(DeviceWithCleanup(settings), settings.maxSize, settings.maxDays);
}

inline std::vector<TrendDataDO> StoredTrends(std::vector<TrendParts> const& trends)
{
  std::vector<TrendDataDO> stored;
  for (TrendParts const& parts : trends)
    stored.push_back(StoredTrend(parts));
  return stored;
}

inline std::vector<CharacteristicValueDataDO> ValuesAt(std::vector<long long> const& times)
{
  std::vector<CharacteristicValueDataDO> values(times.size());
  for (std::size_t i = 0; i < times.size(); ++i)
    values[i].setMeasurementTimeStamp(times[i]);
  return values;
}

using ShrinkOutput = std::vector<std::unique_ptr<TrendDataDO>>;

inline ShrinkOutput Owned(std::vector<TrendDataDO*> const& trends)
{
  ShrinkOutput owned;
  for (TrendDataDO* const trend : trends)
    owned.emplace_back(trend);
  return owned;
}

inline ShrinkOutput Shrink(ShrinkSettings const& settings, long long now, std::vector<TrendParts> const& trends,
                           std::vector<long long> const& values = {})
{
  return Owned(MakeShrinker(settings).ShrinkTrends(now, StoredTrends(trends), ValuesAt(values)));
}

/// The entries of all trends, one after the other.
inline std::vector<EntryBytes> AllEntries(ShrinkOutput const& output)
{
  std::vector<EntryBytes> entries;
  for (auto const& trend : output)
    for (EntryBytes const& entry : EntriesOf(trend->getData()))
      entries.push_back(entry);
  return entries;
}

inline std::vector<long long> AllTimes(ShrinkOutput const& output) { return TimesOf(AllEntries(output)); }

/// Number of entries of each trend.
inline std::vector<std::size_t> Sizes(ShrinkOutput const& output)
{
  std::vector<std::size_t> sizes;
  for (auto const& trend : output)
    sizes.push_back(EntriesOf(trend->getData()).size());
  return sizes;
}

/// What is wrong with a trend that came out of a run, its record, columns and details; empty when all is right.
inline std::string FaultOf(TrendDataDO const& actual, ShrunkTrend const& expected)
{
  Bytes const& data = actual.getData();
  if (data.size() < kTrendHeaderBytes || EntriesOf(data) != expected.entries)
    return "entries differ";
  TrendParts parts;
  parts.configUuid = expected.configUuid;
  parts.baseUuid = expected.baseUuid;
  parts.trendUuid = actual.getCurrentUuid().getUuid();
  parts.unitUuid = expected.unitUuid;
  parts.unitString = expected.unitString;
  parts.limit = expected.limit;
  parts.form = zlib;
  parts.entries = expected.entries;
  if (data != FlatTrend(parts, Bytes(data.begin() + kTrendHeaderBytes, data.end())))
    return "record differs";
  if (actual.getTrendDataDetails() != TrendDetails(parts, data))
    return "details differ: " + actual.getTrendDataDetails();
  if (!actual.getClosed())
    return "not closed";
  if (actual.getFirstTimeStamp() != parts.First() || actual.getLastTimeStamp() != parts.Last() ||
      actual.getNumSamples() != expected.entries.size())
    return "columns differ";
  if (actual.getCharacteristicValueConfig().getUuid() != expected.configUuid ||
      actual.getCharacteristicValueConfigBaseUuid().getUuid() != expected.baseUuid ||
      actual.getCharacteristicValueConfigBaseUuid().getId() != 0 ||
      actual.getCharacteristicValueConfigBaseUuid().getFlag())
    return "identity differs";
  return "";
}

inline std::string TextOf(std::vector<EntryBytes> const& entries)
{
  std::string text = std::to_string(entries.size()) + " entries:";
  for (std::size_t i = 0; i < entries.size() && i < 60; ++i)
    text += " " + std::to_string(TimeOf(entries[i])) + "/" + std::to_string(StatusOf(entries[i]));
  return text;
}

/// The same for a whole run, whose trends all have UUIDs of their own.
inline std::string FaultOf(ShrinkOutput const& actual, std::vector<ShrunkTrend> const& expected,
                           std::vector<TrendParts> const& input)
{
  std::set<Uuid> uuids;
  for (TrendParts const& parts : input)
    uuids.insert(parts.trendUuid);
  if (actual.size() != expected.size())
    return std::to_string(actual.size()) + " trends instead of " + std::to_string(expected.size()) + ", with " +
           TextOf(AllEntries(actual));
  for (std::size_t i = 0; i < expected.size(); ++i)
  {
    if (!uuids.insert(actual[i]->getCurrentUuid().getUuid()).second)
      return "trend UUID is not new";
    if (std::string const fault = FaultOf(*actual[i], expected[i]); !fault.empty())
      return "trend " + std::to_string(i) + ": " + fault + ", " + TextOf(EntriesOf(actual[i]->getData())) +
             " instead of " + TextOf(expected[i].entries);
  }
  return "";
}

/// Records of a run with "new" in place of every UUID that is none of the input's.
inline std::vector<ShrinkLogRecord> Normalised(std::vector<LogRecord> const& records,
                                               std::vector<TrendParts> const& input)
{
  std::set<std::string> known;
  for (TrendParts const& parts : input)
    known.insert(parts.trendUuid.ToString());
  constexpr std::size_t kUuidLength = 36;
  constexpr std::size_t kFirstUuid = 7; // "Trends "
  constexpr std::size_t kSecondUuid = kFirstUuid + kUuidLength + 5;
  std::vector<ShrinkLogRecord> result;
  for (LogRecord const& record : records)
  {
    std::string text = record.text;
    if (text.size() == kSecondUuid + kUuidLength + 9 && text.rfind("Trends ", 0) == 0)
      for (std::size_t const at : {kSecondUuid, kFirstUuid})
        if (known.count(text.substr(at, kUuidLength)) == 0)
          text.replace(at, kUuidLength, "new");
    result.push_back({record.priority, text});
  }
  return result;
}

/// Runs the shrinker and the model on the same trends; empty when they agree on everything.
inline std::string DifferenceToModel(ShrinkSettings const& settings, long long now,
                                     std::vector<TrendParts> const& trends, std::vector<long long> const& values)
{
  TrendShrinkingModel model(settings, now);
  model.Run(trends, values);
  LogCapture const capture(kTrendShrinkerCategory);
  ShrinkOutput const output = Shrink(settings, now, trends, values);
  if (std::string const fault = FaultOf(output, model.Results(), trends); !fault.empty())
    return fault;
  std::string text;
  std::vector<ShrinkLogRecord> const log = Normalised(capture.Records(), trends);
  if (log == model.Log())
    return "";
  for (ShrinkLogRecord const& record : log)
    text += "\n  " + std::to_string(record.priority) + " " + record.text;
  text += "\ninstead of";
  for (ShrinkLogRecord const& record : model.Log())
    text += "\n  " + std::to_string(record.priority) + " " + record.text;
  return "log differs:" + text;
}

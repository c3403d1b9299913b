#include "StoredObject.h"

#include "ExitCode.h"
#include "SignalFile.h"
#include "TrendDocument.h"
#include "TrendFile.h"
#include "TrendSettings.h"
#include "TrendVerification.h"

#include "platform/QenTime.h"

namespace
{
using Findings = std::vector<Verification::Finding>;

void Append(Findings& all, Findings const& more) { all.insert(all.end(), more.begin(), more.end()); }

template <class T>
std::string Show(T const& value)
{
  if constexpr (std::same_as<T, Uuid>)
    return value.ToString();
  else if constexpr (std::same_as<T, long long>)
    return QenTime::TimeStampToString(value);
  else
    return std::to_string(value);
}

template <class T>
void CompareColumn(char const* name, T const& column, T const& header, Findings& findings)
{
  if (column != header)
    findings.push_back({"columns", std::string(name) + " is " + Show(column) + ", the record has " + Show(header)});
}

bool AreSame(UuidEntryDO const& a, UuidEntryDO const& b)
{
  return a.getId() == b.getId() && a.getUuid() == b.getUuid() && a.getFlag() == b.getFlag();
}

void CheckTrendDocument(TrendDataDO const& object, trend_header_t const& header, Findings& findings)
try
{
  for (std::string const& difference : TrendDocument::FromText(object.getTrendDataDetails()).Differences(header))
    findings.push_back({"details", difference});
}
catch (ToolError const& error)
{
  findings.push_back(UnreadableDetails(error));
}
} // namespace

MeasurementDataDO StoredObject::MakeMeasurement(std::vector<unsigned char> record, timesignal_bin_t const& header,
                                                Uuid const& job, std::string const& details)
{
  MeasurementDataDO object;
  object.setCurrentUuid(UuidEntryDO(0, SignalFile::ToUuid(header.MeasurementUuid), false));
  object.setMeasurementConfig(UuidEntryDO(0, SignalFile::ToUuid(header.MeasurementConfigUuid), false));
  object.setJobData(UuidEntryDO(0, job, false));
  object.setMeasurementTimeStamp(header.TimeStamp);
  object.setMeasurementDataDetails(details);
  object.setBinaryData(std::move(record));
  return object;
}

Findings StoredObject::FindDamage(MeasurementDataDO const& object)
{
  Verification verification = Verify(object.getBinaryData());
  if (!verification.header)
    return verification.damage;
  VerifyDetails(object.getMeasurementDataDetails(), verification);
  timesignal_bin_t const& header = *verification.header;
  Findings& findings = verification.damage;
  CompareColumn("measurement", object.getCurrentUuid().getUuid(), SignalFile::ToUuid(header.MeasurementUuid), findings);
  CompareColumn("measurement configuration", object.getMeasurementConfig().getUuid(),
                SignalFile::ToUuid(header.MeasurementConfigUuid), findings);
  CompareColumn("time stamp", object.getMeasurementTimeStamp(), header.TimeStamp, findings);
  return findings;
}

Findings StoredObject::FindDamage(TrendDataDO const& object)
{
  TrendVerification const record = VerifyTrendRecord(object.getData());
  Findings findings = record.damage;
  if (!record.header)
    return findings;
  trend_header_t const& header = *record.header;
  if (record.IsGood())
    Append(findings, VerifyTrendEntries(header, TrendFile::Decode(object)).damage);
  CheckTrendDocument(object, header, findings);
  CompareColumn("trend", object.getCurrentUuid().getUuid(), SignalFile::ToUuid(header.TrendUuid), findings);
  CompareColumn("characteristic value configuration", object.getCharacteristicValueConfig().getUuid(),
                SignalFile::ToUuid(header.CharacteristicValueConfigUuid), findings);
  CompareColumn("first time stamp", object.getFirstTimeStamp(), header.FirstTimeStamp, findings);
  CompareColumn("last time stamp", object.getLastTimeStamp(), header.LastTimeStamp, findings);
  CompareColumn("entry count", object.getNumSamples(), static_cast<unsigned int>(header.SampleCount), findings);
  return findings;
}

Findings StoredObject::FindDamage(DeviceDO const& object)
try
{
  if (!object.getDeviceDetails().empty())
    TrendSettings::RequireUsable(TrendShrinker(TrendSettings::FromDetails(object.getDeviceDetails()), 1, 0));
  return {};
}
catch (std::exception const& error)
{
  return {{"details", error.what()}};
}

bool StoredObject::AreSame(MeasurementDataDO const& a, MeasurementDataDO const& b)
{
  return ::AreSame(a.getCurrentUuid(), b.getCurrentUuid()) &&
         ::AreSame(a.getMeasurementConfig(), b.getMeasurementConfig()) && ::AreSame(a.getJobData(), b.getJobData()) &&
         a.getMeasurementTimeStamp() == b.getMeasurementTimeStamp() &&
         a.getSavedByAlarmStatusChange() == b.getSavedByAlarmStatusChange() &&
         a.getMeasurementDataDetails() == b.getMeasurementDataDetails() && a.getBinaryData() == b.getBinaryData();
}

bool StoredObject::AreSame(TrendDataDO const& a, TrendDataDO const& b)
{
  return ::AreSame(a.getCurrentUuid(), b.getCurrentUuid()) &&
         ::AreSame(a.getCharacteristicValueConfig(), b.getCharacteristicValueConfig()) &&
         ::AreSame(a.getCharacteristicValueConfigBaseUuid(), b.getCharacteristicValueConfigBaseUuid()) &&
         a.getClosed() == b.getClosed() && a.getFirstTimeStamp() == b.getFirstTimeStamp() &&
         a.getLastTimeStamp() == b.getLastTimeStamp() && a.getNumSamples() == b.getNumSamples() &&
         a.getTrendDataDetails() == b.getTrendDataDetails() && a.getData() == b.getData();
}

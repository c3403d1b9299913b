#include "platform/database/MeasurementDataDO.h"

#include <utility>

MeasurementDataDO::MeasurementDataDO() = default;
MeasurementDataDO::MeasurementDataDO(MeasurementDataDO const&) = default;
MeasurementDataDO::~MeasurementDataDO() = default;

MeasurementDataDO& MeasurementDataDO::operator=(MeasurementDataDO const& other)
{
  columns_ = Columns(other.columns_);
  return *this;
}

void MeasurementDataDO::setCurrentUuid(UuidEntryDO const& entry) { columns_.currentUuid = entry; }
UuidEntryDO const& MeasurementDataDO::getCurrentUuid() const { return columns_.currentUuid; }

void MeasurementDataDO::setMeasurementTimeStamp(long long const& microseconds)
{
  columns_.measurementTimeStamp = microseconds;
}
long long const& MeasurementDataDO::getMeasurementTimeStamp() const { return columns_.measurementTimeStamp; }

void MeasurementDataDO::setMeasurementConfig(UuidEntryDO const& entry) { columns_.measurementConfig = entry; }
UuidEntryDO const& MeasurementDataDO::getMeasurementConfig() const { return columns_.measurementConfig; }

void MeasurementDataDO::setMeasurementDataDetails(std::string const& details)
{
  columns_.measurementDataDetails = details;
}
std::string const& MeasurementDataDO::getMeasurementDataDetails() const { return columns_.measurementDataDetails; }

void MeasurementDataDO::setBinaryData(std::vector<unsigned char> const& bytes) { columns_.binaryData = bytes; }
void MeasurementDataDO::setBinaryData(std::vector<unsigned char>&& bytes) { columns_.binaryData = std::move(bytes); }
std::vector<unsigned char> const& MeasurementDataDO::getBinaryData() const { return columns_.binaryData; }

void MeasurementDataDO::setJobData(UuidEntryDO const& entry) { columns_.jobData = entry; }
UuidEntryDO const& MeasurementDataDO::getJobData() const { return columns_.jobData; }

void MeasurementDataDO::setSavedByAlarmStatusChange(bool const& isSaved)
{
  columns_.isSavedByAlarmStatusChange = isSaved;
}
bool const& MeasurementDataDO::getSavedByAlarmStatusChange() const { return columns_.isSavedByAlarmStatusChange; }

#include "platform/database/MeasurementDataDO.h"

MeasurementDataDO::MeasurementDataDO() = default;
MeasurementDataDO::MeasurementDataDO(MeasurementDataDO const&) = default;
MeasurementDataDO& MeasurementDataDO::operator=(MeasurementDataDO const&) = default;
MeasurementDataDO::~MeasurementDataDO() = default;

void MeasurementDataDO::setCurrentUuid(UuidEntryDO const& entry) { currentUuid_ = entry; }
UuidEntryDO const& MeasurementDataDO::getCurrentUuid() const { return currentUuid_; }

void MeasurementDataDO::setMeasurementTimeStamp(long long const& microseconds) { measurementTimeStamp_ = microseconds; }
long long const& MeasurementDataDO::getMeasurementTimeStamp() const { return measurementTimeStamp_; }

void MeasurementDataDO::setMeasurementConfig(UuidEntryDO const& entry) { measurementConfig_ = entry; }
UuidEntryDO const& MeasurementDataDO::getMeasurementConfig() const { return measurementConfig_; }

void MeasurementDataDO::setMeasurementDataDetails(std::string const& details) { measurementDataDetails_ = details; }
std::string const& MeasurementDataDO::getMeasurementDataDetails() const { return measurementDataDetails_; }

void MeasurementDataDO::setBinaryData(std::vector<unsigned char> const& bytes) { binaryData_ = bytes; }
std::vector<unsigned char> const& MeasurementDataDO::getBinaryData() const { return binaryData_; }

void MeasurementDataDO::setJobData(UuidEntryDO const& entry) { jobData_ = entry; }
UuidEntryDO const& MeasurementDataDO::getJobData() const { return jobData_; }

void MeasurementDataDO::setSavedByAlarmStatusChange(bool const& isSaved) { isSavedByAlarmStatusChange_ = isSaved; }
bool const& MeasurementDataDO::getSavedByAlarmStatusChange() const { return isSavedByAlarmStatusChange_; }

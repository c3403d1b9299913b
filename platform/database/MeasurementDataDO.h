#pragma once

#include "platform/Export.h"
#include "platform/database/UuidEntryDO.h"

#include <string>
#include <vector>

/// A stored measurement: a plain value. Setters copy what they are given; getters return what is held, valid until it
/// is set again.
class QEN_PLATFORM_EXPORT MeasurementDataDO
{
public:
  MeasurementDataDO();
  MeasurementDataDO(MeasurementDataDO const&);
  MeasurementDataDO& operator=(MeasurementDataDO const&);
  virtual ~MeasurementDataDO();

  void setCurrentUuid(UuidEntryDO const& entry);
  UuidEntryDO const& getCurrentUuid() const;
  /// Microseconds since 1970-01-01T00:00:00Z.
  void setMeasurementTimeStamp(long long const& microseconds);
  long long const& getMeasurementTimeStamp() const;
  void setMeasurementConfig(UuidEntryDO const& entry);
  UuidEntryDO const& getMeasurementConfig() const;
  /// The XML details document.
  void setMeasurementDataDetails(std::string const& details);
  std::string const& getMeasurementDataDetails() const;
  /// The binary record with its samples.
  void setBinaryData(std::vector<unsigned char> const& bytes);
  std::vector<unsigned char> const& getBinaryData() const;
  void setJobData(UuidEntryDO const& entry);
  UuidEntryDO const& getJobData() const;
  void setSavedByAlarmStatusChange(bool const& isSaved);
  bool const& getSavedByAlarmStatusChange() const;

private:
  UuidEntryDO currentUuid_;
  long long measurementTimeStamp_ = 0;
  UuidEntryDO measurementConfig_;
  std::string measurementDataDetails_;
  std::vector<unsigned char> binaryData_;
  UuidEntryDO jobData_;
  bool isSavedByAlarmStatusChange_ = false;
};

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
  /// Leaves the object as it was when it throws.
  MeasurementDataDO& operator=(MeasurementDataDO const& other);
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
  void setBinaryData(std::vector<unsigned char>&& bytes);
  std::vector<unsigned char> const& getBinaryData() const;
  void setJobData(UuidEntryDO const& entry);
  UuidEntryDO const& getJobData() const;
  void setSavedByAlarmStatusChange(bool const& isSaved);
  bool const& getSavedByAlarmStatusChange() const;

private:
  struct Columns
  {
    UuidEntryDO currentUuid;
    long long measurementTimeStamp = 0;
    UuidEntryDO measurementConfig;
    std::string measurementDataDetails;
    std::vector<unsigned char> binaryData;
    UuidEntryDO jobData;
    bool isSavedByAlarmStatusChange = false;
  };
  Columns columns_;
};

#pragma once

#include "platform/Export.h"

/// A stored characteristic value: a plain value. Of all that the database keeps of it, its time is known here.
class QEN_PLATFORM_EXPORT CharacteristicValueDataDO
{
public:
  CharacteristicValueDataDO();
  CharacteristicValueDataDO(CharacteristicValueDataDO const&);
  CharacteristicValueDataDO& operator=(CharacteristicValueDataDO const&);
  virtual ~CharacteristicValueDataDO();

  /// Microseconds since 1970-01-01T00:00:00Z.
  void setMeasurementTimeStamp(long long const& microseconds);
  long long const& getMeasurementTimeStamp() const;

private:
  long long measurementTimeStamp_ = 0;
};

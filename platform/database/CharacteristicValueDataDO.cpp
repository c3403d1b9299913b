#include "platform/database/CharacteristicValueDataDO.h"

CharacteristicValueDataDO::CharacteristicValueDataDO() = default;
CharacteristicValueDataDO::CharacteristicValueDataDO(CharacteristicValueDataDO const&) = default;
CharacteristicValueDataDO& CharacteristicValueDataDO::operator=(CharacteristicValueDataDO const&) = default;
CharacteristicValueDataDO::~CharacteristicValueDataDO() = default;

void CharacteristicValueDataDO::setMeasurementTimeStamp(long long const& microseconds)
{
  measurementTimeStamp_ = microseconds;
}
long long const& CharacteristicValueDataDO::getMeasurementTimeStamp() const { return measurementTimeStamp_; }

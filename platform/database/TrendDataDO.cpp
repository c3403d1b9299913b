#include "platform/database/TrendDataDO.h"

TrendDataDO::TrendDataDO() = default;
TrendDataDO::TrendDataDO(TrendDataDO const&) = default;
TrendDataDO& TrendDataDO::operator=(TrendDataDO const&) = default;
TrendDataDO::~TrendDataDO() = default;

void TrendDataDO::setData(std::vector<unsigned char> const& bytes) { data_ = bytes; }
std::vector<unsigned char> const& TrendDataDO::getData() const { return data_; }

void TrendDataDO::setCurrentUuid(UuidEntryDO const& entry) { currentUuid_ = entry; }
UuidEntryDO const& TrendDataDO::getCurrentUuid() const { return currentUuid_; }

void TrendDataDO::setCharacteristicValueConfig(UuidEntryDO const& entry) { characteristicValueConfig_ = entry; }
UuidEntryDO const& TrendDataDO::getCharacteristicValueConfig() const { return characteristicValueConfig_; }

void TrendDataDO::setCharacteristicValueConfigBaseUuid(UuidEntryDO const& entry)
{
  characteristicValueConfigBaseUuid_ = entry;
}
UuidEntryDO const& TrendDataDO::getCharacteristicValueConfigBaseUuid() const
{
  return characteristicValueConfigBaseUuid_;
}

void TrendDataDO::setClosed(bool const& isClosed) { isClosed_ = isClosed; }
bool const& TrendDataDO::getClosed() const { return isClosed_; }

void TrendDataDO::setFirstTimeStamp(long long const& microseconds) { firstTimeStamp_ = microseconds; }
long long const& TrendDataDO::getFirstTimeStamp() const { return firstTimeStamp_; }

void TrendDataDO::setLastTimeStamp(long long const& microseconds) { lastTimeStamp_ = microseconds; }
long long const& TrendDataDO::getLastTimeStamp() const { return lastTimeStamp_; }

void TrendDataDO::setTrendDataDetails(std::string const& details) { trendDataDetails_ = details; }
std::string const& TrendDataDO::getTrendDataDetails() const { return trendDataDetails_; }

void TrendDataDO::setNumSamples(unsigned int const& count) { numSamples_ = count; }
unsigned int const& TrendDataDO::getNumSamples() const { return numSamples_; }

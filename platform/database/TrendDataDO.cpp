#include "platform/database/TrendDataDO.h"

#include <utility>

TrendDataDO::TrendDataDO() = default;
TrendDataDO::TrendDataDO(TrendDataDO const&) = default;
TrendDataDO::~TrendDataDO() = default;

TrendDataDO& TrendDataDO::operator=(TrendDataDO const& other)
{
  columns_ = Columns(other.columns_);
  return *this;
}

void TrendDataDO::setData(std::vector<unsigned char> const& bytes) { columns_.data = bytes; }
void TrendDataDO::setData(std::vector<unsigned char>&& bytes) { columns_.data = std::move(bytes); }
std::vector<unsigned char> const& TrendDataDO::getData() const { return columns_.data; }

void TrendDataDO::setCurrentUuid(UuidEntryDO const& entry) { columns_.currentUuid = entry; }
UuidEntryDO const& TrendDataDO::getCurrentUuid() const { return columns_.currentUuid; }

void TrendDataDO::setCharacteristicValueConfig(UuidEntryDO const& entry) { columns_.characteristicValueConfig = entry; }
UuidEntryDO const& TrendDataDO::getCharacteristicValueConfig() const { return columns_.characteristicValueConfig; }

void TrendDataDO::setCharacteristicValueConfigBaseUuid(UuidEntryDO const& entry)
{
  columns_.characteristicValueConfigBaseUuid = entry;
}
UuidEntryDO const& TrendDataDO::getCharacteristicValueConfigBaseUuid() const
{
  return columns_.characteristicValueConfigBaseUuid;
}

void TrendDataDO::setClosed(bool const& isClosed) { columns_.isClosed = isClosed; }
bool const& TrendDataDO::getClosed() const { return columns_.isClosed; }

void TrendDataDO::setFirstTimeStamp(long long const& microseconds) { columns_.firstTimeStamp = microseconds; }
long long const& TrendDataDO::getFirstTimeStamp() const { return columns_.firstTimeStamp; }

void TrendDataDO::setLastTimeStamp(long long const& microseconds) { columns_.lastTimeStamp = microseconds; }
long long const& TrendDataDO::getLastTimeStamp() const { return columns_.lastTimeStamp; }

void TrendDataDO::setTrendDataDetails(std::string const& details) { columns_.trendDataDetails = details; }
std::string const& TrendDataDO::getTrendDataDetails() const { return columns_.trendDataDetails; }

void TrendDataDO::setNumSamples(unsigned int const& count) { columns_.numSamples = count; }
unsigned int const& TrendDataDO::getNumSamples() const { return columns_.numSamples; }

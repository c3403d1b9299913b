#pragma once

#include "platform/Export.h"
#include "platform/database/UuidEntryDO.h"

#include <string>
#include <vector>

/// A stored trend: a plain value. Setters copy what they are given; getters return what is held, valid until it is set
/// again.
class QEN_PLATFORM_EXPORT TrendDataDO
{
public:
  TrendDataDO();
  TrendDataDO(TrendDataDO const&);
  /// Leaves the object as it was when it throws.
  TrendDataDO& operator=(TrendDataDO const& other);
  virtual ~TrendDataDO();

  /// The binary record with its entries.
  void setData(std::vector<unsigned char> const& bytes);
  void setData(std::vector<unsigned char>&& bytes);
  std::vector<unsigned char> const& getData() const;
  void setCurrentUuid(UuidEntryDO const& entry);
  UuidEntryDO const& getCurrentUuid() const;
  void setCharacteristicValueConfig(UuidEntryDO const& entry);
  UuidEntryDO const& getCharacteristicValueConfig() const;
  void setCharacteristicValueConfigBaseUuid(UuidEntryDO const& entry);
  UuidEntryDO const& getCharacteristicValueConfigBaseUuid() const;
  /// A closed trend takes no more entries.
  void setClosed(bool const& isClosed);
  bool const& getClosed() const;
  /// Microseconds since 1970-01-01T00:00:00Z; 0 without entries.
  void setFirstTimeStamp(long long const& microseconds);
  long long const& getFirstTimeStamp() const;
  void setLastTimeStamp(long long const& microseconds);
  long long const& getLastTimeStamp() const;
  /// The XML details document.
  void setTrendDataDetails(std::string const& details);
  std::string const& getTrendDataDetails() const;
  void setNumSamples(unsigned int const& count);
  unsigned int const& getNumSamples() const;

private:
  struct Columns
  {
    std::vector<unsigned char> data;
    UuidEntryDO currentUuid;
    UuidEntryDO characteristicValueConfig;
    UuidEntryDO characteristicValueConfigBaseUuid;
    bool isClosed = false;
    long long firstTimeStamp = 0;
    long long lastTimeStamp = 0;
    std::string trendDataDetails;
    unsigned int numSamples = 0;
  };
  Columns columns_;
};

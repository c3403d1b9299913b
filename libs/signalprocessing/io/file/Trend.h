#pragma once

#include "platform/Uuid.h"
#include "platform/VelmoraException.h"
#include "signalprocessing/io/file/TrendRecord.h"
#include "utilities/Export.h"

#include <deque>
#include <iosfwd>
#include <string>
#include <vector>

class TrendDataDO;

/// Every failure of a trend or of thinning.
class QEN_FILE_IO_EXPORT TrendException : public VelmoraException
{
public:
  TrendException();
  ~TrendException() override;
  VelmoraException* clone() const override;
};

/// The series of entries of one characteristic value over a stretch of time: a plain value, copied whole.
///
/// The trend keeps a first and a last time stamp beside its entries. The operations below move them along; a trend from
/// a database object has those of the object, whatever its entries say. Entries are expected in ascending time order,
/// which nothing checks.
///
/// Time stamps are microseconds since 1970-01-01T00:00:00Z. Errors are TrendException unless stated otherwise, and
/// std::bad_alloc. Threads. A trend belongs to one thread at a time.
class QEN_FILE_IO_EXPORT Trend
{
public:
  /// A new trend with a random trend UUID, without entries, stored uncompressed.
  Trend(Uuid const& characteristicValueConfigUuid, Uuid const& characteristicValueConfigBaseUuid,
        Uuid const& signalUnitUuid, std::string const& signalUnitString, double lowerPreAlarmLimit);
  /// A stored trend. UUIDs and time stamps are those of the object, limit, unit UUID and compression those of the
  /// record, the unit text that of the details document (empty when the document has none or cannot be read). Checksums
  /// are not verified. Throws for a record whose sizes disagree, that announces more entries than its data can hold, or
  /// whose compression is unknown; CompressionException for damaged data.
  explicit Trend(TrendDataDO const& stored);
  Trend(Trend const& other);
  Trend(Trend&& other) noexcept;
  /// Leaves the trend as it was when it throws.
  Trend& operator=(Trend const& other);
  Trend& operator=(Trend&& other) noexcept;
  ~Trend();
  /// Whether UUIDs, unit, time stamps, limit, compression and entries are equal. Of an entry AuxByte and AuxFloat3 do
  /// not count. Numbers compare as numbers, so a NaN makes a trend differ from itself.
  bool operator==(Trend const& other) const;
  bool operator!=(Trend const& other) const;

  Uuid const& GetCharacteristicValueConfigUuid() const;
  Uuid const& GetCharacteristicValueConfigBaseUuid() const;
  Uuid const& GetTrendUuid() const;
  Uuid const& GetSignalUnitUuid() const;
  std::string const& GetSignalUnitString() const;
  double GetLowerPreAlarmLimit() const;
  /// 0 when the trend has none.
  long long GetFirstTimeStamp() const;
  long long GetLastTimeStamp() const;
  /// Valid until entries are added or deleted.
  std::vector<trend_entry_t> const& GetTrendEntryVector() const;
  unsigned int GetNumberOfEntries() const;
  /// How GetTrendDataDO stores the entries. An unknown value is accepted here and refused there.
  compression32_t GetCompression() const;
  void SetCompression(compression32_t method);
  /// The entry, or for an index beyond the last one an entry of zeros whose AuxFloat3 is NaN.
  trend_entry_t GetTrendEntry(unsigned int index) const;

  /// Appends an entry or, with append false, overwrites the last one when there is one. A first time stamp of 0 is set
  /// by an appended entry; overwriting never changes it.
  void AddTrendEntry(trend_entry_t const& entry, bool append);
  /// Appends a range; the first time stamp is set when the trend had no entries.
  void AddTrendEntries(std::deque<trend_entry_t>::const_iterator first, std::deque<trend_entry_t>::const_iterator last);
  /// Removes the entries with from <= time stamp <= to.
  /// @return whether any was removed; also true for a range that covers a trend without entries
  /// Throws when to < from.
  bool DeleteTrendEntries(long long from, long long to);

  /// A copy of the header of a stored record, whose size must be that of the header and the data it announces; nothing
  /// else is checked. The caller owns it.
  static trend_header_t* VectorToTrend(std::vector<unsigned char> const& data);
  /// The record of a header and its header.DataArrayByteCount data bytes; zeros when data is null. The caller owns it.
  static std::vector<unsigned char>* TrendToVector(trend_header_t const& header, void const* data);
  /// All entries as one stream in the trend's compression.
  /// @param size receives the number of bytes
  /// @return a new array that the caller releases with delete[]
  /// Throws for compressions other than zlib and gzip, and for more entries than a record can count the bytes of.
  unsigned char* CompressData(int& size) const;
  /// Replaces the entries by the header->SampleCount entries that header->DataArrayByteCount bytes of data hold, as the
  /// header's compression says. Uncompressed data must hold them all, unchecked. Throws for more entries than a record
  /// can count the bytes of; for unknown compressions, and CompressionException, with the number of entries changed
  /// already; std::bad_alloc with it changed or not.
  void UncompressData(void const* data, trend_header_t const* header);
  /// Appends the details document, in which the header stands for counts, compression, limit and time stamps. The limit
  /// looks as the stream's settings say; the unit is not escaped. The stream's state is the caller's to check.
  void GenerateDetails(trend_header_t const& header, std::stringstream& stream) const;
  /// The trend as an open database object: record, details document and columns. The caller owns it. Throws for
  /// compressions other than no_compression, zlib and gzip, and for more entries than a record can count the bytes of.
  TrendDataDO* GetTrendDataDO() const;

private:
  QEN_FILE_IO_HIDDEN trend_header_t makeHeader() const;

  Uuid characteristicValueConfigUuid_;
  Uuid characteristicValueConfigBaseUuid_;
  Uuid trendUuid_;
  Uuid signalUnitUuid_;
  std::string signalUnitString_;
  long long firstTimeStamp_ = 0;
  long long lastTimeStamp_ = 0;
  double lowerPreAlarmLimit_ = 0;
  std::vector<trend_entry_t> entries_;
  compression32_t compression_ = no_compression;
};

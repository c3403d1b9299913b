#pragma once

#include "platform/Organisation.h"
#include "platform/QenTime.h"
#include "platform/Uuid.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/TrendRecord.h"
#include "support/PortableForm.h"
#include "support/Records.h"
#include "support/SampleSignals.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// Stored trends made and read byte by byte, without the library: a flat trend is the 96 header bytes followed by the
// stored entry bytes, exactly as databases hold it.

/// Names of the source units in the exceptions of trends.
inline constexpr char const* kTrendUnit = "Trend.cpp";
inline constexpr char const* kTrendShrinkerUnit = "TrendShrinker.cpp";

inline constexpr std::size_t kTrendHeaderBytes = 96;
inline constexpr std::size_t kTrendEntryBytes = 32;

/// Where the fields start in a flat trend.
namespace TrendField
{
inline constexpr std::size_t kBinaryHeaderVersion = 0;
inline constexpr std::size_t kHeaderSize = 2;
inline constexpr std::size_t kCompression = 4;
inline constexpr std::size_t kCharacteristicValueConfigUuid = 8;
inline constexpr std::size_t kTrendUuid = 24;
inline constexpr std::size_t kFirstTimeStamp = 40;
inline constexpr std::size_t kLastTimeStamp = 48;
inline constexpr std::size_t kUnitUuid = 56;
inline constexpr std::size_t kLowerPreAlarmLevel = 72;
inline constexpr std::size_t kSampleCount = 80;
inline constexpr std::size_t kDataArrayByteCount = 84;
inline constexpr std::size_t kReserved = 88;
inline constexpr std::size_t kDataChecksum = 92;
inline constexpr std::size_t kHeaderChecksum = 94;
} // namespace TrendField

/// Where the fields start in an entry.
namespace EntryField
{
inline constexpr std::size_t kTimeStamp = 0;
inline constexpr std::size_t kValue = 8;
inline constexpr std::size_t kAuxFloat1 = 16;
inline constexpr std::size_t kAuxFloat2 = 20;
inline constexpr std::size_t kAuxByte = 24;
inline constexpr std::size_t kStatus = 25;
inline constexpr std::size_t kPadding = 26;
inline constexpr std::size_t kAuxFloat3 = 28;
} // namespace EntryField

/// An entry as its bytes, so that none of them gets lost on the way through a test.
using EntryBytes = std::array<unsigned char, kTrendEntryBytes>;

inline long long TimeOf(EntryBytes const& entry)
{
  long long time = 0;
  std::memcpy(&time, entry.data() + EntryField::kTimeStamp, sizeof(time));
  return time;
}

inline unsigned char StatusOf(EntryBytes const& entry) { return entry.at(EntryField::kStatus); }

/// An entry whose other bytes, gap included, all differ from 0 and follow from `mark`: entries with different marks
/// differ. Each number in it is an ordinary one.
inline EntryBytes MarkedEntry(long long time, unsigned char status, unsigned int mark)
{
  EntryBytes entry{};
  double const value = 1.5 + mark;
  float const aux1 = 0.25F + static_cast<float>(mark % 1000);
  float const aux2 = -2.5F - static_cast<float>(mark % 77);
  float const aux3 = 1000.125F + static_cast<float>(mark % 501);
  std::memcpy(entry.data() + EntryField::kTimeStamp, &time, sizeof(time));
  std::memcpy(entry.data() + EntryField::kValue, &value, sizeof(value));
  std::memcpy(entry.data() + EntryField::kAuxFloat1, &aux1, sizeof(aux1));
  std::memcpy(entry.data() + EntryField::kAuxFloat2, &aux2, sizeof(aux2));
  entry[EntryField::kAuxByte] = static_cast<unsigned char>(1 + mark % 255);
  entry[EntryField::kStatus] = status;
  entry[EntryField::kPadding] = static_cast<unsigned char>(1 + mark % 251);
  entry[EntryField::kPadding + 1] = static_cast<unsigned char>(1 + mark % 241);
  std::memcpy(entry.data() + EntryField::kAuxFloat3, &aux3, sizeof(aux3));
  return entry;
}

inline trend_entry_t ToEntry(EntryBytes const& bytes)
{
  trend_entry_t entry;
  std::memcpy(&entry, bytes.data(), sizeof(entry));
  return entry;
}

inline EntryBytes ToBytes(trend_entry_t const& entry)
{
  EntryBytes bytes;
  std::memcpy(bytes.data(), &entry, sizeof(entry));
  return bytes;
}

/// The entries as the library takes ranges of them.
inline std::deque<trend_entry_t> ToDeque(std::vector<EntryBytes> const& entries)
{
  std::deque<trend_entry_t> result;
  for (EntryBytes const& entry : entries)
    std::memcpy(&result.emplace_back(), entry.data(), sizeof(trend_entry_t));
  return result;
}

template <class Entries>
std::vector<EntryBytes> AllBytes(Entries const& entries)
{
  std::vector<EntryBytes> bytes;
  for (trend_entry_t const& entry : entries)
    bytes.push_back(ToBytes(entry));
  return bytes;
}

/// Entries with these time stamps, one status and marks that count up from `mark`.
inline std::vector<EntryBytes> EntriesAt(std::vector<long long> const& times, unsigned char status = 1,
                                         unsigned int mark = 0)
{
  std::vector<EntryBytes> entries;
  for (long long const time : times)
    entries.push_back(MarkedEntry(time, status, mark++));
  return entries;
}

inline std::vector<long long> TimesOf(std::vector<EntryBytes> const& entries)
{
  std::vector<long long> times;
  for (EntryBytes const& entry : entries)
    times.push_back(TimeOf(entry));
  return times;
}

inline Bytes Joined(std::vector<EntryBytes> const& entries)
{
  Bytes bytes;
  for (EntryBytes const& entry : entries)
    bytes.insert(bytes.end(), entry.begin(), entry.end());
  return bytes;
}

inline std::vector<EntryBytes> Split(Bytes const& bytes)
{
  std::vector<EntryBytes> entries(bytes.size() / kTrendEntryBytes);
  for (std::size_t i = 0; i < entries.size(); ++i)
    std::memcpy(entries[i].data(), bytes.data() + i * kTrendEntryBytes, kTrendEntryBytes);
  return entries;
}

/// What a stored trend consists of, each value different from the others and from the defaults. The time stamp columns
/// are those of the first and last entry unless they are given.
struct TrendParts
{
  Uuid configUuid = CountingUuid(0x10);
  Uuid baseUuid = CountingUuid(0x30);
  Uuid trendUuid = CountingUuid(0x50);
  Uuid unitUuid = CountingUuid(0x70);
  std::string unitString = "mm/s";
  double limit = 0.5;
  compression32_t form = no_compression;
  std::vector<EntryBytes> entries;
  std::optional<long long> firstColumn, lastColumn;

  long long First() const { return firstColumn.value_or(entries.empty() ? 0 : TimeOf(entries.front())); }
  long long Last() const { return lastColumn.value_or(entries.empty() ? 0 : TimeOf(entries.back())); }
};

/// Makes both checksums of a flat trend right.
inline void RepairTrendChecksums(Bytes& flat)
{
  SetField(flat, TrendField::kDataChecksum,
           PlainChecksum(flat.data() + kTrendHeaderBytes, flat.size() - kTrendHeaderBytes));
  SetField(flat, TrendField::kHeaderChecksum, PlainChecksum(flat.data(), TrendField::kHeaderChecksum));
}

/// The record of a trend around entry bytes that are stored as they are given.
inline Bytes FlatTrend(TrendParts const& parts, Bytes const& stored)
{
  Bytes flat(kTrendHeaderBytes + stored.size());
  SetField<unsigned short>(flat, TrendField::kBinaryHeaderVersion, 2);
  SetField<unsigned short>(flat, TrendField::kHeaderSize, 96);
  SetField(flat, TrendField::kCompression, static_cast<int>(parts.form));
  std::copy_n(parts.configUuid.GetPlainUuid(), 16, flat.begin() + TrendField::kCharacteristicValueConfigUuid);
  std::copy_n(parts.trendUuid.GetPlainUuid(), 16, flat.begin() + TrendField::kTrendUuid);
  SetField(flat, TrendField::kFirstTimeStamp, parts.entries.empty() ? 0LL : TimeOf(parts.entries.front()));
  SetField(flat, TrendField::kLastTimeStamp, parts.entries.empty() ? 0LL : TimeOf(parts.entries.back()));
  std::copy_n(parts.unitUuid.GetPlainUuid(), 16, flat.begin() + TrendField::kUnitUuid);
  SetField(flat, TrendField::kLowerPreAlarmLevel, parts.limit);
  SetField(flat, TrendField::kSampleCount, static_cast<unsigned int>(parts.entries.size()));
  SetField(flat, TrendField::kDataArrayByteCount, static_cast<unsigned int>(stored.size()));
  std::copy(stored.begin(), stored.end(), flat.begin() + kTrendHeaderBytes);
  RepairTrendChecksums(flat);
  return flat;
}

inline Bytes FlatTrend(TrendParts const& parts) { return FlatTrend(parts, Stored(Joined(parts.entries), parts.form)); }

/// A number as a stream writes it by default: six significant digits.
inline std::string SixDigits(double value) { return Printed("%.6g", value); }

inline std::string CompressionName(int form)
{
  return form == 1 ? "no_compression" : form == 2 ? "zlib" : form == 4 ? "gzip" : "";
}

inline std::string TimeText(long long time) { return time == 0 ? "" : QenTime::TimeStampToString(time); }

/// The details document line by line. What the record repeats comes from the flat trend.
inline std::string TrendDetails(TrendParts const& parts, Bytes const& flat)
{
  auto const number = [&flat](std::size_t offset) { return std::to_string(FieldAt<int>(flat, offset)); };
  auto const time = [&flat](std::size_t offset) { return TimeText(FieldAt<long long>(flat, offset)); };
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<vel:TrendDataDetails xmlns:vel=\"" +
         std::string(Organisation::kNamespaceUri) +
         "\">\n"
         "   <vel:FileVersionXml>1.0.0.0</vel:FileVersionXml>\n"
         "   <vel:Signal>\n"
         "      <vel:HeaderInfo>\n"
         "         <vel:BinaryHeaderVersion>2</vel:BinaryHeaderVersion>\n"
         "         <vel:HeaderSize>96</vel:HeaderSize>\n"
         "         <vel:CharacteristicValueConfigUuid>" +
         parts.configUuid.ToString() +
         "</vel:CharacteristicValueConfigUuid>\n"
         "         <vel:TrendUuid>" +
         parts.trendUuid.ToString() +
         "</vel:TrendUuid>\n"
         "         <vel:UnitUuid>" +
         parts.unitUuid.ToString() +
         "</vel:UnitUuid>\n"
         "         <vel:UnitString>" +
         parts.unitString +
         "</vel:UnitString>\n"
         "         <vel:SampleCount>" +
         number(TrendField::kSampleCount) +
         "</vel:SampleCount>\n"
         "         <vel:DataArrayByteCount>" +
         number(TrendField::kDataArrayByteCount) +
         "</vel:DataArrayByteCount>\n"
         "         <vel:Compression>" +
         CompressionName(FieldAt<int>(flat, TrendField::kCompression)) +
         "</vel:Compression>\n"
         "      </vel:HeaderInfo>\n"
         "      <vel:LowerPreAlarmLevel>" +
         SixDigits(FieldAt<double>(flat, TrendField::kLowerPreAlarmLevel)) +
         "</vel:LowerPreAlarmLevel>\n"
         "      <vel:FirstTimeStamp>" +
         time(TrendField::kFirstTimeStamp) +
         "</vel:FirstTimeStamp>\n"
         "      <vel:LastTimeStamp>" +
         time(TrendField::kLastTimeStamp) +
         "</vel:LastTimeStamp>\n"
         "      <vel:BinaryFileName></vel:BinaryFileName>\n"
         "      <vel:BinaryFileHash></vel:BinaryFileHash>\n"
         "   </vel:Signal>\n"
         "</vel:TrendDataDetails>";
}

/// An open database object with the identity and columns of the parts around any bytes and any details text.
inline TrendDataDO StoredTrend(TrendParts const& parts, Bytes const& data, std::string const& details)
{
  TrendDataDO stored;
  stored.setData(data);
  stored.setCurrentUuid(UuidEntryDO(7, parts.trendUuid, true));
  stored.setCharacteristicValueConfig(UuidEntryDO(8, parts.configUuid, true));
  stored.setCharacteristicValueConfigBaseUuid(UuidEntryDO(9, parts.baseUuid, true));
  stored.setFirstTimeStamp(parts.First());
  stored.setLastTimeStamp(parts.Last());
  stored.setTrendDataDetails(details);
  stored.setNumSamples(static_cast<unsigned int>(parts.entries.size()));
  return stored;
}

inline TrendDataDO StoredTrend(TrendParts const& parts)
{
  Bytes const flat = FlatTrend(parts);
  return StoredTrend(parts, flat, TrendDetails(parts, flat));
}

/// The entries that a flat trend holds. Throws std::runtime_error when there is anything wrong with them.
inline std::vector<EntryBytes> EntriesOf(Bytes const& flat)
{
  auto const form = static_cast<compression32_t>(FieldAt<int>(flat, TrendField::kCompression));
  std::size_t const size = FieldAt<unsigned int>(flat, TrendField::kSampleCount) * kTrendEntryBytes;
  Bytes const stored(flat.begin() + kTrendHeaderBytes, flat.end());
  std::optional<Bytes> const raw = form == no_compression ? stored : Decoded(stored, form, size);
  if (!raw || raw->size() != size)
    throw std::runtime_error("no whole entries");
  return Split(*raw);
}

#include "signalprocessing/io/file/TrendRecord.h"

#include "platform/Compression.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/Trend.h"
#include "support/Expectations.h"
#include "support/PlatformErrors.h"
#include "support/TrendRecords.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{
using HeaderPointer = std::unique_ptr<trend_header_t>;
using BytesPointer = std::unique_ptr<Bytes>;

/// A header in which every byte is another one: the byte at offset n is n + 1.
Bytes CountingHeader()
{
  Bytes bytes(kTrendHeaderBytes);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<unsigned char>(i + 1);
  return bytes;
}

HeaderPointer HeaderFrom(Bytes const& data) { return HeaderPointer(Trend::VectorToTrend(data)); }

trend_header_t HeaderWith(compression32_t form, unsigned int sampleCount, unsigned int byteCount)
{
  trend_header_t header{};
  header.Compression = form;
  header.SampleCount = sampleCount;
  header.DataArrayByteCount = byteCount;
  return header;
}

Trend EmptyTrend() { return Trend(CountingUuid(1), CountingUuid(2), CountingUuid(3), "g", 0.25); }

Trend TrendOf(std::vector<EntryBytes> const& entries, compression32_t form = no_compression)
{
  Trend trend = EmptyTrend();
  for (EntryBytes const& entry : entries)
    trend.AddTrendEntry(ToEntry(entry), true);
  trend.SetCompression(form);
  return trend;
}

Bytes Compressed(Trend const& trend)
{
  int size = -1;
  std::unique_ptr<unsigned char[]> const stream(trend.CompressData(size));
  return Bytes(stream.get(), stream.get() + size);
}

std::vector<EntryBytes> SomeEntries(std::size_t count)
{
  std::vector<EntryBytes> entries;
  for (std::size_t i = 0; i < count; ++i)
    entries.push_back(MarkedEntry(static_cast<long long>(1000 + 10 * i), static_cast<unsigned char>(i % 5),
                                  static_cast<unsigned int>(i)));
  return entries;
}

void ExpectUnknownCompression(int number, char const* text)
{
  SCOPED_TRACE(number);
  Trend const trend = TrendOf(SomeEntries(2), static_cast<compression32_t>(number));
  int size = 77;
  ExpectThrow<TrendException>([&] { std::unique_ptr<unsigned char[]>(trend.CompressData(size)); }, text, kTrendUnit);
  EXPECT_EQ(size, 77);
}
} // namespace

TEST(TrendRecord, HandWrittenBytesAppearInTheHeader)
{
  Bytes const bytes = CountingHeader();
  trend_header_t header;
  std::memcpy(&header, bytes.data(), sizeof(header));
  EXPECT_EQ(header.BinaryHeaderVersion, 0x0201);
  EXPECT_EQ(header.HeaderSize, 0x0403);
  EXPECT_EQ(static_cast<int>(header.Compression), 0x08070605);
  EXPECT_EQ(header.CharacteristicValueConfigUuid[0], 9);
  EXPECT_EQ(header.CharacteristicValueConfigUuid[15], 24);
  EXPECT_EQ(header.TrendUuid[0], 25);
  EXPECT_EQ(header.TrendUuid[15], 40);
  EXPECT_EQ(header.FirstTimeStamp, 0x302F2E2D2C2B2A29);
  EXPECT_EQ(header.LastTimeStamp, 0x3837363534333231);
  EXPECT_EQ(header.UnitUuid[0], 57);
  EXPECT_EQ(header.UnitUuid[15], 72);
  std::uint64_t level = 0;
  std::memcpy(&level, &header.LowerPreAlarmLevel, sizeof(level));
  EXPECT_EQ(level, 0x504F4E4D4C4B4A49U);
  EXPECT_EQ(header.SampleCount, 0x54535251U);
  EXPECT_EQ(header.DataArrayByteCount, 0x58575655U);
  EXPECT_EQ(header.Reserved, 0x5C5B5A59U);
  EXPECT_EQ(header.DataChecksum, 0x5E5D);
  EXPECT_EQ(header.HeaderChecksum, 0x605F);
  EXPECT_EQ(sizeof(trend_header_t), 96U);
}

TEST(TrendRecord, HandWrittenBytesAppearInTheEntry)
{
  EntryBytes bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<unsigned char>(i + 1);
  trend_entry_t const entry = ToEntry(bytes);
  EXPECT_EQ(entry.TimeStamp, 0x0807060504030201);
  std::uint64_t value = 0;
  std::memcpy(&value, &entry.Value, sizeof(value));
  EXPECT_EQ(value, 0x100F0E0D0C0B0A09U);
  std::uint32_t aux = 0;
  std::memcpy(&aux, &entry.AuxFloat1, sizeof(aux));
  EXPECT_EQ(aux, 0x14131211U);
  std::memcpy(&aux, &entry.AuxFloat2, sizeof(aux));
  EXPECT_EQ(aux, 0x18171615U);
  EXPECT_EQ(entry.AuxByte, 25);
  EXPECT_EQ(entry.Status, 26);
  std::memcpy(&aux, &entry.AuxFloat3, sizeof(aux));
  EXPECT_EQ(aux, 0x201F1E1DU);
  EXPECT_EQ(sizeof(trend_entry_t), 32U);
}

TEST(TrendRecord, ValueInitialisedEntryIsAllZeros) { EXPECT_EQ(ToBytes(trend_entry_t{}), EntryBytes{}); }

TEST(TrendRecordFromVector, HeaderIsACopyOfTheFirst96Bytes)
{
  Bytes bytes = CountingHeader();
  SetField<unsigned int>(bytes, TrendField::kDataArrayByteCount, 5);
  Bytes data = bytes;
  data.insert(data.end(), {1, 2, 3, 4, 5});
  HeaderPointer const header = HeaderFrom(data);
  EXPECT_EQ(std::memcmp(header.get(), bytes.data(), kTrendHeaderBytes), 0);
}

TEST(TrendRecordFromVector, HeaderAloneWithoutDataIsAccepted)
{
  Bytes const data(kTrendHeaderBytes);
  HeaderPointer const header = HeaderFrom(data);
  EXPECT_EQ(header->DataArrayByteCount, 0U);
}

TEST(TrendRecordFromVector, EveryVectorShorterThanTheHeaderIsRefused)
{
  for (std::size_t size = 0; size < kTrendHeaderBytes; ++size)
    ExpectThrow<TrendException>(
        [&] { HeaderFrom(Bytes(size)); },
        "Trend header incomplete: actual " + std::to_string(size) + " bytes, expected 96 bytes!", kTrendUnit);
}

TEST(TrendRecordFromVector, OneByteTooFewReportsBothSizes)
{
  Bytes data(kTrendHeaderBytes + 63);
  SetField<unsigned int>(data, TrendField::kDataArrayByteCount, 64);
  ExpectThrow<TrendException>([&] { HeaderFrom(data); }, "Wrong trend data size: actual 63 bytes, expected 64 bytes!",
                              kTrendUnit);
}

TEST(TrendRecordFromVector, MoreDataThanAnnouncedReportsBothSizes)
{
  Bytes data(kTrendHeaderBytes + 64);
  SetField<unsigned int>(data, TrendField::kDataArrayByteCount, 32);
  ExpectThrow<TrendException>([&] { HeaderFrom(data); }, "Wrong trend data size: actual 64 bytes, expected 32 bytes!",
                              kTrendUnit);
}

TEST(TrendRecordFromVector, HugeByteCountIsRefusedAndPrintedAsALong)
{
  for (unsigned int const count : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFA0U, 0xFFFFFFFFU})
  {
    Bytes data(kTrendHeaderBytes);
    SetField(data, TrendField::kDataArrayByteCount, count);
    ExpectThrow<TrendException>([&] { HeaderFrom(data); },
                                "Wrong trend data size: actual 0 bytes, expected " +
                                    std::to_string(static_cast<long>(count)) + " bytes!",
                                kTrendUnit);
  }
}

TEST(TrendRecordFromVector, VersionHeaderSizeCountsAndChecksumsAreNotLookedAt)
{
  TrendParts parts;
  parts.entries = SomeEntries(2);
  Bytes const valid = FlatTrend(parts);
  for (std::size_t offset = 0; offset < kTrendHeaderBytes; ++offset)
    if (offset < TrendField::kDataArrayByteCount || offset >= TrendField::kReserved)
    {
      Bytes changed = valid;
      changed[offset] = static_cast<unsigned char>(~changed[offset]);
      HeaderPointer const header = HeaderFrom(changed);
      EXPECT_EQ(std::memcmp(header.get(), changed.data(), kTrendHeaderBytes), 0) << offset;
    }
}

TEST(TrendRecordToVector, IsTheHeaderFollowedByTheData)
{
  Bytes bytes = CountingHeader();
  SetField<unsigned int>(bytes, TrendField::kDataArrayByteCount, 3);
  trend_header_t header;
  std::memcpy(&header, bytes.data(), sizeof(header));
  Bytes const data = {7, 8, 9, 10};
  BytesPointer const flat(Trend::TrendToVector(header, data.data()));
  bytes.insert(bytes.end(), {7, 8, 9});
  EXPECT_EQ(*flat, bytes);
}

TEST(TrendRecordToVector, NullDataGivesZeros)
{
  trend_header_t const header = HeaderWith(no_compression, 1, 32);
  BytesPointer const flat(Trend::TrendToVector(header, nullptr));
  ASSERT_EQ(flat->size(), kTrendHeaderBytes + 32);
  EXPECT_EQ(std::memcmp(flat->data(), &header, kTrendHeaderBytes), 0);
  EXPECT_EQ(Bytes(flat->begin() + kTrendHeaderBytes, flat->end()), Bytes(32));
}

TEST(TrendRecordToVector, NoDataGivesTheHeaderAlone)
{
  trend_header_t const header = HeaderWith(zlib, 9, 0);
  unsigned char const unread = 1;
  for (void const* const data : {static_cast<void const*>(nullptr), static_cast<void const*>(&unread)})
    EXPECT_EQ(BytesPointer(Trend::TrendToVector(header, data))->size(), kTrendHeaderBytes);
}

TEST(TrendRecordToVector, ReadBackGivesTheSameHeader)
{
  trend_header_t const header = HeaderWith(gzip, 4, 17);
  BytesPointer const flat(Trend::TrendToVector(header, nullptr));
  EXPECT_EQ(std::memcmp(HeaderFrom(*flat).get(), &header, sizeof(header)), 0);
}

TEST(TrendRecordCompression, StreamHoldsAllEntriesWithTheirGaps)
{
  for (compression32_t const form : {zlib, gzip})
    for (std::size_t const count : {1U, 2U, 100U})
    {
      std::vector<EntryBytes> const entries = SomeEntries(count);
      Bytes const stream = Compressed(TrendOf(entries, form));
      EXPECT_EQ(Decoded(stream, form, count * kTrendEntryBytes), Joined(entries)) << form << ", " << count;
    }
}

TEST(TrendRecordCompression, StreamsStartAsTheirFormatsDo)
{
  Bytes const zlibStream = Compressed(TrendOf(SomeEntries(3), zlib));
  EXPECT_EQ(zlibStream.at(0), 0x78);
  EXPECT_EQ((zlibStream.at(0) * 256 + zlibStream.at(1)) % 31, 0);
  Bytes const gzipStream = Compressed(TrendOf(SomeEntries(3), gzip));
  EXPECT_EQ(gzipStream.at(0), 0x1F);
  EXPECT_EQ(gzipStream.at(1), 0x8B);
}

TEST(TrendRecordCompression, NoEntriesGiveAWholeStreamOfNothing)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes const stream = Compressed(TrendOf({}, form));
    EXPECT_FALSE(stream.empty());
    EXPECT_EQ(Decoded(stream, form, 0), Bytes()) << form;
  }
}

TEST(TrendRecordCompression, UncompressedTrendHasNoStream) { ExpectUnknownCompression(1, "Unknown compression: 1!"); }

TEST(TrendRecordCompression, OtherMethodsAreRefused)
{
  ExpectUnknownCompression(3, "Unknown compression: 3!");
  ExpectUnknownCompression(0, "Unknown compression: 0!");
  ExpectUnknownCompression(5, "Unknown compression: 5!");
  ExpectUnknownCompression(-1, "Unknown compression: -1!");
  ExpectUnknownCompression(2147483647, "Unknown compression: 2147483647!");
}

TEST(TrendRecordCompression, CompressingLeavesTheTrendAsItWas)
{
  Trend const trend = TrendOf(SomeEntries(4), zlib);
  Trend const before = trend;
  Compressed(trend);
  EXPECT_TRUE(trend == before);
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), SomeEntries(4));
}

TEST(TrendRecordUncompression, EveryFormGivesTheEntriesBack)
{
  for (compression32_t const form : kStorageForms)
    for (std::size_t const count : {0U, 1U, 5U})
    {
      std::vector<EntryBytes> const entries = SomeEntries(count);
      Bytes stored = Stored(Joined(entries), form);
      trend_header_t const header =
          HeaderWith(form, static_cast<unsigned int>(count), static_cast<unsigned int>(stored.size()));
      Trend trend = EmptyTrend();
      trend.UncompressData(stored.data(), &header);
      EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), entries) << form << ", " << count;
    }
}

TEST(TrendRecordUncompression, ReplacesOnlyTheEntries)
{
  std::vector<EntryBytes> const entries = SomeEntries(2);
  Bytes const stored = Stored(Joined(entries), gzip);
  trend_header_t const header = HeaderWith(gzip, 2, static_cast<unsigned int>(stored.size()));
  Trend trend = TrendOf(EntriesAt({1, 2, 3, 4, 5}), zlib);
  Trend const before = trend;
  trend.UncompressData(stored.data(), &header);
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), entries);
  EXPECT_EQ(trend.GetCompression(), zlib);
  EXPECT_EQ(trend.GetFirstTimeStamp(), 1);
  EXPECT_EQ(trend.GetLastTimeStamp(), 5);
  EXPECT_EQ(trend.GetTrendUuid(), before.GetTrendUuid());
}

TEST(TrendRecordUncompression, RawEntriesAreCountedByTheSampleCount)
{
  std::vector<EntryBytes> const entries = SomeEntries(3);
  Bytes const stored = Joined(entries);
  trend_header_t const header = HeaderWith(no_compression, 2, 0);
  Trend trend = EmptyTrend();
  trend.UncompressData(stored.data(), &header);
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), std::vector(entries.begin(), entries.begin() + 2));
}

TEST(TrendRecordUncompression, MoreEntriesThanBytesCanBeCountedAreRefusedBeforeTheResize)
{
  // 2^32 - 1 bytes hold 134217727 entries of 32 bytes.
  for (compression32_t const method : {no_compression, zlib, gzip})
  {
    trend_header_t const header = HeaderWith(method, 134217728, 0);
    Trend trend = TrendOf(SomeEntries(2));
    ExpectThrow<TrendException>([&] { trend.UncompressData(nullptr, &header); },
                                "Support for more than 134217727 trend entries not implemented!", kTrendUnit);
    EXPECT_EQ(trend.GetNumberOfEntries(), 2U);
  }
}

TEST(TrendRecordUncompression, UnknownMethodsAreRefusedAfterTheResize)
{
  for (auto const& [number, text] : std::vector<std::pair<int, std::string>>{{3, "Unknown compression: 3!"},
                                                                             {0, "Unknown compression: 0!"},
                                                                             {5, "Unknown compression: 5!"},
                                                                             {-7, "Unknown compression: -7!"}})
  {
    trend_header_t const header = HeaderWith(static_cast<compression32_t>(number), 4, 0);
    Trend trend = TrendOf(SomeEntries(2));
    ExpectThrow<TrendException>([&] { trend.UncompressData(nullptr, &header); }, text, kTrendUnit);
    EXPECT_EQ(trend.GetNumberOfEntries(), 4U);
    EXPECT_EQ(ToBytes(trend.GetTrendEntry(1)), SomeEntries(2)[1]);
    EXPECT_EQ(ToBytes(trend.GetTrendEntry(3)), EntryBytes{});
  }
}

TEST(TrendRecordUncompression, StreamOfTheWrongLengthIsTheCodecsError)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes const stored = Stored(Joined(SomeEntries(3)), form);
    for (unsigned int const announced : {0U, 2U, 4U})
    {
      trend_header_t const header = HeaderWith(form, announced, static_cast<unsigned int>(stored.size()));
      Trend trend = EmptyTrend();
      EXPECT_TRUE(Refuses<CompressionException>([&] { trend.UncompressData(stored.data(), &header); })) << announced;
      EXPECT_EQ(trend.GetNumberOfEntries(), announced);
    }
  }
}

TEST(TrendRecordUncompression, CutStreamIsTheCodecsError)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes const stored = Stored(Joined(SomeEntries(3)), form);
    for (std::size_t size = 0; size < stored.size(); ++size)
    {
      // A block of its own, so that a read behind its end is seen.
      Bytes const cut(stored.begin(), stored.begin() + static_cast<std::ptrdiff_t>(size));
      trend_header_t const header = HeaderWith(form, 3, static_cast<unsigned int>(size));
      Trend trend = EmptyTrend();
      EXPECT_TRUE(Refuses<CompressionException>([&] { trend.UncompressData(cut.data(), &header); })) << size;
    }
  }
}

TEST(TrendRecordUncompression, BytesBehindTheStreamAreIgnored)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Bytes stored = Stored(Joined(SomeEntries(3)), form);
    stored.insert(stored.end(), {1, 2, 3});
    trend_header_t const header = HeaderWith(form, 3, static_cast<unsigned int>(stored.size()));
    Trend trend = EmptyTrend();
    trend.UncompressData(stored.data(), &header);
    EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), SomeEntries(3));
  }
}

TEST(TrendRecordUncompression, WhatWasCompressedComesBack)
{
  for (compression32_t const form : {zlib, gzip})
  {
    Trend const trend = TrendOf(SomeEntries(50), form);
    Bytes const stream = Compressed(trend);
    trend_header_t const header = HeaderWith(form, 50, static_cast<unsigned int>(stream.size()));
    Trend other = EmptyTrend();
    other.UncompressData(stream.data(), &header);
    EXPECT_EQ(AllBytes(other.GetTrendEntryVector()), SomeEntries(50)) << form;
  }
}

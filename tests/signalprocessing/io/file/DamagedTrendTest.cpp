#include "signalprocessing/io/file/Trend.h"
#include "support/TrendExamination.h"
#include "support/TrendRecords.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// Stored trends that are cut, damaged or lie about themselves: each is refused with the reason that applies, or gives a
// trend whose every operation works on the entries that are there.

namespace
{
/// Every value of a header byte is tried natively, every fifth, other ones for each byte, where an exception costs ten
/// times as much: under sanitizers and in emulation.
#ifdef QEN_IS_SLOW
constexpr unsigned int kValueStep = 5;
#else
constexpr unsigned int kValueStep = 1;
#endif

TrendParts SomeParts(compression32_t form)
{
  TrendParts parts;
  parts.form = form;
  parts.entries = {MarkedEntry(1000, 1, 1), MarkedEntry(2000, 2, 2), MarkedEntry(3000, 3, 3)};
  return parts;
}

/// The parts of the trend that a readable flat trend gives.
TrendParts ExpectedParts(Bytes const& flat, std::vector<EntryBytes> const& entries)
{
  TrendParts parts = SomeParts(static_cast<compression32_t>(FieldAt<int>(flat, TrendField::kCompression)));
  parts.unitUuid.SetPlainUuid(flat.data() + TrendField::kUnitUuid);
  parts.limit = FieldAt<double>(flat, TrendField::kLowerPreAlarmLevel);
  parts.firstColumn = parts.First();
  parts.lastColumn = parts.Last();
  parts.entries = entries;
  return parts;
}

void ReadAndOperate(Bytes const& flat, bool thoroughly, std::string const& what)
{
  SCOPED_TRACE(what);
  TrendReading const expected = ExpectedTrendReading(flat);
  TrendParts const parts = SomeParts(no_compression);
  std::unique_ptr<Trend> trend;
  EXPECT_EQ(TrendEndOf(
                [&]
                {
                  trend = std::make_unique<Trend>(StoredTrend(
                      parts, flat,
                      "<vel:TrendDataDetails><vel:Signal><vel:HeaderInfo><vel:UnitString>mm/s</vel:UnitString>"
                      "</vel:HeaderInfo></vel:Signal></vel:TrendDataDetails>"));
                }),
            expected.failure);
  if (!trend || !expected.failure.empty())
    return;
  TrendParts const read = ExpectedParts(flat, expected.entries);
  ExpectTrendParts(*trend, read);
  if (!thoroughly)
    return;
  OperateOnTrend(*trend, read);
  StoreTrendAndReadBack(*trend, read);
}

/// One parameter for each stored form.
class DamagedTrend : public testing::TestWithParam<compression32_t>
{
};

std::string FormName(testing::TestParamInfo<compression32_t> const& info) { return CompressionName(info.param); }
} // namespace

TEST_P(DamagedTrend, EveryTruncationIsRefused)
{
  Bytes const flat = FlatTrend(SomeParts(GetParam()));
  for (std::size_t size = 0; size < flat.size(); ++size)
  {
    Bytes const cut(flat.begin(), flat.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_NE(ExpectedTrendReading(cut).failure, "");
    ReadAndOperate(cut, true, std::to_string(size));
  }
}

TEST_P(DamagedTrend, TruncationThatTheHeaderAdmitsIsRefusedOrGivesTheRest)
{
  Bytes const flat = FlatTrend(SomeParts(GetParam()));
  for (std::size_t size = 0; size + kTrendHeaderBytes < flat.size(); ++size)
    for (unsigned int count = 0; count <= 3; ++count)
    {
      Bytes cut(flat.begin(), flat.begin() + static_cast<std::ptrdiff_t>(kTrendHeaderBytes + size));
      SetField(cut, TrendField::kDataArrayByteCount, static_cast<unsigned int>(size));
      SetField(cut, TrendField::kSampleCount, count);
      ReadAndOperate(cut, true, std::to_string(size) + ", " + std::to_string(count));
    }
}

TEST_P(DamagedTrend, BytesBehindTheDataAreRefused)
{
  Bytes flat = FlatTrend(SomeParts(GetParam()));
  for (int i = 0; i < 64; ++i)
  {
    flat.push_back(static_cast<unsigned char>(i));
    ASSERT_NE(ExpectedTrendReading(flat).failure, "");
    ReadAndOperate(flat, true, std::to_string(i));
  }
}

TEST_P(DamagedTrend, EveryValueOfEveryHeaderByteIsRefusedOrWorks)
{
  Bytes const valid = FlatTrend(SomeParts(GetParam()));
  for (std::size_t offset = 0; offset < kTrendHeaderBytes && !HasFailure(); ++offset)
    for (unsigned int value = static_cast<unsigned int>(offset) % kValueStep; value < 256; value += kValueStep)
    {
      Bytes flat = valid;
      flat[offset] = static_cast<unsigned char>(value);
      bool const decides = (offset >= TrendField::kCompression && offset < TrendField::kCompression + 4) ||
                           (offset >= TrendField::kLowerPreAlarmLevel && offset < TrendField::kReserved);
      ReadAndOperate(flat, decides && value % 16 == 15, std::to_string(offset) + " set to " + std::to_string(value));
    }
}

TEST_P(DamagedTrend, EveryChangedDataByteIsRefusedOrWorks)
{
  Bytes const valid = FlatTrend(SomeParts(GetParam()));
  for (std::size_t offset = kTrendHeaderBytes; offset < valid.size() && !HasFailure(); ++offset)
    for (unsigned int const change : {1U, 0x80U, 0xFFU})
    {
      Bytes flat = valid;
      flat[offset] = static_cast<unsigned char>(flat[offset] ^ change);
      TrendReading const reading = ExpectedTrendReading(flat);
      if (GetParam() != no_compression)
      {
        SCOPED_TRACE(offset);
        EXPECT_EQ(TrendEndOf([&] { Trend{StoredTrend(SomeParts(GetParam()), flat, "")}; }), reading.failure);
        continue;
      }
      Trend const trend(StoredTrend(SomeParts(GetParam()), flat, ""));
      EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), reading.entries);
    }
}

TEST_P(DamagedTrend, CountsThatLieAreRefusedOrWork)
{
  Bytes const valid = FlatTrend(SomeParts(GetParam()));
  unsigned int const size = FieldAt<unsigned int>(valid, TrendField::kDataArrayByteCount);
  for (unsigned int const count :
       {0U, 1U, 2U, 3U, 4U, 5U, 0x7FFFU, 0x8000U, 0xFFFFU, 0x10000U, 0x07FFFFFFU, 0x08000000U, 0x08000001U, 0x08000003U,
        0x7FFFFFFFU, 0x80000000U, 0x80000003U, 0xFFFFFFFFU})
    for (unsigned int const byteCount : {0U, 1U, size - 1, size, size + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
    {
      Bytes flat = valid;
      SetField(flat, TrendField::kSampleCount, count);
      SetField(flat, TrendField::kDataArrayByteCount, byteCount);
      ReadAndOperate(flat, true, std::to_string(count) + ", " + std::to_string(byteCount));
    }
}

TEST_P(DamagedTrend, FourBillionEntriesAreRefusedWithoutRoomForThem)
{
  Bytes flat = FlatTrend(SomeParts(GetParam()));
  SetField(flat, TrendField::kSampleCount, 0xFFFFFFFFU);
  EXPECT_EQ(TrendEndOf([&] { Trend{StoredTrend(SomeParts(GetParam()), flat, "")}; }),
            WrongTrendSize(flat.size() - kTrendHeaderBytes, 0xFFFFFFFFLL * 32));
}

INSTANTIATE_TEST_SUITE_P(Forms, DamagedTrend, testing::ValuesIn(kStorageForms), FormName);

TEST(DamagedTrendStream, MayNotAnnounceMoreThanDeflateCanExpand)
{
  for (compression32_t const form : {zlib, gzip})
    for (unsigned int const size : {0U, 1U, 2U, 31U, 62U, 1000U})
    {
      Bytes flat = FlatTrend(SomeParts(form), Bytes(size));
      unsigned long long const most = (1032ULL * size + 64) / 32;
      SetField(flat, TrendField::kSampleCount, static_cast<unsigned int>(most));
      EXPECT_EQ(TrendEndOf([&] { Trend{StoredTrend(SomeParts(form), flat, "")}; }), kTrendCodecFailure) << size;
      SetField(flat, TrendField::kSampleCount, static_cast<unsigned int>(most + 1));
      EXPECT_EQ(TrendEndOf([&] { Trend{StoredTrend(SomeParts(form), flat, "")}; }),
                WrongTrendSize(size, static_cast<long long>(32 * (most + 1))))
          << size;
    }
}

TEST(DamagedTrendStream, MayExpandAsFarAsDeflateCan)
{
  // A megabyte of zeros is about as small as a stream can get.
  TrendParts parts;
  parts.entries.resize(32768);
  for (compression32_t const form : {zlib, gzip})
  {
    parts.form = form;
    Bytes const flat = FlatTrend(parts);
    EXPECT_LT(flat.size(), 1200U);
    Trend const trend(StoredTrend(parts, flat, ""));
    EXPECT_EQ(trend.GetNumberOfEntries(), 32768U);
    EXPECT_EQ(ToBytes(trend.GetTrendEntryVector().back()), EntryBytes{});
  }
}

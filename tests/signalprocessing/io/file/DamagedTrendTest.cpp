#include "platform/Compression.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/ShrinkRun.h"
#include "support/TrendRecords.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

// Stored trends that are cut, damaged or lie about themselves: each is refused with the reason that applies, or gives a
// trend whose every operation works on the entries that are there.

namespace
{
/// Every value of a header byte is tried natively, every fifth, other ones for each byte, where an exception costs ten
/// times as much: under sanitizers and in emulation.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
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

std::string Failure(std::string const& message) { return "TrendException \"" + message + "\" in Trend.cpp"; }
std::string const kCodecFailure = "CompressionException";

template <class T>
std::string WrongSize(T there, long long needed)
{
  return Failure("Wrong trend data size: actual " + std::to_string(static_cast<unsigned long>(there)) +
                 " bytes, expected " + std::to_string(static_cast<long>(needed)) + " bytes!");
}

/// How an operation ended: empty when it threw nothing. The texts of the codec are free.
template <class F>
std::string EndOf(F&& operation)
{
  try
  {
    operation();
    return "";
  }
  catch (VelmoraException const& failure)
  {
    if (typeid(failure) == typeid(CompressionException))
      return kCodecFailure;
    return (typeid(failure) == typeid(TrendException) ? failure.getClassName() : typeid(failure).name()) +
           std::string(" \"") + failure.what() + "\" in " + failure.getFile();
  }
  catch (std::exception const& failure)
  {
    return typeid(failure).name();
  }
}

/// What reading a flat trend has to give: a failure or entries.
struct Reading
{
  std::string failure;
  std::vector<EntryBytes> entries;
};

Reading ExpectedReading(Bytes const& flat)
{
  if (flat.size() < kTrendHeaderBytes)
    return {Failure("Trend header incomplete: actual " + std::to_string(flat.size()) + " bytes, expected 96 bytes!"),
            {}};
  unsigned long long const there = flat.size() - kTrendHeaderBytes;
  unsigned int const announced = FieldAt<unsigned int>(flat, TrendField::kDataArrayByteCount);
  if (there != announced)
    return {WrongSize(there, static_cast<long long>(announced)), {}};
  int const form = FieldAt<int>(flat, TrendField::kCompression);
  if (form != no_compression && form != zlib && form != gzip)
    return {Failure("Unknown compression: " + std::to_string(form) + "!"), {}};
  unsigned long long const needed = 32ULL * FieldAt<unsigned int>(flat, TrendField::kSampleCount);
  if (needed > (form == no_compression ? there : 1032 * there + 64))
    return {WrongSize(there, static_cast<long long>(needed)), {}};
  Bytes data(flat.begin() + kTrendHeaderBytes, flat.end());
  if (form == no_compression)
    data.resize(static_cast<std::size_t>(needed));
  else if (std::optional<Bytes> const raw =
               Decoded(data, static_cast<compression32_t>(form), static_cast<std::size_t>(needed)))
    data = *raw;
  else
    return {kCodecFailure, {}};
  return {"", Split(data)};
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

void ExpectParts(Trend const& trend, TrendParts const& parts)
{
  EXPECT_EQ(trend.GetCharacteristicValueConfigUuid(), parts.configUuid);
  EXPECT_EQ(trend.GetCharacteristicValueConfigBaseUuid(), parts.baseUuid);
  EXPECT_EQ(trend.GetTrendUuid(), parts.trendUuid);
  EXPECT_EQ(trend.GetSignalUnitUuid(), parts.unitUuid);
  EXPECT_EQ(trend.GetSignalUnitString(), parts.unitString);
  double const limit = trend.GetLowerPreAlarmLimit();
  EXPECT_EQ(std::memcmp(&limit, &parts.limit, sizeof(limit)), 0);
  EXPECT_EQ(trend.GetFirstTimeStamp(), parts.First());
  EXPECT_EQ(trend.GetLastTimeStamp(), parts.Last());
  EXPECT_EQ(trend.GetCompression(), parts.form);
  EXPECT_EQ(trend.GetNumberOfEntries(), parts.entries.size());
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), parts.entries);
}

/// Stores a trend in each form and reads it back.
void StoreAndReadBack(Trend trend, TrendParts parts)
{
  for (compression32_t const form : kStorageForms)
  {
    trend.SetCompression(form);
    parts.form = form;
    std::unique_ptr<TrendDataDO> const stored(trend.GetTrendDataDO());
    Bytes const& data = stored->getData();
    EXPECT_EQ(data, FlatTrend(parts, Bytes(data.begin() + kTrendHeaderBytes, data.end())));
    EXPECT_EQ(EntriesOf(data), parts.entries);
    TrendParts back = parts;
    back.firstColumn.reset();
    back.lastColumn.reset();
    ExpectParts(Trend(*stored), back);
  }
}

/// Every other operation of a trend.
void Operate(Trend const& trend, TrendParts const& parts)
{
  Trend copy(trend);
  EXPECT_EQ(copy == trend, !std::isnan(parts.limit));
  EXPECT_EQ(ToBytes(trend.GetTrendEntry(static_cast<unsigned int>(parts.entries.size()))).at(EntryField::kStatus), 0);
  EntryBytes const entry = MarkedEntry(5000, 1, 9);
  copy.AddTrendEntry(ToEntry(entry), true);
  copy.AddTrendEntry(ToEntry(entry), false);
  TrendParts longer = parts;
  longer.entries.push_back(entry);
  EXPECT_EQ(AllBytes(copy.GetTrendEntryVector()), longer.entries);
  EXPECT_TRUE(copy.DeleteTrendEntries(LLONG_MIN, LLONG_MAX));
  EXPECT_EQ(copy.GetNumberOfEntries(), 0U);
  Trend const merged = MakeShrinker({}).MergeTrends(trend, trend);
  EXPECT_EQ(merged.GetNumberOfEntries(), 2 * parts.entries.size());
}

void ReadAndOperate(Bytes const& flat, bool thoroughly, std::string const& what)
{
  SCOPED_TRACE(what);
  Reading const expected = ExpectedReading(flat);
  TrendParts const parts = SomeParts(no_compression);
  std::unique_ptr<Trend> trend;
  EXPECT_EQ(EndOf(
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
  ExpectParts(*trend, read);
  if (!thoroughly)
    return;
  Operate(*trend, read);
  StoreAndReadBack(*trend, read);
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
    ASSERT_NE(ExpectedReading(cut).failure, "");
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
    ASSERT_NE(ExpectedReading(flat).failure, "");
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
      Reading const reading = ExpectedReading(flat);
      if (GetParam() != no_compression)
      {
        SCOPED_TRACE(offset);
        EXPECT_EQ(EndOf([&] { Trend{StoredTrend(SomeParts(GetParam()), flat, "")}; }), reading.failure);
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
  EXPECT_EQ(EndOf([&] { Trend{StoredTrend(SomeParts(GetParam()), flat, "")}; }),
            WrongSize(flat.size() - kTrendHeaderBytes, 0xFFFFFFFFLL * 32));
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
      EXPECT_EQ(EndOf([&] { Trend{StoredTrend(SomeParts(form), flat, "")}; }), kCodecFailure) << size;
      SetField(flat, TrendField::kSampleCount, static_cast<unsigned int>(most + 1));
      EXPECT_EQ(EndOf([&] { Trend{StoredTrend(SomeParts(form), flat, "")}; }),
                WrongSize(size, static_cast<long long>(32 * (most + 1))))
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

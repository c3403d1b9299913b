// Trends when memory fails: making, changing, copying and storing them.

#include "failing_memory/CommonScenarios.h"
#include "support/ClassicStream.h"

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{
/// A stored trend of a few entries with a long unit.
TrendParts LongParts(compression32_t form, std::vector<long long> const& times = {10, 20, 30, 40})
{
  TrendParts parts;
  parts.form = form;
  parts.unitString = LongText("unit");
  parts.entries = EntriesAt(times);
  return parts;
}

Trend TrendOf(TrendParts const& parts) { return Trend(StoredTrend(parts)); }

/// A trend that differs from the other one in every part.
TrendParts OtherParts()
{
  TrendParts parts = LongParts(gzip, {100, 200, 300, 400, 500, 600});
  parts.configUuid = CountingUuid(1);
  parts.baseUuid = CountingUuid(2);
  parts.trendUuid = CountingUuid(3);
  parts.unitUuid = CountingUuid(4);
  parts.unitString = LongText("another and longer unit");
  parts.limit = -7;
  return parts;
}

/// A change of a trend, which stays as it was when that fails.
Scenario<Trend> Changing(TrendParts const& parts, std::function<void(Trend&)> change)
{
  return {.make = [parts] { return TrendOf(parts); },
          .act = std::move(change),
          .see = [](Trend& trend) { return Sight::Of(trend); }};
}
} // namespace

TEST(TrendFailingMemory, NewTrendIsMadeWholeOrNotAtAll)
{
  std::string const unit = LongText("unit");
  ExpectEndures(GivingNewTrend([&] { return Trend(CountingUuid(1), CountingUuid(2), CountingUuid(3), unit, 0.5); }));
}

TEST(TrendFailingMemory, StoredTrendIsReadWholeOrNotAtAll)
{
  for (compression32_t const form : kStorageForms)
  {
    TrendDataDO const stored = StoredTrend(LongParts(form));
    ExpectEndures(Giving([&] { return std::make_unique<Trend>(stored); }));
  }
}

TEST(TrendFailingMemory, RefusedTrendIsRefusedOrTheRefusalFindsNoMemory)
{
  TrendParts const parts = LongParts(zlib);
  auto const refuse = [&](auto spoil)
  {
    Bytes flat = FlatTrend(parts);
    spoil(flat);
    TrendDataDO const stored = StoredTrend(parts, flat, TrendDetails(parts, FlatTrend(parts)));
    ExpectEndures(Refusing([&] { Trend{stored}; }));
  };
  refuse([](Bytes& flat) { flat.resize(50); });
  refuse([](Bytes& flat) { flat.pop_back(); });
  refuse([](Bytes& flat) { SetField(flat, TrendField::kCompression, 3); });
  refuse([](Bytes& flat) { SetField(flat, TrendField::kSampleCount, 100000000U); });
  refuse([](Bytes& flat) { flat[flat.size() - 10] ^= 0x55; });
}

TEST(TrendFailingMemory, TrendIsCopiedWholeOrNotAtAll)
{
  Trend const source = TrendOf(LongParts(zlib));
  ExpectEndures(Giving([&] { return std::make_unique<Trend>(source); }));
}

TEST(TrendFailingMemory, TrendThatCannotBeAssignedToStays)
{
  Trend const source = TrendOf(OtherParts());
  ExpectEndures(Changing(LongParts(zlib), [&](Trend& trend) { trend = source; }));
}

TEST(TrendFailingMemory, EntryThatCannotBeAddedLeavesTheOthers)
{
  trend_entry_t const entry = ToEntry(MarkedEntry(50, 2, 9));
  ExpectEndures(Changing(LongParts(no_compression), [&](Trend& trend) { trend.AddTrendEntry(entry, true); }));
  ExpectEndures(Changing(LongParts(no_compression, {}), [&](Trend& trend) { trend.AddTrendEntry(entry, false); }));
}

TEST(TrendFailingMemory, EntriesThatCannotBeAddedLeaveTheOthers)
{
  std::deque<trend_entry_t> const entries = ToDeque(EntriesAt({50, 60, 70}));
  for (std::vector<long long> const& times : {std::vector<long long>{}, std::vector<long long>{10, 20}})
    ExpectEndures(Changing(LongParts(no_compression, times),
                           [&](Trend& trend) { trend.AddTrendEntries(entries.begin(), entries.end()); }));
}

TEST(TrendFailingMemory, ReversedRangeIsRefusedOrTheRefusalFindsNoMemory)
{
  ExpectEndures(Changing(LongParts(zlib), [](Trend& trend) { trend.DeleteTrendEntries(2, 1); }));
}

TEST(TrendFailingMemory, EntriesAreReplacedWithoutMemoryAndDeletedWithoutMemory)
{
  Trend trend = TrendOf(LongParts(no_compression));
  trend_entry_t const entry = ToEntry(MarkedEntry(50, 2, 9));
  ExpectNeedsNoMemory(
      [&]
      {
        trend.AddTrendEntry(entry, false);
        trend.DeleteTrendEntries(15, 25);
        Trend moved(std::move(trend));
        trend = std::move(moved);
        if (trend != trend || trend.GetTrendEntry(2).Status != 2)
          throw 1;
      });
  EXPECT_EQ(TimesOf(AllBytes(trend.GetTrendEntryVector())), (std::vector<long long>{10, 30, 50}));
}

TEST(TrendFailingMemory, HeaderIsMadeOfARecordWholeOrNotAtAll)
{
  Bytes const flat = FlatTrend(LongParts(gzip));
  using Header = std::unique_ptr<trend_header_t>;
  ExpectEndures(Scenario<Header>{.make = [] { return Header(); },
                                 .act = [&](Header& header) { header.reset(Trend::VectorToTrend(flat)); },
                                 .see =
                                     [](Header& header)
                                 {
                                   Bytes bytes(header ? sizeof(trend_header_t) : 0);
                                   if (header)
                                     std::memcpy(bytes.data(), header.get(), bytes.size());
                                   return Sight::Of(bytes);
                                 }});
  ExpectEndures(Refusing([] { Header(Trend::VectorToTrend(Bytes(95))); }));
}

TEST(TrendFailingMemory, RecordIsMadeOfAHeaderWholeOrNotAtAll)
{
  Bytes const flat = FlatTrend(LongParts(no_compression));
  std::unique_ptr<trend_header_t const> const header(Trend::VectorToTrend(flat));
  ExpectEndures(
      Giving([&] { return std::unique_ptr<Bytes>(Trend::TrendToVector(*header, flat.data() + kTrendHeaderBytes)); }));
}

TEST(TrendFailingMemory, EntriesAreCompressedWholeOrNotAtAll)
{
  struct Compressed
  {
    std::unique_ptr<unsigned char[]> stream;
    int size = -7;
  };
  for (compression32_t const form : {zlib, gzip, int24})
  {
    Trend trend = TrendOf(LongParts(no_compression));
    trend.SetCompression(form);
    ExpectEndures(Scenario<Compressed>{
        .make = [] { return Compressed(); },
        .act = [&](Compressed& result) { result.stream.reset(trend.CompressData(result.size)); },
        .see =
            [](Compressed& result)
        {
          Bytes const bytes(result.stream.get(), result.stream.get() + (result.stream ? result.size : 0));
          return Sight::Of(result.size, bytes);
        }});
  }
}

TEST(TrendFailingMemory, FailedUncompressingChangesTheEntriesAndNothingElse)
{
  for (compression32_t const form : kStorageForms)
  {
    Bytes const flat = FlatTrend(LongParts(form, {1, 2, 3, 4, 5, 6, 7, 8}));
    std::unique_ptr<trend_header_t const> const header(Trend::VectorToTrend(flat));
    Scenario<Trend> scenario = Changing(LongParts(no_compression), [&](Trend& trend)
                                        { trend.UncompressData(flat.data() + kTrendHeaderBytes, header.get()); });
    scenario.faultOfFailure = [](Trend& trend, Attempt const& attempt) -> std::string
    {
      if (Sight::Of(trend) == attempt.before)
        return "";
      if (trend.GetNumberOfEntries() != 8)
        return "failed and left neither the old nor the new number of entries";
      // With the old entries in their place all must be as before.
      Trend const before = TrendOf(LongParts(no_compression));
      bool const isSame = trend.GetTrendUuid() == before.GetTrendUuid() &&
                          trend.GetSignalUnitString() == before.GetSignalUnitString() &&
                          trend.GetFirstTimeStamp() == before.GetFirstTimeStamp() &&
                          trend.GetLastTimeStamp() == before.GetLastTimeStamp() &&
                          trend.GetCompression() == before.GetCompression();
      return isSame ? "" : "failed and left more changed than the entries";
    };
    ExpectEndures(scenario);
  }
}

TEST(TrendFailingMemory, CutDetailsShowInTheStreamOrAsAnException)
{
  Trend const trend = TrendOf(LongParts(zlib));
  Bytes const flat = FlatTrend(LongParts(zlib));
  std::unique_ptr<trend_header_t const> const header(Trend::VectorToTrend(flat));
  ExpectEndures(Scenario<std::stringstream>{
      .make = [] { return ClassicStream(); },
      .act =
          [&](std::stringstream& stream)
      {
        trend.GenerateDetails(*header, stream);
        RequireGood(stream);
      },
      .see = [](std::stringstream& stream) { return stream.str(); },
      .faultOfFailure = [](std::stringstream& stream, Attempt const& attempt) -> std::string
      { return attempt.reference.starts_with(stream.str()) ? "" : "document holds what does not belong there"; },
      .rewind =
          [](std::stringstream& stream)
      {
        stream.clear();
        stream.str("");
      }});
}

TEST(TrendFailingMemory, DatabaseObjectIsMadeWholeOrNotAtAll)
{
  for (compression32_t const form : {no_compression, zlib, gzip, int24})
  {
    Trend trend = TrendOf(LongParts(no_compression));
    trend.SetCompression(form);
    ExpectEndures(Giving([&] { return std::unique_ptr<TrendDataDO>(trend.GetTrendDataDO()); }));
  }
}

// Foreign bytes as a stored trend: refused for the reason that applies, or a trend whose every operation does what
// plain lists do.

#include "Examination.h"
#include "TrendForms.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace
{

/// The operations that take bytes by pointer, which end at an unreadable page.
void uncompressAndFlatten(Bytes const& flat, std::vector<EntryBytes> const& entries)
{
  std::unique_ptr<trend_header_t> const header(Trend::VectorToTrend(flat));
  Guarded const data(std::span<std::uint8_t const>(flat).subspan(kTrendHeaderBytes));
  Trend trend(Uuid(), Uuid(), Uuid(), "", 0);
  trend.UncompressData(data.Bytes().data(), header.get());
  EXPECT_EQ(AllBytes(trend.GetTrendEntryVector()), entries);
  std::unique_ptr<Bytes> const again(Trend::TrendToVector(*header, data.Bytes().data()));
  EXPECT_EQ(*again, flat);
}

/// Ranges that begin and end at and beside entries, as the reserved number says.
void deleteRanges(Trend const& trend, TrendParts const& parts, unsigned int choices)
{
  auto const time = [&parts, &choices]
  {
    unsigned int const choice = choices % 64;
    choices /= 64;
    long long const at = parts.entries.empty() ? 0 : TimeOf(parts.entries[choice / 3 % parts.entries.size()]);
    return TrendShrinkingDetail::Plus(at, static_cast<long long>(choice % 3) - 1);
  };
  for (int i = 0; i < 2; ++i)
  {
    Trend copy(trend);
    PlainTrend plain{parts.entries, parts.First(), parts.Last()};
    long long const from = time();
    DeleteAndCompare(copy, plain, from, time());
  }
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> input)
{
  Bytes const flat(input.begin(), input.end());
  TrendReading const expected = ExpectedTrendReading(flat);
  std::unique_ptr<Trend> trend;
  EXPECT_EQ(TrendEndOf([&] { trend = std::make_unique<Trend>(StoredBytes(flat)); }), expected.failure);
  if (trend == nullptr)
    return false;
  TrendParts const parts = PartsOf(flat, expected.entries);
  ExpectTrendParts(*trend, parts);
  uncompressAndFlatten(flat, parts.entries);
  OperateOnTrend(*trend, parts);
  deleteRanges(*trend, parts, FieldAt<unsigned int>(flat, TrendField::kReserved));
  StoreTrendAndReadBack(*trend, parts);
  return true;
}

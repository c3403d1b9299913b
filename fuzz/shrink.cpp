// A whole thinning run over foreign stored trends, with foreign time, settings and characteristic values. One that
// cannot be read refuses the run. What comes out is what the model of the tests says, as far as that comes to its end,
// and always a part of what went in; and the run must end.

#include "ShrinkInput.h"
#include "TrendForms.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace
{
/// What reading the trends has to give: the reason of the first refusal, or all of them.
struct ReadTrends
{
  std::string failure;
  std::vector<TrendParts> parts;

  explicit ReadTrends(std::vector<Bytes> const& trends)
  {
    for (Bytes const& flat : trends)
    {
      TrendReading reading = ExpectedTrendReading(flat);
      failure = reading.failure;
      if (!failure.empty())
        return;
      parts.push_back(PartsOf(flat, std::move(reading.entries)));
    }
  }

  bool HoldEntries() const
  {
    return std::ranges::any_of(parts, [](TrendParts const& trend) { return !trend.entries.empty(); });
  }
};

/// Whether the model, which walks every slot of every period from the oldest time stamp to now, comes to its end soon.
bool isSoonWalked(ShrinkInput const& input, std::vector<TrendParts> const& trends)
{
  using TrendShrinkingDetail::kHour;
  using TrendShrinkingDetail::Minus;
  constexpr long long kMostSlots = 100000;
  ShrinkSettings const& settings = input.settings;
  long long const largest = std::max({settings.perHourOlderThanOneHour, settings.perDayOlderThanOneDay,
                                      settings.perDayOlderThanOneWeek, settings.perDayOlderThanFourWeeks, 1U});
  long long oldest = input.now;
  for (TrendParts const& trend : trends)
  {
    oldest = std::min(oldest, trend.First());
    for (EntryBytes const& entry : trend.entries)
      oldest = std::min(oldest, TimeOf(entry));
  }
  return largest <= kMostSlots && Minus(input.now, oldest) / kHour <= kMostSlots / largest;
}

void requirePart(ShrinkOutput const& output, std::vector<TrendParts> const& trends, unsigned int maxSize)
{
  std::multiset<EntryBytes> entries;
  for (TrendParts const& trend : trends)
    entries.insert(trend.entries.begin(), trend.entries.end());
  for (std::unique_ptr<TrendDataDO> const& survivor : output)
  {
    EXPECT_TRUE(survivor->getClosed());
    std::vector<EntryBytes> const survivors = EntriesOf(survivor->getData());
    EXPECT_TRUE(!survivors.empty() && survivors.size() <= maxSize);
    for (EntryBytes const& entry : survivors)
    {
      auto const found = entries.find(entry);
      ASSERT_NE(found, entries.end());
      entries.erase(found);
    }
  }
}

void compare(ShrinkInput const& input, std::vector<TrendParts> const& trends, ShrinkOutput const& output)
{
  requirePart(output, trends, input.settings.maxSize);
  // The run expects values in ascending order; of trends and entries it takes any.
  if (!std::ranges::is_sorted(input.values) || !isSoonWalked(input, trends))
    return;
  TrendShrinkingModel model(input.settings, input.now);
  model.Run(trends, input.values);
  EXPECT_EQ(FaultOf(output, model.Results(), trends), "");
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  ShrinkInput const input(bytes);
  std::vector<TrendDataDO> stored;
  for (Bytes const& flat : input.trends)
    stored.push_back(StoredBytes(flat));
  std::vector<CharacteristicValueDataDO> const values = ValuesAt(input.values);
  TrendShrinker shrinker = MakeShrinker(input.settings);

  ReadTrends const read(input.trends);
  ShrinkOutput output;
  std::string const end = TrendEndOf([&] { output = shrinker.ShrinkTrendsOrThrow(input.now, stored, values); });
  bool const isRefused = !stored.empty() && input.settings.maxSize == 0;
  std::string const refusal = "TrendException \"Maximum trend size must not be 0!\" in TrendShrinker.cpp";
  EXPECT_EQ(end, isRefused ? refusal : read.failure);
  EXPECT_EQ(Owned(shrinker.ShrinkTrends(input.now, stored, values)).size(), output.size());
  if (!end.empty())
    return false;
  compare(input, read.parts, output);
  return read.HoldEntries();
}

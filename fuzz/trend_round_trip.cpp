// Writes, reads back and compares: the input says how a trend is made, changed, stored in a database object and taken
// out again, beside a plain list of entries that goes through the same.

#include "Examination.h"
#include "TrendForms.h"

#include <algorithm>
#include <array>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{
using Fuzzing::Input;

/// Ascending in small steps of any unit, now and then any time.
long long takeTime(Input& input, long long last)
{
  auto const kind = input.Take<std::uint8_t>();
  if (kind >= 250)
    return kind == 255 ? input.Take<long long>() : 0;
  constexpr std::array<long long, 4> kUnits{1, 1000000, 3600000000, 86400000000};
  return TrendShrinkingDetail::Plus(last, kUnits.at(kind % 4) * (kind / 4));
}

EntryBytes takeEntry(Input& input, long long& time)
{
  EntryBytes entry = MarkedEntry(time = takeTime(input, time), input.Take<std::uint8_t>(), 0);
  // Only some entries differ in all bytes, so that there are streams worth compressing.
  if (input.Below(4) == 0)
    std::ranges::copy(input.TakeBytes(16), entry.begin() + EntryField::kValue);
  return entry;
}

class RoundTrip
{
public:
  explicit RoundTrip(Input& input) : input_(input), trend_(makeTrend(input, parts_)), plain_{{}, 0, 0} {}

  /// Whether it was stored and read back at all.
  bool Run()
  {
    while (!input_.IsEmpty() && plain_.entries.size() < 10000)
    {
      step();
      ExpectEntries(trend_, plain_);
    }
    storeAndReadBack();
    return !plain_.entries.empty();
  }

private:
  static Trend makeTrend(Input& input, TrendParts& parts)
  {
    parts.limit = input.Take<double>();
    parts.unitString = std::string(input.Below(8), 'u');
    Trend trend(parts.configUuid, parts.baseUuid, parts.unitUuid, parts.unitString, parts.limit);
    parts.trendUuid = trend.GetTrendUuid();
    return trend;
  }

  void step()
  {
    switch (input_.Below(16))
    {
    case 0:
      storeAndReadBack();
      break;
    case 1:
    case 2:
      remove();
      break;
    case 3:
      replaceLast();
      break;
    case 4:
      copyAround();
      break;
    case 5:
    case 6:
      addMany();
      break;
    default:
      append();
    }
  }

  void append()
  {
    EntryBytes const entry = takeEntry(input_, time_);
    trend_.AddTrendEntry(ToEntry(entry), true);
    plain_.Add(entry, true);
  }

  void replaceLast()
  {
    EntryBytes const entry = takeEntry(input_, time_);
    trend_.AddTrendEntry(ToEntry(entry), false);
    plain_.Add(entry, false);
  }

  void addMany()
  {
    std::vector<EntryBytes> entries(input_.Below(40));
    for (EntryBytes& entry : entries)
      entry = takeEntry(input_, time_);
    std::deque<trend_entry_t> const added = ToDeque(entries);
    trend_.AddTrendEntries(added.begin(), added.end());
    plain_.Add(entries);
  }

  /// A range that begins and ends at or near entries.
  void remove()
  {
    auto const near = [this]
    {
      std::size_t const index = input_.Take<std::uint8_t>();
      long long const at = plain_.entries.empty() ? time_ : TimeOf(plain_.entries[index % plain_.entries.size()]);
      return TrendShrinkingDetail::Plus(at, static_cast<long long>(input_.Below(3)) - 1);
    };
    long long const from = near();
    DeleteAndCompare(trend_, plain_, from, near());
  }

  /// Copies are the same and stand for themselves.
  void copyAround()
  {
    Trend copy(trend_);
    Trend other(Uuid(), Uuid(), Uuid(), "", 0);
    other = copy;
    copy.AddTrendEntry(trend_.GetTrendEntry(0), true);
    ExpectEntries(trend_, plain_);
    trend_ = std::move(other);
  }

  void storeAndReadBack()
  {
    parts_.form = kStorageForms.at(input_.Below(kStorageForms.size()));
    parts_.entries = plain_.entries;
    trend_.SetCompression(parts_.form);
    std::unique_ptr<TrendDataDO> const stored(trend_.GetTrendDataDO());
    Bytes const& data = stored->getData();
    EXPECT_EQ(data, FlatTrend(parts_, Bytes(data.begin() + kTrendHeaderBytes, data.end())));
    EXPECT_EQ(EntriesOf(data), plain_.entries);
    EXPECT_EQ(stored->getTrendDataDetails(), TrendDetails(parts_, data));
    EXPECT_EQ(stored->getNumSamples(), plain_.entries.size());
    EXPECT_FALSE(stored->getClosed());
    trend_ = Trend(*stored);
    // The columns hold the time stamps of the entries, whatever the trend's own were.
    plain_.first = parts_.First();
    plain_.last = parts_.Last();
    ExpectTrendParts(trend_, parts_);
  }

  Input& input_;
  TrendParts parts_;
  Trend trend_;
  PlainTrend plain_;
  long long time_ = 0;
};
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  Input input(bytes);
  return RoundTrip(input).Run();
}

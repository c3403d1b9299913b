// Changes of thinning runs: of the settings, of the time, of one stored trend, or of the times of its entries, which
// are put in order so that there is something to thin.

#include "RecordMutation.h"
#include "ShrinkInput.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace
{
using Mutation::Random;
using TrendRecord = Mutation::PlainRecord<Mutation::TrendLayout>;
using namespace TrendShrinkingDetail;

constexpr std::array<long long, 8> kAges{0, kHour, 2 * kHour, kDay, 2 * kDay, 7 * kDay, 28 * kDay, 40 * kDay};

/// Some steps of a second, a minute, an hour or a day, or next to nothing.
long long step(Random& random)
{
  constexpr std::array<long long, 5> kUnits{1, 1000000, 60000000, kHour, kDay};
  return random.Of(kUnits) * static_cast<long long>(random.Below(30));
}

long long near(long long time, Random& random) { return Plus(time, static_cast<long long>(random.Below(3)) - 1); }

void setTime(EntryBytes& entry, long long time) { std::memcpy(entry.data(), &time, sizeof time); }

/// Puts the entries in ascending order from a time on, under time stamps that say so.
Bytes inOrder(Bytes const& flat, long long time, Random& random)
{
  TrendRecord record(flat);
  std::vector<EntryBytes> entries = Split(record.plain);
  if (entries.empty())
    entries.push_back(MarkedEntry(0, 1, 1));
  SetField(record.header, TrendField::kFirstTimeStamp, time);
  for (EntryBytes& entry : entries)
  {
    setTime(entry, time);
    SetField(record.header, TrendField::kLastTimeStamp, time);
    time = Plus(time, step(random));
  }
  record.plain = Joined(entries);
  record.RepairCount();
  return record.Flat();
}

template <class T>
T columnOf(Bytes const& flat, std::size_t offset)
{
  return FieldAt<T>(TrendRecord(flat).header, offset);
}

/// Lets each trend begin around the end of the one before it, overlapping or not.
void putInOrder(ShrinkInput& input, Random& random)
{
  long long time = columnOf<long long>(input.trends.front(), TrendField::kFirstTimeStamp);
  for (Bytes& trend : input.trends)
  {
    trend = inOrder(trend, time, random);
    long long const edge =
        columnOf<long long>(trend, random.OneIn(4) ? TrendField::kFirstTimeStamp : TrendField::kLastTimeStamp);
    time = Plus(edge, random.OneIn(2) ? 0 : step(random));
  }
}

/// An age at which something changes, of any trend.
void setNow(ShrinkInput& input, Random& random)
{
  long long const time = columnOf<long long>(random.Of(input.trends), random.OneIn(2) ? TrendField::kFirstTimeStamp
                                                                                      : TrendField::kLastTimeStamp);
  input.now = near(Plus(time, random.Of(kAges)), random);
}

void setValues(ShrinkInput& input, Random& random)
{
  input.values.resize(random.Below(16));
  for (long long& value : input.values)
  {
    std::vector<EntryBytes> const entries = Split(TrendRecord(random.Of(input.trends)).plain);
    value = entries.empty() ? 0 : near(TimeOf(entries[random.Below(entries.size())]), random);
  }
  std::sort(input.values.begin(), input.values.end());
}

void changeSettings(ShrinkSettings& settings, Random& random)
{
  std::array<unsigned int*, 4> const counts{&settings.perHourOlderThanOneHour, &settings.perDayOlderThanOneDay,
                                            &settings.perDayOlderThanOneWeek, &settings.perDayOlderThanFourWeeks};
  unsigned int& count = *random.Of(counts);
  if (random.OneIn(4))
    Mutation::ChangeValue(count);
  else
    count = static_cast<unsigned int>(random.Below(random.OneIn(2) ? 5 : 50));
  Mutation::ChangeValue(random.OneIn(2) ? settings.maxSize : settings.maxDays);
  settings.maxSize = std::max(settings.maxSize % 256, 1U);
}

void changeNumberOfTrends(std::vector<Bytes>& trends, Random& random)
{
  if (trends.size() > 1 && random.OneIn(2))
    trends.erase(trends.begin() + static_cast<std::ptrdiff_t>(random.Below(trends.size())));
  else
    trends.push_back(Bytes(random.Of(trends)));
}

Bytes mutated(Bytes const& bytes, Random& random, std::size_t maxSize)
{
  ShrinkInput input(bytes);
  if (input.trends.empty())
    input.trends.push_back(FlatTrend({}));
  switch (random.Below(6))
  {
  case 0:
    changeSettings(input.settings, random);
    break;
  case 1:
    setNow(input, random);
    break;
  case 2:
    setValues(input, random);
    break;
  case 3:
    changeNumberOfTrends(input.trends, random);
    break;
  default:
    random.Of(input.trends) = Mutation::MutatedRecord<Mutation::TrendLayout>(random.Of(input.trends), random, maxSize);
  }
  for (Bytes& trend : input.trends)
    trend = TrendRecord(trend).Flat();
  if (random.OneIn(2))
    putInOrder(input, random);
  return input.Form();
}
} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
  return Mutation::Mutate(data, size, maxSize, seed, mutated);
}

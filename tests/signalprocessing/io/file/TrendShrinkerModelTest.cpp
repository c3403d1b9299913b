#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/Dice.h"
#include "support/LongTests.h"
#include "support/ShrinkRun.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

// Random trends, thinned by the library and by the model, which walks every period and every slot.

namespace
{
struct RandomCase
{
  ShrinkSettings settings;
  long long now = 0;
  std::vector<TrendParts> trends;
  std::vector<long long> values;

  std::string ToString() const
  {
    std::string text =
        "now " + std::to_string(now) + ", size " + std::to_string(settings.maxSize) + ", days " +
        std::to_string(settings.maxDays) + ", counts " + std::to_string(settings.perHourOlderThanOneHour) + " " +
        std::to_string(settings.perDayOlderThanOneDay) + " " + std::to_string(settings.perDayOlderThanOneWeek) + " " +
        std::to_string(settings.perDayOlderThanFourWeeks);
    for (TrendParts const& trend : trends)
      text += "\n trend " + std::to_string(trend.First()) + " to " + std::to_string(trend.Last()) + ", limit " +
              std::to_string(trend.limit) + ", " + TextOf(trend.entries);
    text += "\n values";
    for (long long const value : values)
      text += " " + std::to_string(value);
    return text;
  }
};

class CaseMaker
{
public:
  explicit CaseMaker(unsigned int seed) : dice_(seed) {}

  RandomCase Make()
  {
    makeSettings();
    case_.now = dice_.Of(std::array{1700000000000000LL, 0LL, -1600000000000001LL, 3 * kDay});
    start_ = case_.now - age();
    makeTrends(makeTimes());
    makeValues();
    return case_;
  }

private:
  unsigned int count()
  {
    if (dice_.OneIn(40))
      return dice_.Of(std::array{61U, 200U, 1441U});
    return static_cast<unsigned int>(dice_.OneIn(5) ? 0 : dice_.Between(1, dice_.OneIn(3) ? 30 : 4));
  }

  void makeSettings()
  {
    case_.settings.maxSize = static_cast<unsigned int>(dice_.Between(1, 50));
    case_.settings.maxDays = dice_.Of(std::array{0U, 1U, 2U, 9U, 40U, 4294967295U});
    case_.settings.perHourOlderThanOneHour = count() % 1000;
    case_.settings.perDayOlderThanOneDay = count();
    case_.settings.perDayOlderThanOneWeek = count();
    case_.settings.perDayOlderThanFourWeeks = count();
  }

  long long around(long long time) { return time + dice_.Between(-2, 2); }

  /// An age at which something changes, or any.
  long long age()
  {
    if (dice_.OneIn(4))
      return dice_.Between(0, 40 * kDay);
    return around(
        dice_.Of(std::array{kHour, 2 * kHour, 3 * kHour, kDay, kDay + kHour, 2 * kDay, 3 * kDay, kWeek, kWeek + kDay,
                            kWeek + 2 * kDay, 4 * kWeek, 4 * kWeek + kDay, 4 * kWeek + 2 * kDay, 5 * kWeek}));
  }

  unsigned int anyCount()
  {
    return std::max(
        1U, dice_.Of(std::array{case_.settings.perHourOlderThanOneHour, case_.settings.perDayOlderThanOneDay,
                                case_.settings.perDayOlderThanOneWeek, case_.settings.perDayOlderThanFourWeeks}));
  }

  /// Borders and centres of slots, class borders, neighbours of other times, and any time.
  long long time(std::vector<long long> const& times, long long reach)
  {
    long long const length = dice_.OneIn(2) ? kHour : kDay;
    long long const slot = length / anyCount();
    long long const base = start_ + length * dice_.Below(std::max(1LL, reach / length));
    switch (dice_.Below(8))
    {
    case 0:
    case 1:
      return around(base + slot * dice_.Between(0, length / slot));
    case 2:
    case 3:
      return around(base + slot * dice_.Below(length / slot) + slot / 2);
    case 4:
      return times.empty() ? base : times[static_cast<std::size_t>(dice_.Below(times.size()))];
    case 5:
      return times.empty() ? base : around(times[static_cast<std::size_t>(dice_.Below(times.size()))]);
    case 6:
      return case_.now - age();
    default:
      return start_ + dice_.Below(reach);
    }
  }

  std::vector<long long> makeTimes()
  {
    long long const reach = dice_.Of(std::array{kHour / 2, 3 * kHour, kDay, 3 * kDay, 12 * kDay, 42 * kDay});
    std::vector<long long> times = {start_};
    long long const wanted = dice_.Between(1, 60);
    while (static_cast<long long>(times.size()) < wanted)
      times.push_back(std::max(start_ - (dice_.OneIn(20) ? kHour : 0), time(times, reach)));
    std::sort(times.begin(), times.end());
    return times;
  }

  EntryBytes entry(long long time)
  {
    unsigned char const status = fewStatuses_ ? dice_.Of(std::array<unsigned char, 2>{1, 3})
                                              : dice_.Of(std::array<unsigned char, 9>{0, 1, 1, 2, 2, 3, 3, 4, 255});
    return MarkedEntry(time, status, mark_++);
  }

  void makeTrends(std::vector<long long> times)
  {
    fewStatuses_ = dice_.OneIn(3);
    bool const disordered = dice_.OneIn(4);
    if (disordered)
      for (long long swaps = dice_.Between(1, 4); swaps > 0; --swaps)
        std::swap(times[static_cast<std::size_t>(dice_.Below(times.size()))],
                  times[static_cast<std::size_t>(dice_.Below(times.size()))]);
    std::size_t const trendCount = static_cast<std::size_t>(dice_.Between(1, 6));
    case_.trends.resize(trendCount);
    std::vector<std::size_t> cuts = {0, times.size()};
    while (cuts.size() < trendCount + 1)
      cuts.push_back(static_cast<std::size_t>(dice_.Below(times.size() + 1)));
    std::sort(cuts.begin(), cuts.end());
    for (std::size_t i = 0; i < trendCount; ++i)
      for (std::size_t at = cuts[i]; at < cuts[i + 1]; ++at)
        case_.trends[overlapping(i, trendCount)].entries.push_back(entry(times[at]));
    bool const limitsDiffer = dice_.OneIn(3);
    bool const columnsDisagree = dice_.OneIn(4);
    for (std::size_t i = 0; i < trendCount; ++i)
    {
      describe(case_.trends[i], i);
      if (limitsDiffer)
        case_.trends[i].limit =
            dice_.Of(std::array{0.5, 0.5, 0.0, -0.0, std::numeric_limits<double>::quiet_NaN(), 7.0});
      if (columnsDisagree && !case_.trends[i].entries.empty())
        disagree(case_.trends[i]);
    }
  }

  /// Now and then an entry strays into the next trend.
  std::size_t overlapping(std::size_t i, std::size_t trendCount)
  {
    return i + 1 < trendCount && dice_.OneIn(12) ? i + 1 : i;
  }

  void describe(TrendParts& trend, std::size_t i)
  {
    auto const mark = static_cast<unsigned char>(16 * i);
    trend.configUuid = CountingUuid(static_cast<unsigned char>(mark + 1));
    trend.baseUuid = CountingUuid(static_cast<unsigned char>(mark + 2));
    trend.trendUuid = CountingUuid(static_cast<unsigned char>(mark + 3));
    trend.unitUuid = CountingUuid(static_cast<unsigned char>(mark + 4));
    trend.unitString = "unit " + std::to_string(i);
    trend.form = dice_.Of(std::array{no_compression, no_compression, zlib, gzip});
  }

  void disagree(TrendParts& trend)
  {
    auto const shift = [this]
    { return dice_.OneIn(2) ? dice_.Between(-2, 2) : dice_.Between(-2 * kDay, 2 * kDay) / dice_.Between(1, 30); };
    if (!dice_.OneIn(3))
      trend.firstColumn = trend.First() + shift();
    if (!dice_.OneIn(3))
      trend.lastColumn = trend.Last() + shift();
  }

  void makeValues()
  {
    long long const rarity = dice_.Of(std::array{1LL, 3LL, 10LL, 1000LL});
    for (TrendParts const& trend : case_.trends)
      for (EntryBytes const& entry : trend.entries)
        if (dice_.OneIn(rarity))
          case_.values.push_back(dice_.OneIn(3) ? around(TimeOf(entry)) : TimeOf(entry));
    for (long long i = dice_.Below(4); i > 0; --i)
      case_.values.push_back(case_.now - age());
    std::sort(case_.values.begin(), case_.values.end());
  }

  Dice dice_;
  RandomCase case_;
  long long start_ = 0;
  unsigned int mark_ = 1;
  bool fewStatuses_ = false;
};

/// Exceptions apart, a run costs ten times as much under sanitizers and in emulation, which try every tenth case.
#ifdef QEN_IS_SLOW
constexpr unsigned int kStep = 10;
#else
constexpr unsigned int kStep = 1;
#endif

unsigned int CaseCount() { return AreLongTestsWanted() ? 100000 : 2000; }
} // namespace

TEST(TrendShrinkerModel, RandomTrendsComeOutAsSlotBySlot)
{
  unsigned int const count = CaseCount();
  for (unsigned int seed = 0; seed < count && !HasFailure(); seed += kStep)
  {
    RandomCase const random = CaseMaker(seed).Make();
    std::string const difference = DifferenceToModel(random.settings, random.now, random.trends, random.values);
    EXPECT_EQ(difference, "") << "case " << seed << ": " << random.ToString();
  }
}

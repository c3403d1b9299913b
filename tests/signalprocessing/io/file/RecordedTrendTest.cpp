#include "platform/QenTime.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "support/ShrinkRun.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// Trends recorded at machines, with the gaps, repeated stamps and steps backwards that they have. They are not part of
// the sources: QEN_RECORDINGS names the folder that holds them.

namespace
{
struct Row
{
  long long time;
  double value;
};

/// Microseconds since 1970, or a date and a time of day.
long long TimeFrom(std::string const& text)
{
  return text.find('T') == std::string::npos ? std::stoll(text) : QenTime::StringToTimeStamp(text + ".000000Z");
}

std::vector<Row> ReadRows(std::string const& path)
{
  std::ifstream file(path);
  if (!file)
    throw std::runtime_error("cannot read " + path);
  std::vector<Row> rows;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line))
  {
    std::size_t const comma = line.find(',');
    std::istringstream value(line.substr(comma + 1));
    value.imbue(std::locale::classic());
    rows.push_back({TimeFrom(line.substr(0, comma)), 0});
    if (!(value >> rows.back().value))
      throw std::runtime_error("no number: " + line);
  }
  return rows;
}

/// Status classes as a monitor with two limits would give them.
unsigned char StatusFor(double value, double warning, double alarm)
{
  return value >= alarm ? 3 : value >= warning ? 2 : 1;
}

/// Trends of a thousand entries each; the limit changes after the fifth and every tenth is stored without compression.
std::vector<TrendParts> TrendsOf(std::vector<Row> const& rows, double warning, double alarm)
{
  constexpr std::size_t kSize = 1000;
  std::vector<TrendParts> trends;
  for (std::size_t i = 0; i < rows.size(); ++i)
  {
    if (i % kSize == 0)
    {
      trends.emplace_back();
      trends.back().form = trends.size() % 10 == 0 ? no_compression : trends.size() % 2 == 0 ? gzip : zlib;
      trends.back().limit = trends.size() <= 5 ? warning : warning / 2;
      trends.back().trendUuid = CountingUuid(static_cast<unsigned char>(trends.size()));
    }
    EntryBytes entry =
        MarkedEntry(rows[i].time, StatusFor(rows[i].value, warning, alarm), static_cast<unsigned int>(i));
    std::memcpy(entry.data() + EntryField::kValue, &rows[i].value, sizeof(double));
    trends.back().entries.push_back(entry);
  }
  return trends;
}

std::vector<long long> EveryFortiethTime(std::vector<Row> const& rows)
{
  std::vector<long long> values;
  for (std::size_t i = 0; i < rows.size(); i += 40)
    values.push_back(rows[i].time);
  std::sort(values.begin(), values.end());
  return values;
}

void ExpectAgreement(std::string const& name, std::size_t rowCount, double warning, double alarm)
{
  char const* const folder = std::getenv("QEN_RECORDINGS");
  if (folder == nullptr)
    GTEST_SKIP() << "QEN_RECORDINGS names no folder";
  std::vector<Row> const rows = ReadRows(std::string(folder) + "/" + name);
  ASSERT_EQ(rows.size(), rowCount);
  std::vector<TrendParts> const trends = TrendsOf(rows, warning, alarm);
  std::vector<long long> const values = EveryFortiethTime(rows);
  ShrinkSettings settings;
  settings.maxSize = 2000;
  settings.perHourOlderThanOneHour = 60;
  settings.perDayOlderThanOneDay = 24;
  settings.perDayOlderThanOneWeek = 4;
  settings.perDayOlderThanFourWeeks = 1;
  long long const last = rows.back().time;
  EXPECT_EQ(DifferenceToModel(settings, last, trends, {}), "");
  std::size_t leftBefore = rows.size() + 1;
#ifdef QEN_IS_SLOW
  std::vector<long long> const times = {last, last + 400 * kDay}; // fewer where everything takes ten times as long
#else
  std::vector<long long> const times = {rows.front().time, last - 30 * kDay, last, last + 3 * kDay, last + 400 * kDay};
#endif
  for (long long const now : times)
  {
    SCOPED_TRACE(QenTime::TimeStampToString(now));
    EXPECT_EQ(DifferenceToModel(settings, now, trends, values), "");
    TrendShrinkingModel model(settings, now);
    model.Run(trends, values);
    std::size_t left = 0;
    for (ShrunkTrend const& trend : model.Results())
      left += trend.entries.size();
    EXPECT_LT(left, leftBefore) << "the older, the fewer";
    leftBefore = left;
  }
}
} // namespace

TEST(RecordedTrend, VibrationOfAPlantIsThinnedAsSlotBySlot)
{
  ExpectAgreement("trend_plant_vibration_rms.csv", 33395, 100, 300);
}

TEST(RecordedTrend, TemperatureOfAMachineIsThinnedAsSlotBySlot)
{
  ExpectAgreement("trend_machine_temperature.csv", 22695, 95, 104);
}

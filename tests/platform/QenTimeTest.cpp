#include "platform/QenTime.h"

#include "support/HostileLocale.h"
#include "support/PlatformErrors.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdio>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr long long kDay = 86400000000;

bool IsLeap(long long year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysOfMonth(long long year, int month)
{
  constexpr std::array kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays.at(static_cast<std::size_t>(month) - 1);
}

/// The same calendar, found by counting years and months one by one.
class SlowCalendar
{
public:
  static constexpr long long kFirstYear = -290308;
  static constexpr long long kLastYear = 294247;

  SlowCalendar() : firstDays_(static_cast<std::size_t>(kLastYear - kFirstYear + 2))
  {
    for (long long year = 1970; year <= kLastYear; ++year)
      firstDay(year + 1) = firstDay(year) + (IsLeap(year) ? 366 : 365);
    for (long long year = 1969; year >= kFirstYear; --year)
      firstDay(year) = firstDay(year + 1) - (IsLeap(year) ? 366 : 365);
  }

  /// Midnight that starts a day; the caller asks only for days in the 64-bit range.
  long long Midnight(long long year, int month, int day) const { return dayNumber(year, month, day) * kDay; }

  std::string Text(long long microseconds) const
  {
    long long day = microseconds / kDay;
    long long rest = microseconds % kDay;
    if (rest < 0)
    {
      rest += kDay;
      --day;
    }
    auto const next = std::upper_bound(firstDays_.begin(), firstDays_.end(), day);
    long long const year = kFirstYear + (next - firstDays_.begin()) - 1;
    day -= *(next - 1);
    int month = 1;
    while (day >= DaysOfMonth(year, month))
      day -= DaysOfMonth(year, month++);
    return yearText(year) + tailText(month, static_cast<int>(day) + 1, rest);
  }

  /// The time stamp of a text in exactly this form; nothing for any other text.
  std::optional<long long> TimeStamp(std::string const& text) const
  {
    constexpr std::size_t kTail = 23;
    if (text.size() < 4 + kTail)
      return std::nullopt;
    std::optional<long long> const year = yearOf(text.substr(0, text.size() - kTail));
    std::string const tail = text.substr(text.size() - kTail);
    if (!year || !hasDigitsWhere("-00-00T00:00:00.000000Z", tail))
      return std::nullopt;
    auto const number = [&tail](std::size_t at, std::size_t digits) { return std::stoi(tail.substr(at, digits)); };
    int const month = number(1, 2);
    int const day = number(4, 2);
    if (month < 1 || month > 12 || day < 1 || day > DaysOfMonth(*year, month) || number(7, 2) > 23 ||
        number(10, 2) > 59 || number(13, 2) > 59)
      return std::nullopt;
    long long const seconds = number(7, 2) * 3600 + number(10, 2) * 60 + number(13, 2);
    return sum(dayNumber(*year, month, day), seconds * 1000000 + number(16, 6));
  }

private:
  long long& firstDay(long long year) { return firstDays_.at(static_cast<std::size_t>(year - kFirstYear)); }

  long long dayNumber(long long year, int month, int day) const
  {
    long long number = firstDays_.at(static_cast<std::size_t>(year - kFirstYear)) + day - 1;
    for (int m = 1; m < month; ++m)
      number += DaysOfMonth(year, m);
    return number;
  }

  static std::string yearText(long long year)
  {
    std::string digits = std::to_string(year < 0 ? -year : year);
    if (digits.size() < 4)
      digits.insert(0, 4 - digits.size(), '0');
    return (year < 0 ? "-" : "") + digits;
  }

  static std::string tailText(int month, int day, long long microsecondsOfDay)
  {
    auto const seconds = static_cast<int>(microsecondsOfDay / 1000000);
    auto const fraction = static_cast<int>(microsecondsOfDay % 1000000);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "-%02d-%02dT%02d:%02d:%02d.%06dZ", month, day, seconds / 3600,
                  seconds / 60 % 60, seconds % 60, fraction);
    return text.data();
  }

  static bool hasDigitsWhere(std::string const& pattern, std::string const& text)
  {
    return std::equal(pattern.begin(), pattern.end(), text.begin(), text.end(),
                      [](char p, char c) { return p == '0' ? c >= '0' && c <= '9' : p == c; });
  }

  static std::optional<long long> yearOf(std::string const& text)
  {
    bool const negative = text[0] == '-';
    std::string const digits = text.substr(negative ? 1 : 0);
    if (digits.size() < 4 || digits.size() > 6 || !hasDigitsWhere(std::string(digits.size(), '0'), digits))
      return std::nullopt;
    long long const year = negative ? -std::stoll(digits) : std::stoll(digits);
    if (text != yearText(year) || year < kFirstYear || year > kLastYear)
      return std::nullopt;
    return year;
  }

  /// day x kDay + rest without an intermediate result that lies further out than the result.
  static std::optional<long long> sum(long long day, long long rest)
  {
    long long product = 0;
    long long result = 0;
    long long const shift = day < 0 ? 1 : 0;
    if (__builtin_mul_overflow(day + shift, kDay, &product) ||
        __builtin_add_overflow(product, rest - shift * kDay, &result))
      return std::nullopt;
    return result;
  }

  std::vector<long long> firstDays_;
};

SlowCalendar const& Calendar()
{
  static SlowCalendar const calendar;
  return calendar;
}

struct Known
{
  long long microseconds;
  char const* text;
};

/// Worked out independently of this code.
constexpr Known kKnown[] = {
    {LLONG_MIN, "-290308-12-21T19:59:05.224192Z"},
    {LLONG_MIN + 1, "-290308-12-21T19:59:05.224193Z"},
    {-62288352000000000, "-0004-02-29T00:00:00.000000Z"},
    {-62198755200000000, "-0001-01-01T00:00:00.000000Z"},
    {-62167219200000001, "-0001-12-31T23:59:59.999999Z"},
    {-62167219200000000, "0000-01-01T00:00:00.000000Z"},
    {-62162121600000000, "0000-02-29T00:00:00.000000Z"},
    {-62135596800000000, "0001-01-01T00:00:00.000000Z"},
    {-2203891201000000, "1900-02-28T23:59:59.000000Z"},
    {-1, "1969-12-31T23:59:59.999999Z"},
    {0, "1970-01-01T00:00:00.000000Z"},
    {1, "1970-01-01T00:00:00.000001Z"},
    {86399999999, "1970-01-01T23:59:59.999999Z"},
    {86400000000, "1970-01-02T00:00:00.000000Z"},
    {951782400000000, "2000-02-29T00:00:00.000000Z"},
    {1709210096000007, "2024-02-29T12:34:56.000007Z"},
    {1795197440000123, "2026-11-20T17:57:20.000123Z"},
    {253402300799999999, "9999-12-31T23:59:59.999999Z"},
    {253402300800000000, "10000-01-01T00:00:00.000000Z"},
    {253407398400000000, "10000-02-29T00:00:00.000000Z"},
    {LLONG_MAX - 1, "294247-01-10T04:00:54.775806Z"},
    {LLONG_MAX, "294247-01-10T04:00:54.775807Z"},
};

void ExpectBothWays(long long microseconds)
{
  std::string const text = Calendar().Text(microseconds);
  EXPECT_EQ(QenTime::TimeStampToString(microseconds), text) << microseconds;
  EXPECT_EQ(QenTime::StringToTimeStamp(text), microseconds) << text;
}

testing::AssertionResult IsRefused(std::string const& text)
{
  return Refuses<QenTimeException>([&text] { QenTime::StringToTimeStamp(text); });
}

/// A changed text must be what the calendar says: refused, or a time that is not the original's.
void ExpectRefusedOrOtherTime(std::string const& text, long long original)
{
  std::optional<long long> const expected = Calendar().TimeStamp(text);
  if (!expected)
  {
    EXPECT_TRUE(IsRefused(text)) << text;
    return;
  }
  EXPECT_NE(*expected, original) << text;
  EXPECT_EQ(QenTime::StringToTimeStamp(text), *expected) << text;
}

/// Every character that can stand in a time stamp, and some that people put there.
std::string const kCharacters("0123456789-+TtZz:.,; \n\0", 23);
} // namespace

TEST(QenTime, SlowCalendarOfThisTestKnowsTheKnownTimes)
{
  for (Known const& known : kKnown)
  {
    EXPECT_EQ(Calendar().Text(known.microseconds), known.text);
    EXPECT_EQ(Calendar().TimeStamp(known.text), std::optional<long long>(known.microseconds)) << known.text;
  }
}

TEST(QenTime, KnownTimesAreWritten)
{
  for (Known const& known : kKnown)
    EXPECT_EQ(QenTime::TimeStampToString(known.microseconds), known.text);
}

TEST(QenTime, KnownTimesAreRead)
{
  for (Known const& known : kKnown)
    EXPECT_EQ(QenTime::StringToTimeStamp(known.text), known.microseconds) << known.text;
}

TEST(QenTime, EveryMonthStartsAndEndsInTheRightMicrosecond)
{
  constexpr std::pair<long long, long long> kYears[] = {{-290307, -290306}, {-401, -396},  {-101, -95},
                                                        {-10, 10},          {1895, 1910},  {1960, 2030},
                                                        {2095, 2105},       {9995, 10005}, {294245, 294246}};
  for (auto const& [first, last] : kYears)
    for (long long year = first; year <= last; ++year)
      for (int month = 1; month <= 12; ++month)
      {
        long long const start = Calendar().Midnight(year, month, 1);
        ExpectBothWays(start - 1);
        ExpectBothWays(start);
      }
}

TEST(QenTime, LeapDaysOfTheWholeRangeAreRight)
{
  for (long long year = SlowCalendar::kFirstYear + 1; year < SlowCalendar::kLastYear; year += 97)
  {
    long long const march = Calendar().Midnight(year, 3, 1);
    ExpectBothWays(march - 1);
    ExpectBothWays(march);
  }
}

TEST(QenTime, EveryDayOfALeapYearAndItsNeighboursIsRight)
{
  for (long long day = Calendar().Midnight(2023, 1, 1); day < Calendar().Midnight(2026, 1, 1); day += kDay)
  {
    ExpectBothWays(day - 1);
    ExpectBothWays(day);
  }
}

TEST(QenTime, RandomTimesOfTheWholeRangeGoBothWays)
{
  std::mt19937_64 random(1970);
  std::uniform_int_distribution<long long> whole(LLONG_MIN, LLONG_MAX);
  std::uniform_int_distribution<long long> near(-253402300800000000, 253402300800000000);
  for (int i = 0; i < 5000; ++i)
  {
    ExpectBothWays(whole(random));
    ExpectBothWays(near(random));
  }
}

TEST(QenTime, TimesAroundEveryPowerOfTwoGoBothWays)
{
  for (int bit = 0; bit < 63; ++bit)
    for (long long step : {-1, 0, 1})
    {
      long long const value = (1LL << bit) + step;
      ExpectBothWays(value);
      ExpectBothWays(-value);
    }
}

TEST(QenTime, GlobalLocaleChangesNothing)
{
  HostileLocale const hostile;
  EXPECT_EQ(QenTime::TimeStampToString(1795197440000123), "2026-11-20T17:57:20.000123Z");
  EXPECT_EQ(QenTime::TimeStampToString(LLONG_MIN), "-290308-12-21T19:59:05.224192Z");
  EXPECT_EQ(QenTime::StringToTimeStamp("2026-11-20T17:57:20.000123Z"), 1795197440000123);
}

TEST(QenTime, NowIsTheSystemTimeInMicroseconds)
{
  using namespace std::chrono;
  // A minute more on both sides: the clock may be set while the test runs.
  auto const clock = [] { return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count(); };
  long long const before = clock() - 60000000;
  long long const now = QenTime::Now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, clock() + 60000000);
}

TEST(QenTime, EmptyTextIsRefused) { EXPECT_TRUE(IsRefused("")); }

TEST(QenTime, EveryTruncationIsRefused)
{
  for (Known const& known : kKnown)
  {
    std::string const text = known.text;
    for (std::size_t length = 0; length < text.size(); ++length)
      EXPECT_TRUE(IsRefused(text.substr(0, length))) << text.substr(0, length);
  }
}

TEST(QenTime, EveryTextWithoutItsBeginningIsRefusedOrAnotherTime)
{
  for (Known const& known : kKnown)
  {
    std::string const text = known.text;
    for (std::size_t start = 1; start < text.size(); ++start)
      ExpectRefusedOrOtherTime(text.substr(start), known.microseconds);
  }
}

TEST(QenTime, EveryReplacedCharacterIsRefusedOrAnotherTime)
{
  std::string const text = "2026-11-20T17:57:20.000123Z";
  for (std::size_t i = 0; i < text.size(); ++i)
    for (int value = 0; value < 256; ++value)
      if (static_cast<char>(value) != text[i])
      {
        std::string changed = text;
        changed[i] = static_cast<char>(value);
        ExpectRefusedOrOtherTime(changed, 1795197440000123);
      }
}

TEST(QenTime, EveryReplacedCharacterOfUnusualTimesIsRefusedOrAnotherTime)
{
  for (std::size_t k : {0U, 2U, 4U, 6U, 15U, 18U, 21U})
  {
    std::string const text = kKnown[k].text;
    for (std::size_t i = 0; i < text.size(); ++i)
      for (char character : kCharacters)
        if (character != text[i])
        {
          std::string changed = text;
          changed[i] = character;
          ExpectRefusedOrOtherTime(changed, kKnown[k].microseconds);
        }
  }
}

TEST(QenTime, EveryInsertedCharacterIsRefusedOrAnotherTime)
{
  for (std::size_t k : {0U, 3U, 16U, 18U})
  {
    std::string const text = kKnown[k].text;
    for (std::size_t i = 0; i <= text.size(); ++i)
      for (char character : kCharacters)
        ExpectRefusedOrOtherTime(std::string(text).insert(i, 1, character), kKnown[k].microseconds);
  }
}

TEST(QenTime, EveryMissingCharacterIsRefusedOrAnotherTime)
{
  for (Known const& known : kKnown)
  {
    std::string const text = known.text;
    for (std::size_t i = 0; i < text.size(); ++i)
      ExpectRefusedOrOtherTime(std::string(text).erase(i, 1), known.microseconds);
  }
}

TEST(QenTime, TimeJustBehindTheEndsIsRefused)
{
  for (char const* text :
       {"294247-01-10T04:00:54.775808Z", "294247-01-10T04:00:55.000000Z", "294247-01-10T04:01:00.000000Z",
        "294247-01-10T05:00:00.000000Z", "294247-01-11T00:00:00.000000Z", "294247-02-01T00:00:00.000000Z",
        "294247-12-31T23:59:59.999999Z", "294248-01-01T00:00:00.000000Z", "-290308-12-21T19:59:05.224191Z",
        "-290308-12-21T19:59:04.999999Z", "-290308-12-21T19:58:59.999999Z", "-290308-12-21T18:59:59.999999Z",
        "-290308-12-21T00:00:00.000000Z", "-290308-12-20T23:59:59.999999Z", "-290308-01-01T00:00:00.000000Z",
        "-290309-12-31T23:59:59.999999Z"})
    EXPECT_TRUE(IsRefused(text)) << text;
}

TEST(QenTime, TimeFarBehindTheEndsIsRefused)
{
  // Some of these years are 1970 again when they are cut to 32 or 64 bits.
  for (std::string const& year :
       {std::string("999999"), std::string("-999999"), std::string("1000000"), std::string("4294969266"),
        std::string("-4294965326"), std::string("2147483647"), std::string("-2147483648"), std::string("2147483648"),
        std::string("9223372036854775807"), std::string("-9223372036854775808"), std::string("9223372036854775808"),
        std::string("18446744073709553586"), std::string("18446744073709551616"), std::string(100, '9'),
        "-" + std::string(100, '9'), std::string(100000, '1')})
    EXPECT_TRUE(IsRefused(year + "-01-01T00:00:00.000000Z")) << year.substr(0, 120);
}

TEST(QenTime, LowerCaseLettersAreRefused)
{
  EXPECT_TRUE(IsRefused("2026-11-20t17:57:20.000123Z"));
  EXPECT_TRUE(IsRefused("2026-11-20T17:57:20.000123z"));
}

TEST(QenTime, AnyOtherNumberOfDecimalsIsRefused)
{
  for (char const* text : {"2026-11-20T17:57:20Z", "2026-11-20T17:57:20.Z", "2026-11-20T17:57:20.0Z",
                           "2026-11-20T17:57:20.000Z", "2026-11-20T17:57:20.00012Z", "2026-11-20T17:57:20.0001230Z",
                           "2026-11-20T17:57:20.000123000Z", "2026-11-20T17:57:20,000123Z"})
    EXPECT_TRUE(IsRefused(text)) << text;
}

TEST(QenTime, ClockFieldsBehindTheirRangeAreRefused)
{
  for (char const* text : {"2026-11-20T17:57:60.000000Z", "2026-11-20T17:57:61.000000Z", "2016-12-31T23:59:60.000000Z",
                           "2026-11-20T17:60:20.000000Z", "2026-11-20T24:00:00.000000Z", "2026-11-20T25:00:00.000000Z",
                           "2026-11-20T99:99:99.999999Z"})
    EXPECT_TRUE(IsRefused(text)) << text;
}

TEST(QenTime, DaysThatNoMonthHasAreRefused)
{
  for (char const* text : {"2026-02-30T00:00:00.000000Z", "2024-02-30T00:00:00.000000Z", "2026-02-29T00:00:00.000000Z",
                           "1900-02-29T00:00:00.000000Z", "2100-02-29T00:00:00.000000Z", "-0001-02-29T00:00:00.000000Z",
                           "-0100-02-29T00:00:00.000000Z", "2026-04-31T00:00:00.000000Z", "2026-06-31T00:00:00.000000Z",
                           "2026-09-31T00:00:00.000000Z", "2026-11-31T00:00:00.000000Z", "2026-01-32T00:00:00.000000Z",
                           "2026-12-32T00:00:00.000000Z", "2026-11-00T00:00:00.000000Z", "2026-00-20T00:00:00.000000Z",
                           "2026-13-01T00:00:00.000000Z", "2026-99-99T00:00:00.000000Z"})
    EXPECT_TRUE(IsRefused(text)) << text;
}

TEST(QenTime, OtherSpellingsOfAYearAreRefused)
{
  for (char const* year :
       {"-0000", "00000", "-00000", "02026", "002026", "-02026", "-00001", "010000", "+2026", "+12026", "--2026",
        "026",   "26",    "-1",     "1",     "-",      "",       "-026",   " 2026",  "0x7E",  "2e03",   "20 6"})
    EXPECT_TRUE(IsRefused(std::string(year) + "-01-01T00:00:00.000000Z")) << year;
}

TEST(QenTime, SignsAndBlanksInsideOfFieldsAreRefused)
{
  for (char const* text : {"2026--1-20T17:57:20.000123Z", "2026-+1-20T17:57:20.000123Z", "2026- 1-20T17:57:20.000123Z",
                           "2026-11-+2T17:57:20.000123Z", "2026-11-20T-1:57:20.000123Z", "2026-11-20T 7:57:20.000123Z",
                           "2026-11-20T17:+7:20.000123Z", "2026-11-20T17:57:-0.000123Z", "2026-11-20T17:57:20.+00123Z",
                           "2026-11-20T17:57:20.-00123Z", "2026-11-20T17:57:20.   123Z", "2026-1-20T17:57:20.000123Z",
                           "2026-11-20T7:57:20.000123Z"})
    EXPECT_TRUE(IsRefused(text)) << text;
}

TEST(QenTime, BlanksAndTextAroundATimeAreRefused)
{
  std::string const text = "2026-11-20T17:57:20.000123Z";
  for (std::string const& around : {std::string(" "), std::string("\n"), std::string("\t"), std::string(1, '\0'),
                                    std::string("Z"), std::string("\xEF\xBB\xBF"), std::string(100, ' ')})
  {
    EXPECT_TRUE(IsRefused(around + text));
    EXPECT_TRUE(IsRefused(text + around));
  }
}

TEST(QenTime, OtherTimeFormatsAreRefused)
{
  for (char const* text :
       {"2026-11-20", "17:57:20.000123Z", "2026-11-20 17:57:20.000123Z", "2026-11-20T17:57:20.000123",
        "2026-11-20T17:57:20.000123+00:00", "20261120T175720.000123Z", "2026-W47-5T17:57:20.000123Z",
        "2026-324T17:57:20.000123Z", "1795197440000123", "2026/11/20T17:57:20.000123Z", "now", "Z"})
    EXPECT_TRUE(IsRefused(text)) << text;
}

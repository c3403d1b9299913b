#include "platform/QenTime.h"

#include "platform/PlatformError.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <system_error>

namespace
{
constexpr char const kSourceUnit[] = "QenTime.cpp";
constexpr long long kMicrosecondsPerSecond = 1'000'000;
constexpr long long kSecondsPerDay = 86'400;
constexpr long long kMicrosecondsPerDay = kSecondsPerDay * kMicrosecondsPerSecond;

// The 64-bit range reaches 292,000 years to either side, while std::chrono::year ends at 32767. The calendar repeats
// after 400 years, so dates are shifted by whole cycles into the range that std::chrono computes with.
constexpr long long kYearsPerCycle = 400;
constexpr long long kDaysPerCycle = 146'097;

struct QuotientAndRemainder
{
  long long quotient;
  long long remainder; // never negative
};

QuotientAndRemainder divideDown(long long value, long long divisor)
{
  long long const remainder = value % divisor;
  return remainder < 0 ? QuotientAndRemainder{value / divisor - 1, remainder + divisor}
                       : QuotientAndRemainder{value / divisor, remainder};
}

std::string formatYear(long long year)
{
  char text[24];
  std::snprintf(text, sizeof text, "%s%04lld", year < 0 ? "-" : "", year < 0 ? -year : year);
  return text;
}

/// Reads digits only: no sign, no blank.
bool readDigits(std::string_view text, long long& value)
{
  if (text.find_first_not_of("0123456789") != std::string_view::npos)
    return false;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size();
}

struct Fields
{
  long long year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, microsecond = 0;
};

/// Splits "[-]Y...Y-MM-DDThh:mm:ss.uuuuuuZ"; ranges are left to the caller.
bool splitText(std::string_view text, Fields& fields)
{
  constexpr std::string_view kLayout = "-MM-DDThh:mm:ss.uuuuuuZ";
  bool const negative = text.starts_with('-');
  if (negative)
    text.remove_prefix(1);
  if (text.size() <= kLayout.size())
    return false;
  std::string_view const year = text.substr(0, text.size() - kLayout.size());
  std::string_view const rest = text.substr(year.size());
  for (std::size_t const separator : {0U, 3U, 6U, 9U, 12U, 15U, 22U})
  {
    if (rest[separator] != kLayout[separator])
      return false;
  }
  if (!readDigits(year, fields.year) || !readDigits(rest.substr(1, 2), fields.month) ||
      !readDigits(rest.substr(4, 2), fields.day) || !readDigits(rest.substr(7, 2), fields.hour) ||
      !readDigits(rest.substr(10, 2), fields.minute) || !readDigits(rest.substr(13, 2), fields.second) ||
      !readDigits(rest.substr(16, 6), fields.microsecond))
    return false;
  fields.year = negative ? -fields.year : fields.year;
  return true;
}

/// Days since 1970-01-01 of a date whose year is within reach of 64-bit microseconds; the date need not exist.
long long daysOf(Fields const& fields)
{
  auto const [cycle, yearOfCycle] = divideDown(fields.year, kYearsPerCycle);
  std::chrono::year_month_day const date(std::chrono::year(static_cast<int>(yearOfCycle)),
                                         std::chrono::month(static_cast<unsigned>(fields.month)),
                                         std::chrono::day(static_cast<unsigned>(fields.day)));
  return std::chrono::sys_days(date).time_since_epoch().count() + cycle * kDaysPerCycle;
}

/// Microseconds of the fields; false when they do not fit 64 bits.
bool microsecondsOf(Fields const& fields, long long& microseconds)
{
  constexpr long long kLastYear = 300'000;
  if (fields.year > kLastYear || fields.year < -kLastYear || fields.month < 1 || fields.month > 12)
    return false;
  long long seconds = daysOf(fields) * kSecondsPerDay + (fields.hour * 60 + fields.minute) * 60 + fields.second;
  long long fraction = fields.microsecond;
  // The earliest time stamp lies inside a second whose start does not fit: before 1970 count from the second's end.
  if (seconds < 0)
  {
    ++seconds;
    fraction -= kMicrosecondsPerSecond;
  }
  return !__builtin_mul_overflow(seconds, kMicrosecondsPerSecond, &microseconds) &&
         !__builtin_add_overflow(microseconds, fraction, &microseconds);
}
} // namespace

QenTimeException::QenTimeException() : VelmoraException("QenTimeException") {}
QenTimeException::~QenTimeException() = default;
VelmoraException* QenTimeException::clone() const { return new QenTimeException(*this); }

std::string QenTime::TimeStampToString(long long microseconds)
{
  auto const [days, ofDay] = divideDown(microseconds, kMicrosecondsPerDay);
  auto const [cycle, dayOfCycle] = divideDown(days, kDaysPerCycle);
  std::chrono::year_month_day const date{std::chrono::sys_days(std::chrono::days(static_cast<int>(dayOfCycle)))};
  long long const second = ofDay / kMicrosecondsPerSecond;
  char text[40];
  std::snprintf(text, sizeof text, "-%02u-%02uT%02lld:%02lld:%02lld.%06lldZ", static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), second / 3600, second / 60 % 60, second % 60,
                ofDay % kMicrosecondsPerSecond);
  return formatYear(static_cast<int>(date.year()) + cycle * kYearsPerCycle) + text;
}

long long QenTime::StringToTimeStamp(std::string const& text)
{
  Fields fields;
  long long microseconds = 0;
  // Writing the result again settles at once which days exist, how far the clock goes and how many digits a year has.
  if (!splitText(text, fields) || !microsecondsOf(fields, microseconds) || TimeStampToString(microseconds) != text)
    throw PlatformError<QenTimeException>(kSourceUnit, __LINE__, "Malformed time stamp \"%s\"!", text.c_str());
  return microseconds;
}

long long QenTime::Now()
{
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

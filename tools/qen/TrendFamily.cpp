#include "TrendFamily.h"

#include "ExitCode.h"
#include "Text.h"

#include <algorithm>

namespace
{
[[noreturn]] void Refuse(std::string const& text) { throw ToolError(ExitCode::Unreadable, text); }

std::string ShowUnit(Trend const& trend)
{
  std::string const uuid = trend.GetSignalUnitUuid().ToString();
  return Text::Quoted(Text::Printable(trend.GetSignalUnitString())) + " (" + uuid + ")";
}
} // namespace

void TrendFamily::Add(std::string const& file)
{
  InputFile const input(file);
  TrendFile::Loaded loaded = TrendFile::Read(input, base_);
  RequireRelated(loaded.trend);
  members_.push_back({file, input.Size(), std::move(loaded)});
}

void TrendFamily::RequireRelated(Trend const& trend) const
{
  if (members_.empty())
    return;
  Trend const& first = members_.front().loaded.trend;
  std::string const firstName = Text::Printable(members_.front().path);
  if (first.GetCharacteristicValueConfigUuid() != trend.GetCharacteristicValueConfigUuid())
    Refuse("is of another characteristic value than " + firstName + ": configuration " +
           trend.GetCharacteristicValueConfigUuid().ToString() + ", not " +
           first.GetCharacteristicValueConfigUuid().ToString());
  if (first.GetSignalUnitUuid() != trend.GetSignalUnitUuid() ||
      first.GetSignalUnitString() != trend.GetSignalUnitString())
    Refuse("has another unit than " + firstName + ": " + ShowUnit(trend) + ", not " + ShowUnit(first));
  for (Member const& member : members_)
    if (member.loaded.trend.GetTrendUuid() == trend.GetTrendUuid())
      Refuse("is the same trend as " + Text::Printable(member.path) + ": " + trend.GetTrendUuid().ToString());
}

void TrendFamily::SortByTime()
{
  std::stable_sort(members_.begin(), members_.end(),
                   [](Member const& a, Member const& b)
                   { return a.loaded.trend.GetFirstTimeStamp() < b.loaded.trend.GetFirstTimeStamp(); });
}

void TrendFamily::RequireSameLimit() const
{
  double const limit = members_.front().loaded.trend.GetLowerPreAlarmLimit();
  for (Member const& member : members_)
    if (member.loaded.trend.GetLowerPreAlarmLimit() != limit)
      Refuse(Text::Printable(member.path) + ": has the lower pre-alarm limit " +
             Text::Shortest(member.loaded.trend.GetLowerPreAlarmLimit()) + ", " +
             Text::Printable(members_.front().path) + " has " + Text::Shortest(limit));
}

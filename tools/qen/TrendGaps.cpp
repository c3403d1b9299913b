#include "Command.h"
#include "Duration.h"
#include "InputFiles.h"
#include "Json.h"
#include "Text.h"
#include "TrendFile.h"

#include "platform/QenTime.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr char const* kExtensions[] = {TrendFile::kExtension};
constexpr long long kMedians = 3;

constexpr char kDetails[] =
    "Lists the stretches between neighbouring entries of each trend that are longer than --longer-than, or\n"
    "without it than 3 times the trend's median spacing (of two middle ones the shorter; repeated times do not\n"
    "count). Gaps are no damage: the exit status is 0.\n\n"
    "Examples:\n"
    "  qen trend gaps rms.qtr\n"
    "  qen trend gaps trends --longer-than 1.5h --json";

/// The difference of two times in ascending order; saturates.
long long Between(long long earlier, long long later)
{
  long long difference = 0;
  return __builtin_sub_overflow(later, earlier, &difference) ? std::numeric_limits<long long>::max() : difference;
}

/// 0 for a trend without two different times.
long long MedianSpacing(std::vector<trend_entry_t> const& entries)
{
  std::vector<long long> spacings;
  for (std::size_t i = 1; i < entries.size(); ++i)
    if (long long const spacing = Between(entries[i - 1].TimeStamp, entries[i].TimeStamp); spacing > 0)
      spacings.push_back(spacing);
  if (spacings.empty())
    return 0;
  auto const middle = spacings.begin() + static_cast<std::ptrdiff_t>((spacings.size() - 1) / 2);
  std::nth_element(spacings.begin(), middle, spacings.end());
  return *middle;
}

class TrendGaps : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "trend files").Required();
    options.AddDuration("--longer-than", longerThan_, "90s, 45min, 1.5h, 7d [3 times the median spacing]");
    options.AddJson(json_, "print JSON Lines (qen.trend-gaps/1), one for each gap");
  }

  ExitCode Run(Report& report) override
  {
    return InputFiles::Expand(arguments_, kExtensions)
        .ForEach(report, [&](std::string const& file) { return Show(file, report); });
  }

private:
  ExitCode Show(std::string const& file, Report& report) const
  {
    auto const loaded = TrendFile::Read(InputFile(file), Uuid());
    auto const& entries = loaded.trend.GetTrendEntryVector();
    long long const median = MedianSpacing(entries);
    long long const limit = longerThan_.value_or(median > std::numeric_limits<long long>::max() / kMedians
                                                     ? std::numeric_limits<long long>::max()
                                                     : kMedians * median);
    std::vector<std::string> lines;
    long long total = 0;
    for (std::size_t i = 1; i < entries.size(); ++i)
    {
      long long const gap = Between(entries[i - 1].TimeStamp, entries[i].TimeStamp);
      if (gap <= limit)
        continue;
      total = total > std::numeric_limits<long long>::max() - gap ? std::numeric_limits<long long>::max() : total + gap;
      lines.push_back(json_ ? Describe(file, entries[i - 1].TimeStamp, entries[i].TimeStamp, gap)
                            : "  " + QenTime::TimeStampToString(entries[i - 1].TimeStamp) + "  " +
                                  QenTime::TimeStampToString(entries[i].TimeStamp) + "  " + Duration::Show(gap));
    }
    if (!json_)
      report.Data(Text::Printable(file) + ": " + Text::Counted(lines.size(), "gap") + " longer than " +
                  Duration::Show(limit) + (lines.empty() ? "" : ", " + Duration::Show(total) + " in all") +
                  "; median spacing " + Duration::Show(median));
    for (std::string const& line : lines)
      report.Data(line);
    return ExitCode::Good;
  }

  static std::string Describe(std::string const& file, long long from, long long to, long long gap)
  {
    Json object = JsonText::Object("qen.trend-gaps/1");
    JsonText::AddPath(object, "file", file);
    JsonText::AddTime(object, "from", from);
    JsonText::AddTime(object, "to", to);
    object["gap_us"] = gap;
    return JsonText::Line(object);
  }

  std::vector<std::string> arguments_;
  std::optional<long long> longerThan_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kTrendGaps;
CommandEntry const kTrendGaps = {"gaps", "list the stretches without entries", kDetails, &MakeCommand<TrendGaps>};

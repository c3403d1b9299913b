#include "ShrinkReport.h"

#include "Text.h"

namespace
{
std::string Row(std::string const& name, std::string const& rule, ShrinkPlan::Count const& count)
{
  return "  " + Text::Left(name, 17) + Text::Left(rule, 16) + Text::Right(std::to_string(count.before), 11) +
         Text::Right(std::to_string(count.after), 11);
}

/// A row with the bytes of the entries, uncompressed.
std::string RowOfEntries(std::string const& name, std::string const& rule, ShrinkPlan::Count const& count)
{
  return Row(name, rule, count) + Text::Right(std::to_string(count.before * sizeof(trend_entry_t)), 13) +
         Text::Right(std::to_string(count.after * sizeof(trend_entry_t)), 13);
}
} // namespace

void PrintAges(ShrinkPlan const& plan, TrendShrinker const& shrinker, Report& report)
{
  report.Data("  age              remain              entries      after        bytes        after");
  auto const counts = TrendSettings::Counts(shrinker);
  for (std::size_t i = 0; i < AgeClass::kCount; ++i)
    report.Data(RowOfEntries(AgeClass::Name(i), TrendSettings::ShowRule(i, counts[i]), plan.Entries()[i]));
  report.Data(RowOfEntries("all", "", plan.AllEntries()));
}

void PrintTotals(ShrinkPlan::Count const& files, ShrinkPlan const& plan, Report& report)
{
  if (plan.PinnedEntries().before != 0)
    report.Data(RowOfEntries("at a pin", "", plan.PinnedEntries()));
  report.Data(Row("files", "", files));
  report.Data(Row("bytes of files", "", plan.Bytes()));
}

Json DescribeAges(ShrinkPlan const& plan, TrendShrinker const& shrinker)
{
  Json classes = Json::array();
  auto const counts = TrendSettings::Counts(shrinker);
  for (std::size_t i = 0; i < AgeClass::kCount; ++i)
  {
    ShrinkPlan::Count const& count = plan.Entries()[i];
    classes.push_back({{"age", AgeClass::Name(i)},
                       {"remain", TrendSettings::ShowRule(i, counts[i])},
                       {"entries_before", count.before},
                       {"entries_after", count.after},
                       {"bytes_before", count.before * sizeof(trend_entry_t)},
                       {"bytes_after", count.after * sizeof(trend_entry_t)}});
  }
  return classes;
}

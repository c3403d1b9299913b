#include "store/RetentionPlan.h"

#include "store/TrendPeriods.h"

#include <algorithm>

namespace
{
constexpr long long kNever = std::numeric_limits<long long>::min();
}

RetentionPlan::RetentionPlan(Basis const& basis, RetentionLedger::State const& before)
  : openFrom(basis.openFrom), after(before)
{
  after.anchor = basis.anchor;
  long long older = kNever; // what lies before belongs to an older class
  for (std::size_t i = 0; i < kTrendAgeClasses.size(); ++i)
  {
    TrendAgeClass const& ageClass = kTrendAgeClasses.at(i);
    RetentionLedger::AgeClass& applied = after.ageClasses.at(i);
    TrendPeriods const periods(basis.anchor, ageClass.periodLength);
    unsigned int const count = basis.counts.at(i);
    if (applied.count != count)
      applied = {kNever, count};
    long long const border = ageClass.Border(basis.now);
    // No period can have come of age before time stamps begin, not even one that reaches over there.
    long long const ofAge = border == kNever ? kNever : periods.NextStart(border);
    long long const end = std::min(ofAge, periods.Start(basis.openFrom));
    long long const from = std::max(applied.until == kNever ? kNever : periods.Start(applied.until), older);
    if (count != 0 && from < end)
      stretches.push_back({from, end, ageClass.periodLength, count});
    applied.until = std::max(applied.until, end);
    if (long long const waits = std::max(applied.until, older); count != 0 && waits < ofAge)
      waiting.push_back({waits, ofAge, ageClass.periodLength, count});
    // What an open trend keeps from this class has to wait for it: a younger one must not have it instead.
    older = std::max({older, ofAge, applied.until});
    reach_.at(i) = older;
    if (count != 0 && finalBefore == kNever)
      finalBefore = applied.until;
  }
}

RetentionPlan::Rest RetentionPlan::Judge(long long time) const
{
  auto const reach = std::ranges::find_if(reach_, [time](long long end) { return time < end; });
  if (reach == reach_.end())
    return Rest::too_young;
  RetentionLedger::AgeClass const& applied = after.ageClasses.at(static_cast<std::size_t>(reach - reach_.begin()));
  if (applied.count == 0)
    return Rest::no_cleanup;
  return time < applied.until ? Rest::thinned_before : Rest::awaits_open;
}

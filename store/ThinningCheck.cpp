#include "store/ThinningCheck.h"

#include "signalprocessing/io/file/Trend.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{
using ThinningCheck::Entries;

[[noreturn]] void refuse(char const* finding)
{
  throw ExceptionFactory("ThinningCheck.cpp", __LINE__).createException<TrendException>("%s", finding);
}

bool areEqual(trend_entry_t const& a, trend_entry_t const& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bool holds(Entries entries, trend_entry_t const& wanted)
{
  return std::ranges::any_of(entries, [&wanted](trend_entry_t const& entry) { return areEqual(entry, wanted); });
}

/// Whether each of some entries, of which several may be alike, is there. Their order does not matter.
bool holdAll(Entries entries, Entries wanted)
{
  if (wanted.size() == 1)
    return holds(entries, wanted.front());
  auto const isLess = [](trend_entry_t const* a, trend_entry_t const* b) { return std::memcmp(a, b, sizeof *a) < 0; };
  auto const sorted = [&isLess](Entries any)
  {
    std::vector<trend_entry_t const*> order;
    for (trend_entry_t const& entry : any)
      order.push_back(&entry);
    std::ranges::sort(order, isLess);
    return order;
  };
  return std::ranges::includes(sorted(entries), sorted(wanted), isLess);
}

/// The entries in front that have a time stamp; they are taken away.
Entries takeAt(Entries& entries, long long time)
{
  auto const end =
      std::ranges::find_if(entries, [time](trend_entry_t const& entry) { return entry.TimeStamp != time; });
  Entries const taken(entries.begin(), end);
  entries = entries.subspan(taken.size());
  return taken;
}

Entries from(Entries entries, long long time)
{
  return {std::ranges::lower_bound(entries, time, {}, &trend_entry_t::TimeStamp), entries.end()};
}

/// Goes through the slots of a stretch that hold entries, with the status classes of each.
class Slots
{
public:
  Slots(Entries entries, ThinningStretch const& stretch)
    : entries_(entries), stretch_(stretch), slotLength_(stretch.periodLength / stretch.count)
  {
  }

  /// @return whether there is one more
  bool Next()
  {
    statuses_.fill(false);
    while (!entries_.empty() && end(entries_.front()) == 0)
      entries_ = entries_.subspan(1);
    if (entries_.empty())
      return false;
    end_ = end(entries_.front());
    for (; !entries_.empty() && end(entries_.front()) == end_; entries_ = entries_.subspan(1))
      statuses_.at(entries_.front().Status <= 3 ? entries_.front().Status : 0) = true;
    return true;
  }

  bool operator==(Slots const& other) const { return end_ == other.end_ && statuses_ == other.statuses_; }

  /// Whether an entry lies in any slot rather than behind the last one of its period.
  bool Hold(trend_entry_t const& entry) const { return end(entry) != 0; }

private:
  /// The end of an entry's slot, counted from the start of the stretch; 0 behind the last slot of a period.
  unsigned long long end(trend_entry_t const& entry) const
  {
    auto const slotLength = static_cast<unsigned long long>(slotLength_);
    unsigned long long const offset = TimeBetween(stretch_.from, entry.TimeStamp);
    unsigned long long const inPeriod = offset % static_cast<unsigned long long>(stretch_.periodLength);
    if (slotLength == 0 || inPeriod / slotLength >= stretch_.count)
      return 0;
    return offset - inPeriod % slotLength + slotLength;
  }

  Entries entries_;
  ThinningStretch stretch_;
  long long slotLength_;
  unsigned long long end_ = 0;
  std::array<bool, 4> statuses_{};
};
} // namespace

void ThinningCheck::RequireOrder(Entries entries)
{
  if (!std::ranges::is_sorted(entries, {}, &trend_entry_t::TimeStamp))
    refuse("Trend entries are not in time order!");
}

// Thinning puts entries with one time stamp in an order of its own.
void ThinningCheck::RequireSubset(Entries before, Entries after)
{
  while (!after.empty())
  {
    long long const time = after.front().TimeStamp;
    auto const isThere = [time](trend_entry_t const& entry) { return entry.TimeStamp == time; };
    before = {std::ranges::find_if(before, isThere), before.end()};
    if (!holdAll(takeAt(before, time), takeAt(after, time)))
      refuse("Thinned trend holds an entry that was not there!");
  }
}

void ThinningCheck::RequireYoung(Entries before, Entries after, long long youngFrom)
{
  if (!std::ranges::equal(from(before, youngFrom), from(after, youngFrom), areEqual))
    refuse("Thinned trend lacks an entry that is too young!");
}

void ThinningCheck::RequireRepresented(Entries before, Entries after, ThinningStretch const& stretch)
{
  Slots needed(before, stretch);
  Slots there(after, stretch);
  while (needed.Next())
    if (!there.Next() || !(needed == there))
      refuse("Thinned trend lacks a status of a slot!");
}

void ThinningCheck::RequirePinned(Entries before, Entries after, ThinningStretch const& stretch,
                                  std::span<long long const> pins)
{
  Slots const slots(before, stretch);
  for (long long const pin : pins)
  {
    Entries const pinned = from(before, pin);
    if (pinned.empty() || pinned.front().TimeStamp != pin || !slots.Hold(pinned.front()))
      continue;
    Entries kept = from(after, pin);
    if (!holds(takeAt(kept, pin), pinned.front()))
      refuse("Thinned trend lacks a pinned entry!");
  }
}

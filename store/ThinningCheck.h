#pragma once

#include "signalprocessing/io/file/TrendRecord.h"
#include "store/RetentionPlan.h"

#include <span>
#include <vector>

/// What must hold whatever thinned the entries of a trend, found out without the rule that thinned them. Entries are in
/// time order, those before and those after. Each check throws TrendException.
namespace ThinningCheck
{
using Entries = std::span<trend_entry_t const>;

/// "Trend entries are not in time order!"
void RequireOrder(Entries entries);
/// Every entry after is one from before bit for bit; those with one time stamp may be in another order: "Thinned trend
/// holds an entry that was not there!"
void RequireSubset(Entries before, Entries after);
/// Every entry from a time on is there: "Thinned trend lacks an entry that is too young!"
void RequireYoung(Entries before, Entries after, long long youngFrom);
/// Every slot of a stretch still has an entry of each status class that it had one of: "Thinned trend lacks a status of
/// a slot!"
void RequireRepresented(Entries before, Entries after, ThinningStretch const& stretch);
/// Of each pinned time that lies in a slot the first entry is there: "Thinned trend lacks a pinned entry!"
void RequirePinned(Entries before, Entries after, ThinningStretch const& stretch, std::span<long long const> pins);
} // namespace ThinningCheck

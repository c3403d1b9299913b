#pragma once

#include "signalprocessing/io/file/TrendAgeClasses.h"

#include <limits>

/// Periods of one length that follow each other without gaps in both directions, one of which starts at the anchor.
/// Where a start would lie outside the range of time stamps, the nearest time stamp stands in its place.
class TrendPeriods
{
public:
  TrendPeriods(long long anchor, long long length) : anchor_(anchor), length_(length) {}

  /// The start of the period that a time lies in.
  long long Start(long long time) const { return SaturatingSubtract(time, static_cast<long long>(behindStart(time))); }

  /// The first start at or behind a time.
  long long NextStart(long long time) const
  {
    unsigned long long const behind = behindStart(time);
    return behind == 0 ? time : SaturatingAdd(time, length_ - static_cast<long long>(behind));
  }

private:
  unsigned long long behindStart(long long time) const
  {
    auto const length = static_cast<unsigned long long>(length_);
    if (time >= anchor_)
      return TimeBetween(anchor_, time) % length;
    unsigned long long const before = TimeBetween(time, anchor_) % length;
    return before == 0 ? 0 : length - before;
  }

  long long anchor_;
  long long length_;
};

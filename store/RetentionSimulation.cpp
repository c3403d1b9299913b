#include "store/RetentionSimulation.h"

#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/ThinningObserver.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "store/DatabaseException.h"
#include "store/RetentionLedger.h"
#include "store/ValueThinning.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>

namespace
{
using Explanations = std::vector<RetentionSimulation::Explanation>;

/// Writes down what the shrinker decides.
class Recorder : public ThinningObserver
{
public:
  explicit Recorder(Explanations& explanations) : explanations_(explanations) {}

  void Observe(trend_entry_t const& entry, ThinningVerdict verdict, trend_entry_t const* inFavourOf) override
  {
    explanations_.push_back(
        {entry, inStore(verdict), inFavourOf == nullptr ? std::nullopt : std::optional<trend_entry_t>(*inFavourOf)});
  }

private:
  static RetentionVerdict inStore(ThinningVerdict verdict)
  {
    switch (verdict)
    {
    case ThinningVerdict::pinned:
      return RetentionVerdict::pinned;
    case ThinningVerdict::nearest:
      return RetentionVerdict::nearest;
    case ThinningVerdict::dropped:
      return RetentionVerdict::dropped;
    case ThinningVerdict::remainder:
      return RetentionVerdict::remainder;
    case ThinningVerdict::no_cleanup:
      return RetentionVerdict::no_cleanup;
    case ThinningVerdict::too_young:
      break;
    }
    return RetentionVerdict::too_young;
  }

  Explanations& explanations_;
};

RetentionVerdict verdictOf(RetentionPlan::Rest rest)
{
  switch (rest)
  {
  case RetentionPlan::Rest::awaits_open:
    return RetentionVerdict::awaits_open;
  case RetentionPlan::Rest::no_cleanup:
    return RetentionVerdict::no_cleanup;
  case RetentionPlan::Rest::thinned_before:
    return RetentionVerdict::thinned_before;
  case RetentionPlan::Rest::too_young:
    break;
  }
  return RetentionVerdict::too_young;
}

bool isInStretch(RetentionPlan const& plan, long long time)
{
  return std::ranges::any_of(plan.stretches, [time](ThinningStretch const& stretch)
                             { return stretch.from <= time && time < stretch.to; });
}

TrendQuery trendsOf(Uuid const& value)
{
  TrendQuery query;
  query.value = value;
  return query;
}
} // namespace

RetentionSimulation::RetentionSimulation(DeviceDatabase& source, Uuid const& device, Uuid const& value)
  : copy_("sqlite::memory:"), device_(device), value_(value)
{
  DeviceDatabase::Transaction transaction(copy_);
  copyFrom(source);
  transaction.Commit();
}

void RetentionSimulation::copyFrom(DeviceDatabase& source)
{
  if (std::optional<DeviceDO> const device = source.FindDevice(device_))
    copy_.PutDevice(device_, *device);
  for (TrendSummary const& summary : source.ListTrends(device_, trendsOf(value_)))
  {
    std::optional<TrendDataDO> const trend = source.FindTrend(device_, summary.trend);
    if (!trend)
      throw ExceptionFactory("RetentionSimulation.cpp", __LINE__)
          .createException<DatabaseException>("copy trends: %s was replaced meanwhile",
                                              summary.trend.ToString().c_str());
    copy_.PutTrend(device_, *trend);
  }
  for (StoredCharacteristicValue const& stored : source.ListCharacteristicValues(device_, value_))
  {
    CharacteristicValueDataDO object;
    object.setMeasurementTimeStamp(stored.timeStamp);
    copy_.PutCharacteristicValue(device_, value_, stored.value, object);
  }
  for (long long const bookmark : source.ListBookmarks(device_, value_))
    copy_.PutBookmark(device_, value_, bookmark);
  // Without an anchor there was no run yet, and the copy's ledger is as new as the one of the store.
  if (auto const ledger = RetentionLedger(source, device_, value_).Look(); ledger && ledger->anchor)
  {
    RetentionLedger copied(copy_, device_, value_);
    copied.Take();
    copied.Write(*ledger);
  }
}

RetentionResult RetentionSimulation::Run(RetentionSettings const& settings)
{
  return RetentionRun(copy_, settings).ThinValue(device_, value_);
}

std::vector<RetentionSimulation::Explanation> RetentionSimulation::Explain(RetentionSettings const& settings)
{
  TrendShrinker shrinker(copy_.FindDevice(device_).value_or(DeviceDO()), settings.maxTrendSize,
                         settings.maxDaysTrendDuration);
  ValueThinning thinning(copy_, settings, shrinker, device_, value_);
  RetentionPlan const plan = thinning.Plan();
  std::vector<TrendSummary> trends = copy_.ListTrends(device_, trendsOf(value_));
  std::ranges::reverse(trends);
  Explanations explanations;
  for (TrendSummary const& summary : trends)
  {
    Trend const trend(*copy_.FindTrend(device_, summary.trend));
    for (trend_entry_t const& entry : trend.GetTrendEntryVector())
    {
      if (!summary.isClosed)
        explanations.push_back({entry, RetentionVerdict::open_trend, std::nullopt});
      else if (!isInStretch(plan, entry.TimeStamp))
        explanations.push_back({entry, verdictOf(plan.Judge(entry.TimeStamp)), std::nullopt});
    }
  }
  Recorder recorder(explanations);
  DeviceDatabase::Transaction transaction(copy_);
  thinning.Run(&recorder);
  transaction.Commit();
  std::ranges::stable_sort(explanations, {}, [](Explanation const& told) { return told.entry.TimeStamp; });
  return explanations;
}

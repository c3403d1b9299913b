// How stored trends are thinned without wearing them out.
//
// The idea. A shrinker starts its periods at the first entry that it is given. Were it given a trend that it has
// thinned before, its slots would shift, and each run would take a little more: of a series of every five minutes that
// shall keep 24 entries a day, 24.0 remain after one run, 20.5 after two and 19 after five. So the store keeps a ledger
// for each characteristic value: a time at which its periods start, once and for all, and how far each age class has
// been applied. A run hands the shrinker only whole periods that have come of age for a class since then, with that
// start written into the first time stamp, so that every stretch is thinned once by each class, and always with the
// same slots. A run costs what has come of age, not what is stored.
//
// What is rewritten. A trend that reaches into such a stretch is read; its entries within are thinned, all others are
// kept bit for bit; what remains is written as new trends in its place. Where a younger class has been at work and an
// older one is still to come, new trends hold one day each, so that the older one finds its periods in trends of their
// own. Behind the last class small trends are joined once there are 32 of them, and not again.
//
// What comes late. A closed trend that is put into a time that was thinned already sets the ledger back to its first
// entry, and the next run thins from there on. That does no harm: with the same slots an entry that stayed stays. The
// same happens to a class whose count in the device's details has changed.
//
// What is pinned. Entries that were recorded together with a stored characteristic value or that a bookmark names; and,
// when asked for, the smallest and the largest value of each period. Values that no entry was recorded with are left
// out: to the shrinker one between two entries would hide the next one. Of several entries with one time stamp only the
// first is pinned; thinning orders them by status, so that after a second thinning, by an older class or for a late
// trend, it may be another one of them.
//
// What is checked. Before a value is committed, ThinningCheck finds out by other means that nothing is there that was
// not there before, and that nothing young, pinned or last of its status in a slot has gone.

#include "store/RetentionRun.h"

#include "platform/VelmoraException.h"
#include "platform/database/DeviceDO.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "store/ValueThinning.h"

namespace
{
/// A device that has no details keeps everything.
TrendShrinker makeShrinker(DeviceDatabase& database, RetentionSettings const& settings, Uuid const& device)
{
  return {database.FindDevice(device).value_or(DeviceDO()), settings.maxTrendSize, settings.maxDaysTrendDuration};
}

RetentionResult thinOrReport(DeviceDatabase& database, RetentionSettings const& settings, TrendShrinker& shrinker,
                             Uuid const& device, Uuid const& value)
{
  RetentionResult failed;
  failed.device = device;
  failed.value = value;
  try
  {
    ValueThinning thinning(database, settings, shrinker, device, value);
    RetentionPlan const plan = thinning.Plan();
    failed.awaitedFrom = thinning.AwaitedFrom(plan);
    // Most runs find nothing to do, and then take no lock and write nothing.
    if (!thinning.IsDue(plan))
      return failed;
    DeviceDatabase::Transaction transaction(database);
    RetentionResult result = thinning.Run(nullptr);
    transaction.Commit();
    result.awaitedFrom = failed.awaitedFrom;
    return result;
  }
  catch (std::exception const& exception)
  {
    failed.error = exception.what();
  }
  return failed;
}
} // namespace

RetentionRun::RetentionRun(DeviceDatabase& database, RetentionSettings const& settings)
  : database_(database), settings_(settings)
{
}

void RetentionRun::ThinDevice(Uuid const& device, Observer const& report)
{
  TrendShrinker shrinker = makeShrinker(database_, settings_, device);
  for (Uuid const& value : database_.ListTrendValues(device))
    report(thinOrReport(database_, settings_, shrinker, device, value));
}

RetentionResult RetentionRun::ThinValue(Uuid const& device, Uuid const& value)
{
  TrendShrinker shrinker = makeShrinker(database_, settings_, device);
  return thinOrReport(database_, settings_, shrinker, device, value);
}

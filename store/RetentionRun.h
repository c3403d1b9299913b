#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TrendRecord.h"
#include "store/Export.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

class DeviceDatabase;

/// How a run thins; the counts of the age classes are those of the device's own details.
struct RetentionSettings
{
  long long now = 0;                       ///< the time from which ages count, microseconds since 1970
  unsigned int maxTrendSize = 100000;      ///< most entries of one trend that the run makes
  unsigned int maxDaysTrendDuration = 366; ///< handed to the thinning; never shortens below maxTrendSize
  /// Pins the smallest and the largest value of each period; of entries with one time stamp only the first counts.
  bool keepPeaks = false;
};

/// What a run did with the trends of one characteristic value, or why it left them alone. Counts are those of the
/// trends that it read and of those that stand in their place now; trends that had nothing new to thin do not count.
struct RetentionResult
{
  struct Amount
  {
    unsigned long long trends = 0;
    unsigned long long entries = 0;
    unsigned long long bytes = 0; ///< of records and details documents

    Amount& operator+=(Amount const& more)
    {
      trends += more.trends;
      entries += more.entries;
      bytes += more.bytes;
      return *this;
    }
    Amount& operator-=(Amount const& less)
    {
      trends -= less.trends;
      entries -= less.entries;
      bytes -= less.bytes;
      return *this;
    }
  };

  Uuid device;
  Uuid value;
  Amount before;
  Amount after;
  unsigned long long bytesRead = 0; ///< of records and details documents, those of trends that stayed as they are too
  /// Where an open trend begins behind which closed ones reach that have come of age, but wait for it.
  std::optional<long long> awaitedFrom;
  std::string error; ///< empty when all went well; otherwise nothing of this value was changed
};

/// Thins the closed trends of a store by age, as TrendShrinker does, each stretch once per age class.
///
/// RetentionRun.cpp tells how. Each characteristic value is one transaction: read, thin, check, replace, commit. A
/// value that fails keeps its rows and is reported, and the run goes on with the next one. Open trends are never
/// touched, nor is any period that an open trend reaches into. A run that is cut off can simply be started again.
///
/// Threads. One run belongs to one thread; runs over different devices may go on at once, each with a DeviceDatabase of
/// its own.
class QEN_STORE_EXPORT RetentionRun
{
public:
  using Observer = std::function<void(RetentionResult const&)>;

  /// @param database must live as long as the run
  RetentionRun(DeviceDatabase& database, RetentionSettings const& settings);

  /// Thins all characteristic values of a device.
  /// @param report is called for each of them
  /// Throws DatabaseException when the device or the list of its values cannot be read, OptionException for details
  /// whose counts are no numbers.
  void ThinDevice(Uuid const& device, Observer const& report);
  /// Thins one characteristic value of a device. Throws as ThinDevice does.
  RetentionResult ThinValue(Uuid const& device, Uuid const& value);

private:
  DeviceDatabase& database_;
  RetentionSettings settings_;
};

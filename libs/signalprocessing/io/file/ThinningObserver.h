#pragma once

#include "signalprocessing/io/file/TrendRecord.h"
#include "utilities/Export.h"

/// What thinning decided about an entry.
enum class ThinningVerdict
{
  too_young,  ///< kept: its period has not come of age
  no_cleanup, ///< kept: its age class keeps everything
  pinned,     ///< kept: recorded together with a stored characteristic value
  nearest,    ///< kept: of its status class, the entry nearest to the centre of its slot
  dropped,    ///< gone: another entry of its status class stays for its slot
  remainder   ///< gone: it lies behind the last slot of its period
};

/// Told of every entry while trends are thinned, in the order in which it is decided. What an observer throws ends the
/// run.
class QEN_FILE_IO_EXPORT ThinningObserver
{
public:
  ThinningObserver();
  virtual ~ThinningObserver();
  /// @param inFavourOf of a dropped entry: the one that stays for it, in its slot; null otherwise
  virtual void Observe(trend_entry_t const& entry, ThinningVerdict verdict, trend_entry_t const* inFavourOf) = 0;

protected:
  ThinningObserver(ThinningObserver const&);
  ThinningObserver& operator=(ThinningObserver const&);
};

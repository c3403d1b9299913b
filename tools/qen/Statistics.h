#pragma once

#include "signalprocessing/io/file/TimeSignal.h"

/// Figures of the physical values of a signal, in its unit.
struct Statistics
{
  double minimum, maximum;
  double mean;
  double rms;  ///< the mean is not removed
  double peak; ///< largest absolute value
  double crestFactor;
  double kurtosis; ///< fourth central moment over the squared variance; 3 for Gaussian noise
};

/// Takes memory for a block, not for the signal, which is uncompressed when it is compressed. A signal without samples
/// has no figures: all are not-a-number.
Statistics StatisticsOf(TimeSignal& signal);

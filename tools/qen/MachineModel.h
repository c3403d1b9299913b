#pragma once

#include "Details.h"

#include "signalprocessing/io/file/TrendRecord.h"

#include <cstddef>
#include <vector>

/// A simulated accelerometer on a machine whose rolling bearing has a fault on its outer race.
///
/// The model is the usual one of the literature: each time a rolling element passes the fault it strikes a resonance of
/// the structure, which rings and decays (P. D. McFadden, J. D. Smith, "Model for the vibration produced by a single
/// point defect in a rolling element bearing", Journal of Sound and Vibration 96, 1984); because the elements slip, the
/// strikes are not quite periodic but each interval varies at random (R. B. Randall, J. Antoni, "Rolling element
/// bearing diagnostics: a tutorial", Mechanical Systems and Signal Processing 25, 2011). To these come harmonics of the
/// shaft, broadband noise and the constant bias of a sensor:
///
///   x(t) = bias + sum over h of a(h) sin(2 pi h f_shaft t)
///               + sum over strikes i with t(i) <= t of A(i) exp(-zeta w s) sin(w s)
///               + noise,                                     s = t - t(i),  w = 2 pi f_resonance
///   t(i+1) = t(i) + (1 + slip g) / f_outer,  A(i) = strength (1 + spread g),  g of zero mean and unit variance
///
/// The same seed gives the same samples on every processor and with every library: only +, -, x, / of doubles are used,
/// no mathematical library and none of the standard distributions.
namespace MachineModel
{
inline constexpr int kRate = 51200; ///< Hz
inline constexpr char kUnit[] = "g";
inline constexpr double kUnitPerCount = 0.001; ///< g

inline constexpr double kShaft = 29.95;                          ///< Hz: 1797 revolutions per minute
inline constexpr double kHarmonics[] = {0.30, 0.12, 0.06, 0.03}; ///< g, of the shaft, from the first on
inline constexpr int kRollingElements = 9;
inline constexpr double kDiameterRatio = 0.2; ///< rolling element to pitch circle; the contact angle is 0
/// Hz: how often a rolling element passes a point of the outer race.
inline constexpr double kOuterRace = kRollingElements * kShaft * (1 - kDiameterRatio) / 2;
inline constexpr double kSlip = 0.01;      ///< standard deviation of an interval, in intervals
inline constexpr double kStrength = 3.0;   ///< g
inline constexpr double kSpread = 0.1;     ///< standard deviation of a strike, in strikes
inline constexpr double kResonance = 3500; ///< Hz
inline constexpr double kDamping = 0.05;   ///< of critical damping
inline constexpr double kNoise = 0.1;      ///< g, standard deviation
inline constexpr double kBias = 0.137;     ///< g

/// Samples in counts of kUnitPerCount, rounded to the nearest and limited to 16 bits.
std::vector<short> Samples(std::size_t count, unsigned long long seed);

/// What the monitoring device would note beside them: the level that starts a measurement, the speed of the shaft, and
/// how often its outer race is struck.
Details Annotations();

inline constexpr double kPreAlarm = 0.35; ///< g, RMS, from which entries of the trend have status 2
inline constexpr double kAlarm = 0.5;     ///< g, RMS, from which they have status 3
/// The machine's vibration over weeks in which the fault grows with the square of time up to its strength above: the
/// RMS value of what Samples models, without the bias, every five minutes, measured with 2 % uncertainty. The strikes
/// do not overlap: the square of the RMS is the sum of
///
///   a(h)^2 / 2 of each harmonic,  noise^2,  f_outer strength^2 / (4 zeta w (1 + zeta^2))
std::vector<trend_entry_t> Trend(long long end, int weeks, unsigned long long seed);
} // namespace MachineModel

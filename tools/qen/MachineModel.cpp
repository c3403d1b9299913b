#include "MachineModel.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
constexpr double kPi = 3.14159265358979323846;

/// Random numbers: Steele, Lea and Flood's SplitMix64, whose sequence a seed fixes.
class Generator
{
public:
  explicit Generator(unsigned long long seed) : state_(seed) {}

  /// Sum of four uniform 16-bit numbers, brought to mean 0 and variance 1: close to Gaussian, and exact everywhere.
  double Next()
  {
    constexpr double kMean = 131070;
    constexpr double kDeviation = 37837.227237;
    unsigned long long const bits = NextBits();
    double sum = 0;
    for (int shift = 0; shift < 64; shift += 16)
      sum += static_cast<double>((bits >> shift) & 0xFFFF);
    return (sum - kMean) / kDeviation;
  }

private:
  unsigned long long NextBits()
  {
    state_ += 0x9E3779B97F4A7C15;
    unsigned long long bits = state_;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31);
  }

  unsigned long long state_;
};

/// A complex number with the textbook product; the library's also looks for not-a-number.
struct Phasor
{
  double real, imaginary;
};

Phasor operator*(Phasor a, Phasor b)
{
  return {a.real * b.real - a.imaginary * b.imaginary, a.real * b.imaginary + a.imaginary * b.real};
}

/// The exponential by its power series; REQUIRES an argument of magnitude below 1.
Phasor Exponential(Phasor exponent)
{
  constexpr int kTerms = 20;
  Phasor sum{1, 0};
  Phasor term{1, 0};
  for (int n = 1; n <= kTerms; ++n)
  {
    term = term * exponent;
    term = {term.real / n, term.imaginary / n};
    sum = {sum.real + term.real, sum.imaginary + term.imaginary};
  }
  return sum;
}

/// The harmonics of the shaft: one phasor each, turned on by one sample at a time.
class Shaft
{
public:
  Shaft()
  {
    double harmonic = 1;
    for (double amplitude : MachineModel::kHarmonics)
    {
      turns_.push_back(Exponential({0, 2 * kPi * harmonic * MachineModel::kShaft / MachineModel::kRate}));
      phasors_.push_back({amplitude, 0});
      ++harmonic;
    }
  }

  double Next()
  {
    double sum = 0;
    for (std::size_t h = 0; h < phasors_.size(); ++h)
    {
      sum += phasors_[h].imaginary;
      phasors_[h] = phasors_[h] * turns_[h];
    }
    return sum;
  }

private:
  std::vector<Phasor> turns_;
  std::vector<Phasor> phasors_;
};

/// The ringing structure: a decaying phasor, to which strikes add at their own time between samples.
class Bearing
{
public:
  double Next(Generator& random)
  {
    ringing_ = ringing_ * turn_;
    while (nextStrike_ <= static_cast<double>(index_))
      Strike(random);
    ++index_;
    return ringing_.imaginary;
  }

private:
  static constexpr double kInterval = MachineModel::kRate / MachineModel::kOuterRace; ///< in samples

  static Phasor PerSample()
  {
    double const angle = 2 * kPi * MachineModel::kResonance / MachineModel::kRate;
    return {-MachineModel::kDamping * angle, angle};
  }

  void Strike(Generator& random)
  {
    double const since = static_cast<double>(index_) - nextStrike_;
    Phasor const decayed = Exponential({PerSample().real * since, PerSample().imaginary * since});
    double const strength = MachineModel::kStrength * (1 + MachineModel::kSpread * random.Next());
    ringing_ = {ringing_.real + strength * decayed.real, ringing_.imaginary + strength * decayed.imaginary};
    nextStrike_ += kInterval * (1 + MachineModel::kSlip * random.Next());
  }

  Phasor const turn_ = Exponential(PerSample());
  Phasor ringing_{0, 0};
  double nextStrike_ = kInterval / 2;
  unsigned long index_ = 0;
};

short ToCounts(double value)
{
  using Counts = std::numeric_limits<short>;
  double const counts = value / MachineModel::kUnitPerCount;
  return static_cast<short>(std::lround(std::clamp<double>(counts, Counts::min(), Counts::max())));
}
} // namespace

std::vector<short> MachineModel::Samples(std::size_t count, unsigned long long seed)
{
  Generator random(seed);
  Shaft shaft;
  Bearing bearing;
  std::vector<short> samples(count);
  for (short& sample : samples)
  {
    double const machine = shaft.Next() + bearing.Next(random);
    sample = ToCounts(kBias + machine + kNoise * random.Next());
  }
  return samples;
}

std::vector<trend_entry_t> MachineModel::Trend(long long end, int weeks, unsigned long long seed)
{
  constexpr int kEntriesPerWeek = 7 * 24 * 12;
  constexpr long long kSpacing = 300000000;
  constexpr double kUncertainty = 0.02;
  constexpr double kStrikes =
      kOuterRace * kStrength * kStrength / (8 * kPi * kResonance * kDamping * (1 + kDamping * kDamping));
  double healthy = kNoise * kNoise;
  for (double const amplitude : kHarmonics)
    healthy += amplitude * amplitude / 2;
  Generator random(seed);
  int const count = weeks * kEntriesPerWeek;
  std::vector<trend_entry_t> entries(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
  {
    double const elapsed = static_cast<double>(i) / count;
    double const growth = elapsed * elapsed;
    trend_entry_t& entry = entries[static_cast<std::size_t>(i)];
    std::memset(&entry, 0, sizeof(entry)); // its padding is stored, too
    entry.TimeStamp = end - (count - i) * kSpacing;
    entry.Value = std::sqrt(healthy + kStrikes * growth * growth) * (1 + kUncertainty * random.Next());
    entry.Status = entry.Value >= kAlarm ? 3 : entry.Value >= kPreAlarm ? 2 : 1;
  }
  return entries;
}

Details MachineModel::Annotations()
{
  constexpr double kPerMinute = 60;
  constexpr double kSpeed = kShaft * kPerMinute;
  Details details;
  details.unit = std::string(kUnit); // GCC 12 warns wrongly of a plain assignment
  details.trigger = {Uuid("7a0c1d52-3f0e-4c5b-9d56-0b8a4c1de001"), kStrength, Uuid(), kUnit};
  details.validators = {{Uuid("7a0c1d52-3f0e-4c5b-9d56-0b8a4c1de002"), kSpeed, Uuid(), "rpm"}};
  details.values = {
      {Uuid("7a0c1d52-3f0e-4c5b-9d56-0b8a4c1de003"), kOuterRace, Uuid(), "Hz", static_cast<float>(kSpeed)}};
  return details;
}

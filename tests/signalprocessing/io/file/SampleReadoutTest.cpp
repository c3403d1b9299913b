#include "platform/Compression.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "support/Expectations.h"
#include "support/SampleArrays.h"
#include "support/SampleModels.h"
#include "support/SampleSignals.h"
#include "support/SignalState.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace
{
constexpr int kAll = -1;

std::vector<double> Doubles(TimeSignal& signal, int count = kAll)
{
  std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, count));
  return *values;
}

struct Fract
{
  float scale;
  std::vector<short> values;
};

constexpr float kUnset = 123.0F;

Fract Fracts(TimeSignal& signal, int count = kAll)
{
  float scale = kUnset;
  std::unique_ptr<std::vector<short>> const values(TimeSignal::SamplesToFract(signal, scale, count));
  return {scale, *values};
}

/// Scale and values of the block-scaled form of all samples.
template <class T>
void ExpectFract(std::vector<T> const& samples, float scale, std::vector<short> const& values)
{
  TimeSignal signal = SignalOf(samples);
  Fract const actual = Fracts(signal);
  EXPECT_TRUE(SameBits(actual.scale, scale)) << actual.scale << " instead of " << scale;
  EXPECT_EQ(actual.values, values);
}

/// The physical values of the first samples, zeros where there are no samples left.
template <class T>
std::vector<double> PlainDoubles(std::vector<T> const& samples, timesignal_bin_t const& header, std::size_t count)
{
  std::vector<double> values(count);
  for (std::size_t i = 0; i < std::min(count, samples.size()); ++i)
    values[i] = PlainPhysicalValue(samples[i], header.Offset, header.ScalingFactor);
  return values;
}

template <class T>
void ExpectPlainReadout(TimeSignal& signal, std::vector<T> const& samples, int count)
{
  std::size_t const wanted = count < 0 ? samples.size() : std::min(samples.size(), static_cast<std::size_t>(count));
  EXPECT_EQ(FirstDifference(Doubles(signal, count), PlainDoubles(samples, *signal.GetHeader(), wanted)), kNoDifference);
  PlainFract expected = PlainSamplesToFract<T>(samples);
  expected.values.resize(wanted);
  Fract const actual = Fracts(signal, count);
  EXPECT_TRUE(SameBits(actual.scale, expected.scale)) << actual.scale << " instead of " << expected.scale;
  EXPECT_EQ(actual.values, expected.values);
}

/// Samples of every magnitude that the type has, some with a special value among them.
template <class T>
std::vector<T> RandomSamples(std::mt19937_64& random, std::size_t count)
{
  if (random() % 4 == 0)
    return RandomBits<T>(count, random());
  int const bits = std::is_integral_v<T> ? 1 + static_cast<int>(random() % 64) : static_cast<int>(random() % 120) - 60;
  std::vector<T> samples = OrdinarySamples<T>(count, random(), bits);
  if (count != 0 && random() % 4 == 0)
    samples[random() % count] = SpecialSamples<T>()[random() % SpecialSamples<T>().size()];
  return samples;
}

double const kInfinity = std::numeric_limits<double>::infinity();
double const kNan = std::numeric_limits<double>::quiet_NaN();
float const kInfinityF = std::numeric_limits<float>::infinity();
float const kNanF = std::numeric_limits<float>::quiet_NaN();

/// 32767 x 2^30: the largest peak whose scale is a positive 32-bit number.
constexpr long long kLastPositiveScale = 35183298347008;
} // namespace

// --- how many samples

TEST(SampleReadout, CountBelowZeroOrBeyondTheSamplesMeansAll)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  for (int const count : {-1, -2, std::numeric_limits<int>::min(), 3, 4, 8, std::numeric_limits<int>::max()})
  {
    EXPECT_EQ(Doubles(signal, count), (std::vector<double>{-1.0, -0.5, 0.0})) << count;
    EXPECT_EQ(Fracts(signal, count).values.size(), 3U) << count;
  }
}

TEST(SampleReadout, CountLimitsTheResult)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  EXPECT_EQ(Doubles(signal, 0), std::vector<double>());
  EXPECT_EQ(Doubles(signal, 1), (std::vector<double>{-1.0}));
  EXPECT_EQ(Doubles(signal, 2), (std::vector<double>{-1.0, -0.5}));
  EXPECT_EQ(Fracts(signal, 2).values, (std::vector<short>{8192, 16384}));
}

TEST(SampleReadout, ScaleIsTakenFromAllSamplesWhateverTheCount)
{
  TimeSignal signal = SignalOf<short>({1, 2, -200});
  for (int const count : {0, 1, 2, 3, kAll})
  {
    Fract const fract = Fracts(signal, count);
    EXPECT_EQ(fract.scale, 0.0078125F) << count;
    EXPECT_EQ(fract.values.size(), count < 0 ? 3U : static_cast<unsigned>(count));
  }
  EXPECT_EQ(Fracts(signal, 1).values, (std::vector<short>{128}));
}

TEST(SampleReadout, EmptySignalGivesEmptyResultsAndScaleOne)
{
  for (sample_datatype32_t const type : kSampleTypes)
  {
    TimeSignal signal = MakeSignal(type, 0, nullptr);
    EXPECT_EQ(Doubles(signal), std::vector<double>());
    EXPECT_EQ(Doubles(signal, 5), std::vector<double>());
    Fract const fract = Fracts(signal, 5);
    EXPECT_EQ(fract.values, std::vector<short>());
    EXPECT_EQ(fract.scale, 1.0F);
  }
}

// The comparison of counts is made in 64 bits: 2^32 + 1 samples are more than 2.
TEST(SampleReadout, CountIsComparedInSixtyFourBits)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleCount = 0x100000001ULL;
  EXPECT_EQ(Doubles(signal, 2), (std::vector<double>{-1.0, -0.5}));
  EXPECT_EQ(Fracts(signal, 2).values, (std::vector<short>{8192, 16384}));
  signal.GetHeader()->SampleCount = ~0ULL;
  EXPECT_EQ(Doubles(signal, 4), (std::vector<double>{-1.0, -0.5, 0.0, 0.0}));
}

TEST(SampleReadout, ResultThatNoMemoryHoldsIsBadAlloc)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  for (unsigned long long const announced : {~0ULL, 1ULL << 63, 1ULL << 62})
  {
    signal.GetHeader()->SampleCount = announced;
    float scale = kUnset;
    EXPECT_THROW(std::unique_ptr<std::vector<double>>(TimeSignal::SamplesToDouble(signal, kAll)), std::bad_alloc);
    EXPECT_THROW(std::unique_ptr<std::vector<short>>(TimeSignal::SamplesToFract(signal, scale, kAll)), std::bad_alloc);
  }
}

// --- physical values

TEST(SampleReadout, PhysicalValueIsSampleLessOffsetTimesScalingFactor)
{
  SignalParts parts;
  parts.offset = 1.0;
  parts.scalingFactor = 0.5;
  TimeSignal signal = SignalOf<short>({100, -200}, parts);
  EXPECT_EQ(Doubles(signal), (std::vector<double>{49.5, -100.5}));
}

TEST(SampleReadout, PhysicalValuesOfEveryTypeAtItsLimits)
{
  SignalParts parts;
  parts.offset = 1;
  parts.scalingFactor = 2;
  auto const read = [&]<class T>(std::vector<T> const& samples)
  {
    TimeSignal signal = SignalOf(samples, parts);
    return Doubles(signal);
  };
  using Values = std::vector<double>;
  EXPECT_EQ(read(std::vector<signed char>{-128, 127}), (Values{-258, 252}));
  EXPECT_EQ(read(std::vector<short>{-32768, 32767}), (Values{-65538, 65532}));
  EXPECT_EQ(read(std::vector<int>{-2147483647 - 1, 2147483647}), (Values{-4294967298.0, 4294967292.0}));
  EXPECT_EQ(read(std::vector<unsigned char>{0, 255}), (Values{-2, 508}));
  EXPECT_EQ(read(std::vector<unsigned short>{0, 65535}), (Values{-2, 131068}));
  EXPECT_EQ(read(std::vector<unsigned int>{0, 4294967295U}), (Values{-2, 8589934588.0}));
  EXPECT_EQ(read(std::vector<float>{0.5F, -1.25F}), (Values{-1.0, -4.5}));
  EXPECT_EQ(read(std::vector<double>{0.5, -1.25}), (Values{-1.0, -4.5}));
}

TEST(SampleReadout, SixtyFourBitSamplesRoundToTheNearestDouble)
{
  SignalParts parts;
  parts.offset = 0;
  parts.scalingFactor = 1;
  TimeSignal longs = SignalOf<long long>({9007199254740993LL, 9007199254740995LL, std::numeric_limits<long long>::max(),
                                          std::numeric_limits<long long>::min()},
                                         parts);
  EXPECT_EQ(Doubles(longs), (std::vector<double>{9007199254740992.0, 9007199254740996.0, 9223372036854775808.0,
                                                 -9223372036854775808.0}));
  TimeSignal unsignedLongs = SignalOf<unsigned long long>({9007199254740993ULL, ~0ULL}, parts);
  EXPECT_EQ(Doubles(unsignedLongs), (std::vector<double>{9007199254740992.0, 18446744073709551616.0}));
}

// Multiplied first, both terms of the second signal would overflow.
TEST(SampleReadout, SubtractionComesBeforeMultiplication)
{
  SignalParts parts;
  parts.offset = 0.1;
  parts.scalingFactor = 3.0;
  TimeSignal signal = SignalOf<double>({0.3}, parts);
  double const volatile difference = 0.3 - 0.1;
  EXPECT_EQ(Doubles(signal)[0], difference * 3.0);
  parts.offset = 1e308;
  parts.scalingFactor = 10;
  TimeSignal large = SignalOf<double>({1e308}, parts);
  EXPECT_EQ(Doubles(large)[0], 0.0);
}

TEST(SampleReadout, FloatsWidenExactly)
{
  SignalParts parts;
  parts.offset = 0;
  parts.scalingFactor = 1;
  TimeSignal signal = SignalOf<float>({0.1F, 1.4012985e-45F, -0.0F, kInfinityF, -kInfinityF, kNanF}, parts);
  std::vector<double> const values = Doubles(signal);
  EXPECT_EQ(values[0], 0.100000001490116119384765625);
  EXPECT_EQ(values[1], 0x1p-149);
  EXPECT_TRUE(SameBits(values[2], -0.0));
  EXPECT_EQ(values[3], kInfinity);
  EXPECT_EQ(values[4], -kInfinity);
  EXPECT_TRUE(std::isnan(values[5]));
}

TEST(SampleReadout, DoublesKeepZerosDenormalsAndInfinities)
{
  SignalParts parts;
  parts.offset = 0;
  parts.scalingFactor = 1;
  std::vector<double> const samples = {-0.0, 0x1p-1074, -0x1p-1074, kInfinity, -kInfinity, kNan, 1e308};
  TimeSignal signal = SignalOf(samples, parts);
  EXPECT_EQ(FirstDifference(Doubles(signal), samples), kNoDifference);
}

TEST(SampleReadout, ScalingThatIsNoNumberGoesIntoEveryValue)
{
  SignalParts parts;
  parts.scalingFactor = kNan;
  TimeSignal scaled = SignalOf<short>({1, 2}, parts);
  for (double const value : Doubles(scaled))
    EXPECT_TRUE(std::isnan(value));
  parts.scalingFactor = 0;
  parts.offset = kInfinity;
  TimeSignal shifted = SignalOf<short>({1, 2}, parts);
  for (double const value : Doubles(shifted))
    EXPECT_TRUE(std::isnan(value));
}

// --- block-scaled values: the scale

TEST(SampleReadout, SmallIntegersShiftLeft)
{
  ExpectFract<short>({100, -200}, 0.0078125F, {12800, -25600});
  ExpectFract<signed char>({127, -128}, 0.0078125F, {16256, -16384});
  ExpectFract<int>({1, 0, -1}, 0x1p-14F, {16384, 0, -16384});
  ExpectFract<unsigned char>({255, 1}, 0x1p-7F, {32640, 128});
  ExpectFract<long long>({-3, 3}, 0x1p-13F, {-24576, 24576});
  ExpectFract<unsigned long long>({5, 0}, 0x1p-12F, {20480, 0});
}

TEST(SampleReadout, LargeIntegersShiftRight)
{
  ExpectFract<int>({65535, -3}, 4.0F, {16383, -1});
  ExpectFract<int>({65534, -3}, 2.0F, {32767, -2});
  ExpectFract<short>({-32768, 32767, -1, 1}, 2.0F, {-16384, 16383, -1, 0});
  ExpectFract<unsigned short>({65535, 32767, 3}, 4.0F, {16383, 8191, 0});
  ExpectFract<unsigned int>({4294967295U, 131072}, 0x1p18F, {16383, 0});
  ExpectFract<int>({-2147483647 - 1, -1, 2147483647}, 0x1p17F, {-16384, -1, 16383});
}

TEST(SampleReadout, PeakOfThirtyTwoThousandSevenHundredSixtySevenIsTheLastThatFits)
{
  ExpectFract<short>({32767, -5}, 1.0F, {32767, -5});
  ExpectFract<short>({-32767, -5}, 1.0F, {-32767, -5});
  ExpectFract<unsigned short>({32767}, 1.0F, {32767});
  ExpectFract<unsigned short>({32768, 1}, 2.0F, {16384, 0});
  ExpectFract<short>({16384}, 1.0F, {16384});
  ExpectFract<short>({16383}, 0.5F, {32766});
  ExpectFract<float>({32767.0F}, 1.0F, {32767});
  ExpectFract<float>({32767.5F, -32767.5F}, 2.0F, {16383, -16383});
  ExpectFract<double>({16383.5}, 0.5F, {32767});
  ExpectFract<double>({16384.0, 0.75, -0.75}, 1.0F, {16384, 0, 0});
  ExpectFract<double>({std::nextafter(32767.0, 40000.0)}, 2.0F, {16383});
}

TEST(SampleReadout, EveryPowerOfTwoAndItsNeighboursChooseTheirScale)
{
  for (int bit = 0; bit < 63; ++bit)
    for (int step = -1; step <= 1; ++step)
    {
      std::vector<long long> const samples = {(1LL << bit) + step, -7, 0};
      TimeSignal signal = SignalOf(samples);
      ExpectPlainReadout(signal, samples, kAll);
    }
}

// Peaks of up to 52 bits, which double precision holds exactly.
TEST(SampleReadout, IntegersUseTheSixteenBitsAndNeverWrap)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        if constexpr (std::is_integral_v<T>)
          for (int bits = 1; bits <= std::min(52, std::numeric_limits<T>::digits); ++bits)
          {
            std::vector<T> samples = OrdinarySamples<T>(20, static_cast<std::uint64_t>(bits), bits);
            samples[7] = static_cast<T>(T{1} << (bits - 1)); // never all zero
            TimeSignal signal = SignalOf(samples);
            Fract const fract = Fracts(signal);
            int scaledPeak = 0;
            for (std::size_t i = 0; i < samples.size(); ++i)
            {
              scaledPeak = std::max(scaledPeak, std::abs(int{fract.values[i]}));
              EXPECT_TRUE(fract.values[i] == 0 || (fract.values[i] < 0) == (samples[i] < 0)) << bits;
            }
            EXPECT_LE(scaledPeak, 32767) << bits;
            EXPECT_GE(scaledPeak, PlainPeak<T>(samples) > 32767.0 ? 16383 : 16384) << bits;
          }
      });
}

TEST(SampleReadout, FractionsOfDoublesShiftLeft)
{
  ExpectFract<double>({0.25, -0.5}, 0x1p-15F, {8192, -16384});
  ExpectFract<float>({0.25F, -0.5F}, 0x1p-15F, {8192, -16384});
}

TEST(SampleReadout, FloatingValuesTruncateTowardsZero)
{
  ExpectFract<double>({20000.0, 1.9, -1.9, 0.9, -0.9}, 1.0F, {20000, 1, -1, 0, 0});
  ExpectFract<float>({40000.0F, 3.9F, -3.9F, 1.9F}, 2.0F, {20000, 1, -1, 0});
}

TEST(SampleReadout, OffsetAndScalingFactorDoNotMatter)
{
  SignalParts parts;
  parts.offset = kNan;
  parts.scalingFactor = 1000;
  TimeSignal signal = SignalOf<short>({100, -200}, parts);
  Fract const fract = Fracts(signal);
  EXPECT_EQ(fract.scale, 0.0078125F);
  EXPECT_EQ(fract.values, (std::vector<short>{12800, -25600}));
}

TEST(SampleReadout, AllZeroSignalHasScaleOne)
{
  ForEachSampleElement([]<class T>(std::type_identity<T>, sample_datatype32_t)
                       { ExpectFract(std::vector<T>(5), 1.0F, std::vector<short>(5)); });
  ExpectFract<double>({-0.0, 0.0}, 1.0F, {0, 0});
  ExpectFract<float>({-0.0F}, 1.0F, {0});
}

TEST(SampleReadout, PeakIsFoundAtEveryPlace)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (std::size_t place = 0; place < 70; ++place)
        {
          std::vector<T> samples(70, T{3});
          samples[place] = T{100};
          TimeSignal signal = SignalOf(samples);
          Fract const fract = Fracts(signal, 0);
          EXPECT_EQ(fract.scale, 0x1p-8F) << place;
        }
      });
}

TEST(SampleReadout, NegativePeakCountsInFull)
{
  ExpectFract<signed char>({-128, 127}, 0x1p-7F, {-16384, 16256});
  ExpectFract<short>({-32768}, 2.0F, {-16384});
  ExpectFract<float>({-40000.0F, 5.0F}, 2.0F, {-20000, 2});
  ExpectFract<long long>({std::numeric_limits<long long>::min(), -1}, 0.0F, {-16384, -1});
}

// --- block-scaled values: the boundaries of the scale

TEST(SampleReadout, PeakOfTwoToTheThirtyTimesFullScaleHasTheLastPositiveScale)
{
  ExpectFract<long long>({kLastPositiveScale, -kLastPositiveScale}, 1073741824.0F, {32767, -32767});
  ExpectFract<unsigned long long>({kLastPositiveScale}, 1073741824.0F, {32767});
  ExpectFract<double>({static_cast<double>(kLastPositiveScale), -5.0}, 1073741824.0F, {32767, 0});
  ExpectFract<float>({static_cast<float>(kLastPositiveScale), -5.0F}, 1073741824.0F, {32767, 0});
}

// 32767 x 2^30 + 1, shifted by 31. A scale of -2^31 turns the sign of floating values.
TEST(SampleReadout, ShiftOfThirtyOneReportsANegativeScale)
{
  ExpectFract<long long>({kLastPositiveScale + 1, -kLastPositiveScale}, -2147483648.0F, {16383, -16384});
  ExpectFract<unsigned long long>({kLastPositiveScale + 1}, -2147483648.0F, {16383});
  ExpectFract<long long>({2 * kLastPositiveScale}, -2147483648.0F, {32767});
  ExpectFract<double>({static_cast<double>(kLastPositiveScale) + 1, -4294967296.0}, -2147483648.0F, {-16383, 2});
  ExpectFract<double>({static_cast<double>(2 * kLastPositiveScale)}, -2147483648.0F, {-32767});
  ExpectFract<float>({std::nextafter(static_cast<float>(kLastPositiveScale), kInfinityF), -4294967296.0F},
                     -2147483648.0F, {-16383, 2});
}

TEST(SampleReadout, ShiftOfThirtyTwoAndMoreReportsScaleZero)
{
  ExpectFract<long long>({2 * kLastPositiveScale + 1, -4294967296LL, -1}, 0.0F, {16383, -1, -1});
  ExpectFract<unsigned long long>({2 * kLastPositiveScale + 1, 1ULL << 33}, 0.0F, {16383, 2});
  ExpectFract<long long>({std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()}, 0.0F,
                         {-16384, 16383});
  ExpectFract<unsigned long long>({~0ULL, 1ULL << 50, 1ULL << 49}, 0.0F, {16383, 1, 0});
}

// Divided by a scale of 0, samples are infinite or no number: 2147483647, -2147483648 and 0, of which 16 bits are kept.
TEST(SampleReadout, FloatingValuesOfScaleZeroSaturate)
{
  ExpectFract<double>({static_cast<double>(2 * kLastPositiveScale) + 1, -1.0, 0.0, -0.0, 1e-300, kNan}, 0.0F,
                      {-1, 0, 0, 0, -1, 0});
  ExpectFract<float>({1e30F, -1.0F, 0.0F, -0.0F, 1e-40F, kNanF}, 0.0F, {-1, 0, 0, 0, -1, 0});
  ExpectFract<double>({std::numeric_limits<double>::max()}, 0.0F, {-1});
  ExpectFract<float>({std::numeric_limits<float>::max()}, 0.0F, {-1});
  ExpectFract<double>({std::numeric_limits<double>::lowest()}, 0.0F, {0});
}

TEST(SampleReadout, InfinityIsThePeak)
{
  ExpectFract<double>({1.0, kInfinity, -kInfinity, 0.0, -1.0}, 0.0F, {-1, -1, 0, 0, 0});
  ExpectFract<float>({1.0F, -kInfinityF, kInfinityF, 0.0F, -1.0F}, 0.0F, {-1, 0, -1, 0, 0});
}

TEST(SampleReadout, NanIsNeverThePeakAndBecomesZero)
{
  ExpectFract<double>({kNan, 0.25, kNan, -0.5, kNan}, 0x1p-15F, {0, 8192, 0, -16384, 0});
  ExpectFract<float>({kNanF, 0.25F, -kNanF, -0.5F, kNanF}, 0x1p-15F, {0, 8192, 0, -16384, 0});
  ExpectFract<double>({kNan, kNan}, 1.0F, {0, 0});
  ExpectFract<float>({kNanF, 0.0F}, 1.0F, {0, 0});
}

// 32767 / 2^30, 32767 / 2^31 and the numbers between them and below.
TEST(SampleReadout, TinyPeaksReportNegativeAndInfiniteScales)
{
  ExpectFract<double>({32767 * 0x1p-30, -0x1p-30}, 0x1p-30F, {32767, -1});
  ExpectFract<double>({std::nextafter(32767 * 0x1p-31, 1.0)}, 0x1p-30F, {16383});
  ExpectFract<double>({32767 * 0x1p-31, -0x1p-31}, -0x1p-31F, {-32767, 1});
  ExpectFract<double>({std::nextafter(32767 * 0x1p-32, 1.0)}, -0x1p-31F, {-16383});
  ExpectFract<double>({32767 * 0x1p-32, -0x1p-32}, kInfinityF, {0, 0});
  ExpectFract<float>({32767 * 0x1p-30F, -0x1p-30F}, 0x1p-30F, {32767, -1});
  ExpectFract<float>({32767 * 0x1p-31F, -0x1p-31F}, -0x1p-31F, {-32767, 1});
  ExpectFract<float>({32767 * 0x1p-32F, -0x1p-32F, kNanF}, kInfinityF, {0, 0, 0});
}

TEST(SampleReadout, DenormalPeaksReportAnInfiniteScale)
{
  ExpectFract<double>({0x1p-1074, -0x1p-1074, 0.0}, kInfinityF, {0, 0, 0});
  ExpectFract<float>({0x1p-149F, -0x1p-149F, 0.0F}, kInfinityF, {0, 0, 0});
}

// --- unknown types and failures

TEST(SampleReadout, UnknownTypesGiveZerosAndScaleOne)
{
  for (int const type : {0, 11, 99, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    signal.GetHeader()->SampleType = UnknownSampleType(type);
    EXPECT_EQ(Doubles(signal), std::vector<double>(3));
    EXPECT_EQ(Doubles(signal, 2), std::vector<double>(2));
    Fract const fract = Fracts(signal);
    EXPECT_EQ(fract.values, std::vector<short>(3));
    EXPECT_EQ(fract.scale, 1.0F);
    std::vector<double> values(5, 7.0);
    EXPECT_EQ(TimeSignal::SamplesToDouble(signal, values), 3U);
    EXPECT_EQ(values, (std::vector<double>{0.0, 0.0, 0.0, 7.0, 7.0}));
    std::vector<short> fracts(5, 7);
    float scale = kUnset;
    EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, fracts), 3U);
    EXPECT_EQ(fracts, (std::vector<short>{0, 0, 0, 7, 7}));
    EXPECT_EQ(scale, 1.0F);
  }
}

/// Runs all four readouts, each of which must fail alike and change nothing.
template <class Check>
void ForEachReadout(TimeSignal& signal, Check check)
{
  std::vector<double> values(3, 7.0);
  std::vector<short> fracts(3, 7);
  float scale = kUnset;
  SignalState const before(signal);
  check([&] { std::unique_ptr<std::vector<double>>(TimeSignal::SamplesToDouble(signal, kAll)); });
  check([&] { std::unique_ptr<std::vector<short>>(TimeSignal::SamplesToFract(signal, scale, kAll)); });
  check([&] { TimeSignal::SamplesToDouble(signal, values); });
  check([&] { TimeSignal::SamplesToFract(signal, scale, fracts); });
  before.ExpectUnchanged(signal);
  EXPECT_EQ(values, std::vector<double>(3, 7.0));
  EXPECT_EQ(fracts, std::vector<short>(3, 7));
}

TEST(SampleReadout, UnknownCompressionIsReported)
{
  for (int const compression : {3, 0, 5, 99, -1})
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    signal.GetHeader()->Compression = static_cast<compression32_t>(compression);
    ForEachReadout(signal,
                   [&](auto readout)
                   {
                     ExpectThrow<TimeSignalException>(
                         readout, "Unknown compression: " + std::to_string(compression) + "!", kTimeSignalUnit);
                   });
  }
}

TEST(SampleReadout, UnknownTypeOfACompressedSignalIsReported)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.Compress(zlib);
  signal.GetHeader()->SampleType = UnknownSampleType(99);
  ForEachReadout(signal, [](auto readout)
                 { ExpectThrow<TimeSignalException>(readout, "Unknown data type: 99!", kTimeSignalUnit); });
}

TEST(SampleReadout, DamagedStreamIsReported)
{
  for (compression32_t const method : {zlib, gzip})
  {
    TimeSignal signal = SignalOf(RandomBits<short>(100, 1));
    signal.Compress(method);
    signal.GetSamplesPointer()[0] ^= 0xFF;
    ForEachReadout(signal, [](auto readout) { EXPECT_THROW(readout(), CompressionException); });
  }
}

// --- decompression in place

TEST(SampleReadout, CompressedSignalsAreReadLikeUncompressedOnes)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (compression32_t const method : {zlib, gzip})
        {
          std::vector<T> const samples = MixedSamples<T>(333, 9);
          TimeSignal signal = SignalOf(samples);
          signal.Compress(method);
          ExpectPlainReadout(signal, samples, kAll);
        }
      });
}

TEST(SampleReadout, CompressedSignalStaysUncompressedAfterwards)
{
  std::vector<short> const samples = {1, 2, 3, 4};
  TimeSignal const intact = SignalOf(samples);
  for (compression32_t const method : {zlib, gzip})
    for (bool const asDoubles : {true, false})
    {
      TimeSignal signal = SignalOf(samples);
      signal.Compress(method);
      if (asDoubles)
        Doubles(signal, 0);
      else
        Fracts(signal, 0);
      EXPECT_EQ(HeaderBytes(*signal.GetHeader()), HeaderBytes(*intact.GetHeader()));
      EXPECT_EQ(StoredSamples<short>(signal), samples);
    }
}

TEST(SampleReadout, DecompressionIsSeenThroughEverySharingHandle)
{
  for (int readout = 0; readout < 4; ++readout)
  {
    std::vector<short> const samples = {1, 2, 3, 4};
    TimeSignal signal = SignalOf(samples);
    signal.Compress(zlib);
    TimeSignal const other = signal;
    std::vector<double> values(4);
    std::vector<short> fracts(4);
    float scale = kUnset;
    switch (readout)
    {
    case 0:
      Doubles(signal);
      break;
    case 1:
      Fracts(signal);
      break;
    case 2:
      TimeSignal::SamplesToDouble(signal, values);
      break;
    default:
      TimeSignal::SamplesToFract(signal, scale, fracts);
    }
    EXPECT_EQ(ObjectOf(signal), ObjectOf(other));
    EXPECT_EQ(HandleCount(signal), 2U);
    EXPECT_EQ(other.GetHeader()->Compression, no_compression);
    EXPECT_EQ(StoredSamples<short>(other), samples);
  }
}

TEST(SampleReadout, EmptyCompressedSignalBecomesUncompressed)
{
  TimeSignal signal = SignalOf<short>({});
  signal.Compress(gzip);
  EXPECT_EQ(Doubles(signal), std::vector<double>());
  EXPECT_EQ(signal.GetHeader()->Compression, no_compression);
}

TEST(SampleReadout, UncompressedSignalStaysByteForByte)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        TimeSignal signal = SignalOf(MixedSamples<T>(50, 2));
        signal.GetHeader()->DataChecksum ^= 0x1111;
        signal.GetHeader()->HeaderChecksum ^= 0x2222;
        SignalState const before(signal);
        Doubles(signal);
        Fracts(signal);
        before.ExpectUnchanged(signal);
      });
}

// --- into the caller's buffer

TEST(SampleReadout, BufferTakesAsManyAsFit)
{
  TimeSignal signal = SignalOf<short>({100, -200, 50});
  std::vector<double> values(2);
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, values), 2U);
  EXPECT_EQ(values, (std::vector<double>{48.5, -101.5}));
  std::vector<short> fracts(2);
  float scale = kUnset;
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, fracts), 2U);
  EXPECT_EQ(fracts, (std::vector<short>{12800, -25600}));
  EXPECT_EQ(scale, 0.0078125F);
}

TEST(SampleReadout, RestOfALargerBufferStays)
{
  TimeSignal signal = SignalOf<short>({100, -200, 50});
  std::vector<double> values(5, 7.0);
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, values), 3U);
  EXPECT_EQ(values, (std::vector<double>{48.5, -101.5, 23.5, 7.0, 7.0}));
  std::vector<short> fracts(5, 7);
  float scale = kUnset;
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, fracts), 3U);
  EXPECT_EQ(fracts, (std::vector<short>{12800, -25600, 6400, 7, 7}));
}

TEST(SampleReadout, EmptyBufferTakesNothingButGetsTheScale)
{
  TimeSignal signal = SignalOf<short>({1, 2, -200});
  float scale = kUnset;
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, std::span<double>()), 0U);
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, std::span<short>()), 0U);
  EXPECT_EQ(scale, 0.0078125F);
}

TEST(SampleReadout, BufferMayLieAnywhere)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        std::vector<T> const samples = MixedSamples<T>(45, 3);
        TimeSignal signal = SignalOf(samples);
        std::vector<double> const doubles = PlainDoubles(samples, *signal.GetHeader(), samples.size());
        std::vector<short> const fracts = PlainSamplesToFract<T>(samples).values;
        GuardedRoom room(45 * sizeof(double));
        for (std::size_t size = 0; size <= samples.size(); ++size)
        {
          double* const values = room.TakeArray<double>(size % 8 * sizeof(double), size);
          ASSERT_EQ(TimeSignal::SamplesToDouble(signal, std::span(values, size)), size);
          EXPECT_EQ(FirstDifference<double>(std::span<double const>(values, size), std::span(doubles).first(size)),
                    kNoDifference);
          EXPECT_TRUE(room.IsUntouchedAround());
          short* const words = room.TakeArray<short>(size % 32 * sizeof(short), size);
          float scale = kUnset;
          ASSERT_EQ(TimeSignal::SamplesToFract(signal, scale, std::span(words, size)), size);
          EXPECT_EQ(FirstDifference<short>(std::span<short const>(words, size), std::span(fracts).first(size)),
                    kNoDifference);
          EXPECT_TRUE(room.IsUntouchedAround());
        }
      });
}

// --- records whose header and samples disagree

TEST(SampleReadout, AnnouncedSamplesThatAreNotStoredAreZeros)
{
  SignalParts parts;
  parts.offset = 1.0;
  TimeSignal signal = SignalOf<short>({100, -200, 50}, parts);
  signal.GetHeader()->SampleCount = 5;
  EXPECT_EQ(Doubles(signal), (std::vector<double>{49.5, -100.5, 24.5, 0.0, 0.0}));
  EXPECT_EQ(Doubles(signal, 4), (std::vector<double>{49.5, -100.5, 24.5, 0.0}));
  EXPECT_EQ(Fracts(signal).values, (std::vector<short>{12800, -25600, 6400, 0, 0}));
  std::vector<double> values(7, 7.0);
  EXPECT_EQ(TimeSignal::SamplesToDouble(signal, values), 5U);
  EXPECT_EQ(values, (std::vector<double>{49.5, -100.5, 24.5, 0.0, 0.0, 7.0, 7.0}));
  std::vector<short> fracts(7, 7);
  float scale = kUnset;
  EXPECT_EQ(TimeSignal::SamplesToFract(signal, scale, fracts), 5U);
  EXPECT_EQ(fracts, (std::vector<short>{12800, -25600, 6400, 0, 0, 7, 7}));
}

TEST(SampleReadout, StoredSamplesThatAreNotAnnouncedDoNotCount)
{
  TimeSignal signal = SignalOf<short>({100, 50, -20000});
  signal.GetHeader()->SampleCount = 2;
  EXPECT_EQ(Doubles(signal), (std::vector<double>{48.5, 23.5}));
  Fract const fract = Fracts(signal);
  EXPECT_EQ(fract.scale, 0x1p-8F);
  EXPECT_EQ(fract.values, (std::vector<short>{25600, 12800}));
}

TEST(SampleReadout, BytesThatMakeNoWholeSampleAreZeros)
{
  TimeSignal signal = SignalOf<short>({100, 50, -20000});
  signal.GetHeader()->DataArrayByteCount = 5;
  EXPECT_EQ(Doubles(signal), (std::vector<double>{48.5, 23.5, 0.0}));
  EXPECT_EQ(Fracts(signal).values, (std::vector<short>{25600, 12800, 0}));
}

TEST(SampleReadout, ByteCountBeyondTheArrayReadsNothingBehindIt)
{
  TimeSignal signal = SignalOf<short>({100, 50});
  signal.GetHeader()->DataArrayByteCount = 4000;
  signal.GetHeader()->SampleCount = 2000;
  std::vector<double> doubles(2000);
  doubles[0] = 48.5;
  doubles[1] = 23.5;
  EXPECT_EQ(Doubles(signal), doubles);
  std::vector<short> fracts(2000);
  fracts[0] = 25600;
  fracts[1] = 12800;
  EXPECT_EQ(Fracts(signal).values, fracts);
}

TEST(SampleReadout, MissingArrayIsAllZeros)
{
  TimeSignal signal = SignalOf<short>({100, 50});
  DropSamples(signal);
  EXPECT_EQ(Doubles(signal), std::vector<double>(2));
  Fract const fract = Fracts(signal);
  EXPECT_EQ(fract.values, std::vector<short>(2));
  EXPECT_EQ(fract.scale, 1.0F);
}

TEST(SampleReadout, BytesWithoutAnnouncedSamplesGiveNothing)
{
  TimeSignal signal = SignalOf<short>({100, 50});
  signal.GetHeader()->SampleCount = 0;
  EXPECT_EQ(Doubles(signal, 2), std::vector<double>());
  Fract const fract = Fracts(signal, 2);
  EXPECT_EQ(fract.values, std::vector<short>());
  EXPECT_EQ(fract.scale, 1.0F);
}

// --- the object behind the handle, and random signals

TEST(SampleReadout, ObjectIsReadLikeItsHandle)
{
  TimeSignal const signal = SignalOf<short>({100, -200, 50});
  InternalTimeSignal& object = *ObjectOf(signal);
  std::unique_ptr<std::vector<double>> const doubles(InternalTimeSignal::SamplesToDouble(object, 2));
  EXPECT_EQ(*doubles, (std::vector<double>{48.5, -101.5}));
  float scale = kUnset;
  std::unique_ptr<std::vector<short>> const fracts(InternalTimeSignal::SamplesToFract(object, scale, 2));
  EXPECT_EQ(*fracts, (std::vector<short>{12800, -25600}));
  EXPECT_EQ(scale, 0.0078125F);
  std::vector<double> values(3);
  EXPECT_EQ(InternalTimeSignal::SamplesToDouble(object, values), 3U);
  EXPECT_EQ(values, (std::vector<double>{48.5, -101.5, 23.5}));
  std::vector<short> words(3);
  scale = kUnset;
  EXPECT_EQ(InternalTimeSignal::SamplesToFract(object, scale, words), 3U);
  EXPECT_EQ(words, (std::vector<short>{12800, -25600, 6400}));
  EXPECT_EQ(scale, 0.0078125F);
}

TEST(SampleReadout, EveryLengthAgreesWithThePlainModel)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (std::size_t length = 0; length <= kMaxLength; ++length)
        {
          std::vector<T> const samples = OrdinarySamples<T>(length, length, 20);
          TimeSignal signal = SignalOf(samples);
          ExpectPlainReadout(signal, samples, kAll);
        }
      });
}

TEST(SampleReadout, RandomSignalsAgreeWithThePlainModel)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t type)
      {
        std::mt19937_64 random(static_cast<std::uint64_t>(type) + 100);
        for (int round = 0; round < 500; ++round)
        {
          SignalParts parts;
          parts.offset = RandomSamples<double>(random, 1)[0];
          parts.scalingFactor = RandomSamples<double>(random, 1)[0];
          std::vector<T> const samples = RandomSamples<T>(random, random() % 80);
          TimeSignal signal = SignalOf(samples, parts);
          ExpectPlainReadout(signal, samples, static_cast<int>(random() % 90) - 5);
        }
      });
}

#include "signalprocessing/io/file/SampleKernels.h"

#include "support/SampleArrays.h"
#include "support/SampleModels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace
{
double const kInfinity = std::numeric_limits<double>::infinity();
double const kNan = std::numeric_limits<double>::quiet_NaN();

template <class Visitor>
void ForEachIntegerType(Visitor visitor)
{
  ForEachSampleElement(
      [&]<class T>(std::type_identity<T> element, sample_datatype32_t)
      {
        if constexpr (std::is_integral_v<T>)
          visitor(element);
      });
}

template <class Visitor>
void ForEachFloatingType(Visitor visitor)
{
  visitor(std::type_identity<float>{});
  visitor(std::type_identity<double>{});
}

template <class Visitor>
void ForEachSignedType(Visitor visitor)
{
  ForEachSampleElement(
      [&]<class T>(std::type_identity<T> element, sample_datatype32_t)
      {
        if constexpr (std::is_signed_v<T>)
          visitor(element);
      });
}

/// Calls visitor(std::type_identity<T>{}, std::type_identity<Acc>{}) for the four pairs that are summarised.
template <class Visitor>
void ForEachSummary(Visitor visitor)
{
  visitor(std::type_identity<signed char>{}, std::type_identity<int>{});
  visitor(std::type_identity<short>{}, std::type_identity<int>{});
  visitor(std::type_identity<int>{}, std::type_identity<long long>{});
  visitor(std::type_identity<long long>{}, std::type_identity<double>{});
}

std::string Place(std::size_t misalignment, std::size_t length)
{
  return "at " + std::to_string(misalignment) + ", length " + std::to_string(length);
}

/// Runs kernel(input, output, length) at every length and every placement of the input, the output wandering with them,
/// then at every placement of the output. Each result must be the first elements of `expected` and nothing may be
/// written around them.
template <class T, class Out, class Kernel>
void ExpectElementwise(std::vector<T> const& samples, std::vector<Out> const& expected, Kernel kernel)
{
  GuardedRoom room(kMaxLength * sizeof(Out));
  auto const holds = [&](std::span<T const> input, std::size_t outMisalignment)
  {
    Out* const output = room.TakeArray<Out>(outMisalignment, input.size());
    kernel(input, output);
    std::span<Out const> const actual(output, input.size());
    return FirstDifference(actual, std::span<Out const>(expected).first(input.size())) == kNoDifference &&
           room.IsUntouchedAround();
  };
  ForEachPlacement<T>(
      [&](std::size_t misalignment, std::size_t length)
      {
        MisalignedArray<T> const input(misalignment, std::span(samples).first(length));
        ASSERT_TRUE(holds(input, 3 * length * sizeof(Out) % kCacheLine)) << "input " << Place(misalignment, length);
      });
  ForEachPlacement<Out>(
      [&](std::size_t misalignment, std::size_t length) {
        ASSERT_TRUE(holds(std::span(samples).first(length), misalignment)) << "output " << Place(misalignment, length);
      });
}

template <class T>
void ExpectPhysicalValues(std::vector<T> const& samples, double offset, double scale)
{
  std::vector<double> expected;
  for (T const sample : samples)
    expected.push_back(PlainPhysicalValue(sample, offset, scale));
  ExpectElementwise(samples, expected,
                    [&](std::span<T const> input, double* output)
                    { SampleKernels::PhysicalValues<T>(input, offset, scale, output); });
}

template <class T>
std::vector<short> Quantised(std::vector<T> const& samples, T scale)
{
  std::vector<short> output(samples.size());
  SampleKernels::Quantise<T>(samples, scale, output.data());
  return output;
}

template <class T>
std::vector<short> ShiftedRight(std::vector<T> const& samples, unsigned bits)
{
  std::vector<short> output(samples.size());
  SampleKernels::ShiftRight<T>(samples, bits, output.data());
  return output;
}

template <class T>
std::vector<short> ShiftedLeft(std::vector<T> const& samples, unsigned bits)
{
  std::vector<short> output(samples.size());
  SampleKernels::ShiftLeft<T>(samples, bits, output.data());
  return output;
}

template <class T>
std::vector<T> Subtracted(std::vector<T> samples, T offset)
{
  SampleKernels::Subtract<T>(samples, offset);
  return samples;
}

template <class T>
double PeakOf(std::vector<T> const& samples)
{
  return SampleKernels::Peak<T>(samples);
}

/// Difference in the arithmetic of T, wrapping for integers.
template <class T>
T PlainDifference(T sample, T offset)
{
  if constexpr (std::is_integral_v<T>)
    return static_cast<T>(static_cast<unsigned long long>(sample) - static_cast<unsigned long long>(offset));
  else
    return sample - offset;
}

/// Expected summaries of the first 0, 1, 2... samples.
template <class T, class Acc>
std::vector<SampleKernels::Summary<T, Acc>> PlainSummaries(std::vector<T> const& samples)
{
  std::vector<SampleKernels::Summary<T, Acc>> summaries(1);
  for (std::size_t length = 1; length <= samples.size(); ++length)
  {
    auto summary = summaries.back();
    summary.Sum = PlainSum<Acc>(std::span<T const>(samples).first(length));
    summary.Smallest = std::min(summary.Smallest, samples[length - 1]);
    summary.Largest = std::max(summary.Largest, samples[length - 1]);
    summaries.push_back(summary);
  }
  return summaries;
}

template <class T, class Acc>
void ExpectSummaries(std::vector<T> const& samples)
{
  auto const expected = PlainSummaries<T, Acc>(samples);
  ForEachPlacement<T>(
      [&](std::size_t misalignment, std::size_t length)
      {
        MisalignedArray<T> const input(misalignment, std::span(samples).first(length));
        SampleKernels::Summary<T, Acc> const actual = SampleKernels::Summarise<T, Acc>(input);
        ASSERT_TRUE(SameBits(actual.Sum, expected[length].Sum)) << Place(misalignment, length);
        ASSERT_EQ(actual.Smallest, expected[length].Smallest) << Place(misalignment, length);
        ASSERT_EQ(actual.Largest, expected[length].Largest) << Place(misalignment, length);
      });
}

template <class T>
void ExpectPeaks(std::vector<T> const& samples)
{
  std::vector<double> expected;
  for (std::size_t length = 0; length <= samples.size(); ++length)
    expected.push_back(PlainPeak(std::span<T const>(samples).first(length)));
  ForEachPlacement<T>(
      [&](std::size_t misalignment, std::size_t length)
      {
        MisalignedArray<T> const input(misalignment, std::span(samples).first(length));
        ASSERT_TRUE(SameBits(SampleKernels::Peak<T>(input), expected[length])) << Place(misalignment, length);
      });
}

template <class T>
void ExpectSums(std::vector<T> const& samples)
{
  std::vector<double> expected;
  for (std::size_t length = 0; length <= samples.size(); ++length)
    expected.push_back(PlainSum<double>(std::span<T const>(samples).first(length)));
  ForEachPlacement<T>(
      [&](std::size_t misalignment, std::size_t length)
      {
        MisalignedArray<T> const input(misalignment, std::span(samples).first(length));
        ASSERT_TRUE(SameNumber(SampleKernels::SumInOrder<T>(input), expected[length])) << Place(misalignment, length);
      });
}

template <class T>
void ExpectDifferences(std::vector<T> const& samples, T offset)
{
  std::vector<T> expected;
  for (T const sample : samples)
    expected.push_back(PlainDifference(sample, offset));
  GuardedRoom room(kMaxLength * sizeof(T));
  ForEachPlacement<T>(
      [&](std::size_t misalignment, std::size_t length)
      {
        T* const array = room.TakeArray<T>(misalignment, length);
        std::copy_n(samples.data(), length, array);
        SampleKernels::Subtract<T>(std::span(array, length), offset);
        std::span<T const> const actual(array, length);
        ASSERT_EQ(FirstDifference(actual, std::span<T const>(expected).first(length)), kNoDifference)
            << Place(misalignment, length);
        ASSERT_TRUE(room.IsUntouchedAround()) << Place(misalignment, length);
      });
}
} // namespace

// --- Peak

TEST(SampleKernelsPeak, NoSamplesHavePeakZero)
{
  ForEachSampleElement([]<class T>(std::type_identity<T>, sample_datatype32_t)
                       { EXPECT_TRUE(SameBits(PeakOf(std::vector<T>()), 0.0)); });
}

TEST(SampleKernelsPeak, EveryLengthAtEveryPlacement)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        ExpectPeaks(MixedSamples<T>(kMaxLength, 1));
        ExpectPeaks(OrdinarySamples<T>(kMaxLength, 2, 6));
      });
}

TEST(SampleKernelsPeak, PeakIsFoundAtEveryPlaceOfEveryLength)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (std::size_t length = 1; length <= 160; ++length)
        {
          std::vector<T> samples(length, T{3});
          for (T& place : samples)
          {
            place = T{100};
            ASSERT_EQ(PeakOf(samples), 100.0) << length;
            if constexpr (std::is_signed_v<T>)
            {
              place = T{-101};
              ASSERT_EQ(PeakOf(samples), 101.0) << length;
            }
            place = T{3};
          }
        }
      });
}

TEST(SampleKernelsPeak, PeakIsFoundAtEveryPlaceOfLongArrays)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        std::vector<T> samples(1027, T{3});
        for (T& place : samples)
        {
          place = T{100};
          ASSERT_EQ(PeakOf(samples), 100.0) << &place - samples.data();
          place = T{3};
        }
      });
}

TEST(SampleKernelsPeak, SmallestIntegersCountInFull)
{
  EXPECT_EQ(PeakOf<signed char>({-128, 127}), 128.0);
  EXPECT_EQ(PeakOf<short>({-32768, 32767}), 32768.0);
  EXPECT_EQ(PeakOf<int>({std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}), 2147483648.0);
  EXPECT_EQ(PeakOf<long long>({std::numeric_limits<long long>::min()}), 9223372036854775808.0);
}

TEST(SampleKernelsPeak, UnsignedIntegersAreTakenAsTheyAre)
{
  EXPECT_EQ(PeakOf<unsigned char>({1, 255}), 255.0);
  EXPECT_EQ(PeakOf<unsigned short>({65535, 1}), 65535.0);
  EXPECT_EQ(PeakOf<unsigned int>({1, 4294967295U}), 4294967295.0);
  EXPECT_EQ(PeakOf<unsigned long long>({~0ULL, 1}), 18446744073709551616.0);
}

TEST(SampleKernelsPeak, SixtyFourBitPeaksRoundToTheNearestDouble)
{
  EXPECT_EQ(PeakOf<long long>({9007199254740993LL}), 9007199254740992.0);
  EXPECT_EQ(PeakOf<long long>({-9007199254740995LL}), 9007199254740996.0);
  EXPECT_EQ(PeakOf<unsigned long long>({9007199254740993ULL, 5}), 9007199254740992.0);
}

TEST(SampleKernelsPeak, NanIsNeverThePeakWhereverItStands)
{
  ForEachFloatingType(
      []<class T>(std::type_identity<T>)
      {
        T const nan = std::numeric_limits<T>::quiet_NaN();
        for (std::size_t length = 1; length <= 160; ++length)
        {
          std::vector<T> const nans(length, nan);
          ASSERT_TRUE(SameBits(PeakOf(nans), 0.0)) << length;
          for (std::size_t place = 0; place < length; ++place)
          {
            std::vector<T> onlyPeak = nans;
            onlyPeak[place] = T{-7};
            ASSERT_EQ(PeakOf(onlyPeak), 7.0) << length << ", " << place;
            std::vector<T> onlyNan(length, T{5});
            onlyNan[place] = place % 2 == 0 ? nan : -nan;
            ASSERT_EQ(PeakOf(onlyNan), length == 1 ? 0.0 : 5.0) << length << ", " << place;
          }
        }
      });
}

TEST(SampleKernelsPeak, ZerosDenormalsAndInfinities)
{
  EXPECT_TRUE(SameBits(PeakOf<float>({-0.0F, 0.0F}), 0.0));
  EXPECT_TRUE(SameBits(PeakOf<double>({-0.0}), 0.0));
  EXPECT_EQ(PeakOf<float>({0x1p-149F, -0x1p-148F}), 0x1p-148);
  EXPECT_EQ(PeakOf<double>({0x1p-1074, -0x1p-1073}), 0x1p-1073);
  EXPECT_EQ(PeakOf<float>({-std::numeric_limits<float>::infinity(), 1.0F}), kInfinity);
  EXPECT_EQ(PeakOf<double>({1.0, kInfinity, kNan}), kInfinity);
}

// --- PhysicalValues

TEST(SampleKernelsPhysicalValues, EveryLengthAtEveryPlacement)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        ExpectPhysicalValues(MixedSamples<T>(kMaxLength, 3), 0.1, 1.0 / 3);
        ExpectPhysicalValues(OrdinarySamples<T>(kMaxLength, 4, 30), -12345.678, 1e-7);
      });
}

// A product that is fused with the difference behind it, or reordered, has other last bits.
TEST(SampleKernelsPhysicalValues, RandomOffsetsAndScalesRoundTwice)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        std::vector<T> const samples = MixedSamples<T>(67, 5);
        std::vector<double> const factors = MixedSamples<double>(400, 6);
        for (std::size_t i = 0; i + 1 < factors.size(); i += 2)
        {
          std::vector<double> actual(samples.size());
          SampleKernels::PhysicalValues<T>(samples, factors[i], factors[i + 1], actual.data());
          std::vector<double> expected;
          for (T const sample : samples)
            expected.push_back(PlainPhysicalValue(sample, factors[i], factors[i + 1]));
          ASSERT_EQ(FirstDifference(actual, expected), kNoDifference) << i;
        }
      });
}

TEST(SampleKernelsPhysicalValues, SixtyFourBitSamplesRoundToTheNearestDoubleFirst)
{
  std::vector<long long> const samples = {9007199254740993LL, 9007199254740995LL, std::numeric_limits<long long>::max(),
                                          std::numeric_limits<long long>::min()};
  std::vector<double> values(4);
  SampleKernels::PhysicalValues<long long>(samples, 9007199254740992.0, 1.0, values.data());
  EXPECT_EQ(values, (std::vector<double>{0.0, 4.0, 9214364837600034816.0, -9232379236109516800.0}));
  std::vector<unsigned long long> const unsignedSamples = {9007199254740993ULL, ~0ULL, 1ULL << 63};
  values.resize(3);
  SampleKernels::PhysicalValues<unsigned long long>(unsignedSamples, 0.0, 0.5, values.data());
  EXPECT_EQ(values, (std::vector<double>{4503599627370496.0, 9223372036854775808.0, 4611686018427387904.0}));
}

// --- ShiftRight, ShiftLeft

TEST(SampleKernelsShiftRight, EveryLengthAtEveryPlacement)
{
  ForEachIntegerType(
      []<class T>(std::type_identity<T>)
      {
        std::vector<T> const samples = MixedSamples<T>(kMaxLength, 7);
        for (unsigned const bits : {1U, 9U, 18U, 33U, 50U})
        {
          std::vector<short> expected;
          for (T const sample : samples)
            expected.push_back(PlainShiftRight(sample, bits));
          ExpectElementwise(samples, expected,
                            [&](std::span<T const> input, short* output)
                            { SampleKernels::ShiftRight<T>(input, bits, output); });
        }
      });
}

TEST(SampleKernelsShiftRight, EveryNumberOfBits)
{
  ForEachIntegerType(
      []<class T>(std::type_identity<T>)
      {
        std::vector<T> const samples = MixedSamples<T>(kMaxLength, 8);
        for (unsigned const bits : {0U,  1U,  2U,  3U,  5U,  6U,  7U,  8U,  9U,  14U, 15U, 16U, 17U,  23U,  24U,
                                    30U, 31U, 32U, 33U, 47U, 48U, 49U, 50U, 62U, 63U, 64U, 65U, 127U, 128U, ~0U})
        {
          std::vector<short> expected;
          for (T const sample : samples)
            expected.push_back(PlainShiftRight(sample, bits));
          ASSERT_EQ(ShiftedRight(samples, bits), expected) << bits;
        }
      });
}

TEST(SampleKernelsShiftRight, SignedSamplesKeepTheirSignAndUnsignedOnesFillWithZeros)
{
  EXPECT_EQ(ShiftedRight<signed char>({-128, 127, -1}, 3), (std::vector<short>{-16, 15, -1}));
  EXPECT_EQ(ShiftedRight<unsigned char>({128, 255}, 3), (std::vector<short>{16, 31}));
  EXPECT_EQ(ShiftedRight<short>({-32768, 32767, -3}, 1), (std::vector<short>{-16384, 16383, -2}));
  EXPECT_EQ(ShiftedRight<unsigned short>({65535, 32768}, 1), (std::vector<short>{32767, 16384}));
  EXPECT_EQ(ShiftedRight<unsigned int>({4294967295U}, 18), (std::vector<short>{16383}));
  EXPECT_EQ(ShiftedRight<long long>({std::numeric_limits<long long>::min(), -1}, 49), (std::vector<short>{-16384, -1}));
  EXPECT_EQ(ShiftedRight<unsigned long long>({~0ULL, 1ULL << 50}, 50), (std::vector<short>{16383, 1}));
}

TEST(SampleKernelsShiftRight, MoreBitsThanTheWidthLeaveTheSignOrZero)
{
  for (unsigned const bits : {64U, 65U, 1000U})
  {
    EXPECT_EQ(ShiftedRight<long long>({-5, 5}, bits), (std::vector<short>{-1, 0}));
    EXPECT_EQ(ShiftedRight<unsigned long long>({~0ULL, 5}, bits), (std::vector<short>{0, 0}));
  }
  for (unsigned const bits : {32U, 33U, 64U})
  {
    EXPECT_EQ(ShiftedRight<int>({-5, 5}, bits), (std::vector<short>{-1, 0}));
    EXPECT_EQ(ShiftedRight<unsigned int>({~0U, 5}, bits), (std::vector<short>{0, 0}));
    EXPECT_EQ(ShiftedRight<signed char>({-5, 5}, bits), (std::vector<short>{-1, 0}));
    EXPECT_EQ(ShiftedRight<unsigned short>({65535, 5}, bits), (std::vector<short>{0, 0}));
  }
}

TEST(SampleKernelsShiftRight, ResultKeepsTheLowSixteenBits)
{
  EXPECT_EQ(ShiftedRight<int>({0x12348765, -0x12348765}, 0), (std::vector<short>{-0x789B, 0x789B}));
  EXPECT_EQ(ShiftedRight<unsigned long long>({0x123456789ABCDEF0ULL}, 4), (std::vector<short>{-0x3211}));
}

TEST(SampleKernelsShiftLeft, EveryLengthAtEveryPlacement)
{
  ForEachIntegerType(
      []<class T>(std::type_identity<T>)
      {
        std::vector<T> const samples = MixedSamples<T>(kMaxLength, 9);
        for (unsigned const bits : {0U, 3U, 14U})
        {
          std::vector<short> expected;
          for (T const sample : samples)
            expected.push_back(PlainShiftLeft(sample, bits));
          ExpectElementwise(samples, expected,
                            [&](std::span<T const> input, short* output)
                            { SampleKernels::ShiftLeft<T>(input, bits, output); });
        }
      });
}

TEST(SampleKernelsShiftLeft, EveryNumberOfBits)
{
  ForEachIntegerType(
      []<class T>(std::type_identity<T>)
      {
        std::vector<T> const samples = MixedSamples<T>(kMaxLength, 10);
        for (unsigned const bits : {0U,  1U,  2U,  3U,  4U,  5U,  6U,  7U,  8U,  9U,  10U, 11U,  12U, 13U,
                                    14U, 15U, 16U, 17U, 30U, 31U, 32U, 33U, 63U, 64U, 65U, 128U, ~0U})
        {
          std::vector<short> expected;
          for (T const sample : samples)
            expected.push_back(PlainShiftLeft(sample, bits));
          ASSERT_EQ(ShiftedLeft(samples, bits), expected) << bits;
        }
      });
}

TEST(SampleKernelsShiftLeft, LowSixteenBitsStay)
{
  EXPECT_EQ(ShiftedLeft<short>({100, -200}, 7), (std::vector<short>{12800, -25600}));
  EXPECT_EQ(ShiftedLeft<signed char>({-128, 127}, 8), (std::vector<short>{-32768, 32512}));
  EXPECT_EQ(ShiftedLeft<int>({1, -1, 3}, 15), (std::vector<short>{-32768, -32768, -32768}));
  EXPECT_EQ(ShiftedLeft<unsigned long long>({0x10001, 3}, 1), (std::vector<short>{2, 6}));
  EXPECT_EQ(ShiftedLeft<long long>({1, -1}, 16), (std::vector<short>{0, 0}));
}

// --- Quantise

TEST(SampleKernelsQuantise, EveryLengthAtEveryPlacement)
{
  ForEachFloatingType(
      []<class T>(std::type_identity<T>)
      {
        for (std::vector<T> const& samples : {MixedSamples<T>(kMaxLength, 11), OrdinarySamples<T>(kMaxLength, 12, 15)})
          for (T const scale : {T{0.5}, T{1}, T{-2147483648.0}})
          {
            std::vector<short> expected;
            for (T const sample : samples)
              expected.push_back(PlainQuantise(sample, scale));
            ExpectElementwise(samples, expected,
                              [&](std::span<T const> input, short* output)
                              { SampleKernels::Quantise<T>(input, scale, output); });
          }
      });
}

TEST(SampleKernelsQuantise, EveryKindOfScale)
{
  ForEachFloatingType(
      []<class T>(std::type_identity<T>)
      {
        std::vector<T> samples = MixedSamples<T>(kMaxLength, 13);
        std::vector<T> const ordinary = OrdinarySamples<T>(kMaxLength, 14, 33);
        samples.insert(samples.end(), ordinary.begin(), ordinary.end());
        std::vector<T> scales = SpecialSamples<T>();
        for (int k = -31; k <= 31; ++k)
          scales.push_back(static_cast<T>(std::ldexp(1.0, k)));
        for (T const scale : scales)
        {
          std::vector<short> expected;
          for (T const sample : samples)
            expected.push_back(PlainQuantise(sample, scale));
          ASSERT_EQ(Quantised(samples, scale), expected) << scale;
        }
      });
}

TEST(SampleKernelsQuantise, TruncatesTowardsZeroAndKeepsSixteenBits)
{
  ForEachFloatingType(
      []<class T>(std::type_identity<T>)
      {
        EXPECT_EQ(Quantised<T>({T{1.75}, T{-1.75}, T{0.75}, T{-0.75}, T{32767.5}}, T{1}),
                  (std::vector<short>{1, -1, 0, 0, 32767}));
        EXPECT_EQ(Quantised<T>({T{32768}, T{65536}, T{65537}, T{-32769}}, T{1}),
                  (std::vector<short>{-32768, 0, 1, 32767}));
        EXPECT_EQ(Quantised<T>({T{3}, T{-3}}, T{-2}), (std::vector<short>{-1, 1}));
      });
}

// 2147483647 keeps the 16 bits of -1, -2147483648 those of 0.
TEST(SampleKernelsQuantise, OutOfRangeSaturatesAndNanGivesZero)
{
  ForEachFloatingType(
      []<class T>(std::type_identity<T>)
      {
        T const infinity = std::numeric_limits<T>::infinity();
        T const nan = std::numeric_limits<T>::quiet_NaN();
        EXPECT_EQ(
            Quantised<T>({T{2147483648.0}, T{-2147483648.0}, T{0x1p70}, T{-0x1p70}, infinity, -infinity, nan}, T{1}),
            (std::vector<short>{-1, 0, -1, 0, -1, 0, 0}));
        EXPECT_EQ(Quantised<T>({T{1}, T{-1}, T{0}, infinity, nan}, T{0}), (std::vector<short>{-1, 0, 0, -1, 0}));
        EXPECT_EQ(Quantised<T>({T{1}, T{-1}, infinity}, infinity), (std::vector<short>{0, 0, 0}));
        EXPECT_EQ(Quantised<T>({T{1}, T{0}}, nan), (std::vector<short>{0, 0}));
      });
  EXPECT_EQ(Quantised<double>({2147483647.0, 2147483647.5, 2147483646.0}, 1.0), (std::vector<short>{-1, -1, -2}));
  EXPECT_EQ(Quantised<double>({-2147483647.0, -2147483648.5, -2147483649.0}, 1.0), (std::vector<short>{1, 0, 0}));
}

// 16777217 is no float: the quotient is taken in single precision.
TEST(SampleKernelsQuantise, FloatsAreDividedInSinglePrecision)
{
  float const sample = 33554431.0F * 0.5F;
  float const volatile quotient = sample / 0.7F;
  EXPECT_EQ(Quantised<float>({sample}, 0.7F)[0], LowSixteenBits(static_cast<int>(quotient)));
  EXPECT_NE(static_cast<double>(quotient), static_cast<double>(sample) / static_cast<double>(0.7F));
}

// --- Summarise

TEST(SampleKernelsSummarise, NoSamplesAreAllZero)
{
  ForEachSummary(
      []<class T, class Acc>(std::type_identity<T>, std::type_identity<Acc>)
      {
        auto const summary = SampleKernels::Summarise<T, Acc>(std::span<T const>());
        EXPECT_EQ(summary.Sum, Acc{0});
        EXPECT_EQ(summary.Smallest, T{0});
        EXPECT_EQ(summary.Largest, T{0});
      });
}

TEST(SampleKernelsSummarise, EveryLengthAtEveryPlacement)
{
  ForEachSummary(
      []<class T, class Acc>(std::type_identity<T>, std::type_identity<Acc>)
      {
        ExpectSummaries<T, Acc>(MixedSamples<T>(kMaxLength, 15));
        ExpectSummaries<T, Acc>(OrdinarySamples<T>(kMaxLength, 16, 60));
      });
}

TEST(SampleKernelsSummarise, ZeroCountsForSmallestAndLargest)
{
  ForEachSummary(
      []<class T, class Acc>(std::type_identity<T>, std::type_identity<Acc>)
      {
        std::vector<T> const positive(50, T{5});
        auto const above = SampleKernels::Summarise<T, Acc>(std::span<T const>(positive));
        EXPECT_EQ(above.Sum, Acc{250});
        EXPECT_EQ(above.Smallest, T{0});
        EXPECT_EQ(above.Largest, T{5});
        std::vector<T> const negative(50, T{-5});
        auto const below = SampleKernels::Summarise<T, Acc>(std::span<T const>(negative));
        EXPECT_EQ(below.Sum, Acc{-250});
        EXPECT_EQ(below.Smallest, T{-5});
        EXPECT_EQ(below.Largest, T{0});
      });
}

TEST(SampleKernelsSummarise, ExtremesAreFoundAtEveryPlace)
{
  ForEachSummary(
      []<class T, class Acc>(std::type_identity<T>, std::type_identity<Acc>)
      {
        std::vector<T> samples(603, T{1});
        for (T& place : samples)
        {
          place = std::numeric_limits<T>::min();
          ASSERT_EQ((SampleKernels::Summarise<T, Acc>(std::span<T const>(samples)).Smallest), place);
          place = std::numeric_limits<T>::max();
          ASSERT_EQ((SampleKernels::Summarise<T, Acc>(std::span<T const>(samples)).Largest), place);
          place = T{1};
        }
      });
}

TEST(SampleKernelsSummarise, SixteenBitSumWrapsInThirtyTwoBits)
{
  std::vector<short> const samples(250000, 20000);
  EXPECT_EQ((SampleKernels::Summarise<short, int>(samples).Sum), 705032704);
  std::vector<short> const smallest(65537, -32768);
  EXPECT_EQ((SampleKernels::Summarise<short, int>(std::span(smallest).first(65536)).Sum), -2147483647 - 1);
  EXPECT_EQ((SampleKernels::Summarise<short, int>(smallest).Sum), 2147450880);
}

TEST(SampleKernelsSummarise, EightBitSumHoldsTheSmallestAndLargestSamplesOfEveryLength)
{
  std::vector<signed char> const smallest(1030, -128);
  std::vector<signed char> const largest(1030, 127);
  for (std::size_t length = 0; length <= smallest.size(); ++length)
  {
    auto const below = SampleKernels::Summarise<signed char, int>(std::span(smallest).first(length));
    auto const above = SampleKernels::Summarise<signed char, int>(std::span(largest).first(length));
    ASSERT_EQ(below.Sum, -128 * static_cast<int>(length));
    ASSERT_EQ(above.Sum, 127 * static_cast<int>(length));
  }
}

// 16909321 x 127 = 2147483767.
TEST(SampleKernelsSummarise, EightBitSumWrapsInThirtyTwoBits)
{
  std::vector<signed char> const samples(16909321, 127);
  EXPECT_EQ((SampleKernels::Summarise<signed char, int>(std::span(samples).first(16909320)).Sum), 2147483640);
  EXPECT_EQ((SampleKernels::Summarise<signed char, int>(samples).Sum), -2147483529);
}

TEST(SampleKernelsSummarise, ThirtyTwoBitSumIsTakenInSixtyFour)
{
  std::vector<int> const smallest(70000, std::numeric_limits<int>::min());
  EXPECT_EQ((SampleKernels::Summarise<int, long long>(smallest).Sum), -150323855360000LL);
  std::vector<int> const largest(70000, std::numeric_limits<int>::max());
  EXPECT_EQ((SampleKernels::Summarise<int, long long>(largest).Sum), 150323855290000LL);
}

TEST(SampleKernelsSummarise, SixtyFourBitSumRoundsSampleBySample)
{
  long long const big = 1LL << 53;
  EXPECT_EQ((SampleKernels::Summarise<long long, double>(std::vector<long long>{big, 1, -big, 1}).Sum), 1.0);
  EXPECT_EQ((SampleKernels::Summarise<long long, double>(std::vector<long long>{big, -big, 1, 1}).Sum), 2.0);
  EXPECT_EQ((SampleKernels::Summarise<long long, double>(std::vector<long long>{big + 1, -big}).Sum), 0.0);
}

// --- SumInOrder

TEST(SampleKernelsSumInOrder, NoSamplesSumToPositiveZero)
{
  EXPECT_TRUE(SameBits(SampleKernels::SumInOrder<float>(std::span<float const>()), 0.0));
  EXPECT_TRUE(SameBits(SampleKernels::SumInOrder<double>(std::span<double const>()), 0.0));
  EXPECT_TRUE(SameBits(SampleKernels::SumInOrder<double>(std::vector<double>{-0.0, -0.0}), 0.0));
}

TEST(SampleKernelsSumInOrder, EveryLengthAtEveryPlacement)
{
  ForEachFloatingType(
      []<class T>(std::type_identity<T>)
      {
        ExpectSums(OrdinarySamples<T>(kMaxLength, 17, 15));
        ExpectSums(MixedSamples<T>(kMaxLength, 18));
        std::vector<T> spread = OrdinarySamples<T>(kMaxLength, 19, 0);
        for (std::size_t i = 0; i < spread.size(); ++i)
          spread[i] *= static_cast<T>(std::ldexp(1.0, static_cast<int>(i * 37 % 100)));
        ExpectSums(spread);
      });
}

TEST(SampleKernelsSumInOrder, OrderDecidesWhatIsRoundedAway)
{
  EXPECT_EQ(SampleKernels::SumInOrder<double>(std::vector<double>{0x1p53, 1.0, -0x1p53, 1.0}), 1.0);
  EXPECT_EQ(SampleKernels::SumInOrder<double>(std::vector<double>{0x1p53, -0x1p53, 1.0, 1.0}), 2.0);
  EXPECT_EQ(SampleKernels::SumInOrder<float>(std::vector<float>{0x1p53F, 1.0F, -0x1p53F, 1.0F}), 1.0);
}

TEST(SampleKernelsSumInOrder, FloatsAreSummedInDoublePrecision)
{
  EXPECT_EQ(SampleKernels::SumInOrder<float>(std::vector<float>{16777216.0F, 1.0F, 1.0F}), 16777218.0);
  EXPECT_EQ(SampleKernels::SumInOrder<float>(std::vector<float>(4, std::numeric_limits<float>::max())),
            4 * static_cast<double>(std::numeric_limits<float>::max()));
}

TEST(SampleKernelsSumInOrder, InfinitiesAndNansSpread)
{
  EXPECT_EQ(SampleKernels::SumInOrder<double>(std::vector<double>{1.0, kInfinity, 2.0}), kInfinity);
  EXPECT_TRUE(std::isnan(SampleKernels::SumInOrder<double>(std::vector<double>{kInfinity, -kInfinity})));
  EXPECT_TRUE(std::isnan(SampleKernels::SumInOrder<double>(std::vector<double>{1.0, kNan, 2.0})));
}

// --- Subtract

TEST(SampleKernelsSubtract, EveryLengthAtEveryPlacement)
{
  ForEachSignedType(
      []<class T>(std::type_identity<T>)
      {
        ExpectDifferences(MixedSamples<T>(kMaxLength, 20), static_cast<T>(37.625));
        ExpectDifferences(OrdinarySamples<T>(kMaxLength, 21, 7), static_cast<T>(-1));
      });
}

TEST(SampleKernelsSubtract, EverySpecialOffset)
{
  ForEachSignedType(
      []<class T>(std::type_identity<T>)
      {
        std::vector<T> const samples = MixedSamples<T>(kMaxLength, 22);
        for (T const offset : SpecialSamples<T>())
        {
          std::vector<T> expected;
          for (T const sample : samples)
            expected.push_back(PlainDifference(sample, offset));
          ASSERT_EQ(FirstDifference(Subtracted(samples, offset), expected), kNoDifference) << +offset;
        }
      });
}

TEST(SampleKernelsSubtract, IntegersWrap)
{
  EXPECT_EQ(Subtracted<signed char>({-128, 127, 5}, 1), (std::vector<signed char>{127, 126, 4}));
  EXPECT_EQ(Subtracted<short>({-32768, 32767}, -1), (std::vector<short>{-32767, -32768}));
  EXPECT_EQ(Subtracted<int>({std::numeric_limits<int>::min(), 0}, 1),
            (std::vector<int>{std::numeric_limits<int>::max(), -1}));
  EXPECT_EQ(Subtracted<long long>({0, -1}, std::numeric_limits<long long>::min()),
            (std::vector<long long>{std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()}));
}

TEST(SampleKernelsSubtract, FloatsAreSubtractedInTheirOwnPrecision)
{
  EXPECT_EQ(Subtracted<float>({16777216.0F, 1.0F}, -1.0F), (std::vector<float>{16777216.0F, 2.0F}));
  EXPECT_EQ(Subtracted<double>({16777216.0, 1.0}, -1.0), (std::vector<double>{16777217.0, 2.0}));
  EXPECT_EQ(Subtracted<float>({0x1p-149F, 0.0F}, 0x1p-149F), (std::vector<float>{0.0F, -0x1p-149F}));
}

// --- saturating truncation

TEST(SampleKernelsSaturate, ThirtyTwoBitTruncation)
{
  std::vector<std::pair<double, int>> const cases = {
      {0.0, 0},
      {-0.0, 0},
      {0.99, 0},
      {-0.99, 0},
      {1.5, 1},
      {-1.5, -1},
      {0x1p-1074, 0},
      {2147483646.5, 2147483646},
      {2147483647.0, 2147483647},
      {2147483647.5, 2147483647},
      {std::nextafter(2147483648.0, 0.0), 2147483647},
      {2147483648.0, 2147483647},
      {4294967296.0, 2147483647},
      {1e300, 2147483647},
      {kInfinity, 2147483647},
      {-2147483647.5, -2147483647},
      {-2147483648.0, -2147483647 - 1},
      {-2147483648.5, -2147483647 - 1},
      {-2147483649.0, -2147483647 - 1},
      {-4294967297.0, -2147483647 - 1},
      {-kInfinity, -2147483647 - 1},
      {kNan, 0},
      {-kNan, 0},
  };
  for (auto const& [value, expected] : cases)
    EXPECT_EQ(SampleKernels::SaturateToInt32(value), expected) << value;
}

TEST(SampleKernelsSaturate, SixtyFourBitTruncation)
{
  constexpr long long smallest = std::numeric_limits<long long>::min();
  constexpr long long largest = std::numeric_limits<long long>::max();
  std::vector<std::pair<double, long long>> const cases = {
      {0.0, 0},
      {-0.0, 0},
      {-0.99, 0},
      {2147483648.75, 2147483648LL},
      {-2147483649.75, -2147483649LL},
      {2251799813685249.5, 2251799813685249LL},
      {9223372036854774784.0, 9223372036854774784LL},
      {9223372036854775808.0, largest},
      {1e300, largest},
      {kInfinity, largest},
      {-9223372036854774784.0, -9223372036854774784LL},
      {-9223372036854775808.0, smallest},
      {-9223372036854777856.0, smallest},
      {-kInfinity, smallest},
      {kNan, 0},
      {-kNan, 0},
  };
  for (auto const& [value, expected] : cases)
    EXPECT_EQ(SampleKernels::SaturateToInt64(value), expected) << value;
}

TEST(SampleKernelsSaturate, RandomValuesAgreeWithThePlainModel)
{
  std::vector<double> values = MixedSamples<double>(20000, 23);
  for (int bits = 28; bits < 68; ++bits)
    for (double const value : OrdinarySamples<double>(200, 24, bits))
      values.push_back(value);
  for (double const value : values)
  {
    ASSERT_EQ(SampleKernels::SaturateToInt32(value), PlainTruncate<std::int32_t>(value)) << value;
    ASSERT_EQ(SampleKernels::SaturateToInt64(value), PlainTruncate<long long>(value)) << value;
  }
}

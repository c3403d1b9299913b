#include "signalprocessing/io/file/TimeSignal.h"
#include "support/Expectations.h"
#include "support/SampleArrays.h"
#include "support/SampleModels.h"
#include "support/SampleSignals.h"
#include "support/SignalState.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace
{
constexpr char const* kCompressed = "Cannot modify compress data!";
constexpr char const* kMissing = "Can't calculate checksum over NULL!";

/// The header that an extraction leaves: the offset and the checksums are new, everything else is as before. One NaN is
/// as good as another.
void ExpectHeader(timesignal_bin_t const& actual, timesignal_bin_t before, double offset)
{
  EXPECT_TRUE(SameNumber(actual.Offset, offset)) << actual.Offset << " instead of " << offset;
  before.Offset = actual.Offset;
  before.DataChecksum = PlainDataChecksum(actual);
  before.HeaderChecksum = PlainHeaderChecksum(before);
  EXPECT_EQ(HeaderBytes(actual), HeaderBytes(before));
}

/// Extracts the offset and compares samples, Offset, checksums and the untouched rest of the header. The samples stay
/// in their array.
template <class T>
void ExpectExtraction(TimeSignal& signal, std::vector<T> const& samples, double offset)
{
  timesignal_bin_t const before = *signal.GetHeader();
  signal.ExtractOffset();
  EXPECT_EQ(FirstDifference(StoredSamples<T>(signal), samples), kNoDifference);
  EXPECT_EQ(signal.GetSamplesPointer(), before.Samples);
  ExpectHeader(*signal.GetHeader(), before, offset);
}

/// The same for a signal of the given samples whose Offset is 3 before.
template <class T>
void ExpectExtraction(std::vector<T> const& samples, std::vector<T> const& shifted, double offset)
{
  TimeSignal signal = SignalOf(samples);
  ExpectExtraction(signal, shifted, offset);
}

/// The same with the plain model as expectation.
template <class T>
void ExpectPlainExtraction(std::vector<T> const& samples, double offset = 3)
{
  SignalParts parts;
  parts.offset = offset;
  TimeSignal signal = SignalOf(samples, parts);
  PlainOffset<T> const expected = PlainExtractOffset<T>(samples, samples.size());
  ExpectExtraction(signal, expected.samples, offset - expected.extracted);
}

void ExpectRefused(TimeSignal& signal, std::string const& message)
{
  SignalState const before(signal);
  ExpectThrow<TimeSignalException>([&] { signal.ExtractOffset(); }, message, kTimeSignalUnit);
  before.ExpectUnchanged(signal);
}

using Int8 = signed char;
constexpr long long kMax64 = std::numeric_limits<long long>::max();
constexpr long long kMin64 = std::numeric_limits<long long>::min();
constexpr int kMax32 = std::numeric_limits<int>::max();
constexpr int kMin32 = std::numeric_limits<int>::min();
} // namespace

TEST(OffsetExtraction, PositiveMeanIsRoundedAndTakenOff)
{
  ExpectExtraction<short>({10, 11, 12, 13}, {-2, -1, 0, 1}, 3 - 12.0);
}

TEST(OffsetExtraction, NegativeMeanIsRoundedAndTakenOff) { ExpectExtraction<short>({-10, -11}, {1, 0}, 3 + 11.0); }

TEST(OffsetExtraction, HalvesRoundAwayFromZero)
{
  ExpectExtraction<int>({2, 3}, {-1, 0}, 3 - 3.0);
  ExpectExtraction<int>({-2, -3}, {1, 0}, 3 + 3.0);
  ExpectExtraction<int>({0, 1}, {-1, 0}, 3 - 1.0);
  ExpectExtraction<int>({0, -1}, {1, 0}, 3 + 1.0);
  ExpectExtraction<Int8>({2, 3}, {-1, 0}, 3 - 3.0);
  ExpectExtraction<Int8>({-2, -3}, {1, 0}, 3 + 3.0);
  ExpectExtraction<short>({2, 3}, {-1, 0}, 3 - 3.0);
  ExpectExtraction<long long>({2, 3}, {-1, 0}, 3 - 3.0);
  ExpectExtraction<long long>({-2, -3}, {1, 0}, 3 + 3.0);
}

// Means of 2.4, -2.4, 2.6 and -2.6.
TEST(OffsetExtraction, OtherMeansRoundToTheNearest)
{
  ExpectExtraction<short>({2, 2, 2, 2, 4}, {0, 0, 0, 0, 2}, 3 - 2.0);
  ExpectExtraction<short>({-2, -2, -2, -2, -4}, {0, 0, 0, 0, -2}, 3 + 2.0);
  ExpectExtraction<short>({3, 3, 3, 3, 1}, {0, 0, 0, 0, -2}, 3 - 3.0);
  ExpectExtraction<short>({-3, -3, -3, -3, -1}, {0, 0, 0, 0, 2}, 3 + 3.0);
}

TEST(OffsetExtraction, SmallMeansTakeNothingOff)
{
  ExpectExtraction<short>({0, 0, 1}, {0, 0, 1}, 3.0);
  ExpectExtraction<short>({0, 0, -1}, {0, 0, -1}, 3.0);
  ExpectExtraction<short>({-5, 5}, {-5, 5}, 3.0);
  ExpectExtraction<short>({0, 0, 0}, {0, 0, 0}, 3.0);
}

TEST(OffsetExtraction, SingleSampleBecomesZero)
{
  ExpectExtraction<Int8>({127}, {0}, 3 - 127.0);
  ExpectExtraction<short>({-32767}, {0}, 3 + 32767.0);
  ExpectExtraction<int>({kMax32}, {0}, 3 - 2147483647.0);
  ExpectExtraction<long long>({-1000}, {0}, 3 + 1000.0);
  ExpectExtraction<float>({0.1F}, {0.0F}, 3 - static_cast<double>(0.1F));
  ExpectExtraction<double>({0.1}, {0.0}, 3 - 0.1);
}

// The mean of 42 would push -128 below the range: what is left to take off is nothing.
TEST(OffsetExtraction, PositiveOffsetStopsWhereTheSmallestSampleReachesTheLimit)
{
  ExpectExtraction<Int8>({127, 127, -128}, {127, 127, -128}, 3.0);
  ExpectExtraction<Int8>({127, 127, -120}, {119, 119, -128}, 3 - 8.0);
  ExpectExtraction<short>({32767, 32767, -32760}, {32759, 32759, -32768}, 3 - 8.0);
  ExpectExtraction<int>({kMax32, kMax32, kMin32 + 5}, {kMax32 - 5, kMax32 - 5, kMin32}, 3 - 5.0);
  ExpectExtraction<long long>({kMax64, kMax64, kMin64 + 5}, {kMax64 - 5, kMax64 - 5, kMin64}, 3 - 5.0);
}

// The mean of -52 would push 100 to 152.
TEST(OffsetExtraction, NegativeOffsetStopsWhereTheLargestSampleReachesTheLimit)
{
  ExpectExtraction<Int8>({-128, -128, 100}, {-101, -101, 127}, 3 + 27.0);
  ExpectExtraction<short>({-32768, -32768, 32760}, {-32761, -32761, 32767}, 3 + 7.0);
  ExpectExtraction<int>({kMin32, kMin32, kMax32 - 5}, {kMin32 + 5, kMin32 + 5, kMax32}, 3 + 5.0);
  ExpectExtraction<long long>({kMin64, kMin64, kMax64 - 5}, {kMin64 + 5, kMin64 + 5, kMax64}, 3 + 5.0);
}

// Zero counts as a sample in the search for the limit: -MIN is one more than MAX.
TEST(OffsetExtraction, SamplesThatAreAllSmallestMoveToMinusOne)
{
  ExpectExtraction<Int8>({-128, -128}, {-1, -1}, 3 + 127.0);
  ExpectExtraction<short>({-32768, -32768}, {-1, -1}, 3 + 32767.0);
  ExpectExtraction<int>({kMin32, kMin32}, {-1, -1}, 3 + 2147483647.0);
  ExpectExtraction<long long>({kMin64, kMin64}, {-1, -1}, 3 + 9223372036854775808.0);
}

TEST(OffsetExtraction, SamplesThatAreAllLargestMoveToZero)
{
  ExpectExtraction<Int8>({127, 127}, {0, 0}, 3 - 127.0);
  ExpectExtraction<short>({32767, 32767}, {0, 0}, 3 - 32767.0);
  ExpectExtraction<int>({kMax32, kMax32}, {0, 0}, 3 - 2147483647.0);
}

// The mean is 2^63 in double precision, one more than the largest sample.
TEST(OffsetExtraction, MeanBeyondSixtyFourBitsSaturates)
{
  ExpectExtraction<long long>({kMax64, kMax64}, {0, 0}, 3 - 9223372036854775808.0);
  ExpectExtraction<long long>({kMax64, kMax64 - 100}, {0, -100}, 3 - 9223372036854775808.0);
}

TEST(OffsetExtraction, ClampLooksOnlyWhereTheSamplesMove)
{
  ExpectExtraction<Int8>({127, 127, 0, 0}, {63, 63, -64, -64}, 3 - 64.0);
  ExpectExtraction<Int8>({-128, -128, 0, 0}, {-64, -64, 64, 64}, 3 + 64.0);
}

// The mean is 6442450942 / 4 = 1610612735.5.
TEST(OffsetExtraction, ThirtyTwoBitSumsAreTakenInSixtyFour)
{
  ExpectExtraction<int>({kMax32, kMax32, kMax32, 1}, {536870911, 536870911, 536870911, -1610612735}, 3 - 1610612736.0);
}

// 250000 x 20000 = 5000000000, which 32 bits keep as 705032704: a mean of 2820.13 instead of 20000.
TEST(OffsetExtraction, SixteenBitSumsWrapInThirtyTwoBits)
{
  ExpectExtraction(std::vector<short>(250000, 20000), std::vector<short>(250000, 17180), 3 - 2820.0);
}

// 65539 x 32767 = 2147516413 wraps to -2147450883, a mean of -32766.0001: no room above the largest sample.
TEST(OffsetExtraction, WrappedSumOfFullScaleSamplesTakesTheNegativeBranch)
{
  std::vector<short> const fullScale(65539, 32767);
  ExpectExtraction(fullScale, fullScale, 3.0);
}

// 65536 x -32768 = -2147483648 still fits; one more wraps to 2147450880 and takes the positive branch.
TEST(OffsetExtraction, SumWrapsWithTheFirstSampleBeyondThirtyTwoBits)
{
  ExpectExtraction(std::vector<short>(65536, -32768), std::vector<short>(65536, -1), 3 + 32767.0);
  std::vector<short> const wrapped(65537, -32768);
  ExpectExtraction(wrapped, wrapped, 3.0);
}

// 2^53 + 1 is 2^53 in double precision: where the 1 comes behind it, it is lost, and the mean is 1/4 instead of 2/4.
TEST(OffsetExtraction, SixtyFourBitSamplesAreSummedInDoublePrecisionInOrder)
{
  long long const big = 1LL << 53;
  ExpectExtraction<long long>({big, 1, -big, 1}, {big, 1, -big, 1}, 3.0);
  ExpectExtraction<long long>({big, -big, 1, 1}, {big - 1, -big - 1, 0, 0}, 3 - 1.0);
}

TEST(OffsetExtraction, FloatsLoseTheirMean) { ExpectExtraction<float>({1.0F, 2.0F}, {-0.5F, 0.5F}, 3 - 1.5); }

TEST(OffsetExtraction, DoublesLoseTheirMean) { ExpectExtraction<double>({1.0, 2.0, -4.5}, {1.5, 2.5, -4.0}, 3 + 0.5); }

// The mean 1/3 is rounded to float before it is taken off the samples and the Offset.
TEST(OffsetExtraction, MeanOfFloatsIsRoundedToFloat)
{
  float const third = 0x1.555556p-2F;
  ExpectExtraction<float>({1.0F, 0.0F, 0.0F}, {1.0F - third, -third, -third}, 3 - 0x1.555556p-2);
}

// In single precision the small samples would be lost.
TEST(OffsetExtraction, FloatsAreSummedInDoublePrecision)
{
  ExpectExtraction<float>({16777216.0F, 1.0F, 1.0F, 2.0F}, {12582911.0F, -4194304.0F, -4194304.0F, -4194303.0F},
                          3 - 4194305.0);
}

TEST(OffsetExtraction, DoublesAreSummedInOrder)
{
  ExpectExtraction<double>({0x1p53, 1.0, -0x1p53, 1.0}, {0x1p53, 0.75, -0x1p53, 0.75}, 3 - 0.25);
  ExpectExtraction<double>({0x1p53, -0x1p53, 1.0, 1.0}, {0x1p53, -0x1p53, 0.5, 0.5}, 3 - 0.5);
}

TEST(OffsetExtraction, NotANumberSpreadsToAllSamplesAndTheOffset)
{
  float const nan = std::numeric_limits<float>::quiet_NaN();
  ExpectExtraction<float>({1.0F, nan, 2.0F}, {nan, nan, nan}, static_cast<double>(nan));
  double const wideNan = std::numeric_limits<double>::quiet_NaN();
  ExpectExtraction<double>({1.0, wideNan, 2.0}, {wideNan, wideNan, wideNan}, wideNan);
}

TEST(OffsetExtraction, InfinityTakesEverythingWithIt)
{
  double const infinity = std::numeric_limits<double>::infinity();
  double const nan = std::numeric_limits<double>::quiet_NaN();
  ExpectExtraction<double>({1.0, infinity}, {-infinity, nan}, -infinity);
  ExpectExtraction<double>({-infinity, 1.0}, {nan, infinity}, infinity);
  ExpectExtraction<double>({infinity, -infinity}, {nan, nan}, nan);
}

TEST(OffsetExtraction, SumOfDoublesMayOverflow)
{
  double const largest = std::numeric_limits<double>::max();
  double const infinity = std::numeric_limits<double>::infinity();
  ExpectExtraction<double>({largest, largest}, {-infinity, -infinity}, -infinity);
}

TEST(OffsetExtraction, LargestFloatsHaveAFiniteMean)
{
  float const largest = std::numeric_limits<float>::max();
  ExpectExtraction<float>({largest, largest}, {0.0F, 0.0F}, 3 - static_cast<double>(largest));
}

TEST(OffsetExtraction, DenormalsKeepTheirBits)
{
  float const tiny = std::numeric_limits<float>::denorm_min();
  ExpectExtraction<float>({tiny, 3 * tiny}, {-tiny, tiny}, 3.0);
  double const wideTiny = std::numeric_limits<double>::denorm_min();
  ExpectExtraction<double>({wideTiny, 3 * wideTiny}, {-wideTiny, wideTiny}, 3.0);
}

// The sum starts at +0.0, so the mean of negative zeros is +0.0.
TEST(OffsetExtraction, NegativeZerosStayNegative)
{
  ExpectExtraction<double>({-0.0, -0.0}, {-0.0, -0.0}, 3.0);
  ExpectExtraction<float>({-0.0F, -0.0F}, {-0.0F, -0.0F}, 3.0);
}

TEST(OffsetExtraction, UnsignedSamplesStay)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        if constexpr (std::is_unsigned_v<T>)
        {
          std::vector<T> const samples = MixedSamples<T>(77, 1);
          ExpectExtraction(samples, samples, 3.0);
        }
      });
}

TEST(OffsetExtraction, UnsignedSignalsStillGetTheirChecksumsRepaired)
{
  TimeSignal signal = SignalOf<unsigned short>({1, 2, 65535});
  TimeSignal const intact = SignalOf<unsigned short>({1, 2, 65535});
  signal.GetHeader()->DataChecksum ^= 0x1234;
  signal.GetHeader()->HeaderChecksum ^= 0x4321;
  signal.ExtractOffset();
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()), HeaderBytes(*intact.GetHeader()));
  EXPECT_EQ(StoredBytes(signal), StoredBytes(intact));
}

TEST(OffsetExtraction, WrongChecksumsAreRepairedForEveryType)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        TimeSignal signal = SignalOf(OrdinarySamples<T>(33, 4, 6));
        signal.GetHeader()->DataChecksum ^= 0x1234;
        signal.GetHeader()->HeaderChecksum ^= 0x4321;
        signal.ExtractOffset();
        ExpectValidChecksums(*signal.GetHeader());
      });
}

// (raw sample - Offset) x ScalingFactor before and after, with numbers that are exact in double precision.
TEST(OffsetExtraction, PhysicalValuesStay)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        TimeSignal signal = SignalOf(std::vector<T>{T{100}, T{50}, T{120}, T{2}});
        std::unique_ptr<std::vector<double>> const before(TimeSignal::SamplesToDouble(signal, -1));
        signal.ExtractOffset();
        std::unique_ptr<std::vector<double>> const after(TimeSignal::SamplesToDouble(signal, -1));
        EXPECT_EQ(*before, (std::vector<double>{48.5, 23.5, 58.5, -0.5}));
        EXPECT_EQ(*after, *before);
      });
}

// A mean of 1/2 rounds to 1 and one of -1/2 to -1.
TEST(OffsetExtraction, SignalBetweenTwoNumbersMovesToAndFro)
{
  TimeSignal signal = SignalOf<short>({10, 11, 12, 13});
  ExpectExtraction<short>(signal, {-2, -1, 0, 1}, 3 - 12.0);
  ExpectExtraction<short>(signal, {-1, 0, 1, 2}, 3 - 12.0 + 1.0);
  ExpectExtraction<short>(signal, {-2, -1, 0, 1}, 3 - 12.0);
}

TEST(OffsetExtraction, SignalOfWholeMeanStaysAfterTheFirstExtraction)
{
  TimeSignal signal = SignalOf<short>({10, 11, 12});
  ExpectExtraction<short>(signal, {-1, 0, 1}, 3 - 11.0);
  ExpectExtraction<short>(signal, {-1, 0, 1}, 3 - 11.0);
}

TEST(OffsetExtraction, CompressedSignalsAreRefusedBeforeAnythingElse)
{
  for (compression32_t const method : {zlib, gzip})
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    signal.Compress(method);
    ExpectRefused(signal, kCompressed);
    signal.GetHeader()->SampleType = UnknownSampleType(99);
    ExpectRefused(signal, kCompressed);
    TimeSignal empty = SignalOf<short>({});
    empty.Compress(method);
    ExpectRefused(empty, kCompressed);
  }
  for (int const compression : {0, 3, 5, -1})
  {
    TimeSignal signal = SignalOf<unsigned short>({1, 2, 3});
    signal.GetHeader()->Compression = static_cast<compression32_t>(compression);
    ExpectRefused(signal, kCompressed);
  }
}

TEST(OffsetExtraction, EmptySignalsStayAsTheyAreWhateverTheirType)
{
  for (int type = -1; type <= 12; ++type)
  {
    TimeSignal signal = SignalOf<short>({});
    signal.GetHeader()->SampleType = UnknownSampleType(type);
    signal.GetHeader()->SampleCount = 5;
    signal.GetHeader()->DataChecksum = 0x1234;
    signal.GetHeader()->HeaderChecksum ^= 0x4321;
    SignalState const before(signal);
    EXPECT_NO_THROW(signal.ExtractOffset());
    before.ExpectUnchanged(signal);
  }
}

TEST(OffsetExtraction, UnknownTypesWithSamplesAreRefused)
{
  for (int const type : {0, 11, 99, -1, kMax32, kMin32})
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    signal.GetHeader()->SampleType = UnknownSampleType(type);
    ExpectRefused(signal, "Unknown data type: " + std::to_string(type) + "!");
  }
}

TEST(OffsetExtraction, MeanDividesByTheAnnouncedCountAndOnlyStoredSamplesMove)
{
  TimeSignal shorts = SignalOf<short>({10, 20, 30});
  shorts.GetHeader()->SampleCount = 6;
  ExpectExtraction<short>(shorts, {0, 10, 20}, 3 - 10.0);
  TimeSignal floats = SignalOf<float>({10.0F, 20.0F, 30.0F});
  floats.GetHeader()->SampleCount = 6;
  ExpectExtraction<float>(floats, {0.0F, 10.0F, 20.0F}, 3 - 10.0);
  TimeSignal doubles = SignalOf<double>({10.0, 20.0, 30.0});
  doubles.GetHeader()->SampleCount = ~0ULL;
  ExpectExtraction<double>(doubles, {10.0 - 60.0 / 0x1p64, 20.0 - 60.0 / 0x1p64, 30.0 - 60.0 / 0x1p64}, 3.0);
}

TEST(OffsetExtraction, StoredSamplesThatAreNotAnnouncedStay)
{
  TimeSignal shorts = SignalOf<short>({10, 20, 999});
  shorts.GetHeader()->SampleCount = 2;
  ExpectExtraction<short>(shorts, {-5, 5, 999}, 3 - 15.0);
  TimeSignal doubles = SignalOf<double>({10.0, 20.0, 999.0});
  doubles.GetHeader()->SampleCount = 2;
  ExpectExtraction<double>(doubles, {-5.0, 5.0, 999.0}, 3 - 15.0);
}

TEST(OffsetExtraction, StoredBytesThatMakeNoWholeSampleStay)
{
  TimeSignal signal = SignalOf<short>({10, 20, 30});
  signal.GetHeader()->DataArrayByteCount = 5;
  timesignal_bin_t const before = *signal.GetHeader();
  signal.ExtractOffset();
  signal.GetHeader()->DataArrayByteCount = 6;
  EXPECT_EQ(StoredSamples<short>(signal), (std::vector<short>{0, 10, 30}));
  signal.GetHeader()->DataArrayByteCount = 5;
  ExpectHeader(*signal.GetHeader(), before, 3 - 10.0);
}

TEST(OffsetExtraction, ByteCountBeyondTheArrayTouchesNothingBehindIt)
{
  TimeSignal signal = SignalOf<short>({10, 20, 30});
  signal.GetHeader()->DataArrayByteCount = 6000;
  EXPECT_NO_THROW(signal.ExtractOffset());
  std::span<unsigned char const> const stored = signal.GetStoredSamples();
  ASSERT_EQ(stored.size(), 6U);
  std::vector<short> samples(3);
  std::memcpy(samples.data(), stored.data(), stored.size());
  EXPECT_EQ(samples, (std::vector<short>{-10, 0, 10}));
  EXPECT_EQ(signal.GetHeader()->Offset, 3 - 20.0);
}

TEST(OffsetExtraction, BytesWithoutAnnouncedSamplesLeaveIntegersAlone)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        if constexpr (std::is_integral_v<T>)
        {
          std::vector<T> const samples = MixedSamples<T>(7, 3);
          TimeSignal signal = SignalOf(samples);
          signal.GetHeader()->SampleCount = 0;
          ExpectExtraction(signal, samples, 3.0);
        }
      });
}

TEST(OffsetExtraction, BytesWithoutAnnouncedSamplesMakeTheOffsetOfFloatsNan)
{
  double const nan = std::numeric_limits<double>::quiet_NaN();
  TimeSignal floats = SignalOf<float>({1.0F, 2.0F});
  floats.GetHeader()->SampleCount = 0;
  ExpectExtraction<float>(floats, {1.0F, 2.0F}, nan);
  TimeSignal doubles = SignalOf<double>({1.0, 2.0});
  doubles.GetHeader()->SampleCount = 0;
  ExpectExtraction<double>(doubles, {1.0, 2.0}, nan);
}

TEST(OffsetExtraction, MissingArrayIsRefusedAndNothingChanges)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (unsigned long long const announced : {3U, 0U})
        {
          TimeSignal signal = SignalOf(std::vector<T>{T{1}, T{2}, T{3}});
          DropSamples(signal);
          signal.GetHeader()->SampleCount = announced;
          ExpectRefused(signal, kMissing);
        }
      });
}

TEST(OffsetExtraction, ComputeOffsetMovesSamplesAndOffsetAndNothingElse)
{
  TimeSignal const signal = SignalOf<short>({10, 11, 12, 13});
  timesignal_bin_t expected = *signal.GetHeader();
  ObjectOf(signal)->ComputeOffset<short, int>();
  expected.Offset = 3 - 12.0;
  EXPECT_EQ(StoredSamples<short>(signal), (std::vector<short>{-2, -1, 0, 1}));
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()), HeaderBytes(expected));
}

TEST(OffsetExtraction, ComputeOffsetExistsForTheFourSignedIntegerTypes)
{
  TimeSignal const bytes = SignalOf<Int8>({-128, -128, 100});
  ObjectOf(bytes)->ComputeOffset<Int8, int>();
  EXPECT_EQ(StoredSamples<Int8>(bytes), (std::vector<Int8>{-101, -101, 127}));
  EXPECT_EQ(bytes.GetHeader()->Offset, 3 + 27.0);
  TimeSignal const words = SignalOf<int>({kMin32, kMin32});
  ObjectOf(words)->ComputeOffset<int, long long>();
  EXPECT_EQ(StoredSamples<int>(words), (std::vector<int>{-1, -1}));
  EXPECT_EQ(words.GetHeader()->Offset, 3 + 2147483647.0);
  TimeSignal const longs = SignalOf<long long>({kMax64, kMax64});
  ObjectOf(longs)->ComputeOffset<long long, double>();
  EXPECT_EQ(StoredSamples<long long>(longs), (std::vector<long long>{0, 0}));
  EXPECT_EQ(longs.GetHeader()->Offset, 3 - 9223372036854775808.0);
}

TEST(OffsetExtraction, ComputeOffsetLooksAtNeitherCompressionNorType)
{
  TimeSignal const signal = SignalOf<short>({10, 11, 12, 13});
  signal.GetHeader()->Compression = int24;
  signal.GetHeader()->SampleType = UnknownSampleType(99);
  ObjectOf(signal)->ComputeOffset<short, int>();
  EXPECT_EQ(StoredSamples<short>(signal), (std::vector<short>{-2, -1, 0, 1}));
  EXPECT_EQ(signal.GetHeader()->Offset, 3 - 12.0);
}

TEST(OffsetExtraction, EveryLengthAgreesWithThePlainModel)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (std::size_t count = 1; count <= kMaxLength; ++count)
          ExpectPlainExtraction(RandomBits<T>(count, count));
      });
}

// Few bits make sums small and ties frequent, many bits make them clamp, wrap and round.
TEST(OffsetExtraction, RandomSignalsAgreeWithThePlainModel)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t type)
      {
        std::mt19937_64 random(static_cast<std::uint64_t>(type));
        for (int round = 0; round < 600; ++round)
        {
          std::size_t const count = 1 + random() % 40;
          int const bits = 1 + static_cast<int>(random() % 64);
          double const offset = std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 40) - 64);
          std::vector<T> samples = OrdinarySamples<T>(count, random(), bits);
          if (round % 3 == 0) // a constant on top of the noise
            for (T& sample : samples)
              sample = static_cast<T>(sample / 4 + std::numeric_limits<T>::max() / 3);
          if (round % 5 == 0)
            samples[random() % count] = SpecialSamples<T>()[random() % 12];
          ExpectPlainExtraction(samples, offset);
        }
      });
}

// Checksums of long arrays are taken block by block.
TEST(OffsetExtraction, LongSignalsAgreeWithThePlainModel)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        for (std::size_t const bytes : {16384U, 16384U + 8U, 3 * 16384U + 40U})
          ExpectPlainExtraction(OrdinarySamples<T>(bytes / sizeof(T), bytes, 30));
      });
}

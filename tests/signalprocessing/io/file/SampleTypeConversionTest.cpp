#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/ConversionTable.h"
#include "support/Expectations.h"
#include "support/SampleArrays.h"
#include "support/SampleSignals.h"
#include "support/SignalState.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace
{
char KindOf(sample_datatype32_t from, sample_datatype32_t to)
{
  return kConversionTable.at(static_cast<std::size_t>(from) - 1).at(static_cast<std::size_t>(to) - 1);
}

std::string RefusalOf(sample_datatype32_t from, sample_datatype32_t to)
{
  return NarrowingMessage(static_cast<std::size_t>(from) - 1, static_cast<std::size_t>(to) - 1);
}

/// Calls visitor(std::type_identity<In>{}, std::type_identity<Out>{}) for all hundred pairs.
template <class Visitor>
void ForEachPair(Visitor visitor)
{
  ForEachSampleElement(
      [&]<class In>(std::type_identity<In> in, sample_datatype32_t) {
        ForEachSampleElement([&]<class Out>(std::type_identity<Out> out, sample_datatype32_t) { visitor(in, out); });
      });
}

/// `count` converted samples, zeros where there are no samples left. Of refused pairs all are zeros.
template <class Out, class In>
std::vector<Out> PlainConverted(std::vector<In> const& samples, std::size_t count)
{
  std::vector<Out> converted(count);
  if constexpr (kConversionTable[SampleElementIndex<In>()][SampleElementIndex<Out>()] != 'N')
    PlainConvert<In, Out>(std::min(samples.size(), count), samples.data(), converted.data());
  return converted;
}

/// The header that a conversion leaves: two fields and the checksums are new, everything else is as before.
std::vector<unsigned char> ConvertedHeader(timesignal_bin_t before, sample_datatype32_t target,
                                           unsigned long long byteCount, unsigned char* samples)
{
  before.SampleType = target;
  before.DataArrayByteCount = byteCount;
  before.Samples = samples;
  before.DataChecksum = PlainDataChecksum(before);
  before.HeaderChecksum = PlainHeaderChecksum(before);
  return HeaderBytes(before);
}

/// Converts and compares samples, byte count, types, checksums and the untouched rest of the header.
template <class Out>
void ExpectConverts(TimeSignal& signal, std::vector<Out> const& expected)
{
  timesignal_bin_t const before = *signal.GetHeader();
  signal.Convert(kSampleTypeOf<Out>);
  ASSERT_EQ(signal.GetStoredSamples().size(), expected.size() * sizeof(Out));
  EXPECT_EQ(FirstDifference(StoredSamples<Out>(signal), expected), kNoDifference);
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()),
            ConvertedHeader(before, kSampleTypeOf<Out>, expected.size() * sizeof(Out), signal.GetSamplesPointer()));
}

/// Convert must fail, and must have changed nothing.
template <class E>
void ExpectRefused(TimeSignal& signal, sample_datatype32_t target, std::string const& message, std::string const& file)
{
  SignalState const before(signal);
  ExpectThrow<E>([&] { signal.Convert(target); }, message, file);
  before.ExpectUnchanged(signal);
}

void SpoilChecksums(TimeSignal const& signal)
{
  signal.GetHeader()->DataChecksum ^= 0x5555;
  signal.GetHeader()->HeaderChecksum ^= 0x0F0F;
}

constexpr char const* kCompressed = "Cannot modify compress data!";
constexpr char const* kTooLarge = "Support for more than 2^31 samples not implemented!";
constexpr char const* kConvertToUnit = "InternalTimeSignal.h";
std::vector<int> const kUnknownTypes = {
    0, 11, 99, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};

std::string UnknownType(int number) { return "Unknown data type: " + std::to_string(number) + "!"; }
} // namespace

TEST(SampleTypeConversion, EveryPairConvertsCopiesOrRefuses)
{
  ForEachPair(
      []<class In, class Out>(std::type_identity<In>, std::type_identity<Out>)
      {
        sample_datatype32_t const from = kSampleTypeOf<In>;
        sample_datatype32_t const to = kSampleTypeOf<Out>;
        SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
        std::vector<In> const samples = MixedSamples<In>(257, static_cast<std::uint64_t>(from));
        TimeSignal signal = SignalOf(samples);
        SignalState const before(signal);
        switch (KindOf(from, to))
        {
        case 'W':
          ExpectConverts(signal, PlainConverted<Out>(samples, samples.size()));
          break;
        case 'C':
          signal.Convert(to);
          before.ExpectUnchanged(signal);
          break;
        default:
          ExpectRefused<TypeConverterException>(signal, to, RefusalOf(from, to), kTypeConverterUnit);
        }
      });
}

// Checksums of long arrays are taken block by block while the samples are made.
TEST(SampleTypeConversion, LongSignalsKeepValuesAndChecksums)
{
  ForEachPair(
      []<class In, class Out>(std::type_identity<In>, std::type_identity<Out>)
      {
        if (KindOf(kSampleTypeOf<In>, kSampleTypeOf<Out>) != 'W')
          return;
        constexpr std::size_t block = 16384 / sizeof(Out);
        for (std::size_t const count : {block - 1, block, block + 1, 3 * block + 5})
        {
          std::vector<In> const samples = RandomBits<In>(count, count);
          TimeSignal signal = SignalOf(samples);
          ExpectConverts(signal, PlainConverted<Out>(samples, count));
        }
      });
}

TEST(SampleTypeConversion, EveryShortLengthConverts)
{
  for (std::size_t count = 1; count <= kMaxLength; ++count)
  {
    std::vector<signed char> const bytes = RandomBits<signed char>(count, count);
    TimeSignal narrow = SignalOf(bytes);
    ExpectConverts(narrow, PlainConverted<short>(bytes, count));
    std::vector<unsigned int> const words = RandomBits<unsigned int>(count, count);
    TimeSignal wide = SignalOf(words);
    ExpectConverts(wide, PlainConverted<float>(words, count));
  }
}

TEST(SampleTypeConversion, SixteenBitIntegersBecomeDoubles)
{
  TimeSignal signal = SignalOf<short>({-2, 0, 7});
  signal.Convert(data_float64_t);
  EXPECT_EQ(StoredSamples<double>(signal), (std::vector<double>{-2.0, 0.0, 7.0}));
  EXPECT_EQ(signal.GetHeader()->SampleType, data_float64_t);
  EXPECT_EQ(signal.GetHeader()->DataArrayByteCount, 24U);
  EXPECT_EQ(signal.GetHeader()->SampleCount, 3U);
  ExpectValidChecksums(*signal.GetHeader());
  EXPECT_TRUE(signal.GetChecksumStatus());
}

TEST(SampleTypeConversion, RefusalsNameBothElementTypes)
{
  TimeSignal shorts = SignalOf<short>({-2, 0, 7});
  ExpectRefused<TypeConverterException>(
      shorts, data_uint16_t, "Conversion from Int16_t to Uint16_t narrows the value range!", kTypeConverterUnit);
  TimeSignal doubles = SignalOf<double>({1.0, 2.0});
  ExpectRefused<TypeConverterException>(
      doubles, data_float32_t, "Conversion from Float64_t to Float32_t narrows the value range!", kTypeConverterUnit);
}

TEST(SampleTypeConversion, UnsignedSixtyFourBitIntegersBecomeFloats)
{
  TimeSignal signal = SignalOf<unsigned long long>({0, 9007199254740993ULL, ~0ULL});
  ExpectConverts(signal, std::vector<float>{0.0F, 9007199254740992.0F, 18446744073709551616.0F});
}

TEST(SampleTypeConversion, StepsOfWideningEndAtTheSameValues)
{
  std::vector<signed char> const samples = {-128, -1, 0, 1, 127};
  TimeSignal signal = SignalOf(samples);
  ExpectConverts(signal, std::vector<short>{-128, -1, 0, 1, 127});
  ExpectConverts(signal, std::vector<int>{-128, -1, 0, 1, 127});
  ExpectConverts(signal, std::vector<long long>{-128, -1, 0, 1, 127});
  ExpectConverts(signal, std::vector<float>{-128, -1, 0, 1, 127});
  ExpectConverts(signal, std::vector<double>{-128, -1, 0, 1, 127});
}

TEST(SampleTypeConversion, WhatTheRecordDoesNotHoldStays)
{
  TimeSignal signal = SignalOf<short>({1, 2});
  signal.AddTrigger(CountingUuid(1), 2.0, CountingUuid(3), "trip");
  signal.AddValidator(CountingUuid(4), 5.0, CountingUuid(6), "valid");
  signal.AddCharacteristicValue(CountingUuid(7), 8.0, CountingUuid(9), "value", 10.0F);
  signal.Convert(data_int64_t);
  EXPECT_EQ(signal.GetUnitString(), "mm/s");
  EXPECT_EQ(signal.GetJobDataUuid(), CountingUuid(0x70));
  EXPECT_EQ(signal.GetTrigger().TripValue, 2.0);
  ASSERT_EQ(signal.GetValidators().size(), 1U);
  EXPECT_EQ(signal.GetValidators()[0].AverageValue, 5.0);
  ASSERT_EQ(signal.GetCharVals().size(), 1U);
  EXPECT_EQ(signal.GetCharVals()[0].Value, 8.0);
}

TEST(SampleTypeConversion, CompressedSignalsAreRefusedBeforeAnythingElse)
{
  for (compression32_t const method : {zlib, gzip})
    for (int const target : {1, 2, 6, 7, 0, 99})
    {
      TimeSignal signal = SignalOf<short>({1, 2, 3});
      signal.Compress(method);
      ExpectRefused<TimeSignalException>(signal, UnknownSampleType(target), kCompressed, kTimeSignalUnit);
      TimeSignal empty = SignalOf<short>({});
      empty.Compress(method);
      ExpectRefused<TimeSignalException>(empty, UnknownSampleType(target), kCompressed, kTimeSignalUnit);
    }
}

TEST(SampleTypeConversion, EveryCompressionButNoneIsRefused)
{
  for (int const compression : {0, 2, 3, 4, 5, -1})
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    signal.GetHeader()->Compression = static_cast<compression32_t>(compression);
    ExpectRefused<TimeSignalException>(signal, data_int32_t, kCompressed, kTimeSignalUnit);
    ExpectRefused<TimeSignalException>(signal, data_int16_t, kCompressed, kTimeSignalUnit);
  }
}

TEST(SampleTypeConversion, CurrentTypeLeavesEvenWrongChecksumsAlone)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  SpoilChecksums(signal);
  SignalState const before(signal);
  signal.Convert(data_int16_t);
  before.ExpectUnchanged(signal);
}

TEST(SampleTypeConversion, CurrentTypeNeedsNotBeKnown)
{
  for (int const number : kUnknownTypes)
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    signal.GetHeader()->SampleType = UnknownSampleType(number);
    signal.GetHeader()->SampleCount = ~0ULL;
    SignalState const before(signal);
    EXPECT_NO_THROW(signal.Convert(UnknownSampleType(number)));
    before.ExpectUnchanged(signal);
  }
}

TEST(SampleTypeConversion, EmptySignalsTakeAnyTarget)
{
  std::vector<int> targets = kUnknownTypes;
  for (int known = 1; known <= 10; ++known)
    targets.push_back(known);
  for (int const current : targets)
    for (int const target : targets)
    {
      TimeSignal signal = SignalOf<short>({});
      signal.GetHeader()->SampleType = UnknownSampleType(current);
      signal.RecalculateSamplesChecksum();
      timesignal_bin_t const before = *signal.GetHeader();
      signal.Convert(UnknownSampleType(target));
      EXPECT_EQ(HeaderBytes(*signal.GetHeader()), ConvertedHeader(before, UnknownSampleType(target), 0, nullptr));
      EXPECT_EQ(signal.GetSamplesPointer(), nullptr);
    }
}

TEST(SampleTypeConversion, EmptySignalsGetOnlyTheirTypeAndHeaderChecksum)
{
  TimeSignal signal = SignalOf<short>({});
  signal.GetHeader()->SampleCount = 7;
  SpoilChecksums(signal);
  timesignal_bin_t expected = *signal.GetHeader();
  signal.Convert(data_uint8_t);
  expected.SampleType = data_uint8_t;
  expected.HeaderChecksum = PlainHeaderChecksum(expected);
  EXPECT_EQ(HeaderBytes(*signal.GetHeader()), HeaderBytes(expected));
  EXPECT_EQ(signal.GetHeader()->DataChecksum, 0x5555);
}

TEST(SampleTypeConversion, EmptySignalsOfTheSameTypeStayAsTheyAre)
{
  TimeSignal signal = SignalOf<short>({});
  SpoilChecksums(signal);
  SignalState const before(signal);
  signal.Convert(data_int16_t);
  before.ExpectUnchanged(signal);
}

TEST(SampleTypeConversion, UnknownTargetsAreRefused)
{
  for (int const target : kUnknownTypes)
  {
    TimeSignal signal = SignalOf<short>({1, 2, 3});
    ExpectRefused<TimeSignalException>(signal, UnknownSampleType(target), UnknownType(target), kTimeSignalUnit);
  }
}

TEST(SampleTypeConversion, UnknownTargetIsReportedBeforeTheSizeAndTheCurrentType)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleType = UnknownSampleType(77);
  signal.GetHeader()->SampleCount = ~0ULL;
  ExpectRefused<TimeSignalException>(signal, UnknownSampleType(99), "Unknown data type: 99!", kTimeSignalUnit);
}

TEST(SampleTypeConversion, ResultsOfTwoToTheThirtyFirstBytesAreRefused)
{
  TimeSignal signal = SignalOf<signed char>({1, 2, 3, 4});
  signal.GetHeader()->SampleCount = 268435456;
  ExpectRefused<TimeSignalException>(signal, data_float64_t, kTooLarge, kTimeSignalUnit);
  signal.GetHeader()->SampleCount = 536870912;
  ExpectRefused<TimeSignalException>(signal, data_float32_t, kTooLarge, kTimeSignalUnit);
  signal.GetHeader()->SampleCount = 1073741824;
  ExpectRefused<TimeSignalException>(signal, data_int16_t, kTooLarge, kTimeSignalUnit);
}

// 2^61 x 8 and 2^63 x 2 are 0 in 64 bits.
TEST(SampleTypeConversion, ResultsThatDoNotFitSixtyFourBitsAreRefused)
{
  TimeSignal signal = SignalOf<signed char>({1, 2, 3, 4});
  for (unsigned long long const count : {1ULL << 61, (1ULL << 61) + 1, ~0ULL})
  {
    signal.GetHeader()->SampleCount = count;
    ExpectRefused<TimeSignalException>(signal, data_float64_t, kTooLarge, kTimeSignalUnit);
  }
  signal.GetHeader()->SampleCount = 1ULL << 63;
  ExpectRefused<TimeSignalException>(signal, data_int16_t, kTooLarge, kTimeSignalUnit);
}

TEST(SampleTypeConversion, SizeIsReportedBeforeTheCurrentTypeAndNarrowing)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleCount = 268435456;
  ExpectRefused<TimeSignalException>(signal, data_uint64_t, kTooLarge, kTimeSignalUnit);
  signal.GetHeader()->SampleType = UnknownSampleType(99);
  ExpectRefused<TimeSignalException>(signal, data_uint64_t, kTooLarge, kTimeSignalUnit);
}

TEST(SampleTypeConversion, UnknownCurrentTypesAreRefused)
{
  for (int const current : kUnknownTypes)
    for (sample_datatype32_t const target : kSampleTypes)
    {
      TimeSignal signal = SignalOf<short>({1, 2, 3});
      signal.GetHeader()->SampleType = UnknownSampleType(current);
      ExpectRefused<TimeSignalException>(signal, target, UnknownType(current), kTimeSignalUnit);
    }
}

TEST(SampleTypeConversion, ConversionRepairsWrongChecksums)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  SpoilChecksums(signal);
  signal.Convert(data_int32_t);
  ExpectValidChecksums(*signal.GetHeader());
}

TEST(SampleTypeConversion, RefusalKeepsWrongChecksums)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  SpoilChecksums(signal);
  ExpectRefused<TypeConverterException>(signal, data_uint64_t, RefusalOf(data_int16_t, data_uint64_t),
                                        kTypeConverterUnit);
}

TEST(SampleTypeConversion, AnnouncedSamplesThatAreNotStoredBecomeZeros)
{
  ForEachPair(
      []<class In, class Out>(std::type_identity<In>, std::type_identity<Out>)
      {
        if (KindOf(kSampleTypeOf<In>, kSampleTypeOf<Out>) != 'W')
          return;
        std::vector<In> const samples = MixedSamples<In>(5, 1);
        for (std::size_t const announced : {6U, 64U, 5000U})
        {
          TimeSignal signal = SignalOf(samples);
          signal.GetHeader()->SampleCount = announced;
          ExpectConverts(signal, PlainConverted<Out>(samples, announced));
        }
      });
}

TEST(SampleTypeConversion, StoredSamplesThatAreNotAnnouncedAreDropped)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleCount = 2;
  ExpectConverts(signal, std::vector<int>{1, 2});
}

TEST(SampleTypeConversion, StoredBytesThatMakeNoWholeSampleAreDropped)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->DataArrayByteCount = 5;
  ExpectConverts(signal, std::vector<int>{1, 2, 0});
}

TEST(SampleTypeConversion, ByteCountBeyondTheArrayReadsNothingBehindIt)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->DataArrayByteCount = 6000;
  signal.GetHeader()->SampleCount = 3000;
  ExpectConverts(signal, PlainConverted<int>(std::vector<short>{1, 2, 3}, 3000));
}

TEST(SampleTypeConversion, MissingArrayBecomesZeros)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  DropSamples(signal);
  ExpectConverts(signal, std::vector<int>{0, 0, 0});
}

TEST(SampleTypeConversion, MissingArrayOfARefusedPairStaysMissing)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  DropSamples(signal);
  ExpectRefused<TypeConverterException>(signal, data_int8_t, RefusalOf(data_int16_t, data_int8_t), kTypeConverterUnit);
}

TEST(SampleTypeConversion, BytesWithoutAnnouncedSamplesBecomeAnEmptyArray)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleCount = 0;
  ExpectConverts(signal, std::vector<int>{});
  EXPECT_NE(signal.GetSamplesPointer(), nullptr);
  EXPECT_EQ(signal.GetHeader()->DataChecksum, 0);
}

TEST(SampleTypeConversion, NarrowingIsRefusedEvenWithoutAnnouncedSamples)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleCount = 0;
  ExpectRefused<TypeConverterException>(signal, data_int8_t, RefusalOf(data_int16_t, data_int8_t), kTypeConverterUnit);
}

TEST(SampleTypeConversion, ArrayThatTheCallerPutThereIsConverted)
{
  TimeSignal signal = SignalOf<short>({1, 2, 3});
  DropSamples(signal);
  std::vector<short> const other = {-7, 8, -9, 10, 11};
  signal.GetHeader()->Samples = new unsigned char[10];
  std::memcpy(signal.GetHeader()->Samples, other.data(), 10);
  signal.GetHeader()->DataArrayByteCount = 10;
  signal.GetHeader()->SampleCount = 5;
  ExpectConverts(signal, std::vector<int>{-7, 8, -9, 10, 11});
}

TEST(SampleTypeConversion, ConvertToFillsTheCallersArrayForEveryPair)
{
  GuardedRoom room(kMaxLength * 8);
  ForEachPair(
      [&]<class In, class Out>(std::type_identity<In>, std::type_identity<Out>)
      {
        sample_datatype32_t const from = kSampleTypeOf<In>;
        sample_datatype32_t const to = kSampleTypeOf<Out>;
        SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
        std::vector<In> const samples = MixedSamples<In>(kMaxLength, 5);
        TimeSignal const signal = SignalOf(samples);
        SignalState const before(signal);
        Out* const out = room.TakeArray<Out>(0, kMaxLength);
        auto const convert = [&] { ObjectOf(signal)->ConvertTo<In>(to, out); };
        if (KindOf(from, to) == 'N')
        {
          ExpectThrow<TypeConverterException>(convert, RefusalOf(from, to), kTypeConverterUnit);
          EXPECT_TRUE(room.IsUntouched());
        }
        else
        {
          convert();
          std::vector<Out> const expected = PlainConverted<Out>(samples, kMaxLength);
          EXPECT_EQ(FirstDifference<Out>(std::span<Out const>(out, kMaxLength), expected), kNoDifference);
          EXPECT_TRUE(room.IsUntouchedAround());
        }
        before.ExpectUnchanged(signal);
      });
}

TEST(SampleTypeConversion, ConvertToRefusesUnknownTargets)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        TimeSignal const signal = SignalOf(MixedSamples<T>(3, 1));
        SignalState const before(signal);
        GuardedRoom room(64);
        for (int const target : kUnknownTypes)
        {
          unsigned char* const out = room.Take(0, 64);
          ExpectThrow<TimeSignalException>([&] { ObjectOf(signal)->ConvertTo<T>(UnknownSampleType(target), out); },
                                           UnknownType(target), kConvertToUnit);
          EXPECT_TRUE(room.IsUntouched());
        }
        before.ExpectUnchanged(signal);
      });
}

TEST(SampleTypeConversion, ConvertToCopiesLongSignalsOfItsOwnType)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t own)
      {
        std::size_t const count = 3 * 16384 / sizeof(T) + 5;
        std::vector<T> const samples = RandomBits<T>(count, count);
        TimeSignal const signal = SignalOf(samples);
        std::vector<T> out(count);
        ObjectOf(signal)->ConvertTo<T>(own, out.data());
        EXPECT_EQ(std::memcmp(out.data(), samples.data(), count * sizeof(T)), 0) << own;
      });
}

TEST(SampleTypeConversion, ConvertToRefusesAMissingOutputBeforeNarrowing)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t)
      {
        TimeSignal const signal = SignalOf(MixedSamples<T>(3, 1));
        for (sample_datatype32_t const target : kSampleTypes)
          ExpectThrow<TypeConverterException>([&] { ObjectOf(signal)->ConvertTo<T>(target, nullptr); },
                                              kMissingArrayMessage, kTypeConverterUnit);
      });
}

TEST(SampleTypeConversion, ConvertToOfNoSamplesLooksAtNoOutput)
{
  TimeSignal const signal = SignalOf<short>({});
  EXPECT_NO_THROW(ObjectOf(signal)->ConvertTo<short>(data_float64_t, nullptr));
  ExpectThrow<TypeConverterException>([&] { ObjectOf(signal)->ConvertTo<short>(data_int8_t, nullptr); },
                                      RefusalOf(data_int16_t, data_int8_t), kTypeConverterUnit);
}

// Four bytes taken as 16-bit samples are two samples; the header announces four.
TEST(SampleTypeConversion, ConvertToTakesTheSamplesAsTheTypeItIsGiven)
{
  TimeSignal const signal = SignalOf<signed char>({1, 0, 2, 1});
  std::vector<int> out(4, -1);
  ObjectOf(signal)->ConvertTo<short>(data_int32_t, out.data());
  EXPECT_EQ(out, (std::vector<int>{1, 258, 0, 0}));
}

TEST(SampleTypeConversion, ConvertToZeroFillsWhatIsNotStored)
{
  TimeSignal const signal = SignalOf<short>({1, 2, 3});
  signal.GetHeader()->SampleCount = 5;
  std::vector<int> widened(5, -1);
  ObjectOf(signal)->ConvertTo<short>(data_int32_t, widened.data());
  EXPECT_EQ(widened, (std::vector<int>{1, 2, 3, 0, 0}));
  std::vector<short> copied(5, -1);
  ObjectOf(signal)->ConvertTo<short>(data_int16_t, copied.data());
  EXPECT_EQ(copied, (std::vector<short>{1, 2, 3, 0, 0}));
  DropSamples(signal);
  ObjectOf(signal)->ConvertTo<short>(data_int32_t, widened.data());
  EXPECT_EQ(widened, (std::vector<int>{0, 0, 0, 0, 0}));
}

#include "signalprocessing/typeconverter/TypeConverter.h"

#include "support/ConversionTable.h"
#include "support/Expectations.h"
#include "support/SampleArrays.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace
{
using Conversion = void (*)(unsigned long long count, void const* in, void* out);

/// Calls the instance itself: the compiler may not put the header's definition in its place.
template <class In, class Out>
void CallConvert(unsigned long long count, void const* in, void* out)
{
  void (*const volatile convert)(unsigned long long, In const*, Out*) = &TypeConverter::Convert<In, Out>;
  convert(count, static_cast<In const*>(in), static_cast<Out*>(out));
}

template <class T>
bool SameArray(std::size_t count, void const* expected, void const* actual)
{
  return FirstDifference(std::span(static_cast<T const*>(expected), count),
                         std::span(static_cast<T const*>(actual), count)) == kNoDifference;
}

bool SameBytes(std::size_t byteCount, void const* expected, void const* actual)
{
  return byteCount == 0 || std::memcmp(expected, actual, byteCount) == 0;
}

/// One of the hundred pairs of element types.
struct Pair
{
  std::size_t in;
  std::size_t out;
  std::size_t inSize;
  std::size_t outSize;
  Conversion convert;
  Conversion plain; ///< null for a pair that is refused
  bool (*sameArray)(std::size_t count, void const* expected, void const* actual);
  void const* instance;

  char kind() const { return kConversionTable.at(in).at(out); }
  std::string name() const { return std::string(kDisplayNames.at(in)) + " to " + kDisplayNames.at(out); }
};

template <std::size_t Row, std::size_t Column>
Pair MakePair()
{
  using In = std::tuple_element_t<Row, SampleElements>;
  using Out = std::tuple_element_t<Column, SampleElements>;
  Conversion plain = nullptr;
  if constexpr (kConversionTable[Row][Column] != 'N')
    plain = &PlainConvert<In, Out>;
  void (*const instance)(unsigned long long, In const*, Out*) = &TypeConverter::Convert<In, Out>;
  return {Row,
          Column,
          sizeof(In),
          sizeof(Out),
          &CallConvert<In, Out>,
          plain,
          &SameArray<Out>,
          reinterpret_cast<void const*>(instance)};
}

std::vector<Pair> const& AllPairs()
{
  static std::vector<Pair> const pairs = []<std::size_t... Index>(std::index_sequence<Index...>)
  {
    return std::vector<Pair>{MakePair<Index / kSampleElementCount, Index % kSampleElementCount>()...};
  }
  (std::make_index_sequence<kSampleElementCount * kSampleElementCount>{});
  return pairs;
}

std::vector<unsigned char> BytesOf(auto const& samples)
{
  std::vector<unsigned char> bytes(samples.size() * sizeof(samples[0]));
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  return bytes;
}

/// Source samples of each element type, by its index.
std::vector<unsigned char> SourceBytes(std::size_t type, std::size_t count)
{
  std::vector<unsigned char> bytes;
  ForEachSampleElement(
      [&]<class T>(std::type_identity<T>, sample_datatype32_t number)
      {
        if (static_cast<std::size_t>(number) == type + 1)
          bytes = BytesOf(MixedSamples<T>(count, 11 + type));
      });
  return bytes;
}

/// Converts at one placement of both arrays and compares with the plain conversion.
::testing::AssertionResult ConvertsAsExpected(Pair const& pair, std::size_t length, unsigned char const* source,
                                              std::vector<unsigned char> const& expected, GuardedRoom& room,
                                              std::size_t outMisalignment)
{
  unsigned char* const out = room.Take(outMisalignment, length * pair.outSize);
  pair.convert(length, source, out);
  bool const same = pair.kind() == 'C' ? SameBytes(length * pair.outSize, expected.data(), out)
                                       : pair.sameArray(length, expected.data(), out);
  if (same && room.IsUntouchedAround())
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << pair.name() << ", length " << length << ", output at " << outMisalignment
                                       << (same ? ": wrote outside" : ": wrong values");
}

template <class In, class Out>
std::vector<Out> Converted(std::vector<In> const& in)
{
  std::vector<Out> out(in.size());
  CallConvert<In, Out>(in.size(), in.data(), out.data());
  return out;
}

/// Integers with 64 bits at, just beside and further beside every kind of point where rounding to `digits` bits changes
/// its direction: numbers of that many bits and the points halfway between them, of every magnitude.
std::vector<unsigned long long> AroundRoundingPoints(int digits)
{
  unsigned long long const smallest = 1ULL << (digits - 1);
  unsigned long long const largest = 2 * smallest - 1;
  std::vector<unsigned long long> values;
  for (int shift = 1; shift + digits <= 64; ++shift)
    for (unsigned long long const kept : {smallest, smallest + 1, smallest + smallest / 3, largest - 1, largest})
      for (unsigned long long const point : {kept << shift, (2 * kept + 1) << (shift - 1)})
        for (int distance = 0; distance < shift; ++distance)
          for (unsigned long long const value : {point, point + (1ULL << distance), point - (1ULL << distance)})
            values.insert(values.end(), {value, ~value + 1});
  return values;
}

/// Integers with random bits, as many of every length as of any other, of both signs.
std::vector<unsigned long long> OfEveryMagnitude(std::size_t countOfEach)
{
  std::vector<unsigned long long> values;
  for (int shift = 0; shift < 64; ++shift)
    for (unsigned long long const bits : RandomBits<unsigned long long>(countOfEach, 40 + shift))
      values.insert(values.end(), {bits >> shift, ~(bits >> shift)});
  return values;
}

/// As a whole, and in pieces so short that most elements are left to what stands behind a vectorised loop.
template <class In, class Out>
void ExpectPlainValues(std::vector<unsigned long long> const& bits)
{
  std::vector<In> const in(bits.begin(), bits.end());
  std::vector<Out> expected(in.size());
  PlainConvert<In, Out>(in.size(), in.data(), expected.data());
  std::vector<Out> inPieces(in.size());
  constexpr std::size_t kPiece = 7;
  for (std::size_t first = 0; first < in.size(); first += kPiece)
    CallConvert<In, Out>(std::min(kPiece, in.size() - first), &in[first], &inPieces[first]);
  for (std::vector<Out> const& found : {Converted<In, Out>(in), inPieces})
  {
    std::size_t const different = FirstDifference(expected, found);
    EXPECT_EQ(different, kNoDifference) << in.at(different);
  }
}

/// Whether the code of an instance lies in the library, and not in this program.
bool IsInLibrary(void const* instance)
{
  Dl_info info{};
  return dladdr(instance, &info) != 0 && std::string(info.dli_fname).find("libqen_file_io.so") != std::string::npos;
}
} // namespace

TEST(TypeConverter, TableHasTenCopiesThirtyFiveWideningAndFiftyFiveNarrowingPairs)
{
  std::string all;
  for (std::string_view const row : kConversionTable)
    all += row;
  EXPECT_EQ(std::count(all.begin(), all.end(), 'C'), 10);
  EXPECT_EQ(std::count(all.begin(), all.end(), 'W'), 35);
  EXPECT_EQ(std::count(all.begin(), all.end(), 'N'), 55);
}

TEST(TypeConverter, CountZeroLooksAtNoPointerButRefusesNarrowingPairs)
{
  for (Pair const& pair : AllPairs())
  {
    if (pair.kind() == 'N')
      ExpectThrow<TypeConverterException>([&] { pair.convert(0, nullptr, nullptr); },
                                          NarrowingMessage(pair.in, pair.out), kTypeConverterUnit);
    else
      EXPECT_NO_THROW(pair.convert(0, nullptr, nullptr)) << pair.name();
  }
}

TEST(TypeConverter, RefusalNamesSourceThenTarget)
{
  double const in[5] = {};
  short out[5] = {};
  ExpectThrow<TypeConverterException>([&] { TypeConverter::Convert(5, in, out); },
                                      "Conversion from Float64_t to Int16_t narrows the value range!",
                                      kTypeConverterUnit);
  ExpectThrow<TypeConverterException>([] { TypeConverter::Convert<double, short>(0, nullptr, nullptr); },
                                      "Conversion from Float64_t to Int16_t narrows the value range!",
                                      kTypeConverterUnit);
  ExpectThrow<TypeConverterException>([] { TypeConverter::Convert<signed char, unsigned char>(0, nullptr, nullptr); },
                                      "Conversion from Int8_t to Uint8_t narrows the value range!", kTypeConverterUnit);
  ExpectThrow<TypeConverterException>([] { TypeConverter::Convert<unsigned char, signed char>(0, nullptr, nullptr); },
                                      "Conversion from Uint8_t to Int8_t narrows the value range!", kTypeConverterUnit);
}

TEST(TypeConverter, MissingArrayIsReportedBeforeNarrowing)
{
  alignas(8) unsigned char bytes[40] = {};
  for (Pair const& pair : AllPairs())
  {
    SCOPED_TRACE(pair.name());
    for (unsigned long long const count : {1ULL, 5ULL, 0x100000000ULL, ~0ULL})
    {
      ExpectThrow<TypeConverterException>([&] { pair.convert(count, nullptr, bytes); }, kMissingArrayMessage,
                                          kTypeConverterUnit);
      ExpectThrow<TypeConverterException>([&] { pair.convert(count, bytes, nullptr); }, kMissingArrayMessage,
                                          kTypeConverterUnit);
      ExpectThrow<TypeConverterException>([&] { pair.convert(count, nullptr, nullptr); }, kMissingArrayMessage,
                                          kTypeConverterUnit);
    }
  }
}

// Zeros fit everywhere; the other fills make ordinary values, -1, huge values and NaNs.
TEST(TypeConverter, RefusalIgnoresTheValuesAndLeavesTheOutputUntouched)
{
  GuardedRoom room(64 * 8);
  for (Pair const& pair : AllPairs())
  {
    if (pair.kind() != 'N')
      continue;
    for (std::size_t const count : {1U, 5U, 64U})
      for (unsigned char const fill : std::initializer_list<unsigned char>{0x00, 0x01, 0xFF})
      {
        std::vector<unsigned char> const source(count * pair.inSize, fill);
        std::vector<unsigned char> const before = source;
        unsigned char* const out = room.Take(0, count * pair.outSize);
        ExpectThrow<TypeConverterException>([&] { pair.convert(count, source.data(), out); },
                                            NarrowingMessage(pair.in, pair.out), kTypeConverterUnit);
        EXPECT_TRUE(room.IsUntouched()) << pair.name();
        EXPECT_EQ(source, before);
      }
  }
}

TEST(TypeConverter, EveryLengthAtEveryPlacementOfTheInputGivesThePlainValues)
{
  GuardedRoom room(kMaxLength * 8);
  for (Pair const& pair : AllPairs())
  {
    if (pair.kind() == 'N')
      continue;
    std::vector<unsigned char> const source = SourceBytes(pair.in, kMaxLength);
    std::vector<unsigned char> expected(kMaxLength * pair.outSize);
    pair.plain(kMaxLength, source.data(), expected.data());
    for (std::size_t misalignment = 0; misalignment < kCacheLine; misalignment += pair.inSize)
      for (std::size_t length = 0; length <= kMaxLength; ++length)
      {
        MisalignedArray<unsigned char> const in(misalignment, std::span(source).first(length * pair.inSize));
        std::size_t const outMisalignment = (length * pair.outSize * 5) % kCacheLine;
        ASSERT_TRUE(ConvertsAsExpected(pair, length, in.data(), expected, room, outMisalignment))
            << "input at " << misalignment;
      }
  }
}

TEST(TypeConverter, EveryLengthAtEveryPlacementOfTheOutputWritesThatAndNothingElse)
{
  GuardedRoom room(kMaxLength * 8);
  for (Pair const& pair : AllPairs())
  {
    if (pair.kind() == 'N')
      continue;
    std::vector<unsigned char> const source = SourceBytes(pair.in, kMaxLength);
    std::vector<unsigned char> expected(kMaxLength * pair.outSize);
    pair.plain(kMaxLength, source.data(), expected.data());
    for (std::size_t misalignment = 0; misalignment < kCacheLine; misalignment += pair.outSize)
      for (std::size_t length = 0; length <= kMaxLength; ++length)
        ASSERT_TRUE(ConvertsAsExpected(pair, length, source.data(), expected, room, misalignment));
  }
}

TEST(TypeConverter, LongArraysGiveThePlainValues)
{
  constexpr std::size_t count = 20011;
  GuardedRoom room(count * 8);
  for (Pair const& pair : AllPairs())
  {
    if (pair.kind() == 'N')
      continue;
    std::vector<unsigned char> const source = SourceBytes(pair.in, count);
    std::vector<unsigned char> expected(count * pair.outSize);
    pair.plain(count, source.data(), expected.data());
    EXPECT_TRUE(ConvertsAsExpected(pair, count, source.data(), expected, room, 0));
  }
}

TEST(TypeConverter, CopyKeepsEveryBit)
{
  ForEachSampleElement(
      []<class T>(std::type_identity<T>, sample_datatype32_t type)
      {
        std::vector<T> const samples = SpecialSamples<T>();
        EXPECT_EQ(BytesOf(Converted<T, T>(samples)), BytesOf(samples)) << type;
      });
}

TEST(TypeConverter, CopyKeepsPayloadAndKindOfNans)
{
  auto const floats =
      Converted<float, float>({std::bit_cast<float>(kFloatSignallingNan), std::bit_cast<float>(kFloatQuietNan), -0.0F});
  EXPECT_EQ(std::bit_cast<std::uint32_t>(floats[0]), 0x7FA12345U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(floats[1]), 0xFFC54321U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(floats[2]), 0x80000000U);
  auto const doubles = Converted<double, double>(
      {std::bit_cast<double>(kDoubleSignallingNan), std::bit_cast<double>(kDoubleQuietNan), -0.0});
  EXPECT_EQ(std::bit_cast<std::uint64_t>(doubles[0]), 0x7FF123456789ABCDU);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(doubles[1]), 0xFFF9876543210FEDU);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(doubles[2]), 0x8000000000000000U);
}

TEST(TypeConverter, SignedSourcesExtendTheirSign)
{
  EXPECT_EQ((Converted<signed char, short>({-128, -1, 127})), (std::vector<short>{-128, -1, 127}));
  EXPECT_EQ((Converted<signed char, int>({-128, -1, 127})), (std::vector<int>{-128, -1, 127}));
  EXPECT_EQ((Converted<signed char, long long>({-128, -1, 127})), (std::vector<long long>{-128, -1, 127}));
  EXPECT_EQ((Converted<short, int>({-32768, -1, 32767})), (std::vector<int>{-32768, -1, 32767}));
  EXPECT_EQ((Converted<short, long long>({-32768, -1, 32767})), (std::vector<long long>{-32768, -1, 32767}));
  EXPECT_EQ((Converted<int, long long>({-2147483647 - 1, -1, 2147483647})),
            (std::vector<long long>{-2147483648LL, -1, 2147483647}));
}

TEST(TypeConverter, UnsignedSourcesExtendWithZeros)
{
  EXPECT_EQ((Converted<unsigned char, short>({128, 255})), (std::vector<short>{128, 255}));
  EXPECT_EQ((Converted<unsigned char, int>({128, 255})), (std::vector<int>{128, 255}));
  EXPECT_EQ((Converted<unsigned char, long long>({128, 255})), (std::vector<long long>{128, 255}));
  EXPECT_EQ((Converted<unsigned char, unsigned short>({128, 255})), (std::vector<unsigned short>{128, 255}));
  EXPECT_EQ((Converted<unsigned char, unsigned int>({128, 255})), (std::vector<unsigned int>{128, 255}));
  EXPECT_EQ((Converted<unsigned char, unsigned long long>({128, 255})), (std::vector<unsigned long long>{128, 255}));
  EXPECT_EQ((Converted<unsigned short, int>({32768, 65535})), (std::vector<int>{32768, 65535}));
  EXPECT_EQ((Converted<unsigned short, long long>({32768, 65535})), (std::vector<long long>{32768, 65535}));
  EXPECT_EQ((Converted<unsigned short, unsigned int>({32768, 65535})), (std::vector<unsigned int>{32768, 65535}));
  EXPECT_EQ((Converted<unsigned short, unsigned long long>({65535})), (std::vector<unsigned long long>{65535}));
  EXPECT_EQ((Converted<unsigned int, long long>({4294967295U})), (std::vector<long long>{4294967295LL}));
  EXPECT_EQ((Converted<unsigned int, unsigned long long>({4294967295U})),
            (std::vector<unsigned long long>{4294967295ULL}));
}

TEST(TypeConverter, SmallIntegersAreExactInFloatingPoint)
{
  EXPECT_EQ((Converted<signed char, float>({-128, 127})), (std::vector<float>{-128.0F, 127.0F}));
  EXPECT_EQ((Converted<signed char, double>({-128, 127})), (std::vector<double>{-128.0, 127.0}));
  EXPECT_EQ((Converted<unsigned char, float>({255})), (std::vector<float>{255.0F}));
  EXPECT_EQ((Converted<unsigned char, double>({255})), (std::vector<double>{255.0}));
  EXPECT_EQ((Converted<short, float>({-32768, 32767})), (std::vector<float>{-32768.0F, 32767.0F}));
  EXPECT_EQ((Converted<short, double>({-32768, 32767})), (std::vector<double>{-32768.0, 32767.0}));
  EXPECT_EQ((Converted<unsigned short, float>({65535})), (std::vector<float>{65535.0F}));
  EXPECT_EQ((Converted<unsigned short, double>({65535})), (std::vector<double>{65535.0}));
  EXPECT_EQ((Converted<int, double>({-2147483647 - 1, 2147483647})),
            (std::vector<double>{-2147483648.0, 2147483647.0}));
  EXPECT_EQ((Converted<unsigned int, double>({4294967295U})), (std::vector<double>{4294967295.0}));
}

// Halfway cases go to the even neighbour.
TEST(TypeConverter, LargeIntegersRoundToTheNearestFloat)
{
  EXPECT_EQ((Converted<int, float>({16777216, 16777217, 16777218, 16777219, -16777217, 2147483647, -2147483647 - 1})),
            (std::vector<float>{16777216.0F, 16777216.0F, 16777218.0F, 16777220.0F, -16777216.0F, 2147483648.0F,
                                -2147483648.0F}));
  EXPECT_EQ((Converted<unsigned int, float>({16777217U, 4294967295U})),
            (std::vector<float>{16777216.0F, 4294967296.0F}));
  EXPECT_EQ((Converted<long long, float>(
                {9007199254740993LL, std::numeric_limits<long long>::max(), std::numeric_limits<long long>::min()})),
            (std::vector<float>{9007199254740992.0F, 9223372036854775808.0F, -9223372036854775808.0F}));
  EXPECT_EQ((Converted<unsigned long long, float>({9007199254740993ULL, ~0ULL})),
            (std::vector<float>{9007199254740992.0F, 18446744073709551616.0F}));
}

// Just above a halfway case of float: rounded to double first, it would become that halfway case and go down.
TEST(TypeConverter, SixtyFourBitIntegersRoundToFloatOnce)
{
  EXPECT_EQ((Converted<long long, float>({(1LL << 60) + (1LL << 36) + 1})),
            (std::vector<float>{1152921642045800448.0F}));
  EXPECT_EQ((Converted<unsigned long long, float>({(1ULL << 63) + (1ULL << 39) + 1})),
            (std::vector<float>{9223373136366403584.0F}));
}

TEST(TypeConverter, SixtyFourBitIntegersBesideEveryRoundingPointGoTheRightWay)
{
  for (int const digits : {std::numeric_limits<float>::digits, std::numeric_limits<double>::digits})
  {
    std::vector<unsigned long long> const values = AroundRoundingPoints(digits);
    ExpectPlainValues<long long, float>(values);
    ExpectPlainValues<long long, double>(values);
    ExpectPlainValues<unsigned long long, float>(values);
    ExpectPlainValues<unsigned long long, double>(values);
  }
}

TEST(TypeConverter, SixtyFourBitIntegersOfEveryMagnitudeGiveThePlainValues)
{
  std::vector<unsigned long long> const values = OfEveryMagnitude(2000);
  ExpectPlainValues<long long, float>(values);
  ExpectPlainValues<long long, double>(values);
  ExpectPlainValues<unsigned long long, float>(values);
  ExpectPlainValues<unsigned long long, double>(values);
}

TEST(TypeConverter, LargeIntegersRoundToTheNearestDouble)
{
  EXPECT_EQ(
      (Converted<long long, double>({9007199254740993LL, 9007199254740995LL, -9007199254740993LL,
                                     std::numeric_limits<long long>::max(), std::numeric_limits<long long>::min()})),
      (std::vector<double>{9007199254740992.0, 9007199254740996.0, -9007199254740992.0, 9223372036854775808.0,
                           -9223372036854775808.0}));
  EXPECT_EQ((Converted<unsigned long long, double>({9007199254740993ULL, ~0ULL, 1ULL << 63})),
            (std::vector<double>{9007199254740992.0, 18446744073709551616.0, 9223372036854775808.0}));
}

TEST(TypeConverter, FloatToDoubleIsExact)
{
  float const infinity = std::numeric_limits<float>::infinity();
  std::vector<float> const in = {-0.0F,    0.1F,     std::numeric_limits<float>::max(), 1.4012985e-45F, -1.17549e-38F,
                                 infinity, -infinity};
  std::vector<double> const out = Converted<float, double>(in);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(out[0]), 0x8000000000000000U);
  EXPECT_EQ(out[1], 0.100000001490116119384765625);
  EXPECT_EQ(out[2], 3.4028234663852886e38);
  EXPECT_EQ(out[3], std::ldexp(1.0, -149));
  EXPECT_EQ(static_cast<float>(out[4]), -1.17549e-38F);
  EXPECT_EQ(out[5], std::numeric_limits<double>::infinity());
  EXPECT_EQ(out[6], -std::numeric_limits<double>::infinity());
}

TEST(TypeConverter, NanOfAFloatStaysNanInDouble)
{
  std::vector<double> const out = Converted<float, double>(
      {std::numeric_limits<float>::quiet_NaN(), std::bit_cast<float>(kFloatSignallingNan), 1.0F});
  EXPECT_TRUE(std::isnan(out[0]));
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_EQ(out[2], 1.0);
}

TEST(TypeConverter, InputIsOnlyRead)
{
  for (Pair const& pair : AllPairs())
  {
    if (pair.kind() == 'N')
      continue;
    std::vector<unsigned char> const source = SourceBytes(pair.in, kMaxLength);
    std::vector<unsigned char> const before = source;
    std::vector<unsigned char> out(kMaxLength * pair.outSize);
    pair.convert(kMaxLength, source.data(), out.data());
    EXPECT_EQ(source, before) << pair.name();
  }
}

// Rows and columns as in the table of pairs: X marks the instances that callers find in the library.
TEST(TypeConverter, NarrowingAndTwentyOtherInstancesAreTheLibrarysOwn)
{
  constexpr std::array<std::string_view, 10> exported = {
      ".....XXXXX", // Int8
      "X..X.XXXXX", // Int16
      "XX.X.XXXXX", // Int32
      "XXXXXXXXXX", // Int64
      "XXXX.XXXXX", // Float32
      "XXXXXXXXXX", // Float64
      "X....X....", // Uint8
      "XX.X.XX..X", // Uint16
      "XXXX.XXX.X", // Uint32
      "XXXXXXXXXX", // Uint64
  };
  for (Pair const& pair : AllPairs())
    EXPECT_EQ(IsInLibrary(pair.instance), exported.at(pair.in).at(pair.out) == 'X') << pair.name();
}

#include "utilities/archive/Serialize.h"

#include "support/ByteStreams.h"
#include "support/Expectations.h"
#include "support/HostileLocale.h"
#include "support/PortableForm.h"
#include "support/SampleArrays.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <ios>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

using QenSerialize::SerializationException;

namespace
{
constexpr float kFloatInfinity = std::numeric_limits<float>::infinity();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kFloatNan = std::numeric_limits<float>::quiet_NaN();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

using namespace std::string_literals;

std::string WriteFailure(std::string const& type) { return "Serializing of object " + type + " failed"; }
std::string ReadFailure(std::string const& type) { return "Deserializing of object " + type + " failed"; }

/// The operation must throw the one exception of this unit, with this message and this root cause ("" for none).
template <class F>
void ExpectFailure(F&& operation, std::string const& message, std::string const& rootCause = "")
{
  std::unique_ptr<VelmoraException> cause;
  ExpectThrow<SerializationException>(
      [&]
      {
        try
        {
          operation();
        }
        catch (VelmoraException const& exception)
        {
          if (exception.getRootCause() != nullptr)
            cause.reset(exception.getRootCause()->clone());
          throw;
        }
      },
      message, kSerializeUnit);
  ASSERT_EQ(cause != nullptr, !rootCause.empty());
  if (cause)
    ExpectThrow<SerializationException>([&] { throw dynamic_cast<SerializationException const&>(*cause); }, rootCause,
                                        kSerializeUnit);
}

template <class T>
std::string Written(T const& value)
{
  ByteSink sink;
  QenSerialize::serialize(value, sink);
  EXPECT_TRUE(sink.good());
  return sink.Bytes();
}

unsigned int ReadUnsigned(std::string const& bytes)
{
  ByteSource source(bytes);
  unsigned int value = 77;
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(source.Taken(), bytes.size());
  EXPECT_TRUE(source.good());
  return value;
}

std::string ReadText(std::string const& bytes)
{
  ByteSource source(bytes);
  std::string value = "what was there before";
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(source.Taken(), bytes.size());
  EXPECT_TRUE(source.good());
  return value;
}

/// What reading a number says, leaves and takes.
template <class T>
struct NumberRead
{
  bool failed;
  T value;
  std::size_t taken;
};

template <class T>
NumberRead<T> ReadNumber(std::string const& bytes)
{
  ByteSource source(bytes);
  T value = 77;
  bool const failed = QenSerialize::deserialize_floating_point(value, source);
  return {failed, value, source.Taken()};
}

/// The bytes are one whole number and give this value, bit for bit.
template <class T>
void ExpectNumber(std::string const& bytes, T expected)
{
  NumberRead<T> const read = ReadNumber<T>(bytes);
  EXPECT_FALSE(read.failed) << bytes;
  EXPECT_TRUE(SameBits(read.value, expected)) << bytes << " read as " << read.value;
  EXPECT_EQ(read.taken, bytes.size()) << bytes;
}

template <class T>
T Canonical(T value)
{
  return std::isnan(value) ? std::numeric_limits<T>::quiet_NaN() : value;
}

struct FormatSettings
{
  std::streamsize precision;
  std::ios_base::fmtflags flags;
  bool operator==(FormatSettings const&) const = default;
};

/// Gives a stream settings that no function of the library would choose, and tells them.
FormatSettings SetUnusual(std::ios& stream)
{
  stream.precision(3);
  stream.setf(std::ios_base::scientific, std::ios_base::floatfield);
  stream.setf(std::ios_base::hex, std::ios_base::basefield);
  stream.setf(std::ios_base::left, std::ios_base::adjustfield);
  stream.setf(std::ios_base::showpos | std::ios_base::uppercase | std::ios_base::boolalpha);
  return {stream.precision(), stream.flags()};
}

FormatSettings SettingsOf(std::ios const& stream) { return {stream.precision(), stream.flags()}; }

/// One value, how it is written and what the failure to write it says.
struct WriteCase
{
  std::string name;
  std::function<void(std::ostream&)> write;
  std::string type;
  std::size_t lengthSize; // bytes at the front whose failure is the root cause
};

std::vector<WriteCase> WriteCases()
{
  auto const make = [](std::string const& name, auto const& value, std::string const& type, std::size_t lengthSize = 0)
  {
    return WriteCase{name, [value](std::ostream& stream) { QenSerialize::serialize(value, stream); }, type, lengthSize};
  };
  return {make("integer 0", 0U, "unsigned int"),
          make("integer of four bytes", 0xDEADBEEFU, "unsigned int"),
          make("float", 1.5F, "float"),
          make("long float", std::numeric_limits<float>::max(), "float"),
          make("float infinity", kFloatInfinity, "float"),
          make("negative float infinity", -kFloatInfinity, "float"),
          make("float NaN", kFloatNan, "float"),
          make("double", -0.1, "double"),
          make("infinity", kInfinity, "double"),
          make("negative infinity", -kInfinity, "double"),
          make("NaN", kNan, "double"),
          make("empty text", std::string(), "std::string", 2),
          make("text", "ab\0cd"s, "std::string", 2),
          make("text with a length of two bytes", std::string(300, 'x'), "std::string", 3)};
}

/// A device that breaks by exception instead of by refusing.
class BreakingBuffer : public std::streambuf
{
protected:
  int_type overflow(int_type) override { throw std::runtime_error("broken"); }
  int_type underflow() override { throw std::runtime_error("broken"); }
};
} // namespace

// Unsigned integers

TEST(SerializeUnsigned, CountByteIsFollowedByTheBytesThatTheValueNeeds)
{
  EXPECT_EQ(Written(0U), "\x01\x00"s);
  EXPECT_EQ(Written(1U), "\x01\x01"s);
  EXPECT_EQ(Written(0x20U), "\x01\x20"s);
  EXPECT_EQ(Written(255U), "\x01\xFF"s);
  EXPECT_EQ(Written(256U), "\x02\x00\x01"s);
  EXPECT_EQ(Written(0xFFFFU), "\x02\xFF\xFF"s);
  EXPECT_EQ(Written(0x10000U), "\x03\x00\x00\x01"s);
  EXPECT_EQ(Written(0xFFFFFFU), "\x03\xFF\xFF\xFF"s);
  EXPECT_EQ(Written(0x1000000U), "\x04\x00\x00\x00\x01"s);
  EXPECT_EQ(Written(0xDEADBEEFU), "\x04\xEF\xBE\xAD\xDE"s);
  EXPECT_EQ(Written(0xFFFFFFFFU), "\x04\xFF\xFF\xFF\xFF"s);
}

TEST(SerializeUnsigned, EveryWidthComesBack)
{
  std::mt19937 random(1);
  for (int bits = 0; bits <= 32; ++bits)
    for (int i = 0; i < 100; ++i)
    {
      auto const value = static_cast<std::uint32_t>(random() & ((1ULL << bits) - 1));
      ASSERT_EQ(Written(static_cast<unsigned int>(value)), PortableUnsigned(value));
      ASSERT_EQ(ReadUnsigned(PortableUnsigned(value)), value);
    }
}

TEST(SerializeUnsigned, AnyCountUpToFourIsReadWhateverTheValueNeeds)
{
  EXPECT_EQ(ReadUnsigned("\x04\x01\x00\x00\x00"s), 1U);
  EXPECT_EQ(ReadUnsigned("\x03\x00\x00\x00"s), 0U);
  EXPECT_EQ(ReadUnsigned("\x02\xFF\x00"s), 255U);
}

TEST(SerializeUnsigned, BlanksAndLineFeedsAreBytesLikeOthers)
{
  EXPECT_EQ(ReadUnsigned("\x04\x20\x0A\x0D\x09"s), 0x090D0A20U);
}

TEST(SerializeUnsigned, NothingBehindTheValueIsTaken)
{
  ByteSource source("\x02\x34\x12\x01\x07"s);
  unsigned int value = 0;
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(value, 0x1234U);
  EXPECT_EQ(source.Taken(), 3U);
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(value, 7U);
}

// Bits 4 to 6 are nobody's; bit 7 makes any count too large. A count of 0 stands for the value 0.
TEST(SerializeUnsigned, CountByteIsReadThroughItsMask)
{
  std::size_t accepted = 0;
  for (unsigned int countByte = 0; countByte < 256; ++countByte)
  {
    SCOPED_TRACE(countByte);
    ByteSource source(std::string(1, static_cast<char>(countByte)) + "\x01\x02\x03\x04\x05");
    unsigned int value = 77;
    bool const isTooLarge = countByte >= 128 || countByte % 16 > 4;
    if (isTooLarge)
    {
      ExpectFailure([&] { QenSerialize::deserialize(value, source); }, ReadFailure("unsigned int"));
      EXPECT_EQ(value, 0U);
      continue;
    }
    ++accepted;
    constexpr unsigned int kValues[] = {0, 0x01, 0x0201, 0x030201, 0x04030201};
    QenSerialize::deserialize(value, source);
    EXPECT_EQ(value, kValues[countByte % 16]);
    EXPECT_EQ(source.Taken(), 1 + countByte % 16);
  }
  EXPECT_EQ(accepted, 8U * 5U);
}

TEST(SerializeUnsigned, CutValueIsRefusedAndLeavesZero)
{
  for (std::string const& whole : {"\x01\x07"s, "\x04\xEF\xBE\xAD\xDE"s})
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
      ByteSource source(whole.substr(0, size));
      unsigned int value = 77;
      ExpectFailure([&] { QenSerialize::deserialize(value, source); }, ReadFailure("unsigned int"));
      EXPECT_EQ(value, 0U) << size;
    }
}

TEST(SerializeUnsigned, StreamThatHasFailedBeforeIsRefused)
{
  ByteSource source("\x01\x07"s);
  source.setstate(std::ios_base::failbit);
  unsigned int value = 77;
  ExpectFailure([&] { QenSerialize::deserialize(value, source); }, ReadFailure("unsigned int"));
  EXPECT_EQ(value, 0U);
}

// Numbers

TEST(SerializeNumber, TextHasUpTo35DigitsAndABlank)
{
  EXPECT_EQ(Written(1.5F), "1.5 ");
  EXPECT_EQ(Written(0.0F), "0 ");
  EXPECT_EQ(Written(-0.0F), "-0 ");
  EXPECT_EQ(Written(-2.0F), "-2 ");
  EXPECT_EQ(Written(0.1F), "0.100000001490116119384765625 ");
  EXPECT_EQ(Written(16777216.0F), "16777216 ");
  EXPECT_EQ(Written(1.5), "1.5 ");
  EXPECT_EQ(Written(0.0), "0 ");
  EXPECT_EQ(Written(-0.0), "-0 ");
  EXPECT_EQ(Written(0.1), "0.1000000000000000055511151231257827 ");
  EXPECT_EQ(Written(1e30), "1000000000000000019884624838656 ");
  EXPECT_EQ(Written(1e100), "1.000000000000000015902891109759918e+100 ");
}

// 2^128 - 2^104 is 340282346638528859811704183484516925440.
TEST(SerializeNumber, LargestFiniteValueIsANumber)
{
  EXPECT_EQ(Written(std::numeric_limits<float>::max()), "3.4028234663852885981170418348451693e+38 ");
  EXPECT_EQ(Written(std::numeric_limits<float>::lowest()), "-3.4028234663852885981170418348451693e+38 ");
  EXPECT_EQ(Written(std::numeric_limits<double>::max()).substr(0, 8), "1.797693");
  EXPECT_EQ(Written(std::numeric_limits<double>::lowest()).substr(0, 9), "-1.797693");
}

// The text of a float stays a number as a double, the infinities of both have one text.
TEST(SerializeNumber, InfinitiesHaveTexts)
{
  EXPECT_EQ(Written(kFloatInfinity), "inf ");
  EXPECT_EQ(Written(kInfinity), "inf ");
  EXPECT_EQ(Written(-kFloatInfinity), "ninf ");
  EXPECT_EQ(Written(-kInfinity), "ninf ");
  EXPECT_EQ(Written(2.0 * std::numeric_limits<float>::max()), "6.8056469327705771962340836696903385e+38 ");
}

TEST(SerializeNumber, EveryNanHasTheSameText)
{
  for (std::uint32_t const bits : {0x7FC00000U, 0xFFC00000U, 0x7F800001U, 0xFFFFFFFFU, kFloatSignallingNan})
    EXPECT_EQ(Written(std::bit_cast<float>(bits)), "NaN ") << bits;
  for (std::uint64_t const bits : {0x7FF8000000000000U, 0xFFF8000000000000U, 0x7FF0000000000001U, 0xFFFFFFFFFFFFFFFFU})
    EXPECT_EQ(Written(std::bit_cast<double>(bits)), "NaN ") << bits;
}

TEST(SerializeNumber, TextsOfInfinitiesAndNanAreRead)
{
  ExpectNumber("inf ", kFloatInfinity);
  ExpectNumber("inf ", kInfinity);
  ExpectNumber("ninf ", -kFloatInfinity);
  ExpectNumber("ninf ", -kInfinity);
  ExpectNumber("NaN ", kFloatNan);
  ExpectNumber("NaN ", kNan);
}

template <class T>
class SerializeAnyBits : public testing::Test
{
};
using FloatingTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(SerializeAnyBits, FloatingTypes);

TYPED_TEST(SerializeAnyBits, AreWrittenAsPrintfWritesThem)
{
  using T = TypeParam;
  std::vector<T> values = SpecialSamples<T>();
  for (T const value : RandomBits<T>(100000, 7))
    values.push_back(value);
  ByteSink sink;
  std::string expected;
  for (T const value : values)
  {
    QenSerialize::serialize(value, sink);
    expected += PortableNumber(static_cast<double>(value));
  }
  EXPECT_TRUE(sink.Bytes() == expected);
}

TYPED_TEST(SerializeAnyBits, ComeBack)
{
  using T = TypeParam;
  std::vector<T> values = SpecialSamples<T>();
  for (T const value : RandomBits<T>(100000, 8))
    values.push_back(value);
  ByteSink sink;
  for (T const value : values)
    QenSerialize::serialize(value, sink);
  ByteSource source(sink.Bytes());
  for (T const value : values)
  {
    T back = 77;
    ASSERT_FALSE(QenSerialize::deserialize_floating_point(back, source));
    ASSERT_TRUE(SameBits(back, Canonical(value))) << value << " came back as " << back;
  }
  EXPECT_EQ(source.Taken(), sink.Bytes().size());
}

TEST(SerializeNumber, WrapperReadsDoubles)
{
  ByteSource source("0.1000000000000000055511151231257827 ninf 2 ");
  double value = 77;
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(value, 0.1);
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(value, -kInfinity);
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(value, 2);
  EXPECT_TRUE(source.good());
}

TEST(SerializeNumber, OtherSpellingsOfNumbersAreRead)
{
  ExpectNumber("  \n\t1.5 ", 1.5);
  ExpectNumber("+1.5 ", 1.5);
  ExpectNumber(".5 ", 0.5);
  ExpectNumber("1. ", 1.0);
  ExpectNumber("1e3 ", 1000.0);
  ExpectNumber("1E+03 ", 1000.0F);
  ExpectNumber("-1e-3 ", -0.001);
  ExpectNumber("0.1 ", 0.1F);
}

// Behind the first letter nothing is compared.
TEST(SerializeNumber, ReaderTrustsWhatFollowsTheFirstLetter)
{
  ExpectNumber("iXY ", kInfinity);
  ExpectNumber("i\0\xFF "s, kFloatInfinity);
  ExpectNumber("i   ", kInfinity);
  ExpectNumber("nXYZ ", -kInfinity);
  ExpectNumber("n123 ", -kFloatInfinity);
  ExpectNumber("nNaN ", -kInfinity);
  ExpectNumber("NXY ", kNan);
  ExpectNumber("Nin ", kFloatNan);
}

TEST(SerializeNumber, MissingBlankIsAFailure)
{
  for (std::string const text :
       {"1.5,", "1.5", "1.5\n", "1.5\t", "1.5x", "inf", "infx", "inf\n", "ninf", "ninfx", "NaN", "NaNx", "0x10 "})
  {
    EXPECT_TRUE(ReadNumber<float>(text).failed) << text;
    EXPECT_TRUE(ReadNumber<double>(text).failed) << text;
    ByteSource source(text);
    double value = 77;
    ExpectFailure([&] { QenSerialize::deserialize(value, source); }, ReadFailure("double"));
  }
}

TEST(SerializeNumber, OneByteBehindTheNumberIsTakenWhateverItIs)
{
  EXPECT_EQ(ReadNumber<double>("1.5,7 ").taken, 4U);
  EXPECT_EQ(ReadNumber<double>("1.5,7 ").value, 1.5);
  EXPECT_EQ(ReadNumber<double>("infxyz ").taken, 4U);
  EXPECT_EQ(ReadNumber<double>("infxyz ").value, kInfinity);
  EXPECT_EQ(ReadNumber<double>("ninfxyz ").taken, 5U);
  EXPECT_EQ(ReadNumber<double>("NaNxyz ").taken, 4U);
}

TEST(SerializeNumber, WhatIsNoNumberIsAFailure)
{
  for (std::string const text : {"", " ", "x ", "- ", "-inf ", "+inf ", "1e ", "nan ", "Inf ", "\0 "})
  {
    EXPECT_TRUE(ReadNumber<float>(text).failed) << text;
    EXPECT_TRUE(ReadNumber<double>(text).failed) << text;
  }
}

TEST(SerializeNumber, ValueThatTheTypeCannotHoldIsAFailure)
{
  EXPECT_TRUE(ReadNumber<float>("1e39 ").failed);
  EXPECT_TRUE(ReadNumber<float>("-3.5e38 ").failed);
  EXPECT_FALSE(ReadNumber<double>("1e39 ").failed);
  EXPECT_TRUE(ReadNumber<double>("1e309 ").failed);
  EXPECT_TRUE(ReadNumber<double>("-1e309 ").failed);
}

TEST(SerializeNumber, CutTextIsAFailure)
{
  for (std::string const& whole : {"inf "s, "ninf "s, "NaN "s, "-1.25e-07 "s})
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
      EXPECT_TRUE(ReadNumber<float>(whole.substr(0, size)).failed) << whole << size;
      EXPECT_TRUE(ReadNumber<double>(whole.substr(0, size)).failed) << whole << size;
    }
}

TEST(SerializeNumber, StreamThatHasFailedBeforeIsAFailure)
{
  ByteSource source("1.5 ");
  source.setstate(std::ios_base::failbit);
  float value = 77;
  EXPECT_TRUE(QenSerialize::deserialize_floating_point(value, source));
}

// The settings of the stream

TEST(SerializeSettings, OtherFormatSettingsOfTheStreamHold)
{
  struct Setting
  {
    std::ios_base::fmtflags flags;
    char const* format;
  };
  for (Setting const& setting : {Setting{std::ios_base::fixed, "%.35f"}, Setting{std::ios_base::scientific, "%.35e"},
                                 Setting{std::ios_base::showpos, "%+.35g"}, Setting{std::ios_base::showpoint, "%#.35g"},
                                 Setting{std::ios_base::uppercase, "%.35G"}})
    for (double const value : {1.5, -0.1, 1e100})
    {
      ByteSink sink;
      sink.setf(setting.flags);
      QenSerialize::serialize(value, sink);
      EXPECT_EQ(sink.Bytes(), Printed(setting.format, value) + " ");
    }
}

TEST(SerializeSettings, WidthAndFillHoldForTheNumber)
{
  ByteSink sink;
  sink.width(8);
  sink.fill('*');
  QenSerialize::serialize(1.5, sink);
  EXPECT_EQ(sink.Bytes(), "*****1.5 ");
}

TEST(SerializeSettings, NumbersKeepTheLocaleOfTheStream)
{
  std::locale const hostile(std::locale::classic(), new HostilePunctuation);
  ByteSink sink;
  sink.imbue(hostile);
  QenSerialize::serialize(1234.5, sink);
  QenSerialize::serialize(-2.5F, sink);
  EXPECT_EQ(sink.Bytes(), "1.2.3.4,5 -2,5 ");
  ByteSource source(sink.Bytes());
  source.imbue(hostile);
  double value = 0;
  QenSerialize::deserialize(value, source);
  EXPECT_EQ(value, 1234.5);
  float narrow = 0;
  EXPECT_FALSE(QenSerialize::deserialize_floating_point(narrow, source));
  EXPECT_EQ(narrow, -2.5F);
}

TEST(SerializeSettings, GlobalLocaleIsNeverLookedAt)
{
  HostileLocale const hostile;
  EXPECT_EQ(Written(1234.5), "1234.5 ");
  ExpectNumber("1234.5 ", 1234.5);
}

TEST(SerializeSettings, WritingRestoresThem)
{
  for (WriteCase const& value : WriteCases())
  {
    ByteSink sink;
    FormatSettings const before = SetUnusual(sink);
    value.write(sink);
    EXPECT_EQ(SettingsOf(sink), before) << value.name;
  }
}

TEST(SerializeSettings, ReadingRestoresThem)
{
  for (std::string const text : {"1.5 ", "inf ", "ninf ", "NaN ", "1.5,", "x", "", "i", "1e999 "})
  {
    ByteSource source(text);
    FormatSettings const before = SetUnusual(source);
    double value = 0;
    QenSerialize::deserialize_floating_point(value, source);
    EXPECT_EQ(SettingsOf(source), before) << text;
    ByteSource other(text);
    FormatSettings const otherBefore = SetUnusual(other);
    float narrow = 0;
    QenSerialize::deserialize_floating_point(narrow, other);
    EXPECT_EQ(SettingsOf(other), otherBefore) << text;
  }
}

// Texts

TEST(SerializeText, LengthIsFollowedByTheBytes)
{
  EXPECT_EQ(Written(""s), "\x01\x00"s);
  EXPECT_EQ(Written("mm/s"s), "\x01\x04mm/s");
  EXPECT_EQ(Written("ab\0cd"s), "\x01\x05"
                                "ab\0cd"s);
  EXPECT_EQ(Written(std::string(300, 'x')), "\x02\x2C\x01" + std::string(300, 'x'));
  EXPECT_EQ(Written(std::string(65536, 'y')), "\x03\x00\x00\x01"s + std::string(65536, 'y'));
}

TEST(SerializeText, ComesBackWhateverItsLength)
{
  for (std::size_t const size : {0UL, 1UL, 15UL, 16UL, 255UL, 256UL, 4095UL, 4096UL, 4097UL, 65535UL, 65536UL, 65537UL,
                                 131072UL, 1000000UL, 1048576UL, 1048577UL})
  {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
      text[i] = static_cast<char>(i % 251 + 1);
    std::string const bytes = PortableText(text);
    EXPECT_TRUE(Written(text) == bytes) << size;
    EXPECT_TRUE(ReadText(bytes) == text) << size;
  }
}

TEST(SerializeText, EndsAtItsFirstZeroByteAndIsTakenWhole)
{
  EXPECT_EQ(ReadText("\x01\x05"
                     "ab\0cd"s),
            "ab");
  EXPECT_EQ(ReadText("\x01\x03\0ab"s), "");
  EXPECT_EQ(ReadText("\x01\x03"
                     "ab\0"s),
            "ab");
  std::string longText(100000, 'z');
  longText[70000] = '\0';
  EXPECT_TRUE(ReadText(PortableText(longText)) == std::string(70000, 'z'));
}

TEST(SerializeText, LengthIsReadThroughTheMaskOfIntegers)
{
  EXPECT_EQ(ReadText("\x71\x02"
                     "ab"s),
            "ab");
  EXPECT_EQ(ReadText("\x04\x02\0\0\0"
                     "ab"s),
            "ab");
  EXPECT_EQ(ReadText("\x00"s), "");
  for (char const countByte : {'\x05', '\x0F', '\x85', '\x81', '\x80', '\xFF'})
  {
    ByteSource source(std::string(1, countByte) + "\x01\x02\x03\x04\x05\x06");
    std::string text = "what was there before";
    ExpectFailure([&] { QenSerialize::deserialize(text, source); }, ReadFailure("std::string"),
                  ReadFailure("unsigned long"));
    EXPECT_EQ(text, "");
  }
}

TEST(SerializeText, CutLengthIsTheRootCause)
{
  std::string const whole = PortableText(std::string(300, 'x'));
  for (std::size_t size = 0; size < 3; ++size)
  {
    ByteSource source(whole.substr(0, size));
    std::string text = "what was there before";
    ExpectFailure([&] { QenSerialize::deserialize(text, source); }, ReadFailure("std::string"),
                  ReadFailure("unsigned long"));
    EXPECT_EQ(text, "");
  }
}

TEST(SerializeText, CutBytesHaveNoRootCauseAndLeaveAnEmptyText)
{
  std::string const whole = PortableText(std::string(300, 'x'));
  for (std::size_t size = 3; size < whole.size(); ++size)
  {
    ByteSource source(whole.substr(0, size));
    std::string text = "what was there before";
    ExpectFailure([&] { QenSerialize::deserialize(text, source); }, ReadFailure("std::string"));
    EXPECT_EQ(text, "");
  }
}

TEST(SerializeText, ZeroByteDoesNotHideThatTheTextIsCut)
{
  ByteSource source("\x01\x05"
                    "a\0b"s);
  std::string text = "what was there before";
  ExpectFailure([&] { QenSerialize::deserialize(text, source); }, ReadFailure("std::string"));
  EXPECT_EQ(text, "");
}

TEST(SerializeText, StreamThatHasFailedBeforeFailsAtTheLength)
{
  ByteSource source("\x01\x01x"s);
  source.setstate(std::ios_base::badbit);
  std::string text = "what was there before";
  ExpectFailure([&] { QenSerialize::deserialize(text, source); }, ReadFailure("std::string"),
                ReadFailure("unsigned long"));
  EXPECT_EQ(text, "");
}

// Failing streams

TEST(SerializeFailure, StreamThatFailsAtAnyByteIsNoticed)
{
  for (WriteCase const& value : WriteCases())
  {
    ByteSink whole;
    value.write(whole);
    std::size_t const size = whole.Bytes().size();
    for (std::size_t limit = 0; limit < size; ++limit)
    {
      SCOPED_TRACE(value.name + ", " + std::to_string(limit) + " bytes");
      ByteSink sink(limit);
      FormatSettings const before = SetUnusual(sink);
      sink.flags(std::ios_base::fmtflags());
      ExpectFailure([&] { value.write(sink); }, WriteFailure(value.type),
                    limit < value.lengthSize ? WriteFailure("unsigned long") : "");
      EXPECT_EQ(sink.precision(), before.precision);
      EXPECT_EQ(sink.flags(), std::ios_base::fmtflags());
      EXPECT_EQ(sink.Bytes(), whole.Bytes().substr(0, limit));
    }
    ByteSink enough(size);
    EXPECT_NO_THROW(value.write(enough)) << value.name;
  }
}

TEST(SerializeFailure, StreamThatHasFailedBeforeIsNotWrittenTo)
{
  for (WriteCase const& value : WriteCases())
  {
    ByteSink sink;
    sink.setstate(std::ios_base::failbit);
    ExpectFailure([&] { value.write(sink); }, WriteFailure(value.type),
                  value.lengthSize > 0 ? WriteFailure("unsigned long") : "");
    EXPECT_EQ(sink.Bytes(), "");
  }
}

TEST(SerializeFailure, BreakingDeviceIsAFailedStream)
{
  for (WriteCase const& value : WriteCases())
  {
    BreakingBuffer device;
    std::ostream stream(&device);
    ExpectFailure([&] { value.write(stream); }, WriteFailure(value.type),
                  value.lengthSize > 0 ? WriteFailure("unsigned long") : "");
  }
  BreakingBuffer device;
  std::istream integers(&device);
  unsigned int integer = 77;
  ExpectFailure([&] { QenSerialize::deserialize(integer, integers); }, ReadFailure("unsigned int"));
  EXPECT_EQ(integer, 0U);
  std::istream numbers(&device);
  double number = 77;
  ExpectFailure([&] { QenSerialize::deserialize(number, numbers); }, ReadFailure("double"));
  std::istream texts(&device);
  std::string text = "what was there before";
  ExpectFailure([&] { QenSerialize::deserialize(text, texts); }, ReadFailure("std::string"),
                ReadFailure("unsigned long"));
  EXPECT_EQ(text, "");
}

// Streams that throw by themselves

TEST(SerializeStreamExceptions, OfAFailingSinkPassAndLeaveItsSettings)
{
  for (WriteCase const& value : WriteCases())
  {
    ByteSink whole;
    value.write(whole);
    for (std::size_t limit = 0; limit < whole.Bytes().size(); ++limit)
    {
      SCOPED_TRACE(value.name + ", " + std::to_string(limit) + " bytes");
      ByteSink sink(limit);
      FormatSettings const before = SetUnusual(sink);
      sink.exceptions(std::ios_base::failbit | std::ios_base::badbit);
      EXPECT_THROW(value.write(sink), std::ios_base::failure);
      EXPECT_EQ(SettingsOf(sink), before);
    }
  }
}

TEST(SerializeStreamExceptions, OfABreakingSinkPass)
{
  for (WriteCase const& value : WriteCases())
  {
    BreakingBuffer device;
    std::ostream stream(&device);
    FormatSettings const before = SetUnusual(stream);
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(value.write(stream), std::runtime_error) << value.name;
    EXPECT_EQ(SettingsOf(stream), before) << value.name;
  }
}

TEST(SerializeStreamExceptions, OfACutSourcePassAndLeaveTheIntegerZero)
{
  std::string const whole = "\x04\xEF\xBE\xAD\xDE"s;
  for (std::size_t size = 0; size < whole.size(); ++size)
    for (auto const mask :
         {std::ios_base::failbit | std::ios_base::badbit, std::ios_base::failbit | std::ios_base::eofbit})
    {
      ByteSource source(whole.substr(0, size));
      source.exceptions(mask);
      FormatSettings const before = SetUnusual(source);
      unsigned int value = 77;
      EXPECT_THROW(QenSerialize::deserialize(value, source), std::ios_base::failure) << size;
      EXPECT_EQ(value, 0U) << size;
      EXPECT_EQ(SettingsOf(source), before);
    }
}

TEST(SerializeStreamExceptions, OfACutSourcePassAndLeaveTheTextEmpty)
{
  std::string const whole = PortableText(std::string(300, 'x'));
  for (std::size_t size = 0; size < whole.size(); ++size)
  {
    ByteSource source(whole.substr(0, size));
    source.exceptions(std::ios_base::failbit | std::ios_base::eofbit);
    std::string text = "what was there before";
    EXPECT_THROW(QenSerialize::deserialize(text, source), std::ios_base::failure) << size;
    EXPECT_EQ(text, "") << size;
  }
}

TEST(SerializeStreamExceptions, OfACutSourcePassAndLeaveTheSettingsOfNumbers)
{
  for (std::string const& whole : {"inf "s, "ninf "s, "NaN "s, "1.5 "s})
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
      ByteSource source(whole.substr(0, size));
      FormatSettings const before = SetUnusual(source);
      source.exceptions(std::ios_base::failbit | std::ios_base::eofbit);
      double value = 77;
      EXPECT_THROW(QenSerialize::deserialize(value, source), std::ios_base::failure) << whole << size;
      EXPECT_EQ(SettingsOf(source), before) << whole << size;
      ByteSource other(whole.substr(0, size));
      FormatSettings const otherBefore = SetUnusual(other);
      other.exceptions(std::ios_base::failbit | std::ios_base::eofbit);
      float narrow = 77;
      EXPECT_THROW(QenSerialize::deserialize_floating_point(narrow, other), std::ios_base::failure) << whole << size;
      EXPECT_EQ(SettingsOf(other), otherBefore) << whole << size;
    }
}

TEST(SerializeStreamExceptions, OfABreakingSourcePass)
{
  BreakingBuffer device;
  std::istream stream(&device);
  FormatSettings const before = SetUnusual(stream);
  stream.exceptions(std::ios_base::badbit);
  unsigned int integer = 77;
  EXPECT_THROW(QenSerialize::deserialize(integer, stream), std::runtime_error);
  EXPECT_EQ(integer, 0U);
  auto const expectThrow = [&](auto value)
  {
    stream.exceptions(std::ios_base::goodbit);
    stream.clear();
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(QenSerialize::deserialize_floating_point(value, stream), std::runtime_error);
    EXPECT_EQ(SettingsOf(stream), before);
  };
  expectThrow(1.0F);
  expectThrow(1.0);
  stream.exceptions(std::ios_base::goodbit);
  stream.clear();
  stream.exceptions(std::ios_base::badbit);
  std::string text = "what was there before";
  EXPECT_THROW(QenSerialize::deserialize(text, stream), std::runtime_error);
  EXPECT_EQ(text, "");
}

TEST(SerializeStreamExceptions, DoNotHideWhatTheStreamDoesNotNotice)
{
  ByteSource source("\x05 1.5,"s);
  source.exceptions(std::ios_base::failbit | std::ios_base::badbit);
  unsigned int integer = 77;
  ExpectFailure([&] { QenSerialize::deserialize(integer, source); }, ReadFailure("unsigned int"));
  double number = 77;
  ExpectFailure([&] { QenSerialize::deserialize(number, source); }, ReadFailure("double"));
}

// The exception

TEST(SerializationExceptionClass, ClonesKeepTheWholeErrorAndItsCause)
{
  ByteSource source("");
  std::string text;
  std::unique_ptr<VelmoraException> clone;
  int line = 0;
  try
  {
    QenSerialize::deserialize(text, source);
  }
  catch (VelmoraException const& exception)
  {
    clone.reset(exception.clone());
    line = exception.getLine();
  }
  ASSERT_TRUE(clone);
  VelmoraException const& copied = *clone;
  EXPECT_TRUE(typeid(copied) == typeid(SerializationException));
  EXPECT_EQ(clone->getClassName(), "SerializationException");
  EXPECT_EQ(clone->what(), ReadFailure("std::string"));
  EXPECT_EQ(clone->getFile(), kSerializeUnit);
  EXPECT_EQ(clone->getLine(), line);
  ASSERT_NE(clone->getRootCause(), nullptr);
  EXPECT_EQ(clone->getRootCause()->what(), ReadFailure("unsigned long"));
}

#include "utilities/exception/ExceptionFactory.h"

#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignalException.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/Expectations.h"
#include "support/SampleSignals.h"
#include "support/ScarceException.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualSlots.h"

#include <climits>
#include <exception>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

namespace
{
/// Name that a class passes to its base, as the devices' logs show it.
template <class E>
std::string const kName = "";
template <>
std::string const kName<TimeSignalException> = "TimeSignalException";
template <>
std::string const kName<TypeConverterException> = "TypeConverterException";
template <>
std::string const kName<TimeSignalFileException> = "TimeSignalFileException";

void ExpectFields(VelmoraException const& exception, std::string const& className, std::string const& file, int line,
                  std::string const& message)
{
  EXPECT_EQ(exception.getClassName(), className);
  EXPECT_EQ(exception.getFile(), file);
  EXPECT_EQ(exception.getLine(), line);
  EXPECT_STREQ(exception.what(), message.c_str());
}

/// A file exception caused by a conversion.
TimeSignalFileException MakeCausedException()
{
  auto conversion = ExceptionFactory("Conversion.cpp", 5).createException<TypeConverterException>("value %d", 5);
  return ExceptionFactory("File.cpp", 6).createException<TimeSignalFileException>(conversion, "file %s", "x.bin");
}

void ExpectCausedException(VelmoraException const& exception)
{
  EXPECT_TRUE(typeid(exception) == typeid(TimeSignalFileException));
  ExpectFields(exception, "TimeSignalFileException", "File.cpp", 6, "file x.bin");
  ASSERT_NE(exception.getRootCause(), nullptr);
  VelmoraException const& conversion = *exception.getRootCause();
  EXPECT_TRUE(typeid(conversion) == typeid(TypeConverterException));
  ExpectFields(conversion, "TypeConverterException", "Conversion.cpp", 5, "value 5");
  EXPECT_EQ(conversion.getRootCause(), nullptr);
}

std::unique_ptr<VelmoraException> CloneOf(VelmoraException const& exception)
{
  return std::unique_ptr<VelmoraException>(exception.clone());
}
} // namespace

template <class E>
class ExceptionFactoryOf : public testing::Test
{
};
using LibraryExceptions = testing::Types<TimeSignalException, TypeConverterException, TimeSignalFileException>;
TYPED_TEST_SUITE(ExceptionFactoryOf, LibraryExceptions);

TYPED_TEST(ExceptionFactoryOf, ClassDerivesFromTheRootAndAddsNoData)
{
  static_assert(std::is_base_of_v<VelmoraException, TypeParam>);
  static_assert(sizeof(TypeParam) == sizeof(VelmoraException));
  TypeParam const exception;
  ExpectFields(exception, kName<TypeParam>, "", 0, "");
  EXPECT_EQ(exception.getRootCause(), nullptr);
}

TYPED_TEST(ExceptionFactoryOf, ExceptionHasClassNameFileLineAndMessage)
{
  TypeParam const exception = ExceptionFactory("Valve.cpp", 4711).createException<TypeParam>("%s at %d", "stuck", 42);
  ExpectFields(exception, kName<TypeParam>, "Valve.cpp", 4711, "stuck at 42");
  EXPECT_EQ(exception.getRootCause(), nullptr);
}

TYPED_TEST(ExceptionFactoryOf, CausedExceptionHasAllThatAndTheCause)
{
  TimeSignalFileException cause = MakeCausedException();
  TypeParam const exception =
      ExceptionFactory("Valve.cpp", 4711).createException<TypeParam>(cause, "%s at %d", "stuck", 42);
  ExpectFields(exception, kName<TypeParam>, "Valve.cpp", 4711, "stuck at 42");
  ASSERT_NE(exception.getRootCause(), nullptr);
  EXPECT_NE(exception.getRootCause(), &cause);
  ExpectCausedException(*exception.getRootCause());
  ExpectCausedException(cause);
}

TYPED_TEST(ExceptionFactoryOf, CauseIsCopiedWithAllItsCausesBeforeItDies)
{
  auto cause = std::make_unique<TimeSignalFileException>(MakeCausedException());
  TypeParam const exception = ExceptionFactory("Valve.cpp", 1).createException<TypeParam>(*cause, "wrapped");
  cause.reset();
  ASSERT_NE(exception.getRootCause(), nullptr);
  ExpectCausedException(*exception.getRootCause());
}

TYPED_TEST(ExceptionFactoryOf, MessageMayQuoteTheCause)
{
  TimeSignalFileException cause = MakeCausedException();
  TypeParam const exception =
      ExceptionFactory("Valve.cpp", 1).createException<TypeParam>(cause, "because of %s", cause.what());
  EXPECT_STREQ(exception.what(), "because of file x.bin");
}

TYPED_TEST(ExceptionFactoryOf, FileNameSurvivesItsSource)
{
  auto file = std::make_unique<std::string>("libs/a/path/that/is/too/long/for/any/small/buffer/Valve.cpp");
  TypeParam const exception = ExceptionFactory(file->c_str(), 1).createException<TypeParam>("message");
  file.reset();
  EXPECT_EQ(exception.getFile(), "libs/a/path/that/is/too/long/for/any/small/buffer/Valve.cpp");
}

TYPED_TEST(ExceptionFactoryOf, EveryLineNumberIsKept)
{
  for (int line : {0, 1, -1, INT_MAX, INT_MIN})
  {
    EXPECT_EQ(ExceptionFactory("Valve.cpp", line).createException<TypeParam>("message").getLine(), line);
    TypeParam cause;
    EXPECT_EQ(ExceptionFactory("Valve.cpp", line).createException<TypeParam>(cause, "message").getLine(), line);
  }
}

TYPED_TEST(ExceptionFactoryOf, MessageMayBeEmpty)
{
  TypeParam cause;
  EXPECT_STREQ(ExceptionFactory("Valve.cpp", 1).createException<TypeParam>("%s", "").what(), "");
  EXPECT_STREQ(ExceptionFactory("Valve.cpp", 1).createException<TypeParam>(cause, "%s", "").what(), "");
}

TYPED_TEST(ExceptionFactoryOf, MessageMayBeVeryLong)
{
  std::string const text(1 << 20, 'x');
  TypeParam cause = ExceptionFactory("Valve.cpp", 1).createException<TypeParam>("%s|%d", text.c_str(), 7);
  EXPECT_TRUE(cause.what() == text + "|7");
  TypeParam const exception = ExceptionFactory("Valve.cpp", 1).createException<TypeParam>(cause, "%s?", text.c_str());
  EXPECT_TRUE(exception.what() == text + "?");
  EXPECT_TRUE(CloneOf(exception)->what() == text + "?");
  EXPECT_TRUE(CloneOf(exception)->getRootCause()->what() == text + "|7");
}

TYPED_TEST(ExceptionFactoryOf, DoubledPercentSignIsOne)
{
  TypeParam cause;
  EXPECT_STREQ(ExceptionFactory("Valve.cpp", 1).createException<TypeParam>("%d%% open", 80).what(), "80% open");
  EXPECT_STREQ(ExceptionFactory("Valve.cpp", 1).createException<TypeParam>(cause, "100%% of %u%%", 3U).what(),
               "100% of 3%");
}

TYPED_TEST(ExceptionFactoryOf, FormattedTextIsNotFormattedAgain)
{
  EXPECT_STREQ(ExceptionFactory("Valve.cpp", 1).createException<TypeParam>("%s", "%s%n%d%%").what(), "%s%n%d%%");
}

TYPED_TEST(ExceptionFactoryOf, CloneThroughTheRootIsACopyOfTheSameClass)
{
  std::unique_ptr<VelmoraException> clone;
  {
    TimeSignalFileException cause = MakeCausedException();
    TypeParam const exception = ExceptionFactory("Valve.cpp", 12).createException<TypeParam>(cause, "no. %d", 1);
    clone = CloneOf(exception);
    EXPECT_NE(clone.get(), &exception);
    EXPECT_NE(clone->getRootCause(), exception.getRootCause());
  }
  VelmoraException const& copy = *clone;
  EXPECT_TRUE(typeid(copy) == typeid(TypeParam));
  ExpectFields(copy, kName<TypeParam>, "Valve.cpp", 12, "no. 1");
  ASSERT_NE(copy.getRootCause(), nullptr);
  ExpectCausedException(*copy.getRootCause());
}

TYPED_TEST(ExceptionFactoryOf, CloneWithoutMemoryFreesWhatItHasAndPassesTheFailureOn)
{
  // One copy for the exception itself; what the failing clone leaves behind is the leak sanitizer's to see.
  int copiesLeft = 1;
  ScarceException cause(copiesLeft);
  TypeParam const exception =
      ExceptionFactory("Valve.cpp", 12).createException<TypeParam>(cause, "a message on the heap, longer than a word");
  ASSERT_EQ(copiesLeft, 0);
  EXPECT_THROW(CloneOf(exception), std::bad_alloc);
}

TYPED_TEST(ExceptionFactoryOf, CopiesOutliveTheirSource)
{
  auto original = std::make_unique<TypeParam>();
  {
    TimeSignalFileException cause = MakeCausedException();
    *original = ExceptionFactory("Valve.cpp", 12).createException<TypeParam>(cause, "no. %d", 1);
  }
  TypeParam const copy(*original);
  TypeParam assigned;
  assigned = *original;
  original.reset();
  for (TypeParam const* kept : {&copy, &static_cast<TypeParam const&>(assigned)})
  {
    ExpectFields(*kept, kName<TypeParam>, "Valve.cpp", 12, "no. 1");
    ASSERT_NE(kept->getRootCause(), nullptr);
    ExpectCausedException(*kept->getRootCause());
  }
}

TYPED_TEST(ExceptionFactoryOf, ThrownExceptionIsCaughtAsItsOwnClassAsTheRootAndAsStandardException)
{
  auto const raise = [] { throw ExceptionFactory("Valve.cpp", 3).createException<TypeParam>("stuck"); };
  EXPECT_THROW(raise(), TypeParam);
  try
  {
    raise();
  }
  catch (VelmoraException const& exception)
  {
    EXPECT_TRUE(typeid(exception) == typeid(TypeParam));
    ExpectFields(exception, kName<TypeParam>, "Valve.cpp", 3, "stuck");
  }
  try
  {
    raise();
  }
  catch (std::exception const& exception)
  {
    EXPECT_STREQ(exception.what(), "stuck");
  }
}

TYPED_TEST(ExceptionFactoryOf, VirtualOperationsStandInTheOrderDestructorWhatClone)
{
  EXPECT_EQ(VirtualSlot(&TypeParam::what), 2U);
  EXPECT_EQ(VirtualSlot(&TypeParam::clone), 3U);
}

TEST(ExceptionFactory, MakesExceptionsOfTheRootClassToo)
{
  class OddException : public VelmoraException
  {
  public:
    OddException() : VelmoraException("OddException") {}
  };
  OddException const exception = ExceptionFactory("Odd.cpp", 9).createException<OddException>("%c", 'o');
  ExpectFields(exception, "OddException", "Odd.cpp", 9, "o");
}

TEST(LibraryErrors, TimeSignalUnitNamesItself)
{
  ExpectThrow<TimeSignalException>([] { InternalTimeSignal::CalcChecksum(nullptr, 1); },
                                   "Can't calculate checksum over NULL!", "InternalTimeSignal.cpp");
}

TEST(LibraryErrors, ConversionIntoTheCallersArrayNamesTheHeaderOfTheUnit)
{
  TimeSignal const signal = MakeSignal({1, 2, 3});
  std::vector<double> out(3);
  ExpectThrow<TimeSignalException>(
      [&] { ObjectOf(signal)->ConvertTo<short>(static_cast<sample_datatype32_t>(11), out.data()); },
      "Unknown data type: 11!", "InternalTimeSignal.h");
}

TEST(LibraryErrors, TypeConverterNamesItselfWithItsPath)
{
  ExpectThrow<TypeConverterException>([] { TypeConverter::Convert<double, short>(0, nullptr, nullptr); },
                                      "Conversion from Float64_t to Int16_t narrows the value range!",
                                      "libs/signalprocessing/typeconverter/TypeConverter.cpp");
}

TEST(LibraryErrors, TimeSignalFileUnitNamesItself)
{
  TemporaryDirectory const folder;
  std::string const path = folder.Path("missing.bin");
  ExpectThrow<TimeSignalFileException>([&path] { delete TimeSignalFile::Read(path); },
                                       "Error opening file " + path + "!", "TimeSignalFile.cpp");
}

TEST(LibraryErrors, ConstructorThatThrowsFreesWhatItHadBuilt)
{
  // Long unit texts live on the heap: the leak sanitizer sees what is left behind.
  SignalParts parts;
  parts.unitString = std::string(1000, 'u');
  parts.jobDataUuid = Uuid();
  std::vector<short> const samples(1000, 1);
  ExpectThrow<TimeSignalException>([&] { MakeSignal(samples, parts); }, "Missing UUID for job data entry in database!",
                                   "InternalTimeSignal.cpp");
}

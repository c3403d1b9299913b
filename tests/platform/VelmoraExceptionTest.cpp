#include "platform/VelmoraException.h"

#include "platform/Compression.h"
#include "platform/QenTime.h"
#include "platform/Uuid.h"
#include "support/DecimalPoint.h"
#include "support/ScarceException.h"
#include "support/VirtualSlots.h"

#include <climits>
#include <cstdarg>
#include <exception>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace
{
static_assert(std::is_base_of_v<std::exception, VelmoraException>);

__attribute__((format(printf, 2, 3))) void SetMessage(VelmoraException& exception, char const* format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  exception.fillInArgumentString(format, arguments);
  va_end(arguments);
}

/// An exception as an application derives it.
class SensorException : public VelmoraException
{
public:
  SensorException() : VelmoraException("SensorException") {}
  VelmoraException* clone() const override { return new SensorException(*this); }
};

VelmoraException MakeException(char const* className, char const* file, int line, char const* message)
{
  VelmoraException exception(className);
  exception.setFile(file);
  exception.setLine(line);
  SetMessage(exception, "%s", message);
  return exception;
}

void ExpectSame(VelmoraException const& actual, VelmoraException const& expected)
{
  EXPECT_TRUE(typeid(actual) == typeid(expected));
  EXPECT_EQ(actual.getClassName(), expected.getClassName());
  EXPECT_EQ(actual.getFile(), expected.getFile());
  EXPECT_EQ(actual.getLine(), expected.getLine());
  EXPECT_STREQ(actual.what(), expected.what());
}

/// "pump" caused by "valve" caused by "seal", the innermost of a derived class.
VelmoraException MakeChain()
{
  SensorException seal;
  seal.setFile("seal.cpp");
  seal.setLine(3);
  SetMessage(seal, "seal");
  VelmoraException valve = MakeException("ValveException", "valve.cpp", 2, "valve");
  valve.setRootCause(seal);
  VelmoraException pump = MakeException("PumpException", "pump.cpp", 1, "pump");
  pump.setRootCause(valve);
  return pump;
}

void ExpectChain(VelmoraException const& pump)
{
  ExpectSame(pump, MakeException("PumpException", "pump.cpp", 1, "pump"));
  VelmoraException const* const valve = pump.getRootCause();
  ASSERT_NE(valve, nullptr);
  ExpectSame(*valve, MakeException("ValveException", "valve.cpp", 2, "valve"));
  VelmoraException const* const seal = valve->getRootCause();
  ASSERT_NE(seal, nullptr);
  EXPECT_TRUE(typeid(*seal) == typeid(SensorException));
  EXPECT_EQ(seal->getClassName(), "SensorException");
  EXPECT_EQ(seal->getFile(), "seal.cpp");
  EXPECT_EQ(seal->getLine(), 3);
  EXPECT_STREQ(seal->what(), "seal");
  EXPECT_EQ(seal->getRootCause(), nullptr);
}
} // namespace

TEST(VelmoraException, FreshExceptionHasItsClassNameAndNothingElse)
{
  VelmoraException const exception("PumpException");
  EXPECT_EQ(exception.getClassName(), "PumpException");
  EXPECT_STREQ(exception.what(), "");
  EXPECT_EQ(exception.getFile(), "");
  EXPECT_EQ(exception.getLine(), 0);
  EXPECT_EQ(exception.getRootCause(), nullptr);
}

TEST(VelmoraException, TextsAreCopiedAndSurviveTheirSources)
{
  auto className = std::make_unique<std::string>("A class name that is too long for any small buffer");
  auto file = std::make_unique<std::string>("libs/with/a/long/path/to/the/source/unit/Valve.cpp");
  auto message = std::make_unique<std::string>("a message that is too long for any small buffer as well");
  VelmoraException exception(className->c_str());
  exception.setFile(file->c_str());
  SetMessage(exception, "%s", message->c_str());
  className.reset();
  file.reset();
  message.reset();
  EXPECT_EQ(exception.getClassName(), "A class name that is too long for any small buffer");
  EXPECT_EQ(exception.getFile(), "libs/with/a/long/path/to/the/source/unit/Valve.cpp");
  EXPECT_STREQ(exception.what(), "a message that is too long for any small buffer as well");
}

TEST(VelmoraException, EveryLineNumberIsKept)
{
  VelmoraException exception("PumpException");
  for (int line : {1, 4711, 0, -1, INT_MAX, INT_MIN})
  {
    exception.setLine(line);
    EXPECT_EQ(exception.getLine(), line);
  }
}

TEST(VelmoraException, WhatIsTheMessageWithoutClassFileAndLine)
{
  static_assert(noexcept(std::declval<VelmoraException const&>().what()));
  EXPECT_STREQ(MakeException("PumpException", "pump.cpp", 17, "pressure lost").what(), "pressure lost");
}

TEST(VelmoraException, MessageIsFormattedAsPrintfDoes)
{
  VelmoraException exception("PumpException");
  SetMessage(exception, "%d|%u|%ld|%lu|%lld|%s|%c|%.3f|%5.1e|%08x|%-4d|%+d", -1, 4000000000U, -2000000000L,
             3000000000UL, 9223372036854775807LL, "text", 'c', 2.5, 12345.0, 0xBEEFU, 42, 7);
  std::string const point = DecimalPoint();
  EXPECT_EQ(exception.what(), "-1|4000000000|-2000000000|3000000000|9223372036854775807|text|c|2" + point + "500|1" +
                                  point + "2e+04|0000beef|42  |+7");
}

TEST(VelmoraException, DoubledPercentSignIsOne)
{
  VelmoraException exception("PumpException");
  SetMessage(exception, "%d%% of 100%%", 50);
  EXPECT_STREQ(exception.what(), "50% of 100%");
}

TEST(VelmoraException, FormattedTextIsNotFormattedAgain)
{
  VelmoraException exception("PumpException");
  SetMessage(exception, "file %s", "%s%n%d%%");
  EXPECT_STREQ(exception.what(), "file %s%n%d%%");
}

TEST(VelmoraException, LaterMessageReplacesTheEarlierOne)
{
  VelmoraException exception("PumpException");
  SetMessage(exception, "%s", std::string(1000, 'a').c_str());
  SetMessage(exception, "short");
  EXPECT_STREQ(exception.what(), "short");
  SetMessage(exception, "%s", "");
  EXPECT_STREQ(exception.what(), "");
}

TEST(VelmoraException, MessageOfAnyLengthIsWhole)
{
  VelmoraException exception("PumpException");
  for (std::size_t length :
       {0U, 1U, 127U, 128U, 255U, 256U, 511U, 512U, 1023U, 1024U, 4095U, 4096U, 65535U, 65536U, 1048577U})
  {
    std::string const text = std::string(length, 'x') + "end";
    SetMessage(exception, "%s!", text.c_str());
    EXPECT_EQ(exception.what(), text + "!") << "length " << length;
  }
}

TEST(VelmoraException, RootCauseIsKeptAsACopyOfItsOwnClass)
{
  VelmoraException exception("PumpException");
  auto cause = std::make_unique<SensorException>();
  SetMessage(*cause, "sensor %d", 4);
  cause->setFile("sensor.cpp");
  cause->setLine(9);
  exception.setRootCause(*cause);
  EXPECT_NE(exception.getRootCause(), cause.get());
  cause.reset();
  ASSERT_NE(exception.getRootCause(), nullptr);
  VelmoraException const& kept = *exception.getRootCause();
  EXPECT_TRUE(typeid(kept) == typeid(SensorException));
  EXPECT_STREQ(kept.what(), "sensor 4");
  EXPECT_EQ(kept.getFile(), "sensor.cpp");
  EXPECT_EQ(kept.getLine(), 9);
}

TEST(VelmoraException, RootCauseKeepsItsOwnCauses) { ExpectChain(MakeChain()); }

TEST(VelmoraException, LaterRootCauseReplacesTheEarlierOne)
{
  VelmoraException exception = MakeChain();
  exception.setRootCause(SensorException());
  ASSERT_NE(exception.getRootCause(), nullptr);
  EXPECT_EQ(exception.getRootCause()->getClassName(), "SensorException");
  EXPECT_EQ(exception.getRootCause()->getRootCause(), nullptr);
}

TEST(VelmoraException, ExceptionCanBeTheCauseOfItself)
{
  VelmoraException exception = MakeException("PumpException", "pump.cpp", 1, "pump");
  exception.setRootCause(exception);
  ASSERT_NE(exception.getRootCause(), nullptr);
  EXPECT_NE(exception.getRootCause(), &exception);
  ExpectSame(*exception.getRootCause(), exception);
  EXPECT_EQ(exception.getRootCause()->getRootCause(), nullptr);
}

TEST(VelmoraException, CauseOfTheCauseCanBecomeTheCause)
{
  VelmoraException exception = MakeChain();
  exception.setRootCause(*exception.getRootCause()->getRootCause());
  ASSERT_NE(exception.getRootCause(), nullptr);
  EXPECT_STREQ(exception.getRootCause()->what(), "seal");
  EXPECT_EQ(exception.getRootCause()->getRootCause(), nullptr);
}

TEST(VelmoraException, CopyHasEverythingAndOutlivesTheOriginal)
{
  auto original = std::make_unique<VelmoraException>(MakeChain());
  VelmoraException const copy(*original);
  EXPECT_NE(copy.getRootCause(), original->getRootCause());
  original.reset();
  ExpectChain(copy);
}

TEST(VelmoraException, CopyDoesNotFollowChangesOfTheOriginal)
{
  VelmoraException original = MakeChain();
  VelmoraException const copy(original);
  SetMessage(original, "changed");
  original.setFile("changed.cpp");
  original.setLine(99);
  original.setRootCause(SensorException());
  ExpectChain(copy);
}

TEST(VelmoraException, AssignmentReplacesEverything)
{
  VelmoraException exception = MakeException("OldException", "old.cpp", 77, "old");
  exception.setRootCause(SensorException());
  {
    VelmoraException const chain = MakeChain();
    EXPECT_EQ(&(exception = chain), &exception);
  }
  ExpectChain(exception);
}

TEST(VelmoraException, AssignmentWithoutCauseRemovesTheCause)
{
  VelmoraException exception = MakeChain();
  VelmoraException const plain = MakeException("ValveException", "valve.cpp", 5, "valve");
  exception = plain;
  ExpectSame(exception, plain);
  EXPECT_EQ(exception.getRootCause(), nullptr);
}

TEST(VelmoraException, AssignmentToItselfChangesNothing)
{
  VelmoraException exception = MakeChain();
  VelmoraException const& same = exception;
  exception = same;
  ExpectChain(exception);
}

TEST(VelmoraException, AssignmentFromItsOwnCauseKeepsTheCausesCauses)
{
  VelmoraException exception = MakeChain();
  exception = *exception.getRootCause();
  EXPECT_STREQ(exception.what(), "valve");
  EXPECT_EQ(exception.getClassName(), "ValveException");
  ASSERT_NE(exception.getRootCause(), nullptr);
  EXPECT_STREQ(exception.getRootCause()->what(), "seal");
}

TEST(VelmoraException, CloneIsANewObjectWithEverything)
{
  auto original = std::make_unique<VelmoraException>(MakeChain());
  std::unique_ptr<VelmoraException> const clone(original->clone());
  EXPECT_NE(clone.get(), original.get());
  original.reset();
  ExpectChain(*clone);
}

TEST(VelmoraException, CloneThroughTheBaseKeepsTheClass)
{
  SensorException sensor;
  SetMessage(sensor, "sensor");
  VelmoraException const& base = sensor;
  std::unique_ptr<VelmoraException> const clone(base.clone());
  ExpectSame(*clone, sensor);
}

TEST(VelmoraException, MissingMemoryForTheCausePassesOn)
{
  int copiesLeft = 0;
  VelmoraException exception("PumpException");
  EXPECT_THROW(exception.setRootCause(ScarceException(copiesLeft)), std::bad_alloc);
}

TEST(VelmoraException, MissingMemoryForTheCauseOfACopyPassesOn)
{
  int copiesLeft = 1;
  VelmoraException original =
      MakeException("PumpException", "pump.cpp", 1, "a message on the heap, longer than a word");
  original.setRootCause(ScarceException(copiesLeft));
  ASSERT_EQ(copiesLeft, 0);
  EXPECT_THROW(VelmoraException{original}, std::bad_alloc);
  VelmoraException assigned("ValveException");
  EXPECT_THROW(assigned = original, std::bad_alloc);
  EXPECT_THROW(std::unique_ptr<VelmoraException>(original.clone()), std::bad_alloc);
}

TEST(VelmoraException, IsCaughtAsStandardException)
{
  try
  {
    throw MakeException("PumpException", "pump.cpp", 1, "pump");
  }
  catch (std::exception const& exception)
  {
    EXPECT_STREQ(exception.what(), "pump");
  }
}

TEST(VelmoraException, VirtualOperationsStandInTheOrderDestructorWhatClone)
{
  EXPECT_EQ(VirtualSlot(&VelmoraException::what), 2U);
  EXPECT_EQ(VirtualSlot(&VelmoraException::clone), 3U);
}

template <class E>
class PlatformException : public testing::Test
{
};
using PlatformExceptions = testing::Types<UuidException, QenTimeException, CompressionException>;
TYPED_TEST_SUITE(PlatformException, PlatformExceptions);

TYPED_TEST(PlatformException, CloneKeepsClassMessagePlaceAndCause)
{
  std::unique_ptr<VelmoraException> clone;
  {
    TypeParam exception;
    exception.setFile("unit.cpp");
    exception.setLine(12);
    SetMessage(exception, "message %d", 5);
    exception.setRootCause(MakeChain());
    clone.reset(static_cast<VelmoraException const&>(exception).clone());
  }
  VelmoraException const& kept = *clone;
  EXPECT_TRUE(typeid(kept) == typeid(TypeParam));
  EXPECT_STREQ(kept.what(), "message 5");
  EXPECT_EQ(kept.getFile(), "unit.cpp");
  EXPECT_EQ(kept.getLine(), 12);
  ASSERT_NE(kept.getRootCause(), nullptr);
  ExpectChain(*kept.getRootCause());
}

TEST(VelmoraException, PlatformExceptionsCarryTheirOwnClassNames)
{
  EXPECT_EQ(UuidException().getClassName(), "UuidException");
  EXPECT_EQ(QenTimeException().getClassName(), "QenTimeException");
  EXPECT_EQ(CompressionException().getClassName(), "CompressionException");
}

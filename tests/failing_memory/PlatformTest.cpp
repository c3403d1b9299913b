// The platform when memory fails: identifiers, time texts, compressors, exceptions, logging, database objects.

#include "failing_memory/CommonScenarios.h"
#include "platform/Compression.h"
#include "platform/MessageLogger.h"
#include "platform/QenTime.h"
#include "platform/database/CharacteristicValueDataDO.h"
#include "platform/database/DeviceDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/typeconverter/StringUtil.h"
#include "utilities/exception/ExceptionFactory.h"

#include <cstdarg>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Texts

TEST(PlatformFailingMemory, IdentifierTextIsWholeOrNotThere)
{
  Uuid const uuid = CountingUuid(0x10);
  std::string const text = uuid.ToString();
  ExpectEndures(Giving([&] { return uuid.ToString(); }));
  std::string const malformed = text.substr(1) + "x";
  ExpectEndures(Refusing([&] { Uuid{malformed}; }));
  ExpectNeedsNoMemory(
      [&]
      {
        if (Uuid(text) != uuid || Uuid::CreateUuid().IsNull())
          throw 1;
      });
}

TEST(PlatformFailingMemory, TimeTextIsWholeOrNotThere)
{
  ExpectEndures(Giving([] { return QenTime::TimeStampToString(1234567890123456); }));
  std::string const text = QenTime::TimeStampToString(1234567890123456);
  ExpectEndures(Giving([&] { return QenTime::StringToTimeStamp(text); }));
  ExpectEndures(Refusing([&] { QenTime::StringToTimeStamp(text + " and more"); }));
}

TEST(PlatformFailingMemory, NameOfATypeIsWholeOrNotThere)
{
  ExpectNeedsNoMemory([] { StringUtil::TypeInfoToString(1.0F); });
  ExpectEndures(Giving([] { return StringUtil::TypeInfoToString(std::vector<int>()); }));
}

// Compressors

namespace
{
/// A use of a compressor, and its results as the caller has them.
struct Coding
{
  std::unique_ptr<unsigned char[]> stream;
  int streamSize = -7;
  Bytes output;
};

Scenario<Coding> Using(std::function<void(Coding&)> use)
{
  return {.make =
              [] {
                return Coding{nullptr, -7, Bytes(1000, 0x77)};
              },
          .act = std::move(use),
          .see =
              [](Coding& coding)
          {
            Bytes const stream(coding.stream.get(), coding.stream.get() + (coding.stream ? coding.streamSize : 0));
            return Sight::Of(coding.streamSize, stream, coding.output);
          }};
}

Bytes const kPlain = SampleBytes(data_int32_t, 250);

/// The ways to use a compressor of one kind.
template <class Codec>
void ExpectCompressorEndures(compression32_t form)
{
  Bytes const stream = Stored(kPlain, form);
  ExpectEndures(
      Using([](Coding& coding) { coding.stream.reset(Codec(-1).compress(1000, kPlain.data(), coding.streamSize)); }));
  ExpectEndures(Using(
      [&](Coding& coding)
      { Codec(-1).uncompress(static_cast<unsigned int>(stream.size()), stream.data(), 1000, coding.output.data()); }));
  ExpectEndures(
      Using([](Coding& coding) { coding.stream.reset(Codec(99).compress(1000, kPlain.data(), coding.streamSize)); }));
  Scenario<Coding> damaged = Using(
      [&](Coding& coding) {
        Codec(-1).uncompress(static_cast<unsigned int>(stream.size() / 2), stream.data(), 1000, coding.output.data());
      });
  // What the destination holds is unspecified.
  damaged.see = [](Coding& coding) { return Sight::Of(coding.streamSize, coding.stream != nullptr); };
  ExpectEndures(damaged);
}
} // namespace

TEST(PlatformFailingMemory, StreamIsWholeOrNotThere)
{
  ExpectCompressorEndures<CompressionZLib>(zlib);
  ExpectCompressorEndures<CompressionGZip>(gzip);
}

// Exceptions

namespace
{
std::string const kLong = LongText("message");

TrendException MakeException()
{
  return ExceptionFactory("a source unit with a very long name.cpp", 42)
      .createException<TrendException>("%s of %d", kLong.c_str(), 7);
}

TrendException MakeCausedException()
{
  TrendException cause = MakeException();
  return ExceptionFactory("another source unit with a very long name.cpp", 43)
      .createException<TrendException>(cause, "caused: %s", kLong.c_str());
}

/// A change of an exception, which stays as it was when that fails.
Scenario<TrendException> ChangingException(std::function<void(TrendException&)> change)
{
  return {.make = [] { return MakeCausedException(); },
          .act = std::move(change),
          .see = [](TrendException& exception) { return Sight::Of(exception); }};
}

void Format(VelmoraException& exception, char const* format, ...) __attribute__((format(printf, 2, 3)));
void Format(VelmoraException& exception, char const* format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  try
  {
    exception.fillInArgumentString(format, arguments);
  }
  catch (...)
  {
    va_end(arguments);
    throw;
  }
  va_end(arguments);
}
} // namespace

TEST(PlatformFailingMemory, ExceptionIsMadeWholeOrNotAtAll)
{
  ExpectEndures(Giving([] { return MakeException(); }));
  ExpectEndures(Giving([] { return MakeCausedException(); }));
}

TEST(PlatformFailingMemory, ExceptionIsThrownWholeOrTheFailureIs)
{
  ExpectEndures(Refusing([] { throw MakeException(); }));
  ExpectEndures(Refusing([] { throw MakeCausedException(); }));
}

TEST(PlatformFailingMemory, ExceptionIsCopiedWholeOrNotAtAll)
{
  TrendException const source = MakeCausedException();
  ExpectEndures(Giving([&] { return std::make_unique<TrendException>(source); }));
  ExpectEndures(Giving([&] { return std::unique_ptr<VelmoraException>(source.clone()); }));
}

TEST(PlatformFailingMemory, ExceptionThatCannotBeChangedStays)
{
  TrendException const source = ExceptionFactory("a third source unit with a very long name.cpp", 44)
                                    .createException<TrendException>("%s", LongText(kLong).c_str());
  ExpectEndures(ChangingException([&](TrendException& exception) { exception = source; }));
  ExpectEndures(ChangingException([&](TrendException& exception) { exception.setRootCause(source); }));
  ExpectEndures(ChangingException([&](TrendException& exception) { exception.setRootCause(exception); }));
  ExpectEndures(
      ChangingException([](TrendException& exception)
                        { exception.setFile("a name of a source unit that is longer than the one before.cpp"); }));
  ExpectEndures(
      ChangingException([](TrendException& exception) { Format(exception, "%s %s", kLong.c_str(), kLong.c_str()); }));
}

// Logging

namespace
{
constexpr char const kCategory[] = "example.qen.test.failing_memory";

/// A record that is logged, and the sink that gets it.
struct Logging
{
  RecordsOfItsTime log;
  MessageLogger* logger = MessageLogger::getLogger(kCategory);
};

/// Logging never fails: the record is there whole or not at all.
Scenario<Logging> LoggingWith(LogCapture& capture, std::function<void(Logging&)> log)
{
  return {.make = [&capture] { return Logging{RecordsOfItsTime(capture)}; },
          .act = std::move(log),
          .see =
              [](Logging& logging)
          {
            Sight sight;
            for (LogRecord const& record : logging.log.Get())
            {
              sight.Add(record.category);
              sight.Add(record.priority);
              sight.Add(record.text);
            }
            return sight.Text();
          },
          .faultOfSuccess = [](Logging& logging, Attempt const&) -> std::string
          { return logging.log.Get().empty() ? "" : "record came through though memory failed"; }};
}
} // namespace

TEST(PlatformFailingMemory, RecordIsLoggedWholeOrLost)
{
  LogCapture capture(kCategory);
  auto const record = [](Logging& logging)
  { LogObject(logging.logger, log4cpp::Priority::WARN, "unit.cpp", 1)("%s %d", kLong.c_str(), 7); };
  ExpectEndures(LoggingWith(capture, record));
  TrendException const exception = MakeCausedException();
  auto const caught = [&](Logging& logging)
  { ExceptionLogger::log(logging.logger, log4cpp::Priority::ERROR, "unit.cpp", 1, exception); };
  ExpectEndures(LoggingWith(capture, caught));
}

// A thread's first record makes what log4cpp keeps for each thread.
TEST(PlatformFailingMemory, FirstRecordOfAThreadIsLoggedWholeOrLost)
{
  LogCapture capture(kCategory);
  MessageLogger* const logger = MessageLogger::getLogger(kCategory);
  for (FailureSpan const span : {FailureSpan::kOnce, FailureSpan::kPersistently})
    for (unsigned long call = 1, failures = 1; failures != 0; ++call)
    {
      capture.Forget();
      Ending ending;
      std::thread(
          [&]
          {
            MemoryFailure failure(call, span);
            ending = Ending::Of(failure, [&]
                                { LogObject(logger, log4cpp::Priority::WARN, "unit.cpp", 1)("%s", kLong.c_str()); });
            failures = failure.Failures();
          })
          .join();
      std::vector<LogRecord> const records = capture.Records();
      EXPECT_STREQ(ending.Text(), "returned") << call;
      EXPECT_EQ(records.size(), failures == 0 ? 1U : 0U) << call;
      EXPECT_TRUE(records.empty() || records[0].text == kLong) << call;
      EXPECT_TRUE(call > 1 || failures != 0) << "no call failed";
    }
}

TEST(PlatformFailingMemory, DisabledRecordNeedsNoSink)
{
  LogCapture const capture(kCategory, log4cpp::Priority::ERROR);
  MessageLogger const* const logger = MessageLogger::getLogger(kCategory);
  ExpectNeedsNoMemory(
      [&]
      {
        if (logger->isEnabled(log4cpp::Priority::WARN))
          throw 1;
      });
}

TEST(PlatformFailingMemory, LoggerIsThereOrTheFailureIsThrown)
{
  static unsigned int number;
  number = 0;
  struct Naming
  {
    std::string category;
    MessageLogger* logger;
  };
  ExpectEndures(Scenario<Naming>{
      .make =
          [] {
            return Naming{"example.qen.test.failing_memory.parent" + std::to_string(++number) + ".child", nullptr};
          },
      .act = [](Naming& naming) { naming.logger = MessageLogger::getLogger(naming.category); },
      .see = [](Naming& naming) { return naming.logger == nullptr ? "none" : "one"; },
      .faultOfFailure = [](Naming& naming, Attempt const&) -> std::string
      { return naming.logger == nullptr ? "" : "failed and gave a logger"; },
      .keeps = true});
}

// Database objects

namespace
{
MeasurementDataDO StoredMeasurement(unsigned char first, std::string const& details, Bytes const& bytes)
{
  MeasurementDataDO stored;
  stored.setCurrentUuid(UuidEntryDO(first, CountingUuid(first), true));
  stored.setMeasurementTimeStamp(first);
  stored.setMeasurementConfig(UuidEntryDO(first, CountingUuid(static_cast<unsigned char>(first + 1)), true));
  stored.setMeasurementDataDetails(details);
  stored.setBinaryData(bytes);
  stored.setJobData(UuidEntryDO(first, CountingUuid(static_cast<unsigned char>(first + 2)), false));
  stored.setSavedByAlarmStatusChange(first % 2 == 0);
  return stored;
}

TrendDataDO StoredTrendOf(unsigned char first, std::string const& unit)
{
  TrendParts parts;
  parts.trendUuid = CountingUuid(first);
  parts.configUuid = CountingUuid(static_cast<unsigned char>(first + 1));
  parts.unitString = unit;
  for (int i = 0; i < first; ++i)
    parts.entries.push_back(MarkedEntry(i, 1, first));
  TrendDataDO stored = StoredTrend(parts);
  stored.setClosed(first % 2 == 0);
  return stored;
}

/// A change of an object, which stays as it was when that fails.
template <class Object>
Scenario<Object> ChangingObject(Object const& object, std::function<void(Object&)> change)
{
  return {.make = [object] { return object; },
          .act = std::move(change),
          .see = [](Object& changed) { return Sight::Of(changed); }};
}

DeviceDO DeviceOf(std::string const& details)
{
  DeviceDO device;
  device.setDeviceDetails(details);
  return device;
}
} // namespace

TEST(PlatformFailingMemory, DatabaseObjectIsCopiedWholeOrNotAtAll)
{
  MeasurementDataDO const measurement = StoredMeasurement(10, kLong, Bytes(100, 1));
  TrendDataDO const trend = StoredTrendOf(5, kLong);
  DeviceDO const device = DeviceOf(kLong);
  ExpectEndures(Giving([&] { return std::make_unique<MeasurementDataDO>(measurement); }));
  ExpectEndures(Giving([&] { return std::make_unique<TrendDataDO>(trend); }));
  ExpectEndures(Giving([&] { return std::make_unique<DeviceDO>(device)->getDeviceDetails(); }));
}

TEST(PlatformFailingMemory, DatabaseObjectThatCannotBeAssignedToStays)
{
  MeasurementDataDO const measurement = StoredMeasurement(11, kLong + kLong, Bytes(1000, 2));
  ExpectEndures(ChangingObject<MeasurementDataDO>(StoredMeasurement(10, kLong, Bytes(100, 1)),
                                                  [&](MeasurementDataDO& stored) { stored = measurement; }));
  TrendDataDO const trend = StoredTrendOf(20, kLong + kLong);
  ExpectEndures(ChangingObject<TrendDataDO>(StoredTrendOf(5, kLong), [&](TrendDataDO& stored) { stored = trend; }));
}

TEST(PlatformFailingMemory, DatabaseObjectThatCannotBeSetStays)
{
  std::string const details = kLong + kLong;
  Bytes const bytes(1000, 2);
  MeasurementDataDO const measurement = StoredMeasurement(10, kLong, Bytes(100, 1));
  ExpectEndures(ChangingObject<MeasurementDataDO>(measurement, [&](MeasurementDataDO& stored)
                                                  { stored.setMeasurementDataDetails(details); }));
  ExpectEndures(
      ChangingObject<MeasurementDataDO>(measurement, [&](MeasurementDataDO& stored) { stored.setBinaryData(bytes); }));
  TrendDataDO const trend = StoredTrendOf(5, kLong);
  ExpectEndures(
      ChangingObject<TrendDataDO>(trend, [&](TrendDataDO& stored) { stored.setTrendDataDetails(details + details); }));
  ExpectEndures(ChangingObject<TrendDataDO>(trend, [&](TrendDataDO& stored) { stored.setData(bytes); }));
}

TEST(PlatformFailingMemory, IdentifiersAndTimesAreSetWithoutMemory)
{
  MeasurementDataDO measurement;
  TrendDataDO trend;
  CharacteristicValueDataDO value;
  ExpectNeedsNoMemory(
      [&]
      {
        measurement.setCurrentUuid(UuidEntryDO(1, CountingUuid(1), true));
        measurement.setMeasurementTimeStamp(5);
        trend.setClosed(true);
        trend.setNumSamples(7);
        CharacteristicValueDataDO const copy(value);
        value = copy;
      });
  EXPECT_EQ(measurement.getMeasurementTimeStamp(), 5);
  EXPECT_EQ(trend.getNumSamples(), 7U);
}

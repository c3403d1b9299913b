// Portable values and archives when memory fails. Streams take a failed allocation for a failure of their own, so that
// it ends as an exception or shows in the stream's state; never as a shorter archive or another value.

#include "failing_memory/CommonScenarios.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "support/ArchiveForm.h"

#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr char const kSerializing[] = "Serializing of object ";
constexpr char const kDeserializing[] = "Deserializing of object ";

std::string ValueEnding(std::string const& what, std::string const& type, char const* file = kSerializeUnit)
{
  return EndsWith("SerializationException", file, what + type + " failed");
}

/// How reading or writing ends at a value that cannot be read or written.
std::vector<std::string> ValueEndings(std::string const& what)
{
  std::string const length = ValueEnding(what, "unsigned long");
  return {ValueEnding(what, "unsigned int"), ValueEnding(what, "double"),
          ValueEnding(what, "float"),        ValueEnding(what, "float", "InternalTimeSignal.cpp"),
          ValueEnding(what, "std::string"),  ValueEnding(what, "std::string") + ", caused by " + length};
}

/// A stream whose buffer is full, so that the next byte needs memory.
struct Sink
{
  std::stringstream stream;

  Sink()
  {
    stream.imbue(std::locale::classic());
    Fill();
  }
  void Fill() { stream << "fifteen letters"; }
};

/// Writing a value behind a full buffer. A failed writing leaves the beginning of what an undisturbed one leaves, and
/// the stream's settings.
template <class Value>
Scenario<Sink> Writing(Value const& value)
{
  return {.make = [] { return Sink(); },
          .act =
              [value](Sink& sink)
          {
            QenSerialize::serialize(value, sink.stream);
            RequireGood(sink.stream);
          },
          .see = [](Sink& sink) { return sink.stream.str(); },
          .endings = ValueEndings(kSerializing),
          .faultOfFailure = [](Sink& sink, Attempt const& attempt) -> std::string
          {
            std::stringstream const untouched;
            if (sink.stream.precision() != untouched.precision() || sink.stream.flags() != untouched.flags())
              return "settings of the stream are left changed";
            return attempt.reference.starts_with(sink.stream.str()) ? "" : "wrote what does not belong there";
          },
          .rewind =
              [](Sink& sink)
          {
            sink.stream.clear();
            sink.stream.str("");
            sink.Fill();
          }};
}

template <class Value>
struct Source
{
  std::stringstream stream;
  Value value;

  Source(std::string const& bytes, Value const& before) : stream(bytes), value(before)
  {
    stream.imbue(std::locale::classic());
  }
};

/// Reading a value of these bytes. A failed reading leaves this value.
template <class Value>
Scenario<Source<Value>> ReadingValue(std::string const& bytes, Value const& before, Value const& failed,
                                     std::function<void(Source<Value>&)> read)
{
  return {.make = [bytes, before] { return Source<Value>(bytes, before); },
          .act = std::move(read),
          .see = [](Source<Value>& source) { return Sight::Of(source.value); },
          .endings = ValueEndings(kDeserializing),
          .faultOfFailure = [failed](Source<Value>& source, Attempt const&) -> std::string
          {
            std::stringstream const untouched;
            if (source.stream.precision() != untouched.precision() || source.stream.flags() != untouched.flags())
              return "settings of the stream are left changed";
            return Sight::Of(source.value) == Sight::Of(failed) ? "" : "left another value";
          },
          .rewind =
              [](Source<Value>& source)
          {
            source.stream.clear();
            source.stream.seekg(0);
          }};
}

std::string const kText = LongText(std::string(6000, 'x'));
} // namespace

// Values

TEST(PortableValueFailingMemory, ValuesAreWrittenWholeOrTheFailureIsSeen)
{
  ExpectEndures(Writing(4000000000U));
  ExpectEndures(Writing(-1.0 / 3));
  ExpectEndures(Writing(1.0F / 3));
  ExpectEndures(Writing(std::numeric_limits<double>::quiet_NaN()));
  ExpectEndures(Writing(kText));
}

TEST(PortableValueFailingMemory, NumberThatCannotBeReadStays)
{
  ExpectEndures(ReadingValue<double>(PortableNumber(-1.0 / 3), 77, 77,
                                     [](Source<double>& source)
                                     { QenSerialize::deserialize(source.value, source.stream); }));
  ExpectEndures(ReadingValue<float>(PortableNumber(0.25), 77, 77,
                                    [](Source<float>& source)
                                    {
                                      if (QenSerialize::deserialize_floating_point(source.value, source.stream))
                                        throw std::bad_alloc();
                                    }));
}

TEST(PortableValueFailingMemory, TextThatCannotBeReadIsEmpty)
{
  ExpectEndures(ReadingValue<std::string>(PortableText(kText), "before", "",
                                          [](Source<std::string>& source)
                                          { QenSerialize::deserialize(source.value, source.stream); }));
}

TEST(PortableValueFailingMemory, CutValuesAreReportedOrTheReportFindsNoMemory)
{
  ExpectEndures(ReadingValue<std::string>(
      "", "before", "", [](Source<std::string>& source) { QenSerialize::deserialize(source.value, source.stream); }));
  ExpectEndures(ReadingValue<std::string>(PortableText(kText).substr(0, 100), "before", "",
                                          [](Source<std::string>& source)
                                          { QenSerialize::deserialize(source.value, source.stream); }));
  ExpectEndures(ReadingValue<unsigned int>("\x04\x01", 77U, 0U,
                                           [](Source<unsigned int>& source)
                                           { QenSerialize::deserialize(source.value, source.stream); }));
}

// Archives

namespace
{
using Object = std::unique_ptr<InternalTimeSignal>;

struct Archiving
{
  Object signal;
  Archive archive;

  Archiving(Object object, std::string bytes, std::ios_base::iostate exceptions)
    : signal(std::move(object)), archive(std::move(bytes))
  {
    archive.exceptions(exceptions);
  }
};

/// A signal that is written, and the archive it went into.
Scenario<Archiving> WritingSignal(std::ios_base::iostate exceptions = std::ios_base::goodbit)
{
  return {.make = [exceptions] { return Archiving(ObjectWith(LongDescription()), "", exceptions); },
          .act =
              [](Archiving& archiving)
          {
            archiving.archive << *archiving.signal;
            RequireGood(archiving.archive);
          },
          .see = [](Archiving& archiving) { return Sight::Of(archiving.signal) + archiving.archive.str(); },
          .endings = ValueEndings(kSerializing),
          .faultOfFailure = [](Archiving& archiving, Attempt const& attempt) -> std::string
          {
            return attempt.reference.starts_with(Sight::Of(archiving.signal) + archiving.archive.str())
                       ? ""
                       : "failed and left signal or archive wrong";
          },
          .rewind = [](Archiving& archiving) { archiving.archive.str(""); }};
}

/// What any object must be able to do after a failed reading: be looked at, copied, compared and changed.
std::string FaultOfUse(InternalTimeSignal& signal)
{
  InternalTimeSignal copy(signal);
  if (Sight::Of(copy) != Sight::Of(signal))
    return "copy differs";
  copy.RemoveAllSamples();
  return copy.GetChecksumStatus() ? "" : "checksums are wrong without samples";
}

/// What a reading that ended somewhere may leave: the header of before or the new one, and an object of use.
std::string FaultOfReading(Archiving& archiving, Attempt const& attempt)
{
  Bytes const header = HeaderBytes(*archiving.signal->GetHeader());
  std::string const old = attempt.before.substr(0, Sight::Of(header).size());
  if (Sight::Of(header) != old && header != LongDescription().header)
    return "header is mixed";
  return FaultOfUse(*archiving.signal);
}

Scenario<Archiving> ReadingSignal(std::function<Object()> makeObject,
                                  std::ios_base::iostate exceptions = std::ios_base::goodbit)
{
  std::string const bytes = ArchiveForm(LongDescription());
  return {.make = [=] { return Archiving(makeObject(), bytes, exceptions); },
          .act =
              [](Archiving& archiving)
          {
            archiving.archive >> *archiving.signal;
            RequireGood(archiving.archive);
          },
          .see = [](Archiving& archiving) { return Sight::Of(archiving.signal); },
          .endings = ValueEndings(kDeserializing),
          .faultOfFailure = FaultOfReading,
          .rewind = [bytes](Archiving& archiving) { archiving.archive.str(bytes); }};
}

Object ObjectWithArrayOfTheCallers()
{
  Object object = ObjectWith(LongDescription(data_int8_t, zlib));
  std::unique_ptr<unsigned char[]> array(new unsigned char[7]{1, 2, 3, 4, 5, 6, 7});
  delete[] std::exchange(object->GetHeader()->Samples, array.release());
  object->GetHeader()->DataArrayByteCount = 7;
  return object;
}
} // namespace

TEST(ArchiveFailingMemory, SignalIsWrittenWholeOrTheFailureIsSeen) { ExpectEndures(WritingSignal()); }

TEST(ArchiveFailingMemory, SignalIsWrittenWholeOrTheFailureIsSeenWhereverTheArchiveIsFull)
{
  constexpr std::size_t kStep = 7; // no item but the numbers' blanks is shorter
  for (std::size_t room = 16; room < ArchiveForm(LongDescription()).size(); room += kStep)
  {
    Scenario<Archiving> scenario = WritingSignal();
    scenario.make = [room]
    {
      std::string bytes;
      bytes.reserve(room);
      return Archiving(ObjectWith(LongDescription()), std::move(bytes), std::ios_base::goodbit);
    };
    ExpectEndures(scenario);
  }
}

TEST(ArchiveFailingMemory, ArchiveThatThrowsPassesTheFailureOn)
{
  constexpr std::ios_base::iostate kAll = std::ios_base::badbit | std::ios_base::failbit;
  Scenario<Archiving> writing = WritingSignal(kAll);
  writing.endings = {};
  ExpectEndures(writing);
  Scenario<Archiving> reading = ReadingSignal([] { return std::make_unique<InternalTimeSignal>(); }, kAll);
  reading.endings = {};
  ExpectEndures(reading);
}

TEST(ArchiveFailingMemory, SignalIsReadWholeOrTheFailureIsSeen)
{
  ExpectEndures(ReadingSignal([] { return std::make_unique<InternalTimeSignal>(); }));
}

TEST(ArchiveFailingMemory, SignalIsReadOverAnotherOneWholeOrTheFailureIsSeen)
{
  ExpectEndures(ReadingSignal([] { return ObjectWith(LongDescription(data_int8_t, zlib, 9)); }));
  ExpectEndures(ReadingSignal([] { return ObjectWith(DescribedSignal(data_float64_t, no_compression, 200, 5)); }));
  ExpectEndures(ReadingSignal(ObjectWithArrayOfTheCallers));
}

TEST(ArchiveFailingMemory, HandlesAreWrittenAndReadAsTheirSignals)
{
  Scenario<Archiving> writing = WritingSignal();
  writing.act = [handle = HandleOn(LongDescription())](Archiving& archiving)
  {
    archiving.archive << handle;
    RequireGood(archiving.archive);
  };
  ExpectEndures(writing);

  struct HandleReading
  {
    TimeSignal handle = HandleOn(LongDescription(data_int8_t, zlib));
    Archive archive{ArchiveForm(LongDescription())};
  };
  ExpectEndures(Scenario<HandleReading>{
      .make = [] { return HandleReading(); },
      .act =
          [](HandleReading& reading)
      {
        reading.archive >> reading.handle;
        RequireGood(reading.archive);
      },
      .see = [](HandleReading& reading) { return Sight::Of(reading.handle); },
      .endings = ValueEndings(kDeserializing),
      .faultOfFailure = [](HandleReading& reading, Attempt const&) { return FaultOfUse(*ObjectOf(reading.handle)); },
      .rewind = [](HandleReading& reading) { reading.archive.str(ArchiveForm(LongDescription())); }});
}

TEST(ArchiveFailingMemory, HandleThatIsSharedIsRefusedOrTheRefusalFindsNoMemory)
{
  TimeSignal first = HandleOn(LongDescription());
  TimeSignal const second(first);
  std::string const before = Sight::Of(first);
  Archive archive(ArchiveForm(LongDescription(data_int8_t, zlib)));
  ExpectEndures(Refusing([&] { archive >> first; }));
  EXPECT_EQ(Sight::Of(first), before);
  EXPECT_TRUE(archive.good());
}

namespace
{
/// A reading that ends at a wrong tag, and its log.
struct WrongTagReading
{
  RecordsOfItsTime log;
  InternalTimeSignal signal{};
  Archive archive{PlainBytes(LongDescription().header) + PortableUnsigned(1)};
};
} // namespace

TEST(ArchiveFailingMemory, WrongTagIsReportedThoughItsRecordIsLost)
{
  LogCapture capture(kTimeSignalCategory);
  ExpectEndures(Scenario<WrongTagReading>{
      .make = [&] { return WrongTagReading{RecordsOfItsTime(capture)}; },
      .act = [](WrongTagReading& reading) { reading.archive >> reading.signal; },
      .see = [](WrongTagReading& reading) { return Sight::Of(reading.signal); },
      .faultOfFailure =
          [](WrongTagReading& reading, Attempt const&)
      {
        std::vector<LogRecord> const records = reading.log.Get();
        bool const isCut = records.size() > 1 || (records.size() == 1 && records[0].text != "Wrong tag!");
        return isCut ? std::string("record is cut") : FaultOfUse(reading.signal);
      },
      .rewind = [](WrongTagReading& reading) { reading.archive.str(reading.archive.str()); }});
}

TEST(ArchiveFailingMemory, ArchiveIsMadeAndGivesItsBytesWholeOrNotAtAll)
{
  std::string const bytes = ArchiveForm(LongDescription());
  ExpectEndures(Giving(
      [&]
      {
        Archive const archive(bytes);
        return archive.str();
      }));
}

TEST(ArchiveFailingMemory, BytesThatCannotBeWrittenLeaveTheArchive)
{
  struct Bytewise
  {
    Archive archive;
  };
  auto const writing = [](std::function<void(Archive&)> write)
  {
    return Scenario<Bytewise>{.make = [] { return Bytewise{Archive("fifteen letters")}; },
                              .act =
                                  [write](Bytewise& bytewise)
                              {
                                write(bytewise.archive);
                                RequireGood(bytewise.archive);
                              },
                              .see = [](Bytewise& bytewise) { return bytewise.archive.str(); },
                              .rewind = [](Bytewise& bytewise) { bytewise.archive.clear(); }};
  };
  ExpectEndures(writing([](Archive& archive) { archive.put('x'); }));
  ExpectEndures(writing([](Archive& archive) { archive.write(kText.data(), 1000); }));
  ExpectEndures(writing([](Archive& archive) { archive << CountingUuid(1); }));
}

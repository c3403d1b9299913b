// Handles of shared time signals in four threads at once. The thread sanitizer watches the memory; these tests watch
// the values: every handle has a model beside it that says what it must hold, whatever the other threads do.
//
// Live objects are counted by the global operator new (CountedMemory.h): an InternalTimeSignal is the only thing here
// that is allocated in blocks of exactly its size, which LiveObjectsAreCounted proves first.

#include "signalprocessing/io/file/Synchronizer.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/CountedMemory.h"
#include "support/LongTests.h"
#include "support/SampleSignals.h"
#include "support/TemporaryDirectory.h"

#include <array>
#include <barrier>
#include <exception>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr std::size_t kThreadCount = 4;

void Require(bool condition, char const* finding)
{
  if (!condition)
    throw std::runtime_error(finding);
}

/// Runs one function per thread and reports the first thing that each of them found wrong.
template <class F>
void RunThreads(F&& work)
{
  std::array<std::string, kThreadCount> findings;
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreadCount; ++thread)
    threads.emplace_back(
        [&, thread]
        {
          try
          {
            work(thread);
          }
          catch (std::exception const& exception)
          {
            findings.at(thread) = exception.what();
          }
        });
  for (std::thread& thread : threads)
    thread.join();
  for (std::string const& finding : findings)
    EXPECT_EQ(finding, "");
}

/// The types that the handles go through: each converts to every later one and to no earlier one.
constexpr std::array<sample_datatype32_t, 5> kWideningTypes = {data_int16_t, data_int32_t, data_int64_t, data_float32_t,
                                                               data_float64_t};
constexpr std::size_t kSampleCount = 32;

/// A signal as it enters the program: pairs around a mean that is a whole number.
struct Source
{
  short mean = 0;
  std::vector<short> samples;
};

std::vector<Source> MakeSources()
{
  std::vector<Source> sources;
  for (short const mean : {7, -5, 1200, -9000})
  {
    Source source;
    source.mean = mean;
    for (short distance = 1; source.samples.size() < kSampleCount; ++distance)
    {
      source.samples.push_back(static_cast<short>(mean + distance));
      source.samples.push_back(static_cast<short>(mean - distance));
    }
    sources.push_back(source);
  }
  return sources;
}
std::vector<Source> const kSources = MakeSources();

/// What a handle must hold.
struct Model
{
  std::size_t source = 0;
  std::size_t type = 0; // position in kWideningTypes
  compression32_t compression = no_compression;
  bool centred = false;
  double tripValue = 0; // 0 for no trigger
  std::size_t validators = 0;
  std::size_t charVals = 0;

  bool operator==(Model const&) const = default;
};

struct Slot
{
  TimeSignal signal;
  Model model;
};

Slot MakeSlot(std::size_t source)
{
  SignalParts parts;
  parts.offset = 0;
  Slot slot{MakeSignal(kSources.at(source).samples, parts), {}};
  slot.model.source = source;
  return slot;
}

template <class T>
void RequireSamples(TimeSignal const& signal, Model const& model)
{
  Source const& source = kSources.at(model.source);
  std::vector<T> const samples = StoredSamples<T>(signal);
  Require(samples.size() == kSampleCount, "sample count");
  for (std::size_t i = 0; i < kSampleCount; ++i)
    Require(samples[i] == static_cast<T>(source.samples[i] - (model.centred ? source.mean : 0)), "sample value");
}

void RequireUncompressedSamples(TimeSignal const& signal, Model const& model)
{
  switch (kWideningTypes.at(model.type))
  {
  case data_int16_t:
    return RequireSamples<short>(signal, model);
  case data_int32_t:
    return RequireSamples<int>(signal, model);
  case data_int64_t:
    return RequireSamples<long long>(signal, model);
  case data_float32_t:
    return RequireSamples<float>(signal, model);
  default:
    return RequireSamples<double>(signal, model);
  }
}

void RequireModel(Slot const& slot)
{
  auto const& [signal, model] = slot;
  timesignal_bin_t const& header = *signal.GetHeader();
  Require(header.Compression == model.compression, "compression");
  Require(header.SampleType == kWideningTypes.at(model.type), "sample type");
  Require(header.SampleCount == kSampleCount, "sample count of the header");
  Require(header.Offset == (model.centred ? -kSources.at(model.source).mean : 0), "offset");
  Require(signal.GetChecksumStatus(), "checksums");
  Require(signal.GetTrigger().TripValue == model.tripValue, "trigger");
  Require(signal.GetValidators().size() == model.validators, "validators");
  Require(signal.GetCharVals().size() == model.charVals, "characteristic values");
  Require(signal.GetUnitString() == SignalParts().unitString, "unit");
  TimeSignal uncompressed = signal;
  uncompressed.Uncompress();
  RequireUncompressedSamples(uncompressed, model);
}

/// A place where threads exchange handles.
struct Mailbox
{
  std::mutex mutex;
  Slot slot;
};

/// The signals that all threads copy from; the handles here are never changed.
std::vector<Slot> MakePool()
{
  std::vector<Slot> pool;
  for (std::size_t source = 0; source < kSources.size(); ++source)
    pool.push_back(MakeSlot(source));
  return pool;
}

/// One thread's handles and what it does with them.
class Worker
{
public:
  Worker(std::size_t thread, std::vector<Slot> const& pool, std::array<Mailbox, 3>& mailboxes)
    : random_(static_cast<unsigned int>(thread + 1)), pool_(pool), mailboxes_(mailboxes), slots_(8, pool.front())
  {
  }

  std::vector<Slot> const& slots() const { return slots_; }

  void run(std::size_t operations)
  {
    for (std::size_t i = 0; i < operations; ++i)
      runOne();
    for (Slot const& slot : slots_)
      RequireModel(slot);
  }

private:
  void runOne()
  {
    std::size_t const dice = pick(100);
    if (dice < 30)
      assign();
    else if (dice < 50)
      copyAndRelease();
    else if (dice < 66)
      anySlot() = pool_.at(pick(pool_.size()));
    else if (dice < 74)
      convert(anySlot());
    else if (dice < 80)
      extractOffset(anySlot());
    else if (dice < 86)
      add(anySlot());
    else if (dice < 91)
      RequireModel(anySlot());
    else if (dice < 94)
      compare(anySlot(), anySlot());
    else if (dice < 98)
      exchange(mailboxes_.at(pick(mailboxes_.size())), anySlot());
    else if (dice < 99)
      compress(anySlot());
    else
      uncompress(anySlot());
  }

  void assign()
  {
    Slot const& from = anySlot();
    Slot& to = anySlot();
    to.signal = from.signal;
    to.model = from.model;
    Require(ObjectOf(to.signal) == ObjectOf(from.signal), "assignment shares");
  }

  void copyAndRelease()
  {
    TimeSignal const& signal = anySlot().signal;
    TimeSignal const copy = signal;
    Require(ObjectOf(copy) == ObjectOf(signal), "a copy shares");
    Require(HandleCount(copy) >= 2, "a shared object counts its handles");
  }

  void convert(Slot& slot)
  {
    std::size_t const target = pick(kWideningTypes.size());
    try
    {
      slot.signal.Convert(kWideningTypes.at(target));
      Require(slot.model.compression == no_compression, "conversion of compressed samples");
      Require(target >= slot.model.type, "narrowing conversion");
      slot.model.type = target;
    }
    catch (TimeSignalException const&)
    {
      Require(slot.model.compression != no_compression, "refused conversion of uncompressed samples");
    }
    catch (TypeConverterException const&)
    {
      Require(target < slot.model.type, "refused widening conversion");
    }
  }

  void extractOffset(Slot& slot)
  {
    try
    {
      slot.signal.ExtractOffset();
      Require(slot.model.compression == no_compression, "offset of compressed samples");
      slot.model.centred = true;
    }
    catch (TimeSignalException const&)
    {
      Require(slot.model.compression != no_compression, "refused offset of uncompressed samples");
    }
  }

  void add(Slot& slot)
  {
    switch (pick(3))
    {
    case 0:
      slot.model.tripValue = static_cast<double>(1 + pick(1000));
      slot.signal.AddTrigger(CountingUuid(1), slot.model.tripValue, CountingUuid(2), "g");
      break;
    case 1:
      slot.signal.AddValidator(CountingUuid(3), 1, CountingUuid(4), "rpm");
      ++slot.model.validators;
      break;
    default:
      slot.signal.AddCharacteristicValue(CountingUuid(5), 1, CountingUuid(6), "mm", 2);
      ++slot.model.charVals;
    }
  }

  /// Equal models are equal signals: streams of equal samples are equal too, as one codec makes them.
  static void compare(Slot const& first, Slot const& second)
  {
    Require((first.signal == second.signal) == (first.model == second.model), "comparison");
  }

  static void exchange(Mailbox& mailbox, Slot& slot)
  {
    std::lock_guard const lock(mailbox.mutex);
    std::swap(mailbox.slot, slot);
  }

  void compress(Slot& slot)
  {
    static constexpr std::array<compression32_t, 4> methods = {no_compression, zlib, gzip, int24};
    compression32_t const method = methods.at(pick(methods.size()));
    try
    {
      slot.signal.Compress(method);
      Require(method != int24, "compression with a method that does not exist");
      slot.model.compression = method;
    }
    catch (TimeSignalException const&)
    {
      Require(method == int24, "refused compression");
    }
  }

  void uncompress(Slot& slot)
  {
    slot.signal.Uncompress();
    slot.model.compression = no_compression;
  }

  Slot& anySlot() { return slots_.at(pick(slots_.size())); }
  std::size_t pick(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }

  std::minstd_rand random_;
  std::vector<Slot> const& pool_;
  std::array<Mailbox, 3>& mailboxes_;
  std::vector<Slot> slots_;
};

/// How many of the given handles hold each object.
std::map<InternalTimeSignal*, unsigned int> CountHandles(std::vector<Slot const*> const& slots)
{
  std::map<InternalTimeSignal*, unsigned int> handles;
  for (Slot const* const slot : slots)
    ++handles[ObjectOf(slot->signal)];
  return handles;
}
} // namespace

TEST(TimeSignalThreads, LiveObjectsAreCounted)
{
  long const before = liveObjects;
  {
    TimeSignal const first;
    EXPECT_EQ(liveObjects, before + 1);
    TimeSignal second = first;
    EXPECT_EQ(liveObjects, before + 1);
    second.ExtractOffset();
    EXPECT_EQ(liveObjects, before + 2);
    Slot const third = MakeSlot(0);
    EXPECT_EQ(liveObjects, before + 3);
    second = first;
    EXPECT_EQ(liveObjects, before + 2);
  }
  EXPECT_EQ(liveObjects, before);
}

TEST(TimeSignalThreads, ConcurrentHandlesHoldWhatTheyMust)
{
  std::size_t const operations = AreLongTestsWanted() ? 4'000'000 : 1'000'000;
  long const before = liveObjects;
  {
    std::vector<Slot> const pool = MakePool();
    std::array<Mailbox, 3> mailboxes;
    for (Mailbox& mailbox : mailboxes)
      mailbox.slot = pool.front();
    std::vector<std::unique_ptr<Worker>> workers;
    for (std::size_t thread = 0; thread < kThreadCount; ++thread)
      workers.push_back(std::make_unique<Worker>(thread, pool, mailboxes));

    RunThreads([&](std::size_t thread) { workers.at(thread)->run(operations / kThreadCount); });

    std::vector<Slot const*> slots;
    for (Slot const& slot : pool)
      slots.push_back(&slot);
    for (Mailbox const& mailbox : mailboxes)
      slots.push_back(&mailbox.slot);
    for (auto const& worker : workers)
      for (Slot const& slot : worker->slots())
        slots.push_back(&slot);
    std::map<InternalTimeSignal*, unsigned int> const handles = CountHandles(slots);
    for (auto const& [object, count] : handles)
      EXPECT_EQ(object->GetReferenceCounter(), count);
    for (Slot const* const slot : slots)
      EXPECT_NO_THROW(RequireModel(*slot));
    EXPECT_EQ(liveObjects, before + static_cast<long>(handles.size()));
  }
  EXPECT_EQ(liveObjects, before);
}

TEST(TimeSignalThreads, LastOfManyReleasesDestroysTheObjectOnce)
{
  constexpr int rounds = 2000;
  long const before = liveObjects;
  std::barrier together(static_cast<std::ptrdiff_t>(kThreadCount));
  std::array<std::unique_ptr<TimeSignal>, kThreadCount> handles;
  RunThreads(
      [&](std::size_t thread)
      {
        for (int round = 0; round < rounds; ++round)
        {
          if (thread == 0)
          {
            handles.at(0) = std::make_unique<TimeSignal>(MakeSignal(kSources.front().samples));
            for (std::size_t other = 1; other < kThreadCount; ++other)
              handles.at(other) = std::make_unique<TimeSignal>(*handles.at(0));
          }
          together.arrive_and_wait();
          handles.at(thread).reset();
          together.arrive_and_wait();
        }
      });
  EXPECT_EQ(liveObjects, before);
}

TEST(TimeSignalThreads, EveryThreadGetsACopyOfItsOwnOnWrite)
{
  constexpr int rounds = 500;
  std::barrier together(static_cast<std::ptrdiff_t>(kThreadCount));
  Slot const original = MakeSlot(2);
  RunThreads(
      [&](std::size_t)
      {
        try
        {
          for (int round = 0; round < rounds; ++round)
          {
            Slot mine = original;
            together.arrive_and_wait();
            mine.signal.ExtractOffset();
            mine.model.centred = true;
            RequireModel(mine);
            Require(HandleCount(mine.signal) == 1, "a private copy has one handle");
            RequireModel(original);
          }
        }
        catch (std::exception const&)
        {
          together.arrive_and_drop();
          throw;
        }
      });
  EXPECT_EQ(HandleCount(original.signal), 1U);
}

TEST(SynchronizerThreads, GuardedCountLosesNothing)
{
  constexpr long rounds = 50'000;
  Synchronizer::Mutex mutex;
  long count = 0;
  int inside = 0;
  RunThreads(
      [&](std::size_t)
      {
        for (long round = 0; round < rounds; ++round)
          for (Synchronizer outer(mutex); outer.firstRun();)
          {
            Require(++inside == 1, "two threads behind one guard");
            Synchronizer const inner(mutex);
            ++count;
            --inside;
          }
      });
  EXPECT_EQ(count, rounds * static_cast<long>(kThreadCount));
}

// What is left when an operation fails

namespace
{
/// A change of a shared signal that runs out of memory at every possible place: nothing of it may be left.
template <class F>
void ExpectMemoryFailuresUndone(TimeSignal signal, F&& change)
{
  TimeSignal const witness = signal;
  InternalTimeSignal* const shared = ObjectOf(signal);
  unsigned int const handles = HandleCount(signal);
  long const objects = liveObjects;
  std::vector<unsigned char> const header = HeaderBytes(*signal.GetHeader());
  std::vector<unsigned char> const samples = StoredBytes(signal);
  int const failures = FailEveryAllocation([&] { change(signal); },
                                           [&]
                                           {
                                             EXPECT_EQ(ObjectOf(signal), shared);
                                             EXPECT_EQ(HandleCount(signal), handles);
                                             EXPECT_EQ(liveObjects, objects);
                                             EXPECT_EQ(HeaderBytes(*signal.GetHeader()), header);
                                             EXPECT_EQ(StoredBytes(signal), samples);
                                             EXPECT_EQ(signal.GetValidators().size(), 1U);
                                             EXPECT_EQ(signal.GetCharVals().size(), 1U);
                                             EXPECT_EQ(signal.GetTrigger().TripValue, 1);
                                           });
  EXPECT_GE(failures, 2) << "the object and its samples are allocated at least";
  EXPECT_NE(ObjectOf(signal), shared);
  EXPECT_EQ(HandleCount(witness), handles - 1);
  EXPECT_EQ(liveObjects, objects + 1);
}

TimeSignal SignalWithLists()
{
  TimeSignal signal = MakeSlot(0).signal;
  signal.AddTrigger(CountingUuid(1), 1, CountingUuid(2), "a unit that is too long for a short string");
  signal.AddValidator(CountingUuid(1), 1, CountingUuid(2), "a unit that is too long for a short string");
  signal.AddCharacteristicValue(CountingUuid(1), 1, CountingUuid(2), "a unit that is too long for a short string", 1);
  return signal;
}
} // namespace

TEST(TimeSignalMemory, ChangeOfASharedSignalThatRunsOutOfMemoryIsUndone)
{
  std::string const longUnit = "another unit that is too long for a short string";
  Uuid const uuid = CountingUuid(9);
  TimeSignal compressed = SignalWithLists();
  compressed.Compress(zlib);
  ExpectMemoryFailuresUndone(compressed, [](TimeSignal& signal) { signal.Uncompress(); });
  ExpectMemoryFailuresUndone(SignalWithLists(), [](TimeSignal& signal) { signal.Compress(gzip); });
  ExpectMemoryFailuresUndone(SignalWithLists(), [](TimeSignal& signal) { signal.Convert(data_float64_t); });
  ExpectMemoryFailuresUndone(SignalWithLists(), [](TimeSignal& signal) { signal.ExtractOffset(); });
  ExpectMemoryFailuresUndone(SignalWithLists(),
                             [&](TimeSignal& signal) { signal.AddTrigger(uuid, 2, uuid, longUnit); });
  ExpectMemoryFailuresUndone(SignalWithLists(),
                             [&](TimeSignal& signal) { signal.AddValidator(uuid, 2, uuid, longUnit); });
  ExpectMemoryFailuresUndone(SignalWithLists(),
                             [&](TimeSignal& signal) { signal.AddCharacteristicValue(uuid, 2, uuid, longUnit, 2); });
}

TEST(TimeSignalMemory, ConstructorThatRunsOutOfMemoryLeavesNothing)
{
  SignalParts parts;
  parts.unitString = "a unit that is too long for a short string";
  TimeSignal const source = SignalWithLists();
  long const blocks = liveBlocks;
  auto const expectNothingLeft = [&] { EXPECT_EQ(liveBlocks, blocks); };
  EXPECT_GE(FailEveryAllocation([&] { TimeSignal(*source.GetHeader(), parts.unitString, parts.jobDataUuid); },
                                expectNothingLeft),
            2);
  EXPECT_GE(FailEveryAllocation([&] { MakeSignal(kSources.front().samples, parts); }, expectNothingLeft), 2);
  EXPECT_GE(FailEveryAllocation([] { TimeSignal(); }, expectNothingLeft), 1);
  EXPECT_EQ(liveBlocks, blocks);
}

TEST(TimeSignalMemory, RefusedSignalsAndChangesLeaveNoObject)
{
  TimeSignal signal = SignalWithLists();
  TimeSignal const witness = signal;
  SignalParts withoutJob;
  withoutJob.jobDataUuid.ClearUuid();
  timesignal_bin_t damaged = *signal.GetHeader();
  damaged.HeaderChecksum ^= 1U;
  long const before = liveObjects;
  EXPECT_THROW(MakeSignal(kSources.front().samples, withoutJob), TimeSignalException);
  EXPECT_THROW(TimeSignal(damaged, "", CountingUuid(1)), TimeSignalException);
  EXPECT_THROW(signal.Compress(int24), TimeSignalException);
  EXPECT_THROW(signal.Convert(data_uint64_t), TypeConverterException);
  EXPECT_EQ(liveObjects, before);
}

TEST(TimeSignalMemory, FailedReadOfAFileLeavesNothing)
{
  TemporaryDirectory const folder;
  std::string const good = folder.Path("good.signal");
  std::string const cut = folder.Path("cut.signal");
  TimeSignal signal = SignalWithLists();
  TimeSignalFile::Write(good, signal, no_compression);
  TimeSignalFile::Write(cut, signal, no_compression);
  std::filesystem::resize_file(cut, 121);
  long const blocks = liveBlocks;
  EXPECT_THROW(TimeSignalFile::Read(cut), TimeSignalFileException);
  EXPECT_THROW(TimeSignalFile::Read(folder.Path("missing.signal")), TimeSignalFileException);
  EXPECT_EQ(liveBlocks, blocks);
  int const failures = FailEveryAllocation(
      [&]
      {
        std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(good));
        std::unique_ptr<unsigned char[]> const samples(record->Samples);
      },
      [&] { EXPECT_EQ(liveBlocks, blocks); });
  EXPECT_GE(failures, 2) << "the record and its samples are allocated at least";
  EXPECT_EQ(liveBlocks, blocks);
}

// The harness itself: which calls it makes fail, and that it finds what operations do wrong when memory fails. Every
// operation here is one that it must find wanting.

#include "failing_memory/Scenario.h"
#include "platform/Compression.h"
#include "platform/Options.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/Synchronizer.h"
#include "support/TemporaryDirectory.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
/// Whether an operation gets no memory when none is to be had, and gets it otherwise.
template <class Allocate, class Release>
void ExpectFails(char const* name, Allocate allocate, Release release)
{
  long const blocks = HeldBlocks();
  MemoryFailure failure(1, FailureSpan::kOnce);
  auto* const refused = allocate();
  auto* const given = allocate();
  failure.End();
  long const held = HeldBlocks() - blocks;
  EXPECT_EQ(refused, nullptr) << name;
  EXPECT_NE(given, nullptr) << name;
  EXPECT_EQ(failure.Failures(), 1U) << name;
  EXPECT_GE(failure.Calls(), 2U) << name;
  EXPECT_GE(held, 1) << name;
  if (given != nullptr)
    release(given);
  EXPECT_EQ(HeldBlocks(), blocks) << name;
}

/// Hides an operation from the optimiser, which may leave out an allocation that nobody looks at.
template <class T>
T* Seen(T* pointer)
{
  T* volatile seen = pointer;
  return seen;
}

template <class F>
void* NullOnBadAlloc(F&& allocate)
{
  try
  {
    return Seen(allocate());
  }
  catch (std::bad_alloc const&)
  {
    return nullptr;
  }
}

struct alignas(256) Aligned
{
  unsigned char bytes[256];
};

/// How many calls an operation makes beside those of operator new.
template <class F>
long CallsBesideNew(F&& operation)
{
  long const newBlocks = madeBlocks;
  MemoryFailure none(0, FailureSpan::kOnce);
  operation();
  none.End();
  return static_cast<long>(none.Calls()) - (madeBlocks - newBlocks);
}

/// A text, and where operations do their damage.
struct Notes
{
  std::string text;
};

Scenario<Notes> ScenarioOf(std::function<void(Notes&)> act)
{
  return {
      .make = [] { return Notes{"before"}; }, .act = std::move(act), .see = [](Notes& notes) { return notes.text; }};
}

void Allocate() { std::make_unique<std::vector<int>>(100); }

/// Whether the report holds a finding with this text for each way to fail.
void ExpectFound(ScenarioReport const& report, std::string const& text)
{
  for (char const* const span : {" failed once: ", " and all later failed: "})
  {
    bool isFound = false;
    for (std::string const& finding : report.findings)
      isFound = isFound || (finding.find(span) != std::string::npos && finding.find(text) != std::string::npos);
    EXPECT_TRUE(isFound) << "nothing found of:" << span << text;
  }
}
} // namespace

TEST(FailingMemory, EveryCallOfTheCLibraryFails)
{
  ExpectFails(
      "malloc", [] { return Seen(std::malloc(100)); }, &std::free);
  ExpectFails(
      "calloc", [] { return Seen(std::calloc(10, 10)); }, &std::free);
  ExpectFails(
      "realloc", [] { return Seen(std::realloc(nullptr, 10)); }, &std::free);
  ExpectFails(
      "memalign", [] { return Seen(memalign(64, 100)); }, &std::free);
  ExpectFails(
      "aligned_alloc", [] { return Seen(std::aligned_alloc(64, 128)); }, &std::free);
  ExpectFails(
      "posix_memalign",
      []
      {
        void* block = nullptr;
        return posix_memalign(&block, 64, 100) == 0 ? block : nullptr;
      },
      &std::free);
  ExpectFails(
      "fopen", [] { return std::fopen("/dev/null", "rb"); }, &std::fclose);
}

TEST(FailingMemory, BlockThatCannotGrowStays)
{
  auto* const block = static_cast<char*>(std::malloc(10));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "contents", 9);
  // The compiler takes a block that went through realloc for gone.
  char* const volatile same = block;
  long const blocks = HeldBlocks();
  MemoryFailure failure(1, FailureSpan::kPersistently);
  void* const refused = std::realloc(block, 100000);
  failure.End();
  EXPECT_EQ(refused, nullptr);
  EXPECT_STREQ(same, "contents");
  auto* const grown = static_cast<char*>(std::realloc(same, 100000));
  EXPECT_STREQ(grown, "contents");
  EXPECT_EQ(HeldBlocks(), blocks);
  std::free(grown);
  EXPECT_EQ(HeldBlocks(), blocks - 1);
}

TEST(FailingMemory, EveryFormOfOperatorNewFails)
{
  auto const release = [](auto releaseTyped) { return [releaseTyped](void* block) { releaseTyped(block); }; };
  ExpectFails(
      "new", [] { return NullOnBadAlloc([] { return ::operator new(10); }); },
      release([](void* block) { ::operator delete(block); }));
  ExpectFails(
      "new[]", [] { return NullOnBadAlloc([] { return ::operator new[](10); }); },
      release([](void* block) { ::operator delete[](block); }));
  ExpectFails(
      "new that does not throw", [] { return Seen(::operator new(10, std::nothrow)); },
      release([](void* block) { ::operator delete(block); }));
  ExpectFails(
      "new[] that does not throw", [] { return Seen(::operator new[](10, std::nothrow)); },
      release([](void* block) { ::operator delete[](block); }));
  std::align_val_t const alignment{256};
  ExpectFails(
      "aligned new", [&] { return NullOnBadAlloc([&] { return ::operator new(10, alignment); }); },
      release([&](void* block) { ::operator delete(block, alignment); }));
  ExpectFails(
      "aligned new[]", [&] { return NullOnBadAlloc([&] { return ::operator new[](10, alignment); }); },
      release([&](void* block) { ::operator delete[](block, alignment); }));
  ExpectFails(
      "aligned new that does not throw", [&] { return Seen(::operator new(10, alignment, std::nothrow)); },
      release([&](void* block) { ::operator delete(block, alignment); }));
  ExpectFails(
      "aligned new[] that does not throw", [&] { return Seen(::operator new[](10, alignment, std::nothrow)); },
      release([&](void* block) { ::operator delete[](block, alignment); }));
}

TEST(FailingMemory, BlocksAreAlignedAsTheyAreAskedFor)
{
  auto const aligned = std::make_unique<Aligned>();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned.get()) % 256, 0U);
  auto const ordinary = std::make_unique<std::max_align_t>();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(ordinary.get()) % alignof(std::max_align_t), 0U);
}

TEST(FailingMemory, OnceIsOneCallAndPersistentlyAllFromThereOn)
{
  auto const pattern = [](unsigned long first, FailureSpan span)
  {
    char signs[6] = "";
    MemoryFailure failure(first, span);
    for (int i = 0; i < 5; ++i)
    {
      void* const block = Seen(std::malloc(10));
      signs[i] = block == nullptr ? '-' : '+';
      std::free(block);
    }
    failure.End();
    return std::string(signs);
  };
  EXPECT_EQ(pattern(1, FailureSpan::kOnce), "-++++");
  EXPECT_EQ(pattern(3, FailureSpan::kOnce), "++-++");
  EXPECT_EQ(pattern(3, FailureSpan::kPersistently), "++---");
  EXPECT_EQ(pattern(6, FailureSpan::kPersistently), "+++++");
  EXPECT_EQ(pattern(0, FailureSpan::kOnce), "+++++");
}

TEST(FailingMemory, ReachesCodecXmlReaderAndFileStreams)
{
  std::vector<unsigned char> const bytes(100, 7);
  EXPECT_GT(CallsBesideNew(
                [&]
                {
                  int size = 0;
                  std::unique_ptr<unsigned char[]> const stream(
                      CompressionZLib(-1).compress(static_cast<unsigned int>(bytes.size()), bytes.data(), size));
                }),
            0);
  EXPECT_GT(CallsBesideNew([] { Options().parse("<a>text</a>"); }), 0);
  TemporaryDirectory const directory;
  EXPECT_GT(CallsBesideNew([&] { std::ofstream(directory.Path("file")) << "text"; }), 0);
}

TEST(FailingMemory, OtherThreadsAllocateUndisturbed)
{
  std::vector<std::unique_ptr<int>> made(1);
  OtherThread other([&] { made[0] = std::make_unique<int>(1); });
  MemoryFailure failure(1, FailureSpan::kPersistently);
  bool const manages = other.Manages(std::chrono::seconds(60));
  failure.End();
  EXPECT_TRUE(manages);
  EXPECT_NE(made[0], nullptr);
}

TEST(FailingMemory, LockThatIsLeftLockedIsFound)
{
  Synchronizer::Mutex mutex;
  OtherThread other([&] { Synchronizer const guard(mutex); });
  EXPECT_TRUE(other.Manages(std::chrono::seconds(60)));
  {
    Synchronizer const held(mutex);
    EXPECT_FALSE(other.Manages(std::chrono::milliseconds(50)));
  }
  EXPECT_TRUE(OtherThreadsCanUseTimeSignals());
}

TEST(FailingMemoryScenario, SoundOperationEnduresAndItsFailuresAreCounted)
{
  ScenarioReport const report = RunScenario(ScenarioOf(
      [](Notes& notes)
      {
        auto const first = std::make_unique<int>(1);
        auto const second = std::make_unique<int>(2);
        notes.text = "after";
      }));
  EXPECT_EQ(report.findings, std::vector<std::string>());
  EXPECT_EQ(report.attemptsOnce, 2U);
  EXPECT_EQ(report.attemptsPersistently, 2U);
  // The exceptions ask for memory of their own.
  EXPECT_EQ(report.failedCalls, 2 + (2 + 2));
}

TEST(FailingMemoryScenario, OperationWithoutAllocationsReachesNothing)
{
  ScenarioReport const report = RunScenario(ScenarioOf([](Notes& notes) { notes.text = "after"; }));
  EXPECT_EQ(report.attemptsOnce, 0U);
  EXPECT_EQ(report.attemptsPersistently, 0U);
}

TEST(FailingMemoryScenario, SwallowedFailureIsFound)
{
  ExpectFound(RunScenario(ScenarioOf(
                  [](Notes& notes)
                  {
                    try
                    {
                      Allocate();
                      notes.text = "all of it";
                    }
                    catch (std::bad_alloc const&)
                    {
                      notes.text = "part of it";
                    }
                  })),
              "came through with another result");
}

TEST(FailingMemoryScenario, DocumentThatAStreamCutIsFound)
{
  Scenario<Notes> scenario = ScenarioOf(
      [](Notes& notes)
      {
        std::stringstream stream;
        for (int i = 0; i < 100; ++i)
          stream << "line of a document\n";
        notes.text.assign(stream.view());
      });
  scenario.make = []
  {
    Notes notes;
    notes.text.reserve(10000);
    return notes;
  };
  ExpectFound(RunScenario(scenario), "came through with another result");
}

TEST(FailingMemoryScenario, LeakIsFound)
{
  static std::vector<std::unique_ptr<int>> lost;
  lost.reserve(1000);
  ExpectFound(RunScenario(ScenarioOf(
                  [](Notes& notes)
                  {
                    auto first = std::make_unique<int>(1);
                    try
                    {
                      Allocate();
                    }
                    catch (std::bad_alloc const&)
                    {
                      lost.push_back(std::move(first));
                      throw;
                    }
                    notes.text = "after";
                  })),
              "leaks 1 blocks, 0 of them signals");
  lost.clear();
}

TEST(FailingMemoryScenario, LeakedSignalIsFound)
{
  static std::vector<std::unique_ptr<InternalTimeSignal>> lost;
  lost.reserve(1000);
  ExpectFound(RunScenario(ScenarioOf(
                  [](Notes& notes)
                  {
                    auto signal = std::make_unique<InternalTimeSignal>();
                    try
                    {
                      Allocate();
                    }
                    catch (std::bad_alloc const&)
                    {
                      lost.push_back(std::move(signal));
                      throw;
                    }
                    notes.text = "after";
                  })),
              "leaks 1 blocks, 1 of them signals");
  lost.clear();
}

TEST(FailingMemoryScenario, LeakOfTheCLibrarysMemoryIsFound)
{
  static std::vector<void*> lost;
  lost.reserve(1000);
  ExpectFound(RunScenario(ScenarioOf(
                  [](Notes&)
                  {
                    void* const block = Seen(std::malloc(10));
                    if (block == nullptr)
                      throw std::bad_alloc();
                    void* const second = Seen(std::malloc(10));
                    if (second == nullptr)
                    {
                      lost.push_back(block);
                      throw std::bad_alloc();
                    }
                    std::free(block);
                    std::free(second);
                  })),
              "leaks 1 blocks");
  for (void* const block : lost)
    std::free(block);
}

TEST(FailingMemoryScenario, StateThatIsLeftHalfChangedIsFound)
{
  ExpectFound(RunScenario(ScenarioOf(
                  [](Notes& notes)
                  {
                    notes.text = "half";
                    Allocate();
                    notes.text = "after";
                  })),
              "failed and left the state changed");
}

TEST(FailingMemoryScenario, MemoryThatAFailedOperationHoldsOnToIsFound)
{
  struct Hoard
  {
    std::string text;
    std::vector<std::unique_ptr<int>> blocks;
  };
  Scenario<Hoard> const scenario{.make =
                                     []
                                 {
                                   Hoard hoard;
                                   hoard.blocks.reserve(10);
                                   return hoard;
                                 },
                                 .act =
                                     [](Hoard& hoard)
                                 {
                                   hoard.blocks.push_back(std::make_unique<int>(1));
                                   Allocate();
                                   hoard.blocks.clear();
                                   hoard.text = "after";
                                 },
                                 .see = [](Hoard& hoard) { return hoard.text; }};
  ExpectFound(RunScenario(scenario), "holds 1 blocks more after the failure");
}

TEST(FailingMemoryScenario, UnexpectedExceptionIsFound)
{
  ExpectFound(RunScenario(ScenarioOf(
                  [](Notes&)
                  {
                    try
                    {
                      Allocate();
                    }
                    catch (std::bad_alloc const&)
                    {
                      throw 1;
                    }
                  })),
              "ends with an unknown exception");
}

TEST(FailingMemoryScenario, OperationThatDoesNotRecoverIsFound)
{
  static bool hasFailed;
  hasFailed = false;
  auto const act = [](Notes& notes)
  {
    try
    {
      Allocate();
      notes.text = hasFailed ? "after a failure" : "after";
    }
    catch (std::bad_alloc const&)
    {
      hasFailed = true;
      throw;
    }
  };
  Scenario<Notes> scenario = ScenarioOf(act);
  scenario.make = []
  {
    hasFailed = false;
    return Notes{"before"};
  };
  ExpectFound(RunScenario(scenario), "the same call gives another result afterwards");
}

TEST(FailingMemoryScenario, OperationThatNeverComesThroughIsFound)
{
  static unsigned long runs;
  runs = 0;
  ScenarioReport const report = RunScenario(ScenarioOf(
      [](Notes&)
      {
        if (++runs > 2)
          throw 1;
      }));
  EXPECT_FALSE(report.findings.empty());
}

TEST(FailingMemoryScenario, OperationWithoutARepeatableResultIsFound)
{
  static int number;
  number = 0;
  ScenarioReport const report = RunScenario(ScenarioOf([](Notes& notes) { notes.text = std::to_string(++number); }));
  ASSERT_FALSE(report.findings.empty());
  EXPECT_EQ(report.findings.front(), "undisturbed runs differ");
}

// What a run asks before it replaces anything. The checks of store/ThinningCheck.h are replaced in this program,
// because no thinning that does what it should ever fails one: here each of them writes down what it is asked, and
// refuses when it is told to.

#include "store/ThinningCheck.h"

#include "signalprocessing/io/file/Trend.h"
#include "store/RetentionLedger.h"
#include "store/RetentionSimulation.h"
#include "support/ClassicStream.h"
#include "support/Expectations.h"
#include "support/StoreSupport.h"
#include "utilities/exception/ExceptionFactory.h"

#include <gtest/gtest.h>
#include <map>

namespace
{
constexpr char const kRefusal[] = "this check refuses";

/// Everything that was asked since the last Reset, and the question that is refused.
class Questions
{
public:
  void Reset(std::string const& refusedCheck = "", std::size_t refusedTime = 1)
  {
    asked_.clear();
    counts_.clear();
    refusedCheck_ = refusedCheck;
    refusedTime_ = refusedTime;
  }

  void Ask(std::string const& check, std::string const& about)
  {
    asked_.push_back(check + about);
    if (++counts_[check] == refusedTime_ && check == refusedCheck_)
      throw ExceptionFactory("RetentionChecksTest.cpp", __LINE__).createException<TrendException>("%s", kRefusal);
  }

  std::vector<std::string> const& Asked() const { return asked_; }
  std::size_t Count(std::string const& check) const { return counts_.at(check); }

private:
  std::vector<std::string> asked_;
  std::map<std::string, std::size_t> counts_;
  std::string refusedCheck_;
  std::size_t refusedTime_ = 1;
};

Questions questions;

/// Minutes after the start; microseconds behind a full minute are told beside it.
std::string minute(long long time)
{
  ClassicStream text;
  text << ' ' << (time - kStoreStart) / kMinute;
  if (long long const rest = (time - kStoreStart) % kMinute; rest != 0)
    text << '+' << rest;
  return text.str();
}

std::string minutes(ThinningCheck::Entries entries)
{
  std::string text;
  for (trend_entry_t const& entry : entries)
    text += minute(entry.TimeStamp);
  return text;
}

std::string text(ThinningStretch const& stretch)
{
  ClassicStream text;
  text << " from" << minute(stretch.from) << " to" << minute(stretch.to) << " by " << stretch.periodLength / kMinute
       << " with " << stretch.count;
  return text.str();
}
} // namespace

void ThinningCheck::RequireOrder(Entries entries) { questions.Ask("order", minutes(entries)); }

void ThinningCheck::RequireSubset(Entries before, Entries after)
{
  questions.Ask("subset", minutes(before) + " >" + minutes(after));
}

void ThinningCheck::RequireYoung(Entries before, Entries after, long long youngFrom)
{
  questions.Ask("young", minutes(before) + " >" + minutes(after) + " from" + minute(youngFrom));
}

void ThinningCheck::RequireRepresented(Entries before, Entries after, ThinningStretch const& stretch)
{
  questions.Ask("represented", minutes(before) + " >" + minutes(after) + text(stretch));
}

void ThinningCheck::RequirePinned(Entries before, Entries after, ThinningStretch const& stretch,
                                  std::span<long long const> pins)
{
  std::string about = minutes(before) + " >" + minutes(after) + text(stretch) + " pins";
  for (long long const pin : pins)
    about += minute(pin);
  questions.Ask("pinned", about);
}

namespace
{
constexpr long long kNow = kStoreStart + 3 * kHour;

std::vector<EntryBytes> entriesAt(std::vector<long long> const& times)
{
  std::vector<EntryBytes> entries;
  for (long long const time : times)
    entries.push_back(MarkedEntry(kStoreStart + time * kMinute, 1, static_cast<unsigned int>(time)));
  return entries;
}

/// Two hours that are of age, with centres at 30 and 90, and one that is not; 61 is pinned.
void fill(RetentionStore& store)
{
  store.Put(entriesAt({0, 30, 35}));
  store.Put(entriesAt({61, 62, 91, 130, 175}));
  store.PutValues({kStoreStart + 61 * kMinute});
  questions.Reset();
}

constexpr ShrinkSettings kOneAnHour{1000, 366, 1, 1, 1, 1};

void expectNothingIsDone(RetentionStore& store, StoredRows const& before)
{
  EXPECT_TRUE(store.Rows() == before);
  auto const ledger = RetentionLedger(store.database, store.device, store.value).Look();
  EXPECT_TRUE(ledger && !ledger->anchor);
}

/// Whole days, each thinned on its evening but the last one, with which small trends will be joined for the first time.
/// @return the evening of that day
long long liveUntilTheJoin(RetentionStore& store)
{
  long long evening = kStoreStart;
  for (unsigned int day = 1; day <= 60; ++day)
  {
    EXPECT_EQ(store.Run(evening).error, "");
    store.Put(EntriesEvery(kHour, evening, evening + kDay, 1, 24 * day));
    evening += kDay;
  }
  return evening;
}
} // namespace

TEST(RetentionChecks, RunAsksEachOfThemAboutWhatItHasThinned)
{
  RetentionStore store(kOneAnHour);
  fill(store);
  ASSERT_EQ(store.Run(kNow).error, "");
  EXPECT_EQ(questions.Asked(),
            (std::vector<std::string>{"order 0 30 35", "order 61 62 91 130 175",
                                      "represented 0 30 35 61 62 91 > 30 61 from 0 to 120 by 60 with 1",
                                      "pinned 0 30 35 61 62 91 > 30 61 from 0 to 120 by 60 with 1 pins 61",
                                      "subset 0 30 35 61 62 91 130 175 > 30 61 130 175",
                                      "young 0 30 35 61 62 91 130 175 > 30 61 130 175 from 120+1"}));
}

TEST(RetentionChecks, EachStretchIsAskedAboutByItself)
{
  RetentionStore store({1000, 366, 1, 2, 1, 1});
  // A day of the day's class and two hours of the next day.
  store.Put(entriesAt({0, 360, 1080, 1081, 1440, 1470, 1500}));
  questions.Reset();
  ASSERT_EQ(store.Run(kStoreStart + 2 * kDay).error, "");
  EXPECT_EQ(questions.Asked(),
            (std::vector<std::string>{"order 0 360 1080 1081 1440 1470 1500",
                                      "represented 0 360 1080 1081 > 360 1080 from 0 to 1440 by 1440 with 2",
                                      "pinned 0 360 1080 1081 > 360 1080 from 0 to 1440 by 1440 with 2 pins",
                                      "represented 1440 1470 1500 > 1470 1500 from 1440 to 2820 by 60 with 1",
                                      "pinned 1440 1470 1500 > 1470 1500 from 1440 to 2820 by 60 with 1 pins",
                                      "subset 0 360 1080 1081 1440 1470 1500 > 360 1080 1470 1500",
                                      "young 0 360 1080 1081 1440 1470 1500 > 360 1080 1470 1500 from 2820+1"}));
}

TEST(RetentionChecks, RefusalOfAnyLeavesTheValueAsItWas)
{
  for (std::string const check : {"order", "represented", "pinned", "subset", "young"})
  {
    SCOPED_TRACE(check);
    RetentionStore store(kOneAnHour);
    fill(store);
    StoredRows const before = store.Rows();
    questions.Reset(check);
    EXPECT_EQ(store.Run(kNow).error, kRefusal);
    expectNothingIsDone(store, before);
    questions.Reset();
    EXPECT_EQ(store.Run(kNow).error, "");
    EXPECT_EQ(store.Times().size(), 4U);
  }
}

TEST(RetentionChecks, RefusalOfAnyIsThrownWhenARunIsExplained)
{
  for (std::string const check : {"order", "represented", "pinned", "subset", "young"})
  {
    SCOPED_TRACE(check);
    RetentionStore store(kOneAnHour);
    fill(store);
    RetentionSimulation simulation(store.database, store.device, store.value);
    store.settings.now = kNow;
    questions.Reset(check);
    ExpectThrow<TrendException>([&] { simulation.Explain(store.settings); }, kRefusal, "RetentionChecksTest.cpp");
  }
}

TEST(RetentionChecks, JoinedTrendsAreAskedAboutToo)
{
  // The 60th run thins the days that have come of age, and then joins 32 small trends: each is checked as a whole.
  RetentionStore store({40, 366, 1, 2, 2, 2});
  long long const evening = liveUntilTheJoin(store);
  StoredRows const before = store.Rows();
  questions.Reset("subset", 2);
  EXPECT_EQ(store.Run(evening).error, kRefusal);
  EXPECT_TRUE(store.Rows() == before);
  questions.Reset();
  EXPECT_EQ(store.Run(evening).error, "");
  EXPECT_EQ(questions.Count("subset"), 2U);
  EXPECT_EQ(questions.Count("young"), 2U);
  EXPECT_EQ(store.Rows().size(), before.size() - 32 + 2);
}

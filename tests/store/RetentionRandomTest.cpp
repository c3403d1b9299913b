// Random series, settings, run times, late and open trends: after each run the store must hold what a model without a
// ledger leaves.

#include "store/RetentionLedger.h"
#include "support/Dice.h"
#include "support/RetentionModel.h"
#include "support/StoreSupport.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <set>

namespace
{
/// One store that lives for some weeks, with its model beside it.
class RandomStore
{
public:
  explicit RandomStore(unsigned int seed) : dice_(seed)
  {
    chooseCounts();
    store_.Configure(counts_);
    hasPins_ = dice_.OneIn(2);
    store_.settings.keepPeaks = hasPins_ && dice_.OneIn(2);
    step_ = dice_.Of(std::array{7 * kMinute, 20 * kMinute, 45 * kMinute, 3 * kHour}) + dice_.Below(3) * kSecond;
    newest_ = kStoreStart + dice_.Below(kDay);
    now_ = newest_;
  }

  void Live()
  {
    for (long long rounds = dice_.Between(3, 7); rounds > 0 && !testing::Test::HasFailure(); --rounds)
    {
      record();
      if (dice_.OneIn(3))
        arriveLate();
      if (hasPins_ && dice_.OneIn(2))
        pin();
      if (dice_.OneIn(8))
        change();
      run();
      if (dice_.OneIn(3))
        setClockBack();
    }
  }

private:
  void chooseCounts()
  {
    // Counts that nest, so that a clock that was set back has nothing to undo, and a changed count neither.
    unsigned int const fourWeeks = dice_.Of(std::array{1U, 2U, 6U});
    unsigned int const week = fourWeeks * dice_.Of(std::array{1U, 2U, 4U});
    unsigned int const day = week * dice_.Of(std::array{1U, 3U});
    counts_ = {
        static_cast<unsigned int>(dice_.Between(40, 300)), 1, dice_.Of(std::array{0U, 3U, 6U}), day, week, fourWeeks};
    if (dice_.OneIn(5))
      counts_.perDayOlderThanOneWeek = 0;
    if (dice_.OneIn(8))
      counts_.perDayOlderThanFourWeeks = 0;
  }

  EntryBytes entryAt(long long time)
  {
    return MarkedEntry(time, dice_.Of(std::array<unsigned char, 8>{1, 1, 1, 2, 3, 0, 4, 1}),
                       static_cast<unsigned int>(dice_.Below(1000000)));
  }

  /// Another entry of the same time. Which of the two can be pinned depends on their order, which thinning may change
  /// when their statuses differ; and when it keeps the second one, that can be a peak from then on.
  EntryBytes twinOf(EntryBytes const& entry)
  {
    EntryBytes twin = entryAt(TimeOf(entry));
    if (hasPins_)
      twin.at(EntryField::kStatus) = StatusOf(entry);
    return twin;
  }

  /// A series that goes on from the newest entry, some of it with equal time stamps, in trends of any size.
  void record()
  {
    long long const end = newest_ + dice_.Of(std::array{kHour, 5 * kHour, kDay, 3 * kDay, 16 * kDay});
    std::vector<EntryBytes> entries;
    while (newest_ < end && entries.size() < 400)
    {
      newest_ += dice_.OneIn(40) ? dice_.Below(2 * kDay) : step_ + dice_.Below(kSecond);
      entries.push_back(entryAt(newest_));
      if (!store_.settings.keepPeaks && dice_.OneIn(15))
        entries.push_back(twinOf(entries.back()));
    }
    now_ = std::max(now_, newest_) + dice_.Below(dice_.OneIn(4) ? 30 * kDay : 3 * kHour);
    closeOpenTrend(entries);
    std::size_t const size = static_cast<std::size_t>(dice_.Between(5, 150));
    for (std::size_t at = 0; at < entries.size(); at += size)
      put({entries.begin() + at, entries.begin() + std::min(entries.size(), at + size)});
  }

  /// The open trend takes the first of the new entries before it is closed; now and then the last are left open.
  void closeOpenTrend(std::vector<EntryBytes>& entries)
  {
    if (open_ && dice_.OneIn(2))
    {
      store_.PutAs(*open_, true);
      closed_.insert(closed_.end(), open_->entries.begin(), open_->entries.end());
      remember(open_->entries);
      open_.reset();
    }
    if (!open_ && dice_.OneIn(2))
    {
      std::size_t const count = std::min<std::size_t>(entries.size(), static_cast<std::size_t>(dice_.Between(1, 40)));
      open_ = TrendWith({entries.end() - count, entries.end()});
      open_->trendUuid = store_.NextUuid();
      entries.resize(entries.size() - count);
      store_.PutAs(*open_, false);
    }
  }

  void put(std::vector<EntryBytes> const& entries)
  {
    store_.Put(entries);
    closed_.insert(closed_.end(), entries.begin(), entries.end());
    remember(entries);
  }

  void remember(std::vector<EntryBytes> const& entries) { raw_.insert(entries.begin(), entries.end()); }

  /// Before the first period, in the middle, between any others.
  void arriveLate()
  {
    long long const from = kStoreStart - 3 * kDay;
    long long time = from + dice_.Below(std::max(kHour, newest_ - from));
    std::vector<EntryBytes> entries;
    for (long long count = dice_.Between(1, 30); count > 0 && time < newest_; --count)
    {
      entries.push_back(entryAt(time));
      time += 1 + dice_.Below(step_);
    }
    if (!entries.empty())
      put(entries);
  }

  void pin()
  {
    for (long long count = dice_.Between(1, 20); count > 0 && !closed_.empty(); --count)
    {
      long long const time = TimeOf(closed_[static_cast<std::size_t>(dice_.Below(closed_.size()))]);
      long long const wanted = time + (dice_.OneIn(3) ? dice_.Between(-1, 1) * kSecond / 3 : 0);
      if (dice_.OneIn(2))
        store_.PutValues({wanted});
      else
        store_.database.PutBookmark(store_.device, store_.value, wanted);
      pins_.push_back(wanted);
    }
  }

  void change()
  {
    counts_.perDayOlderThanFourWeeks = dice_.Of(std::array{1U, 2U});
    store_.Configure(counts_);
  }

  void setClockBack() { now_ -= dice_.Below(12 * kHour); }

  void run()
  {
    SCOPED_TRACE("run at " + std::to_string(now_ - kStoreStart));
    StoredRows const openBefore = store_.Rows(false);
    ASSERT_EQ(store_.Run(now_).error, "");
    closed_ = model();
    std::vector<EntryBytes> const left = store_.Entries();
    ASSERT_EQ(TextOf(left), TextOf(Ordered(closed_)));
    ASSERT_TRUE(left == Ordered(closed_));
    for (EntryBytes const& entry : closed_)
      ASSERT_EQ(raw_.count(entry), 1U);
    ASSERT_TRUE(store_.Rows(false) == openBefore);
    for (auto const& [uuid, row] : store_.Rows(true))
      ASSERT_LE(row.count, std::max<std::size_t>(counts_.maxSize, 150));
    StoredRows const after = store_.Rows();
    RetentionResult const again = store_.Run(now_);
    ASSERT_EQ(again.error, "");
    ASSERT_EQ(again.before.trends + again.after.trends, 0U);
    ASSERT_TRUE(store_.Rows() == after);
  }

  std::vector<EntryBytes> model()
  {
    // As trends follow each other: what was put first comes first among equal time stamps.
    std::stable_sort(closed_.begin(), closed_.end(),
                     [](EntryBytes const& a, EntryBytes const& b) { return TimeOf(a) < TimeOf(b); });
    std::optional<long long> const anchor = readAnchor();
    if (!anchor)
      return closed_;
    RetentionModel model{counts_, *anchor, std::nullopt, pins_, store_.settings.keepPeaks};
    if (open_)
      model.openFrom = open_->First();
    return model.Thin(now_, closed_);
  }

  /// It must be the first entry of the first run that has something to do, and stay for ever.
  std::optional<long long> readAnchor()
  {
    auto const ledger = RetentionLedger(store_.database, store_.device, store_.value).Look();
    std::optional<long long> const found = ledger ? ledger->anchor : std::nullopt;
    if (anchor_ || found)
    {
      EXPECT_EQ(found, anchor_.value_or(TimeOf(closed_.front())));
    }
    return anchor_ = found;
  }

  Dice dice_;
  RetentionStore store_;
  ShrinkSettings counts_;
  bool hasPins_ = false;
  long long step_ = 0;
  long long newest_ = 0;
  long long now_ = 0;
  std::vector<EntryBytes> closed_; // what the model says
  std::optional<TrendParts> open_;
  std::vector<long long> pins_;
  std::optional<long long> anchor_;
  std::set<EntryBytes> raw_;
};
} // namespace

TEST(RetentionRandom, StoresHoldWhatAModelWithoutALedgerLeaves)
{
  for (unsigned int seed = 1; seed <= 200 && !HasFailure(); ++seed)
  {
    SCOPED_TRACE("case " + std::to_string(seed));
    RandomStore(seed).Live();
  }
}

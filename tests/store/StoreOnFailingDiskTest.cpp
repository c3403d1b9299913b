// A store's file when calls on it fail, and when the power goes: what is found afterwards is sound, and each
// transaction is in it wholly or not at all.
#include "store/DatabaseException.h"
#include "store/DeviceDatabase.h"
#include "store/RetentionRun.h"
#include "support/FailingVfs.h"
#include "support/StoreSupport.h"
#include "support/StoredObjects.h"
#include "support/TemporaryDirectory.h"

#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>

namespace
{
constexpr unsigned long kStride = QEN_STORE_FAULTS_STRIDE;
constexpr char const kFileName[] = "store.db";

Uuid const kDevice = NumberedUuid(0xd1);
Uuid const kValue = NumberedUuid(0xc1);

/// A trend of more than one page; its generation is in its record and in its details.
TrendDataDO trend(unsigned int number, unsigned int generation)
{
  TrendDataDO object = MakeTrend(NumberedUuid(number), kValue, true, 10 * number, 10 * number + 5, generation);
  object.setData(NumberedBytes(6000, 100 * number + generation));
  object.setTrendDataDetails("generation " + std::to_string(generation));
  return object;
}

MeasurementDataDO measurement(unsigned int number)
{
  MeasurementDataDO object = MakeMeasurement(NumberedUuid(number), number);
  object.setBinaryData(NumberedBytes(9000, number));
  return object;
}

void append(std::string& text, std::string const& details, std::vector<unsigned char> const& record)
{
  text += " " + details + " ";
  text.append(record.begin(), record.end());
}

/// All that is in a store of the device.
std::string contentOf(DeviceDatabase& database)
{
  std::string text;
  for (Uuid const& device : database.ListDevices())
    text += "device " + device.ToString() + " " + database.FindDevice(device)->getDeviceDetails() + "\n";
  for (TrendSummary const& summary : database.ListTrends(kDevice))
  {
    TrendDataDO const object = *database.FindTrend(kDevice, summary.trend);
    text += "trend " + summary.trend.ToString() + " " + std::to_string(object.getNumSamples());
    append(text, object.getTrendDataDetails(), object.getData());
  }
  for (MeasurementSummary const& summary : database.ListMeasurements(kDevice))
  {
    MeasurementDataDO const object = *database.FindMeasurement(kDevice, summary.measurement);
    text += "measurement " + summary.measurement.ToString();
    append(text, object.getMeasurementDataDetails(), object.getBinaryData());
  }
  return text;
}

void putSeveral(DeviceDatabase& database)
{
  DeviceDatabase::Transaction transaction(database);
  database.PutTrend(kDevice, trend(1, 9));
  database.PutTrend(kDevice, trend(5, 1));
  database.DeleteTrend(kDevice, NumberedUuid(2));
  database.PutMeasurement(kDevice, measurement(6));
  transaction.Commit();
}

/// What a run of retention reports instead of throwing.
struct FailedRun : std::runtime_error
{
  using std::runtime_error::runtime_error;
};

class StoreOnFailingDisk : public testing::Test
{
protected:
  using Action = std::function<void(DeviceDatabase&)>;
  using Content = std::function<std::string(DeviceDatabase&)>;

  /// @param contentOf what of a store must be wholly old or wholly new
  explicit StoreOnFailingDisk(Content contentOfStore = &contentOf) : contentOf_(std::move(contentOfStore)) {}

  static std::string UrlIn(TemporaryDirectory const& folder) { return "sqlite:" + folder.Path(kFileName); }

  void Prepare(Action const& action)
  {
    TemporaryDirectory const folder;
    {
      DeviceDatabase database(UrlIn(folder));
      action(database);
    }
    prepared_ = ReadFile(folder.Path(kFileName));
  }

  /// Lets every call fail that the action makes, also when a store is opened for it and closed, in all ways.
  void LetEveryCallFail(Action const& action)
  {
    std::string const before = ContentAfter([](DeviceDatabase&) {});
    std::string const after = ContentAfter(action);
    for (FailingVfs::Fault const fault : {FailingVfs::Fault::ioError, FailingVfs::Fault::full})
      for (bool const forEver : {false, true})
        for (unsigned long call = 1; Inject(call, fault, forEver, action, before, after); call += kStride)
        {
        }
    std::cout << "failed calls:";
    for (int kind = 0; kind < static_cast<int>(FailingVfs::Kind::count); ++kind)
      std::cout << " " << NameOf(static_cast<FailingVfs::Kind>(kind)) << " "
                << disk_.Injected(static_cast<FailingVfs::Kind>(kind));
    std::cout << "; runs " << runs_ << ", of which " << succeeded_ << " went well, " << stored_
              << " failed and yet stored all\n";
    EXPECT_GT(runs_ * kStride, 40u);
    EXPECT_GT(runs_, succeeded_);
  }

  unsigned long Failed(FailingVfs::Kind kind) const { return disk_.Injected(kind); }

private:
  std::string ContentAfter(Action const& action)
  {
    TemporaryDirectory const folder;
    Restore(folder);
    DeviceDatabase database(UrlIn(folder));
    action(database);
    return contentOf_(database);
  }

  void Restore(TemporaryDirectory const& folder) const
  {
    if (!prepared_.empty())
      WriteFile(folder.Path(kFileName), prepared_);
  }

  bool Attempt(std::string const& url, Action const& action)
  {
    try
    {
      DeviceDatabase database(url);
      action(database);
      return true;
    }
    catch (DatabaseException const& exception)
    {
      EXPECT_EQ(exception.getFile(), "SqliteConnection.cpp") << exception.what();
      EXPECT_STRNE(exception.what(), "");
      return false;
    }
    catch (FailedRun const& failed)
    {
      EXPECT_STRNE(failed.what(), "");
      return false;
    }
  }

  /// @return whether any call failed
  bool Inject(unsigned long call, FailingVfs::Fault fault, bool forEver, Action const& action,
              std::string const& before, std::string const& after)
  {
    SCOPED_TRACE((fault == FailingVfs::Fault::full ? "full disk at call " : "error at call ") + std::to_string(call) +
                 (forEver ? " and from then on" : ""));
    TemporaryDirectory const folder;
    Restore(folder);
    disk_.Fail(call, fault, forEver);
    bool const succeeded = Attempt(UrlIn(folder), action);
    disk_.FailNothing();
    if (disk_.Injected() == 0)
    {
      EXPECT_TRUE(succeeded);
      return false;
    }
    ++runs_;
    succeeded_ += succeeded;

    DeviceDatabase database(UrlIn(folder));
    EXPECT_EQ(database.CheckIntegrity(), std::vector<std::string>());
    std::string const found = contentOf_(database);
    EXPECT_TRUE(found == after || (!succeeded && found == before)) << (succeeded ? "succeeded" : "failed");
    stored_ += !succeeded && found == after && before != after;
    return true;
  }

  Content contentOf_;
  FailingVfs disk_;
  std::vector<unsigned char> prepared_;
  unsigned long runs_ = 0;
  unsigned long succeeded_ = 0;
  unsigned long stored_ = 0;
};

void putThreeTrends(DeviceDatabase& database)
{
  for (unsigned int const number : {1u, 2u, 3u})
    database.PutTrend(kDevice, trend(number, 1));
}
} // namespace

TEST_F(StoreOnFailingDisk, FirstUseOfAStore)
{
  LetEveryCallFail([](DeviceDatabase&) {});
  if (kStride != 1)
    return;
  for (FailingVfs::Kind const kind : {FailingVfs::Kind::open, FailingVfs::Kind::remove, FailingVfs::Kind::read,
                                      FailingVfs::Kind::write, FailingVfs::Kind::sync, FailingVfs::Kind::lock})
    EXPECT_GT(Failed(kind), 0u) << NameOf(kind);
}

TEST_F(StoreOnFailingDisk, PutOfAMeasurement)
{
  Prepare(&putThreeTrends);
  LetEveryCallFail([](DeviceDatabase& database) { database.PutMeasurement(kDevice, measurement(4)); });
}

TEST_F(StoreOnFailingDisk, PutOfATrend)
{
  Prepare(&putThreeTrends);
  LetEveryCallFail([](DeviceDatabase& database) { database.PutTrend(kDevice, trend(4, 1)); });
}

TEST_F(StoreOnFailingDisk, ReplacementOfATrend)
{
  Prepare(&putThreeTrends);
  LetEveryCallFail([](DeviceDatabase& database) { database.PutTrend(kDevice, trend(2, 2)); });
}

TEST_F(StoreOnFailingDisk, DeletionOfATrend)
{
  Prepare(&putThreeTrends);
  LetEveryCallFail([](DeviceDatabase& database) { database.DeleteTrend(kDevice, NumberedUuid(2)); });
}

TEST_F(StoreOnFailingDisk, TransactionOfSeveral)
{
  Prepare(&putThreeTrends);
  LetEveryCallFail(&putSeveral);
}

TEST_F(StoreOnFailingDisk, ReleaseOfSpace)
{
  Prepare(
      [](DeviceDatabase& database)
      {
        putThreeTrends(database);
        database.DeleteTrend(kDevice, NumberedUuid(2));
      });
  LetEveryCallFail([](DeviceDatabase& database) { database.ReleaseSpace(); });
}

namespace
{
constexpr long long kNow = kStoreStart + 60 * kDay;

/// Two trends of a day each, of entries every ten minutes, that are old enough for every age class.
void putOldTrends(DeviceDatabase& database)
{
  ShrinkSettings counts;
  counts.perDayOlderThanFourWeeks = 4;
  database.PutDevice(kDevice, DeviceWithCleanup(counts));
  for (unsigned int day : {0u, 1u})
  {
    TrendParts parts =
        TrendWith(EntriesEvery(10 * kMinute, kStoreStart + day * kDay, kStoreStart + (day + 1) * kDay, 1, 200 * day));
    parts.trendUuid = NumberedUuid(day + 1);
    database.PutTrend(kDevice, ClosedTrend(parts));
  }
}

void thin(DeviceDatabase& database)
{
  RetentionSettings settings;
  settings.now = kNow;
  RetentionResult const result = RetentionRun(database, settings).ThinValue(kDevice, TrendParts().configUuid);
  if (!result.error.empty())
    throw FailedRun(result.error);
}

/// The entries alone: trends that a run makes have new names each time.
std::string entriesIn(DeviceDatabase& database)
{
  std::string text;
  for (EntryBytes const& entry : EntriesOf(RowsOf(database, kDevice)))
    text.append(entry.begin(), entry.end());
  return text;
}

class ThinningOnFailingDisk : public StoreOnFailingDisk
{
protected:
  ThinningOnFailingDisk() : StoreOnFailingDisk(&entriesIn) {}
};
} // namespace

TEST_F(ThinningOnFailingDisk, RunOfRetention)
{
  Prepare(&putOldTrends);
  LetEveryCallFail(&thin);
}

namespace
{
/// Everything that a store does in its life; what is in it after each call is told when the call has returned.
void liveOneLife(std::string const& url, std::function<void(DeviceDatabase&)> const& returned)
{
  {
    DeviceDatabase database(url);
    returned(database);
    for (unsigned int const number : {1u, 2u, 3u})
    {
      database.PutTrend(kDevice, trend(number, 1));
      returned(database);
    }
    database.PutTrend(kDevice, trend(1, 2));
    returned(database);
    database.DeleteTrend(kDevice, NumberedUuid(3));
    returned(database);
  }
  DeviceDatabase database(url);
  database.PutMeasurement(kDevice, measurement(4));
  returned(database);
  database.ReleaseSpace();
  returned(database);
  putSeveral(database);
  returned(database);
}

/// Opens what a disk holds. It must be sound, and be what was there after one of these many calls.
void expectSound(FileSet const& files, std::vector<std::string> const& contents, unsigned int marks)
{
  TemporaryDirectory const folder;
  for (auto const& [name, content] : files)
    WriteFile(folder.Path(name), content);
  DeviceDatabase database("sqlite:" + folder.Path(kFileName));
  EXPECT_EQ(database.CheckIntegrity(), std::vector<std::string>());
  std::string const found = contentOf(database);
  EXPECT_TRUE(found == contents[marks] || (marks + 1 < contents.size() && found == contents[marks + 1]));
}
} // namespace

TEST(StoreWithoutPower, EveryCommitThatReturnedIsThereAndNoneIsHalf)
{
  FailingVfs disk;
  TemporaryDirectory const folder;
  // Before the first call returns there is nothing.
  std::vector<std::string> contents{""};
  disk.Record(true);
  liveOneLife("sqlite:" + folder.Path(kFileName),
              [&](DeviceDatabase& database)
              {
                disk.Mark();
                contents.push_back(contentOf(database));
              });
  disk.Record(false);

  DiskModel model;
  FileSet checked;
  unsigned int checkedMarks = 0;
  unsigned long withEverything = 0;
  unsigned long synchronisedOnly = 0;
  unsigned long number = 0;
  for (FailingVfs::Step const& step : disk.Steps())
  {
    model.Apply(step);
    SCOPED_TRACE("step " + std::to_string(++number));
    bool const isDue = number % kStride == 0 || step.kind == FailingVfs::Step::Kind::mark;
    if (isDue && step.kind != FailingVfs::Step::Kind::sync)
    {
      SCOPED_TRACE("all writes");
      expectSound(model.Everything(), contents, model.Marks());
      ++withEverything;
    }
    if (model.Marks() != checkedMarks || model.Synchronised() != checked)
    {
      SCOPED_TRACE("only synchronised writes");
      checked = model.Synchronised();
      checkedMarks = model.Marks();
      expectSound(checked, contents, checkedMarks);
      ++synchronisedOnly;
    }
  }
  std::cout << "steps " << number << ", opened with all writes " << withEverything << ", with synchronised ones only "
            << synchronisedOnly << "\n";
  EXPECT_EQ(model.Marks(), 9u);
  EXPECT_GT(number, 100u);
  EXPECT_GT(withEverything * kStride, 50u);
  EXPECT_GT(synchronisedOnly, 15u);
}

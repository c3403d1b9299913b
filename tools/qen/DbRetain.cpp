#include "InputFiles.h"
#include "Json.h"
#include "RetentionOptions.h"
#include "StoreCommand.h"
#include "Text.h"

#include "platform/QenTime.h"
#include "store/DatabaseException.h"
#include "store/RetentionSimulation.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{
constexpr unsigned long long kMostWorkers = 64;

constexpr char kDetails[] =
    "Thins the closed trends of all devices, or of one, by age, as many entries as the device's settings say:\n"
    "qen db init --settings. The store notes how far each characteristic value has been thinned, so that a run\n"
    "only does what has come of age since the last one, and repeating it takes nothing away. Entries that were\n"
    "recorded together with a stored characteristic value or a bookmark are kept in preference. Open trends\n"
    "are never touched, nor is what lies behind the first entry of one: a note says so when closed trends that\n"
    "have come of age wait for it.\n\n"
    "Prints what a run would do and writes nothing until --apply is given. Each characteristic value is one\n"
    "transaction; one that fails is reported and stays as it is. A run that is cut off can simply be started\n"
    "again. Numbers are those of the trends that were read and of those that stand in their place.\n\n"
    "Examples:\n"
    "  qen db retain\n"
    "  qen db retain --apply -j 4\n"
    "  qen db retain --now 2027-01-01 --device d1d00000-0000-4000-8000-000000000001 --json";

/// What became of one device.
struct DeviceOutcome
{
  std::vector<RetentionResult> values;
  std::exception_ptr failure;
  bool isDone = false;
};

/// Works on devices, several at a time, and hands on their outcomes one after another.
class DeviceWorkers
{
public:
  using Work = std::function<void(Uuid const& device, std::vector<RetentionResult>& results)>;

  /// @param makeWork  is called by each worker once
  DeviceWorkers(std::vector<Uuid> const& devices, std::size_t workers, std::function<Work()> makeWork)
    : devices_(devices), outcomes_(devices.size()), makeWork_(std::move(makeWork))
  {
    for (std::size_t i = 0; i < std::min(workers, devices.size()); ++i)
      threads_.emplace_back([this] { Run(); });
  }

  /// Waits until a device is done.
  DeviceOutcome Take(std::size_t device)
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return outcomes_[device].isDone; });
    return std::move(outcomes_[device]);
  }

private:
  void Run()
  {
    Work work;
    for (std::size_t device = next_++; device < devices_.size(); device = next_++)
    {
      DeviceOutcome outcome;
      try
      {
        if (!work)
          work = makeWork_();
        work(devices_[device], outcome.values);
      }
      catch (...)
      {
        outcome.failure = std::current_exception();
      }
      outcome.isDone = true;
      std::lock_guard const lock(mutex_);
      outcomes_[device] = std::move(outcome);
      changed_.notify_all();
    }
  }

  std::vector<Uuid> const& devices_;
  std::vector<DeviceOutcome> outcomes_;
  std::function<Work()> makeWork_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::jthread> threads_; ///< the last member: ends first
};

/// What a run would do. As in a run, a value that fails does not stop the others.
RetentionResult Plan(DeviceDatabase& database, Uuid const& device, Uuid const& value, RetentionSettings const& settings)
try
{
  return RetentionSimulation(database, device, value).Run(settings);
}
catch (std::exception const& error)
{
  RetentionResult failed;
  failed.device = device;
  failed.value = value;
  failed.error = error.what();
  return failed;
}

class DbRetain : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else all");
    retention_.AddNow(options);
    retention_.AddLimits(options);
    options.AddCount("-j,--jobs", jobs_, "so many devices at a time [1]");
    options.AddFlag("--apply", apply_, "write the result");
    options.AddJson(json_, "print JSON Lines (qen.db-retain/1), one for each value, the last one for all");
  }

private:
  ExitCode Work(Report& report) override
  {
    if (jobs_ == 0ULL)
      throw ToolError(ExitCode::Usage, "-j 0 leaves nobody to work");
    RetentionSettings const settings = retention_.Settings();
    auto const database = apply_ ? store_.OpenToChange() : store_.OpenToRead();
    std::vector<Uuid> const devices = store_.KnownDevices(*database);
    auto const sizeBefore = store_.FileSize();
    {
      DeviceWorkers workers(devices, static_cast<std::size_t>(std::min(jobs_.value_or(1), kMostWorkers)),
                            [&] { return MakeWork(settings); });
      if (!json_)
        report.Data("value                                    trends      after     entries       after         bytes"
                    "         after");
      for (std::size_t i = 0; i < devices.size(); ++i)
      {
        report.Progress(i + 1, devices.size(), devices[i].ToString());
        Tell(devices[i], workers.Take(i), devices.size() > 1, report);
      }
    }
    TellOfAll(settings, report);
    if (!apply_)
      report.Say("qen: nothing was written; --apply does it");
    else
      Release(*database, sizeBefore, report);
    return outcome_.Result();
  }

  DeviceWorkers::Work MakeWork(RetentionSettings const& settings) const
  {
    std::shared_ptr<DeviceDatabase> const database(apply_ ? store_.OpenToChange() : store_.OpenToRead());
    bool const apply = apply_;
    return [=](Uuid const& device, std::vector<RetentionResult>& results)
    {
      if (apply)
        return RetentionRun(*database, settings)
            .ThinDevice(device, [&](RetentionResult const& result) { results.push_back(result); });
      for (Uuid const& value : database->ListTrendValues(device))
        results.push_back(Plan(*database, device, value, settings));
    };
  }

  void Tell(Uuid const& device, DeviceOutcome const& outcome, bool withDevice, Report& report)
  {
    if (withDevice && !json_)
      report.Data("device " + device.ToString());
    for (RetentionResult const& result : outcome.values)
      Tell(result, report);
    if (!outcome.failure)
      return outcome_.Add(ExitCode::Good);
    outcome_.Add(RunGuarded(report, "device " + device.ToString(),
                            [&]() -> ExitCode { std::rethrow_exception(outcome.failure); }));
  }

  void Tell(RetentionResult const& result, Report& report)
  {
    ++values_;
    if (!result.error.empty())
    {
      report.Error(NameOf(result), result.error);
      outcome_.Add(ExitCode::PartlyDone);
      ++failed_;
    }
    if (result.awaitedFrom)
      report.Note(NameOf(result), "closed trends that have come of age wait for the open trend that begins at " +
                                      QenTime::TimeStampToString(*result.awaitedFrom));
    before_ += result.before;
    after_ += result.after;
    if (!json_)
      return report.Data(Row(result.value.ToString(), result.before, result.after));
    Json object = Describe(result.before, result.after);
    object["device_uuid"] = result.device.ToString();
    object["characteristic_value_config_uuid"] = result.value.ToString();
    object["awaited_from"] = object["awaited_from_us"] = nullptr;
    if (result.awaitedFrom)
      JsonText::AddTime(object, "awaited_from", *result.awaitedFrom);
    object["error"] = result.error.empty() ? Json(nullptr) : Json(result.error);
    report.Data(JsonText::Line(object));
  }

  static std::string NameOf(RetentionResult const& result)
  {
    return "device " + result.device.ToString() + ", value " + result.value.ToString();
  }

  void TellOfAll(RetentionSettings const& settings, Report& report) const
  {
    if (!json_)
      return report.Data(Row("all", before_, after_));
    Json object = Describe(before_, after_);
    object["device_uuid"] = nullptr;
    JsonText::AddTime(object, "now", settings.now);
    object["value_count"] = values_;
    object["failed_count"] = failed_;
    report.Data(JsonText::Line(object));
  }

  static std::string Row(std::string const& name, RetentionResult::Amount const& before,
                         RetentionResult::Amount const& after)
  {
    auto const both = [&](unsigned long long RetentionResult::Amount::*member, std::size_t width)
    { return Text::Right(std::to_string(before.*member), width) + Text::Right(std::to_string(after.*member), width); };
    return Text::Left(name, 36) + both(&RetentionResult::Amount::trends, 11) +
           both(&RetentionResult::Amount::entries, 12) + both(&RetentionResult::Amount::bytes, 14);
  }

  Json Describe(RetentionResult::Amount const& before, RetentionResult::Amount const& after) const
  {
    Json object = JsonText::Object("qen.db-retain/1");
    object["applied"] = apply_;
    object["trends_before"] = before.trends;
    object["trends_after"] = after.trends;
    object["entries_before"] = before.entries;
    object["entries_after"] = after.entries;
    object["bytes_before"] = before.bytes;
    object["bytes_after"] = after.bytes;
    return object;
  }

  /// What was thinned stays so when no room can be given back, say because another process reads.
  void Release(DeviceDatabase& database, std::optional<unsigned long long> const& sizeBefore, Report& report) const
  {
    try
    {
      database.ReleaseSpace();
    }
    catch (DatabaseException const& error)
    {
      report.Note(store_.Name(), error.what());
    }
    auto const size = store_.FileSize();
    if (size && sizeBefore)
      report.Say(store_.Name() + ": " + Text::Counted(*size, "byte") + ", before " + std::to_string(*sizeBefore));
  }

  RetentionOptions retention_;
  std::optional<unsigned long long> jobs_;
  bool apply_ = false;
  bool json_ = false;
  Outcome outcome_;
  RetentionResult::Amount before_, after_;
  unsigned long long values_ = 0, failed_ = 0;
};
} // namespace

extern CommandEntry const kDbRetain;
CommandEntry const kDbRetain = {"retain", "thin the trends of a store by age", kDetails, &MakeCommand<DbRetain>};

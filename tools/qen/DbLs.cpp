#include "Json.h"
#include "StoreCommand.h"
#include "Text.h"

#include "platform/QenTime.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr char kDetails[] =
    "Without KIND one line a device: how many rows it has of each kind. KIND is measurements, trends, values\n"
    "(characteristic values) or bookmarks: one line each, newest first, device by device. Options restrict the\n"
    "lists: --config and --job those of measurements, --value the others, --open and --closed trends, --from\n"
    "and --to all; trends are listed that have entries in that time. --limit counts for each device.\n\n"
    "Examples:\n"
    "  qen db ls\n"
    "  qen db ls measurements --from 2026-11-20 --to 2026-11-21 --limit 20\n"
    "  qen db ls trends --value c0000000-0000-4000-8000-000000000011 --closed --json";

class DbLs : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgumentChoice("KIND", {"devices", "measurements", "trends", "values", "bookmarks"}, kind_,
                              "devices, measurements, trends, values or bookmarks [devices]");
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else all");
    options.AddUuid("--config", config_, "only measurements of this configuration");
    options.AddUuid("--job", job_, "only measurements of this job");
    options.AddUuid("--value", value_, "only what is of the characteristic value with this configuration");
    options.AddTime("--from", from_, "not what is earlier");
    options.AddTime("--to", to_, "not what is later");
    options.AddFlag("--open", open_, "only open trends");
    options.AddFlag("--closed", closed_, "only closed trends").Excludes("--open");
    options.AddCount("--limit", limit_, "at most so many, the newest");
    options.AddJson(json_, "print JSON Lines (qen.db-ls/1)");
  }

private:
  ExitCode Work(Report& report) override
  {
    RequireOptions();
    auto const database = store_.OpenToRead();
    std::vector<Uuid> const devices = store_.KnownDevices(*database);
    if (kind_ == "devices" && !json_)
      report.Data("device                                measurements  open trends  closed trends     entries"
                  "      values");
    for (Uuid const& device : devices)
    {
      if (kind_ != "devices" && !json_ && devices.size() > 1)
        report.Data("device " + device.ToString());
      List(*database, device, report);
    }
    return ExitCode::Good;
  }

  void RequireOptions() const
  {
    auto const require = [&](bool isGiven, char const* option, bool isOfKind)
    {
      if (isGiven && !isOfKind)
        throw ToolError(ExitCode::Usage, std::string(option) + " does not restrict " + kind_);
    };
    bool const isOfValue = kind_ == "trends" || kind_ == "values" || kind_ == "bookmarks";
    require(config_.has_value(), "--config", kind_ == "measurements");
    require(job_.has_value(), "--job", kind_ == "measurements");
    require(value_.has_value(), "--value", isOfValue);
    require(from_ || to_ || limit_, "a time or a limit", kind_ != "devices");
    require(open_ || closed_, "--open or --closed", kind_ == "trends");
  }

  TimeRange Time() const { return {from_.value_or(TimeRange().from), to_.value_or(TimeRange().to)}; }

  unsigned int Limit() const
  {
    constexpr unsigned int kMost = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::min<unsigned long long>(limit_.value_or(kMost), kMost));
  }

  void List(DeviceDatabase& database, Uuid const& device, Report& report) const
  {
    if (kind_ == "measurements")
      ListMeasurements(database, device, report);
    else if (kind_ == "trends")
      ListTrends(database, device, report);
    else if (kind_ == "values")
      ListValues(database, device, report);
    else if (kind_ == "bookmarks")
      ListBookmarks(database, device, report);
    else
      ListDevice(database, device, report);
  }

  void ListDevice(DeviceDatabase& database, Uuid const& device, Report& report) const
  {
    DeviceStatistics const statistics = database.ReadStatistics(device);
    if (!json_)
      return report.Data(device.ToString() + Text::Right(std::to_string(statistics.measurements.count), 14) +
                         Text::Right(std::to_string(statistics.openTrends.count), 13) +
                         Text::Right(std::to_string(statistics.closedTrends.count), 15) +
                         Text::Right(std::to_string(statistics.trendEntries), 12) +
                         Text::Right(std::to_string(statistics.characteristicValues), 12));
    Json object = Describe(device, "device");
    std::optional<DeviceDO> const known = database.FindDevice(device);
    object["has_details"] = known && !known->getDeviceDetails().empty();
    object["measurement_count"] = statistics.measurements.count;
    object["open_trend_count"] = statistics.openTrends.count;
    object["closed_trend_count"] = statistics.closedTrends.count;
    object["trend_entry_count"] = statistics.trendEntries;
    object["characteristic_value_count"] = statistics.characteristicValues;
    report.Data(JsonText::Line(object));
  }

  void ListMeasurements(DeviceDatabase& database, Uuid const& device, Report& report) const
  {
    auto const found = database.ListMeasurements(device, {config_, job_, Time(), Limit()});
    if (!json_)
      report.Data("measurement                           time                              bytes  configuration        "
                  "             "
                  "    job");
    for (MeasurementSummary const& row : found)
    {
      if (!json_)
      {
        report.Data(row.measurement.ToString() + "  " + QenTime::TimeStampToString(row.timeStamp) +
                    Text::Right(std::to_string(row.byteCount), 12) + "  " + row.config.ToString() + "  " +
                    row.job.ToString());
        continue;
      }
      Json object = Describe(device, "measurement");
      object["measurement_uuid"] = row.measurement.ToString();
      object["measurement_config_uuid"] = row.config.ToString();
      object["job_uuid"] = row.job.ToString();
      JsonText::AddTime(object, "time", row.timeStamp);
      object["saved_by_alarm_status_change"] = row.isSavedByAlarmStatusChange;
      object["byte_count"] = row.byteCount;
      report.Data(JsonText::Line(object));
    }
  }

  void ListTrends(DeviceDatabase& database, Uuid const& device, Report& report) const
  {
    std::optional<bool> const isClosed = open_ || closed_ ? std::optional(closed_) : std::nullopt;
    auto const found = database.ListTrends(device, {value_, isClosed, Time(), Limit()});
    if (!json_)
      report.Data("trend                                 first entry                  last entry                   "
                  "   entries       bytes          value");
    for (TrendSummary const& row : found)
    {
      if (!json_)
      {
        report.Data(row.trend.ToString() + "  " + ShowTime(row, row.firstTimeStamp) + "  " +
                    ShowTime(row, row.lastTimeStamp) + Text::Right(std::to_string(row.entryCount), 12) +
                    Text::Right(std::to_string(row.byteCount), 12) + (row.isClosed ? "  closed" : "  open  ") + "  " +
                    row.value.ToString());
        continue;
      }
      Json object = Describe(device, "trend");
      object["trend_uuid"] = row.trend.ToString();
      object["characteristic_value_config_uuid"] = row.value.ToString();
      object["closed"] = row.isClosed;
      object["entry_count"] = row.entryCount;
      JsonText::AddTime(object, "first_time", row.firstTimeStamp);
      JsonText::AddTime(object, "last_time", row.lastTimeStamp);
      object["byte_count"] = row.byteCount;
      report.Data(JsonText::Line(object));
    }
  }

  static std::string ShowTime(TrendSummary const& row, long long time)
  {
    return row.entryCount == 0 ? Text::Left("none", 27) : QenTime::TimeStampToString(time);
  }

  /// The rows of a kind that characteristic values have, newest first, each told by `tell`.
  template <class Row>
  void ListOfValues(DeviceDatabase& database, Uuid const& device,
                    std::vector<Row> (DeviceDatabase::*list)(Uuid const&, Uuid const&, TimeRange const&),
                    auto const& timeOf, auto const& tell) const
  {
    struct Found
    {
      Uuid config;
      Row row;
    };
    std::vector<Found> all;
    for (Uuid const& config : value_ ? std::vector<Uuid>{*value_} : database.ListStoredValues(device))
      for (Row const& row : (database.*list)(device, config, Time()))
        all.push_back({config, row});
    std::stable_sort(all.begin(), all.end(),
                     [&](Found const& a, Found const& b) { return timeOf(a.row) > timeOf(b.row); });
    all.resize(std::min<std::size_t>(all.size(), Limit()));
    for (Found const& found : all)
      tell(found.config, found.row);
  }

  void ListValues(DeviceDatabase& database, Uuid const& device, Report& report) const
  {
    if (!json_)
      report.Data("characteristic value                  time                         value");
    ListOfValues<StoredCharacteristicValue>(
        database, device, &DeviceDatabase::ListCharacteristicValues,
        [](StoredCharacteristicValue const& row) { return row.timeStamp; },
        [&](Uuid const& config, StoredCharacteristicValue const& row)
        {
          if (!json_)
            return report.Data(config.ToString() + "  " + QenTime::TimeStampToString(row.timeStamp) + "  " +
                               Text::Shortest(row.value));
          Json object = Describe(device, "value");
          object["characteristic_value_config_uuid"] = config.ToString();
          JsonText::AddTime(object, "time", row.timeStamp);
          object["value"] = row.value;
          report.Data(JsonText::Line(object));
        });
  }

  void ListBookmarks(DeviceDatabase& database, Uuid const& device, Report& report) const
  {
    if (!json_)
      report.Data("characteristic value                  time");
    ListOfValues<long long>(
        database, device, &DeviceDatabase::ListBookmarks, [](long long time) { return time; },
        [&](Uuid const& config, long long time)
        {
          if (!json_)
            return report.Data(config.ToString() + "  " + QenTime::TimeStampToString(time));
          Json object = Describe(device, "bookmark");
          object["characteristic_value_config_uuid"] = config.ToString();
          JsonText::AddTime(object, "time", time);
          report.Data(JsonText::Line(object));
        });
  }

  static Json Describe(Uuid const& device, char const* kind)
  {
    Json object = JsonText::Object("qen.db-ls/1");
    object["device_uuid"] = device.ToString();
    object["kind"] = kind;
    return object;
  }

  std::string kind_ = "devices";
  std::optional<Uuid> config_, job_, value_;
  std::optional<long long> from_, to_;
  std::optional<unsigned long long> limit_;
  bool open_ = false;
  bool closed_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kDbLs;
CommandEntry const kDbLs = {"ls", "list devices and what is stored of them", kDetails, &MakeCommand<DbLs>};

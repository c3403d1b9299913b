#include "Json.h"
#include "StoreCommand.h"
#include "Text.h"

namespace
{
constexpr char kDetails[] =
    "Rows and bytes of each kind, for each device and in all, and the size of the store's file. Bytes are those\n"
    "of records and details documents; the file also holds columns, indices and room that is free.\n\n"
    "Examples:\n"
    "  qen db stats\n"
    "  qen db stats --device d1d00000-0000-4000-8000-000000000001 --json";

void Add(DeviceStatistics& all, DeviceStatistics const& more)
{
  for (auto const kind :
       {&DeviceStatistics::measurements, &DeviceStatistics::openTrends, &DeviceStatistics::closedTrends})
  {
    (all.*kind).count += (more.*kind).count;
    (all.*kind).byteCount += (more.*kind).byteCount;
  }
  all.trendEntries += more.trendEntries;
  all.characteristicValues += more.characteristicValues;
  all.bookmarks += more.bookmarks;
}

class DbStats : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else all");
    options.AddJson(json_, "print JSON Lines (qen.db-stats/1), the last one for all devices");
  }

private:
  ExitCode Work(Report& report) override
  {
    auto const database = store_.OpenToRead();
    std::vector<Uuid> const devices = store_.KnownDevices(*database);
    DeviceStatistics all;
    for (Uuid const& device : devices)
    {
      DeviceStatistics const statistics = database->ReadStatistics(device);
      Add(all, statistics);
      Tell(device, statistics, report);
    }
    if (json_)
      report.Data(JsonText::Line(DescribeAll(all, devices.size())));
    else
      PrintAll(all, devices.size(), report);
    return ExitCode::Good;
  }

  void Tell(Uuid const& device, DeviceStatistics const& statistics, Report& report) const
  {
    if (!json_)
    {
      report.Data("device " + device.ToString());
      return Print(statistics, report);
    }
    Json object = JsonText::Object("qen.db-stats/1");
    object["device_uuid"] = device.ToString();
    Describe(object, statistics);
    report.Data(JsonText::Line(object));
  }

  void PrintAll(DeviceStatistics const& all, std::size_t devices, Report& report) const
  {
    if (devices != 1)
    {
      report.Data("all " + Text::Counted(devices, "device"));
      Print(all, report);
    }
    if (auto const size = store_.FileSize())
      report.Data("file " + store_.Name() + ": " + Text::Counted(*size, "byte"));
  }

  static void Print(DeviceStatistics const& statistics, Report& report)
  {
    auto const line = [&](char const* name, unsigned long long count, std::string const& bytes)
    { report.Data("  " + Text::Left(name, 21) + Text::Right(std::to_string(count), 12) + bytes); };
    auto const kind = [&](char const* name, DeviceStatistics::Kind const& what)
    { line(name, what.count, Text::Right(std::to_string(what.byteCount), 16) + " bytes"); };
    kind("measurements", statistics.measurements);
    kind("open trends", statistics.openTrends);
    kind("closed trends", statistics.closedTrends);
    line("trend entries", statistics.trendEntries, "");
    line("characteristic values", statistics.characteristicValues, "");
    line("bookmarks", statistics.bookmarks, "");
  }

  Json DescribeAll(DeviceStatistics const& all, std::size_t devices) const
  {
    Json object = JsonText::Object("qen.db-stats/1");
    object["device_uuid"] = nullptr;
    Describe(object, all);
    object["device_count"] = devices;
    object["store"] = store_.Name();
    auto const size = store_.FileSize();
    object["file_size"] = size ? Json(*size) : Json(nullptr);
    return object;
  }

  static void Describe(Json& object, DeviceStatistics const& statistics)
  {
    object["measurement_count"] = statistics.measurements.count;
    object["measurement_bytes"] = statistics.measurements.byteCount;
    object["open_trend_count"] = statistics.openTrends.count;
    object["open_trend_bytes"] = statistics.openTrends.byteCount;
    object["closed_trend_count"] = statistics.closedTrends.count;
    object["closed_trend_bytes"] = statistics.closedTrends.byteCount;
    object["trend_entry_count"] = statistics.trendEntries;
    object["characteristic_value_count"] = statistics.characteristicValues;
    object["bookmark_count"] = statistics.bookmarks;
  }

  bool json_ = false;
};
} // namespace

extern CommandEntry const kDbStats;
CommandEntry const kDbStats = {"stats", "count rows and bytes", kDetails, &MakeCommand<DbStats>};

#include "Json.h"
#include "SignalJson.h"
#include "StoreCommand.h"
#include "StoredObject.h"
#include "Text.h"

#include "store/DatabaseException.h"

#include <functional>

namespace
{
constexpr char kDetails[] =
    "Has the database engine check its own structure, and checks every row as qen verify checks files: sizes,\n"
    "versions, all checksums, the compressed stream, the order of trend entries and the details document; and\n"
    "that the columns, by which rows are found, repeat the record: UUIDs, time stamps, counts. One line for\n"
    "each finding: \"DEVICE KIND UUID: damaged: PART: finding\"; nothing when all is well.\n\n"
    "Examples:\n"
    "  qen db check && echo all good\n"
    "  qen db check --db sqlite:plant.db --json";

using Findings = std::vector<Verification::Finding>;

class DbCheck : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else all");
    options.AddJson(json_, "print JSON Lines (qen.db-check/1): each damaged row, then a line with the counts");
  }

private:
  ExitCode Work(Report& report) override
  {
    auto const database = store_.OpenToRead();
    report_ = &report;
    Guarded("", "engine", "", [&] { return FindEngineDamage(*database); });
    std::vector<Uuid> devices;
    GuardedRead("", "devices", [&] { devices = store_.KnownDevices(*database); });
    for (Uuid const& device : devices)
      CheckDevice(*database, device);
    if (json_)
    {
      Json object = JsonText::Object("qen.db-check/1");
      object["store"] = store_.Name();
      object["good"] = damaged_ == 0;
      object["row_count"] = rows_;
      object["damaged_count"] = damaged_;
      report.Data(JsonText::Line(object));
    }
    report.Say(store_.Name() + ": " + Text::Counted(rows_, "row") + ", " + std::to_string(damaged_) + " damaged");
    return damaged_ == 0 ? ExitCode::Good : ExitCode::Difference;
  }

  static Findings FindEngineDamage(DeviceDatabase& database)
  {
    Findings findings;
    for (std::string const& line : database.CheckIntegrity())
      findings.push_back({"structure", line});
    return findings;
  }

  void CheckDevice(DeviceDatabase& database, Uuid const& device)
  {
    CheckRow(device, "device", device, [&] { return Damage(database.FindDevice(device)); });
    std::vector<MeasurementSummary> measurements;
    std::vector<TrendSummary> trends;
    GuardedRead(device.ToString(), "measurements", [&] { measurements = database.ListMeasurements(device); });
    GuardedRead(device.ToString(), "trends", [&] { trends = database.ListTrends(device); });
    std::size_t const count = measurements.size() + trends.size();
    std::size_t position = 0;
    for (MeasurementSummary const& row : measurements)
    {
      report_->Progress(++position, count, row.measurement.ToString());
      CheckRow(device, "measurement", row.measurement,
               [&] { return Damage(database.FindMeasurement(device, row.measurement)); });
    }
    for (TrendSummary const& row : trends)
    {
      report_->Progress(++position, count, row.trend.ToString());
      CheckRow(device, "trend", row.trend, [&] { return Damage(database.FindTrend(device, row.trend)); });
    }
    // That they can be read is all that there is to check.
    GuardedRead(device.ToString(), "values",
                [&]
                {
                  for (Uuid const& config : database.ListStoredValues(device))
                  {
                    rows_ += database.ListCharacteristicValues(device, config).size();
                    rows_ += database.ListBookmarks(device, config).size();
                  }
                });
  }

  /// A row that has gone since it was listed is no damage: another process may have replaced it.
  template <class Object>
  static Findings Damage(std::optional<Object> const& object)
  {
    return object ? StoredObject::FindDamage(*object) : Findings();
  }

  void CheckRow(Uuid const& device, char const* kind, Uuid const& uuid, std::function<Findings()> const& check)
  {
    ++rows_;
    Guarded(device.ToString(), kind, kind == std::string("device") ? "" : uuid.ToString(), check);
  }

  /// What cannot be read is damaged, and what stands behind it is checked all the same.
  void Guarded(std::string const& device, char const* kind, std::string const& uuid,
               std::function<Findings()> const& check)
  try
  {
    Findings const findings = check();
    if (!findings.empty())
      Tell(device, kind, uuid, findings);
  }
  catch (DatabaseException const& error)
  {
    Tell(device, kind, uuid, {{"row", error.what()}});
  }

  void GuardedRead(std::string const& device, char const* kind, std::function<void()> const& read)
  {
    Guarded(device, kind, "",
            [&]
            {
              read();
              return Findings();
            });
  }

  void Tell(std::string const& device, char const* kind, std::string const& uuid, Findings const& findings)
  {
    ++damaged_;
    if (json_)
    {
      Json object = JsonText::Object("qen.db-check/1");
      object["device_uuid"] = device.empty() ? Json(nullptr) : Json(device);
      object["kind"] = kind;
      object["uuid"] = uuid.empty() ? Json(nullptr) : Json(uuid);
      object["damage"] = SignalJson::OfFindings(findings);
      return report_->Data(JsonText::Line(object));
    }
    std::string name = device;
    for (std::string const& part : {std::string(kind), uuid})
      name += (name.empty() || part.empty() ? "" : " ") + part;
    for (Verification::Finding const& finding : findings)
      report_->Data(name + ": damaged: " + finding.part + ": " + Text::Printable(finding.text));
  }

  bool json_ = false;
  Report* report_ = nullptr;
  unsigned long long rows_ = 0;
  unsigned long long damaged_ = 0;
};
} // namespace

extern CommandEntry const kDbCheck;
CommandEntry const kDbCheck = {"check", "check every row and the structure of a store", kDetails,
                               &MakeCommand<DbCheck>};

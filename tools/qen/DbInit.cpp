#include "DeviceSettings.h"
#include "Json.h"
#include "StoreCommand.h"
#include "Text.h"

namespace
{
constexpr char kDetails[] =
    "Makes the store, or brings one of an earlier version up to date; one that is up to date stays as it is.\n"
    "With --device the device is noted, and with --settings or --details how many trend entries remain of it\n"
    "when it is thinned. Without settings everything remains.\n\n"
    "Examples:\n"
    "  qen db init\n"
    "  qen db init --db sqlite:plant.db --device d1d00000-0000-4000-8000-000000000001 --details device.xml\n"
    "  qen db init --device d1d00000-0000-4000-8000-000000000001 --settings 1h:60/h,1d:24/d,7d:4/d,28d:1/d";

class DbInit : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else none is noted");
    settings_.AddOptions(options, "--details");
    options.AddJson(json_, "print what there is as JSON (qen.db-init/1)");
  }

private:
  ExitCode Work(Report& report) override
  {
    std::optional<Uuid> const device = store_.NamedDevice();
    if (settings_.IsGiven() && !device)
      throw ToolError(ExitCode::Usage, "settings belong to a device: --device names it");
    std::optional<DeviceDO> const settings = settings_.IsGiven() ? std::optional(settings_.Read()) : std::nullopt;
    bool const isNew = !store_.Exists();
    auto const database = store_.OpenOrMake();
    if (device && (settings || !database->FindDevice(*device)))
      database->PutDevice(*device, settings.value_or(DeviceDO()));
    std::size_t const devices = database->ListDevices().size();
    if (json_)
    {
      Json object = JsonText::Object("qen.db-init/1");
      object["store"] = store_.Name();
      object["new"] = isNew;
      object["device_count"] = devices;
      report.Data(JsonText::Line(object));
    }
    else
      report.Say(store_.Name() + ": " + (isNew ? "a new store" : "a store") + " of " +
                 Text::Counted(devices, "device"));
    return ExitCode::Good;
  }

  DeviceSettings settings_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kDbInit;
CommandEntry const kDbInit = {"init", "make a store, or bring one up to date", kDetails, &MakeCommand<DbInit>};

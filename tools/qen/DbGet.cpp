#include "Json.h"
#include "OptionValue.h"
#include "OutputPlan.h"
#include "SignalFile.h"
#include "StoreCommand.h"
#include "StoredFile.h"
#include "StoredObject.h"
#include "Text.h"
#include "TrendFile.h"

#include <filesystem>

namespace
{
namespace fs = std::filesystem;

constexpr char kDetails[] =
    "Makes files of the measurement or the trend with this UUID: the record, byte for byte as it is stored,\n"
    "and the details document beside it. -o names the file, or a folder in which it is named UUID.qts or\n"
    "UUID.qtr; - is standard output, which takes the record alone. A damaged row is given as it is, and makes\n"
    "the exit status 1.\n\n"
    "Examples:\n"
    "  qen db get e0000000-0000-4000-8000-000000000002 -o pump.qts\n"
    "  qen db get e0000000-0000-4000-8000-000000000012 -o trends/";

class DbGet : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("UUID", uuid_, "of the measurement or the trend").Required();
    store_.AddDatabase(options);
    store_.AddOneDevice(options);
    options.AddText("-o,--output", "FILE", output_, "file or folder to write [.]");
    options.AddFlag("--force", force_, "replace files that exist");
    options.AddJson(json_, "print what was made as JSON (qen.db-get/1)");
  }

private:
  ExitCode Work(Report& report) override
  {
    Uuid const uuid = ReadUuid();
    auto const database = store_.OpenToRead();
    Uuid const device = store_.KnownDevice(*database);
    if (auto const measurement = database->FindMeasurement(device, uuid))
      return Give(*measurement, "measurement", SignalFile::kExtension, device, report);
    if (auto const trend = database->FindTrend(device, uuid))
      return Give(*trend, "trend", TrendFile::kExtension, device, report);
    throw ToolError(ExitCode::Unreadable,
                    "device " + device.ToString() + " has no measurement and no trend " + uuid.ToString());
  }

  Uuid ReadUuid() const
  try
  {
    return OptionValue::ReadUuid(uuid_);
  }
  catch (std::invalid_argument const& error)
  {
    throw ToolError(ExitCode::Usage, error.what());
  }

  template <class Object>
  ExitCode Give(Object const& object, char const* kind, char const* extension, Uuid const& device, Report& report) const
  {
    std::string const target = Target(object.getCurrentUuid().getUuid(), extension);
    StoredFile::Write(object, target, force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    auto const damage = StoredObject::FindDamage(object);
    for (Verification::Finding const& finding : damage)
      report.Error(target, "is damaged: " + std::string(finding.part) + ": " + finding.text);
    if (json_ && target != "-")
    {
      Json line = JsonText::Object("qen.db-get/1");
      line["device_uuid"] = device.ToString();
      line["kind"] = kind;
      line["uuid"] = object.getCurrentUuid().getUuid().ToString();
      JsonText::AddPath(line, "file", target);
      line["good"] = damage.empty();
      report.Data(JsonText::Line(line));
    }
    else
      report.Say(std::string(kind) + " " + object.getCurrentUuid().getUuid().ToString() + " -> " +
                 OutputFile::Show(target));
    return damage.empty() ? ExitCode::Good : ExitCode::Difference;
  }

  std::string Target(Uuid const& uuid, char const* extension) const
  {
    std::error_code error;
    bool const isFolder = output_.ends_with('/') || fs::is_directory(output_, error);
    if (!isFolder)
      return output_;
    OutputPlan::MakeFolder(output_);
    return (fs::path(output_) / (uuid.ToString() + extension)).lexically_normal().native();
  }

  std::string uuid_;
  std::string output_ = ".";
  bool force_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kDbGet;
CommandEntry const kDbGet = {"get", "make files of a measurement or a trend", kDetails, &MakeCommand<DbGet>};

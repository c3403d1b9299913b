#include "OutputPlan.h"
#include "StoreCommand.h"
#include "StoreFolder.h"
#include "StoredFile.h"
#include "Text.h"

#include "platform/QenTime.h"

#include <algorithm>
#include <filesystem>

namespace
{
constexpr char kDetails[] =
    "Writes the whole store, or one device of it, into a folder, from which qen db import makes an equal one:\n"
    "for each device a folder named by its UUID with the records and documents as they are (measurements,\n"
    "trends), characteristic values and bookmarks as tables, the device's details, and rows.jsonl with every\n"
    "row's columns, written last: a folder without it is not complete. Damaged rows are written as they are.\n"
    "Give the same command with --force to write a folder again.\n\n"
    "Examples:\n"
    "  qen db export backup\n"
    "  qen db export --device d1d00000-0000-4000-8000-000000000001 one-device";

class DbExport : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("DIR", directory_, "folder to write, made when it is missing").Required();
    store_.AddDatabase(options);
    store_.AddDevice(options, "QEN_DEVICE, else all");
    options.AddFlag("--force", force_, "replace files that exist");
    options.AddJson(json_, "print what was written as JSON Lines (qen.db-export/1), one for each device");
  }

private:
  ExitCode Work(Report& report) override
  {
    auto const database = store_.OpenToRead();
    std::vector<Uuid> const devices = store_.KnownDevices(*database);
    OutputPlan::MakeFolder(directory_);
    for (Uuid const& device : devices)
      Export(*database, device, report);
    return ExitCode::Good;
  }

  OutputFile::Existing Existing() const
  {
    return force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse;
  }

  void Export(DeviceDatabase& database, Uuid const& device, Report& report)
  {
    StoreFolder const folder(directory_ + "/" + device.ToString());
    OutputPlan::MakeFolder(folder.Path());
    // Found out before anything else is written, and kept until all is.
    OutputFile rows(folder.Rows(), Existing());
    rows_ = 0;
    Json head = JsonText::Object(StoreFolder::kSchema);
    head["device_uuid"] = device.ToString();
    std::string const details = database.FindDevice(device).value_or(DeviceDO()).getDeviceDetails();
    head["has_details"] = !details.empty();
    Append(rows, head);
    if (!details.empty())
      WriteText(folder.Device(), details);
    ExportMeasurements(database, device, folder, rows, report);
    ExportTrends(database, device, folder, rows, report);
    ExportValues(database, device, folder, rows);
    rows.Commit();
    if (json_)
    {
      head["rows"] = rows_ - 1;
      JsonText::AddPath(head, "folder", folder.Path());
      report.Data(JsonText::Line(head));
    }
    else
      report.Say("device " + device.ToString() + " -> " + Text::Printable(folder.Path()) + ": " +
                 Text::Counted(rows_ - 1, "row"));
  }

  void ExportMeasurements(DeviceDatabase& database, Uuid const& device, StoreFolder const& folder, OutputFile& rows,
                          Report& report)
  {
    auto const found = database.ListMeasurements(device);
    if (!found.empty())
      OutputPlan::MakeFolder(folder.Path() + "/measurements");
    for (std::size_t i = 0; i < found.size(); ++i)
    {
      std::string const target = folder.Measurement(found[i].measurement);
      report.Progress(i + 1, found.size(), target);
      if (auto const object = database.FindMeasurement(device, found[i].measurement))
      {
        StoredFile::Write(*object, target, Existing());
        Append(rows, StoreFolder::Describe(*object));
      }
    }
  }

  void ExportTrends(DeviceDatabase& database, Uuid const& device, StoreFolder const& folder, OutputFile& rows,
                    Report& report)
  {
    auto const found = database.ListTrends(device);
    if (!found.empty())
      OutputPlan::MakeFolder(folder.Path() + "/trends");
    for (std::size_t i = 0; i < found.size(); ++i)
    {
      std::string const target = folder.Trend(found[i].trend);
      report.Progress(i + 1, found.size(), target);
      auto const object = database.FindTrend(device, found[i].trend);
      if (!object)
        RefuseChanged();
      StoredFile::Write(*object, target, Existing());
      Append(rows, StoreFolder::Describe(*object));
    }
    for (Uuid const& value : database.ListTrendValues(device))
      if (auto const ledger = RetentionLedger(database, device, value).Look())
        Append(rows, StoreFolder::Describe(value, *ledger));
    auto const isSame = [](TrendSummary const& a, TrendSummary const& b) { return a.trend == b.trend; };
    auto const now = database.ListTrends(device);
    if (!std::equal(found.begin(), found.end(), now.begin(), now.end(), isSame))
      RefuseChanged();
  }

  /// Trends that thinning replaced meanwhile would be there twice, or be missing.
  [[noreturn]] static void RefuseChanged()
  {
    throw ToolError(ExitCode::Disk, "trends were replaced while they were written: export again with --force");
  }

  void ExportValues(DeviceDatabase& database, Uuid const& device, StoreFolder const& folder, OutputFile& rows)
  {
    for (Uuid const& config : database.ListStoredValues(device))
    {
      std::string values;
      for (StoredCharacteristicValue const& value : database.ListCharacteristicValues(device, config))
        values += QenTime::TimeStampToString(value.timeStamp) + "," + Text::Shortest(value.value) + "\n";
      if (!values.empty())
        WriteTable("values", folder.Values(config), "time,value\n" + values, config, rows);
      std::string bookmarks;
      for (long long const time : database.ListBookmarks(device, config))
        bookmarks += QenTime::TimeStampToString(time) + "\n";
      if (!bookmarks.empty())
        WriteTable("bookmarks", folder.Bookmarks(config), "time\n" + bookmarks, config, rows);
    }
  }

  void WriteTable(char const* kind, std::string const& target, std::string const& text, Uuid const& config,
                  OutputFile& rows)
  {
    OutputPlan::MakeFolder(std::filesystem::path(target).parent_path().native());
    WriteText(target, text);
    Append(rows, StoreFolder::Describe(kind, config));
  }

  void WriteText(std::string const& target, std::string const& text) const
  {
    OutputFile file(target, Existing());
    file.Write(text.data(), text.size());
    file.Commit();
  }

  void Append(OutputFile& rows, Json const& line)
  {
    std::string const text = JsonText::Line(line) + "\n";
    rows.Write(text.data(), text.size());
    ++rows_;
  }

  std::string directory_;
  bool force_ = false;
  bool json_ = false;
  unsigned long long rows_ = 0; ///< lines of the device
};
} // namespace

extern CommandEntry const kDbExport;
CommandEntry const kDbExport = {"export", "write a store as folders of files", kDetails, &MakeCommand<DbExport>};

#include "DecimalNumber.h"
#include "DetailsDocument.h"
#include "InputFiles.h"
#include "LineReader.h"
#include "StoreBatch.h"
#include "StoreCommand.h"
#include "StoreFolder.h"
#include "StoredObject.h"
#include "Text.h"
#include "TrendTable.h"

#include "platform/QenTime.h"
#include "platform/database/CharacteristicValueDataDO.h"
#include "store/DatabaseException.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace
{
namespace fs = std::filesystem;

constexpr char kDetails[] =
    "Reads a folder that qen db export wrote, of a whole store or of one device, into a store, which is made\n"
    "when it is missing: every row becomes what it was, byte for byte, also how far trends were thinned. Rows\n"
    "that are there already are replaced, others stay. A row that cannot be read is reported and left out.\n"
    "After a run that was cut off give the same command again.\n\n"
    "Examples:\n"
    "  qen db import backup --db sqlite:copy.db";

class DbImport : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("DIR", directory_, "folder that qen db export wrote").Required();
    store_.AddDatabase(options);
    options.AddJson(json_, "print what was read as JSON Lines (qen.db-import/1), one for each device");
  }

private:
  ExitCode Work(Report& report) override
  {
    std::vector<std::string> const folders = FindFolders();
    if (folders.empty())
      throw ToolError(ExitCode::Unreadable, Text::Printable(directory_) +
                                                ": holds no rows.jsonl, nor does a folder in it: no export is whole");
    database_ = store_.OpenOrMake();
    Outcome outcome;
    for (std::string const& folder : folders)
      outcome.Add(ImportGuarded(folder, report));
    return outcome.Result();
  }

  /// What is wrong with a folder is reported; what is wrong with the store ends the run.
  ExitCode ImportGuarded(std::string const& folder, Report& report)
  {
    std::exception_ptr failure;
    ExitCode const code = RunGuarded(report, folder,
                                     [&]
                                     {
                                       try
                                       {
                                         return Import(StoreFolder(folder), report);
                                       }
                                       catch (DatabaseException const&)
                                       {
                                         failure = std::current_exception();
                                         return ExitCode::Disk;
                                       }
                                     });
    if (failure)
      std::rethrow_exception(failure);
    return code;
  }

  std::vector<std::string> FindFolders() const
  {
    std::error_code error;
    if (fs::exists(StoreFolder(directory_).Rows(), error))
      return {directory_};
    std::vector<std::string> folders;
    for (fs::directory_iterator entry(directory_, error), end; !error && entry != end; entry.increment(error))
      if (std::error_code ignored; fs::exists(StoreFolder(entry->path().native()).Rows(), ignored))
        folders.push_back(entry->path().native());
    if (error)
      throw ToolError(ExitCode::Unreadable, Text::Printable(directory_) + ": cannot be listed: " + error.message());
    std::sort(folders.begin(), folders.end());
    return folders;
  }

  ExitCode Import(StoreFolder const& folder, Report& report)
  {
    InputFile const file(folder.Rows());
    LineReader lines(file);
    if (!lines.Next())
      throw ToolError(ExitCode::Unreadable, "rows.jsonl is empty");
    ReadHead(folder, ParseLine(lines));
    trends_.clear();
    StoreBatch batch(*database_);
    Outcome outcome;
    unsigned long long rows = 0;
    while (lines.Next())
    {
      ++rows;
      outcome.Add(RunGuardedRow(report, folder.Rows(), lines.Number(), [&] { ReadRow(folder, lines, batch); }));
    }
    batch.Finish();
    if (json_)
    {
      Json object = JsonText::Object("qen.db-import/1");
      object["device_uuid"] = device_.ToString();
      JsonText::AddPath(object, "folder", folder.Path());
      object["rows"] = rows;
      report.Data(JsonText::Line(object));
    }
    else
      report.Say(Text::Printable(folder.Path()) + " -> device " + device_.ToString() + ": " +
                 Text::Counted(rows, "row"));
    return outcome.Result();
  }

  static Json ParseLine(LineReader const& lines) { return Json::parse(lines.Line()); }

  /// What is wrong with a row is reported; what is wrong with the store ends the run.
  static ExitCode RunGuardedRow(Report& report, std::string const& file, unsigned long long line,
                                std::function<void()> const& work)
  try
  {
    work();
    return ExitCode::Good;
  }
  catch (DatabaseException const&)
  {
    throw;
  }
  catch (nlohmann::json::exception const&)
  {
    report.Error(file, "line " + std::to_string(line) + ": is no row of a store");
    return ExitCode::Unreadable;
  }
  catch (std::exception const& error)
  {
    report.Error(file, "line " + std::to_string(line) + ": " + error.what());
    return ExitCode::Unreadable;
  }

  void ReadHead(StoreFolder const& folder, Json const& head)
  try
  {
    if (head.at("schema").get<std::string>() != StoreFolder::kSchema)
      throw ToolError(ExitCode::Unreadable, "rows.jsonl has the schema " +
                                                Text::Quoted(head.at("schema").get<std::string>()) + ", not " +
                                                StoreFolder::kSchema);
    device_ = Uuid(head.at("device_uuid").get<std::string>());
    DeviceDO device;
    if (head.at("has_details").get<bool>())
      device.setDeviceDetails(DetailsDocument::ReadText(folder.Device()));
    std::optional<DeviceDO> const known = database_->FindDevice(device_);
    if (!known || known->getDeviceDetails() != device.getDeviceDetails())
      database_->PutDevice(device_, device);
  }
  catch (nlohmann::json::exception const&)
  {
    throw ToolError(ExitCode::Unreadable, "rows.jsonl does not begin as an export does");
  }

  void ReadRow(StoreFolder const& folder, LineReader const& lines, StoreBatch& batch)
  {
    Json const line = ParseLine(lines);
    std::string const kind = line.at("kind").get<std::string>();
    if (kind == "measurement")
      ReadMeasurement(folder, line, batch);
    else if (kind == "trend")
      ReadTrend(folder, line, batch);
    else if (kind == "values")
      ReadValues(folder, StoreFolder::ReadUuid(line), batch);
    else if (kind == "bookmarks")
      ReadBookmarks(folder, StoreFolder::ReadUuid(line), batch);
    else if (kind == "retention")
      ReadLedger(line, batch);
    else
      throw ToolError(ExitCode::Unreadable, "is of an unknown kind, " + Text::Quoted(kind));
  }

  static std::vector<unsigned char> ReadRecord(std::string const& path)
  try
  {
    return InputFile(path).ReadAll();
  }
  catch (ToolError const& error)
  {
    throw ToolError(error.Code(), Text::Printable(path) + " " + error.what());
  }

  static std::string ReadDocument(Json const& line, std::string const& record)
  {
    return line.at("has_details").get<bool>() ? DetailsDocument::ReadText(StoreFolder::Document(record))
                                              : std::string();
  }

  void ReadMeasurement(StoreFolder const& folder, Json const& line, StoreBatch& batch)
  {
    MeasurementDataDO object;
    StoreFolder::Read(line, object);
    Uuid const& uuid = object.getCurrentUuid().getUuid();
    object.setBinaryData(ReadRecord(folder.Measurement(uuid)));
    object.setMeasurementDataDetails(ReadDocument(line, folder.Measurement(uuid)));
    batch.Add(object.getBinaryData().size());
    auto const earlier = database_->FindMeasurement(device_, uuid);
    if (!earlier || !StoredObject::AreSame(*earlier, object))
      database_->PutMeasurement(device_, object);
  }

  void ReadTrend(StoreFolder const& folder, Json const& line, StoreBatch& batch)
  {
    TrendDataDO object;
    StoreFolder::Read(line, object);
    Uuid const& uuid = object.getCurrentUuid().getUuid();
    object.setData(ReadRecord(folder.Trend(uuid)));
    object.setTrendDataDetails(ReadDocument(line, folder.Trend(uuid)));
    batch.Add(object.getData().size());
    // Writing a trend has its time thinned again.
    auto const earlier = database_->FindTrend(device_, uuid);
    if (!earlier || !StoredObject::AreSame(*earlier, object))
      database_->PutTrend(device_, object);
    trends_.insert(uuid);
  }

  void ReadValues(StoreFolder const& folder, Uuid const& config, StoreBatch& batch)
  {
    std::string const path = folder.Values(config);
    ForEachTableRow(path,
                    [&](TrendTable const& table)
                    {
                      std::optional<double> const value = DecimalNumber::Nearest(table.Field(1));
                      if (!value)
                        throw ToolError(ExitCode::Unreadable, table.Where(1) + ": is no number");
                      CharacteristicValueDataDO object;
                      object.setMeasurementTimeStamp(QenTime::StringToTimeStamp(table.Field(0)));
                      batch.Add(sizeof(object) + sizeof(*value));
                      database_->PutCharacteristicValue(device_, config, *value, object);
                    });
  }

  void ReadBookmarks(StoreFolder const& folder, Uuid const& config, StoreBatch& batch)
  {
    ForEachTableRow(folder.Bookmarks(config),
                    [&](TrendTable const& table)
                    {
                      long long const time = QenTime::StringToTimeStamp(table.Field(0));
                      batch.Add(sizeof(time));
                      database_->PutBookmark(device_, config, time);
                    });
  }

  static void ForEachTableRow(std::string const& path, std::function<void(TrendTable const&)> const& take)
  try
  {
    InputFile const file(path);
    TrendTable table(file);
    while (table.Next())
      take(table);
  }
  catch (ToolError const& error)
  {
    throw ToolError(error.Code(), Text::Printable(path) + ": " + error.what());
  }

  /// Where there are other trends, too, not all of them have been thinned so far.
  void ReadLedger(Json const& line, StoreBatch& batch)
  {
    Uuid const value = StoreFolder::ReadUuid(line);
    RetentionLedger::State const ledger = StoreFolder::ReadLedger(line);
    if (!ledger.anchor)
      return;
    batch.Add(sizeof(ledger));
    for (TrendSummary const& trend : database_->ListTrends(device_, {value, true, {}}))
      if (trends_.count(trend.trend) == 0)
        return;
    RetentionLedger target(*database_, device_, value);
    target.Take();
    target.Write(ledger);
  }

  std::string directory_;
  bool json_ = false;
  std::unique_ptr<DeviceDatabase> database_;
  Uuid device_;
  std::set<Uuid> trends_; ///< that the folder has
};
} // namespace

extern CommandEntry const kDbImport;
CommandEntry const kDbImport = {"import", "read a store from folders of files", kDetails, &MakeCommand<DbImport>};

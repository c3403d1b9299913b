#include "ArchiveReader.h"
#include "DeviceSettings.h"
#include "InputFiles.h"
#include "Json.h"
#include "SignalFile.h"
#include "StoreBatch.h"
#include "StoreCommand.h"
#include "StoredObject.h"
#include "Text.h"
#include "TimeText.h"
#include "TrendCsv.h"
#include "TrendDocument.h"
#include "TrendFile.h"

#include "platform/database/CharacteristicValueDataDO.h"
#include "store/DatabaseException.h"

#include <filesystem>

namespace
{
constexpr char kArchiveExtension[] = ".qta";
constexpr char const* kExtensions[] = {SignalFile::kExtension, TrendFile::kExtension, kArchiveExtension};
/// More bytes no engine keeps in a row, with some room for the document and the columns.
constexpr unsigned long long kLargestRecord = 900000000;

constexpr char kDetails[] =
    "Stores time signal files (.qts), trend files (.qtr) and the signals of archives (.qta) of one device,\n"
    "each record as it is, with its details document or, where there is none, a new one without a unit.\n"
    "Objects are known by the UUID of the measurement or the trend: one that is there already is replaced;\n"
    "the same file again changes nothing. Everything is checked first; what is damaged is refused, unless\n"
    "--keep-damaged stores it as it is. Trends are closed, which lets them be thinned, unless --open says\n"
    "that they still grow; one that was thinned since comes back, and is thinned again by the next run.\n"
    "--values stores characteristic values from a table, columns time and value, --bookmark a time whose\n"
    "trend entries are kept in preference. A store that does not exist is made, and so is the device.\n"
    "Every few hundred files are one transaction; after a run that was cut off give the same command again.\n\n"
    "Examples:\n"
    "  qen db put signals trends\n"
    "  qen db put more.qta --job b0000000-0000-4000-8000-000000000004 --device d1d00000-0000-4000-8000-000000000001\n"
    "  qen db put --values rms.csv --config c0000000-0000-4000-8000-000000000011\n"
    "  qen db put --bookmark 2026-11-20T17:57:20Z --value c0000000-0000-4000-8000-000000000011";

/// A new row and what it did to the store.
struct Stored
{
  std::string file;
  char const* kind;
  Uuid uuid;
  char const* result;
};

class DbPut : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files, trend files, archives");
    store_.AddDatabase(options);
    store_.AddOneDevice(options);
    options.AddUuid("--job", job_, "job-data entry of signal files [the measurement]");
    options.AddUuid("--base-uuid", base_, "base of the configuration of trends [null]");
    options.AddFlag("--open", open_, "the trends still grow");
    options.AddFlag("--keep-damaged", keepDamaged_, "store what is damaged, too");
    settings_.AddOptions(options, "--details");
    options.AddText("--values", "FILE", values_, "characteristic values, a CSV file");
    options.AddUuid("--config", config_, "their configuration");
    table_.AddRowOptions(options);
    options.AddRepeated("--bookmark", "TIME", "a time to keep in preference; may be repeated",
                        [this](std::string const& text) { bookmarks_.push_back(TimeText::Parse(text)); });
    options.AddUuid("--value", value_, "the characteristic value that bookmarks are of, its configuration");
    options.AddJson(json_, "print what was stored as JSON Lines (qen.db-put/1)");
  }

private:
  ExitCode Work(Report& report) override
  {
    RequireOptions();
    std::optional<DeviceDO> const settings = settings_.IsGiven() ? std::optional(settings_.Read()) : std::nullopt;
    Outcome outcome;
    std::optional<TrendCsvReader::Result> const values = ReadValues(outcome, report);
    if (!store_.NamedDevice() && !store_.Exists())
      throw ToolError(ExitCode::Usage, "a new store needs a device: --device or QEN_DEVICE names it");
    database_ = store_.OpenOrMake();
    device_ = store_.Device(*database_);
    if (settings)
      database_->PutDevice(device_, *settings);
    StoreBatch batch(*database_, [&] { TellOfCommitted(report); });
    if (!arguments_.empty())
      outcome.Add(InputFiles::Expand(arguments_, kExtensions)
                      .ForEach(report, [&](std::string const& file)
                               { return KeepingFailure([&] { return Put(file, batch, report); }); }));
    if (failure_)
    {
      Summarise(0, report);
      std::rethrow_exception(failure_);
    }
    PutValues(values, batch);
    for (long long const bookmark : bookmarks_)
    {
      batch.Add(0);
      database_->PutBookmark(device_, *value_, bookmark);
    }
    batch.Finish();
    Summarise(values ? values->entries.size() : 0, report);
    return outcome.Result();
  }

  void RequireOptions() const
  {
    if (arguments_.empty() && !settings_.IsGiven() && values_.empty() && bookmarks_.empty())
      throw ToolError(ExitCode::Usage, "there is nothing to put: FILE, --settings, --details, --values or --bookmark");
    if (values_.empty() == config_.has_value())
      throw ToolError(ExitCode::Usage, "--values and --config belong together");
    if (bookmarks_.empty() == value_.has_value())
      throw ToolError(ExitCode::Usage, "--bookmark and --value belong together");
  }

  std::optional<TrendCsvReader::Result> ReadValues(Outcome& outcome, Report& report) const
  {
    std::optional<TrendCsvReader::Result> table;
    if (values_.empty())
      return table;
    outcome.Add(RunGuarded(report, values_,
                           [&]
                           {
                             table = table_.Read(InputFile(values_));
                             for (std::string const& remark : table->remarks)
                               report.Note(values_, remark);
                             return ExitCode::Good;
                           }));
    return table;
  }

  /// What goes wrong with the store ends the run, what goes wrong with a file does not.
  ExitCode KeepingFailure(std::function<ExitCode()> const& work)
  try
  {
    return failure_ ? ExitCode::Good : work();
  }
  catch (DatabaseException const&)
  {
    failure_ = std::current_exception();
    return ExitCode::Good;
  }

  ExitCode Put(std::string const& file, StoreBatch& batch, Report& report)
  {
    InputFile const input(file);
    std::string const extension = Text::Lower(std::filesystem::path(file).extension().native());
    if (extension == kArchiveExtension)
      return PutArchive(input, batch, report);
    if (extension == TrendFile::kExtension)
      PutTrend(input, batch, report);
    else
      PutSignal(input, batch);
    return ExitCode::Good;
  }

  static void RequireSize(unsigned long long size)
  {
    if (size > kLargestRecord)
      throw ToolError(ExitCode::Unreadable, "is too large for a store: it has " + std::to_string(size) + " bytes");
  }

  void RequireStorable(Uuid const& uuid, std::vector<Verification::Finding> const& damage) const
  {
    if (uuid.IsNull())
      throw ToolError(ExitCode::Unreadable, "has no UUID by which a store could know it");
    if (!damage.empty() && !keepDamaged_)
      throw ToolError(ExitCode::Unreadable, "is damaged: " + std::string(damage.front().part) + ": " +
                                                damage.front().text + " (--keep-damaged stores it)");
  }

  void PutSignal(InputFile const& input, StoreBatch& batch)
  {
    timesignal_bin_t const header = SignalFile::ReadHeader(input);
    RequireSize(input.Size());
    std::optional<std::string> const path = DetailsDocument::PathBeside(input);
    std::string const details = path ? DetailsDocument::ReadText(*path) : DetailsDocument::Make(header, Details());
    Uuid const job = job_.value_or(SignalFile::ToUuid(header.MeasurementUuid));
    Store(input.Path(), StoredObject::MakeMeasurement(input.ReadAll(), header, job, details), batch);
  }

  void PutTrend(InputFile const& input, StoreBatch& batch, Report& report)
  {
    trend_header_t const header = TrendFile::ReadHeader(input);
    RequireSize(input.Size());
    std::optional<std::string> const path = DetailsDocument::PathBeside(input);
    std::string const details = path ? DetailsDocument::ReadText(*path) : TrendDocument::Make(header);
    TrendDataDO object = TrendFile::MakeObject(input.ReadAll(), header, base_.value_or(Uuid()), details);
    object.setClosed(!open_);
    if (object.getCharacteristicValueConfig().getUuid().IsNull())
      report.Note(input.Path(), "has no configuration; all such trends are taken for those of one value");
    Store(input.Path(), object, batch);
  }

  ExitCode PutArchive(InputFile const& input, StoreBatch& batch, Report& report)
  {
    ArchiveReader reader(input);
    Outcome outcome;
    while (auto entry = reader.Next())
    {
      auto const store = [&]
      {
        RequireSize(entry->size);
        std::unique_ptr<MeasurementDataDO> const object(entry->signal.GetMeasurementDataDO());
        if (job_)
          object->setJobData(UuidEntryDO(0, *job_, false));
        Store(input.Path(), *object, batch);
        return ExitCode::Good;
      };
      outcome.Add(RunGuarded(
          report, input.Path(), [&] { return KeepingFailure(store); },
          "signal " + std::to_string(entry->number) + ": "));
    }
    return outcome.Result();
  }

  void Store(std::string const& file, MeasurementDataDO const& object, StoreBatch& batch)
  {
    Uuid const& uuid = object.getCurrentUuid().getUuid();
    RequireStorable(uuid, StoredObject::FindDamage(object));
    batch.Add(object.getBinaryData().size());
    auto const earlier = database_->FindMeasurement(device_, uuid);
    char const* const result = ResultOf(earlier, object);
    if (result != kUnchanged)
      database_->PutMeasurement(device_, object);
    pending_.push_back({file, "measurement", uuid, result});
  }

  void Store(std::string const& file, TrendDataDO const& object, StoreBatch& batch)
  {
    Uuid const& uuid = object.getCurrentUuid().getUuid();
    RequireStorable(uuid, StoredObject::FindDamage(object));
    batch.Add(object.getData().size());
    auto const earlier = database_->FindTrend(device_, uuid);
    char const* const result = ResultOf(earlier, object);
    if (result != kUnchanged)
      database_->PutTrend(device_, object);
    pending_.push_back({file, "trend", uuid, result});
  }

  template <class T>
  static char const* ResultOf(std::optional<T> const& earlier, T const& object)
  {
    if (!earlier)
      return kStored;
    return StoredObject::AreSame(*earlier, object) ? kUnchanged : kReplaced;
  }

  void PutValues(std::optional<TrendCsvReader::Result> const& table, StoreBatch& batch)
  {
    if (!table)
      return;
    for (trend_entry_t const& entry : table->entries)
    {
      CharacteristicValueDataDO object;
      object.setMeasurementTimeStamp(entry.TimeStamp);
      batch.Add(sizeof(entry));
      database_->PutCharacteristicValue(device_, *config_, entry.Value, object);
    }
  }

  void TellOfCommitted(Report& report)
  {
    for (Stored const& stored : pending_)
    {
      ++(stored.result == kStored ? stored_ : stored.result == kReplaced ? replaced_ : unchanged_);
      report.Detail(stored.file, std::string(stored.kind) + " " + stored.uuid.ToString() + " " + stored.result);
      if (!json_)
        continue;
      Json object = JsonText::Object("qen.db-put/1");
      JsonText::AddPath(object, "file", stored.file);
      object["device_uuid"] = device_.ToString();
      object["kind"] = stored.kind;
      object["uuid"] = stored.uuid.ToString();
      object["result"] = stored.result;
      report.Data(JsonText::Line(object));
    }
    pending_.clear();
  }

  void Summarise(std::size_t values, Report& report) const
  {
    std::vector<std::string> parts;
    if (!arguments_.empty())
      parts = {std::to_string(stored_) + " stored", std::to_string(replaced_) + " replaced",
               std::to_string(unchanged_) + " there already"};
    if (settings_.IsGiven())
      parts.emplace_back("settings of the device");
    if (!values_.empty())
      parts.push_back(Text::Counted(values, "characteristic value"));
    if (!bookmarks_.empty())
      parts.push_back(Text::Counted(bookmarks_.size(), "bookmark"));
    report.Say(store_.Name() + ": " + Text::Join(parts, ", "));
  }

  static constexpr char kStored[] = "stored";
  static constexpr char kReplaced[] = "replaced";
  static constexpr char kUnchanged[] = "unchanged";

  std::vector<std::string> arguments_;
  DeviceSettings settings_;
  std::optional<Uuid> job_, base_, config_, value_;
  std::string values_;
  TrendCsvReader table_;
  std::vector<long long> bookmarks_;
  bool open_ = false;
  bool keepDamaged_ = false;
  bool json_ = false;

  std::unique_ptr<DeviceDatabase> database_;
  Uuid device_;
  std::exception_ptr failure_;
  std::vector<Stored> pending_; ///< of the transaction that is open
  unsigned long long stored_ = 0, replaced_ = 0, unchanged_ = 0;
};
} // namespace

extern CommandEntry const kDbPut;
CommandEntry const kDbPut = {"put", "store files of a device", kDetails, &MakeCommand<DbPut>};

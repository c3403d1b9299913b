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
#include "store/RetentionLedger.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <set>

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
    "the same file again changes nothing, unless it is a trend that was thinned since: then its entries come\n"
    "back beside those that were kept, and where an age class has a count the next run thins them again.\n"
    "A note tells how many trends reach into what was thinned already. Everything is checked first; what is\n"
    "damaged is refused, unless --keep-damaged stores it as it is. Trends are closed, which lets them be\n"
    "thinned, unless --open says that they still grow. The document beside a file comes with it.\n"
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
  bool isLate; ///< a closed trend in a time that has been thinned
};

class DbPut : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files, trend files, archives, folders with them");
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
    options.AddJson(json_, "print what was stored as JSON Lines (qen.db-put/1), the last one with the counts");
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
    if (store_.Exists())
      Open(report);
    if (settings)
      Database(report).PutDevice(device_, *settings);
    if (!arguments_.empty())
      outcome.Add(FindInputs().ForEach(report, [&](std::string const& file)
                                       { return KeepingFailure([&] { return Put(file, report); }); }));
    if (failure_)
    {
      Summarise(0, report);
      std::rethrow_exception(failure_);
    }
    PutValues(values, report);
    PutBookmarks(report);
    if (batch_)
      batch_->Finish();
    Summarise(values ? values->entries.size() : 0, report);
    return outcome.Result();
  }

  /// A store that is not there yet is made when there is something to put.
  void Open(Report& report)
  {
    database_ = store_.OpenOrMake();
    device_ = store_.Device(*database_);
    batch_.emplace(*database_, [this, &report] { TellOfCommitted(report); });
  }

  DeviceDatabase& Database(Report& report)
  {
    if (!database_)
      Open(report);
    return *database_;
  }

  /// Room for a row of so many bytes in the transaction.
  DeviceDatabase& DatabaseFor(unsigned long long byteCount, Report& report)
  {
    DeviceDatabase& database = Database(report);
    batch_->Add(byteCount);
    return database;
  }

  /// Documents come with their records; a pattern may name both.
  InputFiles FindInputs() const
  {
    InputFiles inputs = InputFiles::Expand(arguments_, kExtensions);
    std::set<std::string> documents;
    for (std::string const& file : inputs.files)
      if (!IsDocument(file))
        if (std::optional<std::string> const document = DetailsDocument::PathOf(file))
          documents.insert(*document);
    std::erase_if(inputs.files, [&](std::string const& file) { return IsDocument(file) && documents.contains(file); });
    return inputs;
  }

  static std::string ExtensionOf(std::string const& file)
  {
    return Text::Lower(std::filesystem::path(file).extension().native());
  }
  static bool IsDocument(std::string const& file) { return ExtensionOf(file) == DetailsDocument::kExtension; }

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

  ExitCode Put(std::string const& file, Report& report)
  {
    if (IsDocument(file))
      throw ToolError(ExitCode::Unreadable, "is a details document, which is stored with the file that it belongs to");
    InputFile const input(file);
    std::string const extension = ExtensionOf(file);
    if (extension == kArchiveExtension)
      return PutArchive(input, report);
    if (extension == TrendFile::kExtension)
      PutTrend(input, report);
    else
      PutSignal(input, report);
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

  void PutSignal(InputFile const& input, Report& report)
  {
    timesignal_bin_t const header = SignalFile::ReadHeader(input);
    RequireSize(input.Size());
    std::optional<std::string> const path = DetailsDocument::PathBeside(input);
    std::string const details = path ? DetailsDocument::ReadText(*path) : DetailsDocument::Make(header, Details());
    Uuid const job = job_.value_or(SignalFile::ToUuid(header.MeasurementUuid));
    Store(input.Path(), StoredObject::MakeMeasurement(input.ReadAll(), header, job, details), report);
  }

  void PutTrend(InputFile const& input, Report& report)
  {
    trend_header_t const header = TrendFile::ReadHeader(input);
    RequireSize(input.Size());
    std::optional<std::string> const path = DetailsDocument::PathBeside(input);
    std::string const details = path ? DetailsDocument::ReadText(*path) : TrendDocument::Make(header);
    TrendDataDO object = TrendFile::MakeObject(input.ReadAll(), header, base_.value_or(Uuid()), details);
    object.setClosed(!open_);
    if (object.getCharacteristicValueConfig().getUuid().IsNull())
      report.Note(input.Path(), "has no configuration; all such trends are taken for those of one value");
    Store(input.Path(), object, report);
  }

  ExitCode PutArchive(InputFile const& input, Report& report)
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
        Store(input.Path(), *object, report);
        return ExitCode::Good;
      };
      outcome.Add(RunGuarded(
          report, input.Path(), [&] { return KeepingFailure(store); },
          "signal " + std::to_string(entry->number) + ": "));
    }
    return outcome.Result();
  }

  void Store(std::string const& file, MeasurementDataDO const& object, Report& report)
  {
    Uuid const& uuid = object.getCurrentUuid().getUuid();
    RequireStorable(uuid, StoredObject::FindDamage(object));
    DeviceDatabase& database = DatabaseFor(object.getBinaryData().size(), report);
    auto const earlier = database.FindMeasurement(device_, uuid);
    char const* const result = ResultOf(earlier, object);
    if (result != kUnchanged)
      database.PutMeasurement(device_, object);
    pending_.push_back({file, "measurement", uuid, result, false});
  }

  void Store(std::string const& file, TrendDataDO const& object, Report& report)
  {
    Uuid const& uuid = object.getCurrentUuid().getUuid();
    RequireStorable(uuid, StoredObject::FindDamage(object));
    DeviceDatabase& database = DatabaseFor(object.getData().size(), report);
    auto const earlier = database.FindTrend(device_, uuid);
    char const* const result = ResultOf(earlier, object);
    bool const isLate = result != kUnchanged && IsLate(object);
    if (result != kUnchanged)
      database.PutTrend(device_, object);
    pending_.push_back({file, "trend", uuid, result, isLate});
  }

  /// Whether a closed trend reaches into what was thinned before this call.
  bool IsLate(TrendDataDO const& object)
  {
    if (!object.getClosed() || object.getNumSamples() == 0)
      return false;
    Uuid const& value = object.getCharacteristicValueConfig().getUuid();
    auto const known = thinnedUntil_.find(value);
    // Looked up once: putting trends sets it back.
    long long const until = known != thinnedUntil_.end() ? known->second : thinnedUntil_[value] = ThinnedUntil(value);
    return object.getFirstTimeStamp() < until;
  }

  long long ThinnedUntil(Uuid const& value)
  {
    long long until = std::numeric_limits<long long>::min();
    auto const ledger = RetentionLedger(*database_, device_, value).Look();
    if (!ledger || !ledger->anchor)
      return until;
    for (RetentionLedger::AgeClass const& ageClass : ledger->ageClasses)
      if (ageClass.count != 0)
        until = std::max(until, ageClass.until);
    return until;
  }

  template <class T>
  static char const* ResultOf(std::optional<T> const& earlier, T const& object)
  {
    if (!earlier)
      return kStored;
    return StoredObject::AreSame(*earlier, object) ? kUnchanged : kReplaced;
  }

  void PutBookmarks(Report& report)
  {
    for (long long const bookmark : bookmarks_)
      DatabaseFor(0, report).PutBookmark(device_, *value_, bookmark);
  }

  void PutValues(std::optional<TrendCsvReader::Result> const& table, Report& report)
  {
    if (!table)
      return;
    for (trend_entry_t const& entry : table->entries)
    {
      CharacteristicValueDataDO object;
      object.setMeasurementTimeStamp(entry.TimeStamp);
      DatabaseFor(sizeof(entry), report).PutCharacteristicValue(device_, *config_, entry.Value, object);
    }
  }

  void TellOfCommitted(Report& report)
  {
    for (Stored const& stored : pending_)
    {
      ++(stored.result == kStored ? stored_ : stored.result == kReplaced ? replaced_ : unchanged_);
      late_ += stored.isLate;
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
    if (late_ != 0)
      report.Note(store_.Name(), Text::Counted(late_, "trend") + (late_ == 1 ? " reaches" : " reach") +
                                     " into what was thinned already; the next run thins that again");
    if (json_)
      report.Data(JsonText::Line(DescribeAll(values)));
  }

  Json DescribeAll(std::size_t values) const
  {
    Json object = JsonText::Object("qen.db-put/1");
    object["device_uuid"] = device_.ToString();
    object["kind"] = "all";
    object["stored"] = stored_;
    object["replaced"] = replaced_;
    object["unchanged"] = unchanged_;
    object["trends_in_thinned_time"] = late_;
    object["characteristic_value_count"] = values;
    object["bookmark_count"] = bookmarks_.size();
    return object;
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
  std::optional<StoreBatch> batch_;
  std::map<Uuid, long long> thinnedUntil_; ///< of characteristic values, as this call found them
  unsigned long long stored_ = 0, replaced_ = 0, unchanged_ = 0, late_ = 0;
};
} // namespace

extern CommandEntry const kDbPut;
CommandEntry const kDbPut = {"put", "store files of a device", kDetails, &MakeCommand<DbPut>};

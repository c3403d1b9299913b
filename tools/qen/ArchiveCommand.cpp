#include "ArchiveReader.h"
#include "ArchiveWriter.h"
#include "CommandGroup.h"
#include "DetailsDocument.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "OutputPlan.h"
#include "SignalFile.h"
#include "SignalJson.h"
#include "SignalOutput.h"
#include "Text.h"
#include "Verification.h"

#include "platform/QenTime.h"

#include <map>

namespace
{
constexpr char const* kSignalExtensions[] = {SignalFile::kExtension};
constexpr char const* kArchiveExtensions[] = {".qta"};

constexpr char kDetails[] =
    "An archive keeps many signals with all their details (unit, validators, trigger, characteristic values,\n"
    "job-data entry) in one file, by convention NAME.qta: each as the device's archive streams write it, one\n"
    "after another. Signals stand in it as they are in their files, compressed ones compressed.\n\n"
    "qen archive create --help, list --help and extract --help explain more.\n\n"
    "Examples:\n"
    "  qen archive create week.qta signals\n"
    "  qen archive list week.qta\n"
    "  qen archive extract week.qta -o back";

constexpr char kCreateDetails[] =
    "Takes time signal files with the details documents beside them; damaged ones are reported and left out.\n"
    "The archive appears complete or not at all. One signal at a time is held in memory. Details keep all\n"
    "digits that their documents have.\n\n"
    "Examples:\n"
    "  qen archive create week.qta pump.qts signals\n"
    "  qen archive create - signals | gzip > week.qta.gz";

constexpr char kListDetails[] =
    "Reads each archive and shows every signal in it: where it begins, measurement, time, samples, unit. A\n"
    "signal whose checksums are wrong is named and the list goes on behind it; where an archive is cut or\n"
    "cannot be read on, a message says at which byte. Either makes the exit status 1. The checksums guard\n"
    "header and samples, not the details.\n\n"
    "Examples:\n"
    "  qen archive list week.qta\n"
    "  qen archive list --json week.qta";

constexpr char kExtractDetails[] =
    "Makes a time signal file and its details document of each signal, named by the measurement: UUID.qts and\n"
    "UUID.xml, then UUID-2.qts and so on when a measurement repeats. Files that exist stay unless --force is\n"
    "given. A signal whose checksums are wrong is reported and not extracted; from a cut or damaged archive\n"
    "every whole signal before the damage is, and a message says at which byte it lies. Either makes the exit\n"
    "status 1. Documents keep numbers with 6 significant digits; a note says when that changes one. The\n"
    "job-data entry has no place in these files.\n\n"
    "Examples:\n"
    "  qen archive extract week.qta -o back\n"
    "  gunzip < week.qta.gz | qen archive extract - -o back";

class CreateAction : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("ARCHIVE", archive_, "the archive file to make; - is standard output").Required();
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    options.AddUuid("--job", job_, "job-data entry of the signals [the measurement of each]");
    options.AddFlag("--force", force_, "replace an archive that exists");
    options.AddJson(json_, "print what was taken as JSON Lines (qen.archive-create/1)");
  }

  ExitCode Run(Report& report) override
  {
    ArchiveWriter writer(archive_, force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    ExitCode const code = InputFiles::Expand(arguments_, kSignalExtensions)
                              .ForEach(report, [&](std::string const& file) { return Append(file, writer, report); });
    if (writer.Failed())
      return ExitCode::Disk;
    if (writer.Count() == 0)
      return code;
    writer.Commit();
    report.Say(OutputFile::Show(archive_) + ": " + Text::Counted(writer.Count(), "signal") + ", " +
               Text::Counted(writer.Size(), "byte"));
    return code;
  }

private:
  ExitCode Append(std::string const& file, ArchiveWriter& writer, Report& report) const
  {
    if (writer.Failed()) // said once is enough
      return ExitCode::Disk;
    InputFile const input(file);
    auto const document = DetailsDocument::Of(input, SignalFile::ReadHeader(input));
    TimeSignal const signal = SignalFile::Read(input, job_, document);
    unsigned long long const position = writer.Size();
    writer.Append(signal);
    report.Detail(file, "at byte " + std::to_string(position) + ", details: " + Details::Of(signal).Summary());
    if (!json_)
      return ExitCode::Good;
    Json object = JsonText::Object("qen.archive-create/1");
    JsonText::AddPath(object, "input", file);
    JsonText::AddPath(object, "archive", archive_);
    object["number"] = writer.Count();
    object["position"] = position;
    object["size"] = writer.Size() - position;
    object["measurement_uuid"] = SignalFile::ToUuid(signal.GetHeader()->MeasurementUuid).ToString();
    object["job_uuid"] = signal.GetJobDataUuid().ToString();
    report.Data(JsonText::Line(object));
    return ExitCode::Good;
  }

  std::string archive_;
  std::vector<std::string> arguments_;
  std::optional<Uuid> job_;
  bool force_ = false;
  bool json_ = false;
};

/// Reads archives from their start and hands on signal after signal.
class ReadingAction : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("ARCHIVE", archives_, "archive files; - is standard input").Required();
  }

  ExitCode Run(Report& report) override
  {
    return InputFiles::Expand(archives_, kArchiveExtensions)
        .ForEach(report, [&](std::string const& archive) { return Read(archive, report); });
  }

protected:
  virtual ExitCode Take(std::string const& archive, ArchiveReader::Entry& entry, Verification const& verification,
                        Report& report) = 0;

  /// "signal 3 (byte 812)"
  static std::string Name(ArchiveReader::Entry const& entry)
  {
    return "signal " + std::to_string(entry.number) + " (byte " + std::to_string(entry.position) + ")";
  }

private:
  ExitCode Read(std::string const& archive, Report& report)
  {
    InputFile const input(archive);
    ArchiveReader reader(input);
    Outcome outcome;
    std::size_t count = 0;
    auto const takeAll = [&]
    {
      while (auto entry = reader.Next())
      {
        ++count;
        outcome.Add(RunGuarded(
            report, archive, [&] { return Take(archive, *entry, Verify(entry->signal), report); },
            Name(*entry) + ": "));
      }
      return ExitCode::Good;
    };
    ExitCode const reading = RunGuarded(report, archive, takeAll);
    if (reading != ExitCode::Good || count == 0)
      outcome.Add(reading);
    report.Say(Text::Printable(archive) + ": " + Text::Counted(count, "signal"));
    return outcome.Result();
  }

  std::vector<std::string> archives_;
};

class ListAction : public ReadingAction
{
public:
  void Define(OptionSet& options) override
  {
    ReadingAction::Define(options);
    options.AddJson(json_, "print JSON Lines (qen.archive-list/1)");
  }

protected:
  ExitCode Take(std::string const& archive, ArchiveReader::Entry& entry, Verification const& verification,
                Report& report) override
  {
    if (json_)
      report.Data(Describe(archive, entry, verification));
    else
      Print(entry, report);
    for (Verification::Finding const& finding : verification.damage)
      if (!json_)
        report.Data("        DAMAGED  " + std::string(finding.part) + ": " + finding.text);
    return verification.IsGood() ? ExitCode::Good : ExitCode::Difference;
  }

private:
  void Print(ArchiveReader::Entry const& entry, Report& report)
  {
    timesignal_bin_t const& header = *entry.signal.GetHeader();
    if (entry.number == 1)
      report.Data("signal          byte  measurement                           time                           samples");
    std::string const unit = entry.signal.GetUnitString();
    report.Data(Text::Right(std::to_string(entry.number), 6) + Text::Right(std::to_string(entry.position), 14) + "  " +
                SignalFile::ToUuid(header.MeasurementUuid).ToString() + "  " +
                QenTime::TimeStampToString(header.TimeStamp) + "  " + std::to_string(header.SampleCount) + " " +
                Names::Show(Names::SampleTypes(), header.SampleType) +
                (unit.empty() ? "" : ", " + Text::Printable(unit)));
  }

  static std::string Describe(std::string const& archive, ArchiveReader::Entry const& entry,
                              Verification const& verification)
  {
    Json object = JsonText::Object("qen.archive-list/1");
    JsonText::AddPath(object, "archive", archive);
    object["number"] = entry.number;
    object["position"] = entry.position;
    object["size"] = entry.size;
    object["good"] = verification.IsGood();
    object["damage"] = SignalJson::OfFindings(verification.damage);
    SignalJson::AddHeader(object, *entry.signal.GetHeader());
    object["details"] = SignalJson::OfDetails(Details::Of(entry.signal));
    object["job_uuid"] = entry.signal.GetJobDataUuid().ToString();
    return JsonText::Line(object);
  }

  bool json_ = false;
};

class ExtractAction : public ReadingAction
{
public:
  void Define(OptionSet& options) override
  {
    ReadingAction::Define(options);
    options.AddText("-o,-d,--directory", "DIR", directory_,
                    "write into this folder, which is made when it is missing [.]");
    options.AddFlag("--force", force_, "replace files that exist");
    options.AddJson(json_, "print what was made as JSON Lines (qen.archive-extract/1)");
  }

protected:
  ExitCode Take(std::string const& archive, ArchiveReader::Entry& entry, Verification const& verification,
                Report& report) override
  {
    if (!verification.IsGood())
    {
      report.Error(archive, Name(entry) + " is not extracted: " + verification.damage.front().part + ": " +
                                verification.damage.front().text);
      return ExitCode::Difference;
    }
    timesignal_bin_t const& header = *entry.signal.GetHeader();
    std::string const target = Target(SignalFile::ToUuid(header.MeasurementUuid));
    SignalOutput output(target, force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
                        SignalOutput::Document::Always);
    output.Write(entry.signal, header.Compression);
    output.Commit();
    for (std::string const& remark : RoundedNumbers(Details::Of(entry.signal)))
      report.Note(target, remark);
    if (json_)
      report.Data(Describe(archive, entry, target, output));
    else
      report.Say(Text::Printable(archive) + ": " + Name(entry) + " -> " + Text::Printable(target) + ": " +
                 Text::Counted(header.SampleCount, Names::Show(Names::SampleTypes(), header.SampleType) + " sample") +
                 ", details: " + Text::Printable(Details::Of(entry.signal).Summary()));
    return ExitCode::Good;
  }

private:
  std::string Target(Uuid const& measurement)
  {
    OutputPlan::MakeFolder(directory_);
    std::size_t const repetition = ++repetitions_[measurement];
    return directory_ + "/" + measurement.ToString() + (repetition > 1 ? "-" + std::to_string(repetition) : "") +
           SignalFile::kExtension;
  }

  static std::string Describe(std::string const& archive, ArchiveReader::Entry const& entry, std::string const& target,
                              SignalOutput const& output)
  {
    Json object = JsonText::Object("qen.archive-extract/1");
    JsonText::AddPath(object, "archive", archive);
    object["number"] = entry.number;
    object["position"] = entry.position;
    JsonText::AddPath(object, "file", target);
    JsonText::AddPath(object, "details_file", output.DocumentPath());
    object["measurement_uuid"] = SignalFile::ToUuid(entry.signal.GetHeader()->MeasurementUuid).ToString();
    object["job_uuid"] = entry.signal.GetJobDataUuid().ToString();
    return JsonText::Line(object);
  }

  std::string directory_ = ".";
  std::map<Uuid, std::size_t> repetitions_;
  bool force_ = false;
  bool json_ = false;
};

constexpr CommandEntry kCreate = {"create", "put time signal files into a new archive", kCreateDetails,
                                  &MakeCommand<CreateAction>};
constexpr CommandEntry kList = {"list", "show the signals of archives", kListDetails, &MakeCommand<ListAction>};
constexpr CommandEntry kExtract = {"extract", "make time signal files of the signals of archives", kExtractDetails,
                                   &MakeCommand<ExtractAction>};
constexpr CommandEntry const* kActions[] = {&kCreate, &kList, &kExtract};

std::unique_ptr<Command> MakeArchiveCommand() { return std::make_unique<CommandGroup>("Commands", kActions); }
} // namespace

extern CommandEntry const kArchiveCommand;
CommandEntry const kArchiveCommand = {"archive", "keep many signals with their details in one file", kDetails,
                                      &MakeArchiveCommand};

#include "Command.h"
#include "Importer.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "OutputPlan.h"
#include "SignalFile.h"
#include "SignalOutput.h"
#include "Text.h"

#include "platform/QenTime.h"

namespace
{
constexpr char const* kExtensions[] = {".wav", ".rf64", ".w64", ".aif", ".aiff", ".csv"};

constexpr char kDetails[] =
    "WAV samples keep their exact type: 8 bits uint8, 16 bits int16, 24 and 32 bits int32 (24-bit counts\n"
    "unchanged), float float32, double float64. RF64, Wave64 and AIFF files are read too; compressed\n"
    "encodings are refused. A file of several channels gives NAME-1.qts, NAME-2.qts, ...\n\n"
    "CSV: one value per line, or one --column of several that comma, semicolon or tab separate. A first\n"
    "line without numbers names the columns; lines that begin with # are skipped. Integers become the\n"
    "smallest of int16, int32, int64 that holds all, other numbers float64, unless --type says otherwise.\n\n"
    "Beside each NAME.qts lies its details document NAME.xml, which holds what the signal file has no room\n"
    "for: the unit, and what qen annotate adds. The unit is that of --unit, else what the name of the CSV\n"
    "column has in brackets: acceleration [m/s2], velocity (mm/s). Keep both files together; --force\n"
    "replaces both.\n\n"
    "Without -o and -d each result lies beside its input. The default of no compression keeps the samples\n"
    "directly readable at byte 120; with zlib or gzip vibration shrinks by a fifth or less and takes longer\n"
    "to read.\n\n"
    "Examples:\n"
    "  qen import pump.wav --scale 0.001 --unit g        pump.qts and pump.xml, counts of 0.001 g\n"
    "  qen import run.csv --rate 25600 -o run.qts        a column of numbers taken at 25.6 kHz\n"
    "  qen import log.csv --column rms --delta-x 900     one column, a value every 900 s\n"
    "  qen import rig.wav --channel 2 --compression zlib -d signals";

class ImportCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "WAV and CSV files").Required();
    importer_.AddReadingOptions(options);
    importer_.AddHeaderOptions(options);
    options.AddCompression(compression_, "none, zlib or gzip [none]");
    plan_.AddOptions(options);
    options.AddJson(json_, "print what was made as JSON Lines (qen.import/1)");
  }

  ExitCode Run(Report& report) override
  {
    InputFiles const inputs = InputFiles::Expand(arguments_, kExtensions);
    RequireSingleResult(inputs.files.size());
    return inputs.ForEach(report, [&](std::string const& file) { return Import(file, report); });
  }

private:
  void RequireSingleResult(std::size_t results) const
  {
    plan_.RequireRoomFor(results);
    if (importer_.HasMeasurement() && results > 1)
      throw ToolError(ExitCode::Usage,
                      "--measurement names one measurement for " + std::to_string(results) + " results");
  }

  ExitCode Import(std::string const& file, Report& report)
  {
    InputFile const input(file);
    Recording const recording = importer_.Read(input);
    RequireSingleResult(recording.channels.size());
    for (std::string const& remark : recording.remarks)
      report.Note(file, remark);
    for (std::size_t c = 0; c < recording.channels.size(); ++c)
      ImportChannel(file, recording, c, report);
    return ExitCode::Good;
  }

  void ImportChannel(std::string const& file, Recording const& recording, std::size_t channel, Report& report)
  {
    std::size_t const number = recording.firstChannel + channel;
    std::string const suffix = recording.channels.size() > 1 ? "-" + std::to_string(number) : "";
    std::string const target = plan_.Target(file, suffix, SignalFile::kExtension);
    TimeSignal signal = importer_.MakeSignal(recording, channel);
    SignalOutput output(target, plan_.Existing(), SignalOutput::Document::Always);
    output.Write(signal, compression_.value_or(no_compression));
    output.Commit();
    std::string const& unit = signal.GetUnitString();
    if (!output.HasDocument() && !unit.empty())
      report.Note(file, "the unit " + unit + " is left out: no details document goes to " + OutputFile::Show(target));
    timesignal_bin_t const& header = *signal.GetHeader();
    report.Detail(target, "measurement " + SignalFile::ToUuid(header.MeasurementUuid).ToString() + " at " +
                              QenTime::TimeStampToString(header.TimeStamp) + ", " + SignalFile::Summary(header));
    if (json_)
      report.Data(Describe(file, target, output, number, recording, signal));
    else
      report.Say(Text::Printable(file) + " -> " + OutputFile::Show(target) + ": " +
                 Text::Counted(header.SampleCount, Names::Show(Names::SampleTypes(), header.SampleType) + " sample") +
                 ", " + SignalFile::ShowRate(header) + (unit.empty() ? "" : ", unit " + Text::Printable(unit)));
  }

  static std::string Describe(std::string const& file, std::string const& target, SignalOutput const& output,
                              std::size_t channel, Recording const& recording, TimeSignal const& signal)
  {
    timesignal_bin_t const& header = *signal.GetHeader();
    Json object = JsonText::Object("qen.import/1");
    JsonText::AddPath(object, "input", file);
    JsonText::AddPath(object, "file", target);
    JsonText::AddOptionalPath(object, "details_file", output.DocumentPath());
    object["channel"] = channel;
    object["label"] = recording.label.empty() ? Json(nullptr) : Json(recording.label);
    object["unit"] = signal.GetUnitString();
    object["measurement_uuid"] = SignalFile::ToUuid(header.MeasurementUuid).ToString();
    JsonText::AddEnumerator(object, "sample_type", Names::Find(Names::SampleTypes(), header.SampleType),
                            header.SampleType);
    object["sample_count"] = header.SampleCount;
    object["delta_x"] = header.DeltaX;
    object["file_size"] = kTimeSignalHeaderSize + header.DataArrayByteCount;
    return JsonText::Line(object);
  }

  std::vector<std::string> arguments_;
  Importer importer_;
  OutputPlan plan_;
  std::optional<compression32_t> compression_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kImportCommand;
CommandEntry const kImportCommand = {"import", "make time signal files of WAV and CSV recordings", kDetails,
                                     &MakeCommand<ImportCommand>};

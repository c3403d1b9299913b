#include "Command.h"
#include "DetailsDocument.h"
#include "Exporter.h"
#include "InputFiles.h"
#include "Json.h"
#include "OutputPlan.h"
#include "SignalFile.h"
#include "Text.h"

#include <filesystem>

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "WAV files take the raw samples in the encoding of their type: uint8, int16, int32, float32, float64.\n"
    "Their rate is 1 / spacing, which must be a whole number of Hz unless --rate says what to write.\n\n"
    "CSV files take every type, one number a line below a line that names the column, each with the fewest\n"
    "digits that read back exactly. --raw, the default, writes the samples as they are stored, so that\n"
    "import and export give the same numbers; --physical writes (sample - offset) x scale.\n\n"
    "The unit comes from the details document beside the input, when there is one. A CSV column of physical\n"
    "values (or of raw ones that are the physical values) has it behind its name, physical [m/s2], where\n"
    "qen import finds it again; WAV files have no place for it.\n\n"
    "Without -o and -d each result lies beside its input. -f may be left out when -o ends in .wav or .csv.\n\n"
    "Examples:\n"
    "  qen export pump.qts -f wav\n"
    "  qen export pump.qts -f csv --physical --time-column -o - | head\n"
    "  qen export signals -f wav -d recordings";

class ExportCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    options.AddChoice("-f,--format", {"wav", "csv"}, format_, "what to write");
    options.AddFlag("--raw", raw_, "CSV: samples as they are stored (the default)");
    options.AddFlag("--physical", options_.physical, "CSV: physical values").Excludes("--raw");
    options.AddFlag("--time-column", options_.timeColumn, "CSV: a first column with index x spacing");
    options.AddFlag("--no-header", options_.noHeader, "CSV: no line that names the columns");
    options.AddChoice("--encoding", {"pcm24"}, encoding_, "WAV: pcm24 for int32 samples that all fit 24 bits");
    options.AddCount("--rate", options_.rate, "WAV: the rate to write, in Hz");
    plan_.AddOptions(options);
    options.AddJson(json_, "print what was made as JSON Lines (qen.export/1)");
  }

  ExitCode Run(Report& report) override
  {
    ChooseFormat();
    RequireFittingOptions();
    InputFiles const inputs = InputFiles::Expand(arguments_, kExtensions);
    plan_.RequireRoomFor(inputs.files.size());
    return inputs.ForEach(report, [&](std::string const& file) { return Export(file, report); });
  }

private:
  void ChooseFormat()
  {
    std::string const extension = Text::Lower(std::filesystem::path(plan_.File()).extension().native());
    if (format_.empty() && (extension == ".wav" || extension == ".csv"))
      format_ = extension.substr(1);
    if (format_.empty())
      throw ToolError(ExitCode::Usage, "export needs -f wav or -f csv");
    options_.pcm24 = !encoding_.empty();
  }

  void RequireFittingOptions() const
  {
    if (format_ == "wav" && (raw_ || options_.physical || options_.timeColumn || options_.noHeader))
      throw ToolError(ExitCode::Usage,
                      "WAV files take raw samples only: --raw, --physical, --time-column and --no-header are for CSV");
    if (format_ == "csv" && (options_.pcm24 || options_.rate))
      throw ToolError(ExitCode::Usage, "--encoding and --rate are for WAV");
  }

  ExitCode Export(std::string const& file, Report& report)
  {
    InputFile const input(file);
    auto const document = DetailsDocument::Of(input, SignalFile::ReadHeader(input));
    TimeSignal signal = SignalFile::Read(input, std::nullopt, document);
    report.Detail(file, SignalFile::Summary(*signal.GetHeader()));
    std::string const target = plan_.Target(file, "", "." + format_);
    OutputFile output(target, plan_.Existing());
    if (format_ == "wav")
      Exporter::WriteWav(signal, options_, output);
    else
      Exporter::WriteCsv(signal, options_, output);
    output.Commit();
    timesignal_bin_t const& header = *signal.GetHeader();
    if (!options_.physical && (header.ScalingFactor != 1 || header.Offset != 0))
      report.Note(file, "raw samples were written: physical value = (sample - " + Text::Shortest(header.Offset) +
                            ") x " + Text::Shortest(header.ScalingFactor) +
                            (signal.GetUnitString().empty() ? "" : " " + signal.GetUnitString()));
    if (json_)
      report.Data(Describe(file, target, signal));
    else
      report.Say(Text::Printable(file) + " -> " + OutputFile::Show(target) + ": " +
                 Text::Counted(header.SampleCount, "sample"));
    return ExitCode::Good;
  }

  std::string Describe(std::string const& file, std::string const& target, TimeSignal const& signal) const
  {
    timesignal_bin_t const& header = *signal.GetHeader();
    Json object = JsonText::Object("qen.export/1");
    JsonText::AddPath(object, "input", file);
    JsonText::AddPath(object, "file", target);
    object["format"] = format_;
    object["values"] = options_.physical ? "physical" : "raw";
    object["unit"] = signal.GetUnitString();
    object["sample_count"] = header.SampleCount;
    object["scaling_factor"] = header.ScalingFactor;
    object["offset"] = header.Offset;
    return JsonText::Line(object);
  }

  std::vector<std::string> arguments_;
  OutputPlan plan_;
  Exporter::Options options_;
  std::string format_;
  std::string encoding_;
  bool raw_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kExportCommand;
CommandEntry const kExportCommand = {"export", "write WAV or CSV files of time signal files", kDetails,
                                     &MakeCommand<ExportCommand>};

#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "OutputPlan.h"
#include "SameValues.h"
#include "SignalFile.h"
#include "SignalOutput.h"
#include "Text.h"
#include "Verification.h"

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "Changes the sample type, moves the mean of the samples into the header's offset, or changes the\n"
    "compression; values are never rescaled and all other header fields stay. Types only become wider:\n"
    "int8 to int16, int32 to float64 and so on; a type that cannot hold the range of the old one is refused.\n\n"
    "A details document beside the input (NAME.xml) is kept: the result gets one that fits its new header.\n"
    "--in-place replaces both; a document that is damaged or belongs to another signal stops the conversion.\n\n"
    "--check reads the written file back before it takes its name, verifies it and compares every sample\n"
    "with the input; a difference (64-bit integers can be too long for a floating-point type) leaves no\n"
    "file and makes the exit status 1.\n\n"
    "Examples:\n"
    "  qen convert pump.qts --remove-offset --compression zlib -o small.qts\n"
    "  qen convert signals --type float64 --check -d wide\n"
    "  qen convert signals --compression gzip --in-place";

class ConvertCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    options.AddSampleType(type_, "sample type of the result [as it is]");
    options.AddFlag("--remove-offset", removeOffset_, "centre the samples on zero; the physical values stay");
    options.AddCompression(compression_, "none, zlib or gzip [as it is]");
    options.AddFlag("--check", check_, "prove that the result holds the same values");
    options.AddUuid("--job", job_, "job-data entry [the measurement]; files do not carry it");
    plan_.AddOptions(options);
    options.AddFlag("--in-place", inPlace_, "replace the inputs").Excludes("--output").Excludes("--directory");
    options.AddJson(json_, "print what was made as JSON Lines (qen.convert/1)");
  }

  ExitCode Run(Report& report) override
  {
    if (!inPlace_ && !plan_.HasFile() && !plan_.HasDirectory())
      throw ToolError(ExitCode::Usage, "convert needs -o, -d or --in-place");
    InputFiles const inputs = InputFiles::Expand(arguments_, kExtensions);
    plan_.RequireRoomFor(inputs.files.size());
    return inputs.ForEach(report, [&](std::string const& file) { return Convert(file, report); });
  }

private:
  ExitCode Convert(std::string const& file, Report& report)
  {
    if (inPlace_ && file == "-")
      throw ToolError(ExitCode::Usage, "standard input has no place");
    InputFile const input(file);
    auto const document = DetailsDocument::Of(input, SignalFile::ReadHeader(input));
    TimeSignal signal = SignalFile::Read(input, job_, document);
    std::optional<TimeSignal> original;
    if (check_)
      original = signal; // shares the samples until they change
    report.Detail(file, "before: " + SignalFile::Summary(*signal.GetHeader()));
    compression32_t const compression = compression_.value_or(signal.GetHeader()->Compression);
    Change(signal);

    std::string const target = inPlace_ ? file : plan_.Target(file, "", SignalFile::kExtension);
    SignalOutput output(target, inPlace_ ? OutputFile::Existing::Replace : plan_.Existing(),
                        document ? SignalOutput::Document::Always : SignalOutput::Document::WhenOneIsThere);
    output.Write(signal, compression);
    if (original && !HoldsSameValues(*original, output.TemporaryPath(), report, file))
      return ExitCode::Difference;
    output.Commit();
    RemarkDetails(file, document, output, report);
    if (json_)
      report.Data(Describe(file, target, output, *signal.GetHeader()));
    else
      report.Say(Text::Printable(file) + " -> " + OutputFile::Show(target) + ": " +
                 SignalFile::Summary(*signal.GetHeader()));
    return ExitCode::Good;
  }

  static void RemarkDetails(std::string const& file, std::optional<DetailsDocument> const& document,
                            SignalOutput const& output, Report& report)
  {
    if (!document)
      return;
    if (!output.HasDocument() && !document->Contents().IsEmpty())
      report.Note(file, "its details are left out (" + document->Contents().Summary() + "): no document goes there");
    for (std::string const& remark : RoundedNumbers(document->Contents()))
      report.Note(file, remark);
  }

  void Change(TimeSignal& signal) const
  {
    if (!removeOffset_ && !type_)
      return;
    signal.Uncompress();
    if (removeOffset_)
      signal.ExtractOffset();
    if (type_)
      signal.Convert(*type_);
  }

  bool HoldsSameValues(TimeSignal before, std::string const& writtenPath, Report& report, std::string const& file) const
  {
    TimeSignal after;
    Verification const verification = ReadBack(writtenPath, after);
    if (!verification.IsGood())
    {
      report.Error(file, "not converted: the written file is damaged: " + verification.damage.front().text);
      return false;
    }
    before.Uncompress();
    after.Uncompress();
    if (auto const difference = FirstDifference(before, after))
    {
      report.Error(file, "not converted: sample " + std::to_string(*difference) + " would not hold the same value");
      return false;
    }
    return true;
  }

  /// Verifies a written file and, when it is good, reads it.
  Verification ReadBack(std::string const& path, TimeSignal& signal) const
  try
  {
    InputFile const written(path);
    Verification verification = Verify(written);
    if (verification.IsGood())
      signal = SignalFile::Read(written, job_);
    return verification;
  }
  catch (std::bad_alloc const&)
  {
    throw;
  }
  catch (std::exception const& error)
  {
    throw ToolError(ExitCode::Disk,
                    std::string("not converted: the written file cannot be read back: ") + error.what());
  }

  std::string Describe(std::string const& file, std::string const& target, SignalOutput const& output,
                       timesignal_bin_t const& header) const
  {
    Json object = JsonText::Object("qen.convert/1");
    JsonText::AddPath(object, "input", file);
    JsonText::AddPath(object, "file", target);
    JsonText::AddOptionalPath(object, "details_file", output.DocumentPath());
    JsonText::AddEnumerator(object, "sample_type", Names::Find(Names::SampleTypes(), header.SampleType),
                            header.SampleType);
    JsonText::AddEnumerator(object, "compression", Names::Find(Names::Compressions(), header.Compression),
                            header.Compression);
    object["offset"] = header.Offset;
    object["file_size"] = kTimeSignalHeaderSize + header.DataArrayByteCount;
    object["checked"] = check_;
    return JsonText::Line(object);
  }

  std::vector<std::string> arguments_;
  OutputPlan plan_;
  std::optional<sample_datatype32_t> type_;
  std::optional<compression32_t> compression_;
  std::optional<Uuid> job_;
  bool removeOffset_ = false;
  bool check_ = false;
  bool inPlace_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kConvertCommand;
CommandEntry const kConvertCommand = {"convert", "change sample type, offset or compression", kDetails,
                                      &MakeCommand<ConvertCommand>};

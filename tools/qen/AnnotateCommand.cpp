#include "Annotation.h"
#include "Command.h"
#include "DetailsDocument.h"
#include "InputFiles.h"
#include "Json.h"
#include "OutputFile.h"
#include "SignalFile.h"
#include "SignalJson.h"
#include "Text.h"
#include "Verification.h"

#include <cstring>

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "Adds to the details document beside each file (NAME.xml for NAME.qts), replaces what is there, or clears\n"
    "it; makes the document when there is none. Samples and record stay as they are, but for --unit-uuid,\n"
    "which the header holds. What is cleared is cleared first. Trigger, validators and characteristic values\n"
    "are named by UUID, those of your device or your own (uuidgen makes one); one that has the UUID of an\n"
    "earlier one takes its place.\n\n"
    "SPEC is UUID,NUMBER and, as needed, ,unit=TEXT ,unit-uuid=UUID and, for --value, ,speed=NUMBER.\n\n"
    "Documents keep numbers with 6 significant digits; a note says when that changes a number. Texts with\n"
    "<, & or control characters, with blanks around them, or that are no UTF-8 would not come back as they\n"
    "are and are refused, like documents that are damaged or belong to another signal; then nothing changes.\n\n"
    "Examples:\n"
    "  qen annotate pump.qts --unit m/s2\n"
    "  qen annotate pump.qts --trigger 7a000000-0000-4000-8000-000000000001,9.5,unit=m/s2\n"
    "  qen annotate pump.qts --validator 7b000000-0000-4000-8000-000000000002,1497,unit=rpm\n"
    "  qen annotate signals --value 7c000000-0000-4000-8000-000000000003,0.71,unit=mm/s,speed=1497\n"
    "  qen annotate pump.qts --clear validators --clear unit";

class AnnotateCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    annotation_.AddOptions(options);
    options.AddJson(json_, "print what the documents hold now as JSON Lines (qen.annotate/1)");
  }

  ExitCode Run(Report& report) override
  {
    annotation_.RequireSomething();
    return InputFiles::Expand(arguments_, kExtensions)
        .ForEach(report, [&](std::string const& file) { return Annotate(file, report); });
  }

private:
  /// What became of one file.
  struct Result
  {
    std::string file, documentPath;
    timesignal_bin_t header;
    bool recordChanged = false;
    Details details;
  };

  ExitCode Annotate(std::string const& file, Report& report) const
  {
    InputFile const input(file);
    if (!input.IsOnDisk())
      throw ToolError(ExitCode::Usage, "is no file that a document could lie beside");
    Result result{file, *DetailsDocument::PathOf(file), GoodHeader(input), false, {}};
    std::optional<DetailsDocument> const document = DetailsDocument::Of(input, result.header);
    if (document)
      result.details = document->Contents();
    annotation_.ApplyTo(result.details);
    result.recordChanged = SetUnitUuid(result.header);
    Write(input, result, document ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    Tell(result, report);
    return ExitCode::Good;
  }

  /// A header that could be wrong is not to get a checksum that says otherwise.
  static timesignal_bin_t GoodHeader(InputFile const& input)
  {
    timesignal_bin_t const header = SignalFile::ReadHeader(input);
    Verification const verification = VerifyHeader(input);
    if (verification.IsGood())
      return header;
    Verification::Finding const& finding = verification.damage.front();
    throw ToolError(ExitCode::Unreadable, "is damaged: " + std::string(finding.part) + ": " + finding.text);
  }

  static void Write(InputFile const& input, Result const& result, OutputFile::Existing existing)
  {
    OutputFile output(result.documentPath, existing);
    std::string const text = DetailsDocument::Make(result.header, result.details);
    output.Write(text.data(), text.size());
    if (result.recordChanged)
      ReplaceHeader(input, result.header, output);
    else
      output.Commit();
  }

  void Tell(Result const& result, Report& report) const
  {
    for (std::string const& remark : RoundedNumbers(result.details))
      report.Note(result.file, remark);
    if (json_)
      report.Data(Describe(result));
    else
      report.Say(Text::Printable(result.file) + ": " + Text::Printable(result.documentPath) + " holds " +
                 Text::Printable(result.details.Summary()) +
                 (result.recordChanged ? ", unit UUID " + SignalFile::ToUuid(result.header.UnitUuid).ToString() : ""));
  }

  /// @return whether the header changed; then its checksum did, too
  bool SetUnitUuid(timesignal_bin_t& header) const
  {
    Uuid const unit = annotation_.UnitUuidFor(header);
    if (unit == SignalFile::ToUuid(header.UnitUuid))
      return false;
    std::memcpy(header.UnitUuid, unit.GetPlainUuid(), sizeof header.UnitUuid);
    header.HeaderChecksum = TimeSignal::CalcChecksum(&header, offsetof(timesignal_bin_t, HeaderChecksum));
    return true;
  }

  /// Replaces the file by one with another header and the same samples, together with its document.
  static void ReplaceHeader(InputFile const& input, timesignal_bin_t const& header, OutputFile& document)
  {
    OutputFile output(input.Path(), OutputFile::Existing::Replace);
    output.Write(&header, kTimeSignalHeaderSize);
    SequentialReader reader(input, kTimeSignalHeaderSize);
    for (auto piece = reader.Next(); !piece.empty(); piece = reader.Next())
      output.Write(piece.data(), piece.size());
    OutputFile::CommitTogether(document, output);
  }

  static std::string Describe(Result const& result)
  {
    Json object = JsonText::Object("qen.annotate/1");
    JsonText::AddPath(object, "file", result.file);
    JsonText::AddPath(object, "details_file", result.documentPath);
    object["record_changed"] = result.recordChanged;
    object["unit_uuid"] = SignalFile::ToUuid(result.header.UnitUuid).ToString();
    object["details"] = SignalJson::OfDetails(result.details);
    return JsonText::Line(object);
  }

  std::vector<std::string> arguments_;
  Annotation annotation_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kAnnotateCommand;
CommandEntry const kAnnotateCommand = {"annotate", "set unit, trigger, validators and characteristic values", kDetails,
                                       &MakeCommand<AnnotateCommand>};

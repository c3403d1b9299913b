#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "SignalFile.h"
#include "SignalJson.h"
#include "Text.h"
#include "Verification.h"

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "Checks the sizes, the header checksum, versions and enumerations, the sample checksum, the stream of\n"
    "compressed samples (decoded in full), the number of samples against the bytes, and the details document\n"
    "beside the file, when there is one: it must be readable and repeat the header. One line a file:\n"
    "\"FILE: good\", or \"FILE: damaged: PART: finding\" for each finding; the parts are size, header,\n"
    "samples, stream and details. Remarks on what is allowed but doubtful (null UUIDs, a spacing of 0) stand\n"
    "behind \"good\". With -q only damaged files are listed.\n"
    "The checksums are 16-bit exclusive ors: they see every single wrong bit, but not swapped words.\n"
    "Unit, trigger and the other values in the document have no checksum.\n\n"
    "Examples:\n"
    "  qen verify signals && echo all good\n"
    "  qen verify --json *.qts";

class VerifyCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    options.AddJson(json_, "print JSON Lines (qen.verify/1)");
  }

  ExitCode Run(Report& report) override
  {
    InputFiles const inputs = InputFiles::Expand(arguments_, kExtensions);
    ExitCode const code = inputs.ForEach(report, [&](std::string const& file) { return VerifyFile(file, report); });
    if (inputs.files.size() > 1)
      report.Say(Text::Counted(inputs.files.size(), "file") + ": " + std::to_string(good_) + " good, " +
                 std::to_string(damaged_) + " damaged, " + std::to_string(inputs.files.size() - good_ - damaged_) +
                 " unreadable");
    return code;
  }

private:
  ExitCode VerifyFile(std::string const& file, Report& report)
  {
    InputFile const input(file);
    Verification verification = Verify(input);
    VerifyDetails(input, verification);
    if (verification.header)
      report.Detail(file, SignalFile::Summary(*verification.header));
    if (json_)
      report.Data(Describe(file, verification));
    else
      Print(file, verification, report);
    ++(verification.IsGood() ? good_ : damaged_);
    return verification.IsGood() ? ExitCode::Good : ExitCode::Difference;
  }

  static void Print(std::string const& file, Verification const& verification, Report& report)
  {
    std::string const name = Text::Printable(file) + ": ";
    for (Verification::Finding const& finding : verification.damage)
      report.Data(name + "damaged: " + finding.part + ": " + finding.text);
    if (!verification.IsGood() || report.IsQuiet())
      return;
    std::vector<std::string> remarks;
    for (Verification::Finding const& finding : verification.remarks)
      remarks.push_back(finding.text);
    report.Data(name + "good" + (remarks.empty() ? "" : " (" + Text::Join(remarks, ", ") + ")"));
  }

  static std::string Describe(std::string const& file, Verification const& verification)
  {
    Json object = JsonText::Object("qen.verify/1");
    JsonText::AddPath(object, "file", file);
    object["good"] = verification.IsGood();
    object["file_size"] = verification.fileSize;
    object["damage"] = SignalJson::OfFindings(verification.damage);
    object["remarks"] = SignalJson::OfFindings(verification.remarks);
    return JsonText::Line(object);
  }

  std::vector<std::string> arguments_;
  bool json_ = false;
  std::size_t good_ = 0;
  std::size_t damaged_ = 0;
};
} // namespace

extern CommandEntry const kVerifyCommand;
CommandEntry const kVerifyCommand = {"verify", "check time signal files and say which part is damaged", kDetails,
                                     &MakeCommand<VerifyCommand>};

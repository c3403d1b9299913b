#include "Command.h"
#include "DetailsDocument.h"
#include "InputFiles.h"
#include "Json.h"
#include "SignalFile.h"

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "Prints the XML document that repeats the header and holds unit, validators, trigger and characteristic\n"
    "values: that in the file beside the signal (NAME.xml for NAME.qts) as it is, or, when there is none, the\n"
    "one that the header alone gives. A document that is damaged or belongs to another signal is an error.\n\n"
    "Examples:\n"
    "  qen details pump.qts\n"
    "  qen details --json signals";

class DetailsCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    options.AddJson(json_, "print the documents as texts in JSON Lines (qen.details/1)");
  }

  ExitCode Run(Report& report) override
  {
    return InputFiles::Expand(arguments_, kExtensions)
        .ForEach(report, [&](std::string const& file) { return Print(file, report); });
  }

private:
  ExitCode Print(std::string const& file, Report& report) const
  {
    InputFile const input(file);
    timesignal_bin_t const header = SignalFile::ReadHeader(input);
    std::optional<DetailsDocument> const document = DetailsDocument::Of(input, header);
    std::string const text = document ? document->Text() : DetailsDocument::Make(header, {});
    report.Detail(file, document ? "from " + document->Path() : "made from the header");
    if (!json_)
    {
      report.Data(text.ends_with('\n') ? std::string_view(text).substr(0, text.size() - 1) : text);
      return ExitCode::Good;
    }
    Json object = JsonText::Object("qen.details/1");
    JsonText::AddPath(object, "file", file);
    JsonText::AddOptionalPath(object, "details_file", document ? document->Path() : "");
    object["text"] = text;
    report.Data(JsonText::Line(object));
    return ExitCode::Good;
  }

  std::vector<std::string> arguments_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kDetailsCommand;
CommandEntry const kDetailsCommand = {"details", "print the details documents of time signal files", kDetails,
                                      &MakeCommand<DetailsCommand>};

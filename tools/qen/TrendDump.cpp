#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Text.h"
#include "TrendCsv.h"
#include "TrendFile.h"

namespace
{
constexpr char kDetails[] =
    "Prints the entries as a CSV table with a line of names, which qen trend import reads back to the same\n"
    "entries without options; a note says so where an entry holds bits that no table tells. The unit stands\n"
    "in the name of the value's column. A damaged trend is not dumped.\n\n"
    "Examples:\n"
    "  qen trend dump rms.qtr -o rms.csv\n"
    "  qen trend dump --json rms.qtr";

class TrendDump : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("FILE", file_, "a trend file").Required();
    options.AddText("-o,--output", "FILE", output_, "write to this file [standard output]");
    options.AddFlag("--force", force_, "replace a file that exists");
    options.AddJson(json_, "print JSON Lines (qen.trend-dump/1), one for each entry");
  }

  ExitCode Run(Report& report) override
  {
    return InputFiles{{file_}, {}}.ForEach(report, [&](std::string const& file) { return Dump(file, report); });
  }

private:
  ExitCode Dump(std::string const& file, Report& report) const
  {
    TrendFile::Loaded const loaded = TrendFile::Read(InputFile(file), Uuid());
    OutputFile output(output_, force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse);
    if (json_)
      WriteJson(file, loaded.trend, output);
    else
      WriteTable(file, loaded.trend, output, report);
    output.Commit();
    if (output_ != "-")
      report.Say(Text::Printable(file) + " -> " + OutputFile::Show(output_) + ": " + TrendFile::Summary(loaded.trend));
    return ExitCode::Good;
  }

  static void WriteTable(std::string const& file, Trend const& trend, OutputFile& output, Report& report)
  {
    TrendCsvWriter writer(output, trend.GetSignalUnitString());
    for (trend_entry_t const& entry : trend.GetTrendEntryVector())
      writer.Write(entry);
    writer.Finish();
    if (writer.InexactEntries() != 0)
      report.Note(file, Text::Counted(writer.InexactEntries(), "entry holds", "entries hold") +
                            " bits that a table cannot tell: padding, or those of a not-a-number");
  }

  static void WriteJson(std::string const& file, Trend const& trend, OutputFile& output)
  {
    constexpr std::size_t kFlushAt = 65536;
    std::string lines;
    for (trend_entry_t const& entry : trend.GetTrendEntryVector())
    {
      Json object = JsonText::Object("qen.trend-dump/1");
      JsonText::AddPath(object, "file", file);
      JsonText::AddTime(object, "time", entry.TimeStamp);
      object["value"] = entry.Value;
      object["status"] = entry.Status;
      object["aux_float1"] = entry.AuxFloat1;
      object["aux_float2"] = entry.AuxFloat2;
      object["aux_byte"] = entry.AuxByte;
      object["aux_float3"] = entry.AuxFloat3;
      lines += JsonText::Line(object) + "\n";
      if (lines.size() < kFlushAt && &entry != &trend.GetTrendEntryVector().back())
        continue;
      output.Write(lines.data(), lines.size());
      lines.clear();
    }
  }

  std::string file_;
  std::string output_ = "-";
  bool force_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kTrendDump;
CommandEntry const kTrendDump = {"dump", "print the entries of a trend", kDetails, &MakeCommand<TrendDump>};

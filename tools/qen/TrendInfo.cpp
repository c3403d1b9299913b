#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "SignalFile.h"
#include "Text.h"
#include "TrendDocument.h"
#include "TrendFile.h"
#include "TrendVerification.h"

#include "platform/QenTime.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace
{
constexpr char const* kExtensions[] = {TrendFile::kExtension};

constexpr char kDetails[] =
    "Reads the 96 header bytes of each file and the details document beside it, never the entries, unless\n"
    "--entries asks for their figures and for a check of the whole file: checksum and stream of the entries,\n"
    "their number and order. Damage is named and makes the exit status 1; so does a document that does not\n"
    "repeat the header, which an interrupted change can leave behind.\n\n"
    "Examples:\n"
    "  qen trend info rms.qtr --entries\n"
    "  qen trend info --json trends";

/// What the entries of a trend amount to.
struct Figures
{
  unsigned long long finite = 0;
  double minimum = NAN, maximum = NAN, mean = NAN;
  std::map<unsigned, unsigned long long> statuses;
  unsigned long long repeatedTimes = 0;
};

Figures FiguresOf(Trend const& trend)
{
  Figures figures;
  double sum = 0;
  for (trend_entry_t const& entry : trend.GetTrendEntryVector())
  {
    ++figures.statuses[entry.Status];
    if (!std::isfinite(entry.Value))
      continue;
    ++figures.finite;
    figures.minimum = std::fmin(figures.minimum, entry.Value);
    figures.maximum = std::fmax(figures.maximum, entry.Value);
    sum += entry.Value;
  }
  if (figures.finite != 0)
    figures.mean = sum / static_cast<double>(figures.finite);
  figures.repeatedTimes = TrendFile::RepeatedTimes(trend);
  return figures;
}

/// A trend file as far as it was looked at.
struct View
{
  std::string file;
  trend_header_t header;
  TrendVerification verification;
  std::optional<TrendDocument> document;
  std::optional<Figures> figures;
};

class TrendInfo : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "trend files").Required();
    options.AddFlag("--entries", entries_, "read and check the entries too and print their figures");
    options.AddJson(json_, "print JSON Lines (qen.trend-info/1)");
  }

  ExitCode Run(Report& report) override
  {
    return InputFiles::Expand(arguments_, kExtensions)
        .ForEach(report, [&](std::string const& file) { return Show(file, report); });
  }

private:
  ExitCode Show(std::string const& file, Report& report) const
  {
    InputFile const input(file);
    View view{file, TrendFile::ReadHeader(input), {}, {}, {}};
    Verify(input, view);
    try
    {
      view.document = TrendDocument::Of(input, view.header);
    }
    catch (ToolError const& error)
    {
      view.verification.damage.push_back({"details", error.what()});
    }
    if (view.document)
      for (std::string const& difference : view.document->Differences(view.header))
        view.verification.damage.push_back({"details", difference});
    if (json_)
      report.Data(Describe(view));
    else
      Print(view, report);
    return view.verification.IsGood() ? ExitCode::Good : ExitCode::Difference;
  }

  void Verify(InputFile const& input, View& view) const
  {
    auto const take = [&](TrendVerification const& found)
    { view.verification.damage.insert(view.verification.damage.end(), found.damage.begin(), found.damage.end()); };
    if (!entries_)
      return take(VerifyTrendHeader(input));
    TrendVerification const record = VerifyTrendRecord(input.ReadAll());
    take(record);
    if (!record.IsGood())
      return;
    Trend const trend = TrendFile::Decode(input);
    take(VerifyTrendEntries(view.header, trend));
    view.figures = FiguresOf(trend);
  }

  static std::string Describe(View const& view)
  {
    trend_header_t const& header = view.header;
    Json object = JsonText::Object("qen.trend-info/1");
    JsonText::AddPath(object, "file", view.file);
    object["good"] = view.verification.IsGood();
    object["damage"] = Json::array();
    for (Verification::Finding const& finding : view.verification.damage)
      object["damage"].push_back({{"part", finding.part}, {"text", finding.text}});
    object["header_version"] = header.BinaryHeaderVersion;
    object["header_size"] = header.HeaderSize;
    object["characteristic_value_config_uuid"] = SignalFile::ToUuid(header.CharacteristicValueConfigUuid).ToString();
    object["trend_uuid"] = SignalFile::ToUuid(header.TrendUuid).ToString();
    object["unit_uuid"] = SignalFile::ToUuid(header.UnitUuid).ToString();
    object["unit"] = view.document ? Json(view.document->Unit()) : Json(nullptr);
    JsonText::AddOptionalPath(object, "details_file", view.document ? view.document->Path() : std::string());
    object["entry_count"] = header.SampleCount;
    JsonText::AddTime(object, "first_time", header.FirstTimeStamp);
    JsonText::AddTime(object, "last_time", header.LastTimeStamp);
    object["lower_pre_alarm_limit"] = header.LowerPreAlarmLevel;
    JsonText::AddEnumerator(object, "compression", Names::Find(Names::Compressions(), header.Compression),
                            header.Compression);
    object["data_byte_count"] = header.DataArrayByteCount;
    object["data_checksum"] = header.DataChecksum;
    object["header_checksum"] = header.HeaderChecksum;
    if (view.figures)
      object["entries"] = Describe(*view.figures);
    return JsonText::Line(object);
  }

  static Json Describe(Figures const& figures)
  {
    Json statuses = Json::object();
    for (auto const& [status, count] : figures.statuses)
      statuses[std::to_string(status)] = count;
    return {{"minimum", figures.minimum},
            {"maximum", figures.maximum},
            {"mean", figures.mean},
            {"statuses", statuses},
            {"repeated_times", figures.repeatedTimes}};
  }

  static void Print(View const& view, Report& report)
  {
    trend_header_t const& header = view.header;
    report.Data(Text::Printable(view.file));
    auto const line = [&](std::string const& name, std::string const& value)
    { report.Data("  " + Text::Left(name, 15) + value); };
    line("entries", std::to_string(header.SampleCount));
    line("first", ShowTime(header, header.FirstTimeStamp));
    line("last", ShowTime(header, header.LastTimeStamp));
    line("limit", Text::Shortest(header.LowerPreAlarmLevel));
    line("compression", Names::Show(Names::Compressions(), header.Compression));
    line("entry bytes", std::to_string(header.DataArrayByteCount) + Ratio(header));
    line("trend", SignalFile::ToUuid(header.TrendUuid).ToString());
    line("configuration", SignalFile::ToUuid(header.CharacteristicValueConfigUuid).ToString());
    std::string const unit = view.document ? Text::Printable(view.document->Unit()) : "";
    line("unit", (unit.empty() ? "" : unit + ", ") + SignalFile::ToUuid(header.UnitUuid).ToString());
    line("details", view.document ? Text::Printable(view.document->Path()) : "none");
    line("checksums", "header " + Text::Hex16(header.HeaderChecksum) + ", entries " + Text::Hex16(header.DataChecksum));
    for (Verification::Finding const& finding : view.verification.damage)
      line("DAMAGED", std::string(finding.part) + ": " + finding.text);
    if (view.figures)
      PrintFigures(*view.figures, line);
  }

  template <class Line>
  static void PrintFigures(Figures const& figures, Line const& line)
  {
    line("minimum", Text::Rounded(figures.minimum));
    line("maximum", Text::Rounded(figures.maximum));
    line("mean", Text::Rounded(figures.mean));
    for (auto const& [status, count] : figures.statuses)
      line("status " + std::to_string(status), Text::Counted(count, "entry", "entries"));
    line("repeated times", std::to_string(figures.repeatedTimes));
  }

  static std::string ShowTime(trend_header_t const& header, long long time)
  {
    return header.SampleCount == 0 && time == 0 ? "none" : QenTime::TimeStampToString(time);
  }

  static std::string Ratio(trend_header_t const& header)
  {
    unsigned long long const size = TrendFile::UncompressedSize(header);
    if (header.Compression == no_compression || size == 0)
      return "";
    return " (" + Text::Rounded(100 * static_cast<double>(header.DataArrayByteCount) / static_cast<double>(size)) +
           " % of " + std::to_string(size) + ")";
  }

  std::vector<std::string> arguments_;
  bool entries_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kTrendInfo;
CommandEntry const kTrendInfo = {"info", "show the headers of trend files", kDetails, &MakeCommand<TrendInfo>};

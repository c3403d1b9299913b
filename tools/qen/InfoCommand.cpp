#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "SignalFile.h"
#include "SignalJson.h"
#include "Statistics.h"
#include "Text.h"
#include "Verification.h"

#include "platform/QenTime.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "Reads the 120 header bytes of each file and the details document beside it (NAME.xml for NAME.qts, when\n"
    "there is one): unit, validators, trigger, characteristic values. Samples are not read unless --samples\n"
    "asks for their figures: minimum, maximum, mean, RMS, peak (largest magnitude), crest factor (peak / RMS)\n"
    "and kurtosis (3 for Gaussian noise) of the physical values, (sample - offset) x scale. Damage that the\n"
    "header or the document shows is named and makes the exit status 1; qen verify checks everything.\n\n"
    "Examples:\n"
    "  qen info pump.qts --samples\n"
    "  qen info --json signals | python3 -c 'import json, sys; print(sum(json.loads(l)[\"sample_count\"] for l in "
    "sys.stdin))'";

class InfoCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "time signal files").Required();
    options.AddFlag("--samples", samples_, "read the samples too and print figures of the physical values");
    options.AddJson(json_, "print JSON Lines (qen.info/1)");
  }

  ExitCode Run(Report& report) override
  {
    return InputFiles::Expand(arguments_, kExtensions)
        .ForEach(report, [&](std::string const& file) { return Show(file, report); });
  }

private:
  /// What is known of one file.
  struct Facts
  {
    std::string file;
    timesignal_bin_t header;
    Verification verification; ///< of header and document
    bool headerGood = false;
    std::optional<DetailsDocument> document; ///< when there is one that can be read
    std::optional<Statistics> statistics;
  };

  ExitCode Show(std::string const& file, Report& report) const
  {
    InputFile const input(file);
    Facts facts{file, SignalFile::ReadHeader(input), VerifyHeader(input), false, std::nullopt, std::nullopt};
    facts.headerGood = facts.verification.IsGood();
    facts.document = VerifyDetails(input, facts.verification);
    std::string failure;
    if (samples_)
      try
      {
        TimeSignal signal = SignalFile::Read(input, std::nullopt);
        facts.statistics = StatisticsOf(signal);
      }
      catch (VelmoraException const& error) // the header is worth showing even so
      {
        failure = error.what();
      }
    if (json_)
      report.Data(Describe(facts));
    else
      Print(facts, report);
    if (!failure.empty())
      report.Error(file, failure);
    return facts.verification.IsGood() && failure.empty() ? ExitCode::Good : ExitCode::Difference;
  }

  static std::string Describe(Facts const& facts)
  {
    Json object = JsonText::Object("qen.info/1");
    JsonText::AddPath(object, "file", facts.file);
    object["file_size"] = facts.verification.fileSize;
    object["header_good"] = facts.headerGood;
    SignalJson::AddHeader(object, facts.header);
    object["details"] = facts.document ? SignalJson::OfDetails(facts.document->Contents()) : Json(nullptr);
    object["damage"] = SignalJson::OfFindings(facts.verification.damage);
    if (facts.statistics)
      object["statistics"] = Describe(*facts.statistics);
    return JsonText::Line(object);
  }

  static Json Describe(Statistics const& statistics)
  {
    return {{"minimum", statistics.minimum},  {"maximum", statistics.maximum}, {"mean", statistics.mean},
            {"rms", statistics.rms},          {"peak", statistics.peak},       {"crest_factor", statistics.crestFactor},
            {"kurtosis", statistics.kurtosis}};
  }

  static void Print(Facts const& facts, Report& report)
  {
    report.Data(Text::Printable(facts.file));
    auto const line = [&](std::string name, std::string const& value)
    {
      constexpr std::size_t kNameWidth = 15;
      name.resize(std::max(kNameWidth, name.size() + 1), ' ');
      report.Data("  " + name + value);
    };
    PrintHeader(facts.header, facts.document ? facts.document->Contents().unit : std::string(), line);
    if (facts.document)
      PrintDetails(facts.document->Contents(), line);
    for (Verification::Finding const& finding : facts.verification.damage)
      line("DAMAGED", std::string(finding.part) + ": " + finding.text);
    if (facts.statistics)
      PrintStatistics(*facts.statistics, line);
  }

  template <class Line>
  static void PrintHeader(timesignal_bin_t const& header, std::string const& unit, Line const& line)
  {
    line("kind", Names::Show(Names::SignalTypes(), header.SignalType));
    line("time", QenTime::TimeStampToString(header.TimeStamp));
    line("samples", std::to_string(header.SampleCount) + " " + Names::Show(Names::SampleTypes(), header.SampleType));
    line("spacing", Spacing(header));
    line("value", "(sample - " + Text::Shortest(header.Offset) + ") x " + Text::Shortest(header.ScalingFactor) +
                      WithUnit("", unit));
    line("compression", Names::Show(Names::Compressions(), header.Compression));
    line("sample bytes", std::to_string(header.DataArrayByteCount) + Ratio(header));
    line("measurement", SignalFile::ToUuid(header.MeasurementUuid).ToString());
    line("configuration", SignalFile::ToUuid(header.MeasurementConfigUuid).ToString());
    line("unit", SignalFile::ToUuid(header.UnitUuid).ToString() + WithUnit("", unit));
    line("checksums", "header " + Text::Hex16(header.HeaderChecksum) + ", samples " + Text::Hex16(header.DataChecksum));
  }

  template <class Line>
  static void PrintDetails(Details const& details, Line const& line)
  {
    Details::Trigger const& trigger = details.trigger;
    if (details.HasTrigger())
      line("trigger", trigger.TriggerUuid.ToString() + " at " + Quantity(trigger.TripValue, trigger.UnitString));
    for (Details::Validator const& validator : details.validators)
      line("validator",
           validator.ValidatorUuid.ToString() + " averages " + Quantity(validator.AverageValue, validator.UnitString));
    for (Details::CharacteristicValue const& value : details.values)
      line("characteristic", value.CharValUuid.ToString() + " is " + Quantity(value.Value, value.UnitString) +
                                 (std::isnan(value.Speed) ? "" : " at speed " + Text::Shortest(value.Speed)));
  }

  static std::string Quantity(double value, std::string const& unit) { return WithUnit(Text::Shortest(value), unit); }

  static std::string WithUnit(std::string const& text, std::string const& unit)
  {
    return unit.empty() ? text : text + " " + Text::Printable(unit);
  }

  template <class Line>
  static void PrintStatistics(Statistics const& statistics, Line const& line)
  {
    line("minimum", Text::Rounded(statistics.minimum));
    line("maximum", Text::Rounded(statistics.maximum));
    line("mean", Text::Rounded(statistics.mean));
    line("RMS", Text::Rounded(statistics.rms));
    line("peak", Text::Rounded(statistics.peak));
    line("crest factor", Text::Rounded(statistics.crestFactor));
    line("kurtosis", Text::Rounded(statistics.kurtosis));
  }

  static std::string Spacing(timesignal_bin_t const& header)
  {
    std::string text = Text::Shortest(header.DeltaX);
    if (SignalFile::IsTimeSignal(header))
      text += " s (" + SignalFile::ShowRate(header) + ", " +
              Text::Rounded(static_cast<double>(header.SampleCount) * header.DeltaX, 10) + " s in all)";
    return text;
  }

  static std::string Ratio(timesignal_bin_t const& header)
  {
    std::optional<unsigned long long> const size = SignalFile::UncompressedSize(header);
    if (header.Compression == no_compression || !size || *size == 0)
      return "";
    return " (" + Text::Rounded(100 * static_cast<double>(header.DataArrayByteCount) / static_cast<double>(*size)) +
           " % of " + std::to_string(*size) + ")";
  }

  std::vector<std::string> arguments_;
  bool samples_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kInfoCommand;
CommandEntry const kInfoCommand = {"info", "show the headers of time signal files", kDetails,
                                   &MakeCommand<InfoCommand>};

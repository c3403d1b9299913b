#include "Command.h"
#include "InputFiles.h"
#include "Json.h"
#include "Names.h"
#include "SignalFile.h"
#include "Statistics.h"
#include "Text.h"
#include "Verification.h"

#include "platform/QenTime.h"

namespace
{
constexpr char const* kExtensions[] = {SignalFile::kExtension};

constexpr char kDetails[] =
    "Reads the 120 header bytes of each file, never the samples, unless --samples asks for their figures:\n"
    "minimum, maximum, mean, RMS, peak (largest magnitude), crest factor (peak / RMS) and kurtosis (3 for\n"
    "Gaussian noise) of the physical values, (sample - offset) x scale. Damage that the header shows is\n"
    "named and makes the exit status 1; qen verify checks everything.\n\n"
    "Examples:\n"
    "  qen info pump.qts --samples\n"
    "  qen info --json signals | python3 -c 'import json, sys; print(sum(json.loads(l)[\"sample_count\"] for l in "
    "sys.stdin))'";

class InfoCommand : public Command
{
public:
  void Define(CLI::App& app) override
  {
    app.add_option("FILE", arguments_, "time signal files")->type_name("")->required();
    app.add_flag("--samples", samples_, "read the samples too and print figures of the physical values");
    app.add_flag("--json", json_, "print JSON Lines (qen.info/1)");
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
    timesignal_bin_t const header = SignalFile::ReadHeader(input);
    Verification const verification = VerifyHeader(input);
    std::optional<Statistics> statistics;
    std::string failure;
    if (samples_)
      try
      {
        TimeSignal signal = SignalFile::Read(input, std::nullopt);
        statistics = StatisticsOf(signal);
      }
      catch (VelmoraException const& error) // the header is worth showing even so
      {
        failure = error.what();
      }
    if (json_)
      report.Data(Describe(file, header, verification, statistics));
    else
      Print(file, header, verification, statistics, report);
    if (!failure.empty())
      report.Error(file, failure);
    return verification.IsGood() && failure.empty() ? ExitCode::Good : ExitCode::Difference;
  }

  static std::string Describe(std::string const& file, timesignal_bin_t const& header, Verification const& verification,
                              std::optional<Statistics> const& statistics)
  {
    Json object = JsonText::Object("qen.info/1");
    JsonText::AddPath(object, "file", file);
    object["file_size"] = verification.fileSize;
    object["header_good"] = verification.IsGood();
    object["header_version"] = header.BinaryHeaderVersion;
    object["header_size"] = header.HeaderSize;
    JsonText::AddEnumerator(object, "signal_type", Names::Find(Names::SignalTypes(), header.SignalType),
                            header.SignalType);
    object["measurement_config_uuid"] = SignalFile::ToUuid(header.MeasurementConfigUuid).ToString();
    object["measurement_uuid"] = SignalFile::ToUuid(header.MeasurementUuid).ToString();
    object["unit_uuid"] = SignalFile::ToUuid(header.UnitUuid).ToString();
    JsonText::AddTime(object, "time", header.TimeStamp);
    object["delta_x"] = header.DeltaX;
    std::optional<double> const rate = SignalFile::RateOf(header);
    object["rate_hz"] = rate ? Json(*rate) : Json(nullptr);
    object["scaling_factor"] = header.ScalingFactor;
    object["offset"] = header.Offset;
    JsonText::AddEnumerator(object, "sample_type", Names::Find(Names::SampleTypes(), header.SampleType),
                            header.SampleType);
    object["sample_count"] = header.SampleCount;
    JsonText::AddEnumerator(object, "compression", Names::Find(Names::Compressions(), header.Compression),
                            header.Compression);
    object["data_byte_count"] = header.DataArrayByteCount;
    object["data_checksum"] = header.DataChecksum;
    object["header_checksum"] = header.HeaderChecksum;
    if (statistics)
      object["statistics"] = Describe(*statistics);
    return JsonText::Line(object);
  }

  static Json Describe(Statistics const& statistics)
  {
    return {{"minimum", statistics.minimum},  {"maximum", statistics.maximum}, {"mean", statistics.mean},
            {"rms", statistics.rms},          {"peak", statistics.peak},       {"crest_factor", statistics.crestFactor},
            {"kurtosis", statistics.kurtosis}};
  }

  static void Print(std::string const& file, timesignal_bin_t const& header, Verification const& verification,
                    std::optional<Statistics> const& statistics, Report& report)
  {
    report.Data(Text::Printable(file));
    auto const line = [&](std::string name, std::string const& value)
    {
      constexpr std::size_t kNameWidth = 15;
      name.resize(kNameWidth, ' ');
      report.Data("  " + name + value);
    };
    line("kind", Names::Show(Names::SignalTypes(), header.SignalType));
    line("time", QenTime::TimeStampToString(header.TimeStamp));
    line("samples", std::to_string(header.SampleCount) + " " + Names::Show(Names::SampleTypes(), header.SampleType));
    line("spacing", Spacing(header));
    line("value", "(sample - " + Text::Shortest(header.Offset) + ") x " + Text::Shortest(header.ScalingFactor));
    line("compression", Names::Show(Names::Compressions(), header.Compression));
    line("sample bytes", std::to_string(header.DataArrayByteCount) + Ratio(header));
    line("measurement", SignalFile::ToUuid(header.MeasurementUuid).ToString());
    line("configuration", SignalFile::ToUuid(header.MeasurementConfigUuid).ToString());
    line("unit", SignalFile::ToUuid(header.UnitUuid).ToString());
    line("checksums", "header " + Text::Hex16(header.HeaderChecksum) + ", samples " + Text::Hex16(header.DataChecksum));
    for (Verification::Finding const& finding : verification.damage)
      line("DAMAGED", std::string(finding.part) + ": " + finding.text);
    if (statistics)
      PrintStatistics(*statistics, line);
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

#include "Command.h"
#include "DemoTrend.h"
#include "Importer.h"
#include "InputFiles.h"
#include "Json.h"
#include "MachineModel.h"
#include "Names.h"
#include "RoundTrip.h"
#include "SignalFile.h"
#include "SoundFile.h"
#include "TemporaryFolder.h"
#include "Text.h"

#include <algorithm>
#include <filesystem>

namespace
{
constexpr char const* kExtensions[] = {".wav", ".rf64", ".w64", ".aif", ".aiff", ".csv"};
constexpr std::size_t kModelSeconds = 10;
constexpr unsigned long long kDefaultSeed = 1984;

constexpr char kDetails[] =
    "Imports each recording, moves its mean into the offset, compresses it with zlib and gzip, writes every\n"
    "form to a file with its details document, reads it back, verifies it and compares every sample; does the\n"
    "same with a database object and an archive in memory, and exports the recording again.\n"
    "One line a form: bytes, ratio to the uncompressed file, time to compress and write (with the disk\n"
    "synchronised) and to read and uncompress, RMS of the physical values before and after, and whether all\n"
    "checks passed. The exit status is 1 when something was not proved.\n\n"
    "Without FILE it takes 10 s of a simulated machine at 51.2 kHz: harmonics of a shaft at 29.95 Hz, strikes\n"
    "of a bearing's faulty outer race at 107.82 Hz with 1 % random slip, which ring a resonance at 3.5 kHz,\n"
    "and noise; 16 bits, 0.001 g a count; with a trigger, a validator and a characteristic value. The same\n"
    "seed gives the same samples everywhere. Then it records eight weeks of the machine's RMS value in trend\n"
    "files, thins them by age and shows how many entries of each age remain; and the same in a store.\n\n"
    "Examples:\n"
    "  qen demo\n"
    "  qen demo pump.wav run.csv --rate 25600\n"
    "  qen demo --keep demo-files --seed 7";

bool IsFloatingPoint(sample_datatype32_t type) { return type == data_float32_t || type == data_float64_t; }

class DemoCommand : public Command
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArguments("FILE", arguments_, "WAV and CSV files [a simulated machine]");
    importer_.AddReadingOptions(options);
    options.AddCount("--seed", seed_, "of the simulated machine [1984]");
    options.AddText("--keep", "DIR", keep_, "leave the files in this folder");
    options.AddFlag("--force", force_, "replace files that exist there");
    options.AddJson(json_, "print JSON Lines (qen.demo/1, qen.demo-trend/1, qen.demo-store/1)");
  }

  ExitCode Run(Report& report) override
  {
    if (arguments_.empty())
      return ShowModel(report);
    return InputFiles::Expand(arguments_, kExtensions)
        .ForEach(report,
                 [&](std::string const& file)
                 {
                   TemporaryFolder const folder(keep_);
                   return Show(file, folder.Path(), report);
                 });
  }

private:
  ExitCode ShowModel(Report& report)
  {
    TemporaryFolder const folder(keep_);
    std::string const path = folder.Path() + "/machine.wav";
    std::vector<short> const samples =
        MachineModel::Samples(kModelSeconds * MachineModel::kRate, seed_.value_or(kDefaultSeed));
    {
      OutputFile output(path, Existing());
      SoundFile::Write(output, {reinterpret_cast<unsigned char const*>(samples.data()), samples.size() * sizeof(short)},
                       data_int16_t, MachineModel::kRate, SoundFile::Encoding::Exact);
      output.Commit();
    }
    importer_.SetDefaultScale(MachineModel::kUnitPerCount);
    importer_.SetDefaultUnit(MachineModel::kUnit);
    ExitCode const code = RunGuarded(report, path, [&] { return Show(path, folder.Path(), report); });
    if (code != ExitCode::Good && code != ExitCode::Difference)
      return code;
    bool const proved = DemoTrend(folder.Path(), Existing(), seed_.value_or(kDefaultSeed)).Show(json_, report);
    return proved ? code : ExitCode::Difference;
  }

  ExitCode Show(std::string const& file, std::string const& folder, Report& report)
  {
    InputFile const input(file);
    Recording const recording = importer_.Read(input);
    for (std::string const& remark : recording.remarks)
      report.Note(file, remark);
    bool proved = true;
    for (std::size_t c = 0; c < recording.channels.size(); ++c)
      proved = ShowChannel(file, folder, recording, c, report) && proved;
    return proved ? ExitCode::Good : ExitCode::Difference;
  }

  bool ShowChannel(std::string const& file, std::string const& folder, Recording const& recording, std::size_t channel,
                   Report& report)
  {
    TimeSignal signal = importer_.MakeSignal(recording, channel);
    if (arguments_.empty())
      MachineModel::Annotations().AddTo(signal);
    std::string stem = folder + "/" + std::filesystem::path(file).stem().native();
    std::string title = Text::Printable(std::filesystem::path(file).filename().native());
    if (recording.channels.size() > 1)
    {
      stem += "-" + std::to_string(recording.firstChannel + channel);
      title += " channel " + std::to_string(recording.firstChannel + channel);
    }
    RoundTrip roundTrip(signal, stem, Existing());
    std::vector<FormResult> results = roundTrip.StoreAll();
    results.push_back(roundTrip.StoreInDatabaseObject());
    results.push_back(roundTrip.StoreInArchive());
    results.push_back(roundTrip.Export(recording, channel, IsWav(recording, *signal.GetHeader())));
    for (FormResult& result : results)
      result.ratio = static_cast<double>(result.fileSize) / static_cast<double>(results.front().fileSize);
    if (json_)
      PrintJson(file, recording.firstChannel + channel, results, report);
    else
      Print(title, *signal.GetHeader(), results, report);
    return std::all_of(results.begin(), results.end(), [](FormResult const& result) { return result.problem.empty(); });
  }

  /// Sound files go back to sound files, as far as WAV has their sample type.
  static bool IsWav(Recording const& recording, timesignal_bin_t const& header)
  {
    return recording.rate.has_value() && header.SampleType != data_int8_t;
  }

  static void Print(std::string const& title, timesignal_bin_t const& header, std::vector<FormResult> const& results,
                    Report& report)
  {
    report.Data(title + ": " +
                Text::Counted(header.SampleCount, Names::Show(Names::SampleTypes(), header.SampleType) + " sample") +
                ", " + SignalFile::ShowRate(header) + ", " +
                Text::Rounded(static_cast<double>(header.SampleCount) * header.DeltaX, 10) + " s");
    report.Data("  form                 bytes   ratio  write ms   read ms  RMS before   RMS after  checks");
    for (FormResult const& result : results)
      report.Data("  " + Text::Left(result.name, 16) + Text::Right(std::to_string(result.fileSize), 10) +
                  Text::Right(Text::Fixed(result.ratio, 3), 8) +
                  Text::Right(Text::Fixed(result.writeMilliseconds, 1), 10) +
                  Text::Right(Text::Fixed(result.readMilliseconds, 1), 10) +
                  Text::Right(Text::Rounded(result.rmsBefore), 12) + Text::Right(Text::Rounded(result.rmsAfter), 12) +
                  "  " + (result.problem.empty() ? "good" : "FAILED: " + result.problem));
    report.Data(Conclusion(header, results));
  }

  static std::string Conclusion(timesignal_bin_t const& header, std::vector<FormResult> const& results)
  {
    for (FormResult const& result : results)
      if (!result.problem.empty())
        return "NOT PROVED: " + result.name + ": " + result.problem;
    return "proved: all " + std::to_string(header.SampleCount) +
           " samples came back identical from files, database object " + "and archive" +
           (IsFloatingPoint(header.SampleType)
                ? " (where the offset was removed, up to the rounding of that subtraction)"
                : "") +
           " with their details, all checksums are valid";
  }

  static void PrintJson(std::string const& file, std::size_t channel, std::vector<FormResult> const& results,
                        Report& report)
  {
    for (FormResult const& result : results)
    {
      Json object = JsonText::Object("qen.demo/1");
      JsonText::AddPath(object, "file", file);
      object["channel"] = channel;
      object["form"] = result.name.substr(result.name.find_first_not_of(' '));
      object["file_size"] = result.fileSize;
      object["ratio"] = result.ratio;
      object["write_ms"] = result.writeMilliseconds;
      object["read_ms"] = result.readMilliseconds;
      object["rms_before"] = result.rmsBefore;
      object["rms_after"] = result.rmsAfter;
      object["proved"] = result.problem.empty();
      object["problem"] = result.problem.empty() ? Json(nullptr) : Json(result.problem);
      report.Data(JsonText::Line(object));
    }
  }

  OutputFile::Existing Existing() const
  {
    return force_ ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse;
  }

  std::vector<std::string> arguments_;
  Importer importer_;
  std::optional<unsigned long long> seed_;
  std::string keep_;
  bool force_ = false;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kDemoCommand;
CommandEntry const kDemoCommand = {"demo", "show and prove the whole way on a simulated machine or your recordings",
                                   kDetails, &MakeCommand<DemoCommand>};

#include "DetailsDocument.h"

#include "DetailsText.h"
#include "ExitCode.h"
#include "Names.h"
#include "SignalFile.h"
#include "Text.h"

#include "platform/Options.h"
#include "platform/QenTime.h"

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <locale>
#include <new>
#include <sstream>

namespace
{
namespace fs = std::filesystem;

constexpr unsigned long long kLargestDocument = 64ULL << 20; // 100000 entries and more

/// The name of an enumerator in documents; empty for an unknown value, of which no document can tell.
std::string NameOf(std::span<Names::Entry const> entries, int value, char const* prefix, char const* suffix)
{
  char const* const name = Names::Find(entries, value);
  return name == nullptr ? "" : prefix + std::string(name) + suffix;
}

std::string CompressionName(timesignal_bin_t const& header)
{
  return header.Compression == no_compression ? "no_compression"
                                              : NameOf(Names::Compressions(), header.Compression, "", "");
}

std::string FirstProblem(Details const& details)
{
  std::vector<std::string const*> texts = {&details.unit, &details.trigger.UnitString};
  for (Details::Validator const& validator : details.validators)
    texts.push_back(&validator.UnitString);
  for (Details::CharacteristicValue const& value : details.values)
    texts.push_back(&value.UnitString);
  for (std::string const* const text : texts)
    if (std::string const problem = DetailsText::Problem(*text); !problem.empty())
      return "unit " + Text::Quoted(*text) + " " + problem;
  return "a unit would not come back as it is";
}
} // namespace

/// A field of the header as documents repeat it.
struct DetailsDocument::Field
{
  char const* element;
  char const* name;
  bool identifies; ///< whether a difference means another signal, rather than another form of the same one
  std::string (*text)(timesignal_bin_t const& header);
};

std::array<DetailsDocument::Field, DetailsDocument::kFieldCount> const& DetailsDocument::Fields()
{
  using Header = timesignal_bin_t const&;
  static std::array<Field, kFieldCount> const fields = {{
      {"MeasurementUuid", "measurement", true,
       [](Header header) { return SignalFile::ToUuid(header.MeasurementUuid).ToString(); }},
      {"MeasurementConfigUuid", "measurement configuration", true,
       [](Header header) { return SignalFile::ToUuid(header.MeasurementConfigUuid).ToString(); }},
      {"TimeStamp", "time", true, [](Header header) { return QenTime::TimeStampToString(header.TimeStamp); }},
      {"SignalType", "signal type", true,
       [](Header header) { return NameOf(Names::SignalTypes(), header.SignalType, "", ""); }},
      {"SampleCount", "sample count", true, [](Header header) { return std::to_string(header.SampleCount); }},
      {"DeltaX", "spacing", true, [](Header header) { return Text::Rounded(header.DeltaX); }},
      {"BinaryHeaderVersion", "header version", false,
       [](Header header) { return std::to_string(header.BinaryHeaderVersion); }},
      {"HeaderSize", "header size", false, [](Header header) { return std::to_string(header.HeaderSize); }},
      {"UnitUuid", "unit UUID", false, [](Header header) { return SignalFile::ToUuid(header.UnitUuid).ToString(); }},
      {"SampleType", "sample type", false,
       [](Header header) { return NameOf(Names::SampleTypes(), header.SampleType, "data_", "_t"); }},
      {"DataArrayByteCount", "sample byte count", false,
       [](Header header) { return std::to_string(header.DataArrayByteCount); }},
      {"Compression", "compression", false, CompressionName},
  }};
  return fields;
}

std::optional<std::string> DetailsDocument::PathOf(std::string const& signalPath)
{
  if (signalPath == "-")
    return std::nullopt;
  std::error_code error;
  fs::path const file(signalPath);
  fs::path beside = fs::path(file).replace_extension(kExtension);
  if (beside == file)
    throw ToolError(ExitCode::Usage,
                    Text::Printable(signalPath) + " is the name of a details document, not of a time signal file");
  if (!fs::is_symlink(file, error) || fs::exists(beside, error))
    return beside.native();
  fs::path const besideTarget = fs::canonical(file, error).replace_extension(kExtension);
  return fs::exists(besideTarget, error) ? besideTarget.native() : beside.native();
}

std::optional<std::string> DetailsDocument::PathBeside(InputFile const& signalFile)
{
  std::error_code error;
  if (!signalFile.IsOnDisk() || fs::path(signalFile.Path()).extension() == kExtension)
    return std::nullopt;
  std::optional<std::string> const path = PathOf(signalFile.Path());
  return fs::exists(fs::symlink_status(*path, error)) ? path : std::nullopt;
}

std::string DetailsDocument::ReadText(std::string const& path)
try
{
  InputFile const file(path);
  if (file.Size() > kLargestDocument)
    throw ToolError(ExitCode::Unreadable, "has " + std::to_string(file.Size()) + " bytes, too many");
  std::vector<unsigned char> const bytes = file.ReadAll();
  return {bytes.begin(), bytes.end()};
}
catch (ToolError const& failure)
{
  throw ToolError(ExitCode::Unreadable, "details: " + Text::Printable(path) + " " + failure.what());
}

DetailsDocument DetailsDocument::FromText(std::string const& text)
{
  DetailsDocument document("the document", text);
  document.Parse();
  return document;
}

std::optional<DetailsDocument> DetailsDocument::Beside(InputFile const& signalFile)
{
  std::optional<std::string> const path = PathBeside(signalFile);
  if (!path)
    return std::nullopt;
  DetailsDocument document(*path, ReadText(*path));
  document.Parse();
  return document;
}

std::optional<DetailsDocument> DetailsDocument::Of(InputFile const& signalFile, timesignal_bin_t const& header)
{
  std::optional<DetailsDocument> document = Beside(signalFile);
  bool const isGood =
      TimeSignal::CalcChecksum(&header, offsetof(timesignal_bin_t, HeaderChecksum)) == header.HeaderChecksum;
  if (document && isGood)
    document->RequireSignal(header);
  return document;
}

DetailsDocument::DetailsDocument(std::string path, std::string text) : path_(std::move(path)), text_(std::move(text)) {}

void DetailsDocument::Refuse(std::string const& why) const
{
  throw ToolError(ExitCode::Unreadable, "details: " + Text::Printable(path_) + " " + Text::Printable(why));
}

void DetailsDocument::Parse()
{
  Options parser;
  Option* const root = parser.parse(text_);
  if (root == nullptr)
    Refuse("is no XML document");
  Option* const signal = root->FindOption("vel:MeasurementDataDetails.vel:Signal", false);
  Option* const info = signal == nullptr ? nullptr : signal->FindOption("vel:Signal.vel:HeaderInfo", false);
  if (info == nullptr)
    Refuse("is no details document: it has no header info");
  for (std::size_t i = 0; i < kFieldCount; ++i)
    header_[i] = info->Value<std::string>(("vel:HeaderInfo.vel:" + std::string(Fields()[i].element)).c_str(), {});
  InternalTimeSignal reader;
  try
  {
    reader.FindUnitString(signal, Uuid());
    reader.FindValidators(signal);
    reader.FindTrigger(signal);
    reader.FindCharacteristicValues(signal);
  }
  catch (VelmoraException const& error)
  {
    Refuse("is damaged: " + std::string(error.what()));
  }
  details_ = {reader.GetUnitString(), reader.GetValidators(), reader.GetTrigger(), reader.GetCharVals()};
}

std::optional<std::string> DetailsDocument::Difference(Field const& field, std::size_t index,
                                                       timesignal_bin_t const& header) const
{
  std::string const expected = field.text(header);
  std::string const& actual = header_[index];
  bool const isNegativeNan = actual == "-nan" && expected == "nan"; // processors give it differently
  if (actual == expected || expected.empty() || isNegativeNan)
    return std::nullopt;
  return std::string(field.name) + (actual.empty() ? " is missing" : " is " + actual) + ", the record has " + expected;
}

std::vector<std::string> DetailsDocument::Differences(timesignal_bin_t const& header) const
{
  std::vector<std::string> differences;
  for (std::size_t i = 0; i < kFieldCount; ++i)
    if (auto const difference = Difference(Fields()[i], i, header))
      differences.push_back(Text::Printable(*difference));
  return differences;
}

void DetailsDocument::RequireSignal(timesignal_bin_t const& header) const
{
  for (std::size_t i = 0; i < kFieldCount; ++i)
    if (auto const difference = Fields()[i].identifies ? Difference(Fields()[i], i, header) : std::nullopt)
      Refuse("belongs to another signal: " + *difference);
}

std::string DetailsDocument::Make(timesignal_bin_t const& header, Details const& details)
{
  // A signal without samples writes the same document; only the header must say otherwise.
  InternalTimeSignal signal(raw_time_signal, Uuid(), Uuid(), 1, 1, 0, 0, Uuid(), details.unit, data_int8_t, 0, nullptr,
                            Uuid::CreateUuid());
  for (Details::Validator const& validator : details.validators)
    signal.AddValidator(validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
  signal.AddTrigger(details.trigger.TriggerUuid, details.trigger.TripValue, details.trigger.UnitUuid,
                    details.trigger.UnitString);
  for (Details::CharacteristicValue const& value : details.values)
    signal.AddCharacteristicValue(value.CharValUuid, value.Value, value.UnitUuid, value.UnitString, value.Speed);
  std::memcpy(signal.GetHeader(), &header, kTimeSignalHeaderSize);
  std::stringstream stream;
  stream.imbue(std::locale::classic());
  signal.CreateXmlDetails(stream);
  if (!stream)
    throw std::bad_alloc();
  DetailsDocument document("", stream.str());
  try
  {
    document.Parse();
  }
  catch (ToolError const&)
  {
    throw ToolError(ExitCode::Unreadable, "a details document cannot keep its details: " + FirstProblem(details));
  }
  if (!SameInDocument(details, document.details_) || !document.Differences(header).empty())
    throw ToolError(ExitCode::Unreadable, "a details document cannot keep its details: " + FirstProblem(details));
  return document.text_;
}

#include "TrendDocument.h"

#include "DetailsDocument.h"
#include "ExitCode.h"
#include "SignalFile.h"
#include "Text.h"

#include "platform/Options.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"

#include <filesystem>
#include <locale>
#include <memory>
#include <sstream>

namespace
{
namespace fs = std::filesystem;

constexpr unsigned long long kLargestDocument = 1ULL << 20; // 1 KiB is usual

/// A value of the header as documents repeat it.
struct Field
{
  char const* path; ///< below the signal
  char const* name;
  bool identifies; ///< whether a difference means another trend
};

constexpr Field kFields[] = {
    {"HeaderInfo.vel:TrendUuid", "trend", true},
    {"HeaderInfo.vel:CharacteristicValueConfigUuid", "characteristic value configuration", true},
    {"HeaderInfo.vel:UnitUuid", "unit UUID", false},
    {"HeaderInfo.vel:SampleCount", "entry count", false},
    {"HeaderInfo.vel:DataArrayByteCount", "entry byte count", false},
    {"HeaderInfo.vel:Compression", "compression", false},
    {"HeaderInfo.vel:BinaryHeaderVersion", "header version", false},
    {"HeaderInfo.vel:HeaderSize", "header size", false},
    {"LowerPreAlarmLevel", "lower pre-alarm limit", false},
    {"FirstTimeStamp", "first time stamp", false},
    {"LastTimeStamp", "last time stamp", false},
};

/// A document as a tree.
class Tree
{
public:
  explicit Tree(std::string const& text) : root_(options_.parse(text)) {}

  bool IsTrend() const { return root_ != nullptr && root_->FindOption("vel:TrendDataDetails.vel:Signal", false); }
  std::string Value(std::string const& path) const
  {
    return root_->Value<std::string>(("vel:TrendDataDetails.vel:Signal.vel:" + path).c_str(), {});
  }

private:
  Options options_;
  Option* root_;
};

/// The document that belongs to a header; the unit alone is missing.
std::string MakeText(trend_header_t const& header)
{
  trend_header_t empty = header;
  empty.Compression = no_compression;
  empty.SampleCount = empty.DataArrayByteCount = 0;
  TrendDataDO stored;
  std::unique_ptr<std::vector<unsigned char>> const record(Trend::TrendToVector(empty, nullptr));
  stored.setData(*record);
  stored.setCurrentUuid(UuidEntryDO(0, SignalFile::ToUuid(header.TrendUuid), false));
  stored.setCharacteristicValueConfig(UuidEntryDO(0, SignalFile::ToUuid(header.CharacteristicValueConfigUuid), false));
  std::stringstream stream;
  stream.imbue(std::locale::classic());
  Trend(stored).GenerateDetails(header, stream);
  return stream.str();
}

std::string ReadText(std::string const& path)
{
  InputFile const file(path);
  if (file.Size() > kLargestDocument)
    throw ToolError(ExitCode::Unreadable, "has " + std::to_string(file.Size()) + " bytes, too many");
  std::vector<unsigned char> const bytes = file.ReadAll();
  return {bytes.begin(), bytes.end()};
}

[[noreturn]] void RefuseDocument(std::string const& path, std::string const& why)
{
  throw ToolError(ExitCode::Unreadable, "details: " + Text::Printable(path) + " " + Text::Printable(why));
}

std::string ReadBeside(std::string const& path)
try
{
  return ReadText(path);
}
catch (ToolError const& failure)
{
  RefuseDocument(path, failure.what());
}

std::vector<std::string> Compare(Tree const& actual, Tree const& expected, bool identityAlone)
{
  std::vector<std::string> differences;
  for (Field const& field : kFields)
  {
    std::string const has = actual.Value(field.path);
    std::string const wanted = expected.Value(field.path);
    if (has != wanted && (field.identifies || !identityAlone))
      differences.push_back(Text::Printable(std::string(field.name) + (has.empty() ? " is missing" : " is " + has) +
                                            ", the record has " + (wanted.empty() ? "none" : wanted)));
  }
  return differences;
}
} // namespace

std::optional<std::string> TrendDocument::PathOf(std::string const& trendPath)
{
  if (trendPath != "-" && fs::path(trendPath).extension() == DetailsDocument::kExtension)
    throw ToolError(ExitCode::Usage, Text::Printable(trendPath) + " is the name of a details document, not of a trend");
  return DetailsDocument::PathOf(trendPath);
}

std::optional<TrendDocument> TrendDocument::Of(InputFile const& trendFile, trend_header_t const& header)
{
  std::optional<std::string> const path = DetailsDocument::PathBeside(trendFile);
  if (!path)
    return std::nullopt;
  TrendDocument const document(*path, ReadBeside(*path));
  std::vector<std::string> const differences = Compare(Tree(document.text_), Tree(MakeText(header)), true);
  if (!differences.empty())
    document.Refuse("belongs to another trend: " + differences.front());
  return document;
}

bool TrendDocument::IsOf(std::string const& path, Uuid const& trend)
{
  if (InputFile(path).Size() > kLargestDocument)
    return false;
  Tree const tree(ReadText(path));
  return tree.IsTrend() && tree.Value("HeaderInfo.vel:TrendUuid") == trend.ToString();
}

void TrendDocument::RequireReplaceable(std::string const& path)
{
  std::error_code error;
  if (!fs::exists(path, error))
    return;
  try
  {
    if (Tree(ReadText(path)).IsTrend())
      return;
  }
  catch (ToolError const& failure)
  {
    throw ToolError(ExitCode::Disk, Text::Printable(path) + " exists and " + failure.what() + ": choose another name");
  }
  throw ToolError(ExitCode::Disk,
                  Text::Printable(path) + " exists and is not the details document of a trend: choose another name");
}

TrendDocument TrendDocument::FromText(std::string const& text) { return {"the document", text}; }

std::string TrendDocument::Make(trend_header_t const& header) { return MakeText(header); }

TrendDocument::TrendDocument(std::string path, std::string text) : path_(std::move(path)), text_(std::move(text))
{
  Tree const tree(text_);
  if (!tree.IsTrend())
    Refuse("is no details document of a trend");
  unit_ = tree.Value("HeaderInfo.vel:UnitString");
}

void TrendDocument::Refuse(std::string const& why) const { RefuseDocument(path_, why); }

std::vector<std::string> TrendDocument::Differences(trend_header_t const& header) const
{
  return Compare(Tree(text_), Tree(MakeText(header)), false);
}

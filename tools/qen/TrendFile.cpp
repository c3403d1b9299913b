#include "TrendFile.h"

#include "ExitCode.h"
#include "SignalFile.h"
#include "Text.h"
#include "TrendDocument.h"
#include "TrendVerification.h"

#include "platform/QenTime.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr unsigned long long kFirstSizeBeyondRecords = 1ULL << 32; // records count their bytes in 32 bits

void RequireGood(TrendVerification const& verification)
{
  if (!verification.IsGood())
    throw ToolError(ExitCode::Unreadable, "is damaged: " + std::string(verification.damage.front().part) + ": " +
                                              verification.damage.front().text);
}
} // namespace

std::optional<trend_header_t> TrendFile::PeekHeader(InputFile const& file)
{
  unsigned char bytes[kTrendHeaderSize];
  if (file.ReadAt(0, bytes) != kTrendHeaderSize)
    return std::nullopt;
  trend_header_t header;
  std::memcpy(&header, bytes, kTrendHeaderSize);
  return header;
}

trend_header_t TrendFile::ReadHeader(InputFile const& file)
{
  std::optional<trend_header_t> const header = PeekHeader(file);
  if (!header)
    throw ToolError(ExitCode::Unreadable, "is no trend file: it has " + Text::Counted(file.Size(), "byte") +
                                              ", the header alone takes " + std::to_string(kTrendHeaderSize));
  if (header->BinaryHeaderVersion != 2 || header->HeaderSize != kTrendHeaderSize)
    throw ToolError(ExitCode::Unreadable, "is no trend file: it begins with the header version " +
                                              std::to_string(header->BinaryHeaderVersion) + " and size " +
                                              std::to_string(header->HeaderSize) + ", not 2 and 96");
  return *header;
}

TrendFile::Loaded TrendFile::Read(InputFile const& file, Uuid const& base)
{
  trend_header_t const header = ReadHeader(file);
  if (file.Size() >= kFirstSizeBeyondRecords)
    throw ToolError(ExitCode::Unreadable, "has 4 GiB or more, which no trend file has");
  std::vector<unsigned char> const bytes = file.ReadAll();
  RequireGood(VerifyTrendRecord(bytes));
  std::optional<TrendDocument> const document = TrendDocument::Of(file, header);
  TrendDataDO stored = MakeObject(bytes, header, base, document ? document->Text() : std::string());
  Trend trend(stored);
  RequireGood(VerifyTrendEntries(header, trend));
  return {header, stored, std::move(trend), document ? document->Path() : std::string()};
}

Trend TrendFile::Decode(InputFile const& file)
{
  return Trend(MakeObject(file.ReadAll(), ReadHeader(file), Uuid(), std::string()));
}

TrendDataDO TrendFile::MakeObject(std::vector<unsigned char> record, trend_header_t const& header, Uuid const& base,
                                  std::string const& details)
{
  TrendDataDO object;
  object.setData(std::move(record));
  object.setCurrentUuid(UuidEntryDO(0, SignalFile::ToUuid(header.TrendUuid), false));
  object.setCharacteristicValueConfig(UuidEntryDO(0, SignalFile::ToUuid(header.CharacteristicValueConfigUuid), false));
  object.setCharacteristicValueConfigBaseUuid(UuidEntryDO(0, base, false));
  object.setFirstTimeStamp(header.FirstTimeStamp);
  object.setLastTimeStamp(header.LastTimeStamp);
  object.setNumSamples(header.SampleCount);
  object.setTrendDataDetails(details);
  return object;
}

Trend TrendFile::Decode(TrendDataDO const& object)
{
  TrendDataDO withoutDetails = object;
  withoutDetails.setTrendDataDetails({});
  return Trend(withoutDetails);
}

unsigned long long TrendFile::UncompressedSize(trend_header_t const& header)
{
  return header.SampleCount * static_cast<unsigned long long>(sizeof(trend_entry_t));
}

std::string TrendFile::Summary(Trend const& trend)
{
  std::string text = Text::Counted(trend.GetNumberOfEntries(), "entry", "entries");
  if (trend.GetNumberOfEntries() != 0)
    text += " from " + QenTime::TimeStampToString(trend.GetFirstTimeStamp()) + " to " +
            QenTime::TimeStampToString(trend.GetLastTimeStamp());
  return text;
}

std::string_view TrendFile::BytesOf(trend_entry_t const& entry)
{
  return {reinterpret_cast<char const*>(&entry), sizeof(entry)};
}

unsigned long long TrendFile::RepeatedTimes(Trend const& trend)
{
  auto const& entries = trend.GetTrendEntryVector();
  unsigned long long count = 0;
  for (std::size_t i = 1; i < entries.size(); ++i)
    count += entries[i].TimeStamp == entries[i - 1].TimeStamp ? 1U : 0U;
  return count;
}

#include "TrendVerification.h"

#include "DeflateStream.h"
#include "Names.h"
#include "Text.h"
#include "TrendFile.h"

#include "platform/QenTime.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <algorithm>
#include <cstring>

namespace
{
class Check
{
public:
  explicit Check(trend_header_t const& header) : header_(header) { result_.header = header; }

  TrendVerification Result() { return std::move(result_); }

  void Header(unsigned long long fileSize)
  {
    unsigned const computed = TimeSignal::CalcChecksum(&header_, offsetof(trend_header_t, HeaderChecksum));
    CompareChecksums("header", header_.HeaderChecksum, computed);
    if (header_.BinaryHeaderVersion != 2)
      Damage("header", "version is " + std::to_string(header_.BinaryHeaderVersion) + ", not 2");
    if (header_.HeaderSize != kTrendHeaderSize)
      Damage("header", "size field is " + std::to_string(header_.HeaderSize) + ", not 96");
    if (Names::Find(Names::StorableCompressions(), header_.Compression) == nullptr)
      Damage("header", "compression " + std::to_string(header_.Compression) + " is unknown");
    Sizes(fileSize - kTrendHeaderSize);
    if (header_.LastTimeStamp < header_.FirstTimeStamp)
      Damage("header", "the last time stamp lies before the first");
  }

  void Entries(std::span<unsigned char const> stored)
  {
    CompareChecksums("entries", header_.DataChecksum, TimeSignal::CalcChecksum(stored.data(), stored.size()));
    if (header_.Compression == zlib || header_.Compression == gzip)
      Stream(stored);
  }

  void Order(std::span<trend_entry_t const> entries)
  {
    auto const earlier = [](trend_entry_t const& a, trend_entry_t const& b) { return a.TimeStamp < b.TimeStamp; };
    auto const end = std::is_sorted_until(entries.begin(), entries.end(), earlier);
    if (end != entries.end())
      Damage("order", "entry " + std::to_string(end - entries.begin() + 1) + " is earlier than the one before");
    CompareTimes("first", header_.FirstTimeStamp, entries.empty() ? 0 : entries.front().TimeStamp);
    CompareTimes("last", header_.LastTimeStamp, entries.empty() ? 0 : entries.back().TimeStamp);
  }

private:
  void Damage(char const* part, std::string const& text) { result_.damage.push_back({part, text}); }

  void CompareChecksums(char const* part, unsigned stored, unsigned computed)
  {
    if (stored != computed)
      Damage(part, "checksum is " + Text::Hex16(stored) + ", computed " + Text::Hex16(computed));
  }

  void CompareTimes(char const* which, long long ofHeader, long long ofEntries)
  {
    if (ofHeader != ofEntries)
      Damage("header", std::string(which) + " time stamp is " + QenTime::TimeStampToString(ofHeader) +
                           ", the entries have " + QenTime::TimeStampToString(ofEntries));
  }

  std::string CountedEntries() const
  {
    return Text::Counted(header_.SampleCount, "entry", "entries") + " = " +
           Text::Counted(TrendFile::UncompressedSize(header_), "byte");
  }

  void Sizes(unsigned long long stored)
  {
    if (stored != header_.DataArrayByteCount)
      Damage("size", std::to_string(stored) + " entry bytes in the file, " +
                         std::to_string(header_.DataArrayByteCount) + " in the header");
    if (header_.Compression == no_compression && TrendFile::UncompressedSize(header_) != header_.DataArrayByteCount)
      Damage("header", CountedEntries() + ", the byte count is " + std::to_string(header_.DataArrayByteCount));
  }

  void Stream(std::span<unsigned char const> stored)
  {
    DeflateStream stream(header_.Compression == zlib ? DeflateStream::Format::Zlib : DeflateStream::Format::GZip,
                         TrendFile::UncompressedSize(header_));
    stream.Feed(stored);
    std::string const decoded = std::to_string(stream.DecodedBytes());
    if (stream.GetState() == DeflateStream::State::Damaged)
      Damage("stream", stream.Damage() + " behind " + decoded + " decoded bytes");
    else if (stream.GetState() == DeflateStream::State::Running)
      Damage("stream", "ends early, behind " + decoded + " decoded bytes");
    else if (stream.GetState() == DeflateStream::State::TooLong)
      Damage("stream", "holds more than " + CountedEntries());
    else if (stream.DecodedBytes() != TrendFile::UncompressedSize(header_))
      Damage("stream", "holds " + Text::Counted(stream.DecodedBytes(), "byte") + ", " + CountedEntries());
    else if (stream.BytesBehindEnd() != 0)
      Damage("stream", Text::Counted(stream.BytesBehindEnd(), "byte") + " behind its end");
  }

  trend_header_t const header_;
  TrendVerification result_;
};

TrendVerification TooShort(unsigned long long fileSize)
{
  TrendVerification verification;
  verification.damage.push_back({"size", std::to_string(fileSize) + " bytes in the file, the header alone takes 96"});
  return verification;
}
} // namespace

TrendVerification VerifyTrendHeader(InputFile const& file)
{
  std::optional<trend_header_t> const header = TrendFile::PeekHeader(file);
  if (!header)
    return TooShort(file.Size());
  Check check(*header);
  check.Header(file.Size());
  return check.Result();
}

TrendVerification VerifyTrendRecord(std::span<unsigned char const> record)
{
  if (record.size() < kTrendHeaderSize)
    return TooShort(record.size());
  trend_header_t header;
  std::memcpy(&header, record.data(), kTrendHeaderSize);
  Check check(header);
  check.Header(record.size());
  check.Entries(record.subspan(kTrendHeaderSize));
  return check.Result();
}

TrendVerification VerifyTrendEntries(trend_header_t const& header, Trend const& trend)
{
  Check check(header);
  check.Order(trend.GetTrendEntryVector());
  return check.Result();
}

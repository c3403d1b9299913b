#include "Verification.h"

#include "DeflateStream.h"
#include "ExitCode.h"
#include "Names.h"
#include "Recording.h"
#include "SignalFile.h"
#include "Text.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{
void Damage(Verification& verification, char const* part, std::string const& text)
{
  verification.damage.push_back({part, text});
}

void Remark(Verification& verification, std::string const& text) { verification.remarks.push_back({"header", text}); }

std::string Checksums(unsigned stored, unsigned computed)
{
  return "checksum is " + Text::Hex16(stored) + ", computed " + Text::Hex16(computed);
}

bool IsCompressed(timesignal_bin_t const& header) { return header.Compression == zlib || header.Compression == gzip; }

void CheckHeaderChecksum(timesignal_bin_t const& header, Verification& verification)
{
  unsigned const computed = TimeSignal::CalcChecksum(&header, offsetof(timesignal_bin_t, HeaderChecksum));
  if (computed != header.HeaderChecksum)
    Damage(verification, "header", Checksums(header.HeaderChecksum, computed));
  if (header.BinaryHeaderVersion != 2)
    Damage(verification, "header", "version is " + std::to_string(header.BinaryHeaderVersion) + ", not 2");
  if (header.HeaderSize != kTimeSignalHeaderSize)
    Damage(verification, "header", "size field is " + std::to_string(header.HeaderSize) + ", not 120");
}

void CheckEnumerations(timesignal_bin_t const& header, Verification& verification)
{
  auto const check = [&](char const* what, std::span<Names::Entry const> entries, int value)
  {
    if (Names::Find(entries, value) == nullptr)
      Damage(verification, "header", std::string(what) + " " + std::to_string(value) + " is unknown");
  };
  check("signal type", Names::SignalTypes(), header.SignalType);
  check("sample type", Names::SampleTypes(), header.SampleType);
  if (header.Compression == int24)
    Damage(verification, "header", "compression 3 (int24) has no method");
  else
    check("compression", Names::Compressions(), header.Compression);
}

std::string CountedSamples(timesignal_bin_t const& header)
{
  return Text::Counted(header.SampleCount, Names::Show(Names::SampleTypes(), header.SampleType) + " sample");
}

void CheckSizes(timesignal_bin_t const& header, Verification& verification)
{
  unsigned long long const stored = verification.fileSize - kTimeSignalHeaderSize;
  if (stored != header.DataArrayByteCount)
    Damage(verification, "size",
           std::to_string(stored) + " sample bytes in the file, " + std::to_string(header.DataArrayByteCount) +
               " in the header");
  if (Names::Find(Names::SampleTypes(), header.SampleType) == nullptr)
    return;
  std::optional<unsigned long long> const size = SignalFile::UncompressedSize(header);
  if (!size || *size > kMaximumSampleBytes)
    Damage(verification, "header", CountedSamples(header) + " = more than 2^31 - 1 bytes");
  else if (header.Compression == no_compression && *size != header.DataArrayByteCount)
    Damage(verification, "header",
           CountedSamples(header) + " = " + Text::Counted(*size, "byte") + ", the byte count is " +
               std::to_string(header.DataArrayByteCount));
}

void CheckIdentifiers(timesignal_bin_t const& header, Verification& verification)
{
  auto const check = [&](char const* what, unsigned char const(&bytes)[16])
  {
    if (SignalFile::ToUuid(bytes).IsNull())
      Remark(verification, std::string(what) + " UUID is null");
  };
  check("measurement configuration", header.MeasurementConfigUuid);
  check("measurement", header.MeasurementUuid);
  check("unit", header.UnitUuid);
}

void CheckNumbers(timesignal_bin_t const& header, Verification& verification)
{
  if (!std::isfinite(header.DeltaX) || header.DeltaX <= 0)
    Remark(verification, "sample spacing is " + Text::Shortest(header.DeltaX));
  if (!std::isfinite(header.ScalingFactor) || header.ScalingFactor == 0)
    Remark(verification, "scaling factor is " + Text::Shortest(header.ScalingFactor));
  if (!std::isfinite(header.Offset))
    Remark(verification, "offset is " + Text::Shortest(header.Offset));
  if (header.Reserved != 0)
    Remark(verification, "reserved field is " + std::to_string(header.Reserved) + ", not 0");
}

void CheckStream(timesignal_bin_t const& header, DeflateStream const& stream, Verification& verification)
{
  std::optional<unsigned long long> const size = SignalFile::UncompressedSize(header);
  switch (stream.GetState())
  {
  case DeflateStream::State::Damaged:
    Damage(verification, "stream",
           stream.Damage() + " behind " + std::to_string(stream.DecodedBytes()) + " decoded bytes");
    break;
  case DeflateStream::State::Running:
    Damage(verification, "stream", "ends early, behind " + std::to_string(stream.DecodedBytes()) + " decoded bytes");
    break;
  case DeflateStream::State::TooLong:
    Damage(verification, "stream", "holds more than " + CountedSamples(header));
    break;
  case DeflateStream::State::Ended:
    if (size && *size != stream.DecodedBytes())
      Damage(verification, "stream",
             "holds " + Text::Counted(stream.DecodedBytes(), "byte") + ", " + CountedSamples(header) + " = " +
                 Text::Counted(*size, "byte"));
    if (stream.BytesBehindEnd() != 0)
      Damage(verification, "stream", Text::Counted(stream.BytesBehindEnd(), "byte") + " behind its end");
  }
}

/// One pass over the stored bytes: their checksum and, when they are compressed, their stream.
class SampleCheck
{
public:
  explicit SampleCheck(timesignal_bin_t const& header) : header_(header)
  {
    if (IsCompressed(header))
      stream_.emplace(
          header.Compression == zlib ? DeflateStream::Format::Zlib : DeflateStream::Format::GZip,
          std::min(SignalFile::UncompressedSize(header).value_or(kMaximumSampleBytes), kMaximumSampleBytes));
  }

  /// All pieces but the last have an even size, so that their checksums combine.
  void Feed(std::span<unsigned char const> piece)
  {
    checksum_ ^= TimeSignal::CalcChecksum(piece.data(), piece.size());
    stored_ += piece.size();
    if (stream_)
      stream_->Feed(piece);
  }

  void Finish(Verification& verification) const
  {
    if (checksum_ != header_.DataChecksum)
      Damage(verification, "samples", Checksums(header_.DataChecksum, checksum_));
    // A signal without samples has no stream in either compression.
    if (stream_ && (stored_ != 0 || header_.SampleCount != 0))
      CheckStream(header_, *stream_, verification);
  }

private:
  timesignal_bin_t const& header_;
  std::optional<DeflateStream> stream_;
  unsigned checksum_ = 0;
  unsigned long long stored_ = 0;
};

void CheckHeader(timesignal_bin_t const& header, Verification& verification)
{
  CheckHeaderChecksum(header, verification);
  CheckEnumerations(header, verification);
  CheckSizes(header, verification);
  CheckIdentifiers(header, verification);
  CheckNumbers(header, verification);
}

/// @param header  nothing when there are not even so many bytes
Verification VerifyHeader(std::optional<timesignal_bin_t> const& header, unsigned long long size)
{
  Verification verification;
  verification.fileSize = size;
  verification.header = header;
  if (header)
    CheckHeader(*header, verification);
  else
    Damage(verification, "size", std::to_string(size) + " bytes in the file, the header alone takes 120");
  return verification;
}

Verification VerifyRecord(timesignal_bin_t const& header, std::span<unsigned char const> stored)
{
  Verification verification = VerifyHeader(header, kTimeSignalHeaderSize + stored.size());
  SampleCheck check(*verification.header);
  if (!stored.empty())
    check.Feed(stored);
  check.Finish(verification);
  return verification;
}

/// Runs a check of a document; one that cannot be read is damage.
std::optional<DetailsDocument> GuardedDetails(Verification& verification,
                                              std::function<std::optional<DetailsDocument>()> const& read)
{
  if (!verification.header)
    return std::nullopt;
  try
  {
    std::optional<DetailsDocument> document = read();
    if (document)
      for (std::string const& difference : document->Differences(*verification.header))
        Damage(verification, "details", difference);
    return document;
  }
  catch (ToolError const& error)
  {
    verification.damage.push_back(UnreadableDetails(error));
    return std::nullopt;
  }
}
} // namespace

Verification VerifyHeader(InputFile const& file) { return VerifyHeader(SignalFile::PeekHeader(file), file.Size()); }

Verification Verify(InputFile const& file)
{
  Verification verification = VerifyHeader(file);
  if (!verification.header)
    return verification;
  SampleCheck check(*verification.header);
  SequentialReader reader(file, kTimeSignalHeaderSize);
  for (auto piece = reader.Next(); !piece.empty(); piece = reader.Next())
    check.Feed(piece);
  check.Finish(verification);
  return verification;
}

Verification Verify(std::span<unsigned char const> record)
{
  std::optional<timesignal_bin_t> const header = SignalFile::HeaderOf(record);
  return header ? VerifyRecord(*header, record.subspan(kTimeSignalHeaderSize)) : VerifyHeader(header, record.size());
}

Verification Verify(TimeSignal const& signal)
{
  timesignal_bin_t header = *signal.GetHeader();
  header.Samples = nullptr;
  return VerifyRecord(header, signal.GetStoredSamples());
}

Verification::Finding UnreadableDetails(ToolError const& error)
{
  constexpr std::string_view kPart = "details: "; // stands in front of every finding of this part
  std::string_view text = error.what();
  if (text.starts_with(kPart))
    text.remove_prefix(kPart.size());
  return {"details", std::string(text)};
}

std::optional<DetailsDocument> VerifyDetails(InputFile const& file, Verification& verification)
{
  return GuardedDetails(verification, [&] { return DetailsDocument::Beside(file); });
}

void VerifyDetails(std::string const& document, Verification& verification)
{
  GuardedDetails(verification, [&] { return DetailsDocument::FromText(document); });
}

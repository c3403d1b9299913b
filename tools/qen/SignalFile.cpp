#include "SignalFile.h"

#include "ExitCode.h"
#include "Names.h"
#include "Text.h"

#include "signalprocessing/io/file/SampleTypes.h"
#include "signalprocessing/io/file/TimeSignalFile.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <memory>

namespace
{
struct RecordRelease
{
  void operator()(timesignal_bin_t* record) const
  {
    delete[] record->Samples;
    delete record;
  }
};
using Record = std::unique_ptr<timesignal_bin_t, RecordRelease>;

constexpr unsigned long long kFirstSizeBeyondFiles = 1ULL << 32; // lengths of files count 32 bits

Record ReadRecord(InputFile const& file)
{
  if (file.IsOnDisk())
    return Record(TimeSignalFile::Read(file.Path()));
  return Record(InternalTimeSignal::VectorToTimeSignalBin(file.ReadAll()));
}

Uuid JobOf(timesignal_bin_t const& header, std::optional<Uuid> const& job)
{
  if (job)
    return *job;
  Uuid const measurement = SignalFile::ToUuid(header.MeasurementUuid);
  return measurement.IsNull() ? Uuid::CreateUuid() : measurement;
}
} // namespace

std::optional<timesignal_bin_t> SignalFile::PeekHeader(InputFile const& file)
{
  unsigned char bytes[kTimeSignalHeaderSize];
  return HeaderOf({bytes, file.ReadAt(0, bytes)});
}

std::optional<timesignal_bin_t> SignalFile::HeaderOf(std::span<unsigned char const> record)
{
  if (record.size() < kTimeSignalHeaderSize)
    return std::nullopt;
  timesignal_bin_t header{};
  std::memcpy(&header, record.data(), kTimeSignalHeaderSize);
  return header;
}

timesignal_bin_t SignalFile::ReadHeader(InputFile const& file)
{
  std::optional<timesignal_bin_t> const header = PeekHeader(file);
  if (!header)
    throw ToolError(ExitCode::Unreadable, "is no time signal file: it has " + Text::Counted(file.Size(), "byte") +
                                              ", the header alone takes " + std::to_string(kTimeSignalHeaderSize));
  if (header->BinaryHeaderVersion != 2 || header->HeaderSize != kTimeSignalHeaderSize)
    throw ToolError(ExitCode::Unreadable, "is no time signal file: it begins with the header version " +
                                              std::to_string(header->BinaryHeaderVersion) + " and size " +
                                              std::to_string(header->HeaderSize) + ", not 2 and 120");
  return *header;
}

TimeSignal SignalFile::Read(InputFile const& file, std::optional<Uuid> const& job,
                            std::optional<DetailsDocument> const& document)
{
  timesignal_bin_t const header = ReadHeader(file);
  if (file.Size() >= kFirstSizeBeyondFiles)
    throw ToolError(ExitCode::Unreadable, "has 4 GiB or more, which no time signal file has");
  Record const record = ReadRecord(file);
  Details const details = document ? document->Contents() : Details();
  TimeSignal signal(*record, details.unit, JobOf(header, job));
  details.AddTo(signal);
  return signal;
}

void SignalFile::Write(TimeSignal& signal, compression32_t compression, OutputFile& output)
{
  signal.Compress(compression); // what it throws is no fault of the disk
  errno = 0;
  try
  {
    TimeSignalFile::Write(output.TemporaryPath(), signal, compression);
  }
  catch (TimeSignalFileException const&)
  {
    output.Fail("cannot be written", errno != 0 ? errno : EIO);
  }
}

std::optional<double> SignalFile::RateOf(timesignal_bin_t const& header)
{
  if (!(header.DeltaX > 0) || !std::isfinite(1 / header.DeltaX))
    return std::nullopt;
  double const rate = 1 / header.DeltaX;
  double const whole = std::round(rate);
  return whole >= 1 && std::abs(rate - whole) <= 1e-9 * whole ? whole : rate;
}

std::string SignalFile::ShowRate(timesignal_bin_t const& header)
{
  std::optional<double> const rate = RateOf(header);
  return rate ? Text::Rounded(*rate, 10) + " Hz" : "unknown rate";
}

std::string SignalFile::Summary(timesignal_bin_t const& header)
{
  return Text::Counted(header.SampleCount, Names::Show(Names::SampleTypes(), header.SampleType) + " sample") + ", " +
         Names::Show(Names::Compressions(), header.Compression) + ", offset " + Text::Shortest(header.Offset) + ", " +
         std::to_string(header.DataArrayByteCount) + " sample bytes, checksums " + Text::Hex16(header.HeaderChecksum) +
         " " + Text::Hex16(header.DataChecksum);
}

bool SignalFile::IsTimeSignal(timesignal_bin_t const& header)
{
  return header.SignalType == raw_time_signal || header.SignalType == demodulation_time_signal;
}

std::optional<unsigned long long> SignalFile::UncompressedSize(timesignal_bin_t const& header)
{
  unsigned long long sampleSize = 0;
  VisitSampleType(header.SampleType, [&]<class T>(std::type_identity<T>) { sampleSize = sizeof(T); });
  unsigned long long size = 0;
  if (sampleSize == 0 || __builtin_mul_overflow(header.SampleCount, sampleSize, &size))
    return std::nullopt;
  return size;
}

Uuid SignalFile::ToUuid(unsigned char const (&bytes)[16])
{
  Uuid uuid;
  uuid.SetPlainUuid(bytes);
  return uuid;
}

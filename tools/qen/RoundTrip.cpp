#include "RoundTrip.h"

#include "CsvFile.h"
#include "ExitCode.h"
#include "Exporter.h"
#include "SameValues.h"
#include "SignalFile.h"
#include "SignalOutput.h"
#include "SoundFile.h"
#include "Statistics.h"
#include "TemporaryFolder.h"
#include "Text.h"
#include "Verification.h"

#include "platform/Archive.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

namespace
{
double MillisecondsOf(std::function<void()> const& work)
{
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// A signal like another with other samples.
TimeSignal WithSamples(TimeSignal const& signal, SampleArray const& samples)
{
  timesignal_bin_t const& header = *signal.GetHeader();
  return {header.SignalType,
          SignalFile::ToUuid(header.MeasurementConfigUuid),
          SignalFile::ToUuid(header.MeasurementUuid),
          header.DeltaX,
          header.ScalingFactor,
          header.Offset,
          header.TimeStamp,
          SignalFile::ToUuid(header.UnitUuid),
          signal.GetUnitString(),
          SampleTypeOf(samples),
          SampleCountOf(samples),
          SampleBytesOf(samples),
          signal.GetJobDataUuid()};
}

/// What a form that changes nothing changed; empty for nothing.
std::string Change(TimeSignal const& before, TimeSignal const& after)
{
  if (std::memcmp(before.GetHeader(), after.GetHeader(), kTimeSignalHeaderSize) != 0)
    return "another header";
  if (!SameInDocument(Details::Of(before), Details::Of(after)))
    return "other details";
  if (before.GetJobDataUuid() != after.GetJobDataUuid())
    return "another job-data entry";
  if (!Verify(after).IsGood())
    return "wrong checksums";
  return FirstDifference(before, after) ? "other values" : "";
}

double RmsOf(TimeSignal signal) { return StatisticsOf(signal).rms; }

/// Runs what reads a stored form; one that cannot be read proves nothing.
void ReadBack(FormResult& result, std::function<void()> const& read)
{
  try
  {
    read();
  }
  catch (std::bad_alloc const&)
  {
    throw;
  }
  catch (std::exception const& error)
  {
    result.problem = "cannot be read back: " + Text::Printable(error.what());
  }
}
} // namespace

RoundTrip::RoundTrip(TimeSignal const& original, std::string stem, OutputFile::Existing existing)
  : original_(original), stem_(std::move(stem)), existing_(existing), rms_(RmsOf(original))
{
}

std::vector<FormResult> RoundTrip::StoreAll()
{
  TimeSignal centred = original_;
  centred.ExtractOffset();
  std::vector<FormResult> results;
  results.push_back(Store(original_, no_compression, "as imported", "-imported"));
  results.push_back(Store(centred, no_compression, "offset removed", "-centred"));
  results.push_back(Store(centred, zlib, "  and zlib", "-zlib"));
  results.push_back(Store(centred, gzip, "  and gzip", "-gzip"));
  return results;
}

FormResult RoundTrip::Store(TimeSignal signal, compression32_t compression, char const* name, char const* suffix)
{
  TemporaryFolder::ThrowIfInterrupted();
  std::string const path = stem_ + suffix + SignalFile::kExtension;
  FormResult result;
  result.name = name;
  result.writeMilliseconds = MillisecondsOf(
      [&]
      {
        SignalOutput output(path, existing_, SignalOutput::Document::Always);
        output.Write(signal, compression);
        output.Commit();
      });
  result.rmsBefore = rms_;
  ReadBack(result, [&] { Check(path, signal, result); });
  return result;
}

void RoundTrip::Check(std::string const& path, TimeSignal const& signal, FormResult& result) const
{
  InputFile const written(path);
  TimeSignal read;
  result.readMilliseconds = MillisecondsOf(
      [&]
      {
        auto const document = DetailsDocument::Of(written, *signal.GetHeader());
        read = SignalFile::Read(written, signal.GetJobDataUuid(), document);
        read.Uncompress();
      });
  result.fileSize = written.Size();
  result.rmsAfter = RmsOf(read);
  Verification verification = Verify(written);
  VerifyDetails(written, verification);
  if (!verification.IsGood())
    result.problem = verification.damage.front().text;
  else if (!SameInDocument(Details::Of(original_), Details::Of(read)))
    result.problem = "other details";
  else if (FirstDifference(original_, read))
    result.problem = "other values";
}

FormResult RoundTrip::StoreInDatabaseObject()
{
  std::unique_ptr<MeasurementDataDO> stored;
  return Pass(
      "database object",
      [&]
      {
        stored.reset(original_.GetMeasurementDataDO());
        return stored->getBinaryData().size() + stored->getMeasurementDataDetails().size();
      },
      [&] { return TimeSignal(*stored); });
}

FormResult RoundTrip::StoreInArchive()
{
  Archive archive;
  return Pass(
      "archive",
      [&]
      {
        archive << original_;
        return static_cast<unsigned long long>(archive.tellp());
      },
      [&]
      {
        TimeSignal signal;
        archive >> signal;
        if (!archive) // the last bytes are read without a check
          throw ToolError(ExitCode::Difference, "the archive ends early");
        return signal;
      });
}

FormResult RoundTrip::Pass(char const* name, std::function<unsigned long long()> const& store,
                           std::function<TimeSignal()> const& read)
{
  TemporaryFolder::ThrowIfInterrupted();
  FormResult result;
  result.name = name;
  result.writeMilliseconds = MillisecondsOf([&] { result.fileSize = store(); });
  TimeSignal after;
  result.readMilliseconds = MillisecondsOf([&] { after = read(); });
  result.rmsBefore = rms_;
  result.rmsAfter = RmsOf(after);
  result.problem = Change(original_, after);
  return result;
}

FormResult RoundTrip::Export(Recording const& recording, std::size_t channel, bool asWav)
{
  TemporaryFolder::ThrowIfInterrupted();
  FormResult result;
  result.name = asWav ? "exported to WAV" : "exported to CSV";
  std::string const path = stem_ + (asWav ? "-exported.wav" : "-exported.csv");
  result.writeMilliseconds = MillisecondsOf([&] { WriteExport(path, recording, asWav); });
  result.rmsBefore = rms_;
  ReadBack(result, [&] { CheckExport(path, recording.channels[channel], asWav, result); });
  return result;
}

void RoundTrip::CheckExport(std::string const& path, SampleArray const& samples, bool asWav, FormResult& result) const
{
  InputFile const written(path);
  Recording again;
  result.readMilliseconds = MillisecondsOf(
      [&] {
        again = asWav ? SoundFile::Read(written, {}) : CsvFile::Read(written, {"", SampleTypeOf(samples)});
      });
  result.fileSize = written.Size();
  result.rmsAfter = RmsOf(WithSamples(original_, again.channels.front()));
  if (!SameSamples(samples, again.channels.front()))
    result.problem = "other samples";
}

void RoundTrip::WriteExport(std::string const& path, Recording const& recording, bool asWav)
{
  OutputFile output(path, existing_);
  Exporter::Options options;
  if (asWav)
  {
    options.rate = static_cast<unsigned long long>(std::max(1.0, recording.rate.value_or(1)));
    Exporter::WriteWav(original_, options, output);
  }
  else
    Exporter::WriteCsv(original_, options, output);
  output.Commit();
}

#include "Exporter.h"

#include "CsvFile.h"
#include "ExitCode.h"
#include "PhysicalValues.h"
#include "SampleBlocks.h"
#include "SignalFile.h"
#include "SoundFile.h"
#include "Text.h"

#include "signalprocessing/io/file/SampleTypes.h"

#include <cmath>
#include <limits>

namespace
{
/// The rate that a WAV file can state: a whole number.
int WholeRate(timesignal_bin_t const& header, std::optional<unsigned long long> const& asked)
{
  constexpr double kLargest = std::numeric_limits<int>::max();
  double const rate = asked ? static_cast<double>(*asked) : SignalFile::RateOf(header).value_or(0);
  if (rate < 1 || rate > kLargest || rate != std::trunc(rate))
    throw ToolError(ExitCode::Unreadable, "has the rate " + Text::Shortest(rate) + " Hz (spacing " +
                                              Text::Shortest(header.DeltaX) +
                                              "), a WAV file needs a whole number: give --rate");
  return static_cast<int>(rate);
}

CsvFile::WriteOptions CsvOptions(TimeSignal const& signal, Exporter::Options const& options)
{
  timesignal_bin_t const& header = *signal.GetHeader();
  bool const isPhysical = options.physical || (header.ScalingFactor == 1 && header.Offset == 0);
  CsvFile::WriteOptions csv;
  if (!options.noHeader)
    csv.valueName = options.physical ? "physical" : "raw";
  if (isPhysical)
    csv.unit = signal.GetUnitString();
  if (options.timeColumn)
    csv.timeStep = header.DeltaX;
  csv.timeName = SignalFile::IsTimeSignal(header) ? "time_s" : "x";
  return csv;
}
} // namespace

void Exporter::WriteWav(TimeSignal& signal, Options const& options, OutputFile& output)
{
  signal.Uncompress();
  timesignal_bin_t const& header = *signal.GetHeader();
  SoundFile::Write(output, signal.GetStoredSamples(), header.SampleType, WholeRate(header, options.rate),
                   options.pcm24 ? SoundFile::Encoding::Pcm24 : SoundFile::Encoding::Exact);
}

void Exporter::WriteCsv(TimeSignal& signal, Options const& options, OutputFile& output)
{
  signal.Uncompress();
  timesignal_bin_t const& header = *signal.GetHeader();
  CsvFile::Writer writer(output, CsvOptions(signal, options));
  if (options.physical)
    ForEachPhysicalBlock(signal, [&](std::span<double const> values) { writer.Write(values); });
  else
    VisitSampleType(
        header.SampleType, [&]<class T>(std::type_identity<T>)
        { ForEachBlock<T>(signal.GetStoredSamples(), [&](std::span<T const> samples) { writer.Write(samples); }); });
  writer.Finish();
}

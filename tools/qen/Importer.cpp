#include "Importer.h"

#include "CsvFile.h"
#include "CsvLine.h"
#include "DetailsText.h"
#include "ExitCode.h"
#include "OptionSet.h"
#include "SoundContainer.h"
#include "SoundFile.h"
#include "Text.h"

#include <algorithm>

void Importer::AddReadingOptions(OptionSet& options)
{
  options.AddCount("--channel", channel_, "take only this channel of a sound file, from 1");
  options.AddText("--column", "NAME|N", column_, "take this column of a CSV file: its name or its number, from 1");
  options.AddSampleType(type_, "sample type of CSV values; one that it cannot hold exactly is refused");
  options.AddFlag("--accept-cut", acceptCut_, "take what is there when a sound file is shorter than its header says");
  options.AddPositive("--rate", rate_, "samples per second of CSV values; sound files have their own");
  options.AddPositive("--delta-x", deltaX_, "sample spacing instead of a rate: seconds, or Hz for spectra")
      .Excludes("--rate");
  options.AddFlag("--override-rate", overrideRate_, "use --rate or --delta-x for sound files too");
  options.AddFactor("--scale", scale_, "physical value = (sample - offset) x scale [1]");
  options.AddNumber("--offset", offset_, "offset of the samples, in counts [0]");
  options.AddDetailsText("--unit", unitText_,
                         "unit of the physical values, such as m/s2 [that in the CSV column's name]");
}

void Importer::AddHeaderOptions(OptionSet& options)
{
  options.AddUuid("--unit-uuid", unit_, "UUID of the unit of the physical values [null]");
  options.AddUuid("--config", config_, "measurement configuration [null]");
  options.AddUuid("--measurement", measurement_, "measurement, for a single result [random]");
  options.AddUuid("--job", job_, "job-data entry [the measurement]; files do not carry it");
  options.AddTime("--time", time_, "time of the first sample: RFC 3339, or microseconds since 1970 [now]");
  options.AddSignalType(signalType_, "kind of signal [raw_time_signal]");
}

Recording Importer::Read(InputFile const& file) const
{
  Recording recording = SoundContainer::Recognise(file) ? ReadSound(file) : ReadCsv(file);
  if (SampleCountOf(recording.channels.front()) == 0)
    throw ToolError(ExitCode::Unreadable, "holds no samples");
  return recording;
}

Recording Importer::ReadSound(InputFile const& file) const
{
  if (type_ || !column_.empty())
    throw ToolError(ExitCode::Usage, "is a sound file: --type and --column are for CSV files");
  constexpr unsigned long long kBeyondAnyChannel = 1000000;
  SoundFile::ReadOptions options;
  options.acceptCut = acceptCut_;
  if (channel_)
    options.channel = static_cast<unsigned int>(std::min(*channel_, kBeyondAnyChannel));
  Recording recording = SoundFile::Read(file, options);
  RemarkRate(recording);
  return recording;
}

Recording Importer::ReadCsv(InputFile const& file) const
{
  if (channel_)
    throw ToolError(ExitCode::Usage, "is no sound file: --channel is for sound files, --column for CSV files");
  if (!rate_ && !deltaX_)
    throw ToolError(ExitCode::Usage, "is a CSV file, which has no sampling rate: give --rate or --delta-x");
  Recording recording = CsvFile::Read(file, {column_, type_});
  RemarkUnit(recording);
  return recording;
}

/// The user should know when what he gave is not used.
void Importer::RemarkRate(Recording& recording) const
{
  bool const asGiven = rate_ == recording.rate || (deltaX_ && *deltaX_ == 1 / *recording.rate);
  if ((rate_ || deltaX_) && !asGiven && !overrideRate_)
    recording.remarks.push_back("keeps its own rate of " + Text::Shortest(*recording.rate) +
                                " Hz; --override-rate replaces it");
}

/// A unit in the header that documents cannot keep is no reason to refuse the values.
void Importer::RemarkUnit(Recording& recording) const
{
  std::string const unit = CsvLine::ColumnName(recording.label).unit;
  std::string const problem = DetailsText::Problem(unit);
  if (!unitText_ && !problem.empty())
    recording.remarks.push_back("the column's unit is not taken: " + Text::Quoted(unit) + " " + problem +
                                "; --unit gives another");
}

std::string Importer::UnitOf(Recording const& recording) const
{
  std::string const unit = CsvLine::ColumnName(recording.label).unit;
  bool const isNamed = !unit.empty() && DetailsText::Problem(unit).empty();
  return unitText_.value_or(isNamed ? unit : defaultUnit_);
}

double Importer::SampleSpacing(Recording const& recording) const
{
  if (recording.rate && !(overrideRate_ && (rate_ || deltaX_)))
    return 1 / *recording.rate;
  return deltaX_ ? *deltaX_ : 1 / *rate_;
}

TimeSignal Importer::MakeSignal(Recording const& recording, std::size_t channel) const
{
  SampleArray const& samples = recording.channels[channel];
  Uuid const measurement = measurement_ ? *measurement_ : Uuid::CreateUuid();
  Uuid job = job_.value_or(measurement);
  if (job.IsNull())
    job = Uuid::CreateUuid();
  return {signalType_.value_or(raw_time_signal),
          config_.value_or(Uuid()),
          measurement,
          SampleSpacing(recording),
          scale_.value_or(defaultScale_),
          offset_.value_or(0),
          time_.value_or(now_),
          unit_.value_or(Uuid()),
          UnitOf(recording),
          SampleTypeOf(samples),
          SampleCountOf(samples),
          SampleBytesOf(samples),
          job};
}

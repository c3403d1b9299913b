#pragma once

#include "InputFile.h"
#include "Recording.h"

#include "platform/QenTime.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>
#include <string>

class OptionSet;

/// Turns WAV and CSV files into time signals. Holds what the user says about them; what he does not say has a default.
class Importer
{
public:
  /// Adds the options that say how a file and its values are read, and what else the header tells.
  void AddReadingOptions(OptionSet& options);
  void AddHeaderOptions(OptionSet& options);

  /// Reads a recording: a sound file when it begins as one, else a CSV file.
  Recording Read(InputFile const& file) const;

  /// The uncompressed signal of one channel of a recording, with the unit that the user or a CSV file's header names.
  TimeSignal MakeSignal(Recording const& recording, std::size_t channel) const;

  /// The scale when the user gives none; 1 otherwise.
  void SetDefaultScale(double scale) { defaultScale_ = scale; }
  /// The unit when neither the user nor the recording gives one; empty otherwise.
  void SetDefaultUnit(std::string unit) { defaultUnit_ = std::move(unit); }
  bool HasMeasurement() const { return measurement_.has_value(); }

private:
  Recording ReadSound(InputFile const& file) const;
  Recording ReadCsv(InputFile const& file) const;
  double SampleSpacing(Recording const& recording) const;
  void RemarkRate(Recording& recording) const;
  std::string UnitOf(Recording const& recording) const;
  void RemarkUnit(Recording& recording) const;

  std::optional<unsigned long long> channel_;
  std::string column_;
  std::optional<sample_datatype32_t> type_;
  bool acceptCut_ = false;
  bool overrideRate_ = false;
  std::optional<double> rate_, deltaX_;
  std::optional<double> scale_, offset_;
  std::optional<std::string> unitText_;
  double defaultScale_ = 1;
  std::string defaultUnit_;
  std::optional<Uuid> config_, measurement_, unit_, job_;
  std::optional<long long> time_;
  std::optional<signal32_t> signalType_;
  long long const now_ = QenTime::Now(); ///< one time for all channels and files of a call
};

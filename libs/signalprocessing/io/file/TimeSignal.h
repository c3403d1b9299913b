#pragma once

#include "signalprocessing/io/file/InternalTimeSignal.h"

/// A time signal as programs hold it: a handle that shares its signal with its copies.
///
/// Copying a handle copies no samples. An operation that changes the signal first gives this handle a private copy when
/// others share it (copy on write), except RemoveAllSamples, RecalculateSamplesChecksum, the readouts, which
/// uncompress, and what is written through GetHeader and GetSamplesPointer: those are seen through every sharing
/// handle.
///
/// Threads. Handles may be copied, assigned, released and changed by the copying operations from several threads, one
/// thread per handle; all of these run under one process-wide lock. The in-place operations and the accessors take no
/// lock.
///
/// Operations behave and fail as those of InternalTimeSignal with the same names. After a failure the handle holds the
/// signal it held before.
class QEN_FILE_IO_EXPORT TimeSignal
{
public:
  TimeSignal();
  TimeSignal(timesignal_bin_t const& record, std::string const& unitString, Uuid const& jobDataUuid);
  TimeSignal(signal32_t signalType, Uuid const& measurementConfigUuid, Uuid const& measurementUuid, double deltaX,
             double scalingFactor, double offset, long long timeStamp, Uuid const& unitUuid,
             std::string const& unitString, sample_datatype32_t sampleType, unsigned long long sampleCount,
             void const* samples, Uuid const& jobDataUuid);
  explicit TimeSignal(MeasurementDataDO const& stored);
  TimeSignal(TimeSignal const& other);
  TimeSignal& operator=(TimeSignal const& other);
  ~TimeSignal();
  /// Handles of one signal are equal; others compare their signals.
  bool operator!=(TimeSignal const& other) const;
  bool operator==(TimeSignal const& other) const;

  void Uncompress();
  void Compress(compression32_t method);
  void Convert(sample_datatype32_t target);
  void ExtractOffset();
  void AddTrigger(Uuid const& triggerUuid, double tripValue, Uuid const& unitUuid, std::string const& unitString);
  void AddValidator(Uuid const& validatorUuid, double averageValue, Uuid const& unitUuid,
                    std::string const& unitString);
  void AddCharacteristicValue(Uuid const& charValUuid, double value, Uuid const& unitUuid, std::string unitString,
                              float speed);

  timesignal_bin_t* GetHeader() const;
  unsigned char* GetSamplesPointer() const;
  std::span<unsigned char const> GetStoredSamples() const;
  std::string const& GetUnitString() const;
  Uuid& GetSignalUnit(Uuid& unit) const;
  Uuid const& GetJobDataUuid() const;
  std::vector<InternalTimeSignal::ValidatorParameters> const& GetValidators() const;
  InternalTimeSignal::TriggerParameters const& GetTrigger() const;
  std::vector<InternalTimeSignal::CharValParameters> const& GetCharVals() const;
  bool GetChecksumStatus() const;
  void RemoveAllSamples();
  void RecalculateSamplesChecksum();
  MeasurementDataDO* GetMeasurementDataDO() const;

  static unsigned short CalcChecksum(void const* data, unsigned long long length);
  static unsigned char GetDataTypeSize(sample_datatype32_t type);
  static std::vector<double>* SamplesToDouble(TimeSignal& signal, int count);
  static std::vector<short>* SamplesToFract(TimeSignal& signal, float& scale, int count);
  static unsigned long long SamplesToDouble(TimeSignal& signal, std::span<double> values);
  static unsigned long long SamplesToFract(TimeSignal& signal, float& scale, std::span<short> values);

private:
  friend QEN_FILE_IO_EXPORT Archive& operator<<(Archive& archive, TimeSignal const& signal);
  friend QEN_FILE_IO_EXPORT Archive& operator>>(Archive& archive, TimeSignal& signal);

  InternalTimeSignal* signal_;
};

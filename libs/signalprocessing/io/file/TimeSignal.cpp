#include "signalprocessing/io/file/TimeSignal.h"

#include <utility>

TimeSignal::TimeSignal() : signal_(new InternalTimeSignal) {}

TimeSignal::TimeSignal(timesignal_bin_t const& record, std::string const& unitString, Uuid const& jobDataUuid)
  : signal_(new InternalTimeSignal(record, unitString, jobDataUuid))
{
}

TimeSignal::TimeSignal(signal32_t signalType, Uuid const& measurementConfigUuid, Uuid const& measurementUuid,
                       double deltaX, double scalingFactor, double offset, long long timeStamp, Uuid const& unitUuid,
                       std::string const& unitString, sample_datatype32_t sampleType, unsigned long long sampleCount,
                       void const* samples, Uuid const& jobDataUuid)
  : signal_(new InternalTimeSignal(signalType, measurementConfigUuid, measurementUuid, deltaX, scalingFactor, offset,
                                   timeStamp, unitUuid, unitString, sampleType, sampleCount, samples, jobDataUuid))
{
}

TimeSignal::TimeSignal(MeasurementDataDO const& stored) : signal_(new InternalTimeSignal(stored)) {}

TimeSignal::TimeSignal(TimeSignal const& other) : signal_(InternalTimeSignal::CopyConstructor(other.signal_)) {}

TimeSignal& TimeSignal::operator=(TimeSignal const& other)
{
  if (this != &other)
    signal_ = InternalTimeSignal::CopyOperator(signal_, other.signal_);
  return *this;
}

TimeSignal::~TimeSignal() { InternalTimeSignal::Delete(signal_); }

bool TimeSignal::operator!=(TimeSignal const& other) const
{
  return signal_ != other.signal_ && *signal_ != *other.signal_;
}

bool TimeSignal::operator==(TimeSignal const& other) const { return !(*this != other); }

void TimeSignal::Uncompress() { signal_ = InternalTimeSignal::DoUncompress(signal_); }

void TimeSignal::Compress(compression32_t method) { signal_ = InternalTimeSignal::DoCompress(signal_, method); }

void TimeSignal::Convert(sample_datatype32_t target) { signal_ = InternalTimeSignal::DoConvert(signal_, target); }

void TimeSignal::ExtractOffset() { signal_ = InternalTimeSignal::DoExtractOffset(signal_); }

void TimeSignal::AddTrigger(Uuid const& triggerUuid, double tripValue, Uuid const& unitUuid,
                            std::string const& unitString)
{
  signal_ = InternalTimeSignal::DoAddTrigger(signal_, triggerUuid, tripValue, unitUuid, unitString);
}

void TimeSignal::AddValidator(Uuid const& validatorUuid, double averageValue, Uuid const& unitUuid,
                              std::string const& unitString)
{
  signal_ = InternalTimeSignal::DoAddValidator(signal_, validatorUuid, averageValue, unitUuid, unitString);
}

void TimeSignal::AddCharacteristicValue(Uuid const& charValUuid, double value, Uuid const& unitUuid,
                                        std::string unitString, float speed)
{
  signal_ =
      InternalTimeSignal::DoAddCharacteristicValue(signal_, charValUuid, value, unitUuid, std::move(unitString), speed);
}

timesignal_bin_t* TimeSignal::GetHeader() const { return signal_->GetHeader(); }

unsigned char* TimeSignal::GetSamplesPointer() const { return signal_->GetSamplesPointer(); }

std::span<unsigned char const> TimeSignal::GetStoredSamples() const { return signal_->GetStoredSamples(); }

std::string const& TimeSignal::GetUnitString() const { return signal_->GetUnitString(); }

Uuid& TimeSignal::GetSignalUnit(Uuid& unit) const { return signal_->GetSignalUnit(unit); }

Uuid const& TimeSignal::GetJobDataUuid() const { return signal_->GetJobDataUuid(); }

std::vector<InternalTimeSignal::ValidatorParameters> const& TimeSignal::GetValidators() const
{
  return signal_->GetValidators();
}

InternalTimeSignal::TriggerParameters const& TimeSignal::GetTrigger() const { return signal_->GetTrigger(); }

std::vector<InternalTimeSignal::CharValParameters> const& TimeSignal::GetCharVals() const
{
  return signal_->GetCharVals();
}

bool TimeSignal::GetChecksumStatus() const { return signal_->GetChecksumStatus(); }

void TimeSignal::RemoveAllSamples() { signal_->RemoveAllSamples(); }

void TimeSignal::RecalculateSamplesChecksum() { signal_->RecalculateSamplesChecksum(); }

MeasurementDataDO* TimeSignal::GetMeasurementDataDO() const { return signal_->GetMeasurementDataDO(); }

unsigned short TimeSignal::CalcChecksum(void const* data, unsigned long long length)
{
  return InternalTimeSignal::CalcChecksum(data, length);
}

unsigned char TimeSignal::GetDataTypeSize(sample_datatype32_t type)
{
  return InternalTimeSignal::GetDataTypeSize(type);
}

std::vector<double>* TimeSignal::SamplesToDouble(TimeSignal& signal, int count)
{
  return InternalTimeSignal::SamplesToDouble(*signal.signal_, count);
}

std::vector<short>* TimeSignal::SamplesToFract(TimeSignal& signal, float& scale, int count)
{
  return InternalTimeSignal::SamplesToFract(*signal.signal_, scale, count);
}

unsigned long long TimeSignal::SamplesToDouble(TimeSignal& signal, std::span<double> values)
{
  return InternalTimeSignal::SamplesToDouble(*signal.signal_, values);
}

unsigned long long TimeSignal::SamplesToFract(TimeSignal& signal, float& scale, std::span<short> values)
{
  return InternalTimeSignal::SamplesToFract(*signal.signal_, scale, values);
}

#include "signalprocessing/io/file/InternalTimeSignal.h"

#include "platform/MessageLogger.h"
#include "platform/Organisation.h"
#include "signalprocessing/io/file/BlockScale.h"
#include "signalprocessing/io/file/CentringOffset.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/Deflate.h"
#include "signalprocessing/io/file/MemorySize.h"
#include "signalprocessing/io/file/PaddedBytes.h"
#include "signalprocessing/io/file/SampleKernels.h"
#include "signalprocessing/io/file/SampleTypes.h"
#include "signalprocessing/io/file/Synchronizer.h"
#include "signalprocessing/io/file/TimeSignalErrors.h"
#include "signalprocessing/io/file/UuidBytes.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <tuple>
#include <utility>

namespace
{
using TimeSignalErrors::kSourceUnit;
using TimeSignalErrors::UnknownCompression;
using TimeSignalErrors::UnknownDataType;
using TimeSignalErrors::UnknownSignalType;

constexpr char const kConversionSourceUnit[] = "InternalTimeSignal.h";
constexpr unsigned long long kMaxSampleBytes = 2147483647;
constexpr unsigned short kHeaderVersion = 2;

/// What lives from load to unload of the library.
struct ProcessState
{
  MessageLogger* logger = MessageLogger::getLogger(std::string(Organisation::kLoggerPrefix) +
                                                   ".velmora.libs.signalprocessing.io.file.time_signal");
  Synchronizer::Mutex mutex;
};
// Before other static objects of a program that links the library statically: they may be time signals.
[[gnu::init_priority(200)]] ProcessState processState;

/// Bytes of one sample; 0 for an unknown type.
unsigned char sampleSize(sample_datatype32_t type)
{
  unsigned char size = 0;
  VisitSampleType(type, [&size]<class T>(std::type_identity<T>) { size = sizeof(T); });
  return size;
}

// The two range checks compare signed numbers from above only, so that values with the top bit set pass.
void requireSignalType(signal32_t type)
{
  if (type == 0 || type > order_analysis)
    throw UnknownSignalType(type);
}

void requireSampleType(sample_datatype32_t type)
{
  if (type == 0 || type > data_uint64_t)
    throw UnknownDataType(type);
}

void requireJobData(Uuid const& jobDataUuid)
{
  if (jobDataUuid.IsNull())
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Missing UUID for job data entry in database!");
}

/// Bytes of sampleCount uncompressed samples, when there are not too many.
unsigned long long requireSampleBytes(sample_datatype32_t type, unsigned long long sampleCount)
{
  unsigned long long const size = InternalTimeSignal::GetDataTypeSize(type);
  if (sampleCount > kMaxSampleBytes / size)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Support for more than 2^31 samples not implemented!");
  return sampleCount * size;
}

unsigned short headerChecksum(timesignal_bin_t const& record)
{
  return Checksum::Compute(&record, offsetof(timesignal_bin_t, HeaderChecksum));
}

/// The header of a record from elsewhere, checked in the order in which its faults are reported.
void requireValidHeader(timesignal_bin_t const& record)
{
  if (record.BinaryHeaderVersion != kHeaderVersion)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Wrong version of header block: %u!",
                                              static_cast<unsigned>(record.BinaryHeaderVersion));
  if (record.HeaderSize != kTimeSignalHeaderSize)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Wrong size of header block: %u!",
                                              static_cast<unsigned>(record.HeaderSize));
  requireSignalType(record.SignalType);
  requireSampleType(record.SampleType);
  if (record.Samples == nullptr && record.DataArrayByteCount != 0)
    throw ExceptionFactory(kSourceUnit, __LINE__).createException<TimeSignalException>("Sample array missing!");
  if (record.Compression != no_compression && !Deflate::IsMethod(record.Compression))
    throw UnknownCompression(record.Compression);
  if (record.HeaderChecksum != headerChecksum(record))
    throw ExceptionFactory(kSourceUnit, __LINE__).createException<TimeSignalException>("Checksum error in header!");
}

std::unique_ptr<unsigned char[]> makeArray(unsigned long long byteCount)
{
  return std::make_unique_for_overwrite<unsigned char[]>(MemorySize(byteCount));
}

bool isZero(std::span<unsigned char const> bytes)
{
  return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0; });
}

/// Whether two blocks are equal when the shorter one is continued by zeros.
bool equalWhenPadded(std::span<unsigned char const> a, std::span<unsigned char const> b)
{
  std::size_t const common = std::min(a.size(), b.size());
  return std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(common), b.begin()) &&
         isZero(a.subspan(common)) && isZero(b.subspan(common));
}

bool hasSameHeader(timesignal_bin_t const& a, timesignal_bin_t const& b)
{
  auto const fields = [](timesignal_bin_t const& record)
  {
    return std::tie(record.BinaryHeaderVersion, record.HeaderSize, record.SignalType, record.DeltaX,
                    record.ScalingFactor, record.Offset, record.TimeStamp, record.Compression, record.SampleType,
                    record.SampleCount, record.DataArrayByteCount, record.DataChecksum, record.HeaderChecksum);
  };
  return fields(a) == fields(b) && std::ranges::equal(a.MeasurementConfigUuid, b.MeasurementConfigUuid) &&
         std::ranges::equal(a.MeasurementUuid, b.MeasurementUuid) && std::ranges::equal(a.UnitUuid, b.UnitUuid);
}

bool isSame(InternalTimeSignal::TriggerParameters const& a, InternalTimeSignal::TriggerParameters const& b)
{
  return a.TriggerUuid == b.TriggerUuid && a.TripValue == b.TripValue && a.UnitUuid == b.UnitUuid &&
         a.UnitString == b.UnitString;
}

bool isSame(InternalTimeSignal::ValidatorParameters const& a, InternalTimeSignal::ValidatorParameters const& b)
{
  return a.ValidatorUuid == b.ValidatorUuid && a.AverageValue == b.AverageValue && a.UnitUuid == b.UnitUuid &&
         a.UnitString == b.UnitString;
}

// The speed describes the machine, not the signal.
bool isSame(InternalTimeSignal::CharValParameters const& a, InternalTimeSignal::CharValParameters const& b)
{
  return a.CharValUuid == b.CharValUuid && a.Value == b.Value && a.UnitUuid == b.UnitUuid &&
         a.UnitString == b.UnitString;
}

template <class Parameters>
bool isSameList(std::vector<Parameters> const& a, std::vector<Parameters> const& b)
{
  return std::ranges::equal(a, b, [](Parameters const& x, Parameters const& y) { return isSame(x, y); });
}

/// The condition of changes that a shared signal never goes through in place.
bool always(InternalTimeSignal const&) { return true; }

void requirePlausibleSize(sample_datatype32_t type, unsigned long long sampleCount, std::size_t streamSize)
{
  if (sampleCount > Deflate::MaxContent(streamSize) / InternalTimeSignal::GetDataTypeSize(type))
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<CompressionException>("Stream of %lu bytes cannot hold %lu samples!",
                                               static_cast<unsigned long>(streamSize),
                                               static_cast<unsigned long>(sampleCount));
}

template <class T>
void writeFractions(std::span<T const> samples, BlockScale const& block, short* output)
{
  if constexpr (std::is_floating_point_v<T>)
    SampleKernels::Quantise(samples, static_cast<T>(block.scale), output);
  else if (block.shrinks)
    SampleKernels::ShiftRight(samples, block.bits, output);
  else
    SampleKernels::ShiftLeft(samples, block.bits, output);
}

/// Number of samples that a readout of at most `count` gives; a negative count asks for all.
unsigned long long limitedCount(unsigned long long sampleCount, int count)
{
  return count < 0 ? sampleCount : std::min(sampleCount, static_cast<unsigned long long>(count));
}

template <class T>
std::unique_ptr<std::vector<T>> makeVector(unsigned long long size)
{
  if (size > std::vector<T>().max_size())
    throw std::bad_alloc();
  return std::make_unique<std::vector<T>>(static_cast<std::size_t>(size));
}
} // namespace

MessageLogger* TimeSignalErrors::Logger() { return processState.logger; }

InternalTimeSignal::InternalTimeSignal() : record_{}
{
  record_.BinaryHeaderVersion = kHeaderVersion;
  record_.HeaderSize = kTimeSignalHeaderSize;
  record_.SignalType = raw_time_signal;
  record_.SampleType = data_int8_t;
  record_.Compression = no_compression;
  record_.HeaderChecksum = CalcHeaderChecksum();
}

InternalTimeSignal::InternalTimeSignal(timesignal_bin_t const& record, std::string const& unitString,
                                       Uuid const& jobDataUuid)
  : record_{}, unitString_(unitString), jobDataUuid_(jobDataUuid)
{
  requireValidHeader(record);
  std::size_t const byteCount = MemorySize(record.DataArrayByteCount);
  std::unique_ptr<unsigned char[]> samples;
  unsigned short checksum = 0;
  if (byteCount != 0)
  {
    samples = makeArray(byteCount);
    checksum = Checksum::Copy(samples.get(), record.Samples, byteCount);
  }
  if (record.DataChecksum != checksum)
    throw ExceptionFactory(kSourceUnit, __LINE__).createException<TimeSignalException>("Checksum error in samples!");
  requireJobData(jobDataUuid);
  requireSampleBytes(record.SampleType, record.SampleCount);
  record_ = record;
  record_.Samples = nullptr;
  installSamples(std::move(samples), byteCount);
}

InternalTimeSignal::InternalTimeSignal(signal32_t signalType, Uuid const& measurementConfigUuid,
                                       Uuid const& measurementUuid, double deltaX, double scalingFactor, double offset,
                                       long long timeStamp, Uuid const& unitUuid, std::string const& unitString,
                                       sample_datatype32_t sampleType, unsigned long long sampleCount,
                                       void const* samples, Uuid const& jobDataUuid)
  : record_{}, unitString_(unitString), jobDataUuid_(jobDataUuid)
{
  Init(signalType, measurementConfigUuid.GetPlainUuid(), measurementUuid.GetPlainUuid(), deltaX, scalingFactor, offset,
       timeStamp, unitUuid.GetPlainUuid(), sampleType, sampleCount, GetDataTypeSize(sampleType) * sampleCount, samples);
}

InternalTimeSignal::InternalTimeSignal(InternalTimeSignal const& other)
  : record_(other.record_), unitString_(other.unitString_), validators_(other.validators_), trigger_(other.trigger_),
    charVals_(other.charVals_), jobDataUuid_(other.jobDataUuid_)
{
  record_.Samples = nullptr;
  if (other.record_.Samples == nullptr)
    return;
  std::span<unsigned char const> const stored = other.GetStoredSamples();
  auto samples = makeArray(stored.size());
  std::ranges::copy(stored, samples.get());
  installSamples(std::move(samples), stored.size());
}

InternalTimeSignal::~InternalTimeSignal() { delete[] record_.Samples; }

void InternalTimeSignal::Init(signal32_t signalType, unsigned char const* measurementConfigUuid,
                              unsigned char const* measurementUuid, double deltaX, double scalingFactor, double offset,
                              long long timeStamp, unsigned char const* unitUuid, sample_datatype32_t sampleType,
                              unsigned long long sampleCount, unsigned long long byteCount, void const* samples)
{
  requireSignalType(signalType);
  requireSampleType(sampleType);
  requireJobData(jobDataUuid_);
  trigger_.TriggerUuid.ClearUuid();
  trigger_.TripValue = 0;
  requireSampleBytes(sampleType, sampleCount);

  // Built aside, because the arguments may point into the record that is replaced.
  timesignal_bin_t record{};
  record.BinaryHeaderVersion = kHeaderVersion;
  record.HeaderSize = kTimeSignalHeaderSize;
  record.SignalType = signalType;
  CopyUuid(record.MeasurementConfigUuid, measurementConfigUuid);
  CopyUuid(record.MeasurementUuid, measurementUuid);
  record.DeltaX = deltaX;
  record.ScalingFactor = scalingFactor;
  record.Offset = offset;
  record.TimeStamp = timeStamp;
  CopyUuid(record.UnitUuid, unitUuid);
  record.Compression = no_compression;
  record.SampleType = sampleType;
  record.SampleCount = sampleCount;
  record.DataArrayByteCount = byteCount;
  std::unique_ptr<unsigned char[]> copy;
  if (byteCount != 0)
  {
    copy = makeArray(byteCount);
    if (samples != nullptr)
      record.DataChecksum = Checksum::Copy(copy.get(), samples, MemorySize(byteCount));
    else
      std::fill_n(copy.get(), MemorySize(byteCount), static_cast<unsigned char>(0));
  }
  record.HeaderChecksum = headerChecksum(record);

  installSamples(std::move(copy), MemorySize(byteCount));
  record.Samples = record_.Samples;
  record_ = record;
}

timesignal_bin_t* InternalTimeSignal::GetHeader() { return &record_; }

timesignal_bin_t const* InternalTimeSignal::GetHeader() const { return &record_; }

unsigned char* InternalTimeSignal::GetSamplesPointer() const { return record_.Samples; }

std::span<unsigned char const> InternalTimeSignal::GetStoredSamples() const
{
  if (record_.Samples == nullptr)
    return {};
  std::size_t const length =
      record_.Samples == installedSamples_ ? installedByteCount_ : std::numeric_limits<std::size_t>::max();
  return {record_.Samples, static_cast<std::size_t>(std::min<unsigned long long>(length, record_.DataArrayByteCount))};
}

std::string const& InternalTimeSignal::GetUnitString() const { return unitString_; }

Uuid const& InternalTimeSignal::GetJobDataUuid() const { return jobDataUuid_; }

std::vector<InternalTimeSignal::ValidatorParameters> const& InternalTimeSignal::GetValidators() const
{
  return validators_;
}

InternalTimeSignal::TriggerParameters const& InternalTimeSignal::GetTrigger() const { return trigger_; }

std::vector<InternalTimeSignal::CharValParameters> const& InternalTimeSignal::GetCharVals() const { return charVals_; }

Uuid& InternalTimeSignal::GetSignalUnit(Uuid& unit) const
{
  unit.SetPlainUuid(record_.UnitUuid);
  return unit;
}

unsigned int InternalTimeSignal::GetReferenceCounter() const
{
  Synchronizer const lock(processState.mutex);
  return referenceCounter_;
}

void InternalTimeSignal::AddTrigger(Uuid const& triggerUuid, double tripValue, Uuid const& unitUuid,
                                    std::string const& unitString)
{
  trigger_ = TriggerParameters{triggerUuid, tripValue, unitUuid, unitString};
}

void InternalTimeSignal::AddValidator(Uuid const& validatorUuid, double averageValue, Uuid const& unitUuid,
                                      std::string const& unitString)
{
  validators_.push_back({validatorUuid, averageValue, unitUuid, unitString});
}

void InternalTimeSignal::AddCharacteristicValue(Uuid const& charValUuid, double value, Uuid const& unitUuid,
                                                std::string unitString, float speed)
{
  charVals_.push_back({charValUuid, value, unitUuid, std::move(unitString), speed});
}

void InternalTimeSignal::RemoveAllSamples()
{
  installSamples(nullptr, 0);
  record_.SampleCount = 0;
  record_.DataArrayByteCount = 0;
  record_.DataChecksum = 0;
  record_.HeaderChecksum = CalcHeaderChecksum();
}

void InternalTimeSignal::RecalculateSamplesChecksum() { updateChecksums(); }

unsigned short InternalTimeSignal::CalcHeaderChecksum() const { return headerChecksum(record_); }

unsigned short InternalTimeSignal::CalcDataChecksum() const
{
  requireSamples();
  // Zeros that a short array lacks would not change the sum.
  std::span<unsigned char const> const stored = GetStoredSamples();
  return CalcChecksum(stored.data(), stored.size());
}

bool InternalTimeSignal::GetChecksumStatus() const
{
  return record_.DataChecksum == CalcDataChecksum() && record_.HeaderChecksum == CalcHeaderChecksum();
}

bool InternalTimeSignal::operator!=(InternalTimeSignal const& other) const { return !(*this == other); }

bool InternalTimeSignal::operator==(InternalTimeSignal const& other) const
{
  return hasSameHeader(record_, other.record_) && hasSameSamples(other) && unitString_ == other.unitString_ &&
         isSameList(validators_, other.validators_) && isSame(trigger_, other.trigger_) &&
         isSameList(charVals_, other.charVals_) && jobDataUuid_ == other.jobDataUuid_;
}

bool InternalTimeSignal::hasSameSamples(InternalTimeSignal const& other) const
{
  if (record_.DataArrayByteCount == 0)
    return true;
  bool const isHere = record_.Samples != nullptr;
  bool const isThere = other.record_.Samples != nullptr;
  if (isHere && isThere)
    return equalWhenPadded(GetStoredSamples(), other.GetStoredSamples());
  if (processState.logger->isEnabled(log4cpp::Priority::WARN))
    LogObject(processState.logger, log4cpp::Priority::WARN, kSourceUnit, __LINE__)("Sample array missing!");
  return isHere == isThere;
}

void InternalTimeSignal::requireUncompressed() const
{
  if (record_.Compression != no_compression)
    throw ExceptionFactory(kSourceUnit, __LINE__).createException<TimeSignalException>("Cannot modify compress data!");
}

void InternalTimeSignal::requireSamples() const
{
  if (record_.Samples == nullptr)
    CalcChecksum(nullptr, record_.DataArrayByteCount);
}

void InternalTimeSignal::installSamples(std::unique_ptr<unsigned char[]> samples, std::size_t byteCount)
{
  delete[] record_.Samples;
  record_.Samples = samples.release();
  installedSamples_ = record_.Samples;
  installedByteCount_ = byteCount;
}

void InternalTimeSignal::rememberSampleSize()
{
  std::size_t const size = GetStoredSamples().size();
  installedSamples_ = record_.Samples;
  installedByteCount_ = size;
}

void InternalTimeSignal::takeRecord(std::unique_ptr<timesignal_bin_t> record)
{
  std::unique_ptr<unsigned char[]> samples(std::exchange(record->Samples, nullptr));
  installSamples(nullptr, 0);
  record_ = *record;
  installSamples(std::move(samples), MemorySize(record_.DataArrayByteCount));
}

void InternalTimeSignal::updateChecksums()
{
  record_.DataChecksum = CalcDataChecksum();
  record_.HeaderChecksum = CalcHeaderChecksum();
}

std::span<unsigned char const> InternalTimeSignal::samplesToCompress(std::vector<unsigned char>& padded) const
{
  std::span<unsigned char const> const stored = GetStoredSamples();
  if (stored.size() == record_.DataArrayByteCount)
    return stored;
  // A short array: the stream must hold what the header promises to those who uncompress it, but no more than it can
  // mean.
  unsigned long long const size = sampleSize(record_.SampleType);
  if (size == 0 || record_.SampleCount > kMaxSampleBytes / size)
    return stored;
  unsigned long long const needed = std::min(record_.DataArrayByteCount, record_.SampleCount * size);
  if (needed <= stored.size())
    return stored;
  padded.resize(MemorySize(needed));
  std::ranges::copy(stored, padded.begin());
  return padded;
}

void InternalTimeSignal::Compress(compression32_t method)
{
  if (method == record_.Compression)
    return;
  if (method == no_compression)
    return Uncompress();
  if (!Deflate::IsMethod(method))
    throw UnknownCompression(method);
  Uncompress();
  if (record_.DataArrayByteCount != 0)
  {
    std::vector<unsigned char> padded;
    std::span<unsigned char const> const source = samplesToCompress(padded);
    int streamSize = 0;
    std::unique_ptr<unsigned char[]> stream(
        Deflate::MakeCodec(method)->compress(static_cast<unsigned int>(source.size()), source.data(), streamSize));
    installSamples(std::move(stream), static_cast<std::size_t>(streamSize));
    record_.DataArrayByteCount = static_cast<unsigned long long>(streamSize);
  }
  record_.Compression = method;
  updateChecksums();
}

void InternalTimeSignal::Uncompress()
{
  if (record_.Compression == no_compression)
    return;
  if (!Deflate::IsMethod(record_.Compression))
    throw UnknownCompression(record_.Compression);
  if (record_.DataArrayByteCount != 0)
  {
    std::span<unsigned char const> const stream = GetStoredSamples();
    requirePlausibleSize(record_.SampleType, record_.SampleCount, stream.size());
    auto const byteCount = static_cast<unsigned int>(GetDataTypeSize(record_.SampleType) * record_.SampleCount);
    auto samples = makeArray(byteCount);
    Deflate::MakeCodec(record_.Compression)
        ->uncompress(static_cast<unsigned int>(stream.size()), stream.data(), byteCount, samples.get());
    installSamples(std::move(samples), byteCount);
    record_.DataArrayByteCount = byteCount;
  }
  record_.Compression = no_compression;
  updateChecksums();
}

void InternalTimeSignal::Convert(sample_datatype32_t target)
{
  requireUncompressed();
  if (record_.SampleType == target)
    return;
  if (record_.DataArrayByteCount == 0)
  {
    record_.SampleType = target;
    record_.HeaderChecksum = CalcHeaderChecksum();
    return;
  }
  unsigned long long const byteCount = requireSampleBytes(target, record_.SampleCount);
  auto converted = makeArray(byteCount);
  unsigned short checksum = 0;
  bool const isKnown = VisitSampleType(record_.SampleType, [&]<class T>(std::type_identity<T>)
                                       { checksum = convertElements<T>(target, converted.get()); });
  if (!isKnown)
    throw UnknownDataType(record_.SampleType);
  installSamples(std::move(converted), MemorySize(byteCount));
  record_.DataArrayByteCount = byteCount;
  record_.SampleType = target;
  record_.DataChecksum = checksum;
  record_.HeaderChecksum = CalcHeaderChecksum();
}

template <class T>
void InternalTimeSignal::ConvertTo(sample_datatype32_t target, void* out)
{
  convertElements<T>(target, out);
}

template <class T>
unsigned short InternalTimeSignal::convertElements(sample_datatype32_t target, void* out) const
{
  unsigned short checksum = 0;
  auto const convert = [&]<class U>(std::type_identity<U>)
  {
    std::span<T const> const samples = storedElements<T>();
    auto* const converted = static_cast<U*>(out);
    // What is refused is refused before the first block, also when there is none.
    TypeConverter::Convert<T, U>(converted == nullptr ? record_.SampleCount : 0, samples.data(), converted);
    if constexpr (!TypeConverter::kNarrows<T, U>)
    {
      checksum = Checksum::WhileHot(converted, samples.size(),
                                    [&](std::size_t first, std::size_t count)
                                    { TypeConverter::Convert(count, samples.data() + first, converted + first); });
      std::fill_n(converted + samples.size(), MemorySize(record_.SampleCount - samples.size()), U(0));
    }
  };
  if (!VisitSampleType(target, convert))
    throw UnknownDataType(target, kConversionSourceUnit);
  return checksum;
}

template <class T>
std::span<T const> InternalTimeSignal::storedElements() const
{
  std::span<unsigned char const> const stored = GetStoredSamples();
  return {reinterpret_cast<T const*>(stored.data()),
          static_cast<std::size_t>(std::min<unsigned long long>(record_.SampleCount, stored.size() / sizeof(T)))};
}

void InternalTimeSignal::ExtractOffset()
{
  requireUncompressed();
  if (record_.DataArrayByteCount == 0)
    return;
  unsigned short checksum = 0;
  auto const extract = [&]<class T>(std::type_identity<T>)
  {
    requireSamples();
    if constexpr (std::is_same_v<T, signed char> || std::is_same_v<T, short>)
      checksum = centreElements<T, int>();
    else if constexpr (std::is_same_v<T, int>)
      checksum = centreElements<T, long long>();
    else if constexpr (std::is_same_v<T, long long>)
      checksum = centreElements<T, double>();
    else if constexpr (std::is_floating_point_v<T>)
      checksum = subtractMean<T>();
    else
      checksum = CalcDataChecksum(); // unsigned samples have no room for negative values
  };
  if (!VisitSampleType(record_.SampleType, extract))
    throw UnknownDataType(record_.SampleType);
  record_.DataChecksum = checksum;
  record_.HeaderChecksum = CalcHeaderChecksum();
}

template <class T, class Acc>
void InternalTimeSignal::ComputeOffset()
{
  centreElements<T, Acc>();
}

template <class T, class Acc>
unsigned short InternalTimeSignal::centreElements()
{
  auto const summary = SampleKernels::Summarise<T, Acc>(storedElements<T>());
  return shiftElements(ChooseCentringOffset(summary, record_.SampleCount));
}

template <class T>
unsigned short InternalTimeSignal::subtractMean()
{
  double const mean = SampleKernels::SumInOrder(storedElements<T>()) / static_cast<double>(record_.SampleCount);
  return shiftElements(static_cast<T>(mean));
}

template <class T>
unsigned short InternalTimeSignal::shiftElements(T offset)
{
  std::size_t const count = storedElements<T>().size();
  auto* const samples = reinterpret_cast<T*>(record_.Samples);
  unsigned short const checksum =
      Checksum::WhileHot(samples, count,
                         [&](std::size_t first, std::size_t length)
                         { SampleKernels::Subtract(std::span<T>(samples + first, length), offset); });
  record_.Offset -= static_cast<double>(offset);
  // Only a header that disagrees with its array leaves bytes behind the elements.
  return count * sizeof(T) == GetStoredSamples().size() ? checksum : CalcDataChecksum();
}

std::vector<double>* InternalTimeSignal::SamplesToDouble(InternalTimeSignal& signal, int count)
{
  signal.Uncompress();
  auto values = makeVector<double>(limitedCount(signal.record_.SampleCount, count));
  SamplesToDouble(signal, *values);
  return values.release();
}

unsigned long long InternalTimeSignal::SamplesToDouble(InternalTimeSignal& signal, std::span<double> values)
{
  signal.Uncompress();
  timesignal_bin_t const& header = signal.record_;
  auto const count = static_cast<std::size_t>(std::min<unsigned long long>(values.size(), header.SampleCount));
  std::size_t filled = 0;
  VisitSampleType(header.SampleType,
                  [&]<class T>(std::type_identity<T>)
                  {
                    std::span<T const> const stored = signal.storedElements<T>();
                    filled = std::min(count, stored.size());
                    SampleKernels::PhysicalValues(stored.first(filled), header.Offset, header.ScalingFactor,
                                                  values.data());
                  });
  std::ranges::fill(values.subspan(filled, count - filled), 0.0);
  return count;
}

std::vector<short>* InternalTimeSignal::SamplesToFract(InternalTimeSignal& signal, float& scale, int count)
{
  signal.Uncompress();
  auto values = makeVector<short>(limitedCount(signal.record_.SampleCount, count));
  SamplesToFract(signal, scale, *values);
  return values.release();
}

unsigned long long InternalTimeSignal::SamplesToFract(InternalTimeSignal& signal, float& scale, std::span<short> values)
{
  signal.Uncompress();
  timesignal_bin_t const& header = signal.record_;
  auto const count = static_cast<std::size_t>(std::min<unsigned long long>(values.size(), header.SampleCount));
  std::size_t filled = 0;
  scale = 1.0F;
  VisitSampleType(header.SampleType,
                  [&]<class T>(std::type_identity<T>)
                  {
                    std::span<T const> const stored = signal.storedElements<T>();
                    BlockScale const block = ChooseBlockScale(SampleKernels::Peak(stored));
                    scale = block.scale;
                    filled = std::min(count, stored.size());
                    writeFractions(stored.first(filled), block, values.data());
                  });
  std::ranges::fill(values.subspan(filled, count - filled), short(0));
  return count;
}

unsigned short InternalTimeSignal::CalcChecksum(void const* data, unsigned long long length)
{
  if (data == nullptr && length != 0)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Can't calculate checksum over NULL!");
  return Checksum::Compute(data, MemorySize(length));
}

unsigned char InternalTimeSignal::GetDataTypeSize(sample_datatype32_t type)
{
  unsigned char const size = sampleSize(type);
  if (size == 0)
    throw UnknownDataType(type);
  return size;
}

timesignal_bin_t* InternalTimeSignal::VectorToTimeSignalBin(std::vector<unsigned char> const& bytes)
{
  if (bytes.size() < kTimeSignalHeaderSize)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Time signal header incomplete: actual %lu, expected %lu!",
                                              static_cast<unsigned long>(bytes.size()),
                                              static_cast<unsigned long>(kTimeSignalHeaderSize));
  auto record = std::make_unique<timesignal_bin_t>();
  std::memcpy(record.get(), bytes.data(), kTimeSignalHeaderSize);
  constexpr unsigned long long kMaxByteCount = std::numeric_limits<unsigned int>::max() - kTimeSignalHeaderSize;
  std::size_t const actual = bytes.size() - kTimeSignalHeaderSize;
  if (record->DataArrayByteCount > kMaxByteCount || record->DataArrayByteCount != actual)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Wrong time signal data size: actual %lu, expected %lu!",
                                              static_cast<unsigned long>(actual),
                                              static_cast<unsigned long>(record->DataArrayByteCount));
  requireSampleBytes(record->SampleType, record->SampleCount);
  if (actual != 0)
  {
    auto samples = makeArray(actual);
    std::memcpy(samples.get(), bytes.data() + kTimeSignalHeaderSize, actual);
    record->Samples = samples.release();
  }
  return record.release();
}

std::vector<unsigned char>* InternalTimeSignal::TimeSignalBinToVector(timesignal_bin_t const& record)
{
  std::span<unsigned char const> stored;
  if (record.Samples != nullptr)
    stored = {record.Samples, MemorySize(record.DataArrayByteCount)};
  return MakeFlatRecord(&record, kTimeSignalHeaderSize, stored, record.DataArrayByteCount).release();
}

InternalTimeSignal* InternalTimeSignal::CopyConstructor(InternalTimeSignal* signal)
{
  Synchronizer const lock(processState.mutex);
  ++signal->referenceCounter_;
  return signal;
}

void InternalTimeSignal::Delete(InternalTimeSignal* signal)
{
  Synchronizer const lock(processState.mutex);
  if (--signal->referenceCounter_ == 0)
    delete signal;
}

InternalTimeSignal* InternalTimeSignal::CopyOperator(InternalTimeSignal* current, InternalTimeSignal* other)
{
  Synchronizer const lock(processState.mutex);
  if (current == other)
    return current;
  Delete(current);
  return CopyConstructor(other);
}

template <class Condition, class Change>
InternalTimeSignal* InternalTimeSignal::copyOnWrite(InternalTimeSignal* signal, Condition changes, Change change)
{
  Synchronizer const lock(processState.mutex);
  if (signal->referenceCounter_ <= 1 || !changes(*signal))
  {
    change(*signal);
    return signal;
  }
  auto copy = std::make_unique<InternalTimeSignal>(*signal);
  change(*copy);
  --signal->referenceCounter_;
  return copy.release();
}

InternalTimeSignal* InternalTimeSignal::DoUncompress(InternalTimeSignal* signal)
{
  return copyOnWrite(
      signal, [](InternalTimeSignal const& shared) { return shared.record_.Compression != no_compression; },
      [](InternalTimeSignal& own) { own.Uncompress(); });
}

InternalTimeSignal* InternalTimeSignal::DoCompress(InternalTimeSignal* signal, compression32_t method)
{
  return copyOnWrite(
      signal, [method](InternalTimeSignal const& shared) { return shared.record_.Compression != method; },
      [method](InternalTimeSignal& own) { own.Compress(method); });
}

InternalTimeSignal* InternalTimeSignal::DoConvert(InternalTimeSignal* signal, sample_datatype32_t target)
{
  return copyOnWrite(
      signal, [target](InternalTimeSignal const& shared) { return shared.record_.SampleType != target; },
      [target](InternalTimeSignal& own) { own.Convert(target); });
}

InternalTimeSignal* InternalTimeSignal::DoExtractOffset(InternalTimeSignal* signal)
{
  return copyOnWrite(signal, always, [](InternalTimeSignal& own) { own.ExtractOffset(); });
}

InternalTimeSignal* InternalTimeSignal::DoAddTrigger(InternalTimeSignal* signal, Uuid const& triggerUuid,
                                                     double tripValue, Uuid const& unitUuid,
                                                     std::string const& unitString)
{
  return copyOnWrite(signal, always,
                     [&](InternalTimeSignal& own) { own.AddTrigger(triggerUuid, tripValue, unitUuid, unitString); });
}

InternalTimeSignal* InternalTimeSignal::DoAddValidator(InternalTimeSignal* signal, Uuid const& validatorUuid,
                                                       double averageValue, Uuid const& unitUuid,
                                                       std::string const& unitString)
{
  return copyOnWrite(signal, always,
                     [&](InternalTimeSignal& own)
                     { own.AddValidator(validatorUuid, averageValue, unitUuid, unitString); });
}

InternalTimeSignal* InternalTimeSignal::DoAddCharacteristicValue(InternalTimeSignal* signal, Uuid const& charValUuid,
                                                                 double value, Uuid const& unitUuid,
                                                                 std::string unitString, float speed)
{
  return copyOnWrite(signal, always,
                     [&](InternalTimeSignal& own)
                     { own.AddCharacteristicValue(charValUuid, value, unitUuid, std::move(unitString), speed); });
}

#define QEN_INSTANTIATE_CONVERSION(T)                                                                                  \
  template QEN_FILE_IO_EXPORT void InternalTimeSignal::ConvertTo<T>(sample_datatype32_t, void*);
QEN_INSTANTIATE_CONVERSION(signed char)
QEN_INSTANTIATE_CONVERSION(short)
QEN_INSTANTIATE_CONVERSION(int)
QEN_INSTANTIATE_CONVERSION(long long)
QEN_INSTANTIATE_CONVERSION(float)
QEN_INSTANTIATE_CONVERSION(double)
QEN_INSTANTIATE_CONVERSION(unsigned char)
QEN_INSTANTIATE_CONVERSION(unsigned short)
QEN_INSTANTIATE_CONVERSION(unsigned int)
QEN_INSTANTIATE_CONVERSION(unsigned long long)
template QEN_FILE_IO_EXPORT void InternalTimeSignal::ComputeOffset<signed char, int>();
template QEN_FILE_IO_EXPORT void InternalTimeSignal::ComputeOffset<short, int>();
template QEN_FILE_IO_EXPORT void InternalTimeSignal::ComputeOffset<int, long long>();
template QEN_FILE_IO_EXPORT void InternalTimeSignal::ComputeOffset<long long, double>();

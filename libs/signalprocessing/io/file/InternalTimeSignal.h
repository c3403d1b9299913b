#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignalException.h"
#include "signalprocessing/io/file/TimeSignalRecord.h"
#include "utilities/Export.h"

#include <cstddef>
#include <iosfwd>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

class Archive;
class MeasurementDataDO;
class Option;

/// A time signal in memory: one record that owns its sample array, and what the record does not carry: the unit as
/// text, the job-data entry, one trigger, validators and characteristic values.
///
/// Programs hold time signals through TimeSignal, whose handles share these objects and count themselves in the
/// reference counter.
///
/// Samples. The object owns the array that the header's Samples points at and releases it with delete[]. A caller may
/// put another array there through GetHeader, and is then trusted that it holds DataArrayByteCount bytes. It must be
/// made before the old one is released: an array at the old address is taken for the old array. An array that the
/// object installed itself is never read beyond its end, whatever the header says: samples that the header announces
/// and the array does not hold count as zeros.
///
/// Errors are TimeSignalException unless stated otherwise, and std::bad_alloc. A constructor that throws leaves nothing
/// behind; an operation that throws leaves the object as it was unless stated otherwise.
///
/// Threads. Reading and changing one object from several threads is the caller's to guard. Only the static functions
/// that take object pointers run under the process-wide, re-entrant lock.
class QEN_FILE_IO_EXPORT InternalTimeSignal
{
public:
  /// What started the measurement; a null TriggerUuid means nothing did.
  struct TriggerParameters
  {
    Uuid TriggerUuid;
    double TripValue = 0;
    Uuid UnitUuid;
    std::string UnitString;
  };
  struct ValidatorParameters
  {
    Uuid ValidatorUuid;
    double AverageValue = 0;
    Uuid UnitUuid;
    std::string UnitString;
  };
  struct CharValParameters
  {
    Uuid CharValUuid;
    double Value = 0;
    Uuid UnitUuid;
    std::string UnitString;
    float Speed = std::numeric_limits<float>::quiet_NaN();
  };

  /// An empty raw time signal of data_int8_t without a job-data entry; both checksums are valid.
  InternalTimeSignal();
  /// Takes a copy of a record and its samples, stored form and checksums unchanged.
  /// Refuses, in this order: versions and sizes other than 2 and 120, unknown signal and sample types, a missing sample
  /// array, unknown compressions, a wrong header checksum, a wrong sample checksum, a null job-data UUID, and more than
  /// 2147483647 bytes of uncompressed samples.
  InternalTimeSignal(timesignal_bin_t const& record, std::string const& unitString, Uuid const& jobDataUuid);
  /// Builds an uncompressed signal from sampleCount samples, which are copied; see Init.
  InternalTimeSignal(signal32_t signalType, Uuid const& measurementConfigUuid, Uuid const& measurementUuid,
                     double deltaX, double scalingFactor, double offset, long long timeStamp, Uuid const& unitUuid,
                     std::string const& unitString, sample_datatype32_t sampleType, unsigned long long sampleCount,
                     void const* samples, Uuid const& jobDataUuid);
  /// Takes over a stored measurement: the record as it stands, whose sizes and sample type alone are checked; unit,
  /// validators, trigger and characteristic values from the details text; the job-data entry, which may be null.
  /// A details text without a signal or its header info throws; OptionException and UuidException for malformed numbers
  /// and UUIDs in it pass on. A wrong header checksum is only logged.
  explicit InternalTimeSignal(MeasurementDataDO const& stored);
  /// A deep copy whose reference counter is 1.
  InternalTimeSignal(InternalTimeSignal const& other);
  InternalTimeSignal& operator=(InternalTimeSignal const&) = delete;
  ~InternalTimeSignal();

  /// Fills the record of an object that has its job-data UUID, clears the trigger and replaces the samples by a copy.
  /// @param measurementConfigUuid,measurementUuid,unitUuid 16 bytes each
  /// @param byteCount size of the sample array in bytes; 0 leaves no array
  /// @param samples byteCount bytes of any alignment, or null for an array of zeros
  /// Refuses unknown signal and sample types and a null job-data UUID before the trigger is cleared, and more
  /// than 2147483647 bytes of samples, or ones that no memory holds, after that.
  void Init(signal32_t signalType, unsigned char const* measurementConfigUuid, unsigned char const* measurementUuid,
            double deltaX, double scalingFactor, double offset, long long timeStamp, unsigned char const* unitUuid,
            sample_datatype32_t sampleType, unsigned long long sampleCount, unsigned long long byteCount,
            void const* samples);

  /// The record, for reading and writing its fields. Nothing is checked; see the class for a replaced sample array.
  timesignal_bin_t* GetHeader();
  timesignal_bin_t const* GetHeader() const;
  /// The stored sample bytes, valid until the samples change. Null without an array; an array may be empty.
  unsigned char* GetSamplesPointer() const;
  /// The stored sample bytes that really are there: DataArrayByteCount of them, or fewer when the array is shorter.
  std::span<unsigned char const> GetStoredSamples() const;
  std::string const& GetUnitString() const;
  Uuid const& GetJobDataUuid() const;
  std::vector<ValidatorParameters> const& GetValidators() const;
  TriggerParameters const& GetTrigger() const;
  std::vector<CharValParameters> const& GetCharVals() const;
  /// Sets unit from the header's UnitUuid and returns it.
  Uuid& GetSignalUnit(Uuid& unit) const;
  /// Number of handles that share the object. Takes the lock; for tests and diagnosis.
  unsigned int GetReferenceCounter() const;

  /// Replaces the trigger.
  void AddTrigger(Uuid const& triggerUuid, double tripValue, Uuid const& unitUuid, std::string const& unitString);
  /// Appends a validator, also one that is already there.
  void AddValidator(Uuid const& validatorUuid, double averageValue, Uuid const& unitUuid,
                    std::string const& unitString);
  /// Appends a characteristic value, also one that is already there.
  /// @param speed of the machine, NaN when unknown
  void AddCharacteristicValue(Uuid const& charValUuid, double value, Uuid const& unitUuid, std::string unitString,
                              float speed);
  /// Empties the sample array and makes both checksums valid; types and compression stay.
  void RemoveAllSamples();
  /// Makes both checksums valid after the caller has written into the sample array; throws as CalcDataChecksum does.
  void RecalculateSamplesChecksum();
  /// Checksum of the header bytes 0 to 117.
  unsigned short CalcHeaderChecksum() const;
  /// Checksum of the stored sample bytes; throws for a null array with a byte count above 0.
  unsigned short CalcDataChecksum() const;
  /// Whether both stored checksums are right; throws as CalcDataChecksum does.
  bool GetChecksumStatus() const;
  /// First difference of headers (but Reserved), samples, unit, validators, trigger, characteristic values (but their
  /// speed) and job-data UUID. Numbers compare exactly, so a NaN makes a signal differ from itself. A missing sample
  /// array is logged as a warning.
  bool operator!=(InternalTimeSignal const& other) const;
  bool operator==(InternalTimeSignal const& other) const;

  /// Brings the samples into the stored form `method`, through the uncompressed form when they are compressed
  /// otherwise. Refuses int24 and unknown methods; CompressionException passes on. When the second step of a change
  /// between zlib and gzip fails, the samples stay uncompressed.
  void Compress(compression32_t method);
  /// Brings the samples into the uncompressed form of SampleCount elements. Throws CompressionException for damaged
  /// streams, before anything is allocated when the header announces more than any stream of that size can hold.
  void Uncompress();
  /// Changes the element type of uncompressed samples, values unchanged (64-bit integers may be rounded to floating
  /// point). Refuses compressed samples; TypeConverterException for a type that cannot hold the value range of the
  /// current one. A signal without samples takes any target, unchecked.
  void Convert(sample_datatype32_t target);
  /// Converts the samples, taken as SampleCount elements of type T, into an array of the caller.
  /// @param out SampleCount elements of the target type; those that the sample array does not hold become zero
  template <class T>
  void ConvertTo(sample_datatype32_t target, void* out);
  /// Moves the mean of the samples into the header's Offset: physical values stay, samples are centred on zero. Integer
  /// samples move by a whole number that keeps all of them in range; unsigned samples do not move. Refuses compressed
  /// samples and, when there are samples, unknown types.
  void ExtractOffset();
  /// The integer work of ExtractOffset for samples of type T with their sum taken in type Acc: (signed char, int),
  /// (short, int), (int, long long), (long long, double). Checks nothing and leaves the checksums alone.
  template <class T, class Acc>
  void ComputeOffset();

  /// The physical values (raw sample - Offset) x ScalingFactor of the first `count` samples, of all when count is
  /// negative or too large. Uncompresses the signal, which stays so when there is no memory for the vector; an unknown
  /// sample type gives zeros. The caller owns the vector.
  static std::vector<double>* SamplesToDouble(InternalTimeSignal& signal, int count);
  /// The raw samples as 16-bit numbers with one power-of-two scale, so that sample ~ value x scale. The scale is chosen
  /// from all samples, whatever `count`. Uncompresses the signal, which stays so when there is no memory for the
  /// vector; an unknown sample type gives zeros and the scale 1. The caller owns the vector.
  static std::vector<short>* SamplesToFract(InternalTimeSignal& signal, float& scale, int count);
  /// The same into the caller's buffer: min(size, SampleCount) elements are written and the rest is left alone.
  /// @return the number of elements written
  static unsigned long long SamplesToDouble(InternalTimeSignal& signal, std::span<double> values);
  static unsigned long long SamplesToFract(InternalTimeSignal& signal, float& scale, std::span<short> values);

  /// Appends the details document to a stream. Numbers with fractions look as the stream's settings say; texts are not
  /// escaped, so a unit with a less-than sign or a zero byte makes a document that cannot be read back. Throws for
  /// unknown signal types, sample types and compressions, with the document written up to that value. The stream's
  /// state is the caller's to check: a buffer that cannot grow sets badbit and ends the document there.
  void CreateXmlDetails(std::stringstream& stream) const;
  // What a details document tells, found below its vel:Signal element. Missing texts and numbers are empty, 0, or NaN
  // for a speed. Malformed ones throw UuidException or OptionException. Whatever is thrown, the fields in front of that
  // place are set then, and the list may be resized.
  /// Sets the unit; throws for a document without header info, naming the measurement.
  void FindUnitString(Option* signal, Uuid const& measurementUuid);
  /// Overwrites the validators; without a validator group they stay.
  void FindValidators(Option* signal);
  /// Overwrites the trigger; without one its UUID and trip value are cleared and its unit stays.
  void FindTrigger(Option* signal);
  /// Overwrites the characteristic values; without a group of them they stay.
  void FindCharacteristicValues(Option* signal);
  /// The signal as a database object: record, details document and identifiers, not saved by an alarm. The caller owns
  /// it. Throws what CreateXmlDetails throws.
  MeasurementDataDO* GetMeasurementDataDO() const;

  /// Exclusive or of the little-endian 16-bit words of a block of any alignment, an odd last byte counting as a low
  /// byte. Throws for a null block with a length above 0.
  static unsigned short CalcChecksum(void const* data, unsigned long long length);
  /// Bytes of one uncompressed sample, 1 to 8; throws for an unknown type.
  static unsigned char GetDataTypeSize(sample_datatype32_t type);
  /// A new record with its own sample array (null when DataArrayByteCount is 0) from its flat form. The caller owns
  /// both: the record with delete, the array with delete[]. Only sizes and the sample type are checked.
  static timesignal_bin_t* VectorToTimeSignalBin(std::vector<unsigned char> const& bytes);
  /// The flat form of a record, header and samples as they stand, nothing checked: Samples must hold DataArrayByteCount
  /// bytes, or be null, which counts as zeros. The caller owns the vector.
  static std::vector<unsigned char>* TimeSignalBinToVector(timesignal_bin_t const& record);

  // Sharing. Each runs under the process-wide lock and returns the object that the calling handle holds from then on. A
  // changing function first makes a private copy of an object that other handles share too; when it throws, the handle
  // keeps its object and the counters are as before.

  /// One more handle.
  static InternalTimeSignal* CopyConstructor(InternalTimeSignal* signal);
  /// One handle less; the last one destroys the object.
  static void Delete(InternalTimeSignal* signal);
  /// Redirects a handle from `current` to `other`.
  static InternalTimeSignal* CopyOperator(InternalTimeSignal* current, InternalTimeSignal* other);
  static InternalTimeSignal* DoUncompress(InternalTimeSignal* signal);
  static InternalTimeSignal* DoCompress(InternalTimeSignal* signal, compression32_t method);
  static InternalTimeSignal* DoConvert(InternalTimeSignal* signal, sample_datatype32_t target);
  static InternalTimeSignal* DoExtractOffset(InternalTimeSignal* signal);
  static InternalTimeSignal* DoAddTrigger(InternalTimeSignal* signal, Uuid const& triggerUuid, double tripValue,
                                          Uuid const& unitUuid, std::string const& unitString);
  static InternalTimeSignal* DoAddValidator(InternalTimeSignal* signal, Uuid const& validatorUuid, double averageValue,
                                            Uuid const& unitUuid, std::string const& unitString);
  static InternalTimeSignal* DoAddCharacteristicValue(InternalTimeSignal* signal, Uuid const& charValUuid, double value,
                                                      Uuid const& unitUuid, std::string unitString, float speed);

private:
  friend QEN_FILE_IO_EXPORT Archive& operator<<(Archive& archive, InternalTimeSignal const& signal);
  friend QEN_FILE_IO_EXPORT Archive& operator>>(Archive& archive, InternalTimeSignal& signal);
  QEN_FILE_IO_HIDDEN void writeTo(Archive& archive) const;
  QEN_FILE_IO_HIDDEN void readFrom(Archive& archive);
  QEN_FILE_IO_HIDDEN void readSamples(Archive& archive);

  /// The stored samples, as many whole elements of T as the header announces and the array holds.
  template <class T>
  QEN_FILE_IO_HIDDEN std::span<T const> storedElements() const;
  /// ConvertTo that returns the checksum of what it wrote.
  template <class T>
  QEN_FILE_IO_HIDDEN unsigned short convertElements(sample_datatype32_t target, void* out) const;
  /// ComputeOffset that returns the checksum of the samples afterwards.
  template <class T, class Acc>
  QEN_FILE_IO_HIDDEN unsigned short centreElements();
  template <class T>
  QEN_FILE_IO_HIDDEN unsigned short subtractMean();
  /// Subtracts an offset from every sample, moves it to the header, and returns the checksum of the samples.
  template <class T>
  QEN_FILE_IO_HIDDEN unsigned short shiftElements(T offset);

  /// Runs change(object) under the lock: on the object itself, or on a private copy when `changes(object)` says that it
  /// would change and other handles share it.
  template <class Condition, class Change>
  QEN_FILE_IO_HIDDEN static InternalTimeSignal* copyOnWrite(InternalTimeSignal* signal, Condition changes,
                                                            Change change);

  /// The bytes that Compress takes: the stored ones, in `padded` when zeros must be added for samples that they lack.
  QEN_FILE_IO_HIDDEN std::span<unsigned char const> samplesToCompress(std::vector<unsigned char>& padded) const;
  QEN_FILE_IO_HIDDEN bool hasSameSamples(InternalTimeSignal const& other) const;
  QEN_FILE_IO_HIDDEN void requireUncompressed() const;
  /// Throws what a checksum over a missing array throws, unless there is nothing to sum.
  QEN_FILE_IO_HIDDEN void requireSamples() const;
  /// Releases the sample array and takes another one of byteCount bytes; the header's byte count is the caller's to
  /// set.
  QEN_FILE_IO_HIDDEN void installSamples(std::unique_ptr<unsigned char[]> samples, std::size_t byteCount);
  /// Keeps a caller's array bounded when the header that tells its size is about to be overwritten.
  QEN_FILE_IO_HIDDEN void rememberSampleSize();
  /// Takes over a whole record with its sample array.
  QEN_FILE_IO_HIDDEN void takeRecord(std::unique_ptr<timesignal_bin_t> record);
  QEN_FILE_IO_HIDDEN void updateChecksums();

  timesignal_bin_t record_;
  // The array that the object put into the record last, and how long it is.
  unsigned char const* installedSamples_ = nullptr;
  std::size_t installedByteCount_ = 0;
  std::string unitString_;
  std::vector<ValidatorParameters> validators_;
  TriggerParameters trigger_;
  std::vector<CharValParameters> charVals_;
  Uuid jobDataUuid_;
  unsigned int referenceCounter_ = 1;
};

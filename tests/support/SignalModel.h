#pragma once

#include "platform/Compression.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/ConversionTable.h"
#include "support/Records.h"
#include "support/SampleArrays.h"
#include "support/SampleModels.h"
#include "utilities/archive/Serialize.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

// What the library has to do with any record, damaged ones included, in the plainest code: one element at a time, one
// copy for each step. Samples that a header announces and the array does not hold count as zeros.

/// How an operation ended: normally, when all is empty, or with an exception and the message of what caused it. The
/// texts of the codec are free.
struct Outcome
{
  std::string exception, message, file, rootCause = {};
  bool operator==(Outcome const&) const = default;
  bool Failed() const { return !exception.empty(); }
  std::string ToString() const
  {
    return Failed() ? exception + " \"" + message + "\" in " + file + " because of \"" + rootCause + "\""
                    : "no exception";
  }
};

inline Outcome SignalFailure(std::string const& message)
{
  return {"TimeSignalException", message, "InternalTimeSignal.cpp"};
}
inline Outcome CodecFailure() { return {"CompressionException", "", ""}; }

template <class F>
Outcome OutcomeOf(F&& operation)
{
  try
  {
    operation();
    return {};
  }
  catch (CompressionException const& failure)
  {
    return typeid(failure) == typeid(CompressionException) ? CodecFailure() : Outcome{"derived", failure.what(), ""};
  }
  catch (VelmoraException const& failure)
  {
    bool const known = typeid(failure) == typeid(TimeSignalException) ||
                       typeid(failure) == typeid(TypeConverterException) ||
                       typeid(failure) == typeid(QenSerialize::SerializationException);
    VelmoraException const* const cause = failure.getRootCause();
    return {known ? failure.getClassName() : "unknown " + failure.getClassName(), failure.what(), failure.getFile(),
            cause == nullptr ? "" : cause->what()};
  }
  catch (std::exception const& failure)
  {
    return {typeid(failure).name(), failure.what(), ""};
  }
}

inline bool IsSampleType(int number) { return number >= 1 && number <= 10; }

/// Calls visitor(T()) with the element type of a sample type, and nothing for unknown ones.
template <class F>
void WithElementType(int sampleType, F&& visitor)
{
  ForEachSampleElement(
      [&](auto element, sample_datatype32_t type)
      {
        if (type == sampleType)
          visitor(typename decltype(element)::type());
      });
}

class SignalModel
{
public:
  /// A signal whose sample pointer is null, whatever the header says.
  explicit SignalModel(Bytes header) : header_(std::move(header)) {}
  /// A signal of any header and sample array; without one the pointer is null.
  SignalModel(Bytes header, std::optional<Bytes> const& array) : header_(std::move(header))
  {
    if (array)
      install(*array);
  }

  /// The object that a valid flat record gives.
  static SignalModel Of(Bytes const& flat)
  {
    SignalModel model(Bytes(flat.begin(), flat.begin() + kHeaderBytes));
    if (flat.size() > kHeaderBytes)
      model.install(Bytes(flat.begin() + kHeaderBytes, flat.end()));
    return model;
  }

  /// How the conversion of flat bytes to a record has to end.
  static Outcome VectorConversion(Bytes const& flat)
  {
    auto const number = [](unsigned long long value) { return std::to_string(static_cast<unsigned long>(value)); };
    if (flat.size() < kHeaderBytes)
      return SignalFailure("Time signal header incomplete: actual " + number(flat.size()) + ", expected 120!");
    SignalModel const model(flat);
    if (model.ByteCount() != flat.size() - kHeaderBytes)
      return SignalFailure("Wrong time signal data size: actual " + number(flat.size() - kHeaderBytes) + ", expected " +
                           number(model.ByteCount()) + "!");
    return model.sizeLimit();
  }

  /// How building an object from a record has to end; the job-data UUID is given.
  static Outcome Acceptance(Bytes const& flat)
  {
    SignalModel const model = Of(flat);
    auto const version = FieldAt<unsigned short>(flat, FieldOffset::kBinaryHeaderVersion);
    auto const headerSize = FieldAt<unsigned short>(flat, FieldOffset::kHeaderSize);
    int const signalType = FieldAt<int>(flat, FieldOffset::kSignalType);
    if (version != 2)
      return SignalFailure("Wrong version of header block: " + std::to_string(version) + "!");
    if (headerSize != 120)
      return SignalFailure("Wrong size of header block: " + std::to_string(headerSize) + "!");
    if (signalType == 0 || signalType > 5)
      return SignalFailure("Unknown signal type: " + std::to_string(signalType) + "!");
    if (model.Type() == 0 || model.Type() > 10)
      return model.unknownType(model.Type());
    if (!model.hasArray_ && model.ByteCount() != 0)
      return SignalFailure("Sample array missing!");
    if (model.Form() != no_compression && model.Form() != zlib && model.Form() != gzip)
      return model.unknownForm(model.Form());
    if (PlainChecksum(model.header_) != 0)
      return SignalFailure("Checksum error in header!");
    if (PlainChecksum(model.Stored()) != FieldAt<unsigned short>(flat, FieldOffset::kDataChecksum))
      return SignalFailure("Checksum error in samples!");
    return model.sizeLimit();
  }

  Bytes const& Header() const { return header_; }
  bool HasArray() const { return hasArray_; }
  std::size_t ArraySize() const { return array_.size(); }
  int Type() const { return FieldAt<int>(header_, FieldOffset::kSampleType); }
  int Form() const { return FieldAt<int>(header_, FieldOffset::kCompression); }
  unsigned long long Count() const { return FieldAt<unsigned long long>(header_, FieldOffset::kSampleCount); }
  unsigned long long ByteCount() const
  {
    return FieldAt<unsigned long long>(header_, FieldOffset::kDataArrayByteCount);
  }

  /// The stored bytes that are there.
  Bytes Stored() const
  {
    auto const count = static_cast<std::ptrdiff_t>(std::min<unsigned long long>(ByteCount(), array_.size()));
    return Bytes(array_.begin(), array_.begin() + count);
  }

  /// The checksum of the samples, or the failure of taking it.
  Outcome DataChecksum(unsigned short& checksum) const
  {
    if (!hasArray_ && ByteCount() != 0)
      return SignalFailure("Can't calculate checksum over NULL!");
    checksum = PlainChecksum(Stored());
    return {};
  }
  unsigned short HeaderChecksum() const { return PlainChecksum(header_.data(), FieldOffset::kHeaderChecksum); }

  Outcome RecalculateSamplesChecksum()
  {
    unsigned short checksum = 0;
    Outcome const outcome = DataChecksum(checksum);
    if (outcome.Failed())
      return outcome;
    SetField(header_, FieldOffset::kDataChecksum, checksum);
    RepairHeaderChecksum(header_);
    return {};
  }

  void RemoveAllSamples()
  {
    array_.clear();
    hasArray_ = false;
    SetField(header_, FieldOffset::kSampleCount, 0ULL);
    setByteCount(0);
    RecalculateSamplesChecksum();
  }

  Outcome Uncompress()
  {
    if (Form() == no_compression)
      return {};
    if (Form() != zlib && Form() != gzip)
      return unknownForm(Form());
    if (ByteCount() != 0)
    {
      if (!IsSampleType(Type()))
        return unknownType(Type());
      std::size_t const size = SampleSizeOf(static_cast<sample_datatype32_t>(Type()));
      Bytes const stored = Stored();
      // No deflate stream expands further.
      if (Count() > (1032ULL * stored.size() + 64) / size)
        return CodecFailure();
      auto decoded = Decoded(stored, static_cast<compression32_t>(Form()), static_cast<std::size_t>(Count()) * size);
      if (!decoded)
        return CodecFailure();
      install(*decoded);
      setByteCount(array_.size());
    }
    SetField(header_, FieldOffset::kCompression, static_cast<int>(no_compression));
    return RecalculateSamplesChecksum();
  }

  /// The bytes that compressing takes: the stored ones, and zeros for announced samples that are not there, as far as
  /// the announced bytes reach. A count that no signal can have gets none.
  unsigned long long ByteCountToCompress() const
  {
    if (!IsSampleType(Type()))
      return Stored().size();
    std::size_t const size = SampleSizeOf(static_cast<sample_datatype32_t>(Type()));
    constexpr unsigned long long kLargestSignal = 2147483647;
    if (Count() > kLargestSignal / size)
      return Stored().size();
    return std::max<unsigned long long>(Stored().size(), std::min(ByteCount(), Count() * size));
  }
  Bytes BytesToCompress() const
  {
    Bytes bytes = Stored();
    bytes.resize(static_cast<std::size_t>(ByteCountToCompress()));
    return bytes;
  }

  /// What compressing does to the signal, given the stream that came of the bytes; when none are announced, nothing is
  /// compressed.
  void Compressed(compression32_t form, Bytes stream)
  {
    if (ByteCount() != 0)
    {
      install(std::move(stream));
      setByteCount(array_.size());
    }
    SetField(header_, FieldOffset::kCompression, static_cast<int>(form));
    RecalculateSamplesChecksum();
  }

  Outcome Convert(int target)
  {
    if (Form() != no_compression)
      return SignalFailure("Cannot modify compress data!");
    if (Type() == target)
      return {};
    if (ByteCount() == 0)
    {
      SetField(header_, FieldOffset::kSampleType, target);
      RepairHeaderChecksum(header_);
      return {};
    }
    if (!IsSampleType(target))
      return unknownType(target);
    std::size_t const size = SampleSizeOf(static_cast<sample_datatype32_t>(target));
    if (Count() > kLargestByteCount / size)
      return tooManySamples();
    if (!IsSampleType(Type()))
      return unknownType(Type());
    std::size_t const from = static_cast<std::size_t>(Type()) - 1;
    std::size_t const to = static_cast<std::size_t>(target) - 1;
    if (kConversionTable.at(from).at(to) == 'N')
      return {"TypeConverterException", NarrowingMessage(from, to), kTypeConverterUnit};
    install(converted(target));
    setByteCount(array_.size());
    SetField(header_, FieldOffset::kSampleType, target);
    return RecalculateSamplesChecksum();
  }

  Outcome ExtractOffset()
  {
    if (Form() != no_compression)
      return SignalFailure("Cannot modify compress data!");
    if (ByteCount() == 0)
      return {};
    if (!IsSampleType(Type()))
      return unknownType(Type());
    unsigned short checksum = 0;
    Outcome const outcome = DataChecksum(checksum);
    if (outcome.Failed())
      return outcome;
    WithElementType(Type(), [this](auto zero) { extract<decltype(zero)>(); });
    return RecalculateSamplesChecksum();
  }

  /// The physical values of the first `count` samples; the model is uncompressed already.
  std::vector<double> PhysicalValues(int count) const
  {
    auto const scaling = FieldAt<double>(header_, FieldOffset::kScalingFactor);
    auto const offset = FieldAt<double>(header_, FieldOffset::kOffset);
    std::vector<double> values(limited(count));
    WithElementType(Type(),
                    [&](auto zero)
                    {
                      auto const samples = elements<decltype(zero)>();
                      for (std::size_t i = 0; i < std::min(values.size(), samples.size()); ++i)
                        values[i] = PlainPhysicalValue(samples[i], offset, scaling);
                    });
    return values;
  }

  /// The 16-bit form of the first `count` samples; the model is uncompressed already.
  PlainFract FractValues(int count) const
  {
    PlainFract fract;
    WithElementType(Type(),
                    [&](auto zero)
                    {
                      using T = decltype(zero);
                      auto const samples = elements<T>();
                      fract = PlainSamplesToFract(std::span<T const>(samples));
                    });
    fract.values.resize(limited(count));
    return fract;
  }

  /// Takes over those bits that no processor promises: which NaN a calculation ends in.
  void AdoptNans(InternalTimeSignal const& actual)
  {
    bool adopted = adoptNan(FieldAt<double>(header_, FieldOffset::kOffset), actual.GetHeader()->Offset,
                            header_.data() + FieldOffset::kOffset);
    auto const stored = actual.GetStoredSamples();
    if (Form() == no_compression && stored.size() == Stored().size())
      WithElementType(Type(),
                      [&](auto zero)
                      {
                        using T = decltype(zero);
                        for (std::size_t at = 0; at + sizeof(T) <= stored.size(); at += sizeof(T))
                        {
                          T expected, found;
                          std::memcpy(&expected, array_.data() + at, sizeof(T));
                          std::memcpy(&found, stored.data() + at, sizeof(T));
                          adopted = adoptNan(expected, found, array_.data() + at) || adopted;
                        }
                      });
    if (adopted)
      RecalculateSamplesChecksum();
  }

  /// Whether an object holds this header and these stored bytes.
  bool Describes(InternalTimeSignal const& signal) const
  {
    if (std::memcmp(signal.GetHeader(), header_.data(), kHeaderBytes) != 0)
      return false;
    if (HasArray() != (signal.GetSamplesPointer() != nullptr))
      return false;
    auto const stored = signal.GetStoredSamples();
    Bytes const expected = Stored();
    return std::equal(stored.begin(), stored.end(), expected.begin(), expected.end());
  }

private:
  static constexpr unsigned long long kLargestByteCount = 2147483647;

  static Outcome unknownType(int type) { return SignalFailure("Unknown data type: " + std::to_string(type) + "!"); }
  static Outcome unknownForm(int form) { return SignalFailure("Unknown compression: " + std::to_string(form) + "!"); }
  static Outcome tooManySamples() { return SignalFailure("Support for more than 2^31 samples not implemented!"); }

  Outcome sizeLimit() const
  {
    if (!IsSampleType(Type()))
      return unknownType(Type());
    if (Count() > kLargestByteCount / SampleSizeOf(static_cast<sample_datatype32_t>(Type())))
      return tooManySamples();
    return {};
  }

  void install(Bytes array)
  {
    array_ = std::move(array);
    hasArray_ = true;
  }

  void setByteCount(unsigned long long count) { SetField(header_, FieldOffset::kDataArrayByteCount, count); }

  std::size_t limited(int count) const
  {
    bool const all = count < 0 || static_cast<unsigned long long>(count) > Count();
    return static_cast<std::size_t>(all ? Count() : static_cast<unsigned long long>(count));
  }

  /// The samples that are announced and there.
  template <class T>
  std::vector<T> elements() const
  {
    Bytes const stored = Stored();
    std::vector<T> samples(static_cast<std::size_t>(std::min<unsigned long long>(Count(), stored.size() / sizeof(T))));
    if (!samples.empty())
      std::memcpy(samples.data(), stored.data(), samples.size() * sizeof(T));
    return samples;
  }

  /// The announced samples in another type, zero where there is none.
  Bytes converted(int target) const
  {
    Bytes result;
    WithElementType(Type(),
                    [&](auto from)
                    {
                      auto const samples = elements<decltype(from)>();
                      WithElementType(target,
                                      [&](auto to)
                                      {
                                        std::vector<decltype(to)> values(static_cast<std::size_t>(Count()));
                                        PlainConvert<decltype(from), decltype(to)>(samples.size(), samples.data(),
                                                                                   values.data());
                                        result = bytesOf(values);
                                      });
                    });
    return result;
  }

  template <class T>
  static Bytes bytesOf(std::vector<T> const& samples)
  {
    Bytes bytes(samples.size() * sizeof(T));
    if (!bytes.empty())
      std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
  }

  template <class T>
  void extract()
  {
    std::vector<T> const samples = elements<T>();
    PlainOffset<T> const result = PlainExtractOffset(std::span<T const>(samples), Count());
    if (!result.samples.empty())
      std::memcpy(array_.data(), result.samples.data(), result.samples.size() * sizeof(T));
    SetField(header_, FieldOffset::kOffset, FieldAt<double>(header_, FieldOffset::kOffset) - result.extracted);
  }

  template <class T>
  static bool adoptNan(T expected, T found, unsigned char* place)
  {
    if constexpr (std::is_floating_point_v<T>)
      if (std::isnan(expected) && std::isnan(found) && std::memcmp(place, &found, sizeof(T)) != 0)
      {
        std::memcpy(place, &found, sizeof(T));
        return true;
      }
    return false;
  }

  Bytes header_;
  // What is behind the sample pointer, which may be set although no byte is there.
  Bytes array_;
  bool hasArray_ = false;
};

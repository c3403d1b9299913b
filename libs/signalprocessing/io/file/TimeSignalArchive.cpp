#include "signalprocessing/io/file/TimeSignalArchive.h"

#include "platform/MessageLogger.h"
#include "signalprocessing/io/file/PaddedBytes.h"
#include "signalprocessing/io/file/TimeSignalErrors.h"
#include "utilities/archive/Serialize.h"
#include "utilities/archive/SerializeErrors.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{
using QenSerialize::deserialize;
using QenSerialize::serialize;
using TimeSignalErrors::kSourceUnit;

constexpr unsigned int kSampleTag = 0xDEADBEEF;
constexpr unsigned int kNoSampleTag = 0;
constexpr std::size_t kUuidSize = 16;

struct ByteArray
{
  std::unique_ptr<unsigned char[]> bytes;
  std::size_t size = 0;
};

/// Reads `length` bytes, fewer when the archive ends: at once when its buffer holds them, else into an array that
/// doubles as they arrive.
ByteArray readArray(Archive& archive, std::size_t length)
{
  constexpr std::streamsize kFirstChunk = 65536;
  auto const available = static_cast<std::size_t>(std::max(archive.rdbuf()->in_avail(), kFirstChunk));
  std::size_t capacity = std::min(length, available);
  ByteArray array{std::make_unique_for_overwrite<unsigned char[]>(capacity), 0};
  for (;;)
  {
    archive.read(reinterpret_cast<char*>(array.bytes.get()) + array.size,
                 static_cast<std::streamsize>(capacity - array.size));
    array.size += static_cast<std::size_t>(archive.gcount());
    if (array.size == length || !archive)
      return array;
    capacity += std::min(capacity, length - capacity);
    auto larger = std::make_unique_for_overwrite<unsigned char[]>(capacity);
    std::memcpy(larger.get(), array.bytes.get(), array.size);
    array.bytes = std::move(larger);
  }
}

void writeCount(Archive& archive, std::size_t count) { serialize(static_cast<unsigned int>(count), archive); }

void writeParameters(Archive& archive, Uuid const& uuid, double number, Uuid const& unitUuid,
                     std::string const& unitString)
{
  archive << uuid;
  serialize(number, archive);
  archive << unitUuid;
  serialize(unitString, archive);
}

void readParameters(Archive& archive, Uuid& uuid, double& number, Uuid& unitUuid, std::string& unitString)
{
  archive >> uuid;
  deserialize(number, archive);
  archive >> unitUuid;
  deserialize(unitString, archive);
}

void readSpeed(Archive& archive, float& speed)
{
  if (QenSerialize::deserialize_floating_point(speed, archive))
    throw QenSerialize::DeserializingFailed(kSourceUnit, "float");
}

/// Reads a count and that many entries over those of the list, which grows as they arrive.
template <class Parameters, class ReadEntry>
void readList(Archive& archive, std::vector<Parameters>& list, ReadEntry readEntry)
{
  unsigned int count = 0;
  deserialize(count, archive);
  if (list.size() > count)
    list.resize(count);
  for (std::size_t index = 0; index < count; ++index)
  {
    if (index == list.size())
      list.emplace_back();
    readEntry(list[index]);
  }
}
} // namespace

Archive& operator<<(Archive& archive, Uuid const& uuid)
{
  archive.write(reinterpret_cast<char const*>(uuid.GetPlainUuid()), kUuidSize);
  return archive;
}

Archive& operator>>(Archive& archive, Uuid& uuid)
{
  std::array<unsigned char, kUuidSize> bytes{};
  if (archive.read(reinterpret_cast<char*>(bytes.data()), kUuidSize))
    uuid.SetPlainUuid(bytes.data());
  return archive;
}

Archive& operator<<(Archive& archive, InternalTimeSignal const& signal)
{
  signal.writeTo(archive);
  return archive;
}

Archive& operator>>(Archive& archive, InternalTimeSignal& signal)
{
  signal.readFrom(archive);
  return archive;
}

Archive& operator<<(Archive& archive, TimeSignal const& signal) { return archive << *signal.signal_; }

Archive& operator>>(Archive& archive, TimeSignal& signal) { return archive >> *signal.signal_; }

void InternalTimeSignal::writeTo(Archive& archive) const
{
  archive.write(reinterpret_cast<char const*>(&record_), kTimeSignalHeaderSize);
  serialize(record_.Samples == nullptr ? kNoSampleTag : kSampleTag, archive);
  if (record_.Samples != nullptr)
    WritePadded(archive, GetStoredSamples(), static_cast<unsigned int>(record_.DataArrayByteCount));
  serialize(unitString_, archive);
  writeCount(archive, validators_.size());
  for (ValidatorParameters const& validator : validators_)
    writeParameters(archive, validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid, validator.UnitString);
  writeParameters(archive, trigger_.TriggerUuid, trigger_.TripValue, trigger_.UnitUuid, trigger_.UnitString);
  writeCount(archive, charVals_.size());
  for (CharValParameters const& charVal : charVals_)
  {
    writeParameters(archive, charVal.CharValUuid, charVal.Value, charVal.UnitUuid, charVal.UnitString);
    serialize(charVal.Speed, archive);
  }
  archive << jobDataUuid_;
}

void InternalTimeSignal::readFrom(Archive& archive)
{
  if (GetReferenceCounter() > 1)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>(
            "Cannot stream data into time signal object with a reference counter greater than 1!");
  rememberSampleSize();
  archive.read(reinterpret_cast<char*>(&record_), kTimeSignalHeaderSize);
  readSamples(archive);
  deserialize(unitString_, archive);
  readList(archive, validators_,
           [&](ValidatorParameters& validator)
           {
             readParameters(archive, validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid,
                            validator.UnitString);
           });
  readParameters(archive, trigger_.TriggerUuid, trigger_.TripValue, trigger_.UnitUuid, trigger_.UnitString);
  readList(archive, charVals_,
           [&](CharValParameters& charVal)
           {
             readParameters(archive, charVal.CharValUuid, charVal.Value, charVal.UnitUuid, charVal.UnitString);
             readSpeed(archive, charVal.Speed);
           });
  archive >> jobDataUuid_;
}

void InternalTimeSignal::readSamples(Archive& archive)
{
  unsigned int tag = 0;
  deserialize(tag, archive);
  if (tag == kNoSampleTag)
    return installSamples(nullptr, 0);
  if (tag != kSampleTag)
  {
    if (TimeSignalErrors::Logger()->isEnabled(log4cpp::Priority::DEBUG))
      LogObject(TimeSignalErrors::Logger(), log4cpp::Priority::DEBUG, kSourceUnit, __LINE__)("Wrong tag!");
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalException>("Corrupt time signal archive object!");
  }
  // The old samples do not belong to the new header, also when the reading ends here.
  installSamples(nullptr, 0);
  ByteArray samples = readArray(archive, static_cast<unsigned int>(record_.DataArrayByteCount));
  installSamples(std::move(samples.bytes), samples.size);
}

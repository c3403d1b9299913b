#pragma once

#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "support/PortableForm.h"
#include "support/SignalContents.h"
#include "support/SignalModel.h"
#include "support/SignalState.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// The archive form of a signal, written and read without the library. An archive is a row of items; each knows how
// reading ends when the archive does before the item is whole.

inline constexpr std::uint32_t kSamplesFollow = 0xDEADBEEF;

inline Outcome Undecodable(std::string const& type, char const* file = kSerializeUnit)
{
  return {"SerializationException", "Deserializing of object " + type + " failed", file};
}
inline Outcome UndecodableLength()
{
  Outcome outcome = Undecodable("std::string");
  outcome.rootCause = "Deserializing of object unsigned long failed";
  return outcome;
}
inline Outcome WrongTag() { return SignalFailure("Corrupt time signal archive object!"); }

inline std::string PlainBytes(Bytes const& bytes) { return std::string(bytes.begin(), bytes.end()); }
inline std::string PlainBytes(Uuid const& uuid)
{
  unsigned char const* const bytes = uuid.GetPlainUuid();
  return std::string(bytes, bytes + 16);
}

enum class ArchiveItemKind
{
  raw,
  count,
  text,
  number,
  speed
};

struct ArchiveItem
{
  ArchiveItemKind kind;
  std::string name;
  std::string bytes;
};

inline std::vector<ArchiveItem> ArchiveItems(SignalContents const& contents)
{
  using Kind = ArchiveItemKind;
  std::vector<ArchiveItem> items;
  auto const add = [&](Kind kind, std::string const& name, std::string bytes) {
    items.push_back({kind, name, std::move(bytes)});
  };
  auto const addCount = [&](std::string const& name, std::size_t count)
  { add(Kind::count, name, PortableUnsigned(static_cast<std::uint32_t>(count))); };
  auto const addParameters =
      [&](std::string const& name, Uuid const& uuid, double number, Uuid const& unit, std::string const& unitString)
  {
    add(Kind::raw, name + " UUID", PlainBytes(uuid));
    add(Kind::number, name + " number", PortableNumber(number));
    add(Kind::raw, name + " unit UUID", PlainBytes(unit));
    add(Kind::text, name + " unit", PortableText(unitString));
  };

  add(Kind::raw, "header", PlainBytes(contents.header));
  addCount("tag", contents.samples ? kSamplesFollow : 0);
  if (contents.samples)
    add(Kind::raw, "samples", PlainBytes(*contents.samples));
  add(Kind::text, "unit", PortableText(contents.unitString));
  addCount("validator count", contents.validators.size());
  for (auto const& validator : contents.validators)
    addParameters("validator", validator.ValidatorUuid, validator.AverageValue, validator.UnitUuid,
                  validator.UnitString);
  auto const& trigger = contents.trigger;
  addParameters("trigger", trigger.TriggerUuid, trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
  addCount("characteristic value count", contents.charVals.size());
  for (auto const& value : contents.charVals)
  {
    addParameters("characteristic value", value.CharValUuid, value.Value, value.UnitUuid, value.UnitString);
    add(Kind::speed, "speed", PortableNumber(static_cast<double>(value.Speed)));
  }
  add(Kind::raw, "job data UUID", PlainBytes(contents.jobDataUuid));
  return items;
}

inline std::string ArchiveForm(SignalContents const& contents)
{
  std::string bytes;
  for (ArchiveItem const& item : ArchiveItems(contents))
    bytes += item.bytes;
  return bytes;
}

enum class Direction
{
  writing,
  reading
};

/// How writing or reading ends when the archive does in front of byte `place` of an item: raw items are not checked, so
/// the next number or text speaks; behind the last of those only the archive's state tells.
inline Outcome EndOfCutArchive(std::vector<ArchiveItem> const& items, std::size_t cutItem, std::size_t place,
                               Direction direction)
{
  auto const cut = items.begin() + static_cast<std::ptrdiff_t>(cutItem);
  auto const speaks =
      std::find_if(cut, items.end(), [](ArchiveItem const& item) { return item.kind != ArchiveItemKind::raw; });
  if (speaks == items.end())
    return {};
  bool const isReading = direction == Direction::reading;
  auto const failure = [&](std::string const& type, char const* file = kSerializeUnit)
  {
    return Outcome{"SerializationException",
                   (isReading ? "Deserializing of object " : "Serializing of object ") + type + " failed", file};
  };
  switch (speaks->kind)
  {
  case ArchiveItemKind::raw:
    break;
  case ArchiveItemKind::count:
    return failure("unsigned int");
  case ArchiveItemKind::number:
    return failure("double");
  case ArchiveItemKind::speed:
    return failure("float", isReading ? kTimeSignalUnit : kSerializeUnit);
  case ArchiveItemKind::text:
  {
    Outcome text = failure("std::string");
    bool const isLengthCut = speaks != cut || place <= static_cast<unsigned char>(speaks->bytes.front());
    if (isLengthCut)
      text.rootCause = failure("unsigned long").message;
    return text;
  }
  }
  return {};
}

/// What comes back of contents that go through an archive: every NaN is the quiet one, texts end at their first zero
/// byte.
inline SignalContents ThroughArchive(SignalContents contents)
{
  auto const number = [](auto& value)
  {
    if (std::isnan(value))
      value = std::numeric_limits<std::remove_reference_t<decltype(value)>>::quiet_NaN();
  };
  contents.unitString = UpToFirstZeroByte(contents.unitString);
  for (auto& validator : contents.validators)
  {
    number(validator.AverageValue);
    validator.UnitString = UpToFirstZeroByte(validator.UnitString);
  }
  number(contents.trigger.TripValue);
  contents.trigger.UnitString = UpToFirstZeroByte(contents.trigger.UnitString);
  for (auto& value : contents.charVals)
  {
    number(value.Value);
    number(value.Speed);
    value.UnitString = UpToFirstZeroByte(value.UnitString);
  }
  return contents;
}

/// Reads an archive form as plainly as can be: how it ends, and what a fresh object holds then.
class ArchiveReader
{
public:
  explicit ArchiveReader(std::string const& bytes) : stream_(bytes)
  {
    stream_.imbue(std::locale::classic());
    outcome_ = read();
    ended_ = stream_.good();
    taken_ = ended_ ? static_cast<std::size_t>(stream_.tellg()) : bytes.size();
  }

  Outcome const& End() const { return outcome_; }
  bool IsGood() const { return ended_; }
  std::size_t Taken() const { return taken_; }
  /// Whether reading got as far as the sample array: the tag told whether there is one.
  bool KnowsSamples() const { return knowsSamples_; }
  /// Whole only when reading did not fail; a cut sample array holds what was there of it.
  SignalContents const& Contents() const { return contents_; }

private:
  static constexpr int kEnd = std::char_traits<char>::eof();

  std::string raw(std::size_t count)
  {
    // As much as there is, so that nothing is allocated for a count that lies.
    std::string bytes;
    for (int byte = 0; bytes.size() < count && (byte = stream_.get()) != kEnd;)
      bytes.push_back(static_cast<char>(byte));
    return bytes;
  }

  bool integer(std::uint32_t& value)
  {
    value = 0;
    int const first = stream_.get();
    if (first == kEnd)
      return false;
    unsigned int const count = static_cast<unsigned int>(first) & 0x8FU;
    if (count > 4)
      return false;
    std::string const bytes = raw(count);
    for (std::size_t i = 0; i < bytes.size(); ++i)
      value += static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    return bytes.size() == count;
  }

  template <class T>
  bool number(T& value)
  {
    using Limits = std::numeric_limits<T>;
    switch (stream_.peek())
    {
    case 'i':
      value = Limits::infinity();
      raw(3);
      break;
    case 'n':
      value = -Limits::infinity();
      raw(4);
      break;
    case 'N':
      value = Limits::quiet_NaN();
      raw(3);
      break;
    default:
      stream_ >> value;
    }
    return stream_.get() == ' ';
  }

  Outcome text(std::string& value)
  {
    std::uint32_t length = 0;
    if (!integer(length))
      return UndecodableLength();
    std::string const bytes = raw(length);
    if (bytes.size() != length)
      return Undecodable("std::string");
    value = UpToFirstZeroByte(bytes);
    return {};
  }

  /// A cut UUID leaves the value as it was and the stream failed.
  void identifier(Uuid& uuid)
  {
    std::string const bytes = raw(16);
    if (bytes.size() == 16)
      uuid.SetPlainUuid(reinterpret_cast<unsigned char const*>(bytes.data()));
  }

  Outcome parameters(Uuid& uuid, double& value, Uuid& unit, std::string& unitString)
  {
    identifier(uuid);
    if (!number(value))
      return Undecodable("double");
    identifier(unit);
    return text(unitString);
  }

  template <class Entry, class ReadEntry>
  Outcome list(std::vector<Entry>& entries, ReadEntry&& readEntry)
  {
    std::uint32_t count = 0;
    if (!integer(count))
      return Undecodable("unsigned int");
    // Ends with the bytes, however large the count is.
    for (std::uint32_t i = 0; i < count; ++i)
    {
      Outcome const outcome = readEntry(entries.emplace_back());
      if (outcome.Failed())
        return outcome;
    }
    return {};
  }

  Outcome read()
  {
    std::string const header = raw(kHeaderBytes);
    contents_.header.assign(header.begin(), header.end());
    std::uint32_t tag = 0;
    if (!integer(tag))
      return Undecodable("unsigned int");
    if (tag != 0 && tag != kSamplesFollow)
      return WrongTag();
    knowsSamples_ = true;
    if (tag == kSamplesFollow)
    {
      std::string const samples = raw(FieldAt<std::uint32_t>(contents_.header, FieldOffset::kDataArrayByteCount));
      contents_.samples.emplace(samples.begin(), samples.end());
    }
    Outcome outcome = text(contents_.unitString);
    if (!outcome.Failed())
      outcome = list(contents_.validators, [this](auto& entry)
                     { return parameters(entry.ValidatorUuid, entry.AverageValue, entry.UnitUuid, entry.UnitString); });
    auto& trigger = contents_.trigger;
    if (!outcome.Failed())
      outcome = parameters(trigger.TriggerUuid, trigger.TripValue, trigger.UnitUuid, trigger.UnitString);
    if (!outcome.Failed())
      outcome = list(contents_.charVals, [this](auto& entry) { return charVal(entry); });
    if (!outcome.Failed())
      identifier(contents_.jobDataUuid);
    return outcome;
  }

  Outcome charVal(SignalContents::CharVal& entry)
  {
    Outcome const outcome = parameters(entry.CharValUuid, entry.Value, entry.UnitUuid, entry.UnitString);
    if (outcome.Failed())
      return outcome;
    return number(entry.Speed) ? Outcome() : Undecodable("float", kTimeSignalUnit);
  }

  std::istringstream stream_;
  SignalContents contents_;
  Outcome outcome_;
  bool knowsSamples_ = false;
  bool ended_ = false;
  std::size_t taken_ = 0;
};

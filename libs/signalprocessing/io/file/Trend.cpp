#include "signalprocessing/io/file/Trend.h"

#include "platform/Options.h"
#include "platform/QenTime.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/Deflate.h"
#include "signalprocessing/io/file/DetailsWriter.h"
#include "signalprocessing/io/file/PaddedBytes.h"
#include "signalprocessing/io/file/RecordNames.h"
#include "signalprocessing/io/file/TrendEntries.h"
#include "signalprocessing/io/file/UuidBytes.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <sstream>
#include <tuple>

namespace
{
constexpr char const kSourceUnit[] = "Trend.cpp";
constexpr unsigned short kHeaderVersion = 2;

TrendException wrongDataSize(unsigned long long actual, unsigned long long expected, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line)
      .createException<TrendException>("Wrong trend data size: actual %lu bytes, expected %ld bytes!",
                                       static_cast<unsigned long>(actual), static_cast<long>(expected));
}

TrendException unknownCompression(compression32_t method, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line)
      .createException<TrendException>("Unknown compression: %ld!", static_cast<long>(method));
}

bool isKnownCompression(compression32_t method) { return method == no_compression || Deflate::IsMethod(method); }

/// Bytes of that many entries, which records and codecs count in 32 bits.
unsigned int requireEntryBytes(unsigned long long entryCount)
{
  constexpr unsigned long long kMaxEntries = std::numeric_limits<unsigned int>::max() / sizeof(trend_entry_t);
  if (entryCount > kMaxEntries)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TrendException>("Support for more than %lu trend entries not implemented!",
                                         static_cast<unsigned long>(kMaxEntries));
  return static_cast<unsigned int>(entryCount * sizeof(trend_entry_t));
}

/// Refuses a stored record that announces more entries than its data can hold, before they take memory.
void requirePlausibleEntries(trend_header_t const& header)
{
  if (!isKnownCompression(header.Compression))
    throw unknownCompression(header.Compression);
  unsigned long long const announced = static_cast<unsigned long long>(header.SampleCount) * sizeof(trend_entry_t);
  unsigned long long const possible =
      header.Compression == no_compression ? header.DataArrayByteCount : Deflate::MaxContent(header.DataArrayByteCount);
  if (announced > possible)
    throw wrongDataSize(header.DataArrayByteCount, announced);
}

std::string unitOf(std::string const& details)
{
  Options parser;
  Option* const root = parser.parse(details);
  if (root == nullptr)
    return {};
  return root->Value<char const*>("vel:TrendDataDetails.vel:Signal.vel:HeaderInfo.vel:UnitString", "");
}

/// The name in the details document; trends know no int24.
char const* compressionName(compression32_t method)
{
  char const* const name = RecordNames::Find(method, RecordNames::kCompressions);
  return name == nullptr || method == int24 ? "" : name;
}

std::string timeText(long long timeStamp) { return timeStamp == 0 ? "" : QenTime::TimeStampToString(timeStamp); }

// AuxByte, AuxFloat3 and the padding are payload that does not tell trends apart.
bool hasSameMeaning(trend_entry_t const& a, trend_entry_t const& b)
{
  auto const fields = [](trend_entry_t const& entry)
  { return std::tie(entry.AuxFloat1, entry.AuxFloat2, entry.TimeStamp, entry.Value, entry.Status); };
  return fields(a) == fields(b);
}
} // namespace

TrendException::TrendException() : VelmoraException("TrendException") {}
TrendException::~TrendException() = default;
VelmoraException* TrendException::clone() const { return new TrendException(*this); }

Trend::Trend(Uuid const& characteristicValueConfigUuid, Uuid const& characteristicValueConfigBaseUuid,
             Uuid const& signalUnitUuid, std::string const& signalUnitString, double lowerPreAlarmLimit)
  : characteristicValueConfigUuid_(characteristicValueConfigUuid),
    characteristicValueConfigBaseUuid_(characteristicValueConfigBaseUuid), trendUuid_(Uuid::CreateUuid()),
    signalUnitUuid_(signalUnitUuid), signalUnitString_(signalUnitString), lowerPreAlarmLimit_(lowerPreAlarmLimit)
{
}

Trend::Trend(TrendDataDO const& stored)
  : characteristicValueConfigUuid_(stored.getCharacteristicValueConfig().getUuid()),
    characteristicValueConfigBaseUuid_(stored.getCharacteristicValueConfigBaseUuid().getUuid()),
    trendUuid_(stored.getCurrentUuid().getUuid()), firstTimeStamp_(stored.getFirstTimeStamp()),
    lastTimeStamp_(stored.getLastTimeStamp())
{
  std::vector<unsigned char> const& data = stored.getData();
  std::unique_ptr<trend_header_t const> const header(VectorToTrend(data));
  lowerPreAlarmLimit_ = header->LowerPreAlarmLevel;
  signalUnitUuid_ = UuidFromBytes(header->UnitUuid);
  compression_ = header->Compression;
  signalUnitString_ = unitOf(stored.getTrendDataDetails());
  requirePlausibleEntries(*header);
  UncompressData(data.data() + kTrendHeaderSize, header.get());
}

Trend::Trend(Trend const&) = default;
Trend::Trend(Trend&&) noexcept = default;
Trend& Trend::operator=(Trend const& other) { return *this = Trend(other); }
Trend& Trend::operator=(Trend&&) noexcept = default;
Trend::~Trend() = default;

bool Trend::operator==(Trend const& other) const
{
  return characteristicValueConfigUuid_ == other.characteristicValueConfigUuid_ &&
         characteristicValueConfigBaseUuid_ == other.characteristicValueConfigBaseUuid_ &&
         trendUuid_ == other.trendUuid_ && signalUnitUuid_ == other.signalUnitUuid_ &&
         signalUnitString_ == other.signalUnitString_ && firstTimeStamp_ == other.firstTimeStamp_ &&
         lastTimeStamp_ == other.lastTimeStamp_ && lowerPreAlarmLimit_ == other.lowerPreAlarmLimit_ &&
         compression_ == other.compression_ && std::ranges::equal(entries_, other.entries_, hasSameMeaning);
}

bool Trend::operator!=(Trend const& other) const { return !(*this == other); }

Uuid const& Trend::GetCharacteristicValueConfigUuid() const { return characteristicValueConfigUuid_; }
Uuid const& Trend::GetCharacteristicValueConfigBaseUuid() const { return characteristicValueConfigBaseUuid_; }
Uuid const& Trend::GetTrendUuid() const { return trendUuid_; }
Uuid const& Trend::GetSignalUnitUuid() const { return signalUnitUuid_; }
std::string const& Trend::GetSignalUnitString() const { return signalUnitString_; }
double Trend::GetLowerPreAlarmLimit() const { return lowerPreAlarmLimit_; }
long long Trend::GetFirstTimeStamp() const { return firstTimeStamp_; }
long long Trend::GetLastTimeStamp() const { return lastTimeStamp_; }
std::vector<trend_entry_t> const& Trend::GetTrendEntryVector() const { return entries_; }
unsigned int Trend::GetNumberOfEntries() const { return static_cast<unsigned int>(entries_.size()); }
compression32_t Trend::GetCompression() const { return compression_; }
void Trend::SetCompression(compression32_t method) { compression_ = method; }

trend_entry_t Trend::GetTrendEntry(unsigned int index) const
{
  trend_entry_t entry{};
  if (index < entries_.size())
    CopyWhole(entry, entries_[index]);
  else
    entry.AuxFloat3 = std::numeric_limits<float>::quiet_NaN();
  return entry;
}

void Trend::AddTrendEntry(trend_entry_t const& entry, bool append)
{
  // `entry` may be one of our own, which growing would move.
  trend_entry_t added;
  CopyWhole(added, entry);
  if (append || entries_.empty())
  {
    entries_.emplace_back();
    if (firstTimeStamp_ == 0)
      firstTimeStamp_ = added.TimeStamp;
  }
  CopyWhole(entries_.back(), added);
  lastTimeStamp_ = added.TimeStamp;
}

void Trend::AddTrendEntries(std::deque<trend_entry_t>::const_iterator first,
                            // NOLINTNEXTLINE(performance-unnecessary-value-param): iterators are passed by value
                            std::deque<trend_entry_t>::const_iterator last)
{
  if (first == last)
    return;
  std::size_t const before = entries_.size();
  entries_.resize(before + static_cast<std::size_t>(last - first));
  for (std::size_t index = before; first != last; ++first, ++index)
    CopyWhole(entries_[index], *first);
  if (before == 0)
    firstTimeStamp_ = entries_.front().TimeStamp;
  lastTimeStamp_ = entries_.back().TimeStamp;
}

bool Trend::DeleteTrendEntries(long long from, long long to)
{
  if (to < from)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TrendException>("Time range error for trend %s: cannot delete entries from %s to %s!",
                                         characteristicValueConfigUuid_.ToString().c_str(),
                                         QenTime::TimeStampToString(from).c_str(),
                                         QenTime::TimeStampToString(to).c_str());
  if (from <= firstTimeStamp_ && to >= lastTimeStamp_)
  {
    entries_.clear();
    firstTimeStamp_ = lastTimeStamp_ = 0;
    return true;
  }
  if (from < lastTimeStamp_ && to < firstTimeStamp_)
    return false;
  auto start = entries_.begin();
  if (firstTimeStamp_ < from)
    start = std::find_if(start, entries_.end(), [from](trend_entry_t const& entry) { return entry.TimeStamp >= from; });
  auto end = entries_.end();
  if (to < lastTimeStamp_)
    end = std::find_if(start, end, [to](trend_entry_t const& entry) { return entry.TimeStamp > to; });
  if (start == end)
    return false;
  entries_.erase(start, end);
  firstTimeStamp_ = entries_.empty() ? 0 : entries_.front().TimeStamp;
  lastTimeStamp_ = entries_.empty() ? 0 : entries_.back().TimeStamp;
  return true;
}

trend_header_t* Trend::VectorToTrend(std::vector<unsigned char> const& data)
{
  if (data.size() < kTrendHeaderSize)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TrendException>("Trend header incomplete: actual %lu bytes, expected %lu bytes!",
                                         static_cast<unsigned long>(data.size()),
                                         static_cast<unsigned long>(kTrendHeaderSize));
  auto header = std::make_unique<trend_header_t>();
  std::memcpy(header.get(), data.data(), kTrendHeaderSize);
  std::size_t const actual = data.size() - kTrendHeaderSize;
  if (actual != header->DataArrayByteCount)
    throw wrongDataSize(actual, header->DataArrayByteCount);
  return header.release();
}

std::vector<unsigned char>* Trend::TrendToVector(trend_header_t const& header, void const* data)
{
  std::span<unsigned char const> stored;
  if (data != nullptr)
    stored = {static_cast<unsigned char const*>(data), header.DataArrayByteCount};
  return MakeFlatRecord(&header, kTrendHeaderSize, stored, header.DataArrayByteCount).release();
}

unsigned char* Trend::CompressData(int& size) const
{
  std::unique_ptr<Compression> const codec = Deflate::MakeCodec(compression_);
  if (codec == nullptr)
    throw unknownCompression(compression_);
  return codec->compress(requireEntryBytes(entries_.size()), entries_.data(), size);
}

void Trend::UncompressData(void const* data, trend_header_t const* header)
{
  bool const isKnown = isKnownCompression(header->Compression);
  unsigned int const byteCount = isKnown ? requireEntryBytes(header->SampleCount) : 0;
  if (header->SampleCount > entries_.max_size())
    throw std::bad_alloc();
  entries_.resize(header->SampleCount);
  if (!isKnown)
    throw unknownCompression(header->Compression);
  if (header->Compression != no_compression)
    Deflate::MakeCodec(header->Compression)->uncompress(header->DataArrayByteCount, data, byteCount, entries_.data());
  else if (byteCount != 0)
    std::memcpy(entries_.data(), data, byteCount);
}

void Trend::GenerateDetails(trend_header_t const& header, std::stringstream& stream) const
{
  DetailsWriter document(stream);
  auto const headerInfo = [&]
  {
    document.Element("BinaryHeaderVersion", kHeaderVersion);
    document.Element("HeaderSize", kTrendHeaderSize);
    document.Element("CharacteristicValueConfigUuid", characteristicValueConfigUuid_.ToString());
    document.Element("TrendUuid", trendUuid_.ToString());
    document.Element("UnitUuid", signalUnitUuid_.ToString());
    document.Element("UnitString", signalUnitString_);
    document.Element("SampleCount", static_cast<int>(header.SampleCount));
    document.Element("DataArrayByteCount", static_cast<int>(header.DataArrayByteCount));
    document.Element("Compression", compressionName(header.Compression));
  };
  auto const signal = [&]
  {
    document.Group("HeaderInfo", headerInfo);
    document.Element("LowerPreAlarmLevel", header.LowerPreAlarmLevel);
    document.Element("FirstTimeStamp", timeText(header.FirstTimeStamp));
    document.Element("LastTimeStamp", timeText(header.LastTimeStamp));
    document.Element("BinaryFileName", "");
    document.Element("BinaryFileHash", "");
  };
  document.Document("TrendDataDetails", [&] { document.Group("Signal", signal); });
}

TrendDataDO* Trend::GetTrendDataDO() const
{
  trend_header_t header = makeHeader();
  std::unique_ptr<unsigned char[]> stream;
  void const* data = entries_.data();
  if (compression_ == no_compression)
    header.DataArrayByteCount = requireEntryBytes(entries_.size());
  else
  {
    int size = 0;
    stream.reset(CompressData(size));
    header.DataArrayByteCount = static_cast<unsigned int>(size);
    data = stream.get();
  }
  header.DataChecksum = Checksum::Compute(data, header.DataArrayByteCount);
  header.HeaderChecksum = Checksum::Compute(&header, kTrendHeaderSize);
  std::unique_ptr<std::vector<unsigned char>> const bytes(TrendToVector(header, data));

  auto stored = std::make_unique<TrendDataDO>();
  stored->setData(std::move(*bytes));
  stored->setCurrentUuid(EntryOf(trendUuid_));
  stored->setCharacteristicValueConfig(EntryOf(characteristicValueConfigUuid_));
  stored->setCharacteristicValueConfigBaseUuid(UuidEntryDO(0, characteristicValueConfigBaseUuid_, false));
  stored->setClosed(false);
  stored->setFirstTimeStamp(header.FirstTimeStamp);
  stored->setLastTimeStamp(header.LastTimeStamp);
  stored->setTrendDataDetails(DocumentText([&](std::stringstream& text) { GenerateDetails(header, text); }));
  stored->setNumSamples(header.SampleCount);
  return stored.release();
}

trend_header_t Trend::makeHeader() const
{
  trend_header_t header{};
  header.BinaryHeaderVersion = kHeaderVersion;
  header.HeaderSize = kTrendHeaderSize;
  header.Compression = compression_;
  CopyUuid(header.CharacteristicValueConfigUuid, characteristicValueConfigUuid_.GetPlainUuid());
  CopyUuid(header.TrendUuid, trendUuid_.GetPlainUuid());
  header.FirstTimeStamp = entries_.empty() ? 0 : entries_.front().TimeStamp;
  header.LastTimeStamp = entries_.empty() ? 0 : entries_.back().TimeStamp;
  CopyUuid(header.UnitUuid, signalUnitUuid_.GetPlainUuid());
  header.LowerPreAlarmLevel = lowerPreAlarmLimit_;
  header.SampleCount = GetNumberOfEntries();
  return header;
}

// Handles that are copied, changed and released at random, each with plain vectors beside it that share nothing. A
// change must show in the handle that it went through and in no other, and handles share an object exactly until one is
// changed.

#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "support/Dice.h"
#include "support/LongTests.h"
#include "support/SampleModels.h"
#include "support/SampleSignals.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <variant>
#include <vector>

namespace
{
using Bytes = std::vector<unsigned char>;
/// Each type of element converts to those behind it.
using Samples =
    std::variant<std::vector<short>, std::vector<int>, std::vector<long long>, std::vector<float>, std::vector<double>>;
constexpr std::array kTypes = {data_int16_t, data_int32_t, data_int64_t, data_float32_t, data_float64_t};
constexpr std::array kMethods = {no_compression, zlib, gzip};
constexpr std::size_t kHandles = 12;

Bytes bytesOf(Samples const& samples)
{
  return std::visit(
      [](auto const& elements)
      {
        Bytes bytes(elements.size() * sizeof(elements.front()));
        std::memcpy(bytes.data(), elements.data(), bytes.size());
        return bytes;
      },
      samples);
}

template <std::size_t I = 0>
Samples converted(Samples const& samples, std::size_t type)
{
  if constexpr (I + 1 < std::variant_size_v<Samples>)
    if (type != I)
      return converted<I + 1>(samples, type);
  using Elements = std::variant_alternative_t<I, Samples>;
  Elements result;
  std::visit(
      [&result](auto const& elements)
      {
        for (auto const element : elements)
          result.push_back(static_cast<typename Elements::value_type>(element));
      },
      samples);
  return result;
}

Samples centred(Samples const& samples)
{
  return std::visit([]<class T>(std::vector<T> const& elements)
                    { return Samples(PlainExtractOffset<T>(elements, elements.size()).samples); },
                    samples);
}

/// What one handle must hold.
struct Plain
{
  int object = 0; ///< the same in handles that share
  Samples samples;
  compression32_t compression = no_compression;
  Bytes stored; ///< the samples, or the stream that they were compressed to
  std::size_t charVals = 0;
};

class Handles
{
public:
  explicit Handles(unsigned int seed) : dice_(seed)
  {
    for (std::size_t i = 0; i < kHandles; ++i)
      renew(i);
  }

  void RunOne()
  {
    std::size_t const at = any();
    long long const dice = dice_.Below(100);
    if (dice < 40)
      assign(at, any());
    else if (dice < 45)
      renew(at);
    else if (dice < 60)
      convert(at);
    else if (dice < 70)
      extractOffset(at);
    else if (dice < 80)
      addCharacteristicValue(at);
    else if (dice < 90)
      compress(at);
    else if (dice < 95)
      uncompress(at);
    else
      readOut(at);
  }

  void Check() const
  {
    for (std::size_t i = 0; i < kHandles; ++i)
    {
      SCOPED_TRACE(i);
      checkSharing(i);
      checkContents(signals_.at(i), plains_.at(i));
    }
  }

private:
  void renew(std::size_t at)
  {
    std::vector<short> samples(static_cast<std::size_t>(dice_.Between(1, 24)));
    for (short& sample : samples)
      sample = static_cast<short>(dice_.Between(-3000, 3000));
    signals_.at(at) = MakeSignal(samples);
    Samples const plain = samples;
    plains_.at(at) = Plain{++objects_, plain, no_compression, bytesOf(plain), 0};
  }

  void assign(std::size_t to, std::size_t from)
  {
    signals_.at(to) = signals_.at(from);
    plains_.at(to) = plains_.at(from);
  }

  void convert(std::size_t at)
  {
    Plain& plain = plains_.at(at);
    auto const type = static_cast<std::size_t>(dice_.Below(kTypes.size()));
    auto const change = [&] { signals_.at(at).Convert(kTypes.at(type)); };
    if (plain.compression != no_compression)
    {
      EXPECT_THROW(change(), TimeSignalException);
    }
    else if (type < plain.samples.index())
    {
      EXPECT_THROW(change(), TypeConverterException);
    }
    else
    {
      change();
      if (type != plain.samples.index())
        changed(at, converted(plain.samples, type));
    }
  }

  void extractOffset(std::size_t at)
  {
    Plain& plain = plains_.at(at);
    if (plain.compression != no_compression)
    {
      EXPECT_THROW(signals_.at(at).ExtractOffset(), TimeSignalException);
      return;
    }
    signals_.at(at).ExtractOffset();
    changed(at, centred(plain.samples));
  }

  void addCharacteristicValue(std::size_t at)
  {
    signals_.at(at).AddCharacteristicValue(CountingUuid(5), 1, CountingUuid(6), "mm", 2);
    separate(at);
    ++plains_.at(at).charVals;
  }

  void compress(std::size_t at)
  {
    Plain& plain = plains_.at(at);
    compression32_t const method = dice_.Of(kMethods);
    signals_.at(at).Compress(method);
    if (method == plain.compression)
      return;
    separate(at);
    plain.compression = method;
    plain.stored = method == no_compression ? bytesOf(plain.samples) : StoredBytes(signals_.at(at));
    // What a stream holds is seen once, when it comes into being; from then on it must not change.
    TimeSignal uncompressed = signals_.at(at);
    uncompressed.Uncompress();
    EXPECT_EQ(StoredBytes(uncompressed), bytesOf(plain.samples));
  }

  void uncompress(std::size_t at)
  {
    signals_.at(at).Uncompress();
    if (plains_.at(at).compression == no_compression)
      return;
    separate(at);
    setUncompressed(plains_.at(at));
  }

  /// Uncompresses what is read out for all that share it.
  void readOut(std::size_t at)
  {
    std::vector<double> values(1);
    EXPECT_EQ(TimeSignal::SamplesToDouble(signals_.at(at), values), 1U);
    for (Plain& plain : plains_)
      if (plain.object == plains_.at(at).object)
        setUncompressed(plain);
  }

  static void setUncompressed(Plain& plain)
  {
    plain.compression = no_compression;
    plain.stored = bytesOf(plain.samples);
  }

  void changed(std::size_t at, Samples samples)
  {
    separate(at);
    plains_.at(at).stored = bytesOf(samples);
    plains_.at(at).samples = std::move(samples);
  }

  void separate(std::size_t at)
  {
    if (handlesOf(plains_.at(at).object) > 1)
      plains_.at(at).object = ++objects_;
  }

  unsigned int handlesOf(int object) const
  {
    unsigned int count = 0;
    for (Plain const& plain : plains_)
      count += plain.object == object ? 1 : 0;
    return count;
  }

  void checkSharing(std::size_t at) const
  {
    EXPECT_EQ(HandleCount(signals_.at(at)), handlesOf(plains_.at(at).object));
    for (std::size_t other = 0; other < at; ++other)
      EXPECT_EQ(ObjectOf(signals_.at(at)) == ObjectOf(signals_.at(other)),
                plains_.at(at).object == plains_.at(other).object);
  }

  static void checkContents(TimeSignal const& signal, Plain const& plain)
  {
    timesignal_bin_t const& header = *signal.GetHeader();
    EXPECT_EQ(header.SampleType, kTypes.at(plain.samples.index()));
    EXPECT_EQ(header.Compression, plain.compression);
    EXPECT_EQ(StoredBytes(signal), plain.stored);
    EXPECT_EQ(signal.GetCharVals().size(), plain.charVals);
  }

  std::size_t any() { return static_cast<std::size_t>(dice_.Below(kHandles)); }

  Dice dice_;
  int objects_ = 0;
  std::array<TimeSignal, kHandles> signals_;
  std::array<Plain, kHandles> plains_;
};
} // namespace

TEST(CopyOnWrite, ChangesAtRandomShowInTheirHandleAndInNoOther)
{
  int const operations = AreLongTestsWanted() ? 1'000'000 : 20'000;
  Handles handles(1);
  for (int i = 0; i < operations && !testing::Test::HasFailure(); ++i)
  {
    SCOPED_TRACE(i);
    handles.RunOne();
    handles.Check();
  }
}

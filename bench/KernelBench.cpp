// The loops over samples, 16,384 samples in the cache and 10 million in memory, beside the limits of the same bytes.
// Names are "what/type/count"; table.py sets them in proportion.

#include "Limits.h"
#include "Material.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/SampleKernels.h"
#include "signalprocessing/typeconverter/TypeConverter.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace
{
constexpr std::size_t kCached = 16384;
constexpr std::size_t kBig = 10'000'000;

template <class T>
struct Named
{
  using Type = T;
  char const* name;
};
constexpr std::tuple kTypes{Named<signed char>{"int8"},    Named<short>{"int16"},
                            Named<int>{"int32"},           Named<long long>{"int64"},
                            Named<float>{"float32"},       Named<double>{"float64"},
                            Named<unsigned char>{"uint8"}, Named<unsigned short>{"uint16"},
                            Named<unsigned>{"uint32"},     Named<unsigned long long>{"uint64"}};

/// Calls use(Named<T>) for every sample type.
template <class Use>
void forEachType(Use use)
{
  std::apply([&](auto... types) { (use(types), ...); }, kTypes);
}

template <class T>
std::vector<T> makeSamples(std::size_t count)
{
  std::vector<short> const vibration = Material::Vibration(count);
  return {vibration.begin(), vibration.end()};
}

/// An array at a fixed place within a page, so that rows differ by their work alone: loads across cache lines take
/// longer, and memcpy takes sixteen times as long when its target lies 16 bytes behind its source modulo a page.
template <class T>
class Placed
{
public:
  Placed(std::size_t count, std::size_t place) : bytes_(count * sizeof(T) + 2 * kPage)
  {
    void* start = bytes_.data();
    std::size_t room = bytes_.size();
    std::align(kPage, kPage, start, room);
    array_ = {reinterpret_cast<T*>(static_cast<unsigned char*>(start) + place), count};
  }
  std::span<T> array() { return array_; }

private:
  static constexpr std::size_t kPage = 4096;
  std::vector<unsigned char> bytes_;
  std::span<T> array_;
};
constexpr std::size_t kPlaceOfSamples = 0;
constexpr std::size_t kPlaceOfOutput = 2048;

/// Registers `work(samples, output)` on `count` samples of a type.
template <class Out, class T, class Work>
void addWithOutput(std::string const& what, Named<T> type, std::size_t count, Work work)
{
  auto const run = [count, work](benchmark::State& state)
  {
    Placed<T> placed(count, kPlaceOfSamples);
    Placed<Out> output(count, kPlaceOfOutput);
    std::span<T> const samples = placed.array();
    std::ranges::copy(makeSamples<T>(count), samples.begin());
    for (auto _ : state)
    {
      work(samples, output.array().data());
      benchmark::ClobberMemory();
    }
  };
  benchmark::RegisterBenchmark((what + "/" + type.name + "/" + std::to_string(count)).c_str(), run);
}

/// Registers `work(samples)`.
template <class T, class Work>
void add(std::string const& what, Named<T> type, std::size_t count, Work work)
{
  addWithOutput<char>(what, type, count, [work](std::span<T> samples, char* /*output*/) { work(samples); });
}

template <class T>
void addLimits(Named<T> type, std::size_t count)
{
  add("read", type, count,
      [](auto samples) { benchmark::DoNotOptimize(Limits::Read(samples.data(), samples.size() * sizeof(T))); });
  addWithOutput<T>("copy", type, count,
                   [](auto samples, T* out) { std::memcpy(out, samples.data(), samples.size() * sizeof(T)); });
}

template <class T>
void addReading(Named<T> type, std::size_t count)
{
  add("checksum", type, count,
      [](auto samples) { benchmark::DoNotOptimize(Checksum::Compute(samples.data(), samples.size() * sizeof(T))); });
  add("peak", type, count,
      [](auto samples) { benchmark::DoNotOptimize(SampleKernels::Peak(std::span<T const>(samples))); });
  addWithOutput<double>("physical values", type, count,
                        [](auto samples, double* out)
                        { SampleKernels::PhysicalValues(std::span<T const>(samples), 1.5, 0.25, out); });
}

template <class In, class Out>
void addConversion(Named<In> from, Named<Out> to, std::size_t count)
{
  if constexpr (!TypeConverter::kNarrows<In, Out> && !std::is_same_v<In, Out>)
    addWithOutput<Out>(std::string("to ") + to.name, from, count,
                       [](auto samples, Out* out) { TypeConverter::Convert(samples.size(), samples.data(), out); });
}

/// Finding and subtracting an integer offset: two passes, the second one writes.
template <class T, class Acc>
void addIntegerOffset(Named<T> type, std::size_t count)
{
  add("offset", type, count,
      [](auto samples)
      {
        auto const summary = SampleKernels::Summarise<T, Acc>(samples);
        benchmark::DoNotOptimize(summary.Sum);
        SampleKernels::Subtract(std::span<T>(samples), static_cast<T>(summary.Smallest & 1));
      });
  add("read and write", type, count,
      [](auto samples)
      {
        benchmark::DoNotOptimize(Limits::Read(samples.data(), samples.size() * sizeof(T)));
        Limits::ReadAndWrite(samples.data(), samples.size() * sizeof(T));
      });
}

template <class T>
void addOrderedSum(Named<T> type, std::size_t count)
{
  add("ordered sum", type, count,
      [](auto samples) { benchmark::DoNotOptimize(SampleKernels::SumInOrder(std::span<T const>(samples))); });
  add("chain of additions", type, count,
      [](auto samples) { benchmark::DoNotOptimize(Limits::ChainOfAdditions(samples.size())); });
}

void addNaive(std::size_t count)
{
  Named<short> const type{"int16"};
  add("naive checksum", type, count,
      [](auto samples) { benchmark::DoNotOptimize(Limits::NaiveChecksum(samples.data(), samples.size())); });
  addWithOutput<double>("naive readout", type, count,
                        [](auto samples, double* out)
                        { Limits::NaiveReadout(samples.data(), samples.size(), 1.5, 0.25, out); });
  add("naive peak", type, count,
      [](auto samples) { benchmark::DoNotOptimize(Limits::NaivePeak(samples.data(), samples.size())); });
}

[[maybe_unused]] bool const registered = []
{
  for (std::size_t const count : {kCached, kBig})
  {
    addNaive(count);
    addIntegerOffset<signed char, int>({"int8"}, count);
    addIntegerOffset<short, int>({"int16"}, count);
    addIntegerOffset<int, long long>({"int32"}, count);
    addOrderedSum<float>({"float32"}, count);
    addOrderedSum<double>({"float64"}, count);
  }
  forEachType([](auto type) { addLimits(type, kBig); });
  addReading<short>({"int16"}, kBig);
  addConversion<short, double>({"int16"}, {"float64"}, kBig);
  forEachType(
      [](auto type)
      {
        addLimits(type, kCached);
        addReading(type, kCached);
        forEachType([type](auto to) { addConversion(type, to, kCached); });
      });
  return true;
}();
} // namespace

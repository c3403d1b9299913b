// The loops over samples, 16,384 samples in the cache and 10 million in memory, beside the limits of the same bytes.

#include "Limits.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/SampleKernels.h"
#include "signalprocessing/typeconverter/TypeConverter.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

namespace
{
constexpr long kCached = 16384;
constexpr long kBig = 10'000'000;

template <class T>
std::vector<T> makeSamples(std::size_t count)
{
  std::vector<T> samples(count);
  unsigned state = 1;
  for (T& sample : samples)
  {
    state = state * 1664525U + 1013904223U;
    sample = static_cast<T>(static_cast<int>(state >> 20) - 2048);
  }
  return samples;
}

std::size_t countOf(benchmark::State const& state) { return static_cast<std::size_t>(state.range(0)); }

/// Runs `work(samples)` on samples of type T and reports the time of one sample.
template <class T, class Work>
void measure(benchmark::State& state, Work work)
{
  std::vector<T> samples = makeSamples<T>(countOf(state));
  for (auto _ : state)
  {
    work(samples);
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_sample"] = benchmark::Counter(
      static_cast<double>(samples.size()), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class T>
void readLimit(benchmark::State& state)
{
  measure<T>(state,
             [](auto& samples) { benchmark::DoNotOptimize(Limits::Read(samples.data(), samples.size() * sizeof(T))); });
}

template <class T>
void copyLimit(benchmark::State& state)
{
  std::vector<T> target(countOf(state));
  measure<T>(state, [&](auto& samples) { std::memcpy(target.data(), samples.data(), samples.size() * sizeof(T)); });
}

void naiveChecksum(benchmark::State& state)
{
  measure<unsigned short>(state, [](auto& samples)
                          { benchmark::DoNotOptimize(Limits::NaiveChecksum(samples.data(), samples.size())); });
}

template <class T>
void checksum(benchmark::State& state)
{
  measure<T>(state, [](auto& samples)
             { benchmark::DoNotOptimize(Checksum::Compute(samples.data(), samples.size() * sizeof(T))); });
}

template <class In, class Out>
void convert(benchmark::State& state)
{
  std::vector<Out> target(countOf(state));
  measure<In>(state, [&](auto& samples) { TypeConverter::Convert(samples.size(), samples.data(), target.data()); });
}

template <class T>
void physicalValues(benchmark::State& state)
{
  std::vector<double> target(countOf(state));
  measure<T>(state, [&](auto& samples)
             { SampleKernels::PhysicalValues(std::span<T const>(samples), 1.5, 0.25, target.data()); });
}

template <class T>
void peak(benchmark::State& state)
{
  measure<T>(state, [](auto& samples) { benchmark::DoNotOptimize(SampleKernels::Peak(std::span<T const>(samples))); });
}

template <class T, class Acc>
void summarise(benchmark::State& state)
{
  measure<T>(state,
             [](auto& samples)
             {
               auto summary = SampleKernels::Summarise<T, Acc>(samples);
               benchmark::DoNotOptimize(summary);
             });
}

template <class T>
void subtract(benchmark::State& state)
{
  measure<T>(state, [](auto& samples) { SampleKernels::Subtract(std::span<T>(samples), T(0)); });
}

template <class T>
void sumInOrder(benchmark::State& state)
{
  measure<T>(state,
             [](auto& samples) { benchmark::DoNotOptimize(SampleKernels::SumInOrder(std::span<T const>(samples))); });
}
} // namespace

#define QEN_BENCH(...) BENCHMARK(__VA_ARGS__)->Arg(kCached)->Arg(kBig)
QEN_BENCH(readLimit<short>);
QEN_BENCH(readLimit<int>);
QEN_BENCH(readLimit<float>);
QEN_BENCH(copyLimit<short>);
QEN_BENCH(copyLimit<double>);
QEN_BENCH(naiveChecksum);
QEN_BENCH(checksum<short>);
QEN_BENCH(convert<short, double>);
QEN_BENCH(convert<short, float>);
QEN_BENCH(convert<short, int>);
QEN_BENCH(convert<float, double>);
QEN_BENCH(convert<long long, double>);
QEN_BENCH(physicalValues<short>);
QEN_BENCH(physicalValues<float>);
QEN_BENCH(peak<signed char>);
QEN_BENCH(peak<short>);
QEN_BENCH(peak<int>);
QEN_BENCH(peak<long long>);
QEN_BENCH(peak<float>);
QEN_BENCH(peak<double>);
QEN_BENCH(summarise<signed char, int>);
QEN_BENCH(summarise<short, int>);
QEN_BENCH(summarise<int, long long>);
QEN_BENCH(subtract<short>);
QEN_BENCH(subtract<int>);
QEN_BENCH(sumInOrder<float>);

// Thinning beside a copy of the entries and beside the codec that it reads and writes through.

#include "Material.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr unsigned int kMaxTrendSize = 5000;
constexpr unsigned int kMaxDays = 28;

void copyEntries(benchmark::State& state, std::size_t count)
{
  std::vector<trend_entry_t> const entries = Material::TrendEntries(count);
  std::vector<trend_entry_t> target(count);
  for (auto _ : state)
  {
    std::ranges::copy(entries, target.begin());
    benchmark::ClobberMemory();
  }
}

void thin(benchmark::State& state, std::size_t count, compression32_t compression)
{
  std::vector<TrendDataDO> const trends(1, Material::StoredTrend(count, compression));
  TrendShrinker shrinker(Material::Device(), kMaxTrendSize, kMaxDays);
  for (auto _ : state)
    benchmark::DoNotOptimize(shrinker.ShrinkTrendsOrThrow(Material::kNow, trends, {}));
}

/// Reading what thinning reads and writing what it writes.
void readAndWrite(benchmark::State& state, std::size_t count, compression32_t compression)
{
  TrendDataDO const stored = Material::StoredTrend(count, compression);
  TrendShrinker shrinker(Material::Device(), kMaxTrendSize, kMaxDays);
  std::vector<Trend> survivors;
  for (auto const& trend : shrinker.ShrinkTrendsOrThrow(Material::kNow, {stored}, {}))
    survivors.emplace_back(*trend);
  for (auto _ : state)
  {
    Trend const read(stored);
    for (Trend const& trend : survivors)
      std::unique_ptr<TrendDataDO> const written(trend.GetTrendDataDO());
  }
}

void addThinning(char const* form, std::size_t count, compression32_t compression)
{
  std::string const name = std::string(form) + '/' + std::to_string(count);
  benchmark::RegisterBenchmark(("thin " + name).c_str(),
                               [=](benchmark::State& state) { thin(state, count, compression); });
  benchmark::RegisterBenchmark(("read and write " + name).c_str(),
                               [=](benchmark::State& state) { readAndWrite(state, count, compression); });
}

[[maybe_unused]] bool const registered = []
{
  for (std::size_t const count : {10'000U, 100'000U, 1'000'000U, 10'000'000U})
  {
    std::string const number = std::to_string(count);
    benchmark::RegisterBenchmark(("copy entries/" + number).c_str(),
                                 [count](benchmark::State& state) { copyEntries(state, count); });
    addThinning("uncompressed", count, no_compression);
  }
  addThinning("zlib", 1'000'000, zlib);
  return true;
}();
} // namespace

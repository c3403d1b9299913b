// Calls each of the loops over samples, and thinning, once between two marks: system calls that say what is called and
// on how many elements. arm_instructions.py runs it in an emulator that logs instructions and system calls, and counts.

#include "Material.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/SampleKernels.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "signalprocessing/typeconverter/TypeConverter.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
constexpr std::size_t kSamples = 2048;
constexpr std::size_t kEntries = 2000;

/// Keeps a result alive that the compiler could see to be unused.
template <class T>
void use(T const& result)
{
  asm volatile("" : : "g"(&result) : "memory");
}

using Call = std::function<void()>;

/// `work(samples)` on vibration samples of a type.
template <class T, class Work>
std::function<Call()> onSamples(Work work)
{
  return [work]
  {
    std::vector<short> const vibration = Material::Vibration(kSamples);
    auto const samples = std::make_shared<std::vector<T>>(vibration.begin(), vibration.end());
    return [samples, work] { work(std::span<T>(*samples)); };
  };
}

template <class In, class Out>
std::function<Call()> conversion()
{
  auto const target = std::make_shared<std::vector<Out>>(kSamples);
  return onSamples<In>([target](std::span<In> samples)
                       { TypeConverter::Convert(samples.size(), samples.data(), target->data()); });
}

template <class T>
std::function<Call()> physicalValues()
{
  auto const target = std::make_shared<std::vector<double>>(kSamples);
  return onSamples<T>([target](std::span<T> samples)
                      { SampleKernels::PhysicalValues(std::span<T const>(samples), 1.5, 0.25, target->data()); });
}

template <class T>
std::function<Call()> peak()
{
  return onSamples<T>([](std::span<T> samples) { use(SampleKernels::Peak(std::span<T const>(samples))); });
}

template <class T>
std::function<Call()> orderedSum()
{
  return onSamples<T>([](std::span<T> samples) { use(SampleKernels::SumInOrder(std::span<T const>(samples))); });
}

template <class T, class Acc>
std::function<Call()> summary()
{
  return onSamples<T>(
      [](std::span<T> samples)
      {
        auto const found = SampleKernels::Summarise<T, Acc>(std::span<T const>(samples));
        use(found);
      });
}

template <class T>
std::function<Call()> difference()
{
  return onSamples<T>([](std::span<T> samples) { SampleKernels::Subtract(samples, T{1}); });
}

Call thinning()
{
  auto const trends = std::make_shared<std::vector<TrendDataDO>>(1, Material::StoredTrend(kEntries, no_compression));
  auto const shrinker = std::make_shared<TrendShrinker>(Material::Device(), 5000, 28);
  return [shrinker, trends] { use(shrinker->ShrinkTrendsOrThrow(Material::kNow, *trends, {})); };
}

/// What thinning reads and what it writes.
Call trendInAndOut()
{
  auto const stored = std::make_shared<TrendDataDO>(Material::StoredTrend(kEntries, no_compression));
  auto const survivors = std::make_shared<std::vector<Trend>>();
  for (auto const& trend :
       TrendShrinker(Material::Device(), 5000, 28).ShrinkTrendsOrThrow(Material::kNow, {*stored}, {}))
    survivors->emplace_back(*trend);
  return [stored, survivors]
  {
    Trend const read(*stored);
    for (Trend const& trend : *survivors)
      std::unique_ptr<TrendDataDO> const written(trend.GetTrendDataDO());
  };
}

struct Kernel
{
  char const* name;
  std::size_t elements;
  std::function<Call()> prepare;
};

std::vector<Kernel> kernels()
{
  return {
      {"nothing", 1, [] { return [] {}; }},
      {"checksum of int16", kSamples,
       onSamples<short>([](auto samples) { use(Checksum::Compute(samples.data(), samples.size_bytes())); })},
      {"physical values of int16", kSamples, physicalValues<short>()},
      {"physical values of int64", kSamples, physicalValues<long long>()},
      {"int16 to double", kSamples, conversion<short, double>()},
      {"int64 to float", kSamples, conversion<long long, float>()},
      {"peak of int8", kSamples, peak<signed char>()},
      {"peak of int16", kSamples, peak<short>()},
      {"peak of int32", kSamples, peak<int>()},
      {"peak of int64", kSamples, peak<long long>()},
      {"peak of float", kSamples, peak<float>()},
      {"peak of double", kSamples, peak<double>()},
      {"ordered sum of float", kSamples, orderedSum<float>()},
      {"sum and extremes of int8", kSamples, summary<signed char, int>()},
      {"sum and extremes of int16", kSamples, summary<short, int>()},
      {"difference of int16", kSamples, difference<short>()},
      {"thinning", kEntries, thinning},
      {"trend in and out", kEntries, trendInAndOut},
  };
}

/// A system call without effect whose argument the log shows.
void mark(std::string const& text) { [[maybe_unused]] int const answer = access(text.c_str(), F_OK); }

void callMarked(Kernel const& kernel)
{
  Call const call = kernel.prepare();
  call(); // what only the first call does: symbols are bound
  std::string const start = "start/" + std::to_string(kernel.elements) + '/' + kernel.name;
  std::string const end = "end";
  mark(start);
  call();
  mark(end);
}
} // namespace

int main()
{
  for (Kernel const& kernel : kernels())
    callMarked(kernel);
}

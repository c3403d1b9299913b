// Whole operations on time signals beside what a user would write instead.

#include "platform/Compression.h"
#include "signalprocessing/io/file/TimeSignalFile.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace
{
constexpr std::size_t kSamples = 10'000'000;
constexpr std::size_t kBytes = kSamples * sizeof(short);

/// A vibration of two tones and noise, the same in every run.
std::vector<short> const& vibration()
{
  static std::vector<short> const samples = []
  {
    std::vector<short> made(kSamples);
    unsigned state = 1;
    for (std::size_t i = 0; i < made.size(); ++i)
    {
      state = state * 1664525U + 1013904223U;
      double const noise = static_cast<double>(state >> 24) - 128.0;
      made[i] = static_cast<short>(2000.0 * std::sin(static_cast<double>(i) * 0.01) + noise);
    }
    return made;
  }();
  return samples;
}

TimeSignal makeSignal()
{
  Uuid const uuid("00000000-0000-0000-0000-000000000001");
  return {raw_time_signal, uuid,         uuid,     1.0 / 51200,        1.0, 0.0, 0, uuid,
          "mm/s",          data_int16_t, kSamples, vibration().data(), uuid};
}

std::string temporaryPath() { return "/dev/shm/qen-bench-" + std::to_string(getpid()); }

void fileWriteLimit(benchmark::State& state)
{
  std::string const path = temporaryPath();
  for (auto _ : state)
  {
    int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    char const header[120] = {};
    if (write(file, header, sizeof header) < 0 || write(file, vibration().data(), kBytes) < 0)
      state.SkipWithError("write");
    close(file);
  }
  unlink(path.c_str());
}

void fileReadLimit(benchmark::State& state)
{
  std::string const path = temporaryPath();
  TimeSignal signal = makeSignal();
  TimeSignalFile::Write(path, signal, no_compression);
  for (auto _ : state)
  {
    int const file = open(path.c_str(), O_RDONLY);
    char header[120];
    auto const samples = std::make_unique_for_overwrite<unsigned char[]>(kBytes);
    if (read(file, header, sizeof header) < 0 || read(file, samples.get(), kBytes) < 0)
      state.SkipWithError("read");
    close(file);
  }
  unlink(path.c_str());
}

void fileWrite(benchmark::State& state)
{
  std::string const path = temporaryPath();
  TimeSignal signal = makeSignal();
  for (auto _ : state)
    TimeSignalFile::Write(path, signal, no_compression);
  unlink(path.c_str());
}

void fileRead(benchmark::State& state)
{
  std::string const path = temporaryPath();
  TimeSignal signal = makeSignal();
  TimeSignalFile::Write(path, signal, no_compression);
  for (auto _ : state)
  {
    std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(path));
    delete[] record->Samples;
  }
  unlink(path.c_str());
}

void compressPeerZlib(benchmark::State& state)
{
  std::vector<Bytef> target(compressBound(kBytes));
  for (auto _ : state)
  {
    uLongf size = target.size();
    compress2(target.data(), &size, reinterpret_cast<Bytef const*>(vibration().data()), kBytes, -1);
    state.counters["bytes"] = static_cast<double>(size);
  }
}

void compressBareCodec(benchmark::State& state)
{
  for (auto _ : state)
  {
    int size = 0;
    std::unique_ptr<unsigned char[]> const stream(CompressionZLib(-1).compress(kBytes, vibration().data(), size));
    state.counters["bytes"] = size;
  }
}

void compressSignal(benchmark::State& state)
{
  for (auto _ : state)
  {
    state.PauseTiming();
    TimeSignal signal = makeSignal();
    state.ResumeTiming();
    signal.Compress(zlib);
    state.counters["bytes"] = static_cast<double>(signal.GetHeader()->DataArrayByteCount);
  }
}

void uncompressPeerZlib(benchmark::State& state)
{
  TimeSignal signal = makeSignal();
  signal.Compress(zlib);
  auto const stream = signal.GetStoredSamples();
  for (auto _ : state)
  {
    auto const target = std::make_unique_for_overwrite<Bytef[]>(kBytes);
    uLongf size = kBytes;
    if (uncompress(target.get(), &size, stream.data(), stream.size()) != Z_OK)
      state.SkipWithError("uncompress");
  }
}

void uncompressSignal(benchmark::State& state)
{
  TimeSignal packed = makeSignal();
  packed.Compress(zlib);
  for (auto _ : state)
  {
    state.PauseTiming();
    TimeSignal signal = packed;
    signal.AddTrigger(Uuid(), 0, Uuid(), "");
    state.ResumeTiming();
    signal.Uncompress();
  }
}

void readoutIntoBuffer(benchmark::State& state)
{
  TimeSignal signal = makeSignal();
  std::vector<double> values(kSamples);
  for (auto _ : state)
    TimeSignal::SamplesToDouble(signal, values);
}

void readoutIntoNewVector(benchmark::State& state)
{
  TimeSignal signal = makeSignal();
  for (auto _ : state)
    std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, -1));
}

void handleCopy(benchmark::State& state)
{
  TimeSignal const signal;
  for (auto _ : state)
    TimeSignal const copy(signal);
}
} // namespace

BENCHMARK(fileWriteLimit)->Unit(benchmark::kMillisecond);
BENCHMARK(fileWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(fileReadLimit)->Unit(benchmark::kMillisecond);
BENCHMARK(fileRead)->Unit(benchmark::kMillisecond);
BENCHMARK(compressPeerZlib)->Unit(benchmark::kMillisecond);
BENCHMARK(compressBareCodec)->Unit(benchmark::kMillisecond);
BENCHMARK(compressSignal)->Unit(benchmark::kMillisecond);
BENCHMARK(uncompressPeerZlib)->Unit(benchmark::kMillisecond);
BENCHMARK(uncompressSignal)->Unit(benchmark::kMillisecond);
BENCHMARK(readoutIntoBuffer)->Unit(benchmark::kMillisecond);
BENCHMARK(readoutIntoNewVector)->Unit(benchmark::kMillisecond);
BENCHMARK(handleCopy);

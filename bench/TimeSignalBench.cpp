// Whole operations on time signals beside what a user would write instead. Names are "what/case"; table.py sets them in
// proportion.

#include "DetailsPeer.h"
#include "Limits.h"
#include "Material.h"
#include "Recordings.h"
#include "platform/Compression.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "signalprocessing/io/file/TimeSignalFile.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sndfile.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace
{
constexpr std::size_t kSamples = 10'000'000;
constexpr std::size_t kBytes = kSamples * sizeof(short);
constexpr std::size_t kMillion = 1'000'000;

std::vector<short> const& vibration()
{
  static std::vector<short> const samples = Material::Vibration(kSamples);
  return samples;
}

TimeSignal makeSignal() { return Material::Signal(vibration()); }

std::span<unsigned char const> bytesOf(std::vector<short> const& samples)
{
  return {reinterpret_cast<unsigned char const*>(samples.data()), samples.size() * sizeof(short)};
}

/// A file in memory that is gone when the benchmark ends.
class TemporaryFile
{
public:
  TemporaryFile() : path_("/dev/shm/qen-bench-" + std::to_string(getpid())) {}
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;
  ~TemporaryFile() { unlink(path_.c_str()); }
  operator char const*() const { return path_.c_str(); }

private:
  std::string path_;
};

void bareWrite(benchmark::State& state)
{
  TemporaryFile const path;
  for (auto _ : state)
  {
    int const file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    char const header[120] = {};
    if (write(file, header, sizeof header) < 0 || write(file, vibration().data(), kBytes) < 0)
      state.SkipWithError("write");
    close(file);
  }
}

void bareRead(benchmark::State& state)
{
  TemporaryFile const path;
  TimeSignal signal = makeSignal();
  TimeSignalFile::Write(path, signal, no_compression);
  for (auto _ : state)
  {
    int const file = open(path, O_RDONLY);
    char header[120];
    auto const samples = std::make_unique_for_overwrite<unsigned char[]>(kBytes);
    if (read(file, header, sizeof header) < 0 || read(file, samples.get(), kBytes) < 0)
      state.SkipWithError("read");
    close(file);
  }
}

void writeFile(benchmark::State& state)
{
  TemporaryFile const path;
  TimeSignal signal = makeSignal();
  for (auto _ : state)
    TimeSignalFile::Write(path, signal, no_compression);
}

void readFile(benchmark::State& state)
{
  TemporaryFile const path;
  TimeSignal signal = makeSignal();
  TimeSignalFile::Write(path, signal, no_compression);
  for (auto _ : state)
  {
    std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(path));
    delete[] record->Samples;
  }
}

void writeWavFile(benchmark::State& state, char const* path)
{
  SF_INFO info{0, 51200, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
  SNDFILE* const file = sf_open(path, SFM_WRITE, &info);
  if (sf_write_short(file, vibration().data(), kSamples) != kSamples)
    state.SkipWithError("write");
  sf_close(file);
}

void writeWav(benchmark::State& state)
{
  TemporaryFile const path;
  for (auto _ : state)
    writeWavFile(state, path);
}

void readWav(benchmark::State& state)
{
  TemporaryFile const path;
  writeWavFile(state, path);
  for (auto _ : state)
  {
    SF_INFO info{};
    SNDFILE* const file = sf_open(path, SFM_READ, &info);
    auto const samples = std::make_unique_for_overwrite<short[]>(kSamples);
    if (sf_read_short(file, samples.get(), kSamples) != kSamples)
      state.SkipWithError("read");
    sf_close(file);
  }
}

void compressZlib(benchmark::State& state, std::vector<short> const& samples)
{
  auto const bytes = bytesOf(samples);
  std::vector<Bytef> target(compressBound(bytes.size()));
  for (auto _ : state)
  {
    uLongf size = target.size();
    compress2(target.data(), &size, bytes.data(), bytes.size(), -1);
    state.counters["bytes"] = static_cast<double>(size);
  }
}

void compressCodec(benchmark::State& state, std::vector<short> const& samples)
{
  auto const bytes = bytesOf(samples);
  for (auto _ : state)
  {
    int size = 0;
    std::unique_ptr<unsigned char[]> const stream(
        CompressionZLib(-1).compress(static_cast<unsigned int>(bytes.size()), bytes.data(), size));
    state.counters["bytes"] = size;
  }
}

void compressSignal(benchmark::State& state, std::vector<short> const& samples)
{
  for (auto _ : state)
  {
    state.PauseTiming();
    TimeSignal signal = Material::Signal(samples);
    state.ResumeTiming();
    signal.Compress(zlib);
    state.counters["bytes"] = static_cast<double>(signal.GetHeader()->DataArrayByteCount);
  }
}

/// The zlib stream that a signal stores.
std::vector<unsigned char> streamOf(std::vector<short> const& samples)
{
  TimeSignal signal = Material::Signal(samples);
  signal.Compress(zlib);
  auto const stored = signal.GetStoredSamples();
  return {stored.begin(), stored.end()};
}

void uncompressZlib(benchmark::State& state, std::vector<short> const& samples)
{
  std::vector<unsigned char> const stream = streamOf(samples);
  std::size_t const byteCount = bytesOf(samples).size();
  for (auto _ : state)
  {
    auto const target = std::make_unique_for_overwrite<Bytef[]>(byteCount);
    uLongf size = byteCount;
    if (uncompress(target.get(), &size, stream.data(), stream.size()) != Z_OK)
      state.SkipWithError("uncompress");
  }
}

void uncompressCodec(benchmark::State& state, std::vector<short> const& samples)
{
  std::vector<unsigned char> const stream = streamOf(samples);
  auto const byteCount = static_cast<unsigned int>(bytesOf(samples).size());
  for (auto _ : state)
  {
    auto const target = std::make_unique_for_overwrite<unsigned char[]>(byteCount);
    CompressionZLib(-1).uncompress(static_cast<unsigned int>(stream.size()), stream.data(), byteCount, target.get());
  }
}

void uncompressSignal(benchmark::State& state, std::vector<short> const& samples)
{
  TimeSignal packed = Material::Signal(samples);
  packed.Compress(zlib);
  for (auto _ : state)
  {
    state.PauseTiming();
    TimeSignal signal = packed;
    signal.AddTrigger(Uuid(), 0, Uuid(), ""); // no longer shared
    state.ResumeTiming();
    signal.Uncompress();
  }
}

void readLimit(benchmark::State& state, std::vector<short> const& samples)
{
  auto const bytes = bytesOf(samples);
  for (auto _ : state)
    benchmark::DoNotOptimize(Limits::Read(bytes.data(), bytes.size()));
}

void readoutIntoBuffer(benchmark::State& state, std::size_t count)
{
  TimeSignal signal = Material::Signal(Material::Vibration(count));
  std::vector<double> values(count);
  for (auto _ : state)
    TimeSignal::SamplesToDouble(signal, values);
}

void readoutIntoNewVector(benchmark::State& state)
{
  TimeSignal signal = makeSignal();
  for (auto _ : state)
    std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, -1));
}

void copyMillion(benchmark::State& state)
{
  std::vector<short> const samples = Material::Vibration(kMillion);
  for (auto _ : state)
  {
    auto const target = std::make_unique_for_overwrite<short[]>(kMillion);
    std::memcpy(target.get(), samples.data(), bytesOf(samples).size());
    benchmark::ClobberMemory();
  }
}

void writeArchive(benchmark::State& state)
{
  TimeSignal const signal = Material::Signal(Material::Vibration(kMillion));
  for (auto _ : state)
  {
    Archive archive;
    archive << signal;
  }
}

void readArchive(benchmark::State& state)
{
  Archive written;
  written << Material::Signal(Material::Vibration(kMillion));
  Archive archive(written.str());
  for (auto _ : state)
  {
    archive.seekg(0);
    TimeSignal signal;
    archive >> signal;
  }
}

/// A signal with ten validators and characteristic values, as an object and as its document.
struct Annotated
{
  Annotated()
  {
    TimeSignal annotated = Material::Signal({1, 2, 3});
    Material::Annotate(annotated, 10);
    object = std::make_unique<InternalTimeSignal>(*annotated.GetHeader(), "mm/s", annotated.GetJobDataUuid());
    for (auto const& entry : annotated.GetValidators())
      object->AddValidator(entry.ValidatorUuid, entry.AverageValue, entry.UnitUuid, entry.UnitString);
    for (auto const& entry : annotated.GetCharVals())
      object->AddCharacteristicValue(entry.CharValUuid, entry.Value, entry.UnitUuid, entry.UnitString, entry.Speed);
    std::stringstream stream;
    object->CreateXmlDetails(stream);
    document = stream.str();
  }

  std::unique_ptr<InternalTimeSignal> object;
  std::string document;
};

void writeDetails(benchmark::State& state)
{
  Annotated const annotated;
  for (auto _ : state)
  {
    std::stringstream stream;
    annotated.object->CreateXmlDetails(stream);
    benchmark::DoNotOptimize(stream.str());
  }
}

void printDetails(benchmark::State& state)
{
  Annotated const annotated;
  DetailsPeer const peer(annotated.document);
  if (std::string written = peer.Write(); written.substr(0, annotated.document.size()) != annotated.document)
    state.SkipWithError("the peer writes something else");
  for (auto _ : state)
    benchmark::DoNotOptimize(peer.Write());
}

void handleCopy(benchmark::State& state)
{
  TimeSignal const signal;
  for (auto _ : state)
    TimeSignal const copy(signal);
}

using Codec = void (*)(benchmark::State&, std::vector<short> const&);

void addCodecs(std::string const& name, std::vector<short> const& samples)
{
  constexpr std::pair<char const*, Codec> kCodecs[] = {{"compress zlib", compressZlib},
                                                       {"compress codec", compressCodec},
                                                       {"compress signal", compressSignal},
                                                       {"uncompress zlib", uncompressZlib},
                                                       {"uncompress codec", uncompressCodec},
                                                       {"uncompress signal", uncompressSignal},
                                                       {"read", readLimit}};
  for (auto const& [what, codec] : kCodecs)
    benchmark::RegisterBenchmark((what + ("/" + name)).c_str(),
                                 [codec, samples](benchmark::State& state) { codec(state, samples); });
}

[[maybe_unused]] bool const registered = []
{
  benchmark::RegisterBenchmark("bare write/10M", bareWrite);
  benchmark::RegisterBenchmark("write file/10M", writeFile);
  benchmark::RegisterBenchmark("write WAV/10M", writeWav);
  benchmark::RegisterBenchmark("bare read/10M", bareRead);
  benchmark::RegisterBenchmark("read file/10M", readFile);
  benchmark::RegisterBenchmark("read WAV/10M", readWav);
  for (std::size_t const count : {std::size_t{16384}, kSamples})
    benchmark::RegisterBenchmark(("readout into a buffer/int16/" + std::to_string(count)).c_str(),
                                 [count](benchmark::State& state) { readoutIntoBuffer(state, count); });
  benchmark::RegisterBenchmark("readout into a new vector/int16/10000000", readoutIntoNewVector);
  benchmark::RegisterBenchmark("copy/1M", copyMillion);
  benchmark::RegisterBenchmark("write archive/1M", writeArchive);
  benchmark::RegisterBenchmark("read archive/1M", readArchive);
  benchmark::RegisterBenchmark("write details", writeDetails);
  benchmark::RegisterBenchmark("print details", printDetails);
  benchmark::RegisterBenchmark("copy a handle", handleCopy);
  addCodecs("vibration", Material::Vibration(kMillion));
  for (auto const& [name, samples] : Recordings::ReadAll())
    addCodecs(name, samples);
  return true;
}();
} // namespace

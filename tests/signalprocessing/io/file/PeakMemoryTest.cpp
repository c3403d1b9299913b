#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "signalprocessing/io/file/Trend.h"
#include "support/CountedMemory.h"
#include "support/LongTests.h"
#include "support/SampleSignals.h"
#include "support/TemporaryDirectory.h"

#include <cstdio>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// What operations on big objects allocate beside the objects that they start from: their result and little more.

namespace
{
constexpr long kMebibyte = 1 << 20;
constexpr long kLittle = kMebibyte;

/// Long tests take bigger objects and print the figures.
long objectBytes() { return (AreLongTestsWanted() ? 64 : 8) * kMebibyte; }

std::vector<short> NoisySamples()
{
  std::vector<short> samples(static_cast<std::size_t>(objectBytes()) / sizeof(short));
  unsigned state = 1;
  for (short& sample : samples)
  {
    state = state * 1664525U + 1013904223U;
    sample = static_cast<short>((state >> 22) & 0x3FFU);
  }
  return samples;
}

/// Runs an operation that makes so many bytes.
template <class Work>
void ExpectPeak(char const* name, long resultBytes, Work&& work)
{
  PeakBytes const peak;
  work();
  EXPECT_LE(peak.Get(), resultBytes + kLittle) << name;
  if (AreLongTestsWanted())
    std::printf("%-36s result %8.3f MiB, peak %8.3f MiB\n", name, static_cast<double>(resultBytes) / kMebibyte,
                static_cast<double>(peak.Get()) / kMebibyte);
}
} // namespace

TEST(PeakMemory, SignalOperationsNeedTheirResultAndLittleMore)
{
  std::vector<short> const samples = NoisySamples();
  long const size = objectBytes();
  std::unique_ptr<TimeSignal> signal;
  ExpectPeak("construction", size, [&] { signal = std::make_unique<TimeSignal>(MakeSignal(samples)); });
  ExpectPeak("copy of a handle", 0, [&] { TimeSignal const copy(*signal); });
  ExpectPeak("first change of a shared signal", size,
             [&]
             {
               TimeSignal copy(*signal);
               copy.AddTrigger(Uuid(), 0, Uuid(), "");
             });
  ExpectPeak("offset extraction", 0, [&] { signal->ExtractOffset(); });
  std::vector<double> values(samples.size());
  ExpectPeak("readout into a buffer", 0, [&] { TimeSignal::SamplesToDouble(*signal, values); });
  values = {};
  ExpectPeak("readout into a new vector", 4 * size,
             [&] { std::unique_ptr<std::vector<double>> const made(TimeSignal::SamplesToDouble(*signal, -1)); });
  ExpectPeak("conversion of int16 to float64", 4 * size, [&] { signal->Convert(data_float64_t); });
}

// The codec wants room for the worst case at once, of which it touches what the stream needs.
TEST(PeakMemory, CompressingNeedsTheWorstCaseAndTheStream)
{
  TimeSignal signal = MakeSignal(NoisySamples());
  TimeSignal compressed = signal;
  compressed.Compress(zlib);
  auto const streamSize = static_cast<long>(compressed.GetStoredSamples().size());
  ExpectPeak("compression", objectBytes() + streamSize, [&] { signal.Compress(zlib); });
  ExpectPeak("decompression", objectBytes(), [&] { signal.Uncompress(); });
}

TEST(PeakMemory, StoredFormsOfASignalNeedTheirBytesAndLittleMore)
{
  TemporaryDirectory const directory;
  std::string const path = directory.Path("signal");
  long const size = objectBytes();
  TimeSignal signal = MakeSignal(NoisySamples());
  ExpectPeak("file out", 0, [&] { TimeSignalFile::Write(path, signal, no_compression); });
  ExpectPeak("file in", size,
             [&]
             {
               std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(path));
               std::unique_ptr<unsigned char[]> const stored(record->Samples);
             });
  std::unique_ptr<MeasurementDataDO> object;
  ExpectPeak("database object out", size, [&] { object.reset(signal.GetMeasurementDataDO()); });
  ExpectPeak("database object in", size, [&] { TimeSignal const read(*object); });
  object.reset();
  Archive archive;
  ExpectPeak("archive out", size, [&] { archive << signal; });
  ExpectPeak("archive in", size,
             [&]
             {
               TimeSignal read;
               archive >> read;
             });
}

TEST(PeakMemory, TrendOperationsNeedTheirResultAndLittleMore)
{
  long const size = objectBytes();
  std::vector<trend_entry_t> entries(static_cast<std::size_t>(size) / sizeof(trend_entry_t));
  for (std::size_t i = 0; i < entries.size(); ++i)
    entries[i].TimeStamp = static_cast<long long>(i);
  std::deque<trend_entry_t> const queue(entries.begin(), entries.end());
  Trend trend(CountingUuid(1), CountingUuid(2), CountingUuid(3), "mm/s", 1.0);
  ExpectPeak("entries added to a trend", size, [&] { trend.AddTrendEntries(queue.begin(), queue.end()); });
  std::unique_ptr<TrendDataDO> object;
  ExpectPeak("database object of a trend", size, [&] { object.reset(trend.GetTrendDataDO()); });
  ExpectPeak("trend of a database object", size, [&] { Trend const read(*object); });
  ExpectPeak("copy of a trend", size, [&] { Trend const copy(trend); });
  ExpectPeak("deletion of entries", 0,
             [&] { EXPECT_TRUE(trend.DeleteTrendEntries(10, static_cast<long long>(entries.size()) / 2)); });
}

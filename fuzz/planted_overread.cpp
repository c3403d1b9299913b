// A target with a fault that the fuzzer must find: a compressed record whose checksums are right and whose samples have
// a certain value makes it read one byte behind them.

#include "Examination.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "support/SignalModel.h"

#include <algorithm>
#include <numeric>

bool Fuzzing::Examine(std::span<std::uint8_t const> input)
{
  Bytes const flat(input.begin(), input.end());
  if (SignalModel::VectorConversion(flat).Failed() || SignalModel::Acceptance(flat).Failed())
    return false;
  TimeSignal signal(*RecordOf(flat), "", CountingUuid(1));
  bool const isCompressed = signal.GetHeader()->Compression != no_compression;
  if (!Succeeds([&] { signal.Uncompress(); }))
    return false;
  Guarded const samples(signal.GetStoredSamples());
  bool const isTheOne = isCompressed && std::ranges::count(samples.Bytes(), 0xA5) != 0;
  std::size_t const count = samples.Bytes().size() + (isTheOne ? 1 : 0);
  return std::accumulate(samples.Bytes().data(), samples.Bytes().data() + count, 0U) != 1;
}

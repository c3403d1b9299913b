// Foreign bytes as an archive: read into a signal that has samples already, and what came of it goes through every
// operation and into an archive again.

#include "Examination.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"

#include <sstream>

namespace
{
using Examination::Require;
using Examination::Succeeds;

void writeAndRead(TimeSignal const& signal)
{
  Archive archive;
  archive << signal;
  TimeSignal again;
  archive >> again;
  Archive repeated;
  repeated << again;
  // Only a NaN with a payload and text behind a zero byte are lost, and both are gone after the first reading.
  Require(archive.good() && repeated.str() == archive.str());
}

void examine(TimeSignal const& signal)
{
  if (!Examination::IsAffordable(*signal.GetHeader()))
    return;
  writeAndRead(signal);
  Succeeds([&] { signal.GetChecksumStatus(); });
  Succeeds([&] { Examination::CompressConvertAndRead(signal); });
  std::unique_ptr<MeasurementDataDO> stored;
  if (Succeeds([&] { stored.reset(signal.GetMeasurementDataDO()); }))
    Succeeds([&] { TimeSignal const back(*stored); });
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  static Uuid const uuid("00000000-0000-0000-0000-000000000001");
  std::array<unsigned char, 4> const samples{1, 2, 3, 4};
  TimeSignal signal(raw_time_signal, uuid, uuid, 1.0, 1.0, 0.0, 0, uuid, "mm/s", data_uint8_t, samples.size(),
                    samples.data(), uuid);
  Archive archive(std::string(data, data + size));
  // Also what a failure left half read is a signal.
  Succeeds([&] { archive >> signal; });
  examine(signal);
  return 0;
}

// Takes a vibration signal to a compressed file and back, and prints its physical values.
#include "platform/QenTime.h"
#include "signalprocessing/io/file/TimeSignalFile.h"

#include <iostream>
#include <memory>
#include <vector>

int main()
{
  std::vector<short> const samples = {100, -200, 300, -400};
  Uuid const configuration = Uuid::CreateUuid(), measurement = Uuid::CreateUuid(), unit = Uuid::CreateUuid();
  TimeSignal signal(raw_time_signal, configuration, measurement, 1.0 / 25600, 0.25, 0, QenTime::Now(), unit, "m/s^2",
                    data_int16_t, samples.size(), samples.data(), Uuid::CreateUuid());
  signal.Compress(zlib);
  TimeSignalFile::Write("first.signal", signal, zlib);

  std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read("first.signal"));
  std::unique_ptr<unsigned char[]> const stored(record->Samples);
  TimeSignal readBack(*record, signal.GetUnitString(), signal.GetJobDataUuid());
  std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(readBack, -1));
  for (double const value : *values)
    std::cout << value << ' ' << readBack.GetUnitString() << '\n';
}

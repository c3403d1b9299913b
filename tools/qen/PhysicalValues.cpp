#include "PhysicalValues.h"

#include "SampleBlocks.h"

#include "signalprocessing/io/file/SampleTypes.h"

void ForEachPhysicalBlock(TimeSignal const& signal, std::function<void(std::span<double const>)> const& use)
{
  timesignal_bin_t const& header = *signal.GetHeader();
  std::vector<double> values;
  // Each block of samples becomes a small signal of its own, which the library reads out.
  auto const readOut = [&](auto samples)
  {
    TimeSignal block(raw_time_signal, Uuid(), Uuid(), header.DeltaX, header.ScalingFactor, header.Offset, 0, Uuid(),
                     std::string(), header.SampleType, samples.size(), samples.data(), signal.GetJobDataUuid());
    values.resize(samples.size());
    TimeSignal::SamplesToDouble(block, std::span(values));
    use(values);
  };
  VisitSampleType(header.SampleType,
                  [&]<class T>(std::type_identity<T>) { ForEachBlock<T>(signal.GetStoredSamples(), readOut); });
}

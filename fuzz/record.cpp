// Foreign bytes as a flat record: parsed, and when an object accepts it, the operations that read its samples.

#include "platform/Compression.h"
#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/typeconverter/TypeConverter.h"

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace
{
struct Record
{
  explicit Record(std::vector<unsigned char> const& bytes) : header(InternalTimeSignal::VectorToTimeSignalBin(bytes)) {}
  ~Record() { delete[] header->Samples; }
  Record(Record const&) = delete;
  Record& operator=(Record const&) = delete;

  std::unique_ptr<timesignal_bin_t> header;
};

void require(bool condition)
{
  if (!condition)
    __builtin_trap();
}

/// What any input may lead to; everything else is a finding.
template <class Operation>
bool succeeds(Operation operation)
{
  try
  {
    operation();
    return true;
  }
  catch (TimeSignalException const&)
  {
  }
  catch (TypeConverterException const&)
  {
  }
  catch (CompressionException const&)
  {
  }
  catch (std::bad_alloc const&)
  {
  }
  return false;
}

/// The library keeps whatever the header says; only a fuzzer cannot afford gigabytes of zeros that it may announce.
bool isAffordable(timesignal_bin_t const& header) { return header.SampleCount < 100000; }

void repair(timesignal_bin_t& header)
{
  header.DataChecksum = InternalTimeSignal::CalcChecksum(header.Samples, header.DataArrayByteCount);
  header.HeaderChecksum = InternalTimeSignal::CalcChecksum(&header, offsetof(timesignal_bin_t, HeaderChecksum));
}

void readOut(TimeSignal& signal)
{
  std::array<double, 64> values{};
  std::array<short, 64> fractions{};
  float scale = 0;
  TimeSignal::SamplesToDouble(signal, values);
  TimeSignal::SamplesToFract(signal, scale, fractions);
  std::unique_ptr<std::vector<double>> const first(TimeSignal::SamplesToDouble(signal, 10));
  std::unique_ptr<std::vector<short>> const all(TimeSignal::SamplesToFract(signal, scale, -1));
}

void compressConvertAndRead(TimeSignal const& original)
{
  for (compression32_t const method : {zlib, gzip, no_compression})
  {
    TimeSignal copy(original);
    if (succeeds([&] { copy.Compress(method); }))
      require(copy.GetChecksumStatus());
  }
  for (int type = 0; type <= 11; ++type)
  {
    TimeSignal copy(original);
    succeeds([&] { copy.Uncompress(); });
    if (succeeds([&] { copy.Convert(static_cast<sample_datatype32_t>(type)); }))
      succeeds([&] { copy.ExtractOffset(); });
    succeeds([&] { readOut(copy); });
  }
  require(original.GetChecksumStatus());
}

void flattenAndParse(TimeSignal const& signal)
{
  std::unique_ptr<std::vector<unsigned char>> const bytes(
      InternalTimeSignal::TimeSignalBinToVector(*signal.GetHeader()));
  Record const again(*bytes);
  TimeSignal const copy(*again.header, signal.GetUnitString(), signal.GetJobDataUuid());
  std::unique_ptr<std::vector<unsigned char>> const repeated(
      InternalTimeSignal::TimeSignalBinToVector(*copy.GetHeader()));
  require(*repeated == *bytes);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  static Uuid const jobData("00000000-0000-0000-0000-000000000001");
  std::vector<unsigned char> const bytes(data, data + size);
  succeeds(
      [&]
      {
        Record record(bytes);
        succeeds([&] { TimeSignal const strict(*record.header, "mm/s", jobData); });
        // Behind the checksums lies what the input is really about.
        repair(*record.header);
        TimeSignal const signal(*record.header, "mm/s", jobData);
        flattenAndParse(signal);
        if (isAffordable(*record.header))
          compressConvertAndRead(signal);
      });
  return 0;
}

// Foreign bytes as a flat record: parsed, and when an object accepts it, the operations that read its samples.

#include "Examination.h"

namespace
{
using Examination::Require;
using Examination::Succeeds;

struct Record
{
  explicit Record(std::vector<unsigned char> const& bytes) : header(InternalTimeSignal::VectorToTimeSignalBin(bytes)) {}
  ~Record() { delete[] header->Samples; }
  Record(Record const&) = delete;
  Record& operator=(Record const&) = delete;

  std::unique_ptr<timesignal_bin_t> header;
};

void repair(timesignal_bin_t& header)
{
  header.DataChecksum = InternalTimeSignal::CalcChecksum(header.Samples, header.DataArrayByteCount);
  header.HeaderChecksum = InternalTimeSignal::CalcChecksum(&header, offsetof(timesignal_bin_t, HeaderChecksum));
}

void flattenAndParse(TimeSignal const& signal)
{
  std::unique_ptr<std::vector<unsigned char>> const bytes(
      InternalTimeSignal::TimeSignalBinToVector(*signal.GetHeader()));
  Record const again(*bytes);
  TimeSignal const copy(*again.header, signal.GetUnitString(), signal.GetJobDataUuid());
  std::unique_ptr<std::vector<unsigned char>> const repeated(
      InternalTimeSignal::TimeSignalBinToVector(*copy.GetHeader()));
  Require(*repeated == *bytes);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  static Uuid const jobData("00000000-0000-0000-0000-000000000001");
  std::vector<unsigned char> const bytes(data, data + size);
  Succeeds(
      [&]
      {
        Record record(bytes);
        Succeeds([&] { TimeSignal const strict(*record.header, "mm/s", jobData); });
        // Behind the checksums lies what the input is really about.
        repair(*record.header);
        TimeSignal const signal(*record.header, "mm/s", jobData);
        flattenAndParse(signal);
        if (Examination::IsAffordable(*record.header))
          Examination::CompressConvertAndRead(signal);
        Require(signal.GetChecksumStatus());
      });
  return 0;
}

#pragma once

#include "signalprocessing/io/file/TimeSignal.h"
#include "support/Records.h"
#include "support/SampleArrays.h"
#include "support/SampleSignals.h"

#include <gtest/gtest.h>
#include <vector>

/// Name of the source unit in the exceptions of time signals.
inline constexpr char const* kTimeSignalUnit = "InternalTimeSignal.cpp";

/// What an operation that fails leaves as it was: the header's bytes, the sample array itself and what it holds.
class SignalState
{
public:
  explicit SignalState(TimeSignal const& signal)
    : object_(ObjectOf(signal)), header_(HeaderBytes(*signal.GetHeader())), array_(signal.GetSamplesPointer()),
      samples_(signal.GetStoredSamples().begin(), signal.GetStoredSamples().end())
  {
  }

  void ExpectUnchanged(TimeSignal const& signal) const
  {
    EXPECT_EQ(ObjectOf(signal), object_);
    EXPECT_EQ(HeaderBytes(*signal.GetHeader()), header_);
    EXPECT_EQ(signal.GetSamplesPointer(), array_);
    EXPECT_EQ(std::vector<unsigned char>(signal.GetStoredSamples().begin(), signal.GetStoredSamples().end()), samples_);
  }

private:
  InternalTimeSignal const* object_;
  std::vector<unsigned char> header_;
  unsigned char const* array_;
  std::vector<unsigned char> samples_;
};

/// A signal of typed samples.
template <class T>
TimeSignal SignalOf(std::vector<T> const& samples, SignalParts const& parts = {})
{
  return MakeSignal(kSampleTypeOf<T>, samples.size(), samples.data(), parts);
}

inline constexpr sample_datatype32_t UnknownSampleType(int number) { return static_cast<sample_datatype32_t>(number); }

/// Takes the sample array away and leaves the header as it is.
inline void DropSamples(TimeSignal const& signal)
{
  delete[] signal.GetHeader()->Samples;
  signal.GetHeader()->Samples = nullptr;
}

/// Checksum of the stored samples, as many bytes as the header says.
inline unsigned short PlainDataChecksum(timesignal_bin_t const& header)
{
  return PlainChecksum(header.Samples, static_cast<std::size_t>(header.DataArrayByteCount));
}

/// Checksum of the header in front of the field that holds it.
inline unsigned short PlainHeaderChecksum(timesignal_bin_t const& header)
{
  return PlainChecksum(HeaderBytes(header).data(), FieldOffset::kHeaderChecksum);
}

/// Both checksums of a header are right for it and the samples behind it.
inline void ExpectValidChecksums(timesignal_bin_t const& header)
{
  EXPECT_EQ(header.DataChecksum, PlainDataChecksum(header));
  EXPECT_EQ(header.HeaderChecksum, PlainHeaderChecksum(header));
}

// Foreign bytes as a flat record: parsed and refused for the reason that applies, or an object whose every operation
// does what the model of the tests says.

#include "Examination.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "support/ArchivedObject.h"
#include "support/Examination.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <span>
#include <string>

namespace
{

Uuid const kJobData = CountingUuid(0x70);

/// The record with its samples against an unreadable page.
struct GuardedRecord
{
  Guarded samples;
  timesignal_bin_t record;

  explicit GuardedRecord(Bytes const& flat)
    : samples(std::span(flat).subspan(kHeaderBytes)),
      record(*RecordOf(Bytes(flat.begin(), flat.begin() + kHeaderBytes)))
  {
    if (!samples.Bytes().empty())
      record.Samples = samples.Bytes().data();
  }
};

/// Parsing and flattening, at a guard page on the way back.
Outcome parseAndFlatten(Bytes const& flat)
{
  RecordPointer record;
  Outcome const outcome = OutcomeOf([&] { record.reset(InternalTimeSignal::VectorToTimeSignalBin(flat)); });
  if (!outcome.Failed())
  {
    EXPECT_EQ(FlatBytes(*record), flat);
    std::unique_ptr<Bytes> const again(InternalTimeSignal::TimeSignalBinToVector(GuardedRecord(flat).record));
    EXPECT_EQ(*again, flat);
  }
  return outcome;
}

/// The readouts that fill a buffer of the caller, which ends at a guard page.
void readIntoGuardedBuffers(TimeSignal const& signal)
{
  constexpr std::size_t kLimit = 100;
  TimeSignal copy(signal);
  Guarded const values(kLimit * sizeof(double));
  Guarded const fractions(kLimit * sizeof(short));
  float scale = 0;
  OutcomeOf([&] { TimeSignal::SamplesToDouble(copy, values.As<double>()); });
  OutcomeOf([&] { TimeSignal::SamplesToFract(copy, scale, fractions.As<short>()); });
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> input)
{
  Bytes const flat(input.begin(), input.end());
  Outcome const parsed = parseAndFlatten(flat);
  EXPECT_EQ(parsed, SignalModel::VectorConversion(flat)) << parsed.ToString();
  if (parsed.Failed())
    return false;

  GuardedRecord const guarded(flat);
  std::unique_ptr<InternalTimeSignal> signal;
  Outcome const built =
      OutcomeOf([&] { signal = std::make_unique<InternalTimeSignal>(guarded.record, "mm/s", kJobData); });
  EXPECT_EQ(built, SignalModel::Acceptance(flat)) << built.ToString();
  if (built.Failed())
    return false;

  SignalModel const model = SignalModel::Of(flat);
  Describe const describe = [&flat] { return Hex(flat); };
  Examination(*signal, model, describe).All();
  ExamineOutputs(*signal, describe);
  readIntoGuardedBuffers(TimeSignal(guarded.record, "mm/s", kJobData));
  return true;
}

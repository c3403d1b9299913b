// A target with a fault that the fuzzer must find: it expects that no entry of a compressed trend has a certain status.

#include "Examination.h"
#include "TrendForms.h"

#include <gtest/gtest.h>

bool Fuzzing::Examine(std::span<std::uint8_t const> input)
{
  Bytes const flat(input.begin(), input.end());
  TrendReading const reading = ExpectedTrendReading(flat);
  if (!reading.failure.empty())
    return false;
  if (FieldAt<int>(flat, TrendField::kCompression) != no_compression)
    for (EntryBytes const& entry : reading.entries)
      EXPECT_NE(StatusOf(entry), 0xA5) << "planted difference";
  return true;
}

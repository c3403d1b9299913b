// Foreign text as any tree of options, and as the details document of a stored signal and of a stored trend.

#include "Examination.h"
#include "TextMutator.h"
#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/Trend.h"
#include "support/Records.h"
#include "support/TrendRecords.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

char const* const TextMutation::kNeeded = "vel:MeasurementDataDetails.vel:Signal.vel:HeaderInfo";
char const* const TextMutation::kSkeleton =
    "<vel:MeasurementDataDetails><vel:Signal><vel:HeaderInfo><vel:UnitString>g</vel:UnitString></vel:HeaderInfo>"
    "</vel:Signal></vel:MeasurementDataDetails>";

namespace
{
using Fuzzing::Require;
using Fuzzing::Succeeds;

void lookUp(Option& root)
{
  for (char const* const key : {"a", "a.b", "a.b.c", "vel:Signal.vel:HeaderInfo", "", ".", "a..b"})
  {
    Require(root.FindOption(key, false) == root.FindOption(key, false));
    Require(root.FindAllOptions(key) == root.FindAllOptions(key));
    Succeeds([&] { Require(root.Value<std::string>(key, "x") == root.Value<char const*>(key, "x")); });
    Succeeds([&] { root.Value<double>(key, 0); });
    Succeeds([&] { root.Value<unsigned int>(key, 0); });
  }
}

/// Builds a signal with this document; what it says goes into a document again, and the record stays.
void buildSignal(std::string const& text)
{
  static Bytes const record = FlatRecord(data_int16_t, zlib, 5);
  MeasurementDataDO stored;
  stored.setBinaryData(record);
  stored.setMeasurementDataDetails(text);
  TimeSignal const signal(stored);
  std::unique_ptr<MeasurementDataDO> const again(signal.GetMeasurementDataDO());
  EXPECT_EQ(again->getBinaryData(), record);
}

/// Builds a trend with this document, which is asked for the unit alone and may be anything.
void buildTrend(std::string const& text)
{
  static Bytes const record = FlatTrend({});
  Trend const trend(StoredTrend({}, record, text));
  Options parser;
  Option* const root = parser.parse(text);
  std::string const unit =
      root == nullptr ? ""
                      : root->Value<std::string>("vel:TrendDataDetails.vel:Signal.vel:HeaderInfo.vel:UnitString", "");
  EXPECT_EQ(trend.GetSignalUnitString(), unit);
}
} // namespace

bool Fuzzing::Examine(std::span<std::uint8_t const> bytes)
{
  std::string const text = Input(bytes).Rest();
  Options parser;
  if (Option* const root = parser.parse(text))
    lookUp(*root);
  buildTrend(text);
  return Succeeds([&] { buildSignal(text); });
}

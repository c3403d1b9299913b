// Foreign text as a details document, as device settings, and as any tree of options.

#include "Examination.h"
#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TrendShrinker.h"

#include <sstream>

namespace
{
using Examination::Require;
using Examination::Succeeds;

std::vector<unsigned char> const& validRecord()
{
  static std::vector<unsigned char> const record = []
  {
    std::unique_ptr<std::vector<unsigned char>> const bytes(
        InternalTimeSignal::TimeSignalBinToVector(*InternalTimeSignal().GetHeader()));
    return *bytes;
  }();
  return record;
}

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

void buildSignal(std::string const& text)
{
  MeasurementDataDO stored;
  stored.setBinaryData(validRecord());
  stored.setMeasurementDataDetails(text);
  TimeSignal const signal(stored);
  std::unique_ptr<MeasurementDataDO> const again(signal.GetMeasurementDataDO());
  Require(again->getBinaryData() == validRecord());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  std::string const text(data, data + size);
  Options parser;
  if (Option* const root = parser.parse(text))
    lookUp(*root);
  Succeeds([&] { buildSignal(text); });
  DeviceDO device;
  device.setDeviceDetails(text);
  Succeeds([&] { TrendShrinker const shrinker(device, 1, 1); });
  return 0;
}

// Foreign bytes as a stored trend: read, and when it is accepted, every operation of a trend.

#include "signalprocessing/io/file/Trend.h"
#include "Examination.h"
#include "platform/database/TrendDataDO.h"

#include <deque>

namespace
{
using Examination::Input;
using Examination::Require;
using Examination::Succeeds;

void storeAndRead(Trend const& trend)
{
  for (compression32_t const method : {no_compression, zlib, gzip})
  {
    Trend copy(trend);
    copy.SetCompression(method);
    std::unique_ptr<TrendDataDO> const stored(copy.GetTrendDataDO());
    Trend const again(*stored);
    Require(again.GetNumberOfEntries() == trend.GetNumberOfEntries());
    std::size_t const byteCount = trend.GetNumberOfEntries() * sizeof(trend_entry_t);
    Require(byteCount == 0 ||
            std::memcmp(again.GetTrendEntryVector().data(), trend.GetTrendEntryVector().data(), byteCount) == 0);
  }
}

void deleteAndAdd(Trend trend, long long from, long long to)
{
  unsigned int const before = trend.GetNumberOfEntries();
  bool removed = false;
  if (Succeeds([&] { removed = trend.DeleteTrendEntries(from, to); }) && !removed)
    Require(trend.GetNumberOfEntries() == before);
  std::vector<trend_entry_t> const& entries = trend.GetTrendEntryVector();
  std::deque<trend_entry_t> const some(entries.begin(), entries.end());
  trend.AddTrendEntries(some.begin(), some.end());
  trend.AddTrendEntry(trend.GetTrendEntry(0), true);
  trend.AddTrendEntry(trend.GetTrendEntry(before), false);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  Input input(data, size);
  TrendDataDO stored;
  auto const from = input.Take<long long>();
  auto const to = input.Take<long long>();
  stored.setFirstTimeStamp(from);
  stored.setLastTimeStamp(to);
  std::string const record = input.Rest();
  stored.setData(std::vector<unsigned char>(record.begin(), record.end()));
  Succeeds(
      [&]
      {
        Trend const trend(stored);
        if (trend.GetNumberOfEntries() > 100000)
          return;
        storeAndRead(trend);
        deleteAndAdd(trend, from, to);
      });
  return 0;
}

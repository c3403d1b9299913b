// Writes details documents of every shape, a file each, into the folders "measurement" and "trend" of the folder that
// is given. The document of "full.xml" has everything that a document may have.
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/Trend.h"
#include "support/ClassicStream.h"
#include "support/SampleSignals.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace
{
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kNumbers[] = {0.0,
                               -0.0,
                               1.0,
                               -1.0 / 3,
                               0.0001,
                               0.00012345678,
                               0.000099999999,
                               999999.4,
                               999999.6,
                               123456.0,
                               10.05,
                               2e22,
                               1e-7,
                               -6.02214076e23,
                               std::numeric_limits<double>::max(),
                               std::numeric_limits<double>::lowest(),
                               std::numeric_limits<double>::min(),
                               std::numeric_limits<double>::denorm_min(),
                               kInfinity,
                               -kInfinity,
                               kNaN,
                               -kNaN};
constexpr long long kTimes[] = {0,
                                -1,
                                1795197440000123,
                                LLONG_MIN,
                                LLONG_MAX,
                                253402300799999999,  // the last microsecond of the year 9999
                                253402300800000000,  // and the first behind it
                                -62167219200000000,  // the first of the year 0
                                -62167219200000001}; // and the last before it
char const* const kUnits[] = {"", "mm/s", " m ", "\xC2\xB5m", "\"'>", "&amp;"};

class Folder
{
public:
  explicit Folder(std::filesystem::path path) : path_(std::move(path)) { std::filesystem::create_directory(path_); }

  void Write(std::string const& name, TimeSignal const& signal) const
  {
    ClassicStream document;
    ObjectOf(signal)->CreateXmlDetails(document);
    write(name, document.str());
  }
  void Write(std::string const& name, Trend const& trend, trend_header_t const& header) const
  {
    ClassicStream document;
    trend.GenerateDetails(header, document);
    write(name, document.str());
  }
  /// A document with a number of its own.
  template <class... Described>
  void WriteNext(Described const&... described)
  {
    Write(std::to_string(next_++), described...);
  }

private:
  void write(std::string const& name, std::string const& document) const
  {
    std::ofstream file(path_ / (name + ".xml"), std::ios::binary);
    file << document;
    if (!file.flush())
      throw std::runtime_error("cannot write " + name);
  }

  std::filesystem::path path_;
  int next_ = 0;
};

TimeSignal signalWith(SignalParts const& parts, double number, std::string const& unit, unsigned int groups)
{
  TimeSignal signal = MakeSignal({1, 2, 3}, parts);
  for (unsigned int i = 0; i < (groups & 3U); ++i)
    signal.AddValidator(i == 0 ? CountingUuid(1) : Uuid(), number, CountingUuid(2), unit);
  if ((groups & 4U) != 0)
    signal.AddTrigger(CountingUuid(3), number, CountingUuid(4), unit);
  for (unsigned int i = 0; i < groups / 8; ++i)
    signal.AddCharacteristicValue(CountingUuid(5), number, Uuid(), unit,
                                  i == 1 ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(i));
  return signal;
}

void writeNames(Folder& folder)
{
  TimeSignal const signal = MakeSignal({1});
  timesignal_bin_t& header = *signal.GetHeader();
  for (int type = 1; type <= 5; ++type)
  {
    header.SignalType = static_cast<signal32_t>(type);
    folder.WriteNext(signal);
  }
  for (int type = 1; type <= 10; ++type)
  {
    header.SampleType = static_cast<sample_datatype32_t>(type);
    folder.WriteNext(signal);
  }
  for (int form = 1; form <= 4; ++form)
  {
    header.Compression = static_cast<compression32_t>(form);
    folder.WriteNext(signal);
  }
}

void writeExtremes(Folder& folder)
{
  folder.WriteNext(TimeSignal());
  for (double const number : kNumbers)
  {
    SignalParts parts;
    parts.deltaX = number;
    TimeSignal signal = signalWith(parts, number, "m", 1 + 4 + 8);
    if (number == number)
      signal.AddCharacteristicValue(Uuid(), 0, Uuid(), "", static_cast<float>(number));
    folder.WriteNext(signal);
  }
  for (long long const time : kTimes)
  {
    SignalParts parts;
    parts.timeStamp = time;
    folder.WriteNext(MakeSignal({1}, parts));
  }
  for (std::string const unit : kUnits)
  {
    SignalParts parts;
    parts.unitString = unit;
    folder.WriteNext(signalWith(parts, 1, unit, 1 + 4 + 8));
  }
  TimeSignal const signal = MakeSignal({1});
  signal.GetHeader()->BinaryHeaderVersion = USHRT_MAX;
  signal.GetHeader()->HeaderSize = 0;
  signal.GetHeader()->SampleCount = ULLONG_MAX;
  folder.WriteNext(signal);
}

void writeTrends(Folder& folder)
{
  Trend const trend(CountingUuid(1), CountingUuid(2), CountingUuid(3), "mm/s", 0.0);
  trend_header_t header{};
  for (int form = 0; form <= 5; ++form)
  {
    header.Compression = static_cast<compression32_t>(form);
    folder.WriteNext(trend, header);
  }
  header.Compression = zlib;
  for (unsigned int const count : {1U, 2147483647U, 2147483648U, UINT_MAX})
  {
    header.SampleCount = header.DataArrayByteCount = count;
    folder.WriteNext(trend, header);
  }
  for (double const number : kNumbers)
  {
    header.LowerPreAlarmLevel = number;
    folder.WriteNext(trend, header);
  }
  for (long long const time : kTimes)
  {
    header.FirstTimeStamp = header.LastTimeStamp = time;
    folder.WriteNext(trend, header);
  }
  for (char const* const unit : kUnits)
    folder.WriteNext(Trend(Uuid(), Uuid(), Uuid(), unit, 0.0), header);
  header.LowerPreAlarmLevel = 4.5;
  folder.Write("full", trend, header);
}
} // namespace

int main(int argumentCount, char** arguments)
try
{
  if (argumentCount != 2)
    throw std::runtime_error("usage: details_documents FOLDER");
  std::filesystem::path const path = arguments[1];
  Folder folder(path / "measurement");
  for (unsigned int groups = 0; groups < 32; ++groups)
    folder.WriteNext(signalWith({}, 2.5, "mm/s", groups));
  writeNames(folder);
  writeExtremes(folder);
  folder.Write("full", signalWith({}, 1480.25, "1/min", 2 + 4 + 8 * 3));
  Folder trends(path / "trend");
  writeTrends(trends);
  return EXIT_SUCCESS;
}
catch (std::exception const& exception)
{
  std::fprintf(stderr, "%s\n", exception.what());
  return EXIT_FAILURE;
}

// The worked examples of docs/formats.md, made by the library.

#include "platform/Archive.h"
#include "platform/Options.h"
#include "platform/Uuid.h"
#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "utilities/archive/Serialize.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{
/// The lines of the block that ```name opens in docs/formats.md.
std::vector<std::string> readBlock(std::string const& name)
{
  std::ifstream document(QEN_SOURCE_DIR "/docs/formats.md");
  std::vector<std::string> lines;
  std::string line;
  while (std::getline(document, line) && line != "```" + name)
    continue;
  while (std::getline(document, line) && line != "```")
    lines.push_back(line);
  return lines;
}

/// The lines of a block as one text, without a line feed behind the last one.
std::string readText(std::string const& name)
{
  std::string text;
  for (std::string const& line : readBlock(name))
    text += (text.empty() ? "" : "\n") + line;
  return text;
}

/// The bytes of hexadecimal words.
std::string bytesOf(std::istream& words)
{
  std::string bytes;
  for (std::string word; words >> word;)
    bytes += static_cast<char>(std::stoul(word, nullptr, 16));
  return bytes;
}

/// The bytes of a hexadecimal block, whose lines start with their positions.
std::string readExample(std::string const& name)
{
  std::string bytes;
  for (std::string const& line : readBlock(name))
  {
    std::istringstream words(line);
    std::string position;
    words >> position;
    EXPECT_EQ(std::stoul(position, nullptr, 16), bytes.size()) << name;
    bytes += bytesOf(words);
  }
  return bytes;
}

std::vector<unsigned char> asVector(std::string const& bytes) { return {bytes.begin(), bytes.end()}; }

Uuid const kJobData("00000000-0000-0000-0000-000000000001");

/// The signal of the record example.
TimeSignal exampleSignal()
{
  short const samples[] = {100, -200, 7};
  return TimeSignal(raw_time_signal, Uuid("11111111-2222-4333-8444-555555555555"),
                    Uuid("66666666-7777-4888-9999-aaaaaaaaaaaa"), 1.0 / 65536, 0.5, 1.0, 1795197440000123,
                    Uuid("bbbbbbbb-cccc-4ddd-8eee-ffffffffffff"), "m/s2", data_int16_t, 3, samples, kJobData);
}

/// The signal of the other examples.
TimeSignal describedSignal()
{
  TimeSignal signal = exampleSignal();
  signal.AddValidator(Uuid("00000000-0000-0000-0000-0000000000a1"), 1480.5,
                      Uuid("00000000-0000-0000-0000-0000000000a2"), "1/min");
  signal.AddTrigger(Uuid("00000000-0000-0000-0000-0000000000b1"), 0.25, Uuid("00000000-0000-0000-0000-0000000000b2"),
                    "mm/s");
  signal.AddCharacteristicValue(Uuid("00000000-0000-0000-0000-0000000000c1"), 2.5,
                                Uuid("00000000-0000-0000-0000-0000000000c2"), "mm/s", 1480.25F);
  return signal;
}

TEST(Formats, TimeSignalRecordExampleIsWhatTheLibraryWrites)
{
  std::unique_ptr<std::vector<unsigned char>> const bytes(
      InternalTimeSignal::TimeSignalBinToVector(*exampleSignal().GetHeader()));

  EXPECT_EQ(*bytes, asVector(readExample("time-signal-record")));
}

TEST(Formats, TimeSignalRecordExampleReadsAsDescribed)
{
  std::vector<unsigned char> const bytes = asVector(readExample("time-signal-record"));
  std::unique_ptr<timesignal_bin_t> const record(InternalTimeSignal::VectorToTimeSignalBin(bytes));
  std::unique_ptr<unsigned char[]> const samples(record->Samples);
  TimeSignal signal(*record, "m/s2", kJobData);
  std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, -1));

  EXPECT_EQ(*values, (std::vector<double>{49.5, -100.5, 3.0}));
  EXPECT_EQ(record->DataChecksum, 0xff5b);
  EXPECT_EQ(record->HeaderChecksum, 0x14f9);
}

/// One line of the table of portable values.
struct PortableValue
{
  std::string type, value, bytes;
};

PortableValue parsePortableValue(std::string const& line)
{
  constexpr std::size_t kBytesColumn = 21;
  PortableValue portable;
  std::istringstream start(line.substr(0, kBytesColumn));
  std::istringstream words(line.substr(kBytesColumn));
  start >> portable.type >> portable.value;
  portable.bytes = bytesOf(words);
  return portable;
}

std::string serialized(PortableValue const& portable)
{
  Archive archive;
  if (portable.type == "unsigned")
    QenSerialize::serialize(static_cast<unsigned int>(std::stoull(portable.value)), archive);
  else if (portable.type == "string")
    QenSerialize::serialize(portable.value, archive);
  else if (Options parser; Option* const number = parser.parse("<n>" + portable.value + "</n>"))
  {
    double const value = number->Value<double>("n", 0.0);
    if (portable.type == "float")
      QenSerialize::serialize(static_cast<float>(value), archive);
    else if (portable.type == "double")
      QenSerialize::serialize(value, archive);
  }
  return archive.str();
}

TEST(Formats, PortableValueExamplesAreWhatTheLibraryWrites)
{
  std::vector<std::string> const lines = readBlock("portable-values");
  ASSERT_EQ(lines.size(), 15U);
  for (std::string const& line : lines)
  {
    PortableValue const portable = parsePortableValue(line);
    EXPECT_EQ(serialized(portable), portable.bytes) << line;
  }
}

/// What is written again of a value that was read.
std::string readAndSerialized(std::string const& type, Archive& archive)
{
  Archive again;
  if (type == "unsigned")
  {
    unsigned int value = 77;
    QenSerialize::deserialize(value, archive);
    QenSerialize::serialize(value, again);
  }
  else if (type == "string")
  {
    std::string value = "77";
    QenSerialize::deserialize(value, archive);
    QenSerialize::serialize(value, again);
  }
  else if (type == "double")
  {
    double value = 77;
    QenSerialize::deserialize(value, archive);
    QenSerialize::serialize(value, again);
  }
  else if (float value = 77; !QenSerialize::deserialize_floating_point(value, archive))
    QenSerialize::serialize(value, again);
  return again.str();
}

TEST(Formats, PortableValueExamplesAreReadWhole)
{
  for (std::string const& line : readBlock("portable-values"))
  {
    PortableValue const portable = parsePortableValue(line);
    Archive archive(portable.bytes);
    EXPECT_EQ(readAndSerialized(portable.type, archive), portable.bytes) << line;
    EXPECT_EQ(archive.peek(), std::char_traits<char>::eof()) << line;
  }
}

TEST(Formats, ArchiveExampleIsWhatTheLibraryWrites)
{
  Archive archive;
  archive << describedSignal();

  EXPECT_EQ(asVector(archive.str()), asVector(readExample("time-signal-archive")));
}

TEST(Formats, ArchiveExampleReadsAsDescribed)
{
  std::string const bytes = readExample("time-signal-archive");
  Archive archive(bytes);
  TimeSignal signal;
  archive >> signal;

  EXPECT_TRUE(signal == describedSignal());
  EXPECT_EQ(signal.GetCharVals().at(0).Speed, 1480.25F);
  EXPECT_EQ(archive.tellg(), std::streampos(static_cast<std::streamoff>(bytes.size())));
}

TEST(Formats, PlacesInTheArchiveExampleAreThoseOfTheText)
{
  std::string const bytes = readExample("time-signal-archive");

  EXPECT_EQ(bytes.substr(0x78, 5), "\x04\xef\xbe\xad\xde");
  EXPECT_EQ(bytes.substr(0x7d, 6), readExample("time-signal-record").substr(0x78, 6));
  EXPECT_EQ(bytes.substr(0x83, 6), "\x01\x04m/s2");
  EXPECT_EQ(bytes.at(0x8b + 15), '\xa1');
  EXPECT_EQ(bytes.substr(0x9b, 7), "1480.5 ");
  EXPECT_EQ(bytes.at(0xb9 + 15), '\xb1');
  EXPECT_EQ(bytes.at(0xe6 + 15), '\xc1');
  EXPECT_EQ(bytes.substr(0x110, 8), "1480.25 ");
  EXPECT_EQ(bytes.size(), 0x118U + 16U);
}

TEST(Formats, DetailsExampleIsWhatTheLibraryWrites)
{
  std::unique_ptr<MeasurementDataDO> const stored(describedSignal().GetMeasurementDataDO());

  EXPECT_EQ(stored->getMeasurementDataDetails(), readText("details-document"));
}

TEST(Formats, DetailsExampleReadsAsDescribed)
{
  std::unique_ptr<MeasurementDataDO> const stored(exampleSignal().GetMeasurementDataDO());
  stored->setMeasurementDataDetails(readText("details-document"));

  EXPECT_TRUE(TimeSignal(*stored) == describedSignal());
}

UuidEntryDO entryOf(char const* uuid) { return UuidEntryDO(0, Uuid(uuid), false); }

/// The trend of the record example as it is stored, from its bytes and its document.
TrendDataDO exampleTrend()
{
  TrendDataDO stored;
  stored.setData(asVector(readExample("trend-record")));
  stored.setCurrentUuid(entryOf("66666666-7777-4888-9999-aaaaaaaaaaaa"));
  stored.setCharacteristicValueConfig(entryOf("11111111-2222-4333-8444-555555555555"));
  stored.setFirstTimeStamp(1795197440000123);
  stored.setLastTimeStamp(1795197740000123);
  stored.setTrendDataDetails(readText("trend-details-document"));
  return stored;
}

TEST(Formats, TrendExamplesAreWhatTheLibraryWrites)
{
  Trend const trend(exampleTrend());
  std::unique_ptr<TrendDataDO> const written(trend.GetTrendDataDO());

  EXPECT_EQ(written->getData(), asVector(readExample("trend-record")));
  EXPECT_EQ(written->getTrendDataDetails(), readText("trend-details-document"));
}

TEST(Formats, TrendRecordExampleReadsAsDescribed)
{
  Trend const trend(exampleTrend());

  EXPECT_EQ(trend.GetSignalUnitString(), "mm/s");
  EXPECT_EQ(trend.GetSignalUnitUuid(), Uuid("bbbbbbbb-cccc-4ddd-8eee-ffffffffffff"));
  EXPECT_EQ(trend.GetLowerPreAlarmLimit(), 4.5);
  ASSERT_EQ(trend.GetNumberOfEntries(), 2U);
  EXPECT_EQ(trend.GetTrendEntry(0).TimeStamp, 1795197440000123);
  EXPECT_EQ(trend.GetTrendEntry(0).Value, 2.5);
  EXPECT_EQ(trend.GetTrendEntry(0).Status, 1);
  EXPECT_EQ(trend.GetTrendEntry(1).TimeStamp, 1795197440000123 + 300000000);
  EXPECT_EQ(trend.GetTrendEntry(1).Value, -0.75);
  EXPECT_EQ(trend.GetTrendEntry(1).AuxFloat1, 1.0F);
  EXPECT_EQ(trend.GetTrendEntry(1).AuxByte, 7);
  EXPECT_EQ(trend.GetTrendEntry(1).Status, 3);
  EXPECT_EQ(trend.GetTrendEntry(1).AuxFloat3, 0.5F);
}

TEST(Formats, CleanupSettingsExampleReadsAsDescribed)
{
  DeviceDO device;
  device.setDeviceDetails(readText("trend-cleanup-settings"));
  TrendShrinker const shrinker(device, 1, 1);

  EXPECT_EQ(shrinker.GetNoTrendValuesPerHourOlderThanOneHour(), 60U);
  EXPECT_EQ(shrinker.GetNoTrendValuesPerDayOlderThanOneDay(), 24U);
  EXPECT_EQ(shrinker.GetNoTrendValuesPerDayOlderThanOneWeek(), 4U);
  EXPECT_EQ(shrinker.GetNoTrendValuesPerDayOlderThanFourWeeks(), 0U);
}
} // namespace

// The worked examples of docs/formats.md, made by the library.

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{
/// The bytes of the hexadecimal block that ```name opens in docs/formats.md.
std::vector<unsigned char> readExample(std::string const& name)
{
  std::ifstream document(QEN_SOURCE_DIR "/docs/formats.md");
  std::vector<unsigned char> bytes;
  std::string line;
  while (std::getline(document, line) && line != "```" + name)
    continue;
  while (std::getline(document, line) && line != "```")
  {
    std::istringstream words(line);
    std::string word;
    words >> word; // the position
    while (words >> word)
      bytes.push_back(static_cast<unsigned char>(std::stoul(word, nullptr, 16)));
  }
  return bytes;
}

TEST(Formats, TimeSignalRecordExampleIsWhatTheLibraryWrites)
{
  short const samples[] = {100, -200, 7};
  Uuid const jobData("00000000-0000-0000-0000-000000000001");
  TimeSignal const signal(raw_time_signal, Uuid("11111111-2222-4333-8444-555555555555"),
                          Uuid("66666666-7777-4888-9999-aaaaaaaaaaaa"), 1.0 / 65536, 0.5, 1.0, 1795197440000123,
                          Uuid("bbbbbbbb-cccc-4ddd-8eee-ffffffffffff"), "m/s2", data_int16_t, 3, samples, jobData);
  std::unique_ptr<std::vector<unsigned char>> const bytes(
      InternalTimeSignal::TimeSignalBinToVector(*signal.GetHeader()));

  EXPECT_EQ(*bytes, readExample("time-signal-record"));
}

TEST(Formats, TimeSignalRecordExampleReadsAsDescribed)
{
  std::vector<unsigned char> const bytes = readExample("time-signal-record");
  std::unique_ptr<timesignal_bin_t> const record(InternalTimeSignal::VectorToTimeSignalBin(bytes));
  std::unique_ptr<unsigned char[]> const samples(record->Samples);
  TimeSignal signal(*record, "m/s2", Uuid("00000000-0000-0000-0000-000000000001"));
  std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, -1));

  EXPECT_EQ(*values, (std::vector<double>{49.5, -100.5, 3.0}));
  EXPECT_EQ(record->DataChecksum, 0xff5b);
  EXPECT_EQ(record->HeaderChecksum, 0x14f9);
}
} // namespace

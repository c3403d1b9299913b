// The files of this folder were written without the library. They must be read, give the samples that went into them,
// and, where no codec is involved, come out again byte for byte.

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignalFile.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace
{
char const* const kTypeNames[] = {"int8",    "int16", "int32",  "int64",  "float32",
                                  "float64", "uint8", "uint16", "uint32", "uint64"};
std::vector<int> const kSigned{0, 1, -1, 100, -128, 127, 5, 5, 5};
std::vector<int> const kUnsigned{0, 1, 255, 100, 7, 7, 7, 128, 200};

std::string pathOf(int type, std::string const& form)
{
  return QEN_SOURCE_DIR "/tests/golden/" + std::string(kTypeNames[type - 1]) + "-" + form + ".qts";
}

TimeSignal readSignal(std::string const& path)
{
  std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(path));
  std::unique_ptr<unsigned char[]> const samples(record->Samples);
  return {*record, "mm/s", Uuid("00000000-0000-0000-0000-000000000001")};
}

std::vector<unsigned char> readBytes(std::string const& path)
{
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class GoldenFile : public testing::TestWithParam<std::tuple<int, char const*>>
{
protected:
  int type() const { return std::get<0>(GetParam()); }
  std::string path() const { return pathOf(type(), std::get<1>(GetParam())); }
};

TEST_P(GoldenFile, GivesThePhysicalValuesThatWentIntoIt)
{
  TimeSignal signal = readSignal(path());
  std::vector<double> expected;
  for (int const value : type() >= data_uint8_t ? kUnsigned : kSigned)
    expected.push_back((value - 3.0) * 0.5);
  std::unique_ptr<std::vector<double>> const values(TimeSignal::SamplesToDouble(signal, -1));

  EXPECT_EQ(*values, expected);
  EXPECT_EQ(signal.GetHeader()->DeltaX, 1.0 / 51200);
  EXPECT_EQ(signal.GetHeader()->TimeStamp, 1700000000000000);
}

TEST_P(GoldenFile, UncompressedIsTheUncompressedFile)
{
  TimeSignal signal = readSignal(path());
  signal.Uncompress();
  std::unique_ptr<std::vector<unsigned char>> const bytes(
      InternalTimeSignal::TimeSignalBinToVector(*signal.GetHeader()));

  EXPECT_EQ(*bytes, readBytes(pathOf(type(), "none")));
}

INSTANTIATE_TEST_SUITE_P(AllTypes, GoldenFile,
                         testing::Combine(testing::Range(1, 11), testing::Values("none", "zlib", "gzip")),
                         [](auto const& file) {
                           return std::string(kTypeNames[std::get<0>(file.param) - 1]) + "_" + std::get<1>(file.param);
                         });
} // namespace

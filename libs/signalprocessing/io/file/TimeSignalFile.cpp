#include "signalprocessing/io/file/TimeSignalFile.h"

#include "signalprocessing/io/file/PaddedBytes.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <limits>
#include <locale>
#include <memory>
#include <span>

namespace
{
constexpr char const kSourceUnit[] = "TimeSignalFile.cpp";

TimeSignalFileException openingFailed(char const* path, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line).createException<TimeSignalFileException>("Error opening file %s!", path);
}

TimeSignalFileException writingFailed(char const* path, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line)
      .createException<TimeSignalFileException>("Error writing to file %s!", path);
}

TimeSignalFileException readingFailed(char const* path, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line).createException<TimeSignalFileException>("Error reading file %s!", path);
}

/// A file whose bytes no locale of the program changes.
template <class Stream>
void openBinary(Stream& file, char const* path)
{
  file.imbue(std::locale::classic());
  file.open(path, std::ios::binary);
  if (!file)
    throw openingFailed(path);
}

/// Writes byteCount sample bytes, zeros where the signal has fewer; false when that is impossible.
bool writeSamples(std::ostream& file, TimeSignal const& signal, unsigned int byteCount)
{
  if (byteCount == 0)
    return true;
  if (signal.GetSamplesPointer() == nullptr || byteCount > static_cast<unsigned>(std::numeric_limits<int>::max()))
    return false;
  WritePadded(file, signal.GetStoredSamples(), byteCount);
  return file.good();
}

struct OwnedRecord
{
  std::unique_ptr<timesignal_bin_t> header = std::make_unique<timesignal_bin_t>();
  std::unique_ptr<unsigned char[]> samples;

  timesignal_bin_t* release()
  {
    header->Samples = samples.release();
    return header.release();
  }
};
} // namespace

TimeSignalFileException::TimeSignalFileException() : VelmoraException("TimeSignalFileException") {}
TimeSignalFileException::~TimeSignalFileException() = default;
VelmoraException* TimeSignalFileException::clone() const { return new TimeSignalFileException(*this); }

void TimeSignalFile::Write(char const* path, TimeSignal& signal, compression32_t compression)
{
  std::ofstream file;
  signal.Compress(compression);
  openBinary(file, path);
  timesignal_bin_t const& header = *signal.GetHeader();
  if (!file.write(reinterpret_cast<char const*>(&header), kTimeSignalHeaderSize))
    throw writingFailed(path);
  // Lengths of files are 32-bit numbers here.
  if (!writeSamples(file, signal, static_cast<unsigned int>(header.DataArrayByteCount)))
    throw writingFailed(path);
  file.close();
  if (!file)
    throw writingFailed(path);
}

void TimeSignalFile::Write(std::string const& path, TimeSignal& signal, compression32_t compression)
{
  Write(path.c_str(), signal, compression);
}

timesignal_bin_t* TimeSignalFile::Read(char const* path)
{
  OwnedRecord record;
  std::ifstream file;
  openBinary(file, path);
  file.seekg(0, std::ios::end);
  auto const length = static_cast<unsigned int>(static_cast<long long>(file.tellg()));
  file.seekg(0, std::ios::beg);
  if (length < kTimeSignalHeaderSize)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalFileException>(
            "Time signal header incomplete: actual %lu bytes, expected %lu bytes!", static_cast<unsigned long>(length),
            static_cast<unsigned long>(kTimeSignalHeaderSize));
  if (!file.read(reinterpret_cast<char*>(record.header.get()), kTimeSignalHeaderSize))
    throw readingFailed(path);
  unsigned long long const announced = record.header->DataArrayByteCount;
  auto const byteCount = static_cast<unsigned int>(announced);
  if (announced + kTimeSignalHeaderSize != length)
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<TimeSignalFileException>("Wrong time signal data size: actual %lu bytes, expected %lu bytes!",
                                                  static_cast<unsigned long>(length - kTimeSignalHeaderSize),
                                                  static_cast<unsigned long>(byteCount));
  record.samples = std::make_unique_for_overwrite<unsigned char[]>(byteCount);
  if (!file.read(reinterpret_cast<char*>(record.samples.get()), static_cast<std::streamsize>(byteCount)))
    throw readingFailed(path);
  return record.release();
}

timesignal_bin_t* TimeSignalFile::Read(std::string const& path) { return Read(path.c_str()); }

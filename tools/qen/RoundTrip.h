#pragma once

#include "OutputFile.h"
#include "Recording.h"

#include "signalprocessing/io/file/TimeSignal.h"

#include <functional>
#include <string>
#include <vector>

/// One stored form of a signal and what became of it.
struct FormResult
{
  std::string name;
  unsigned long long fileSize = 0;
  double ratio = 1; ///< to the first form, for the caller to set
  double writeMilliseconds = 0;
  double readMilliseconds = 0;
  double rmsBefore = 0;
  double rmsAfter = 0;
  std::string problem; ///< empty when all checks passed
};

/// Takes one channel of a recording through all forms: stored, read back, verified, compared.
class RoundTrip
{
public:
  /// @param original  as imported, uncompressed
  /// @param stem      of the names of all files
  RoundTrip(TimeSignal const& original, std::string stem, OutputFile::Existing existing);

  /// The time signal files: as imported, with the offset removed, and so compressed with zlib and gzip.
  std::vector<FormResult> StoreAll();
  /// A database object and an archive, both in memory.
  FormResult StoreInDatabaseObject();
  FormResult StoreInArchive();
  /// Writes the recording again and compares what can be read from it with what was read first.
  FormResult Export(Recording const& recording, std::size_t channel, bool asWav);

private:
  FormResult Store(TimeSignal signal, compression32_t compression, char const* name, char const* suffix);
  void Check(std::string const& path, TimeSignal const& signal, FormResult& result) const;
  void CheckExport(std::string const& path, SampleArray const& samples, bool asWav, FormResult& result) const;
  /// @param store  @return the bytes that the form takes
  FormResult Pass(char const* name, std::function<unsigned long long()> const& store,
                  std::function<TimeSignal()> const& read);
  void WriteExport(std::string const& path, Recording const& recording, bool asWav);

  TimeSignal original_;
  std::string stem_;
  OutputFile::Existing existing_;
  double rms_;
};

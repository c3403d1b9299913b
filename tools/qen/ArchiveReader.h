#pragma once

#include "InputFile.h"

#include "platform/Archive.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <exception>
#include <memory>
#include <optional>
#include <streambuf>
#include <vector>

/// Reads the signals of an archive file, which stand in it one after another with nothing around them. Memory is taken
/// for one signal at a time, and for no more than its header announces and 32 MiB of details.
class ArchiveReader
{
public:
  struct Entry
  {
    std::size_t number = 0;          ///< from 1
    unsigned long long position = 0; ///< of its first byte in the file
    unsigned long long size = 0;
    TimeSignal signal; ///< as it was written: no checksum has been looked at
  };

  /// @param file  must outlive this object
  explicit ArchiveReader(InputFile const& file);
  ~ArchiveReader();

  /// The next signal; nothing at the end. Throws ToolError with the status Difference where the archive is cut or
  /// cannot be read on; then nothing more can be had.
  std::optional<Entry> Next();

private:
  class Buffer;

  unsigned int SampleBytesAt(unsigned long long start) const;
  std::string Before(unsigned long long start) const;
  [[noreturn]] void RefuseCut(unsigned long long start) const;
  [[noreturn]] void RefuseDamaged(unsigned long long start, std::string const& reason) const;
  [[noreturn]] void Refuse(std::string const& text) const;

  InputFile const& file_;
  std::unique_ptr<Buffer> buffer_;
  Archive archive_;
  std::size_t count_ = 0;
};

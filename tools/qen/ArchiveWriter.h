#pragma once

#include "OutputFile.h"

#include "platform/Archive.h"
#include "signalprocessing/io/file/TimeSignal.h"

#include <fstream>
#include <string>

/// Writes an archive file signal by signal, straight to the disk; it appears when it is committed. Failures of writing
/// are ToolError with the status Disk; after one nothing can be appended or committed.
class ArchiveWriter
{
public:
  ArchiveWriter(std::string const& target, OutputFile::Existing existing);

  void Append(TimeSignal const& signal);
  void Commit();

  bool Failed() const { return failed_; }
  std::size_t Count() const { return count_; }
  unsigned long long Size() const { return size_; }

private:
  void Require(bool condition);

  OutputFile output_;
  std::filebuf file_;
  Archive archive_;
  std::size_t count_ = 0;
  unsigned long long size_ = 0;
  bool failed_ = false;
};

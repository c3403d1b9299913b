#include "ArchiveWriter.h"

#include "ExitCode.h"

#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "utilities/archive/Serialize.h"

#include <cerrno>
#include <cstring>

ArchiveWriter::ArchiveWriter(std::string const& target, OutputFile::Existing existing) : output_(target, existing)
{
  Require(file_.open(output_.TemporaryPath(), std::ios::binary | std::ios::out) != nullptr);
  archive_.std::ios::rdbuf(&file_);
}

void ArchiveWriter::Append(TimeSignal const& signal)
{
  errno = 0;
  try
  {
    archive_ << signal;
  }
  catch (QenSerialize::SerializationException const&) // the stream failed: texts of 4 GiB do not come here
  {
    Require(false);
  }
  Require(archive_.good() && file_.pubsync() == 0);
  size_ = static_cast<unsigned long long>(file_.pubseekoff(0, std::ios::cur));
  ++count_;
}

void ArchiveWriter::Commit()
{
  Require(file_.close() != nullptr);
  output_.Commit();
}

void ArchiveWriter::Require(bool condition)
{
  if (condition)
    return;
  failed_ = true;
  throw ToolError(ExitCode::Disk,
                  "the archive cannot be written: " + std::string(std::strerror(errno != 0 ? errno : EIO)));
}

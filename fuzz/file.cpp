// Foreign bytes as a time signal file: read, and what was read written again must give the same bytes.

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignalFile.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace
{
/// A file in memory, which has a path for as long as it is open.
class MemoryFile
{
public:
  MemoryFile() : descriptor_(memfd_create("qen", 0)) {}
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(MemoryFile const&) = delete;
  MemoryFile& operator=(MemoryFile const&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  std::vector<char> content() const
  {
    std::ifstream file(path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

private:
  int descriptor_;
};

struct ReleaseRecord
{
  void operator()(timesignal_bin_t* record) const
  {
    delete[] record->Samples;
    delete record;
  }
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  static Uuid const jobData("00000000-0000-0000-0000-000000000001");
  MemoryFile const file;
  std::ofstream(file.path(), std::ios::binary)
      .write(reinterpret_cast<char const*>(data), static_cast<std::streamsize>(size));
  try
  {
    std::unique_ptr<timesignal_bin_t, ReleaseRecord> const record(TimeSignalFile::Read(file.path()));
    TimeSignal signal(*record, "", jobData);
    MemoryFile const copy;
    TimeSignalFile::Write(copy.path(), signal, record->Compression);
    if (copy.content() != std::vector<char>(data, data + size))
      __builtin_trap();
  }
  catch (TimeSignalFileException const&)
  {
  }
  catch (TimeSignalException const&)
  {
  }
  return 0;
}

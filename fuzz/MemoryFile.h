#pragma once

#include "support/Records.h"

#include <fstream>
#include <iterator>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

/// A file in memory, which has a path for as long as it is open.
class MemoryFile
{
public:
  MemoryFile() : descriptor_(memfd_create("qen", 0)) {}
  explicit MemoryFile(Bytes const& content) : MemoryFile()
  {
    std::ofstream(Path(), std::ios::binary)
        .write(reinterpret_cast<char const*>(content.data()), static_cast<std::streamsize>(content.size()));
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(MemoryFile const&) = delete;
  MemoryFile& operator=(MemoryFile const&) = delete;

  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  Bytes Content() const
  {
    std::ifstream file(Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

private:
  int descriptor_;
};

// Runs a fuzz target over every file of the folders given; fails when there is none, so that a lost corpus is seen.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace
{
std::vector<char> readFile(std::filesystem::path const& path)
{
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void replay(std::filesystem::path const& path)
{
  std::vector<char> const bytes = readFile(path);
  // An array of exactly this size lets the address sanitizer see a read behind the end.
  auto const exact = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
}
} // namespace

int main(int argc, char** argv)
{
  unsigned replayed = 0;
  for (int i = 1; i < argc; ++i)
  {
    for (auto const& entry : std::filesystem::directory_iterator(argv[i]))
    {
      replay(entry.path());
      ++replayed;
    }
  }
  std::printf("%u inputs replayed\n", replayed);
  return replayed == 0 ? 1 : 0;
}

// Runs a fuzz target over every file of the folders given; fails when there is none, so that a lost corpus is seen.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace
{
void replay(std::filesystem::path const& path)
{
  std::ifstream file(path, std::ios::binary);
  std::vector<char> const bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
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

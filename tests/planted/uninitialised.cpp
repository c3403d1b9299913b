// Writes a byte that nobody has set. Whoever looks for such memory and does not report this program does not look.
#include <cstdio>
#include <memory>

int main()
{
  std::unique_ptr<char[]> const byte(new char[1]);
  std::FILE* const file = std::tmpfile();
  if (file == nullptr || std::fwrite(byte.get(), 1, 1, file) != 1)
    return 2;
  return std::fclose(file);
}

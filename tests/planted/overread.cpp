// A lane that does not fail on this program does not see reads behind an array.
#include <cstdio>
#include <memory>

int main(int argc, char**)
{
  auto const bytes = std::make_unique<unsigned char[]>(16);
  std::printf("%d\n", bytes[static_cast<unsigned>(15 + argc)]);
}

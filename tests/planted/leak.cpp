// A lane that does not fail on this program does not see lost memory.
#include <cstdio>
#include <cstdlib>

int main()
{
  for (int i = 0; i < 8; ++i)
  {
    void* volatile lost = std::malloc(1000);
    std::printf("%s\n", lost != nullptr ? "lost" : "nothing");
    lost = nullptr;
  }
}

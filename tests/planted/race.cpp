// A lane that does not fail on this program does not see data races.
#include <cstdio>
#include <thread>

namespace
{
unsigned counter = 0;

void count()
{
  for (int i = 0; i < 10000; ++i)
    ++counter;
}
} // namespace

int main()
{
  std::thread one(count);
  std::thread two(count);
  one.join();
  two.join();
  std::printf("%u\n", counter);
}

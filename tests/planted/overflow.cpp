// A lane that does not fail on this program does not see signed overflow.
#include <cstdio>
#include <limits>

int main(int argc, char**) { std::printf("%d\n", std::numeric_limits<int>::max() + argc); }

// A program that has the library linked in and keeps a time signal at namespace scope: its own constructors may come
// before those of the library.
#include "loading/StaticSignal.h"

namespace
{
StaticSignal const programSignal("program");
}

int main() { std::puts("main"); }

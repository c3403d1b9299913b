// A program that keeps a time signal at namespace scope and shares one with a shared library that does the same.
#include "loading/StaticSignal.h"
#include "loading/StaticSignalLibrary.h"

namespace
{
StaticSignal const programSignal("program");
// Released behind main, when the library's own handle is still there.
TimeSignal const sharedSignal = SignalOfTheLibrary();
} // namespace

int main()
{
  bool const shared = sharedSignal.GetHeader() == SignalOfTheLibrary().GetHeader();
  std::puts(shared ? "main shares" : "main does not share");
}

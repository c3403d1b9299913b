#include "loading/StaticSignalLibrary.h"

#include "loading/StaticSignal.h"

namespace
{
StaticSignal const librarySignal("library");
}

TimeSignal const& SignalOfTheLibrary() { return librarySignal.signal(); }

#pragma once

#include "signalprocessing/io/file/TimeSignal.h"

/// The signal that the shared library beside the program keeps.
__attribute__((visibility("default"))) TimeSignal const& SignalOfTheLibrary();

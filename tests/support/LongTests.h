#pragma once

#include <cstdlib>

/// Whether tests that try something at random, or on something big, shall take longer than every run of the suite can.
inline bool AreLongTestsWanted() { return std::getenv("QEN_LONG_TESTS") != nullptr; }

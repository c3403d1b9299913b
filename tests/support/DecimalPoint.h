#pragma once

#include <clocale>
#include <string>

/// The decimal point of printf in the locale that the tests run in.
inline std::string DecimalPoint() { return std::localeconv()->decimal_point; }

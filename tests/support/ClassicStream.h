#pragma once

#include <locale>
#include <sstream>

/// A string stream that knows no global locale, as the library makes its own.
class ClassicStream : public std::stringstream
{
public:
  ClassicStream() { imbue(std::locale::classic()); }
};

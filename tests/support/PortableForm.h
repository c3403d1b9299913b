#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <locale.h>
#include <stdexcept>
#include <string>

// The portable forms of single values, made without the library and its streams.

/// Name of the source unit in the exceptions of portable values.
inline constexpr char const* kSerializeUnit = "libs/utilities/archive/Serialize.cpp";

/// As long as it lives, the C library formats and reads numbers in this thread as programs in the C locale do.
class ClassicNumbers
{
public:
  ClassicNumbers() : classic_(newlocale(LC_ALL_MASK, "C", nullptr)), before_(uselocale(classic_)) {}
  ClassicNumbers(ClassicNumbers const&) = delete;
  ClassicNumbers& operator=(ClassicNumbers const&) = delete;
  ~ClassicNumbers()
  {
    uselocale(before_);
    freelocale(classic_);
  }

private:
  locale_t classic_;
  locale_t before_;
};

/// What printf makes of a number.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
inline std::string Printed(char const* format, double value)
{
  ClassicNumbers const classic;
  char text[1000];
  int const length = std::snprintf(text, sizeof(text), format, value);
  if (length < 0 || length >= static_cast<int>(sizeof(text)))
    throw std::length_error("snprintf");
  return std::string(text, static_cast<std::size_t>(length));
}
#pragma GCC diagnostic pop

inline double Scanned(std::string const& text)
{
  ClassicNumbers const classic;
  return std::strtod(text.c_str(), nullptr);
}

/// A count byte and as many bytes as the value needs.
inline std::string PortableUnsigned(std::uint32_t value)
{
  std::string bytes;
  do
  {
    bytes.push_back(static_cast<char>(value % 256));
    value /= 256;
  } while (value != 0);
  return std::string(1, static_cast<char>(bytes.size())) + bytes;
}

/// A floating-point number as text and a blank. A float is the double of the same value.
inline std::string PortableNumber(double value)
{
  if (std::isnan(value))
    return "NaN ";
  if (std::isinf(value))
    return value > 0 ? "inf " : "ninf ";
  return Printed("%.35g", value) + " ";
}

inline std::string PortableText(std::string const& text)
{
  return PortableUnsigned(static_cast<std::uint32_t>(text.size())) + text;
}

/// What comes back of a text.
inline std::string UpToFirstZeroByte(std::string const& text) { return text.substr(0, text.find('\0')); }

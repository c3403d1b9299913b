#pragma once

#include <span>
#include <string>
#include <string_view>

/// Text for people and for machines, independent of any locale.
namespace Text
{
/// Whether the bytes are well-formed UTF-8.
bool IsUtf8(std::string_view bytes);

/// File names as they may be shown: control characters and bytes that are no UTF-8 become escapes such as \n and \xff,
/// so that a name never breaks a line or talks to the terminal.
std::string Printable(std::string_view bytes);

/// In double quotes; what is longer than a message bears is cut.
std::string Quoted(std::string_view text);
/// Lower-case hexadecimal digits of the bytes.
std::string Hex(std::string_view bytes);

/// The shortest text that reads back as the same number; "nan", "inf", "-inf".
std::string Shortest(double value);
std::string Shortest(float value);
/// At most so many significant digits, for tables.
std::string Rounded(double value, int digits = 6);
/// With so many digits behind the point.
std::string Fixed(double value, int decimals);
/// "0x" and four hexadecimal digits.
std::string Hex16(unsigned value);

/// Makes one text of several, with `separator` between them.
std::string Join(std::span<std::string const> parts, std::string_view separator);
/// "1 sample", "2 samples".
std::string Counted(unsigned long long count, std::string_view singular, std::string_view plural = {});
/// Blanks in front of the text, or behind it, up to the width.
std::string Right(std::string const& text, std::size_t width);
std::string Left(std::string text, std::size_t width);
/// The text in lower case; only the letters A to Z change.
std::string Lower(std::string_view text);
} // namespace Text

#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Numbers as text, read exactly and without a locale: "12", "-3.5", "+1e-3", "nan", "inf"; no blanks around.
namespace DecimalNumber
{
/// Whether the text consists of digits behind an optional sign. "-0" does not count: no integer holds its sign.
bool IsInteger(std::string_view text);

/// Whether the text is a number, of whatever size.
bool IsNumber(std::string_view text);

/// The nearest value; nothing for a text that is no number or is beyond the range.
std::optional<double> Nearest(std::string_view text);

/// The value of type T, one of the ten sample element types, that the text names: for integers the number itself, for
/// floating point a value whose shortest text names the same number. Nothing when there is no such value.
template <class T>
std::optional<T> Exact(std::string_view text);
} // namespace DecimalNumber

#pragma once

#include <string>

/// Lengths of time as people write them.
namespace Duration
{
inline constexpr long long kSecond = 1000000; ///< in microseconds
inline constexpr long long kHour = 3600 * kSecond;
inline constexpr long long kDay = 24 * kHour;

/// Microseconds from a number with a unit: "90s", "45min", "1.5h", "7d". Throws std::invalid_argument.
long long Parse(std::string const& text);
/// "45 min", "1.5 h": in the largest unit of which there is one.
std::string Show(long long microseconds);
} // namespace Duration

#pragma once

#include <string>

/// Points in time as people write them.
namespace TimeText
{
/// Microseconds since 1970-01-01T00:00:00Z from a whole number of them, from RFC 3339 text ("2026-11-20T17:57:20Z",
/// "2026-11-20T18:57:20.5+01:00"), or from a date ("2026-11-20", midnight UTC). Throws std::invalid_argument.
long long Parse(std::string const& text);
} // namespace TimeText

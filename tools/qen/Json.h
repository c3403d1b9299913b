#pragma once

#include <nlohmann/json.hpp>

#include <string>

/// JSON as the tool prints it: one object on one line, fields in the order in which they were added, not-a-number and
/// infinity as null, 64-bit integers exact, everything outside ASCII escaped.
using Json = nlohmann::ordered_json;

namespace JsonText
{
/// An object of a schema such as "qen.info/1".
Json Object(char const* schema);
/// Adds a file name. Bytes that are no UTF-8 are replaced in it; then `key`_hex holds the exact bytes.
void AddPath(Json& object, std::string const& key, std::string const& path);
/// The same; null for an empty name.
void AddOptionalPath(Json& object, std::string const& key, std::string const& path);
/// Adds a time stamp as RFC 3339 text and, as `key`_us, in microseconds.
void AddTime(Json& object, std::string const& key, long long microseconds);
/// Adds the name of an enumerator, null for an unknown one, and its number as `key`_code.
void AddEnumerator(Json& object, std::string const& key, char const* name, int code);
std::string Line(Json const& object);
} // namespace JsonText

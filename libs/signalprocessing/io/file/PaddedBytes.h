#pragma once

#include <cstddef>
#include <ostream>
#include <span>

/// Writes the first byteCount stored bytes, continued by zeros where fewer are stored. Stops when the stream fails.
void WritePadded(std::ostream& stream, std::span<unsigned char const> stored, std::size_t byteCount);

#pragma once

#include <cstddef>
#include <memory>
#include <ostream>
#include <span>
#include <vector>

/// Writes the first byteCount stored bytes, continued by zeros where fewer are stored. Stops when the stream fails.
void WritePadded(std::ostream& stream, std::span<unsigned char const> stored, std::size_t byteCount);

/// The flat form of a record: the header, then byteCount stored bytes, likewise continued by zeros; `stored` has no
/// more of them. std::bad_alloc for a size that no memory has.
std::unique_ptr<std::vector<unsigned char>> MakeFlatRecord(void const* header, std::size_t headerSize,
                                                           std::span<unsigned char const> stored,
                                                           unsigned long long byteCount);

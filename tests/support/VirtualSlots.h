#pragma once

#include <cstddef>
#include <cstring>

/// Position of a virtual operation in the table of its class, as callers that were built against the class find it. The
/// two forms of the destructor take two positions.
///
/// A pointer to a virtual member starts with the operation's byte offset in the table, on x86 with the lowest bit set.
template <class MemberPointer>
std::size_t VirtualSlot(MemberPointer member)
{
  std::size_t offset = 0;
  static_assert(sizeof(member) >= sizeof(offset));
  std::memcpy(&offset, &member, sizeof(offset));
  return (offset & ~std::size_t{1}) / sizeof(void*);
}

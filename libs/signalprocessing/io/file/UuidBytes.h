#pragma once

#include "platform/Uuid.h"
#include "platform/database/UuidEntryDO.h"

#include <cstring>

/// UUIDs between the 16 plain bytes of a record, values and database entries.

inline Uuid UuidFromBytes(unsigned char const (&bytes)[16])
{
  Uuid uuid;
  uuid.SetPlainUuid(bytes);
  return uuid;
}

inline void CopyUuid(unsigned char (&destination)[16], unsigned char const* source)
{
  std::memcpy(destination, source, sizeof destination);
}

/// A database entry that has its UUID alone.
inline UuidEntryDO EntryOf(Uuid const& uuid)
{
  UuidEntryDO entry;
  entry.setUuid(uuid);
  return entry;
}

#pragma once

#include "platform/Export.h"
#include "platform/Uuid.h"

/// A reference to a database entry: its UUID, and the number and flag that the database keeps with it.
class QEN_PLATFORM_EXPORT UuidEntryDO
{
public:
  /// Number 0, the null UUID, flag false.
  UuidEntryDO();
  UuidEntryDO(unsigned int const& id, Uuid const& uuid, bool const& flag);

  void setUuid(Uuid const& uuid);
  Uuid const& getUuid() const;
  unsigned int getId() const;
  bool getFlag() const;

private:
  unsigned int id_ = 0;
  Uuid uuid_;
  bool flag_ = false;
};

#include "platform/database/UuidEntryDO.h"

UuidEntryDO::UuidEntryDO() = default;
UuidEntryDO::UuidEntryDO(unsigned int const& id, Uuid const& uuid, bool const& flag) : id_(id), uuid_(uuid), flag_(flag)
{
}

void UuidEntryDO::setUuid(Uuid const& uuid) { uuid_ = uuid; }
Uuid const& UuidEntryDO::getUuid() const { return uuid_; }
unsigned int UuidEntryDO::getId() const { return id_; }
bool UuidEntryDO::getFlag() const { return flag_; }

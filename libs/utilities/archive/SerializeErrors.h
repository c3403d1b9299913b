#pragma once

#include "utilities/archive/Serialize.h"
#include "utilities/exception/ExceptionFactory.h"

namespace QenSerialize
{
inline constexpr char const kSerializingFailed[] = "Serializing of object %s failed";
inline constexpr char const kDeserializingFailed[] = "Deserializing of object %s failed";

/// For every unit that decodes values: the failure to read a value of the named type.
inline SerializationException DeserializingFailed(char const* sourceUnit, char const* typeName,
                                                  int line = __builtin_LINE())
{
  return ExceptionFactory(sourceUnit, line).createException<SerializationException>(kDeserializingFailed, typeName);
}
} // namespace QenSerialize

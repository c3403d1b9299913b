#pragma once

#include "utilities/archive/Serialize.h"
#include "utilities/exception/ExceptionFactory.h"

namespace QenSerialize
{
/// For every unit that decodes values: the failure to read a value of the named type.
inline SerializationException DeserializingFailed(char const* sourceUnit, char const* typeName,
                                                  int line = __builtin_LINE())
{
  return ExceptionFactory(sourceUnit, line)
      .createException<SerializationException>("Deserializing of object %s failed", typeName);
}
} // namespace QenSerialize

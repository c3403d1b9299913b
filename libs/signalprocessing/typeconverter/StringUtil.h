#pragma once

#include "utilities/Export.h"

#include <string>
#include <typeinfo>

namespace StringUtil
{
namespace Detail
{
QEN_FILE_IO_EXPORT std::string DisplayName(std::type_info const& type);
}

/// Display name of a sample element type: "Int8_t" to "Int64_t", "Uint8_t" to "Uint64_t", "Float32_t", "Float64_t"; for
/// any other type what std::type_info::name gives. The value only carries the type.
template <class T>
std::string TypeInfoToString(T const&)
{
  return Detail::DisplayName(typeid(T));
}
} // namespace StringUtil

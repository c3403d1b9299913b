#include "signalprocessing/typeconverter/StringUtil.h"

#include <array>
#include <utility>

namespace
{
struct DisplayNameEntry
{
  std::type_info const& type;
  char const* name;
};
} // namespace

std::string StringUtil::Detail::DisplayName(std::type_info const& type)
{
  std::array<DisplayNameEntry, 10> const table{{
      {typeid(signed char), "Int8_t"},
      {typeid(short), "Int16_t"},
      {typeid(int), "Int32_t"},
      {typeid(long long), "Int64_t"},
      {typeid(unsigned char), "Uint8_t"},
      {typeid(unsigned short), "Uint16_t"},
      {typeid(unsigned int), "Uint32_t"},
      {typeid(unsigned long long), "Uint64_t"},
      {typeid(float), "Float32_t"},
      {typeid(double), "Float64_t"},
  }};
  for (auto const& entry : table)
  {
    if (entry.type == type)
      return entry.name;
  }
  return type.name();
}

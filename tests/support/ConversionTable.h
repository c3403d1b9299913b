#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// Which sample element type converts to which, written down by hand: a row for each source, a column for each target,
/// both in the order of the sample types' numbers. W widens, C copies, N narrows and is refused.
inline constexpr std::array<std::string_view, 10> kConversionTable = {
    //  signed      float unsigned
    // 8 16 32 64   32 64   8 16 32 64
    "CWWWWWNNNN", // Int8
    "NCWWWWNNNN", // Int16
    "NNCWWWNNNN", // Int32
    "NNNCWWNNNN", // Int64
    "NNNNCWNNNN", // Float32
    "NNNNNCNNNN", // Float64
    "NWWWWWCWWW", // Uint8
    "NNWWWWNCWW", // Uint16
    "NNNWWWNNCW", // Uint32
    "NNNNWWNNNC", // Uint64
};

inline constexpr std::array<char const*, 10> kDisplayNames = {
    "Int8_t", "Int16_t", "Int32_t", "Int64_t", "Float32_t", "Float64_t", "Uint8_t", "Uint16_t", "Uint32_t", "Uint64_t"};

inline constexpr char const* kTypeConverterUnit = "libs/signalprocessing/typeconverter/TypeConverter.cpp";
inline constexpr char const* kMissingArrayMessage =
    "Wrong parameter for type conversion: ArraySize>0 and in- or output pointer NULL!";

inline std::string NarrowingMessage(std::size_t from, std::size_t to)
{
  return std::string("Conversion from ") + kDisplayNames.at(from) + " to " + kDisplayNames.at(to) +
         " narrows the value range!";
}

/// Plain conversion of one array by the language's own rule, for the pairs that are not refused.
template <class In, class Out>
void PlainConvert(unsigned long long count, void const* in, void* out)
{
  for (unsigned long long i = 0; i < count; ++i)
    static_cast<Out*>(out)[i] = static_cast<Out>(static_cast<In const*>(in)[i]);
}

#pragma once

#include "platform/VelmoraException.h"
#include "signalprocessing/typeconverter/ConversionInstances.h"
#include "signalprocessing/typeconverter/StringUtil.h"
#include "utilities/Export.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>

/// A conversion that is refused.
class QEN_FILE_IO_EXPORT TypeConverterException : public VelmoraException
{
public:
  TypeConverterException();
  ~TypeConverterException() override;
  VelmoraException* clone() const override;
};

/// Conversion of whole arrays between the ten sample element types.
namespace TypeConverter
{
/// Whether Out cannot hold the value range of In: signed to unsigned (the floating types are signed), or a smaller
/// largest value. The pair alone decides, never the values. Integers to float count as widening although they may be
/// rounded.
template <class In, class Out>
inline constexpr bool kNarrows = (std::is_signed_v<In> && std::is_unsigned_v<Out>) ||
                                 static_cast<long double>(std::numeric_limits<Out>::max()) <
                                     static_cast<long double>(std::numeric_limits<In>::max());

namespace Detail
{
[[noreturn]] QEN_FILE_IO_EXPORT void RefuseArrays();
[[noreturn]] QEN_FILE_IO_EXPORT void RefuseNarrowing(std::string const& from, std::string const& to);

template <class In, class Out>
void RequireConvertible(unsigned long long count, In const* in, Out* out)
{
  if (count != 0 && (in == nullptr || out == nullptr))
    RefuseArrays();
  if constexpr (kNarrows<In, Out>)
    RefuseNarrowing(StringUtil::TypeInfoToString(std::numeric_limits<In>::max()),
                    StringUtil::TypeInfoToString(std::numeric_limits<Out>::max()));
}

template <class In, class Out>
[[gnu::always_inline]] inline void ConvertElements(std::size_t count, In const* in, Out* out)
{
  if constexpr (std::is_same_v<In, Out>)
    std::copy_n(in, count, out);
  else
    std::transform(in, in + count, out, [](In value) { return static_cast<Out>(value); });
}
} // namespace Detail

/// Converts count elements of in by the language's value conversion; equal types are copied bit for bit.
///
/// @param count number of elements, may be 0, in which case the pointers are not looked at
/// @param in,out arrays of at least count elements, aligned for their types, not overlapping; the caller owns both
///
/// Throws TypeConverterException, first for a null array with a count above 0, then for every pair with kNarrows,
/// whatever the count; out is untouched then. Any thread may convert any arrays of its own.
template <class In, class Out>
void Convert(unsigned long long count, In const* in, Out* out)
{
  Detail::RequireConvertible(count, in, out);
  if constexpr (!kNarrows<In, Out>)
    Detail::ConvertElements(static_cast<std::size_t>(count), in, out);
}

// The instances that the library holds, built for several vector widths.
#define QEN_DECLARE_CONVERSION(In, Out)                                                                                \
  template <>                                                                                                          \
  QEN_FILE_IO_EXPORT void Convert<In, Out>(unsigned long long count, In const* in, Out* out);
QEN_EXPORTED_CONVERSIONS(QEN_DECLARE_CONVERSION)
#undef QEN_DECLARE_CONVERSION
#ifdef QEN_FILE_IO_BUILDING
#define QEN_DECLARE_CONVERSION(In, Out)                                                                                \
  template <>                                                                                                          \
  void Convert<In, Out>(unsigned long long count, In const* in, Out* out);
QEN_INTERNAL_CONVERSIONS(QEN_DECLARE_CONVERSION)
#undef QEN_DECLARE_CONVERSION
#endif
} // namespace TypeConverter

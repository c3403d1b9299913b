#include "signalprocessing/typeconverter/TypeConverter.h"

#include "signalprocessing/typeconverter/IntegerToFloating.h"
#include "utilities/VectorClones.h"
#include "utilities/exception/ExceptionFactory.h"

namespace
{
constexpr char const kSourceUnit[] = "libs/signalprocessing/typeconverter/TypeConverter.cpp";

template <class In, class Out>
QEN_VECTOR_CLONES void convertElements(std::size_t count, In const* in, Out* out)
{
  if constexpr (std::is_same_v<In, Out>)
    TypeConverter::Detail::ConvertElements(count, in, out);
  else
    std::transform(in, in + count, out, [](In value) { return IntegerToFloating::Convert<Out>(value); });
}

template <class In, class Out>
void convert(unsigned long long count, In const* in, Out* out)
{
  TypeConverter::Detail::RequireConvertible(count, in, out);
  if constexpr (!TypeConverter::kNarrows<In, Out>)
    convertElements(static_cast<std::size_t>(count), in, out);
}
} // namespace

TypeConverterException::TypeConverterException() : VelmoraException("TypeConverterException") {}
TypeConverterException::~TypeConverterException() = default;
VelmoraException* TypeConverterException::clone() const { return new TypeConverterException(*this); }

namespace TypeConverter
{
void Detail::RefuseArrays()
{
  throw ExceptionFactory(kSourceUnit, __LINE__)
      .createException<TypeConverterException>(
          "Wrong parameter for type conversion: ArraySize>0 and in- or output pointer NULL!");
}

void Detail::RefuseNarrowing(std::string const& from, std::string const& to)
{
  throw ExceptionFactory(kSourceUnit, __LINE__)
      .createException<TypeConverterException>("Conversion from %s to %s narrows the value range!", from.c_str(),
                                               to.c_str());
}

#define QEN_DEFINE_CONVERSION(In, Out)                                                                                 \
  template <>                                                                                                          \
  void Convert<In, Out>(unsigned long long count, In const* in, Out* out)                                              \
  {                                                                                                                    \
    convert(count, in, out);                                                                                           \
  }
QEN_EXPORTED_CONVERSIONS(QEN_DEFINE_CONVERSION)
QEN_INTERNAL_CONVERSIONS(QEN_DEFINE_CONVERSION)
} // namespace TypeConverter

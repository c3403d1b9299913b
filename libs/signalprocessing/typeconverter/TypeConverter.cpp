// Built with vector clones before the header gives them up for its users.
#include "utilities/VectorClones.h"

#include "signalprocessing/typeconverter/TypeConverter.h"

#include "utilities/exception/ExceptionFactory.h"

namespace
{
constexpr char const kSourceUnit[] = "libs/signalprocessing/typeconverter/TypeConverter.cpp";
}

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

#define QEN_EXPORT_CONVERSION(In, Out)                                                                                 \
  template QEN_FILE_IO_EXPORT void Convert<In, Out>(unsigned long long, In const*, Out*);
#define QEN_KEEP_CONVERSION(In, Out) template void Convert<In, Out>(unsigned long long, In const*, Out*);
QEN_EXPORTED_CONVERSIONS(QEN_EXPORT_CONVERSION)
QEN_INTERNAL_CONVERSIONS(QEN_KEEP_CONVERSION)
} // namespace TypeConverter

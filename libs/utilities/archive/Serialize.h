#pragma once

#include "platform/VelmoraException.h"
#include "utilities/Export.h"

#include <iosfwd>
#include <string>

/// Single values as bytes that depend on neither word size nor byte order: integers as a count byte and their bytes,
/// least significant first; floating-point numbers as decimal text and a blank; strings as their length and their
/// bytes.
///
/// Failures are SerializationException with the name of the value's type, also when it is memory that the stream lacks.
/// A stream whose exceptions() are switched on throws its own exception instead. Either way the stream has its
/// precision and format flags back, and its position is wherever the failed operation left it. Numbers are written and
/// read in the stream's own locale.
///
/// Threads. One stream at a time belongs to one thread; nothing else is shared.
namespace QenSerialize
{
class QEN_FILE_IO_EXPORT SerializationException : public VelmoraException
{
public:
  SerializationException();
  ~SerializationException() override;
  VelmoraException* clone() const override;
};

/// One count byte, 1 to 4, and as many bytes as the value needs.
QEN_FILE_IO_EXPORT void serialize(unsigned int const& value, std::ostream& stream);
/// A failed read leaves 0. The upper bits 4 to 6 of the count byte are ignored; a count of 0 is the value 0.
QEN_FILE_IO_EXPORT void deserialize(unsigned int& value, std::istream& stream);

/// Up to 35 significant digits and a blank, enough for every bit to come back; "inf ", "ninf " and "NaN ".
QEN_FILE_IO_EXPORT void serialize(float const& value, std::ostream& stream);
QEN_FILE_IO_EXPORT void serialize(double const& value, std::ostream& stream);
/// Every NaN comes back as the quiet one.
QEN_FILE_IO_EXPORT void deserialize(double& value, std::istream& stream);
/// Reads what serialize wrote for a float or a double.
/// @return true on failure, which is noticed by the missing blank behind the number; nothing is thrown for it
template <class T>
QEN_FILE_IO_EXPORT bool deserialize_floating_point(T& value, std::istream& stream);

/// The length as an unsigned integer, so at most 2^32 - 1, and all bytes.
QEN_FILE_IO_EXPORT void serialize(std::string const& value, std::ostream& stream);
/// The text ends at its first zero byte, though all of its bytes are taken. A failed read leaves the empty string.
/// Memory grows with the bytes that really arrive, whatever the length says.
QEN_FILE_IO_EXPORT void deserialize(std::string& value, std::istream& stream);
} // namespace QenSerialize

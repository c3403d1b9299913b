#include "utilities/archive/Serialize.h"

#include "utilities/archive/SerializeErrors.h"

#include <algorithm>
#include <array>
#include <istream>
#include <limits>
#include <ostream>

namespace QenSerialize
{
namespace
{
constexpr char const kSourceUnit[] = "libs/utilities/archive/Serialize.cpp";
constexpr int kPrecision = 35;
constexpr unsigned int kMaxByteCount = 4;

SerializationException serializingFailed(char const* typeName, int line = __builtin_LINE())
{
  return ExceptionFactory(kSourceUnit, line).createException<SerializationException>(kSerializingFailed, typeName);
}

SerializationException deserializingFailed(char const* typeName, int line = __builtin_LINE())
{
  return DeserializingFailed(kSourceUnit, typeName, line);
}

/// Full precision as long as it lives; then the stream has its own settings back, also when it threw.
class FullPrecision
{
public:
  explicit FullPrecision(std::ios_base& stream)
    : stream_(stream), precision_(stream.precision(kPrecision)), flags_(stream.flags())
  {
  }
  FullPrecision(FullPrecision const&) = delete;
  FullPrecision& operator=(FullPrecision const&) = delete;
  ~FullPrecision()
  {
    stream_.precision(precision_);
    stream_.flags(flags_);
  }

private:
  std::ios_base& stream_;
  std::streamsize precision_;
  std::ios_base::fmtflags flags_;
};

/// Empties a string at the end of a block that was left early.
class ClearUnlessKept
{
public:
  explicit ClearUnlessKept(std::string& text) : text_(text) {}
  ClearUnlessKept(ClearUnlessKept const&) = delete;
  ClearUnlessKept& operator=(ClearUnlessKept const&) = delete;
  ~ClearUnlessKept()
  {
    if (!isKept_)
      text_.clear();
  }
  void Keep() { isKept_ = true; }

private:
  std::string& text_;
  bool isKept_ = false;
};

void writeInteger(unsigned int value, std::ostream& stream, char const* typeName)
{
  std::array<char, 1 + kMaxByteCount> bytes{};
  unsigned int count = 0;
  do
  {
    bytes[++count] = static_cast<char>(value & 0xFFU);
    value >>= 8U;
  } while (value != 0);
  bytes[0] = static_cast<char>(count);
  stream.write(bytes.data(), static_cast<std::streamsize>(count) + 1);
  if (stream.fail())
    throw serializingFailed(typeName);
}

unsigned int readInteger(std::istream& stream, char const* typeName)
{
  constexpr int kCountMask = 0x8F;
  int const first = stream.get();
  if (stream.fail())
    throw deserializingFailed(typeName);
  unsigned int const count = static_cast<unsigned int>(first & kCountMask);
  if (count > kMaxByteCount)
    throw deserializingFailed(typeName);
  std::array<char, kMaxByteCount> bytes{};
  stream.read(bytes.data(), static_cast<std::streamsize>(count));
  if (stream.fail())
    throw deserializingFailed(typeName);
  unsigned int value = 0;
  for (unsigned int index = count; index > 0; --index)
    value = value << 8U | static_cast<unsigned char>(bytes[index - 1]);
  return value;
}

void writeText(std::string const& text, std::ostream& stream)
{
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

template <class T>
void writeNumber(T value, std::ostream& stream, char const* typeName)
{
  {
    FullPrecision const settings(stream);
    if (value > std::numeric_limits<T>::max())
      writeText("inf ", stream);
    else if (value < std::numeric_limits<T>::lowest())
      writeText("ninf ", stream);
    else if (value <= std::numeric_limits<T>::max())
      (stream << value).put(' ');
    else
      writeText("NaN ", stream);
  }
  if (stream.fail())
    throw serializingFailed(typeName);
}

/// Reads `length` bytes, with no more memory than twice what has arrived.
void readBytes(std::string& text, std::size_t length, std::istream& stream)
{
  constexpr std::size_t kFirstChunk = 4096;
  text.clear();
  while (text.size() < length && !stream.fail())
  {
    std::size_t const start = text.size();
    text.resize(std::min(length, std::max(kFirstChunk, start * 2)));
    stream.read(text.data() + start, static_cast<std::streamsize>(text.size() - start));
  }
}
} // namespace

SerializationException::SerializationException() : VelmoraException("SerializationException") {}
SerializationException::~SerializationException() = default;
VelmoraException* SerializationException::clone() const { return new SerializationException(*this); }

void serialize(unsigned int const& value, std::ostream& stream) { writeInteger(value, stream, "unsigned int"); }

void deserialize(unsigned int& value, std::istream& stream)
{
  value = 0;
  value = readInteger(stream, "unsigned int");
}

void serialize(float const& value, std::ostream& stream) { writeNumber(value, stream, "float"); }

void serialize(double const& value, std::ostream& stream) { writeNumber(value, stream, "double"); }

template <class T>
bool deserialize_floating_point(T& value, std::istream& stream)
{
  {
    FullPrecision const settings(stream);
    // The first letter tells which text it is; the other letters are taken unread.
    switch (stream.peek())
    {
    case 'i':
      value = std::numeric_limits<T>::infinity();
      stream.ignore(3);
      break;
    case 'n':
      value = -std::numeric_limits<T>::infinity();
      stream.ignore(4);
      break;
    case 'N':
      value = std::numeric_limits<T>::quiet_NaN();
      stream.ignore(3);
      break;
    default:
      stream >> value;
    }
  }
  return stream.get() != ' ';
}

template QEN_FILE_IO_EXPORT bool deserialize_floating_point<float>(float&, std::istream&);
template QEN_FILE_IO_EXPORT bool deserialize_floating_point<double>(double&, std::istream&);

void deserialize(double& value, std::istream& stream)
{
  if (deserialize_floating_point(value, stream))
    throw deserializingFailed("double");
}

void serialize(std::string const& value, std::ostream& stream)
{
  try
  {
    if (value.size() > std::numeric_limits<unsigned int>::max())
      throw serializingFailed("unsigned long");
    writeInteger(static_cast<unsigned int>(value.size()), stream, "unsigned long");
  }
  catch (SerializationException& cause)
  {
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<SerializationException>(cause, kSerializingFailed, "std::string");
  }
  writeText(value, stream);
  if (stream.fail())
    throw serializingFailed("std::string");
}

void deserialize(std::string& value, std::istream& stream)
{
  ClearUnlessKept failure(value);
  std::size_t length = 0;
  try
  {
    length = readInteger(stream, "unsigned long");
  }
  catch (SerializationException& cause)
  {
    throw ExceptionFactory(kSourceUnit, __LINE__)
        .createException<SerializationException>(cause, kDeserializingFailed, "std::string");
  }
  readBytes(value, length, stream);
  if (stream.fail())
    throw deserializingFailed("std::string");
  value.resize(std::min(value.size(), value.find('\0')));
  failure.Keep();
}
} // namespace QenSerialize

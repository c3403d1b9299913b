#pragma once

#include "platform/Export.h"
#include "platform/VelmoraException.h"

#include <array>
#include <cstddef>
#include <functional>
#include <string>

/// A text that is no UUID.
class QEN_PLATFORM_EXPORT UuidException : public VelmoraException
{
public:
  UuidException();
  ~UuidException() override;
  VelmoraException* clone() const override;
};

/// A 16-byte identifier (RFC 4122), a plain value.
class QEN_PLATFORM_EXPORT Uuid
{
public:
  /// The null identifier: 16 zero bytes.
  Uuid();
  /// Reads what ToString gives, in upper or lower case. Empty text is the null identifier; anything else throws
  /// UuidException.
  explicit Uuid(std::string const& text);
  /// A random identifier (version 4).
  static Uuid CreateUuid();

  /// The 16 bytes in text order; valid as long as the object.
  unsigned char const* GetPlainUuid() const;
  /// @param bytes 16 bytes, copied
  void SetPlainUuid(unsigned char const* bytes);
  void ClearUuid();
  bool IsNull() const;
  /// 8-4-4-4-12 lower-case hexadecimal digits.
  std::string ToString() const;

  bool operator==(Uuid const& other) const;
  bool operator!=(Uuid const& other) const;
  /// Byte by byte, the order of the texts.
  bool operator<(Uuid const& other) const;

private:
  std::array<unsigned char, 16> bytes_;
};

template <>
struct std::hash<Uuid>
{
  QEN_PLATFORM_EXPORT std::size_t operator()(Uuid const& uuid) const noexcept;
};

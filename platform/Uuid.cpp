#include "platform/Uuid.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <string_view>
#include <uuid/uuid.h>

namespace
{
constexpr char const kSourceUnit[] = "Uuid.cpp";
constexpr std::size_t kTextLength = 36;
} // namespace

UuidException::UuidException() : VelmoraException("UuidException") {}
UuidException::~UuidException() = default;
VelmoraException* UuidException::clone() const { return new UuidException(*this); }

Uuid::Uuid() : bytes_{} {}

Uuid::Uuid(std::string const& text) : bytes_{}
{
  if (text.empty())
    return;
  // The length is checked here because uuid_parse stops at the first zero byte.
  if (text.size() != kTextLength || uuid_parse(text.c_str(), bytes_.data()) != 0)
    throw PlatformError<UuidException>(kSourceUnit, __LINE__, "Malformed UUID \"%s\"!", text.c_str());
}

Uuid Uuid::CreateUuid()
{
  Uuid uuid;
  uuid_generate_random(uuid.bytes_.data());
  return uuid;
}

unsigned char const* Uuid::GetPlainUuid() const { return bytes_.data(); }

void Uuid::SetPlainUuid(unsigned char const* bytes) { std::copy_n(bytes, bytes_.size(), bytes_.begin()); }

void Uuid::ClearUuid() { bytes_.fill(0); }

bool Uuid::IsNull() const { return bytes_ == decltype(bytes_){}; }

std::string Uuid::ToString() const
{
  std::string text(kTextLength, '\0');
  uuid_unparse_lower(bytes_.data(), text.data());
  return text;
}

bool Uuid::operator==(Uuid const& other) const { return bytes_ == other.bytes_; }

bool Uuid::operator!=(Uuid const& other) const { return !(*this == other); }

bool Uuid::operator<(Uuid const& other) const { return bytes_ < other.bytes_; }

std::size_t std::hash<Uuid>::operator()(Uuid const& uuid) const noexcept
{
  constexpr std::size_t kUuidSize = 16;
  // All bytes count: identifiers made by hand often differ in their last ones only.
  return std::hash<std::string_view>{}(std::string_view(reinterpret_cast<char const*>(uuid.GetPlainUuid()), kUuidSize));
}

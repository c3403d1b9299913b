#include "SoundContainer.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{
/// How the chunks of a container are laid out.
struct Layout
{
  std::string_view magic;
  std::string_view dataName;
  std::size_t nameLength; ///< bytes of a chunk's name, of which the first four are compared
  std::size_t sizeLength; ///< bytes of a chunk's size
  std::size_t firstChunk; ///< position
  std::size_t alignment;  ///< of chunks
  std::size_t dataHead;   ///< bytes at the start of the samples chunk that are no samples
  bool bigEndian;
  bool sizeCountsHead; ///< whether a chunk's size counts its name and size too
};

constexpr Layout kLayouts[] = {
    {"RIFF", "data", 4, 4, 12, 2, 0, false, false}, {"RIFX", "data", 4, 4, 12, 2, 0, true, false},
    {"RF64", "data", 4, 4, 12, 2, 0, false, false}, {"FORM", "SSND", 4, 4, 12, 2, 8, true, false},
    {"riff", "data", 16, 8, 40, 8, 0, false, true},
};
constexpr std::string_view kOtherMagics[] = {"fLaC", "OggS", ".snd", "caff", "ID3"};

constexpr unsigned long long kUnknownSize32 = 0xFFFFFFFF;

unsigned long long Number(std::span<unsigned char const> bytes, bool bigEndian)
{
  unsigned long long number = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    number = (number << 8) | bytes[bigEndian ? i : bytes.size() - 1 - i];
  return number;
}

std::string_view AsText(std::span<unsigned char const> bytes)
{
  return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

std::string Magic(InputFile const& file)
{
  std::array<unsigned char, 4> bytes;
  return std::string(AsText({bytes.data(), file.ReadAt(0, bytes)}));
}

/// Size of the samples in the ds64 chunk, with which an RF64 file begins.
unsigned long long SizeInDs64(InputFile const& file, unsigned long long announced)
{
  std::array<unsigned char, 36> bytes;
  if (file.ReadAt(12, bytes) != bytes.size() || AsText(std::span(bytes).first(4)) != "ds64")
    return announced;
  return Number(std::span(bytes).subspan(16, 8), false);
}

std::optional<unsigned long long> Walk(InputFile const& file, Layout const& layout)
{
  std::size_t const headLength = layout.nameLength + layout.sizeLength;
  std::array<unsigned char, 24> bytes;
  std::span<unsigned char> const head = std::span(bytes).first(headLength);
  unsigned long long position = layout.firstChunk;
  while (position < file.Size() && file.ReadAt(position, head) == headLength)
  {
    unsigned long long size = Number(head.subspan(layout.nameLength), layout.bigEndian);
    if (layout.sizeCountsHead)
      size -= std::min<unsigned long long>(size, headLength);
    position += headLength;
    if (AsText(head.first(4)) == layout.dataName)
    {
      if (layout.magic == "RF64" && size == kUnknownSize32)
        size = SizeInDs64(file, size);
      return size - std::min<unsigned long long>(size, layout.dataHead);
    }
    if (size > file.Size() - position)
      break;
    position += (size + layout.alignment - 1) / layout.alignment * layout.alignment;
  }
  return std::nullopt;
}
} // namespace

bool SoundContainer::Recognise(InputFile const& file)
{
  std::string const magic = Magic(file);
  auto const matches = [&](std::string_view known) { return !known.empty() && magic.starts_with(known); };
  return std::any_of(std::begin(kLayouts), std::end(kLayouts), [&](Layout const& l) { return matches(l.magic); }) ||
         std::any_of(std::begin(kOtherMagics), std::end(kOtherMagics), matches);
}

std::optional<unsigned long long> SoundContainer::AnnouncedBytes(InputFile const& file)
{
  std::string const magic = Magic(file);
  for (Layout const& layout : kLayouts)
    if (magic == layout.magic)
      return Walk(file, layout);
  return std::nullopt;
}

#include "Text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace
{
constexpr char kDigits[] = "0123456789abcdef";

unsigned char Byte(std::string_view bytes, std::size_t position) { return static_cast<unsigned char>(bytes[position]); }

/// Length of the well-formed UTF-8 sequence at a position, 0 when there is none.
std::size_t SequenceLength(std::string_view bytes, std::size_t position)
{
  unsigned char const lead = Byte(bytes, position);
  std::size_t const length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length == 0 || length > bytes.size() - position)
    return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((Byte(bytes, position + i) & 0xC0) != 0x80)
      return 0;
  if (length < 3)
    return length;
  // Overlong forms, surrogates and what lies beyond U+10FFFF show in the second byte.
  unsigned char const second = Byte(bytes, position + 1);
  bool const wrong = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                     (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return wrong ? 0 : length;
}

bool IsControl(std::string_view bytes, std::size_t position, std::size_t length)
{
  unsigned char const lead = Byte(bytes, position);
  if (length == 1)
    return lead < 0x20 || lead == 0x7F;
  return length == 2 && lead == 0xC2 && Byte(bytes, position + 1) < 0xA0;
}

std::string Escape(unsigned char byte)
{
  switch (byte)
  {
  case '\n':
    return "\\n";
  case '\t':
    return "\\t";
  case '\r':
    return "\\r";
  default:
    return {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
  }
}
/// Not-a-number without its sign, which processors give it differently.
template <class Write, class T>
std::string Number(Write write, T value)
{
  if (std::isnan(value))
    return "nan";
  std::array<char, 400> text; // the largest double has 309 digits
  return {text.data(), write(text.data(), text.data() + text.size()).ptr};
}
} // namespace

bool Text::IsUtf8(std::string_view bytes)
{
  for (std::size_t position = 0; position < bytes.size();)
  {
    std::size_t const length = SequenceLength(bytes, position);
    if (length == 0)
      return false;
    position += length;
  }
  return true;
}

std::string Text::Printable(std::string_view bytes)
{
  std::string text;
  for (std::size_t position = 0; position < bytes.size();)
  {
    std::size_t const length = SequenceLength(bytes, position);
    if (length != 0 && !IsControl(bytes, position, length))
    {
      text += bytes.substr(position, length);
      position += length;
      continue;
    }
    for (std::size_t const end = position + std::max<std::size_t>(length, 1); position < end; ++position)
      text += Escape(Byte(bytes, position));
  }
  return text;
}

std::string Text::Quoted(std::string_view text)
{
  constexpr std::size_t kShown = 40;
  return "\"" + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "..." : "") + "\"";
}

std::string Text::Hex(std::string_view bytes)
{
  std::string text;
  for (std::size_t position = 0; position < bytes.size(); ++position)
  {
    text += kDigits[Byte(bytes, position) >> 4];
    text += kDigits[Byte(bytes, position) & 15];
  }
  return text;
}

std::string Text::Shortest(double value)
{
  return Number([=](char* begin, char* end) { return std::to_chars(begin, end, value); }, value);
}

std::string Text::Shortest(float value)
{
  return Number([=](char* begin, char* end) { return std::to_chars(begin, end, value); }, value);
}

std::string Text::Rounded(double value, int digits)
{
  return Number([=](char* begin, char* end)
                { return std::to_chars(begin, end, value, std::chars_format::general, digits); },
                value);
}

std::string Text::Fixed(double value, int decimals)
{
  return Number([=](char* begin, char* end)
                { return std::to_chars(begin, end, value, std::chars_format::fixed, decimals); },
                value);
}

std::string Text::Hex16(unsigned value)
{
  std::string text = "0x";
  for (int shift = 12; shift >= 0; shift -= 4)
    text += kDigits[(value >> shift) & 15];
  return text;
}

std::string Text::Join(std::span<std::string const> parts, std::string_view separator)
{
  std::string text;
  for (std::string const& part : parts)
  {
    if (!text.empty())
      text += separator;
    text += part;
  }
  return text;
}

std::string Text::Counted(unsigned long long count, std::string_view singular, std::string_view plural)
{
  std::string text = std::to_string(count) + " ";
  text += count == 1 || plural.empty() ? singular : plural;
  if (count != 1 && plural.empty())
    text += "s";
  return text;
}

std::string Text::Right(std::string const& text, std::size_t width)
{
  return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

std::string Text::Left(std::string text, std::size_t width)
{
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::string Text::Lower(std::string_view text)
{
  std::string lower(text);
  for (char& letter : lower)
    if (letter >= 'A' && letter <= 'Z')
      letter = static_cast<char>(letter - 'A' + 'a');
  return lower;
}

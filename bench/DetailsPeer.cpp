#include "DetailsPeer.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace
{
constexpr char kUuidFormat[] = "%s%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x%s\n";
constexpr char kUuidInput[] = "%2x%2x%2x%2x-%2x%2x-%2x%2x-%2x%2x-%2x%2x%2x%2x%2x%2x";
constexpr std::size_t kUuidLength = 36;

bool readUuid(std::string const& text, unsigned* b)
{
  return text.size() == kUuidLength &&
         std::sscanf(text.c_str(), kUuidInput, b, b + 1, b + 2, b + 3, b + 4, b + 5, b + 6, b + 7, b + 8, b + 9, b + 10,
                     b + 11, b + 12, b + 13, b + 14, b + 15) == 16;
}

bool readNumber(std::string const& text, double& number)
{
  char* end = nullptr;
  number = std::strtod(text.c_str(), &end);
  char again[32];
  std::snprintf(again, sizeof again, "%g", number);
  return !text.empty() && *end == 0 && text == again;
}
} // namespace

DetailsPeer::DetailsPeer(std::string const& document)
{
  std::istringstream stream(document);
  for (std::string text; std::getline(stream, text);)
  {
    Line line;
    std::size_t const first = text.find('>');
    std::size_t const last = text.rfind("</");
    bool const hasValue = last != std::string::npos && first < last;
    line.head = hasValue ? text.substr(0, first + 1) : text;
    line.text = hasValue ? text.substr(first + 1, last - first - 1) : "";
    line.tail = hasValue ? text.substr(last) : "";
    if (readUuid(line.text, line.bytes))
      line.kind = Line::Kind::Uuid;
    else if (readNumber(line.text, line.number))
      line.kind = Line::Kind::Number;
    lines_.push_back(std::move(line));
  }
}

std::string DetailsPeer::Write() const
{
  std::string document;
  char buffer[512];
  for (Line const& line : lines_)
  {
    unsigned const* const b = line.bytes;
    int length = 0;
    switch (line.kind)
    {
    case Line::Kind::Number:
      length = std::snprintf(buffer, sizeof buffer, "%s%g%s\n", line.head.c_str(), line.number, line.tail.c_str());
      break;
    case Line::Kind::Uuid:
      length = std::snprintf(buffer, sizeof buffer, kUuidFormat, line.head.c_str(), b[0], b[1], b[2], b[3], b[4], b[5],
                             b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15], line.tail.c_str());
      break;
    case Line::Kind::Text:
      length =
          std::snprintf(buffer, sizeof buffer, "%s%s%s\n", line.head.c_str(), line.text.c_str(), line.tail.c_str());
    }
    document.append(buffer, static_cast<std::size_t>(length));
  }
  return document;
}

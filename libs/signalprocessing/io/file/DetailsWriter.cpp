#include "signalprocessing/io/file/DetailsWriter.h"

#include "platform/Organisation.h"

#include <locale>
#include <new>
#include <sstream>

namespace
{
constexpr char const kPrefix[] = "vel:";
constexpr char const kFormatVersion[] = "1.0.0.0";
constexpr std::string_view kIndent = "   ";
} // namespace

void DetailsWriter::openDocument(std::string_view name)
{
  writeText("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<");
  writeText(kPrefix);
  writeText(name);
  writeText(" xmlns:vel=\"");
  writeText(Organisation::kNamespaceUri);
  writeText("\">\n");
  ++level_;
  Element("FileVersionXml", kFormatVersion);
}

void DetailsWriter::closeDocument(std::string_view name)
{
  --level_;
  writeEndTag(name);
}

// Unformatted: a field width that was left in the stream is the first number's.
void DetailsWriter::writeText(std::string_view text)
{
  stream_.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void DetailsWriter::writeIndent()
{
  for (unsigned int level = 0; level < level_; ++level)
    writeText(kIndent);
}

void DetailsWriter::writeStartTag(std::string_view name)
{
  writeText("<");
  writeText(kPrefix);
  writeText(name);
  writeText(">");
}

void DetailsWriter::writeEndTag(std::string_view name)
{
  writeText("</");
  writeText(kPrefix);
  writeText(name);
  writeText(">");
}

std::string DocumentText(std::function<void(std::stringstream&)> const& write)
{
  std::stringstream stream;
  stream.imbue(std::locale::classic());
  write(stream);
  if (!stream)
    throw std::bad_alloc();
  return stream.str();
}

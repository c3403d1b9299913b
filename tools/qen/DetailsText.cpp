#include "DetailsText.h"

#include "Text.h"

#include <stdexcept>

namespace
{
bool IsBlank(std::string_view bytes, std::size_t position)
{
  return bytes[position] == ' ' || bytes.substr(position).starts_with("\xC2\xA0");
}

bool HasBlanksAround(std::string_view text)
{
  return !text.empty() && (IsBlank(text, 0) || text.ends_with(' ') || text.ends_with("\xC2\xA0"));
}
} // namespace

std::string DetailsText::Problem(std::string_view text)
{
  if (!Text::IsUtf8(text))
    return "is no UTF-8";
  if (Text::Printable(text) != text)
    return "holds a control character";
  for (std::string_view const markup : {"<", "&", "]]>"})
    if (text.find(markup) != std::string_view::npos)
      return "holds " + std::string(markup);
  if (text.find("\xEF\xBF\xBE") != std::string_view::npos || text.find("\xEF\xBF\xBF") != std::string_view::npos)
    return "holds a character that XML does not have";
  return HasBlanksAround(text) ? "has blanks around it" : "";
}

void DetailsText::Require(std::string_view text)
{
  std::string const problem = Problem(text);
  if (!problem.empty())
    throw std::invalid_argument(Text::Printable(Text::Quoted(text)) + " " + problem +
                                ", which a details document cannot keep");
}

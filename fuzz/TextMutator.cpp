// Changes of XML texts: of the text in an element, or of where elements stand. Markup stays balanced, and numbers and
// identifiers stay readable, without which everything else in a document goes unread.

#include "TextMutator.h"
#include "RepairingMutator.h"
#include "platform/Options.h"
#include "platform/Uuid.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string>
#include <vector>

namespace
{
using Mutation::Random;
using Tokens = std::vector<std::string>;

/// Markup and the texts between it, in turns, beginning with a text.
Tokens split(std::string const& text)
{
  Tokens tokens;
  for (std::size_t at = 0; at < text.size();)
  {
    std::size_t const begin = std::min(text.find('<', at), text.size());
    std::size_t const end = std::min(text.find('>', begin), text.size() - 1) + 1;
    tokens.push_back(text.substr(at, begin - at));
    tokens.push_back(text.substr(begin, end - begin));
    at = end;
  }
  tokens.emplace_back();
  return tokens;
}

std::string joined(Tokens const& tokens)
{
  std::string text;
  for (std::string const& token : tokens)
    text += token;
  return text;
}

bool isEnd(std::string const& markup) { return markup.starts_with("</"); }
bool isStart(std::string const& markup)
{
  return markup.size() > 2 && markup.front() == '<' && std::isalpha(static_cast<unsigned char>(markup[1])) != 0 &&
         !markup.ends_with("/>");
}

/// Behind the end of the element that starts at a token; no place when it does not end.
std::size_t behind(Tokens const& tokens, std::size_t start)
{
  std::size_t depth = 0;
  for (std::size_t i = start; i < tokens.size(); i += 2)
  {
    if (isStart(tokens[i]))
      ++depth;
    if (isEnd(tokens[i]) && --depth == 0)
      return i + 1;
  }
  return tokens.size();
}

/// Elements that may go or double: not those without which nothing is read.
std::vector<std::size_t> movableElements(Tokens const& tokens)
{
  std::vector<std::size_t> elements;
  for (std::size_t i = 1; i < tokens.size(); i += 2)
    if (isStart(tokens[i]) && tokens[i].find("Details") == std::string::npos &&
        tokens[i].find("vel:Signal") == std::string::npos && tokens[i].find("HeaderInfo") == std::string::npos &&
        behind(tokens, i) < tokens.size())
      elements.push_back(i);
  return elements;
}

bool isNumber(std::string const& text)
{
  double value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool isCount(std::string const& text)
{
  unsigned int value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool isUuid(std::string const& text)
{
  try
  {
    return Uuid(text).ToString() == text;
  }
  catch (UuidException const&)
  {
    return false;
  }
}

std::string oneOf(std::vector<std::string> values, Random& random) { return random.Of(values); }

/// A text that the element can be read with.
std::string readable(std::string const& markup, std::string const& text, Random& random)
{
  if (text.empty() || !isStart(markup))
    return text;
  if (markup.find("Uuid") != std::string::npos)
    return isUuid(text)
               ? text
               : oneOf({"00000000-0000-0000-0000-000000000001", "01234567-89ab-cdef-0123-456789abcdef"}, random);
  if (markup.find("NumberOf") != std::string::npos)
    return isCount(text) ? text : oneOf({"0", "1", "24", "4294967295"}, random);
  if (markup.find("Value>") != std::string::npos || markup.find("Speed") != std::string::npos)
    return isNumber(text) ? text : oneOf({"0", "-1.5", "1e-07", "nan", "-inf", "1e308"}, random);
  return text;
}

void changeText(std::string& text)
{
  Bytes bytes(text.begin(), text.end());
  Mutation::Change(bytes, 2 * bytes.size() + 16);
  std::replace_if(
      bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == '<' || byte == 0; }, ' ');
  text.assign(bytes.begin(), bytes.end());
}

void moveElement(Tokens& tokens, Random& random)
{
  std::vector<std::size_t> const elements = movableElements(tokens);
  if (elements.empty())
    return;
  std::size_t const start = elements[random.Below(elements.size())];
  auto const first = tokens.begin() + static_cast<std::ptrdiff_t>(start);
  auto const last = tokens.begin() + static_cast<std::ptrdiff_t>(behind(tokens, start) + 1);
  Tokens const element(first, last);
  if (random.OneIn(3))
  {
    tokens.erase(first, last);
    return;
  }
  std::size_t const place = random.OneIn(2) ? start : elements[random.Below(elements.size())];
  tokens.insert(tokens.begin() + static_cast<std::ptrdiff_t>(place), element.begin(), element.end());
}

std::string changed(std::string const& text, Random& random)
{
  Tokens tokens = split(text);
  if (random.OneIn(3))
    moveElement(tokens, random);
  else
    changeText(tokens[2 * random.Below(tokens.size() / 2 + 1)]);
  for (std::size_t i = 2; i < tokens.size(); i += 2)
    tokens[i] = readable(tokens[i - 1], tokens[i], random);
  tokens.front().clear();
  tokens.back().clear();
  return joined(tokens);
}

bool isRead(std::string const& text)
{
  Options parser;
  Option* const root = parser.parse(text);
  return root != nullptr && root->FindOption(TextMutation::kNeeded, false) != nullptr;
}

Bytes mutated(Bytes const& input, Random& random, std::size_t)
{
  std::string result = changed(std::string(input.begin(), input.end()), random);
  if (!isRead(result))
    result = changed(TextMutation::kSkeleton, random);
  return Bytes(result.begin(), result.end());
}
} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
  return Mutation::Mutate(data, size, maxSize, seed, mutated);
}

#include "platform/Options.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <deque>
#include <map>
#include <new>
#include <pugixml.hpp>
#include <string_view>
#include <utility>

namespace
{
constexpr char const kSourceUnit[] = "Options.cpp";
constexpr std::string_view kBlanks = " \t\r\n";

using Path = std::vector<std::string_view>;

Path splitKey(char const* key)
{
  Path path;
  std::string_view rest = key;
  for (std::size_t dot = rest.find('.'); dot != std::string_view::npos; dot = rest.find('.'))
  {
    path.push_back(rest.substr(0, dot));
    rest.remove_prefix(dot + 1);
  }
  path.push_back(rest);
  return path;
}

bool isNamed(pugi::xml_node node, std::string_view name)
{
  return node.type() == pugi::node_element && name == node.name();
}

/// The first of `node` and its later siblings that has this name.
pugi::xml_node firstNamed(pugi::xml_node node, std::string_view name)
{
  while (node && !isNamed(node, name))
    node = node.next_sibling();
  return node;
}

/// The first element in document order that the path leads to from `start`. Names may repeat at every level, so a
/// branch that ends early is left for its next sibling.
pugi::xml_node firstMatch(pugi::xml_node start, Path const& path)
{
  if (path.empty() || !isNamed(start, path.front()))
    return {};
  pugi::xml_node node = start;
  std::size_t depth = 1;
  while (depth < path.size())
  {
    pugi::xml_node next = firstNamed(node.first_child(), path[depth]);
    while (!next && node != start)
    {
      --depth;
      next = firstNamed(node.next_sibling(), path[depth]);
      node = node.parent();
    }
    if (!next)
      return {};
    node = next;
    ++depth;
  }
  return node;
}

bool isText(pugi::xml_node node) { return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata; }

/// What a document may end in: the root, a comment, an instruction. The parser overlooks a "<" that is the last
/// character behind blanks.
bool endsInMarkup(std::string const& xml)
{
  std::size_t const last = xml.find_last_not_of(kBlanks);
  return last != std::string::npos && xml[last] == '>';
}

/// The root element, or none when anything but blanks stands beside it.
pugi::xml_node onlyRoot(pugi::xml_document const& document)
{
  pugi::xml_node root;
  for (pugi::xml_node const node : document)
  {
    if (node.type() == pugi::node_element && !root)
      root = node;
    else if (node.type() != pugi::node_pcdata ||
             std::string_view(node.value()).find_first_not_of(kBlanks) != std::string_view::npos)
      return {};
  }
  return root;
}

std::string_view trimmed(std::string_view text)
{
  std::size_t const first = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

template <class T>
T parseNumber(char const* key, char const* text)
{
  std::string_view digits = trimmed(text);
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-')
    digits.remove_prefix(1);
  T value{};
  auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size())
    throw PlatformError<OptionException>(kSourceUnit, __LINE__, "Malformed number \"%.64s\" in option \"%.256s\"!",
                                         text, key);
  return value;
}
} // namespace

OptionException::OptionException() : VelmoraException("OptionException") {}
OptionException::~OptionException() = default;
VelmoraException* OptionException::clone() const { return new OptionException(*this); }

/// One parsed text and what has been looked up in it. Options are made on demand: most elements are never asked for.
class OptionTree
{
public:
  /// False when the text is no XML with one root element.
  bool Parse(std::string const& xml)
  {
    // Blank text counts, and text outside the root must be seen to be refused.
    constexpr unsigned int kFlags =
        pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_fragment;
    if (xml.find('\0') != std::string::npos || !endsInMarkup(xml))
      return false;
    pugi::xml_parse_result const result = document_.load_buffer(xml.data(), xml.size(), kFlags);
    if (result.status == pugi::status_out_of_memory)
      throw std::bad_alloc();
    root_ = onlyRoot(document_);
    return result && root_;
  }

  Option* Root() { return optionOf(root_); }

  Option* Find(pugi::xml_node start, char const* key) { return optionOf(firstMatch(start, splitKey(key))); }

  std::vector<Option*>* FindAll(pugi::xml_node start, char const* key)
  {
    Path path = splitKey(key);
    std::string const name(path.back());
    path.pop_back();
    pugi::xml_node const parent = firstMatch(start, path);
    if (!parent)
      return nullptr;
    ListKey const question(parent.internal_object(), name);
    auto const list = lists_.find(question);
    return list == lists_.end() ? makeList(question) : &list->second;
  }

  /// Text of the match, empty when there is none.
  char const* Text(pugi::xml_node start, char const* key)
  {
    pugi::xml_node const match = firstMatch(start, splitKey(key));
    pugi::xml_node text;
    for (pugi::xml_node const child : match)
    {
      if (isText(child) && text)
        return joinedText(match);
      if (isText(child))
        text = child;
    }
    return text.value();
  }

private:
  /// An element and the name that children of it have.
  using ListKey = std::pair<pugi::xml_node_struct*, std::string>;

  Option* optionOf(pugi::xml_node node)
  {
    if (!node)
      return nullptr;
    return &found_.try_emplace(node.internal_object(), *this, node.internal_object()).first->second;
  }

  std::vector<Option*>* makeList(ListKey const& question)
  {
    std::size_t const before = listed_.size();
    try
    {
      auto list = childrenNamed(pugi::xml_node(question.first), question.second);
      return &lists_.emplace(question, std::move(list)).first->second;
    }
    catch (...)
    {
      // Nobody can reach the options of a list that is not there.
      while (listed_.size() != before)
        listed_.pop_back();
      throw;
    }
  }

  std::vector<Option*> childrenNamed(pugi::xml_node parent, std::string_view name)
  {
    auto const isWanted = [name](pugi::xml_node node) { return isNamed(node, name); };
    std::vector<Option*> list;
    // No place to spare: a list may be as long as the text.
    list.reserve(static_cast<std::size_t>(std::count_if(parent.begin(), parent.end(), isWanted)));
    for (pugi::xml_node const node : parent)
      if (isWanted(node))
        list.push_back(&listed_.emplace_back(*this, node.internal_object()));
    return list;
  }

  char const* joinedText(pugi::xml_node element)
  {
    std::string text;
    for (pugi::xml_node const child : element)
      if (isText(child))
        text += child.value();
    return texts_.try_emplace(element.internal_object(), std::move(text)).first->second.c_str();
  }

  pugi::xml_document document_;
  pugi::xml_node root_;
  std::map<pugi::xml_node_struct*, Option> found_;
  // Lists may be as long as the text, so their options are packed.
  std::deque<Option> listed_;
  std::map<ListKey, std::vector<Option*>> lists_;
  std::map<pugi::xml_node_struct*, std::string> texts_;
};

Option::Option(OptionTree& tree, pugi::xml_node_struct* node) : tree_(&tree), node_(node) {}

Option* Option::FindOption(char const* key, bool) { return tree_->Find(pugi::xml_node(node_), key); }

std::vector<Option*>* Option::FindAllOptions(char const* key) { return tree_->FindAll(pugi::xml_node(node_), key); }

template <>
char const* Option::Value<char const*>(char const* key, char const* fallback)
{
  char const* const text = tree_->Text(pugi::xml_node(node_), key);
  return *text == '\0' ? fallback : text;
}

template <>
std::string Option::Value<std::string>(char const* key, std::string fallback)
{
  char const* const text = Value<char const*>(key, nullptr);
  return text == nullptr ? std::move(fallback) : std::string(text);
}

template <>
double Option::Value<double>(char const* key, double fallback)
{
  char const* const text = Value<char const*>(key, nullptr);
  return text == nullptr ? fallback : parseNumber<double>(key, text);
}

template <>
unsigned int Option::Value<unsigned int>(char const* key, unsigned int fallback)
{
  char const* const text = Value<char const*>(key, nullptr);
  return text == nullptr ? fallback : parseNumber<unsigned int>(key, text);
}

Options::Options() = default;
Options::~Options() = default;

Option* Options::parse(std::string const& xml)
{
  auto tree = std::make_unique<OptionTree>();
  if (!tree->Parse(xml))
    return nullptr;
  // A tree that nobody can reach must not stay.
  Option* const root = tree->Root();
  trees_.push_back(std::move(tree));
  return root;
}

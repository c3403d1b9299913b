#pragma once

#include "platform/Export.h"
#include "platform/VelmoraException.h"

#include <memory>
#include <string>
#include <vector>

namespace pugi
{
struct xml_node_struct;
}

/// An option whose text is no number of the wanted type.
class QEN_PLATFORM_EXPORT OptionException : public VelmoraException
{
public:
  OptionException();
  ~OptionException() override;
  VelmoraException* clone() const override;
};

/// An element of a parsed XML text, owned by its Options.
///
/// A key is a path of element names, prefixes included, with dots between them; the first name is the element's own.
/// The match is the first element in document order that the path leads to.
///
/// Threads. Options of one tree belong to one thread at a time, also for looking things up.
class QEN_PLATFORM_EXPORT Option
{
public:
  /// The match, or null. The same question is answered by the same object.
  Option* FindOption(char const* key, bool);
  /// All children, in document order, that have the key's last name, of the match of the path before it. Null when that
  /// path has no match, an empty list when the match has no such child. Owned by the tree, like the options in it.
  std::vector<Option*>* FindAllOptions(char const* key);
  /// The value of the match; the fallback when there is none or it is empty. T is std::string, char const* (valid as
  /// long as the tree), double or unsigned int. Texts are the element's own character data, joined, blanks kept.
  /// Numbers are read without a locale, blanks around them allowed; OptionException when that is not possible.
  template <class T>
  T Value(char const* key, T fallback);

  /// For the tree, which makes its options when they are looked up.
  Option(class OptionTree& tree, pugi::xml_node_struct* node);
  Option(Option const&) = delete;
  Option& operator=(Option const&) = delete;

private:
  class OptionTree* tree_;
  pugi::xml_node_struct* node_;
};

template <>
QEN_PLATFORM_EXPORT std::string Option::Value<std::string>(char const* key, std::string fallback);
template <>
QEN_PLATFORM_EXPORT char const* Option::Value<char const*>(char const* key, char const* fallback);
template <>
QEN_PLATFORM_EXPORT double Option::Value<double>(char const* key, double fallback);
template <>
QEN_PLATFORM_EXPORT unsigned int Option::Value<unsigned int>(char const* key, unsigned int fallback);

/// The reader of the device's XML texts: owns the trees of the texts that it has parsed.
class QEN_PLATFORM_EXPORT Options
{
public:
  Options();
  Options(Options const&) = delete;
  Options& operator=(Options const&) = delete;
  /// Every Option found from the root ends here.
  ~Options();

  /// @return the root element, or null when the text is no XML with one root element: text around the root, zero bytes,
  ///         unbalanced or unquoted markup. An ampersand that starts no reference stands for itself, because documents
  ///         are written without escaping. Document types are skipped and no entity of theirs is expanded.
  /// Throws std::bad_alloc. Depth and size of the text are limited by memory alone.
  Option* parse(std::string const& xml);

private:
  std::vector<std::unique_ptr<class OptionTree>> trees_;
};

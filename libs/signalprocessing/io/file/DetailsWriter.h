#pragma once

#include <charconv>
#include <concepts>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

/// Writes a details document, one element a line, as its line table reads: a group's content, a callable, stands where
/// its lines stand. Values go in as they are, without escaping; floating-point numbers as the stream formats them.
///
/// What throws on the way leaves the lines written so far, up to the start tag of the element whose value was not to be
/// had. The state of the stream is the caller's to look at.
class DetailsWriter
{
public:
  explicit DetailsWriter(std::ostream& stream) : stream_(stream) {}

  /// The XML declaration and the root element with its namespace and format version, around the content. No line feed
  /// ends the document.
  template <std::invocable Content>
  void Document(std::string_view name, Content content)
  {
    openDocument(name);
    content();
    closeDocument(name);
  }

  /// A start tag and an end tag, each on a line of its own, around the content, which is indented by one level more.
  template <std::invocable Content>
  void Group(std::string_view name, Content content)
  {
    writeIndent();
    writeStartTag(name);
    writeText("\n");
    ++level_;
    content();
    --level_;
    writeIndent();
    writeEndTag(name);
    writeText("\n");
  }

  /// A line with a value between its tags.
  /// @param value text, an integer, a floating-point number, or a callable that gives one of these
  template <class Value>
  void Element(std::string_view name, Value const& value)
  {
    writeIndent();
    writeStartTag(name);
    write(value);
    writeEndTag(name);
    writeText("\n");
  }

private:
  template <class Value>
  void write(Value const& value)
  {
    if constexpr (std::invocable<Value>)
      write(value());
    else if constexpr (std::is_integral_v<Value>)
      writeDecimal(value);
    else if constexpr (std::is_floating_point_v<Value>)
      stream_ << value;
    else
      writeText(value);
  }

  /// Decimal digits, whatever base, sign or grouping the stream is set to.
  template <class Integer>
  void writeDecimal(Integer value)
  {
    char digits[std::numeric_limits<Integer>::digits10 + 3];
    char const* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    writeText({digits, static_cast<std::size_t>(end - digits)});
  }

  void writeText(std::string_view text);
  void openDocument(std::string_view name);
  void closeDocument(std::string_view name);
  void writeIndent();
  void writeStartTag(std::string_view name);
  void writeEndTag(std::string_view name);

  std::ostream& stream_;
  unsigned int level_ = 0;
};

/// What `write` puts into a fresh stream with default settings, in no locale. std::bad_alloc when the stream failed: a
/// document cut short by a lack of memory must not be stored.
std::string DocumentText(std::function<void(std::stringstream&)> const& write);

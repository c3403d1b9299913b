#pragma once

#include <string>
#include <vector>

/// A details document as a loop of snprintf would write it: the peer of the library's writer.
class DetailsPeer
{
public:
  /// Takes a finished document apart into the numbers, UUIDs and texts it was made of.
  explicit DetailsPeer(std::string const& document);
  /// Formats them again.
  std::string Write() const;

private:
  struct Line
  {
    enum class Kind
    {
      Text,
      Number,
      Uuid
    };
    std::string head, tail; ///< what stands before and behind the value
    Kind kind = Kind::Text;
    std::string text;
    double number = 0;
    unsigned bytes[16] = {};
  };

  std::vector<Line> lines_;
};

#include "LineReader.h"

#include <algorithm>

namespace
{
constexpr std::size_t kLongestLine = 65536;
}

void RefuseLine(unsigned long long line, std::string const& text)
{
  throw ToolError(ExitCode::Unreadable, "line " + std::to_string(line) + ": " + text);
}

bool LineReader::Next()
{
  line_.clear();
  bool ended = false;
  while (!ended && (position_ < piece_.size() || Refill()))
    ended = TakeFromPiece();
  if (!ended && line_.empty())
    return false;
  ++number_;
  if (number_ == 1 && line_.starts_with("\xEF\xBB\xBF"))
    line_.erase(0, 3);
  if (line_.find('\0') != std::string::npos)
    RefuseLine(number_, "holds a NUL byte: this is no text in UTF-8");
  return true;
}

bool LineReader::Refill()
{
  piece_ = reader_.Next();
  position_ = 0;
  return !piece_.empty();
}

/// @return whether the line ended
bool LineReader::TakeFromPiece()
{
  auto const first = piece_.begin() + static_cast<std::ptrdiff_t>(position_);
  auto const end = std::find(first, piece_.end(), static_cast<unsigned char>('\n'));
  if (static_cast<std::size_t>(end - first) > kLongestLine - line_.size())
    RefuseLine(number_ + 1, "is longer than " + std::to_string(kLongestLine) + " bytes: this is no table of numbers");
  line_.append(first, end);
  bool const ended = end != piece_.end();
  position_ = static_cast<std::size_t>(end - piece_.begin()) + (ended ? 1 : 0);
  return ended;
}

#pragma once

#include "ExitCode.h"
#include "InputFile.h"

#include <string>
#include <string_view>

/// A failure on one line of a text file.
[[noreturn]] void RefuseLine(unsigned long long line, std::string const& text);

/// Lines of a text file in UTF-8, without their line feeds and the mark at the start of the file. Takes memory for one
/// line. Refuses what no table of numbers has, with the line's number: NUL bytes and lines of more than 65536 bytes.
class LineReader
{
public:
  explicit LineReader(InputFile const& file) : reader_(file) {}

  /// Goes on to the next line; false at the end.
  bool Next();
  /// Valid until the next call of Next.
  std::string_view Line() const { return line_; }
  /// From 1.
  unsigned long long Number() const { return number_; }

private:
  bool Refill();
  bool TakeFromPiece();

  SequentialReader reader_;
  std::span<unsigned char const> piece_;
  std::size_t position_ = 0;
  std::string line_;
  unsigned long long number_ = 0;
};

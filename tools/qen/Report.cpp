#include "Report.h"

#include "Text.h"

#include <cstdio>
#include <unistd.h>

void Report::Data(std::string_view line)
{
  ClearProgress();
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

void Report::Say(std::string_view line)
{
  if (level_ != Level::Quiet)
    Talk(line);
}

void Report::Detail(std::string_view file, std::string_view text)
{
  if (level_ == Level::Verbose)
    Note(file, text);
}

void Report::Note(std::string_view file, std::string_view text)
{
  Say("qen: " + Text::Printable(file) + ": " + Text::Printable(text));
}

void Report::Error(std::string_view file, std::string_view text)
{
  Error(Text::Printable(file) + ": " + Text::Printable(text));
}

void Report::Error(std::string_view text)
{
  std::string line = "qen: ";
  line += text;
  Talk(line);
}

void Report::Progress(std::size_t position, std::size_t total, std::string_view file)
{
  if (level_ == Level::Quiet || total < 2 || isatty(STDERR_FILENO) == 0)
    return;
  ClearProgress();
  std::fprintf(stderr, "[%zu/%zu] %s", position, total, Text::Printable(file).c_str());
  std::fflush(stderr);
  progressShown_ = true;
}

bool Report::Finish()
{
  ClearProgress();
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

void Report::Talk(std::string_view line)
{
  ClearProgress();
  // Data that was said before comes first where both streams end up in one place.
  std::fflush(stdout);
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fputc('\n', stderr);
}

void Report::ClearProgress()
{
  if (progressShown_)
    std::fputs("\r\x1b[K", stderr);
  progressShown_ = false;
}

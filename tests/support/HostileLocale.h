#pragma once

#include <algorithm>
#include <cwchar>
#include <locale>
#include <string>

/// Numbers as "1.2.3,5": streams that use the global locale write and read other text.
class HostilePunctuation : public std::numpunct<char>
{
protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\1"; }
};

/// Inverts every byte on its way to and from a file, and makes positions unknowable.
class HostileFileEncoding : public std::codecvt<char, char, std::mbstate_t>
{
protected:
  bool do_always_noconv() const noexcept override { return false; }
  int do_encoding() const noexcept override { return -1; }
  int do_max_length() const noexcept override { return 1; }
  result do_out(std::mbstate_t&, char const* from, char const* fromEnd, char const*& fromNext, char* to, char* toEnd,
                char*& toNext) const override
  {
    return invert(from, fromEnd, fromNext, to, toEnd, toNext);
  }
  result do_in(std::mbstate_t&, char const* from, char const* fromEnd, char const*& fromNext, char* to, char* toEnd,
               char*& toNext) const override
  {
    return invert(from, fromEnd, fromNext, to, toEnd, toNext);
  }
  result do_unshift(std::mbstate_t&, char* to, char*, char*& toNext) const override
  {
    toNext = to;
    return noconv;
  }

private:
  static result invert(char const* from, char const* fromEnd, char const*& fromNext, char* to, char* toEnd,
                       char*& toNext)
  {
    auto const count = std::min(fromEnd - from, toEnd - to);
    toNext = std::transform(from, from + count, to, [](char byte) { return static_cast<char>(~byte); });
    fromNext = from + count;
    return fromNext == fromEnd ? ok : partial;
  }
};

/// As long as it lives the global C++ locale is one in which nothing written or read by habit comes out right.
class HostileLocale
{
public:
  HostileLocale()
    : before_(std::locale::global(
          std::locale(std::locale(std::locale::classic(), new HostilePunctuation), new HostileFileEncoding)))
  {
  }
  HostileLocale(HostileLocale const&) = delete;
  HostileLocale& operator=(HostileLocale const&) = delete;
  ~HostileLocale() { std::locale::global(before_); }

private:
  std::locale before_;
};

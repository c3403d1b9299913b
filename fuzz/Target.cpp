// The entry of every target: each input lies against an unreadable page while it is examined, and at the end stands how
// many of them were accepted.

#include "Examination.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) __attribute__((weak));

namespace
{
class Tally
{
public:
  Tally() { GTEST_FLAG_SET(throw_on_failure, true); }
  Tally(Tally const&) = delete;
  Tally& operator=(Tally const&) = delete;
  /// A target with a mutator of its own, which repairs what it changes, has to get past the checks with half the
  /// inputs.
  ~Tally()
  {
    unsigned long long const percent = inputs_ == 0 ? 0 : accepted_ * 100 / inputs_;
    bool const isTooLittle = LLVMFuzzerCustomMutator != nullptr && percent < 50;
    std::fprintf(stderr, "accepted %llu %% of %s inputs%s\n", percent, withCommas(inputs_).c_str(),
                 isTooLittle ? ": too few behind a mutator" : "");
  }

  void Count(bool accepted)
  {
    ++inputs_;
    accepted_ += accepted ? 1 : 0;
  }

private:
  static std::string withCommas(unsigned long long number)
  {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3; at -= 3)
      text.insert(at - 3, 1, ',');
    return text;
  }

  unsigned long long inputs_ = 0;
  unsigned long long accepted_ = 0;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
  static Tally tally;
  Guarded const input(std::span(data, size));
  tally.Count(Fuzzing::Examine(input.Bytes()));
  return 0;
}

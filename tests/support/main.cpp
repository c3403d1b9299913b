// The main of every test program: runs the tests in the locale of the environment, as a device's application may.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <locale>
#include <stdexcept>

namespace
{
void adoptLocaleOfTheEnvironment()
{
  try
  {
    std::setlocale(LC_ALL, "");
    std::locale::global(std::locale(""));
  }
  catch (std::runtime_error const&)
  {
    std::fprintf(stderr, "The locale that the environment names is not installed; the tests run in the C locale.\n");
  }
}

/// An emulator that does not keep AVX2 from the program would have it repeat what is tested without an emulator.
bool hasAvx2AgainstAllPromises()
{
#ifdef __x86_64__
  return std::getenv("QEN_WITHOUT_AVX2") != nullptr && __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}
} // namespace

int main(int argumentCount, char** arguments)
{
  testing::InitGoogleTest(&argumentCount, arguments);
  adoptLocaleOfTheEnvironment();
  if (hasAvx2AgainstAllPromises())
  {
    std::fprintf(stderr, "QEN_WITHOUT_AVX2 is set, but this processor has AVX2.\n");
    return 1;
  }
  return RUN_ALL_TESTS();
}

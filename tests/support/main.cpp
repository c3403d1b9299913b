// The main of every test program: runs the tests in the locale of the environment, as a device's application may.
#include <clocale>
#include <cstdio>
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
} // namespace

int main(int argumentCount, char** arguments)
{
  testing::InitGoogleTest(&argumentCount, arguments);
  adoptLocaleOfTheEnvironment();
  return RUN_ALL_TESTS();
}

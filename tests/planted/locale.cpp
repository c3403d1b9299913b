// A lane that sets a locale with a decimal comma and another letter for a capital i, and does not see this program
// fail, has not set it: neither the C library nor streams may write the number as the C locale does.
#include <cctype>
#include <cstdio>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

TEST(Planted, NumbersAndLettersOfTheGlobalLocale)
{
  char printed[8];
  std::snprintf(printed, sizeof printed, "%.1f", 1.5);
  std::ostringstream streamed;
  streamed << 1.5;

  EXPECT_EQ(printed + std::string(" ") + streamed.str() + " " + static_cast<char>(std::toupper('i')), "1.5 1.5 I");
}

// What the README shows is what there is.

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace
{
std::string readText(std::string const& path)
{
  std::ifstream file(QEN_SOURCE_DIR "/" + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(Readme, FirstProgramIsTheOneThatIsBuiltAgainstTheInstalledLibrary)
{
  std::string const source = readText("examples/first_program/main.cpp");
  std::size_t const behindTopComment = source.find('\n') + 1;
  ASSERT_GT(source.size(), behindTopComment);

  EXPECT_NE(readText("README.md").find("```cpp\n" + source.substr(behindTopComment) + "```"), std::string::npos);
}
} // namespace

// Measures what the trees of the texts that cost most hold in memory, lookups included. No text may make a device spend
// more than 32 times its own size. A program of its own, because the sanitizers count differently.
#include "platform/Options.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string>
#include <vector>

namespace
{
constexpr double kLimit = 32;
constexpr std::size_t kPieces = 100000;
// Where a list that grows by doubling has the most room to spare.
constexpr std::size_t kJustAboveAPowerOfTwo = 131073;

std::size_t BytesInUse()
{
  struct mallinfo2 const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

using Lookups = void (*)(Option* root);

void NoLookups(Option*) {}
void ListLookup(Option* root) { root->FindAllOptions("r.a"); }
void ListAndEntryLookups(Option* root)
{
  for (Option* const entry : *root->FindAllOptions("r.a"))
  {
    entry->Value<std::string>("a.vel:UnitString", "");
    entry->Value<double>("a.vel:Value", 0.0);
  }
}

std::string Repeated(std::string const& piece, std::size_t times)
{
  std::string text;
  for (std::size_t i = 0; i < times; ++i)
    text += piece;
  return text;
}

/// How many bytes the tree and the lookups hold for each byte of the text.
double BytesPerByte(std::string const& xml, Lookups lookups)
{
  std::size_t const before = BytesInUse();
  Options parser;
  Option* const root = parser.parse(xml);
  if (root == nullptr)
  {
    ADD_FAILURE() << "no XML";
    return 0;
  }
  lookups(root);
  return static_cast<double>(BytesInUse() - before) / static_cast<double>(xml.size());
}

TEST(OptionMemory, HeldMemoryIsMeasured)
{
  std::size_t const before = BytesInUse();
  std::vector<std::string> held;
  for (int i = 0; i < 10; ++i)
    held.emplace_back(100000, 'x');
  std::size_t const grown = BytesInUse() - before;

  EXPECT_GE(grown, 1000000U);
  EXPECT_LT(grown, 1200000U);
}

TEST(OptionMemory, NoTreeTakesMoreThan32TimesItsText)
{
  struct
  {
    char const* piece;
    Lookups lookups;
  } const texts[] = {
      {"<a/>", &NoLookups},       {"<a/>", &ListAndEntryLookups},  {"<a/> ", &NoLookups},
      {"<a/> ", &ListLookup},     {"<a/> ", &ListAndEntryLookups}, {"<a>x</a>\n", &ListAndEntryLookups},
      {"<a b=''/>", &ListLookup}, {"x<?p?>", &NoLookups},          {"measurement ", &NoLookups},
  };
  for (auto const& text : texts)
    for (std::size_t const pieces : {kPieces, kJustAboveAPowerOfTwo})
      EXPECT_LE(BytesPerByte("<r>" + Repeated(text.piece, pieces) + "</r>", text.lookups), kLimit) << text.piece;
}

TEST(OptionMemory, DepthCostsNoMoreThanLength)
{
  EXPECT_LE(BytesPerByte(Repeated("<a>", kPieces) + Repeated("</a>", kPieces), &NoLookups), kLimit);
}
} // namespace

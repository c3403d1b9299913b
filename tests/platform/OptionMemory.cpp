// Measures what the trees of the texts that cost most hold in memory, lookups included. No text may make a device spend
// more than 32 times its own size. A program of its own, because the sanitizers count differently.
#include "platform/Options.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <string>
#include <vector>

namespace
{
constexpr std::size_t kLimit = 32;
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

/// Whether tree and lookups stay within the limit.
bool IsCheap(char const* name, std::string const& xml, Lookups lookups)
{
  std::size_t const before = BytesInUse();
  Options parser;
  Option* const root = parser.parse(xml);
  if (root == nullptr)
  {
    std::printf("%s: no XML\n", name);
    return false;
  }
  lookups(root);
  std::size_t const bytes = BytesInUse() - before;
  std::printf("%-40s %5.1f bytes for each byte of text\n", name,
              static_cast<double>(bytes) / static_cast<double>(xml.size()));
  return bytes <= kLimit * xml.size();
}

/// The measurement itself: memory that is held counts.
bool CanMeasure()
{
  std::size_t const before = BytesInUse();
  std::vector<std::string> held;
  for (int i = 0; i < 10; ++i)
    held.emplace_back(100000, 'x');
  std::size_t const grown = BytesInUse() - before;
  if (grown >= 1000000 && grown < 1200000)
    return true;
  std::printf("a million bytes count as %zu\n", grown);
  return false;
}
} // namespace

int main()
{
  struct
  {
    char const* name;
    char const* piece;
    Lookups lookups;
  } const texts[] = {
      {"empty elements", "<a/>", &NoLookups},
      {"empty elements, listed", "<a/>", &ListLookup},
      {"empty elements, listed and searched", "<a/>", &ListAndEntryLookups},
      {"empty elements and blanks", "<a/> ", &NoLookups},
      {"empty elements and blanks, listed", "<a/> ", &ListLookup},
      {"empty elements and blanks, searched", "<a/> ", &ListAndEntryLookups},
      {"elements with texts, searched", "<a>x</a>\n", &ListAndEntryLookups},
      {"elements with attributes", "<a b=''/>", &ListLookup},
      {"texts and instructions", "x<?p?>", &NoLookups},
      {"one long text", "measurement ", &NoLookups},
  };
  bool cheap = CanMeasure();
  for (auto const& text : texts)
    for (std::size_t const pieces : {kPieces, kJustAboveAPowerOfTwo})
      cheap = IsCheap(text.name, "<r>" + Repeated(text.piece, pieces) + "</r>", text.lookups) && cheap;
  cheap = IsCheap("nested elements", Repeated("<a>", kPieces) + Repeated("</a>", kPieces), &NoLookups) && cheap;
  return cheap ? EXIT_SUCCESS : EXIT_FAILURE;
}

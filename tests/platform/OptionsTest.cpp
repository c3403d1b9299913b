#include "platform/Options.h"

#include "support/Expectations.h"
#include "support/FileWatch.h"
#include "support/HostileLocale.h"
#include "support/PlatformErrors.h"
#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace
{
using OptionList = std::vector<Option*>;

/// A text and the tree that came of it.
class ParsedText
{
public:
  explicit ParsedText(std::string const& xml) : root_(parser_.parse(xml)) {}

  Option* Root() const { return root_; }
  Option* Find(char const* key) const { return root_->FindOption(key, false); }
  OptionList* FindAll(char const* key) const { return root_->FindAllOptions(key); }
  std::string Text(char const* key) const { return root_->Value<std::string>(key, "fallback"); }
  double Number(char const* key) const { return root_->Value<double>(key, -77.5); }
  unsigned int Count(char const* key) const { return root_->Value<unsigned int>(key, 77U); }

private:
  Options parser_;
  Option* root_;
};

bool IsXml(std::string const& text)
{
  Options parser;
  return parser.parse(text) != nullptr;
}

/// What the element r holds when `content` stands in it.
std::string TextOf(std::string const& content)
{
  ParsedText const text("<r>" + content + "</r>");
  return text.Root() == nullptr ? "no XML" : text.Text("r");
}

double NumberOf(std::string const& content) { return ParsedText("<r>" + content + "</r>").Number("r"); }
unsigned int CountOf(std::string const& content) { return ParsedText("<r>" + content + "</r>").Count("r"); }

std::string Repeated(std::string const& piece, std::size_t times)
{
  std::string text;
  text.reserve(piece.size() * times);
  for (std::size_t i = 0; i < times; ++i)
    text += piece;
  return text;
}

// Keys

TEST(Options, FirstNameOfAKeyIsTheElementItself)
{
  ParsedText const text("<r><a/></r>");

  EXPECT_EQ(text.Find("r"), text.Root());
  EXPECT_EQ(text.Find("a"), nullptr);
  ASSERT_NE(text.Find("r.a"), nullptr);
  EXPECT_EQ(text.Find("r.a")->FindOption("a", false), text.Find("r.a"));
  EXPECT_EQ(text.Find("r.a")->FindOption("r.a", false), nullptr);
}

TEST(Options, KeysLeadToDescendantsOfAnyDepth)
{
  ParsedText const text("<r><a><b><c>deep</c></b></a></r>");

  EXPECT_EQ(text.Text("r.a.b.c"), "deep");
  EXPECT_EQ(text.Find("r.a")->Value<std::string>("a.b.c", ""), "deep");
  EXPECT_EQ(text.Find("r.a.b.c")->Value<std::string>("c", ""), "deep");
}

TEST(Options, KeysSkipNoLevel)
{
  ParsedText const text("<r><a><b>x</b></a></r>");

  EXPECT_EQ(text.Find("r.b"), nullptr);
  EXPECT_EQ(text.Find("r.a.a"), nullptr);
  EXPECT_EQ(text.Find("r.r"), nullptr);
}

TEST(Options, FirstOfSeveralElementsOfANameIsFound)
{
  ParsedText const text("<r><b/><a>1</a><a>2</a></r>");

  EXPECT_EQ(text.Text("r.a"), "1");
}

TEST(Options, ElementsOfANameAreLeftForTheNextOneUntilThePathHolds)
{
  ParsedText const text("<r><a/><a><b/></a><a><b><d/></b><b><c>1</c></b></a><a><b><c>2</c></b></a></r>");

  EXPECT_EQ(text.Text("r.a.b.c"), "1");
  EXPECT_EQ(text.Find("r.a.b.c.d"), nullptr);
  EXPECT_NE(text.Find("r.a.b.d"), nullptr);
}

TEST(Options, FirstMatchCountsEvenWhenItIsEmpty)
{
  ParsedText const text("<r><a/><a>1</a></r>");

  EXPECT_EQ(text.Text("r.a"), "fallback");
}

TEST(Options, LookupNeverLeavesTheElementItStartsOn)
{
  ParsedText const text("<r><a/><a><b>1</b></a><b/></r>");
  Option* const first = text.Find("r.a");

  EXPECT_EQ(first->FindOption("a.b", false), nullptr);
  EXPECT_EQ(first->FindOption("b", false), nullptr);
  EXPECT_EQ(first->Value<std::string>("a.b", "fallback"), "fallback");
  EXPECT_TRUE(first->FindAllOptions("a.b")->empty());
}

TEST(Options, NamesAreComparedWholeWithPrefixAndCase)
{
  ParsedText const text("<p:r xmlns:p='u' xmlns:q='u'><p:a>1</p:a><q:a>2</q:a><a>3</a></p:r>");

  EXPECT_EQ(text.Text("p:r.p:a"), "1");
  EXPECT_EQ(text.Text("p:r.q:a"), "2");
  EXPECT_EQ(text.Text("p:r.a"), "3");
  EXPECT_EQ(text.Find("r.a"), nullptr);
  EXPECT_EQ(text.Find("p:r.p:A"), nullptr);
  EXPECT_EQ(text.Find("p:r.p:aa"), nullptr);
  EXPECT_EQ(text.Find("p:r.p:"), nullptr);
}

TEST(Options, EmptyNamesMatchNothing)
{
  ParsedText const text("<r>text<a/>text<![CDATA[text]]></r>");

  for (char const* key : {"", ".", "r.", ".r", "r..a", "r.a."})
    EXPECT_EQ(text.Find(key), nullptr) << '"' << key << '"';
}

TEST(Options, NameWithADotCannotBeAddressed)
{
  ParsedText const text("<r><a.b>1</a.b></r>");

  EXPECT_EQ(text.Find("r.a.b"), nullptr);
}

TEST(Options, TextsCommentsAndInstructionsAreNoElements)
{
  ParsedText const text("<r>a<!--a--><?a a?><![CDATA[a]]></r>");

  EXPECT_EQ(text.Find("r.a"), nullptr);
}

TEST(Options, FlagOfFindOptionChangesNothing)
{
  ParsedText const text("<r><a/></r>");

  EXPECT_EQ(text.Root()->FindOption("r.a", true), text.Root()->FindOption("r.a", false));
  EXPECT_EQ(text.Root()->FindOption("r.b", true), nullptr);
}

TEST(Options, SameQuestionHasTheSameAnswer)
{
  ParsedText const text("<r><a><b/></a><a/></r>");

  EXPECT_EQ(text.Find("r.a"), text.Find("r.a"));
  EXPECT_EQ(text.Find("r.a")->FindOption("a.b", false), text.Find("r.a.b"));
  EXPECT_EQ(text.FindAll("r.a"), text.FindAll("r.a"));
  OptionList const before = *text.FindAll("r.a");
  EXPECT_EQ(*text.FindAll("r.a"), before);
}

// Lists

TEST(Options, ListHoldsAllChildrenOfTheNameInDocumentOrder)
{
  ParsedText const text("<r><l><e>1</e><x/><e>2</e>text<e><e>nested</e>3</e></l><l><e>other</e></l></r>");
  OptionList* const list = text.FindAll("r.l.e");

  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->size(), 3U);
  EXPECT_EQ(list->at(0)->Value<std::string>("e", ""), "1");
  EXPECT_EQ(list->at(1)->Value<std::string>("e", ""), "2");
  EXPECT_EQ(list->at(2)->Value<std::string>("e", ""), "3");
}

TEST(Options, ListIsNullWhenThePathBeforeItMatchesNothing)
{
  ParsedText const text("<r><l/></r>");

  EXPECT_EQ(text.FindAll("r.k.e"), nullptr);
  EXPECT_EQ(text.FindAll("x.l"), nullptr);
  EXPECT_EQ(text.FindAll("r.l.e.e"), nullptr);
  EXPECT_EQ(text.FindAll("r"), nullptr);
}

TEST(Options, ListIsEmptyWhenThereIsNoSuchChild)
{
  ParsedText const text("<r>text<l>text</l></r>");

  for (char const* key : {"r.l.e", "r.e", "r.l.", "r."})
  {
    ASSERT_NE(text.FindAll(key), nullptr) << key;
    EXPECT_TRUE(text.FindAll(key)->empty()) << key;
  }
}

TEST(Options, ListStandsBelowTheFirstMatchEvenWhenALaterOneHasEntries)
{
  ParsedText const text("<r><l/><l><e/></l></r>");

  ASSERT_NE(text.FindAll("r.l.e"), nullptr);
  EXPECT_TRUE(text.FindAll("r.l.e")->empty());
}

TEST(Options, PathOfAListIsFollowedThroughLaterElementsOfAName)
{
  ParsedText const text("<r><g/><g><l><e>1</e><e>2</e></l></g></r>");

  ASSERT_NE(text.FindAll("r.g.l.e"), nullptr);
  EXPECT_EQ(text.FindAll("r.g.l.e")->size(), 2U);
}

TEST(Options, EntriesOfAListAreSearchedOnTheirOwn)
{
  ParsedText const text("<r><e><v>1</v></e><e/><e><v>3</v></e></r>");
  OptionList const list = *text.FindAll("r.e");

  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list.at(0)->Value<double>("e.v", 0.0), 1);
  EXPECT_EQ(list.at(1)->Value<double>("e.v", 0.0), 0);
  EXPECT_EQ(list.at(2)->Value<double>("e.v", 0.0), 3);
  EXPECT_EQ(list.at(1)->FindOption("e.v", false), nullptr);
}

TEST(Options, ListsOfDifferentNamesAndElementsStayApart)
{
  ParsedText const text("<r><a/><b/><a/><s><a/></s></r>");
  OptionList* const a = text.FindAll("r.a");
  OptionList* const b = text.FindAll("r.b");
  OptionList* const nested = text.FindAll("r.s.a");

  EXPECT_EQ(a->size(), 2U);
  EXPECT_EQ(b->size(), 1U);
  EXPECT_EQ(nested->size(), 1U);
  EXPECT_NE(a->at(0), nested->at(0));
}

// Texts

TEST(Options, TextOfAnElementIsReturnedAsItStands)
{
  EXPECT_EQ(TextOf("m/s2"), "m/s2");
  EXPECT_EQ(TextOf(" \t m / s \n"), " \t m / s \n");
  EXPECT_EQ(TextOf("   "), "   ");
  EXPECT_EQ(TextOf("]] > \" ' -- ; #"), "]] > \" ' -- ; #");
}

TEST(Options, MissingOrEmptyElementGivesTheFallback)
{
  ParsedText const text("<r><a></a><b/><c><d>x</d></c><e><!-- --></e><f><![CDATA[]]></f></r>");

  for (char const* key : {"r.a", "r.b", "r.c", "r.e", "r.f", "r.g", "r.c.d.e", "x", ""})
  {
    EXPECT_EQ(text.Text(key), "fallback") << key;
    EXPECT_EQ(text.Number(key), -77.5) << key;
    EXPECT_EQ(text.Count(key), 77U) << key;
    EXPECT_STREQ(text.Root()->Value<char const*>(key, "fallback"), "fallback") << key;
    EXPECT_EQ(text.Root()->Value<char const*>(key, nullptr), nullptr) << key;
  }
}

TEST(Options, NaNFallbackStaysNaN)
{
  ParsedText const text("<r/>");

  EXPECT_TRUE(std::isnan(text.Root()->Value<double>("r.speed", std::numeric_limits<double>::quiet_NaN())));
}

TEST(Options, CharactersOfATextLiveAsLongAsTheTree)
{
  ParsedText const text("<r><a>one</a><b>o<!-- -->n<![CDATA[e]]></b></r>");
  char const* const plain = text.Root()->Value<char const*>("r.a", nullptr);
  char const* const joined = text.Root()->Value<char const*>("r.b", nullptr);
  for (int i = 0; i < 100; ++i)
    text.Text("r.b");

  EXPECT_STREQ(plain, "one");
  EXPECT_STREQ(joined, "one");
}

TEST(Options, OwnCharacterDataAndCdataAreJoined)
{
  EXPECT_EQ(TextOf("a<x>inner</x>b"), "ab");
  EXPECT_EQ(TextOf("<x/> a <x/> b <x/>"), " a  b ");
  EXPECT_EQ(TextOf("a<![CDATA[ <b> & ]]>c"), "a <b> & c");
  EXPECT_EQ(TextOf("<![CDATA[a]]><![CDATA[b]]>"), "ab");
  EXPECT_EQ(TextOf("<![CDATA[ ]]>"), " ");
  EXPECT_EQ(TextOf("<![CDATA[]] ]>]]>"), "]] ]>");
  EXPECT_EQ(TextOf("<![CDATA[&amp;]]>"), "&amp;");
}

TEST(Options, CommentsAndInstructionsInsideATextAreLeftOut)
{
  EXPECT_EQ(TextOf("a<!-- c -->b"), "ab");
  EXPECT_EQ(TextOf("a<?p i?>b"), "ab");
  EXPECT_EQ(TextOf("<!-- <r>x</r> -->a<!---->"), "a");
  EXPECT_EQ(TextOf("1<!-- -->2<?p?>3<![CDATA[4]]>5"), "12345");
}

TEST(Options, NumberMayBeWrittenInSeveralPieces) { EXPECT_EQ(NumberOf("1<!-- one -->2<![CDATA[.5]]>"), 12.5); }

TEST(Options, LineEndsBecomeLineFeeds)
{
  EXPECT_EQ(TextOf("a\r\nb\rc\nd\r\r\n"), "a\nb\nc\nd\n\n");
  EXPECT_EQ(TextOf("<![CDATA[a\r\nb\rc]]>"), "a\nb\nc");
  EXPECT_EQ(TextOf("a&#13;&#xA;b"), "a\r\nb");
}

TEST(Options, ReferencesStandForTheirCharacters)
{
  EXPECT_EQ(TextOf("&lt;&gt;&amp;&quot;&apos;"), "<>&\"'");
  EXPECT_EQ(TextOf("&#65;&#x42;&#x6d;&#x6D;"), "ABmm");
  EXPECT_EQ(TextOf("&#176;C"), "\xC2\xB0"
                               "C");
  EXPECT_EQ(TextOf("&#x20AC;"), "\xE2\x82\xAC");
  EXPECT_EQ(TextOf("&#x1F600;"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(TextOf("&amp;lt;"), "&lt;");
  EXPECT_EQ(TextOf("&amp;amp;amp;"), "&amp;amp;");
}

TEST(Options, AmpersandThatStartsNoReferenceStandsForItself)
{
  for (char const* text : {"R&D", "&", "&&", "&;", "a & b", "&unknown;", "&lt", "&amp", "& lt;", "&LT;", "&#;", "&#x;",
                           "&#x6G;", "&#6A;", "&# 65;", "&#65", "&nbsp;", "&ltx;", "x&"})
    EXPECT_EQ(TextOf(text), text);
  EXPECT_EQ(TextOf("R&D &amp; &lt;x"), "R&D & <x");
  EXPECT_EQ(TextOf("R&<!-- -->amp;D"), "R&amp;D");
}

TEST(Options, TextsKeepEveryByteOfTheirEncoding)
{
  EXPECT_EQ(TextOf("\xC2\xB5m"), "\xC2\xB5m");
  EXPECT_EQ(TextOf("\xB5m/s\xB2"), "\xB5m/s\xB2");
  EXPECT_EQ(TextOf("\xC3"), "\xC3");
  EXPECT_EQ(TextOf("\xC3&amp;\xE2\x82"), "\xC3&\xE2\x82");
  EXPECT_EQ(TextOf("\xFF\xFE\xC0\x80\xED\xA0\x80\xF8\x88"), "\xFF\xFE\xC0\x80\xED\xA0\x80\xF8\x88");
  std::string bytes;
  for (int byte = 0x80; byte <= 0xFF; ++byte)
    bytes += static_cast<char>(byte);
  EXPECT_EQ(TextOf(bytes), bytes);
}

TEST(Options, NamesMayHoldAnyLetters)
{
  ParsedText const text("<gr\xC3\xB6\xC3\x9F"
                        "e><_a-b.1/></gr\xC3\xB6\xC3\x9F"
                        "e>");

  ASSERT_NE(text.Root(), nullptr);
  EXPECT_EQ(text.Find("gr\xC3\xB6\xC3\x9F"
                      "e"),
            text.Root());
}

TEST(Options, AttributesAreNoValues)
{
  ParsedText const text("<r a=\"1\" b = '2'\n><a b='&lt;' c=\"R&D>\">x</a ><c d='\"'/></r\t>");
  ASSERT_NE(text.Root(), nullptr);
  EXPECT_EQ(text.Text("r.a"), "x");
  EXPECT_EQ(text.Text("r.c"), "fallback");
  EXPECT_EQ(text.Find("r.b"), nullptr);
}

// Numbers

TEST(Options, NumbersAreReadInEveryNotation)
{
  EXPECT_EQ(NumberOf("1.5"), 1.5);
  EXPECT_EQ(NumberOf("-0.25"), -0.25);
  EXPECT_EQ(NumberOf("+2.5"), 2.5);
  EXPECT_EQ(NumberOf("1e-07"), 1e-7);
  EXPECT_EQ(NumberOf("1E+3"), 1000);
  EXPECT_EQ(NumberOf("+1e+3"), 1000);
  EXPECT_EQ(NumberOf(".5"), 0.5);
  EXPECT_EQ(NumberOf("5."), 5);
  EXPECT_EQ(NumberOf("007"), 7);
  EXPECT_EQ(NumberOf("0.333333"), 0.333333);
  EXPECT_EQ(NumberOf("1.7976931348623157e308"), std::numeric_limits<double>::max());
  EXPECT_EQ(NumberOf("2.2250738585072014e-308"), std::numeric_limits<double>::min());
  EXPECT_EQ(NumberOf("4.94066e-324"), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(NumberOf(Repeated("0", 2000) + "1." + Repeated("0", 2000)), 1);
  EXPECT_TRUE(std::signbit(NumberOf("-0")));
}

TEST(Options, NumbersMayBeInfiniteOrNotANumber)
{
  EXPECT_EQ(NumberOf("inf"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(NumberOf("+inf"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(NumberOf("-inf"), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(NumberOf("nan")));
  EXPECT_TRUE(std::isnan(NumberOf("-nan")));
}

TEST(Options, BlanksAroundANumberAreAllowed)
{
  EXPECT_EQ(NumberOf(" \t\r\n1.5\n "), 1.5);
  EXPECT_EQ(NumberOf("<![CDATA[ ]]>1.5"), 1.5);
  EXPECT_EQ(CountOf("\n  42\t"), 42U);
}

TEST(Options, WholeNumbersAreReadUpToTheLargest)
{
  EXPECT_EQ(CountOf("0"), 0U);
  EXPECT_EQ(CountOf("42"), 42U);
  EXPECT_EQ(CountOf("+42"), 42U);
  EXPECT_EQ(CountOf("00042"), 42U);
  EXPECT_EQ(CountOf("4294967295"), 4294967295U);
}

/// A number that is refused, and the message names the key and the text.
template <class T>
void ExpectMalformed(std::string const& number)
{
  SCOPED_TRACE(number);
  ParsedText const text("<r><vel:n>" + number + "</vel:n></r>");
  ASSERT_NE(text.Root(), nullptr);
  auto const read = [&] { text.Root()->Value<T>("r.vel:n", T(1)); };
  EXPECT_TRUE(Refuses<OptionException>(read));
  try
  {
    read();
  }
  catch (OptionException const& exception)
  {
    EXPECT_NE(std::string(exception.what()).find("r.vel:n"), std::string::npos) << exception.what();
    EXPECT_NE(std::string(exception.what()).find(number), std::string::npos) << exception.what();
  }
}

TEST(Options, NumberThatDoesNotParseWholeIsRefused)
{
  for (char const* number : {" ",
                             "\n",
                             "x",
                             "1.5x",
                             "1,5",
                             "1.5 mm",
                             "1 5",
                             "1.2.3",
                             "0x10",
                             "1e",
                             "1e+",
                             "-",
                             "+",
                             "--1",
                             "+-1",
                             "-+1",
                             "++1",
                             "- 1",
                             "infx",
                             "nano",
                             "1e400",
                             "-1e400",
                             "\xC2\xA0"
                             "1",
                             "1_000"})
    ExpectMalformed<double>(number);
}

TEST(Options, WholeNumberThatDoesNotParseWholeIsRefused)
{
  for (char const* number : {" ", "x", "-1", "-0x", "1.5", "1.0", "1e3", "0x10", "4294967296", "18446744073709551616",
                             "nan", "inf", "+", "++1", "+-1", "1 2", "1,000", "42x"})
    ExpectMalformed<unsigned int>(number);
}

TEST(Options, RefusedNumberLeavesTheTreeUsable)
{
  ParsedText const text("<r><a>x</a><b>2</b></r>");

  EXPECT_TRUE(Refuses<OptionException>([&] { text.Number("r.a"); }));
  EXPECT_EQ(text.Text("r.a"), "x");
  EXPECT_EQ(text.Number("r.b"), 2);
}

TEST(Options, RefusalOfALongNumberIsAnExceptionToo)
{
  std::string const number = Repeated("9", 100000) + "x";
  ParsedText const text("<r>" + number + "</r>");

  EXPECT_TRUE(Refuses<OptionException>([&] { text.Number("r"); }));
  EXPECT_TRUE(Refuses<OptionException>([&] { text.Count("r"); }));
  EXPECT_TRUE(Refuses<OptionException>([&] { text.Root()->Value<double>("r", 0.0); }));
}

TEST(Options, ExceptionIsClonedWhole)
{
  ParsedText const text("<r>x</r>");
  try
  {
    text.Number("r");
    FAIL() << "threw nothing";
  }
  catch (OptionException const& exception)
  {
    std::unique_ptr<VelmoraException> const clone(exception.clone());
    EXPECT_NE(dynamic_cast<OptionException*>(clone.get()), nullptr);
    EXPECT_EQ(clone->getClassName(), "OptionException");
    EXPECT_STREQ(clone->what(), exception.what());
    EXPECT_EQ(clone->getFile(), exception.getFile());
    EXPECT_EQ(clone->getLine(), exception.getLine());
  }
}

TEST(Options, GlobalLocaleChangesNothing)
{
  HostileLocale const hostile;
  std::ostringstream spoiled;
  spoiled << 1234.5;
  ASSERT_EQ(spoiled.str(), "1.2.3.4,5") << "the locale of this test is harmless";

  EXPECT_EQ(NumberOf("1234.5"), 1234.5);
  EXPECT_EQ(CountOf("1234567"), 1234567U);
  EXPECT_TRUE(Refuses<OptionException>([] { NumberOf("1234,5"); }));
  EXPECT_TRUE(Refuses<OptionException>([] { NumberOf("1.2.3"); }));
  EXPECT_TRUE(Refuses<OptionException>([] { CountOf("1.234"); }));
  EXPECT_EQ(TextOf("I\xC4\xB0i\xC4\xB1"), "I\xC4\xB0i\xC4\xB1");
}

// What is XML

TEST(Options, OneElementIsADocument)
{
  for (char const* text :
       {"<r/>", "<r></r>", " \r\n\t<r/>\n\n", "<r  />", "<?xml version=\"1.0\" encoding=\"UTF-8\"?><r/>",
        "<!-- c --><r/><!-- c -->", "<?p i?><r/><?p i?>", "<!DOCTYPE r><r/>", "<!DOCTYPE r SYSTEM 'x.dtd'><r/>",
        "<?xml version='1.0'?>\n<!-- a -->\n<!DOCTYPE r [<!ELEMENT r ANY>]>\n<r/>\n<!-- b -->\n"})
    EXPECT_TRUE(IsXml(text)) << text;
}

TEST(Options, ByteOrderMarkIsNoText)
{
  ParsedText const text("\xEF\xBB\xBF<?xml version=\"1.0\"?><r>x</r>");

  ASSERT_NE(text.Root(), nullptr);
  EXPECT_EQ(text.Text("r"), "x");
}

TEST(Options, LoneMarkupCharacterBehindTheRootIsNoXml)
{
  for (char const* text :
       {"<r/><", "<r/> <", "<r/>\n<", "<r/>\n<\n", "<r/><!-- c -->\n<", "<r/> &", "<r/> >", "<r/> \""})
    EXPECT_FALSE(IsXml(text)) << text;
}

TEST(Options, TextWithoutARootIsNoXml)
{
  for (char const* text : {"", " ", "\n", "x", "no XML at all", "<?xml version=\"1.0\"?>", "<!-- c -->", "<!DOCTYPE r>",
                           "<?p?>", "\xEF\xBB\xBF", "\xEF\xBB", "&amp;", "<![CDATA[<r/>]]>"})
    EXPECT_FALSE(IsXml(text)) << text;
}

TEST(Options, TextAroundTheRootIsNoXml)
{
  for (char const* text : {"x<r/>", "<r/>x", "<r/> x ", ".<r></r>", "<r></r>\n0", "<r/>&amp;", "&lt;<r/>",
                           "<r/><![CDATA[x]]>", "<![CDATA[x]]><r/>", "<?xml version='1.0'?>x<r/>", "<r/><!-- c -->x"})
    EXPECT_FALSE(IsXml(text)) << text;
}

TEST(Options, SecondRootIsNoXml)
{
  for (char const* text : {"<r/><r/>", "<r></r><s></s>", "<r/>\n<r/>", "<r/><!-- c --><r/>", "<r>1</r><r>2</r>"})
    EXPECT_FALSE(IsXml(text)) << text;
}

TEST(Options, UnbalancedMarkupIsNoXml)
{
  for (char const* text : {"<",
                           "<r",
                           "<r>",
                           "<r/",
                           "</r>",
                           "<r></r",
                           "<r></",
                           "<r><",
                           "<r></s>",
                           "<r></R>",
                           "<r></rr>",
                           "<r><a></r>",
                           "<r><a></r></a>",
                           "<r></r></r>",
                           "<r/></r>",
                           "<r></>",
                           "<>",
                           "<></>",
                           "< r/>",
                           "<r>< a/></r>",
                           "<r><</r>",
                           "<r>a<b</r>",
                           "<1/>",
                           "<r><!-- c </r>",
                           "<r><!- c --></r>",
                           "<r><![CDATA[x]]</r>",
                           "<r><![CDATA x]]></r>",
                           "<r><?p </r>",
                           "<r><!x></r>",
                           "<!DOCTYPE r [<r/>",
                           "<!DOCTYPE r",
                           "<?xml version='1.0'<r/>",
                           "<r>x</r",
                           "<r/><",
                           "<r/></",
                           "<r/><!--",
                           "<r/><?"})
    EXPECT_FALSE(IsXml(text)) << text;
}

TEST(Options, UnquotedMarkupIsNoXml)
{
  for (char const* text :
       {"<r a=1/>", "<r a=/>", "<r a/>", "<r a></r>", "<r a='1/>", "<r a=\"1/>", "<r a=\"1'/>", "<r a='1\"></r>",
        "<r ='1'/>", "<r 'a'='1'/>", "<r a 'b'/>", "<r a='1' b/>", "<r a='1' b=2></r>"})
    EXPECT_FALSE(IsXml(text)) << text;
}

TEST(Options, ZeroByteAnywhereIsNoXml)
{
  std::string const whole = "<?xml version='1.0'?><!-- c --><r a='b'>x<![CDATA[y]]></r>\n";
  ASSERT_TRUE(IsXml(whole));
  for (std::size_t at = 0; at <= whole.size(); ++at)
  {
    std::string inserted = whole;
    inserted.insert(at, 1, '\0');
    EXPECT_FALSE(IsXml(inserted)) << at;
  }
}

/// An ASCII text in another encoding: each character in `width` bytes.
std::string Widened(std::string const& text, std::size_t width, bool bigEndian, std::string const& mark)
{
  std::string wide = mark;
  for (char const character : text)
  {
    std::string unit(width, '\0');
    unit.at(bigEndian ? width - 1 : 0) = character;
    wide += unit;
  }
  return wide;
}

TEST(Options, EncodingsOfSeveralBytesACharacterAreNoXml)
{
  for (std::string const text : {"<r>x</r>", "<?xml version='1.0' encoding='UTF-16'?><r/>"})
  {
    EXPECT_FALSE(IsXml(Widened(text, 2, false, "")));
    EXPECT_FALSE(IsXml(Widened(text, 2, true, "")));
    EXPECT_FALSE(IsXml(Widened(text, 2, false, "\xFF\xFE")));
    EXPECT_FALSE(IsXml(Widened(text, 2, true, "\xFE\xFF")));
    EXPECT_FALSE(IsXml(Widened(text, 4, false, "")));
    EXPECT_FALSE(IsXml(Widened(text, 4, true, "")));
    EXPECT_FALSE(IsXml("\xFF\xFE" + text));
    EXPECT_FALSE(IsXml("\xFE\xFF" + text));
  }
}

/// A document with everything that XML has, and where its root element ends.
struct WholeDocument
{
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- c -->\n<!DOCTYPE r [<!ENTITY e \"x\"> <!-- ]> -->]>\n"
      "<p:r xmlns:p=\"u\" b='\"'>\n  <a>1.5</a>&amp;R&D&#65;<![CDATA[<x>]]><?p i?><b c='d'/><a>2</a\n></p:r>";
  std::size_t rootEnd = text.size();
  std::string behind = "\n<!-- d -->\n";
};

TEST(Options, EveryCutTextIsNoXml)
{
  WholeDocument const document;
  for (std::size_t size = 0; size < document.rootEnd; ++size)
    EXPECT_FALSE(IsXml(document.text.substr(0, size))) << document.text.substr(0, size);
}

TEST(Options, TextCutBehindItsRootIsReadWhenTheRestIsWhole)
{
  WholeDocument const document;
  for (std::size_t size = 0; size <= document.behind.size(); ++size)
  {
    std::string const behind = document.behind.substr(0, size);
    bool const cutInComment = behind.find('<') != std::string::npos && behind.find('>') == std::string::npos;
    ParsedText const text(document.text + behind);
    EXPECT_EQ(text.Root() != nullptr, !cutInComment) << behind;
    if (text.Root() != nullptr)
    {
      EXPECT_EQ(text.Number("p:r.a"), 1.5);
      EXPECT_EQ(text.FindAll("p:r.a")->size(), 2U);
      EXPECT_EQ(text.Text("p:r"), "\n  &R&DA<x>");
    }
  }
}

TEST(Options, AnyDamageGivesATreeOrNoneAndNeverThrows)
{
  std::string const whole = WholeDocument().text;
  std::minstd_rand random(20261120);
  std::size_t refused = 0;
  constexpr int kRounds = 20000;
  for (int round = 0; round < kRounds; ++round)
  {
    std::string damaged = whole;
    for (int i = 0; i < 1 + round % 3; ++i)
    {
      std::size_t const at = random() % damaged.size();
      if (random() % 2 == 0)
        damaged.at(at) = static_cast<char>(1 + random() % 255);
      else
        damaged.erase(at, 1 + random() % 8);
    }
    Options parser;
    Option* root = nullptr;
    ASSERT_NO_THROW(root = parser.parse(damaged)) << damaged;
    refused += root == nullptr ? 1 : 0;
    EXPECT_LE(root == nullptr ? 0 : root->Value<std::string>("p:r", "").size(), damaged.size());
  }
  EXPECT_GT(refused, kRounds / 10);
  EXPECT_LT(refused, kRounds);
}

// Document types

TEST(Options, EntitiesOfADocumentTypeAreNotExpanded)
{
  ParsedText const text("<!DOCTYPE r [<!ENTITY e \"expanded\"><!ENTITY amp \"changed\">]><r>&e;&amp;</r>");

  ASSERT_NE(text.Root(), nullptr);
  EXPECT_EQ(text.Text("r"), "&e;&");
}

TEST(Options, ManyfoldEntitiesCostNothing)
{
  std::string definitions = "<!ENTITY e0 \"" + Repeated("x", 1000) + "\">";
  for (int level = 1; level <= 30; ++level)
  {
    std::string const before = "&e" + std::to_string(level - 1) + ";";
    definitions += "<!ENTITY e" + std::to_string(level) + " \"" + Repeated(before, 10) + "\">";
  }
  ParsedText const text("<!DOCTYPE r [" + definitions + "]><r>&e30;</r>");

  ASSERT_NE(text.Root(), nullptr);
  EXPECT_EQ(text.Text("r"), "&e30;");
}

TEST(Options, ExternalEntitiesAreNotOpened)
{
  TemporaryDirectory const folder;
  std::string const path = folder.Path("secret");
  WriteFile(path, {'s', 'e', 'c', 'r', 'e', 't'});
  FileWatch watch(path);
  ReadFile(path);
  ASSERT_TRUE(watch.WasOpened()) << "an opened file goes unseen";

  for (std::string const& url : {path, "file://" + path})
  {
    ParsedText const text(
        "<!DOCTYPE r SYSTEM \"" + url + "\" [<!ENTITY e SYSTEM \"" + url + "\"><!ENTITY % p SYSTEM \"" + url +
        "\"> %p;]><r xmlns:x=\"http://www.w3.org/2001/XInclude\">&e;<x:include href=\"" + url + "\"/></r>");
    ASSERT_NE(text.Root(), nullptr);
    EXPECT_EQ(text.Text("r"), "&e;");
  }
  EXPECT_FALSE(watch.WasOpened());
}

// Sizes and lifetimes

TEST(Options, AnyNestingDepthIsHandled)
{
  constexpr std::size_t kDepth = 1000000;
  Options parser;
  Option* const root = parser.parse(Repeated("<a>", kDepth) + "x" + Repeated("</a>", kDepth));
  ASSERT_NE(root, nullptr);
  std::string const toTheParent = "a" + Repeated(".a", kDepth - 2);

  EXPECT_EQ(root->Value<std::string>((toTheParent + ".a").c_str(), ""), "x");
  EXPECT_EQ(root->FindOption((toTheParent + ".a.a").c_str(), false), nullptr);
  ASSERT_NE(root->FindAllOptions((toTheParent + ".a").c_str()), nullptr);
  EXPECT_EQ(root->FindAllOptions((toTheParent + ".a").c_str())->size(), 1U);
  EXPECT_EQ(root->Value<std::string>("a", "fallback"), "fallback");
}

TEST(Options, DeepTextWithoutItsEndTagsIsNoXml)
{
  EXPECT_FALSE(IsXml(Repeated("<a>", 1000000)));
  EXPECT_FALSE(IsXml(Repeated("<a>", 100000) + Repeated("</a>", 99999)));
}

TEST(Options, LookupThatFailsEverywhereStaysLinear)
{
  // Every path fails at its last name; a search that started over for each would take hours.
  std::string const branch = Repeated("<a>", 50) + Repeated("</a>", 50);
  ParsedText const text("<r>" + Repeated(branch, 2000) + "</r>");
  ASSERT_NE(text.Root(), nullptr);

  EXPECT_EQ(text.Find(("r" + Repeated(".a", 50) + ".b").c_str()), nullptr);
  EXPECT_NE(text.Find(("r" + Repeated(".a", 50)).c_str()), nullptr);
}

/// A list of `count` entries with a number each: every entry is found and gives its own number.
void ExpectLongListIsRead(std::size_t count)
{
  std::string xml = "<r><l>";
  for (std::size_t i = 0; i < count; ++i)
    xml += "<e><v>" + std::to_string(i) + "</v>\n</e>";
  ParsedText const text(xml + "</l></r>");
  ASSERT_NE(text.Root(), nullptr);
  OptionList* const list = text.FindAll("r.l.e");
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->size(), count);
  std::size_t wrong = 0;
  for (std::size_t i = 0; i < count; ++i)
    wrong += list->at(i)->Value<unsigned int>("e.v", 0U) == i ? 0 : 1;
  EXPECT_EQ(wrong, 0U);
}

TEST(Options, LongListsAreRead) { ExpectLongListIsRead(100000); }

/// One text of `size` bytes comes back whole.
void ExpectLongTextIsRead(std::size_t size)
{
  std::string expected = Repeated("0123456789 \n", size / 12);
  ParsedText const text("<r>" + expected + "</r>");
  ASSERT_NE(text.Root(), nullptr);
  EXPECT_TRUE(text.Text("r") == expected);
}

TEST(Options, LongTextsAreRead) { ExpectLongTextIsRead(8000000); }

// Takes some seconds and a gigabyte, so it waits for --gtest_also_run_disabled_tests.
TEST(Options, DISABLED_HundredMegabytesAreRead)
{
  ExpectLongTextIsRead(100000000);
  ExpectLongListIsRead(5000000);
}

TEST(Options, TreesLiveAsLongAsTheirParser)
{
  auto parser = std::make_unique<Options>();
  Option* const first = parser->parse("<r><a>1</a></r>");
  ASSERT_NE(first, nullptr);
  Option* const nested = first->FindOption("r.a", false);
  EXPECT_EQ(parser->parse("no XML"), nullptr);
  Option* const second = parser->parse("<r><a>2</a></r>");
  ASSERT_NE(second, nullptr);

  EXPECT_NE(first, second);
  EXPECT_EQ(first->Value<std::string>("r.a", ""), "1");
  EXPECT_EQ(nested->Value<std::string>("a", ""), "1");
  EXPECT_EQ(second->Value<std::string>("r.a", ""), "2");
}

TEST(Options, TreeKeepsNothingOfTheCallersText)
{
  auto xml = std::make_unique<std::string>("<r><a>" + Repeated("x", 100) + "</a></r>");
  Options parser;
  Option* const root = parser.parse(*xml);
  std::fill(xml->begin(), xml->end(), '!');
  xml.reset();

  EXPECT_EQ(root->Value<std::string>("r.a", ""), Repeated("x", 100));
}

// Random trees beside a model that is searched step by step

struct Element
{
  std::string name, text;
  std::vector<Element> children;
};

Element RandomElement(std::minstd_rand& random, int depth, int& number)
{
  constexpr char const* kNames[] = {"a", "b", "vel:a"};
  Element element;
  element.name = kNames[random() % 3];
  if (random() % 4 != 0)
    element.text = std::to_string(number++);
  std::size_t const children = depth == 0 ? 0 : random() % 5;
  for (std::size_t i = 0; i < children; ++i)
    element.children.push_back(RandomElement(random, depth - 1, number));
  return element;
}

/// The element in XML, its text in pieces of all kinds at random places between its children.
std::string XmlOf(Element const& element, std::minstd_rand& random)
{
  std::string const start = "<" + element.name + (random() % 3 == 0 ? " x='a.b'" : "") + ">";
  std::string content;
  std::size_t next = 0;
  for (char const digit : element.text)
  {
    while (next < element.children.size() && random() % 2 == 0)
      content += XmlOf(element.children.at(next++), random);
    std::string const character(1, digit);
    std::string const reference = "&#" + std::to_string(static_cast<int>(digit)) + ";";
    std::string const spellings[] = {character, "<![CDATA[" + character + "]]>", "<!-- a -->" + character, reference};
    content += spellings[random() % 4];
  }
  while (next < element.children.size())
    content += XmlOf(element.children.at(next++), random);
  return start + content + "</" + element.name + ">";
}

/// Every element that the names from `at` on lead to, in document order.
void CollectMatches(Element const& element, std::vector<std::string> const& names, std::size_t at,
                    std::vector<Element const*>& matches)
{
  if (at == names.size() || element.name != names.at(at))
    return;
  if (at + 1 == names.size())
    matches.push_back(&element);
  for (Element const& child : element.children)
    CollectMatches(child, names, at + 1, matches);
}

std::string KeyOf(std::vector<std::string> const& names)
{
  std::string key = names.front();
  for (std::size_t i = 1; i < names.size(); ++i)
    key += "." + names.at(i);
  return key;
}

std::vector<std::string> RandomNames(std::minstd_rand& random, std::string const& first)
{
  std::vector<std::string> names = {first};
  for (std::size_t i = random() % 5; i > 0; --i)
    names.emplace_back(random() % 2 == 0 ? "a" : random() % 2 == 0 ? "b" : "vel:a");
  return names;
}

void ExpectSameAnswers(Option* root, Element const& model, std::vector<std::string> names)
{
  std::string const key = KeyOf(names);
  SCOPED_TRACE(key);
  std::vector<Element const*> matches;
  CollectMatches(model, names, 0, matches);
  std::string const text = matches.empty() || matches.front()->text.empty() ? "none" : matches.front()->text;
  EXPECT_EQ(root->FindOption(key.c_str(), false) != nullptr, !matches.empty());
  EXPECT_EQ(root->Value<std::string>(key.c_str(), "none"), text);
  EXPECT_EQ(root->Value<double>(key.c_str(), -1.0), text == "none" ? -1 : std::stod(text));

  std::string const name = names.back();
  names.pop_back();
  std::vector<Element const*> parents;
  CollectMatches(model, names, 0, parents);
  OptionList const* const list = root->FindAllOptions(key.c_str());
  ASSERT_EQ(list != nullptr, !parents.empty());
  if (list == nullptr)
    return;
  std::vector<std::string> found, expected;
  for (Option* const entry : *list)
    found.push_back(entry->Value<std::string>(name.c_str(), ""));
  for (Element const& child : parents.front()->children)
    if (child.name == name)
      expected.push_back(child.text);
  EXPECT_EQ(found, expected);
}

TEST(Options, RandomTreesAnswerAsTheModelDoes)
{
  std::minstd_rand random(42);
  int number = 1000;
  for (int tree = 0; tree < 300; ++tree)
  {
    Element const model = RandomElement(random, 5, number);
    std::string const xml = XmlOf(model, random);
    SCOPED_TRACE(xml);
    Options parser;
    Option* const root = parser.parse(xml);
    ASSERT_NE(root, nullptr);
    for (int question = 0; question < 40; ++question)
      ExpectSameAnswers(root, model, RandomNames(random, question % 10 == 0 ? "b" : model.name));
    if (HasFailure())
      return;
  }
}
} // namespace

// The reader of XML texts when memory fails: a tree, a list or a value is whole, or the failure is thrown. Never is a
// text that could not be read for want of memory taken for one that is no XML, or a list for a shorter one.

#include "platform/Options.h"
#include "failing_memory/CommonScenarios.h"

#include <string>
#include <vector>

namespace
{
/// A document of two pages of the reader's memory, with lists, attributes, references, comments and character data.
std::string Document()
{
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<vel:Root xmlns:vel=\"http://www.qen.example/\">";
  for (int i = 0; i < 400; ++i)
    text += "<vel:Entry number=\"" + std::to_string(i) + "\" kind='&quot;x&quot;'><vel:Text>entry &amp; " +
            std::to_string(i) + "</vel:Text><!-- note --><vel:Number> " + std::to_string(i) +
            ".5 </vel:Number></vel:Entry>\n";
  return text + "<vel:Joined>first part that is long, <![CDATA[second part, ]]><b/>third part</vel:Joined>"
                "<vel:Count> 4000000000 </vel:Count><vel:Wrong>no number</vel:Wrong></vel:Root>";
}

/// Everything that lookups find below the root, as one text.
std::string Contents(Option* root)
{
  Sight sight;
  std::vector<Option*> const* const entries = root->FindAllOptions("vel:Root.vel:Entry");
  for (Option* const entry : entries == nullptr ? std::vector<Option*>() : *entries)
  {
    sight.Add(entry->Value<std::string>("vel:Entry.vel:Text", "missing"));
    sight.Add(entry->Value<double>("vel:Entry.vel:Number", -1));
  }
  sight.Add(root->Value<std::string>("vel:Root.vel:Joined", "missing"));
  sight.Add(root->Value<unsigned int>("vel:Root.vel:Count", 0U));
  return sight.Text();
}

struct Parsing
{
  Options parser;
  Option* root = nullptr;
};

/// A text that is parsed, looked at through the value of one element as well.
Scenario<Parsing> ParsingOf(std::string const& text, std::string const& key = "vel:Root.vel:Joined")
{
  return {.make = [] { return Parsing(); },
          .act = [text](Parsing& parsing) { parsing.root = parsing.parser.parse(text); },
          .see =
              [key](Parsing& parsing)
          {
            return parsing.root == nullptr
                       ? "no root"
                       : Contents(parsing.root) + parsing.root->Value<std::string>(key.c_str(), "missing");
          }};
}

/// A tree and what a lookup in it gave.
struct Lookup
{
  Options parser;
  Option* root;
  Option* found = nullptr;
  std::vector<Option*>* all = nullptr;
  std::string text = "before";
  double number = 7;
  unsigned int count = 7;
  char const* pointer = "before";

  Lookup() : root(parser.parse(Document())) {}
};

Scenario<Lookup> LookingUp(std::function<void(Lookup&)> lookUp)
{
  return {.make = [] { return Lookup(); },
          .act = std::move(lookUp),
          .see =
              [](Lookup& lookup)
          {
            Sight sight;
            sight.Add(lookup.found == nullptr
                          ? "nothing"
                          : lookup.found->Value<std::string>("vel:Entry.vel:Text", "missing").c_str());
            sight.Add(lookup.all == nullptr ? std::size_t{77} : lookup.all->size());
            sight.Add(lookup.text);
            sight.Add(lookup.number);
            sight.Add(lookup.count);
            sight.Add(lookup.pointer);
            return sight.Text();
          }};
}
} // namespace

TEST(OptionsFailingMemory, TreeIsWholeOrNotThere)
{
  ExpectEndures(ParsingOf(Document()));
  ExpectEndures(ParsingOf("<r>" + std::string(100000, 'x') + "</r>", "r"));
  std::string deep = "<a>end</a>";
  std::string key = "a";
  for (int i = 0; i < 1000; ++i)
  {
    deep = "<a>" + deep + "</a>";
    key += ".a";
  }
  ExpectEndures(ParsingOf(deep, key));
}

TEST(OptionsFailingMemory, TextThatIsNoXmlIsNoXmlWhateverMemoryDoes)
{
  std::string cut = Document();
  cut.resize(cut.size() - 5);
  for (std::string const& text : {cut + ">", Document() + "<second/>", std::string("<a>") + Document()})
    ExpectEndures(ParsingOf(text));
}

TEST(OptionsFailingMemory, ElementIsFoundOrTheFailureIsThrown)
{
  ExpectEndures(LookingUp([](Lookup& lookup) { lookup.found = lookup.root->FindOption("vel:Root.vel:Entry", false); }));
  ExpectEndures(
      LookingUp([](Lookup& lookup) { lookup.found = lookup.root->FindOption("vel:Root.vel:Missing", false); }));
}

TEST(OptionsFailingMemory, ListIsWholeOrTheFailureIsThrown)
{
  ExpectEndures(LookingUp([](Lookup& lookup) { lookup.all = lookup.root->FindAllOptions("vel:Root.vel:Entry"); }));
  ExpectEndures(LookingUp([](Lookup& lookup) { lookup.all = lookup.root->FindAllOptions("vel:Root.vel:None"); }));
}

TEST(OptionsFailingMemory, ValueIsWholeOrTheFailureIsThrown)
{
  ExpectEndures(LookingUp([](Lookup& lookup)
                          { lookup.pointer = lookup.root->Value<char const*>("vel:Root.vel:Joined", "fallback"); }));
  ExpectEndures(LookingUp([](Lookup& lookup)
                          { lookup.number = lookup.root->Value<double>("vel:Root.vel:Entry.vel:Number", -1); }));
  ExpectEndures(
      LookingUp([](Lookup& lookup) { lookup.count = lookup.root->Value<unsigned int>("vel:Root.vel:Count", 1U); }));
  Scenario<Lookup> joined =
      LookingUp([](Lookup& lookup)
                { lookup.text = lookup.root->Value<std::string>("vel:Root.vel:Joined", LongText("fallback")); });
  // The tree keeps the joined text for the next question though the copy of it was not made.
  joined.faultOfFailure = [](Lookup& lookup, Attempt const&) -> std::string
  { return lookup.text == "before" ? "" : "failed and gave a text"; };
  ExpectEndures(joined);
}

TEST(OptionsFailingMemory, MalformedNumberIsReportedOrTheReportFindsNoMemory)
{
  ExpectEndures(
      LookingUp([](Lookup& lookup) { lookup.count = lookup.root->Value<unsigned int>("vel:Root.vel:Wrong", 1U); }));
  ExpectEndures(
      LookingUp([](Lookup& lookup) { lookup.number = lookup.root->Value<double>("vel:Root.vel:Wrong", 1.0); }));
}

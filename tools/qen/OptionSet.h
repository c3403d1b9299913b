#pragma once

#include "platform/Uuid.h"
#include "signalprocessing/io/file/TimeSignalRecord.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

struct CommandEntry;

namespace CLI
{
class App;
class Option;
} // namespace CLI

/// What a command takes: its options and arguments in the order of the help, each bound to the variable that gets its
/// value while the command line is read. Variables must live until then; without the option they keep what they hold.
///
/// Names are as the user writes them: "--rate", "-o,--output"; arguments have the name that the help shows. Of an
/// option that is given again the last value counts. Only OptionSet.cpp and main.cpp see the library behind it, a large
/// header.
class OptionSet
{
public:
  /// One that was added, to say more about it.
  class Option
  {
  public:
    explicit Option(CLI::Option& option) : option_(option) {}

    Option& Required();
    /// Not together with the option of this name, which was added before.
    Option& Excludes(std::string const& name);

  private:
    CLI::Option& option_;
  };

  explicit OptionSet(CLI::App& app) : app_(app) {}

  Option AddArgument(std::string const& name, std::string& value, std::string const& help);
  Option AddArguments(std::string const& name, std::vector<std::string>& values, std::string const& help);
  /// Exactly so many.
  Option AddArguments(std::string const& name, std::vector<std::string>& values, int count, std::string const& help);

  /// One of these words.
  Option AddArgumentChoice(std::string const& name, std::vector<std::string> const& choices, std::string& value,
                           std::string const& help);

  Option AddFlag(std::string const& name, bool& value, std::string const& help);
  /// --json
  Option AddJson(bool& value, std::string const& help);

  /// Any text; the help calls it `typeName`.
  Option AddText(std::string const& name, char const* typeName, std::string& value, std::string const& help);
  Option AddText(std::string const& name, char const* typeName, std::optional<std::string>& value,
                 std::string const& help);
  /// A text that details documents can keep.
  Option AddDetailsText(std::string const& name, std::optional<std::string>& value, std::string const& help);
  Option AddChoice(std::string const& name, std::vector<std::string> const& choices, std::string& value,
                   std::string const& help);

  Option AddNumber(std::string const& name, std::optional<double>& value, std::string const& help);
  /// A finite number other than 0.
  Option AddFactor(std::string const& name, std::optional<double>& value, std::string const& help);
  /// A finite number above 0.
  Option AddPositive(std::string const& name, std::optional<double>& value, std::string const& help);
  /// A whole number from 0 on.
  Option AddCount(std::string const& name, std::optional<unsigned long long>& value, std::string const& help);
  Option AddUuid(std::string const& name, std::optional<Uuid>& value, std::string const& help);
  Option AddTime(std::string const& name, std::optional<long long>& value, std::string const& help);
  /// Microseconds.
  Option AddDuration(std::string const& name, std::optional<long long>& value, std::string const& help);

  /// --type; all names stand below the help
  Option AddSampleType(std::optional<sample_datatype32_t>& value, std::string const& help);
  /// --signal-type; all names stand below the help
  Option AddSignalType(std::optional<signal32_t>& value, std::string const& help);
  /// --compression: none, zlib or gzip
  Option AddCompression(std::optional<compression32_t>& value, std::string const& help);

  /// An option whose value `read` takes; what it throws becomes a message on the option.
  Option AddRead(std::string const& name, char const* typeName, std::string const& help,
                 std::function<void(std::string const&)> const& read);
  /// The same that may be repeated; `read` is called for each value.
  Option AddRepeated(std::string const& name, char const* typeName, std::string const& help,
                     std::function<void(std::string const&)> const& read);

  /// Adds a command that is named behind this one, and listed in the help under `heading`. One of those that are added
  /// must be named; `chosen` is called when it is this one.
  /// @return the set of the new command's own options, still empty
  OptionSet AddCommand(char const* heading, CommandEntry const& entry, std::function<void()> const& chosen);

private:
  CLI::App& app_;
};

#include "OptionSet.h"

#include "Command.h"
#include "Duration.h"
#include "Names.h"
#include "OptionValue.h"
#include "Text.h"
#include "TimeText.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace
{
/// Adds an option that `convert` turns from text into the value.
template <class T>
OptionSet::Option AddConverted(OptionSet& options, std::string const& name, char const* typeName,
                               std::optional<T>& value, std::string const& help, T (*convert)(std::string const&))
{
  return options.AddRead(name, typeName, help, [&value, convert](std::string const& text) { value = convert(text); });
}

template <class T>
OptionSet::Option AddName(OptionSet& options, std::string const& name, char const* typeName,
                          std::span<Names::Entry const> entries, std::optional<T>& value, std::string const& help)
{
  return options.AddRead(name, typeName, help,
                         [&value, entries](std::string const& text)
                         { value = static_cast<T>(Names::Parse(entries, text)); });
}

/// What `read` makes of the texts; what it throws becomes a message on the option.
template <class Read>
auto Guarded(std::string const& name, Read const& read)
{
  return [name, read](auto const& texts)
  {
    try
    {
      read(texts);
    }
    catch (std::exception const& error)
    {
      throw CLI::ValidationError(name, error.what());
    }
  };
}

/// An option with one value, of which the last is taken.
template <class T>
OptionSet::Option AddValue(CLI::App& app, std::string const& name, char const* typeName, T& value,
                           std::string const& help)
{
  return OptionSet::Option(*app.add_option(name, value, help)->type_name(typeName)->take_last());
}
} // namespace

OptionSet::Option& OptionSet::Option::Required()
{
  option_.required();
  return *this;
}

OptionSet::Option& OptionSet::Option::Excludes(std::string const& name)
{
  option_.excludes(name);
  return *this;
}

OptionSet::Option OptionSet::AddArgument(std::string const& name, std::string& value, std::string const& help)
{
  return Option(*app_.add_option(name, value, help)->type_name(""));
}

OptionSet::Option OptionSet::AddArguments(std::string const& name, std::vector<std::string>& values,
                                          std::string const& help)
{
  return Option(*app_.add_option(name, values, help)->type_name(""));
}

OptionSet::Option OptionSet::AddArguments(std::string const& name, std::vector<std::string>& values, int count,
                                          std::string const& help)
{
  return Option(*app_.add_option(name, values, help)->type_name("")->expected(count));
}

OptionSet::Option OptionSet::AddArgumentChoice(std::string const& name, std::vector<std::string> const& choices,
                                               std::string& value, std::string const& help)
{
  return Option(*app_.add_option(name, value, help)->check(CLI::IsMember(choices).description(""))->type_name(""));
}

OptionSet::Option OptionSet::AddFlag(std::string const& name, bool& value, std::string const& help)
{
  return Option(*app_.add_flag(name, value, help));
}

OptionSet::Option OptionSet::AddJson(bool& value, std::string const& help) { return AddFlag("--json", value, help); }

OptionSet::Option OptionSet::AddText(std::string const& name, char const* typeName, std::string& value,
                                     std::string const& help)
{
  return AddValue(app_, name, typeName, value, help);
}

OptionSet::Option OptionSet::AddText(std::string const& name, char const* typeName, std::optional<std::string>& value,
                                     std::string const& help)
{
  return AddValue(app_, name, typeName, value, help);
}

OptionSet::Option OptionSet::AddDetailsText(std::string const& name, std::optional<std::string>& value,
                                            std::string const& help)
{
  return AddConverted(*this, name, "TEXT", value, help, OptionValue::ReadDetailsText);
}

OptionSet::Option OptionSet::AddChoice(std::string const& name, std::vector<std::string> const& choices,
                                       std::string& value, std::string const& help)
{
  return Option(*app_.add_option(name, value, help)
                     ->check(CLI::IsMember(choices).description(""))
                     ->type_name(Text::Join(choices, "|"))
                     ->take_last());
}

OptionSet::Option OptionSet::AddNumber(std::string const& name, std::optional<double>& value, std::string const& help)
{
  return AddConverted(*this, name, "NUMBER", value, help, OptionValue::ReadNumber);
}

OptionSet::Option OptionSet::AddFactor(std::string const& name, std::optional<double>& value, std::string const& help)
{
  return AddConverted(*this, name, "NUMBER", value, help, OptionValue::ReadFactor);
}

OptionSet::Option OptionSet::AddPositive(std::string const& name, std::optional<double>& value, std::string const& help)
{
  return AddConverted(*this, name, "NUMBER", value, help, OptionValue::ReadPositive);
}

OptionSet::Option OptionSet::AddCount(std::string const& name, std::optional<unsigned long long>& value,
                                      std::string const& help)
{
  return AddConverted(*this, name, "N", value, help, OptionValue::ReadCount);
}

OptionSet::Option OptionSet::AddUuid(std::string const& name, std::optional<Uuid>& value, std::string const& help)
{
  return AddConverted(*this, name, "UUID", value, help, OptionValue::ReadUuid);
}

OptionSet::Option OptionSet::AddTime(std::string const& name, std::optional<long long>& value, std::string const& help)
{
  return AddConverted(*this, name, "TIME", value, help, TimeText::Parse);
}

OptionSet::Option OptionSet::AddDuration(std::string const& name, std::optional<long long>& value,
                                         std::string const& help)
{
  return AddConverted(*this, name, "TIME", value, help, Duration::Parse);
}

OptionSet::Option OptionSet::AddSampleType(std::optional<sample_datatype32_t>& value, std::string const& help)
{
  return AddName(*this, "--type", "TYPE", Names::SampleTypes(), value,
                 help + ":\n" + Names::List(Names::SampleTypes()));
}

OptionSet::Option OptionSet::AddSignalType(std::optional<signal32_t>& value, std::string const& help)
{
  return AddName(*this, "--signal-type", "KIND", Names::SignalTypes(), value,
                 help + ":\n" + Names::List(Names::SignalTypes()));
}

OptionSet::Option OptionSet::AddCompression(std::optional<compression32_t>& value, std::string const& help)
{
  return AddName(*this, "--compression", "METHOD", Names::StorableCompressions(), value, help);
}

OptionSet::Option OptionSet::AddRead(std::string const& name, char const* typeName, std::string const& help,
                                     std::function<void(std::string const&)> const& read)
{
  return Option(
      *app_.add_option_function<std::string>(name, Guarded(name, read), help)->type_name(typeName)->take_last());
}

OptionSet::Option OptionSet::AddRepeated(std::string const& name, char const* typeName, std::string const& help,
                                         std::function<void(std::string const&)> const& read)
{
  auto const readAll = [read](std::vector<std::string> const& texts)
  { std::for_each(texts.begin(), texts.end(), read); };
  return Option(*app_.add_option_function<std::vector<std::string>>(name, Guarded(name, readAll), help)
                     ->type_name(typeName)
                     ->allow_extra_args(false));
}

OptionSet OptionSet::AddCommand(char const* heading, CommandEntry const& entry, std::function<void()> const& chosen)
{
  app_.require_subcommand(1);
  CLI::App& command = *app_.add_subcommand(entry.name, entry.summary);
  command.group(heading);
  command.footer(entry.details);
  command.callback(chosen);
  return OptionSet(command);
}

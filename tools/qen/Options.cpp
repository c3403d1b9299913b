#include "Options.h"

#include "DecimalNumber.h"
#include "DetailsText.h"
#include "Duration.h"
#include "TimeText.h"

#include <cmath>
#include <functional>

namespace
{
/// Adds an option that `convert` turns from text into the value; what it throws becomes a message on the option.
template <class T>
CLI::Option* Add(CLI::App& app, std::string const& name, std::optional<T>& value, std::string const& help,
                 char const* typeName, std::function<T(std::string const&)> convert)
{
  auto const read = [&value, convert, name](std::string const& text)
  {
    try
    {
      value = convert(text);
    }
    catch (std::exception const& error)
    {
      throw CLI::ValidationError(name, error.what());
    }
  };
  return app.add_option_function<std::string>(name, read, help)->type_name(typeName)->take_last();
}

double NonZeroNumber(std::string const& text)
{
  double const number = Options::FiniteNumber(text);
  if (number == 0)
    throw std::invalid_argument("must not be 0");
  return number;
}

double PositiveNumber(std::string const& text)
{
  double const number = Options::FiniteNumber(text);
  if (number <= 0)
    throw std::invalid_argument("\"" + text + "\" is not above 0");
  return number;
}

unsigned long long WholeNumber(std::string const& text)
{
  if (!DecimalNumber::IsInteger(text) || !DecimalNumber::Exact<unsigned long long>(text))
    throw std::invalid_argument("\"" + text + "\" is no whole number from 0 on");
  return *DecimalNumber::Exact<unsigned long long>(text);
}

std::string KeepableText(std::string const& text)
{
  DetailsText::Require(text);
  return text;
}

template <class T>
CLI::Option* AddName(CLI::App& app, std::string const& name, std::span<Names::Entry const> entries,
                     std::optional<T>& value, std::string const& help, char const* typeName)
{
  auto const read = [entries](std::string const& text)
  {
    if (auto const number = Names::Parse(entries, text))
      return static_cast<T>(*number);
    throw std::invalid_argument("\"" + text + "\" is none of " + Names::List(entries));
  };
  return Add<T>(app, name, value, help, typeName, read);
}
} // namespace

double Options::FiniteNumber(std::string const& text)
{
  std::optional<double> const number = DecimalNumber::Nearest(text);
  if (!number || !std::isfinite(*number))
    throw std::invalid_argument("\"" + text + "\" is no finite number");
  return *number;
}

Uuid Options::ReadUuid(std::string const& text)
{
  if (text.empty())
    throw std::invalid_argument("the UUID is empty");
  try
  {
    return Uuid(text);
  }
  catch (UuidException const&)
  {
    throw std::invalid_argument("\"" + text + "\" is no UUID");
  }
}

CLI::Option* Options::AddNumber(CLI::App& app, std::string const& name, std::optional<double>& value,
                                std::string const& help)
{
  return Add<double>(app, name, value, help, "NUMBER", FiniteNumber);
}

CLI::Option* Options::AddFactor(CLI::App& app, std::string const& name, std::optional<double>& value,
                                std::string const& help)
{
  return Add<double>(app, name, value, help, "NUMBER", NonZeroNumber);
}

CLI::Option* Options::AddPositive(CLI::App& app, std::string const& name, std::optional<double>& value,
                                  std::string const& help)
{
  return Add<double>(app, name, value, help, "NUMBER", PositiveNumber);
}

CLI::Option* Options::AddCount(CLI::App& app, std::string const& name, std::optional<unsigned long long>& value,
                               std::string const& help)
{
  return Add<unsigned long long>(app, name, value, help, "N", WholeNumber);
}

CLI::Option* Options::AddUuid(CLI::App& app, std::string const& name, std::optional<Uuid>& value,
                              std::string const& help)
{
  return Add<Uuid>(app, name, value, help, "UUID", ReadUuid);
}

CLI::Option* Options::AddText(CLI::App& app, std::string const& name, std::optional<std::string>& value,
                              std::string const& help)
{
  return Add<std::string>(app, name, value, help, "TEXT", KeepableText);
}

CLI::Option* Options::AddTime(CLI::App& app, std::string const& name, std::optional<long long>& value,
                              std::string const& help)
{
  return Add<long long>(app, name, value, help, "TIME", TimeText::Parse);
}

CLI::Option* Options::AddDuration(CLI::App& app, std::string const& name, std::optional<long long>& value,
                                  std::string const& help)
{
  return Add<long long>(app, name, value, help, "TIME", Duration::Parse);
}

CLI::Option* Options::AddSampleType(CLI::App& app, std::optional<sample_datatype32_t>& value, std::string const& help)
{
  return AddName(app, "--type", Names::SampleTypes(), value, help, "TYPE");
}

CLI::Option* Options::AddSignalType(CLI::App& app, std::optional<signal32_t>& value, std::string const& help)
{
  return AddName(app, "--signal-type", Names::SignalTypes(), value, help, "KIND");
}

CLI::Option* Options::AddCompression(CLI::App& app, std::optional<compression32_t>& value, std::string const& help)
{
  return AddName(app, "--compression", Names::StorableCompressions(), value, help, "METHOD");
}

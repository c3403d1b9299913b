#include "ValueCollector.h"

#include "DecimalNumber.h"
#include "LineReader.h"
#include "Names.h"
#include "Text.h"

#include <algorithm>
#include <limits>

namespace
{
using Integers = std::vector<long long>;
using Decimals = std::vector<double>;

[[noreturn]] void RefuseNoNumber(std::string_view text, unsigned long long line)
{
  bool const comma = text.find(',') != std::string_view::npos;
  RefuseLine(line, Text::Quoted(text) + (comma ? " is no number (the decimal mark is a point)" : " is no number"));
}

[[noreturn]] void RefuseInexactInteger(std::string_view text, unsigned long long line)
{
  RefuseLine(line, "the integer " + Text::Quoted(text) +
                       " stands with values that only float64 takes, which cannot hold it exactly (see --type)");
}

template <class T>
void Append(std::vector<T>& values, T value)
{
  RequireRoomForSample(values.size(), sizeof(T));
  values.push_back(value);
}

template <class T>
bool Fits(long long value)
{
  return value >= std::numeric_limits<T>::min() && value <= std::numeric_limits<T>::max();
}

template <class T>
std::vector<T> Narrowed(Integers const& values)
{
  std::vector<T> narrowed(values.size());
  std::transform(values.begin(), values.end(), narrowed.begin(), [](long long value) { return static_cast<T>(value); });
  return narrowed;
}
} // namespace

ValueCollector::ValueCollector(std::optional<sample_datatype32_t> type)
  : type_(type), samples_(type ? EmptySamples(*type) : SampleArray(Integers()))
{
}

void ValueCollector::Add(std::string_view text, unsigned long long line)
{
  if (text.empty())
    RefuseLine(line, "has no value");
  if (type_)
    AddForced(text, line);
  else if (std::holds_alternative<Integers>(samples_))
    AddInteger(text, line);
  else
    AddDecimal(text, line);
}

SampleArray ValueCollector::Take()
{
  if (!type_ && std::holds_alternative<Integers>(samples_))
    Narrow();
  return std::move(samples_);
}

std::vector<std::string> ValueCollector::Remarks() const
{
  if (roundedCount_ == 0)
    return {};
  return {Text::Counted(roundedCount_, "value has", "values have") +
          " more digits than float64 holds and became the nearest float64, the first on line " +
          std::to_string(firstRounded_)};
}

void ValueCollector::AddForced(std::string_view text, unsigned long long line)
{
  auto const add = [&]<class T>(std::vector<T>& values)
  {
    std::optional<T> const value = DecimalNumber::Exact<T>(text);
    if (value)
      return Append(values, *value);
    if (!DecimalNumber::IsNumber(text))
      RefuseNoNumber(text, line);
    RefuseLine(line, Names::Show(Names::SampleTypes(), *type_) + " cannot hold " + Text::Quoted(text) + " exactly");
  };
  std::visit(add, samples_);
}

void ValueCollector::AddInteger(std::string_view text, unsigned long long line)
{
  std::optional<long long> value;
  if (DecimalNumber::IsInteger(text))
    value = DecimalNumber::Exact<long long>(text);
  if (!value)
  {
    BecomeDecimal();
    return AddDecimal(text, line);
  }
  if (firstInexact_ == 0 && !DecimalNumber::Exact<double>(text))
  {
    firstInexact_ = line;
    firstInexactText_ = text;
  }
  Append(std::get<Integers>(samples_), *value);
}

void ValueCollector::AddDecimal(std::string_view text, unsigned long long line)
{
  std::optional<double> const value = DecimalNumber::Nearest(text);
  if (!DecimalNumber::IsNumber(text))
    RefuseNoNumber(text, line);
  if (firstInexact_ != 0)
    RefuseInexactInteger(firstInexactText_, firstInexact_);
  if (!value)
    RefuseLine(line, Text::Quoted(text) + " is beyond the range of float64");
  if (!DecimalNumber::Exact<double>(text))
  {
    if (DecimalNumber::IsInteger(text))
      RefuseInexactInteger(text, line);
    if (roundedCount_++ == 0)
      firstRounded_ = line;
  }
  Append(std::get<Decimals>(samples_), *value);
}

/// The integers gathered so far as float64.
void ValueCollector::BecomeDecimal()
{
  auto const& integers = std::get<Integers>(samples_);
  samples_ = Decimals(integers.begin(), integers.end());
}

void ValueCollector::Narrow()
{
  auto const& integers = std::get<Integers>(samples_);
  auto const [smallest, largest] = std::minmax_element(integers.begin(), integers.end());
  if (integers.empty() || (Fits<short>(*smallest) && Fits<short>(*largest)))
    samples_ = Narrowed<short>(integers);
  else if (Fits<int>(*smallest) && Fits<int>(*largest))
    samples_ = Narrowed<int>(integers);
}

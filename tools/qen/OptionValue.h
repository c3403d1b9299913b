#pragma once

#include "platform/Uuid.h"

#include <string>

/// What options take, read from text: numbers exactly and without a locale. All throw std::invalid_argument with a text
/// that says what is wrong.
namespace OptionValue
{
/// A finite number.
double ReadNumber(std::string const& text);
/// A finite number other than 0.
double ReadFactor(std::string const& text);
/// A finite number above 0.
double ReadPositive(std::string const& text);
/// A whole number from 0 on.
unsigned long long ReadCount(std::string const& text);
Uuid ReadUuid(std::string const& text);
/// A text that details documents can keep.
std::string ReadDetailsText(std::string const& text);
} // namespace OptionValue

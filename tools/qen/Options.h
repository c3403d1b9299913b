#pragma once

#include "Names.h"

#include "platform/Uuid.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

/// Options whose values are checked and converted while the command line is read, numbers exactly and without a locale.
namespace Options
{
CLI::Option* AddNumber(CLI::App& app, std::string const& name, std::optional<double>& value, std::string const& help);
/// A finite number other than 0.
CLI::Option* AddFactor(CLI::App& app, std::string const& name, std::optional<double>& value, std::string const& help);
/// A finite number above 0.
CLI::Option* AddPositive(CLI::App& app, std::string const& name, std::optional<double>& value, std::string const& help);
/// A whole number from 0 on.
CLI::Option* AddCount(CLI::App& app, std::string const& name, std::optional<unsigned long long>& value,
                      std::string const& help);
CLI::Option* AddUuid(CLI::App& app, std::string const& name, std::optional<Uuid>& value, std::string const& help);
/// A text that details documents can keep.
CLI::Option* AddText(CLI::App& app, std::string const& name, std::optional<std::string>& value,
                     std::string const& help);
CLI::Option* AddTime(CLI::App& app, std::string const& name, std::optional<long long>& value, std::string const& help);
/// Microseconds.
CLI::Option* AddDuration(CLI::App& app, std::string const& name, std::optional<long long>& value,
                         std::string const& help);
CLI::Option* AddSampleType(CLI::App& app, std::optional<sample_datatype32_t>& value, std::string const& help);
CLI::Option* AddSignalType(CLI::App& app, std::optional<signal32_t>& value, std::string const& help);
/// none, zlib or gzip
CLI::Option* AddCompression(CLI::App& app, std::optional<compression32_t>& value, std::string const& help);

/// The conversions themselves; they throw std::invalid_argument.
double FiniteNumber(std::string const& text);
Uuid ReadUuid(std::string const& text);
} // namespace Options

#pragma once

#include "Details.h"
#include "Json.h"
#include "Verification.h"

/// Signals as the commands print them in JSON.
namespace SignalJson
{
/// Adds every field of a header.
void AddHeader(Json& object, timesignal_bin_t const& header);
/// An object with the unit, the validators, the trigger (null when there is none) and the characteristic values.
Json OfDetails(Details const& details);
/// A list of objects with the part and the text of each finding.
Json OfFindings(std::vector<Verification::Finding> const& findings);
} // namespace SignalJson

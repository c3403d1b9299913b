#pragma once

#include <string>
#include <string_view>

/// Texts in details documents, which are written without escaping.
namespace DetailsText
{
/// Why a text cannot be trusted to come back from a document as it was written: markup, control characters, bytes that
/// are no UTF-8, blanks around it. Empty when it can.
std::string Problem(std::string_view text);
/// Throws std::invalid_argument, naming the text and the problem, when there is one.
void Require(std::string_view text);
} // namespace DetailsText

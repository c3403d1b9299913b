#pragma once

/// What each target with XML texts tells the mutator of such texts.
namespace TextMutation
{
/// Path to an element without which nothing is read.
extern char const* const kNeeded;
/// A text with little but it, for inputs in which nothing readable is left.
extern char const* const kSkeleton;
} // namespace TextMutation

#pragma once

#include <cstddef>
#include <gtest/gtest.h>
#include <string>

/// A text in which `by` stands where `what` stood first, which must be there.
inline std::string Replaced(std::string text, std::string const& what, std::string const& by)
{
  std::size_t const place = text.find(what);
  EXPECT_NE(place, std::string::npos) << what;
  return place == std::string::npos ? text : text.replace(place, what.size(), by);
}

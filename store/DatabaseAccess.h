#pragma once

#include <chrono>

/// How a store is opened.
struct DatabaseAccess
{
  bool readOnly = false;
  /// How long to wait for another process's transaction.
  std::chrono::milliseconds patience{10000};
};

#pragma once

#include <chrono>

/// How a store is opened.
struct DatabaseAccess
{
  bool readOnly = false;
  /// How long to wait for another process's transaction.
  std::chrono::milliseconds patience{10000};
  /// How long a server may be silent, if that is more than the patience, before it is given up. What makes or changes
  /// tables, or checks all of them, may take any time.
  std::chrono::milliseconds silence{60000};
};

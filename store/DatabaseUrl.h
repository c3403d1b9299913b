#pragma once

#include "store/SqlConnection.h"

/// The engines by the names that URLs begin with.
class DatabaseUrl
{
public:
  static std::unique_ptr<SqlConnection> Connect(std::string const& url, DatabaseAccess const& access);
};

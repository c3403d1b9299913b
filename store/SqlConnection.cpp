#include "store/SqlConnection.h"

#include "store/DatabaseException.h"
#include "utilities/exception/ExceptionFactory.h"

#include <limits>

SqlRows::~SqlRows() = default;
SqlConnection::~SqlConnection() = default;

Uuid SqlRows::Identifier(int column) const
{
  std::span<unsigned char const> const bytes = Bytes(column);
  if (bytes.size() != 16)
    refuse(column);
  Uuid uuid;
  uuid.SetPlainUuid(bytes.data());
  return uuid;
}

unsigned int SqlRows::Count(int column) const
{
  long long const value = Integer(column);
  if (value < 0 || value > std::numeric_limits<unsigned int>::max())
    refuse(column);
  return static_cast<unsigned int>(value);
}

std::string SqlRows::Text(int column) const
{
  std::span<unsigned char const> const bytes = Bytes(column);
  return {bytes.begin(), bytes.end()};
}

void SqlRows::refuse(int column) const
{
  throw ExceptionFactory("SqlConnection.cpp", __LINE__)
      .createException<DatabaseException>("%s: column %d holds a value of a wrong kind", statementName(), column);
}

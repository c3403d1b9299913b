#include "store/DatabaseUrl.h"

#include "store/DatabaseException.h"
#include "store/SqliteConnection.h"
#include "utilities/exception/ExceptionFactory.h"
#ifdef QEN_POSTGRES
#include "store/PostgresConnection.h"
#endif

#include <string_view>

namespace
{
/// A URL may hold a password: messages name no more than what stands in front of the first colon.
[[noreturn]] void refuse(std::string const& url, char const* reason)
{
  throw ExceptionFactory("DatabaseUrl.cpp", __LINE__)
      .createException<DatabaseException>("open %s: %s", url.substr(0, url.find(':')).c_str(), reason);
}
} // namespace

std::unique_ptr<SqlConnection> DatabaseUrl::Connect(std::string const& url, DatabaseAccess const& access)
{
  constexpr std::string_view kSqlite = "sqlite:";
  if (url.starts_with(kSqlite) && url.size() > kSqlite.size())
    return std::make_unique<SqliteConnection>(url.substr(kSqlite.size()), access);
  if (url.starts_with("postgresql://") || url.starts_with("postgres://"))
#ifdef QEN_POSTGRES
    return std::make_unique<PostgresConnection>(url, access);
#else
    refuse(url, "this program was built without PostgreSQL");
#endif
  refuse(url, "a database is named sqlite:PATH or postgresql://...");
}

#pragma once

#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

/// An SQLite file as other programs see it.
class SqliteFile
{
public:
  explicit SqliteFile(std::string const& path)
  {
    sqlite3* database = nullptr;
    int const code = sqlite3_open(path.c_str(), &database);
    database_.reset(database);
    if (code != SQLITE_OK)
      throw std::runtime_error(path + ": " + sqlite3_errmsg(database));
  }

  /// Runs statements and gives the first value of the last row back as text; NULL is "NULL".
  std::string Run(std::string const& script)
  {
    std::string value;
    char* message = nullptr;
    int const code = sqlite3_exec(
        database_.get(), script.c_str(),
        [](void* result, int, char** columns, char**)
        {
          *static_cast<std::string*>(result) = columns[0] == nullptr ? "NULL" : columns[0];
          return 0;
        },
        &value, &message);
    std::unique_ptr<char, decltype(&sqlite3_free)> const owned(message, &sqlite3_free);
    if (code != SQLITE_OK)
      throw std::runtime_error(script + ": " + (message == nullptr ? "failed" : message));
    return value;
  }

private:
  struct Closer
  {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Closer> database_;
};

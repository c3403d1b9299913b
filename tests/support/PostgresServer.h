#pragma once

#include "TemporaryDirectory.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <libpq-fe.h>
#include <memory>
#include <pwd.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

/// A PostgreSQL server of the test program's own: in a fresh folder, reachable through a socket there and by nobody
/// else, and gone with the program, however that ends: the kernel tells the server when its parent dies. The server
/// refuses to run as root, so root runs it as the user that Debian makes for it.
class PostgresServer
{
public:
  /// Started by its first use. Throws, now and whenever it is asked for again, when it cannot start.
  static PostgresServer& Instance()
  {
    static PostgresServer server;
    if (!server.failure_.empty())
      throw std::runtime_error("PostgreSQL does not start: " + server.failure_);
    return server;
  }

  PostgresServer(PostgresServer const&) = delete;
  PostgresServer& operator=(PostgresServer const&) = delete;
  ~PostgresServer() { Stop(SIGQUIT); }

  /// A name of this schema's store for DeviceDatabase.
  std::string Url(std::string const& schema, std::string const& user = "qen") const
  {
    return "postgresql:///postgres?host=" + folder_.Path() + "&user=" + user + "&options=-csearch_path%3D" + schema;
  }

  std::string FreshSchema()
  {
    std::string const schema = "test" + std::to_string(++schemaCount_);
    Run(Url("public"), "CREATE SCHEMA " + schema);
    return schema;
  }

  /// Runs SQL that is not the store's, and gives its single value back as text.
  static std::string Run(std::string const& url, std::string const& script)
  {
    std::unique_ptr<PGconn, decltype(&PQfinish)> const connection(PQconnectdb(url.c_str()), &PQfinish);
    std::unique_ptr<PGresult, decltype(&PQclear)> const result(PQexec(connection.get(), script.c_str()), &PQclear);
    ExecStatusType const status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
      throw std::runtime_error(script + ": " + PQerrorMessage(connection.get()));
    return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
  }

  /// Ends all sessions, as a server does that is restarted.
  void Restart()
  {
    Stop(SIGINT);
    start();
  }

  void Stop(int signal)
  {
    if (process_ == 0)
      return;
    kill(process_, signal);
    waitpid(process_, nullptr, 0);
    process_ = 0;
  }

private:
  static constexpr char const* kUser = "postgres";

  PostgresServer()
  {
    try
    {
      giveFolderAway();
      runToEnd({binary("initdb"), "-D", data(), "-U", "qen", "-A", "trust", "-N", "-E", "UTF8", "--locale=C"});
      start();
    }
    catch (std::exception const& exception)
    {
      failure_ = exception.what();
    }
  }

  std::string data() const { return folder_.Path("data"); }

  void giveFolderAway() const
  {
    if (geteuid() != 0)
      return;
    passwd const* const user = getpwnam(kUser);
    if (user == nullptr)
      throw std::runtime_error("there is no user postgres to run it as");
    if (chown(folder_.Path().c_str(), user->pw_uid, user->pw_gid) != 0)
      throw std::system_error(errno, std::generic_category(), folder_.Path());
  }

  /// The newest server that is installed.
  static std::string binary(std::string const& name)
  {
    std::string newest;
    if (std::filesystem::is_directory("/usr/lib/postgresql"))
      for (auto const& version : std::filesystem::directory_iterator("/usr/lib/postgresql"))
        if (std::string const path = version.path() / "bin" / name; std::filesystem::exists(path))
          newest = std::max(newest, path);
    if (newest.empty())
      throw std::runtime_error(name + " is not installed");
    return newest;
  }

  pid_t spawn(std::vector<std::string> command) const
  {
    std::vector<std::string> words{"setpriv", "--pdeathsig", "QUIT"};
    if (geteuid() == 0)
      words.insert(words.end(), {"--reuid", kUser, "--regid", kUser, "--clear-groups"});
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> arguments;
    for (std::string& word : words)
      arguments.push_back(word.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    std::string const log = logPath();
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    pid_t process = 0;
    int const error = posix_spawnp(&process, "setpriv", &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
      throw std::system_error(error, std::generic_category(), "setpriv");
    return process;
  }

  std::string logPath() const { return folder_.Path("log"); }
  std::string log() const
  {
    std::vector<unsigned char> const bytes = ReadFile(logPath());
    return {bytes.begin(), bytes.end()};
  }

  void runToEnd(std::vector<std::string> const& command) const
  {
    int status = 0;
    waitpid(spawn(command), &status, 0);
    if (status != 0)
      throw std::runtime_error(log());
  }

  void start()
  {
    process_ = spawn({binary("postgres"), "-D", data(), "-k", folder_.Path(), "-c", "listen_addresses=", "-c",
                      "fsync=off", "-c", "max_connections=20", "-c", "shared_buffers=16MB", "-c", "autovacuum=off"});
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (PQping(Url("public").c_str()) != PQPING_OK)
    {
      if (waitpid(process_, nullptr, WNOHANG) != 0)
      {
        process_ = 0;
        throw std::runtime_error(log());
      }
      if (std::chrono::steady_clock::now() > deadline)
        throw std::runtime_error("it takes more than two minutes\n" + log());
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  TemporaryDirectory folder_;
  std::string failure_;
  pid_t process_ = 0;
  unsigned int schemaCount_ = 0;
};

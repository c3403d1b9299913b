#include "store/PostgresConnection.h"

#include "store/DatabaseException.h"
#include "utilities/exception/ExceptionFactory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <libpq-fe.h>
#include <limits>
#include <poll.h>
#include <utility>

namespace
{
constexpr char const kSourceUnit[] = "PostgresConnection.cpp";
constexpr char const kOpen[] = "open postgresql";
constexpr SqlDialect kDialect{
    "UUID", "BIGINT", "DOUBLE PRECISION", "BYTEA", "", "", "ALTER TABLE % ALTER COLUMN data SET STORAGE EXTERNAL;"};

// The numbers that PostgreSQL gives its own types; they are part of its protocol.
constexpr Oid kBytea = 17;
constexpr Oid kInt8 = 20;
constexpr Oid kInt2 = 21;
constexpr Oid kInt4 = 23;
constexpr Oid kFloat8 = 701;
constexpr Oid kUuid = 2950;

constexpr int kBinary = 1;
/// Whoever makes or migrates tables holds the advisory lock with this number: "qen_stor" as bytes.
constexpr char const kLockSchemaText[] = "SELECT pg_advisory_xact_lock(8171058455171592050)";
constexpr char const kSilent[] = "the server did not answer in time";
/// What a server takes to say that its patience with a lock has ended.
constexpr std::chrono::seconds kTimeToRefuse{1};
/// A server ends the session of a client that sends more at once.
constexpr std::size_t kMaxMessage = 0x3fffffff;

Oid typeOf(SqlParameter const& parameter)
{
  switch (parameter.GetKind())
  {
  case SqlParameter::Kind::integer:
    return kInt8;
  case SqlParameter::Kind::real:
    return kFloat8;
  case SqlParameter::Kind::uuid:
    return kUuid;
  case SqlParameter::Kind::bytes:
    break;
  }
  return kBytea;
}

using EightBytes = std::array<char, 8>;

/// The protocol's numbers have their most significant byte first.
EightBytes toBigEndian(std::uint64_t value)
{
  EightBytes bytes;
  for (std::size_t i = bytes.size(); i-- > 0; value >>= 8)
    bytes[i] = static_cast<char>(value & 0xff);
  return bytes;
}

std::uint64_t fromBigEndian(std::span<unsigned char const> bytes)
{
  std::uint64_t value = 0;
  for (unsigned char const byte : bytes)
    value = value << 8 | byte;
  return value;
}

/// Parameters in the form in which libpq takes them.
class BinaryParameters
{
public:
  explicit BinaryParameters(SqlParameters parameters)
  {
    numbers_.reserve(parameters.size());
    for (SqlParameter const& parameter : parameters)
      add(parameter);
  }

  int Count() const { return static_cast<int>(values_.size()); }
  char const* const* Values() const { return values_.data(); }
  int const* Lengths() const { return lengths_.data(); }
  int const* Formats() const { return formats_.data(); }
  bool IsTooLong() const { return byteCount_ > kMaxMessage; }

private:
  void add(SqlParameter const& parameter)
  {
    switch (parameter.GetKind())
    {
    case SqlParameter::Kind::integer:
      addNumber(static_cast<std::uint64_t>(parameter.Integer()));
      return;
    case SqlParameter::Kind::real:
      addNumber(std::bit_cast<std::uint64_t>(parameter.Real()));
      return;
    case SqlParameter::Kind::uuid:
    case SqlParameter::Kind::bytes:
      addBytes(parameter.Bytes());
    }
  }

  void addNumber(std::uint64_t value)
  {
    EightBytes const& bytes = numbers_.emplace_back(toBigEndian(value));
    addBytes({reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()});
  }

  void addBytes(std::span<unsigned char const> bytes)
  {
    // An empty range may point nowhere, which libpq would take for NULL.
    values_.push_back(bytes.empty() ? "" : reinterpret_cast<char const*>(bytes.data()));
    lengths_.push_back(static_cast<int>(bytes.size()));
    formats_.push_back(kBinary);
    byteCount_ += bytes.size();
  }

  std::vector<EightBytes> numbers_;
  std::vector<char const*> values_;
  std::vector<int> lengths_;
  std::vector<int> formats_;
  std::uint64_t byteCount_ = 0;
};

/// What libpq says in several lines, in one. Lines that are set in only advise.
std::string inOneLine(std::string_view message)
{
  std::string line;
  while (!message.empty())
  {
    std::string_view const part = message.substr(0, message.find('\n'));
    message.remove_prefix(std::min(part.size() + 1, message.size()));
    if (part.empty() || part.front() == '\t')
      continue;
    line += line.empty() ? "" : "; ";
    line += part;
  }
  return line;
}

[[noreturn]] void failOpening(char const* message, int line)
{
  throw ExceptionFactory(kSourceUnit, line).createException<DatabaseException>("%s: %s", kOpen, message);
}

/// A password with characters that belong escaped makes libpq take a piece of it for something else, and quote that.
/// Nothing may quote it.
bool isPieceOfPassword(PQconninfoOption const& option)
{
  std::string_view const keyword = option.keyword;
  std::string_view const value = option.val == nullptr ? "" : option.val;
  if (keyword == "port")
    return value.find_first_not_of("0123456789,") != std::string_view::npos;
  return (keyword == "host" || keyword == "dbname") && value.find('@') != std::string_view::npos;
}

void requireReadableUrl(char const* url)
{
  std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> const options(PQconninfoParse(url, nullptr),
                                                                             &PQconninfoFree);
  if (!options)
    failOpening("the URL cannot be read", __LINE__);
  for (PQconninfoOption const* option = options.get(); option->keyword != nullptr; ++option)
    if (isPieceOfPassword(*option))
      failOpening("the URL cannot be read", __LINE__);
}

void ignoreNotice(void*, PGresult const*) {}

/// Seconds, rounded up; libpq waits for 2 at least.
std::string connectTimeout(DatabaseAccess const& access)
{
  long long const seconds = std::max<long long>(access.patience.count(), 0) / 1000 + 1;
  return std::to_string(std::clamp<long long>(seconds, 2, std::numeric_limits<int>::max()));
}

/// A server that waits for a lock is silent, too, and says so in the end.
std::chrono::milliseconds silenceOf(DatabaseAccess const& access)
{
  constexpr std::chrono::milliseconds most = std::chrono::hours(24 * 365);
  return std::clamp<std::chrono::milliseconds>(
      std::max(std::min(access.patience, most) + kTimeToRefuse, access.silence), kTimeToRefuse, most);
}

int timeLeft(std::chrono::steady_clock::time_point deadline)
{
  auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<long long>(left.count(), 0, std::numeric_limits<int>::max()));
}

bool isError(pg_result const* result)
{
  ExecStatusType const status = PQresultStatus(result);
  return status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK;
}

std::string sessionSettings(DatabaseAccess const& access)
{
  // 0 would be endless patience.
  long long const patience = std::clamp<long long>(access.patience.count(), 1, std::numeric_limits<int>::max());
  return "SET lock_timeout = " + std::to_string(patience) + "; SET default_transaction_isolation = 'read committed'" +
         (access.readOnly ? "; SET default_transaction_read_only = on" : "");
}
} // namespace

/// All rows of a query are here already.
class PostgresConnection::Rows : public SqlRows
{
public:
  Rows(Result result, char const* name) : result_(std::move(result)), name_(name) {}

  bool Next() override { return ++row_ < PQntuples(result_.get()); }
  bool IsNull(int column) const override { return PQgetisnull(result_.get(), row_, column) != 0; }

  long long Integer(int column) const override
  {
    std::uint64_t const value = fromBigEndian(valueOf(column, {kInt2, kInt4, kInt8}));
    switch (PQftype(result_.get(), column))
    {
    case kInt2:
      return static_cast<std::int16_t>(value);
    case kInt4:
      return static_cast<std::int32_t>(value);
    default:
      return static_cast<std::int64_t>(value);
    }
  }

  double Real(int column) const override { return std::bit_cast<double>(fromBigEndian(valueOf(column, {kFloat8}))); }
  std::span<unsigned char const> Bytes(int column) const override { return valueOf(column, {kBytea, kUuid}); }

protected:
  char const* statementName() const override { return name_; }

private:
  /// The bytes of a value that has one of these types.
  std::span<unsigned char const> valueOf(int column, std::initializer_list<Oid> types) const
  {
    if (IsNull(column) || std::ranges::find(types, PQftype(result_.get(), column)) == types.end())
      refuse(column);
    auto const* const bytes = reinterpret_cast<unsigned char const*>(PQgetvalue(result_.get(), row_, column));
    return {bytes, static_cast<std::size_t>(PQgetlength(result_.get(), row_, column))};
  }

  Result result_;
  char const* name_;
  int row_ = -1;
};

void PostgresConnection::Closer::operator()(pg_conn* connection) const { PQfinish(connection); }
void PostgresConnection::Closer::operator()(pg_result* result) const { PQclear(result); }

PostgresConnection::PostgresConnection(std::string const& url, DatabaseAccess const& access)
  : silence_(silenceOf(access)), settings_(sessionSettings(access))
{
  requireReadableUrl(url.c_str());
  std::string const timeout = connectTimeout(access);
  std::string const unacknowledged =
      std::to_string(std::min<long long>(silence_.count(), std::numeric_limits<int>::max()));
  // What stands in front of the URL gives way to it. A machine that is gone is noticed even while a script, which may
  // take any time, runs on it: after a minute without traffic it is asked six times, ten seconds apart.
  char const* const keywords[] = {"connect_timeout",
                                  "tcp_user_timeout",
                                  "keepalives_idle",
                                  "keepalives_interval",
                                  "keepalives_count",
                                  "fallback_application_name",
                                  "dbname",
                                  "client_encoding",
                                  nullptr};
  char const* const values[] = {timeout.c_str(), unacknowledged.c_str(), "60", "10", "6", "qen", url.c_str(), "UTF8",
                                nullptr};
  connection_.reset(PQconnectdbParams(keywords, values, 1));
  configure();
}

PostgresConnection::~PostgresConnection() = default;

void PostgresConnection::configure()
{
  if (PQstatus(connection_.get()) != CONNECTION_OK)
    failOpening(inOneLine(PQerrorMessage(connection_.get())).c_str(), __LINE__);
  PQsetNoticeReceiver(connection_.get(), &ignoreNotice, nullptr);
  if (PQsetnonblocking(connection_.get(), 1) != 0)
    failOpening(inOneLine(PQerrorMessage(connection_.get())).c_str(), __LINE__);
  isLost_ = false;
  runScript(kOpen, settings_, silence_);
}

void PostgresConnection::requireSession()
{
  if (isInTransaction_)
    return;
  // What a server says last is followed by the end of the stream: the second look sees that.
  bool const isAlive = !isLost_ && PQconsumeInput(connection_.get()) != 0 && PQconsumeInput(connection_.get()) != 0;
  if (isAlive && PQtransactionStatus(connection_.get()) == PQTRANS_IDLE)
    return;
  statements_.clear();
  PQreset(connection_.get());
  configure();
}

std::unique_ptr<SqlRows> PostgresConnection::Query(SqlText const& statement, SqlParameters parameters)
{
  return std::make_unique<Rows>(run(statement, parameters), statement.name);
}

unsigned long long PostgresConnection::Execute(SqlText const& statement, SqlParameters parameters)
{
  Result const result = run(statement, parameters);
  std::string_view const count = PQcmdTuples(result.get());
  unsigned long long changed = 0;
  std::from_chars(count.data(), count.data() + count.size(), changed);
  return changed;
}

void PostgresConnection::RunScript(char const* name, std::string const& script)
{
  requireSession();
  runScript(name, script, std::nullopt);
}

void PostgresConnection::Begin()
{
  requireSession();
  runScript("begin", "BEGIN", silence_);
  isInTransaction_ = true;
}

void PostgresConnection::Commit()
{
  // A transaction in which a statement failed is rolled back here, and the engine calls that a success.
  Result const result = runScript("commit", "COMMIT", silence_);
  isInTransaction_ = false;
  if (std::strcmp(PQcmdStatus(result.get()), "COMMIT") != 0)
    fail("commit", "a part of the transaction has failed", __LINE__);
}

void PostgresConnection::Rollback() noexcept
try
{
  if (std::exchange(isInTransaction_, false) && !isLost_)
    runScript("rollback", "ROLLBACK", silence_);
}
catch (std::exception const&)
{
  // The next call opens the session anew when it is not idle.
}

void PostgresConnection::LockSchema()
{
  requireSession();
  runScript("lock store", kLockSchemaText, silence_);
}

bool PostgresConnection::HasTable(char const* name)
{
  std::string const wanted = name;
  SqlParameter const parameters[] = {wanted};
  static SqlText const statement{"find table", "SELECT 1 FROM pg_catalog.pg_tables WHERE schemaname = current_schema() "
                                               "AND tablename = convert_from($1, 'UTF8')"};
  return Query(statement, parameters)->Next();
}

// A database may serve others as well.
void PostgresConnection::RequireRoomForTables() {}
SqlDialect const& PostgresConnection::Dialect() const { return kDialect; }
// The server does so by itself.
void PostgresConnection::ReleaseSpace() {}
// Checks are the business of those who run the server.
std::vector<std::string> PostgresConnection::CheckIntegrity() { return {}; }

PostgresConnection::Result PostgresConnection::runScript(char const* name, std::string const& script, Limit limit)
{
  return ask(name, limit, [&] { return PQsendQuery(connection_.get(), script.c_str()); });
}

template <class Send>
PostgresConnection::Result PostgresConnection::ask(char const* name, Limit limit, Send const& send)
{
  if (isLost_)
    fail(name, kSilent, __LINE__);
  if (send() == 0)
    fail(name, PQerrorMessage(connection_.get()), __LINE__);
  flush(name, limit);
  return require(receive(name, limit), name);
}

void PostgresConnection::flush(char const* name, Limit limit)
{
  // A server that cannot get rid of what it says takes nothing more.
  while (PQflush(connection_.get()) == 1)
    if ((await(name, POLLIN | POLLOUT, limit) & POLLIN) != 0 && PQconsumeInput(connection_.get()) == 0)
      return;
}

PostgresConnection::Result PostgresConnection::receive(char const* name, Limit limit)
{
  Result last;
  bool isThere = true;
  while (isThere)
  {
    // Where the connection has ended libpq makes a result of that.
    while (PQisBusy(connection_.get()) != 0)
    {
      await(name, POLLIN, limit);
      if (PQconsumeInput(connection_.get()) == 0)
        break;
    }
    Result next(PQgetResult(connection_.get()));
    isThere = next != nullptr;
    if (isThere && (!last || !isError(last.get())))
      last = std::move(next);
  }
  return last;
}

int PostgresConnection::await(char const* name, int events, Limit limit)
{
  auto const deadline = std::chrono::steady_clock::now() + limit.value_or(std::chrono::milliseconds(0));
  pollfd waiting{PQsocket(connection_.get()), static_cast<short>(events), 0};
  int ready = 0;
  do
    ready = poll(&waiting, 1, limit ? timeLeft(deadline) : -1);
  while (ready < 0 && errno == EINTR);
  isLost_ = ready == 0;
  if (isLost_)
    fail(name, kSilent, __LINE__);
  return waiting.revents;
}

PostgresConnection::Result PostgresConnection::run(SqlText const& statement, SqlParameters parameters)
{
  requireSession();
  BinaryParameters const binary(parameters);
  if (binary.IsTooLong())
    fail(statement.name, "more than a server takes at once", __LINE__);
  std::string const& prepared = prepare(statement, parameters);
  Limit const limit = statement.takesAnyTime ? Limit() : silence_;
  return ask(statement.name, limit,
             [&]
             {
               return PQsendQueryPrepared(connection_.get(), prepared.c_str(), binary.Count(), binary.Values(),
                                          binary.Lengths(), binary.Formats(), kBinary);
             });
}

std::string const& PostgresConnection::prepare(SqlText const& statement, SqlParameters parameters)
{
  auto const known = statements_.find(statement.text);
  if (known != statements_.end())
    return known->second;
  std::vector<Oid> types;
  types.reserve(parameters.size());
  std::ranges::transform(parameters, std::back_inserter(types), &typeOf);
  std::string name = "qen" + std::to_string(++preparedCount_);
  ask(statement.name, silence_,
      [&]
      {
        return PQsendPrepare(connection_.get(), name.c_str(), statement.text.c_str(), static_cast<int>(types.size()),
                             types.data());
      });
  return statements_.emplace(statement.text, std::move(name)).first->second;
}

PostgresConnection::Result PostgresConnection::require(Result result, char const* name) const
{
  if (!isError(result.get()))
    return result;
  char const* const primary = PQresultErrorField(result.get(), PG_DIAG_MESSAGE_PRIMARY);
  fail(name, primary == nullptr ? PQerrorMessage(connection_.get()) : primary, __LINE__);
}

void PostgresConnection::fail(char const* name, char const* message, int line) const
{
  throw ExceptionFactory(kSourceUnit, line)
      .createException<DatabaseException>("%s: %s", name, inOneLine(message).c_str());
}

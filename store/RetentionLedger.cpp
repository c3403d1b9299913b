#include "store/RetentionLedger.h"

#include "store/DatabaseException.h"
#include "store/DeviceDatabase.h"
#include "store/SqlConnection.h"
#include "utilities/exception/ExceptionFactory.h"

#include <limits>

namespace
{
constexpr long long kNever = std::numeric_limits<long long>::min();

// Makes the ledger where there is none; an empty update otherwise, which takes the row all the same.
SqlText const kRewind{
    "take ledger",
    "INSERT INTO retention (device_uuid, value_uuid, compacted_until, hour_until, hour_count, day_until, "
    "day_count, week_until, week_count, four_weeks_until, four_weeks_count) "
    "VALUES ($1, $2, $3, $3, 0, $3, 0, $3, 0, $3, 0) ON CONFLICT (device_uuid, value_uuid) DO UPDATE SET "
    "compacted_until = CASE WHEN retention.compacted_until > $4 THEN $4 ELSE retention.compacted_until END, "
    "hour_until = CASE WHEN retention.hour_until > $4 THEN $4 ELSE retention.hour_until END, "
    "day_until = CASE WHEN retention.day_until > $4 THEN $4 ELSE retention.day_until END, "
    "week_until = CASE WHEN retention.week_until > $4 THEN $4 ELSE retention.week_until END, "
    "four_weeks_until = CASE WHEN retention.four_weeks_until > $4 THEN $4 "
    "ELSE retention.four_weeks_until END"};
SqlText const kRead{
    "read ledger",
    "SELECT anchor, compacted_until, four_weeks_until, four_weeks_count, week_until, week_count, day_until, "
    "day_count, hour_until, hour_count FROM retention WHERE device_uuid = $1 AND value_uuid = $2"};
SqlText const kWrite{
    "write ledger",
    "UPDATE retention SET anchor = $3, compacted_until = $4, four_weeks_until = $5, four_weeks_count = $6, "
    "week_until = $7, week_count = $8, day_until = $9, day_count = $10, hour_until = $11, hour_count = $12 "
    "WHERE device_uuid = $1 AND value_uuid = $2"};
} // namespace

void RetentionLedger::Rewind(long long time)
{
  SqlParameter const parameters[] = {device_, value_, kNever, time};
  database_.connection_->Execute(kRewind, parameters);
}

std::optional<RetentionLedger::State> RetentionLedger::Look()
{
  SqlParameter const parameters[] = {device_, value_};
  auto const rows = database_.connection_->Query(kRead, parameters);
  if (!rows->Next())
    return std::nullopt;
  State state{};
  if (!rows->IsNull(0))
    state.anchor = rows->Integer(0);
  state.compactedUntil = rows->Integer(1);
  for (int column = 2; AgeClass & ageClass : state.ageClasses)
  {
    ageClass = {rows->Integer(column), rows->Count(column + 1)};
    column += 2;
  }
  return state;
}

RetentionLedger::State RetentionLedger::Take()
{
  Rewind(std::numeric_limits<long long>::max());
  if (std::optional<State> const state = Look())
    return *state;
  throw ExceptionFactory("RetentionLedger.cpp", __LINE__)
      .createException<DatabaseException>("%s: there is none", kRead.name);
}

void RetentionLedger::Write(State const& state)
{
  auto const& classes = state.ageClasses;
  SqlParameter const parameters[] = {device_,          value_,           *state.anchor,    state.compactedUntil,
                                     classes[0].until, classes[0].count, classes[1].until, classes[1].count,
                                     classes[2].until, classes[2].count, classes[3].until, classes[3].count};
  database_.connection_->Execute(kWrite, parameters);
}

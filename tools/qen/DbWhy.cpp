#include "Json.h"
#include "OptionValue.h"
#include "RetentionOptions.h"
#include "StoreCommand.h"
#include "Text.h"

#include "platform/QenTime.h"
#include "store/RetentionSimulation.h"

#include <stdexcept>

namespace
{
constexpr char kDetails[] =
    "Tells of every entry of a characteristic value's trends what a run of qen db retain at --now would do with\n"
    "it, and why. VALUE is the UUID of the configuration. An entry is kept because its trend is open, because it\n"
    "is too young, because it waits for an open trend that begins before or in its hour or day, because its age\n"
    "class keeps everything or was applied before, because it is pinned (recorded together with a stored\n"
    "characteristic value, a bookmark, or with --keep-peaks an extreme), or because it is the nearest to the\n"
    "middle of its slot; it goes in favour of another one, or because it lies behind the last slot of its hour\n"
    "or day. Nothing is written.\n\n"
    "Examples:\n"
    "  qen db why c0000000-0000-4000-8000-000000000011 --from 2026-11-20 --to 2026-11-21\n"
    "  qen db why c0000000-0000-4000-8000-000000000011 --now 2027-01-01 --json";

struct Reason
{
  char const* name;
  char const* text;
  bool isKept;
};

Reason ReasonOf(RetentionVerdict verdict)
{
  switch (verdict)
  {
  case RetentionVerdict::pinned:
    return {"pinned", "pinned", true};
  case RetentionVerdict::nearest:
    return {"nearest", "nearest to the middle of its slot", true};
  case RetentionVerdict::dropped:
    return {"dropped", "in favour of ", false};
  case RetentionVerdict::remainder:
    return {"remainder", "behind the last slot of its period", false};
  case RetentionVerdict::too_young:
    return {"too_young", "too young", true};
  case RetentionVerdict::awaits_open:
    return {"awaits_open", "waits for an open trend", true};
  case RetentionVerdict::no_cleanup:
    return {"no_cleanup", "its age class keeps everything", true};
  case RetentionVerdict::thinned_before:
    return {"thinned_before", "thinned before", true};
  case RetentionVerdict::open_trend:
    return {"open_trend", "its trend is open", true};
  }
  throw std::logic_error("an entry with an unknown verdict");
}

class DbWhy : public StoreCommand
{
public:
  void Define(OptionSet& options) override
  {
    options.AddArgument("VALUE", value_, "configuration of the characteristic value").Required();
    store_.AddDatabase(options);
    store_.AddOneDevice(options);
    options.AddTime("--from", from_, "not what is earlier");
    options.AddTime("--to", to_, "not what is later");
    retention_.AddNow(options);
    retention_.AddLimits(options);
    options.AddJson(json_, "print JSON Lines (qen.db-why/1), one for each entry");
  }

private:
  ExitCode Work(Report& report) override
  {
    RetentionSettings const settings = retention_.Settings();
    Uuid const value = ReadValue();
    auto const database = store_.OpenToRead();
    Uuid const device = store_.KnownDevice(*database);
    if (database->ListTrends(device, {value, {}, {}, 1}).empty())
      throw ToolError(ExitCode::Unreadable,
                      "device " + device.ToString() + " has no trend of the characteristic value " + value.ToString());
    RetentionSimulation simulation(*database, device, value);
    unsigned long long kept = 0;
    unsigned long long gone = 0;
    if (!json_)
      report.Data("time                                value  status");
    for (RetentionSimulation::Explanation const& explanation : simulation.Explain(settings))
    {
      long long const time = explanation.entry.TimeStamp;
      if (time < from_.value_or(time) || time > to_.value_or(time))
        continue;
      ++(ReasonOf(explanation.verdict).isKept ? kept : gone);
      report.Data(json_ ? Describe(device, value, explanation) : Row(explanation));
    }
    report.Say(Text::Counted(kept + gone, "entry", "entries") + ": " + std::to_string(kept) + " kept, " +
               std::to_string(gone) + " gone");
    return ExitCode::Good;
  }

  Uuid ReadValue() const
  try
  {
    return OptionValue::ReadUuid(value_);
  }
  catch (std::invalid_argument const& error)
  {
    throw ToolError(ExitCode::Usage, error.what());
  }

  static std::string Row(RetentionSimulation::Explanation const& explanation)
  {
    Reason const reason = ReasonOf(explanation.verdict);
    std::string text = reason.text;
    if (explanation.inFavourOf)
      text += QenTime::TimeStampToString(explanation.inFavourOf->TimeStamp);
    return QenTime::TimeStampToString(explanation.entry.TimeStamp) +
           Text::Right(Text::Rounded(explanation.entry.Value), 14) +
           Text::Right(std::to_string(explanation.entry.Status), 8) + (reason.isKept ? "  kept  " : "  gone  ") + text;
  }

  static std::string Describe(Uuid const& device, Uuid const& value,
                              RetentionSimulation::Explanation const& explanation)
  {
    Reason const reason = ReasonOf(explanation.verdict);
    Json object = JsonText::Object("qen.db-why/1");
    object["device_uuid"] = device.ToString();
    object["characteristic_value_config_uuid"] = value.ToString();
    AddEntry(object, explanation.entry);
    object["kept"] = reason.isKept;
    object["reason"] = reason.name;
    object["in_favour_of"] = nullptr;
    if (explanation.inFavourOf)
    {
      Json other = Json::object();
      AddEntry(other, *explanation.inFavourOf);
      object["in_favour_of"] = other;
    }
    return JsonText::Line(object);
  }

  static void AddEntry(Json& object, trend_entry_t const& entry)
  {
    JsonText::AddTime(object, "time", entry.TimeStamp);
    object["value"] = entry.Value;
    object["status"] = entry.Status;
  }

  std::string value_;
  RetentionOptions retention_;
  std::optional<long long> from_, to_;
  bool json_ = false;
};
} // namespace

extern CommandEntry const kDbWhy;
CommandEntry const kDbWhy = {"why", "tell for each entry of trends why it stays or goes", kDetails,
                             &MakeCommand<DbWhy>};

#include "CommandGroup.h"

extern CommandEntry const kDbInit, kDbPut, kDbLs, kDbGet, kDbCheck, kDbStats, kDbRetain, kDbSimulate, kDbWhy, kDbExport,
    kDbImport;

namespace
{
constexpr CommandEntry const* kActions[] = {&kDbInit,   &kDbPut,      &kDbLs,  &kDbGet,    &kDbCheck, &kDbStats,
                                            &kDbRetain, &kDbSimulate, &kDbWhy, &kDbExport, &kDbImport};

constexpr char kDetails[] =
    "A store keeps the measurements, trends, characteristic values, bookmarks and settings of devices in one\n"
    "database, SQLite or PostgreSQL. What goes in comes out byte for byte. Every change is a transaction: a\n"
    "machine that stops leaves the store as it was or as it was meant to be.\n"
    "--db names the store: sqlite:PATH or postgresql://..., else the environment variable QEN_DB, else\n"
    "sqlite:qen.db. --device names the device by its UUID, else QEN_DEVICE, else it is the only one of the\n"
    "store. Time stamps are RFC 3339 (2026-11-20T17:57:20Z), dates, or microseconds since 1970.\n\n"
    "qen db ACTION --help explains an action with examples.\n\n"
    "Examples:\n"
    "  qen db init --device d1d00000-0000-4000-8000-000000000001 --settings 1h:60/h,1d:24/d,7d:4/d,28d:1/d\n"
    "  qen db put signals trends\n"
    "  qen db retain --apply";

std::unique_ptr<Command> MakeDbCommand() { return std::make_unique<CommandGroup>("Actions", kActions); }
} // namespace

extern CommandEntry const kDbCommand;
CommandEntry const kDbCommand = {"db", "keep everything of a device in a database", kDetails, &MakeDbCommand};

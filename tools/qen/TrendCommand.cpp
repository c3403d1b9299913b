#include "CommandGroup.h"

extern CommandEntry const kTrendImport, kTrendInfo, kTrendDump, kTrendGaps, kTrendMerge, kTrendDelete, kTrendShrink;

namespace
{
constexpr CommandEntry const* kActions[] = {&kTrendImport, &kTrendInfo,   &kTrendDump,  &kTrendGaps,
                                            &kTrendMerge,  &kTrendDelete, &kTrendShrink};

constexpr char kDetails[] =
    "A trend is the course of one characteristic value: entries with time stamp, value, status and four\n"
    "numbers that are carried along. NAME.qtr holds the record as the device's database has it, NAME.xml\n"
    "beside it the details document with the unit. Files are checked before they are used: sizes, version,\n"
    "both checksums, the compressed stream, the order of the entries, and whose document it is.\n"
    "Time stamps are RFC 3339 (2026-11-20T17:57:20Z), dates, or microseconds since 1970.\n\n"
    "qen trend ACTION --help explains an action with examples.\n\n"
    "Examples:\n"
    "  qen trend import rms.csv --unit mm/s --limit 4.5\n"
    "  qen trend info rms.qtr\n"
    "  qen trend shrink trends --settings 1h:60/h,1d:24/d,7d:4/d,28d:1/d";

std::unique_ptr<Command> MakeTrendCommand() { return std::make_unique<CommandGroup>("Actions", kActions); }
} // namespace

extern CommandEntry const kTrendCommand;
CommandEntry const kTrendCommand = {"trend", "make, show, check and thin trends of characteristic values", kDetails,
                                    &MakeTrendCommand};

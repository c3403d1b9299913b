#pragma once

#include "InputFile.h"

#include "platform/database/TrendDataDO.h"
#include "signalprocessing/io/file/Trend.h"
#include "signalprocessing/io/file/TrendRecord.h"

#include <optional>
#include <string>
#include <string_view>

/// Trend files as the tool reads them: the record of a trend, NAME.qtr, with its details document, NAME.xml, beside it.
namespace TrendFile
{
inline constexpr char kExtension[] = ".qtr";

/// The header alone, whatever it says; nothing for a file that is shorter. Reads 96 bytes.
std::optional<trend_header_t> PeekHeader(InputFile const& file);
/// The header alone of what claims to be a trend file, else throws ToolError, Unreadable. Reads 96 bytes.
trend_header_t ReadHeader(InputFile const& file);

/// A trend as it stands in its file.
struct Loaded
{
  trend_header_t header;
  TrendDataDO stored; ///< columns from the header, details from the document
  Trend trend;
  std::string documentPath; ///< empty when there is no document
};

/// The whole trend. Everything that can be wrong is checked before: what is damaged, out of time order or has the
/// document of another trend is a ToolError, Unreadable.
/// @param base  the base of the characteristic value configuration, which files do not carry
Loaded Read(InputFile const& file, Uuid const& base);

/// The trend of a file whose record is known to be good, without its unit.
Trend Decode(InputFile const& file);
/// The same of a database object.
Trend Decode(TrendDataDO const& object);

/// The database object of a record, open: columns from the header.
/// @param details  the text of its document
TrendDataDO MakeObject(std::vector<unsigned char> record, trend_header_t const& header, Uuid const& base,
                       std::string const& details);

/// Bytes of the entries when they are not compressed.
unsigned long long UncompressedSize(trend_header_t const& header);
/// "3 entries from 2026-11-20T17:57:20.000000Z to 2026-11-20T18:57:20.000000Z", "0 entries"
std::string Summary(Trend const& trend);
/// The bytes of an entry, as it is stored.
std::string_view BytesOf(trend_entry_t const& entry);
/// How many entries have the time stamp of the one before.
unsigned long long RepeatedTimes(Trend const& trend);
} // namespace TrendFile

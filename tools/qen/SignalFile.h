#pragma once

#include "DetailsDocument.h"
#include "InputFile.h"
#include "OutputFile.h"

#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>
#include <span>

/// Time signal files as the tool reads and writes them. Failures of reading are ToolError with the status Unreadable or
/// the library's exceptions, failures of writing ToolError with the status Disk.
namespace SignalFile
{
inline constexpr char kExtension[] = ".qts";

/// The header alone, Samples null, whatever it says; nothing for a file that is shorter. Reads 120 bytes.
std::optional<timesignal_bin_t> PeekHeader(InputFile const& file);
/// The header at the start of a record, Samples null, whatever it says; nothing for a record that is shorter.
std::optional<timesignal_bin_t> HeaderOf(std::span<unsigned char const> record);
/// The header alone of what claims to be a time signal file, else throws. Reads 120 bytes.
timesignal_bin_t ReadHeader(InputFile const& file);

/// The whole signal; sizes, enumerations and checksums are verified.
/// @param job       the job-data entry, which files do not carry; else the measurement stands for it
/// @param document  what holds the signal's details; else it has none
TimeSignal Read(InputFile const& file, std::optional<Uuid> const& job,
                std::optional<DetailsDocument> const& document = std::nullopt);

/// Brings the signal into the given compression and writes it into the output's temporary file; the caller commits.
void Write(TimeSignal& signal, compression32_t compression, OutputFile& output);

/// Samples per second; nothing when DeltaX is not above 0. A rate within 1e-9 of a whole number is that number.
std::optional<double> RateOf(timesignal_bin_t const& header);
/// "25600 Hz", "unknown rate"
std::string ShowRate(timesignal_bin_t const& header);
/// "512000 int16 samples, zlib, offset -12, 812688 sample bytes, checksums 0x4620 0x077b": header, then samples
std::string Summary(timesignal_bin_t const& header);
/// Whether the spacing is time; that of spectra is frequency or order.
bool IsTimeSignal(timesignal_bin_t const& header);
/// Bytes of the samples when they are not compressed; nothing for an unknown type or a product beyond 64 bits.
std::optional<unsigned long long> UncompressedSize(timesignal_bin_t const& header);
Uuid ToUuid(unsigned char const (&bytes)[16]);
} // namespace SignalFile

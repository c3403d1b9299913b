#pragma once

#include "platform/Archive.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "utilities/Export.h"

/// Whole time signals in an archive: header, samples, unit, validators, trigger, characteristic values, job-data UUID.
///
/// Writing appends. Header, samples and UUIDs are written unchecked, so a failing archive shows at the next number or
/// text, as QenSerialize::SerializationException, or in the archive's state, which the caller looks at; so does an
/// archive that cannot grow. A sample array that is shorter than the header says is continued by zeros.
///
/// Reading takes everything over as it was written; checksums are neither checked nor recomputed. It throws
/// TimeSignalException for an object that several handles share, before anything is read, and for a wrong sample tag;
/// QenSerialize::SerializationException for anything that cannot be decoded; an archive whose exceptions() are switched
/// on throws its own std::ios_base::failure instead. An archive that ends within the last 16
/// bytes, the job-data UUID, shows in the archive's state alone. After a failure the object holds what was read so far,
/// the header first of all, and stays valid to use. Memory grows with the bytes that arrive, whatever the header says.
///
/// No private copy is made and no change is guarded against other threads.
QEN_FILE_IO_EXPORT Archive& operator<<(Archive& archive, InternalTimeSignal const& signal);
QEN_FILE_IO_EXPORT Archive& operator>>(Archive& archive, InternalTimeSignal& signal);
QEN_FILE_IO_EXPORT Archive& operator<<(Archive& archive, TimeSignal const& signal);
QEN_FILE_IO_EXPORT Archive& operator>>(Archive& archive, TimeSignal& signal);

/// The 16 bytes as they are. A cut archive leaves the value as it was.
QEN_FILE_IO_EXPORT Archive& operator<<(Archive& archive, Uuid const& uuid);
QEN_FILE_IO_EXPORT Archive& operator>>(Archive& archive, Uuid& uuid);

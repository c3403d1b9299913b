#pragma once

#include "platform/VelmoraException.h"
#include "signalprocessing/io/file/TimeSignal.h"
#include "signalprocessing/io/file/TimeSignalRecord.h"
#include "utilities/Export.h"

#include <string>

/// A time signal file that cannot be written or read.
class QEN_FILE_IO_EXPORT TimeSignalFileException : public VelmoraException
{
public:
  TimeSignalFileException();
  ~TimeSignalFileException() override;
  VelmoraException* clone() const override;
};

/// One time signal in a file of its own: the 120 header bytes followed by the stored sample bytes, nothing else.
/// The functions share no state; different files may be used from different threads.
class QEN_FILE_IO_EXPORT TimeSignalFile
{
public:
  /// Brings the signal into the given compression, in which it stays, then writes it over the file. When the
  /// compression fails the file is not touched; when writing fails what was written so far stays on the disk, which may
  /// be nothing. Throws TimeSignalFileException, std::bad_alloc, and what TimeSignal::Compress throws.
  static void Write(char const* path, TimeSignal& signal, compression32_t compression);
  static void Write(std::string const& path, TimeSignal& signal, compression32_t compression);

  /// A new record with its own sample array (never null, also when it is empty). The caller owns both: the record with
  /// delete, the array with delete[]. Only the file's length is checked against the header; build a TimeSignal from the
  /// record to check the rest. Throws TimeSignalFileException, std::bad_alloc.
  static timesignal_bin_t* Read(char const* path);
  static timesignal_bin_t* Read(std::string const& path);
};

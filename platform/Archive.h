#pragma once

#include "platform/Export.h"

#include <iostream>
#include <memory>
#include <string>

/// A serialisation stream: input and output over one byte buffer of its own. Reads start at the first byte and writes
/// append, whatever has been read; the read position can be moved with seekg, the write position cannot. Numbers are
/// written and read in the classic locale, whatever the global one is.
///
/// Errors are those of a stream: the state, or std::ios_base::failure where exceptions() asks for it. A buffer that
/// cannot grow sets badbit. One archive must not be used by two threads at once.
class QEN_PLATFORM_EXPORT Archive : public std::iostream
{
public:
  Archive();
  /// An archive that holds these bytes, to be read from the first one on.
  explicit Archive(std::string bytes);
  ~Archive() override;

  /// All bytes, also those that have been read.
  std::string str() const;
  /// Replaces all bytes, clears the state and reads from the first byte again.
  void str(std::string bytes);

private:
  class Buffer;
  std::unique_ptr<Buffer> buffer_;
};

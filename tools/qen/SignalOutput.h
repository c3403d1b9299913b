#pragma once

#include "DetailsDocument.h"
#include "OutputFile.h"

#include "signalprocessing/io/file/TimeSignal.h"

#include <optional>
#include <string>

/// A time signal file and the details document beside it, which appear together or not at all.
///
/// Standard output, devices and pipes take the signal alone.
class SignalOutput
{
public:
  enum class Document
  {
    Always,
    WhenOneIsThere ///< only where a document of an earlier signal must not stay
  };

  SignalOutput(std::string const& target, OutputFile::Existing existing, Document document);

  /// Brings the signal into the given compression and writes it, with its details.
  void Write(TimeSignal& signal, compression32_t compression);
  void Commit();

  /// The signal's file before Commit.
  std::string const& TemporaryPath() const { return file_.TemporaryPath(); }
  bool HasDocument() const { return document_.has_value(); }
  /// The name of the document; empty when there is none.
  std::string const& DocumentPath() const { return documentPath_; }

private:
  OutputFile file_;
  std::optional<OutputFile> document_;
  std::string documentPath_;
};

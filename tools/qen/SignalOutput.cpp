#include "SignalOutput.h"

#include "SignalFile.h"

#include <filesystem>

SignalOutput::SignalOutput(std::string const& target, OutputFile::Existing existing, Document document)
  : file_(target, existing)
{
  std::optional<std::string> const path = file_.IsStream() ? std::nullopt : DetailsDocument::PathOf(target);
  std::error_code ignored; // what cannot be looked at cannot be written, either
  if (!path || (document == Document::WhenOneIsThere && !std::filesystem::exists(*path, ignored)))
    return;
  document_.emplace(*path, existing);
  documentPath_ = *path;
}

void SignalOutput::Write(TimeSignal& signal, compression32_t compression)
{
  signal.Compress(compression); // before the document, which tells the size
  if (document_)
  {
    std::string const text = DetailsDocument::Make(*signal.GetHeader(), Details::Of(signal));
    document_->Write(text.data(), text.size());
  }
  SignalFile::Write(signal, compression, file_);
}

void SignalOutput::Commit()
{
  if (document_)
    OutputFile::CommitTogether(*document_, file_); // a signal never stands without its unit
  else
    file_.Commit();
}

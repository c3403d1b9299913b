#include "TrendOutput.h"

#include "TrendDocument.h"

#include <vector>

TrendOutput::TrendOutput(std::string const& target, OutputFile::Existing existing)
  : path_(target), record_(target, existing)
{
  std::optional<std::string> const documentPath = record_.IsStream() ? std::nullopt : TrendDocument::PathOf(target);
  if (!documentPath)
    return;
  document_.emplace(*documentPath, existing);
  TrendDocument::RequireReplaceable(*documentPath);
}

void TrendOutput::Write(TrendDataDO const& trend)
{
  record_.Write(trend.getData().data(), trend.getData().size());
  if (!document_)
    return;
  record_.Complete();
  document_->Write(trend.getTrendDataDetails().data(), trend.getTrendDataDetails().size());
  document_->Complete();
}

void TrendOutput::Commit(std::list<TrendOutput>& trends)
{
  std::vector<OutputFile*> files;
  for (TrendOutput& trend : trends)
  {
    if (trend.record_.IsStream())
    {
      trend.record_.Commit();
      continue;
    }
    files.push_back(&*trend.document_);
    files.push_back(&trend.record_);
  }
  OutputFile::CommitTogether(files);
}

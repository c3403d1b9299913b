#include "StoredFile.h"

#include "DetailsDocument.h"
#include "TrendOutput.h"

#include <optional>
#include <span>

namespace
{
void WriteBoth(std::span<unsigned char const> record, std::string const& details, std::string const& target,
               OutputFile::Existing existing)
{
  OutputFile file(target, existing);
  file.Write(record.data(), record.size());
  std::optional<std::string> const path =
      file.IsStream() || details.empty() ? std::nullopt : DetailsDocument::PathOf(target);
  if (!path)
    return file.Commit();
  OutputFile document(*path, existing);
  document.Write(details.data(), details.size());
  OutputFile::CommitTogether(document, file);
}
} // namespace

void StoredFile::Write(MeasurementDataDO const& object, std::string const& target, OutputFile::Existing existing)
{
  WriteBoth(object.getBinaryData(), object.getMeasurementDataDetails(), target, existing);
}

void StoredFile::Write(TrendDataDO const& object, std::string const& target, OutputFile::Existing existing)
{
  if (object.getTrendDataDetails().empty())
    return WriteBoth(object.getData(), {}, target, existing);
  std::list<TrendOutput> outputs;
  outputs.emplace_back(target, existing);
  outputs.back().Write(object);
  TrendOutput::Commit(outputs);
}

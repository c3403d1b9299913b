#pragma once

#include "OutputFile.h"

#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"

#include <string>

/// Rows of a store as files: the record as it is, and beside it the details document as it is. Both appear together or
/// not at all; a row without a document gives none. Failures are ToolError with the status Disk.
namespace StoredFile
{
void Write(MeasurementDataDO const& object, std::string const& target, OutputFile::Existing existing);
void Write(TrendDataDO const& object, std::string const& target, OutputFile::Existing existing);
} // namespace StoredFile

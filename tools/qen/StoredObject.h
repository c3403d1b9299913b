#pragma once

#include "Verification.h"

#include "platform/database/DeviceDO.h"
#include "platform/database/MeasurementDataDO.h"
#include "platform/database/TrendDataDO.h"

#include <string>
#include <vector>

/// The rows of a store as the tool makes and checks them.
namespace StoredObject
{
/// The measurement of a record: columns from the header.
/// @param details  the text of its document
MeasurementDataDO MakeMeasurement(std::vector<unsigned char> record, timesignal_bin_t const& header, Uuid const& job,
                                  std::string const& details);

/// What is wrong: with the record, as of a file, with the details document, and with the columns, which must repeat the
/// header. Parts are those of Verification and TrendVerification, "details" and "columns".
std::vector<Verification::Finding> FindDamage(MeasurementDataDO const& object);
std::vector<Verification::Finding> FindDamage(TrendDataDO const& object);
/// What keeps the settings from being used; a device may have none.
std::vector<Verification::Finding> FindDamage(DeviceDO const& object);

/// Whether all columns are the same.
bool AreSame(MeasurementDataDO const& a, MeasurementDataDO const& b);
bool AreSame(TrendDataDO const& a, TrendDataDO const& b);
} // namespace StoredObject

#include "platform/MessageLogger.h"
#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/DetailsWriter.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/PaddedBytes.h"
#include "signalprocessing/io/file/TimeSignalErrors.h"
#include "signalprocessing/io/file/UuidBytes.h"

#include <memory>
#include <sstream>
#include <utility>

// Database objects: the record as binary data, the details document beside it, identifiers in columns of their own.

namespace
{
using TimeSignalErrors::CorruptDatabaseObject;
using TimeSignalErrors::kSourceUnit;

void logHeaderChecksum(unsigned int saved, unsigned int calculated)
{
  MessageLogger* const logger = TimeSignalErrors::Logger();
  if (logger->isEnabled(log4cpp::Priority::DEBUG))
    LogObject(logger, log4cpp::Priority::DEBUG, kSourceUnit, __LINE__)("Saved checksum : %u, Calculated: %u", saved,
                                                                       calculated);
}
} // namespace

// Delegates, so that whatever throws here leaves a complete object to be destroyed.
InternalTimeSignal::InternalTimeSignal(MeasurementDataDO const& stored) : InternalTimeSignal()
{
  jobDataUuid_ = stored.getJobData().getUuid();
  takeRecord(std::unique_ptr<timesignal_bin_t>(VectorToTimeSignalBin(stored.getBinaryData())));

  Uuid const& currentUuid = stored.getCurrentUuid().getUuid();
  Options parser;
  Option* const root = parser.parse(stored.getMeasurementDataDetails());
  Option* const signal = root == nullptr ? nullptr : root->FindOption("vel:MeasurementDataDetails.vel:Signal", false);
  if (signal == nullptr)
    throw CorruptDatabaseObject(currentUuid);
  FindUnitString(signal, currentUuid);
  FindValidators(signal);
  FindTrigger(signal);
  FindCharacteristicValues(signal);

  unsigned short const calculated = CalcHeaderChecksum();
  if (calculated != record_.HeaderChecksum)
    logHeaderChecksum(record_.HeaderChecksum, calculated);
}

MeasurementDataDO* InternalTimeSignal::GetMeasurementDataDO() const
{
  auto stored = std::make_unique<MeasurementDataDO>();
  stored->setCurrentUuid(EntryOf(UuidFromBytes(record_.MeasurementUuid)));
  stored->setMeasurementTimeStamp(record_.TimeStamp);
  stored->setMeasurementConfig(EntryOf(UuidFromBytes(record_.MeasurementConfigUuid)));
  stored->setMeasurementDataDetails(DocumentText([this](std::stringstream& stream) { CreateXmlDetails(stream); }));
  stored->setBinaryData(
      std::move(*MakeFlatRecord(&record_, kTimeSignalHeaderSize, GetStoredSamples(), record_.DataArrayByteCount)));
  stored->setJobData(EntryOf(jobDataUuid_));
  stored->setSavedByAlarmStatusChange(false);
  return stored.release();
}

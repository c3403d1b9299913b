#include "platform/MessageLogger.h"
#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/InternalTimeSignal.h"
#include "signalprocessing/io/file/TimeSignalErrors.h"

#include <locale>
#include <new>
#include <sstream>
#include <utility>

// Database objects: the record as binary data, the details document beside it, identifiers in columns of their own.

namespace
{
using TimeSignalErrors::CorruptDatabaseObject;
using TimeSignalErrors::kSourceUnit;

UuidEntryDO entryOf(unsigned char const (&bytes)[16])
{
  Uuid uuid;
  uuid.SetPlainUuid(bytes);
  UuidEntryDO entry;
  entry.setUuid(uuid);
  return entry;
}

/// The document of a signal as text. A document cut short by a lack of memory must not be stored.
std::string detailsText(InternalTimeSignal const& signal)
{
  std::stringstream stream;
  stream.imbue(std::locale::classic());
  signal.CreateXmlDetails(stream);
  if (!stream)
    throw std::bad_alloc();
  return stream.str();
}

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
  stored->setCurrentUuid(entryOf(record_.MeasurementUuid));
  stored->setMeasurementTimeStamp(record_.TimeStamp);
  stored->setMeasurementConfig(entryOf(record_.MeasurementConfigUuid));
  stored->setMeasurementDataDetails(detailsText(*this));
  stored->setBinaryData(*flatForm(record_, GetStoredSamples()));
  UuidEntryDO jobData;
  jobData.setUuid(jobDataUuid_);
  stored->setJobData(jobData);
  stored->setSavedByAlarmStatusChange(false);
  return stored.release();
}

// Prints what fresh memory is filled with, and a digest of everything that is written of many signals. No byte of the
// output may come from memory that nobody wrote, so the digests must not depend on the filling.

#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "support/ArchiveForm.h"
#include "support/SignalContents.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

namespace
{
/// FNV-1a.
class Digest
{
public:
  template <class Container>
  void Add(Container const& bytes)
  {
    for (auto const byte : bytes)
      value_ = (value_ ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    count_ += bytes.size();
  }
  void Print(char const* what) const
  {
    std::printf("%s: %llu bytes, %016llx\n", what, static_cast<unsigned long long>(count_),
                static_cast<unsigned long long>(value_));
  }

private:
  std::uint64_t value_ = 14695981039346656037U;
  std::size_t count_ = 0;
};

struct Digests
{
  Digest archives, documents, objects, records;

  void Add(InternalTimeSignal const& signal)
  {
    Archive archive;
    archive << signal;
    archives.Add(archive.str());
    std::stringstream document;
    signal.CreateXmlDetails(document);
    documents.Add(document.str());
    std::unique_ptr<MeasurementDataDO> const object(signal.GetMeasurementDataDO());
    objects.Add(object->getBinaryData());
    objects.Add(object->getMeasurementDataDetails());
    for (UuidEntryDO const* const entry :
         {&object->getCurrentUuid(), &object->getMeasurementConfig(), &object->getJobData()})
      objects.Add(entry->getUuid().ToString() + std::to_string(entry->getId()) + (entry->getFlag() ? "+" : "-"));
    objects.Add(std::to_string(object->getMeasurementTimeStamp()) +
                (object->getSavedByAlarmStatusChange() ? "+" : "-"));
    records.Add(HeaderBytes(*signal.GetHeader()));
    records.Add(std::to_string(signal.GetTrigger().TripValue));
  }
};

/// Signals from every way in, and what becomes of them.
void AddSignals(Digests& digests, SignalContents const& contents)
{
  std::unique_ptr<InternalTimeSignal> const signal = ObjectWith(contents);
  digests.Add(*signal);
  digests.Add(InternalTimeSignal(*signal));
  std::unique_ptr<MeasurementDataDO> const object(signal->GetMeasurementDataDO());
  digests.Add(InternalTimeSignal(*object));
  Archive archive;
  archive << *signal;
  InternalTimeSignal back;
  archive >> back;
  digests.Add(back);
  back.Compress(zlib);
  digests.Add(back);
  back.Uncompress();
  digests.Add(back);

  // An array that is shorter than its header says, and one that is missing.
  back.GetHeader()->DataArrayByteCount += 1000;
  digests.Add(back);
  digests.Add(InternalTimeSignal(back));
  back.RecalculateSamplesChecksum();
  digests.Add(back);
  std::unique_ptr<unsigned char[]> const samples(std::exchange(back.GetHeader()->Samples, nullptr));
  digests.Add(back);
}

/// Objects that the end of an archive left unfinished.
void AddCutArchives(Digests& digests, SignalContents const& contents)
{
  std::string const bytes = ArchiveForm(contents);
  for (std::size_t size = kHeaderBytes; size < bytes.size(); size += 7)
  {
    InternalTimeSignal signal;
    Archive archive(bytes.substr(0, size));
    try
    {
      archive >> signal;
    }
    catch (VelmoraException const& failure)
    {
      digests.archives.Add(std::string(failure.what()));
    }
    // What the lists hold behind the cut is nobody's promise, but it must be one and the same.
    digests.Add(signal);
  }
}

void PrintFreshMemory()
{
  unsigned char fill[64];
  std::unique_ptr<void, decltype(&std::free)> const block(std::malloc(sizeof(fill)), &std::free);
  // Through a volatile pointer, because nobody has written what is read here.
  auto const* const bytes = static_cast<unsigned char volatile*>(block.get());
  for (std::size_t i = 0; i < sizeof(fill); ++i)
    fill[i] = bytes[i];
  bool const isUniform = std::all_of(std::begin(fill), std::end(fill), [&](auto byte) { return byte == fill[0]; });
  std::printf("fresh memory: %02x%s\n", static_cast<unsigned int>(fill[0]), isUniform ? "" : " and others");
}

void PrintDigests()
{
  Digests digests;
  for (sample_datatype32_t const type : kSampleTypes)
    for (compression32_t const form : kStorageForms)
      for (std::size_t const listLength : {0U, 3U})
        AddSignals(digests, DescribedSignal(type, form, 50, listLength));
  AddCutArchives(digests, DescribedSignal(data_int16_t, no_compression, 20));
  // Samples that nobody gives are zeros.
  Uuid const uuid = CountingUuid(1);
  digests.Add(InternalTimeSignal(raw_spectrum, uuid, uuid, 1, 1, 0, 0, uuid, "g", data_float32_t, 100, nullptr, uuid));
  digests.Add(InternalTimeSignal());
  digests.archives.Print("archives");
  digests.documents.Print("documents");
  digests.objects.Print("database objects");
  digests.records.Print("headers");
}
} // namespace

int main()
try
{
  PrintFreshMemory();
  PrintDigests();
  return 0;
}
catch (std::exception const& failure)
{
  std::fprintf(stderr, "%s\n", failure.what());
  return 1;
}

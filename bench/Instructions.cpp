// Operations whose executed instructions are counted: the same number for the same machine code, whatever else the
// machine does. Runs under callgrind, which writes a file of counts for each; compare_instructions.py reads them.

#include "Material.h"
#include "platform/Options.h"
#include "platform/database/MeasurementDataDO.h"
#include "signalprocessing/io/file/Checksum.h"
#include "signalprocessing/io/file/SampleKernels.h"
#include "signalprocessing/io/file/TimeSignalArchive.h"
#include "signalprocessing/io/file/TimeSignalFile.h"
#include "signalprocessing/io/file/TrendShrinker.h"
#include "signalprocessing/typeconverter/TypeConverter.h"
#include "utilities/archive/Serialize.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <valgrind/callgrind.h>
#include <vector>

namespace
{
constexpr std::size_t kSamples = 16384;
constexpr std::size_t kEntries = 10000;

std::vector<short> const& samples()
{
  static std::vector<short> const made = Material::Vibration(kSamples);
  return made;
}

std::shared_ptr<TimeSignal> signalOf(sample_datatype32_t type)
{
  auto signal = std::make_shared<TimeSignal>(Material::Signal(samples()));
  signal->Convert(type);
  return signal;
}

std::shared_ptr<TimeSignal> annotatedSignal()
{
  auto signal = std::make_shared<TimeSignal>(Material::Signal(samples()));
  Material::Annotate(*signal, 10);
  return signal;
}

/// Keeps a result alive that the compiler could see to be unused.
template <class T>
void use(T const& result)
{
  asm volatile("" : : "g"(&result) : "memory");
}

using Run = std::function<void()>;

Run checksum()
{
  return [] { use(Checksum::Compute(samples().data(), kSamples * sizeof(short))); };
}

template <class Out>
Run convertTo()
{
  auto target = std::make_shared<std::vector<Out>>(kSamples);
  return [target] { TypeConverter::Convert(std::size_t{kSamples}, samples().data(), target->data()); };
}

Run readout()
{
  auto signal = std::make_shared<TimeSignal>(Material::Signal(samples()));
  auto values = std::make_shared<std::vector<double>>(kSamples);
  return [signal, values] { use(TimeSignal::SamplesToDouble(*signal, std::span<double>(*values))); };
}

template <class T>
Run peak()
{
  auto const copy = std::make_shared<std::vector<T>>(samples().begin(), samples().end());
  return [copy] { use(SampleKernels::Peak(std::span<T const>(*copy))); };
}

Run extractOffset(sample_datatype32_t type)
{
  auto signal = signalOf(type);
  return [signal] { signal->ExtractOffset(); };
}

Run compress()
{
  auto signal = std::make_shared<TimeSignal>(Material::Signal(samples()));
  return [signal] { signal->Compress(zlib); };
}

Run uncompress()
{
  auto signal = std::make_shared<TimeSignal>(Material::Signal(samples()));
  signal->Compress(zlib);
  return [signal] { signal->Uncompress(); };
}

std::string temporaryPath() { return "/tmp/qen-instructions-" + std::to_string(getpid()); }

Run file()
{
  auto signal = std::make_shared<TimeSignal>(Material::Signal(samples()));
  return [signal]
  {
    std::string const path = temporaryPath();
    TimeSignalFile::Write(path, *signal, no_compression);
    std::unique_ptr<timesignal_bin_t> const record(TimeSignalFile::Read(path));
    delete[] record->Samples;
    unlink(path.c_str());
  };
}

Run toDatabaseObject()
{
  auto signal = annotatedSignal();
  return [signal] { std::unique_ptr<MeasurementDataDO> const stored(signal->GetMeasurementDataDO()); };
}

Run fromDatabaseObject()
{
  std::shared_ptr<MeasurementDataDO> const stored(annotatedSignal()->GetMeasurementDataDO());
  return [stored] { TimeSignal const signal(*stored); };
}

Run archive()
{
  auto signal = annotatedSignal();
  return [signal]
  {
    Archive out;
    out << *signal;
    Archive in(out.str());
    TimeSignal read;
    in >> read;
  };
}

Run portableNumbers()
{
  return []
  {
    std::stringstream stream;
    double read = 0;
    for (short const sample : std::span(samples()).first(1000))
    {
      QenSerialize::serialize(sample / 7.0, stream);
      QenSerialize::deserialize(read, stream);
    }
  };
}

Run thin()
{
  auto shrinker = std::make_shared<TrendShrinker>(Material::Device(), 5000, 28);
  auto trends = std::make_shared<std::vector<TrendDataDO>>(1, Material::StoredTrend(kEntries, no_compression));
  return [shrinker, trends] { use(shrinker->ShrinkTrendsOrThrow(Material::kNow, *trends, {})); };
}

struct Operation
{
  char const* name;
  std::function<Run()> prepare;
};

std::vector<Operation> const& operations()
{
  static std::vector<Operation> const all = {
      {"checksum", checksum},
      {"int16 to double", convertTo<double>},
      {"int16 to float", convertTo<float>},
      {"readout into a buffer", readout},
      {"peak of int16", peak<short>},
      {"peak of float", peak<float>},
      {"offset of int32", [] { return extractOffset(data_int32_t); }},
      {"offset of float", [] { return extractOffset(data_float32_t); }},
      {"compress with zlib", compress},
      {"uncompress", uncompress},
      {"file out and in", file},
      {"signal to database object", toDatabaseObject},
      {"signal from database object", fromDatabaseObject},
      {"archive out and in", archive},
      {"portable numbers out and in", portableNumbers},
      {"thinning", thin},
  };
  return all;
}
} // namespace

int main()
{
  for (Operation const& operation : operations())
  {
    operation.prepare()(); // what only the first call does: symbols are bound, statics made
    Run const run = operation.prepare();
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    run();
    CALLGRIND_DUMP_STATS_AT(operation.name);
    CALLGRIND_STOP_INSTRUMENTATION;
  }
}
